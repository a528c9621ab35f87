// Writes of every size and content, and commands with every payload: what arrives is what was sent.
#include <errno.h>

#include <cstring>
#include <map>
#include <random>

#include "e2e/transport.h"

namespace {

constexpr size_t kMebibyte = 1 << 20;
constexpr int kAttempts = 5;
constexpr uint32_t kManyRowsWidth = 480;

class Writes : public OnEachTransport {};

// Numbers without blanks: rows are cut hard, so that a byte lost anywhere moves all that follows.
std::string numberedText(size_t size) {
    std::string text;
    text.reserve(size + 8);
    for (unsigned number = 1; text.size() < size; ++number) {
        char digits[16];
        snprintf(digits, sizeof(digits), "%07u,", number);
        text += digits;
    }
    text.resize(size);
    return text;
}

std::string randomBytes(std::mt19937* random, size_t size) {
    std::string bytes(size, '\0');
    for (char& byte : bytes)
        byte = static_cast<char>((*random)());
    return bytes;
}

// The console's state as commands with arbitrary payloads leave it. Percents of items are kept at
// 100 and above, so that no clock runs.
class ExpectedState {
public:
    int setStatus(const std::string& payload) {
        if (payload.empty())
            return EINVAL;
        model.status = textAt(payload, 0);
        return 0;
    }

    int addItem(const std::string& payload) {
        const int32_t name = field(payload, 0), label = field(payload, 4);
        if (!inside(payload, name))
            return EINVAL;
        const std::string key = textAt(payload, 12 + name);
        if (places.count(key) != 0)
            return 0;
        if (!inside(payload, label))
            return EINVAL;
        places[key] = model.rows.size();
        model.addItem(textAt(payload, 12 + label), field(payload, 8), 0);
        return 0;
    }

    int updateItem(const std::string& payload) {
        const int32_t name = field(payload, 0);
        if (!inside(payload, name))
            return EINVAL;
        const auto place = places.find(textAt(payload, 12 + name));
        if (place != places.end())
            model.rows[place->second].percent = field(payload, 8);
        return 0;
    }

    ReferenceModel model;

private:
    static int32_t field(const std::string& payload, size_t offset) {
        int32_t value = -1;
        if (payload.size() >= 12)
            memcpy(&value, payload.data() + offset, sizeof(value));
        return value;
    }

    static bool inside(const std::string& payload, int32_t offset) {
        return offset >= 0 &&
               12 + static_cast<int64_t>(offset) < static_cast<int64_t>(payload.size());
    }

    static std::string textAt(const std::string& payload, size_t offset) {
        return payload.substr(offset, payload.find('\0', offset) - offset);
    }

    std::map<std::string, size_t> places;
};

// Random, but with offsets that are inside now and then, and percents of at least 100.
std::string randomPayload(std::mt19937* random, size_t size) {
    std::string payload = randomBytes(random, size);
    if (size < 12)
        return payload;
    int32_t fields[3];
    memcpy(fields, payload.data(), sizeof(fields));
    for (int i = 0; i < 2; ++i) {
        if ((*random)() % 4 != 0)
            fields[i] = static_cast<int32_t>((*random)() % (size + 3)) - 14;
    }
    fields[2] = 100 + static_cast<int32_t>((*random)() % 1000);
    memcpy(&payload[0], fields, sizeof(fields));
    return payload;
}

int send(ConsoleClient* client, uint32_t code, const std::string& payload) {
    return client->command(code, {payload.begin(), payload.end()});
}

}  // namespace

TEST_P(Writes, OfEverySizeArriveWhole) {
    ConsoleProcess console(manyRowsOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 6);
    ReferenceModel model;
    for (const size_t size : {size_t{1}, size_t{2031}, size_t{2032}, size_t{2033}, size_t{2047},
                              size_t{2048}, size_t{4096}, size_t{0}}) {
        const std::string text = numberedText(size);
        EXPECT_EQ(client.write(text), static_cast<ssize_t>(size));
        addWritten(&model, font, kManyRowsWidth, text);
    }
    expectSamePicture("sizes", predictManyRows(model), nextFrame(&console));
}

