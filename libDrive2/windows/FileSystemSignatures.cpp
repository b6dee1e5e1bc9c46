#include "libDrive2/windows/FileSystemSignatures.h"

#include <string_view>
#include <vector>

namespace libDrive2 {

namespace {

using std::string_view_literals::operator""sv;

struct Signature {
    std::uint64_t offset;
    std::string_view bytes;
    const char* type;
};
/// What encrypts comes first: it looks like the file systems beside which it can be mounted.
constexpr Signature kSignatures[] = {
    {0, "LUKS\xBA\xBE"sv, "crypto_LUKS"},
    {3, "-FVE-FS-"sv, "BitLocker"},
    {3, "NTFS    "sv, "ntfs"},
    {3, "EXFAT   "sv, "exfat"},
    {3, "ReFS\0"sv, "ReFS"},
    {82, "FAT32   "sv, "vfat"},
    {54, "FAT16   "sv, "vfat"},
    {54, "FAT12   "sv, "vfat"},
    {0, "XFSB"sv, "xfs"},
    {32, "NXSB"sv, "apfs"},
    {536, "LVM2 001"sv, "LVM2_member"},
    {1024, "H+\0\4"sv, "hfsplus"},
    {1080, "\x53\xEF"sv, "ext"},
    {4086, "SWAPSPACE2"sv, "swap"},
    {32769, "CD001"sv, "iso9660"},
    {65600, "_BHRfS_M"sv, "btrfs"},
};

bool holds(const SectorSource& device, std::uint64_t at, std::string_view wanted) {
    std::vector<std::uint8_t> sector(device.sectorBytes);
    const std::uint64_t lba = at / device.sectorBytes;
    const std::size_t within = at % device.sectorBytes;
    // None of them lies across the end of a sector.
    if (lba >= device.sectors || within + wanted.size() > sector.size() || !device.read(lba, sector.data()))
        return false;
    return std::string_view(reinterpret_cast<const char*>(sector.data()) + within, wanted.size()) == wanted;
}

}  // namespace

std::string findFileSystem(const SectorSource& device, std::uint64_t offset) {
    for (const Signature& signature : kSignatures)
        if (holds(device, offset + signature.offset, signature.bytes))
            return signature.type;
    return {};
}

}  // namespace libDrive2
