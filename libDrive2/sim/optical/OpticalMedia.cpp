#include "libDrive2/sim/optical/OpticalMedia.h"

#include <algorithm>

namespace libDrive2 {

namespace {

using enum OpticalWriting;

constexpr std::array kTypes = {
    OpticalMediaType{"cdrom", 0x08, none, false, 333000, 1, 48, {}},
    OpticalMediaType{"cdaudio", 0x08, none, false, 333000, 1, 48, {}, OpticalContent::audio},
    OpticalMediaType{"cdmixed", 0x08, none, false, 333000, 1, 48, {}, OpticalContent::mixed},
    OpticalMediaType{"cdr", 0x09, sequential, false, 359847, 1, 48, {48, 32, 16, 8}},
    OpticalMediaType{"cdrw", 0x0A, sequential, true, 359847, 1, 32, {24, 16, 10, 4}},
    OpticalMediaType{"cdrw-ow", 0x0A, overwrite, true, 295232, 32, 32, {24, 16, 10, 4}},
    OpticalMediaType{"dvdrom", 0x10, none, false, 2298496, 16, 16, {}},
    OpticalMediaType{"dvdr", 0x11, sequential, false, 2298496, 16, 16, {16, 8, 4, 2}},
    OpticalMediaType{"dvdram", 0x12, overwrite, true, 2236704, 16, 12, {5, 3, 2}},
    OpticalMediaType{"dvdrw-ow", 0x13, overwrite, true, 2298496, 16, 12, {6, 4, 2, 1}},
    OpticalMediaType{"dvdrw", 0x14, sequential, true, 2298496, 16, 12, {6, 4, 2, 1}},
    OpticalMediaType{"dvdr-dl", 0x15, sequential, false, 4171712, 16, 12, {8, 6, 4, 2}},
    OpticalMediaType{"dvdr-dl-lj", 0x16, sequential, false, 4171712, 16, 12, {8, 6, 4, 2}},
    OpticalMediaType{"dvdrw-dl", 0x17, sequential, true, 4171712, 16, 8, {4, 2}},
    OpticalMediaType{"dvd+rw", 0x1A, overwrite, true, 2295104, 16, 12, {8, 6, 4, 3}},
    OpticalMediaType{"dvd+r", 0x1B, sequential, false, 2295104, 16, 16, {16, 8, 4}},
    OpticalMediaType{"dvd+rw-dl", 0x2A, overwrite, true, 4173824, 16, 8, {4, 3}},
    OpticalMediaType{"dvd+r-dl", 0x2B, sequential, false, 4173824, 16, 12, {8, 6, 4}},
    OpticalMediaType{"bdrom", 0x40, none, false, 12219392, 32, 12, {}},
    OpticalMediaType{"bdr", 0x41, sequential, false, 12219392, 32, 12, {12, 6, 4, 2}},
    OpticalMediaType{"bdr-random", 0x42, random, false, 11826176, 32, 12, {12, 6, 4, 2}},
    OpticalMediaType{"bdre", 0x43, overwrite, true, 11826176, 32, 8, {2, 1}},
    // HD DVD is only read.
    OpticalMediaType{"hddvdrom", 0x50, none, false, 7361536, 32, 3, {}},
    OpticalMediaType{"hddvdr", 0x51, none, false, 7361536, 32, 3, {}},
    OpticalMediaType{"hddvdram", 0x52, none, false, 7361536, 32, 3, {}},
    OpticalMediaType{"hddvdrw", 0x53, none, false, 7361536, 32, 3, {}},
    OpticalMediaType{"hddvdr-dl", 0x58, none, false, 14723072, 32, 3, {}},
    OpticalMediaType{"hddvdrw-dl", 0x5A, none, false, 14723072, 32, 3, {}},
};

}  // namespace

std::uint32_t OpticalMediaType::speedOf(std::uint32_t multiple) const {
    // 1x in 100 bytes a second.
    const std::uint32_t single = isCd() ? 1764 : profile < 0x40 ? 13850 : isBd() ? 44955 : 45680;
    return multiple * single / 10;
}

bool OpticalMediaType::canBeMade(OpticalState state) const {
    switch (state) {
        case OpticalState::usual:
            return true;
        case OpticalState::blank:
        case OpticalState::appendable:
            return writing == sequential;
        case OpticalState::closed:
            return writing != overwrite;
        case OpticalState::unformatted:
            // Without its format, restricted overwrite is a blank medium for tracks, and random a BD-R.
            return writing == overwrite && !needsWholeBlocks();
    }
    return false;
}

std::span<const OpticalMediaType> opticalMediaTypes() {
    return kTypes;
}

const OpticalMediaType* findOpticalMedia(std::string_view name) {
    const auto* const found = std::ranges::find(kTypes, name, &OpticalMediaType::name);
    return found != kTypes.end() ? found : nullptr;
}

}  // namespace libDrive2
