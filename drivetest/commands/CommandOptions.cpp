#include "drivetest/commands/CommandOptions.h"

#include <CLI/CLI.hpp>

#include "drivetest/commands/UsageError.h"
#include "drivetest/safety/JournalPlace.h"
#include "zel/Words.h"

namespace drivetest {

using zel::words;

void addModuleOption(CLI::App& command, std::string& moduleFile) {
    command
        .add_option("--module", moduleFile,
                    words("Test module to load (default: libDriveTest beside the program)"))
        ->type_name("FILE");
}

void addJournalOption(CLI::App& command, std::string& folder) {
    command
        .add_option(
            "--journal", folder,
            words("Folder of the undo journals (default: {folder})", {{"folder", defaultJournalFolder()}}))
        ->type_name("DIR");
}

CLI::App& addTests(CLI::App& program, TestsOptions& options) {
    CLI::App& command = *program.add_subcommand("tests", words("List the tests, or one test's parameters"));
    command.add_option("TEST", options.test, words("Name of a test"))->type_name("");
    command.add_flag("--names", options.namesOnly,
                     words("Only what can be typed for the name of a test, a line each"));
    addModuleOption(command, options.moduleFile);
    return command;
}

CLI::App& addDevices(CLI::App& program, DevicesOptions& options) {
    CLI::App& command = *program.add_subcommand("devices", words("List the drives of this machine"));
    command.add_flag("--json", options.json, words("An array of objects instead of a table"));
    return command;
}

CLI::App& addRecover(CLI::App& program, RecoverOptions& options) {
    CLI::App& command =
        *program.add_subcommand("recover", words("Put back what an interrupted test left undone"));
    command.footer(
        words("Looks into the usual folder and the register of open journals. Sectors that hold what the "
              "test wrote, or cannot be read, get their data back. Where somebody has written since, "
              "nothing is written, and the journal is kept; so it is until all it holds is on the drive "
              "and read back.") +
        "\n" +
        words("Exit status: 0 all is well, 5 in use, 9 data is not restored (or, with --dry-run, not yet); "
              "6 and 8 when journals cannot be listed or deleted."));
    command
        .add_option("DEVICE", options.device,
                    words("Drive, where it is not found by itself (default: all drives)"))
        ->type_name("");
    addJournalOption(command, options.folder);
    command
        .add_option("--export", options.exportFolder,
                    words("Folder for data that is not put on the drive (default: beside the journal)"))
        ->type_name("DIR");
    command.add_flag("--dry-run", options.dryRun, words("Only say what would be done"));
    command.add_flag("--force", options.force,
                     words("Put the data back even where somebody has written since; what is overwritten is "
                           "exported first"));
    return command;
}

CLI::App& addReport(CLI::App& program, ReportOptions& options) {
    CLI::App& command =
        *program.add_subcommand("report", words("Make a report for people from records of runs"));
    command.footer(
        words("Several records of one drive: the newest is shown, and compared with the one before.") + "\n" +
        words("Exit status: 0 written, 2 a record cannot be read, or the report not be written."));
    command
        .add_option("RECORD", options.records,
                    words("Records of runs, see \"--events\" of \"drivetest run\""))
        ->type_name("")
        ->required();
    command.add_option("-o,--output", options.output, words("The report, a page of HTML"))
        ->type_name("FILE")
        ->required();
    command.add_flag("--force", options.replaceOutput, words("Replace what FILE holds"));
    return command;
}

CLI::App& addHealth(CLI::App& program, std::string& device) {
    CLI::App& command = *program.add_subcommand("health", words("Show what a drive says of its own health"));
    command.footer(
        words("By smartctl, where that is installed, else by the drive's own commands. Every run of a test "
              "asks for it before and after.") +
        "\n" +
        words("Exit status: 0 nothing to worry about, 2 there is no such drive, 3 see the warnings, 6 the "
              "drive tells nothing of its health."));
    command.add_option("DEVICE", device, words("Drive, as \"drivetest devices\" lists it"))
        ->type_name("")
        ->required();
    return command;
}

CLI::App& addSelfTest(CLI::App& program, SelfTestOptions& options) {
    CLI::App& command =
        *program.add_subcommand("selftest", words("Have a drive test itself, and follow its test"));
    command.footer(
        words("The drive goes on serving the system meanwhile, and nothing is written. Ctrl-C aborts the "
              "drive's test.") +
        "\n" +
        words("Exit status: 0 passed or aborted as asked, 1 failed, 2 wrong usage, 5 the drive is testing "
              "itself already, 6 it cannot test itself or does not tell, 130 stopped."));
    command.add_option("DEVICE", options.device, words("Drive, as \"drivetest devices\" lists it"))
        ->type_name("")
        ->required();
    command.add_option("KIND", options.kind, words("short (some minutes) or extended (the whole surface)"))
        ->type_name("")
        ->check(oneOf({"short", "extended"}));
    command.add_flag("--abort", options.abort, words("End a test that the drive carries out"));
    return command;
}

CLI::App& addCompare(CLI::App& program, std::vector<std::string>& records) {
    CLI::App& command = *program.add_subcommand("compare", words("Compare two runs of a drive"));
    command.footer(
        words("Exit status: 0 no new bad sectors, 1 there are some, 2 the records cannot be compared."));
    command.add_option("RECORD", records, words("Two records of one drive, in any order"))
        ->type_name("")
        ->required()
        ->expected(2);
    return command;
}

CLI::App& addExplain(CLI::App& program, std::string& record) {
    CLI::App& command =
        *program.add_subcommand("explain", words("Say what a run did, what it means and what to do next"));
    command.add_option("RECORD", record, words("Record of a run, see \"--events\" of \"drivetest run\""))
        ->type_name("")
        ->required();
    return command;
}

CLI::App& addGrade(CLI::App& program, GradeOptions& options) {
    CLI::App& command =
        *program.add_subcommand("grade", words("Grade drives from A to F, by records of runs"));
    command.footer(
        words("Each limit that is not kept is told, with what was found. Several records make a table.") +
        "\n" +
        words("Exit status: 0 all have a grade, 2 a file cannot be read or is wrong, 6 a run gives no "
              "grade."));
    command
        .add_option("RECORD", options.records,
                    words("Records of runs, see \"--events\" of \"drivetest run\""))
        ->type_name("");
    command
        .add_option("--grade", options.grading, words("Limits in a file of yours, or the program's: default"))
        ->type_name("FILE");
    command.add_flag("--print-default", options.printsDefault,
                     words("Print the program's limits, to make others of them"));
    return command;
}

CLI::App& addConfig(CLI::App& program) {
    CLI::App& command = *program.add_subcommand("config", words("Show what is set for all runs, and where"));
    command.footer(
        words("What the command line says goes first, then the environment, the file of the person, and "
              "that of the machine. Nothing that can be set makes a test write, or spares it a question.") +
        "\n" + words("Exit status: 0 shown, 2 a file has an error."));
    return command;
}

CLI::App& addCertificate(CLI::App& program, CertificateOptions& options) {
    CLI::App& command =
        *program.add_subcommand("certificate", words("Make a certificate from the record of a run"));
    command.footer(
        words("Only a run that came to its end and gives a verdict gets a certificate, also one that "
              "failed.") +
        "\n" +
        words(
            "The passphrase of a key is asked for on the terminal, for two minutes; without a terminal, hand "
            "the key to ssh-agent first. A browser that makes no PDF is ended after a minute.") +
        "\n" +
        words("Exit status: 0 written, 2 there is nothing to certify, or it cannot be read, written or "
              "signed."));
    command
        .add_option("RECORD", options.record, words("Record of a run, see \"--events\" of \"drivetest run\""))
        ->type_name("")
        ->required();
    command.add_option("-o,--output", options.output, words("The certificate, a page of HTML"))
        ->type_name("FILE")
        ->required();
    command.add_option("--pdf", options.pdf, words("Also as PDF; Chromium or WeasyPrint makes it"))
        ->type_name("FILE");
    command.add_option("--sign", options.key, words("Sign it with this key of ssh-keygen's; makes FILE.sig"))
        ->type_name("KEY");
    command.add_flag("--force", options.replaceOutput, words("Replace what the files hold"));
    return command;
}

CLI::App& addVerify(CLI::App& program, VerifyOptions& options) {
    CLI::App& command =
        *program.add_subcommand("verify", words("Check a certificate: its record, its signature"));
    command.footer(
        words("Exit status: 0 all that was checked holds, 1 something does not, 2 nothing can be checked."));
    command
        .add_option("CERTIFICATE", options.certificate,
                    words("The certificate; its signature lies beside it"))
        ->type_name("")
        ->required();
    command.add_option("RECORD", options.record, words("The record that it should be made from"))
        ->type_name("");
    auto* const signers =
        command
            .add_option("--allowed-signers", options.allowedSigners,
                        words("The signature must be made with a key that this file has for --identity"))
            ->type_name("FILE");
    auto* const identity =
        command
            .add_option("--identity", options.identity, words("Who must have signed it, such as an address"))
            ->type_name("NAME");
    signers->needs(identity);
    identity->needs(signers);
    return command;
}

}  // namespace drivetest
