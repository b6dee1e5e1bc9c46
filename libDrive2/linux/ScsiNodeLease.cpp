#include "libDrive2/linux/ScsiNodeLease.h"

#include <fcntl.h>

#include <algorithm>
#include <cerrno>
#include <string>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/EncryptedVolumes.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/bridges/ScsiBlockHandle.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/LinuxScsiDevice.h"
#include "libDrive2/linux/StorageIds.h"
#include "libDrive2/linux/StorageUsers.h"
#include "zel/Words.h"

namespace libDrive2 {

using zel::worded;
using zel::words;

namespace {

/// Without waiting: the node of a drive that another program holds must keep nobody.
FileDescriptor openNode(const std::string& path, int flags) {
    return FileDescriptor(
        uninterrupted([&path, flags] { return ::open(path.c_str(), flags | O_NONBLOCK | O_CLOEXEC); }));
}

bool isNumber(const FileDescriptor& opened, dev_t number) {
    struct stat found {};
    return fstat(opened.get(), &found) == 0 && S_ISCHR(found.st_mode) && found.st_rdev == number;
}

}  // namespace

std::unique_ptr<DeviceLease> ScsiNodeLease::take(const zel::String& path, dev_t number, LeasePurpose purpose,
                                                 DeviceStatus& failure) {
    std::unique_ptr<ScsiNodeLease> lease(new ScsiNodeLease(path, SysfsScsi(number), purpose));
    failure = lease->begin(number);
    return failure.ok() ? std::move(lease) : nullptr;
}

ScsiNodeLease::ScsiNodeLease(const zel::String& path, SysfsScsi device, LeasePurpose purpose)
    : DeviceLease(purpose), m_path(path), m_device(std::move(device)) {
    OpenLeases::add(*this);
}

ScsiNodeLease::~ScsiNodeLease() {
    OpenLeases::remove(*this);
}

DeviceStatus ScsiNodeLease::inUse(const std::string& what) const {
    return {LIBDRIVE2_BUSY, worded("{path} is in use: {users}", {{"path", m_path}, {"users", what}})};
}

DeviceStatus ScsiNodeLease::begin(dev_t number) {
    DeviceStatus status = open(number);
    if (status.ok() && isExclusive())
        status = holdOtherWays();
    return status.ok() ? identify() : status;
}

/// The driver of these nodes keeps them apart: who holds one exclusively is its only user, and who has it
/// open keeps others from that.
DeviceStatus ScsiNodeLease::open(dev_t number) {
    m_descriptor = openNode(m_path.utf8(), isExclusive() ? O_RDWR | O_EXCL : O_RDONLY);
    if (m_descriptor && isNumber(m_descriptor, number))
        return {};
    const int error = m_descriptor ? ENODEV : errno;
    if (error == EBUSY)
        return inUse(words("another program has it open"));
    DeviceStatus status = errnoStatus(error);
    status.text = worded("{path} cannot be opened: {reason}", {{"path", m_path}, {"reason", status.text}});
    return status;
}

DeviceStatus ScsiNodeLease::holdOtherWays() {
    if (const auto found = users(); !found.isEmpty())
        return inUse(found[0].utf8());
    std::vector<std::string> ways;
    for (const SysfsScsi& path : m_device.otherPaths())
        ways.push_back("/dev/" + path.name());
    for (const std::string& way : ways) {
        FileDescriptor other = openNode(way, O_RDWR | O_EXCL);
        if (!other && errno == EBUSY)
            return inUse(words("{other} (another path to it) is taken by another program", {{"other", way}}));
        // A path that is down is nobody's way to the drive.
        if (other)
            m_others.push_back(std::move(other));
    }
    const std::string shown = m_device.block().name();
    if (shown.empty())
        return {};
    FileDescriptor block = openNode("/dev/" + shown, O_RDONLY | O_EXCL);
    if (!block && errno == EBUSY)
        return inUse(
            words("{other} (another path to it) is taken by another program", {{"other", "/dev/" + shown}}));
    if (block)
        m_others.push_back(std::move(block));
    return {};
}

DeviceStatus ScsiNodeLease::identify() {
    m_identity.id = lastingIdOf(m_device);
    m_identity.storage = {{m_identity.id.empty() ? passingIdOf(m_device) : m_identity.id}};
    // What is known by a passing id alone cannot be told from others after a restart.
    zel::Wording reason;
    const auto device = LinuxScsiDevice::open(m_path, false);
    if (device == nullptr)
        return {LIBDRIVE2_NO_ACCESS, lastOpenErrorStr()};
    ScsiUnit unit(*device);
    DeviceStatus why;
    if (const auto capacity = unit.capacity(true, why)) {
        m_identity.sectors = capacity->sectors;
        m_identity.sectorBytes = capacity->sectorBytes;
        const auto parameters = capacity->protectionType != 0 ? unit.modeParameters() : std::nullopt;
        m_holdsForeignTags = parameters && parameters->hostOwnsTags;
        return {};
    }
    return {why.type, worded("{path} cannot be used: {reason}", {{"path", m_path}, {"reason", why.text}})};
}

zel::String ScsiNodeLease::descriptorPath() const {
    return "/proc/self/fd/" + std::to_string(m_descriptor.get());
}

FileDescriptor ScsiNodeLease::duplicate() const {
    return FileDescriptor(fcntl(m_descriptor.get(), F_DUPFD_CLOEXEC, 0));
}

bool ScsiNodeLease::isUnchanged(zel::String& difference) {
    const DriveIdentity before = m_identity;
    const DeviceStatus status =
        m_device.isUsable() ? identify() : DeviceStatus{LIBDRIVE2_NO_ACCESS, worded("the device is gone")};
    const DriveIdentity now = std::exchange(m_identity, before);
    if (!status.ok())
        difference =
            words("{path} does not answer any more: {reason}", {{"path", m_path}, {"reason", status.text}});
    else if (!isMadeOfTheSame(now, before))
        difference = words("{path} is stored on something else now: another drive has taken its place",
                           {{"path", m_path}});
    else if (now.sectors != before.sectors || now.sectorBytes != before.sectorBytes)
        difference =
            words("{path} has another size now: {size}", {{"path", m_path}, {"size", now.describe()}});
    return difference.isEmpty();
}

zel::Array<zel::String> ScsiNodeLease::users() {
    zel::Array<zel::String> found;
    struct stat node {};
    if (fstat(m_descriptor.get(), &node) == 0)
        for (const std::string& user : StorageUsers().of(node, m_path.utf8()))
            found.append(user);
    return found;
}

Encryption ScsiNodeLease::examineEncryption(zel::Wording& reason) {
    const SharedBlockHandle device = openBlock(false, reason);
    if (!device) {
        reason = worded("{path} cannot be examined for encrypted volumes: {reason}",
                        {{"path", m_path}, {"reason", zel::Wording(reason)}});
        return Encryption::unexamined;
    }
    const std::uint32_t bytes = device->info().logicalSectorBytes;
    return findEncryptedVolume({bytes, device->info().bytes / bytes,
                                [&device, bytes](std::uint64_t lba, std::uint8_t* data) {
                                    return device->read(lba * bytes, data, bytes).ok();
                                }},
                               m_path, {}, reason);
}

SharedBlockHandle ScsiNodeLease::openBlock(bool writable, zel::Wording& reason) {
    return ScsiBlockHandle::over(SharedScsiPassThrough(LinuxScsiDevice::open(m_path, writable)), writable,
                                 reason);
}

}  // namespace libDrive2
