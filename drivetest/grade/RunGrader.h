#pragma once

#include <optional>
#include <utility>

#include "drivetest/grade/Grading.h"
#include "drivetest/report/RecordFollower.h"

namespace drivetest {

/// Grades a run at its end, before the others are told of it.
class RunGrader : public RecordFollower {
public:
    explicit RunGrader(Grading grading) : m_grading(std::move(grading)) {}

    /// Once; nothing where the run left no account of itself.
    [[nodiscard]] std::optional<RecordedGrade> grade(const RunSummary& summary) {
        const auto run = endOfRecord(summary);
        return run ? std::optional(m_grading.judge(*run)) : std::nullopt;
    }

private:
    Grading m_grading;
};

}  // namespace drivetest
