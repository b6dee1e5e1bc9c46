#include <CLI/CLI.hpp>

#include "drivetest/commands/CommandOptions.h"
#include "drivetest/commands/UsageError.h"
#include "drivetest/plan/BuiltInPlans.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::vector<std::string> namesOfPlans() {
    std::vector<std::string> names;
    for (const BuiltInPlan& plan : builtInPlans())
        names.emplace_back(plan.name);
    return names;
}

}  // namespace

CLI::App& addPlan(CLI::App& program, PlanOptions& options) {
    CLI::App& command =
        *program.add_subcommand("plan", words("Show what a plan for several drives would do"));
    command.footer(
        words("A plan is run by \"drivetest run --plan FILE\". Nothing is written to any drive here.") +
        "\n" +
        words("Exit status: 0 every drive would be tested, 2 the plan is wrong, 3 it refuses a drive."));
    command
        .add_option("ACTION", options.action, words("check: what would be run on what, and what is refused"))
        ->type_name("")
        ->check(oneOf({"check"}));
    command.add_option("FILE", options.file, words("The plan, a file in TOML"))->type_name("");
    std::string names;
    for (const std::string& name : namesOfPlans())
        names += (names.empty() ? "" : ", ") + name;
    command
        .add_option("--print", options.printed,
                    words("Print a plan that is built in, to make others of it: {names}", {{"names", names}}))
        ->type_name("NAME")
        ->check(oneOf(namesOfPlans()));
    addModuleOption(command, options.usual.moduleFile);
    return command;
}

}  // namespace drivetest
