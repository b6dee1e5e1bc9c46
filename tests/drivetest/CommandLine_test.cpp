#include <gtest/gtest.h>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"

namespace drivetest {
namespace {

TEST(CommandLine, WithoutACommandTellsOfTheUsage) {
    const std::vector<std::string> rows[] = {{}, {"drivetest"}, {"drivetest", "dance"}, {"drivetest", "run"}};
    for (const auto& arguments : rows) {
        testing::internal::CaptureStderr();
        EXPECT_EQ(runCommandLine(arguments), kExitUsage) << arguments.size();
        EXPECT_NE(testing::internal::GetCapturedStderr().find("--help"), std::string::npos);
    }
}

}  // namespace
}  // namespace drivetest
