#include "libDrive2/commands/AtaSmart.h"

#include <algorithm>
#include <iterator>
#include <numeric>
#include <string_view>

#include "libDrive2/commands/AtaCommands.h"

namespace libDrive2::ata {

namespace {

// Command codes and features of ACS-2, and of ATA/ATAPI-7 and ACS-3 for the areas.
constexpr std::uint8_t kSmart = 0xB0;
constexpr std::uint8_t kReadNativeMaxAddressExt = 0x27;
constexpr std::uint8_t kAccessibleMaxAddress = 0x78;
constexpr std::uint8_t kDeviceConfiguration = 0xB1;
constexpr std::uint16_t kConfigurationIdentify = 0xC2;
constexpr std::uint16_t kReadThresholds = 0xD1;
constexpr std::uint16_t kExecuteOffline = 0xD4;
constexpr std::uint16_t kReadLog = 0xD5;
constexpr std::uint16_t kReturnStatus = 0xDA;
constexpr std::uint64_t kSignature = 0xC24F00;
constexpr std::uint64_t kFailureSignature = 0x2CF400;
constexpr std::uint8_t kSelfTestLog = 0x06;
constexpr std::uint8_t kShortTest = 0x01;
constexpr std::uint8_t kExtendedTest = 0x02;
constexpr std::uint8_t kAbortTest = 0x7F;
constexpr std::uint8_t kAddressIsLba = 0x40;

constexpr std::size_t kFirstAttribute = 2;
constexpr std::size_t kAttributeBytes = 12;
constexpr std::size_t kAttributes = 30;

AtaRequest smart(std::uint16_t feature, std::uint8_t lbaLow, bool readsData) {
    AtaRequest request;
    request.registers.command = kSmart;
    request.registers.feature = feature;
    request.registers.lba = kSignature | lbaLow;
    request.registers.count = readsData ? 1 : 0;
    if (readsData) {
        request.protocol = AtaProtocol::pioIn;
        request.direction = DataDirection::fromDevice;
    }
    return request;
}

bool isWhole(Bytes answer) {
    return answer.size() >= kSectorOfAnswer &&
           (std::accumulate(answer.begin(), answer.begin() + kSectorOfAnswer, 0U) & 0xFF) == 0;
}

struct AttributeName {
    std::uint8_t id;
    std::string_view name;
};
/// The names under which technicians know them. What they count is the vendor's choice.
constexpr AttributeName kNames[] = {
    {1, "Raw_Read_Error_Rate"},      {3, "Spin_Up_Time"},
    {4, "Start_Stop_Count"},         {5, "Reallocated_Sector_Ct"},
    {7, "Seek_Error_Rate"},          {9, "Power_On_Hours"},
    {10, "Spin_Retry_Count"},        {12, "Power_Cycle_Count"},
    {184, "End-to-End_Error"},       {187, "Reported_Uncorrect"},
    {188, "Command_Timeout"},        {190, "Airflow_Temperature_Cel"},
    {191, "G-Sense_Error_Rate"},     {192, "Power-Off_Retract_Count"},
    {193, "Load_Cycle_Count"},       {194, "Temperature_Celsius"},
    {195, "Hardware_ECC_Recovered"}, {196, "Reallocated_Event_Count"},
    {197, "Current_Pending_Sector"}, {198, "Offline_Uncorrectable"},
    {199, "UDMA_CRC_Error_Count"},   {200, "Multi_Zone_Error_Rate"},
    {240, "Head_Flying_Hours"},      {241, "Total_LBAs_Written"},
    {242, "Total_LBAs_Read"},
};

std::string nameOf(std::uint8_t id) {
    const auto* const known = std::ranges::find(kNames, id, &AttributeName::id);
    return known != std::end(kNames) ? std::string(known->name) : std::string();
}

SelfTestKind kindOf(std::uint8_t subcommand) {
    switch (subcommand & 0x7F) {  // the uppermost bit: it kept the host waiting
        case kShortTest:
            return SelfTestKind::shortTest;
        case kExtendedTest:
            return SelfTestKind::extendedTest;
        default:
            return SelfTestKind::other;
    }
}

std::uint8_t thresholdOf(std::uint8_t id, Bytes thresholds) {
    for (std::size_t i = 0; i < kAttributes; ++i) {
        const std::size_t at = kFirstAttribute + i * kAttributeBytes;
        if (byteAt(thresholds, at) == id)
            return byteAt(thresholds, at + 1);
    }
    return 0;
}

}  // namespace

AtaRequest smartReadThresholds() {
    return smart(kReadThresholds, 0, true);
}
AtaRequest smartReturnStatus() {
    return smart(kReturnStatus, 0, false);
}
AtaRequest smartReadSelfTestLog() {
    return smart(kReadLog, kSelfTestLog, true);
}
AtaRequest smartStartSelfTest(SelfTestKind kind) {
    return smart(kExecuteOffline, kind == SelfTestKind::shortTest ? kShortTest : kExtendedTest, false);
}
AtaRequest smartAbortSelfTest() {
    return smart(kExecuteOffline, kAbortTest, false);
}

AtaRequest readNativeMaxAddress() {
    AtaRequest request;
    request.registers.command = kReadNativeMaxAddressExt;
    request.registers.device = kAddressIsLba;
    request.extended = true;
    return request;
}

AtaRequest getAccessibleMaxAddress() {
    AtaRequest request = readNativeMaxAddress();
    request.registers.command = kAccessibleMaxAddress;
    return request;
}

AtaRequest deviceConfigurationIdentify() {
    AtaRequest request;
    request.registers.command = kDeviceConfiguration;
    request.registers.feature = kConfigurationIdentify;
    // SAT counts the transfer there; the command itself ignores it.
    request.registers.count = 1;
    request.protocol = AtaProtocol::pioIn;
    request.direction = DataDirection::fromDevice;
    return request;
}

std::optional<bool> parseReturnStatus(const AtaResponse& response) {
    constexpr std::uint64_t kMiddleAndHigh = 0xFFFF00;
    if (!statusOf(response).ok())
        return std::nullopt;
    const std::uint64_t signature = response.lba & kMiddleAndHigh;
    if (signature != kSignature && signature != kFailureSignature)
        return std::nullopt;
    return signature == kFailureSignature;
}

std::vector<SmartAttribute> parseAttributes(Bytes data, Bytes thresholds) {
    std::vector<SmartAttribute> attributes;
    if (!isWhole(data))
        return attributes;
    const bool hasThresholds = isWhole(thresholds);
    for (std::size_t i = 0; i < kAttributes; ++i) {
        const Bytes entry = slice(data, kFirstAttribute + i * kAttributeBytes, kAttributeBytes);
        if (entry[0] == 0)
            continue;
        SmartAttribute attribute{entry[0], nameOf(entry[0]), entry[3], entry[4]};
        attribute.threshold = hasThresholds ? thresholdOf(entry[0], thresholds) : std::uint8_t{0};
        attribute.raw = loadLittleEndian<std::uint32_t>(entry, 5) |
                        std::uint64_t{loadLittleEndian<std::uint16_t>(entry, 9)} << 32;
        attributes.push_back(std::move(attribute));
    }
    return attributes;
}

std::optional<SmartSelfTest> parseSmartSelfTest(Bytes data) {
    constexpr std::size_t kStatus = 363;
    constexpr std::size_t kShortMinutes = 372;
    constexpr std::size_t kExtendedMinutes = 373;
    constexpr std::size_t kManyExtendedMinutes = 375;  ///< a word, where the byte is full
    constexpr std::uint8_t kFull = 0xFF;
    if (!isWhole(data))
        return std::nullopt;
    SmartSelfTest test;
    test.outcome = selfTestOutcome(data[kStatus] >> 4);
    test.wasRun = data[kStatus] != 0;
    test.percentLeft = std::min(data[kStatus] & 0x0FU, 10U) * 10;
    test.shortMinutes = data[kShortMinutes];
    test.extendedMinutes = data[kExtendedMinutes] != kFull
                               ? data[kExtendedMinutes]
                               : loadLittleEndian<std::uint16_t>(data, kManyExtendedMinutes);
    return test;
}

std::vector<SelfTestEntry> parseSelfTestLog(Bytes log) {
    constexpr std::size_t kFirstEntry = 2;
    constexpr std::size_t kEntryBytes = 24;
    constexpr std::size_t kEntries = 21;
    constexpr std::size_t kNewest = 508;  ///< its number from 1 on; 0 for none
    constexpr std::uint32_t kNoLba = 0xFFFFFFFF;
    std::vector<SelfTestEntry> entries;
    if (!isWhole(log) || log[kNewest] == 0 || log[kNewest] > kEntries)
        return entries;
    for (std::size_t i = 0; i < kEntries; ++i) {
        const std::size_t number = (log[kNewest] + kEntries - 1 - i) % kEntries;
        const Bytes entry = slice(log, kFirstEntry + number * kEntryBytes, kEntryBytes);
        if (std::ranges::all_of(entry, [](std::uint8_t byte) { return byte == 0; }))
            break;
        SelfTestEntry test{kindOf(entry[0]), selfTestOutcome(entry[1] >> 4),
                           loadLittleEndian<std::uint16_t>(entry, 2)};
        const auto lba = loadLittleEndian<std::uint32_t>(entry, 5);
        if (test.outcome == SelfTestOutcome::failed && lba != kNoLba)
            test.firstBad = lba;
        entries.push_back(test);
    }
    return entries;
}

std::optional<std::uint64_t> parseConfiguredMaxAddress(Bytes answer) {
    constexpr std::size_t kMaxAddress = 6;
    if (!isWhole(answer))
        return std::nullopt;
    const auto lba = loadLittleEndian<std::uint64_t>(answer, kMaxAddress);
    return lba != 0 ? std::optional(lba) : std::nullopt;
}

}  // namespace libDrive2::ata
