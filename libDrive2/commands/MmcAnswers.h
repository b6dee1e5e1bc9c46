#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/MmcTypes.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::mmc {

/// Parsers of what optical drives answer (MMC-6). An answer that is too short for what it must hold, or that
/// contradicts itself, gives nothing; bytes beyond what it says it holds are ignored.

/// GET CONFIGURATION.
struct Feature {
    bool current = false;
    std::vector<std::uint8_t> data;  ///< what follows the four bytes of the descriptor's head
};
/// The page alone out of an answer to MODE SENSE(10), whole; nothing when it is not there.
std::optional<Bytes> findModePage(Bytes answer, std::uint8_t code);

std::optional<std::uint16_t> parseCurrentProfile(Bytes answer);
std::optional<Feature> parseFeature(Bytes answer, std::uint16_t feature);
/// The profile numbers that the profile list's data holds.
std::vector<std::uint16_t> profilesOf(const Feature& profileList);

enum class DiscStatus : std::uint8_t { blank = 0, incomplete = 1, complete = 2, other = 3 };
enum class BackgroundFormat : std::uint8_t { none = 0, interrupted = 1, running = 2, done = 3 };
struct DiscInformation {
    DiscStatus status = DiscStatus::blank;
    BackgroundFormat backgroundFormat = BackgroundFormat::none;
    std::uint16_t lastTrack = 0;  ///< of the last session
};
std::optional<DiscInformation> parseDiscInformation(Bytes answer);

struct TrackInformation {
    std::uint16_t number = 0;
    bool blank = false;
    bool fixedPackets = false;
    std::uint32_t packetSectors = 0;  ///< of fixed packets
    std::uint32_t freeSectors = 0;
    std::optional<std::uint32_t> nextWritable;
    /// Of tracks that are recorded by jumping between layers: the last sector before the next jump.
    std::optional<std::uint32_t> nextJump;
};
std::optional<TrackInformation> parseTrackInformation(Bytes answer);

struct TocTrack {
    bool isData = false;
    std::uint32_t start = 0;
    std::uint32_t end = 0;  ///< first sector after it
};
/// The tracks in ascending order. Nothing when the starts do not ascend or the lead-out is missing.
std::optional<std::vector<TocTrack>> parseToc(Bytes answer);

/// The nominal performance and write speed descriptors, at most `maximum`. Nothing when the answer is about
/// the other direction than the one asked for.
std::optional<std::vector<::scsi::mmc_performance_nom_desc_t>> parseNominalPerformance(Bytes answer,
                                                                                       bool writing,
                                                                                       std::size_t maximum);
std::optional<std::vector<zel_write_speed_desc_t>> parseWriteSpeeds(Bytes answer, std::size_t maximum);
/// The speeds in mode page 2Ah of an answer to MODE SENSE(10); of an older drive, which lists none, its
/// highest one. They name no end: they are for SET CD SPEED.
std::optional<std::vector<zel_write_speed_desc_t>> parseListedWriteSpeeds(Bytes answer);

struct FormatCapacities {
    enum class Medium : std::uint8_t { unformatted = 1, formatted = 2, none = 3 };
    struct Choice {
        std::uint8_t type = 0;  ///< of FORMAT UNIT
        std::uint32_t sectors = 0;
        std::uint32_t parameter = 0;  ///< 24 bits, their meaning is the type's
    };
    Medium medium = Medium::none;
    std::uint32_t sectors = 0;  ///< now, or the most there can be
    std::vector<Choice> choices;
};
std::optional<FormatCapacities> parseFormatCapacities(Bytes answer);

struct MediaEvent {
    bool trayOpen = false;
    bool present = false;
};
std::optional<MediaEvent> parseMediaEvent(Bytes answer);

/// READ DISC STRUCTURE, format C0h: protected in any of its ways.
std::optional<bool> parseWriteProtection(Bytes answer);

/// Progress of a long operation in sense data, in percent.
std::optional<unsigned> parseProgress(Bytes sense);

}  // namespace libDrive2::mmc
