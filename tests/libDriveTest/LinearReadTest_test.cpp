#include "libDriveTest/LinearReadTest.h"

#include "ModuleFixture.h"

namespace libDriveTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using enum TestResult::Code;

constexpr const char* kLogger = "libDriveTest.LinearReadTest";

class LinearRead : public ModuleFixture {
protected:
    TestResult run() { return LinearReadTest(drive).run(); }
};

TEST_F(LinearRead, CutsTheRangeIntoChunks) {
    const struct {
        const char* given;
        std::uint64_t sectors;
        std::size_t reads;
        const char *first, *second, *last;
    } cases[] = {
        {"", 10, 10, "0+1 @7", "1+1 @7", "9+1 @7"},
        {"", 1000, 10, "0+100 @3", "100+100 @3", "900+100 @3"},
        {"", 1005, 11, "0+100 @3", "100+100 @3", "1000+5 @3"},
        {"", 1001, 11, "0+100 @3", "100+100 @3", "1000+1 @7"},
        {"", 2000, 16, "0+128 @3", "128+128 @3", "1920+80 @3"},
        {"XferSizeHinting=no", 1000, 1000, "0+1 @7", "1+1 @7", "999+1 @7"},
        {"IsolateFailedLBA=no", 1000, 10, "0+100 @7", "100+100 @7", "900+100 @7"},
        {"XferSizeHinting=no SectorPercentToTest=50", 1000, 500, "0+1 @7", "2+1 @7", "998+1 @7"},
        {"XferSizeHinting=no SectorPercentToTest=70", 1000, 700, "0+1 @7", "1+1 @7", "699+1 @7"},
        {"SectorPercentToTest=50", 1000, 10, "0+50 @3", "100+50 @3", "900+50 @3"},
        {"StartRange=10 EndRange=20 NumberOfSeeks=3", 1000, 3, "10+1 @7", "13+1 @7", "16+1 @7"},
        {"NumberOfSeeks=5000 SectorPercentToTest=150", 1000, 10, "0+100 @3", "100+100 @3", "900+100 @3"},
        {"StartRange=MAX-20 EndRange=2000", 1000, 10, "980+2 @3", "982+2 @3", "998+2 @3"},
    };
    for (const auto& c : cases) {
        give(c.given);
        drive.sectors = c.sectors;
        drive.reads.clear();
        EXPECT_EQ(run(), PASS);
        ASSERT_EQ(drive.reads.size(), c.reads);
        EXPECT_EQ(drive.reads[0], c.first);
        EXPECT_EQ(drive.reads[1], c.second);
        EXPECT_EQ(drive.reads.back(), c.last);
    }
    EXPECT_THAT(host.events, IsEmpty());
    EXPECT_THAT(
        host.linesOf(kLogger, 3),
        ElementsAre("The EndRange for testing is set a value greater then the capacity of the device, "
                    "setting this to the drive capacity"));
}

TEST_F(LinearRead, LogsItsParametersAndTellsItsProgress) {
    give("StartRange=5 EndRange=1000 SectorPercentToTest=50");
    drive.sectors = 1005;
    EXPECT_EQ(run(), PASS);
    EXPECT_THAT(host.percents, ElementsAre(0, 9, 19, 29, 39, 49, 59, 69, 78, 88, 98));
    auto lines = host.linesOf(kLogger, 1);
    ASSERT_EQ(lines.size(), 24U);
    EXPECT_EQ(lines[13], "Testing LBA 103 of 999 (49 sectors at a time) Percent: 49/497 [9]");
    EXPECT_EQ(lines[22], "Testing LBA 985 of 999 (49 sectors at a time) Percent: 490/497 [98]");
    EXPECT_EQ(lines[23], "Partial read @985 for 7");
    lines.resize(12);
    EXPECT_THAT(lines, ElementsAre("=== LinearReadTest parameters ===", " Test Percent Req.      50",
                                   " Sectors To Test:       497", " Start LBA: (inclusive) 5",
                                   " Divisor:               2", " Last LBA:  (exclusive) 1000",
                                   " Disk has Sectors:      1005", " Sector Size:           512",
                                   " Opt. xfer blocks:      49", " Partial Chunk Read @   490",
                                   " Isolate Failing LBA    yes", " Retries:               2"));
}

/// Hears what is settled: "SECTORS:ERRORS".
struct Settlements : libDrive2::DriveObserver {
    void onOperation(const libDrive2::DriveOperationReport& /*report*/) override {}
    void onSettled(std::uint64_t sectors, std::uint32_t errors) override {
        heard += std::to_string(sectors) + ":" + std::to_string(errors) + " ";
    }
    std::string heard;
};

