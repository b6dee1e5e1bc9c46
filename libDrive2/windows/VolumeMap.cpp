#include "libDrive2/windows/VolumeMap.h"

#include "zel/windows/Utf16.h"

namespace libDrive2 {

namespace {

using zel::SystemCalls;

constexpr DWORD kNameUnits = MAX_PATH + 1;
constexpr std::size_t kMostPathUnits = 1 << 16;

/// A search for volumes; ends with its object.
class VolumeSearch {
public:
    VolumeSearch() : m_search(SystemCalls::current().findFirstVolume(m_name, kNameUnits)) {}
    ~VolumeSearch() {
        if (isFound())
            SystemCalls::current().findVolumeClose(m_search);
    }
    VolumeSearch(const VolumeSearch&) = delete;
    VolumeSearch& operator=(const VolumeSearch&) = delete;

    [[nodiscard]] bool isFound() const { return m_search != INVALID_HANDLE_VALUE; }
    [[nodiscard]] const wchar_t* name() const { return m_name; }
    bool next() { return SystemCalls::current().findNextVolume(m_search, m_name, kNameUnits) != FALSE; }

private:
    wchar_t m_name[kNameUnits] = {};
    HANDLE m_search;
};

/// Texts that follow one another, each with a zero at its end, up to an empty one.
std::vector<std::wstring> splitList(const std::wstring& list) {
    std::vector<std::wstring> texts;
    for (std::size_t at = 0; at < list.size() && list[at] != L'\0';) {
        const std::size_t end = std::min(list.find(L'\0', at), list.size());
        texts.push_back(list.substr(at, end - at));
        at = end + 1;
    }
    return texts;
}

std::vector<std::wstring> mountPointsOf(const std::wstring& name) {
    std::wstring paths(kNameUnits, L'\0');
    DWORD needed = 0;
    while (SystemCalls::current().getVolumePathNames(name, paths.data(), static_cast<DWORD>(paths.size()),
                                                     &needed) == FALSE) {
        if (GetLastError() != ERROR_MORE_DATA || needed <= paths.size() || needed > kMostPathUnits)
            return {};
        paths.assign(needed, L'\0');
    }
    return splitList(paths);
}

std::wstring withoutBackslash(std::wstring path) {
    if (path.ends_with(L'\\'))
        path.pop_back();
    return path;
}

SystemVolume describe(const wchar_t* name) {
    SystemVolume volume{name, mountPointsOf(name), {}, {}};
    if (const zel::Handle opened = zel::openToAsk(volume.devicePath())) {
        volume.extents = askExtents(opened.get()).value_or(std::vector<DiskExtent>());
        volume.number = zel::askNumber(opened.get());
    }
    return volume;
}

}  // namespace

std::wstring SystemVolume::devicePath() const {
    return withoutBackslash(name);
}

std::string SystemVolume::title() const {
    return zel::fromWide(withoutBackslash(mountPoints.empty() ? name : mountPoints.front()));
}

bool SystemVolume::liesOn(const WindowsTarget& target) const {
    return target.meets(extents) || (target.kind == WindowsTarget::Kind::optical && number &&
                                     number->isOptical() && number->number == target.number.number);
}

std::string describeFileSystem(const SystemVolume& volume) {
    wchar_t label[kNameUnits] = {};
    wchar_t system[kNameUnits] = {};
    DWORD serial = 0;
    DWORD flags = 0;
    if (SystemCalls::current().getVolumeInformation(volume.name, label, kNameUnits, &serial, &flags, system,
                                                    kNameUnits) == FALSE)
        return {};
    const std::string text = zel::fromWide(label);
    return zel::fromWide(system) + (text.empty() ? "" : " \"" + text + "\"");
}

std::optional<std::vector<SystemVolume>> listVolumes() {
    std::vector<SystemVolume> volumes;
    DWORD end = ERROR_SUCCESS;
    {
        VolumeSearch search;
        for (bool isFound = search.isFound(); isFound; isFound = search.next())
            volumes.push_back(describe(search.name()));
        end = GetLastError();
    }
    if (end == ERROR_NO_MORE_FILES)
        return volumes;
    SetLastError(end);
    return std::nullopt;
}

}  // namespace libDrive2
