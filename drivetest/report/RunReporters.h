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

    void begin(const RunStart& start) override { tell(&RunReporter::begin, start); }
    void driveObtained(const DriveAccess& access) override { tell(&RunReporter::driveObtained, access); }
    void health(HealthTime when, const HealthReading& reading) override {
        tell(&RunReporter::health, when, reading);
    }
    void event(const RunEvent& event) override { tell(&RunReporter::event, event); }
    void runError(const RunError& error) override { tell(&RunReporter::runError, error); }
    void log(const zel::String& logger, int priority, const zel::String& text) override {
        tell(&RunReporter::log, logger, priority, text);
    }
    void unrestored(const Ranges& ranges, const std::string& journal) override {
        tell(&RunReporter::unrestored, ranges, journal);
    }
    void progress(const RunProgress& progress) override { tell(&RunReporter::progress, progress); }
    [[nodiscard]] std::string failure() const override {
        std::string failure;
        for (const auto& each : m_all)
            failure = failure.empty() ? each->failure() : failure;
        return failure;
    }
    void end(const RunSummary& summary) override { tell(&RunReporter::end, summary); }

private:
    template <class... Parameters, class... Arguments>
    void tell(void (RunReporter::*what)(Parameters...), const Arguments&... arguments) {
        for (const auto& each : m_all)
            (each.get()->*what)(arguments...);
    }

    std::vector<std::unique_ptr<RunReporter>> m_all;
};

}  // namespace drivetest
