#pragma once

#include <array>
#include <cstdint>
#include <limits>
#include <string_view>

namespace libDrive2 {

/// What a simulated drive is. The values are sets of one, so that several kinds make a set.
enum class SimKind : std::uint32_t {
    disk = 1,
    scsi = 2,
    ata = 4,
    nvme = 8,
    floppy = 16,
    ufi = 32,
    optical = 64
};

using SimKinds = std::uint32_t;
inline constexpr SimKinds kAllSimKinds = 0x7F;

template <class... Kinds>
constexpr SimKinds simKinds(Kinds... kinds) {
    return (static_cast<SimKinds>(kinds) | ...);
}

/// How one kind differs from the others in size and name.
struct SimKindTraits {
    SimKind kind;
    std::string_view name;     ///< in locators
    std::string_view product;  ///< what the drive calls itself; SCSI leaves it 16 characters
    std::uint64_t defaultSectors;
    std::uint32_t minSectorBytes;
    std::uint64_t maxSectors;  ///< what the commands of the kind can address
    bool removable;
};

inline constexpr std::uint64_t kDiskSectors = 2097152;
inline constexpr std::uint64_t kFloppySectors = 2880;  ///< 80 cylinders, 2 heads, 18 sectors
inline constexpr std::uint64_t kAnySectors = std::numeric_limits<std::uint64_t>::max();

inline constexpr std::array kSimKinds = {
    SimKindTraits{SimKind::disk, "disk", "Simulated disk", kDiskSectors, 128, kAnySectors, false},
    SimKindTraits{SimKind::scsi, "scsi", "Simulated SCSI", kDiskSectors, 128, kAnySectors, false},
    // ACS-4: logical sectors of 256 words or more, 48-bit addresses.
    SimKindTraits{SimKind::ata, "ata", "Simulated ATA", kDiskSectors, 512, std::uint64_t{1} << 48, false},
    // NVM Express: LBA formats of 512 bytes or more.
    SimKindTraits{SimKind::nvme, "nvme", "Simulated NVMe", kDiskSectors, 512, kAnySectors, false},
    SimKindTraits{SimKind::floppy, "floppy", "Simulated floppy", kFloppySectors, 128, kAnySectors, true},
    // UFI: READ CAPACITY(10) is all there is.
    SimKindTraits{SimKind::ufi, "ufi", "Simulated UFI", kFloppySectors, 128, 0xFFFFFFFF, true},
    // MMC-6: READ CAPACITY is that of 10 bytes; each medium has a size of its own.
    SimKindTraits{SimKind::optical, "optical", "Simulated writer", 1, 2048, 0xFFFFFFFF, true},
};

constexpr const SimKindTraits& traitsOf(SimKind kind) {
    std::size_t at = 0;
    while (kSimKinds[at].kind != kind)
        ++at;
    return kSimKinds[at];
}

}  // namespace libDrive2
