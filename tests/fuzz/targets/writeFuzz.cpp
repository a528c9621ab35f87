// Any write: of any type, by any descriptor, with less data than announced or more.
#include <errno.h>

#include <cstring>

#include "console/consoleModel.h"
#include "console/controlDevice.h"
#include "fuzzModel.h"
#include "messageStubs.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    const uint8_t kind = input.byte();
    setUpArea(20 + input.byte() * 4u, input.byte());
    const uint8_t missing = kind & 4 ? input.byte() : 0;
    const std::string text = input.rest();

    io_write_t message = {};
    message.i.type = _IO_WRITE;
    message.i.nbytes = static_cast<uint32_t>(text.size()) + missing;
    message.i.xtype = kind & 1 ? input.number() : 0;
    setClient(text, (kind & 2) != 0);
    ReceivedMessage received(&message, sizeof(message), text);
    const int result = consoleIoWrite(&received.context,
                                      reinterpret_cast<io_write_t*>(received.bytes), &received.ocb);

    if (result == EOK)
        require(received.context.status == static_cast<long>(message.i.nbytes),
                "a write that is taken reports all its bytes");
    else
        require(!consoleList && received.attributes.flags == 0,
                "a write that is refused changes nothing");
    if (strnlen(text.c_str(), text.size()) == 0)
        require(!consoleList, "an empty text makes no row");
    emptyModel();
    return 0;
}
