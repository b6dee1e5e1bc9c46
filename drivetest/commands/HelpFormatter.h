#pragma once

#include <CLI/CLI.hpp>
#include <string>
#include <vector>

namespace drivetest {

/// What --help prints, in the language that is chosen, in lines that fit a terminal.
class HelpFormatter : public CLI::Formatter {
public:
    HelpFormatter();

    std::string make_group(std::string group, bool isPositional,
                           std::vector<const CLI::Option*> options) const override;
    std::string make_description(const CLI::App* command) const override;
    std::string make_footer(const CLI::App* command) const override;
    std::string make_subcommand(const CLI::App* command) const override;
    std::string make_option(const CLI::Option* option, bool isPositional) const override;
    std::string make_option_name(const CLI::Option* option, bool isPositional) const override;

private:
    [[nodiscard]] std::string row(const std::string& name, const std::string& meaning) const;
};

}  // namespace drivetest
