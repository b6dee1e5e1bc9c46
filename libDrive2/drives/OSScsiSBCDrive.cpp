#include "libDrive2/OSScsiSBCDrive.h"

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/ScsiUnit.h"

namespace libDrive2 {

OSScsiSBCDrive::OSScsiSBCDrive(SharedBlockHandle handle, SharedScsiPassThrough passThrough,
                               zel::String osLocator)
    : ScsiMechanics(std::move(handle), std::move(osLocator)), m_passThrough(std::move(passThrough)) {
    (void)OSScsiSBCDrive::doQueryDeviceInfo();
    setAnswerProbe([this] { return ScsiUnit(*m_passThrough).answers(); });
}

_LIBDRIVE2_ERROR_TYPES OSScsiSBCDrive::doQueryDeviceInfo() {
    const std::optional<scsi::Inquiry> inquiry = ScsiUnit(*m_passThrough).inquiry();
    m_isRemovable = inquiry ? inquiry->removable : OSDrive::isMediaRemovable();
    return OSDrive::doQueryDeviceInfo();
}

bool OSScsiSBCDrive::isMediaRemovable() {
    return m_isRemovable;
}

bool OSScsiSBCDrive::isMediaPresent() {
    if (!m_isRemovable)
        return true;
    // The block interface notices a new medium only when it is asked, and before another has heard the
    // drive's news of it.
    const bool isSeen = OSDrive::isMediaPresent();
    return ScsiUnit(*m_passThrough).readiness() == ScsiUnit::Readiness::ready && isSeen;
}

std::unique_ptr<TemperatureAccessor> OSScsiSBCDrive::getTemperatureAccessor() {
    auto told = scsiTemperature(m_passThrough);
    return told != nullptr ? std::move(told) : OSDrive::getTemperatureAccessor();
}

bool OSScsiSBCDrive::reOpenHandle() {
    DeviceStatus status = m_passThrough->reopen();
    if (status.ok())
        return OSDrive::reOpenHandle() && queryDeviceInfo();
    lastError = fail(status.type, std::move(status.text));
    return false;
}

_LIBDRIVE2_ERROR_TYPES OSScsiSBCDrive::perform(const ScsiRequest& request, const DriveAction& action) {
    const scsi::Outcome outcome = ScsiUnit(*m_passThrough).execute(request);
    if (!outcome.status.ok())
        return fail(outcome.status.type, failureOf(action, osLocator(), outcome.status.text),
                    outcome.status.text);
    if (!outcome.recovered.empty())
        noteRecovered(recoveryOf(action, osLocator(), outcome.recovered));
    return LIBDRIVE2_NO_ERROR;
}

/// The system has one error number for much of what is no fault of the medium: the unit itself knows.
DeviceStatus OSScsiSBCDrive::explain(DeviceStatus status) {
    if (status.type != LIBDRIVE2_MEDIA_ERROR && status.type != LIBDRIVE2_DRIVE_ERROR)
        return status;
    const scsi::Outcome outcome = ScsiUnit(*m_passThrough).execute(scsi::testUnitReady());
    const bool cannotBeReached =
        outcome.status.type == LIBDRIVE2_NO_ACCESS || outcome.status.type == LIBDRIVE2_BUSY;
    return cannotBeReached ? outcome.status : status;
}

_LIBDRIVE2_ERROR_TYPES OSScsiSBCDrive::doSyncCache() {
    return doFlushCache();
}

_LIBDRIVE2_ERROR_TYPES OSScsiSBCDrive::doFlushCache() {
    // What was written through the block interface must have left the system first.
    if (const _LIBDRIVE2_ERROR_TYPES error = OSDrive::doFlushCache(); error != LIBDRIVE2_NO_ERROR)
        return error;
    const _LIBDRIVE2_ERROR_TYPES error = perform(scsi::synchronizeCache(), {kFlushing});
    return error == LIBDRIVE2_NOT_SUPPORTED ? LIBDRIVE2_NO_ERROR : error;
}

}  // namespace libDrive2
