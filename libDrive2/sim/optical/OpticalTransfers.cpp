#include <algorithm>
#include <chrono>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

/// What the cache still holds takes about so long to write.
constexpr std::chrono::milliseconds kFlush{500};
constexpr SimSense kDataPhaseError{0xB, 0x4B, 0x00};

/// The sectors of a command that the caller's buffer has room for.
std::uint32_t sectorsOf(const OpticalCommand& command, DataDirection direction) {
    return static_cast<std::uint32_t>(
        std::min<std::size_t>(command.extent().count, command.bufferBytes(direction) / kOpticalSectorBytes));
}

/// Whether the write parameters fit what is written. Session at once needs a cue sheet on a CD, which this
/// drive does not take, and a reserved track on a DVD; recording that jumps between layers goes on so.
OpticalRefusal checkWriteType(const OpticalUnit& unit, std::uint64_t lba) {
    using WriteType = OpticalModePages::WriteType;
    const OpticalDisc& disc = *unit.tray.disc();
    const WriteType type = unit.modePages.writeType();
    if (disc.type().jumpsLayers() && type != WriteType::layerJump)
        return kIllegalMode;
    if (type != WriteType::sessionAtOnce || !disc.isSequential())
        return std::nullopt;
    const OpticalTracks& tracks = disc.tracks();
    const OpticalTrack* const track = tracks.byNumber(tracks.numberAt(static_cast<std::uint32_t>(lba)));
    const bool isReserved = track != nullptr && track->reserved;
    return disc.type().isDvdMinus() == isReserved ? std::nullopt : OpticalRefusal(kSequenceError);
}

void finish(OpticalCommand& command, const SimOutcome& outcome, std::uint64_t lba, std::uint32_t sectors) {
    command.setTransferred((outcome.ok() ? sectors : outcome.lba - lba) * kOpticalSectorBytes);
    command.finish(outcome);
}

}  // namespace

void readCapacity(OpticalUnit& unit, OpticalCommand& command) {
    const std::uint32_t sectors = unit.tray.disc()->readableSectors();
    std::vector<std::uint8_t> bytes(8);
    putBigEndian(bytes.data(), 4, sectors == 0 ? 0 : sectors - 1);
    putBigEndian(&bytes[4], 4, kOpticalSectorBytes);
    command.answer(bytes, bytes.size());
}

void readSectors(OpticalUnit& unit, OpticalCommand& command) {
    const auto [lba, count] = command.extent();
    if (!command.accept(unit.tray.disc()->checkRead(lba, count)))
        return;
    const std::uint32_t taken = sectorsOf(command, DataDirection::fromDevice);
    zel::Clock::current().sleep(unit.speeds.timeToRead(taken));
    finish(command, unit.tray.disc()->read(lba, taken, command.buffer()), lba, taken);
}

void writeSectors(OpticalUnit& unit, OpticalCommand& command) {
    const auto [lba, count] = command.extent();
    OpticalDisc& disc = *unit.tray.disc();
    if (!command.accept(disc.checkWrite(lba, count)) || !command.accept(checkWriteType(unit, lba)))
        return;
    const std::uint32_t given = sectorsOf(command, DataDirection::toDevice);
    if (given < count)
        return command.fail(kDataPhaseError);
    zel::Clock::current().sleep(unit.speeds.timeToWrite(given));
    finish(command, disc.write(lba, given, command.buffer(), unit.modePages.isTestWrite()), lba, given);
}

void verifySectors(OpticalUnit& unit, OpticalCommand& command) {
    const auto [lba, count] = command.extent();
    if (!command.accept(unit.tray.disc()->checkRead(lba, count)))
        return;
    zel::Clock::current().sleep(unit.speeds.timeToRead(count));
    command.finish(unit.tray.disc()->verify(lba, count));
}

void seekSector(OpticalUnit& unit, OpticalCommand& command) {
    const std::uint64_t lba = command.field(2, 4);
    if (lba >= unit.tray.disc()->capacity())
        return command.fail(kBeyondEnd);
    command.finish(unit.tray.disc()->seek(lba));
}

void synchronizeCache(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kImmediateBit = 0x02;
    OpticalDisc& disc = *unit.tray.disc();
    const bool isDirty = disc.isDirty();
    disc.synchronize();
    if (isDirty)
        unit.operation.start(kLongWriteInProgress, kFlush, (command.byte(1) & kImmediateBit) != 0);
}

}  // namespace libDrive2::optical
