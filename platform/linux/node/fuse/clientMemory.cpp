#include "node/fuse/clientMemory.h"

#include <sys/uio.h>

#include <condition_variable>
#include <mutex>

namespace {

using Bytes = std::optional<std::vector<char>>;

Bytes readNow(pid_t thread, uint64_t address, size_t size) {
    std::vector<char> bytes(size);
    const iovec here = {bytes.data(), size};
    const iovec there = {reinterpret_cast<void*>(address), size};
    if (process_vm_readv(thread, &here, 1, &there, 1, 0) != static_cast<ssize_t>(size))
        return std::nullopt;
    return bytes;
}

}  // namespace

// What the reading thread and the waiting one share.
struct ClientMemory::Exchange {
    std::mutex mutex;
    std::condition_variable changed;
    bool reading = false;
    Bytes found;
};

ClientMemory::ClientMemory(Clock::duration patience, Clock::duration rest)
    : patience_(patience), rest_(rest), exchange_(std::make_shared<Exchange>()) {}
ClientMemory::~ClientMemory() = default;

std::optional<std::vector<char>> ClientMemory::read(pid_t thread, uint64_t address, size_t size) {
    std::unique_lock<std::mutex> lock(exchange_->mutex);
    if (exchange_->reading || Clock::now() < restsUntil_)
        return std::nullopt;
    exchange_->found.reset();
    exchange_->reading = reader_.run([exchange = exchange_, thread, address, size] {
        Bytes found = readNow(thread, address, size);
        const std::lock_guard<std::mutex> guard(exchange->mutex);
        exchange->found = std::move(found);
        exchange->reading = false;
        exchange->changed.notify_one();
    });
    if (exchange_->changed.wait_for(lock, patience_, [&] { return !exchange_->reading; }))
        return std::move(exchange_->found);
    restsUntil_ = Clock::now() + rest_;
    return std::nullopt;
}
