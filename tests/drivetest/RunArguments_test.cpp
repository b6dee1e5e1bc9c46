#include "drivetest/commands/RunArguments.h"

#include <gtest/gtest.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>

#include "drivetest/commands/CommandOptions.h"

namespace drivetest {
namespace {

/// What the parser makes of the words, where other things are set for all runs.
RunOptions parsed(std::vector<std::string> words, bool isCheck) {
    RunOptions options;
    options.quiet = true;
    options.grading = "set.toml";
    options.slowMs = 7;
    options.logPriority = 0;
    CLI::App program;
    isCheck ? addCheck(program, options) : addRun(program, options);
    std::reverse(words.begin(), words.end());
    program.parse(words);
    std::erase_if(options.outputs, [](const auto& output) { return output.second.empty(); });
    return options;
}

TEST(RunArguments, MeanWhatTheyWereMadeOf) {
    const std::vector<std::function<void(RunOptions&)>> changes{
        [](RunOptions&) {},
        [](RunOptions& o) { o.test = "-odd", o.device = "--help"; },
        [](RunOptions& o) {
            o.parameters = {"StartRange=-5", "X=", "MaxErrors=3", "Text=a b,c"};
        },
        [](RunOptions& o) {
            o.properties = {"A=B=C", "D=[1,2]"};
        },
        [](RunOptions& o) { o.gentle = true, o.importedMap = "-map", o.maxTime = 90, o.maxTemperature = 45; },
        [](RunOptions& o) {
            o.outputs = {{"--events", "-"}, {"--log", "a b"}, {"--export ddrescue", "m"}};
        },
        [](RunOptions& o) { o.keepRecord = false, o.replaceOutputs = true, o.logPriority = 4; },
        [](RunOptions& o) { o.confirm = "-S1 \"2\"", o.allowUnexamined = true, o.moduleFile = "m.so"; },
        [](RunOptions& o) { o.journal = false, o.verifyRestores = false, o.journalFolder = "/j"; },
        [](RunOptions& o) { o.prompts = false, o.quiet = true, o.slowMs = 500, o.slowAllowed = 9; },
        [](RunOptions& o) {
            o.grading = "default", o.progressTo = 3, o.saveProgress = 0, o.identity = "-id \"x\"";
        },
        [](RunOptions& o) { o.test = o.device = "", o.resume = "-record"; },
    };
    for (const auto& change : changes) {
        RunOptions options;
        options.test = "LinearReadTest";
        options.device = "sim:disk,bad=1+2";
        change(options);
        std::vector<std::string> words = argumentsOf(options);
        ASSERT_EQ(words.front(), "run");
        RunOptions again = parsed(words, false);
        again.recordFolder = options.recordFolder;
        EXPECT_TRUE(again == options) << testing::PrintToString(words);
    }
}

TEST(RunArguments, OfACheck) {
    RunOptions options;
    options.survey = true;
    options.device = "sim:disk";
    options.maxTime = 20;
    options.prompts = false;
    const std::vector<std::string> words = argumentsOf(options);
    EXPECT_EQ(words.front(), "check");
    RunOptions again = parsed(words, true);
    EXPECT_TRUE(again.slowMs == 7);  // not among what "check" has
    again.slowMs = options.slowMs;
    EXPECT_TRUE(again == options) << testing::PrintToString(words);
}

}  // namespace
}  // namespace drivetest
