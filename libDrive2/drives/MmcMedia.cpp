#include "libDrive2/drives/MmcMedia.h"

#include <algorithm>
#include <array>
#include <iterator>

#include "libDrive2/DriveTypes.h"
#include "libDrive2/commands/MmcCommands.h"

namespace libDrive2::mmc {

namespace {

/// Drives state CD speeds of the whole 2352-byte sectors: 75 a second.
constexpr double kSpeedCD = 176.4;
constexpr double kSpeedDVD = 1385;
/// 4.495 MB/s, which drives round up in one and the same way.
constexpr double kSpeedBD = 4495.5;
constexpr double kSpeedHDDVD = 4568;

struct Row {
    std::uint16_t profile;
    MediaKind kind;
    std::array<std::uint8_t, 3> formats{};
    std::size_t formatCount = 0;
};

constexpr MediaKind kCD{kMediaCD, false, kSpeedCD}, kCDOnce{kMediaCD, true, kSpeedCD};
constexpr MediaKind kDVD{kMediaDVD, false, kSpeedDVD}, kDVDOnce{kMediaDVD, true, kSpeedDVD};
constexpr MediaKind kDVDRAM{kMediaDVD | kMediaDVDRAM, false, kSpeedDVD};
constexpr MediaKind kBD{kMediaBD, false, kSpeedBD}, kBDOnce{kMediaBD, true, kSpeedBD};
constexpr MediaKind kHDDVD{kMediaHDDVD, false, kSpeedHDDVD}, kHDDVDOnce{kMediaHDDVD, true, kSpeedHDDVD};

constexpr Row kRows[] = {
    {kProfileCDROM, kCD},
    {kProfileCDR, kCDOnce},
    {kProfileCDRW, kCD, {kFormatFullPackets}, 1},
    {kProfileDVDROM, kDVD},
    {kProfileDVDRSequential, kDVDOnce},
    {kProfileDVDRAM, kDVDRAM, {kFormatFull}, 1},
    {kProfileDVDRWRestrictedOverwrite, kDVD, {kFormatFull, kFormatFullPackets}, 2},
    {kProfileDVDRWSequential, kDVD, {kFormatFull, kFormatFullPackets}, 2},
    {kProfileDVDRDualLayerSequential, kDVDOnce},
    {kProfileDVDRDualLayerJump, kDVDOnce},
    {kProfileDVDRWDualLayer, kDVD, {kFormatFull, kFormatFullPackets}, 2},
    {kProfileDVDDownload, kDVDOnce},
    {kProfileDVDPlusRW, kDVD, {kFormatDvdPlusRw}, 1},
    {kProfileDVDPlusR, kDVDOnce},
    {kProfileDVDPlusRWDualLayer, kDVD, {kFormatDvdPlusRw}, 1},
    {kProfileDVDPlusRDualLayer, kDVDOnce},
    {kProfileBDROM, kBD},
    {kProfileBDRSequential, kBDOnce},
    {kProfileBDRRandom, kBDOnce},
    {kProfileBDRE, kBD, {kFormatFull, kFormatBdReSpares, kFormatBdReNoSpares}, 3},
    {kProfileHDDVDROM, kHDDVD},
    {kProfileHDDVDR, kHDDVDOnce},
    {kProfileHDDVDRAM, kHDDVD, {kFormatFull}, 1},
    {kProfileHDDVDRW, kHDDVD, {kFormatFull}, 1},
    {kProfileHDDVDRDualLayer, kHDDVDOnce},
    {kProfileHDDVDRWDualLayer, kHDDVD},
};

const Row& rowOf(std::uint16_t profile) {
    static constexpr Row kUnknown{};
    const auto* const row = std::ranges::find(kRows, profile, &Row::profile);
    return row != std::end(kRows) ? *row : kUnknown;
}

}  // namespace

MediaKind mediaKind(std::uint16_t profile) {
    return rowOf(profile).kind;
}

std::uint64_t sectorsBetweenSessions(std::uint16_t profile) {
    // Of a CD the first lead-out, a lead-in and a pregap, in sectors of which 75 are a second (MMC-6, 4.2).
    constexpr std::uint64_t kOfCDs = 6750 + 4500 + 150;
    // The first border-out and border-in of a DVD-R are the largest: 96 MiB.
    constexpr std::uint64_t kOfDVDs = 49152;
    constexpr std::uint64_t kOfBDs = 32;
    // With the first session of a DVD+R of two layers a lead-out is recorded on the second, too.
    constexpr std::uint64_t kOfDVDPlusRDualLayer = 0x30000;
    // The sessions of a DVD-R of two layers are tracks of one: a block links them.
    constexpr std::uint64_t kOfOneSession = 16;
    if (profile == kProfileDVDPlusRDualLayer)
        return kOfDVDPlusRDualLayer;
    if (profile == kProfileDVDRDualLayerSequential)
        return kOfOneSession;
    const std::uint32_t family = mediaKind(profile).capabilities;
    return (family & kMediaCD) != 0 ? kOfCDs : (family & kMediaBD) != 0 ? kOfBDs : kOfDVDs;
}

std::span<const std::uint8_t> formatTypes(std::uint16_t profile) {
    return std::span(rowOf(profile).formats).first(rowOf(profile).formatCount);
}

}  // namespace libDrive2::mmc
