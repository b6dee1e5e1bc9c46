#pragma once

#include <string>
#include <vector>

#include "drivetest/grade/GradeLimits.h"
#include "drivetest/record/RecordedGrade.h"

namespace drivetest {

/// What a limit of this kind allows, or a run has, for people: "8", "70 %", "WARN".
std::string gradeFigure(const GradeLimit& limit, double value);

/// "C (limits: default)", "none"
std::string gradeLine(const RecordedGrade& grade);
/// What it rests on, in sentences, the worst first.
std::vector<std::string> gradeReasons(const RecordedGrade& grade);
/// One of them alone.
std::string gradeReason(const RecordedGrade::Reason& reason);

}  // namespace drivetest
