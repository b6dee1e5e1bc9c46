#include <algorithm>
#include <chrono>
#include <string_view>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

using namespace std::chrono_literals;

constexpr auto kQuickBlank = 40s;
constexpr auto kQuickFormat = 20s;

constexpr SimSense kCannotFormatMedium{0x5, 0x30, 0x06};
constexpr std::uint8_t kDvdPlusRwFormat = 0x26;
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

/// Whether the medium can be formatted as it is.
bool isFormattable(const OpticalDisc& disc) {
    const bool isBdR = disc.type().profile == 0x41;
    return findFormat(disc.type().name, std::nullopt) != nullptr && (!isBdR || disc.tracks().isBlank());
}

/// Formats, and tells how long that takes.
OpticalRefusal formatDisc(OpticalUnit& unit, const Format* format, std::string_view result,
                          std::uint32_t sectors, zel::Clock::Duration& duration) {
    OpticalDisc& disc = *unit.tray.disc();
    if (disc.type().writing == OpticalWriting::none)
        return kCannotWriteMedium;
    if (unit.isStrict() && !isFormattable(disc))
        return kCannotFormatMedium;
    const SimSense invalid = unit.isStrict() ? kInvalidParameter : kInvalidField;
    if (format == nullptr || !isFormattable(disc))
        return invalid;
    const OpticalMediaType& type = *findOpticalMedia(result);
    const std::uint32_t most = disc.capacityAs(type);
    if (sectors > most)
        return invalid;
    // 0 and all ones ask for as many as there are.
    const std::uint32_t wanted = sectors == 0 ? most : sectors;
    unit.beginRecording();
    duration = format->quick ? zel::Clock::Duration(kQuickFormat) : unit.speeds.timeToWrite(wanted);
    return disc.format(type, wanted);
}

/// A DVD+RW can be used while it is formatted.
void formatInBackground(OpticalUnit& unit, OpticalCommand& command, const Format& format,
                        std::uint32_t sectors, bool restart) {
    using Status = BackgroundFormat::Status;
    BackgroundFormat& background = unit.tray.disc()->background();
    if (background.status() == Status::running)
        return command.fail(kFormatInProgress);
    if (restart && background.status() != Status::interrupted)
        return command.fail(kSequenceError);
    if (restart)
        return background.resume();
    zel::Clock::Duration duration{};
    if (!command.accept(formatDisc(unit, &format, format.result, sectors, duration)))
        return;
    background.start(unit.speeds.timeToWrite(unit.tray.disc()->readableSectors()));
}

}  // namespace

void blankDisc(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kWholeDisc = 0;
    constexpr std::uint8_t kMinimal = 1;
    const std::uint8_t type = command.byte(1) & 0x07;
    if (type > kMinimal)
        return command.fail(kInvalidField);
    OpticalDisc& disc = *unit.tray.disc();
    const zel::Clock::Duration whole = unit.speeds.timeToWrite(disc.capacity());
    if (!command.accept(disc.blank(type == kMinimal)))
        return;
    unit.beginRecording();
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
    bool restart = false;
    if ((command.byte(1) & kFormatDataBit) != 0) {
        const std::uint8_t* const list = command.buffer();
        if (command.bufferBytes(DataDirection::toDevice) < kListBytes ||
            (command.byte(1) & 0x07) != kFormatCode || getBigEndian(list + 2, 2) != kListBytes - 4)
            return command.fail(kInvalidField);
        immediate = (list[1] & 0x02) != 0;
        const auto blocks = static_cast<std::uint32_t>(getBigEndian(list + 4, 4));
        sectors = blocks == 0xFFFFFFFF ? 0 : blocks;
        const auto type = static_cast<std::uint8_t>(list[8] >> 2);
        restart = type == kDvdPlusRwFormat && (list[11] & 0x01) != 0;
        format = findFormat(medium, type);
        if (format != nullptr)
            result =
                type == kBdRFormat && (list[8] & 0x03) == kRandomRecording ? "bdr-random" : format->result;
        command.setTransferred(kListBytes);
    }
    if (unit.isStrict() && format != nullptr && format->type == kDvdPlusRwFormat)
        return formatInBackground(unit, command, *format, sectors, restart);
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
        const bool isListed = !unit.isStrict() || isFormattable(*disc);
        for (const Format& format : kFormats)
            if (isListed && format.medium == disc->type().name)
                add(disc->capacityAs(*findOpticalMedia(format.result)),
                    static_cast<std::uint8_t>(format.type << 2), format.parameter);
    }
    bytes[3] = static_cast<std::uint8_t>(bytes.size() - 4);
    command.answer(bytes, command.field(7, 2));
}

}  // namespace libDrive2::optical
