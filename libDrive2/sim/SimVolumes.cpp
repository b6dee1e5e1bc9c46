#include "libDrive2/sim/SimVolumes.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/EncryptedVolumes.h"
#include "libDrive2/PlatformOpeners.h"
#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {

namespace {

constexpr const char* kInUse = "the simulated drive is in use";

class SimVolumes : public DeviceLockingManager::Volumes {
public:
    explicit SimVolumes(const zel::String& locator)
        : m_locator(locator), m_options(parseSimLocator(locator, m_error)) {
        if (m_options && !m_options->imagePath.empty())
            m_image = platformVolumes(m_options->imagePath);
    }

    Encryption examineEncryption(zel::String& reason) override {
        reason = m_options ? zel::String("the simulated drive is encrypted") : m_error;
        if (!m_options)
            return Encryption::unexamined;
        if (m_options->encrypted)
            return Encryption::found;
        return m_image != nullptr ? examineImage(*m_options, reason) : Encryption::none;
    }
    bool lock(zel::String& reason) override {
        if (!m_options)
            reason = m_error;
        else if (is(SimVolumeState::busy))
            reason = kInUse;
        return m_options && !is(SimVolumeState::busy) && (m_image == nullptr || m_image->lock(reason));
    }
    bool unlock(zel::String& reason) override {
        if (is(SimVolumeState::stuck))
            reason = "the volumes of the simulated drive could not be given back";
        return !is(SimVolumeState::stuck) && (m_image == nullptr || m_image->unlock(reason));
    }
    zel::Array<zel::String> holders() override {
        if (is(SimVolumeState::busy))
            return {kInUse};
        return m_image != nullptr ? m_image->holders() : zel::Array<zel::String>();
    }
    zel::Array<VolumeContent> contents() override {
        zel::Array<VolumeContent> found;
        if (m_options && m_options->encrypted)
            found.append({"an encrypted volume", 0});
        return found;
    }

private:
    [[nodiscard]] bool is(SimVolumeState state) const { return m_options && m_options->volumes == state; }

    /// Of the file itself: an examination must not count among the drive's commands.
    Encryption examineImage(const SimOptions& options, zel::String& reason) const {
        SharedBlockHandle image = OsDevice::openOsDevice(options.imagePath, kAccessRead,
                                                         kShareRead | kShareWrite, kOpenExisting, 0);
        if (!image) {
            reason = m_locator + " cannot be examined for encrypted volumes: " + lastOpenErrorStr();
            return Encryption::unexamined;
        }
        const std::uint32_t bytes = options.sectorBytes;
        const auto read = [&options, bytes, &image](std::uint64_t lba, std::uint8_t* data) {
            std::uint64_t bad = 0;
            return !options.bad.findFirst(lba, 1, bad) && image->read(lba * bytes, data, bytes).ok();
        };
        return findEncryptedVolume({bytes, image->info().bytes / bytes, read}, m_locator, {}, reason);
    }

    zel::String m_locator;
    zel::String m_error;
    std::optional<SimOptions> m_options;
    std::unique_ptr<DeviceLockingManager::Volumes> m_image;  ///< of the file that holds the contents
};

}  // namespace

std::unique_ptr<DeviceLockingManager::Volumes> simVolumes(const zel::String& locator) {
    return std::make_unique<SimVolumes>(locator);
}

}  // namespace libDrive2
