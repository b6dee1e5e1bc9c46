#include <algorithm>
#include <chrono>
#include <string_view>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

using namespace std::chrono_literals;

constexpr auto kCloseTrack = 5s;
constexpr auto kCloseSession = 20s;
constexpr auto kQuickBlank = 40s;
constexpr auto kQuickFormat = 20s;

constexpr std::uint8_t kBdRFormat = 0x32;
constexpr std::uint8_t kRandomRecording = 2;  // sub-type of that format

/// What formatting a kind of medium can be asked for (MMC-6, FORMAT UNIT), the usual one first.
struct Format {
    std::string_view medium;
    std::uint8_t type;
    std::string_view result;  ///< the medium afterwards
    bool quick;               ///< does not write every block
    std::uint32_t parameter;  ///< that READ FORMAT CAPACITIES tells: the size of sectors, blocks or clusters
};
constexpr Format kFormats[] = {
    {"cdrw", 0x10, "cdrw-ow", false, 32},
    {"cdrw-ow", 0x10, "cdrw-ow", false, 32},
    {"dvdram", 0x00, "dvdram", false, 2048},
    {"dvdrw-ow", 0x00, "dvdrw-ow", false, 2048},
    {"dvdrw-ow", 0x10, "dvdrw-ow", false, 16},
    {"dvdrw-ow", 0x15, "dvdrw-ow", true, 16},
    {"dvdrw", 0x00, "dvdrw-ow", false, 2048},
    {"dvdrw", 0x10, "dvdrw-ow", false, 16},
    {"dvdrw", 0x15, "dvdrw-ow", true, 16},
    {"dvd+rw", 0x26, "dvd+rw", true, 0},
    {"dvd+rw", 0x00, "dvd+rw", false, 2048},
    {"dvd+rw-dl", 0x26, "dvd+rw-dl", true, 0},
    {"dvd+rw-dl", 0x00, "dvd+rw-dl", false, 2048},
    {"bdr", 0x00, "bdr", true, 2048},
    {"bdr", 0x32, "bdr", true, 65536},
    {"bdre", 0x00, "bdre", false, 2048},
    {"bdre", 0x30, "bdre", true, 65536},
    {"bdre", 0x31, "bdre", false, 65536},
};

const Format* findFormat(std::string_view medium, std::optional<std::uint8_t> type) {
    const auto* const found = std::ranges::find_if(kFormats, [&](const Format& format) {
        return format.medium == medium && (!type || format.type == *type);
    });
    return found != std::end(kFormats) ? found : nullptr;
}

/// Formats, and tells how long that takes.
OpticalRefusal formatDisc(OpticalUnit& unit, const Format* format, std::string_view result,
                          std::uint32_t sectors, zel::Clock::Duration& duration) {
    OpticalDisc& disc = *unit.tray.disc();
    if (disc.type().writing == OpticalWriting::none)
        return kCannotWriteMedium;
    const bool isBdR = disc.type().profile == 0x41;
    if (format == nullptr || (isBdR && !disc.tracks().isBlank()))
        return kInvalidField;
    const OpticalMediaType& type = *findOpticalMedia(result);
    const std::uint32_t most = disc.capacityAs(type);
    if (sectors > most)
        return kInvalidField;
    // 0 and all ones ask for as many as there are.
    const std::uint32_t wanted = sectors == 0 ? most : sectors;
    duration = format->quick ? zel::Clock::Duration(kQuickFormat) : unit.speeds.timeToWrite(wanted);
    return disc.format(type, wanted);
}

}  // namespace

void reserveTrack(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kOtherReservations = 0x03;
    if ((command.byte(1) & kOtherReservations) != 0)
        return command.fail(kInvalidField);
    command.accept(unit.tray.disc()->reserve(static_cast<std::uint32_t>(command.field(5, 4))));
}

