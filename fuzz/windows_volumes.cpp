#include <bit>
#include <functional>
#include <limits>

#include "fuzz/Invariants.h"
#include "libDrive2/windows/answers/DeviceIdentifiers.h"
#include "libDrive2/windows/answers/DiskExtents.h"
#include "libDrive2/windows/answers/DriveLayout.h"
#include "libDrive2/windows/answers/ZonedDevice.h"
#include "zel/windows/StorageAnswers.h"

namespace libDrive2::fuzz {
namespace {

Found findDescriptor(Bytes answer) {
    const auto found = zel::parseDeviceDescriptor(answer);
    if (!found)
        return {};
    requireTexts({found->vendor, found->product, found->revision, found->serial});
    require(found->deviceType <= 0x1F, "a peripheral device type has five bits");
    requireTexts({worldWideNameInSerial(found->serial)});
    return {found->deviceType, found->isRemovable, static_cast<std::uint64_t>(found->bus),
            std::hash<std::string>()(found->vendor + "|" + found->product + "|" + found->revision + "|" +
                                     found->serial)};
}

Found findIdentifiers(Bytes answer) {
    const std::vector<DeviceIdentifier> identifiers = parseDeviceIdentifiers(answer);
    const std::string name = worldWideName(identifiers);
    requireTexts({name});
    require(name.empty() || !identifiers.empty(), "a name comes from somewhere");
    Found found{std::hash<std::string>()(name)};
    for (const DeviceIdentifier& each : identifiers) {
        require(!each.bytes.empty(), "an identifier has bytes");
        found.push_back(each.bytes.size());
    }
    return found;
}

void requireStretch(std::uint64_t start, std::uint64_t bytes) {
    constexpr std::uint64_t kMost = std::numeric_limits<std::int64_t>::max();
    require(bytes > 0 && start <= kMost && bytes <= kMost - start, "a stretch lies on a disk");
}

void checkVolumes(Bytes answer) {
    if (const auto extents = parseDiskExtents(answer)) {
        require(!extents->empty(), "a volume lies somewhere");
        for (const DiskExtent& extent : *extents)
            requireStretch(extent.start, extent.bytes);
    }
    if (const auto layout = parseDriveLayout(answer))
        for (const LayoutPartition& part : layout->partitions) {
            requireStretch(part.start, part.bytes);
            require((part.mbrType == 0) != part.gptType.empty(),
                    "a partition has a type of its table's kind");
            require(part.gptType.empty() || part.gptType.size() == 36, "a GUID's text has one length");
        }
    (void)isHostManaged(answer);
}

}  // namespace

/// The input is an answer, read as if to each question in turn.
void check(Bytes input) {
    const std::size_t stated = loadLittleEndian<std::uint32_t>(input, 4);
    requireSameWithout(input, stated, findDescriptor);
    requireSameWithout(input, stated, findIdentifiers);
    checkVolumes(input);
    if (const auto geometry = zel::parseDiskGeometry(input))
        require(std::has_single_bit(geometry->sectorBytes) && geometry->sectorBytes >= 128 &&
                    geometry->bytes.value_or(0) >> 63 == 0,
                "a disk has a size that can be an offset, in sectors");
    if (const auto number = zel::parseDeviceNumber(input)) {
        require(zel::parseDeviceNumber(slice(input, 0, 12)) == number, "a number has three fields");
        require(!number->isOptical() || !number->isPartition(), "discs have no partitions");
    }
    if (zel::namesFloppyMedium(input))
        require(input.size() >= 24, "a medium is told of as a whole");
    requireTexts({zel::parseScsiAddress(input)});
}

}  // namespace libDrive2::fuzz
