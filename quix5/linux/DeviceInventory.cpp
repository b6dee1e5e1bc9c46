#include "quix5/DeviceInventory.h"

#include <libudev.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <fstream>
#include <memory>
#include <regex>
#include <string>

#include "zel/ReadFile.h"

namespace quix5 {

namespace {

constexpr std::uint64_t kSizeUnit = 512;  ///< /sys/block/*/size counts in these, whatever the sector size
/// What the kernel's driver of optical drives says while it has not seen a medium.
constexpr std::uint64_t kNoMediumSize = 0x1FFFFF;

template <class T, T* (*unref)(T*)>
struct Unref {
    void operator()(T* object) const { unref(object); }
};
using Udev = std::unique_ptr<udev, Unref<udev, udev_unref>>;
using Enumeration = std::unique_ptr<udev_enumerate, Unref<udev_enumerate, udev_enumerate_unref>>;
using UdevDevice = std::unique_ptr<udev_device, Unref<udev_device, udev_device_unref>>;

std::string trimmed(const char* text) {
    std::string value = text != nullptr ? text : "";
    const auto isBlank = [](unsigned char c) { return std::isspace(c) != 0 || c == '\0'; };
    value.erase(std::find_if_not(value.rbegin(), value.rend(), isBlank).base(), value.end());
    value.erase(value.begin(), std::find_if_not(value.begin(), value.end(), isBlank));
    return value;
}

std::string attribute(udev_device* device, const char* name) {
    return trimmed(udev_device_get_sysattr_value(device, name));
}

std::uint64_t numberAttribute(udev_device* device, const char* name) {
    std::uint64_t value = 0;
    return zel::String(attribute(device, name)).strToUInt64(value) ? value : 0;
}

/// The first of the names that the device database or, without a running udev, the kernel knows.
std::string firstKnown(udev_device* device, std::initializer_list<const char*> properties,
                       std::initializer_list<const char*> attributes) {
    for (const char* name : properties)
        if (const std::string value = trimmed(udev_device_get_property_value(device, name)); !value.empty())
            return value;
    for (const char* name : attributes)
        if (std::string value = attribute(device, name); !value.empty())
            return value;
    return {};
}

void setText(DiagDevice& device, const char* name, const std::string& text) {
    if (!text.empty())
        device.setProperty(name, zel::String(text));
}

/// The device in the chain of parents that is of this kind; null when there is none. Owned by `device`.
udev_device* parentOf(udev_device* device, const char* subsystem, const char* type) {
    return udev_device_get_parent_with_subsystem_devtype(device, subsystem, type);
}

/// Whether an ATA port leads to the disk, or udev found one behind a bridge.
bool speaksAta(udev_device* device, udev_device* scsi) {
    static const std::regex ataPort("/ata[0-9]+/");
    return attribute(scsi, "vendor") == "ATA" ||
           std::regex_search(trimmed(udev_device_get_syspath(device)), ataPort) ||
           trimmed(udev_device_get_property_value(device, "ID_ATA")) == "1";
}

/// USB mass storage class, subclass 04h: floppies with the UFI command set.
bool isUsbFloppy(udev_device* device) {
    udev_device* const usb = parentOf(device, "usb", "usb_interface");
    return usb != nullptr && attribute(usb, "bInterfaceClass") == "08" &&
           attribute(usb, "bInterfaceSubClass") == "04";
}

DeviceCapability scsiCapabilities(udev_device* device, udev_device* scsi) {
    // Peripheral device types of SPC-4.
    const std::uint64_t type = numberAttribute(scsi, "type");
    if (isUsbFloppy(device))
        return DeviceCapability::USB_UFI | DeviceCapability::FloppyDrive | DeviceCapability::RemovableStorage;
    DeviceCapability found;
    if (type == 0x05)
        found = DeviceCapability::SCSIMMC | DeviceCapability::CDROM | DeviceCapability::RemovableStorage;
    else if (type == 0x00 || type == 0x07 || type == 0x0E)
        found = DeviceCapability::SCSISBC | DeviceCapability::HardDrive;
    if (type == 0x00 && speaksAta(device, scsi))
        found = found | DeviceCapability::ATA;
    if (parentOf(device, "usb", "usb_device") != nullptr)
        found = found | DeviceCapability::USBMassStorage;
    return found;
}

DeviceCapability capabilitiesByName(const std::string& name) {
    if (name.starts_with("sr"))
        return DeviceCapability::CDROM | DeviceCapability::RemovableStorage;
    if (name.starts_with("fd"))
        return DeviceCapability::FloppyDrive | DeviceCapability::RemovableStorage;
    if (name.starts_with("mmcblk"))
        return DeviceCapability::MMCSDFlash;
    if (name.starts_with("nvme"))
        return DeviceCapability::NVME | DeviceCapability::HardDrive;
    return DeviceCapability::HardDrive;
}

DeviceCapability capabilitiesOf(udev_device* device) {
    udev_device* const scsi = parentOf(device, "scsi", "scsi_device");
    const DeviceCapability found = scsi != nullptr
                                       ? scsiCapabilities(device, scsi)
                                       : capabilitiesByName(trimmed(udev_device_get_sysname(device)));
    return attribute(device, "removable") == "1" ? found | DeviceCapability::RemovableStorage : found;
}

/// Where the device sits: udev's path, else the SCSI address.
std::string addressOf(udev_device* device) {
    udev_device* const scsi = parentOf(device, "scsi", "scsi_device");
    const std::string path = firstKnown(device, {"ID_PATH"}, {});
    return path.empty() && scsi != nullptr ? trimmed(udev_device_get_sysname(scsi)) : path;
}

/// The kernel keeps the page as it came (SPC-4, Unit Serial Number): four bytes, then the text.
std::string serialPageOf(udev_device* device) {
    const std::string page = trimmed(udev_device_get_syspath(device)) + "/device/vpd_pg80";
    const std::string bytes = zel::readFile(page).value_or("");
    return bytes.size() > 4 ? trimmed(bytes.substr(4).c_str()) : std::string();
}

std::string serialOf(udev_device* device) {
    const std::string serial =
        firstKnown(device, {"ID_SERIAL_SHORT", "ID_SCSI_SERIAL"}, {"device/serial", "serial"});
    return serial.empty() ? serialPageOf(device) : serial;
}

namespace fs = std::filesystem;

/// A SCSI disk's generic node where the system has no block device for the disk, or one without sectors:
/// commands alone reach it.
bool isHiddenDisk(udev_device* generic) {
    const fs::path folder = fs::path(trimmed(udev_device_get_syspath(generic))) / "device";
    const std::string type = attribute(generic, "device/type");
    std::error_code none;
    if (type != "0" && type != "14")  // peripheral device types 00h and 0Eh of SPC-4
        return false;
    for (const auto& block : fs::directory_iterator(folder / "block", none)) {
        const auto lineOf = [&block](const char* name) {
            std::string line;
            std::ifstream file(block.path() / name);
            std::getline(file, line);
            return line;
        };
        return lineOf("size") == "0" && lineOf("removable") != "1";
    }
    return true;
}

/// The number of the generic node that a path leads to, or that stands for the block device that it leads to;
/// 0 when there is none.
dev_t genericNumberOf(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0)
        return 0;
    if (S_ISCHR(found.st_mode))
        return found.st_rdev;
    const fs::path folder = "/sys/dev/block/" + std::to_string(major(found.st_rdev)) + ":" +
                            std::to_string(minor(found.st_rdev)) + "/device/scsi_generic";
    std::error_code none;
    if (S_ISBLK(found.st_mode))
        for (const auto& node : fs::directory_iterator(folder, none))
            return genericNumberOf("/dev/" + node.path().filename().string());
    return 0;
}

/// The number of the block device that a path leads to; of a generic node ("/dev/sg1") that of the drive it
/// stands for ("/dev/sr0"). 0 for anything else.
dev_t blockNumberOf(const std::string& path) {
    struct stat found {};
    if (stat(path.c_str(), &found) != 0)
        return 0;
    if (S_ISBLK(found.st_mode))
        return found.st_rdev;
    const std::filesystem::path folder = "/sys/dev/char/" + std::to_string(major(found.st_rdev)) + ":" +
                                         std::to_string(minor(found.st_rdev)) + "/device/block";
    std::error_code none;
    if (S_ISCHR(found.st_mode))
        for (const auto& block : std::filesystem::directory_iterator(folder, none))
            return blockNumberOf("/dev/" + block.path().filename().string());
    return 0;
}

bool isNamed(udev_device* device, std::initializer_list<const char*> prefixes) {
    const std::string name = trimmed(udev_device_get_sysname(device));
    return std::any_of(prefixes.begin(), prefixes.end(),
                       [&name](const char* prefix) { return name.starts_with(prefix); });
}

/// Left out are swap in memory, arrays of other drives, and slots with nothing in them, such as free loop
/// devices.
bool isListed(udev_device* device) {
    if (trimmed(udev_device_get_devtype(device)) != "disk" || isNamed(device, {"zram", "md"}))
        return false;
    const bool removable = attribute(device, "removable") == "1";
    return numberAttribute(device, "size") > 0 || (removable && !isNamed(device, {"loop"}));
}

/// Disks in memory and mappings can be tested, but nothing of them is known beyond their path.
bool isDrive(udev_device* device) {
    return isListed(device) && !isNamed(device, {"ram", "dm-"});
}

std::uint64_t bytesOf(udev_device* device) {
    const std::uint64_t units = numberAttribute(device, "size");
    const bool isOptical = trimmed(udev_device_get_sysname(device)).starts_with("sr");
    return isOptical && units == kNoMediumSize ? 0 : units * kSizeUnit;
}

/// What turns is told by those that are hardware only.
void setMechanics(udev_device* device, DiagDevice& described) {
    static const std::regex virtualFolder("/devices/virtual/(?!nvme)");
    const bool isVirtual = std::regex_search(trimmed(udev_device_get_syspath(device)), virtualFolder);
    if (isVirtual)
        described.setProperty(kPropertyVirtual, Value::boolean(true));
    else if (const std::string rotational = attribute(device, "queue/rotational"); !rotational.empty())
        described.setProperty(kPropertyRotational, Value::boolean(rotational == "1"));
}

/// Of a device without sectors of its own both sizes are left to whoever asks the drive.
void setSizes(udev_device* device, DiagDevice& described) {
    described.setProperty(kPropertyBytes, bytesOf(device));
    described.setProperty(kPropertySectorSize,
                          static_cast<std::uint32_t>(numberAttribute(device, "queue/logical_block_size")));
}

DiagDevice describe(udev_device* device) {
    DiagDevice described;
    const std::string model =
        firstKnown(device, {"ID_MODEL"}, {"device/model", "device/name", "loop/backing_file", "dm/name"});
    const std::string node = trimmed(udev_device_get_devnode(device));
    described.setLocators(node, addressOf(device));
    described.setName(model.empty() ? node : model);
    described.setCapabilities(capabilitiesOf(device));
    setText(described, kPropertyVendor, firstKnown(device, {"ID_VENDOR"}, {"device/vendor"}));
    setText(described, kPropertyModel, model);
    setText(described, kPropertySerial, serialOf(device));
    setText(described, kPropertyFirmware,
            firstKnown(device, {"ID_REVISION"}, {"device/firmware_rev", "device/rev", "device/fwrev"}));
    setSizes(device, described);
    setMechanics(device, described);
    return described;
}

/// Nothing but SCSI commands reaches it.
DiagDevice describeHidden(udev_device* generic) {
    DiagDevice described = describe(generic);
    described.setCapabilities(DeviceCapability::SCSISBC);
    return described;
}

/// Calls `take(device)` for all devices of a subsystem.
template <class Take>
void forEach(udev* context, const char* subsystem, Take take) {
    const Enumeration enumeration(context != nullptr ? udev_enumerate_new(context) : nullptr);
    if (enumeration == nullptr)
        return;
    udev_enumerate_add_match_subsystem(enumeration.get(), subsystem);
    udev_enumerate_scan_devices(enumeration.get());
    udev_list_entry* entry = nullptr;
    udev_list_entry_foreach(entry, udev_enumerate_get_list_entry(enumeration.get())) {
        const UdevDevice device(udev_device_new_from_syspath(context, udev_list_entry_get_name(entry)));
        if (device != nullptr)
            take(device.get());
    }
}

}  // namespace

