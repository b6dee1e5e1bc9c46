#include <CLI/CLI.hpp>
#include <algorithm>
#include <functional>
#include <memory>
#include <optional>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/CommandOptions.h"
#include "drivetest/commands/HelpCommands.h"
#include "drivetest/commands/HelpFormatter.h"
#include "drivetest/commands/UsageError.h"
#include "drivetest/grade/Grading.h"
#include "drivetest/settings/Settings.h"
#include "drivetest/settings/TimeText.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Language.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::string join(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments)
        if (!argument.starts_with("--progress-to="))  // of no use to whoever repeats it
            line += (line.empty() ? "" : " ") + argument;
    return line;
}

/// chooseLanguage() has taken it from the arguments.
void addLanguageOption(CLI::App& command) {
    command
        .add_option_function<std::string>(
            kLanguageOption, [](const std::string& /*language*/) {},
            words("Language of the texts, such as de or fr (default: from the environment)"))
        ->type_name("LOCALE");
}

/// What all commands inherit; to be done before there are any.
void prepare(CLI::App& program) {
    program.formatter(std::make_shared<HelpFormatter>());
    program.allow_windows_style_options(false);  // what begins with "/" is a path everywhere
    program.set_help_flag("-h,--help", words("Print this help, and do nothing else"));
    program.set_version_flag("--version", "drivetest " DRIVETEST_VERSION, words("Print the version"));
    program.require_subcommand(1);
}

/// Gives the exit status when that was all, else -1.
int parse(CLI::App& program, const std::vector<std::string>& arguments) {
    try {
        // Without the program's name, which whoever starts it may leave out, the last one first.
        program.parse(
            std::vector<std::string>(arguments.rbegin(), arguments.rend() - (arguments.empty() ? 0 : 1)));
        return -1;
    } catch (const CLI::Success& asked) {
        return program.exit(asked);
    } catch (const CLI::ParseError& wrong) {
        complain(describeUsageError(program, wrong));
        return kExitUsage;
    }
}

/// What is given to all commands.
struct Options {
    TestsOptions tests;
    DevicesOptions devices;
    RunOptions run;
    RunOptions check;
    ResumeOptions resume;
    PlanOptions plan;
    RecoverOptions recover;
    ReportOptions report;
    std::string health;
    SelfTestOptions selfTest;
    std::vector<std::string> compared;
    std::string explained;
    GradeOptions graded;
    CertificateOptions certificate;
    VerifyOptions verify;
    std::string language;  ///< where the command line names one
};

struct Command {
    CLI::App* parser;
    std::function<int()> carryOut;
};

/// Also chooses the language, which sentences on the settings have already as far as it is known without
/// them.
std::optional<Settings> loadSettings(const std::vector<std::string>& arguments, std::string& error) {
    if (!chooseLanguage(arguments, {}, error))
        return {};
    std::vector<std::string> leftOut;
    auto settings = Settings::load(leftOut, error);
    for (const std::string& sentence : leftOut)
        complain(sentence);
    if (settings && !chooseLanguage(arguments, settings->text("language"), error))
        return {};
    return settings;
}

/// What the command line then changes.
void apply(const Settings& settings, Options& options) {
    for (RunOptions* const run : {&options.run, &options.check, &options.resume.run, &options.plan.usual}) {
        run->recordFolder = settings.text("records");
        run->grading = settings.text("grade");
        run->quiet = settings.flag("quiet");
        run->colours = settings.flag("color");
        run->logPriority = static_cast<int>(settings.number("log-priority"));
    }
    options.run.slowMs = options.plan.usual.slowMs = static_cast<unsigned>(settings.number("run.slow-ms"));
    options.check.maxTime = secondsOf(settings.text("check.max-time")).value_or(0);
    if (settings.text("grade") != kNoGrading)
        options.graded.grading = settings.text("grade");
}

std::vector<Command> addCommands(CLI::App& program, Options& given, const Settings& settings) {
    std::vector<Command> commands{
        {&addTests(program, given.tests), [&given] { return listTests(given.tests); }},
        {&addDevices(program, given.devices), [&given] { return listDevices(given.devices.json); }},
        {&addCheck(program, given.check), [&given] { return runTests(given.check); }},
        {&addRun(program, given.run),
         [&given] { return given.run.planFile.empty() ? runTests(given.run) : runPlan(given.run); }},
        {&addResumeRuns(program, given.resume), [&given] { return resumeRuns(given.resume); }},
        {&addPlan(program, given.plan), [&given] { return showPlan(given.plan); }},
        {&addHealth(program, given.health), [&given] { return showHealth(given.health); }},
        {&addSelfTest(program, given.selfTest), [&given] { return testItself(given.selfTest); }},
        {&addRecover(program, given.recover), [&given] { return recoverDrives(given.recover); }},
        {&addReport(program, given.report), [&given] { return writeReport(given.report); }},
        {&addCompare(program, given.compared), [&given] { return compareRecords(given.compared); }},
        {&addExplain(program, given.explained), [&given] { return explainRecord(given.explained); }},
        {&addGrade(program, given.graded), [&given] { return gradeRecords(given.graded); }},
        {&addConfig(program), [&given, &settings] { return showSettings(settings, given.language); }},
        {&addCertificate(program, given.certificate),
         [&given] { return writeCertificate(given.certificate); }},
        {&addVerify(program, given.verify), [&given] { return verifyCertificate(given.verify); }},
    };
    for (const Command& command : commands)
        addLanguageOption(*command.parser);
    return commands;
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments) {
    std::string error;
    const std::optional<Settings> settings = loadSettings(arguments, error);
    if (!settings) {
        complain(error);
        return kExitUsage;
    }
    CLI::App program{words("Tests storage drives: finds every bad sector and leaves every byte as it was."),
                     "drivetest"};
    prepare(program);
    addLanguageOption(program);
    Options options;
    apply(*settings, options);
    options.language = languageAmong(arguments);
    options.run.commandLine = options.check.commandLine = options.resume.run.commandLine = join(arguments);
    const std::vector<Command> commands = addCommands(program, options, *settings);
    HelpCommands help(program);
    for (CLI::App* const command : program.get_subcommands([](const CLI::App*) { return true; }))
        command->group(words("Commands"));

    if (const int ended = parse(program, arguments); ended >= 0)
        return ended;
    const auto asked =
        std::ranges::find_if(commands, [](const Command& each) { return each.parser->parsed(); });
    return asked == commands.end() ? help.print() : asked->carryOut();
}

}  // namespace drivetest
