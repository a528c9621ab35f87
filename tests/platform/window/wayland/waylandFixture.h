// A window and its compositor, one that does what the test wants, each a process of its own.
#pragma once

#include <gmock/gmock.h>

#include <memory>
#include <string>
#include <vector>

#include "platform/support/childProcess.h"
#include "platform/support/pictureFiles.h"
#include "support/temporaryFolder.h"

using Lines = std::vector<std::string>;

class WaylandWindow : public testing::Test {
protected:
    // `display` is "WIDTH", "HEIGHT", "SCALE", "TRANSFORM", and perhaps what the compositor
    // does not offer.
    void offer(const Lines& display, const std::string& configure) {
        Lines command{VELKARIS_COMPOSITOR_PROGRAM, "wayland-test"};
        command.insert(command.end(), display.begin(), display.end());
        compositor =
            std::make_unique<ChildProcess>(command, Lines{"XDG_RUNTIME_DIR=" + folder.path()});
        ASSERT_EQ(compositor->readLine(), "ready");
        compositor->send(configure);
    }
    void launch(const std::string& setting) {
        child = std::make_unique<ChildProcess>(
            Lines{VELKARIS_WINDOW_PROGRAM},
            Lines{"XDG_RUNTIME_DIR=" + folder.path(), "WAYLAND_DISPLAY=wayland-test", "DISPLAY=",
                  "VELKARIS_WINDOW=" + setting, "VELKARIS_CAPTURE=" + folder.file("c")});
    }
    void startFullScreen() {
        offer({"640", "400", "1", "0"}, "configure 640 400 fullscreen");
        launch("wayland");
        ASSERT_EQ(child->readLine(), "screen 640x400, drawing 640x400") << child->errors();
    }
    void swap() {
        child->send("swap");
        ASSERT_EQ(child->readLine(), "swapped");
    }
    void swap(int shade) {
        child->send("fill 0 0 9999 9999 " + std::to_string(shade) + " 20 30 255");
        swap();
    }
    // Rows of the picture of 640x400, counted from the top.
    void fillRows(int first, int count, int shade) {
        child->send("fill 0 " + std::to_string(400 - first - count) + " 640 " +
                    std::to_string(count) + " " + std::to_string(shade) + " 50 60 255");
    }
    // What the compositor reports up to the line `last`, which must come.
    Lines reportsUntil(const std::string& last) {
        Lines reports;
        do {
            reports.push_back(compositor->readLine());
        } while (reports.back() != last && !reports.back().empty());
        EXPECT_EQ(reports.back(), last);
        return reports;
    }
    std::string pixel(int x, int y) {
        compositor->send("pixel " + std::to_string(x) + " " + std::to_string(y));
        for (;;) {
            const std::string line = compositor->readLine();
            if (line.empty() || line.rfind("pixel", 0) == 0)
                return line;
        }
    }
    // What the compositor reports of a frame of 640x400 in lines that start with `start`.
    Lines reportsOfFrame(const std::string& start) {
        Lines chosen;
        for (const std::string& line : reportsUntil("frame 640x400")) {
            if (line.rfind(start, 0) == 0)
                chosen.push_back(line);
        }
        return chosen;
    }
    // What it reports of everything that the console has sent by now.
    Lines reportsUntilNow() {
        const std::string serial = std::to_string(++lastSerial);
        compositor->send("ping " + serial);
        return reportsUntil("pong " + serial);
    }
    void expectShownAsCaptured() {
        compositor->send("save " + folder.file("shown"));
        reportsUntil("saved");
        Bytes captured;
        const Bytes rgba = readPng(folder.file("c/latest.png")).rgba;
        for (size_t at = 0; at < rgba.size(); at += 4)
            captured.insert(captured.end(), {rgba[at], rgba[at + 1], rgba[at + 2]});
        ASSERT_FALSE(captured.empty());
        EXPECT_TRUE(readFile(folder.file("shown")) == captured);
    }
    void expectEnd(int status, const std::string& errors) {
        EXPECT_EQ(child->readLine(), "exit handlers ran");
        EXPECT_EQ(child->wait(), status);
        EXPECT_EQ(child->errors(), errors);
    }

    TemporaryFolder folder;
    int lastSerial = 1000;
    std::unique_ptr<ChildProcess> compositor;
    std::unique_ptr<ChildProcess> child;
};
