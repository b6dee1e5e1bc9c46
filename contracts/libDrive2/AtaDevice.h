#pragma once

#include <cstddef>
#include <cstdint>

#include "libDrive2/ScsiPassThrough.h"
#include "zel/Export.h"

namespace libDrive2 {

/// ACS-4 task file registers; the 48-bit form.
struct AtaTaskFile {
    std::uint16_t feature = 0;
    std::uint16_t count = 0;
    std::uint64_t lba = 0;
    std::uint8_t device = 0;
    std::uint8_t command = 0;
};

/// `queued` commands (NCQ) have their count in the feature register, and room for a tag where others have it.
enum class AtaProtocol : std::uint8_t { nonData, pioIn, pioOut, dma, queued };

/// One ATA command. The data buffer is the caller's.
struct AtaRequest {
    AtaTaskFile registers;
    AtaProtocol protocol = AtaProtocol::nonData;
    bool extended = false;  ///< 48-bit command
    DataDirection direction = DataDirection::none;
    void* data = nullptr;
    std::size_t dataBytes = 0;
    std::uint32_t timeoutMs = 30000;
};

/// The registers as the device left them.
struct AtaResponse {
    DeviceStatus delivery;
    std::uint8_t status = 0;
    std::uint8_t error = 0;
    std::uint16_t count = 0;
    std::uint64_t lba = 0;
};

/// Transport: commands to an ATA device. Blocks up to the request's timeout; one thread at a
/// time but for maxInFlight().
class DRIVETEST_API AtaDevice {
public:
    virtual ~AtaDevice() = default;
    virtual AtaResponse execute(const AtaRequest& request) = 0;
    /// Whether the device identified itself.
    [[nodiscard]] virtual bool isInitialized() const = 0;
    /// Whether something else answers in the name of an ATA device.
    [[nodiscard]] virtual bool isEmulated() const = 0;
    [[nodiscard]] virtual std::size_t maxTransferBytes() const = 0;
    /// How many commands execute() takes at the same time, each from another thread.
    [[nodiscard]] virtual unsigned maxInFlight() const { return 1; }
    virtual DeviceStatus reopen() = 0;
    /// Whether queued commands reach the drive, with tags of which no two in flight are alike.
    [[nodiscard]] virtual bool takesQueuedCommands() const { return false; }
};

using SharedAtaDevice = zel::SharedPointer<AtaDevice>;

}  // namespace libDrive2
