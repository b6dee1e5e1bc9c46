#include <algorithm>
#include <chrono>

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
    std::uint16_t profile;
    std::uint8_t type;
    std::uint16_t result;  ///< the profile afterwards
    bool quick;            ///< does not write every block
};
constexpr Format kFormats[] = {
    {0x12, 0x00, 0x12, false}, {0x13, 0x00, 0x13, false}, {0x13, 0x15, 0x13, true},
    {0x14, 0x00, 0x13, false}, {0x14, 0x15, 0x13, true},  {0x1A, 0x26, 0x1A, true},
    {0x1A, 0x00, 0x1A, false}, {0x2A, 0x26, 0x2A, true},  {0x2A, 0x00, 0x2A, false},
    {0x41, 0x00, 0x41, true},  {0x41, 0x32, 0x41, true},  {0x43, 0x00, 0x43, false},
    {0x43, 0x30, 0x43, true},  {0x43, 0x31, 0x43, false},
};

const Format* findFormat(std::uint16_t profile, std::optional<std::uint8_t> type) {
    const auto* const found = std::ranges::find_if(kFormats, [&](const Format& format) {
        return format.profile == profile && (!type || format.type == *type);
    });
    return found != std::end(kFormats) ? found : nullptr;
}

/// Formats, and tells how long that takes.
OpticalRefusal formatDisc(OpticalUnit& unit, const Format* format, std::uint16_t result,
                          std::uint32_t sectors, zel::Clock::Duration& duration) {
    OpticalDisc& disc = *unit.tray.disc();
    if (disc.type().writing == OpticalWriting::none)
        return kCannotWriteMedium;
    const bool isBdR = disc.type().profile == 0x41;
    if (format == nullptr || sectors > disc.capacity() || (isBdR && !disc.tracks().isBlank()))
        return kInvalidField;
    // 0 and all ones ask for as many as there are.
    const std::uint32_t wanted = sectors == 0 ? disc.capacity() : sectors;
    duration = format->quick ? zel::Clock::Duration(kQuickFormat) : unit.speeds.timeToWrite(wanted);
    return disc.format(result, wanted);
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
    const std::uint16_t profile = unit.profile();
    const Format* format = findFormat(profile, std::nullopt);
    std::uint16_t result = format != nullptr ? format->result : profile;
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
        format = findFormat(profile, type);
        if (format != nullptr)
            result = type == kBdRFormat && (list[8] & 0x03) == kRandomRecording ? 0x42 : format->result;
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
        add(opticalMediaOf(0x40).sectors, noMedium, kOpticalSectorBytes);
    } else {
        const bool isUsable = disc->isFormatted() && disc->readableSectors() != 0;
        add(isUsable ? disc->readableSectors() : disc->capacity(), isUsable ? formatted : unformatted,
            kOpticalSectorBytes);
        for (const Format& format : kFormats)
            if (format.profile == disc->type().profile)
                add(disc->capacity(), static_cast<std::uint8_t>(format.type << 2), disc->type().blocking);
    }
    bytes[3] = static_cast<std::uint8_t>(bytes.size() - 4);
    command.answer(bytes, command.field(7, 2));
}

}  // namespace libDrive2::optical
