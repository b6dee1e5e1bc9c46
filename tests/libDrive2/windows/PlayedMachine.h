#pragma once

#include <set>
#include <string>
#include <vector>

#include "support/windows/StorageStructures.h"

namespace libDrive2 {

/// A Windows with physical drives and volumes on them; each test has one of its own. Volumes can be locked
/// and dismounted, and remember it.
class PlayedMachine : public testing_support::PlayedCalls {
public:
    static constexpr std::int64_t kMiB = 1 << 20;

    testing_support::PlayedDevice& addDisk(std::uint32_t number, const zel::DeviceDescriptor& told,
                                           std::size_t bytes = 64 * kMiB) {
        const std::wstring name = L"PhysicalDrive" + std::to_wstring(number);
        testing_support::PlayedDevice& disk = device(L"\\\\.\\" + name);
        disk.content.resize(bytes);
        testing_support::answerAsDrive(disk, number, told);
        dosDevices[name] = L"\\Device\\Harddisk" + std::to_wstring(number) + L"\\DR0";
        return disk;
    }

    /// Reached as "\\?\Volume{NAME}", and by its letter where it has one.
    void addVolume(const std::wstring& name, std::vector<std::wstring> paths, std::wstring fileSystem,
                   std::wstring label, const std::vector<testing_support::PlayedExtent>& extents) {
        for (const std::wstring& path : paths)
            if (path.size() == 3)
                makeVolume(L"\\\\.\\" + path.substr(0, 2), name, extents);
        makeVolume(L"\\\\?\\Volume{" + name + L"}", name, extents);
        dosDevices[L"Volume{" + name + L"}"] = L"\\Device\\" + name;
        volumes.push_back({L"\\\\?\\Volume{" + name + L"}\\", std::move(paths), std::move(label),
                           std::move(fileSystem), DRIVE_FIXED});
    }

    testing_support::PlayedDevice& volume(const std::wstring& name) {
        return device(L"\\\\?\\Volume{" + name + L"}");
    }

    void setRegistryText(const std::wstring& name, const std::wstring& text) {
        const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
        registry[name] = {bytes, bytes + (text.size() + 1) * sizeof(wchar_t)};
    }

    std::set<std::wstring> locked;      ///< names of volumes
    std::set<std::wstring> dismounted;  ///< of those that are locked

    /// Of this process alone: others run the same tests at the same time.
    HANDLE createEvent(const std::wstring& name) override { return SystemCalls::createEvent(ownName(name)); }
    HANDLE openEvent(const std::wstring& name) override { return SystemCalls::openEvent(ownName(name)); }

private:
    static std::wstring ownName(const std::wstring& name) {
        return name + L"-" + std::to_wstring(GetCurrentProcessId());
    }

    void makeVolume(const std::wstring& path, const std::wstring& name,
                    const std::vector<testing_support::PlayedExtent>& extents) {
        testing_support::PlayedDevice& made = device(path);
        made.answer(IOCTL_VOLUME_GET_VOLUME_DISK_EXTENTS, testing_support::diskExtents(extents));
        made.answer(IOCTL_STORAGE_GET_DEVICE_NUMBER,
                    testing_support::deviceNumber(zel::DeviceNumber::kDiskType, extents.front().disk));
        made.answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, testing_support::diskGeometry(64 * kMiB));
        const auto act = [&made](DWORD code, std::function<bool()> action) {
            made.drivers[code] = [action = std::move(action)](const testing_support::PlayedRequest&) {
                return testing_support::PlayedAnswer{{}, action() ? DWORD{ERROR_SUCCESS} : ERROR_NOT_LOCKED};
            };
        };
        act(FSCTL_LOCK_VOLUME, [this, name] { return locked.insert(name).second; });
        act(FSCTL_DISMOUNT_VOLUME,
            [this, name] { return locked.contains(name) && dismounted.insert(name).second; });
        act(FSCTL_UNLOCK_VOLUME, [this, name] {
            dismounted.erase(name);
            return locked.erase(name) != 0;
        });
    }
};

}  // namespace libDrive2
