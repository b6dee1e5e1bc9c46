#include "drivetest/commands/UsageError.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <charconv>

#include "drivetest/settings/TimeText.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// The one that was given; the program itself where something before it was not understood.
const CLI::App& givenCommand(const CLI::App& program) {
    const std::vector<CLI::App*> given = program.get_subcommands();
    return given.empty() || program.remaining_size() > 0 ? program : *given.front();
}

std::string helpOf(const CLI::App& program, const CLI::App& command) {
    return quoted(program.get_name() + (&command == &program ? "" : " " + command.get_name()) + " --help");
}

/// What no command and no option took.
std::string describeRest(const CLI::App& program, const CLI::App& command, const std::string& rest) {
    const std::string help = helpOf(program, command);
    if (rest.starts_with('-'))
        return words("there is no option {option}; {help} lists them",
                     {{"option", quoted(rest)}, {"help", help}});
    if (&command == &program)
        return words("there is no command {name}; {help} lists them",
                     {{"name", quoted(rest)}, {"help", help}});
    return words("{argument} is more than the command takes; {help} tells what it takes",
                 {{"argument", quoted(rest)}, {"help", help}});
}

/// What is required, or needed by something that was given, and is not there; empty when nothing is missing.
std::string describeMissing(const CLI::App& program, const CLI::App& command) {
    if (&command == &program)
        return words("name a command; {help} lists them", {{"help", helpOf(program, command)}});
    for (const CLI::Option* const option : command.get_options()) {
        if (option->get_required() && option->count() == 0)
            return words("{name} is missing; {help} tells what the command takes",
                         {{"name", option->get_name()}, {"help", helpOf(program, command)}});
        for (const CLI::Option* const needed : option->get_needs())
            if (option->count() > 0 && needed->count() == 0)
                return words("{option} is only of use with {other}: give that, too",
                             {{"option", option->get_name()}, {"other", needed->get_name()}});
    }
    return {};
}

/// The option that the parser's message begins with; null for none.
const CLI::Option* optionIn(const CLI::App& command, const std::string& message) {
    const auto options = command.get_options();
    const auto named = std::find_if(options.begin(), options.end(), [&](const CLI::Option* option) {
        return message.find(option->get_name()) != std::string::npos;
    });
    return named == options.end() ? nullptr : *named;
}

std::string describeMismatch(const CLI::Option& option) {
    if (option.get_items_expected_max() == 0)
        return words("{name} takes no value", {{"name", option.get_name()}});
    if (option.count() > 1)
        return words("{option} is given more than once: give it once", {{"option", option.get_name()}});
    return words("{name} needs a value: {form}",
                 {{"name", option.get_name()}, {"form", option.get_name() + " " + option.get_type_name()}});
}

}  // namespace

std::string describeUsageError(const CLI::App& program, const CLI::ParseError& error) {
    const CLI::App& command = givenCommand(program);
    std::string message = error.what();
    if (dynamic_cast<const CLI::ValidationError*>(&error) != nullptr)
        return message;  // the option's name, and the sentence of its check
    const bool isMissing = dynamic_cast<const CLI::RequiredError*>(&error) != nullptr ||
                           dynamic_cast<const CLI::RequiresError*>(&error) != nullptr;
    if (const std::vector<std::string> rest = program.remaining(true);
        !rest.empty() && (isMissing || dynamic_cast<const CLI::ExtrasError*>(&error) != nullptr))
        return describeRest(program, command, rest.front());
    if (isMissing)
        return describeMissing(program, command);
    if (const CLI::Option* const option = optionIn(command, message); option != nullptr)
        return describeMismatch(*option);
    return words("{reason}; {help} tells what the command takes",
                 {{"reason", message}, {"help", helpOf(program, command)}});
}

CLI::Validator wholeNumber(unsigned long long least, unsigned long long most) {
    return {[least, most](const std::string& text) {
                unsigned long long number = 0;
                const char* const end = text.data() + text.size();
                const auto [rest, fault] = std::from_chars(text.data(), end, number);
                const bool isGood = fault == std::errc() && rest == end && number >= least && number <= most;
                return isGood ? std::string()
                              : words("{text} is no whole number from {least} to {most}",
                                      {{"text", quoted(text)}, {"least", least}, {"most", most}});
            },
            ""};
}

CLI::Validator timeSpan() {
    return {[](std::string& text) {
                const auto seconds = secondsOf(text);
                if (!seconds)
                    return words("{text} is no time: write it as 90s, 10min, 2h or 1d",
                                 {{"text", drivetest::quoted(text)}});
                text = std::to_string(*seconds);
                return std::string();
            },
            ""};
}

CLI::Validator oneOf(const std::vector<std::string>& known) {
    return {[known](const std::string& text) {
                std::string all;
                for (const std::string& each : known)
                    all += (all.empty() ? "" : ", ") + each;
                return std::find(known.begin(), known.end(), text) != known.end()
                           ? std::string()
                           : words("there is no {text}; there are: {known}",
                                   {{"text", quoted(text)}, {"known", all}});
            },
            ""};
}

}  // namespace drivetest
