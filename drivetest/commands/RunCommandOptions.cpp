#include <CLI/CLI.hpp>
#include <algorithm>
#include <limits>
#include <string_view>

#include "drivetest/commands/CommandOptions.h"
#include "drivetest/commands/UsageError.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/settings/TimeText.h"
#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

void addMaxTime(CLI::App& command, RunOptions& options, const std::string& help) {
    command.add_option("--max-time", options.maxTime, help)->type_name("TIME")->transform(timeSpan());
}

std::string deviceHelp() {
    return words("Drive: a device path, an image file, or sim:KIND[,KEY=VALUE]...") + "\n" +
           libDrive2::describeSimulatedLocators().utf8();
}

/// The first one, and those beside it.
void take(const std::vector<std::string>& given, std::string& first, std::vector<std::string>& more) {
    first = given.front();
    more.assign(given.begin() + 1, given.end());
}

void addDevices(CLI::App& command, RunOptions& options) {
    command
        .add_option_function<std::vector<std::string>>(
            "DEVICE",
            [&options](const std::vector<std::string>& given) {
                take(given, options.device, options.shelf.moreDevices);
            },
            deviceHelp())
        ->type_name("")
        ->required();
}

/// What a run on several drives asks for.
void addShelfOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("--out", options.shelf.folder,
                    words("Folder for the record, log and report of each drive, and the overview of several"))
        ->type_name("DIR");
    command.add_option("-j,--jobs", options.shelf.jobs, words("Test at most so many drives at once"))
        ->type_name("N")
        ->check(wholeNumber(1, kMostJobs));
    command
        .add_option("--timeout", options.shelf.hangSeconds,
                    words("End the run of a drive that makes no progress for so long; 0 for never (default: "
                          "30min; 5h of one "
                          "that records on optical media)"))
        ->type_name("TIME")
        ->transform(timeSpan());
    // Between the program and those that it starts.
    command.add_option("--progress-to", options.progressTo)->group("");
    command.add_option("--drive-is", options.identity)->group("");
}

void addWhatToTest(CLI::App& command, RunOptions& options) {
    command.add_option("TEST", options.test, words("Name of the test; \"drivetest tests\" lists them"))
        ->type_name("")
        ->required();
    addDevices(command, options);
    command.add_option("-p,--param", options.parameters, words("Parameter of the test; repeatable"))
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command
        .add_option("--property", options.properties,
                    words("Property of the device; repeatable. How it is reached:") + "\n" +
                        std::string(kAccessOrderProperty) + "=" + words(kAccessOrderForms))
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
}

void addSaveProgress(CLI::App& command, RunOptions& options) {
    command
        .add_option(
            "--save-progress", options.saveProgress,
            words("How often progress goes into the record, which --resume goes on from (default: 1min)"))
        ->type_name("TIME")
        ->transform(timeSpan());
}

void addResume(CLI::App& command, RunOptions& options) {
    command
        .add_option_function<std::string>(
            "--resume",
            [&options, &command](const std::string& record) {
                options.resume = record;
                // Looked for only after this: the record has them.
                for (const char* const name : {"TEST", "DEVICE"})
                    command.get_option(name)->required(false);
            },
            words("Go on with the run that broke off with this record, instead of TEST and DEVICE; a new "
                  "record begins with what it proves (default: beside it)"))
        ->type_name("RECORD");
    addSaveProgress(command, options);
}

/// What a test that writes asks for.
void addSafetyOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option_function<std::vector<std::string>>(
            "--confirm",
            [&options](const std::vector<std::string>& given) {
                take(given, options.confirm, options.shelf.moreConfirmed);
            },
            words("Confirm that a test may write to the drive: its serial number, or the DEVICE as "
                  "given where it has none (\"confirm\" in \"drivetest devices --json\"); once for each "
                  "drive"))
        ->type_name("SERIAL")
        ->allow_extra_args(false);
    command.add_flag("--allow-unexamined", options.allowUnexamined,
                     words("Write even where sectors that could tell of an encrypted volume cannot be read"));
    command.add_flag_callback(
        "--no-journal", [&options] { options.journal = false; },
        words("Keep no undo journal: a crash or a power cut then costs the sectors that were being tested"));
    command.add_flag(
        "--verify-restore,!--no-verify-restore", options.verifyRestores,
        words("Read back what was put back, and compare; on unless --no-verify-restore is given"));
    addJournalOption(command, options.journalFolder);
}

