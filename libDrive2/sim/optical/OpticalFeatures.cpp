#include "libDrive2/sim/optical/OpticalFeatures.h"

#include <algorithm>
#include <functional>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

using Bytes = std::vector<std::uint8_t>;
using Profiles = std::vector<std::uint16_t>;

/// What makes a feature current.
enum class When : std::uint8_t {
    always,
    medium,        ///< one of the profiles
    readable,      ///< and something on it can be read
    writable,      ///< and something can be written
    inTracks,      ///< and tracks can be written
    overwritable,  ///< and blocks can be written anywhere
    unprotected,
};

struct Feature {
    std::uint16_t code;
    std::uint8_t version;
    When when;
    Profiles profiles;  ///< empty: all
    Bytes data;
    void (*fill)(Bytes& data, const OpticalUnit& unit) = nullptr;
};

constexpr std::uint16_t kIncrementalStreaming = 0x0021;
constexpr std::uint16_t kLayerJump = 0x0033;

const Profiles kCds{0x08, 0x09, 0x0A};
const Profiles kDvds{0x10, 0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17, 0x1A, 0x1B, 0x2A, 0x2B};
const Profiles kBds{0x40, 0x41, 0x42, 0x43};
const Profiles kHdDvds{0x50, 0x51, 0x52, 0x53, 0x58, 0x5A};
const Profiles kRandomWritables{0x12, 0x1A, 0x2A, 0x43};
const Profiles kStreamables{0x09, 0x0A, 0x11, 0x14, 0x15, 0x16, 0x17, 0x1B, 0x2B, 0x41};
const Profiles kProtectables{0x11, 0x12, 0x13, 0x14, 0x15, 0x16, 0x17,
                             0x1A, 0x1B, 0x2A, 0x2B, 0x41, 0x42, 0x43};
const Profiles kFormattables{0x0A, 0x12, 0x13, 0x14, 0x1A, 0x2A, 0x41, 0x43};

/// Every profile with whether it is current, the highest first.
void fillProfiles(Bytes& data, const OpticalUnit& unit) {
    Profiles profiles;
    for (const OpticalMediaType& type : opticalMediaTypes())
        profiles.push_back(type.profile);
    std::ranges::sort(profiles, std::greater());
    profiles.erase(std::unique(profiles.begin(), profiles.end()), profiles.end());
    for (const std::uint16_t profile : profiles)
        data.insert(data.end(), {static_cast<std::uint8_t>(profile >> 8), static_cast<std::uint8_t>(profile),
                                 static_cast<std::uint8_t>(profile == unit.profile()), 0});
}

void fillLoading(Bytes& data, const OpticalUnit& unit) {
    constexpr std::uint8_t kTrayThatLoads = 0x30;
    if (unit.tray.hasTray())
        data[0] |= kTrayThatLoads;
}

/// Block size and sectors of an error correction block, from a place on.
void putBlocks(Bytes& data, std::size_t at, const OpticalUnit& unit) {
    putBigEndian(&data[at], 4, kOpticalSectorBytes);
    putBigEndian(&data[at + 4], 2, unit.tray.disc() != nullptr ? unit.tray.disc()->type().blocking : 1);
}

void fillRandomReadable(Bytes& data, const OpticalUnit& unit) {
    putBlocks(data, 0, unit);
}

void fillRandomWritable(Bytes& data, const OpticalUnit& unit) {
    const std::uint32_t sectors = unit.tray.disc() != nullptr ? unit.tray.disc()->readableSectors() : 0;
    putBigEndian(data.data(), 4, sectors == 0 ? 0 : sectors - 1);
    putBlocks(data, 4, unit);
}

void fillSpeeds(Bytes& data, const OpticalUnit& unit) {
    constexpr std::uint8_t kWriteSpeeds = 0x02;
    if (unit.options.optical.writeSpeeds)
        data[0] |= kWriteSpeeds;
}

void fillSerial(Bytes& data, const OpticalUnit& unit) {
    data.assign(unit.options.serial.begin(), unit.options.serial.end());
    data.resize((data.size() + 3) / 4 * 4, ' ');
}

