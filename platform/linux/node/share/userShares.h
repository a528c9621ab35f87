// What the clients of each user hold of the service: bytes of writes that are not complete yet, and
// connections. It bounds both, so that no user can use up what the others need.
#pragma once

#include <sys/types.h>

#include <cstddef>
#include <unordered_map>
#include <utility>

class UserShares {
public:
    struct Limits {
        size_t userBytes;        // of one user
        size_t allBytes;         // of all users but root together
        size_t userConnections;  // of one user other than root
    };

    // For a user 64 MiB or an eighth of the machine's memory, whichever is less, and a quarter of
    // the connections that fit; for all users twice the bytes of one.
    static Limits ofThisMachine(size_t connectionsMax);

    explicit UserShares(const Limits& limits) : limits_(limits) {}
    UserShares(const UserShares&) = delete;
    UserShares& operator=(const UserShares&) = delete;

    // False, and nothing is taken, when it would go beyond a limit or when there is no memory for
    // the account. What was taken is given back, by the same user, exactly once.
    bool takeBytes(uid_t user, size_t bytes);
    void giveBytes(uid_t user, size_t bytes);
    bool takeConnection(uid_t user);  // root has no limit
    void giveConnection(uid_t user);

    size_t users() const { return held_.size(); }  // that hold anything

private:
    struct Held {
        size_t bytes = 0;
        size_t connections = 0;
    };

    bool add(uid_t user, const Held& more);
    void remove(uid_t user, const Held& less);
    Held heldBy(uid_t user) const;

    Limits limits_;
    size_t allBytes_ = 0;
    std::unordered_map<uid_t, Held> held_;  // only users that hold something
};

// Bytes that one client holds of its user's share; given back at the end. `shares` outlives it.
class HeldBytes {
public:
    HeldBytes(UserShares* shares, uid_t user) : shares_(shares), user_(user) {}
    ~HeldBytes() { giveBack(); }
    HeldBytes(HeldBytes&& other) noexcept
        : shares_(other.shares_), user_(other.user_), bytes_(std::exchange(other.bytes_, 0)) {}
    HeldBytes& operator=(HeldBytes&& other) noexcept {
        std::swap(shares_, other.shares_);
        std::swap(user_, other.user_);
        std::swap(bytes_, other.bytes_);
        return *this;
    }

    // False, and what it holds stays the same, where UserShares refuses.
    bool take(size_t bytes) {
        if (!shares_->takeBytes(user_, bytes))
            return false;
        bytes_ += bytes;
        return true;
    }

    void giveBack() { shares_->giveBytes(user_, std::exchange(bytes_, 0)); }

private:
    UserShares* shares_;
    uid_t user_;
    size_t bytes_ = 0;
};
