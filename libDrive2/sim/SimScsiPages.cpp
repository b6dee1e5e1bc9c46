#include "libDrive2/sim/SimScsiPages.h"

#include <algorithm>

#include "libDrive2/sim/SimAtaIdentify.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

constexpr std::uint8_t kSupportedPages = 0x00;
constexpr std::uint8_t kUnitSerialNumber = 0x80;
constexpr std::uint8_t kDeviceIdentification = 0x83;
constexpr std::uint8_t kExtendedInquiry = 0x86;
constexpr std::uint8_t kAtaInformation = 0x89;
constexpr std::uint8_t kBlockLimits = 0xB0;
constexpr std::uint8_t kBlockDeviceCharacteristics = 0xB1;

constexpr std::uint16_t kRotationRate = 7200;
constexpr std::uint8_t kReferenceTemperature = 65;

bool isAta(const SimMedium& medium) {
    return medium.options().kind == SimKind::ata;
}

/// Vendor, product and revision, 28 bytes. An ATA drive is named as SAT-3 has it.
void putNames(std::uint8_t* at, const SimMedium& medium) {
    const SimIdentity identity = identify(medium);
    putText(at, 8, isAta(medium) ? "ATA" : kSimVendor);
    putText(at + 8, 16, isAta(medium) ? identity.model : traitsOf(medium.options().kind).product);
    putText(at + 24, 4, identity.firmware);
}

/// A page of vital product data around its contents.
SimPage vpdPage(std::uint8_t page, const SimPage& contents) {
    constexpr std::size_t kHeaderBytes = 4;
    SimPage bytes(kHeaderBytes + contents.size());
    bytes[1] = page;
    putBigEndian(&bytes[2], 2, contents.size());
    std::copy(contents.begin(), contents.end(), bytes.begin() + kHeaderBytes);
    return bytes;
}

SimPage listVpdPages(const SimMedium& medium) {
    if (isAta(medium))
        return {kSupportedPages, kUnitSerialNumber, kDeviceIdentification,
                kAtaInformation, kBlockLimits,      kBlockDeviceCharacteristics};
    SimPage pages{kSupportedPages,  kUnitSerialNumber, kDeviceIdentification,
                  kExtendedInquiry, kBlockLimits,      kBlockDeviceCharacteristics};
    if (medium.options().protectionType == 0)
        std::erase(pages, kExtendedInquiry);
    return pages;
}

/// One designator: vendor, with which the model begins, and vendor's text, in ASCII, of the logical unit.
SimPage deviceIdentification(const SimMedium& medium) {
    const std::string text = identify(medium).model + " " + medium.options().serial;
    SimPage bytes(4 + text.size());
    bytes[0] = 0x02;
    bytes[1] = 0x01;
    bytes[3] = static_cast<std::uint8_t>(text.size());
    std::copy(text.begin(), text.end(), bytes.begin() + 4);
    return bytes;
}

/// SAT-3, ATA Information: the translator, and what the drive identifies itself as.
SimPage ataInformation(const SimMedium& medium) {
    SimPage bytes(56);
    putText(&bytes[4], 8, kSimVendor);
    putText(&bytes[12], 16, "Simulated SAT");
    putText(&bytes[28], 4, identify(medium).firmware);
    bytes[52] = 0xEC;  // the command that identifies the drive
    const auto identifyData = ataIdentifyData(medium);
    bytes.insert(bytes.end(), identifyData.begin(), identifyData.end());
    return bytes;
}

SimPage blockLimits(const SimMedium& medium, std::size_t maxTransferBytes) {
    SimPage bytes(0x3C);
    const std::uint64_t sectors = maxTransferBytes / medium.options().sectorBytes;
    putBigEndian(&bytes[2], 2, 1);        // optimal transfer length granularity
    putBigEndian(&bytes[4], 4, sectors);  // maximum transfer length
    putBigEndian(&bytes[8], 4, sectors);  // optimal transfer length
    return bytes;
}

