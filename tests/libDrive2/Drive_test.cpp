#include "libDrive2/Drive.h"

#include <algorithm>
#include <cstring>
#include <deque>

#include "Fixtures.h"
#include "libDrive2/OSDrive.h"
#include "zel/Format.h"

namespace libDrive2 {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

using Outcomes = std::deque<_LIBDRIVE2_ERROR_TYPES>;
constexpr auto kGood = LIBDRIVE2_NO_ERROR;
constexpr auto kMedia = LIBDRIVE2_MEDIA_ERROR;
constexpr auto kDrive = LIBDRIVE2_DRIVE_ERROR;
constexpr auto kLink = LIBDRIVE2_LINK_ERROR;

/// 100 sectors whose transfers take 5 ms and end as told, with the last outcome for good. It is its own
/// observer, journal and log of what happened.
class FakeDrive : public Drive, public DriveObserver, public SectorJournal {
public:
    Outcomes outcomes = {kGood};
    _LIBDRIVE2_ERROR_TYPES flushOutcome = kGood;
    bool recovers = false;
    bool journalWorks = true;
    unsigned calls = 0;
    std::vector<std::string> log;

    std::uint32_t physicalBytes = 512;
    std::string verdict = "as before";

    std::uint32_t getSectorSize() override { return 512; }
    std::uint32_t getPhysicalSectorSize() override { return physicalBytes; }
    std::uint64_t getSectorCount() override { return 100; }
    void onOperation(const DriveOperationReport& r) override {
        const char* const names[] = {"read", "write", "seek", "flush", "other"};
        log.push_back(zel::format("%s %u+%u: %i us, %u attempts, %u", names[static_cast<int>(r.operation)],
                                  r.lba, r.count, std::int64_t{r.duration / 1us}, r.attempts,
                                  std::uint32_t{r.outcome})
                          .utf8());
    }
    void onPlan(std::uint64_t sectors) override { log.push_back("plan " + std::to_string(sectors)); }
    bool protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) override {
        const auto* const text = static_cast<const char*>(data);
        const std::string start(text, strnlen(text, std::min<std::size_t>(bytes, 4)));
        log.push_back(zel::format("protect %u+%u %s %u", lba, count, start.c_str(), bytes).utf8());
        return journalWorks;
    }
    bool readOriginal(std::uint64_t /*lba*/, std::uint32_t /*count*/, void* /*data*/,
                      std::size_t /*bytes*/) override {
        return false;
    }
    bool release(std::uint64_t lba, std::uint32_t count) override {
        log.push_back(zel::format("release %u+%u", lba, count).utf8());
        return journalWorks;
    }
    bool expectWrites(const void* /*data*/, std::size_t /*bytes*/) override { return journalWorks; }
    [[nodiscard]] bool verifiesRestores() const override { return !verdict.empty(); }
    bool holdsOriginal(std::uint64_t lba, std::uint32_t count, const void*, std::size_t) override {
        log.push_back(zel::format("compare %u+%u", lba, count).utf8());
        return verdict == "as before";
    }
    [[nodiscard]] zel::Wording lastErrorStr() const override { return "it is full"; }

protected:
    _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t, std::uint32_t, void*, std::uint32_t) override {
        return transfer();
    }
    _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t, std::uint32_t, const void*, std::uint32_t) override {
        return transfer();
    }
    _LIBDRIVE2_ERROR_TYPES doFlushCache() override {
        log.emplace_back("flush");
        return flushOutcome;
    }

private:
    _LIBDRIVE2_ERROR_TYPES transfer() {
        zel::Clock::current().sleep(5ms);
        ++calls;
        const auto outcome = outcomes.front();
        if (outcomes.size() > 1)
            outcomes.pop_front();
        if (recovers)
            noteRecovered([] { return zel::Wording("the drive helped itself"); });
        return outcome == kGood ? kGood : fail(outcome, zel::format("error %u", calls));
    }
};

class DriveTest : public testing::Test {
protected:
    /// Reads one sector under a behaviour with these outcomes to come.
    bool read(unsigned behavior, std::uint32_t retries, Outcomes outcomes) {
        drive.calls = 0;
        drive.outcomes = std::move(outcomes);
        drive.setRetryCount(retries);
        drive.setRetryCallbackBehavior(static_cast<_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR>(behavior));
        return drive.readSector(0, 1, buffer, 512);
    }

    VirtualTime time;
    FakeDrive drive;
    char buffer[512] = {};
};