void closeTrackSession(OpticalUnit& unit, OpticalCommand& command) {
    // DVD-R and DVD-RW are finalized by 3, DVD+R by 5 and 6, BD-R by 6.
    enum Function : std::uint8_t { track = 1, session = 2, finalize = 3, quick = 5, disc = 6 };
    OpticalDisc& medium = *unit.tray.disc();
    const auto function = static_cast<Function>(command.byte(2) & 0x07);
    const bool immediate = (command.byte(1) & 0x01) != 0;
    const bool isOverwritten = medium.type().writing == OpticalWriting::overwrite;
    // What is overwritten anywhere and still knows the command has nothing left to close.
    if (isOverwritten && (medium.type().isDvdPlus() || medium.type().needsWholeBlocks()))
        return unit.operation.start(kOperationInProgress, kCloseTrack, immediate);
    if (function == track) {
        if (command.accept(medium.closeTrack(static_cast<std::uint32_t>(command.field(4, 2)))))
            unit.operation.start(kOperationInProgress, kCloseTrack, immediate);
        return;
    }
    const bool isCd = medium.type().isCd();
    const bool isMinus = isCd || medium.type().isDvdMinus();
    const bool isKnown = function == session ||
                         (isMinus ? function == finalize && !isCd : function == quick || function == disc);
    if (!isKnown)
        return command.fail(kInvalidField);
    const bool last = function != session || (isMinus && !unit.modePages.isMultiSession());
    if (command.accept(medium.closeSession(last)))
        unit.operation.start(kOperationInProgress, kCloseSession, immediate);
}

void blankDisc(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kWholeDisc = 0;
    constexpr std::uint8_t kMinimal = 1;
    const std::uint8_t type = command.byte(1) & 0x07;
    if (type > kMinimal)
        return command.fail(kInvalidField);
    OpticalDisc& disc = *unit.tray.disc();
    const zel::Clock::Duration whole = unit.speeds.timeToWrite(disc.capacity());
    if (command.accept(disc.blank()))
        unit.operation.start(kOperationInProgress, type == kWholeDisc ? whole : kQuickBlank,
                             (command.byte(1) & 0x10) != 0);
}

void formatUnit(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kFormatDataBit = 0x10;
    constexpr std::uint8_t kFormatCode = 0x01;
    constexpr std::size_t kListBytes = 12;
    const std::string_view medium = unit.tray.disc()->type().name;
    const Format* format = findFormat(medium, std::nullopt);
    std::string_view result = format != nullptr ? format->result : medium;
    std::uint32_t sectors = 0;
    bool immediate = false;
    if ((command.byte(1) & kFormatDataBit) != 0) {
        const std::uint8_t* const list = command.buffer();
        if (command.bufferBytes(DataDirection::toDevice) < kListBytes ||
            (command.byte(1) & 0x07) != kFormatCode || getBigEndian(list + 2, 2) != kListBytes - 4)
            return command.fail(kInvalidField);
        immediate = (list[1] & 0x02) != 0;
        const auto blocks = static_cast<std::uint32_t>(getBigEndian(list + 4, 4));
        sectors = blocks == 0xFFFFFFFF ? 0 : blocks;
        const auto type = static_cast<std::uint8_t>(list[8] >> 2);
        format = findFormat(medium, type);
        if (format != nullptr)
            result =
                type == kBdRFormat && (list[8] & 0x03) == kRandomRecording ? "bdr-random" : format->result;
        command.setTransferred(kListBytes);
    }
    zel::Clock::Duration duration{};
    if (command.accept(formatDisc(unit, format, result, sectors, duration)))
        unit.operation.start(kFormatInProgress, duration, immediate);
}

void readFormatCapacities(OpticalUnit& unit, OpticalCommand& command) {
    enum DescriptorType : std::uint8_t { unformatted = 1, formatted = 2, noMedium = 3 };
    const OpticalDisc* const disc = unit.tray.disc();
    std::vector<std::uint8_t> bytes(4);
    const auto add = [&bytes](std::uint32_t blocks, std::uint8_t type, std::uint32_t parameter) {
        bytes.resize(bytes.size() + 8);
        putBigEndian(&bytes[bytes.size() - 8], 4, blocks);
        bytes[bytes.size() - 4] = type;
        putBigEndian(&bytes[bytes.size() - 3], 3, parameter);
    };
    if (disc == nullptr) {
        add(findOpticalMedia("bdrom")->sectors, noMedium, kOpticalSectorBytes);
    } else {
        const bool isUsable = disc->isFormatted() && disc->readableSectors() != 0;
        add(isUsable ? disc->readableSectors() : disc->capacity(), isUsable ? formatted : unformatted,
            kOpticalSectorBytes);
        for (const Format& format : kFormats)
            if (format.medium == disc->type().name)
                add(disc->capacityAs(*findOpticalMedia(format.result)),
                    static_cast<std::uint8_t>(format.type << 2), format.parameter);
    }
    bytes[3] = static_cast<std::uint8_t>(bytes.size() - 4);
    command.answer(bytes, command.field(7, 2));
}

}  // namespace libDrive2::optical
