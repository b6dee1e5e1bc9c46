#include "libDrive2/windows/WindowsUsers.h"

#include <algorithm>
#include <cwctype>
#include <set>

#include "libDrive2/windows/answers/DriveLayout.h"
#include "zel/Words.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;
using zel::words;

constexpr DWORD kPathUnits = MAX_PATH + 1;
constexpr const wchar_t* kMemoryKey =
    L"SYSTEM\\CurrentControlSet\\Control\\Session Manager\\Memory Management";
/// Of all page files in use; and of those that are set up, used or not.
constexpr const wchar_t* kPageFileValues[] = {L"ExistingPageFiles", L"PagingFiles"};
constexpr const wchar_t* kSetupKey = L"SYSTEM\\Setup";
constexpr const wchar_t* kStartVolumeValue = L"SystemPartition";

std::wstring folded(std::wstring text) {
    std::transform(text.begin(), text.end(), text.begin(), [](wchar_t unit) {
        return static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(unit)));
    });
    return text;
}

/// A text or a list of them; each ends with a zero.
std::wstring registryText(const wchar_t* key, const wchar_t* name) {
    std::wstring text;
    DWORD bytes = 0;
    constexpr DWORD kTypes = RRF_RT_REG_SZ | RRF_RT_REG_MULTI_SZ;
    if (SystemCalls::current().getRegistryValue(key, name, kTypes, nullptr, &bytes) != ERROR_SUCCESS)
        return text;
    text.assign(bytes / sizeof(wchar_t) + 1, L'\0');
    bytes = static_cast<DWORD>(text.size() * sizeof(wchar_t));
    if (SystemCalls::current().getRegistryValue(key, name, kTypes, text.data(), &bytes) != ERROR_SUCCESS)
        return {};
    text.resize(std::min<std::size_t>(text.size(), bytes / sizeof(wchar_t)));
    return text;
}

/// The letters of the drives that the paths in a list lie on: "C:\pagefile.sys 0 0", "\??\D:\pagefile.sys".
std::set<wchar_t> lettersIn(const std::wstring& list) {
    std::set<wchar_t> letters;
    for (std::size_t colon = list.find(L":\\"); colon != std::wstring::npos;
         colon = list.find(L":\\", colon + 1))
        if (colon > 0 && (colon == 1 || list[colon - 2] == L'\\' || list[colon - 2] == L'\0'))
            letters.insert(folded(list.substr(colon - 1, 1))[0]);
    return letters;
}

std::set<wchar_t> pageFileLetters() {
    std::set<wchar_t> letters;
    for (const wchar_t* value : kPageFileValues)
        letters.merge(lettersIn(registryText(kMemoryKey, value)));
    return letters;
}

wchar_t systemLetter() {
    wchar_t path[kPathUnits] = {};
    const UINT units = SystemCalls::current().getSystemFolder(path, kPathUnits);
    return units > 1 && units < kPathUnits && path[1] == L':' ? folded(std::wstring(1, path[0]))[0] : L'\0';
}

/// The volume that the firmware starts, as "\Device\HarddiskVolume1".
bool isStartVolume(const SystemVolume& volume, const std::wstring& start) {
    const std::wstring name = zel::deviceName(volume.devicePath());
    wchar_t target[kPathUnits] = {};
    const DWORD units = start.empty() || name.empty()
                            ? 0
                            : SystemCalls::current().queryDosDevice(name.c_str(), target, kPathUnits - 1);
    return units != 0 && folded(target) == folded(start.substr(0, start.find(L'\0')));
}

bool hasLetter(const SystemVolume& volume, wchar_t letter) {
    return std::any_of(volume.mountPoints.begin(), volume.mountPoints.end(),
                       [letter](const std::wstring& point) {
                           return point.size() == 3 && folded(point)[0] == letter && point[1] == L':';
                       });
}

std::string inUse(const std::string& subject, const std::string& use) {
    return words("{subject} {use}", {{"subject", subject}, {"use", use}});
}

std::string titleWithSystem(const SystemVolume& volume) {
    const std::string system = describeFileSystem(volume);
    return volume.title() + (system.empty() ? "" : " (" + system + ")");
}

/// The disks that the target is, or is cut from.
std::set<std::uint32_t> disksOf(const WindowsTarget& target) {
    std::set<std::uint32_t> disks;
    if (target.kind == WindowsTarget::Kind::disk)
        disks.insert(target.number.number);
    for (const DiskExtent& extent : target.extents)
        disks.insert(extent.disk);
    return disks;
}

/// What the partition table says of disks whose contents cannot be seen as volumes of their own.
void addGroups(std::uint32_t disk, std::vector<std::string>& obstacles) {
    const zel::Handle device = zel::openToAsk(diskPath(disk));
    const auto layout = device
                            ? parseDriveLayout(zel::askDevice(device.get(), IOCTL_DISK_GET_DRIVE_LAYOUT_EX))
                            : std::nullopt;
    if (!layout)
        return;
    const std::string name = words("disk {n}", {{"n", disk}});
    const auto& parts = layout->partitions;
    if (std::any_of(parts.begin(), parts.end(), [](const auto& part) { return part.isPool(); }))
        obstacles.push_back(inUse(name, words("belongs to a storage pool")));
    if (std::any_of(parts.begin(), parts.end(), [](const auto& part) { return part.isDynamic(); }))
        obstacles.push_back(inUse(name, words("is a dynamic disk")));
}

}  // namespace

StorageUse findUse(const WindowsTarget& target, const std::vector<SystemVolume>& volumes) {
    StorageUse use;
    const wchar_t windows = systemLetter();
    const std::wstring start = registryText(kSetupKey, kStartVolumeValue);
    const std::set<wchar_t> pageFiles = pageFileLetters();
    for (const SystemVolume& volume : volumes) {
        const bool isByLetter = target.letter != 0 && hasLetter(volume, target.letter);
        if (!volume.liesOn(target) && !isByLetter)
            continue;
        const std::size_t before = use.obstacles.size();
        if (windows != 0 && hasLetter(volume, windows))
            use.obstacles.push_back(inUse(titleWithSystem(volume), words("holds Windows")));
        if (isStartVolume(volume, start))
            use.obstacles.push_back(inUse(titleWithSystem(volume), words("starts this computer")));
        for (const wchar_t letter : pageFiles)
            if (hasLetter(volume, letter))
                use.obstacles.push_back(words("a page file lies on {volume}", {{"volume", volume.title()}}));
        if (use.obstacles.size() == before && !volume.mountPoints.empty())
            use.mounted.push_back(volume);
    }
    for (const std::uint32_t disk : disksOf(target))
        addGroups(disk, use.obstacles);
    return use;
}

std::string describeMount(const SystemVolume& volume) {
    const std::string system = describeFileSystem(volume);
    return inUse(volume.title(), words("is mounted")) + (system.empty() ? "" : " (" + system + ")");
}

}  // namespace libDrive2
