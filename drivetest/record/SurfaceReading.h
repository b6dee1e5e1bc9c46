#pragma once

#include <nlohmann/json.hpp>

#include "drivetest/record/RecordedRun.h"
#include "drivetest/record/RunLists.h"

namespace drivetest {

/// The extension "surface", whatever its form. Throws a RecordFault when its lists do not fit its cells.
RecordedSurface readSurface(const nlohmann::json& content, const RunLists& lists);

}  // namespace drivetest
