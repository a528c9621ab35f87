// A message as a handler receives it, for the fuzz targets.
#pragma once

#include <errno.h>
#include <sys/dispatch.h>
#include <sys/iofunc.h>

#include <string>

// What resmgr_msgread finds behind the header, and whether the descriptor may write.
void setClient(const std::string& data, bool readOnly);

// The receive buffer holds the header and as much of the data as fits, and is not a byte longer.
struct ReceivedMessage {
    ReceivedMessage(const void* header, size_t headerBytes, const std::string& data);
    ~ReceivedMessage();
    ReceivedMessage(const ReceivedMessage&) = delete;
    ReceivedMessage& operator=(const ReceivedMessage&) = delete;

    char* bytes;
    resmgr_context_t context = {};
    iofunc_attr_t attributes = {};
    iofunc_ocb_t ocb = {};
};
