#include <algorithm>
#include <chrono>
#include <limits>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

using Bytes = std::vector<std::uint8_t>;

constexpr std::uint8_t kImmediateBit = 0x01;
constexpr std::size_t kModeHeaderBytes = 8;
constexpr SimSense kNotSaveable{0x5, 0x39, 0x00};
constexpr SimSense kParameterListLength{0x5, 0x1A, 0x00};

Bytes standardInquiry() {
    Bytes bytes(36);
    bytes[0] = 0x05;  // CD/DVD device
    bytes[1] = 0x80;  // the medium can be removed
    bytes[2] = 0x06;  // SPC-4
    bytes[3] = 0x02;  // response data format
    bytes[4] = static_cast<std::uint8_t>(bytes.size() - 5);
    putText(&bytes[8], 8, kSimVendor);
    putText(&bytes[16], 16, traitsOf(SimKind::optical).product);
    putText(&bytes[32], 4, "1.0");
    return bytes;
}

std::span<const std::uint8_t> parameterList(OpticalCommand& command, std::uint64_t length) {
    const auto bytes = std::min<std::size_t>(length, command.bufferBytes(DataDirection::toDevice));
    command.setTransferred(bytes);
    return {command.buffer(), bytes};
}

}  // namespace

void testUnitReady(OpticalUnit& /*unit*/, OpticalCommand& /*command*/) {}

void requestSense(OpticalUnit& unit, OpticalCommand& command) {
    SimSense sense = unit.tray.notReady().value_or(kNoSense);
    if (const std::uint16_t attention = unit.tray.takeUnitAttention(); attention != 0)
        sense = {0x6, static_cast<std::uint8_t>(attention >> 8), static_cast<std::uint8_t>(attention)};
    else if (unit.operation.isRunning())
        sense = unit.operation.sense();
    Bytes bytes = encodeSense(sense, std::nullopt, false);
    if (unit.operation.isRunning())
        putProgress(bytes.data(), unit.operation.progress());
    command.answer(bytes, command.byte(4));
}

void inquiry(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kVitalProductDataBit = 0x01;
    constexpr std::uint8_t kUnitSerialNumber = 0x80;
    const std::uint8_t page = command.byte(2);
    const bool isPage = (command.byte(1) & kVitalProductDataBit) != 0;
    if (isPage ? page != 0 && page != kUnitSerialNumber : page != 0)
        return command.fail(kInvalidField);
    if (!isPage)
        return command.answer(standardInquiry(), command.field(3, 2));
    const std::string& serial = unit.options.serial;
    const Bytes listed{0, kUnitSerialNumber};
    Bytes bytes = behindHeader(4, page == 0 ? listed : Bytes(serial.begin(), serial.end()));
    bytes[0] = standardInquiry()[0];
    bytes[1] = page;
    bytes[3] = static_cast<std::uint8_t>(bytes.size() - 4);
    command.answer(bytes, command.field(3, 2));
}

void modeSense(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kSavedValues = 3;
    const auto control = static_cast<std::uint8_t>(command.byte(2) >> 6);
    if (control == kSavedValues)
        return command.fail(kNotSaveable);
    const Bytes pages = unit.modePages.sense(command.byte(2) & 0x3F, control, unit.speeds, unit.tray);
    if (pages.empty())
        return command.fail(kInvalidField);
    Bytes bytes = behindHeader(kModeHeaderBytes, pages);
    putBigEndian(bytes.data(), 2, bytes.size() - 2);
    command.answer(bytes, command.field(7, 2));
}

void modeSelect(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kPageFormat = 0x10;  // and without saving
    const std::span<const std::uint8_t> list = parameterList(command, command.field(7, 2));
    if (command.byte(1) != kPageFormat)
        return command.fail(kInvalidField);
    if (list.empty())
        return;
    const std::size_t start =
        list.size() < kModeHeaderBytes ? list.size() + 1 : kModeHeaderBytes + getBigEndian(&list[6], 2);
    if (start > list.size())
        return command.fail(kParameterListLength);
    if (command.accept(unit.modePages.select(list.subspan(start))) && unit.tray.disc() != nullptr &&
        !unit.modePages.isTestWrite())
        unit.tray.disc()->endTest();
}

