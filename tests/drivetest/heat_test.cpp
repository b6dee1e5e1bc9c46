#include <gtest/gtest.h>

#include <tuple>
#include <vector>

#include "drivetest/run/HeatWatch.h"
#include "drivetest/run/RestClock.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/HealthMonitor.h"
#include "zel/Clock.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;

/// Towards 70 °C while it reads.
constexpr const char* kHeating = "sim:ata,sectors=100000,speed=1,temperature=30,heats=40:300";

/// A drive that becomes a degree hotter in ten seconds of work, and cooler while it rests.
class HotDrive : public zel::SimulatedClock {
public:
    void sleep(Duration duration) override {
        SimulatedClock::sleep(duration);
        for (slept += duration; slept >= 1s; slept -= 1s)
            tenths -= cools ? 1 : 0;
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
    Duration slept{0};
    int questions = 0;
    bool cools = true;
    bool tells = true;
};

class HeatWatchTest : public testing::Test {
protected:
    using Rest = HeatWatch::Rest;

    HeatWatchTest() { zel::Clock::install(&drive); }
    ~HeatWatchTest() override { zel::Clock::install(nullptr); }

    HeatWatch watch(std::optional<std::int64_t> limit = 55) {
        return {[this] { return drive.read(); }, limit};
    }
    /// Gives how it rested, and how long.
    std::vector<std::pair<Rest, zel::Clock::Duration>> work(HeatWatch& watch, std::chrono::seconds time) {
        std::vector<std::pair<Rest, zel::Clock::Duration>> rests;
        for (std::chrono::seconds worked{0}; worked < time; worked += 1s) {
            drive.work();
            if (watch.isDue())
                watch.ask();
            if (!watch.tooHot())
                continue;
            const zel::Stopwatch rest;
            const Rest how = watch.cool([this] { return isStopping; });
            rests.emplace_back(how, rest.elapsed());
        }
        return rests;
    }

    HotDrive drive;
    bool isStopping = false;
};

TEST_F(HeatWatchTest, LetsItRestUntilItIsCooler) {
    HeatWatch heat = watch();
    EXPECT_TRUE(work(heat, 250s).empty());
    // From 56 down to 50 and up again, at a tenth of a degree in a second.
    const auto rests = work(heat, 300s);
    ASSERT_GE(rests.size(), 2U);
    for (const auto& [how, time] : rests) {
        EXPECT_EQ(how, Rest::cooled);
        EXPECT_GE(time, 60s);
        EXPECT_LE(time, 90s);
    }
    const HeatCourse course = heat.course().value();
    EXPECT_EQ(course.lowest, 31);
    EXPECT_EQ(course.highest, 57);
    EXPECT_EQ(course.rests, rests.size());
    EXPECT_GE(course.rested, rests.size() * 60s);
    heat.note(90);
    isStopping = true;
    EXPECT_EQ(work(heat, 1s), (decltype(rests){{Rest::stopped, 0s}}));
}

TEST_F(HeatWatchTest, NoticesAStopWhileItRests) {
    HeatWatch heat = watch();
    heat.note(90);
    const zel::Stopwatch rest;
    EXPECT_EQ(heat.cool([&rest] { return rest.elapsed() > 5s; }), Rest::stopped);
    EXPECT_LT(rest.elapsed(), 5500ms);
}

TEST_F(HeatWatchTest, GoesOnWithWhatWasBefore) {
    HeatWatch heat = watch(60);
    heat.goOnAfter({28, 66, 50, 55, 3, 200s});
    EXPECT_FALSE(heat.latest());
    EXPECT_EQ(heat.course().value().highest, 66);  // though the drive never tells again
    work(heat, 600s);
    const HeatCourse course = heat.course().value();
    EXPECT_EQ(std::tuple(course.lowest, course.highest, course.limit), std::tuple(28, 66, 60));
    EXPECT_GT(course.rests, 3U);
    EXPECT_GE(course.rested, 200s + (course.rests - 3) * 60s);
}

TEST_F(HeatWatchTest, GivesUpWhereItStaysHotOrDoesNotTell) {
    drive.tenths = 600;
    drive.cools = false;
    HeatWatch heat = watch();
    EXPECT_EQ(work(heat, 20s), (decltype(work(heat, 0s)){{Rest::inVain, 1h}}));
    heat.dropLimit();
    EXPECT_TRUE(work(heat, 600s).empty());

    drive.questions = 0;
    HeatWatch fallsSilent = watch();
    fallsSilent.note(60);
    drive.tells = false;
    EXPECT_EQ(work(fallsSilent, 1s), (decltype(work(heat, 0s)){{Rest::silent, 15s}}));
    EXPECT_FALSE(fallsSilent.isBlind());
    EXPECT_TRUE(work(fallsSilent, 600s).empty());
    EXPECT_TRUE(fallsSilent.isBlind());
    EXPECT_EQ(drive.questions, 3);
}

TEST_F(HeatWatchTest, NeverRestsWithoutALimit) {
    HeatWatch heat = watch(std::nullopt);
    EXPECT_TRUE(work(heat, 3600s).empty());
    EXPECT_EQ(drive.questions, 60);
    EXPECT_EQ(heat.latest(), 390);
    EXPECT_FALSE(watch(std::nullopt).course());
}

/// A drive whose rate is known, read as the tests do, with a thermometer between the transfers.
TEST(RestClock, KeepsRestsOutOfRates) {
    constexpr int kTransfers = 19200;
    constexpr std::uint32_t kSectors = 64;
    zel::SimulatedClock steady;
    zel::Clock::install(&steady);
    {
        RestClock clock;
        quix5::DiagDevice device;
        device.setLocators(kHeating, kHeating);
        device.setCapabilities(quix5::DeviceCapability::ATA | quix5::DeviceCapability::HardDrive);
        libDrive2::AtaDrive drive(libDrive2::AtaInfo::openAtaDevice(device, 0));
        const auto monitor = libDrive2::HealthMonitor::open(device);
        HeatWatch heat([&monitor] { return monitor->readTemperature(); }, 55);
        std::vector<std::uint8_t> buffer(std::size_t{kSectors} * 512);
        const zel::Stopwatch watch;
        for (int i = 0; i < kTransfers; ++i) {
            ASSERT_TRUE(drive.readSector(0, kSectors, buffer.data(), kSectors * 512));
            if (heat.isDue())
                heat.ask();
            const RestClock::Stop noPartOfTheTest(clock);
            if (heat.tooHot()) {
                EXPECT_EQ(heat.cool([] { return false; }), HeatWatch::Rest::cooled);
            }
        }
        const HeatCourse course = heat.course().value();
        EXPECT_EQ(watch.elapsed(), kTransfers * 31250us);
        EXPECT_EQ(steady.now(), kTransfers * 31250us + course.rested);
        EXPECT_GE(course.rests, 2U);
        EXPECT_LE(course.highest, 57);
        EXPECT_EQ(course.last > 50, true);
    }
    zel::Clock::install(nullptr);
}

}  // namespace
}  // namespace drivetest
