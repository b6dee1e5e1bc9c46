#pragma once

#include <memory>

#include "libDrive2/NVMeDevice.h"
#include "libDrive2/windows/PassThroughDevice.h"

namespace libDrive2 {

/// NVMe commands as Windows lets them through: IDENTIFY and GET LOG PAGE by IOCTL_STORAGE_QUERY_PROPERTY, all
/// others by IOCTL_STORAGE_PROTOCOL_COMMAND. The system's own driver refuses those that move sectors, which
/// is delivered as LIBDRIVE2_NOT_SUPPORTED.
class WindowsNVMeDevice : public NVMeDevice {
public:
    /// Null on failure, which is kept with noteOpenError().
    static std::unique_ptr<WindowsNVMeDevice> open(const zel::String& path);

    NVMeResponse execute(const NVMeCommand& command) override;
    [[nodiscard]] std::uint32_t namespaceId() const override { return m_namespaceId; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_device.maxTransferBytes(); }
    [[nodiscard]] unsigned maxInFlight() const override { return kCommandsInFlight; }
    DeviceStatus reopen() override;

private:
    explicit WindowsNVMeDevice(PassThroughDevice device) : m_device(std::move(device)) {}

    NVMeResponse query(const NVMeCommand& command) const;
    NVMeResponse send(const NVMeCommand& command) const;

    PassThroughDevice m_device;
    std::uint32_t m_namespaceId = 1;
};

}  // namespace libDrive2
