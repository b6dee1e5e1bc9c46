#pragma once

#include <map>
#include <optional>

#include "drivetest/report/RunReporter.h"
#include "drivetest/terminal/Console.h"

namespace drivetest {

/// What a person at the terminal is told: problems as they come, but no flood of them, and at the end the
/// verdict, what was covered, what is bad or slow, how fast, what was reported.
class ConsoleReporter : public RunReporter {
public:
    explicit ConsoleReporter(Console& console) : m_console(console) {}

    void begin(const RunStart& start) override;
    void health(HealthTime when, const HealthReading& reading) override;
    void event(const RunEvent& event) override;
    void runError(const RunError& error) override;
    void end(const RunSummary& summary) override;

private:
    void show(const quix5::Event& event, const std::string& type);
    void showLoss(const std::string& lossOfDrive);

    Console& m_console;
    std::string m_title;                           ///< the test and its drive
    std::map<zel::String, std::uint64_t> m_shown;  ///< by event key
    bool m_isLossShown = false;
    std::optional<HealthReading> m_healthBefore;
    std::optional<HealthReading> m_healthAfter;
};

}  // namespace drivetest
