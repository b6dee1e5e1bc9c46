#include "libDrive2/sim/SimVolumes.h"

#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {

namespace {

class SimVolumes : public DeviceLockingManager::Volumes {
public:
    explicit SimVolumes(const zel::String& locator) : m_options(parseSimLocator(locator, m_error)) {}

    bool isEncrypted(zel::String& reason) override {
        reason = m_options ? zel::String("the simulated drive is encrypted") : m_error;
        return !m_options || m_options->encrypted;
    }
    bool lock(zel::String& reason) override {
        if (!m_options)
            reason = m_error;
        return m_options.has_value();
    }
    bool unlock(zel::String& /*reason*/) override { return true; }
    zel::Array<zel::String> holders() override { return {}; }
    zel::Array<VolumeContent> contents() override {
        zel::Array<VolumeContent> found;
        if (m_options && m_options->encrypted)
            found.append({"an encrypted volume", 0});
        return found;
    }

private:
    zel::String m_error;
    std::optional<SimOptions> m_options;
};

}  // namespace

std::unique_ptr<DeviceLockingManager::Volumes> simVolumes(const zel::String& locator) {
    return std::make_unique<SimVolumes>(locator);
}

}  // namespace libDrive2
