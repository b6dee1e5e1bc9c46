#include "quix5/DeviceInventory.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "zel/windows/DeviceQuery.h"
#include "zel/windows/Utf16.h"

namespace quix5 {

namespace {

using zel::DeviceDescriptor;
using zel::StorageBus;

constexpr wchar_t kFloppyLetters[] = {L'A', L'B'};

/// Whether the heads of a disk have to move, which only disks that turn have; nothing where nobody tells.
std::optional<bool> askWhetherItTurns(HANDLE device) {
    const std::vector<std::uint8_t> answer = zel::askProperty(device, StorageDeviceSeekPenaltyProperty);
    constexpr std::size_t kAt = offsetof(DEVICE_SEEK_PENALTY_DESCRIPTOR, IncursSeekPenalty);
    return answer.size() > kAt ? std::optional(answer[kAt] != 0) : std::nullopt;
}

/// What a handle that only asks was told of a drive.
struct Answers {
    explicit Answers(HANDLE device)
        : descriptor(zel::askDescriptor(device)),
          geometry(zel::askGeometry(device)),
          turns(askWhetherItTurns(device)),
          address(zel::parseScsiAddress(zel::askDevice(device, IOCTL_SCSI_GET_ADDRESS))) {}

    std::optional<DeviceDescriptor> descriptor;
    std::optional<zel::DiskGeometry> geometry;
    std::optional<bool> turns;
    std::string address;
};

DeviceCapability diskCapabilities(StorageBus bus) {
    switch (bus) {
        case StorageBus::ata:
        case StorageBus::sata:
            return DeviceCapability::ATA | DeviceCapability::HardDrive;
        case StorageBus::nvme:
            return DeviceCapability::NVME | DeviceCapability::HardDrive;
        case StorageBus::usb:
            return DeviceCapability::SCSISBC | DeviceCapability::HardDrive | DeviceCapability::USBMassStorage;
        case StorageBus::scsi:
        case StorageBus::firewire:
        case StorageBus::ssa:
        case StorageBus::fibre:
        case StorageBus::raid:
        case StorageBus::iscsi:
        case StorageBus::sas:
        case StorageBus::ufs:
            return DeviceCapability::SCSISBC | DeviceCapability::HardDrive;
        case StorageBus::sd:
        case StorageBus::mmc:
            return DeviceCapability::MMCSDFlash;
        default:
            return DeviceCapability::HardDrive;
    }
}

enum class DriveKind : std::uint8_t { disk, optical, floppy };

DeviceCapability capabilitiesOf(DriveKind kind, const DeviceDescriptor& descriptor) {
    const bool isUsb = descriptor.bus == StorageBus::usb;
    if (kind == DriveKind::floppy)
        return DeviceCapability::FloppyDrive | DeviceCapability::RemovableStorage |
               (isUsb ? DeviceCapability::USB_UFI : DeviceCapability());
    if (kind == DriveKind::optical)
        return DeviceCapability::SCSIMMC | DeviceCapability::CDROM | DeviceCapability::RemovableStorage |
               (isUsb ? DeviceCapability::USBMassStorage : DeviceCapability());
    const DeviceCapability found = diskCapabilities(descriptor.bus);
    return descriptor.isRemovable ? found | DeviceCapability::RemovableStorage : found;
}

void setText(DiagDevice& device, const char* name, const std::string& text) {
    if (!text.empty())
        device.setProperty(name, zel::String(text));
}

/// The size is that of the medium: 0 without one.
DiagDevice describe(const std::wstring& path, DriveKind kind, const Answers& answers) {
    const DeviceDescriptor descriptor = answers.descriptor.value_or(DeviceDescriptor());
    const zel::DiskGeometry geometry = answers.geometry.value_or(zel::DiskGeometry());
    const zel::String locator(zel::fromWide(path));
    DiagDevice described;
    described.setLocators(locator, answers.address);
    described.setName(descriptor.product.empty() ? locator : zel::String(descriptor.product));
    described.setCapabilities(capabilitiesOf(kind, descriptor));
    setText(described, kPropertyVendor, descriptor.vendor);
    setText(described, kPropertyModel, descriptor.product);
    setText(described, kPropertySerial, descriptor.serial);
    setText(described, kPropertyFirmware, descriptor.revision);
    described.setProperty(kPropertyBytes, geometry.bytes.value_or(0));
    described.setProperty(kPropertySectorSize, geometry.sectorBytes);
    if (answers.turns && kind == DriveKind::disk)
        described.setProperty(kPropertyRotational, Value::boolean(*answers.turns));
    return described;
}

/// A disk, or an optical drive, by the system's own name; nothing where no driver answers by it.
std::optional<DiagDevice> findNamed(std::wstring_view prefix, std::uint32_t number) {
    const std::wstring path = zel::devicePath(prefix, number);
    const zel::Handle device = zel::openToAsk(path);
    if (!device)
        return std::nullopt;
    const Answers answers(device.get());
    if (!answers.descriptor && !answers.geometry)
        return std::nullopt;
    return describe(path, prefix == zel::kOpticalPrefix ? DriveKind::optical : DriveKind::disk, answers);
}

/// A drive whose driver tells nothing of it, as it describes itself.
std::optional<DiagDevice> findSilent(const std::wstring& path) {
    constexpr std::uint8_t kDisk = 0x00, kSimpleDisk = 0x0E;
    Answers answers((zel::openToAsk(path).get()));
    answers.descriptor = zel::askDriveItself(path);
    if (!answers.descriptor)
        return std::nullopt;
    switch (answers.descriptor->deviceType) {
        case kDisk:
        case kSimpleDisk:
            return describe(path, DriveKind::disk, answers);
        case zel::kTypeOptical:
            return describe(path, DriveKind::optical, answers);
        default:
            return std::nullopt;
    }
}

bool isFloppyDrive(HANDLE device) {
    return zel::namesFloppyMedium(zel::askDevice(device, IOCTL_STORAGE_GET_MEDIA_TYPES));
}

std::wstring rootOf(wchar_t letter) {
    return std::wstring(1, letter) + L":\\";
}

/// The drive behind a letter, if that is all the letter stands for: an optical one or a floppy drive.
std::optional<DiagDevice> findByLetter(wchar_t letter) {
    const std::wstring path = zel::devicePath(std::wstring(1, letter) + L":");
    const zel::Handle device = zel::openToAsk(path);
    if (!device)
        return std::nullopt;
    const auto number = zel::askNumber(device.get());
    const UINT type = zel::SystemCalls::current().getDriveType(rootOf(letter));
    if (number && number->isOptical())
        if (auto named = findNamed(zel::kOpticalPrefix, number->number))
            return named;
    if (type == DRIVE_CDROM || (number && number->isOptical()))
        return describe(path, DriveKind::optical, Answers(device.get()));
    if (type == DRIVE_REMOVABLE && isFloppyDrive(device.get()))
        return describe(path, DriveKind::floppy, Answers(device.get()));
    return std::nullopt;
}

void append(std::vector<DiagDevice>& devices, std::optional<DiagDevice> found) {
    if (found)
        devices.push_back(std::move(*found));
}

}  // namespace

std::vector<DiagDevice> listDevices() {
    std::vector<DiagDevice> devices;
    for (const std::wstring_view prefix : {zel::kDiskPrefix, zel::kOpticalPrefix})
        for (const std::uint32_t number : zel::listDevicesNamed(prefix))
            append(devices, findNamed(prefix, number));
    for (const wchar_t letter : kFloppyLetters)
        if (zel::SystemCalls::current().getDriveType(rootOf(letter)) == DRIVE_REMOVABLE)
            append(devices, findByLetter(letter));
    return devices;
}

DiagDevice findDevice(const zel::String& locator) {
    const std::wstring name = zel::deviceName(zel::toWide(locator.utf8()));
    std::optional<DiagDevice> found;
    for (const std::wstring_view prefix : {zel::kDiskPrefix, zel::kOpticalPrefix})
        if (const auto number = zel::numberInName(name, prefix)) {
            found = findNamed(prefix, *number);
            if (!found)
                found = findSilent(zel::devicePath(name));
        }
    if (const wchar_t letter = zel::letterInName(name); letter != 0)
        found = findByLetter(letter);
    if (found)
        return std::move(*found);
    DiagDevice unlisted;
    unlisted.setLocators(locator, "");
    unlisted.setName(locator);
    unlisted.setCapabilities(DeviceCapability::HardDrive);
    return unlisted;
}

}  // namespace quix5
