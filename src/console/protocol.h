// The wire format of the device-control commands, shared by the service and its clients. Valid C99
// and C++98. All numbers are in the byte order of the machine: both ends run on the same system.
#pragma once

#include <devctl.h>

#include <stdint.h>

// Payload header of DCMD_CONSOLE_ADD_ITEM and DCMD_CONSOLE_UPDATE_ITEM. The string area with the
// NUL-terminated name and label follows it at once; the offsets count from the area's first byte.
struct ConsoleItemHeader {
    int32_t nameOffset;
    int32_t labelOffset;  // not used by DCMD_CONSOLE_UPDATE_ITEM
    int32_t percent;      // no range is enforced
};

// Do not compile where the payloads would not be laid out as they travel.
typedef char ConsoleItemHeaderIs12Bytes[sizeof(struct ConsoleItemHeader) == 12 ? 1 : -1];
typedef char ConsolePercentIs4Bytes[sizeof(int32_t) == 4 && sizeof(char) == 1 ? 1 : -1];

// clang-format off
#define DCMD_CONSOLE_SET_STATUS  ((uint32_t)__DIOT(_DCMD_MISC, 1, char))  // NUL-terminated text
#define DCMD_CONSOLE_SET_PERCENT ((uint32_t)__DIOT(_DCMD_MISC, 2, int32_t))
#define DCMD_CONSOLE_ADD_ITEM    ((uint32_t)__DIOT(_DCMD_MISC, 3, struct ConsoleItemHeader))
#define DCMD_CONSOLE_UPDATE_ITEM ((uint32_t)__DIOT(_DCMD_MISC, 4, struct ConsoleItemHeader))

enum {
    kConsoleReceiveBytes = 2048,  // the node's receive buffer, message header included
    kConsolePayloadBytes = 2032   // the longest payload that fits behind the 16-byte header
};
// clang-format on
