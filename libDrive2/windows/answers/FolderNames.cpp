#include "libDrive2/windows/answers/FolderNames.h"

#include "zel/String.h"

namespace libDrive2 {

namespace {

// Of an entry: where the next one is (0: nowhere), the length of its name in bytes, the name.
constexpr std::size_t kNextAt = 0;
constexpr std::size_t kNameBytesAt = 60;
constexpr std::size_t kNameAt = 68;

std::string nameIn(Bytes name) {
    std::u16string units;
    for (std::size_t at = 0; at + 1 < name.size(); at += sizeof(char16_t))
        units += loadLittleEndian<char16_t>(name, at);
    return zel::String(std::move(units)).utf8();
}

}  // namespace

bool appendNames(Bytes list, std::vector<std::string>& names) {
    for (;;) {
        const std::size_t next = loadLittleEndian<std::uint32_t>(list, kNextAt);
        const std::size_t nameBytes = loadLittleEndian<std::uint32_t>(list, kNameBytesAt);
        if (list.size() < kNameAt || nameBytes > list.size() - kNameAt || next > list.size() ||
            (next != 0 && next < kNameAt))
            return false;
        names.push_back(nameIn(list.subspan(kNameAt, nameBytes)));
        if (next == 0)
            return true;
        list = list.subspan(next);
    }
}

}  // namespace libDrive2
