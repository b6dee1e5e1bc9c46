#include "libDrive2/DeviceLockingManager.h"

#include "libDrive2/DeviceProvider.h"
#include "libDrive2/OpenLeases.h"
#include "zel/Log.h"

namespace libDrive2 {

namespace {

zel::Logger& logger() {
    return zel::LogFactory::createLogger("libDrive2.DeviceLockingManager");
}

/// The volumes of a drive that this process has in hand: they are locked as long as it has.
class LeasedVolumes : public DeviceLockingManager::Volumes {
public:
    explicit LeasedVolumes(DeviceLease& lease) : m_lease(lease) {}

    Encryption examineEncryption(zel::Wording& reason) override { return m_lease.examineEncryption(reason); }
    bool lock(zel::Wording& /*reason*/) override { return true; }
    bool unlock(zel::Wording& reason) override { return m_lease.unlockVolumes(reason); }
    zel::Array<zel::String> holders() override { return m_lease.users(); }
    zel::Array<VolumeContent> contents() override { return m_lease.contents(); }

private:
    DeviceLease& m_lease;
};

std::unique_ptr<DeviceLockingManager::Volumes> volumesOf(const zel::String& locator) {
    if (DeviceLease* const lease = OpenLeases::find(locator); lease != nullptr && lease->isExclusive())
        return std::make_unique<LeasedVolumes>(*lease);
    return DeviceProvider::of(locator).volumes(locator);
}

}  // namespace

DeviceLockingManager::DeviceLockingManager(const zel::String& osLocator) : m_volumes(volumesOf(osLocator)) {}

DeviceLockingManager::~DeviceLockingManager() {
    zel::Wording ignored;
    m_volumes->unlock(ignored);
}

bool DeviceLockingManager::isBitLockerEnabledOnVolumes() {
    return examineEncryption() == Encryption::found;
}

Encryption DeviceLockingManager::examineEncryption() {
    const Encryption encryption = m_volumes->examineEncryption(m_lastError);
    if (encryption != Encryption::none)
        logger().line(3, m_lastError);
    return encryption;
}

bool DeviceLockingManager::lockVolumes() {
    const bool locked = m_volumes->lock(m_lastError);
    if (!locked)
        logger().line(3, m_lastError);
    return locked;
}

bool DeviceLockingManager::unlockVolumes() {
    const bool unlocked = m_volumes->unlock(m_lastError);
    if (!unlocked)
        logger().line(3, m_lastError);
    return unlocked;
}

zel::Array<zel::String> DeviceLockingManager::holders() {
    return m_volumes->holders();
}

zel::Array<VolumeContent> DeviceLockingManager::contents() {
    return m_volumes->contents();
}

zel::Wording DeviceLockingManager::getLastErrorStr() const {
    return m_lastError;
}

}  // namespace libDrive2
