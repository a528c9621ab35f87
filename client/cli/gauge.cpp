// A progress item that follows the percents on standard input. Reads to the end whatever becomes of
// the console: the programs in front of it must not die of a broken pipe.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

#include "cli/gaugeReader.h"
#include "cli/itemFeed.h"
#include "cli/verbs.h"

int gaugeVerb(const Options& options, const Operands& operands) {
    ItemFeed item(options);
    if (const int status = item.open(operands[0], operands[1]))
        return status;
    GaugeReader reader([&](int percent) { item.setPercent(percent); },
                       [&](const std::string& line) { item.addLine(line); });
    std::array<char, 4096> buffer;
    for (;;) {
        const ssize_t got = read(STDIN_FILENO, buffer.data(), buffer.size());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            complain(options, std::string("standard input: ") + std::strerror(errno));
        if (got <= 0) {
            reader.end();
            const int status = item.finish();
            return got < 0 ? kFailed : status;
        }
        reader.feed({buffer.data(), static_cast<size_t>(got)});
    }
}