/// The type that it can be formatted with, and that all three fields are checked.
SimPage extendedInquiry(const SimMedium& medium) {
    constexpr std::uint8_t kSupported[] = {0, 0b000, 0b010, 0b101};  // of types 1; 2; 1 and 3
    constexpr std::uint8_t kAllChecks = 0x07;
    SimPage bytes(60);
    bytes[0] = static_cast<std::uint8_t>(kSupported[medium.options().protectionType] << 3 | kAllChecks);
    return bytes;
}

SimPage blockDeviceCharacteristics() {
    SimPage bytes(0x3C);
    putBigEndian(bytes.data(), 2, kRotationRate);
    bytes[3] = 0x02;  // 3.5 inches
    return bytes;
}

/// A log page around its parameters.
SimPage logPageOf(std::uint8_t page, const SimPage& contents) {
    constexpr std::size_t kHeaderBytes = 4;
    SimPage bytes(kHeaderBytes);
    bytes[0] = page;
    putBigEndian(&bytes[2], 2, contents.size());
    bytes.insert(bytes.end(), contents.begin(), contents.end());
    return bytes;
}

void addParameter(SimPage& page, std::uint16_t code, const SimPage& value) {
    constexpr std::uint8_t kBinary = 0x03;
    page.insert(page.end(), {static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code), kBinary,
                             static_cast<std::uint8_t>(value.size())});
    page.insert(page.end(), value.begin(), value.end());
}

SimPage numberOf(std::uint64_t value, std::size_t bytes) {
    SimPage number(bytes);
    putBigEndian(number.data(), bytes, value);
    return number;
}

/// Parameter 6: the total of errors that were not corrected.
SimPage errorCounters(std::uint64_t uncorrected) {
    constexpr std::uint16_t kTotalUncorrected = 6;
    SimPage page;
    for (std::uint16_t code = 0; code <= kTotalUncorrected; ++code)
        addParameter(page, code, numberOf(code == kTotalUncorrected ? uncorrected : 0, 8));
    return page;
}

SimPage temperaturePage(const SimMedium& medium, SimHealth& /*health*/) {
    SimPage page;
    addParameter(page, 0, numberOf(medium.temperature(), 2));
    addParameter(page, 1, numberOf(kReferenceTemperature, 2));
    return page;
}

std::uint8_t resultOf(SelfTestOutcome outcome) {
    switch (outcome) {
        case SelfTestOutcome::running:
            return 0xF;
        case SelfTestOutcome::aborted:
            return 0x1;
        case SelfTestOutcome::interrupted:
            return 0x2;
        case SelfTestOutcome::failed:
            return 0x7;
        case SelfTestOutcome::passed:
            break;
    }
    return 0;
}

/// Twenty parameters, those that were never used with zeros.
SimPage selfTestResults(const SimMedium& /*medium*/, SimHealth& health) {
    constexpr std::uint16_t kEntries = 20;
    constexpr std::uint64_t kNoLba = 0xFFFFFFFFFFFFFFFF;
    std::vector<SelfTestEntry> tests = health.selfTests();
    if (health.selfTestPercent())
        tests.insert(tests.begin(), {health.runningKind(), SelfTestOutcome::running, 0});
    SimPage page;
    for (std::uint16_t number = 1; number <= kEntries; ++number) {
        SimPage entry(16);
        if (number <= tests.size()) {
            const SelfTestEntry& test = tests[number - 1U];
            entry[0] = static_cast<std::uint8_t>((test.kind == SelfTestKind::shortTest ? 1 : 2) << 5 |
                                                 resultOf(test.outcome));
            putBigEndian(&entry[2], 2, test.hours.value_or(0));
            putBigEndian(&entry[4], 8, test.firstBad.value_or(kNoLba));
        }
        addParameter(page, number, entry);
    }
    return page;
}

SimPage backgroundScan(const SimMedium& /*medium*/, SimHealth& health) {
    SimPage status(12);
    putBigEndian(status.data(), 4, health.options().hours * 60);
    SimPage page;
    addParameter(page, 0, status);
    return page;
}

