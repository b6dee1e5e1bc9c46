#include "fuzz/Invariants.h"
#include "libDrive2/commands/MmcParameters.h"

namespace libDrive2::fuzz {
namespace {

Found findFeatures(Bytes answer) {
    Found found{mmc::parseCurrentProfile(answer).value_or(0)};
    for (const std::uint16_t number : std::initializer_list<std::uint16_t>{0x0000, 0x0004, 0x002F, 0x0107}) {
        const auto feature = mmc::parseFeature(answer, number);
        if (!feature)
            continue;
        require(feature->data.size() <= 255, "a feature is no longer than its length can say");
        found.insert(found.end(), {number, feature->current});
        for (const std::uint16_t profile : mmc::profilesOf(*feature))
            found.push_back(profile);
    }
    return found;
}

/// The answers that begin with a 16-bit length.
Found findDisc(Bytes answer) {
    Found found;
    if (const auto disc = mmc::parseDiscInformation(answer))
        found = {static_cast<std::uint64_t>(disc->status), static_cast<std::uint64_t>(disc->backgroundFormat),
                 disc->lastTrack};
    if (const auto track = mmc::parseTrackInformation(answer))
        found.insert(found.end(), {track->number, track->blank, track->fixedPackets, track->packetSectors,
                                   track->freeSectors, track->nextWritable.value_or(0)});
    if (const auto event = mmc::parseMediaEvent(answer))
        found.insert(found.end(), {event->trayOpen, event->present});
    found.push_back(mmc::parseWriteProtection(answer).value_or(false));
    return found;
}

Found findTracks(Bytes answer) {
    Found found;
    std::uint32_t end = 0;
    if (const auto tracks = mmc::parseToc(answer)) {
        require(!tracks->empty() && tracks->size() <= 99, "a disc has 1 to 99 tracks");
        for (const mmc::TocTrack& track : *tracks) {
            require(track.start >= end && track.end >= track.start, "tracks follow each other");
            end = track.end;
            found.insert(found.end(), {track.isData, track.start, track.end});
        }
    }
    return found;
}

Found findPerformance(Bytes answer) {
    constexpr std::size_t kMost = 5;
    Found found;
    const auto speeds = mmc::parseWriteSpeeds(answer, kMost);
    for (const bool writing : {false, true}) {
        const auto nominal = mmc::parseNominalPerformance(answer, writing, kMost);
        require(!nominal || (speeds && nominal->size() == speeds->size()), "both have the same sizes");
        found.push_back(nominal.has_value());
    }
    if (speeds) {
        require(speeds->size() <= kMost, "no more descriptors than asked for");
        for (const zel_write_speed_desc_t& speed : *speeds)
            found.insert(found.end(), {speed.flags, speed.endLba, speed.readSpeed, speed.writeSpeed});
    }
    return found;
}

Found findCapacities(Bytes answer) {
    const auto capacities = mmc::parseFormatCapacities(answer);
    if (!capacities)
        return {};
    Found found{static_cast<std::uint64_t>(capacities->medium), capacities->sectors};
    for (const auto& choice : capacities->choices) {
        require(choice.type < 64 && choice.parameter < (1U << 24), "formats fit their fields");
        found.insert(found.end(), {choice.type, choice.sectors, choice.parameter});
    }
    return found;
}

Found findWriteParameters(Bytes answer) {
    const auto page = mmc::findWriteParameters(answer);
    if (!page)
        return {};
    const auto list = mmc::writeParameterList(*page, {});
    require(list.size() == page->size() + 8 && list[8] == 5, "the page is sent whole");
    return {page->begin(), page->end()};
}

}  // namespace

/// The input is an answer, read as if to each command in turn.
void check(Bytes input) {
    const std::size_t length16 = std::size_t{loadBigEndian<std::uint16_t>(input, 0)} + 2;
    const std::size_t length32 = std::size_t{loadBigEndian<std::uint32_t>(input, 0)} + 4;
    requireSameWithout(input, std::max<std::size_t>(length32, 8), findFeatures);
    requireSameWithout(input, std::max<std::size_t>(length32, 8), findPerformance);
    requireSameWithout(input, length16, findDisc);
    requireSameWithout(input, length16, findTracks);
    requireSameWithout(input, std::size_t{4} + byteAt(input, 3), findCapacities);
    requireSameWithout(input, length16, findWriteParameters);
    if (const auto percent = mmc::parseProgress(input))
        require(*percent < 100, "an operation under way is not done");
}

}  // namespace libDrive2::fuzz
