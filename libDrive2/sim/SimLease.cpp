#include "libDrive2/sim/SimLease.h"

#include <algorithm>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/bridges/ScsiBlockHandle.h"
#include "libDrive2/sim/SimDrives.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {

std::unique_ptr<DeviceLease> SimLease::take(const zel::String& locator, LeasePurpose purpose,
                                            DeviceStatus& failure) {
    std::unique_ptr<SimLease> lease(new SimLease(locator, purpose));
    return lease->begin(purpose, failure) ? std::move(lease) : nullptr;
}

SimLease::SimLease(const zel::String& locator, LeasePurpose purpose)
    : DeviceLease(purpose), m_locator(locator), m_volumes(locator) {
    OpenLeases::add(*this);
}

SimLease::~SimLease() {
    OpenLeases::remove(*this);
}

bool SimLease::begin(LeasePurpose purpose, DeviceStatus& failure) {
    zel::String problem;
    const auto options = SimDrives::get().options(m_locator, problem);
    if (options != nullptr && !options->imagePath.empty()) {
        m_image = DeviceLease::take(options->imagePath, purpose, failure);
        if (m_image == nullptr)
            return false;
    }
    DeviceDescription described;
    if (options == nullptr || !SimProvider::get().describe(m_locator, described, problem)) {
        failure = {LIBDRIVE2_NO_ACCESS, problem};
        return false;
    }
    if (zel::Wording reason; purpose == LeasePurpose::write && options->volumes == SimVolumeState::busy &&
                             !m_volumes.lock(reason)) {
        failure = {LIBDRIVE2_BUSY, reason};
        return false;
    }
    m_isHidden = options->isHidden();
    m_holdsForeignTags = options->protectionType != 0 && options->hostOwnsTags;
    m_identity.sectorBytes = std::max(1U, described.sectorBytes);
    m_identity.sectors = described.bytes / m_identity.sectorBytes;
    if (m_image == nullptr) {
        m_identity.storage = {{StorageId(StorageId::Kind::boot, m_locator.utf8())}};
        return true;
    }
    m_identity.id = m_image->identity().id;
    m_identity.storage = m_image->identity().storage;
    m_identity.carriers = m_image->identity().carriers;
    return true;
}

bool SimLease::isUnchanged(zel::String& difference) {
    return m_image == nullptr || m_image->isUnchanged(difference);
}

zel::Array<zel::String> SimLease::users() {
    return m_image != nullptr ? m_image->users() : zel::Array<zel::String>();
}

SharedBlockHandle SimLease::openBlock(bool writable, zel::Wording& reason) {
    if (m_isHidden)
        return ScsiBlockHandle::over(SharedScsiPassThrough(SimProvider::get().openScsi(
                                         m_locator, kAccessRead | (writable ? kAccessWrite : 0))),
                                     writable, reason);
    auto handle = SimProvider::get().openBlock(m_locator, kAccessRead | (writable ? kAccessWrite : 0), 0);
    if (handle == nullptr)
        reason = lastOpenErrorStr();
    return SharedBlockHandle(std::move(handle));
}

}  // namespace libDrive2
