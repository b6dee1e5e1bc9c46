#pragma once

#include <bit>
#include <cstdint>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "libDrive2/sim/SectorRanges.h"
#include "libDrive2/sim/SimHealth.h"
#include "libDrive2/sim/SimKind.h"
#include "libDrive2/sim/SimWarmth.h"
#include "libDrive2/sim/optical/OpticalOptions.h"
#include "zel/String.h"

namespace libDrive2 {

/// Transfers that touch the range take longer.
struct SlowRange {
    SectorRange range;
    std::uint64_t milliseconds;
};

/// What becomes of an attempt to lock the volumes of a drive.
enum class SimVolumeState : std::uint8_t {
    free,
    busy,   ///< they cannot be locked
    stuck,  ///< they can, but not be given back
};

/// What a drive does with sectors that it pretends to have.
enum class SimBeyond : std::uint8_t {
    wrap,     ///< they are those from 0 on, again and again
    zeros,    ///< writes are lost, reads give zeros
    drop,     ///< writes are lost, reads give what is there from the beginning
    garbage,  ///< writes are lost, reads give something else each time
};

/// A medium of a drive that takes several.
struct SimMediumChoice {
    bool present = true;
    std::uint64_t sectors = 0;  ///< 0: as many as the drive's options say
};

/// What a "sim:KIND,KEY=VALUE…" locator describes.
struct SimOptions {
    SimKind kind = SimKind::disk;
    std::uint64_t sectors = kDiskSectors;
    std::uint32_t sectorBytes = 512;
    std::string imagePath;  ///< backing file; empty for a model in memory
    SectorRanges bad;
    SectorRanges badWrite;
    SectorRanges badSeek;
    SectorRanges corrupt;
    SectorRanges recovered;                            ///< read only after a correction
    std::map<std::uint64_t, std::uint64_t> transient;  ///< LBA, failures left
    std::vector<SlowRange> slow;
    std::uint64_t goneAt = 0;  ///< number of the first command that fails; 0 never
    std::uint64_t busyAt = 0;
    std::uint64_t megabytesPerSecond = 0;  ///< 1 MB = 1,048,576 bytes; 0 no limit
    std::uint64_t realSectors = 0;         ///< of a drive that pretends to have more; 0: it is honest
    SimBeyond beyond = SimBeyond::wrap;
    bool beyondGiven = false;
    std::string serial;
    std::uint64_t temperature = 38;  ///< degrees Celsius, at rest
    SimHeating heating{};
    SimHealthOptions health;
    bool sectorsGiven = false;
    bool realTime = false;  ///< waiting takes time
    bool writeProtected = false;
    bool removable = false;
    std::vector<SimMediumChoice> media{{}};  ///< the first is in the drive, every load puts in the next
    bool encrypted = false;
    SimVolumeState volumes = SimVolumeState::free;
    bool descriptorSense = false;
    std::uint8_t protectionType = 0;  ///< type of protection information that it is formatted with; 0 none
    bool hostOwnsTags = false;        ///< its application tags belong to whoever writes (ATO)
    bool locked = false;              ///< with a password
    bool emulated = false;            ///< an ATA drive that also answers SCSI commands
    SimOpticalOptions optical;

    /// Of a size that no system has a block interface for: only commands reach the drive.
    [[nodiscard]] bool isHidden() const { return kind == SimKind::scsi && !std::has_single_bit(sectorBytes); }
};

bool isSimLocator(const zel::String& locator);

/// The kinds, keys and media that locators can name, for help.
zel::String describeSimLocators();

/// Nothing when the locator is malformed; `error` then says what is wrong in one sentence.
std::optional<SimOptions> parseSimLocator(const zel::String& locator, zel::String& error);

/// What is wrong with the number of sectors: too many for the kind, or too few for a fault; empty when
/// nothing is.
std::string checkSize(const SimOptions& options);

}  // namespace libDrive2
