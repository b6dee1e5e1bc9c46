#include "drivetest/commands/Manual.h"

#include <CLI/CLI.hpp>
#include <memory>
#include <sstream>
#include <vector>

#include "drivetest/terminal/Columns.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

/// The texts of --help, in the words of the formatter that makes it.
class ManualWriter {
public:
    explicit ManualWriter(const CLI::App& program);

    std::string page();

private:
    void title(const char* section);
    void synopsis();
    void command(const CLI::App& described);
    void options(const CLI::App& described);
    void option(const CLI::Option& described, bool isPositional);
    void footer(const CLI::App& described);
    [[nodiscard]] std::string usage(const CLI::App& described) const;
    [[nodiscard]] std::vector<const CLI::App*> commands() const;

    const CLI::App& m_program;
    std::shared_ptr<CLI::Formatter> m_formatter;
    std::ostringstream m_page;
};

/// A line of text that troff takes for nothing else.
std::string escaped(const std::string& line) {
    std::string text = line.starts_with('.') || line.starts_with('\'') ? "\\&" : "";
    for (const char c : line)
        if (c == '\\')
            text += "\\e";
        else if (c == '-')
            text += "\\-";
        else
            text += c;
    return text;
}

/// The same for a paragraph: troff breaks lines at blanks, and where "\\:" allows it.
std::string escapedText(const std::string& line) {
    return withBreaksMarked(escaped(line), "\\:");
}

std::vector<std::string> linesOf(const std::string& text) {
    std::vector<std::string> lines;
    std::istringstream from(text);
    for (std::string line; std::getline(from, line);)
        lines.push_back(line);
    return lines;
}

std::string filled(const std::string& text) {
    std::string page;
    for (const std::string& line : linesOf(text))
        page += (page.empty() ? "" : ".br\n") + escapedText(line) + "\n";
    return page;
}

ManualWriter::ManualWriter(const CLI::App& program)
    : m_program(program), m_formatter(std::dynamic_pointer_cast<CLI::Formatter>(program.get_formatter())) {
    if (m_formatter == nullptr)
        m_formatter = std::make_shared<CLI::Formatter>();
}

std::vector<const CLI::App*> ManualWriter::commands() const {
    return m_program.get_subcommands([](const CLI::App* command) { return !command->get_group().empty(); });
}

std::string ManualWriter::page() {
    m_page << ".TH DRIVETEST 1 \"\" \"drivetest " DRIVETEST_VERSION "\"\n.nh\n.ad l\n";
    title(zel::marked("NAME"));
    m_page << "drivetest \\- " << filled(m_program.get_description());
    title(zel::marked("SYNOPSIS"));
    synopsis();
    title(zel::marked("OPTIONS"));
    options(m_program);
    footer(m_program);
    title(zel::marked("COMMANDS"));
    for (const CLI::App* const described : commands())
        command(*described);
    return m_page.str();
}

void ManualWriter::title(const char* section) {
    m_page << ".SH " << escaped(zel::words(section)) << '\n';
}

void ManualWriter::synopsis() {
    for (const CLI::App* const described : commands())
        m_page << ".br\n" << escaped(usage(*described)) << '\n';
}

std::string ManualWriter::usage(const CLI::App& described) const {
    std::string text =
        m_program.get_name() + " " + described.get_name() + " [" + m_formatter->get_label("OPTIONS") + "]";
    for (const CLI::Option* const positional : described.get_options())
        if (positional->get_positional())
            text += " " + m_formatter->make_option_usage(positional);
    return text;
}

void ManualWriter::command(const CLI::App& described) {
    m_page << ".SS " << escaped(usage(described)) << '\n' << filled(described.get_description());
    options(described);
    footer(described);
}

void ManualWriter::options(const CLI::App& described) {
    for (const CLI::Option* const one : described.get_options())
        if (one->get_positional())
            option(*one, true);
    for (const CLI::Option* const one : described.get_options())
        if (one->nonpositional() && !one->get_group().empty())
            option(*one, false);
}

void ManualWriter::option(const CLI::Option& described, bool isPositional) {
    m_page << ".TP\n\\fB" << escaped(m_formatter->make_option_name(&described, isPositional)) << "\\fR"
           << escaped(m_formatter->make_option_opts(&described)) << '\n'
           << filled(m_formatter->make_option_desc(&described));
}

/// Examples, which begin with blanks, stay as they are.
void ManualWriter::footer(const CLI::App& described) {
    m_page << ".PP\n";
    bool isFilled = true;
    for (const std::string& line : linesOf(described.get_footer())) {
        if (line.empty()) {
            m_page << ".PP\n";
            continue;
        }
        if (line.starts_with(' ') == isFilled)
            m_page << (isFilled ? ".nf\n" : ".fi\n");
        else if (isFilled)
            m_page << ".br\n";
        isFilled = !line.starts_with(' ');
        m_page << (isFilled ? escapedText(line) : escaped(line)) << '\n';
    }
    m_page << (isFilled ? "" : ".fi\n");
}

}  // namespace

std::string manualPage(const CLI::App& program) {
    return ManualWriter(program).page();
}

}  // namespace drivetest
