// The verbs that are one call of the library each, and writing.
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <functional>

#include "cli/session.h"
#include "cli/streamLines.h"
#include "cli/verbs.h"

namespace {

int withConsole(const Options& options, const std::function<int(velkaris_console*)>& call) {
    Session session(options);
    const int status = session.open();
    return status == kDone ? session.report(call(session.console())) : status;
}

int badPercent(const std::string& text) {
    std::fprintf(stderr, "velkarisctl: '%s' is not a percent\n", text.c_str());
    return kUsageError;
}

std::string joined(const Operands& words) {
    std::string line;
    for (size_t i = 0; i < words.size(); ++i)
        line += (i == 0 ? "" : " ") + words[i];
    return line;
}

int writePiece(const Session& session, const std::string& piece) {
    return session.report(velkaris_write(session.console(), piece.data(), piece.size()));
}

int writeInput(const Session& session) {
    StreamLines lines;
    std::array<char, StreamLines::kPieceBytes> buffer;
    for (;;) {
        const ssize_t got = read(STDIN_FILENO, buffer.data(), lines.room());
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0) {
            complain(session.options(), std::string("standard input: ") + std::strerror(errno));
            return kFailed;
        }
        if (got == 0)
            return writePiece(session, lines.takeRest());
        lines.append({buffer.data(), static_cast<size_t>(got)});
        if (const int status = writePiece(session, lines.take()))
            return status;
    }
}

}  // namespace

int writeVerb(const Options& options, const Operands& operands) {
    Session session(options);
    if (const int status = session.open())
        return status;
    return operands.empty() ? writeInput(session) : writePiece(session, joined(operands) + "\n");
}

int statusVerb(const Options& options, const Operands& operands) {
    return withConsole(options, [&](velkaris_console* console) {
        return velkaris_set_status(console, operands[0].c_str());
    });
}

int percentVerb(const Options& options, const Operands& operands) {
    const std::optional<int32_t> percent = parsePercent(operands[0]);
    if (!percent)
        return badPercent(operands[0]);
    return withConsole(options, [&](velkaris_console* console) {
        return velkaris_set_percent(console, *percent);
    });
}

int addVerb(const Options& options, const Operands& operands) {
    const std::string text = operands.size() > 2 ? operands[2] : "0";
    const std::optional<int32_t> percent = parsePercent(text);
    if (!percent)
        return badPercent(text);
    return withConsole(options, [&](velkaris_console* console) {
        return velkaris_add_item(console, operands[0].c_str(), operands[1].c_str(), *percent);
    });
}

int updateVerb(const Options& options, const Operands& operands) {
    const std::optional<int32_t> percent = parsePercent(operands[1]);
    if (!percent)
        return badPercent(operands[1]);
    return withConsole(options, [&](velkaris_console* console) {
        return velkaris_update_item(console, operands[0].c_str(), *percent);
    });
}

int setVerb(const Options& options, const Operands& operands) {
    const std::optional<int32_t> percent = parsePercent(operands[2]);
    if (!percent)
        return badPercent(operands[2]);
    return withConsole(options, [&](velkaris_console* console) {
        return velkaris_put_item(console, operands[0].c_str(), operands[1].c_str(), *percent);
    });
}
