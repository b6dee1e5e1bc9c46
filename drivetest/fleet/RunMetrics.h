#pragma once

#include <cstddef>
#include <set>
#include <string>
#include <vector>

#include "drivetest/fleet/PrometheusText.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// What is told of runs to Prometheus: of each its figures, all with the labels of its drive and test.
class RunMetrics {
public:
    /// False when another run has the same labels already: both could not be told apart.
    [[nodiscard]] bool add(const RecordedRun& run);
    [[nodiscard]] std::size_t runs() const { return m_series.size(); }

    void write(PrometheusText& text) const;

private:
    /// What is kept of one run.
    struct Series {
        std::string labels;
        std::string access;  ///< further labels: by which path, with which program
        std::size_t result;
        char grade;                  ///< 0 for none
        std::vector<double> values;  ///< in the order of the table of metrics; NaN where there is none
    };

    void writeFigures(PrometheusText& text) const;
    void writeStates(PrometheusText& text) const;

    std::vector<Series> m_series;
    std::set<std::string> m_known;  ///< labels
};

}  // namespace drivetest
