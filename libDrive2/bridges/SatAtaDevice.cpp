#include "libDrive2/bridges/SatAtaDevice.h"

#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/AtaPassThrough.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/drives/UnitAttention.h"

namespace libDrive2 {

SatAtaDevice::SatAtaDevice(std::unique_ptr<ScsiPassThrough> path, bool isTagging)
    : m_path(std::move(path)), m_isTagging(isTagging) {
    identify();
}

AtaResponse SatAtaDevice::execute(const AtaRequest& request) {
    // A unit that only had news to tell has not passed the command on.
    const ScsiResponse response = executePast(News::ofUnit, *m_path, ata::toPassThrough(request)).response;
    AtaResponse answer = ata::fromPassThrough(response, request);
    const bool failed = !answer.delivery.ok() || (answer.status & 0x21) != 0;
    if (!failed && response.transferredBytes < request.dataBytes)
        answer.delivery = {LIBDRIVE2_LINK_ERROR, "only " + std::to_string(response.transferredBytes) +
                                                     " of " + std::to_string(request.dataBytes) +
                                                     " bytes were transferred"};
    return answer;
}

/// The same drive must show the same size both ways: a bridge that hides or moves sectors, or that makes up
/// an identity, would have the ATA commands reach others than those that the system knows by their numbers.
void SatAtaDevice::identify() {
    std::uint8_t data[ata::kSectorOfAnswer] = {};
    const AtaResponse answer = execute(ata::withData(ata::identifyDevice(), data, sizeof data));
    const auto identity = ata::statusOf(answer).ok() ? ata::parseIdentity(data) : std::nullopt;
    m_initialized = identity && identity->isAta && identity->sectors != 0;
    DeviceStatus why;
    const auto capacity = ScsiUnit(*m_path).capacity(false, why);
    m_emulated = m_initialized && capacity &&
                 (capacity->sectors != identity->sectors || capacity->sectorBytes != identity->sectorBytes);
}

DeviceStatus SatAtaDevice::reopen() {
    DeviceStatus status = m_path->reopen();
    if (status.ok())
        identify();
    return status;
}

}  // namespace libDrive2
