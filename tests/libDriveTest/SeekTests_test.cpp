#include "ModuleFixture.h"
#include "libDriveTest/FunnelSeekTest.h"
#include "libDriveTest/LinearSeekTest.h"
#include "libDriveTest/RandomSeekTest.h"

namespace libDriveTest {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::StartsWith;
using enum TestResult::Code;

class Seeks : public ModuleFixture {
protected:
    template <class TestClass>
    TestResult run(const char* given) {
        give(given);
        drive.reads.clear();
        host.events.clear();
        host.log.clear();
        host.percents.clear();
        host.stopChecks = 0;
        return TestClass(drive).run();
    }
};

TEST_F(Seeks, VisitTheirPositionsInOrder) {
    EXPECT_EQ(run<LinearSeekTest>("SectorPercentToTest=25"), PASS);
    ASSERT_EQ(drive.reads.size(), 250U);
    EXPECT_EQ(drive.reads[1], "seek 4");
    EXPECT_EQ(drive.reads[249], "seek 996");
    EXPECT_EQ(host.percents.size(), 25U);
    EXPECT_EQ(run<FunnelSeekTest>("NumberOfSeeks=5"), PASS);
    EXPECT_THAT(drive.reads, ElementsAre("seek 0", "seek 999", "seek 200", "seek 799", "seek 400", "seek 599",
                                         "seek 600", "seek 399", "seek 800", "seek 199"));
    EXPECT_THAT(host.percents, ElementsAre(0, 10, 20, 30, 40, 50, 60, 70, 80, 90));
    EXPECT_EQ(run<FunnelSeekTest>("StartRange=7 EndRange=8"), PASS);
    EXPECT_THAT(drive.reads, ElementsAre("seek 7", "seek 7"));
    EXPECT_EQ(run<RandomSeekTest>("StartRange=7 EndRange=9 NumberOfSeeks=2"), PASS);
    EXPECT_THAT(drive.reads, Each(testing::AnyOf("seek 7", "seek 8")));
    EXPECT_EQ(host.percents.size(), 2U);
}

TEST_F(Seeks, ReadWhereTheyAreToldTo) {
    for (const char* method : {"READ", "Read", "read"}) {
        const std::string given = std::string("NumberOfSeeks=2 SeekMethod=") + method;
        EXPECT_EQ(run<LinearSeekTest>(given.c_str()), PASS);
        EXPECT_THAT(drive.reads, ElementsAre("0+1 @7", "500+1 @7"));
    }
    EXPECT_EQ(run<RandomSeekTest>("NumberOfSeeks=2 SeekMethod=reads"), PASS);
    EXPECT_THAT(drive.reads, Each(StartsWith("seek")));
}

TEST_F(Seeks, ReportEachFailedMoveWithItsOrigin) {
    drive.bad = {0, 200};
    EXPECT_EQ(run<LinearSeekTest>("NumberOfSeeks=5"), FAIL);
    EXPECT_THAT(host.eventsOf("ERR"),
                ElementsAre("seekSectorErr(SeekSector=0)", "seekSectorErr(SeekSector=200)"));
    EXPECT_TRUE(host.logged("Failed to seek to sector at LBA 200"));
    EXPECT_EQ(run<FunnelSeekTest>("NumberOfSeeks=5"), FAIL);
    // The origin stands where there is none, and the other way round.
    EXPECT_TRUE(host.logged("Failed to seek to sector at LBA 0 from sector at LBA 18446744073709551615"));
    EXPECT_TRUE(host.logged("Failed to seek to sector at LBA 200 from sector at LBA  [N/A] "));
    EXPECT_TRUE(host.logged("Seek error at LBA 200 . The previous sector tested was 999"));
    EXPECT_EQ(run<RandomSeekTest>("StartRange=200 EndRange=201 NumberOfSeeks=1"), FAIL);
    EXPECT_TRUE(host.logged("Failed to seek to sector at LBA 200 from sector at LBA [N/A]"));
    EXPECT_EQ(run<FunnelSeekTest>("NumberOfSeeks=5 MaxErrors=1 RetryCount=0"), FAIL);
    EXPECT_EQ(drive.reads.size(), 1U);
    drive.badError = libDrive2::LIBDRIVE2_NO_ACCESS;
    EXPECT_EQ(run<RandomSeekTest>("StartRange=200 EndRange=201"), CANNOTRUN);
    EXPECT_EQ(run<LinearSeekTest>("StartRange=199"), CANNOTRUN);
    EXPECT_EQ(drive.reads.size(), 2U);
}

TEST_F(Seeks, StopWhereEachOfThemLooks) {
    // The first look is that for a medium.
    host.stop = [](int check) { return check >= 2; };
    EXPECT_EQ(run<FunnelSeekTest>(""), USERABORTED);
    EXPECT_EQ(drive.reads.size(), 0U);
    EXPECT_EQ(run<RandomSeekTest>(""), USERABORTED);
    EXPECT_EQ(drive.reads.size(), 1U);
    host.stop = [](int check) { return check == 3; };
    EXPECT_EQ(run<LinearSeekTest>(""), USERABORTED);
    EXPECT_EQ(drive.reads.size(), 11U);
}

TEST_F(Seeks, LogTheirParameters) {
    drive.sectors = 2000;
    run<LinearSeekTest>("StartRange=5 EndRange=1005 NumberOfSeeks=2");
    auto lines = host.linesOf("libDriveTest.LinearSeekTest", 1);
    lines.resize(10);
    EXPECT_THAT(lines,
                ElementsAre("=== LinearSeekTest parameters ===", " Sectors To Test:       2",
                            " Start LBA: (inclusive) 5", " Divisor:               500",
                            " Last LBA:  (exclusive) 1004", " Disk has Sectors:      2000",
                            " Last TEST Sector:      1005", " Sector Size:           512",
                            " Retries:               2", "Testing Seek to LBA 5 of 1004 Percent: 0/2 [0]"));
    run<FunnelSeekTest>("StartRange=5 EndRange=1005 NumberOfSeeks=2");
    lines = host.linesOf("libDriveTest.FunnelSeekTest", 1);
    lines.resize(10);
    EXPECT_THAT(lines,
                ElementsAre("=== FunnelSeekTest parameters ===", " Sectors To Test:       2",
                            " Start LBA (inclusive): 5", " Jump factor:           500",
                            " Last LBA (exclusive):  1005", " Disk has Sectors:      2000",
                            " Sector Size:           512", " Seeks to perform:      4",
                            " Retries:               2", "Testing Seek to LBA 5 of 1004 Percent: 0/4 [0]"));
}

}  // namespace
}  // namespace libDriveTest
