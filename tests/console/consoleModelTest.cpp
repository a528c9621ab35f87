// Appending to and finding in the list that the screen shows.
#include "console/consoleModel.h"

#include <gmock/gmock.h>

#include <cstddef>

#include "support/linkWraps.h"
#include "support/serviceTest.h"

namespace {

using ::testing::ElementsAre;

class ConsoleModel : public ServiceTest {};

TEST_F(ConsoleModel, StartsEmptyAndZero) {
    EXPECT_EQ(consoleList, nullptr);
    EXPECT_EQ(consoleStatus.statusText, nullptr);
    EXPECT_EQ(consoleStatus.overallElapsed, 0);
    EXPECT_EQ(consoleStatus.overallPercent, 0);
    EXPECT_EQ(secondsSinceStart, 0);
}

TEST_F(ConsoleModel, HoldsItsFieldsInThisOrder) {
    EXPECT_EQ(offsetof(ConsoleEntry, name), 0u);
    EXPECT_EQ(offsetof(ConsoleEntry, text), sizeof(char*));
    EXPECT_EQ(offsetof(ConsoleEntry, percent), 2 * sizeof(char*));
    EXPECT_EQ(offsetof(ConsoleEntry, elapsedSeconds), 2 * sizeof(char*) + 4);

    EXPECT_EQ(offsetof(ConsoleNode, entry), 0u);
    EXPECT_EQ(offsetof(ConsoleNode, next), sizeof(ConsoleEntry*));

    EXPECT_EQ(offsetof(ConsoleStatus, statusText), 0u);
    EXPECT_EQ(offsetof(ConsoleStatus, overallElapsed), sizeof(char*));
    EXPECT_EQ(offsetof(ConsoleStatus, overallPercent), sizeof(char*) + 4);
}

TEST_F(ConsoleModel, TheFirstEntryBecomesTheHeadAndTheNextFollowsIt) {
    ConsoleNode* list = nullptr;
    ConsoleEntry first = {};
    ConsoleEntry second = {};
    consoleListAppend(&list, &first);
    ConsoleNode* const head = list;
    ASSERT_NE(head, nullptr);
    EXPECT_EQ(head->entry, &first);
    EXPECT_EQ(head->next, nullptr);

    consoleListAppend(&list, &second);
    EXPECT_EQ(list, head);
    ASSERT_NE(head->next, nullptr);
    EXPECT_EQ(head->next->entry, &second);
    EXPECT_EQ(head->next->next, nullptr);
    free(head->next);
    free(head);
}

TEST_F(ConsoleModel, KeepsTheOrderOfArrival) {
    addLine("a");
    addItem("n", "b", 5);
    addLine("c");
    EXPECT_THAT(consoleRows(), ElementsAre("a", "n|b|5|0", "c"));
}

TEST_F(ConsoleModel, FindsNothingInAnEmptyList) {
    EXPECT_EQ(consoleListFind(&consoleList, "a"), nullptr);
}

TEST_F(ConsoleModel, NeverFindsATextLine) {
    addLine("a");
    EXPECT_EQ(consoleListFind(&consoleList, "a"), nullptr);
}

TEST_F(ConsoleModel, FindsAnItemByItsExactName) {
    addLine("one");
    addLine("two");
    addItem("a", "label", 1);
    ConsoleEntry* const found = consoleListFind(&consoleList, "a");
    ASSERT_NE(found, nullptr);
    EXPECT_STREQ(found->text, "label");
    EXPECT_EQ(consoleListFind(&consoleList, "A"), nullptr);
    EXPECT_EQ(consoleListFind(&consoleList, "ab"), nullptr);
    EXPECT_EQ(consoleListFind(&consoleList, ""), nullptr);
    EXPECT_EQ(consoleListFind(&consoleList, "label"), nullptr);
}

TEST_F(ConsoleModel, FindsTheFirstOfTwoWithOneName) {
    addItem("x", "other", 1);
    addItem("a", "first", 1);
    addItem("a", "second", 2);
    ASSERT_NE(consoleListFind(&consoleList, "a"), nullptr);
    EXPECT_STREQ(consoleListFind(&consoleList, "a")->text, "first");
}

TEST_F(ConsoleModel, FindsAnItemWithAnEmptyName) {
    addItem("", "label", 1);
    ASSERT_NE(consoleListFind(&consoleList, ""), nullptr);
    EXPECT_STREQ(consoleListFind(&consoleList, "")->text, "label");
}

}  // namespace
