#include "libDrive2/windows/WindowsVolumes.h"

#include <algorithm>
#include <set>
#include <utility>

#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/DeviceProvider.h"
#include "libDrive2/EncryptedVolumes.h"
#include "libDrive2/windows/DevicePath.h"
#include "libDrive2/windows/DiskStretch.h"
#include "libDrive2/windows/StorageIds.h"
#include "libDrive2/windows/SystemError.h"
#include "libDrive2/windows/VolumeContents.h"
#include "zel/Words.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

using zel::worded;

namespace {

using Kind = WindowsTarget::Kind;

zel::Wording untaken(const zel::String& path, const zel::Wording& why) {
    return worded("{path} cannot be taken for this test alone: {reason}", {{"path", path}, {"reason", why}});
}

zel::Wording inUse(const zel::String& path, const zel::Wording& users) {
    return worded("{path} is in use: {users}", {{"path", path}, {"users", users}});
}

bool isForbidden(DWORD error, const DeviceStatus& status) {
    return error == ERROR_ACCESS_DENIED || status.type == LIBDRIVE2_WRITE_PROTECTED_DEVICE ||
           status.type == LIBDRIVE2_WRITE_PROTECTED_MEDIUM;
}

/// Of a volume that lies in one stretch; others belong to dynamic disks.
const DiskExtent* stretchOf(const WindowsTarget& target) {
    return target.kind == Kind::volume && target.extents.size() == 1 ? &target.extents.front() : nullptr;
}

std::vector<SystemVolume> volumesOn(const WindowsTarget& target, std::vector<SystemVolume> volumes) {
    std::erase_if(volumes, [&target](const SystemVolume& volume) { return !volume.liesOn(target); });
    return volumes;
}

std::vector<SystemVolume> knownVolumes() {
    return listVolumes().value_or(std::vector<SystemVolume>());
}

zel::String describeObstacles(const WindowsTarget& target, const std::vector<SystemVolume>& volumes) {
    zel::String obstacles;
    for (const std::string& obstacle : findUse(target, volumes).obstacles)
        obstacles += (obstacles.isEmpty() ? "" : ", ") + zel::String(obstacle);
    return obstacles;
}

}  // namespace

WindowsVolumes::WindowsVolumes(const zel::String& path, zel::Handle opened)
    : m_path(path),
      m_opened(std::move(opened)),
      m_target(WindowsTarget::of(m_opened.get(), path)),
      m_isFound(true) {}

const WindowsTarget* WindowsVolumes::found() {
    if (m_isFound)
        return &m_target;
    m_opened = openShared(m_path, 0);
    if (!m_opened)
        return nullptr;
    m_target = WindowsTarget::of(m_opened.get(), m_path);
    m_isFound = true;
    return &m_target;
}

bool WindowsVolumes::isStretchOfDisk() const {
    return stretchOf(m_target) != nullptr;
}

std::vector<StorageExtent> WindowsVolumes::storage() {
    DriveIdentity identity;
    identifyStorage(m_opened.get(), m_target, identity);
    return identity.storage;
}

zel::Array<zel::String> WindowsVolumes::holders() {
    zel::Array<zel::String> users;
    const WindowsTarget* const target = found();
    if (target == nullptr)
        return users;
    const StorageUse use = findUse(*target, knownVolumes());
    for (const std::string& obstacle : use.obstacles)
        users.append(obstacle);
    for (const SystemVolume& volume : use.mounted)
        if (!m_locks.holds(volume))
            users.append(describeMount(volume));
    return users;
}

std::unique_ptr<BlockHandle> WindowsVolumes::open(std::uint32_t access, zel::Wording& problem) {
    const WindowsTarget* const target = found();
    if (target == nullptr) {
        problem = lastSystemStatus().text;
        return nullptr;
    }
    const DiskExtent* const stretch = stretchOf(*target);
    const zel::String path =
        stretch != nullptr ? zel::String(zel::fromWide(diskPath(stretch->disk))) : m_path;
    auto handle = DeviceProvider::system().openBlock(path, access, kShareRead | kShareWrite);
    if (handle == nullptr)
        problem = lastOpenErrorStr();
    else if (stretch != nullptr)
        handle = std::make_unique<DiskStretch>(std::move(handle), stretch->start, stretch->bytes);
    return handle;
}

SharedBlockHandle WindowsVolumes::reader(zel::Wording& problem) {
    if (!m_reader) {
        m_reader = SharedBlockHandle(open(kAccessRead, problem));
        return m_reader;
    }
    const DeviceStatus status = m_reader->info().removable ? m_reader->reopen() : m_reader->query();
    if (!status.ok()) {
        problem = status.text;
        m_reader.release();
    }
    return m_reader;
}

zel::Array<VolumeContent> WindowsVolumes::contents() {
    const WindowsTarget* const target = found();
    if (m_isHeld || target == nullptr)
        return m_contents;
    zel::Wording problem;
    const SharedBlockHandle device = reader(problem);
    return describeContents(*target, volumesOn(*target, knownVolumes()), device.get());
}

