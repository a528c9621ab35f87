// A node that is really served, by a child process, with handlers that report each message that
// they get through a pipe. The test is the client.
#pragma once

#include <gtest/gtest.h>
#include <sys/iofunc.h>
// The block above gives handles and control blocks their types.
#include <devctlSocket.h>
#include <sys/types.h>

#include <cstdint>
#include <functional>
#include <string>

#include "ownership/fileDescriptor.h"

// Devices commands of the served node besides the common ones.
enum : uint32_t {
    kCommandNote = static_cast<uint32_t>(__DIOT(_DCMD_MISC, 1, char)),      // reported, EOK
    kCommandReverse = static_cast<uint32_t>(__DIOTF(_DCMD_MISC, 2, char)),  // payload backwards
    kCommandRefuse = static_cast<uint32_t>(__DIOT(_DCMD_MISC, 3, char)),    // EDOM
    kCommandValue = static_cast<uint32_t>(__DIOT(_DCMD_MISC, 4, char)),     // ret_val is 1234
    kCommandQuiet = static_cast<uint32_t>(__DIOTF(_DCMD_MISC, 5, char)),    // EOK without a reply
    kCommandBlock = static_cast<uint32_t>(__DIOT(_DCMD_MISC, 6, char)),     // no reply, ever
    kCommandOpens = static_cast<uint32_t>(__DION(_DCMD_MISC, 6)),  // ret_val: how many there are
    kCommandUnknown = static_cast<uint32_t>(__DIOT(_DCMD_MISC, 0x55, char)),
};

// What a handler saw of a message.
struct Report {
    uint32_t type;     // _IO_WRITE or _IO_DEVCTL
    uint32_t nbytes;   // as the header says
    uint32_t xtype;    // writes
    uint32_t command;  // devctls
    uint64_t size;     // ctp->size
    int64_t sent;      // ctp->info.srcmsglen
    uint64_t read;     // bytes of data that were read
    uint64_t hash;     // of all data
    char start[32];    // the data's first bytes, padded with NULs
};

uint64_t hashBytes(const void* data, size_t size, uint64_t hash = 0xcbf29ce484222325u);

// Bytes that differ from piece to piece, so that a piece at the wrong place is noticed.
std::string patternBytes(size_t size, uint32_t seed = 1);

// The reason why nodes of this kind cannot be served here; empty if they can.
std::string whyNotServed(const std::string& kind);

class ServedNode {
public:
    // Starts serving at `path`; `kind` as VELKARIS_NODE_KIND has it. `before` runs first in the
    // serving process.
    ServedNode(const std::string& path, const std::string& kind,
               const std::function<void()>& before = {});
    ~ServedNode();  // ends it, whatever state it is in

    bool attached() const { return attachError_ == 0; }
    int attachError() const { return attachError_; }
    const std::string& path() const { return path_; }
    pid_t process() const { return process_; }

    // The next message that a handler got; waits for it.
    Report nextReport();
    bool hasReport() const;

    // Ends it by a signal and returns what waitpid reports.
    int end(int signal);

    // Waits until it ends by itself; the same.
    int awaitEnd();

    // What it has written to standard error, up to its end.
    std::string errorText();

private:
    std::string path_;
    pid_t process_ = -1;
    int attachError_ = -1;
    FileDescriptor reports_;
    FileDescriptor errors_;
};

// A folder of its own for each test, and a node in it.
class NodeFolder {
public:
    NodeFolder();
    ~NodeFolder();
    std::string file(const std::string& name) const { return folder_ + "/" + name; }
    // Where a node of that kind may be: devices are in /dev, under a name of this process.
    std::string nodePath(const std::string& kind) const;
    const std::string& path() const { return folder_; }

private:
    std::string folder_;
};
