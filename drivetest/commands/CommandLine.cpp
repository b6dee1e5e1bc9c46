#include <CLI/CLI.hpp>
#include <algorithm>
#include <iostream>
#include <iterator>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/commands/HelpCommands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/DeviceDescription.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

std::string join(const std::vector<std::string>& arguments) {
    std::string line;
    for (const std::string& argument : arguments)
        line += (&argument == &arguments.front() ? "" : " ") + argument;
    return line;
}

void addModuleOption(CLI::App& command, std::string& moduleFile) {
    command
        .add_option("--module", moduleFile, "Test module to load (default: libDriveTest beside the program)")
        ->type_name("FILE");
}

/// chooseLanguage() has taken it from the arguments.
void addLanguageOption(CLI::App& command) {
    command
        .add_option_function<std::string>(
            kLanguageOption, [](const std::string& /*language*/) {},
            "Language of the texts, such as de or fr (default: from the environment)")
        ->type_name("LOCALE");
}

void addJournalOption(CLI::App& command, std::string& folder) {
    command
        .add_option("--journal", folder,
                    "Folder of the undo journals (default: " + defaultJournalFolder() + ")")
        ->type_name("DIR");
}

void addWhatToTest(CLI::App& command, RunOptions& options) {
    command.add_option("TEST", options.test, "Name of the test; \"drivetest tests\" lists them")->required();
    command
        .add_option("DEVICE", options.device,
                    "Drive: a device path, an image file, or sim:KIND[,KEY=VALUE]...\n" +
                        libDrive2::describeSimulatedLocators().utf8())
        ->required();
    command.add_option("-p,--param", options.parameters, "Parameter of the test; repeatable")
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
    command
        .add_option("--property", options.properties,
                    "Property of the device; repeatable. How it is reached:\n" +
                        std::string(kAccessOrderProperty) + "=" + kAccessOrderForms)
        ->type_name("NAME=VALUE")
        ->allow_extra_args(false);
}

/// What a test that writes asks for.
void addSafetyOptions(CLI::App& command, RunOptions& options) {
    command
        .add_option("--confirm", options.confirm,
                    "Confirm that a test may write to the drive: its serial number, or the DEVICE as given\n"
                    "where it has none (\"confirm\" in \"drivetest devices --json\")")
        ->type_name("SERIAL");
    command.add_flag("--allow-unexamined", options.allowUnexamined,
                     "Write even where sectors that could tell of an encrypted volume cannot be read");
    command.add_flag_callback(
        "--no-journal", [&options] { options.journal = false; },
        "Keep no undo journal: a crash or a power cut then costs the sectors that were being tested");
    command.add_flag("--verify-restore,!--no-verify-restore", options.verifyRestores,
                     "Read back what was put back, and compare; on unless --no-verify-restore is given");
    addJournalOption(command, options.journalFolder);
}

/// What is written of a run.
void addOutputOptions(CLI::App& command, RunOptions& options) {
    for (const OutputFormat& format : outputFormats()) {
        const std::string option(format.option);
        command.add_option(option, options.outputs[option], format.help)->type_name("FILE");
    }
    command.add_flag_callback(
        "--no-record", [&options] { options.keepRecord = false; },
        "Keep no record where --events names no file for it");
    command.add_flag(
        "--force", options.replaceOutputs,
        "Replace what the files of --events, --log, --bad-list and --report hold; else they must be\n"
        "new or empty");
    command
        .add_option(
            "--log-priority", options.logPriority,
            "Lowest priority that is logged: 0 trace, 1 diagnostics, 2 cancellations, 3 warnings, 4 errors")
        ->type_name("N")
        ->check(CLI::Range(0, 4))
        ->capture_default_str();
}

void addSlownessOptions(CLI::App& command, RunOptions& options) {
    auto* const slow = command
                           .add_option("--slow-ms", options.slowMs,
                                       "Make a PASS a WARN when transfers take longer than this")
                           ->type_name("N")
                           ->check(CLI::PositiveNumber);
    command
        .add_option("--slow-count", options.slowAllowed, "So many transfers may take longer than --slow-ms")
        ->type_name("N")
        ->needs(slow)
        ->capture_default_str();
}

