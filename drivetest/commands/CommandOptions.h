#pragma once

#include <string>

#include "drivetest/commands/Commands.h"

namespace CLI {
class App;
}

namespace drivetest {

/// What the user asked of "drivetest devices".
struct DevicesOptions {
    bool json = false;
};

/// Each adds a command to the program, with its options, which the parser writes to.
CLI::App& addTests(CLI::App& program, TestsOptions& options);
CLI::App& addDevices(CLI::App& program, DevicesOptions& options);
CLI::App& addCheck(CLI::App& program, RunOptions& options);
CLI::App& addRun(CLI::App& program, RunOptions& options);
CLI::App& addResumeRuns(CLI::App& program, ResumeOptions& options);
CLI::App& addPlan(CLI::App& program, PlanOptions& options);
CLI::App& addRecover(CLI::App& program, RecoverOptions& options);
CLI::App& addReport(CLI::App& program, ReportOptions& options);
CLI::App& addHealth(CLI::App& program, std::string& device);
CLI::App& addSelfTest(CLI::App& program, SelfTestOptions& options);
CLI::App& addCompare(CLI::App& program, std::vector<std::string>& records);
CLI::App& addExplain(CLI::App& program, std::string& record);
CLI::App& addGrade(CLI::App& program, GradeOptions& options);
CLI::App& addConfig(CLI::App& program);
CLI::App& addCertificate(CLI::App& program, CertificateOptions& options);
CLI::App& addVerify(CLI::App& program, VerifyOptions& options);

/// Options that several commands have.
void addModuleOption(CLI::App& command, std::string& moduleFile);
void addJournalOption(CLI::App& command, std::string& folder);

}  // namespace drivetest
