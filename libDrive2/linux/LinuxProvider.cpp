#include "libDrive2/linux/LinuxProvider.h"

#include <sys/stat.h>

#include <algorithm>
#include <bit>
#include <cerrno>
#include <filesystem>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/bridges/SatAtaDevice.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/LinuxLease.h"
#include "libDrive2/linux/LinuxNVMeDevice.h"
#include "libDrive2/linux/LinuxScsiDevice.h"
#include "libDrive2/linux/LinuxVolumes.h"
#include "libDrive2/linux/ScsiNodeLease.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "libDrive2/linux/SysfsScsi.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

constexpr std::uint32_t kMostShownBytes = 4096;

bool isOptical(const zel::String& path) {
    struct stat found {};
    return stat(path.utf8().c_str(), &found) == 0 && S_ISBLK(found.st_mode) &&
           SysfsBlock(found.st_rdev).isOptical();
}

/// What a drive tells that the system tells nothing of.
void describeHidden(const zel::String& path, DeviceDescription& description) {
    const auto device = LinuxScsiDevice::open(path, false);
    if (device == nullptr) {
        description.whyNotShown = lastOpenErrorStr();
        return;
    }
    DeviceStatus why;
    const auto capacity = ScsiUnit(*device).capacity(true, why);
    if (!capacity) {
        description.whyNotShown = zel::worded("it does not tell its size: {reason}", {{"reason", why.text}});
        return;
    }
    description.bytes = capacity->sectors * capacity->sectorBytes;
    description.sectorBytes = capacity->sectorBytes;
    description.protectionType = capacity->protectionType;
    const bool isOdd = !std::has_single_bit(capacity->sectorBytes) || capacity->sectorBytes > kMostShownBytes;
    description.whyNotShown =
        isOdd ? whyNotShown(capacity->sectorBytes) : zel::worded("the system has no block device for it");
}

/// The kernel keeps what the drive told of its format.
std::uint8_t protectionTypeOf(const SysfsBlock& device) {
    std::error_code none;
    for (const auto& disk :
         std::filesystem::directory_iterator(device.disk().folder() / "device/scsi_disk", none))
        if (const std::string type = readLine(disk.path() / "protection_type"); type.size() == 1)
            return static_cast<std::uint8_t>(type[0] - '0');
    return 0;
}

}  // namespace

DeviceProvider& DeviceProvider::system() {
    static LinuxProvider provider;
    return provider;
}

bool LinuxProvider::describe(const zel::String& path, DeviceDescription& description,
                             zel::String& /*error*/) {
    struct stat found {};
    description = {};
    if (stat(path.utf8().c_str(), &found) == 0 && S_ISREG(found.st_mode))
        description.bytes = static_cast<std::uint64_t>(found.st_size);
    else if (S_ISBLK(found.st_mode))
        description.protectionType = protectionTypeOf(SysfsBlock(found.st_rdev));
    else if (S_ISCHR(found.st_mode) && SysfsScsi(found.st_rdev).isHidden())
        describeHidden(path, description);
    return true;
}

std::unique_ptr<BlockHandle> LinuxProvider::openBlock(const zel::String& path, std::uint32_t desiredAccess,
                                                      std::uint32_t shareMode) {
    return LinuxBlockHandle::open(path, desiredAccess, shareMode);
}

/// The block node of an optical drive opens for writing only with a medium that the system itself could write
/// to. Its generic node always does; without one, root may send all commands through a node that was opened
/// for reading.
std::unique_ptr<ScsiPassThrough> LinuxProvider::openScsi(const zel::String& path,
                                                         std::uint32_t desiredAccess) {
    const bool writable = (desiredAccess & kAccessWrite) != 0;
    if (!writable || !isOptical(path))
        return LinuxScsiDevice::open(path, writable);
    if (auto generic = openScsiObject(path, true))
        return generic;
    return LinuxScsiDevice::open(path, false);
}

std::unique_ptr<ScsiPassThrough> LinuxProvider::openScsiObject(const zel::String& path, bool writable) {
    struct stat found {};
    if (stat(OpenLeases::pathOf(path).utf8().c_str(), &found) != 0) {
        noteOpenError(zel::worded("{path} cannot be opened: {reason}",
                                  {{"path", path}, {"reason", errnoStatus(errno).text}}));
        return nullptr;
    }
    const std::string node = S_ISBLK(found.st_mode) ? SysfsBlock(found.st_rdev).scsiGenericName() : "";
    if (node.empty()) {
        noteOpenError(zel::worded("{path} cannot be opened for SCSI commands: {reason}",
                                  {{"path", path}, {"reason", zel::worded("it is no SCSI device")}}));
        return nullptr;
    }
    return LinuxScsiDevice::open("/dev/" + node, writable);
}

std::unique_ptr<AtaDevice> LinuxProvider::openAta(const zel::String& path) {
    std::unique_ptr<LinuxScsiDevice> device = LinuxScsiDevice::open(path, false);
    if (device == nullptr)
        return nullptr;
    const bool isTagging = device->tagsAtaCommands();
    return std::make_unique<SatAtaDevice>(std::move(device), isTagging);
}

std::unique_ptr<NVMeDevice> LinuxProvider::openNVMe(const zel::String& path) {
    return LinuxNVMeDevice::open(path);
}

std::unique_ptr<DeviceLockingManager::Volumes> LinuxProvider::volumes(const zel::String& path) {
    return std::make_unique<LinuxVolumes>(path);
}

std::unique_ptr<DeviceLease> LinuxProvider::take(const zel::String& path, LeasePurpose purpose,
                                                 DeviceStatus& failure) {
    struct stat found {};
    if (stat(path.utf8().c_str(), &found) == 0 && S_ISCHR(found.st_mode) &&
        SysfsScsi(found.st_rdev).isHidden())
        return ScsiNodeLease::take(path, found.st_rdev, purpose, failure);
    return LinuxLease::take(path, purpose, failure);
}

/// Of optical drives and of slots with nothing in them there is nothing to hold.
zel::Array<zel::String> LinuxProvider::listLocators() {
    zel::Array<zel::String> locators;
    std::error_code failed;
    std::vector<std::string> names;
    for (std::filesystem::directory_iterator entry("/sys/class/block", failed), end; entry != end;
         entry.increment(failed))
        if (readLine(entry->path() / "size") != "0" && !entry->path().filename().string().starts_with("sr"))
            names.push_back(entry->path().filename().string());
    for (const SysfsScsi& drive : SysfsScsi::listHidden())
        names.push_back(drive.name());
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        locators.append("/dev/" + name);
    return locators;
}

}  // namespace libDrive2
