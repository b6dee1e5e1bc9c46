#include "libDrive2/sim/SimAtaSmart.h"

#include <numeric>

#include "libDrive2/sim/SimBytes.h"

namespace libDrive2 {

namespace {

constexpr std::uint16_t kReadData = 0xD0;
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
constexpr std::uint8_t kOfAttributes = 30;

struct Attribute {
    std::uint8_t id;
    std::uint8_t threshold;
    std::uint64_t raw;
    std::uint8_t value = 100;
};

std::vector<Attribute> attributesOf(SimMedium& medium) {
    const SimHealth& health = *medium.state().health;
    const std::uint64_t damage = health.reallocated();
    return {
        {5, 10, damage, static_cast<std::uint8_t>(health.options().predictsFailure ? 1 : 100)},
        {9, 0, health.options().hours},
        {12, 0, 1},
        {187, 0, health.failedReads()},
        {194, 0, medium.temperature()},
        {197, 0, health.pending()},
        {198, 0, health.pending()},
        {199, 0, health.options().crcErrors},
    };
}

AtaSector attributeData(const std::vector<Attribute>& attributes, bool ofThresholds) {
    constexpr std::size_t kFirst = 2;
    constexpr std::size_t kBytes = 12;
    AtaSector data{};
    putLittleEndian(data.data(), 2, 0x0010);  // revision
    for (std::size_t i = 0; i < attributes.size() && i < kOfAttributes; ++i) {
        std::uint8_t* const entry = &data[kFirst + i * kBytes];
        entry[0] = attributes[i].id;
        if (ofThresholds) {
            entry[1] = attributes[i].threshold;
            continue;
        }
        entry[1] = 0x22;  // flags: collected all the time
        entry[3] = entry[4] = attributes[i].value;
        putLittleEndian(entry + 5, 6, attributes[i].raw);
    }
    return data;
}

std::uint8_t statusOf(SelfTestOutcome outcome) {
    switch (outcome) {
        case SelfTestOutcome::running:
            return 0xF0;
        case SelfTestOutcome::aborted:
            return 0x10;
        case SelfTestOutcome::interrupted:
            return 0x20;
        case SelfTestOutcome::failed:
            return 0x70;  // reading
        case SelfTestOutcome::passed:
            break;
    }
    return 0;
}

std::uint8_t subcommandOf(SelfTestKind kind) {
    return kind == SelfTestKind::shortTest ? kShortTest : kExtendedTest;
}

AtaSector smartData(SimMedium& medium) {
    AtaSector data = attributeData(attributesOf(medium), false);
    SimHealth& health = *medium.state().health;
    if (const auto percent = health.selfTestPercent())
        data[363] = static_cast<std::uint8_t>(0xF0 | (109 - *percent) / 10);
    else if (!health.selfTests().empty())
        data[363] = statusOf(health.selfTests().front().outcome);
    data[367] = 0x5B;  // it tests itself off-line
    data[372] = SimHealth::kShortMinutes;
    data[373] = SimHealth::kExtendedMinutes;
    return data;
}

/// A ring of 21 entries, of which the newest has the highest number here.
AtaSector selfTestLog(SimMedium& medium) {
    constexpr std::size_t kFirst = 2;
    constexpr std::size_t kBytes = 24;
    constexpr std::uint64_t kNoLba = 0xFFFFFFFF;
    const std::vector<SelfTestEntry>& tests = medium.state().health->selfTests();
    AtaSector data{};
    putLittleEndian(data.data(), 2, 1);
    for (std::size_t i = 0; i < tests.size(); ++i) {
        const SelfTestEntry& test = tests[tests.size() - 1 - i];
        std::uint8_t* const entry = &data[kFirst + i * kBytes];
        entry[0] = subcommandOf(test.kind);
        entry[1] = statusOf(test.outcome);
        putLittleEndian(entry + 2, 2, test.hours.value_or(0));
        putLittleEndian(entry + 5, 4, test.firstBad.value_or(kNoLba));
    }
    data[508] = static_cast<std::uint8_t>(tests.size());
    return data;
}

bool startTest(std::uint8_t subcommand, SimMedium& medium) {
    SimHealth& health = *medium.state().health;
    switch (subcommand) {
        case kShortTest:
            return health.startSelfTest(SelfTestKind::shortTest, medium.firstBad());
        case kExtendedTest:
            return health.startSelfTest(SelfTestKind::extendedTest, medium.firstBad());
        case kAbortTest:
            (void)health.abortSelfTest();
            return true;
        default:
            return false;
    }
}

bool isSigned(const AtaTaskFile& registers) {
    return (registers.lba & 0xFFFF00) == kSignature;
}

}  // namespace

void putAtaChecksum(AtaSector& data) {
    const unsigned sum = std::accumulate(data.begin(), data.end() - 1, 0U);
    data.back() = static_cast<std::uint8_t>(-sum);
}

std::optional<AtaSector> ataSmartAnswer(const AtaTaskFile& registers, SimMedium& medium) {
    if (!isSigned(registers))
        return std::nullopt;
    AtaSector data{};
    if (registers.feature == kReadData)
        data = smartData(medium);
    else if (registers.feature == kReadThresholds)
        data = attributeData(attributesOf(medium), true);
    else if (registers.feature == kReadLog && (registers.lba & 0xFF) == kSelfTestLog && registers.count == 1)
        data = selfTestLog(medium);
    else
        return std::nullopt;
    putAtaChecksum(data);
    return data;
}

bool ataSmartAction(const AtaTaskFile& registers, SimMedium& medium, AtaResponse& response) {
    if (!isSigned(registers))
        return false;
    if (registers.feature == kExecuteOffline)
        return startTest(static_cast<std::uint8_t>(registers.lba & 0xFF), medium);
    if (registers.feature != kReturnStatus)
        return false;
    if (medium.state().health->options().predictsFailure)
        response.lba = kFailureSignature;
    return true;
}

AtaSector ataConfigurationData(const SimMedium& medium) {
    const SimHealthOptions& areas = medium.state().health->options();
    AtaSector data{};
    putLittleEndian(data.data(), 2, 2);  // revision
    putLittleEndian(
        &data[6], 8,
        medium.options().sectors + areas.hpaSectors.value_or(0) + areas.dcoSectors.value_or(0) - 1);
    data[510] = 0xA5;
    putAtaChecksum(data);
    return data;
}

}  // namespace libDrive2
