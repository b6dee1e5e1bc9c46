#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/DriveHealth.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/commands/Bytes.h"

namespace libDrive2::nvme {

inline constexpr std::size_t kSelfTestLogBytes = 564;

/// Commands of NVM Express 1.4, ready but for the data buffer.
NVMeCommand selfTestLog();
NVMeCommand startSelfTest(std::uint32_t namespaceId, SelfTestKind kind);
NVMeCommand abortSelfTest(std::uint32_t namespaceId);

/// All that the SMART / health log tells; empty when it is too short.
DriveHealth parseHealthLog(Bytes answer);

struct SelfTestLog {
    bool isRunning = false;
    unsigned percent = 0;
    std::vector<SelfTestEntry> entries{};  ///< the newest first
};
std::optional<SelfTestLog> parseSelfTestLog(Bytes answer);

}  // namespace libDrive2::nvme
