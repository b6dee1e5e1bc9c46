#include "libDrive2/DeviceDescription.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/sim/SimDevices.h"

namespace libDrive2 {

bool describeSimulatedDevice(const zel::String& locator, SimulatedDevice& description, zel::String& error) {
    const std::optional<SimIdentity> identity = describeSimDevice(locator, error);
    if (!identity)
        return false;
    description = {identity->capabilities, identity->model, identity->serial,
                   identity->firmware,     identity->bytes, identity->sectorBytes};
    return true;
}

bool readAtaSecurity(const quix5::DiagDevice& device, AtaSecurity& security) {
    const SharedAtaDevice opened = AtaInfo::openAtaDevice(device, 0);
    if (!opened)
        return false;
    std::uint8_t answer[ata::kSectorOfAnswer] = {};
    const AtaResponse response = opened->execute(ata::withData(ata::identifyDevice(), answer, sizeof answer));
    const auto identity = ata::statusOf(response).ok() ? ata::parseIdentity(answer) : std::nullopt;
    if (!identity)
        return false;
    security = {identity->security.supported, identity->security.enabled, identity->security.locked};
    return true;
}

}  // namespace libDrive2