TEST_F(LinearRead, GoesOnBehindWhatIsDone) {
    Settlements settled;
    drive.setObserver(&settled);
    drive.sectors = 1005;
    drive.bad = {150, 850};
    give("MaxErrors=2");
    EXPECT_EQ(run(), FAIL);
    EXPECT_EQ(settled.heard, "100:0 200:1 300:1 400:1 500:1 600:1 700:1 800:1 900:2 ");
    settled.heard.clear();
    drive.reads.clear();
    give("MaxErrors=2 SectorsDone=700 ErrorsBefore=1");
    EXPECT_EQ(run(), FAIL);
    EXPECT_EQ(settled.heard, "800:1 900:2 ");
    EXPECT_EQ(drive.reads.front(), "700+100 @3");
    settled.heard.clear();
    drive.reads.clear();
    give("SectorsDone=1005 ErrorsBefore=1");
    EXPECT_EQ(run(), FAIL);
    give("SectorsDone=1000");
    EXPECT_EQ(run(), PASS);
    EXPECT_THAT(drive.reads, ElementsAre("1000+5 @3"));
    EXPECT_EQ(settled.heard, "1005:0 ");
    give("SectorsDone=150");
    EXPECT_EQ(run(), BADPARAMS);
    drive.setObserver(nullptr);
}

TEST_F(LinearRead, RefusesBadParameters) {
    const std::pair<const char*, const char*> cases[] = {
        {"StartRange=junk EndRange=junk", "StartRange:junk"},
        {"EndRange=100% SectorPercentToTest=0", "EndRange:100%"},
        {"StartRange=MAX SectorPercentToTest=0", "SectorPercentToTest:0"},
        {"SectorPercentToTest=100.5", "SectorPercentToTest:100.5"},
        {"StartRange=500 EndRange=500", "StartRange:500, EndRange:500"},
        {"StartRange=MAX", "StartRange:MAX, EndRange:MAX"},
        {"StartRange=1000 EndRange=2000", "StartRange:1000, EndRange:2000"},
        {"EndRange=1 SectorPercentToTest=50",
         "StartRange:MIN, EndRange:1, NumberOfSeeks:0, SectorPercentToTest:50"},
        {"SectorPercentToTest=-5", "StartRange:MIN, EndRange:MAX, NumberOfSeeks:0, SectorPercentToTest:-5"},
    };
    for (const auto& [given, params] : cases) {
        host.events.clear();
        host.log.clear();
        give(given);
        EXPECT_EQ(run(), BADPARAMS);
        EXPECT_THAT(host.eventsOf("error"),
                    ElementsAre(std::string("invalidParameters(params=") + params + ")"));
        EXPECT_EQ(host.events.size(), 1U);
        EXPECT_THAT(host.linesOf(kLogger, 4),
                    ElementsAre(std::string("invalidParameters: params=") + params));
    }
    EXPECT_THAT(drive.reads, IsEmpty());
}

TEST_F(LinearRead, EndsAtOnceWithoutMediumOrSize) {
    drive.optimal = 0;
    EXPECT_EQ(run(), INTERNALERROR);
    EXPECT_THAT(host.events, IsEmpty());
    drive.sectorBytes = 0;
    EXPECT_EQ(run(), WARN);
    drive.sectors = 0;
    EXPECT_EQ(run(), WARN);
    EXPECT_THAT(host.eventsOf("WARNING"), ElementsAre("cannotGetSectorSize()", "cannotGetTotalSectors()"));
    drive.present = false;
    drive.removable = true;
    host.answers.assign(5, MessageBox2_Returns::OK);
    EXPECT_EQ(run(), NOMEDIA);
    EXPECT_EQ(host.prompts.size(), 3U);
    give("MaxRetries=1");
    EXPECT_EQ(run(), NOMEDIA);
    EXPECT_EQ(host.prompts.size(), 4U);
    EXPECT_THAT(drive.reads, IsEmpty());
}

TEST_F(LinearRead, NarrowsAFailedChunkToItsSectors) {
    give("RetryCount=0");
    drive.sectors = 35;
    drive.bad = {4, 34};
    EXPECT_EQ(run(), FAIL);
    EXPECT_THAT(host.eventsOf("ERR"),
                ElementsAre("readSectorErr(ReadSector=4)", "readSectorErr(ReadSector=34)"));
    EXPECT_THAT(drive.reads, ElementsAre("0+3 @3", "3+3 @3", "3+1 @7", "4+1 @7", "5+1 @7", "6+3 @3", "9+3 @3",
                                         "12+3 @3", "15+3 @3", "18+3 @3", "21+3 @3", "24+3 @3", "27+3 @3",
                                         "30+3 @3", "33+2 @3", "33+1 @7", "34+1 @7"));
    EXPECT_THAT(host.linesOf(kLogger, 3),
                ElementsAre("Error reading sectors 3 through 5, due to: sector 4 is bad",
                            "Error reading sectors 33 through 34, due to: sector 34 is bad"));
    EXPECT_TRUE(host.logged("Failed to read sector(s) [2] starting at LBA 33 into buffer of size: 1024"));
    EXPECT_TRUE(host.logged("Narrowing read failure, by testing one sector at LBA: 5"));
    EXPECT_EQ(host.percents.size(), 12U);
}

