#include <gtest/gtest.h>

#include <vector>

#include "drivetest/run/HeatWatch.h"
#include "zel/Clock.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;

/// A drive that becomes a degree hotter in ten seconds of work, and cooler while it rests.
class HotDrive : public zel::SimulatedClock {
public:
    void sleep(Duration duration) override {
        SimulatedClock::sleep(duration);
        if (cools)
            tenths -= std::chrono::duration_cast<std::chrono::seconds>(duration).count();
    }
    void work() {
        advance(1s);
        ++tenths;
    }
    std::optional<std::int64_t> read() {
        ++questions;
        return tells ? std::optional(tenths / 10) : std::nullopt;
    }

    std::int64_t tenths = 300;  ///< of a degree
    int questions = 0;
    bool cools = true;
    bool tells = true;
};

class HeatWatchTest : public testing::Test {
protected:
    HeatWatchTest() { zel::Clock::install(&drive); }
    ~HeatWatchTest() override { zel::Clock::install(nullptr); }

    HeatWatch watch() {
        return {[this] { return drive.read(); }, 55};
    }
    /// Gives how long it rested each time.
    std::vector<zel::Clock::Duration> work(HeatWatch& watch, std::chrono::seconds time) {
        std::vector<zel::Clock::Duration> rests;
        for (std::chrono::seconds worked{0}; worked < time; worked += 1s) {
            drive.work();
            if (!watch.tooHot())
                continue;
            const zel::Stopwatch rest;
            watch.cool([this] { return isStopping; });
            rests.push_back(rest.elapsed());
        }
        return rests;
    }

    HotDrive drive;
    bool isStopping = false;
};

TEST_F(HeatWatchTest, LetsItRestUntilItIsCooler) {
    HeatWatch heat = watch();
    EXPECT_TRUE(work(heat, 250s).empty());
    // From 55 to 56 or more, down to 50, and up again.
    const auto rests = work(heat, 300s);
    ASSERT_GE(rests.size(), 2U);
    for (const auto rest : rests) {
        EXPECT_GE(rest, 60s);
        EXPECT_LE(rest, 150s);
    }
    drive.tenths = 900;
    isStopping = true;
    EXPECT_EQ(work(heat, 61s), std::vector<zel::Clock::Duration>{0s});
}

TEST_F(HeatWatchTest, GivesUpWhereItStaysHotOrDoesNotTell) {
    drive.tenths = 600;
    drive.cools = false;
    HeatWatch heat = watch();
    EXPECT_EQ(work(heat, 600s), std::vector<zel::Clock::Duration>{30min});
    drive.questions = 0;
    drive.tells = false;
    HeatWatch silent = watch();
    EXPECT_TRUE(work(silent, 600s).empty());
    EXPECT_EQ(drive.questions, 1);
}

}  // namespace
}  // namespace drivetest
