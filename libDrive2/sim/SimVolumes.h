#pragma once

#include <memory>

#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {

/// The volumes of a simulated drive: encrypted, in use, or not to be given back when its locator says so, and
/// those of the file that holds its contents.
class SimVolumes : public DeviceLockingManager::Volumes {
public:
    explicit SimVolumes(const zel::String& locator);

    Encryption examineEncryption(zel::Wording& reason) override;
    bool lock(zel::Wording& reason) override;
    bool unlock(zel::Wording& reason) override;
    zel::Array<zel::String> holders() override;
    zel::Array<VolumeContent> contents() override;

private:
    [[nodiscard]] bool is(SimVolumeState state) const;
    Encryption examineImage(zel::Wording& reason) const;

    zel::String m_locator;
    zel::String m_problem;
    std::shared_ptr<const SimOptions> m_options;             ///< null: m_problem says why
    std::unique_ptr<DeviceLockingManager::Volumes> m_image;  ///< of the file that holds the contents
};

}  // namespace libDrive2
