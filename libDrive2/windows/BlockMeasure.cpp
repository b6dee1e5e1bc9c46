#include "libDrive2/windows/BlockMeasure.h"

#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/DiskAnswers.h"
#include "zel/windows/DeviceQuery.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kUsualSectorBytes = 512;

/// The driver does not know the question, which says nothing of the device.
bool isUnknown(DWORD error) {
    const _LIBDRIVE2_ERROR_TYPES type = errorTypeOf(error);
    return type == LIBDRIVE2_NOT_SUPPORTED || type == LIBDRIVE2_BAD_ARGUMENT;
}

/// Nothing, with the error that is no lack of knowledge, if any, for what cannot be asked.
std::optional<zel::DiskGeometry> geometryOf(HANDLE device, DWORD& error) {
    error = ERROR_SUCCESS;
    for (const DWORD code : {DWORD{IOCTL_DISK_GET_DRIVE_GEOMETRY_EX}, DWORD{IOCTL_DISK_GET_DRIVE_GEOMETRY}}) {
        const auto answer = zel::askDevice(device, code);
        if (answer.empty() && error == ERROR_SUCCESS && !isUnknown(GetLastError()))
            error = GetLastError();
        if (auto geometry = zel::parseDiskGeometry(answer))
            return geometry;
    }
    return std::nullopt;
}

}  // namespace

DWORD BlockMeasure::checkMedium() const {
    if (zel::tellDevice(m_device, IOCTL_STORAGE_CHECK_VERIFY2))
        return ERROR_SUCCESS;
    const DWORD error = GetLastError();
    return isUnknown(error) ? DWORD{ERROR_SUCCESS} : error;
}

bool BlockMeasure::isGone() const {
    const DWORD error = checkMedium();
    return errorTypeOf(error) == LIBDRIVE2_NO_ACCESS && !meansNoMedium(error) &&
           error != ERROR_MEDIA_CHANGED && error != ERROR_ACCESS_DENIED;
}

bool BlockMeasure::hasMedium() const {
    return !meansNoMedium(checkMedium());
}

bool BlockMeasure::isWriteProtected() const {
    return !zel::tellDevice(m_device, IOCTL_DISK_IS_WRITABLE) && GetLastError() == ERROR_WRITE_PROTECT;
}

bool BlockMeasure::isRemovable(bool otherwise) const {
    const auto told = windows::parseMediumRemovable(zel::askDevice(m_device, IOCTL_STORAGE_GET_HOTPLUG_INFO));
    const auto number = zel::askNumber(m_device);
    return told.value_or(otherwise) || (number && number->isOptical());
}

DeviceStatus BlockMeasure::askBytes(BlockDeviceInfo& info,
                                    const std::function<bool(std::uint64_t)>& exists) const {
    const auto answer = zel::askDevice(m_device, IOCTL_DISK_GET_LENGTH_INFO);
    const DWORD error = GetLastError();
    if (const auto bytes = windows::parseLength(answer)) {
        info.bytes = *bytes;
        return {};
    }
    if (error != ERROR_SUCCESS && !isUnknown(error))
        return systemStatus(error);
    LARGE_INTEGER bytes{};
    if (info.bytes == 0 && zel::SystemCalls::current().getFileSize(m_device, &bytes) != FALSE)
        info.bytes = static_cast<std::uint64_t>(bytes.QuadPart);
    if (info.bytes == 0)
        info.bytes = findEnd(info.logicalSectorBytes, exists);
    return {};
}

DeviceStatus BlockMeasure::measure(BlockDeviceInfo& info,
                                   const std::function<bool(std::uint64_t)>& exists) const {
    const DWORD state = checkMedium();
    DWORD error = ERROR_SUCCESS;
    const auto geometry = geometryOf(m_device, error);
    // Assumed sizes are for drives whose drivers know none, not for those that do not answer.
    if (!geometry && error != ERROR_SUCCESS && !meansNoMedium(error))
        return systemStatus(error);
    info.removable = isRemovable(geometry && geometry->isRemovable);
    info.bytes = geometry ? geometry->bytes.value_or(0) : 0;
    info.logicalSectorBytes = geometry ? geometry->sectorBytes : kUsualSectorBytes;
    const auto alignment = zel::askProperty(m_device, StorageAccessAlignmentProperty);
    info.physicalSectorBytes =
        windows::parsePhysicalSector(alignment, info.logicalSectorBytes).value_or(info.logicalSectorBytes);
    info.mediumPresent = !(info.removable && meansNoMedium(state));
    DeviceStatus status;
    if (info.mediumPresent)
        status = askBytes(info, exists);
    else
        info.bytes = 0;
    if (!status.ok() && !info.removable)
        return status;
    info.mediumPresent = status.ok() && info.mediumPresent && (!info.removable || info.bytes > 0);
    info.bytes = info.mediumPresent ? info.bytes : 0;
    return {};
}

/// Doubles until nothing is there, then halves what lies between.
std::uint64_t findEnd(std::uint32_t sectorBytes, const std::function<bool(std::uint64_t)>& exists) {
    constexpr std::uint64_t kMostSectors = std::uint64_t{1} << 48;
    const auto holds = [&](std::uint64_t sector) { return exists(sector * sectorBytes); };
    if (!holds(0))
        return 0;
    std::uint64_t present = 0, absent = 1;
    for (; absent <= kMostSectors && holds(absent); absent *= 2)
        present = absent;
    if (absent > kMostSectors)
        return 0;
    while (absent - present > 1) {
        const std::uint64_t middle = present + (absent - present) / 2;
        (holds(middle) ? present : absent) = middle;
    }
    return absent * sectorBytes;
}

}  // namespace libDrive2
