#pragma once

#include <string_view>

#include "drivetest/health/HealthReading.h"
#include "drivetest/health/HeatCourse.h"
#include "drivetest/record/Json.h"

namespace drivetest {

/// The content of a record's extension "health", without what says when: {source, problem, predictsFailure,
/// counters, attributes, selfTests, hidden}, of which only what is known.
Json healthJson(const HealthReading& reading);

/// What such a content says. Throws Json::exception where it is of another form.
HealthReading readHealthJson(const Json& content);

/// The content of a record's extension "temperature": {lowest, highest, last, limit, rests, restedSeconds};
/// limit only where there was one.
Json heatJson(const HeatCourse& course);
/// What such a content says. Throws Json::exception where it is of another form.
HeatCourse readHeatJson(const Json& content);

/// The names of records: "short", "extended", "other"; "passed", "failed" and so on.
const char* nameOf(libDrive2::SelfTestKind kind);
const char* nameOf(libDrive2::SelfTestOutcome outcome);

}  // namespace drivetest
