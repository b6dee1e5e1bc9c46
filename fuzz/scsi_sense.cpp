#include "fuzz/Invariants.h"
#include "libDrive2/commands/AtaCommands.h"
#include "libDrive2/commands/AtaPassThrough.h"
#include "libDrive2/commands/ScsiSense.h"
#include "libDrive2/commands/ScsiSenseText.h"

namespace libDrive2::fuzz {
namespace {

Found findSense(Bytes bytes) {
    const auto sense = scsi::parseSense(bytes);
    if (!sense)
        return {};
    requireTexts({scsi::describe(*sense)});
    requireStatus(scsi::statusOf(*sense));
    const scsi::AtaReturn ata = sense->ata.value_or(scsi::AtaReturn{});
    return {sense->deferred, sense->key, sense->code, sense->qualifier, sense->information.value_or(0),
            ata.error,       ata.status, ata.count,   ata.lba};
}

}  // namespace

/// The input: the status byte, how many bytes of sense data the transport claims, the sense data.
void check(Bytes input) {
    const Bytes sense = slice(input, 2, input.size());
    const std::size_t stated = sense.size() < 8 ? sense.size() : std::size_t{8} + sense[7];
    requireSameWithout(sense, stated, findSense);
    ScsiResponse response;
    response.status = byteAt(input, 0);
    response.senseBytes = byteAt(input, 1);
    std::copy_n(sense.begin(), std::min(sense.size(), response.sense.size()), response.sense.begin());
    const scsi::Outcome outcome = scsi::judge(response);
    requireStatus(outcome.status);
    requireTexts({outcome.recovered});
    require(response.status != 0 || (outcome.status.ok() && !outcome.repeat), "GOOD is good");
    require(outcome.recovered.empty() || outcome.status.ok(), "what was recovered is no failure");
    const AtaResponse answer = ata::fromPassThrough(response, {});
    const DeviceStatus status = ata::statusOf(answer);
    requireStatus(status);
    require(answer.lba < std::uint64_t{1} << 48, "an LBA has 48 bits");
    require(!status.ok() || (outcome.status.ok() && !outcome.repeat),
            "no ATA command succeeds where its carrier failed or was not executed");
    require(!status.ok() || !outcome.sense || !outcome.sense->ata || (outcome.sense->ata->status & 0x21) == 0,
            "the registers of a success have neither ERR nor DF");
}

}  // namespace libDrive2::fuzz
