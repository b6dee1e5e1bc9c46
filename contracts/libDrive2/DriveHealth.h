#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace libDrive2 {

/// A SMART attribute of an ATA drive (SMART READ DATA and SMART READ THRESHOLDS, ACS-2; their meaning is the
/// vendor's).
struct SmartAttribute {
    std::uint8_t id = 0;  ///< 1 to 255
    std::string name{};   ///< as the field calls it; empty for an unknown one
    std::uint8_t value = 0;
    std::uint8_t worst = 0;
    std::uint8_t threshold = 0;  ///< a value at or below it is a failure; 0 for none
    std::uint64_t raw = 0;       ///< 48 bits

    [[nodiscard]] bool isBelowThreshold() const { return threshold != 0 && value <= threshold; }
    bool operator==(const SmartAttribute&) const = default;
};

enum class SelfTestKind : std::uint8_t { other, shortTest, extendedTest };
enum class SelfTestOutcome : std::uint8_t { running, passed, aborted, interrupted, failed };

/// `status`: 0 to 15, as ATA drives have it in the upper half of the status byte (ACS-2, Self-test execution
/// status) and SCSI drives in the self-test result (SPC-4, log page 10h).
[[nodiscard]] constexpr SelfTestOutcome selfTestOutcome(unsigned status) noexcept {
    switch (status) {
        case 0x0:
            return SelfTestOutcome::passed;
        case 0x1:
            return SelfTestOutcome::aborted;
        case 0x2:
            return SelfTestOutcome::interrupted;
        case 0xF:
            return SelfTestOutcome::running;
        default:
            return SelfTestOutcome::failed;
    }
}

/// A self-test that the drive has in its log, or carries out.
struct SelfTestEntry {
    SelfTestKind kind = SelfTestKind::other;
    SelfTestOutcome outcome = SelfTestOutcome::passed;
    std::optional<std::uint64_t> hours{};     ///< power-on hours when it ended
    std::optional<std::uint64_t> firstBad{};  ///< LBA of the first error

    bool operator==(const SelfTestEntry&) const = default;
};

/// Sectors that the drive has, but does not let anybody reach. Nothing where it has no such feature, or does
/// not tell.
struct HiddenAreas {
    std::optional<std::uint64_t>
        hpaSectors{};  ///< host protected area (ATA/ATAPI-7, READ NATIVE MAX ADDRESS)
    std::optional<std::uint64_t> dcoSectors{};  ///< device configuration overlay (ACS-2)
    /// Beyond the accessible maximum address (ACS-3, GET NATIVE MAX ADDRESS EXT).
    std::optional<std::uint64_t> inaccessibleSectors{};

    bool operator==(const HiddenAreas&) const = default;
};

/// What a drive says of its own health. A number that it does not tell is left out. All of them are at
/// least 0, but for the temperature.
struct DriveHealth {
    using Number = std::optional<std::int64_t>;

    /// SMART RETURN STATUS; SCSI informational exceptions (SPC-4, log page 2Fh); the critical warnings of
    /// NVMe, but for the one of temperature.
    std::optional<bool> predictsFailure{};
    Number reallocatedSectors{};     ///< SMART attribute 5; length of the grown defect list (SBC-3)
    Number pendingSectors{};         ///< SMART attribute 197
    Number uncorrectableSectors{};   ///< SMART attribute 198
    Number crcErrors{};              ///< transfers that were damaged on the cable: SMART attribute 199
    Number mediaErrors{};            ///< SMART attribute 187; SCSI log pages 02h and 03h; NVMe media errors
    Number spareLeftPercent{};       ///< NVMe
    Number spareThresholdPercent{};  ///< NVMe; less spare than this is critical
    Number wearPercent{};   ///< endurance used, also beyond 100: SCSI log page 11h, NVMe percentage used
    Number temperatureC{};  ///< degrees Celsius
    Number powerOnHours{};
    Number powerCycles{};
    Number bytesWritten{};  ///< by the host, in the drive's whole life
    std::vector<SmartAttribute> attributes{};
    std::vector<SelfTestEntry> selfTests{};  ///< the newest first
    HiddenAreas hidden{};

    bool operator==(const DriveHealth&) const = default;
    /// Whether the drive told anything at all.
    [[nodiscard]] bool isEmpty() const { return *this == DriveHealth{}; }
};

}  // namespace libDrive2
