#include <gtest/gtest.h>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"

namespace drivetest {
namespace {

TEST(CommandLine, WithoutACommandIsWrongUsage) {
    // Whoever starts the program may leave out even its name.
    const std::vector<std::string> rows[] = {{}, {"drivetest"}, {"drivetest", "dance"}, {"drivetest", "run"}};
    for (const auto& arguments : rows)
        EXPECT_EQ(runCommandLine(arguments), kExitUsage) << arguments.size();
}

}  // namespace
}  // namespace drivetest
