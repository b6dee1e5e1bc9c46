#include <fcntl.h>
#include <gmock/gmock.h>
#include <unistd.h>

#include <array>
#include <csignal>
#include <future>

#include "drivetest/run/OutputQueue.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;

/// A pipe whose reader takes nothing until it is asked to.
class Pipe {
public:
    Pipe() { EXPECT_EQ(pipe2(m_ends.data(), O_CLOEXEC), 0); }
    ~Pipe() {
        closeReader();
        close(m_ends[1]);
    }
    [[nodiscard]] OutputFile writer() const { return OutputFile::borrow(m_ends[1]); }
    void closeReader() { close(std::exchange(m_ends[0], -1)); }
    [[nodiscard]] std::string read(std::size_t bytes) const {
        std::string text;
        std::array<char, 65536> piece{};
        while (text.size() < bytes) {
            const ssize_t got = ::read(m_ends[0], piece.data(), std::min(piece.size(), bytes - text.size()));
            if (got <= 0)
                break;
            text.append(piece.data(), static_cast<std::size_t>(got));
        }
        return text;
    }

private:
    std::array<int, 2> m_ends{};
};

constexpr std::size_t kLine = std::size_t{1} << 20;

TEST(OutputQueue, WritesAllInOrderThoughNobodyReadsAtFirst) {
    const Pipe pipe;
    OutputQueue queue(pipe.writer());
    std::string expected;
    for (char letter = 'a'; letter <= 'e'; ++letter) {
        queue.add(std::string(kLine, letter));
        expected += std::string(kLine, letter);
    }
    EXPECT_TRUE(queue.isBusy());
    EXPECT_EQ(pipe.read(5 * kLine), expected);
    EXPECT_TRUE(queue.finish());
    EXPECT_EQ(OutputQueue::waitingBytes(), 0U);
}

TEST(OutputQueue, TellsOfAFailureAndForgetsTheRest) {
    std::signal(SIGPIPE, SIG_IGN);
    Pipe pipe;
    OutputQueue queue(pipe.writer());
    queue.add(std::string(kLine, 'x'));
    queue.add("after it");
    pipe.closeReader();
    EXPECT_FALSE(queue.finish());
    queue.add("too late");
    EXPECT_FALSE(queue.isBusy());
    EXPECT_EQ(OutputQueue::waitingBytes(), 0U);
}

TEST(OutputQueue, AHostWaitsForRoomOnlyWhereItMay) {
    const Pipe pipe;
    OutputQueue log(pipe.writer());
    const std::unique_ptr<std::FILE, int (*)(std::FILE*)> sink(std::tmpfile(), &std::fclose);
    Console console(sink.get());
    RunReporter nobody;
    RunHost host(console, nobody, false);
    WatchedJournal journal(nullptr);
    host.setJournal(&journal);
    const std::string chunk(512, 'c');
    ASSERT_TRUE(journal.protect(7, 1, chunk.data(), chunk.size()));
    for (int i = 0; i < 70; ++i)
        log.add(std::string(kLine, 'x'));
    EXPECT_FALSE(host.checkForStop());
    EXPECT_GT(OutputQueue::waitingBytes(), 64 * kLine);  // it did not wait

    ASSERT_TRUE(journal.release(7, 1));
    auto asked = std::async(std::launch::async, [&host] { return host.checkForStop(); });
    EXPECT_EQ(asked.wait_for(100ms), std::future_status::timeout);
    EXPECT_EQ(pipe.read(50 * kLine).size(), 50 * kLine);
    EXPECT_FALSE(asked.get());
    EXPECT_EQ(pipe.read(20 * kLine).size(), 20 * kLine);
}

TEST(OutputFile, KeepsWhatWasThereUntilItBegins) {
    std::string error;
    const std::string folder = testing::TempDir();
    const OutputRules rules{[](const std::string&) { return std::string(); }, true};
    const std::string path = folder + "drivetest-output-" + std::to_string(getpid());
    { const OutputFile refused = openOutput("the log", path, rules, error); }
    EXPECT_NE(access(path.c_str(), F_OK), 0);
    for (const char* text : {"first, and longer", "second"}) {
        OutputFile file = openOutput("the log", path, rules, error);
        ASSERT_TRUE(file) << error;
        EXPECT_TRUE(file.begin() && file.write(text));
    }
    std::array<char, 64> found{};
    const int fd = open(path.c_str(), O_RDONLY | O_CLOEXEC);
    EXPECT_EQ(read(fd, found.data(), found.size()), 6);
    EXPECT_STREQ(found.data(), "second");
    close(fd);
    // A file that took the name meanwhile is not ours to remove.
    unlink(path.c_str());
    {
        const OutputFile refused = openOutput("the log", path, rules, error);
        unlink(path.c_str());
        close(open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0600));
    }
    EXPECT_EQ(unlink(path.c_str()), 0);
}

TEST(Texts, OnlyWhatATerminalShowsIsPrintable) {
    const std::pair<std::string, const char*> cases[] = {
        {"Größe 日本 😀 \\ \"x\"", "Größe 日本 😀 \\ \"x\""},
        {std::string("\0\x1b[2J\r\n\t\x7f", 9), "\\x00\\x1b[2J\\x0d\\n\\t\\x7f"},
        {"\xc2\x9b"
         "2J\xc2\xa0",
         "\\x9b2J\xc2\xa0"},
        {"\u200b\u200f\u202a\u202e\u2060\u2069\ufeff\u061c\u2028",
         "\\u{200b}\\u{200f}\\u{202a}\\u{202e}\\u{2060}"
         "\\u{2069}\\u{feff}\\u{61c}\\u{2028}"},
        {"\u200a\u2010\u202f\u205f\u2070", "\u200a\u2010\u202f\u205f\u2070"},
        // Cut off, alone, longer than needed, a surrogate, beyond the last code point.
        {"\xe2\x82", "\\xe2\\x82"},
        {"\x80z\xff", "\\x80z\\xff"},
        {"\xc0\x9b\xe0\x80\x9b", "\\xc0\\x9b\\xe0\\x80\\x9b"},
        {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
        {"\xf4\x90\x80\x80\xf8", "\\xf4\\x90\\x80\\x80\\xf8"},
        {"\xe2\x1b[m", "\\xe2\\x1b[m"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(printable(text), expected);
}

}  // namespace
}  // namespace drivetest
