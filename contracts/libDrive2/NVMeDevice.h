#pragma once

#include <cstddef>
#include <cstdint>
#include <span>

#include "libDrive2/ScsiPassThrough.h"
#include "zel/Export.h"

namespace libDrive2 {

/// One NVMe command (NVM Express 1.4, common command format). The buffer is the caller's.
struct NVMeCommand {
    bool admin = false;
    std::uint8_t opcode = 0;
    std::uint32_t namespaceId = 0;
    std::uint32_t cdw10 = 0, cdw11 = 0, cdw12 = 0, cdw13 = 0, cdw14 = 0, cdw15 = 0;
    DataDirection direction = DataDirection::none;
    void* data = nullptr;
    std::size_t dataBytes = 0;
    std::uint32_t timeoutMs = 30000;
};

struct NVMeResponse {
    DeviceStatus delivery;
    std::uint16_t status = 0;  ///< status field without the phase tag; 0 is success
    std::uint32_t result = 0;  ///< completion queue entry, dword 0
};

/// Transport: commands to one namespace. Blocks up to the command's timeout; one
/// thread at a time but for maxInFlight().
class DRIVETEST_API NVMeDevice {
public:
    virtual ~NVMeDevice() = default;
    virtual NVMeResponse execute(const NVMeCommand& command) = 0;
    [[nodiscard]] virtual std::uint32_t namespaceId() const = 0;
    /// Of one command. May become less when a command was refused as too large: what it was to move is then
    /// sent again in smaller ones.
    [[nodiscard]] virtual std::size_t maxTransferBytes() const = 0;
    /// How many commands execute() takes at the same time, each from another thread; or executeTogether()
    /// from one.
    [[nodiscard]] virtual unsigned maxInFlight() const { return 1; }
    /// Carries out all at the same time, where the transport can without threads; the answers lie where their
    /// commands do. False where it cannot: nothing was sent then.
    virtual bool executeTogether(std::span<const NVMeCommand> /*commands*/,
                                 std::span<NVMeResponse> /*answers*/) {
        return false;
    }
    virtual DeviceStatus reopen() = 0;
};

using SharedNVMeDevice = zel::SharedPointer<NVMeDevice>;

}  // namespace libDrive2
