#include "drivetest/report/BadList.h"

#include <algorithm>

#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::SectorSpan;

namespace {

std::string rangeText(const SectorSpan& span) {
    const std::string first = std::to_string(span.lba);
    return span.count == 1 ? first : first + "-" + std::to_string(span.lba + span.count - 1);
}

void appendLine(std::string& text, const SectorSpan& span, libDrive2::SectorFault fault) {
    text += rangeText(span) + " " + std::to_string(span.count) + " " + nameOf(fault) + "\n";
}

std::string countedRange(const SectorSpan& span) {
    return span.count == 1 ? rangeText(span)
                           : zel::counted(span.count, "{range}, {n} sector", "{range}, {n} sectors",
                                          {{"range", rangeText(span)}});
}

}  // namespace

std::string badListText(const BadSectors& bad, const std::string& title) {
    std::string text = "# " + printable(title) + "\n# " + countText(bad.count(), "bad sector") +
                       ": first-last count fault\n";
    SectorSpan open;
    libDrive2::SectorFault fault{};
    for (const auto& [first, span] : bad.spans()) {
        const libDrive2::SectorFault found = bad.causes().at(span.cause).fault;
        if (open.count != 0 && open.lba + open.count == first && found == fault) {
            open.count += span.count;
            continue;
        }
        if (open.count != 0)
            appendLine(text, open, fault);
        open = {first, span.count};
        fault = found;
    }
    if (open.count != 0)
        appendLine(text, open, fault);
    if (bad.isIncomplete())
        text += "# the list ends here: the drive has more ranges of bad sectors than are kept\n";
    return text;
}

std::string BadListReporter::text(const RunSummary& summary) const {
    return badListText(summary.statistics != nullptr ? summary.statistics->badSectors() : BadSectors(),
                       title());
}

std::vector<std::string> badRangeLines(const BadSectors& bad) {
    std::vector<SectorSpan> ranges = bad.ranges();
    const std::size_t all = ranges.size();
    const bool isCut = all > kMostShownRanges;
    if (isCut) {
        std::sort(ranges.begin(), ranges.end(), [](const SectorSpan& a, const SectorSpan& b) {
            return a.count != b.count ? a.count > b.count : a.lba < b.lba;
        });
        ranges.resize(kMostShownRanges);
    }
    std::vector<std::string> lines;
    lines.reserve(ranges.size() + 1);
    for (const SectorSpan& range : ranges)
        lines.push_back(countedRange(range));
    if (isCut)
        lines.push_back(zel::words("these are the largest of {all} ranges", {{"all", all}}));
    return lines;
}

}  // namespace drivetest
