#include <sstream>

#include "drivetest/commands/CompletedCommand.h"
#include "drivetest/commands/Completion.h"

namespace drivetest {

namespace {

constexpr const char* kTests = R"zsh(
_drivetest_tests() {
    local -a names
    names=(${(f)"$(_call_program tests drivetest tests --names 2>/dev/null)"})
    compadd -a names
}
)zsh";

/// A part of what _arguments and _describe take, which use colons and brackets for themselves; in single
/// quotes.
std::string escaped(const std::string& text) {
    std::string safe;
    for (const char c : text) {
        if (c == '\'')
            safe += "'\\''";
        else if (c == ':' || c == '[' || c == ']' || c == '\\')
            (safe += '\\') += c;
        else
            safe += c;
    }
    return safe;
}

std::string action(WordKind kind) {
    switch (kind) {
        case WordKind::file:
            return "_files";
        case WordKind::folder:
            return "_files -/";
        case WordKind::test:
            return "_drivetest_tests";
        case WordKind::shell: {
            std::string shells;
            for (const std::string& shell : completedShells())
                shells += (shells.empty() ? "" : " ") + shell;
            return "(" + shells + ")";
        }
        default:
            return " ";
    }
}

void writeOption(std::ostream& script, const std::string& name, const CompletedOption& option) {
    script << " \\\n                '*" << name << '[' << escaped(option.help) << ']';
    if (option.value != WordKind::none)
        script << ':' << escaped(option.valueName) << ':' << action(option.value);
    script << '\'';
}

void writeOptions(std::ostream& script, const CompletedCommand& command) {
    for (const CompletedOption& option : command.options) {
        for (const std::string& name : option.shortNames)
            writeOption(script, "-" + name, option);
        for (const std::string& name : option.longNames)
            writeOption(script, "--" + name, option);
    }
}

void writeCommand(std::ostream& script, const CompletedCommand& command) {
    script << "        " << command.name << ")\n            _arguments";
    writeOptions(script, command);
    for (std::size_t i = 0; i < command.words.size(); ++i) {
        const CompletedWord& word = command.words[i];
        script << " \\\n                '" << (word.repeats ? "*" : std::to_string(i + 1)) << ':'
               << escaped(word.name) << ':' << action(word.kind) << '\'';
    }
    script << "\n            ;;\n";
}

}  // namespace

std::string zshCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands) {
    std::ostringstream script;
    script << "#compdef drivetest\n# Completes the command line of drivetest in zsh.\n"
           << kTests
           << "\n_drivetest() {\n    local curcontext=$curcontext state line\n    local -a commands\n"
              "    commands=(\n";
    for (const CompletedCommand& command : commands)
        script << "        '" << command.name << ':' << escaped(command.help) << "'\n";
    script << "    )\n    _arguments -C";
    writeOptions(script, program);
    script << " \\\n                '1:command:->command' '*::argument:->argument' && return\n"
              "    [[ $state == command ]] && _describe command commands && return\n"
              "    case $words[1] in\n";
    for (const CompletedCommand& command : commands)
        writeCommand(script, command);
    script << "    esac\n}\n\n"
              "if [[ $funcstack[1] == _drivetest ]]; then\n    _drivetest \"$@\"\nelse\n"
              "    compdef _drivetest drivetest\nfi\n";
    return script.str();
}

}  // namespace drivetest
