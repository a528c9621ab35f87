// What can never be seen again is released, and nobody can tell by what is shown and answered.
#include <gmock/gmock.h>

#include <algorithm>
#include <random>

#include "console/clockTick.h"
#include "console/consoleModel.h"
#include "console/deviceTest.h"
#include "console/protocol.h"
#include "support/linkWraps.h"

namespace {

using ::testing::ElementsAre;

class ReleasedLines : public DeviceTest {
protected:
    // Everything that the console holds, with room for so many rows; the lists of items alone.
    struct Console {
        int32_t rows;
        ConsoleNode* list = nullptr;
        ConsoleStatus status = {};
    };

    void enter(Console* console) {
        std::swap(consoleList, console->list);
        std::swap(consoleStatus, console->status);
        consoleVisibleRows = console->rows;
    }
    void leave(Console* console) {
        std::swap(consoleList, console->list);
        std::swap(consoleStatus, console->status);
    }

    static std::vector<std::string> shownRows(int32_t rows) {
        std::vector<std::string> all = consoleRows();
        const size_t shown = std::min(all.size(), static_cast<size_t>(std::max(rows, 0)));
        all.erase(all.begin(), all.end() - static_cast<std::ptrdiff_t>(shown));
        return all;
    }

    static std::vector<std::string> items() {
        std::vector<std::string> all;
        for (const ConsoleNode* node = consoleList; node; node = node->next) {
            const ConsoleEntry& entry = *node->entry;
            if (entry.name)
                all.push_back(std::string(entry.name) + "|" + entry.text + "|" +
                              std::to_string(entry.percent) + "|" +
                              std::to_string(entry.elapsedSeconds));
        }
        return all;
    }

    std::mt19937 random{20260301};

    int drawn(int most) { return std::uniform_int_distribution<int>(0, most)(random); }

    // One message of a client, or a tick; the answer of a message.
    int act(int kind, const std::string& text, int number) {
        const std::string name = "item" + std::to_string(number % 7);
        switch (kind) {
            case 0: return send(DCMD_CONSOLE_ADD_ITEM, item(name, text, number));
            case 1: return send(DCMD_CONSOLE_UPDATE_ITEM, item(name, "", number));
            case 2: return send(DCMD_CONSOLE_SET_PERCENT, bytesOf(number));
            case 3: return ClockTick(nullptr, 0, 0, nullptr);
            default: return write(text);
        }
    }
};

TEST_F(ReleasedLines, WithAsManyEntriesBehindALineAsAreShownItGoes) {
    consoleVisibleRows = 2;
    write("1");
    write("2");
    EXPECT_THAT(consoleRows(), ElementsAre("1", "2"));
    write("3");
    EXPECT_THAT(consoleRows(), ElementsAre("2", "3"));
    send(DCMD_CONSOLE_ADD_ITEM, item("a", "A", 5));
    EXPECT_THAT(consoleRows(), ElementsAre("3", "a|A|5|0"));
}

TEST_F(ReleasedLines, AnItemStaysWhereItIsAndIsStillFound) {
    consoleVisibleRows = 1;
    send(DCMD_CONSOLE_ADD_ITEM, item("a", "A", 5));
    write("1\n2\n3");
    write("4");
    send(DCMD_CONSOLE_UPDATE_ITEM, item("a", "", 50));
    EXPECT_THAT(consoleRows(), ElementsAre("a|A|50|0", "4"));
}

TEST_F(ReleasedLines, WhereNothingIsShownNoLineIsKept) {
    for (const int32_t rows : {0, -1}) {
        clearConsole();
        consoleVisibleRows = rows;
        write("1");
        send(DCMD_CONSOLE_ADD_ITEM, item("a", "A", 5));
        write("2");
        EXPECT_THAT(consoleRows(), ElementsAre("a|A|5|0"));
    }
}

TEST_F(ReleasedLines, ShowAndAnswerAsAConsoleThatKeepsEverything) {
    for (int round = 0; round < 200; ++round) {
        Console keeping{INT32_MAX}, releasing{drawn(8) - 1};
        for (int step = 0; step < 40; ++step) {
            std::string text;
            for (int length = drawn(60); length > 0; --length)
                text += "ab \n"[drawn(3)];
            const int kind = drawn(7), number = drawn(200) - 50;

            enter(&keeping);
            const int expectedAnswer = act(kind, text, number);
            const auto expectedRows = shownRows(releasing.rows);
            const auto expectedItems = items();
            leave(&keeping);

            enter(&releasing);
            ASSERT_EQ(act(kind, text, number), expectedAnswer);
            ASSERT_EQ(shownRows(releasing.rows), expectedRows) << "round " << round;
            ASSERT_EQ(items(), expectedItems) << "round " << round;
            leave(&releasing);
        }
        consoleListFree(keeping.list);
        consoleListFree(releasing.list);
    }
}

TEST_F(ReleasedLines, TenMillionLinesLeaveNoMoreThanAScreenful) {
    consoleVisibleRows = 20;
    const HeapWatch heap;
    const std::string many(250000, '\n');
    for (int i = 0; i < 20; ++i)
        write(many);
    for (int i = 0; i < 20; ++i) {
        std::string lines;
        for (int line = 0; line < 250000; ++line)
            lines += "x\n";
        write(lines);
    }
    EXPECT_EQ(consoleRows().size(), 20u);
    EXPECT_EQ(heap.kept(), 20 * 3);
}

TEST_F(ReleasedLines, OneLineEachLeavesNoMoreEither) {
    consoleVisibleRows = 20;
    const HeapWatch heap;
    for (int i = 0; i < 100000; ++i)
        write("line");
    EXPECT_EQ(heap.kept(), 20 * 3);
}

}  // namespace
