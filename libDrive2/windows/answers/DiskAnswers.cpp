#include "libDrive2/windows/answers/DiskAnswers.h"

#include <bit>
#include <limits>

namespace libDrive2::windows {

namespace {

constexpr std::uint32_t kLargestSector = 1U << 20;
constexpr std::uint64_t kMostBytes = std::numeric_limits<std::int64_t>::max();

}  // namespace

std::optional<std::uint64_t> parseLength(Bytes answer) {
    const auto bytes = loadLittleEndian<std::uint64_t>(answer, 0);
    if (answer.size() < sizeof bytes || bytes > kMostBytes)
        return std::nullopt;
    return bytes;
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
    // Outside of it, the sensor does not report, or the answer is wrong and not the drive.
    constexpr int kCoolest = -100, kHottest = 200;
    const auto sensors = loadLittleEndian<std::uint16_t>(answer, 12);
    for (std::size_t at = kFirstSensor, i = 0; i < sensors && at + kSensorBytes <= answer.size();
         ++i, at += kSensorBytes) {
        const auto degrees = std::bit_cast<std::int16_t>(loadLittleEndian<std::uint16_t>(answer, at + 2));
        if (degrees >= kCoolest && degrees <= kHottest)
            return degrees;
    }
    return std::nullopt;
}

}  // namespace libDrive2::windows
