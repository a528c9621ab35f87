// What the root's .clang-tidy must refuse, and beside it what it must let pass. Never built.
constexpr int kLimit = 3;
constexpr int limit = 3;  // refused
const int kStart = kLimit;
const int start_at = limit;  // refused

enum class Event { gone, wasSeen };
enum class Signal { gone, SEEN };  // refused

struct Point {
    int left;
    int top_;  // refused
};

class counter {};  // refused

class Meter {
public:
    int read() const { return value_ + ceiling; }
    int Read() const { return 0; }  // refused

private:
    int value_ = kStart;
    int ceiling = start_at;  // refused
};

int sum(int first, int second);
int sum(int first, int second) {
    return first + second;
}

int difference(int first, int other);  // refused
int difference(int first, int second) {
    return first - second;
}

namespace {

int ignore(int first, int second) {  // refused
    return first;
}

}  // namespace

int used() {
    const int first_one = ignore(1, 2);  // refused
    return first_one;
}

#define VELKARIS_ONE 1
#define ONE 1  // refused
