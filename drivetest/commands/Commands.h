#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/CertificateOptions.h"
#include "drivetest/commands/GradeOptions.h"
#include "drivetest/commands/PlanOptions.h"
#include "drivetest/commands/ReportOptions.h"
#include "drivetest/commands/ResumeOptions.h"
#include "drivetest/commands/RunOptions.h"
#include "drivetest/commands/SelfTestOptions.h"
#include "drivetest/commands/TestsOptions.h"
#include "drivetest/recovery/DriveRecovery.h"
#include "drivetest/settings/Settings.h"

namespace drivetest {

/// Parses the arguments, the program's name first, runs the command they name, and gives the exit status.
int runCommandLine(const std::vector<std::string>& arguments);

/// Each carries out one command of the program and gives its exit status.
int listTests(const TestsOptions& options);
int listDevices(bool json);
int runTests(const RunOptions& options);
/// Every run of a folder that broke off, one after the other; the worst exit status.
int resumeRuns(const ResumeOptions& options);
/// What --plan names; kExitUsage, with nothing started, after all that is wrong with it.
int runPlan(const RunOptions& options);
/// Shows what a plan would do: kExitWarn when it refuses a drive. Or prints one that is built in.
int showPlan(const PlanOptions& options);
int recoverDrives(const RecoverOptions& options);
int writeReport(const ReportOptions& options);
int writeCertificate(const CertificateOptions& options);
/// What a drive says of its own health: kExitWarn where there is a reason to worry.
int showHealth(const std::string& locator);
/// Starts the drive's own test and follows it to its end, or aborts it.
int testItself(const SelfTestOptions& options);
/// By limits; kExitCannotRun when a run gives no grade.
int gradeRecords(const GradeOptions& options);
int explainRecord(const std::string& record);
/// Two records of one drive. kExitFail when the newer one has bad sectors that the older one has not.
int compareRecords(const std::vector<std::string>& records);
/// What is set for all runs, and by whom; `language` is that of the command line, empty for none.
int showSettings(const Settings& settings, const std::string& language);
int verifyCertificate(const VerifyOptions& options);

}  // namespace drivetest
