#include "drivetest/devices/ApartAnswers.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

namespace drivetest {
namespace {

using End = ApartAnswer::End;

TEST(ApartAnswers, ComeWhateverBecomesOfOthers) {
    const std::string longText(300000, '\n');
    const auto crash = []() -> std::string { std::abort(); };
    std::vector<std::function<std::string()>> questions{
        [] { return std::string("a\0b", 3); }, crash, [&] { return longText; }, [] { return std::string(); }};
    const std::size_t others = questions.size();
    for (int number = 0; number < 100; ++number)
        questions.emplace_back([number] { return std::to_string(number); });
    const auto answers = askApart(questions, std::chrono::minutes(5));
    EXPECT_EQ(answers[0].text, std::string("a\0b", 3));
    EXPECT_TRUE(answers[2].text == longText);
    for (const auto& [which, end] : {std::pair(0, End::answered), std::pair(1, End::crashed),
                                     std::pair(2, End::answered), std::pair(3, End::answered)})
        EXPECT_EQ(answers[static_cast<std::size_t>(which)].end, end) << which;
    for (std::size_t i = others; i < answers.size(); ++i)
        EXPECT_EQ(answers[i].text, std::to_string(i - others));
}

TEST(ApartAnswers, AreNotWaitedForForEver) {
    const auto never = [] {
        while (true)
            pause();
        return std::string();
    };
    for (const auto& answer : askApart({never, never}, std::chrono::milliseconds(200)))
        EXPECT_EQ(answer.end, End::silent);
}

/// It could be kept for ever, and its terminal and its pipes with it.
TEST(ApartAnswers, AreAskedByNobodyWhoKeepsAnythingOpen) {
    const auto openFiles = [] {
        std::string open;
        for (int number = 0; number < 100; ++number)
            open += fcntl(number, F_GETFD) >= 0
                        ? std::to_string(number) + (isatty(number) != 0 ? "t" : "") + " "
                        : "";
        return open;
    };
    EXPECT_EQ(askApart({openFiles})[0].text, "0 1 2 3 ");
    EXPECT_TRUE(waitpid(-1, nullptr, WNOHANG) < 0 && errno == ECHILD);
}

}  // namespace
}  // namespace drivetest
