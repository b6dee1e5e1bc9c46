#pragma once

#include <vector>

#include "libDrive2/HealthMonitor.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

/// By the log pages of SPC-4 and SBC-3 that the unit lists, and the length of its grown defect list.
class ScsiHealth : public HealthMonitor {
public:
    explicit ScsiHealth(SharedScsiPassThrough device);

    DriveHealth read() override;
    std::optional<std::int64_t> readTemperature() override;
    DeviceStatus startSelfTest(SelfTestKind kind) override;
    SelfTestState selfTestState() override;
    DeviceStatus abortSelfTest() override;

private:
    std::vector<std::uint8_t> ask(const ScsiRequest& request, std::size_t bytes, DeviceStatus* why = nullptr);
    /// Empty for a page that the unit does not list.
    std::vector<std::uint8_t> page(std::uint8_t code);

    SharedScsiPassThrough m_device;
    DeviceStatus m_lost;  ///< nothing is asked any more once the unit let a command wait in vain
    std::vector<std::uint8_t> m_pages;
};

}  // namespace libDrive2
