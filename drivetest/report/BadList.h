#pragma once

#include <string>
#include <vector>

#include "drivetest/report/TextAtEnd.h"

namespace drivetest {

/// The bad sectors as a file for people and scripts: comments that begin with "#", then a line for each range
/// of one fault, such as "1000-3000 2001 unreadable" or "77 1 wrongData".
class BadListReporter : public TextAtEnd {
public:
    using TextAtEnd::TextAtEnd;

protected:
    [[nodiscard]] std::string text(const RunSummary& summary) const override;
};

std::string badListText(const BadSectors& bad, const std::string& title);

/// How many ranges the summary shows.
inline constexpr std::size_t kMostShownRanges = 50;
/// For the summary: "1000-3000, 2001 sectors"; all ranges when they are few, else the largest, and
/// how many more there are.
std::vector<std::string> badRangeLines(const BadSectors& bad);

}  // namespace drivetest
