#include "drivetest/run/ChildProcess.h"

#include <gmock/gmock.h>
#include <poll.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <cstdlib>

#include "drivetest/run/Signals.h"

namespace drivetest {
namespace {

using std::chrono::milliseconds;
using End = ChildResult::End;

constexpr milliseconds kLong{60000};

ChildResult runShell(const std::string& script, milliseconds longest = kLong, std::string_view input = {}) {
    letWritesFail();
    return runChild("/bin/sh", {"-c", script}, {.input = input, .longest = longest});
}

/// A pipe that is open as long as somebody is there who inherited it.
class Heirloom {
public:
    Heirloom() { EXPECT_EQ(pipe(m_ends.data()), 0); }
    ~Heirloom() { close(m_ends[0]); }
    /// Whether all who have it, but for this process, come to their end.
    bool isLeftByAll() {
        close(m_ends[1]);
        pollfd end{m_ends[0], POLLIN, 0};
        return poll(&end, 1, static_cast<int>(kLong.count())) == 1 && (end.revents & POLLHUP) != 0;
    }

private:
    std::array<int, 2> m_ends{};
};

TEST(ChildProcess, GivesAndTakesMoreThanPipesHold) {
    const std::string text(1 << 20, 'x');
    const ChildResult result = runShell("tee /dev/stderr", kLong, text);
    EXPECT_EQ(result.status, 0);
    EXPECT_TRUE(result.output == text);
    EXPECT_TRUE(result.errors == text);
}

TEST(ChildProcess, TellsHowItEnded) {
    const std::string unread(1 << 20, 'x');
    const struct {
        const char* script;
        std::string_view input;
        End end;
        int status;
    } cases[] = {
        {"exit 3", "", End::byItself, 3},
        {"read nothing", "", End::byItself, 1},   // its input has an end
        {"exec true", unread, End::byItself, 0},  // it does not take what it is given
        {"exec 0<&-; exec sleep 0.05", unread, End::byItself, 0},
        {"exec >&- 2>&-; exec sleep 0.05", "", End::byItself, 0},  // it closes what is read
        {"kill -PIPE $$", "", End::killed, -1},                    // which it does not inherit as ignored
        {"kill -KILL $$", "", End::killed, -1},
    };
    for (const auto& each : cases) {
        const ChildResult result = runShell(each.script, kLong, each.input);
        EXPECT_EQ(result.end, each.end) << each.script;
        EXPECT_EQ(result.status, each.status) << each.script;
    }
    std::signal(SIGCHLD, SIG_IGN);  // some that start programs leave it so
    EXPECT_EQ(runShell("exit 3").status, 3);
}

TEST(ChildProcess, HasAPlaceForItsFiles) {
    for (const std::string place : {"/its/own", ""}) {
        const ChildResult result =
            runChild("/bin/sh", {"-c", "env | grep ^TMPDIR="}, {.longest = kLong, .temporaryFolder = place});
        const char* const usual = getenv("TMPDIR");
        const std::string wanted = !place.empty() || usual == nullptr ? place : usual;
        EXPECT_EQ(result.output, wanted.empty() ? "" : "TMPDIR=" + wanted + "\n");
    }
}

TEST(ChildProcess, SaysWhyItCannotBeStarted) {
    for (const char* path : {"/nowhere/program", "/etc/passwd", "/tmp"}) {
        const ChildResult result = runChild(path, {}, {.input = "text", .longest = kLong});
        EXPECT_EQ(result.end, End::notStarted) << path;
        EXPECT_EQ(result.status, -1) << path;
        EXPECT_NE(result.errors, "") << path;
    }
}

TEST(ChildProcess, LeavesNobodyBehind) {
    const struct {
        const char* script;
        milliseconds longest;
        End end;
    } cases[] = {
        {"sleep 1000 & echo said; wait", milliseconds(200), End::tooLate},
        {"sleep 1000 & echo said; exit 5", kLong, End::byItself},  // although its pipes stay open
    };
    for (const auto& each : cases) {
        Heirloom heirloom;
        const ChildResult result = runShell(each.script, each.longest);
        EXPECT_EQ(result.end, each.end) << each.script;
        EXPECT_EQ(result.output, "said\n") << each.script;
        EXPECT_TRUE(heirloom.isLeftByAll()) << each.script;
    }
}

}  // namespace
}  // namespace drivetest
