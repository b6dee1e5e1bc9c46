#pragma once

#include <string>

#include "drivetest/fleet/Fleet.h"
#include "drivetest/fleet/RecordFiles.h"
#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// What the page is about, and where it lies.
struct OverviewPlace {
    std::string records;  ///< the folder, as it was named
    std::string page;     ///< the folder of the page
};

/// Writes the overview of all drives, one page that needs no other file and links records and reports. Its
/// size does not grow beyond some thousands of rows. False when it could not be written to its end.
[[nodiscard]] bool writeOverview(const Fleet& fleet, const LeftOut& leftOut, const OverviewPlace& place,
                                 HtmlWriter::Sink sink);

}  // namespace drivetest
