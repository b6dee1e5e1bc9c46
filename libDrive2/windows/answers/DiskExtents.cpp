#include "libDrive2/windows/answers/DiskExtents.h"

#include <limits>

namespace libDrive2 {

namespace {

constexpr std::size_t kFirstAt = 8;  ///< the count, then room that aligns what follows
constexpr std::size_t kExtentBytes = 24;

bool isPossible(const DiskExtent& extent) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    return extent.bytes > 0 && extent.start <= kMost && extent.bytes <= kMost - extent.start;
}

}  // namespace

std::optional<std::vector<DiskExtent>> parseDiskExtents(Bytes answer) {
    const auto count = loadLittleEndian<std::uint32_t>(answer, 0);
    if (count == 0 || answer.size() < kFirstAt || count > (answer.size() - kFirstAt) / kExtentBytes)
        return std::nullopt;
    std::vector<DiskExtent> extents;
    for (std::uint32_t i = 0; i < count; ++i) {
        const Bytes each = slice(answer, kFirstAt + std::size_t{i} * kExtentBytes, kExtentBytes);
        extents.push_back({loadLittleEndian<std::uint32_t>(each, 0), loadLittleEndian<std::uint64_t>(each, 8),
                           loadLittleEndian<std::uint64_t>(each, 16)});
        if (!isPossible(extents.back()))
            return std::nullopt;
    }
    return extents;
}

}  // namespace libDrive2
