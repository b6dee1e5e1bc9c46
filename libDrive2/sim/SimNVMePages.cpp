#include "libDrive2/sim/SimNVMePages.h"

#include <bit>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

constexpr std::uint64_t kKelvinOffset = 273;

std::uint8_t selfTestCode(SelfTestKind kind) {
    return kind == SelfTestKind::shortTest ? 0x1 : 0x2;
}

std::uint8_t selfTestResult(SelfTestOutcome outcome) {
    if (outcome == SelfTestOutcome::failed)
        return 0x7;  // a segment failed
    return outcome == SelfTestOutcome::aborted ? 0x1 : 0x0;
}

}  // namespace

NVMeIdentifyData nvmeControllerData(const SimMedium& medium) {
    const SimIdentity identity = identify(medium);
    NVMeIdentifyData data{};
    putText(&data[4], 20, identity.serial);
    putText(&data[24], 40, identity.model);
    putText(&data[64], 8, identity.firmware);
    data[77] = 8;                                        // MDTS: 2^8 pages of 4 KiB
    putLittleEndian(&data[78], 2, 1);                    // controller
    putLittleEndian(&data[80], 4, 0x00010400);           // NVM Express 1.4
    data[111] = 1;                                       // an I/O controller
    putLittleEndian(&data[256], 2, 0x0010);              // OACS: Device Self-test
    data[260] = 0x03;                                    // one firmware slot, read-only
    data[261] = 0x05;                                    // log pages of a namespace, and with offsets
    putLittleEndian(&data[266], 2, kKelvinOffset + 70);  // warning temperature
    putLittleEndian(&data[268], 2, kKelvinOffset + 80);  // critical temperature
    data[512] = 0x66;                                    // submission queue entries of 64 bytes
    data[513] = 0x44;                                    // completion queue entries of 16 bytes
    putLittleEndian(&data[516], 4, 1);                   // namespaces
    putLittleEndian(&data[520], 2, 0x0080);              // ONCS: Verify
    data[525] = 0x05;                                    // a write cache; no flush of all namespaces
    return data;
}

NVMeIdentifyData nvmeNamespaceData(const SimMedium& medium) {
    const SimOptions& options = medium.options();
    NVMeIdentifyData data{};
    for (const std::size_t at : {0U, 8U, 16U})  // size, capacity, use
        putLittleEndian(&data[at], 8, options.sectors);
    data[99] = medium.isWriteProtected() ? 1 : 0;
    // LBA format 0, the only one: no metadata, size as a power of two.
    data[130] = static_cast<std::uint8_t>(std::countr_zero(options.sectorBytes));
    return data;
}

NVMeSmartLog nvmeSmartLog(const SimMedium& medium) {
    NVMeSmartLog data{};
    putLittleEndian(&data[1], 2, kKelvinOffset + medium.temperature());
    const SimHealth& health = *medium.state().health;
    const auto spare = static_cast<std::uint8_t>(health.options().sparePercent);
    constexpr std::uint8_t kSpareLimit = 10;
    // Critical warnings: little spare, and a reliability that is degraded.
    data[0] = static_cast<std::uint8_t>((spare < kSpareLimit ? 0x01 : 0) |
                                        (health.options().predictsFailure ? 0x04 : 0));
    data[3] = spare;
    data[4] = kSpareLimit;
    data[5] = static_cast<std::uint8_t>(health.options().wearPercent);
    putLittleEndian(&data[112], 8, 1);  // power cycles
    putLittleEndian(&data[128], 8, health.options().hours);
    putLittleEndian(&data[160], 8, health.failedReads());  // media errors
    return data;
}

NVMeSelfTestLog nvmeSelfTestLog(SimMedium& medium) {
    constexpr std::size_t kFirst = 4;
    constexpr std::size_t kBytes = 28;
    constexpr std::size_t kEntries = 20;
    constexpr std::uint8_t kUnused = 0x0F;
    SimHealth& health = *medium.state().health;
    NVMeSelfTestLog data{};
    if (const auto percent = health.selfTestPercent()) {
        data[0] = selfTestCode(health.runningKind());
        data[1] = static_cast<std::uint8_t>(*percent);
    }
    const std::vector<SelfTestEntry>& tests = health.selfTests();
    for (std::size_t i = 0; i < kEntries; ++i) {
        std::uint8_t* const entry = &data[kFirst + i * kBytes];
        if (i >= tests.size()) {
            entry[0] = kUnused;
            continue;
        }
        entry[0] =
            static_cast<std::uint8_t>(selfTestCode(tests[i].kind) << 4 | selfTestResult(tests[i].outcome));
        putLittleEndian(entry + 4, 8, tests[i].hours.value_or(0));
        putLittleEndian(entry + 12, 4, 1);  // namespace
        if (const auto firstBad = tests[i].firstBad) {
            entry[2] = 0x02;  // the LBA is valid
            putLittleEndian(entry + 16, 8, *firstBad);
        }
    }
    return data;
}

}  // namespace libDrive2