TEST_F(DriveTest, RetriesOnlyWhatMayPassAndOnlyWhenToldTo) {
    for (unsigned error = 1; error <= 10; ++error)
        for (const unsigned behavior : {0U, 1U, 2U, 3U, 4U, 7U})
            for (const unsigned retries : {0U, 3U, 7U}) {
                const bool passing = error == 2 || error == 3 || error == 4 || error == 10;
                EXPECT_FALSE(read(behavior, retries, {static_cast<_LIBDRIVE2_ERROR_TYPES>(error)}));
                EXPECT_EQ(drive.calls, passing && behavior >= 4 ? 1 + retries : 1)
                    << "behaviour " << behavior << ", retries " << retries << ", error " << error;
                EXPECT_EQ(drive.lastError, error);
            }
    EXPECT_TRUE(read(7, 7, {kMedia, LIBDRIVE2_TIMEOUT, kGood}));
    EXPECT_EQ(drive.calls, 3U);
    EXPECT_EQ(drive.lastError, kGood);
    EXPECT_FALSE(read(7, 7, {kMedia, LIBDRIVE2_NO_ACCESS}));
    EXPECT_EQ(drive.lastError, LIBDRIVE2_NO_ACCESS);
    EXPECT_EQ(drive.getLastErrorStr(), "error 2");
}

/// Keeps each notification with the error text that the drive gives at that moment.
struct Notes : DriveCallback {
    explicit Notes(FakeDrive& notifier) : drive(notifier) {}
    void onDriveNotify(std::uint32_t code) override {
        drive.log.push_back(std::to_string(code) + ": " + drive.getLastErrorStr().utf8());
    }
    FakeDrive& drive;
};

TEST_F(DriveTest, NotifiesByTheBitsOfTheBehaviour) {
    const struct {
        unsigned behavior;
        Outcomes outcomes;
        std::vector<std::string> notes;
    } cases[] = {{0, {kDrive}, {}},
                 {1, {kDrive}, {"3: error 1"}},
                 {2, {kDrive}, {}},
                 {3, {kDrive}, {"3: error 1"}},
                 {3, {kMedia, kGood}, {}},
                 {4, {kMedia, kGood}, {}},
                 {5, {kMedia, kGood}, {}},
                 {6, {kMedia, kGood}, {"4: error 1"}},
                 {7, {kLink, kMedia, kGood}, {"4: error 2"}},
                 {7, {kDrive}, {"3: error 4"}},
                 {7, {kMedia}, {}},
                 {7, {kGood}, {}}};
    drive.setCallback(std::make_unique<Notes>(drive));
    for (const auto& c : cases) {
        drive.log.clear();
        read(c.behavior, 3, c.outcomes);
        EXPECT_EQ(drive.log, c.notes) << "behaviour " << c.behavior << ", first " << c.outcomes.front();
    }
    drive.recovers = true;
    read(7, 0, {kGood});
    drive.recovers = false;
    read(7, 0, {kGood});
    EXPECT_THAT(drive.log, ElementsAre("4: the drive helped itself"));
}

/// The place of a virtual function among those of its class, by which other programs call it (Itanium C++
/// ABI: a pointer to it holds its offset).
template <class Function>
std::ptrdiff_t placeOf(Function function) {
    std::ptrdiff_t offset = 0;
    std::memcpy(&offset, &function, sizeof offset);
    return offset / static_cast<std::ptrdiff_t>(sizeof(void*));
}

TEST(DriveLayout, HooksStandWhereTheyArePublished) {
    struct Places : OSDrive {
        static std::vector<std::ptrdiff_t> all() {
            return {placeOf(&Places::getSectorSize),          placeOf(&Places::mediaState),
                    placeOf(&Places::waitForMedia),           placeOf(&Places::queryMediumInfo),
                    placeOf(&Places::reOpenHandle),           placeOf(&Places::doQueryDeviceInfo),
                    placeOf(&Places::doReadSector),           placeOf(&Places::doSeekSector),
                    placeOf(&Places::doPreventMediumRemoval), placeOf(&Places::doLoadDrive),
                    placeOf(&Places::setMediaCapabilities)};
        }
    };
    // The destructor has two.
    EXPECT_THAT(Places::all(), ElementsAre(0, 4, 11, 17, 21, 22, 25, 28, 34, 36, 37));
}

