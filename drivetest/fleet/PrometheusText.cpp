#include "drivetest/fleet/PrometheusText.h"

#include <array>
#include <charconv>

#include "drivetest/fleet/RunResult.h"

namespace drivetest {

namespace {

constexpr std::size_t kPart = std::size_t{64} << 10;

/// As short as it can be without another value being read.
std::string numberText(double value) {
    std::array<char, 32> text{};
    return {text.data(), std::to_chars(text.data(), text.data() + text.size(), value).ptr};
}

}  // namespace

void PrometheusText::family(const std::string& name, std::string_view help) {
    m_name = name;
    m_waiting += "# HELP " + name + " ";
    m_waiting += help;
    m_waiting += "\n# TYPE " + name + " gauge\n";
}

void PrometheusText::sample(std::string_view labels, double value) {
    m_waiting += m_name;
    if (!labels.empty())
        ((m_waiting += '{') += labels) += '}';
    m_waiting += " " + numberText(value) + "\n";
    if (m_waiting.size() < kPart)
        return;
    m_isWhole = m_isWhole && m_sink(m_waiting);
    m_waiting.clear();
}

bool PrometheusText::finish() {
    m_isWhole = m_isWhole && m_sink(m_waiting);
    m_waiting.clear();
    return m_isWhole;
}

std::string PrometheusText::label(std::string_view name, std::string_view value) {
    std::string text = std::string(name) + "=\"";
    for (const char letter : shortText(value)) {
        if (letter == '\\' || letter == '"')
            text += '\\';
        text += letter;
    }
    return text + '"';
}

std::string PrometheusText::joined(const std::string& labels, const std::string& more) {
    return labels + (labels.empty() || more.empty() ? "" : ",") + more;
}

}  // namespace drivetest
