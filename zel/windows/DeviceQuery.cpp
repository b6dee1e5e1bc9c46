#include "zel/windows/DeviceQuery.h"

#include <algorithm>
#include <array>
#include <cwctype>

namespace zel {

namespace {

constexpr std::size_t kFirstRoom = 1024;
constexpr std::size_t kMostRoom = 1 << 20;
constexpr std::size_t kMostDigits = 9;

bool isTooSmall(DWORD error) {
    return error == ERROR_MORE_DATA || error == ERROR_INSUFFICIENT_BUFFER;
}

bool isSameLetter(wchar_t a, wchar_t b) {
    return std::towupper(static_cast<std::wint_t>(a)) == std::towupper(static_cast<std::wint_t>(b));
}

bool isDigit(wchar_t unit) {
    return unit >= L'0' && unit <= L'9';
}

/// All names that QueryDosDevice() tells, each followed by a zero.
std::wstring dosDevices() {
    for (std::size_t room = kFirstRoom; room <= kMostRoom; room *= 4) {
        std::wstring names(room, L'\0');
        const DWORD units =
            SystemCalls::current().queryDosDevice(nullptr, names.data(), static_cast<DWORD>(room));
        if (units != 0 || !isTooSmall(GetLastError())) {
            names.resize(std::min<std::size_t>(units, room));
            return names;
        }
    }
    return {};
}

}  // namespace

std::vector<std::uint8_t> askDevice(HANDLE device, DWORD code, Bytes question) {
    std::vector<std::uint8_t> asked(question.begin(), question.end());
    for (std::size_t room = kFirstRoom; room <= kMostRoom; room *= 4) {
        std::vector<std::uint8_t> answer(room);
        DWORD returned = 0;
        if (SystemCalls::current().deviceIoControl(device, code, asked.empty() ? nullptr : asked.data(),
                                                   static_cast<DWORD>(asked.size()), answer.data(),
                                                   static_cast<DWORD>(room), &returned) != FALSE) {
            SetLastError(ERROR_SUCCESS);
            // A driver may count more than it was given room for.
            answer.resize(std::min<std::size_t>(returned, room));
            return answer;
        }
        if (!isTooSmall(GetLastError()))
            break;
    }
    return {};
}

std::vector<std::uint8_t> askProperty(HANDLE device, DWORD property) {
    std::array<std::uint8_t, sizeof(STORAGE_PROPERTY_QUERY)> question{};
    storeLittleEndian(question, 0, property);
    return askDevice(device, IOCTL_STORAGE_QUERY_PROPERTY, question);
}

bool tellDevice(HANDLE device, DWORD code, Bytes message) {
    std::vector<std::uint8_t> told(message.begin(), message.end());
    DWORD returned = 0;
    return SystemCalls::current().deviceIoControl(device, code, told.empty() ? nullptr : told.data(),
                                                  static_cast<DWORD>(told.size()), nullptr, 0,
                                                  &returned) != FALSE;
}

std::optional<DeviceDescriptor> askDescriptor(HANDLE device) {
    return parseDeviceDescriptor(askProperty(device, StorageDeviceProperty));
}

std::optional<DeviceNumber> askNumber(HANDLE device) {
    return parseDeviceNumber(askDevice(device, IOCTL_STORAGE_GET_DEVICE_NUMBER));
}

std::optional<DiskGeometry> askGeometry(HANDLE device) {
    const auto geometry = parseDiskGeometry(askDevice(device, IOCTL_DISK_GET_DRIVE_GEOMETRY_EX));
    return geometry && geometry->bytes ? geometry : std::nullopt;
}

Handle openShared(const std::wstring& path, DWORD access) {
    return Handle(SystemCalls::current().createFile(path, access, kShareContents, OPEN_EXISTING, 0));
}

std::optional<DeviceDescriptor> askDriveItself(const std::wstring& path) {
    constexpr UCHAR kInquiry = 0x12, kInquiryBytes = 6;
    constexpr ULONG kSeconds = 5;
    const Handle device(SystemCalls::current().createFile(
        path, GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE, OPEN_EXISTING, 0));
    std::array<std::uint8_t, 96> answer{};
    SCSI_PASS_THROUGH_DIRECT command{};
    command.Length = sizeof command;
    command.CdbLength = kInquiryBytes;
    command.Cdb[0] = kInquiry;
    command.Cdb[4] = static_cast<UCHAR>(answer.size());
    command.DataIn = SCSI_IOCTL_DATA_IN;
    command.DataTransferLength = static_cast<ULONG>(answer.size());
    command.DataBuffer = answer.data();
    command.TimeOutValue = kSeconds;
    DWORD returned = 0;
    if (!device ||
        SystemCalls::current().deviceIoControl(device.get(), IOCTL_SCSI_PASS_THROUGH_DIRECT, &command,
                                               sizeof command, &command, sizeof command,
                                               &returned) == FALSE ||
        command.ScsiStatus != 0)
        return std::nullopt;
    return parseInquiry(
        Bytes(answer).first(std::min<std::size_t>(command.DataTransferLength, answer.size())));
}

Handle openToAsk(const std::wstring& path) {
    return openShared(path, 0);
}

std::wstring devicePath(std::wstring_view name) {
    return std::wstring(L"\\\\.\\").append(name);
}

std::wstring devicePath(std::wstring_view prefix, std::uint32_t number) {
    return devicePath(prefix) + std::to_wstring(number);
}

std::wstring deviceName(std::wstring_view path) {
    for (const std::wstring_view prefix : {L"\\\\.\\", L"\\\\?\\"})
        if (path.starts_with(prefix))
            return std::wstring(path.substr(prefix.size()));
    return {};
}

std::optional<std::uint32_t> numberInName(std::wstring_view name, std::wstring_view prefix) {
    if (name.size() <= prefix.size() || name.size() > prefix.size() + kMostDigits ||
        !std::equal(prefix.begin(), prefix.end(), name.begin(), isSameLetter))
        return std::nullopt;
    std::uint32_t number = 0;
    for (const wchar_t digit : name.substr(prefix.size())) {
        if (!isDigit(digit))
            return std::nullopt;
        number = number * 10 + static_cast<std::uint32_t>(digit - L'0');
    }
    return number;
}

wchar_t letterInName(std::wstring_view name) {
    if (name.size() != 2 || name[1] != L':')
        return 0;
    const auto letter = static_cast<wchar_t>(std::towupper(static_cast<std::wint_t>(name[0])));
    return letter >= L'A' && letter <= L'Z' ? letter : L'\0';
}

std::vector<std::uint32_t> listDevicesNamed(std::wstring_view prefix) {
    std::vector<std::uint32_t> numbers;
    const std::wstring names = dosDevices();
    for (std::size_t at = 0; at < names.size();) {
        const std::size_t end = std::min(names.find(L'\0', at), names.size());
        if (const auto number = numberInName(std::wstring_view(names).substr(at, end - at), prefix))
            numbers.push_back(*number);
        at = end + 1;
    }
    std::sort(numbers.begin(), numbers.end());
    numbers.erase(std::unique(numbers.begin(), numbers.end()), numbers.end());
    return numbers;
}

}  // namespace zel
