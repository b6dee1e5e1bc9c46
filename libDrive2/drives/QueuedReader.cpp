#include "libDrive2/drives/QueuedReader.h"

#include <utility>

#include "libDrive2/commands/AtaCommands.h"

namespace libDrive2 {

namespace {

/// Whether the failure is this command's own, however many were beside it.
bool isOwn(const DeviceStatus& failure, const AtaResponse& response, const TransferPiece& piece) {
    switch (failure.type) {
        case LIBDRIVE2_MEDIA_ERROR:
            // Without registers it is the drive's sense data, which belongs to one command alone.
            return !response.delivery.ok() ||
                   (response.lba >= piece.lba && response.lba - piece.lba < piece.count);
        case LIBDRIVE2_LINK_ERROR:
        case LIBDRIVE2_TIMEOUT:
        case LIBDRIVE2_NO_ACCESS:
            return true;
        default:
            return false;
    }
}

}  // namespace

QueuedAnswer QueuedReader::read(AtaDevice& device, const TransferPiece& piece, void* data,
                                std::size_t bytes) {
    const AtaRequest alone = ata::withData(ata::readDma(piece.lba, piece.count, true), data, bytes);
    if (m_isGivenUp)
        return {device.execute(alone)};
    QueuedAnswer queued{device.execute(ata::withData(ata::readQueued(piece.lba, piece.count), data, bytes))};
    DeviceStatus failure = ata::statusOf(queued.response);
    if (failure.ok() || isOwn(failure, queued.response, piece))
        return queued;
    QueuedAnswer repeated{device.execute(alone)};
    if (!ata::statusOf(repeated.response).ok())
        return repeated;
    m_isGivenUp = true;
    // The drive has not seen what its adapter refuses.
    if (failure.type != LIBDRIVE2_NOT_SUPPORTED)
        repeated.trouble = std::move(failure.text);
    return repeated;
}

}  // namespace libDrive2
