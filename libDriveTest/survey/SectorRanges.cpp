#include "SectorRanges.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <string_view>

namespace libDriveTest {

namespace {

using libDrive2::SectorSpan;

bool takeNumber(std::string_view& text, std::uint64_t& number) {
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    text.remove_prefix(static_cast<std::size_t>(end - text.data()));
    return error == std::errc();
}

bool takeSign(std::string_view& text, char sign) {
    if (!text.starts_with(sign))
        return false;
    text.remove_prefix(1);
    return true;
}

}  // namespace

std::optional<std::vector<SectorSpan>> readSectorRanges(const zel::String& text, const SectorSpan& limits) {
    if (text.isEmpty())
        return std::vector{limits};
    std::vector<SectorSpan> ranges;
    const std::string whole = text.utf8();
    std::string_view rest = whole;
    std::uint64_t next = 0;  // where the next range may begin
    do {
        std::uint64_t first = 0;
        if (!takeNumber(rest, first))
            return std::nullopt;
        std::uint64_t last = first;
        if (takeSign(rest, '-') && !takeNumber(rest, last))
            return std::nullopt;
        if (first < next || last < first || last == std::numeric_limits<std::uint64_t>::max())
            return std::nullopt;
        next = last + 1;
        const std::uint64_t begin = std::max(first, limits.lba);
        const std::uint64_t end = std::min(next, limits.lba + limits.count);
        if (begin < end)
            ranges.push_back({begin, end - begin});
    } while (takeSign(rest, ','));
    if (!rest.empty())
        return std::nullopt;
    return ranges;
}

}  // namespace libDriveTest
