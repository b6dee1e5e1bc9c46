#include "drivetest/commands/HelpFormatter.h"

#include "drivetest/terminal/Columns.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

constexpr std::size_t kColumns = 100;
constexpr std::size_t kNameColumns = 30;

/// Lines that begin with blanks, such as examples, stay as they are.
std::string foldedText(const std::string& text) {
    std::string result;
    for (const std::string& line : CLI::detail::split(text, '\n'))
        if (line.starts_with(' '))
            result += line + "\n";
        else
            for (const std::string& piece : folded(line, kColumns))
                result += piece + "\n";
    return result;
}

}  // namespace

HelpFormatter::HelpFormatter() {
    column_width(kNameColumns);
    label("Usage", zel::words("Usage"));
    label("OPTIONS", zel::words("OPTIONS"));
    label("SUBCOMMAND", zel::words("COMMAND"));
    label("Positionals", zel::words("Arguments"));
    label("Options", zel::words("Options"));
    label("REQUIRED", zel::words("REQUIRED"));
    label("Needs", zel::words("Needs"));
}

std::string HelpFormatter::make_group(std::string group, bool isPositional,
                                      std::vector<const CLI::Option*> options) const {
    return CLI::Formatter::make_group(get_label(group), isPositional, std::move(options));
}

std::string HelpFormatter::make_description(const CLI::App* command) const {
    return foldedText(command->get_description());
}

std::string HelpFormatter::make_footer(const CLI::App* command) const {
    return command->get_footer().empty() ? std::string() : foldedText(command->get_footer());
}

std::string HelpFormatter::make_subcommand(const CLI::App* command) const {
    return row(command->get_name(), command->get_description());
}

std::string HelpFormatter::make_option(const CLI::Option* option, bool isPositional) const {
    return row(make_option_name(option, isPositional) + make_option_opts(option), make_option_desc(option));
}

/// Without the value that the parser notes with a flag that switches something off.
std::string HelpFormatter::make_option_name(const CLI::Option* option, bool isPositional) const {
    std::string name = CLI::Formatter::make_option_name(option, isPositional);
    if (const std::size_t value = name.find('{'); value != std::string::npos)
        name.erase(value, name.find('}') + 1 - value);
    return name;
}

std::string HelpFormatter::row(const std::string& name, const std::string& meaning) const {
    const std::string indent(kNameColumns, ' ');
    const std::string label = "  " + name;
    const bool fits = columnsOf(label) < kNameColumns;
    std::string text = fits ? padded(label, kNameColumns) : label + "\n" + indent;
    std::string separator;
    for (const std::string& line : folded(meaning, kColumns - kNameColumns)) {
        text += separator + line;
        separator = "\n" + indent;
    }
    return text + "\n";
}

}  // namespace drivetest
