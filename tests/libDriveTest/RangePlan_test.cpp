#include "libDriveTest/RangePlan.h"

#include "ModuleFixture.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/LinearReadCompareTest.h"
#include "libDriveTest/LinearReadTest.h"
#include "libDriveTest/ReadSpeedTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

using enum TestResult::Code;

class Plans : public ModuleFixture {
protected:
    template <class... Tests>
    std::vector<TestResult> results() {
        return {Tests(drive).runTest()...};
    }
};

TEST_F(Plans, MakeNoBufferThatIsSmallerThanItsSectors) {
    give("");
    drive.sectors = 100000;
    drive.optimal = 512;
    drive.sectorBytes = (1U << 24) + 512;  // what 256 of them need leaves a remainder beyond 32 bits
    EXPECT_THAT((results<LinearReadTest, LinearReadCompareTest, LinearPatternTest, CacheTest, ReadSpeedTest,
                         ReadWriteSpeedTest>()),
                testing::Each(INTERNALERROR));
    EXPECT_THAT(drive.reads, testing::IsEmpty());
}

TEST_F(Plans, TellPercentagesAsTheyWereGiven) {
    for (const char* percent : {"29", "58", "0.1", "33.3", "99.999999"}) {
        give(std::string("OverridePattern=00 VerifyOnly=yes EndRange=1000 SectorPercentToTest=") + percent);
        EXPECT_EQ(LinearPatternTest(drive).runTest(), PASS);
        EXPECT_TRUE(host.logged(std::string(" Test Percent Req.      ") + percent)) << percent;
    }
    give("SectorPercentToTest=29");
    EXPECT_EQ(LinearReadTest(drive).runTest(), PASS);
    EXPECT_EQ(host.linesOf("libDriveTest.LinearReadTest", 1).at(1), " Test Percent Req.      29");
}

}  // namespace
}  // namespace libDriveTest
