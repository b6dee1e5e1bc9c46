#include "libDrive2/sim/SimVolumes.h"

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/EncryptedVolumes.h"
#include "libDrive2/sim/SimDrives.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr const char* kInUse = zel::marked("the simulated drive is in use");

}  // namespace

SimVolumes::SimVolumes(const zel::String& locator)
    : m_locator(locator), m_options(SimDrives::get().options(locator, m_problem)) {
    if (m_options != nullptr && !m_options->imagePath.empty())
        m_image = DeviceProvider::of(m_options->imagePath).volumes(m_options->imagePath);
}

bool SimVolumes::is(SimVolumeState state) const {
    return m_options != nullptr && m_options->volumes == state;
}

Encryption SimVolumes::examineEncryption(zel::Wording& reason) {
    reason = m_options != nullptr ? zel::worded("the simulated drive is encrypted") : zel::Wording(m_problem);
    if (m_options == nullptr)
        return Encryption::unexamined;
    if (m_options->encrypted)
        return Encryption::found;
    return m_image != nullptr ? examineImage(reason) : Encryption::none;
}

bool SimVolumes::lock(zel::Wording& reason) {
    if (m_options == nullptr)
        reason = m_problem;
    else if (is(SimVolumeState::busy))
        reason = zel::worded(kInUse);
    return m_options != nullptr && !is(SimVolumeState::busy) && (m_image == nullptr || m_image->lock(reason));
}

bool SimVolumes::unlock(zel::Wording& reason) {
    if (is(SimVolumeState::stuck))
        reason = zel::worded("the volumes of the simulated drive could not be given back");
    return !is(SimVolumeState::stuck) && (m_image == nullptr || m_image->unlock(reason));
}

zel::Array<zel::String> SimVolumes::holders() {
    if (is(SimVolumeState::busy))
        return {zel::words(kInUse)};
    return m_image != nullptr ? m_image->holders() : zel::Array<zel::String>();
}

zel::Array<VolumeContent> SimVolumes::contents() {
    zel::Array<VolumeContent> found;
    if (m_options != nullptr && m_options->encrypted)
        found.append({zel::words("an encrypted volume"), 0});
    return found;
}

/// Of the file itself: an examination must not count among the drive's commands.
Encryption SimVolumes::examineImage(zel::Wording& reason) const {
    SharedBlockHandle image = openSimImage(m_options->imagePath, kAccessRead);
    if (!image) {
        reason = zel::worded("{path} cannot be examined for encrypted volumes: {reason}",
                             {{"path", m_locator}, {"reason", lastOpenErrorStr()}});
        return Encryption::unexamined;
    }
    const std::uint32_t bytes = m_options->sectorBytes;
    const auto read = [this, bytes, &image](std::uint64_t lba, std::uint8_t* data) {
        std::uint64_t bad = 0;
        return !m_options->bad.findFirst(lba, 1, bad) && image->read(lba * bytes, data, bytes).ok();
    };
    return findEncryptedVolume({bytes, image->info().bytes / bytes, read}, m_locator, {}, reason);
}

}  // namespace libDrive2
