#include "drivetest/commands/HelpCommands.h"

#include <CLI/CLI.hpp>
#include <array>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Completion.h"
#include "drivetest/commands/Manual.h"
#include "drivetest/commands/UsageError.h"
#include "drivetest/safety/SystemAdvice.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

struct Example {
    const char* command;  ///< the program itself has none
    const char* purpose;
    const char* line;  ///< DRIVE stands for a name that drives have on this system
};

constexpr std::array kExamples = {
    Example{"", zel::marked("Which drives there are"), "drivetest devices"},
    Example{"", zel::marked("Read every sector of one"), "drivetest run LinearReadTest DRIVE"},
    Example{"", zel::marked("Whether one is good, in ten minutes"), "drivetest check DRIVE"},
    Example{"check", zel::marked("Take an hour, and write a report"),
            "drivetest check DRIVE --max-time 1h --report drive.html"},
    Example{"tests", zel::marked("What a test does, and its parameters"),
            "drivetest tests LinearPatternTest"},
    Example{"devices", zel::marked("For programs"), "drivetest devices --json"},
    Example{"run", zel::marked("Read every sector, and write a report for people"),
            "drivetest run LinearReadTest DRIVE --report drive.html"},
    Example{"run", zel::marked("As much as can be read in half an hour, spread over the drive"),
            "drivetest run LinearReadTest DRIVE --max-time 30min"},
    Example{"run", zel::marked("A drive that may be dying"), "drivetest run read DRIVE --gentle"},
    Example{"run", zel::marked("Write patterns, and put everything back; the serial number confirms it"),
            "drivetest run LinearPatternTest DRIVE --confirm SERIAL"},
    Example{"run", zel::marked("Try it without a drive"),
            "drivetest run LinearReadTest sim:disk,sectors=100000,bad=1234"},
    Example{"run", zel::marked("Go on after a power cut, with what its record proves"),
            "drivetest run --resume record.jsonl"},
    Example{"resume", zel::marked("All runs of last night that were cut off"), "drivetest resume records"},
    Example{"run", zel::marked("Several tests on several drives"), "drivetest run --plan shelf.toml"},
    Example{"plan", zel::marked("Make one of your own of a plan that is built in"),
            "drivetest plan --print used-drive > shelf.toml"},
    Example{"plan", zel::marked("What it would do, and what it refuses"), "drivetest plan check shelf.toml"},
    Example{"health", zel::marked("What a drive says of itself"), "drivetest health DRIVE"},
    Example{"selftest", zel::marked("Whether it passes its own test, in minutes"),
            "drivetest selftest DRIVE short"},
    Example{"recover", zel::marked("See what interrupted tests left undone, and touch nothing"),
            "drivetest recover --dry-run"},
    Example{"report", zel::marked("A report of one run"), "drivetest report record.jsonl -o report.html"},
    Example{"report", zel::marked("Compare two runs of a drive"),
            "drivetest report before.jsonl after.jsonl -o report.html"},
    Example{"compare", zel::marked("What is worse than before"),
            "drivetest compare before.jsonl after.jsonl"},
    Example{"explain", zel::marked("For whoever reads no records"), "drivetest explain record.jsonl"},
    Example{"grade", zel::marked("All that was tested today, as a table"), "drivetest grade *.jsonl"},
    Example{"grade", zel::marked("Limits of your own"), "drivetest grade --print-default > my-grades.toml"},
    Example{"config", zel::marked("What holds, and from which file"), "drivetest config"},
    Example{"certificate", zel::marked("A certificate of one run"),
            "drivetest certificate record.jsonl -o certificate.html"},
    Example{"verify", zel::marked("Check a certificate against the record that it was made from"),
            "drivetest verify certificate.html record.jsonl"},
    Example{"manual", zel::marked("Read it where it is not installed"), "drivetest manual | man -l -"},
    Example{"completion", zel::marked("For the shell that is running"),
            "source <(drivetest completion bash)"},
};

std::string examplesOf(const std::string& command) {
    constexpr std::string_view kDrive = "DRIVE";
    std::string text;
    for (const Example& example : kExamples) {
        if (command != example.command)
            continue;
        std::string line = example.line;
        if (const std::size_t at = line.find(kDrive); at != std::string::npos)
            line.replace(at, kDrive.size(), exampleDrive());
        text += "\n  " + zel::words(example.purpose) + "\n      " + line;
    }
    return text.empty() ? text : zel::words("Examples:") + text;
}

/// Below what the footer has.
void addExamples(CLI::App& app, const std::string& command) {
    const std::string footer = app.get_footer();
    const std::string examples = examplesOf(command);
    app.footer(footer + (footer.empty() || examples.empty() ? "" : "\n\n") + examples);
}

}  // namespace

HelpCommands::HelpCommands(CLI::App& program)
    : m_program(program),
      m_manual(program.add_subcommand("manual", zel::words("Print the manual page, as troff"))),
      m_completion(program.add_subcommand(
          "completion", zel::words("Print a script that makes a shell complete the command line"))) {
    m_completion->add_option("SHELL", m_shell, zel::words("Which shell"))
        ->type_name("")
        ->required()
        ->check(oneOf(completedShells()));
    addExamples(program, "");
    for (CLI::App* const command : program.get_subcommands({}))
        addExamples(*command, command->get_name());
    // --lang is the program's.
    for (CLI::App* const command : {m_manual, m_completion})
        command->fallthrough();
}

int HelpCommands::print() const {
    std::cout << (m_manual->parsed() ? manualPage(m_program) : completionScript(m_program, m_shell));
    return kExitPass;
}

}  // namespace drivetest
