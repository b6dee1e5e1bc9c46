#include "libDrive2/windows/answers/DiskAnswers.h"

#include <bit>
#include <limits>

namespace libDrive2::windows {

namespace {

constexpr std::uint32_t kMediaTypeFixed = 12;
constexpr std::uint32_t kSmallestSector = 128;  ///< of the oldest floppies
constexpr std::uint32_t kLargestSector = 1U << 20;
constexpr std::size_t kGeometryBytes = 24;  ///< DISK_GEOMETRY
constexpr std::uint64_t kMostBytes = std::numeric_limits<std::int64_t>::max();

}  // namespace

std::optional<std::uint64_t> parseLength(Bytes answer) {
    const auto bytes = loadLittleEndian<std::uint64_t>(answer, 0);
    if (answer.size() < sizeof bytes || bytes > kMostBytes)
        return std::nullopt;
    return bytes;
}

std::optional<DiskGeometry> parseGeometry(Bytes answer) {
    const auto sectorBytes = loadLittleEndian<std::uint32_t>(answer, 20);
    if (answer.size() < kGeometryBytes || !std::has_single_bit(sectorBytes) ||
        sectorBytes < kSmallestSector || sectorBytes > kLargestSector)
        return std::nullopt;
    // Type 11 is a removable medium, 0 unknown; all others are formats of floppies.
    const auto type = loadLittleEndian<std::uint32_t>(answer, 8);
    const auto bytes = loadLittleEndian<std::uint64_t>(answer, kGeometryBytes);
    return DiskGeometry{sectorBytes, bytes <= kMostBytes ? bytes : 0, type != 0 && type != kMediaTypeFixed};
}

std::optional<std::uint32_t> parsePhysicalSector(Bytes answer, std::uint32_t logicalSectorBytes) {
    const auto logical = loadLittleEndian<std::uint32_t>(answer, 16);
    const auto physical = loadLittleEndian<std::uint32_t>(answer, 20);
    if (logical == 0 || logical != logicalSectorBytes || physical < logical || physical % logical != 0 ||
        physical > kLargestSector)
        return std::nullopt;
    return physical;
}

std::optional<bool> parseMediumRemovable(Bytes answer) {
    return answer.size() >= 5 ? std::optional(answer[4] != 0) : std::nullopt;
}

std::optional<double> parseTemperature(Bytes answer) {
    constexpr std::size_t kFirstSensor = 24;
    constexpr std::size_t kSensorBytes = 16;
    constexpr std::int16_t kNotReported = std::numeric_limits<std::int16_t>::min();
    constexpr int kCoolest = -100, kHottest = 200;  // outside of it, the answer is wrong and not the drive
    const auto sensors = loadLittleEndian<std::uint16_t>(answer, 12);
    for (std::size_t at = kFirstSensor, i = 0; i < sensors && at + kSensorBytes <= answer.size();
         ++i, at += kSensorBytes) {
        const auto degrees = std::bit_cast<std::int16_t>(loadLittleEndian<std::uint16_t>(answer, at + 2));
        if (degrees != kNotReported && degrees >= kCoolest && degrees <= kHottest)
            return degrees;
    }
    return std::nullopt;
}

std::optional<DeviceNumber> parseDeviceNumber(Bytes answer) {
    if (answer.size() < 12)
        return std::nullopt;
    return DeviceNumber{loadLittleEndian<std::uint32_t>(answer, 0),
                        loadLittleEndian<std::uint32_t>(answer, 4),
                        loadLittleEndian<std::uint32_t>(answer, 8)};
}

}  // namespace libDrive2::windows
