#include "libDrive2/DeviceProvider.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/sim/SimLocator.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {

DeviceProvider& DeviceProvider::of(const zel::String& locator) {
    SimProvider& simulated = SimProvider::get();
    return simulated.owns(locator) ? static_cast<DeviceProvider&>(simulated) : system();
}

zel::Wording whyNotShown(std::uint32_t sectorBytes) {
    return zel::worded("its sectors have {n} bytes: the system shows drives of 512, 1024, 2048 and 4096 only",
                       {{"n", sectorBytes}});
}

bool isSimulated(const zel::String& locator) {
    return DeviceProvider::of(locator).isSimulated();
}

bool skipsTime(const zel::String& locator) {
    return DeviceProvider::of(locator).skipsTime(locator);
}

zel::String describeSimulatedLocators() {
    return describeSimLocators();
}

bool describeDevice(const zel::String& locator, DeviceDescription& description, zel::String& error) {
    return DeviceProvider::of(locator).describe(locator, description, error);
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