void addRunOptions(CLI::App& command, RunOptions& options) {
    addWhatToTest(command, options);
    addSafetyOptions(command, options);
    addOutputOptions(command, options);
    addSlownessOptions(command, options);
    command.add_flag_callback(
        "--no-prompt", [&options] { options.prompts = false; }, "Never ask anything");
    command.add_flag("-q,--quiet", options.quiet, "Show no progress, only problems and the result");
    addModuleOption(command, options.moduleFile);
}

void addRecoverOptions(CLI::App& command, RecoverOptions& options) {
    command.footer(
        "Looks into the usual folder and the register of open journals. Sectors that\n"
        "hold what the test wrote, or cannot be read, get their data back. Where\n"
        "somebody has written since, nothing is written, and the journal is kept; so\n"
        "it is until all it holds is on the drive and read back.\n"
        "Exit status: 0 all is well, 5 in use, 9 data is not restored (or, with\n"
        "--dry-run, not yet); 6 and 8 when journals cannot be listed or deleted.");
    command.add_option("DEVICE", options.device,
                       "Drive, where it is not found by itself (default: all drives)");
    addJournalOption(command, options.folder);
    command
        .add_option("--export", options.exportFolder,
                    "Folder for data that is not put on the drive (default: beside the journal)")
        ->type_name("DIR");
    command.add_flag("--dry-run", options.dryRun, "Only say what would be done");
    command.add_flag(
        "--force", options.force,
        "Put the data back even where somebody has written since; what is overwritten is exported first");
}

void addReportOptions(CLI::App& command, ReportOptions& options) {
    command.footer(
        "Several records of one drive: the newest is shown, and compared with the one before.\n"
        "Exit status: 0 written, 2 a record cannot be read, or the report not be written.");
    command.add_option("RECORD", options.records, "Records of runs, see \"--events\" of \"drivetest run\"")
        ->required();
    command.add_option("-o,--output", options.output, "The report, a page of HTML")
        ->type_name("FILE")
        ->required();
    command.add_flag("--force", options.replaceOutput, "Replace what FILE holds");
}

CLI::App* addCertificate(CLI::App& app, CertificateOptions& options) {
    CLI::App& command = *app.add_subcommand("certificate", "Make a certificate from the record of a run");
    command.footer(
        "Only a run that came to its end and gives a verdict gets a certificate, also one that failed.\n"
        "The passphrase of a key is asked for on the terminal, for two minutes; without a terminal,\n"
        "hand the key to ssh-agent first. A browser that makes no PDF is ended after a minute.\n"
        "Exit status: 0 written, 2 there is nothing to certify, or it cannot be read, written or signed.");
    command.add_option("RECORD", options.record, "Record of a run, see \"--events\" of \"drivetest run\"")
        ->required();
    command.add_option("-o,--output", options.output, "The certificate, a page of HTML")
        ->type_name("FILE")
        ->required();
    command.add_option("--pdf", options.pdf, "Also as PDF; Chromium or WeasyPrint makes it")
        ->type_name("FILE");
    command.add_option("--sign", options.key, "Sign it with this key of ssh-keygen's; makes FILE.sig")
        ->type_name("KEY");
    command.add_flag("--force", options.replaceOutput, "Replace what the files hold");
    return &command;
}

CLI::App* addVerify(CLI::App& app, VerifyOptions& options) {
    CLI::App& command = *app.add_subcommand("verify", "Check a certificate: its record, its signature");
    command.footer(
        "Exit status: 0 all that was checked holds, 1 something does not, 2 nothing can be checked.");
    command.add_option("CERTIFICATE", options.certificate, "The certificate; its signature lies beside it")
        ->required();
    command.add_option("RECORD", options.record, "The record that it should be made from");
    auto* const signers =
        command
            .add_option("--allowed-signers", options.allowedSigners,
                        "The signature must be made with a key that this file has for --identity")
            ->type_name("FILE");
    auto* const identity =
        command.add_option("--identity", options.identity, "Who must have signed it, such as an address")
            ->type_name("NAME");
    signers->needs(identity);
    identity->needs(signers);
    return &command;
}

