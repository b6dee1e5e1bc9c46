#include "libDrive2/windows/VolumeLocks.h"

#include <algorithm>

#include "libDrive2/windows/SystemError.h"
#include "zel/Clock.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr int kAttempts = 5;
constexpr std::uint32_t kPauseMs = 200;

/// The file system lets a lock pass when no file is open on the volume.
bool lockPatiently(HANDLE volume) {
    for (int attempt = 1; attempt <= kAttempts; ++attempt) {
        if (zel::tellDevice(volume, FSCTL_LOCK_VOLUME))
            return true;
        if (GetLastError() != ERROR_ACCESS_DENIED)
            return false;
        if (attempt < kAttempts)
            zel::System::mssleep(kPauseMs);
    }
    SetLastError(ERROR_ACCESS_DENIED);
    return false;
}

DeviceStatus failure(const SystemVolume& volume, const char* what, DWORD error) {
    const DeviceStatus status = systemStatus(error);
    return {status.type,
            zel::worded("{problem}: {reason}", {{"problem", zel::worded(what, {{"volume", volume.title()}})},
                                                {"reason", status.text}})};
}

}  // namespace

VolumeLocks::~VolumeLocks() {
    zel::Wording ignored;
    release(ignored);
}

DeviceStatus VolumeLocks::take(const std::vector<SystemVolume>& volumes) {
    DeviceStatus status;
    const auto before = static_cast<std::ptrdiff_t>(m_locked.size());
    for (const SystemVolume& volume : volumes)
        if (status = lock(volume); !status.ok())
            break;
    // Only when all are locked: one that was not dismounted is as if nothing had happened to it.
    for (auto each = m_locked.begin() + before; status.ok() && each != m_locked.end(); ++each)
        if (!zel::tellDevice(each->handle.get(), FSCTL_DISMOUNT_VOLUME))
            status = failure(each->volume, zel::marked("{volume} cannot be dismounted"), GetLastError());
    if (zel::Wording ignored; !status.ok())
        release(ignored);
    return status;
}

DeviceStatus VolumeLocks::lock(const SystemVolume& volume) {
    zel::Handle opened = zel::openShared(volume.devicePath(), GENERIC_READ | GENERIC_WRITE);
    if (!opened && meansNoMedium(GetLastError()))
        return {};  // nothing is mounted
    if (!opened)
        return failure(volume, zel::marked("{volume} cannot be opened"), GetLastError());
    if (!lockPatiently(opened.get())) {
        const DWORD error = GetLastError();
        if (error == ERROR_ACCESS_DENIED)
            return {LIBDRIVE2_BUSY, zel::worded("{volume} cannot be locked: files on it are open",
                                                {{"volume", volume.title()}})};
        return failure(volume, zel::marked("{volume} cannot be locked"), error);
    }
    m_locked.push_back({volume, std::move(opened)});
    return {};
}

bool VolumeLocks::release(zel::Wording& reason) {
    bool isReleased = true;
    for (; !m_locked.empty(); m_locked.pop_back()) {
        const Locked& last = m_locked.back();
        if (zel::tellDevice(last.handle.get(), FSCTL_UNLOCK_VOLUME))
            continue;
        reason = failure(last.volume, zel::marked("{volume} could not be given back"), GetLastError()).text;
        isReleased = false;
    }
    return isReleased;
}

bool VolumeLocks::holds(const SystemVolume& volume) const {
    return std::any_of(m_locked.begin(), m_locked.end(),
                       [&volume](const Locked& locked) { return locked.volume.name == volume.name; });
}

}  // namespace libDrive2
