#include "drivetest/run/ChildProcess.h"

#include <gmock/gmock.h>

#include <cstdlib>
#include <fstream>

#include "drivetest/run/TemporaryFolder.h"
#include "zel/Path.h"

namespace drivetest {
namespace {

using std::chrono::milliseconds;
using End = ChildResult::End;

constexpr milliseconds kLong{60000};

/// Runs these lines of a batch file.
ChildResult runShell(const std::string& lines, milliseconds longest = kLong, std::string_view input = {}) {
    const TemporaryFolder folder;
    const std::string batch = folder.pathOf("lines.bat");
    std::ofstream(zel::pathOf(batch)) << "@echo off\n" << lines << '\n';
    const char* const shell = std::getenv("ComSpec");
    return runChild(shell != nullptr ? shell : "C:\\windows\\system32\\cmd.exe", {"/c", batch},
                    {.input = input, .longest = longest});
}

TEST(ChildProcess, TakesMoreThanPipesHold) {
    const ChildResult result = runShell("for /l %%i in (1,1,4000) do echo 1234567890123456789012345678");
    EXPECT_EQ(result.end, End::byItself);
    EXPECT_EQ(result.output.size(), std::size_t{4000} * 30);
}

TEST(ChildProcess, TellsHowItEnded) {
    const std::string unread(1 << 20, 'x');
    for (const std::string_view input : {std::string_view(), std::string_view(unread)}) {
        const ChildResult result = runShell("exit 3", kLong, input);
        EXPECT_EQ(result.end, End::byItself);
        EXPECT_EQ(result.status, 3);
    }
    const ChildResult missing = runChild("C:\\nowhere\\program.exe", {}, {.input = "text", .longest = kLong});
    EXPECT_EQ(missing.end, End::notStarted);
    EXPECT_NE(missing.errors, "");
}

TEST(ChildProcess, EndsWhatTakesTooLong) {
    // Its pipes would stay open if anything of it were left.
    const ChildResult result = runShell("echo said\nfor /l %%i in (1,0,2) do cmd /c rem", milliseconds(500));
    EXPECT_EQ(result.end, End::tooLate);
    EXPECT_THAT(result.output, testing::StartsWith("said"));
}

}  // namespace
}  // namespace drivetest