/// What is written of a run.
void addOutputOptions(CLI::App& command, RunOptions& options) {
    std::vector<std::string> forms;
    std::string help = words("Write what was found in another program's form:");
    for (const OutputFormat& format : outputFormats()) {
        const std::string option(format.option);
        if (option.starts_with(kExportOption)) {
            forms.push_back(option.substr(kExportOption.size() + 1));
            help += "\n" + forms.back() + ": " + format.help;
            continue;
        }
        command.add_option(option, options.outputs[option], format.help)->type_name("FILE");
    }
    command
        .add_option_function<std::vector<std::pair<std::string, std::string>>>(
            std::string(kExportOption),
            [&options](const std::vector<std::pair<std::string, std::string>>& exports) {
                for (const auto& [form, file] : exports)
                    options.outputs[std::string(kExportOption) + " " + form] = file;
            },
            help)
        ->type_name("FORM FILE")
        ->check(oneOf(forms).application_index(0));
    command
        .add_option(
            "--grade", options.grading,
            words("Grade the drive by the limits in this file, by the program's (default), or not (none)"))
        ->type_name("FILE");
    command.add_flag_callback(
        "--no-record", [&options] { options.keepRecord = false; },
        words("Keep no record where --events names no file for it"));
    command.add_flag("--force", options.replaceOutputs,
                     words("Replace what the files of --events, --log, --bad-list and --report hold; else "
                           "they must be new or empty"));
    command
        .add_option("--log-priority", options.logPriority,
                    words("Lowest priority that is logged: 0 trace, 1 diagnostics, 2 cancellations, "
                          "3 warnings, 4 errors"))
        ->type_name("N")
        ->check(wholeNumber(0, 4))
        ->capture_default_str();
}

void addSlownessOptions(CLI::App& command, RunOptions& options) {
    auto* const slow = command
                           .add_option("--slow-ms", options.slowMs,
                                       words("Make a PASS a WARN when transfers take longer than so many ms"))
                           ->type_name("N")
                           ->check(wholeNumber(0, std::numeric_limits<unsigned>::max()));
    command
        .add_option("--slow-count", options.slowAllowed,
                    words("So many transfers may take longer than --slow-ms"))
        ->type_name("N")
        ->check(wholeNumber(0, std::numeric_limits<std::uint64_t>::max()))
        ->needs(slow)
        ->capture_default_str();
}

void addPace(CLI::App& command, RunOptions& options) {
    addMaxTime(
        command, options,
        words("End a linear test after so long, such as 90s, 10min or 2h; what was tested until then is "
              "spread evenly over the range"));
    command
        .add_option(
            "--import", options.importedMap,
            words("Gently, read nothing but what this mapfile of GNU ddrescue does not call finished"))
        ->type_name("FILE");
    command
        .add_option(
            "--max-temp", options.maxTemperature,
            words("Let a drive rest that is hotter, until it is 5 °C cooler (with --gentle: 55, NVMe 70)"))
        ->type_name("CELSIUS")
        ->check(wholeNumber(1, 200));
    command
        .add_option_function<std::string>(
            "--max-errors",
            [&options](const std::string& count) { options.parameters.push_back("MaxErrors=" + count); },
            words("End after so many errors"))
        ->type_name("N")
        ->check(wholeNumber(1, std::numeric_limits<std::uint32_t>::max()));
    command.add_flag(
        "--gentle", options.gentle,
        words("Read a drive that may be dying: no sector twice, what is good first, bad regions last"));
}

void addConversation(CLI::App& command, RunOptions& options) {
    command.add_flag_callback(
        "--no-prompt", [&options] { options.prompts = false; }, words("Never ask anything"));
    command.add_flag("-q,--quiet,!--no-quiet", options.quiet,
                     words("Show no progress, only problems and the result"));
    addModuleOption(command, options.moduleFile);
}

