#pragma once

#include <memory>

#include "libDrive2/NVMeDevice.h"
#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// A simulated NVM Express 1.4 controller with one namespace. Statuses that a repetition cannot change carry
/// the "do not retry" bit. A command whose buffer is too small is not delivered.
class SimNVMeDevice : public NVMeDevice {
public:
    explicit SimNVMeDevice(std::shared_ptr<SimMedium> medium) : m_medium(std::move(medium)) {}

    NVMeResponse execute(const NVMeCommand& command) override;
    [[nodiscard]] std::uint32_t namespaceId() const override { return 1; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return std::size_t{1} << 20; }
    DeviceStatus reopen() override { return {}; }

private:
    struct Entry;
    using Status = std::uint16_t;

    static const Entry* findCommand(const NVMeCommand& command);
    [[nodiscard]] zel::String findHostFault(const NVMeCommand& command, const Entry& entry) const;

    Status identify(const NVMeCommand& command);
    Status getLogPage(const NVMeCommand& command);
    Status testItself(const NVMeCommand& command);
    Status flush(const NVMeCommand& command);
    Status write(const NVMeCommand& command);
    Status read(const NVMeCommand& command);
    Status verify(const NVMeCommand& command);

    std::shared_ptr<SimMedium> m_medium;
};

}  // namespace libDrive2
