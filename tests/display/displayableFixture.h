// A display connection of the test's own, with its insides open.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "display/displayable.h"
#include "support/outputCapture.h"
#include "support/serviceTest.h"

// Not the one instance, so that each test starts from a fresh one.
class OpenDisplayable : public CDisplayable {
public:
    using CDisplayable::display;
    using CDisplayable::fetchScreenSize;
    using CDisplayable::height;
    using CDisplayable::initialised;
    using CDisplayable::semaphore;
    using CDisplayable::surface;
    using CDisplayable::width;
};

class Displayable : public ServiceTest {
protected:
    // Runs init(), which must give `result`, and keeps what it wrote.
    void init(int32_t result) {
        output = outputOf([&] { EXPECT_EQ(displayable.init(), result); });
    }

    // init() fails with this line on standard error, the last of its progress being `progress`.
    void expectFailure(const std::string& error, const std::string& progress) {
        init(0);
        EXPECT_EQ(output.err, "[Velkaris] " + error + "\n");
        EXPECT_EQ(lastLine(output.out), "[Velkaris] " + progress);
    }

    static std::string lastLine(const std::string& text) {
        const size_t end = text.size() - 1;
        return text.substr(text.rfind('\n', end - 1) + 1, end - text.rfind('\n', end - 1) - 1);
    }

    int posts() {
        int value = -1;
        sem_getvalue(&displayable.semaphore, &value);
        return value;
    }

    OpenDisplayable displayable;
    Output output;
};
