#pragma once

#include <string>

#include "drivetest/fleet/Fleet.h"
#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// What the overview finds by holding drives and runs against each other. `folder` is that of the page.

void writeModels(HtmlWriter& html, const Fleet& fleet);
void writeWorse(HtmlWriter& html, const Fleet& fleet, const std::string& folder);
void writeSlow(HtmlWriter& html, const Fleet& fleet, const std::string& folder);
void writeOldest(HtmlWriter& html, const Fleet& fleet);

}  // namespace drivetest
