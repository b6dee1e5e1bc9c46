#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

void readCapacity(OpticalUnit& unit, OpticalCommand& command) {
    const std::uint32_t sectors = unit.tray.disc()->toldSectors();
    std::vector<std::uint8_t> bytes(8);
    putBigEndian(bytes.data(), 4, sectors == 0 ? 0 : sectors - 1);
    putBigEndian(&bytes[4], 4, kOpticalSectorBytes);
    command.answer(bytes, bytes.size());
}

void readSectors(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kForceUnitAccess = 0x08;
    const auto [lba, count] = command.extent();
    if (!command.accept(unit.tray.disc()->checkRead(lba, count)))
        return;
    const std::uint32_t taken = command.sectorsOf(DataDirection::fromDevice);
    const bool isForced = (command.byte(1) & kForceUnitAccess) != 0;
    if (unit.isStrict() && !isForced && unit.cache.answer(lba, taken, command.buffer()))
        return command.finishSectors({}, lba, taken);
    unit.writer.waitUntilEmpty();
    zel::Clock::current().sleep(unit.speeds.timeToRead(taken));
    const SimOutcome outcome = unit.tray.disc()->read(lba, taken, command.buffer());
    if (unit.isStrict() && outcome.ok())
        unit.cache.keep(lba, taken, command.buffer());
    command.finishSectors(outcome, lba, taken);
}

void verifySectors(OpticalUnit& unit, OpticalCommand& command) {
    const auto [lba, count] = command.extent();
    if (!command.accept(unit.tray.disc()->checkRead(lba, count)))
        return;
    unit.writer.waitUntilEmpty();
    zel::Clock::current().sleep(unit.speeds.timeToRead(count));
    command.finish(unit.tray.disc()->verify(lba, count));
}

void seekSector(OpticalUnit& unit, OpticalCommand& command) {
    const std::uint64_t lba = command.field(2, 4);
    if (lba >= unit.tray.disc()->capacity())
        return command.fail(kBeyondEnd);
    command.finish(unit.tray.disc()->seek(lba));
}

}  // namespace libDrive2::optical
