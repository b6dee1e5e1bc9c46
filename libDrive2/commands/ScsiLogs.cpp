#include "libDrive2/commands/ScsiLogs.h"

#include "libDrive2/commands/ScsiCommands.h"

namespace libDrive2::scsi {

namespace {

constexpr std::uint8_t kSendDiagnostic = 0x1D;
constexpr std::uint8_t kReadDefectData10 = 0x37;
constexpr std::uint8_t kGrownList = 0x08;
// SEND DIAGNOSTIC, self-test code in the three uppermost bits.
constexpr std::uint8_t kBackgroundShort = 1 << 5;
constexpr std::uint8_t kBackgroundExtended = 2 << 5;
constexpr std::uint8_t kAbortBackground = 4 << 5;

constexpr std::size_t kHeaderBytes = 4;

/// The value of a parameter of a log page; nothing when the answer is another page or has none.
std::optional<Bytes> parameterOf(Bytes answer, std::uint8_t page, std::uint16_t wanted) {
    if (answer.size() < kHeaderBytes || (answer[0] & 0x3F) != page)
        return std::nullopt;
    Bytes parameters = slice(answer, kHeaderBytes, loadBigEndian<std::uint16_t>(answer, 2));
    while (parameters.size() >= kHeaderBytes) {
        const std::size_t length = parameters[3];
        if (loadBigEndian<std::uint16_t>(parameters, 0) == wanted)
            return slice(parameters, kHeaderBytes, length);
        parameters = slice(parameters, kHeaderBytes + length, parameters.size());
    }
    return std::nullopt;
}

SelfTestKind kindOf(unsigned code) {
    switch (code) {
        case 1:
        case 5:  // with the host waiting
            return SelfTestKind::shortTest;
        case 2:
        case 6:
            return SelfTestKind::extendedTest;
        default:
            return SelfTestKind::other;
    }
}

}  // namespace

ScsiRequest readGrownDefects(std::uint16_t allocation) {
    constexpr std::uint8_t kPhysicalSectorFormat = 5;
    ScsiRequest request;
    request.cdb[0] = kReadDefectData10;
    request.cdb[2] = kGrownList | kPhysicalSectorFormat;
    request.cdbBytes = 10;
    request.direction = DataDirection::fromDevice;
    storeBigEndian(request.cdb, 7, allocation);
    return request;
}

ScsiRequest startSelfTest(SelfTestKind kind) {
    ScsiRequest request;
    request.cdb[0] = kSendDiagnostic;
    request.cdb[1] = kind == SelfTestKind::shortTest ? kBackgroundShort : kBackgroundExtended;
    request.cdbBytes = 6;
    return request;
}

ScsiRequest abortSelfTest() {
    ScsiRequest request = startSelfTest(SelfTestKind::shortTest);
    request.cdb[1] = kAbortBackground;
    return request;
}

std::vector<std::uint8_t> parseSupportedLogPages(Bytes answer) {
    if (answer.size() < kHeaderBytes || (answer[0] & 0x3F) != kLogPageSupported)
        return {};
    const Bytes pages = slice(answer, kHeaderBytes, loadBigEndian<std::uint16_t>(answer, 2));
    return {pages.begin(), pages.end()};
}

std::optional<std::uint64_t> parseLogCounter(Bytes answer, std::uint8_t page, std::uint16_t parameter) {
    const std::optional<Bytes> value = parameterOf(answer, page, parameter);
    if (!value || value->empty() || value->size() > sizeof(std::uint64_t))
        return std::nullopt;
    std::uint64_t number = 0;
    for (const std::uint8_t byte : *value)
        number = number << 8 | byte;
    return number;
}

std::optional<std::uint64_t> parseUncorrectedErrors(Bytes answer, std::uint8_t page) {
    constexpr std::uint16_t kTotalUncorrected = 6;
    return parseLogCounter(answer, page, kTotalUncorrected);
}

std::optional<bool> parseInformationalExceptions(Bytes answer) {
    constexpr std::uint8_t kFailurePrediction = 0x5D;
    constexpr std::uint8_t kFalsePrediction = 0xFF;  ///< the qualifier of a test of the mechanism
    const std::optional<Bytes> value = parameterOf(answer, kLogPageInformationalExceptions, 0);
    if (!value || value->size() < 2)
        return std::nullopt;
    return (*value)[0] == kFailurePrediction && (*value)[1] != kFalsePrediction;
}

std::optional<std::uint8_t> parseEnduranceUsed(Bytes answer) {
    const std::optional<Bytes> value = parameterOf(answer, kLogPageSolidState, 1);
    return value && value->size() >= 4 ? std::optional((*value)[3]) : std::nullopt;
}

std::optional<std::uint64_t> parsePowerOnMinutes(Bytes answer) {
    const std::optional<Bytes> value = parameterOf(answer, kLogPageBackgroundScan, 0);
    if (!value || value->size() < 4)
        return std::nullopt;
    return loadBigEndian<std::uint32_t>(*value, 0);
}

std::vector<SelfTestEntry> parseSelfTestResults(Bytes answer) {
    constexpr std::uint16_t kEntries = 20;
    constexpr std::size_t kEntryBytes = 16;
    constexpr std::uint64_t kNoLba = 0xFFFFFFFFFFFFFFFF;
    std::vector<SelfTestEntry> entries;
    for (std::uint16_t number = 1; number <= kEntries; ++number) {
        const std::optional<Bytes> value = parameterOf(answer, kLogPageSelfTests, number);
        // Without a self-test code: an entry that was never used.
        if (!value || value->size() < kEntryBytes || (*value)[0] >> 5 == 0)
            break;
        SelfTestEntry entry{kindOf((*value)[0] >> 5), selfTestOutcome((*value)[0] & 0x0F),
                            loadBigEndian<std::uint16_t>(*value, 2)};
        const auto lba = loadBigEndian<std::uint64_t>(*value, 4);
        if (entry.outcome == SelfTestOutcome::failed && lba != kNoLba)
            entry.firstBad = lba;
        entries.push_back(entry);
    }
    return entries;
}

std::optional<std::uint64_t> parseDefectCount(Bytes answer) {
    constexpr std::uint8_t kShortBlockFormat = 0;
    if (answer.size() < kHeaderBytes || (answer[1] & kGrownList) == 0)
        return std::nullopt;
    const bool isShort = (answer[1] & 0x07) == kShortBlockFormat;
    return loadBigEndian<std::uint16_t>(answer, 2) / (isShort ? 4U : 8U);
}

std::optional<unsigned> parseProgress(Bytes sense) {
    // Fixed format: sense key specific bytes 15 to 17, valid by the uppermost bit.
    constexpr std::size_t kSpecific = 15;
    constexpr std::uint32_t kWhole = 65536;
    if (sense.size() < kSpecific + 3 || (sense[0] & 0x7F) != 0x70 || (sense[kSpecific] & 0x80) == 0)
        return std::nullopt;
    return loadBigEndian<std::uint16_t>(sense, kSpecific + 1) * 100U / kWhole;
}

}  // namespace libDrive2::scsi
