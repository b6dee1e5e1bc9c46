#pragma once

#include <vector>

#include "drivetest/html/HtmlWriter.h"
#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// Writes the report of the last of these runs, which are of one drive and sorted by time; where there are
/// several it is compared with the one before. One page that needs no other file. False when it could not be
/// written to its end.
[[nodiscard]] bool writeHtmlReport(const std::vector<RecordedRun>& runs, HtmlWriter::Sink sink);

}  // namespace drivetest
