#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "libDrive2/BlockHandle.h"
#include "zel/Export.h"
#include "zel/SharedResource.h"

namespace libDrive2 {

enum class DataDirection : std::uint8_t { none, fromDevice, toDevice };

/// One SCSI command. The data buffer is the caller's.
struct ScsiRequest {
    std::array<std::uint8_t, 16> cdb{};
    std::uint8_t cdbBytes = 0;  ///< 6, 10, 12 or 16
    DataDirection direction = DataDirection::none;
    void* data = nullptr;
    std::size_t dataBytes = 0;
    std::uint32_t timeoutMs = 30000;
};

/// The device's answer.
struct ScsiResponse {
    /// Whether the command reached the device; its own outcome is in `status`.
    DeviceStatus delivery;
    std::uint8_t status = 0;  ///< SAM-5 status byte
    std::array<std::uint8_t, 252> sense{};
    std::uint8_t senseBytes = 0;
    std::size_t transferredBytes = 0;
};

/// Transport: SCSI commands to one logical unit. Blocks up to the request's timeout; one
/// thread at a time but for maxInFlight().
class DRIVETEST_API ScsiPassThrough {
public:
    virtual ~ScsiPassThrough() = default;
    virtual ScsiResponse execute(const ScsiRequest& request) = 0;
    /// The largest transfer of one command in bytes.
    [[nodiscard]] virtual std::size_t maxTransferBytes() const = 0;
    /// How many commands execute() takes at the same time, each from another thread.
    [[nodiscard]] virtual unsigned maxInFlight() const { return 1; }
    virtual DeviceStatus reopen() = 0;
    /// See BlockHandle.
    virtual bool holdAutoRun(bool /*hold*/) { return false; }
};

using SharedScsiPassThrough = zel::SharedPointer<ScsiPassThrough>;

}  // namespace libDrive2
