#include "libDrive2/journal/SpanTable.h"

#include <algorithm>

#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2::journal {

namespace {

std::uint64_t endOf(const SectorSpan& span) {
    return span.lba + span.count;
}

}  // namespace

std::uint64_t spanTableBytes(std::uint64_t spans) {
    return roundUp(spans * kSpanBytes);
}

void encodeSpans(std::span<const SectorSpan> spans, std::span<std::uint8_t> room) {
    std::fill(room.begin(), room.end(), std::uint8_t{0});
    for (std::size_t i = 0; i < spans.size(); ++i) {
        storeLittleEndian(room, i * kSpanBytes, spans[i].lba);
        storeLittleEndian(room, i * kSpanBytes + 8, spans[i].count);
    }
}

std::optional<std::vector<SectorSpan>> decodeSpans(Bytes table, std::uint32_t spans,
                                                   std::uint64_t driveSectors) {
    std::vector<SectorSpan> decoded;
    for (std::size_t i = 0; i < spans; ++i) {
        decoded.push_back({loadLittleEndian<std::uint64_t>(table, i * kSpanBytes),
                           loadLittleEndian<std::uint64_t>(table, i * kSpanBytes + 8)});
        if (decoded.back().lba > driveSectors || decoded.back().count > driveSectors - decoded.back().lba)
            return std::nullopt;
    }
    return areRising(decoded) ? std::optional(decoded) : std::nullopt;
}

bool areRising(std::span<const SectorSpan> spans) {
    for (std::size_t i = 0; i < spans.size(); ++i)
        if (spans[i].count == 0 || endOf(spans[i]) < spans[i].lba ||
            (i > 0 && spans[i].lba < endOf(spans[i - 1])))
            return false;
    return true;
}

bool doOverlap(std::span<const SectorSpan> a, std::span<const SectorSpan> b) {
    for (std::size_t i = 0, k = 0; i < a.size() && k < b.size();) {
        if (a[i].lba < endOf(b[k]) && b[k].lba < endOf(a[i]))
            return true;
        (endOf(a[i]) <= endOf(b[k]) ? i : k) += 1;
    }
    return false;
}

std::uint64_t sectorsOf(std::span<const SectorSpan> spans) {
    std::uint64_t sectors = 0;
    for (const SectorSpan& span : spans)
        sectors += span.count;
    return sectors;
}

}  // namespace libDrive2::journal
