#include "MediumSearch.h"

#include <algorithm>

#include "../../Events.h"
#include "../../Parameters.h"

namespace libDriveTest {

using libDrive2::LIBDRIVE2_MEDIA_CORRECT;
using libDrive2::LIBDRIVE2_MEDIA_INCORRECT;
using libDrive2::LIBDRIVE2_MEDIA_NONE;
using libDrive2::LIBDRIVE2_MEDIA_NOT_OPENED;

namespace {

constexpr std::uint32_t kMediaTimeoutMs = 6000;

}  // namespace

MediumSearch::MediumSearch(const MediumRequest& request, zel::Logger& logger)
    : m_logger(logger),
      m_device(request.device),
      m_state(request.mediaState),
      m_openArgument1(request.openArgument1),
      m_openArgument2(request.openArgument2) {}

bool MediumSearch::run() {
    m_state = LIBDRIVE2_MEDIA_NONE;
    DriveTestMMC::parseProfileList();
    readSettings();
    if (!open())
        return false;
    if (!m_drive->isMediaCorrect()) {
        disableAutoRun();
        if (!m_alwaysEject)
            m_drive->loadDrive();
    }
    const bool found = repeat();
    if (m_autoRunOff)
        DriveTest::settleAutoRun(*m_drive, found);
    return found;
}

void MediumSearch::readSettings() {
    m_mayPrompt = parameters::promptUserForMedia.value() && DiagModule::promptEnabled();
    m_doNotEject = parameters::doNotEject.value();
    m_alwaysEject = parameters::alwaysEject.value() && m_mayPrompt && !m_doNotEject;
    m_maxTries = parameters::maxRetries.value();
}

bool MediumSearch::open() {
    m_handle = libDrive2::ScsiDevice::openScsiDevice(DriveTest::getScsiIOLocator(m_device), m_openArgument1,
                                                     m_openArgument2);
    if (!m_handle) {
        const auto where = std::source_location::current();
        DiagModule::warning(events::cannotOpenDeviceRemoved.get(), where.file_name(),
                            static_cast<int>(where.line()));
        m_state = LIBDRIVE2_MEDIA_NOT_OPENED;
        return false;
    }
    m_drive = named(std::make_unique<libDrive2::ScsiMMCDrive>(m_handle));
    return true;
}

void MediumSearch::disableAutoRun() {
    if (m_drive->disableAutoRun())
        m_autoRunOff = true;
}

bool MediumSearch::repeat() {
    for (std::uint32_t attempts = 0; mayGoOn(); ++attempts) {
        if (m_maxTries != 0 && attempts >= m_maxTries)
            return false;
        lookForMedium(attempts == 0);
        String message;
        if (judgeMedium(message))
            return true;
        if (isLost() || !m_mayPrompt || !askForAnother(message, attempts))
            return false;
    }
    return false;
}

void MediumSearch::lookForMedium(bool isFirst) {
    m_state = LIBDRIVE2_MEDIA_NONE;
    if (isFirst && m_alwaysEject)
        return;
    if (m_drive->waitForMedia(kMediaTimeoutMs))
        m_state = m_drive->isMediaCorrect() ? LIBDRIVE2_MEDIA_CORRECT : LIBDRIVE2_MEDIA_INCORRECT;
}

bool MediumSearch::judgeMedium(String& message) {
    if (m_state != LIBDRIVE2_MEDIA_CORRECT)
        return false;
    Medium medium;
    medium.profile = m_drive->getCurrentProfile();
    medium.capabilities = m_drive->mediaCapabilties();
    const Verdict verdict = examine(medium, message);
    if (verdict == Verdict::fits)
        return true;
    if (verdict == Verdict::unsupported)
        m_logger.line(3, "MMC profile unsupported : ", zel::formatted("0x%x", medium.profile));
    m_state = LIBDRIVE2_MEDIA_INCORRECT;
    return false;
}

/// Else a drive that was pulled would be one without a medium.
bool MediumSearch::isLost() {
    const auto error = m_drive->availability();
    if (error == libDrive2::LIBDRIVE2_NO_ERROR)
        return false;
    const bool isBusy = error == libDrive2::LIBDRIVE2_BUSY;
    m_state = isBusy ? libDrive2::LIBDRIVE2_MEDIA_BUSY : LIBDRIVE2_MEDIA_NOT_OPENED;
    const auto where = std::source_location::current();
    DiagModule::warning(isBusy ? events::deviceBusy.get() : events::cannotOpenDeviceRemoved.get(),
                        where.file_name(), static_cast<int>(where.line()));
    return true;
}

bool MediumSearch::askForAnother(const String& message, std::uint32_t attempts) {
    if (!m_doNotEject && m_drive->isMediaRemovable())
        m_drive->ejectDrive();
    beforePrompt();
    const bool isWrongAgain = attempts > 0 && m_state == LIBDRIVE2_MEDIA_INCORRECT;
    const MessageBox2_Returns answer = DriveTest::__promptForMedia(
        zel::CopiedResource<zel::PointerStorage<Drive>>(m_drive.get()), false, isWrongAgain, message);
    if (answer == MessageBox2_Returns::OK) {
        m_drive->loadDrive();
        return !DiagModule::checkForStop();
    }
    if (answer == MessageBox2_Returns::CANCEL) {
        DiagModule::requestAbort();
        m_drive->loadDrive();
    }
    return false;
}

bool MediumSearch::isAccepted(std::uint32_t profile) {
    return std::ranges::find(DriveTestMMC::s_profiles, profile) != DriveTestMMC::s_profiles.end();
}

}  // namespace libDriveTest