std::vector<DiagDevice> listDevices() {
    std::vector<DiagDevice> devices;
    const Udev context(udev_new());
    forEach(context.get(), "block", [&devices](udev_device* device) {
        if (isListed(device))
            devices.push_back(describe(device));
    });
    forEach(context.get(), "scsi_generic", [&devices](udev_device* device) {
        if (isHiddenDisk(device))
            devices.push_back(describeHidden(device));
    });
    std::sort(devices.begin(), devices.end(),
              [](const DiagDevice& a, const DiagDevice& b) { return a.osLocator() < b.osLocator(); });
    return devices;
}

DiagDevice findDevice(const zel::String& locator) {
    const dev_t number = blockNumberOf(locator.utf8());
    const dev_t generic = genericNumberOf(locator.utf8());
    const Udev context(number != 0 || generic != 0 ? udev_new() : nullptr);
    const UdevDevice device(context != nullptr ? udev_device_new_from_devnum(context.get(), 'b', number)
                                               : nullptr);
    if (device != nullptr && isDrive(device.get()))
        return describe(device.get());
    const UdevDevice node(context != nullptr && generic != 0
                              ? udev_device_new_from_devnum(context.get(), 'c', generic)
                              : nullptr);
    if (node != nullptr && trimmed(udev_device_get_subsystem(node.get())) == "scsi_generic" &&
        isHiddenDisk(node.get()))
        return describeHidden(node.get());
    DiagDevice unlisted;
    unlisted.setLocators(locator, "");
    unlisted.setName(locator);
    unlisted.setCapabilities(DeviceCapability::HardDrive);
    return unlisted;
}

}  // namespace quix5
