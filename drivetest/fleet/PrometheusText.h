#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace drivetest {

/// Writes Prometheus's text exposition format (version 0.0.4), family by family.
class PrometheusText {
public:
    /// Takes the next part; false when that failed.
    using Sink = std::function<bool(std::string_view part)>;

    explicit PrometheusText(Sink sink) : m_sink(std::move(sink)) {}

    /// A gauge, and what it is, in a line of the program's own. Its samples follow.
    void family(const std::string& name, std::string_view help);
    /// `labels`: of label(), joined by commas; empty for none.
    void sample(std::string_view labels, double value);
    /// False when a part could not be written.
    [[nodiscard]] bool finish();

    /// "serial=\"S1\"". Values of any origin: what no line shows is made visible, and the value is not long.
    static std::string label(std::string_view name, std::string_view value);
    /// Both, where there are both.
    static std::string joined(const std::string& labels, const std::string& more);

private:
    Sink m_sink;
    std::string m_name;
    std::string m_waiting;
    bool m_isWhole = true;
};

}  // namespace drivetest
