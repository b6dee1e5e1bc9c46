#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "drivetest/report/RunReporter.h"

namespace drivetest {

/// All reporters of a run, as one. Each is told in the order in which they were added.
class RunReporters : public RunReporter {
public:
    void add(std::unique_ptr<RunReporter> reporter) { m_all.push_back(std::move(reporter)); }
    [[nodiscard]] const std::vector<std::unique_ptr<RunReporter>>& all() const { return m_all; }

    void begin(const RunStart& start) override {
        for (const auto& each : m_all)
            each->begin(start);
    }
    void event(const RunEvent& event) override {
        for (const auto& each : m_all)
            each->event(event);
    }
    void runError(const RunError& error) override {
        for (const auto& each : m_all)
            each->runError(error);
    }
    void log(const zel::String& logger, int priority, const zel::String& text) override {
        for (const auto& each : m_all)
            each->log(logger, priority, text);
    }
    void unrestored(const Ranges& ranges, const std::string& journal) override {
        for (const auto& each : m_all)
            each->unrestored(ranges, journal);
    }
    void end(const RunSummary& summary) override {
        for (const auto& each : m_all)
            each->end(summary);
    }

private:
    std::vector<std::unique_ptr<RunReporter>> m_all;
};

}  // namespace drivetest
