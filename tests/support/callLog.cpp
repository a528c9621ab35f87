#include "support/callLog.h"

#include <cstdarg>
#include <cstdio>

namespace {

Calls recorded;

bool beginsWith(const std::string& text, const char* prefix) {
    return text.rfind(prefix, 0) == 0;
}

}  // namespace

void recordCall(const char* format, ...) {
    char line[512];
    va_list arguments;
    va_start(arguments, format);
    vsnprintf(line, sizeof(line), format, arguments);
    va_end(arguments);
    recorded.emplace_back(line);
}

const Calls& calls() {
    return recorded;
}

Calls callsTo(std::initializer_list<const char*> prefixes) {
    Calls chosen;
    for (const std::string& call : recorded) {
        for (const char* prefix : prefixes) {
            if (beginsWith(call, prefix)) {
                chosen.push_back(call);
                break;
            }
        }
    }
    return chosen;
}

int callCount(const char* prefix) {
    return static_cast<int>(callsTo({prefix}).size());
}

void clearCalls() {
    recorded.clear();
}
