#include "drivetest/commands/RunArguments.h"

#include <CLI/CLI.hpp>
#include <cstdint>

#include "drivetest/commands/CommandOptions.h"
#include "drivetest/commands/UsageError.h"
#include "drivetest/report/OutputFormats.h"

namespace drivetest {

namespace {

using Words = std::vector<std::string>;

/// In one word: a value may begin with "-".
void add(Words& words, const std::string& option, const std::string& value) {
    if (!value.empty())
        words.push_back(option + "=" + value);
}

void addAll(Words& words, const std::string& option, const std::vector<std::string>& values) {
    for (const std::string& value : values)
        add(words, option, value);
}

void addNumber(Words& words, const std::string& option, std::uint64_t number) {
    if (number != 0)
        add(words, option, std::to_string(number));
}

void addFlag(Words& words, const std::string& flag, bool isSet) {
    if (isSet)
        words.push_back(flag);
}

void addOutputs(Words& words, const RunOptions& options) {
    for (const auto& [option, file] : options.outputs) {
        if (file.empty())
            continue;
        if (option.starts_with(kExportOption))
            words.insert(words.end(),
                         {std::string(kExportOption), option.substr(kExportOption.size() + 1), file});
        else
            add(words, option, file);
    }
    add(words, "--grade", options.grading);
    addFlag(words, "--no-record", !options.keepRecord);
    addFlag(words, "--force", options.replaceOutputs);
    add(words, "--log-priority", std::to_string(options.logPriority));
}

/// What "drivetest check" leaves to the program.
void addWhatRunsChoose(Words& words, const RunOptions& options) {
    addAll(words, "--param", options.parameters);
    addAll(words, "--property", options.properties);
    addFlag(words, "--gentle", options.gentle);
    add(words, "--import", options.importedMap);
    addNumber(words, "--max-temp", options.maxTemperature);
    add(words, "--confirm", options.confirm);
    addFlag(words, "--allow-unexamined", options.allowUnexamined);
    addFlag(words, "--no-journal", !options.journal);
    addFlag(words, options.verifyRestores ? "--verify-restore" : "--no-verify-restore", true);
    add(words, "--journal", options.journalFolder);
    add(words, "--slow-ms", std::to_string(options.slowMs));
    add(words, "--slow-count", std::to_string(options.slowAllowed));
    add(words, "--save-progress", std::to_string(options.saveProgress));
    add(words, "--resume", options.resume);
}

}  // namespace

std::vector<std::string> argumentsOf(const RunOptions& options) {
    Words words{options.survey ? "check" : "run"};
    if (!options.survey)
        addWhatRunsChoose(words, options);
    addNumber(words, "--max-time", options.maxTime);
    addOutputs(words, options);
    addFlag(words, "--no-prompt", !options.prompts);
    addFlag(words, options.quiet ? "--quiet" : "--no-quiet", true);
    add(words, "--module", options.moduleFile);
    if (options.progressTo >= 0)
        add(words, "--progress-to", std::to_string(options.progressTo));
    add(words, "--drive-is", options.identity);
    // The record of a run that is gone on with has the others.
    if (!options.resume.empty())
        return words;
    words.emplace_back("--");
    if (!options.survey)
        words.push_back(options.test);
    words.push_back(options.device);
    return words;
}

bool optionsOf(const std::vector<std::string>& words, RunOptions& options, std::string& error) {
    CLI::App program;
    program.allow_windows_style_options(false);  // what begins with "/" is a path everywhere
    program.require_subcommand(1);
    addCheck(program, options);
    options.survey = false;  // addCheck() sets it, whatever the words are
    addRun(program, options);
    options.survey = !words.empty() && words.front() == "check";
    try {
        program.parse(Words(words.rbegin(), words.rend()));
    } catch (const CLI::ParseError& wrong) {
        error = describeUsageError(program, wrong);
        return false;
    }
    std::erase_if(options.outputs, [](const auto& output) { return output.second.empty(); });
    return true;
}

}  // namespace drivetest
