#include "libDrive2/windows/StorageIds.h"

#include <algorithm>

#include "libDrive2/windows/VolumeMap.h"
#include "libDrive2/windows/answers/DeviceIdentifiers.h"
#include "zel/Format.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

using Kind = StorageId::Kind;
using zel::SystemCalls;

constexpr std::uint64_t kSizeUnit = 512;  ///< of the size in a serial number's id
constexpr DWORD kPathUnits = 32768;
constexpr const wchar_t* kStartsKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management\\PrefetchParameters";

/// When the system started, to the minute: no two starts are as close, and its clock is seldom set by as
/// much.
std::string startTime() {
    constexpr std::uint64_t kTicksInMs = 10'000, kMsInMinute = 60'000;
    FILETIME now{};
    GetSystemTimeAsFileTime(&now);
    const std::uint64_t ms = (std::uint64_t{now.dwHighDateTime} << 32 | now.dwLowDateTime) / kTicksInMs;
    return "at" + std::to_string((ms - GetTickCount64()) / kMsInMinute);
}

/// Which start of the system this is.
std::string bootId() {
    DWORD count = 0;
    DWORD bytes = sizeof count;
    const bool isCounted = SystemCalls::current().getRegistryValue(kStartsKey, L"BootId", RRF_RT_REG_DWORD,
                                                                   &count, &bytes) == ERROR_SUCCESS;
    return isCounted && bytes == sizeof count ? std::to_string(count) : startTime();
}

std::string hex(std::uint64_t value) {
    return zel::format("%016x", value).utf8();
}

/// Until the device is taken away or the system restarts.
StorageId passingIdOf(const char* what, std::uint32_t number) {
    return {Kind::boot, bootId() + ":" + what + ":" + std::to_string(number)};
}

/// The size is a disk's own; in an optical drive it is the medium's.
std::string sizeOf(HANDLE device, const zel::DeviceDescriptor& descriptor) {
    const auto geometry = zel::askGeometry(device);
    const bool isOwn = geometry && descriptor.deviceType != zel::kTypeOptical && !descriptor.isRemovable;
    return std::to_string(isOwn ? geometry->bytes.value_or(0) / kSizeUnit : 0);
}

StorageId idOfDevice(HANDLE device, const WindowsTarget& target) {
    const StorageId lasting = lastingIdOf(device);
    const char* const what = target.kind == WindowsTarget::Kind::optical ? "cdrom" : "disk";
    return lasting.empty() ? passingIdOf(what, target.number.number) : lasting;
}

/// Of a disk by its number; of one that does not answer, only while the system runs.
StorageId idOfDisk(std::uint32_t number) {
    const zel::Handle device = zel::openToAsk(diskPath(number));
    const auto answered = device ? zel::askNumber(device.get()) : std::nullopt;
    const StorageId lasting =
        answered && answered->number == number ? lastingIdOf(device.get()) : StorageId();
    return lasting.empty() ? passingIdOf("disk", number) : lasting;
}

std::vector<StorageExtent> storageOf(const std::vector<DiskExtent>& extents) {
    std::vector<StorageExtent> storage;
    storage.reserve(extents.size());
    for (const DiskExtent& extent : extents)
        storage.push_back({idOfDisk(extent.disk), extent.start, extent.bytes});
    return storage;
}

/// A name that lasts for a volume's stretch of a disk that has one.
StorageId idOfVolume(const std::vector<StorageExtent>& storage) {
    const bool isOneStretch = storage.size() == 1 && storage.front().id.kind != Kind::boot;
    return isOneStretch ? storage.front().id.part(storage.front().start, storage.front().bytes) : StorageId();
}

/// Where a file system keeps no such time, systems give that of a change instead, which does not last.
std::string birthOf(HANDLE file) {
    FILE_BASIC_INFO times{};
    if (SystemCalls::current().getFileInformationEx(file, FileBasicInfo, &times, sizeof times) == FALSE)
        return {};
    const auto birth = times.CreationTime.QuadPart;
    const bool isOwn =
        birth != 0 && birth != times.LastWriteTime.QuadPart && birth != times.ChangeTime.QuadPart;
    return isOwn ? std::to_string(birth) : std::string();
}

