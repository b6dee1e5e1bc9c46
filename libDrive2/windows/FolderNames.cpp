#include "libDrive2/windows/FolderNames.h"

#include <cstring>

namespace libDrive2 {

namespace {

// FILE_FULL_DIR_INFO: where the next one is (0: nowhere), the length of the name in bytes, the name.
constexpr std::size_t kNextAt = 0;
constexpr std::size_t kNameBytesAt = 60;
constexpr std::size_t kNameAt = 68;

std::uint32_t numberAt(std::span<const std::uint8_t> bytes, std::size_t offset) {
    std::uint32_t number = 0;
    std::memcpy(&number, bytes.data() + offset, sizeof number);
    return number;
}

}  // namespace

bool appendNames(std::span<const std::uint8_t> list, std::vector<std::wstring>& names) {
    for (;;) {
        if (list.size() < kNameAt)
            return false;
        const std::size_t next = numberAt(list, kNextAt);
        const std::size_t nameBytes = numberAt(list, kNameBytesAt);
        if (nameBytes > list.size() - kNameAt || next > list.size() || (next != 0 && next < kNameAt))
            return false;
        std::wstring name(nameBytes / sizeof(wchar_t), L'\0');
        std::memcpy(name.data(), list.data() + kNameAt, name.size() * sizeof(wchar_t));
        names.push_back(std::move(name));
        if (next == 0)
            return true;
        list = list.subspan(next);
    }
}

}  // namespace libDrive2
