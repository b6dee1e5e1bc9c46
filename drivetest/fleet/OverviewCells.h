#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "drivetest/fleet/FleetTable.h"
#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// What stands in the tables of the overview; "–" where nothing is known.

FleetTable::Cell countCell(std::uint64_t count);
FleetTable::Cell rateCell(const std::optional<double>& megabytesPerSecond);
FleetTable::Cell hoursCell(const std::optional<std::int64_t>& hours);
/// "67 %"
FleetTable::Cell shareCell(double share);
FleetTable::Cell textCell(const std::string& text);
/// Links to a record and to the report beside it, from a page in `folder`, as far as there are any.
FleetTable::Cell filesCell(const std::string& record, const std::string& folder);

/// Says how many rows of a list have no room.
void writeRest(HtmlWriter& html, std::size_t all, std::size_t most);

}  // namespace drivetest
