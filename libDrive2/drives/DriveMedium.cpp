#include <algorithm>
#include <chrono>

#include "libDrive2/Drive.h"
#include "zel/Clock.h"

// What every drive does about its medium.

namespace libDrive2 {

namespace {

constexpr std::chrono::milliseconds kMediaPollInterval{100};

}  // namespace

LIBDRIVE2_MEDIA_STATE Drive::mediaState() {
    if (!isMediaPresent())
        return LIBDRIVE2_MEDIA_NONE;
    return isMediaCorrect() ? LIBDRIVE2_MEDIA_CORRECT : LIBDRIVE2_MEDIA_INCORRECT;
}

bool Drive::isMediaRemovable() {
    return false;
}
bool Drive::isMediaPresent() {
    return true;
}
bool Drive::isMediaLoading() {
    return false;
}
bool Drive::isMediaCorrect() {
    return isMediaPresent();
}

bool Drive::waitForMedia(std::uint32_t timeoutMs) {
    if (!awaitMedium(timeoutMs))
        return false;
    if (isMediaRemovable())
        takeMedium();
    return true;
}

bool Drive::awaitMedium(std::uint32_t timeoutMs) {
    const zel::Stopwatch watch;
    const zel::Clock::Duration timeout = std::chrono::milliseconds(timeoutMs);
    while (!isMediaPresent()) {
        // A locked drive would not take the medium that it is to get.
        lockMedium(false);
        if (watch.elapsed() >= timeout)
            return false;
        const auto left = timeout - watch.elapsed();
        zel::Clock::current().sleep(std::min<zel::Clock::Duration>(kMediaPollInterval, left));
    }
    return true;
}

void Drive::takeMedium() {
    (void)doQueryMediumInfo();
    lockMedium(true);
    if (m_observer != nullptr)
        m_observer->onMedium(getSectorCount(), getSectorSize());
}

/// Opens and closes the lock that the user of the drive has asked for; what becomes of it is no failure of
/// the operation around it.
void Drive::lockMedium(bool lock) {
    if (!m_keepsMedium || lock == m_isMediumLocked)
        return;
    const zel::Wording text = errorText();
    m_isMediumLocked = doPreventMediumRemoval(lock) == LIBDRIVE2_NO_ERROR && lock;
    m_errorText = text;
    m_describeError = nullptr;
}

_LIBDRIVE2_ERROR_TYPES Drive::doPreventMediumRemoval(bool /*prevent*/) {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the medium cannot be locked in");
}

_LIBDRIVE2_ERROR_TYPES Drive::doEjectDrive() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive has no tray");
}
_LIBDRIVE2_ERROR_TYPES Drive::doLoadDrive() {
    return fail(LIBDRIVE2_NOT_SUPPORTED, "the drive has no tray");
}

}  // namespace libDrive2
