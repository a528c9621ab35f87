// The screen service: one display of the window's size, and errors for what is no handle.
#include <gtest/gtest.h>
#include <screen/screen.h>

#include <cerrno>
#include <cstdlib>

namespace {

class Screen : public testing::Test {
protected:
    static void SetUpTestSuite() { setenv("VELKARIS_WINDOW", "headless:123x45", 1); }
    Screen() { EXPECT_EQ(screen_create_context(&context, SCREEN_APPLICATION_CONTEXT), 0); }
    ~Screen() override { EXPECT_EQ(screen_destroy_context(context), 0); }

    static void expectError(int result, int error) {
        EXPECT_EQ(result, -1);
        EXPECT_EQ(errno, error);
    }
    screen_display_t display() const {
        void* first = nullptr;
        EXPECT_EQ(screen_get_context_property_pv(context, SCREEN_PROPERTY_DISPLAYS, &first), 0);
        return static_cast<screen_display_t>(first);
    }

    screen_context_t context = nullptr;
    int values[2] = {-1, -1};
};

TEST_F(Screen, HasOneDisplay) {
    EXPECT_EQ(screen_get_context_property_iv(context, SCREEN_PROPERTY_DISPLAY_COUNT, values), 0);
    EXPECT_EQ(values[0], 1);
    EXPECT_EQ(values[1], -1);
}

TEST_F(Screen, TellsTheSizeOfItsDisplay) {
    EXPECT_EQ(screen_get_display_property_iv(display(), SCREEN_PROPERTY_SIZE, values), 0);
    EXPECT_EQ(values[0], 123);
    EXPECT_EQ(values[1], 45);
}

TEST_F(Screen, RefusesUnknownProperties) {
    void* pointer = nullptr;
    expectError(screen_get_context_property_iv(context, SCREEN_PROPERTY_SIZE, values), ENOTSUP);
    expectError(screen_get_context_property_pv(context, SCREEN_PROPERTY_SIZE, &pointer), ENOTSUP);
    expectError(screen_get_display_property_iv(display(), SCREEN_PROPERTY_DISPLAYS, values),
                ENOTSUP);
}

TEST_F(Screen, RefusesBadPointers) {
    expectError(screen_create_context(nullptr, SCREEN_APPLICATION_CONTEXT), EINVAL);
    expectError(screen_get_context_property_iv(context, SCREEN_PROPERTY_DISPLAY_COUNT, nullptr),
                EINVAL);
    expectError(screen_get_context_property_pv(context, SCREEN_PROPERTY_DISPLAYS, nullptr), EINVAL);
    expectError(screen_get_display_property_iv(display(), SCREEN_PROPERTY_SIZE, nullptr), EINVAL);
    expectError(screen_get_display_property_iv(nullptr, SCREEN_PROPERTY_SIZE, values), EINVAL);
    expectError(screen_destroy_context(nullptr), EINVAL);
}

TEST_F(Screen, RefusesPrivilegedContexts) {
    screen_context_t other = nullptr;
    expectError(screen_create_context(&other, 1), EPERM);
    EXPECT_EQ(other, nullptr);
}

TEST_F(Screen, RefusesTheHandlesOfADestroyedContext) {
    screen_context_t other = nullptr;
    ASSERT_EQ(screen_create_context(&other, SCREEN_APPLICATION_CONTEXT), 0);
    void* itsDisplay = nullptr;
    ASSERT_EQ(screen_get_context_property_pv(other, SCREEN_PROPERTY_DISPLAYS, &itsDisplay), 0);
    ASSERT_EQ(screen_destroy_context(other), 0);
    expectError(screen_destroy_context(other), EINVAL);
    expectError(screen_get_display_property_iv(static_cast<screen_display_t>(itsDisplay),
                                               SCREEN_PROPERTY_SIZE, values),
                EINVAL);
}

}  // namespace
