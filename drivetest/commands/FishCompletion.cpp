#include <algorithm>
#include <sstream>

#include "drivetest/commands/CompletedCommand.h"
#include "drivetest/commands/Completion.h"

namespace drivetest {

namespace {

std::string quotedText(const std::string& text) {
    std::string safe = "'";
    for (const char c : text) {
        if (c == '\'' || c == '\\')
            safe += '\\';
        safe += c;
    }
    return safe + "'";
}

std::string shells() {
    std::string names;
    for (const std::string& shell : completedShells())
        names += (names.empty() ? "" : " ") + shell;
    return names;
}

/// The options of "complete" that offer such a word.
std::string offer(WordKind kind) {
    switch (kind) {
        case WordKind::file:
            return " -F";
        case WordKind::folder:
            return " -x -a '(__fish_complete_directories)'";
        case WordKind::test:
            return " -x -a \"(drivetest tests --names 2>/dev/null)\"";
        case WordKind::shell:
            return " -x -a " + quotedText(shells());
        case WordKind::text:
            return " -x";
        default:
            return "";
    }
}

void writeOptions(std::ostream& script, const CompletedCommand& command, const std::string& condition) {
    for (const CompletedOption& option : command.options) {
        script << "complete -c drivetest" << condition;
        for (const std::string& name : option.shortNames)
            script << " -s " << name;
        for (const std::string& name : option.longNames)
            script << " -l " << name;
        script << (option.value == WordKind::none ? "" : " -r") << offer(option.value) << " -d "
               << quotedText(option.help) << '\n';
    }
}

}  // namespace

/// Fish does not tell which word it is: all that may stand there is offered.
std::string fishCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands) {
    std::ostringstream script;
    script << "# Completes the command line of drivetest in fish.\ncomplete -c drivetest -f\n";
    writeOptions(script, program, " -n __fish_use_subcommand");
    for (const CompletedCommand& command : commands)
        script << "complete -c drivetest -n __fish_use_subcommand -a " << command.name << " -d "
               << quotedText(command.help) << '\n';
    for (const CompletedCommand& command : commands) {
        const std::string condition = " -n '__fish_seen_subcommand_from " + command.name + "'";
        writeOptions(script, command, condition);
        for (const CompletedWord& word : command.words)
            if (word.kind != WordKind::text)
                script << "complete -c drivetest" << condition << offer(word.kind) << '\n';
    }
    return script.str();
}

}  // namespace drivetest