Encryption WindowsVolumes::examineEncryption(zel::Wording& reason) {
    zel::Wording problem;
    const SharedBlockHandle device = reader(problem);
    if (!device) {
        reason = worded("{path} cannot be examined for encrypted volumes: {reason}",
                        {{"path", m_path}, {"reason", problem}});
        return Encryption::unexamined;
    }
    // Nor is there a volume without a medium, or where an optical medium holds no recording yet.
    const SectorSource sectors = sectorsOf(*device);
    std::vector<std::uint8_t> first(sectors.sectorBytes);
    if (!device->info().mediumPresent || (m_target.kind == Kind::optical && !sectors.read(0, first.data())))
        return Encryption::none;
    return findEncryptedVolume(sectors, m_path, listPartitions(m_target), reason);
}

bool WindowsVolumes::lock(zel::Wording& reason) {
    const DeviceStatus status = hold();
    if (!status.ok())
        reason = status.text;
    return status.ok();
}

DeviceStatus WindowsVolumes::hold() {
    if (m_isHeld)
        return {};
    const WindowsTarget* const target = found();
    if (target == nullptr) {
        const DWORD error = GetLastError();
        const DeviceStatus status = systemStatus(error);
        return {isForbidden(error, status) ? LIBDRIVE2_WRITE_PROTECTED_DEVICE : LIBDRIVE2_BUSY,
                untaken(m_path, status.text)};
    }
    const DeviceStatus status = holdAlone(*target);
    m_isHeld = status.ok();
    if (!m_isHeld)
        m_claim.release();
    return status;
}

DeviceStatus WindowsVolumes::holdAlone(const WindowsTarget& target) {
    // Nobody could say what else is on it.
    if (target.kind == Kind::unknown && !target.file)
        return {LIBDRIVE2_BUSY, untaken(m_path, worded("the system does not tell which drive it is"))};
    const auto volumes = listVolumes();
    if (!volumes)
        return unlisted();
    if (const zel::String obstacles = describeObstacles(target, *volumes); !obstacles.isEmpty())
        return {LIBDRIVE2_BUSY, inUse(m_path, obstacles)};
    if (const DeviceStatus claimed = claimAlone(target); !claimed.ok())
        return claimed;
    // The device of an optical drive is its volume, too: a lock would keep the test's own commands out.
    if (target.kind == Kind::optical)
        return {};
    m_contents = contents();
    return lockAll(target);
}

/// The volumes of a drive that was plugged in just now come one after the other: those are looked for until
/// there is no other one.
DeviceStatus WindowsVolumes::lockAll(const WindowsTarget& target) {
    std::set<std::wstring> seen;
    while (auto volumes = listVolumes()) {
        std::vector<SystemVolume> others = volumesOn(target, std::move(*volumes));
        std::erase_if(others, [&seen](const SystemVolume& each) { return !seen.insert(each.name).second; });
        if (others.empty())
            return {};
        const DeviceStatus locked = m_locks.take(others);
        const bool isProtected = locked.type == LIBDRIVE2_WRITE_PROTECTED_DEVICE ||
                                 locked.type == LIBDRIVE2_WRITE_PROTECTED_MEDIUM;
        if (!locked.ok())
            return {isProtected ? LIBDRIVE2_WRITE_PROTECTED_DEVICE : LIBDRIVE2_BUSY,
                    inUse(m_path, locked.text)};
    }
    const DeviceStatus failure = unlisted();
    zel::Wording ignored;
    m_locks.release(ignored);
    return failure;
}

DeviceStatus WindowsVolumes::unlisted() const {
    return {LIBDRIVE2_BUSY, untaken(m_path, worded("the system does not tell its volumes: {reason}",
                                                   {{"reason", lastSystemStatus().text}}))};
}

/// Whether it may be written to shows when it is opened for that. An optical medium is written by commands.
DeviceStatus WindowsVolumes::claimAlone(const WindowsTarget& target) {
    zel::Handle device =
        openShared(m_path, GENERIC_READ | (target.kind == Kind::optical ? 0 : GENERIC_WRITE));
    if (!device && !meansNoMedium(GetLastError())) {
        const DWORD error = GetLastError();
        const DeviceStatus status = systemStatus(error);
        return {isForbidden(error, status) ? LIBDRIVE2_WRITE_PROTECTED_DEVICE : LIBDRIVE2_BUSY,
                untaken(m_path, status.text)};
    }
    zel::Wording problem;
    const bool isClaimed = target.kind == Kind::file ? m_claim.takeFile(std::move(device), true, problem)
                                                     : m_claim.take(storage(), true, problem);
    return isClaimed ? DeviceStatus{} : DeviceStatus{LIBDRIVE2_BUSY, problem};
}

bool WindowsVolumes::lockForReading(zel::Wording& reason) {
    const WindowsTarget* const target = found();
    zel::Handle device = target != nullptr ? openShared(m_path, GENERIC_READ) : zel::Handle();
    if (!device)
        return true;  // nothing to keep anybody from: the test will tell
    zel::Wording problem;
    const bool isClaimed = target->kind == Kind::file ? m_claim.takeFile(std::move(device), false, problem)
                                                      : m_claim.take(storage(), false, problem);
    if (!isClaimed)
        reason = problem;
    return isClaimed;
}

bool WindowsVolumes::unlock(zel::Wording& reason) {
    bool isGivenBack = m_locks.release(reason);
    if (!m_claim.release()) {
        reason = worded("{path} could not be given back: {reason}",
                        {{"path", m_path}, {"reason", lastSystemStatus().text}});
        isGivenBack = false;
    }
    m_isHeld = false;
    return isGivenBack;
}

}  // namespace libDrive2
