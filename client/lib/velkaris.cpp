// The public functions: each turns its arguments into messages and has the handle's worker send
// them. No exception leaves here.
#include "velkaris/velkaris.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <new>
#include <system_error>
#include <vector>

#include "lib/consoleLink.h"
#include "lib/message.h"
#include "lib/plainText.h"
#include "lib/timedWorker.h"

struct velkaris_console {
    std::shared_ptr<ConsoleLink> link;  // shared with jobs, which can outlive the handle
    TimedWorker::Limit limit;
    velkaris_text_mode textMode = VELKARIS_TEXT_TRANSLITERATE;
    velkaris_percent_mode percentMode = VELKARIS_PERCENT_CLAMP;
    TimedWorker worker;

    velkaris_console(std::string path, unsigned int timeLimit)
        : link(std::make_shared<ConsoleLink>(std::move(path))), limit(timeLimit) {}

    int connect();
    void disconnect();
    int send(std::vector<Message> messages);
    int plain(std::string_view text, std::string* result) const {
        return makePlain(text, textMode, result);
    }
    int32_t ranged(int32_t percent) const {
        return percentMode == VELKARIS_PERCENT_CLAMP ? std::clamp(percent, 0, 100) : percent;
    }
};

int velkaris_console::connect() {
    return worker.run([link = link] { return link->connect(); }, limit);
}

// Closing the node asks its server too, so that happens on the worker as well.
void velkaris_console::disconnect() {
    const auto job = [link = link] {
        link->disconnect();
        return 0;
    };
    worker.run(job, limit);
}

int velkaris_console::send(std::vector<Message> messages) {
    const auto job = [link = link, messages = std::move(messages)] { return link->send(messages); };
    return worker.run(job, limit);
}

namespace {

std::string nodePath(const char* path) {
    if (path)
        return path;
    const char* chosen = std::getenv("VELKARIS_NODE");
    return chosen && *chosen ? chosen : "/dev/Velkaris";
}

// What `body` returns; an exception becomes the error number that it stands for.
template <typename Body>
int guarded(Body body) noexcept {
    try {
        return body();
    } catch (const std::system_error& failure) {
        return failure.code().value();
    } catch (...) {
        return ENOMEM;
    }
}

int addMessage(const velkaris_console& console, const char* name, const char* label,
               int32_t percent, Message* message) {
    std::string plainLabel;
    if (const int error = console.plain(label, &plainLabel))
        return error;
    return addItemMessage(name, plainLabel, console.ranged(percent), message);
}

}  // namespace

int velkaris_open(velkaris_console** console, const char* path, unsigned int time_limit) {
    if (!console)
        return EINVAL;
    *console = nullptr;
    return guarded([&] {
        auto opened = std::make_unique<velkaris_console>(nodePath(path), time_limit);
        const int error = opened->connect();
        if (error == 0)
            *console = opened.release();
        return error;
    });
}

void velkaris_close(velkaris_console* console) {
    const std::unique_ptr<velkaris_console> closed(console);
    if (!closed)
        return;
    guarded([&closed] {
        closed->disconnect();
        return 0;
    });
}

int velkaris_set_time_limit(velkaris_console* console, unsigned int time_limit) {
    if (!console)
        return EINVAL;
    console->limit = TimedWorker::Limit(time_limit);
    return 0;
}

int velkaris_set_text_mode(velkaris_console* console, velkaris_text_mode mode) {
    if (!console || mode < VELKARIS_TEXT_TRANSLITERATE || mode > VELKARIS_TEXT_REFUSE)
        return EINVAL;
    console->textMode = mode;
    return 0;
}

int velkaris_set_percent_mode(velkaris_console* console, velkaris_percent_mode mode) {
    if (!console || mode < VELKARIS_PERCENT_CLAMP || mode > VELKARIS_PERCENT_PASS)
        return EINVAL;
    console->percentMode = mode;
    return 0;
}

int velkaris_check(velkaris_console* console) {
    if (!console)
        return EINVAL;
    return guarded([console] {
        return console->worker.run([link = console->link] { return link->check(); },
                                   console->limit);
    });
}

int velkaris_write(velkaris_console* console, const char* text, size_t length) {
    if (!console || (!text && length > 0))
        return EINVAL;
    return guarded([=] {
        std::string plain;
        if (length > VELKARIS_TEXT_BYTES)
            return EMSGSIZE;
        if (const int error = console->plain({text, length}, &plain))
            return error;
        if (plain.size() > VELKARIS_TEXT_BYTES)
            return EMSGSIZE;
        return plain.empty() ? 0 : console->send({textMessage(std::move(plain))});
    });
}

int velkaris_set_status(velkaris_console* console, const char* text) {
    if (!console || !text)
        return EINVAL;
    return guarded([=] {
        std::string plain;
        Message message;
        if (const int error = console->plain(text, &plain))
            return error;
        if (const int error = statusMessage(plain, &message))
            return error;
        return console->send({message});
    });
}

int velkaris_set_percent(velkaris_console* console, int32_t percent) {
    if (!console)
        return EINVAL;
    return guarded([=] { return console->send({percentMessage(console->ranged(percent))}); });
}

int velkaris_add_item(velkaris_console* console, const char* name, const char* label,
                      int32_t percent) {
    if (!console || !name || !label)
        return EINVAL;
    return guarded([=] {
        Message message;
        const int error = addMessage(*console, name, label, percent, &message);
        return error ? error : console->send({message});
    });
}

int velkaris_update_item(velkaris_console* console, const char* name, int32_t percent) {
    if (!console || !name)
        return EINVAL;
    return guarded([=] {
        Message message;
        const int error = updateItemMessage(name, console->ranged(percent), &message);
        return error ? error : console->send({message});
    });
}

int velkaris_put_item(velkaris_console* console, const char* name, const char* label,
                      int32_t percent) {
    if (!console || !name || !label)
        return EINVAL;
    return guarded([=] {
        Message add;
        Message update;
        if (const int error = addMessage(*console, name, label, percent, &add))
            return error;
        if (const int error = updateItemMessage(name, console->ranged(percent), &update))
            return error;
        return console->send({add, update});
    });
}

const char* velkaris_version() {
    return VELKARIS_VERSION;
}