TEST_P(Writes, OfAMebibyteAndAroundArriveWhole) {
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 6);
    ConsoleProcess console(manyRowsOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    for (const size_t size : {kMebibyte - 1, kMebibyte, kMebibyte + 1, 3 * kMebibyte + 7}) {
        const std::string text = numberedText(size);
        EXPECT_EQ(client.write(text), static_cast<ssize_t>(size));
        ReferenceModel model;
        addWritten(&model, font, kManyRowsWidth, text);
        expectSamePicture("size" + std::to_string(size), predictManyRows(model),
                          nextFrame(&console));
    }
}

TEST_P(Writes, OfSixtyFourMebibytesArriveWhole) {
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 6);
    ConsoleProcess console(manyRowsOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    const std::string text = numberedText(64 * kMebibyte);
    EXPECT_EQ(client.write(text), static_cast<ssize_t>(text.size()));
    ReferenceModel model;
    addWritten(&model, font, kManyRowsWidth, text);
    model.rows.erase(model.rows.begin(), model.rows.end() - 1000);
    expectSamePicture("size64Mi", predictManyRows(model), nextFrame(&console));
}

TEST_P(Writes, EndAtTheirFirstNul) {
    ConsoleProcess console(usualOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    std::string large(64 * kMebibyte, 'x');
    large[5] = '\0';
    EXPECT_EQ(client.write(std::string("x\0y", 3)), 3);
    EXPECT_EQ(client.write(std::string("whole\0", 6)), 6);
    EXPECT_EQ(client.write(large), static_cast<ssize_t>(large.size()));
    EXPECT_EQ(client.write(std::string("\0never", 6)), 6);
    ReferenceModel model;
    for (const char* line : {"x", "whole", "xxxxx"})
        model.addLine(line);
    expectSamePicture("nul", predictUsual(model), nextFrame(&console));
}

TEST_P(Writes, OfRubbishShowWhatTheirBytesSay) {
    std::mt19937 random(1);
    const ReferenceFont font = loadReferenceFont(VELKARIS_TEST_FONT, 6);
    ConsoleProcess console(manyRowsOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    ReferenceModel model;
    for (int number = 0; number < 200; ++number) {
        const std::string text = randomBytes(&random, random() % 3000);
        EXPECT_EQ(client.write(text), static_cast<ssize_t>(text.size()));
        addWritten(&model, font, kManyRowsWidth, text);
    }
    expectSamePicture("rubbish", predictManyRows(model), nextFrame(&console));
}

TEST_P(Writes, CommandsWithPayloadsOfEveryLengthDoWhatTheySayOrAreRefused) {
    std::mt19937 random(2);
    ConsoleProcess console(manyRowsOptions());
    ASSERT_TRUE(console.waitForNode()) << console.errors();
    ConsoleClient client(console.node());
    ExpectedState expected;
    for (size_t size = 0; size <= 2048; ++size) {
        // What is longer than the node's buffer arrives cut.
        const std::string payload = randomPayload(&random, size);
        const std::string seen = payload.substr(0, 2032);
        EXPECT_EQ(send(&client, kAddItemCode, payload), expected.addItem(seen)) << size;
        EXPECT_EQ(send(&client, kUpdateItemCode, payload), expected.updateItem(seen)) << size;
        EXPECT_EQ(send(&client, kSetStatusCode, payload), expected.setStatus(seen)) << size;
        EXPECT_EQ(send(&client, kSetPercentCode, std::string(size, '\0')), size < 4 ? EINVAL : 0);
        EXPECT_EQ(send(&client, random() | 0x40000000u, payload), ENOSYS) << size;
    }
    EXPECT_GT(expected.model.rows.size(), 50u);
    expectSamePicture("payloads", predictManyRows(expected.model), nextFrame(&console));
}

VELKARIS_ON_EACH_TRANSPORT(Writes);