TEST_F(DriveTest, RefusesImpossibleTransfersWithoutTryingThem) {
    const struct {
        std::uint64_t lba;
        std::uint32_t count, bytes;
        const char* text;
    } cases[] = {
        {100, 1, 512, "sectors 100 through 100 lie beyond the end of the medium"},
        {99, 2, 1024, "sectors 99 through 100 lie beyond the end of the medium"},
        {18446744073709551614U, 1, 512,
         "sectors 18446744073709551614 through 18446744073709551614 lie beyond the end of the medium"},
        {0, 4294967295U, 512, "sectors 0 through 4294967294 lie beyond the end of the medium"},
        {0, 2, 1023, "a buffer of 1023 bytes does not hold 2 sectors"}};
    for (const auto& c : cases) {
        EXPECT_FALSE(drive.readSector(c.lba, c.count, buffer, c.bytes));
        EXPECT_FALSE(drive.readStreaming(c.lba, c.count, buffer, c.bytes));
        EXPECT_FALSE(drive.writeSector(c.lba, c.count, buffer, c.bytes));
        EXPECT_EQ(drive.lastError, LIBDRIVE2_BAD_ARGUMENT);
        EXPECT_EQ(drive.getLastErrorStr(), c.text);
    }
    EXPECT_FALSE(drive.seekSector(100));
    EXPECT_EQ(drive.calls, 0U);
    EXPECT_TRUE(drive.readSector(99, 1, buffer, 512) && drive.seekSector(99));
}

TEST_F(DriveTest, TellsTheObserverEveryOperationOnce) {
    drive.setObserver(&drive);
    drive.planSectors(100);
    read(7, 3, {kMedia, kLink, kGood});
    drive.writeSector(99, 1, buffer, 512);
    drive.seekSector(3);
    drive.readSector(98, 3, buffer, 512);
    drive.clearCache();
    drive.streamingTransfers = true;
    read(7, 3, {kMedia});
    EXPECT_THAT(drive.log, ElementsAre("plan 100", "read 0+1: 15000 us, 3 attempts, 0",
                                       "write 99+1: 5000 us, 1 attempts, 0",
                                       "seek 3+1: 5000 us, 1 attempts, 0", "read 98+3: 0 us, 1 attempts, 5",
                                       "other 0+0: 0 us, 1 attempts, 1", "read 0+1: 0 us, 4 attempts, 2"));
}

TEST_F(DriveTest, ReleasesProtectedSectorsOnlyAfterAFlush) {
    drive.flushOutcome = kMedia;
    EXPECT_TRUE(drive.protectSectors(0, 1, "x", 1) && drive.releaseSectors(0, 1));
    EXPECT_THAT(drive.log, testing::IsEmpty());  // there is no journal
    drive.setJournal(&drive);
    EXPECT_TRUE(drive.protectSectors(7, 2, "data", 1024));
    EXPECT_FALSE(drive.releaseSectors(7, 2));
    drive.flushOutcome = kGood;
    drive.verdict = "something else";
    EXPECT_FALSE(drive.releaseSectors(7, 2));
    EXPECT_EQ(drive.lastError, LIBDRIVE2_NO_ACCESS);
    drive.verdict = "as before";
    EXPECT_TRUE(drive.releaseSectors(7, 2));
    EXPECT_THAT(drive.log, ElementsAre("protect 7+2 data 1024", "flush", "flush", "compare 7+2", "flush",
                                       "compare 7+2", "release 7+2"));
    drive.journalWorks = false;
    EXPECT_FALSE(drive.protectSectors(7, 2, "data", 1024));
    EXPECT_EQ(drive.getLastErrorStr(), "the journal did not take the data at sector 7: it is full");
}

TEST_F(DriveTest, ProtectsWholePhysicalSectors) {
    drive.setJournal(&drive);
    drive.verdict.clear();
    drive.physicalBytes = 4096;
    const std::vector<char> data(11 * 512, 'x');
    EXPECT_TRUE(drive.protectSectors(7, 2, data.data(), 1024) && drive.releaseSectors(7, 2));
    EXPECT_TRUE(drive.protectSectors(88, 11, data.data(), data.size()));  // to the end, which is no multiple
    drive.outcomes = {kMedia, kGood};
    EXPECT_TRUE(drive.protectSectors(7, 1, data.data(), 512));  // the sectors before it cannot be read
    for (std::string& line : drive.log)
        line = line.substr(0, line.find_first_of(" ", line.find(' ') + 1));
    EXPECT_THAT(drive.log,
                ElementsAre("protect 0+16", "flush", "release 0+16", "protect 88+12", "protect 7+1"));
}

}  // namespace
}  // namespace libDrive2
