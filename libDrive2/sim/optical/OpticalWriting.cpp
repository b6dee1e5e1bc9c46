#include <chrono>

#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

/// What the cache still holds takes about so long to write.
constexpr std::chrono::milliseconds kFlush{500};
constexpr std::chrono::seconds kLeadOut{20};
constexpr std::uint32_t kIncompleteTrack = 0xFF;  ///< the one that is being recorded
constexpr SimSense kDataPhaseError{0xB, 0x4B, 0x00};

/// Whether the write parameters fit what is written. Session at once needs a cue sheet on a CD, which this
/// drive does not take, and a reserved track on a DVD; recording that jumps between layers goes on so.
OpticalRefusal checkWriteType(const OpticalUnit& unit, const OpticalTrack* track) {
    const OpticalDisc& disc = *unit.tray.disc();
    const OpticalWriteType type = unit.modePages.writeType();
    if (disc.type().jumpsLayers() && type != OpticalWriteType::layerJump)
        return kIllegalMode;
    if (type != OpticalWriteType::sessionAtOnce || !disc.isSequential())
        return std::nullopt;
    const bool isReserved = track != nullptr && track->reserved;
    return disc.type().isDvdMinus() == isReserved ? std::nullopt : OpticalRefusal(kSequenceError);
}

OpticalRefusal checkMode(const OpticalUnit& unit, std::uint64_t lba) {
    const OpticalTracks& tracks = unit.tray.disc()->tracks();
    const OpticalTrack* const track = tracks.byNumber(tracks.numberAt(static_cast<std::uint32_t>(lba)));
    const OpticalRefusal refusal = checkWriteMode(unit, track);
    return refusal ? refusal : checkWriteType(unit, track);
}

/// Whether a strict drive's buffer takes the sectors. A host that does not wait for the calibration breaks
/// the recording off.
bool takeIntoBuffer(OpticalUnit& unit, OpticalCommand& command, std::uint64_t lba, std::uint32_t sectors) {
    if (!unit.writer.isCalibrated()) {
        if (command.timeout() < OpticalWriter::kCalibration) {
            zel::Clock::current().sleep(command.timeout());
            unit.tray.disc()->spoil(lba, sectors);
            unit.reset();
            command.expire();
            return false;
        }
        unit.writer.calibrate();
    }
    const auto taking = unit.speeds.timeToWrite(sectors);
    const auto wait = unit.writer.untilRoom(taking, unit.speeds.timeToWrite(OpticalWriter::kBufferSectors));
    // Where nothing is lost by waiting, drives let the command wait.
    if (wait.count() > 0 && unit.tray.disc()->isSequential()) {
        command.fail(kLongWriteInProgress);
        return false;
    }
    zel::Clock::current().sleep(wait);
    unit.writer.take(taking);
    return true;
}

}  // namespace

void writeSectors(OpticalUnit& unit, OpticalCommand& command) {
    const auto [lba, count] = command.extent();
    OpticalDisc& disc = *unit.tray.disc();
    if (!command.accept(disc.checkWrite(lba, count)) || !command.accept(checkMode(unit, lba)))
        return;
    const std::uint32_t given = command.sectorsOf(DataDirection::toDevice);
    if (given < count)
        return command.fail(kDataPhaseError);
    if (!unit.isStrict())
        zel::Clock::current().sleep(unit.speeds.timeToWrite(given));
    else if (given == 0 || !takeIntoBuffer(unit, command, lba, given))
        return;
    const bool test = unit.modePages.isTestWrite();
    const SimOutcome outcome = disc.write(lba, given, command.buffer(), test);
    if (disc.isSequential())
        disc.beginTrack(lba, unit.modePages.writeType());
    if (unit.isStrict() && outcome.ok() && !test)
        unit.cache.keep(lba, given, command.buffer());
    command.finishSectors(outcome, lba, given);
}

void synchronizeCache(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kImmediateBit = 0x02;
    OpticalDisc& disc = *unit.tray.disc();
    const bool isDirty = disc.isDirty() || unit.writer.remaining().count() > 0;
    disc.synchronize();
    if (!isDirty)
        return;
    zel::Clock::Duration duration = unit.writer.remaining() + kFlush;
    if (unit.isStrict() && disc.isSequential() && disc.type().isCd() &&
        unit.modePages.writeType() == OpticalWriteType::trackAtOnce)
        (void)disc.closeTrack(kIncompleteTrack);
    // The last sector of a DVD that is recorded at once ends it.
    const bool isAtOnce = unit.isStrict() && disc.isSequential() && disc.type().isDvdMinus() &&
                          unit.modePages.writeType() == OpticalWriteType::sessionAtOnce;
    if (isAtOnce && !disc.closeSession(true)) {
        unit.writer.endRecording();
        duration += kLeadOut;
    }
    unit.operation.start(kLongWriteInProgress, duration, (command.byte(1) & kImmediateBit) != 0);
}

}  // namespace libDrive2::optical
