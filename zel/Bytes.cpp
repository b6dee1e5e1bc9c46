#include "zel/Bytes.h"

namespace zel {

std::string textOf(Bytes bytes) {
    std::string text;
    for (const std::uint8_t byte : bytes)
        text += byte >= 0x20 && byte < 0x7F ? static_cast<char>(byte) : ' ';
    const auto first = text.find_first_not_of(' ');
    if (first == std::string::npos)
        return {};
    return text.substr(first, text.find_last_not_of(' ') - first + 1);
}

}  // namespace zel