TEST_F(LinearRead, ReportsAWholeChunkThatItMustNotOrCannotNarrow) {
    drive.sectors = 25;
    drive.bad = {3, 24};
    for (const char* const given : {"IsolateFailedLBA=no RetryCount=0", "XferSizeHinting=no RetryCount=0"}) {
        give(given);
        EXPECT_EQ(run(), FAIL);
    }
    EXPECT_THAT(host.eventsOf("ERR"),
                ElementsAre("readSectorRangeErr(sector=2, lastSector=3)", "readSectorErr(ReadSector=24)",
                            "readSectorErr(ReadSector=3)", "readSectorErr(ReadSector=24)"));
    EXPECT_EQ(drive.reads.size(), 13U + 25U);
}

TEST_F(LinearRead, WarnsOfAChunkWhoseSectorsAreAllGood) {
    const auto shared = open("sim:disk,sectors=1000,transient=500:1");
    EXPECT_EQ(LinearReadTest(shared).run(), WARN);
    const std::string why =
        "reading sectors 500 through 599 of sim:disk,sectors=1000,transient=500:1 failed: unrecovered read "
        "error at sector 500";
    EXPECT_THAT(host.eventsOf("WARNING"),
                ElementsAre("isolationRecovered(sector=500, lastSector=599, errmsg=" + why + ")"));
    EXPECT_THAT(
        host.linesOf(kLogger, 4),
        ElementsAre("Unable to isolate individual sectors in the range 500 through 599, original error "
                    "message: " +
                    why));
}

TEST_F(LinearRead, StopsAtTheErrorLimitWithinAChunk) {
    give("MaxErrors=2 RetryCount=0");
    drive.bad = {205, 206, 207};
    EXPECT_EQ(run(), FAIL);
    EXPECT_EQ(drive.reads.back(), "206+1 @7");
    EXPECT_THAT(host.keys(), ElementsAre("readSectorErr", "readSectorErr", "hitMaxErr"));
    EXPECT_THAT(host.percents, ElementsAre(0, 10, 20));
}

TEST_F(LinearRead, StopsOnRequestAfterTheChunk) {
    drive.bad = {105};
    // The first check is that for a medium.
    host.stop = [](int check) { return check == 3; };
    EXPECT_EQ(run(), USERABORTED);
    EXPECT_EQ(drive.reads.back(), "199+1 @7");
    EXPECT_THAT(host.percents, ElementsAre(0, 10));
    EXPECT_THAT(host.keys(), ElementsAre("readSectorErr"));
}

/// The drive goes away, or is busy, at every command in turn until the run is over before. Narrowing, 8
/// commands find the bad sector (of them 2 retries), and 16 read the drive; else 6 (2 retries) and 12.
TEST_F(LinearRead, NeverTakesALostDriveForBadSectors) {
    struct Fault {
        const char *key, *event;
        TestResult result;
    };
    const Fault gone{"gone-at=", "CannotAccessDevice()", CANNOTRUN};
    const Fault busy{"busy-at=", "deviceBusy()", DEVICEBUSY};
    const struct {
        const Fault& fault;
        const char* given;
        int untilError, untilEnd;
        const char* error;
    } cases[] = {
        {gone, "", 8, 16, "readSectorErr(ReadSector=13)"},
        {busy, "", 8, 16, "readSectorErr(ReadSector=13)"},
        {gone, "IsolateFailedLBA=no", 6, 12, "readSectorRangeErr(sector=12, lastSector=15)"},
        {busy, "IsolateFailedLBA=no", 6, 12, "readSectorRangeErr(sector=12, lastSector=15)"},
    };
    for (const auto& c : cases)
        for (int command = 1; command <= c.untilEnd + 1; ++command) {
            SCOPED_TRACE(c.fault.key + std::to_string(command) + c.given);
            host.events.clear();
            give(c.given);
            const auto shared = open("sim:disk,sectors=40,bad=13," + (c.fault.key + std::to_string(command)));
            const bool counted = command > c.untilError;
            EXPECT_EQ(LinearReadTest(shared).run(), counted ? TestResult(FAIL) : c.fault.result);
            EXPECT_EQ(host.eventsOf("ERR"), std::vector<std::string>(counted ? 1 : 0, c.error));
            EXPECT_EQ(host.eventsOf("WARNING"),
                      std::vector<std::string>(command <= c.untilEnd ? 1 : 0, c.fault.event));
        }
}

}  // namespace
}  // namespace libDriveTest
