#pragma once

#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/windows/PassThroughDevice.h"

namespace libDrive2 {

/// ATA commands by IOCTL_ATA_PASS_THROUGH_DIRECT, to drives whose port driver speaks ATA.
class WindowsAtaDevice : public AtaDevice {
public:
    /// Null, with `status` telling why, where the device cannot be opened or its driver takes no ATA
    /// commands.
    static std::unique_ptr<WindowsAtaDevice> open(const zel::String& path, DeviceStatus& status);

    AtaResponse execute(const AtaRequest& request) override;
    [[nodiscard]] bool isInitialized() const override { return m_initialized; }
    [[nodiscard]] bool isEmulated() const override { return m_emulated; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_device.maxTransferBytes(); }
    DeviceStatus reopen() override;

private:
    explicit WindowsAtaDevice(PassThroughDevice device) : m_device(std::move(device)) {}

    /// How asking the device who it is went.
    DeviceStatus identify();

    PassThroughDevice m_device;
    bool m_initialized = false;
    bool m_emulated = false;
};

}  // namespace libDrive2
