// A sample session as a flashing tool would show it: a status text, the overall percent, lines of
// which some wrap, and several items that reach 100 at different speeds.
#include <algorithm>
#include <array>
#include <cerrno>
#include <chrono>
#include <cmath>
#include <string>
#include <thread>

#include "cli/session.h"
#include "cli/verbs.h"

namespace {

constexpr unsigned int kDefaultSeconds = 30;
// Twice as often as the console draws, so that no drawn frame is behind.
constexpr std::chrono::milliseconds kStep{500};

struct Item {
    const char* name;
    const char* label;
    double begin;  // fractions of the session
    double end;
};

constexpr Item kItems[] = {
    {"bootloader", "Boot loader", 0.04, 0.25},  {"kernel", "Kernel image", 0.10, 0.55},
    {"rootfs", "Root file system", 0.15, 0.95}, {"maps", "Map data", 0.30, 0.80},
    {"radio", "Radio firmware", 0.45, 0.70},
};

struct Line {
    double at;  // fraction of the session
    const char* text;
};

constexpr Line kLines[] = {
    {0.00, "Update package 4.2.0 found on the service stick"},
    {0.02,
     "Signature checked: the package is complete, comes from the release key of this year and "
     "is meant for this unit; the versions that are installed now will be kept in the second "
     "slot until the new ones have started once, so that a failed update can be taken back"},
    {0.04, "Writing the boot loader"},
    {0.10, "Writing the kernel image"},
    {0.15, "Writing the root file system, 412 MiB"},
    {0.25, "Boot loader: written and read back"},
    {0.30,
     "Copying map data; this part is the longest, and the unit must stay on external power "
     "until the status line says that it is done"},
    {0.45, "Radio firmware: switching the module to its loader"},
    {0.55, "Kernel image: written and read back"},
    {0.70, "Radio firmware: accepted"},
    {0.80, "Map data: 18 regions copied"},
    {0.95, "Root file system: written and read back"},
    {1.00, "Update complete"},
};

int percentOf(const Item& item, double now) {
    const double fraction = (now - item.begin) / (item.end - item.begin);
    return static_cast<int>(std::lround(100 * std::clamp(fraction, 0.0, 1.0)));
}

int writeLine(velkaris_console* console, const std::string& text) {
    return velkaris_write(console, text.data(), text.size());
}

// Shows everything that is new between two moments of the session, in the order in which it came.
class Play {
public:
    Play(velkaris_console* console, unsigned int patience)
        : console_(console), patience_(patience) {
        shown_.fill(-1);
    }

    // Waits for a console that went away, `patience` milliseconds at most, 0 for as long as it
    // takes. A new one gets the status again, and each item when its percent changes.
    int showUntil(double now, const char* status) {
        int error = showOnce(now, status);
        for (auto waited = std::chrono::milliseconds::zero();
             error == ENODEV && (patience_.count() == 0 || waited < patience_); waited += kStep) {
            std::this_thread::sleep_for(kStep);
            error = showOnce(now, status);
        }
        return error;
    }

private:
    int showOnce(double now, const char* status) {
        if (const int error = velkaris_set_status(console_, status))
            return error;
        for (; nextLine_ < std::size(kLines) && kLines[nextLine_].at <= now; ++nextLine_) {
            if (const int error = writeLine(console_, kLines[nextLine_].text))
                return error;
        }
        for (size_t i = 0; i < std::size(kItems); ++i) {
            if (const int error = showItem(i, now))
                return error;
        }
        return velkaris_set_percent(console_, std::max(1, static_cast<int>(100 * now)));
    }

    int showItem(size_t index, double now) {
        const Item& item = kItems[index];
        const int percent = percentOf(item, now);
        if (now < item.begin || percent == shown_[index])
            return 0;
        const int error = velkaris_put_item(console_, item.name, item.label, percent);
        if (error == 0)
            shown_[index] = percent;
        return error;
    }

    velkaris_console* console_;
    const std::chrono::milliseconds patience_;
    size_t nextLine_ = 0;
    std::array<int, std::size(kItems)> shown_;
};

int play(Play& session, std::chrono::milliseconds length) {
    using Clock = std::chrono::steady_clock;
    const auto start = Clock::now();
    for (auto at = std::chrono::milliseconds::zero(); at < length; at += kStep) {
        const double now = static_cast<double>(at.count()) / static_cast<double>(length.count());
        if (const int error = session.showUntil(now, "Updating the unit - do not switch it off"))
            return error;
        std::this_thread::sleep_until(start + std::min(at + kStep, length));
    }
    return session.showUntil(1.0, "Update complete - the unit may be switched off");
}

}  // namespace

int demoVerb(const Options& options, const Operands&) {
    Session session(options);
    if (const int status = session.open())
        return status;
    Play demo(session.console(), options.timeLimit);
    const std::chrono::seconds length(options.seconds.value_or(kDefaultSeconds));
    return session.report(play(demo, length));
}
