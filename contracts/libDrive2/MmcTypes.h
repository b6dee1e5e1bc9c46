#pragma once

#include <cstdint>

namespace scsi {

/// Nominal performance descriptor of GET PERFORMANCE, type 00h (MMC-6). From the drive layer the fields are
/// big-endian, as on the wire.
struct mmc_performance_nom_desc_t {
    std::uint32_t startLba;
    std::uint32_t startPerformance;  ///< KB/s, 1 KB = 1000 bytes
    std::uint32_t endLba;
    std::uint32_t endPerformance;  ///< KB/s
};
static_assert(sizeof(mmc_performance_nom_desc_t) == 16);

/// Performance descriptor of SET STREAMING (MMC-6); fields big-endian.
struct mmc_performance_desc_t {
    std::uint8_t flags;  ///< bits: 0 random access, 1 exact, 2 restore defaults, 3-4 write rotation control
    std::uint8_t reserved[3];
    std::uint32_t startLba;
    std::uint32_t endLba;
    std::uint32_t readSize;  ///< KB per read time
    std::uint32_t readTime;  ///< ms
    std::uint32_t writeSize;
    std::uint32_t writeTime;
};
static_assert(sizeof(mmc_performance_desc_t) == 28);

}  // namespace scsi

namespace libDrive2 {

/// Write speed descriptor of GET PERFORMANCE, type 03h (MMC-6); fields big-endian.
struct zel_write_speed_desc_t {
    std::uint8_t flags;  ///< bits: 0 mixed read and write, 1 exact, 2 restore defaults, 3-4 rotation control
    std::uint8_t reserved[3];
    std::uint32_t endLba;
    std::uint32_t readSpeed;   ///< KB/s
    std::uint32_t writeSpeed;  ///< KB/s
};
static_assert(sizeof(zel_write_speed_desc_t) == 16);

/// Profile numbers (MMC-6, Profile List feature).
enum _MMC_PROFILES : std::uint16_t {  // NOLINT(bugprone-reserved-identifier)
    kProfileNone = 0x0000,
    kProfileCDROM = 0x0008,
    kProfileCDR = 0x0009,
    kProfileCDRW = 0x000A,
    kProfileDVDROM = 0x0010,
    kProfileDVDRSequential = 0x0011,
    kProfileDVDRAM = 0x0012,
    kProfileDVDRWRestrictedOverwrite = 0x0013,
    kProfileDVDRWSequential = 0x0014,
    kProfileDVDRDualLayerSequential = 0x0015,
    kProfileDVDRDualLayerJump = 0x0016,
    kProfileDVDRWDualLayer = 0x0017,
    kProfileDVDDownload = 0x0018,
    kProfileDVDPlusRW = 0x001A,
    kProfileDVDPlusR = 0x001B,
    kProfileDVDPlusRWDualLayer = 0x002A,
    kProfileDVDPlusRDualLayer = 0x002B,
    kProfileBDROM = 0x0040,
    kProfileBDRSequential = 0x0041,
    kProfileBDRRandom = 0x0042,
    kProfileBDRE = 0x0043,
    kProfileHDDVDROM = 0x0050,
    kProfileHDDVDR = 0x0051,
    kProfileHDDVDRAM = 0x0052,
    kProfileHDDVDRW = 0x0053,
    kProfileHDDVDRDualLayer = 0x0058,
    kProfileHDDVDRWDualLayer = 0x005A,
};

/// Feature number of layer jump recording (MMC-6).
inline constexpr std::uint16_t kFeatureLayerJumpRecording = 0x0033;

/// BLANK types (MMC-6): the whole disc, or only what makes it look written.
enum class BlankType : std::uint8_t { full = 0, minimal = 1 };

}  // namespace libDrive2