StorageId idOfFile(HANDLE file, const FileNumber& number) {
    StorageId id(Kind::file, hex(number.volume) + ":" + number.file);
    id.birth = birthOf(file);
    return id;
}

/// "\\?\Volume{…}" of a file's path in that form; empty for any other.
std::wstring volumeInPath(const std::wstring& path) {
    const auto end = path.find(L'}');
    return path.starts_with(L"\\\\?\\Volume{") && end != std::wstring::npos ? path.substr(0, end + 1)
                                                                            : std::wstring();
}

/// The volume that a file lies on, as the path that opens it; empty for one of another machine.
std::wstring volumeOf(HANDLE file) {
    std::wstring path(kPathUnits, L'\0');
    const DWORD units = SystemCalls::current().getFinalPath(file, path.data(), kPathUnits, VOLUME_NAME_GUID);
    if (units == 0 || units >= kPathUnits)
        return {};
    path.resize(units);
    return volumeInPath(path);
}

std::vector<StorageExtent> carriersOf(HANDLE file) {
    const std::wstring name = volumeOf(file);
    const zel::Handle volume = name.empty() ? zel::Handle() : zel::openToAsk(name);
    const auto extents = volume ? askExtents(volume.get()) : std::nullopt;
    return extents ? storageOf(*extents) : std::vector<StorageExtent>();
}

/// A device that tells nothing but a file's number: no more than that it is the same one while the system
/// runs.
StorageId idOfUnknown(const WindowsTarget& target) {
    return target.file ? StorageId(Kind::boot,
                                   bootId() + ":node:" + hex(target.file->volume) + ":" + target.file->file)
                       : StorageId();
}

}  // namespace

StorageId lastingIdOf(HANDLE device) {
    const auto descriptor = zel::askDescriptor(device);
    if (!descriptor)
        return {};
    std::string name =
        worldWideName(parseDeviceIdentifiers(zel::askProperty(device, StorageDeviceIdProperty)));
    if (descriptor->bus == zel::StorageBus::nvme && !name.starts_with("eui."))
        if (const std::string found = worldWideNameInSerial(descriptor->serial); !found.empty())
            name = found;
    // An adapter may answer for the drive in it. What an IEEE registered name says is the drive's own.
    if (descriptor->bus == zel::StorageBus::usb && !name.starts_with("naa."))
        return {};
    const std::string& serial = descriptor->serial;
    if (!name.empty())
        return {Kind::wwid, name + (serial.empty() ? "" : ";" + serial)};
    if (serial.empty())
        return {};
    return {Kind::serial, descriptor->product + ";" + serial + ";" + sizeOf(device, *descriptor)};
}

void identifyStorage(HANDLE opened, const WindowsTarget& target, DriveIdentity& identity) {
    StorageId id;
    switch (target.kind) {
        case WindowsTarget::Kind::disk:
        case WindowsTarget::Kind::optical:
            id = idOfDevice(opened, target);
            break;
        case WindowsTarget::Kind::volume:
            identity.storage = storageOf(target.extents);
            identity.id = idOfVolume(identity.storage);
            return;
        case WindowsTarget::Kind::file:
        case WindowsTarget::Kind::folder:
            if (target.file)
                id = idOfFile(opened, *target.file);
            identity.carriers = carriersOf(opened);
            break;
        case WindowsTarget::Kind::floppy:
            id = passingIdOf("floppy", target.letter);
            break;
        case WindowsTarget::Kind::unknown:
            id = idOfUnknown(target);
            break;
    }
    identity.id = id.kind == Kind::boot ? StorageId() : id;
    identity.storage = {{id}};
}

}  // namespace libDrive2
