#include "drivetest/shelf/ShelfJUnit.h"

#include <algorithm>
#include <utility>

#include "drivetest/ExitStatus.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/report/JUnitSuite.h"
#include "drivetest/report/OutputFormats.h"
#include "drivetest/run/DataGuard.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// The file must hold data of none of the drives.
DataGuard guardAll(const ShelfWork& work) {
    return [&work](const std::string& path) {
        for (const DriveWork& drive : work.drives) {
            const std::string journals = drive.runs.empty() ? "" : drive.runs.front().journalFolder;
            if (std::string why = guardDrive(drive.device, journals)(path); !why.empty())
                return why;
        }
        return std::string();
    };
}

/// What the record cannot tell: how the process ended, and that data was not put back.
JUnitCase caseWithoutVerdict(const RunOutcome& outcome) {
    JUnitCase made;
    // Of a drive that was refused no test is known.
    made.test = outcome.test.empty() ? "drivetest" : outcome.test;
    made.outcome = outcome.end == RunEnd::leftOut || outcome.status == kExitUserAborted
                       ? JUnitCase::Outcome::skipped
                       : JUnitCase::Outcome::error;
    made.type = resultText(outcome);
    made.message = outcome.words.empty() ? made.type : outcome.words;
    return made;
}

void add(const RunOutcome& outcome, JUnitSuite& suite) {
    std::string problem;
    const auto run = outcome.hasRecord ? readRecord(outcome.files.record, problem) : std::nullopt;
    if (run)
        suite.add(*run);
    const bool hasVerdict =
        run && outcome.end == RunEnd::byItself && outcome.status != kExitNotRestored && !run->isCutOff;
    if (hasVerdict)
        return;
    JUnitCase made = caseWithoutVerdict(outcome);
    if (run) {
        // What was found until then stays told.
        made.seconds = suite.cases.back().seconds;
        made.details = std::move(suite.cases.back().details);
        suite.cases.pop_back();
    }
    suite.cases.push_back(std::move(made));
}

JUnitSuite suiteOf(const ShelfDrive& drive) {
    JUnitSuite suite{drive.work().name};
    for (const RunOutcome& outcome : drive.outcomes())
        add(outcome, suite);
    return suite;
}

}  // namespace

std::optional<ShelfJUnit> ShelfJUnit::open(const ShelfWork& work, const ShelfLook& look,
                                           std::string& problem) {
    ShelfJUnit junit;
    if (look.junit.empty())
        return junit;
    junit.m_path = look.junit;
    junit.m_file =
        openOutput(words("the JUnit file"), look.junit, {guardAll(work), look.replaceJUnit}, problem);
    if (!junit.m_file)
        return std::nullopt;
    return junit;
}

bool ShelfJUnit::write(const std::vector<ShelfDrive>& drives, std::string& problem) {
    if (!m_file)
        return true;
    std::vector<JUnitSuite> suites;
    std::ranges::transform(drives, std::back_inserter(suites), suiteOf);
    if (m_file.begin() && m_file.write(jUnitText(suites)))
        return true;
    problem = words("{what} {file} is incomplete: it could not be written to the end",
                    {{"what", words("the JUnit file")}, {"file", printable(m_path)}});
    return false;
}

}  // namespace drivetest
