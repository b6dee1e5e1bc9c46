#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "zel/Export.h"
#include "zel/windows/Handle.h"
#include "zel/windows/StorageAnswers.h"

namespace zel {

/// Asks a driver, with more room until its answer fits. Empty on failure, with GetLastError() set; a driver
/// that answers with nothing succeeds with ERROR_SUCCESS.
DRIVETEST_API std::vector<std::uint8_t> askDevice(HANDLE device, DWORD code, Bytes question = {});

/// The same for IOCTL_STORAGE_QUERY_PROPERTY, with a STORAGE_PROPERTY_ID.
DRIVETEST_API std::vector<std::uint8_t> askProperty(HANDLE device, DWORD property);

/// Sends what has no answer; false, with GetLastError(), on failure.
DRIVETEST_API bool tellDevice(HANDLE device, DWORD code, Bytes message = {});

/// Answers of the kind that every storage device gives; nothing where it does not.
DRIVETEST_API std::optional<DeviceDescriptor> askDescriptor(HANDLE device);
DRIVETEST_API std::optional<DeviceNumber> askNumber(HANDLE device);
/// With the size, which handles without the right to read are told, too.
DRIVETEST_API std::optional<DiskGeometry> askGeometry(HANDLE device);

/// What the drive of that name says of itself (INQUIRY), for those whose driver does not answer. It needs the
/// right to send commands.
DRIVETEST_API std::optional<DeviceDescriptor> askDriveItself(const std::wstring& path);

/// Opens what is there, which others may read and write meanwhile. Empty, with GetLastError(), on failure.
DRIVETEST_API Handle openShared(const std::wstring& path, DWORD access);
/// Opens a device to ask it; without the right to read or to write, so that this disturbs nobody.
DRIVETEST_API Handle openToAsk(const std::wstring& path);

/// "\\.\NAME"
DRIVETEST_API std::wstring devicePath(std::wstring_view name);
/// "\\.\PREFIXN"
DRIVETEST_API std::wstring devicePath(std::wstring_view prefix, std::uint32_t number);

/// The name after "\\.\" or "\\?\"; empty for any other path.
DRIVETEST_API std::wstring deviceName(std::wstring_view path);

/// The N of a name such as PREFIXN, compared without regard to case.
DRIVETEST_API std::optional<std::uint32_t> numberInName(std::wstring_view name, std::wstring_view prefix);

/// The drive letter of "X:", as a capital one; 0 for any other name.
DRIVETEST_API wchar_t letterInName(std::wstring_view name);

/// The N of all devices named PREFIXN that the system has, in order.
DRIVETEST_API std::vector<std::uint32_t> listDevicesNamed(std::wstring_view prefix);

inline constexpr std::wstring_view kDiskPrefix = L"PhysicalDrive";
inline constexpr std::wstring_view kOpticalPrefix = L"CdRom";

}  // namespace zel
