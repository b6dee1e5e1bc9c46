#pragma once

#include <chrono>
#include <string>
#include <vector>

#include "drivetest/shelf/ShelfDrive.h"
#include "drivetest/terminal/StatusRows.h"

namespace drivetest {

/// The drives of a shelf as a table for a terminal of so many columns and rows, below a row that tells of
/// all. What does not fit is counted in the last row; drives under test go before those that wait, and these
/// before those that ended. Columns that there is no room for are left out, the least important first.
StatusRows shelfRows(const std::vector<ShelfDrive>& drives, std::chrono::nanoseconds elapsed,
                     std::size_t columns, std::size_t rows);

/// A drive under test as one line of text.
std::string shelfLine(const ShelfDrive& drive);

/// How the result of a run that is over stands out.
Emphasis emphasisOf(const RunOutcome& outcome);

}  // namespace drivetest
