#include "libDrive2/windows/WindowsLease.h"

#include <utility>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/OpenLeases.h"
#include "libDrive2/windows/DevicePath.h"
#include "libDrive2/windows/StorageIds.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/answers/ZonedDevice.h"
#include "zel/Log.h"
#include "zel/Words.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

using zel::worded;
using zel::words;

namespace {

using Kind = WindowsTarget::Kind;
using zel::SystemCalls;

constexpr std::uint32_t kFileSectorBytes = 512;

zel::Logger& logger() {
    return zel::LogFactory::createLogger("libDrive2.WindowsLease");
}

/// Only to see whether reading is allowed: a device is asked through a handle that reads nothing, as one
/// that does would keep its volume from being locked.
zel::Handle openDrive(const zel::String& path) {
    zel::Handle reading = openShared(path, GENERIC_READ);
    const bool isEmpty = !reading && meansNoMedium(GetLastError());
    return (reading && namesDevice(path)) || isEmpty ? openShared(path, 0) : std::move(reading);
}

bool isFolder(const zel::String& path) {
    const DWORD attributes = SystemCalls::current().getFileAttributes(zel::longPath(path.utf8()));
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

bool isPipeOrConsole(HANDLE opened) {
    const DWORD type = SystemCalls::current().getFileType(opened);
    return type == FILE_TYPE_CHAR || type == FILE_TYPE_PIPE;
}

bool isUnsupported(const DeviceStatus& status) {
    return status.ok() || status.type == LIBDRIVE2_NOT_SUPPORTED || status.type == LIBDRIVE2_BAD_ARGUMENT;
}

zel::Wording unused(const zel::String& path, const zel::Wording& why) {
    return worded("{path} cannot be used: {reason}", {{"path", path}, {"reason", why}});
}

DeviceStatus openFailure(const zel::String& path) {
    const DeviceStatus status = lastSystemStatus();
    if (isFolder(path))
        return {LIBDRIVE2_BAD_ARGUMENT,
                unused(path, worded("it is a directory, not a drive or an image file"))};
    return {status.type,
            worded("{path} cannot be opened: {reason}", {{"path", path}, {"reason", status.text}})};
}

}  // namespace

std::unique_ptr<DeviceLease> WindowsLease::take(const zel::String& path, LeasePurpose purpose,
                                                DeviceStatus& failure) {
    zel::Handle opened = openDrive(path);
    if (!opened) {
        failure = openFailure(path);
        return nullptr;
    }
    if (isPipeOrConsole(opened.get())) {
        failure = {LIBDRIVE2_BAD_ARGUMENT, unused(path, worded("it is neither a drive nor an image file"))};
        return nullptr;
    }
    std::unique_ptr<WindowsLease> lease(new WindowsLease(path, purpose, std::move(opened)));
    failure = lease->begin();
    return failure.ok() ? std::move(lease) : nullptr;
}

WindowsLease::WindowsLease(const zel::String& path, LeasePurpose purpose, zel::Handle opened)
    : DeviceLease(purpose), m_path(path), m_volumes(path, std::move(opened)) {
    OpenLeases::add(*this);
}

/// The volumes stay locked up to here, whoever asks before: what is still to be put back needs them so.
WindowsLease::~WindowsLease() {
    OpenLeases::remove(*this);
    if (zel::Wording reason; isExclusive() && !m_volumes.unlock(reason))
        logger().line(4, reason);
}

DeviceStatus WindowsLease::begin() {
    m_mediumNumber = mediumNumber();
    const DeviceStatus status = identify(m_identity);
    if (!status.ok())
        return {status.type, unused(m_path, status.text)};
    if (isExclusive())
        return m_volumes.hold();
    zel::Wording reason;
    return purpose() == LeasePurpose::look || m_volumes.lockForReading(reason)
               ? DeviceStatus{}
               : DeviceStatus{LIBDRIVE2_BUSY, reason};
}

zel::String WindowsLease::descriptorPath() const {
    const bool isItsOwn =
        target().letter == 0 && (target().kind == Kind::disk || target().kind == Kind::file);
    return isItsOwn ? m_path : zel::String();
}

DeviceStatus WindowsLease::identify(DriveIdentity& identity) {
    const WindowsTarget now = WindowsTarget::of(m_volumes.opened(), m_path);
    if (now.kind == Kind::folder)
        return {LIBDRIVE2_BAD_ARGUMENT, worded("it is a directory, not a drive or an image file")};
    identifyStorage(m_volumes.opened(), now, identity);
    return sizeOf(now, identity);
}

/// By questions that need no right to read. Of a medium that is not there, nothing.
DeviceStatus WindowsLease::sizeOf(const WindowsTarget& now, DriveIdentity& identity) {
    LARGE_INTEGER fileBytes{};
    if (now.kind == Kind::file &&
        SystemCalls::current().getFileSize(m_volumes.opened(), &fileBytes) != FALSE) {
        identity.sectorBytes = kFileSectorBytes;
        identity.sectors = static_cast<std::uint64_t>(fileBytes.QuadPart) / kFileSectorBytes;
        return {};
    }
    const auto geometry = zel::askGeometry(m_volumes.opened());
    const DWORD error = GetLastError();
    const DeviceStatus status = systemStatus(error);
    identity.sectorBytes = geometry ? geometry->sectorBytes : kFileSectorBytes;
    if (!geometry && meansNoMedium(error))
        return {};
    if (!geometry)
        return isUnsupported(status) ? sizeByReading(identity) : status;
    std::uint64_t bytes = now.kind == Kind::volume ? 0 : geometry->bytes.value_or(0);
    for (const DiskExtent& extent : now.extents)
        bytes += extent.bytes;
    identity.sectors = bytes / identity.sectorBytes;
    return {};
}

DeviceStatus WindowsLease::sizeByReading(DriveIdentity& identity) {
    zel::Wording problem;
    const SharedBlockHandle device = m_volumes.reader(problem);
    if (!device)
        return {LIBDRIVE2_NO_ACCESS, problem};
    const BlockDeviceInfo& info = device->info();
    identity.sectorBytes = info.logicalSectorBytes != 0 ? info.logicalSectorBytes : kFileSectorBytes;
    identity.sectors = info.mediumPresent ? info.bytes / identity.sectorBytes : 0;
    return {};
}

bool WindowsLease::isUnchanged(zel::String& difference) {
    difference = findDifference();
    return difference.isEmpty();
}

zel::String WindowsLease::findDifference() {
    DriveIdentity now;
    const DeviceStatus status = identify(now);
    const std::string gone = words("{path} is gone: it was taken away or switched off", {{"path", m_path}});
    if (status.type == LIBDRIVE2_NO_ACCESS)
        return gone;
    if (!status.ok())
        return words("{path} does not answer any more: {reason}",
                     {{"path", m_path}, {"reason", status.text}});
    if (!isMadeOfTheSame(now, m_identity))
        return words("{path} is stored on something else now: another drive has taken its place",
                     {{"path", m_path}});
    // Media come and go in an optical drive; it stays the drive that it is.
    if (isOptical())
        return {};
    const bool hasHadMedium = m_identity.sectors != 0;
    if (now.sectors == 0 && hasHadMedium)
        return isRemovable() ? words("{path} holds no medium any more: it was taken out", {{"path", m_path}})
                             : gone;
    if ((hasHadMedium || !isRemovable()) &&
        (now.sectors != m_identity.sectors || now.sectorBytes != m_identity.sectorBytes))
        return words("{path} has another size now: {size}", {{"path", m_path}, {"size", now.describe()}});
    return {};
}

bool WindowsLease::isRemovable() const {
    const auto descriptor = zel::askDescriptor(m_volumes.opened());
    return descriptor && descriptor->isRemovable;
}

bool WindowsLease::takesWritesInOrderOnly() const {
    const auto descriptor = zel::askDescriptor(m_volumes.opened());
    return (descriptor && descriptor->deviceType == zel::kTypeZoned) ||
           isHostManaged(zel::askProperty(m_volumes.opened(), StorageDeviceZonedDeviceProperty));
}

std::optional<std::uint32_t> WindowsLease::mediumNumber() const {
    // An optical drive is held for whatever is put into it.
    if (isOptical() || !isRemovable())
        return std::nullopt;
    auto answer = zel::askDevice(m_volumes.opened(), IOCTL_STORAGE_CHECK_VERIFY2);
    // The first question after a change only tells of the change.
    if (answer.empty() && GetLastError() == ERROR_MEDIA_CHANGED)
        answer = zel::askDevice(m_volumes.opened(), IOCTL_STORAGE_CHECK_VERIFY2);
    if (answer.size() < sizeof(std::uint32_t))
        return std::nullopt;
    return loadLittleEndian<std::uint32_t>(answer, 0);
}

bool WindowsLease::isSameMedium(zel::String& difference) {
    if (m_identity.sectors == 0 || mediumNumber() == m_mediumNumber)
        return true;
    difference = words("the medium in {path} is not, or may not be, the one that was shown: start again",
                       {{"path", m_path}});
    return false;
}

bool WindowsLease::leadsHere() const {
    const zel::Handle again = openShared(m_path, 0);
    return again && WindowsTarget::of(again.get(), m_path) == target();
}

SharedBlockHandle WindowsLease::openBlock(bool writable, zel::Wording& reason) {
    if (!writable)
        return m_volumes.reader(reason);
    auto handle = m_volumes.open(kAccessRead | kAccessWrite, reason);
    if (handle != nullptr && !leadsHere()) {
        reason = worded("{path} leads to something else now: another drive has taken its place",
                        {{"path", m_path}});
        handle = nullptr;
    }
    return SharedBlockHandle(std::move(handle));
}

std::unique_ptr<BlockHandle> WindowsLease::openHeldVolume(const zel::String& path,
                                                          std::uint32_t desiredAccess, zel::Wording& reason) {
    auto* const lease = dynamic_cast<WindowsLease*>(OpenLeases::find(path));
    if (lease == nullptr || !lease->isExclusive() || !lease->m_volumes.isStretchOfDisk())
        return nullptr;
    return lease->m_volumes.open(desiredAccess, reason);
}

/// Of optical drives there is nothing to hold, and looking for floppies would take long.
zel::Array<zel::String> listWindowsLocators() {
    zel::Array<zel::String> locators;
    for (const std::uint32_t number : zel::listDevicesNamed(zel::kDiskPrefix))
        locators.append(zel::fromWide(diskPath(number)));
    for (const SystemVolume& volume : listVolumes().value_or(std::vector<SystemVolume>()))
        for (const std::wstring& point : volume.mountPoints)
            if (const std::wstring name = point.substr(0, 2);
                point.size() == 3 && zel::letterInName(name) != 0 && !volume.extents.empty())
                locators.append(zel::fromWide(zel::devicePath(name)));
    return locators;
}

}  // namespace libDrive2
