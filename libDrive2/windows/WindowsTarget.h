#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "libDrive2/windows/answers/DiskExtents.h"
#include "zel/String.h"
#include "zel/windows/DeviceQuery.h"

namespace libDrive2 {

/// What tells a file from all others on this machine.
struct FileNumber {
    std::uint64_t volume = 0;  ///< its serial number
    std::string file{};        ///< hexadecimal

    bool operator==(const FileNumber&) const = default;
};

/// What an open handle leads to, as the system's drivers tell.
struct WindowsTarget {
    enum class Kind : std::uint8_t {
        unknown,  ///< a device whose driver tells nothing of where it lies
        disk,     ///< a physical drive
        optical,
        floppy,
        volume,
        file,
        folder,
    };

    Kind kind = Kind::unknown;
    zel::DeviceNumber number{};         ///< of a disk or an optical drive
    std::vector<DiskExtent> extents{};  ///< of a volume
    wchar_t letter = 0;                 ///< of a path that is a drive letter
    std::optional<FileNumber> file{};   ///< of a file, and where an unknown device is seen to be one

    bool operator==(const WindowsTarget&) const = default;
    /// Asks the handle, which needs no right to read; `path` is how it was opened.
    static WindowsTarget of(HANDLE opened, const zel::String& path);

    /// Whether an extent of it lies on one of the other.
    [[nodiscard]] bool meets(const std::vector<DiskExtent>& others) const;
};

/// The system's answer to where a volume lies; nothing for what is none.
std::optional<std::vector<DiskExtent>> askExtents(HANDLE volume);

/// "\\.\PhysicalDriveN"
std::wstring diskPath(std::uint32_t number);

}  // namespace libDrive2