/// Beside a plan: what is none of its keys, and not of one run alone.
constexpr std::string_view kBesidePlan[] = {"--plan",         "--module",    "--journal", "--quiet",
                                            "--log-priority", "--no-prompt", "--lang",    "--jobs",
                                            "--out",          "--timeout"};

/// A plan names tests and drives, and says how they are run.
void addPlanFile(CLI::App& command, RunOptions& options) {
    command
        .add_option_function<std::string>(
            "--plan",
            [&command, &options](const std::string& file) {
                options.planFile = file;
                for (CLI::Option* const option : command.get_options())
                    option->required(false);
            },
            words("Run the tests of this plan on its drives, and leave out TEST and DEVICE; \"drivetest plan "
                  "check FILE\" shows what it would do"))
        ->type_name("FILE");
    command.final_callback([&command, &options] {
        for (const CLI::Option* const option : command.get_options())
            if (!options.planFile.empty() && option->count() > 0 &&
                std::ranges::none_of(kBesidePlan, [option](std::string_view name) {
                    return option->check_name(std::string(name));
                }))
                throw CLI::ValidationError(option->get_name(), words("{file} says that itself: leave it out",
                                                                     {{"file", options.planFile}}));
    });
}

std::string exitStatuses() {
    return words(
        "Exit status: 0 PASS, 1 FAIL, 2 bad parameters or usage, 3 WARN, 4 no or wrong medium, 5 "
        "drive busy, 6 cannot run or not supported, 7 timed out, 8 internal error, 9 data not "
        "restored, 130 stopped by the user.");
}

}  // namespace

CLI::App& addRun(CLI::App& program, RunOptions& options) {
    CLI::App& command = *program.add_subcommand("run", words("Run a test on a drive"));
    command.footer(exitStatuses());
    addWhatToTest(command, options);
    addResume(command, options);
    addPlanFile(command, options);
    addPace(command, options);
    addSafetyOptions(command, options);
    addOutputOptions(command, options);
    addSlownessOptions(command, options);
    addConversation(command, options);
    addShelfOptions(command, options);
    return command;
}

CLI::App& addResumeRuns(CLI::App& program, ResumeOptions& options) {
    CLI::App& command = *program.add_subcommand("resume", words("Go on with the runs that broke off"));
    command.footer(
        words(
            "Goes on with what was to be run on several drives (shelf.work): what has a verdict counts, what "
            "broke off is resumed or begun anew, and what was never begun is run, each drive by a process of "
            "its own. A test that writes is confirmed once more. Of single runs, every one that was killed, "
            "lost its power, or ended without a verdict is resumed by its record (*.jsonl), as \"drivetest "
            "run --resume\" does.") +
        "\n" +
        words("Exit status: that of the worst run, 0 when nothing was left to do; 6 when something cannot be "
              "gone on with, 2 when the folder cannot be read."));
    command.add_option("DIR", options.folder, words("Folder with the records of runs"))
        ->type_name("")
        ->required();
    command.add_flag("--list", options.list, words("Show what is left to do, and do nothing"));
    addSafetyOptions(command, options.run);
    addSaveProgress(command, options.run);
    addConversation(command, options.run);
    addShelfOptions(command, options.run);
    return command;
}

CLI::App& addCheck(CLI::App& program, RunOptions& options) {
    CLI::App& command =
        *program.add_subcommand("check", words("Say within minutes whether a drive is good; writes nothing"));
    command.footer(
        words("Reads a sample that is drawn at random all over the drive, both ends and the middle, and "
              "says what that proves. Where the time suffices, it reads all of the drive.") +
        "\n" + exitStatuses());
    options.survey = true;
    addDevices(command, options);
    addMaxTime(command, options, words("Take at most so long, such as 90s or 1h (default: 10min)"));
    addOutputOptions(command, options);
    addConversation(command, options);
    addShelfOptions(command, options);
    return command;
}

}  // namespace drivetest
