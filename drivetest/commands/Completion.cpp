#include "drivetest/commands/Completion.h"

#include <CLI/CLI.hpp>
#include <map>

#include "drivetest/commands/CompletedCommand.h"

namespace drivetest {

namespace {

using Script = std::string (*)(const CompletedCommand&, const std::vector<CompletedCommand>&);

const std::map<std::string, Script>& scripts() {
    static const std::map<std::string, Script> kScripts = {
        {"bash", bashCompletion}, {"fish", fishCompletion}, {"zsh", zshCompletion}};
    return kScripts;
}

/// By the name that --help has for it.
WordKind kindOf(const std::string& name) {
    static const std::map<std::string, WordKind> kKinds = {
        {"FILE", WordKind::file},        {"DIR", WordKind::folder},  {"TEST", WordKind::test},
        {"DEVICE", WordKind::file},      {"RECORD", WordKind::file}, {"SHELL", WordKind::shell},
        {"CERTIFICATE", WordKind::file}, {"KEY", WordKind::file}};
    const auto found = kKinds.find(name);
    return found == kKinds.end() ? WordKind::text : found->second;
}

std::string firstLine(const std::string& text) {
    return text.substr(0, text.find('\n'));
}

CompletedOption completedOption(const CLI::Option& option) {
    const bool isFlag = option.get_items_expected_max() == 0;
    const std::string type = option.get_type_name();
    const std::string valueName = type.substr(0, type.find(':'));  // a check stands behind the colon
    return {option.get_snames(), option.get_lnames(), isFlag ? WordKind::none : kindOf(valueName), valueName,
            firstLine(option.get_description())};
}

}  // namespace

const std::vector<std::string>& completedShells() {
    static const std::vector<std::string> kShells = [] {
        std::vector<std::string> shells;
        for (const auto& [shell, script] : scripts())
            shells.push_back(shell);
        return shells;
    }();
    return kShells;
}

CompletedCommand completedCommand(const CLI::App& app) {
    CompletedCommand command{app.get_name(), firstLine(app.get_description()), {}, {}};
    for (const CLI::Option* const option : app.get_options())
        if (option->get_positional())
            command.words.push_back({option->get_name(true), kindOf(option->get_name(true)),
                                     option->get_items_expected_max() > 1});
        else if (!option->get_group().empty())
            command.options.push_back(completedOption(*option));
    return command;
}

std::vector<CompletedCommand> completedCommands(const CLI::App& program) {
    std::vector<CompletedCommand> commands;
    for (const CLI::App* const command :
         program.get_subcommands([](const CLI::App* app) { return !app->get_group().empty(); }))
        commands.push_back(completedCommand(*command));
    return commands;
}

std::string completionScript(const CLI::App& program, const std::string& shell) {
    return scripts().at(shell)(completedCommand(program), completedCommands(program));
}

}  // namespace drivetest
