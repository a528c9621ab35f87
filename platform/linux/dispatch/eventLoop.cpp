#include "dispatch/eventLoop.h"

#include <sys/epoll.h>

#include <array>
#include <cerrno>
#include <cstdint>
#include <unordered_map>
#include <utility>

#include "ownership/fileDescriptor.h"
#include "report/layerError.h"

namespace {

constexpr int kEventsAtOnce = 32;

// How often a watcher is told that its descriptor has hung up before it is dropped. It has
// forgotten the descriptor by then, unless there is a mistake, which must not turn into a busy
// loop. A client that has hung up is served to its last request, however many those are.
constexpr int kHangUpCalls = 64;

struct Source {
    void (*ready)(void* data);
    void (*serve)(void* data, _resmgr_context* ctp);
    void* data;
    uint32_t generation;  // tells a descriptor from an earlier one of the same number
    uint64_t lastServed;  // turn in which it was handed out last
    int hangUps;
};

struct EventLoop {
    FileDescriptor set{epoll_create1(EPOLL_CLOEXEC)};
    std::unordered_map<int, Source> sources;
    uint32_t generations = 0;
    uint64_t turn = 0;
    uint64_t next = 0;  // event of the message whose turn it is; 0: none
};

// Built on first use, because windows may register before there is a dispatch handle. Never freed:
// what runs at the end of the process may still forget descriptors.
EventLoop& eventLoop() {
    static auto* loop = new EventLoop;
    return *loop;
}

bool addSource(int fd, Source source) {
    EventLoop& loop = eventLoop();
    source.generation = ++loop.generations;
    epoll_event event = {};
    event.events = EPOLLIN;
    event.data.u64 = (uint64_t{source.generation} << 32) | static_cast<uint32_t>(fd);
    if (epoll_ctl(loop.set.get(), EPOLL_CTL_ADD, fd, &event) != 0)
        return false;
    loop.sources[fd] = source;
    return true;
}

// Null when the source was forgotten after the event was fetched.
Source* findSource(uint64_t event, int* fd) {
    EventLoop& loop = eventLoop();
    *fd = static_cast<int>(static_cast<uint32_t>(event));
    const auto found = loop.sources.find(*fd);
    if (found == loop.sources.end() || found->second.generation != event >> 32)
        return nullptr;
    return &found->second;
}

void callWatcher(Source* source, int fd, uint32_t events) {
    const bool hungUp = (events & (EPOLLHUP | EPOLLERR)) != 0;
    if (!hungUp || ++source->hangUps <= kHangUpCalls) {
        source->ready(source->data);  // may forget any source, itself included
        return;
    }
    layerError("event loop: descriptor %d has hung up, no longer watched", fd);
    eventLoopForget(fd);
}

// Runs the watchers, and picks of the others the one that has waited longest for its turn.
uint64_t runWatchers(const epoll_event* events, int count) {
    uint64_t chosen = 0;
    uint64_t chosenTurn = UINT64_MAX;
    for (int i = 0; i < count; ++i) {
        int fd;
        Source* source = findSource(events[i].data.u64, &fd);
        if (!source)
            continue;
        if (source->ready) {
            callWatcher(source, fd, events[i].events);
        } else if (source->lastServed < chosenTurn) {
            chosen = events[i].data.u64;
            chosenTurn = source->lastServed;
        }
    }
    return chosen;
}

}  // namespace

bool eventLoopWatch(int fd, void (*ready)(void* data), void* data) {
    return addSource(fd, {ready, nullptr, data, 0, 0, 0});
}

bool eventLoopServe(int fd, void (*serve)(void* data, _resmgr_context* ctp), void* data) {
    return addSource(fd, {nullptr, serve, data, 0, 0, 0});
}

void eventLoopForget(int fd) {
    EventLoop& loop = eventLoop();
    if (loop.sources.erase(fd) > 0)
        epoll_ctl(loop.set.get(), EPOLL_CTL_DEL, fd, nullptr);
}

bool eventLoopTurn(int milliseconds) {
    EventLoop& loop = eventLoop();
    std::array<epoll_event, kEventsAtOnce> events;
    const int count = epoll_wait(loop.set.get(), events.data(), kEventsAtOnce, milliseconds);
    loop.next = runWatchers(events.data(), count);
    return count >= 0 || errno == EINTR;
}

bool eventLoopHasMessage() {
    int fd;
    return findSource(eventLoop().next, &fd) != nullptr;
}

bool eventLoopTakeMessage(LoopMessage* message) {
    EventLoop& loop = eventLoop();
    int fd;
    Source* const source = findSource(std::exchange(loop.next, 0), &fd);
    if (!source)
        return false;
    source->lastServed = ++loop.turn;
    *message = {source->serve, source->data};
    return true;
}
