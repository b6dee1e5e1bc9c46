#include "FaultyDriveFixture.h"
#include "libDriveTest/ReadSpeedTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

using testing::ElementsAre;
using testing::IsSupersetOf;
using enum TestResult::Code;

using SpeedTests = FaultyDriveFixture;

// The drive takes its time on the test's clock, so that rates are exact: 2 MiB at 10 MB/s take 200 ms.
TEST_F(SpeedTests, MeasureReads) {
    const std::string tenMegabytes = "INFORMATIVE ReadSpeedInfo(speed=10.00 MB/s); ";
    const std::string below = "ReadSpeedNotReached(RequestedSpeed=10.01 MB/s, ActualSpeed=10.00 MB/s); ";
    const struct {
        const char *drive, *given;
        TestResult verdict;
        std::string events;
        const char* faults = "";
    } cases[] = {
        {"sectors=4096,speed=10", "", PASS, tenMegabytes},
        {"sectors=4096,speed=10", "ReadRateThreshold=10", PASS, tenMegabytes},
        {"sectors=4096,speed=10", "ReadRateThreshold=10.01", WARN, tenMegabytes + "WARNING " + below},
        {"sectors=4096,speed=10", "ReadRateThreshold=10.01 WarnOnBelowThreshold=no", FAIL,
         tenMegabytes + "ERR " + below},
        {"sectors=9000,speed=10,slow=0-1:999", "StartRange=10 EndRange=4106", PASS, tenMegabytes},
        {"sectors=4096,speed=10,slow=0-0:50", "", PASS, "INFORMATIVE ReadSpeedInfo(speed=8.00 MB/s); "},
        // 5000 sectors take 244.14 ms, of which 244 count.
        {"sectors=5000,speed=10", "", PASS, "INFORMATIVE ReadSpeedInfo(speed=10.01 MB/s); "},
        {"sectors=5000", "ReadRateThreshold=9999", PASS, "INFORMATIVE ReadSpeedInfo(speed=inf MB/s); "},
        {"sectors=5000", "RetryCount=0", FAIL, "ERR readSectorRangeErr(sector=0, lastSector=127); ", "r!"},
        {"sectors=5000", "RetryCount=0 MaxErrors=2 XferSizeHinting=no", FAIL,
         "ERR readSectorErr(ReadSector=7); ERR readSectorErr(ReadSector=8); error hitMaxErr(MaxError=2); ",
         "r r r r r r r r! r!"},
        {"sectors=5000", "", CANNOTRUN, "WARNING CannotAccessDevice(); ", "r r r!9"},
        {"sectors=5000", "ReadRateThreshold=0", BADPARAMS,
         "error invalidParameters(params=ReadRateThreshold:0); "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.drive) + " " + c.given);
        open(std::string("sim:disk,") + c.drive);
        faulty->follow(c.faults);
        EXPECT_EQ(run<ReadSpeedTest>(c.given), c.verdict);
        EXPECT_EQ(events(), c.events);
    }
}

TEST_F(SpeedTests, ReadInChunksWithTheCachesEmptied) {
    open("sim:disk,sectors=9000");
    EXPECT_EQ(run<ReadSpeedTest>("StartRange=1 EndRange=8201 ReadRateThreshold=1.5"), PASS);
    EXPECT_THAT(linesOf("ReadSpeedTest", 16),
                ElementsAre("=== ReadSpeedTest parameters ===", " Test Percent Req.      100",
                            " Sectors To Test:       8200", " Start LBA: (inclusive) 1",
                            " Divisor:               1", " Last LBA:  (exclusive) 8201",
                            " Disk has Sectors:      9000", " Sector Size:           512",
                            " Sectors per Op:        128", " Read Threshold (MB/s): 1.50 MB/s",
                            " Partial Chunk @        8192", " Retries:               2",
                            "Reading sector 1 (count: 4096)", "Reading sector 4097 (count: 4096)",
                            "Partial block @8193 for 8", "Reading sector 8193 (count: 8)"));
    EXPECT_THAT(host.percents, ElementsAre(0, 49, 99));
    EXPECT_EQ(traceLike("r1+128 r129+128 "), "r1+128 r129+128 ");
    EXPECT_THAT(faulty->trace, testing::EndsWith(" r8065+128 r8193+8 "));
    EXPECT_EQ(faulty->cacheDrops, 1 + 3);
    EXPECT_EQ(faulty->flushes, 1);
    EXPECT_TRUE(tested->streamingTransfers);
    stopAfter(2);  // checks: for a medium, and after the first chunk
    EXPECT_EQ(run<ReadSpeedTest>("XferSizeHinting=no"), USERABORTED);
    EXPECT_EQ(faulty->transfers, 8192);
    EXPECT_THAT(host.percents, ElementsAre(0, 45));
}

