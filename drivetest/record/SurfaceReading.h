#pragma once

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordedRun.h"
#include "drivetest/record/RunLists.h"

namespace drivetest {

/// The extension "surface", whatever its form. Throws a RecordFault when its lists do not fit its cells.
RecordedSurface readSurface(const Json& content, const RunLists& lists);

}  // namespace drivetest