bool isCommand(const CLI::App& app, const std::string& word) {
    const auto commands = app.get_subcommands([](const CLI::App*) { return true; });
    return std::any_of(commands.begin(), commands.end(),
                       [&word](const CLI::App* command) { return command->check_name(word); });
}

/// Gives the exit status when that was all, else -1.
int parse(CLI::App& app, const std::vector<std::string>& arguments) {
    if (arguments.size() > 1 && !arguments[1].starts_with('-') && !isCommand(app, arguments[1])) {
        complain(zel::words("there is no command {name}; \"drivetest --help\" lists them",
                            {{"name", quoted(arguments[1])}}));
        return kExitUsage;
    }
    try {
        // Without the program's name, which whoever starts it may leave out, the last one first.
        app.parse(
            std::vector<std::string>(arguments.rbegin(), arguments.rend() - (arguments.empty() ? 0 : 1)));
        return -1;
    } catch (const CLI::Success& asked) {
        return app.exit(asked);
    } catch (const CLI::ParseError& wrong) {
        // As one sentence, for it repeats what was typed.
        std::cerr << printable(wrong.what()) << '\n'
                  << zel::words("Run with --help for more information.") << '\n';
        return kExitUsage;
    }
}

}  // namespace

int runCommandLine(const std::vector<std::string>& arguments) {
    std::string error;
    if (!chooseLanguage(arguments, error)) {
        complain(error);
        return kExitUsage;
    }
    CLI::App app{"Tests storage drives: finds every bad sector and leaves every byte as it was.",
                 "drivetest"};
    app.allow_windows_style_options(false);  // what begins with "/" is a path everywhere
    app.set_version_flag("--version", "drivetest " DRIVETEST_VERSION);
    app.require_subcommand(1);

    std::string test;
    std::string moduleFile;
    auto* const tests = app.add_subcommand("tests", "List the tests, or one test's parameters");
    tests->add_option("TEST", test, "Name of a test");
    addModuleOption(*tests, moduleFile);

    bool json = false;
    auto* const devices = app.add_subcommand("devices", "List the drives of this machine");
    devices->add_flag("--json", json, "An array of objects instead of a table");

    RunOptions options;
    auto* const run = app.add_subcommand("run", "Run a test on a drive");
    run->footer(
        "Exit status: 0 PASS, 1 FAIL, 2 bad parameters or usage, 3 WARN, 4 no or wrong medium, 5 drive "
        "busy,\n"
        "6 cannot run or not supported, 7 timed out, 8 internal error, 9 data not restored, 130 stopped by "
        "the\nuser.");
    addRunOptions(*run, options);

    RecoverOptions recover;
    auto* const recovery = app.add_subcommand("recover", "Put back what an interrupted test left undone");
    addRecoverOptions(*recovery, recover);

    ReportOptions report;
    auto* const reporting = app.add_subcommand("report", "Make a report for people from records of runs");
    addReportOptions(*reporting, report);
    CertificateOptions certificate;
    VerifyOptions verify;
    for (CLI::App* const command : {&app, tests, devices, run, recovery, reporting,
                                    addCertificate(app, certificate), addVerify(app, verify)})
        addLanguageOption(*command);
    HelpCommands help(app);

    if (const int ended = parse(app, arguments); ended >= 0)
        return ended;
    if (help.asked())
        return help.print();
    if (tests->parsed())
        return listTests(test, moduleFile);
    if (devices->parsed())
        return listDevices(json);
    if (recovery->parsed())
        return recoverDrives(recover);
    if (reporting->parsed())
        return writeReport(report);
    if (app.got_subcommand("certificate"))
        return writeCertificate(certificate);
    if (app.got_subcommand("verify"))
        return verifyCertificate(verify);
    options.commandLine = join(arguments);
    return runTests(options);
}

}  // namespace drivetest
