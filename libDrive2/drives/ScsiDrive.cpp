#include "libDrive2/ScsiDrive.h"

#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/drives/TransferPieces.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace libDrive2 {

ScsiDrive::ScsiDrive(SharedScsiPassThrough passThrough)
    : m_passThrough(std::move(passThrough)), m_pool(std::make_unique<CommandPool>()) {
    (void)ScsiDrive::doQueryDeviceInfo();
    setAnswerProbe([this] { return ScsiUnit(*m_passThrough).answers(); });
}

ScsiDrive::~ScsiDrive() = default;

_LIBDRIVE2_ERROR_TYPES ScsiDrive::doQueryDeviceInfo() {
    DeviceStatus why;
    const std::optional<scsi::Inquiry> inquiry = ScsiUnit(*m_passThrough).inquiry(&why);
    if (!inquiry)
        return fail(
            why.ok() ? LIBDRIVE2_DRIVE_ERROR : why.type,
            zel::worded("the drive does not tell what it is: {reason}",
                        {{"reason", why.ok() ? zel::worded("its answer makes no sense") : why.text}}));
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

bool ScsiDrive::disableAutoRun() {
    return m_passThrough->holdAutoRun(true);
}
bool ScsiDrive::reenableAutoRun() {
    return m_passThrough->holdAutoRun(false);
}

bool ScsiDrive::reOpenHandle() {
    DeviceStatus status = m_passThrough->reopen();
    lastError = status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, std::move(status.text));
    return lastError == LIBDRIVE2_NO_ERROR && queryDeviceInfo() && queryMediumInfo();
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::settle(const scsi::Outcome& outcome, std::size_t bytes,
                                         const DriveAction& action) {
    if (!outcome.status.ok())
        return fail(outcome.status.type, failureOf(action, name, outcome.status.text), outcome.status.text);
    if (outcome.transferredBytes < bytes)
        return fail(LIBDRIVE2_LINK_ERROR,
                    failureOf(action, name,
                              zel::worded("only {done} of {n} bytes were transferred",
                                          {{"done", outcome.transferredBytes}, {"n", bytes}})));
    if (!outcome.recovered.empty())
        noteRecovered(recoveryOf(action, name, outcome.recovered));
    return LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::perform(const ScsiRequest& request, const DriveAction& action) {
    return settle(ScsiUnit(*m_passThrough).execute(request), request.dataBytes, action);
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::transfer(const DriveAction& action, std::uint8_t* buffer,
                                           const TransferCut& cut, const MakeRequest& makeRequest) {
    return transferInPieces(
        action.lba, action.count, cut, *m_pool,
        [&](const TransferPiece& piece) {
            const std::size_t bytes = std::size_t{piece.count} * cut.sectorBytes;
            return ScsiUnit(*m_passThrough)
                .execute(scsi::withData(makeRequest(piece.lba, piece.count), buffer + piece.offset, bytes));
        },
        [&](const TransferPiece& piece, const scsi::Outcome& outcome) {
            return settle(outcome, std::size_t{piece.count} * cut.sectorBytes,
                          {action.what, piece.lba, piece.count});
        });
}

_LIBDRIVE2_ERROR_TYPES ScsiDrive::doFlushCache() {
    return perform(scsi::synchronizeCache(), {kFlushing});
}
}  // namespace libDrive2
