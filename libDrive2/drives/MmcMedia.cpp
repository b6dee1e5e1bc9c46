#include "libDrive2/drives/MmcMedia.h"

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

bool isWriteOnce(std::uint16_t profile) {
    switch (profile) {
        case kProfileCDR:
        case kProfileDVDRSequential:
        case kProfileDVDRDualLayerSequential:
        case kProfileDVDRDualLayerJump:
        case kProfileDVDDownload:
        case kProfileDVDPlusR:
        case kProfileDVDPlusRDualLayer:
        case kProfileBDRSequential:
        case kProfileBDRRandom:
        case kProfileHDDVDR:
        case kProfileHDDVDRDualLayer:
            return true;
        default:
            return false;
    }
}

}  // namespace

MediaKind mediaKind(std::uint16_t profile) {
    const bool once = isWriteOnce(profile);
    if (profile >= kProfileCDROM && profile <= kProfileCDRW)
        return {kMediaCD, once, kSpeedCD};
    if (profile == kProfileDVDRAM)
        return {kMediaDVD | kMediaDVDRAM, once, kSpeedDVD};
    if (profile >= kProfileDVDROM && profile <= kProfileDVDPlusRDualLayer)
        return {kMediaDVD, once, kSpeedDVD};
    if (profile >= kProfileBDROM && profile <= kProfileBDRE)
        return {kMediaBD, once, kSpeedBD};
    if (profile >= kProfileHDDVDROM && profile <= kProfileHDDVDRWDualLayer)
        return {kMediaHDDVD, once, kSpeedHDDVD};
    return {};
}

std::uint64_t sectorsBetweenSessions(std::uint16_t profile) {
    // Of a CD the first lead-out, a lead-in and a pregap, in sectors of which 75 are a second (MMC-6, 4.2).
    constexpr std::uint64_t kOfCDs = 6750 + 4500 + 150;
    // The first border-out and border-in of a DVD-R are the largest: 96 MiB.
    constexpr std::uint64_t kOfDVDs = 49152;
    constexpr std::uint64_t kOfBDs = 32;
    const std::uint32_t family = mediaKind(profile).capabilities;
    return (family & kMediaCD) != 0 ? kOfCDs : (family & kMediaBD) != 0 ? kOfBDs : kOfDVDs;
}

std::vector<std::uint8_t> formatTypes(std::uint16_t profile) {
    switch (profile) {
        case kProfileCDRW:
            return {kFormatFullPackets};
        case kProfileDVDRWRestrictedOverwrite:
        case kProfileDVDRWSequential:
        case kProfileDVDRWDualLayer:
            return {kFormatFull, kFormatFullPackets};
        case kProfileDVDPlusRW:
        case kProfileDVDPlusRWDualLayer:
            return {kFormatDvdPlusRw};
        case kProfileBDRE:
            return {kFormatFull, kFormatBdReSpares, kFormatBdReNoSpares};
        case kProfileDVDRAM:
        case kProfileHDDVDRAM:
        case kProfileHDDVDRW:
            return {kFormatFull};
        default:
            return {};
    }
}

}  // namespace libDrive2::mmc
