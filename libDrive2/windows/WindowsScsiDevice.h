#pragma once

#include <memory>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/windows/PassThroughDevice.h"

namespace libDrive2 {

/// SCSI commands by IOCTL_SCSI_PASS_THROUGH_DIRECT, to whatever Windows drives by SCSI commands or translates
/// them for.
class WindowsScsiDevice : public ScsiPassThrough {
public:
    /// Null on failure, which is kept with noteOpenError().
    static std::unique_ptr<WindowsScsiDevice> open(const zel::String& path, bool writable);

    ScsiResponse execute(const ScsiRequest& request) override;
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_device.maxTransferBytes(); }
    [[nodiscard]] unsigned maxInFlight() const override { return kCommandsInFlight; }
    DeviceStatus reopen() override { return m_device.open(); }
    bool holdAutoRun(bool hold) override { return m_device.holdAutoRun(hold); }

private:
    WindowsScsiDevice(PassThroughDevice device, bool writable)
        : m_device(std::move(device)), m_writable(writable) {}

    PassThroughDevice m_device;
    bool m_writable;
};

}  // namespace libDrive2
