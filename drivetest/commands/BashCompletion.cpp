#include <sstream>

#include "drivetest/commands/CompletedCommand.h"
#include "drivetest/commands/Completion.h"

namespace drivetest {

namespace {

/// What follows the tables. Bash cuts words at "=" and ":", which must not count as words of their own.
constexpr const char* kCompletion = R"bash(
_drivetest_offer() {
    local tests
    case $1 in
        file) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -f -- "$2") ;;
        folder) compopt -o filenames; mapfile -t COMPREPLY < <(compgen -d -- "$2") ;;
        test)
            tests=$("${COMP_WORDS[0]}" tests --names 2>/dev/null)
            mapfile -t COMPREPLY < <(compgen -W "$tests" -- "$2")
            ;;
        shell) mapfile -t COMPREPLY < <(compgen -W "$_drivetest_shells" -- "$2") ;;
    esac
}

_drivetest() {
    local word command= count=0 kind i kinds
    COMPREPLY=()
    for ((i = 1; i < COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        case $word in
            -*) [[ -z ${_drivetest_values[$command $word]} ]] || ((++i)) ;;
            = | :) ((++i)) ;;
            *) if [[ -z $command ]]; then command=$word; else ((++count)); fi ;;
        esac
    done
    word=${COMP_WORDS[COMP_CWORD]}
    kind=${_drivetest_values[$command ${COMP_WORDS[COMP_CWORD - 1]}]}
    if [[ -n $kind ]]; then
        _drivetest_offer "$kind" "$word"
    elif [[ $word == -* || -z $command ]]; then
        mapfile -t COMPREPLY < <(compgen -W "${_drivetest_options[$command ]}" -- "$word")
    else
        read -ra kinds <<< "${_drivetest_words[$command ]}"
        ((count < ${#kinds[@]})) || [[ ${kinds[-1]} != *+ ]] || count=$((${#kinds[@]} - 1))
        kind=${kinds[count]}
        _drivetest_offer "${kind%+}" "$word"
    fi
}
complete -F _drivetest drivetest
)bash";

const char* kindName(WordKind kind) {
    switch (kind) {
        case WordKind::file:
            return "file";
        case WordKind::folder:
            return "folder";
        case WordKind::test:
            return "test";
        case WordKind::shell:
            return "shell";
        default:
            return "text";
    }
}

std::vector<std::string> dashedNames(const CompletedOption& option) {
    std::vector<std::string> names;
    names.reserve(option.shortNames.size() + option.longNames.size());
    for (const std::string& name : option.shortNames)
        names.push_back("-" + name);
    for (const std::string& name : option.longNames)
        names.push_back("--" + name);
    return names;
}

void writeOptions(std::ostream& script, const CompletedCommand& command, const std::string& key) {
    script << "_drivetest_options[\"" << key << " \"]+=\"";
    for (const CompletedOption& option : command.options)
        for (const std::string& name : dashedNames(option))
            script << name << ' ';
    script << "\"\n";
    for (const CompletedOption& option : command.options)
        for (const std::string& name : dashedNames(option))
            if (option.value != WordKind::none)
                script << "_drivetest_values[\"" << key << ' ' << name << "\"]=" << kindName(option.value)
                       << '\n';
}

/// One that may be given again ends in "+".
void writeWords(std::ostream& script, const CompletedCommand& command) {
    script << "_drivetest_words[\"" << command.name << " \"]=\"";
    for (const CompletedWord& word : command.words)
        script << kindName(word.kind) << (word.repeats ? "+ " : " ");
    script << "\"\n";
}

}  // namespace

std::string bashCompletion(const CompletedCommand& program, const std::vector<CompletedCommand>& commands) {
    std::ostringstream script;
    script << "# Completes the command line of drivetest in bash.\n"
              "declare -gA _drivetest_options=() _drivetest_values=() _drivetest_words=()\n"
              "_drivetest_shells=\"";
    for (const std::string& shell : completedShells())
        script << shell << ' ';
    script << "\"\n_drivetest_options[\" \"]=\"";
    for (const CompletedCommand& command : commands)
        script << command.name << ' ';
    script << "\"\n";
    writeOptions(script, program, "");
    for (const CompletedCommand& command : commands) {
        writeOptions(script, command, command.name);
        writeWords(script, command);
    }
    script << kCompletion;
    return script.str();
}

}  // namespace drivetest