/// Sectors of 64 KiB: 32 of them are a chunk to read, 512 one to write.
TEST_F(SpeedTests, MeasureReadsAndFullChunksOfWrites) {
    const std::string disk = "sim:disk,sector-size=65536,sectors=1100,speed=32";
    open(disk + ",slow=600-600:500+1050-1050:9000");
    const std::string given = "StartRange=2 EndRange=514 WriteRateThreshold=25.61 ReadRateThreshold=";
    const std::string rates =
        "INFORMATIVE WriteSpeedInfo(speed=25.60 MB/s); INFORMATIVE ReadSpeedInfo(speed=32.00 MB/s); ";
    const std::string slowWrites =
        "WriteSpeedNotReached(RequestedSpeed=25.61 MB/s, ActualSpeed=25.60 MB/s); ";
    EXPECT_EQ(run<ReadWriteSpeedTest>(given + "32"), WARN);
    EXPECT_EQ(events(), rates + "WARNING " + slowWrites);
    EXPECT_THAT(host.linesOf("libDriveTest.ReadWriteSpeedTest", 1),
                IsSupersetOf({"writeAvg : 0", "writeAvg : 1000", "writeAvg : 1250",
                              "Partial block @1024 for 76", "Backing up sector 512 (count: 512)"}));
    std::vector<int> percents{0, 3, 6, 9, 12, 15, 18, 21, 25, 28, 31, 34, 37, 40, 43, 46, 50, 73, 96};
    EXPECT_EQ(host.percents, percents);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(run<ReadWriteSpeedTest>(given + "32.01 WarnOnBelowThreshold=no WriteEndRange=1024"), FAIL);
    EXPECT_EQ(events(), rates + "ERR " + slowWrites +
                            "ERR ReadSpeedNotReached(RequestedSpeed=32.01 MB/s, ActualSpeed=32.00 MB/s); ");
    // A chunk that is not saved is not written either, but counts in the average.
    faulty->follow("r r r!");
    EXPECT_EQ(run<ReadWriteSpeedTest>("RetryCount=0 StartRange=512 EndRange=514"), FAIL);
    EXPECT_EQ(events(), "ERR cannotRdOrigRange(sector=0, endsector=511); ");
    EXPECT_TRUE(host.logged("writeAvg : 750"));
    EXPECT_EQ(faulty->firstWords.size(), 2U * (512 + 76));
}

TEST_F(SpeedTests, WriteOnlyAfterGoodReads) {
    const char* const infinite =
        "INFORMATIVE WriteSpeedInfo(speed=inf MB/s); INFORMATIVE ReadSpeedInfo(speed=inf MB/s); ";
    const struct {
        const char *given, *trace, *events;
        TestResult verdict;
    } cases[] = {
        {"", "r0+1 r1+1 r4+1 r5+1 w4+1 w5+1 w4+1 w5+1 |", infinite, PASS},
        {"PreserveData=no", "r0+1 r1+1 w4+1 w5+1 |", infinite, PASS},
        {"", "r0+1 r1+1! |", "ERR readSectorErr(ReadSector=1); ", FAIL},
        {"", "r0+1 r1+1 r4+1 r5+1! r4+1 r5+1 |", "ERR cannotRdOrigRange(sector=4, endsector=5); ", FAIL},
        {"", "r0+1 r1+1 r4+1 r5+1 w4+1! w5+1 w4+1 w5+1 |", "ERR writeSectorErr(WriteSector=4); ", FAIL},
        {"MaxErrors=1", "r0+1 r1+1 r4+1 r5+1 w4+1! w4+1 w5+1 |",
         "ERR writeSectorErr(WriteSector=4); error hitMaxErr(MaxError=1); ", FAIL},
    };
    for (const auto& c : cases) {
        open("sim:disk,sectors=40");
        faulty->follow(c.trace);
        EXPECT_EQ(run<ReadWriteSpeedTest>("RetryCount=0 EndRange=2 WriteStartRange=4 WriteEndRange=6 " +
                                          std::string(c.given)),
                  c.verdict);
        EXPECT_EQ(traceLike(c.trace), c.trace);
        EXPECT_EQ(events(), c.events);
    }
    open("sim:disk,sectors=40");
    EXPECT_EQ(run<ReadWriteSpeedTest>("EndRange=2 WriteStartRange=4 WriteRateThreshold=2.5"), PASS);
    EXPECT_EQ(faulty->cacheDrops, 1);
    EXPECT_EQ(faulty->flushes, 1);
    EXPECT_THAT(
        linesOf("ReadWriteSpeedTest", 17),
        ElementsAre("=== ReadWriteSpeedTest parameters ===", " Test Percent Req.      100",
                    " Sectors To Test:       2", " Start LBA: (inclusive) 0", " Last LBA:  (exclusive) 2",
                    " Write Start LBA: (inclusive) 4", " Write Last LBA:  (exclusive) 40",
                    " Divisor:               1", " Disk has Sectors:      40", " Sector Size:           512",
                    " Sectors per Op:        1", " Read Threshold (MB/s): 1.00 MB/s",
                    " Write Threshold (MB/s):2.50 MB/s", " Partial Chunk @        2",
                    " Retries:               2", "Timed read loop optimalReadSectors 1",
                    "Reading sector 0 (count: 2)"));
}

}  // namespace
}  // namespace libDriveTest
