// End-to-end tests run once for each kind of node.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <memory>
#include <string>
#include <vector>

#include "support/consoleScript.h"

class OnEachTransport : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override {
        const std::string reason = whyNotServed(GetParam());
        if (!reason.empty())
            GTEST_SKIP() << reason;
    }

    bool isFuse() const { return std::string(GetParam()) == "fuse"; }
    bool isSocket() const { return std::string(GetParam()) == "socket"; }

    // For consoles that take over from one another. Devices are in /dev, under a name of this
    // process.
    std::string nodePathIn(const std::string& folder) const {
        if (std::string(GetParam()) == "cuse")
            return "/dev/VelkarisTest" + std::to_string(getpid());
        return folder + "/node";
    }

    // A console with the usual font and the node in its own folder.
    ConsoleOptions usualOptions() const {
        ConsoleOptions options;
        options.arguments = {"-p", VELKARIS_TEST_FONT};
        options.nodeKind = GetParam();
        static int devices = 0;
        if (options.nodeKind == "cuse")
            options.nodePath = nodePathIn("") + "." + std::to_string(++devices);
        return options;
    }

    // The same with many short rows, for tests that look at many lines.
    ConsoleOptions manyRowsOptions() const {
        ConsoleOptions options = usualOptions();
        options.arguments.insert(options.arguments.end(), {"-f", "6"});
        options.window = "headless:480x3000";
        return options;
    }

    static ReferenceScreen usualScreen() { return {}; }

    static ReferenceScreen manyRowsScreen() {
        ReferenceScreen screen;
        screen.width = 480;
        screen.height = 3000;
        return screen;
    }

    static RgbImage predictUsual(const ReferenceModel& model) {
        return predictFrame(usualScreen(), loadReferenceFont(VELKARIS_TEST_FONT, 12), model);
    }

    static RgbImage predictManyRows(const ReferenceModel& model) {
        return predictFrame(manyRowsScreen(), loadReferenceFont(VELKARIS_TEST_FONT, 6), model);
    }
};

// Adds the rows that writing `text` makes.
inline void addWritten(ReferenceModel* model, const ReferenceFont& font, uint32_t width,
                       const std::string& text) {
    for (const std::string& line : referenceLines(font, width, text))
        model->addLine(line);
}

inline std::string transportName(const testing::TestParamInfo<const char*>& info) {
    return info.param;
}

#define VELKARIS_ON_EACH_TRANSPORT(suite) \
    INSTANTIATE_TEST_SUITE_P(Node, suite, testing::Values("cuse", "fuse", "socket"), transportName)
