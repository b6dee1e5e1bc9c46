#include "drivetest/report/JUnitReporter.h"

#include <optional>
#include <utility>

#include "drivetest/report/JUnitSuite.h"

namespace drivetest {

namespace {

std::string nameOf(const RecordedDrive& drive) {
    return drive.serial.empty() ? drive.location
                                : drive.model + (drive.model.empty() ? "" : " ") + drive.serial;
}

}  // namespace

JUnitReporter::JUnitReporter(std::string path, OutputFile file)
    : m_path(std::move(path)), m_file(std::move(file)) {}

void JUnitReporter::end(const RunSummary& summary) {
    const std::optional<RecordedRun> run = endOfRecord(summary);
    if (!run)
        return;
    JUnitSuite suite{nameOf(run->drive)};
    suite.add(*run);
    m_isWritten = m_file.begin() && m_file.write(jUnitText({suite}));
}

}  // namespace drivetest
