#include "libDriveTest/LinearReadCompareTest.h"

#include "FaultyDriveFixture.h"

namespace libDriveTest {
namespace {

using enum TestResult::Code;

using LinearReadCompare = FaultyDriveFixture;

/// Chunks of four sectors, the last one of three.
TEST_F(LinearReadCompare, ReadsEveryChunkTwiceAndCompares) {
    const std::string range = "ERR readSectorRangeErr(sector=0, lastSector=3); ";
    const struct {
        const char* given;
        std::string trace;
        TestResult verdict;
        std::string events;
    } cases[] = {
        {"", "r0+4 r0+4 r4+4 r4+4 r8+4 ", PASS, ""},
        {"", "r0+4 r0+4 r4+4~ r4+4 r8+4 r8+4~ r12+4 ", FAIL,
         "ERR dataMiscompareErr(TestSector=4); ERR dataMiscompareErr(TestSector=8); "},
        {"StartRange=36", "r36+1 r36+1 r37+1 r37+1~ ", FAIL, "ERR dataMiscompareErr(TestSector=37); "},
        {"", "r0+4 r0+4! r0+1 r1+1! r2+1 r3+1 r4+4 ", FAIL, "ERR readSectorErr(ReadSector=1); "},
        {"", "r0+4! r0+1 r1+1! r2+1 r3+1 r4+4 r4+4~ ", FAIL,
         "ERR readSectorErr(ReadSector=1); ERR dataMiscompareErr(TestSector=4); "},
        {"IsolateFailedLBA=no", "r0+4! r0+4! r4+4 r4+4 ", FAIL, range + range},
        {"IsolateFailedLBA=no", "r0+4 r0+4! r4+4 r4+4 ", FAIL,
         range + "ERR dataMiscompareErr(TestSector=0); "},
        {"", "r0+4 r0+4!8 |", DEVICEBUSY, "WARNING deviceBusy(); "},
        {"MaxErrors=1", "r0+4 r0+4~ |", FAIL,
         "ERR dataMiscompareErr(TestSector=0); error hitMaxErr(MaxError=1); "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.trace);
        open("sim:disk,sectors=43");
        faulty->follow(c.trace);
        EXPECT_EQ(run<LinearReadCompareTest>(std::string("RetryCount=0 ") + c.given), c.verdict);
        EXPECT_EQ(traceLike(c.trace), c.trace);
        EXPECT_EQ(events(), c.events);
    }
}

TEST_F(LinearReadCompare, ComparesAllOfAChunk) {
    open("sim:disk,sectors=43");
    for (const int transfer : {2, 22})
        for (const std::size_t byte : {0U, 511U, 1535U, 2047U}) {
            faulty->spoils = {{transfer, byte}};
            EXPECT_EQ(run<LinearReadCompareTest>(""), FAIL);
            EXPECT_EQ(events(),
                      "ERR dataMiscompareErr(TestSector=" + std::to_string(transfer * 2 - 4) + "); ");
        }
    EXPECT_TRUE(host.logged("=== LinearReadCompareTest parameters ==="));
    EXPECT_THAT(faulty->trace, testing::EndsWith(" r36+4 r36+4 r40+3 r40+3~ "));
}

}  // namespace
}  // namespace libDriveTest
