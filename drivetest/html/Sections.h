#pragma once

#include <string>
#include <vector>

#include "drivetest/findings/Verdict.h"
#include "drivetest/html/HtmlWriter.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// The parts of the report, each of which writes nothing where the record has nothing for it.

void writeVerdict(HtmlWriter& html, const RecordedRun& run);
void writeDrive(HtmlWriter& html, const RecordedRun& run);
void writeGrade(HtmlWriter& html, const RecordedRun& run);
/// Against the run before; `all` are the records of the drive, oldest first.
void writeComparison(HtmlWriter& html, const std::vector<RecordedRun>& all);
void writeSurface(HtmlWriter& html, const RecordedRun& run);
void writeBadSectors(HtmlWriter& html, const RecordedRun& run);
void writeRates(HtmlWriter& html, const RecordedRun& run);
void writeLatencies(HtmlWriter& html, const RecordedRun& run);
void writeTransfers(HtmlWriter& html, const RecordedRun& run);
void writeHealth(HtmlWriter& html, const RecordedRun& run);
void writeEvents(HtmlWriter& html, const RecordedRun& run);
void writeCourse(HtmlWriter& html, const RecordedRun& run);

/// What the certificate says as the report does: the verdict's one line, data that was not put back, and
/// figures, which are empty where the record does not tell.
void writeVerdictLine(HtmlWriter& html, const Verdict& verdict);
void writeUnrestored(HtmlWriter& html, const RecordedRun& run);
std::string coverageText(const RecordedCoverage& coverage);
std::string partOfDrive(const RecordedRun& run);
std::string capacityText(const RecordedDrive& drive);

/// How many regions the curve and the lists of them tell apart.
inline constexpr std::size_t kReportRegions = 1024;

}  // namespace drivetest
