#pragma once

#include "libDrive2/HealthMonitor.h"
#include "libDrive2/NVMeDevice.h"

namespace libDrive2 {

/// By the health log and the self-test log of NVM Express 1.4.
class NVMeHealth : public HealthMonitor {
public:
    explicit NVMeHealth(SharedNVMeDevice device);

    DriveHealth read() override;
    std::optional<std::int64_t> readTemperature() override;
    DeviceStatus startSelfTest(SelfTestKind kind) override;
    SelfTestState selfTestState() override;
    DeviceStatus abortSelfTest() override;

private:
    SharedNVMeDevice m_device;
    bool m_testsItself = false;
};

}  // namespace libDrive2
