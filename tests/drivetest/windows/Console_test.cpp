#include <gmock/gmock.h>
#include <io.h>

#include <cstdlib>
#include <iostream>
#include <thread>
#include <vector>

#include "drivetest/run/Signals.h"
#include "drivetest/run/StandardStreams.h"
#include "drivetest/terminal/Terminal.h"
#include "drivetest/windows/Arguments.h"
#include "drivetest/windows/ControlEvents.h"
#include "drivetest/windows/StandardHandle.h"
#include "quix5/StopRequest.h"
#include "support/Pipe.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAreArray;
using testing_support::Pipe;

TEST(Arguments, AreSplitAsOtherProgramsSplitThem) {
    struct Case {
        const wchar_t* line;
        std::vector<std::string> words;
    };
    const Case cases[] = {
        {L"drivetest", {"drivetest"}},
        {L"\"C:\\Programme (neu)\\d.exe\" run  \t x ", {"C:\\Programme (neu)\\d.exe", "run", "x"}},
        {L"d größe \x65E5\x672C *.bin", {"d", "größe", "日本", "*.bin"}},
        {L"d \"a b\" c\"d e\"f \"\"", {"d", "a b", "cd ef", ""}},
        {L"d \\\\.\\X: a\\\\b \"c d\\\\\" e", {"d", "\\\\.\\X:", "a\\\\b", "c d\\", "e"}},
        {L"d a\\\"b \"c \\\"d\\\" e\" \\\\\\\"f", {"d", "a\"b", "c \"d\" e", "\\\"f"}},
        {L"d \"a\"\"b\" c", {"d", "a\"b", "c"}},
        {L"d \"not closed ", {"d", "not closed "}},
    };
    for (const Case& each : cases)
        EXPECT_THAT(splitCommandLine(each.line), ElementsAreArray(each.words));
}

/// Standard input, as long as it lives, is a pipe.
class TypedInput {
public:
    TypedInput() : m_before(_dup(kInput)) {
        EXPECT_EQ(_dup2(pipe.reader(), kInput), 0);
        forgetFileType(kInput);
    }
    ~TypedInput() {
        _dup2(m_before, kInput);
        _close(m_before);
        forgetFileType(kInput);
    }
    TypedInput(const TypedInput&) = delete;
    TypedInput& operator=(const TypedInput&) = delete;
    Pipe pipe;

private:
    int m_before;
};

TEST(Terminal, WaitsForALineOfAPipe) {
    TypedInput input;
    std::string line;
    EXPECT_EQ(waitForLine(0ms, line), InputWait::timeout);
    input.pipe.write("größe\r\nrest");
    EXPECT_EQ(waitForLine(-1ms, line), InputWait::line);
    EXPECT_EQ(line, "größe");
    EXPECT_EQ(waitForLine(1ms, line), InputWait::timeout);
    input.pipe.closeWriter();
    EXPECT_EQ(waitForLine(-1ms, line), InputWait::closed);
}

TEST(StandardStreamsDeathTest, ThoseThatAreClosedLeadToNothing) {
    const auto printNothing = [] {
        for (const int descriptor : {kInput, kOutput, kErrors})
            _close(descriptor);
        bool open = openClosedStreams();
        for (const int descriptor : {kInput, kOutput, kErrors})
            open = open && fileTypeOf(descriptor) == FILE_TYPE_CHAR && !isConsole(descriptor);
        std::string line;
        std::cout << "nobody sees it" << std::flush;
        _exit(open && std::cout && waitForLine(-1ms, line) == InputWait::closed ? 7 : 1);
    };
    EXPECT_EXIT(printNothing(), testing::ExitedWithCode(7), "");
}

// Each in a process of its own: a stop request stays.

TEST(ControlEventDeathTest, AStopEndsTheWaitForALine) {
    const auto stopWhileWaiting = [] {
        const TypedInput input;
        std::thread person([] { onControlEvent(CTRL_C_EVENT); });
        std::string line;
        const InputWait outcome = waitForLine(-1ms, line);
        person.join();
        _exit(outcome == InputWait::closed && !quix5::StopRequest::isInsistedOn() ? 7 : 1);
    };
    EXPECT_EXIT(stopWhileWaiting(), testing::ExitedWithCode(7), "");
}

TEST(ControlEventDeathTest, TheThirdInterruptEndsAtOnceWithLastWords) {
    struct Case {
        AtStake stake;
        int status;
        const char* words;
    };
    const Case cases[] = {
        {AtStake::nothing, 130, "ended at once"},
        {AtStake::journaledSectors, 9, "the journal keeps their data, and .drivetest recover. puts it back"},
        {AtStake::unprotectedSectors, 9, "no journal keeps their data"},
    };
    for (const Case& each : cases) {
        const auto interruptOften = [&each] {
            setAtStake(each.stake);
            for (const DWORD event : {CTRL_C_EVENT, CTRL_BREAK_EVENT, CTRL_C_EVENT})
                onControlEvent(event);
        };
        EXPECT_EXIT(interruptOften(), testing::ExitedWithCode(each.status), each.words);
    }
}

TEST(ControlEventDeathTest, WhenTheConsoleGoesTheHandlerWaitsForTheEndOfTheRun) {
    for (const DWORD event : {CTRL_CLOSE_EVENT, CTRL_LOGOFF_EVENT, CTRL_SHUTDOWN_EVENT}) {
        const auto close = [event] {
            std::thread([event] {
                onControlEvent(event);
                _exit(1);  // the system would end the process now
            }).detach();
            while (!quix5::StopRequest::made())
                std::this_thread::yield();
            std::string line;
            exit(waitForLine(-1ms, line) == InputWait::closed ? 130 : 2);
        };
        EXPECT_EXIT(close(), testing::ExitedWithCode(130), "");
    }
}

}  // namespace
}  // namespace drivetest
