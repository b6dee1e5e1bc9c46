#include "drivetest/shelf/kept/WorkArguments.h"

#include <algorithm>
#include <filesystem>
#include <string_view>
#include <system_error>

#include "drivetest/commands/RunArguments.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// What is among the arguments of a run that a shelf keeps; each with its value in one word.
constexpr std::string_view kKept[] = {"--param",         "--property",    "--max-temp", "--slow-ms",
                                      "--slow-count",    "--max-time",    "--journal",  "--grade",
                                      "--save-progress", "--log-priority"};
constexpr std::string_view kKeptFlags[] = {"--gentle", "--verify-restore", "--quiet", "--no-quiet"};
constexpr std::string_view kEndOfOptions = "--";

bool isKept(std::string_view word) {
    const std::string_view name = word.substr(0, word.find('='));
    return name == word ? std::ranges::count(kKeptFlags, word) > 0 : std::ranges::count(kKept, name) > 0;
}

/// Parts of file names are made of it.
bool isNameOfTest(std::string_view name) {
    constexpr std::size_t kLongest = 100;
    return !name.empty() && name.size() <= kLongest && std::ranges::all_of(name, [](char c) {
        return (c >= '0' && c <= '9') || (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || c == '_' ||
               c == '-';
    });
}

}  // namespace

std::string lastingPath(const std::string& path) {
    std::error_code unknown;
    const auto full = std::filesystem::absolute(zel::pathOf(path), unknown);
    return zel::pathExists(path) && !unknown ? zel::textOf(full) : path;
}

std::vector<std::string> keptArgumentsOf(const RunOptions& options) {
    RunOptions kept = options;
    kept.device = lastingPath(options.device);
    if (!kept.journalFolder.empty())
        kept.journalFolder = zel::textOf(std::filesystem::absolute(zel::pathOf(kept.journalFolder)));
    if (kept.grading != kDefaultGrading && kept.grading != kNoGrading)
        kept.grading = lastingPath(kept.grading);
    kept.confirm.clear();
    kept.identity.clear();
    kept.allowUnexamined = false;
    kept.journal = true;
    kept.verifyRestores = true;
    kept.moduleFile.clear();
    kept.outputs.clear();
    kept.replaceOutputs = false;
    kept.keepRecord = true;
    kept.importedMap.clear();
    kept.prompts = true;
    kept.progressTo = -1;
    kept.resume.clear();
    return argumentsOf(kept);
}

bool readKeptArguments(const std::vector<std::string>& given, RunOptions& options, std::string& error) {
    const auto end = std::ranges::find(given, kEndOfOptions);
    if (given.empty() || (given.front() != "run" && given.front() != "check") || end == given.end()) {
        error = words("these are no arguments of a run");
        return false;
    }
    const auto foreign = std::find_if_not(given.begin() + 1, end, isKept);
    if (foreign != end) {
        error = words("{word} is nothing that a shelf keeps", {{"word", quoted(printable(*foreign))}});
        return false;
    }
    if (!optionsOf(given, options, error))
        return false;
    if (!options.survey && !isNameOfTest(options.test))
        error = words("{word} is no test", {{"word", quoted(printable(options.test))}});
    else if (!options.shelf.moreDevices.empty())
        error = words("each run is of one drive");
    return error.empty();
}

}  // namespace drivetest
