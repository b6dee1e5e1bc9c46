#include "zel/HexDump.h"

#include <algorithm>
#include <string>

namespace zel {

namespace {

constexpr std::size_t kBytesPerLine = 16;
constexpr const char* kDigits = "0123456789ABCDEF";

void appendNumber(std::string& text, std::size_t number, int digits) {
    for (int shift = (digits - 1) * 4; shift >= 0; shift -= 4)
        text += kDigits[(number >> shift) & 0xF];
}

void appendLine(std::string& text, const unsigned char* bytes, std::size_t count) {
    for (std::size_t i = 0; i < kBytesPerLine; ++i) {
        text += ' ';
        if (i < count)
            appendNumber(text, bytes[i], 2);
        else
            text += "  ";
    }
    text += "  ";
    for (std::size_t i = 0; i < count; ++i)
        text += bytes[i] >= 0x20 && bytes[i] < 0x7F ? static_cast<char>(bytes[i]) : '.';
    text += '\n';
}

}  // namespace

String hexDump(const void* data, std::size_t bytes) {
    const auto* const first = static_cast<const unsigned char*>(data);
    std::string text;
    for (std::size_t offset = 0; offset < bytes; offset += kBytesPerLine) {
        appendNumber(text, offset, 8);
        appendLine(text, first + offset, std::min(kBytesPerLine, bytes - offset));
    }
    return String(text);
}

}  // namespace zel
