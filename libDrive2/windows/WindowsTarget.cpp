#include "libDrive2/windows/WindowsTarget.h"

#include <algorithm>

#include "libDrive2/windows/DevicePath.h"
#include "zel/Format.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;

/// The 128-bit number where the file system has one, else the older one of 64 bits.
std::optional<FileNumber> askFile(HANDLE file) {
    FILE_ID_INFO id{};
    if (SystemCalls::current().getFileInformationEx(file, FileIdInfo, &id, sizeof id) != FALSE)
        return FileNumber{
            id.VolumeSerialNumber,
            zel::format("%016x%016x", zel::loadLittleEndian<std::uint64_t>(id.FileId.Identifier, 8),
                        zel::loadLittleEndian<std::uint64_t>(id.FileId.Identifier, 0))
                .utf8()};
    BY_HANDLE_FILE_INFORMATION older{};
    if (SystemCalls::current().getFileInformation(file, &older) == FALSE)
        return std::nullopt;
    const std::uint64_t index = std::uint64_t{older.nFileIndexHigh} << 32 | older.nFileIndexLow;
    return FileNumber{older.dwVolumeSerialNumber, zel::format("%016x", index).utf8()};
}

bool isFolder(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION found{};
    return SystemCalls::current().getFileInformation(file, &found) != FALSE &&
           (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

}  // namespace

std::optional<std::vector<DiskExtent>> askExtents(HANDLE volume) {
    return parseDiskExtents(zel::askDevice(volume, IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS));
}

std::wstring diskPath(std::uint32_t number) {
    return zel::devicePath(zel::kDiskPrefix, number);
}

WindowsTarget WindowsTarget::of(HANDLE opened, const zel::String& path) {
    WindowsTarget target;
    if (!namesDevice(path)) {
        target.kind = isFolder(opened) ? Kind::folder : Kind::file;
        target.file = askFile(opened);
        return target;
    }
    target.letter = zel::letterInName(zel::deviceName(zel::toWide(path.utf8())));
    if (auto extents = askExtents(opened)) {
        target.kind = Kind::volume;
        target.extents = std::move(*extents);
        return target;
    }
    // A number alone proves nothing: what only passes on to a file answers it, too.
    const auto number = zel::askNumber(opened);
    const auto descriptor = zel::askDescriptor(opened);
    if (number && (descriptor || zel::askGeometry(opened))) {
        const bool isOptical =
            number->isOptical() || (descriptor && descriptor->deviceType == zel::kTypeOptical);
        target.kind = isOptical ? Kind::optical : Kind::disk;
        target.number = *number;
        return target;
    }
    if (zel::namesFloppyMedium(zel::askDevice(opened, IOCTL_STORAGE_GET_MEDIA_TYPES))) {
        target.kind = Kind::floppy;
        return target;
    }
    target.file = askFile(opened);
    if (target.file && target.file->volume != 0)
        target.kind = Kind::file;
    return target;
}

bool WindowsTarget::meets(const std::vector<DiskExtent>& others) const {
    const auto isHere = [this](const DiskExtent& other) {
        return (kind == Kind::disk && other.disk == number.number) ||
               std::any_of(extents.begin(), extents.end(), [&other](const DiskExtent& own) {
                   return own.disk == other.disk && own.start < other.start + other.bytes &&
                          other.start < own.start + own.bytes;
               });
    };
    return std::any_of(others.begin(), others.end(), isHere);
}

}  // namespace libDrive2
