#include "FaultyDriveFixture.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/LinearPatternTest.h"

namespace libDriveTest {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::EndsWith;
using enum TestResult::Code;

constexpr const char* kPatternLogger = "libDriveTest.LinearPatternTest";

class PatternTests : public FaultyDriveFixture {
protected:
    TestResult runOnce(const std::string& given) {
        return run<LinearPatternTest>("NumberOfPatterns=1 RetryCount=0 " + given);
    }
};

TEST_F(PatternTests, CutTheRangeIntoChunks) {
    const struct {
        const char* given;
        int transfers;
        const char *start, *end;
    } cases[] = {
        {"SectorPercentToTest=10", 40, "w0+5 r0+5 w50+5 r50+5 w100+5 ", "w950+5 r950+5 "},
        {"EndRange=103", 42, "w0+5 r0+5 w5+5 ", "w95+5 r95+5 w100+3 r100+3 "},
        {"XferSizeHinting=no NumberOfSeeks=2 SectorPercentToTest=0", 4, "w0+1 r0+1 w500+1 ", "r500+1 "},
        {"StartRange=3 SectorPercentToTest=10", 50, "w3+4 r3+4 w43+4 ", "w923+4 r923+4 w963+3 r963+3 "},
        {"EndRange=2000 StartRange=MAX-20", 40, "w980+1 r980+1 w981+1 ", "w999+1 r999+1 "},
    };
    open("sim:disk,sectors=1000");
    for (const auto& c : cases) {
        EXPECT_EQ(runOnce(std::string("PreserveData=no ") + c.given), PASS);
        EXPECT_EQ(faulty->transfers, c.transfers) << c.given;
        EXPECT_EQ(traceLike(c.start), c.start);
        EXPECT_THAT(faulty->trace, EndsWith(c.end));
    }
    EXPECT_THAT(host.linesOf(kPatternLogger, 3), testing::SizeIs(1));
    EXPECT_TRUE(host.logged(" Last LBA:  (exclusive) 1000"));
}

TEST_F(PatternTests, TellWhatTheyDoInOrder) {
    open("sim:disk,sectors=1000");
    EXPECT_EQ(run<LinearPatternTest>("StartRange=1 EndRange=42 NumberOfPatterns=2"), PASS);
    EXPECT_THAT(
        linesOf("LinearPatternTest", 16),
        ElementsAre("=== LinearPatternTest parameters ===", " Test Percent Req.      100",
                    " Sectors To Test:       41", " Start LBA: (inclusive) 1", " Divisor:               1",
                    " Last LBA:  (exclusive) 42", " Disk has Sectors:      1000",
                    " Sector Size:           512", " Opt. xfer blocks:      2", " Partial Chunk @        40",
                    " Pattern Count:         2", " Isolate Failing LBA    yes", " Verify Only            no",
                    " Retries:               2", " Restore Data:          yes",
                    "Testing LBA 1 of 41 (2 sectors at a time) Percent: 0/41 [0]"));
    const auto lines = host.linesOf(kPatternLogger, 1);
    EXPECT_THAT(
        Strings(lines.end() - 7, lines.end()),
        ElementsAre("Testing LBA 41 of 41 (2 sectors at a time) Percent: 40/41 [97]",
                    "Partial block @41 for 1", "Backing up sector 41 (count: 1)", "Reading... 41",
                    " * LBA 41  Pattern #0", " * LBA 41  Pattern #1", "Restoring sector 41 (count: 1)"));
    // A pattern counts as one sector, so the progress jumps with the chunk.
    host.percents.resize(6);
    EXPECT_THAT(host.percents, ElementsAre(1, 2, 6, 7, 10, 12));
    open("sim:disk,sectors=40000");
    stopAfter(2);
    EXPECT_EQ(run<CacheTest>("StartRange=5 EndRange=33000 IsolateFailedLBA=no PreserveData=no"), USERABORTED);
    EXPECT_THAT(linesOf("CacheTest", 13),
                ElementsAre("=== CacheTest parameters ===", " Sectors To Test:       32768",
                            " Start LBA: (inclusive) 5", " Last LBA:  (exclusive) 33000",
                            " Disk has Sectors:      40000", " Sector Size:           512",
                            " Concurrent R/W blocks: 256", " Partial Chunk @        32768",
                            " Pattern Count:         5", " Isolate Failing LBA    no",
                            " Retries:               2", " Restore Data:          no",
                            "Testing LBA 232 of 32999 (256 sectors at a time) Percent: 0/32768 [0]"));
}

TEST_F(PatternTests, WriteTheirTables) {
    open("sim:disk,sectors=32768");
    std::vector<int> words;
    for (const int byte : {0xFF, 0x00, 0xF0, 0x0F, 0xAA, 0x55, 0x80, 0x40, 0x20, 0x10, 0x08, 0x04, 0x02, 0x01,
                           0x11, 0x22, 0x44, 0x88})
        words.push_back(byte * 0x0101);
    EXPECT_EQ(run<LinearPatternTest>("EndRange=1 NumberOfPatterns=18 PreserveData=no"), PASS);
    EXPECT_EQ(faulty->firstWords, words);
    EXPECT_EQ(runOnce("EndRange=1 OverridePattern=a5 NumberOfPatterns=0 PreserveData=no"), PASS);
    EXPECT_THAT(faulty->firstWords, ElementsAre(0xA5A5));
    EXPECT_EQ(run<LinearPatternTest>("VerifyOnly=yes OverridePattern=0f EndRange=20"), FAIL);
    EXPECT_EQ(host.eventsOf("ERR").size(), 20U);
    EXPECT_EQ(traceLike("r0+1 r1+1 r2+1 "), "r0+1 r1+1 r2+1 ");
    stopAfter(6);
    EXPECT_EQ(run<CacheTest>("PreserveData=no"), USERABORTED);
    EXPECT_THAT(faulty->firstWords, ElementsAre(0x0000, 0xFFFF, 0xAAAA, 0x5555, 0x1234));
}

TEST_F(PatternTests, GoOnAfterAFaultInTheFirstChunk) {
    const std::string planned = "sectors 0 through 1 of sim:disk,sectors=40 failed: planned";
    const std::string narrowing =
        "Unable to isolate individual sectors in the range 0 through 1, original error message: ";
    const std::string recovered = "WARNING isolationRecovered(sector=0, lastSector=1, errmsg=";
    const std::string afterRead = recovered + "reading " + planned + "); ";
    const std::string afterWrite = recovered + "writing " + planned + "); ";
    const struct {
        const char* given;
        std::string trace;
        TestResult verdict;
        std::string events;
        int priority = 0;
        std::string line{};
    } cases[] = {
        // The backup.
        {"", "r0+2! r0+1 r1+1 r2+2 w2+2 ", FAIL, "ERR cannotRdOrigRange(sector=0, endsector=1); ", 1,
         "Failed to backup sector 0 (count: 2)"},
        {"", "r0+2! r0+1 r1+1 r2+2 w2+2!8 |", FAIL,
         "ERR cannotRdOrigRange(sector=0, endsector=1); WARNING deviceBusy(); "},
        // A pattern's write.
        {"", "r0+2 w0+2! w0+1 w1+1 r0+2 w0+2 ", WARN, afterWrite, 4, narrowing + "writing " + planned},
        {"NumberOfPatterns=2", "r0+2 w0+2! w0+1! w1+1 w0+2 r0+2 w0+2 ", FAIL,
         "ERR writeSectorErr(WriteSector=0); ", 4, "Write sector 0 (count:  2) failed: "},
        {"MaxErrors=1", "r0+2 w0+2! w0+1! w0+2 |", FAIL,
         "ERR writeSectorErr(WriteSector=0); error hitMaxErr(MaxError=1); "},
        {"", "r0+2 w0+2! w0+1 w1+1!8 |", DEVICEBUSY, "WARNING deviceBusy(); "},
        {"IsolateFailedLBA=no", "r0+2 w0+2! w0+2 r2+2 ", FAIL,
         "ERR writeSectorRangeErr(sector=0, lastSector=1); "},
        // A pattern's read.
        {"NumberOfPatterns=2", "r0+2 w0+2 r0+2! r0+1 r1+1 w0+2 r0+2 w0+2 ", WARN, afterRead, 3,
         narrowing + "reading " + planned},
        {"NumberOfPatterns=2", "r0+2 w0+2 r0+2! r0+1 r1+1! w0+2 w0+2 r2+2 ", FAIL,
         "ERR readSectorErr(ReadSector=1); "},
        {"", "r0+2 w0+2 r0+2! r0+1!9 |", CANNOTRUN, "WARNING CannotAccessDevice(); "},
        {"IsolateFailedLBA=no", "r0+2 w0+2 r0+2! w0+2 w0+2 r2+2 ", FAIL,
         "ERR readSectorRangeErr(sector=0, lastSector=1); "},
        // A difference.
        {"NumberOfPatterns=2", "r0+2 w0+2 r0+2~ w0+2 w0+2 r0+2 w0+2 r2+2 ", FAIL,
         "ERR patternMismatchRange(sector=0, end_sector=2); "},
        {"", "r0+2 w0+2 r0+2! r0+1 r1+1~ w0+2 w0+2 r2+2 ", FAIL,
         "ERR patternMismatch(sector=1); " + afterRead},
        // The restoration.
        {"", "r0+2 w0+2 r0+2 w0+2! w0+1! w0+1! w0+1! w0+1! w0+1 w1+1 r2+2 ", WARN, afterWrite, 4,
         "Restoration of sector 0 (count: 2) failed"},
        {"", "r0+2 w0+2 r0+2 w0+2! w0+1 w1+1! w1+1! w1+1! w1+1! w1+1! |", FAIL,
         "ERR cannotRestoreData(TestName=PatternTest, TestSector=1, EndSector=1); ", 1,
         "Restoration of sector 0 failed"},
        {"", "r0+2 w0+2 r0+2 w0+2!8 w0+1 w1+1 r2+2 ", WARN, afterWrite + "WARNING deviceBusy(); "},
        {"", "r0+2 w0+2 r0+2 w0+2! w0+1!8 w0+1 w1+1 r2+2 ", WARN, afterWrite, 1,
         "  Restoring sector 0 failed"},
        // Narrowing retries; after it whole chunks are not retried again.
        {"RetryCount=1", "r0+2 w0+2! w0+1 w1+1 r0+2! r0+1 r1+1 w0+2! w0+1 w1+1 r2+2! r2+1 r3+1 r4+2 ", FAIL,
         afterWrite + afterRead + afterWrite + "ERR cannotRdOrigRange(sector=2, endsector=3); "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.trace);
        open("sim:disk,sectors=40");
        faulty->follow(c.trace);
        EXPECT_EQ(runOnce(c.given), c.verdict);
        EXPECT_EQ(traceLike(c.trace), c.trace);
        EXPECT_EQ(events(), c.events);
        if (!c.line.empty()) {
            EXPECT_THAT(host.linesOf(kPatternLogger, c.priority), Contains(c.line));
        }
    }
}

TEST_F(PatternTests, FallSilentAtTheErrorLimitWhileTheyRestore) {
    for (const auto& [given, reported] : {std::pair{"", 3U}, {"MaxErrors=1", 1U}, {"MaxErrors=2", 2U}}) {
        open("sim:disk,sectors=60");
        faulty->failures = {{4, libDrive2::LIBDRIVE2_MEDIA_ERROR}};
        faulty->forGood = true;
        EXPECT_EQ(runOnce(given), FAIL);
        EXPECT_EQ(faulty->transfers, 4 + 3 * 5);
        EXPECT_EQ(host.eventsOf("ERR").size(), reported);
        EXPECT_EQ(host.events.size(), reported);
    }
}

TEST_F(PatternTests, LeaveRetriesOfFullChunksToTheNarrowing) {
    const struct {
        const char* given;
        int failing;
        const char *end, *key;
    } cases[] = {
        {"", 78, "w95+5! w95+1 w96+1 w97+1 w98+1 w99+1 r95+5 w95+5 r100+3 w100+3 r100+3 w100+3 ",
         "isolationRecovered"},
        {"", 82, "r100+3 w100+3! w100+3 r100+3 w100+3 ", "nonCritical"},
        {"IsolateFailedLBA=no", 78, "w95+5! w95+5 r95+5 w95+5 r100+3 w100+3 r100+3 w100+3 ", "nonCritical"}};
    for (const auto& c : cases) {
        open("sim:disk,sectors=103");
        faulty->failures = {{c.failing, libDrive2::LIBDRIVE2_MEDIA_ERROR}};
        EXPECT_EQ(runOnce(std::string("RetryCount=1 ") + c.given), WARN);
        EXPECT_THAT(faulty->trace, EndsWith(c.end));
        EXPECT_THAT(host.keys(), ElementsAre(c.key)) << c.end;
    }
    drive.setNativeSectors(false);  // sectors are an assumption: nothing to narrow to
    drive.sectors = 40;
    drive.bad = {1};
    give("PreserveData=no OverridePattern=00 RetryCount=0");
    host.events.clear();
    EXPECT_EQ(LinearPatternTest(drive).run(), FAIL);
    EXPECT_EQ(events(), "ERR readSectorRangeErr(sector=0, lastSector=1); ");
}

/// Of a chunk it compares as many bytes as the chunk has sectors; of a sector, all.
TEST_F(PatternTests, CacheTestTakesTheEndOfTheRangeAndComparesTheStartOfAChunk) {
    open("sim:disk,sectors=32800,sector-size=128");
    EXPECT_EQ(run<CacheTest>("StartRange=13 EndRange=32780"), BADPARAMS);
    stopAfter(1);
    for (const auto& [given, trace] :
         {std::pair{"", "r32+256 w32+256 r32+256 w32+256 |"},
          {"StartRange=12 EndRange=32780", "r12+256 w12+256 r12+256 w12+256 |"}}) {
        EXPECT_EQ(run<CacheTest>(given), USERABORTED);
        EXPECT_EQ(traceLike(trace), trace);
    }
    for (const std::size_t byte : {0U, 255U, 256U, 32767U}) {
        faulty->spoils = {{3, byte}};
        EXPECT_EQ(run<CacheTest>(""), USERABORTED);
        EXPECT_EQ(events(), byte > 255 ? "" : "ERR patternMismatchRange(sector=32, end_sector=288); ");
    }
    faulty->failures = {{3, libDrive2::LIBDRIVE2_MEDIA_ERROR}};
    faulty->spoils = {{259, 127}};  // the last byte of the last sector
    EXPECT_EQ(run<CacheTest>(""), USERABORTED);
    EXPECT_THAT(host.keys(), ElementsAre("patternMismatch", "isolationRecovered"));
    EXPECT_EQ(contents(), before);
}

}  // namespace
}  // namespace libDriveTest
