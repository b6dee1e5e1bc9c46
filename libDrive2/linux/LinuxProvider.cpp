#include "libDrive2/linux/LinuxProvider.h"

#include <sys/stat.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/bridges/SatAtaDevice.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxBlockHandle.h"
#include "libDrive2/linux/LinuxLease.h"
#include "libDrive2/linux/LinuxNVMeDevice.h"
#include "libDrive2/linux/LinuxScsiDevice.h"
#include "libDrive2/linux/LinuxVolumes.h"
#include "libDrive2/linux/SysfsBlock.h"
#include "zel/Words.h"

namespace libDrive2 {

namespace {

bool isOptical(const zel::String& path) {
    struct stat found {};
    return stat(path.utf8().c_str(), &found) == 0 && S_ISBLK(found.st_mode) &&
           SysfsBlock(found.st_rdev).isOptical();
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
    return device != nullptr ? std::make_unique<SatAtaDevice>(std::move(device)) : nullptr;
}

std::unique_ptr<NVMeDevice> LinuxProvider::openNVMe(const zel::String& path) {
    return LinuxNVMeDevice::open(path);
}

std::unique_ptr<DeviceLockingManager::Volumes> LinuxProvider::volumes(const zel::String& path) {
    return std::make_unique<LinuxVolumes>(path);
}

std::unique_ptr<DeviceLease> LinuxProvider::take(const zel::String& path, LeasePurpose purpose,
                                                 DeviceStatus& failure) {
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
    std::sort(names.begin(), names.end());
    for (const std::string& name : names)
        locators.append("/dev/" + name);
    return locators;
}

}  // namespace libDrive2