/// MMC-6, features and their data.
const std::vector<Feature>& features() {
    static const std::vector<Feature> kFeatures{
        {0x0000, 0, When::always, {}, {}, fillProfiles},
        {0x0001, 2, When::always, {}, {0, 0, 0, 2, 1, 0, 0, 0}},      // ATAPI; device busy events
        {0x0002, 1, When::always, {}, {0x02, 0, 0, 0}},               // operational change events
        {0x0003, 2, When::always, {}, {0x09, 0, 0, 0}, fillLoading},  // ejects, can be locked
        {0x0004, 2, When::medium, kProtectables, Bytes(4)},
        {0x0010, 0, When::readable, {}, {0, 0, 0, 0, 0, 0, 1, 0}, fillRandomReadable},
        {0x001D, 0, When::medium, kCds, {}},
        {0x001E, 2, When::medium, kCds, {0, 0, 0, 0}},
        {0x001F, 1, When::medium, kDvds, {1, 0, 1, 1}},
        {0x0020, 1, When::writable, kRandomWritables, Bytes(12), fillRandomWritable},
        {kIncrementalStreaming, 3, When::inTracks, kStreamables, {0x01, 0x01, 0x03, 1, 16, 0, 0, 0}},
        {0x0023, 2, When::unprotected, kFormattables, Bytes(8)},
        {0x0024, 1, When::medium, {0x12, 0x41, 0x42, 0x43}, Bytes(4)},
        {0x0025, 0, When::writable, {0x42}, {0, 0, 0, 0, 0, 0, 1, 0}, fillRandomReadable},
        {0x0026, 0, When::overwritable, {0x0A, 0x13}, {}},
        {0x002A, 0, When::medium, {0x1A}, {1, 0, 0, 0}},
        {0x002B, 0, When::medium, {0x1B}, {1, 0, 0, 0}},
        {0x002C, 0, When::writable, {0x13}, {0x01, 0, 0, 0}},              // can be blanked
        {0x002D, 2, When::inTracks, {0x09, 0x0A}, {0x46, 0, 0x01, 0x00}},  // test write, CD-RW; mode 1
        {0x002F, 2, When::writable, {0x11, 0x13, 0x14, 0x15, 0x16, 0x17}, {0x4E, 0, 0, 0}},
        {kLayerJump, 0, When::writable, {0x16}, {0, 0, 0, 1, 16, 0, 0, 0}},
        {0x0037, 0, When::writable, {0x0A}, {0, 0xFF, 0, 0}},
        {0x003A, 0, When::medium, {0x2A}, {1, 0, 0, 0}},
        {0x003B, 0, When::medium, {0x2B}, {1, 0, 0, 0}},
        {0x0040, 0, When::medium, kBds, Bytes(28, 0xFF)},
        {0x0041, 0, When::writable, {0x41, 0x42, 0x43}, Bytes(20, 0xFF)},
        {0x0050, 0, When::medium, kHdDvds, {1, 0, 1, 0}},
        {0x0100, 0, When::always, {}, {}},
        {0x0105, 1, When::always, {}, Bytes(4)},
        {0x0107, 4, When::medium, {}, {0x0D, 0, 0, 0}, fillSpeeds},  // SET CD SPEED, page 2Ah, streaming
        {0x0108, 0, When::always, {}, {}, fillSerial},
    };
    return kFeatures;
}

bool isCurrent(const Feature& feature, const OpticalUnit& unit) {
    const OpticalDisc* const disc = unit.tray.disc();
    if (feature.when == When::always)
        return true;
    if (disc == nullptr || (feature.code == kIncrementalStreaming && disc->isQuicklyBlanked()))
        return false;
    // Some drives tell of jumping with all media of two layers that they record.
    if (feature.code == kLayerJump && unit.isStrict() && disc->type().profile == 0x15)
        return disc->isWritable();
    if (!feature.profiles.empty() && std::ranges::count(feature.profiles, disc->type().profile) == 0)
        return false;
    switch (feature.when) {
        case When::always:
        case When::medium:
            return true;
        case When::readable:
            return disc->toldSectors() != 0;
        case When::writable:
            return disc->isWritable();
        case When::inTracks:
            return disc->isWritable() && disc->isSequential();
        case When::overwritable:
            return disc->isWritable() && disc->type().writing == OpticalWriting::overwrite;
        case When::unprotected:
            return !disc->isWriteProtected();
    }
    return false;
}

/// A drive that is asked for performance in vain does not promise it, nor a serial number without one.
bool isSupported(const Feature& feature, const OpticalUnit& unit) {
    return (feature.code != 0x0107 || unit.options.optical.performance) &&
           (feature.code != 0x0108 || !unit.options.serial.empty());
}

void append(Bytes& descriptors, const Feature& feature, bool current, const OpticalUnit& unit) {
    Bytes data = feature.data;
    if (feature.fill != nullptr)
        feature.fill(data, unit);
    const bool persistent = feature.when == When::always;
    descriptors.insert(
        descriptors.end(),
        {static_cast<std::uint8_t>(feature.code >> 8), static_cast<std::uint8_t>(feature.code),
         static_cast<std::uint8_t>(feature.version << 2 | (persistent ? 2 : 0) | (current ? 1 : 0)),
         static_cast<std::uint8_t>(data.size())});
    descriptors.insert(descriptors.end(), data.begin(), data.end());
}

}  // namespace

Bytes describeFeatures(const OpticalUnit& unit, OpticalFeatureQuery query) {
    Bytes descriptors;
    for (const Feature& feature : features()) {
        const bool isAsked = query.onlyFirst ? feature.code == query.first : feature.code >= query.first;
        const bool current = isCurrent(feature, unit);
        if (isAsked && isSupported(feature, unit) && (current || !query.onlyCurrent))
            append(descriptors, feature, current, unit);
    }
    return descriptors;
}

}  // namespace libDrive2
