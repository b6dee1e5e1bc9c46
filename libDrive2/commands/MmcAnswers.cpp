#include "libDrive2/commands/MmcAnswers.h"

#include <algorithm>
#include <cstring>

#include "libDrive2/commands/MmcCommands.h"

namespace libDrive2::mmc {

namespace {

constexpr std::size_t kConfigurationHeaderBytes = 8;
constexpr std::size_t kFeatureHeadBytes = 4;
constexpr std::size_t kProfileBytes = 4;
constexpr std::size_t kDiscInformationBytes = 16;
constexpr std::size_t kTrackInformationBytes = 28;
constexpr std::size_t kTocHeaderBytes = 4;
constexpr std::size_t kTocTrackBytes = 8;
constexpr std::uint8_t kLastTrack = 99;
constexpr std::uint8_t kLeadOut = 0xAA;
constexpr std::size_t kPerformanceHeaderBytes = 8;
constexpr std::size_t kListHeaderBytes = 4;
constexpr std::size_t kCapacityBytes = 8;
constexpr std::size_t kMediaEventBytes = 8;
constexpr std::uint8_t kMediaClass = 4;

/// What an answer holds by its own 16-bit length, which does not count itself.
Bytes held(Bytes answer) {
    return slice(answer, 0, std::size_t{loadBigEndian<std::uint16_t>(answer, 0)} + 2);
}

template <class Descriptor>
std::vector<Descriptor> descriptorsOf(Bytes bytes, std::size_t maximum) {
    std::vector<Descriptor> found(std::min(bytes.size() / sizeof(Descriptor), maximum));
    if (!found.empty())
        std::memcpy(found.data(), bytes.data(), found.size() * sizeof(Descriptor));
    return found;
}

/// What follows the header; the length counts what follows itself.
std::optional<Bytes> performanceOf(Bytes answer) {
    if (answer.size() < kPerformanceHeaderBytes)
        return std::nullopt;
    const std::size_t length = loadBigEndian<std::uint32_t>(answer, 0);
    return length < 4 ? std::nullopt : std::optional(slice(answer, kPerformanceHeaderBytes, length - 4));
}

}  // namespace

std::optional<Bytes> findModePage(Bytes answer, std::uint8_t code) {
    constexpr std::size_t kModeHeaderBytes = 8;
    if (answer.size() < kModeHeaderBytes)
        return std::nullopt;
    const Bytes pages =
        slice(held(answer), kModeHeaderBytes + loadBigEndian<std::uint16_t>(answer, 6), answer.size());
    const std::size_t size = std::size_t{byteAt(pages, 1)} + 2;
    return (byteAt(pages, 0) & 0x3F) == code && pages.size() >= size ? std::optional(slice(pages, 0, size))
                                                                     : std::nullopt;
}

std::optional<std::uint16_t> parseCurrentProfile(Bytes answer) {
    if (answer.size() < kConfigurationHeaderBytes || loadBigEndian<std::uint32_t>(answer, 0) < 4)
        return std::nullopt;
    return loadBigEndian<std::uint16_t>(answer, 6);
}

std::optional<Feature> parseFeature(Bytes answer, std::uint16_t feature) {
    const std::size_t length = std::size_t{loadBigEndian<std::uint32_t>(answer, 0)} + 4;
    Bytes rest = slice(slice(answer, 0, length), kConfigurationHeaderBytes, answer.size());
    while (rest.size() >= kFeatureHeadBytes) {
        const Bytes data = slice(rest, kFeatureHeadBytes, rest[3]);
        if (loadBigEndian<std::uint16_t>(rest, 0) == feature)
            return Feature{(rest[2] & 0x01) != 0, {data.begin(), data.end()}};
        rest = slice(rest, kFeatureHeadBytes + rest[3], rest.size());
    }
    return std::nullopt;
}

std::vector<std::uint16_t> profilesOf(const Feature& profileList) {
    std::vector<std::uint16_t> profiles;
    for (std::size_t at = 0; at + kProfileBytes <= profileList.data.size(); at += kProfileBytes)
        profiles.push_back(loadBigEndian<std::uint16_t>(profileList.data, at));
    return profiles;
}

std::optional<DiscInformation> parseDiscInformation(Bytes answer) {
    const Bytes disc = held(answer);
    // The data type: standard disc information, and not one of the resources of a track.
    if (disc.size() < kDiscInformationBytes || (disc[2] & 0xE0) != 0)
        return std::nullopt;
    DiscInformation found;
    found.status = static_cast<DiscStatus>(disc[2] & 0x03);
    found.backgroundFormat = static_cast<BackgroundFormat>(disc[7] & 0x03);
    found.lastTrack = static_cast<std::uint16_t>(disc[11] << 8 | disc[6]);
    return found;
}

std::optional<TrackInformation> parseTrackInformation(Bytes answer) {
    const Bytes track = held(answer);
    if (track.size() < kTrackInformationBytes)
        return std::nullopt;
    TrackInformation found;
    found.number = static_cast<std::uint16_t>(byteAt(track, 32) << 8 | track[2]);
    found.blank = (track[6] & 0x40) != 0;
    found.fixedPackets = (track[6] & 0x30) == 0x30;
    if ((track[7] & 0x01) != 0)
        found.nextWritable = loadBigEndian<std::uint32_t>(track, 12);
    found.freeSectors = loadBigEndian<std::uint32_t>(track, 16);
    found.packetSectors = loadBigEndian<std::uint32_t>(track, 20);
    constexpr std::size_t kNextJumpAt = 40;
    if ((track[5] & 0xC0) != 0 && track.size() >= kNextJumpAt + 4)
        found.nextJump = loadBigEndian<std::uint32_t>(track, kNextJumpAt);
    return found;
}

std::optional<std::vector<TocTrack>> parseToc(Bytes answer) {
    Bytes rest = slice(held(answer), kTocHeaderBytes, answer.size());
    std::vector<TocTrack> tracks;
    for (; rest.size() >= kTocTrackBytes; rest = rest.subspan(kTocTrackBytes)) {
        const std::uint8_t number = rest[2];
        const auto start = loadBigEndian<std::uint32_t>(rest, 4);
        if (!tracks.empty()) {
            if (start < tracks.back().start)
                return std::nullopt;
            tracks.back().end = start;
        }
        if (number == kLeadOut)
            return tracks.empty() ? std::nullopt : std::optional(tracks);
        if (number == 0 || number > kLastTrack || tracks.size() >= kLastTrack)
            return std::nullopt;
        tracks.push_back({(rest[1] & 0x04) != 0, start, start});
    }
    return std::nullopt;
}

std::optional<std::vector<::scsi::mmc_performance_nom_desc_t>> parseNominalPerformance(Bytes answer,
                                                                                       bool writing,
                                                                                       std::size_t maximum) {
    const std::optional<Bytes> data = performanceOf(answer);
    // WRITE tells the direction, EXCEPT that these are exceptions and no nominal values.
    if (!data || (answer[4] & 0x03) != (writing ? 0x02 : 0x00))
        return std::nullopt;
    return descriptorsOf<::scsi::mmc_performance_nom_desc_t>(*data, maximum);
}

std::optional<std::vector<zel_write_speed_desc_t>> parseWriteSpeeds(Bytes answer, std::size_t maximum) {
    const std::optional<Bytes> data = performanceOf(answer);
    return data ? std::optional(descriptorsOf<zel_write_speed_desc_t>(*data, maximum)) : std::nullopt;
}

std::optional<std::vector<zel_write_speed_desc_t>> parseListedWriteSpeeds(Bytes answer) {
    constexpr std::size_t kHighestSpeedAt = 18, kCountAt = 30, kListAt = 32, kEntryBytes = 4;
    const auto page = findModePage(answer, kModePageCapabilities);
    if (!page || page->size() < kHighestSpeedAt + 2)
        return std::nullopt;
    std::vector<zel_write_speed_desc_t> speeds;
    const auto add = [&speeds](Bytes speed, std::uint8_t rotationControl) {
        zel_write_speed_desc_t descriptor{};
        descriptor.flags = static_cast<std::uint8_t>((rotationControl & 0x03) << 3);
        std::memcpy(reinterpret_cast<std::uint8_t*>(&descriptor.writeSpeed) + 2, speed.data(), 2);
        speeds.push_back(descriptor);
    };
    const std::size_t count = loadBigEndian<std::uint16_t>(*page, kCountAt);
    Bytes list = slice(*page, kListAt, count * kEntryBytes);
    for (; list.size() >= kEntryBytes; list = list.subspan(kEntryBytes))
        add(list.subspan(2), list[1]);
    if (speeds.empty())
        add(page->subspan(kHighestSpeedAt), 0);
    return speeds;
}

std::optional<FormatCapacities> parseFormatCapacities(Bytes answer) {
    // The list begins with the current or maximum capacity descriptor; what may be chosen follows.
    Bytes list = slice(answer, kListHeaderBytes, byteAt(answer, 3));
    if (list.size() < kCapacityBytes || (list[4] & 0x03) == 0)
        return std::nullopt;
    FormatCapacities found;
    found.medium = static_cast<FormatCapacities::Medium>(list[4] & 0x03);
    found.sectors = loadBigEndian<std::uint32_t>(list, 0);
    for (list = list.subspan(kCapacityBytes); list.size() >= kCapacityBytes;
         list = list.subspan(kCapacityBytes))
        found.choices.push_back({static_cast<std::uint8_t>(list[4] >> 2),
                                 loadBigEndian<std::uint32_t>(list, 0),
                                 loadBigEndian<std::uint32_t>(list, 4) & 0xFFFFFF});
    return found;
}

std::optional<MediaEvent> parseMediaEvent(Bytes answer) {
    const Bytes event = held(answer);
    // NEA: the drive does not know this class of events.
    if (event.size() < kMediaEventBytes || (event[2] & 0x80) != 0 || (event[2] & 0x07) != kMediaClass)
        return std::nullopt;
    return MediaEvent{(event[5] & 0x01) != 0, (event[5] & 0x02) != 0};
}

std::optional<bool> parseWriteProtection(Bytes answer) {
    const Bytes structure = held(answer);
    // By the host, for good, by the cartridge, by the medium's own information.
    return structure.size() < 5 ? std::nullopt : std::optional((structure[4] & 0x0F) != 0);
}

std::optional<unsigned> parseProgress(Bytes sense) {
    // Fixed format with the sense-key specific field valid (SPC-4 4.5.2.4.4).
    if ((byteAt(sense, 0) & 0x7E) != 0x70 || sense.size() < 18 || (sense[15] & 0x80) == 0)
        return std::nullopt;
    return loadBigEndian<std::uint16_t>(sense, 16) * 100U / 0x10000U;
}

}  // namespace libDrive2::mmc