SimPage informationalExceptions(const SimMedium& medium, SimHealth& health) {
    const bool fails = health.options().predictsFailure;
    SimPage page;
    addParameter(page, 0,
                 {static_cast<std::uint8_t>(fails ? 0x5D : 0), static_cast<std::uint8_t>(fails ? 0x10 : 0),
                  static_cast<std::uint8_t>(medium.temperature()), 0});
    return page;
}

struct LogPage {
    std::uint8_t code;
    SimPage (*contents)(const SimMedium& medium, SimHealth& health);
};
constexpr LogPage kLogPages[] = {
    {0x02, [](const SimMedium&, SimHealth&) { return errorCounters(0); }},
    {0x03, [](const SimMedium&, SimHealth& health) { return errorCounters(health.failedReads()); }},
    {0x0D, temperaturePage},
    {0x10, selfTestResults},
    {0x15, backgroundScan},
    {0x2F, informationalExceptions},
};

}  // namespace

SimPage standardInquiry(const SimMedium& medium) {
    SimPage bytes(36);
    bytes[1] = medium.options().removable ? 0x80 : 0;
    bytes[2] = 0x06;  // SPC-4
    bytes[3] = 0x02;  // response data format
    bytes[4] = static_cast<std::uint8_t>(bytes.size() - 5);
    bytes[5] = medium.options().protectionType != 0 ? 0x01 : 0;  // PROTECT
    bytes[7] = 0x02;                                             // command queuing
    putNames(&bytes[8], medium);
    return bytes;
}

std::optional<SimPage> vitalProductData(std::uint8_t page, const SimMedium& medium,
                                        std::size_t maxTransferBytes) {
    const std::string& serial = medium.options().serial;
    switch (page) {
        case kSupportedPages:
            return vpdPage(page, listVpdPages(medium));
        case kUnitSerialNumber:
            return vpdPage(page, SimPage(serial.begin(), serial.end()));
        case kDeviceIdentification:
            return vpdPage(page, deviceIdentification(medium));
        case kAtaInformation:
            return isAta(medium) ? std::optional(vpdPage(page, ataInformation(medium))) : std::nullopt;
        case kExtendedInquiry:
            return medium.options().protectionType != 0
                       ? std::optional(vpdPage(page, extendedInquiry(medium)))
                       : std::nullopt;
        case kBlockLimits:
            return vpdPage(page, blockLimits(medium, maxTransferBytes));
        case kBlockDeviceCharacteristics:
            return vpdPage(page, blockDeviceCharacteristics());
        default:
            return std::nullopt;
    }
}

std::optional<SimPage> modePages(std::uint8_t page, const SimMedium& medium) {
    constexpr std::uint8_t kAll = 0x3F;
    SimPage errorRecovery(12), caching(20);
    errorRecovery[0] = 0x01;
    errorRecovery[1] = 10;
    errorRecovery[2] = 0x04;  // PER: recovered errors are reported
    caching[0] = 0x08;
    caching[1] = 18;
    caching[2] = 0x04;  // WCE: there is a write cache
    SimPage control(12);
    control[0] = 0x0A;
    control[1] = 10;
    control[5] = medium.options().hostOwnsTags ? 0x80 : 0;  // ATO
    if (page == errorRecovery[0])
        return errorRecovery;
    if (page == caching[0])
        return caching;
    if (page == control[0] && medium.options().protectionType != 0)
        return control;
    if (page != kAll)
        return std::nullopt;
    errorRecovery.insert(errorRecovery.end(), caching.begin(), caching.end());
    if (medium.options().protectionType != 0)
        errorRecovery.insert(errorRecovery.end(), control.begin(), control.end());
    return errorRecovery;
}

std::optional<SimPage> logPage(std::uint8_t page, const SimMedium& medium, SimHealth& health) {
    const auto* const known = std::ranges::find(kLogPages, page, &LogPage::code);
    if (page == kSupportedPages) {
        SimPage codes{kSupportedPages};
        for (const LogPage& each : kLogPages)
            codes.push_back(each.code);
        return logPageOf(page, codes);
    }
    return known != std::end(kLogPages) ? std::optional(logPageOf(page, known->contents(medium, health)))
                                        : std::nullopt;
}

}  // namespace libDrive2
