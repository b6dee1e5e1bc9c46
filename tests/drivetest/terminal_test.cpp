#include <gmock/gmock.h>

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/ProgressDisplay.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using quix5::TestResult;

TEST(Texts, DurationsSizesCounts) {
    EXPECT_EQ(durationText(4560ms), "4.56 s");
    EXPECT_EQ(durationText(10s), "0:00:10");
    EXPECT_EQ(durationText(100h + 2min + 3s), "100:02:03");
    EXPECT_EQ(sizeText(1023), "1023 B");
    EXPECT_EQ(sizeText(1536), "1.5 KiB");
    EXPECT_EQ(sizeText(1000204886016), "931.5 GiB");
    EXPECT_EQ(sizeText(~0ULL), "16.0 EiB");
    EXPECT_EQ(countText(1, "error") + ", " + countText(0, "warning"), "1 error, 0 warnings");
}

TEST(ProgressText, ShowsRateAndTimeLeftOnlyWhenKnown) {
    EXPECT_EQ(progressText("T d", {0, 0, 0, 0, ""}, 0s), "T d  0 %  0.00 s  0 errors  0 warnings");
    EXPECT_EQ(progressText("T d", {25, 104857600, 1, 2, "closing"}, 50s),
              "T d  25 %  2.0 MB/s  0:00:50, 0:02:30 left  1 error  2 warnings  closing");
    EXPECT_EQ(progressText("T d", {100, 0, 0, 0, ""}, 10s),
              "T d  100 %  0.0 MB/s  0:00:10  0 errors  0 warnings");
}

TEST(ExitStatus, OfEveryResult) {
    const std::pair<TestResult, int> expected[] = {
        {TestResult::PASS, 0},           {TestResult::FAIL, 1},       {TestResult::BADPARAMS, 2},
        {TestResult::MISCONFIGURED, 2},  {TestResult::WARN, 3},       {TestResult::NOMEDIA, 4},
        {TestResult::INCORRECTMEDIA, 4}, {TestResult::DEVICEBUSY, 5}, {TestResult::CANNOTRUN, 6},
        {TestResult::NOTSUPPORTED, 6},   {TestResult::TIMEDOUT, 7},   {TestResult::INTERNALERROR, 8},
        {TestResult::USERABORTED, 130},
    };
    for (const auto& [result, status] : expected)
        EXPECT_EQ(exitStatusOf(result), status) << result.name();
}

}  // namespace
}  // namespace drivetest
