#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/report/RunReporter.h"
#include "libDrive2/DriveFingerprint.h"

namespace drivetest {

/// The extensions of a run that can go on, see docs/record.md.

/// "progress", but for its digest.
Json progressJson(const RunProgress& progress);
/// "fingerprint": {samples: [[sector, count, checksum]...]}, and back; throws a RecordFault, or a
/// Json::exception, when it is none.
Json fingerprintJson(const libDrive2::DriveFingerprint& fingerprint);
libDrive2::DriveFingerprint readFingerprint(const Json& json);
/// "resumed"
Json resumedJson(const ResumedRun& resumed, const std::string& commandLine);

}  // namespace drivetest
