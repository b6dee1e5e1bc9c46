#include "libDrive2/commands/NVMeHealth.h"

#include <algorithm>
#include <limits>

#include "libDrive2/commands/NVMeCommands.h"

namespace libDrive2::nvme {

namespace {

// NVM Express 1.4: opcodes, log pages, self-test codes, and places in the health log.
constexpr std::uint8_t kAdminGetLogPage = 0x02;
constexpr std::uint8_t kAdminDeviceSelfTest = 0x14;
constexpr std::uint32_t kSelfTestLogPage = 0x06;
constexpr std::uint32_t kShortTest = 0x1;
constexpr std::uint32_t kExtendedTest = 0x2;
constexpr std::uint32_t kAbortTest = 0xF;

constexpr std::uint8_t kTemperatureWarning = 0x02;
constexpr std::int64_t kKelvinOfZeroCelsius = 273;
constexpr std::int64_t kDataUnitBytes = 512000;  ///< a thousand sectors of 512 bytes

/// 128 bits, of which no drive needs more than half.
std::int64_t wideNumber(Bytes answer, std::size_t at, std::int64_t unit = 1) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    const auto low = loadLittleEndian<std::uint64_t>(answer, at);
    const auto high = loadLittleEndian<std::uint64_t>(answer, at + 8);
    const bool fits = high == 0 && low <= kMost / static_cast<std::uint64_t>(unit);
    return fits ? static_cast<std::int64_t>(low) * unit : std::numeric_limits<std::int64_t>::max();
}

NVMeCommand selfTest(std::uint32_t namespaceId, std::uint32_t code) {
    NVMeCommand command;
    command.admin = true;
    command.opcode = kAdminDeviceSelfTest;
    command.namespaceId = namespaceId;
    command.cdw10 = code;
    return command;
}

SelfTestKind kindOf(unsigned code) {
    switch (code) {
        case kShortTest:
            return SelfTestKind::shortTest;
        case kExtendedTest:
            return SelfTestKind::extendedTest;
        default:
            return SelfTestKind::other;
    }
}

SelfTestOutcome outcomeOf(unsigned result) {
    switch (result) {
        case 0x0:
            return SelfTestOutcome::passed;
        case 0x1:
            return SelfTestOutcome::aborted;
        case 0x5:
        case 0x6:
        case 0x7:
            return SelfTestOutcome::failed;
        default:  // a reset, a format, a sanitize operation, or an unknown reason ended it
            return SelfTestOutcome::interrupted;
    }
}

}  // namespace

NVMeCommand selfTestLog() {
    NVMeCommand command;
    command.admin = true;
    command.opcode = kAdminGetLogPage;
    command.namespaceId = kAllNamespaces;
    command.cdw10 = kSelfTestLogPage | (kSelfTestLogBytes / 4 - 1) << 16;
    command.direction = DataDirection::fromDevice;
    return command;
}

NVMeCommand startSelfTest(std::uint32_t namespaceId, SelfTestKind kind) {
    return selfTest(namespaceId, kind == SelfTestKind::shortTest ? kShortTest : kExtendedTest);
}

NVMeCommand abortSelfTest(std::uint32_t namespaceId) {
    return selfTest(namespaceId, kAbortTest);
}

DriveHealth parseHealthLog(Bytes answer) {
    DriveHealth health;
    if (answer.size() < kHealthLogBytes)
        return health;
    health.predictsFailure = (answer[0] & 0x1F & ~kTemperatureWarning) != 0;
    if (const auto kelvin = loadLittleEndian<std::uint16_t>(answer, 1); kelvin != 0)
        health.temperatureC = kelvin - kKelvinOfZeroCelsius;
    health.spareLeftPercent = answer[3];
    health.spareThresholdPercent = answer[4];
    health.wearPercent = answer[5];
    health.bytesWritten = wideNumber(answer, 48, kDataUnitBytes);
    health.powerCycles = wideNumber(answer, 112);
    health.powerOnHours = wideNumber(answer, 128);
    health.mediaErrors = wideNumber(answer, 160);
    return health;
}

std::optional<SelfTestLog> parseSelfTestLog(Bytes answer) {
    constexpr std::size_t kFirstEntry = 4;
    constexpr std::size_t kEntryBytes = 28;
    constexpr std::size_t kEntries = 20;
    constexpr unsigned kUnused = 0xF;
    constexpr std::uint8_t kLbaIsValid = 0x02;
    if (answer.size() < kSelfTestLogBytes)
        return std::nullopt;
    SelfTestLog log;
    log.isRunning = (answer[0] & 0x0F) != 0;
    log.percent = std::min(answer[1] & 0x7FU, 100U);
    for (std::size_t i = 0; i < kEntries; ++i) {
        const Bytes entry = slice(answer, kFirstEntry + i * kEntryBytes, kEntryBytes);
        const unsigned result = entry[0] & 0x0FU;
        const unsigned code = entry[0] >> 4;
        if (result == kUnused || code == 0)
            break;
        SelfTestEntry test{kindOf(code), outcomeOf(result), loadLittleEndian<std::uint64_t>(entry, 4)};
        if ((entry[2] & kLbaIsValid) != 0)
            test.firstBad = loadLittleEndian<std::uint64_t>(entry, 16);
        log.entries.push_back(test);
    }
    return log;
}

}  // namespace libDrive2::nvme
