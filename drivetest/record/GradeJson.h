#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordedGrade.h"

namespace drivetest {

/// As a record has it, its sentences in English.
Json gradeJson(const RecordedGrade& grade);
/// Throws a RecordFault when it is something else.
RecordedGrade readGrade(const Json& content);

}  // namespace drivetest
