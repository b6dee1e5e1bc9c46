#include "libDrive2/ScsiDrive.h"

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "zel/Format.h"

namespace libDrive2 {

ScsiDrive::ScsiDrive(SharedScsiPassThrough passThrough) : m_passThrough(std::move(passThrough)) {
    (void)ScsiDrive::doQueryDeviceInfo();
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::doQueryDeviceInfo() {
    DeviceStatus why;
    const std::optional<scsi::Inquiry> inquiry = ScsiUnit(*m_passThrough).inquiry(&why);
    if (!inquiry)
        return fail(why.ok() ? LIBDRIVE2_DRIVE_ERROR : why.type,
                    "the drive does not tell what it is: " +
                        (why.ok() ? zel::String("its answer makes no sense") : why.text));
    m_isRemovable = inquiry->removable;
    return LIBDRIVE2_NO_ERROR;
}

bool ScsiDrive::isMediaRemovable() {
    return m_isRemovable;
}

bool ScsiDrive::isMediaPresent() {
    return ScsiUnit(*m_passThrough).readiness() == ScsiUnit::Readiness::ready;
}

bool ScsiDrive::isMediaLoading() {
    return ScsiUnit(*m_passThrough).readiness() == ScsiUnit::Readiness::becomingReady;
}

bool ScsiDrive::reOpenHandle() {
    DeviceStatus status = m_passThrough->reopen();
    lastError = status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, std::move(status.text));
    return lastError == LIBDRIVE2_NO_ERROR && queryDeviceInfo() && queryMediumInfo();
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::perform(const ScsiRequest& request, const DriveAction& action) {
    scsi::Outcome outcome = ScsiUnit(*m_passThrough).execute(request);
    if (!outcome.status.ok())
        return fail(outcome.status.type, describe(action, name) + " failed: " + outcome.status.text);
    if (outcome.transferredBytes < request.dataBytes)
        return fail(LIBDRIVE2_LINK_ERROR,
                    describe(action, name) + zel::format(" failed: only %u of %u bytes were transferred",
                                                         outcome.transferredBytes, request.dataBytes));
    if (!outcome.recovered.empty())
        noteRecovered(describe(action, name) + " needed recovery by the drive: " + outcome.recovered);
    return LIBDRIVE2_NO_ERROR;
}

bool ScsiDrive::doAnswers() {
    return ScsiUnit(*m_passThrough).answers();
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::doFlushCache() {
    return perform(scsi::synchronizeCache(), {"flushing the cache"});
}
_LIBDRIVE2_ERROR_TYPES ScsiDrive::doStartDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::start), {"starting the motor"});
}
_LIBDRIVE2_ERROR_TYPES ScsiDrive::doStopDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::stop), {"stopping the motor"});
}
_LIBDRIVE2_ERROR_TYPES ScsiDrive::doPreventMediumRemoval(bool prevent) {
    return perform(scsi::preventMediumRemoval(prevent),
                   {prevent ? "locking the medium" : "releasing the medium"});
}
_LIBDRIVE2_ERROR_TYPES ScsiDrive::doEjectDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::eject), {"ejecting the medium"});
}
_LIBDRIVE2_ERROR_TYPES ScsiDrive::doLoadDrive() {
    return perform(scsi::startStopUnit(scsi::StartStop::load), {"loading the medium"});
}

}  // namespace libDrive2