void startStopUnit(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kLoadEjectBit = 0x02;
    constexpr std::uint8_t kStartBit = 0x01;
    const bool immediate = (command.byte(1) & kImmediateBit) != 0;
    // A disc that is only stopped starts again when it is needed.
    if ((command.byte(4) & kLoadEjectBit) == 0)
        return;
    const bool load = (command.byte(4) & kStartBit) != 0;
    command.accept(load ? unit.tray.load(immediate) : unit.tray.eject(immediate));
}

void preventAllowMediumRemoval(OpticalUnit& unit, OpticalCommand& command) {
    unit.tray.prevent((command.byte(4) & 0x01) != 0);
}

void getEventStatusNotification(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kPolledBit = 0x01;
    constexpr std::uint8_t kMediaClass = 4;
    constexpr std::uint8_t kBusyClass = 6;
    constexpr std::uint8_t kSupported = 1 << kMediaClass | 1 << kBusyClass;
    constexpr std::uint8_t kNoEventAvailable = 0x80;
    if ((command.byte(1) & kPolledBit) == 0)
        return command.fail(kInvalidField);
    Bytes bytes{0, 2, kNoEventAvailable, kSupported};
    if ((command.byte(4) & 1 << kMediaClass) != 0) {
        const bool present = unit.tray.hasMedium();
        bytes = {0,
                 6,
                 kMediaClass,
                 kSupported,
                 static_cast<std::uint8_t>(unit.tray.takeEvent()),
                 static_cast<std::uint8_t>((present ? 2 : 0) | (unit.tray.isOpen() ? 1 : 0)),
                 0,
                 0};
    } else if ((command.byte(4) & 1 << kBusyClass) != 0) {
        const bool busy = unit.operation.isRunning();
        bytes = {0, 6, kBusyClass, kSupported, 0, static_cast<std::uint8_t>(busy ? 1 : 0), 0, 0};
        const auto tenths = unit.operation.remaining() / std::chrono::milliseconds(100);
        putBigEndian(&bytes[6], 2, static_cast<std::uint64_t>(std::clamp<std::int64_t>(tenths, 0, 0xFFFF)));
    }
    command.answer(bytes, command.field(7, 2));
}

void setCdSpeed(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint32_t kFastest = 0xFFFF;
    const auto asked = [&command](std::size_t at) {
        const auto speed = static_cast<std::uint32_t>(command.field(at, 2));
        return speed == kFastest ? std::numeric_limits<std::uint32_t>::max() : speed;
    };
    unit.speeds.chooseRead(asked(2));
    unit.speeds.chooseWrite(asked(4));
}

void setStreaming(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::size_t kDescriptorBytes = 28;
    constexpr std::uint8_t kRestoreDefaults = 0x04;
    const std::span<const std::uint8_t> list = parameterList(command, command.field(9, 2));
    if (command.byte(8) != 0)
        return command.fail(kInvalidField);
    if (list.size() != kDescriptorBytes)
        return command.fail(kParameterListLength);
    const bool restores = (list[0] & kRestoreDefaults) != 0;
    const std::uint64_t last = getBigEndian(&list[8], 4);
    const bool hasTimes = getBigEndian(&list[16], 4) != 0 && getBigEndian(&list[24], 4) != 0;
    const bool isStrange = !restores && (last >= unit.tray.disc()->capacity() || !hasTimes);
    if (getBigEndian(&list[4], 4) > last || (unit.isStrict() && isStrange))
        return command.fail(kInvalidParameter);
    // KB in so many milliseconds.
    const auto speed = [&list, restores](std::size_t at) {
        const std::uint64_t perSecond = getBigEndian(&list[at], 4) * 1000;
        const std::uint64_t milliseconds = getBigEndian(&list[at + 4], 4);
        return restores || milliseconds == 0 ? std::numeric_limits<std::uint32_t>::max()
                                             : static_cast<std::uint32_t>(std::min<std::uint64_t>(
                                                   perSecond / milliseconds, 0xFFFFFFFF));
    };
    unit.speeds.chooseRead(speed(12));
    unit.speeds.chooseWrite(speed(20));
}

}  // namespace libDrive2::optical
