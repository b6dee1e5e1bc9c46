#pragma once

#include <optional>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/HealthMonitor.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/AtaSmart.h"

namespace libDrive2 {

/// By SMART (ACS-2), and the commands that tell of hidden areas where the drive says that it has them.
class AtaHealth : public HealthMonitor {
public:
    explicit AtaHealth(SharedAtaDevice device);

    DriveHealth read() override;
    std::optional<std::int64_t> readTemperature() override;
    HiddenAreas readHiddenAreas() override;
    DeviceStatus startSelfTest(SelfTestKind kind) override;
    SelfTestState selfTestState() override;
    DeviceStatus abortSelfTest() override;
    std::optional<std::uint32_t> selfTestMinutes(SelfTestKind kind) override;

private:
    using Answer = std::array<std::uint8_t, ata::kSectorOfAnswer>;
    [[nodiscard]] DeviceStatus ask(const AtaRequest& request, Answer& answer);
    std::optional<std::uint64_t> askAddress(const AtaRequest& request);
    /// Nothing is sent any more once the drive let a command wait in vain.
    AtaResponse execute(AtaRequest request);

    SharedAtaDevice m_device;
    DeviceStatus m_lost;
    std::optional<ata::Identity> m_identity;  ///< nothing where the drive did not tell
};

}  // namespace libDrive2
