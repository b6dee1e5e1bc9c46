#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <future>
#include <iterator>
#include <random>

#include "drivetest/run/OutputQueue.h"
#include "drivetest/run/RunHost.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "support/Pipe.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;

using testing_support::Pipe;

constexpr std::size_t kLine = std::size_t{1} << 20;

TEST(OutputQueue, WritesAllInOrderThoughNobodyReadsAtFirst) {
    const Pipe pipe;
    OutputQueue queue(OutputFile::borrow(pipe.writer()));
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
    letWritesFail();
    Pipe pipe;
    OutputQueue queue(OutputFile::borrow(pipe.writer()));
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
    OutputQueue log(OutputFile::borrow(pipe.writer()));
    Console console(stderr);
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

std::string contentsOf(const std::filesystem::path& path) {
    std::ifstream file(path, std::ios::binary);
    return {std::istreambuf_iterator<char>(file), {}};
}

TEST(OutputFile, KeepsWhatWasThereUntilItBegins) {
    namespace fs = std::filesystem;
    std::string error;
    const OutputRules rules{[](const std::string&) { return std::string(); }, true};
    const std::string path =
        testing::TempDir() + "drivetest-output-" + std::to_string(std::random_device()());
    { const OutputFile refused = openOutput("the log", path, rules, error); }
    EXPECT_FALSE(fs::exists(path));
    for (const char* text : {"first, and longer", "second"}) {
        OutputFile file = openOutput("the log", path, rules, error);
        ASSERT_TRUE(file) << error;
        EXPECT_TRUE(file.begin() && file.write(text));
    }
    EXPECT_EQ(contentsOf(path), "second");
    { const OutputFile refused = openOutput("the log", path, rules, error); }
    EXPECT_EQ(contentsOf(path), "second");
    fs::remove(path);
    // A file that took the name meanwhile is not ours to remove.
    {
        const OutputFile refused = openOutput("the log", path, rules, error);
        fs::rename(path, path + "-moved");
        std::ofstream(path) << "another";
    }
    EXPECT_EQ(contentsOf(path), "another");
    EXPECT_TRUE(fs::remove(path) && fs::remove(path + "-moved"));
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
