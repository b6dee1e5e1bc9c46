#pragma once

#include <cstdint>
#include <optional>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/DriveHealth.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::ata {

/// SMART commands of ACS-2 and those that ask for hidden areas, ready but for the data buffer.
AtaRequest smartReadThresholds();
AtaRequest smartReturnStatus();
AtaRequest smartReadSelfTestLog();
/// Off-line, as the drive goes on answering.
AtaRequest smartStartSelfTest(SelfTestKind kind);
AtaRequest smartAbortSelfTest();
/// ATA/ATAPI-7; the last address comes back as LBA.
AtaRequest readNativeMaxAddress();
/// ACS-3; the last address comes back as LBA.
AtaRequest getAccessibleMaxAddress();
/// ACS-2.
AtaRequest deviceConfigurationIdentify();

/// Whether the drive predicts its failure; nothing where neither of the two answers came back.
std::optional<bool> parseReturnStatus(const AtaResponse& response);

/// The attributes of SMART READ DATA with the limits of SMART READ THRESHOLDS, which may be missing. Empty
/// when the checksum is wrong.
std::vector<SmartAttribute> parseAttributes(Bytes data, Bytes thresholds);

/// The part of SMART READ DATA that is about self-tests.
struct SmartSelfTest {
    SelfTestOutcome outcome = SelfTestOutcome::passed;
    bool wasRun = false;  ///< or runs
    unsigned percentLeft = 0;
    std::uint32_t shortMinutes = 0;  ///< 0 not supported
    std::uint32_t extendedMinutes = 0;
};
std::optional<SmartSelfTest> parseSmartSelfTest(Bytes data);

/// The newest first.
std::vector<SelfTestEntry> parseSelfTestLog(Bytes log);

/// The last address of DEVICE CONFIGURATION IDENTIFY.
std::optional<std::uint64_t> parseConfiguredMaxAddress(Bytes answer);

}  // namespace libDrive2::ata
