#include "libDrive2/sim/SimUfiDevice.h"

#include <algorithm>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimIdentity.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kMaxTransferBytes = std::size_t{64} << 10;

// Geometry of a high-density diskette, 80 cylinders at 300 turns a minute.
constexpr std::uint8_t kMediumType = 0x94;
constexpr std::uint8_t kHeads = 2;
constexpr std::uint8_t kSectorsPerTrack = 18;
constexpr std::uint16_t kKilobitsPerSecond = 500;
constexpr std::uint16_t kTurnsPerMinute = 300;

using Bytes = std::vector<std::uint8_t>;

Bytes errorRecoveryPage() {
    Bytes page(12);
    page[0] = 0x01;
    page[1] = 10;
    page[2] = 0x04;  // PER: recovered errors are reported
    return page;
}

Bytes flexibleDiskPage(const SimMedium& medium) {
    constexpr std::uint64_t kSectorsPerCylinder = std::uint64_t{kHeads} * kSectorsPerTrack;
    constexpr std::uint64_t kMaxCylinders = 0xFFFF;
    Bytes page(32);
    page[0] = 0x05;
    page[1] = 30;
    putBigEndian(&page[2], 2, kKilobitsPerSecond);
    page[4] = kHeads;
    page[5] = kSectorsPerTrack;
    putBigEndian(&page[6], 2, medium.options().sectorBytes);
    putBigEndian(&page[8], 2, std::min(medium.options().sectors / kSectorsPerCylinder, kMaxCylinders));
    putBigEndian(&page[28], 2, kTurnsPerMinute);
    return page;
}

}  // namespace

SimUfiDevice::SimUfiDevice(std::shared_ptr<SimMedium> medium, bool writable)
    : SimBlockTarget(std::move(medium), writable, kMaxTransferBytes) {}

bool SimUfiDevice::perform(SimScsiCommand& command) {
    using Self = SimUfiDevice;
    static constexpr Entry<Self> kCommands[] = {
        {0x00, &Self::testUnitReady},
        {0x03, &Self::requestSense},
        {0x12, &Self::inquiry},
        {0x1B, &Self::startStopUnit},
        {0x1E, &Self::preventAllowMediumRemoval},
        {0x23, &Self::readFormatCapacities},
        {0x25, &Self::readCapacity10},
        {0x28, &Self::readSectors},
        {0x2A, &Self::writeSectors},
        {0x2B, &Self::seekSector},
        {0x2F, &Self::verifySectors},
        {0x5A, &Self::modeSense},
        {0xA8, &Self::readSectors},
        {0xAA, &Self::writeSectors},
    };
    return dispatch(*this, kCommands, command);
}

void SimUfiDevice::inquiry(SimScsiCommand& command) {
    if (command.byte(1) != 0 || command.byte(2) != 0)
        return command.fail(kInvalidField);
    Bytes bytes(36);
    bytes[1] = 0x80;  // the medium can be removed
    bytes[3] = 0x01;  // response data format
    bytes[4] = static_cast<std::uint8_t>(bytes.size() - 5);
    putText(&bytes[8], 8, kSimVendor);
    putText(&bytes[16], 16, traitsOf(medium().options().kind).product);
    putText(&bytes[32], 4, identify(medium()).firmware);
    command.answer(bytes, command.byte(4));
}

void SimUfiDevice::readFormatCapacities(SimScsiCommand& command) {
    constexpr std::uint8_t kFormattedMedium = 0x02;
    constexpr std::uint8_t kNoMediumPresent = 0x03;
    Bytes bytes(12);
    bytes[3] = 8;  // one descriptor: the medium's size, or the largest that the drive can hold
    putBigEndian(&bytes[4], 4, medium().options().sectors);
    bytes[8] = medium().isPresent() ? kFormattedMedium : kNoMediumPresent;
    putBigEndian(&bytes[9], 3, medium().options().sectorBytes);
    command.answer(bytes, command.field(7, 2));
}

void SimUfiDevice::modeSense(SimScsiCommand& command) {
    constexpr std::uint8_t kAll = 0x3F;
    const std::uint8_t page = command.byte(2) & 0x3F;
    const Bytes errorRecovery = errorRecoveryPage();
    const Bytes flexibleDisk = flexibleDiskPage(medium());
    Bytes bytes(8);
    bytes[2] = medium().isPresent() ? kMediumType : 0;
    bytes[3] = medium().isWriteProtected() ? 0x80 : 0;
    for (const Bytes& known : {errorRecovery, flexibleDisk})
        if (page == kAll || page == known[0])
            bytes.insert(bytes.end(), known.begin(), known.end());
    if (bytes.size() == 8)
        return command.fail(kInvalidField);
    putBigEndian(bytes.data(), 2, bytes.size() - 2);
    command.answer(bytes, command.field(7, 2));
}

}  // namespace libDrive2
