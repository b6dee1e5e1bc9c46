#include "libDrive2/commands/UfiCommands.h"

namespace libDrive2::ufi {

namespace {

constexpr std::uint8_t kReadFormatCapacities = 0x23;
constexpr std::uint8_t kCommandBytes = 12;
constexpr std::size_t kListHeaderBytes = 4;
constexpr std::size_t kDescriptorBytes = 8;

}  // namespace

ScsiRequest padded(ScsiRequest request) {
    // Longer ones do not exist in this set; the drive refuses them as it should.
    if (request.cdbBytes < kCommandBytes)
        request.cdbBytes = kCommandBytes;
    return request;
}

ScsiRequest readFormatCapacities(std::uint16_t allocation) {
    ScsiRequest request;
    request.cdb[0] = kReadFormatCapacities;
    request.cdbBytes = kCommandBytes;
    request.direction = DataDirection::fromDevice;
    storeBigEndian(request.cdb, 7, allocation);
    return request;
}

std::optional<FormatCapacity> parseFormatCapacities(Bytes answer) {
    // The list begins with the current or maximum capacity descriptor.
    const Bytes list = slice(answer, kListHeaderBytes, byteAt(answer, 3));
    if (list.size() < kDescriptorBytes)
        return std::nullopt;
    const std::uint8_t code = list[4] & 0x03;
    if (code == 0)
        return std::nullopt;
    FormatCapacity found;
    found.medium = static_cast<FormatCapacity::Medium>(code);
    const std::uint32_t sectorBytes = loadBigEndian<std::uint32_t>(list, 4) & 0xFFFFFF;
    const auto sectors = loadBigEndian<std::uint32_t>(list, 0);
    if (found.medium == FormatCapacity::Medium::none)
        return found;
    if (sectorBytes < 128 || sectorBytes > 65536 || sectors == 0)
        return std::nullopt;
    found.capacity = {sectors, sectorBytes, sectorBytes};
    return found;
}

}  // namespace libDrive2::ufi
