// Any write: of any type, by any descriptor, with less data than announced or more. A plain one by
// a descriptor that may write adds the rows that the splitter makes of what arrived; any other
// changes nothing.
#include <errno.h>

#include <cstring>

#include "console/consoleModel.h"
#include "console/controlDevice.h"
#include "fuzzModel.h"
#include "messageStubs.h"
#include "text/lineSplit.h"

namespace {

std::vector<std::string> rowsOf(std::string text) {
    ConsoleNode* rows = nullptr;
    appendTextLines(&rows, text.data());
    const std::vector<std::string> texts = listTexts(rows);
    consoleListFree(rows);
    return texts;
}

int expectedResult(bool readOnly, uint32_t xtype) {
    if (readOnly)
        return EBADF;
    return (xtype & _IO_XTYPE_MASK) == _IO_XTYPE_NONE ? EOK : ENOSYS;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    InputReader input(data, size);
    const uint8_t kind = input.byte();
    const bool readOnly = (kind & 2) != 0;
    setUpArea(20 + input.byte() * 4u, input.byte());
    const uint8_t missing = kind & 4 ? input.byte() : 0;
    const uint32_t xtype = kind & 1 ? input.number() : 0;
    const std::string text = input.rest();

    io_write_t message = {};
    message.i.type = _IO_WRITE;
    message.i.nbytes = static_cast<uint32_t>(text.size()) + missing;
    message.i.xtype = xtype;
    setClient(text, readOnly);
    ReceivedMessage received(&message, sizeof(message), text);
    const int result = consoleIoWrite(&received.context,
                                      reinterpret_cast<io_write_t*>(received.bytes), &received.ocb);

    require(result == expectedResult(readOnly, xtype), "a write is taken if it is plain");
    const bool changes = result == EOK && message.i.nbytes > 0;
    require((received.attributes.flags != 0) == changes, "a write that holds bytes sets the times");
    if (result == EOK) {
        require(received.context.status == static_cast<long>(message.i.nbytes),
                "a write that is taken reports all its bytes");
        require(listTexts(consoleList) == rowsOf(text), "the rows are those of the text");
    } else {
        require(!consoleList, "a write that is refused adds no row");
    }
    emptyModel();
    return 0;
}
