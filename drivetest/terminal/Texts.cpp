#include "drivetest/terminal/Texts.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cmath>
#include <cstdio>
#include <iterator>

#include "drivetest/terminal/Language.h"
#include "zel/Format.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

struct CodePoint {
    char32_t value;
    std::size_t bytes;  ///< 0: the text does not begin with UTF-8
};

/// RFC 3629: neither longer than needed, nor surrogates, nor beyond the last code point.
bool isAllowed(CodePoint point) {
    constexpr std::array<char32_t, 5> kLeast{0, 0, 0x80, 0x800, 0x10000};
    return point.value >= kLeast.at(point.bytes) && point.value <= 0x10FFFF &&
           (point.value < 0xD800 || point.value > 0xDFFF);
}

CodePoint firstOf(std::string_view text) {
    const auto first = static_cast<unsigned char>(text.front());
    if (first < 0x80)
        return {first, 1};
    const std::size_t bytes = first >= 0xF8   ? 0
                              : first >= 0xF0 ? 4
                              : first >= 0xE0 ? 3
                              : first >= 0xC0 ? 2
                                              : 0;
    if (bytes == 0 || text.size() < bytes)
        return {first, 0};
    CodePoint point{static_cast<char32_t>(first & (0x7FU >> bytes)), bytes};
    for (const char next : text.substr(1, bytes - 1)) {
        if ((static_cast<unsigned char>(next) & 0xC0) != 0x80)
            return {first, 0};
        point.value = point.value << 6 | (static_cast<unsigned char>(next) & 0x3FU);
    }
    return isAllowed(point) ? point : CodePoint{first, 0};
}

/// Format characters of Unicode that change the order of what is seen, break lines, or cannot be seen.
bool isInvisible(char32_t point) {
    constexpr std::pair<char32_t, char32_t> kRanges[] = {
        {0x00AD, 0x00AD}, {0x061C, 0x061C}, {0x180E, 0x180E}, {0x200B, 0x200F}, {0x2028, 0x202E},
        {0x2060, 0x206F}, {0xFEFF, 0xFEFF}, {0xFFF9, 0xFFFB}, {0xFFFE, 0xFFFF}, {0xE0000, 0xE007F}};
    return std::any_of(std::begin(kRanges), std::end(kRanges),
                       [point](const auto& range) { return point >= range.first && point <= range.second; });
}

std::string inHex(const char* pattern, char32_t value) {
    std::array<char, 16> text{};
    std::snprintf(text.data(), text.size(), pattern, static_cast<unsigned>(value));
    return text.data();
}

std::string shown(CodePoint point, std::string_view bytes) {
    if (point.value == '\n')
        return "\\n";
    if (point.value == '\t')
        return "\\t";
    if (point.bytes == 0 || point.value < 0x20 || (point.value >= 0x7F && point.value < 0xA0))
        return inHex("\\x%02x", point.value);
    return isInvisible(point.value) ? inHex("\\u{%x}", point.value) : std::string(bytes);
}

}  // namespace

std::string fileNameText(std::string text) {
    constexpr std::size_t kMostLength = 40;
    std::replace_if(
        text.begin(), text.end(), [](unsigned char c) { return std::isalnum(c) == 0 && c != '.'; }, '_');
    return text.substr(0, kMostLength);
}

std::string durationText(std::chrono::nanoseconds duration) {
    if (duration < std::chrono::seconds(10))
        return decimalText(std::chrono::duration<double>(duration).count(), 2) + " s";
    const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(duration).count();
    return zel::format("%i:%02i:%02i", seconds / 3600, seconds / 60 % 60, seconds % 60).utf8();
}

std::string forecastText(std::chrono::nanoseconds duration) {
    constexpr std::chrono::hours kDay{24};
    constexpr auto kYear = 365 * kDay;
    if (duration < 3 * kDay)
        return durationText(duration);
    const bool isInYears = duration >= 3 * kYear;
    const auto count = static_cast<std::uint64_t>(
        std::llround(static_cast<double>(duration.count()) /
                     static_cast<double>(std::chrono::nanoseconds(isInYears ? kYear : kDay).count())));
    return isInYears ? zel::counted(count, "{n} year", "{n} years")
                     : zel::counted(count, "{n} day", "{n} days");
}

std::string sizeText(std::uint64_t bytes) {
    if (bytes < 1024)
        return std::to_string(bytes) + " B";
    double value = static_cast<double>(bytes);
    const char* const units[] = {"KiB", "MiB", "GiB", "TiB", "PiB", "EiB"};
    std::size_t unit = 0;
    for (value /= 1024; value >= 1024 && unit + 1 < std::size(units); value /= 1024)
        ++unit;
    return decimalText(value, 1) + " " + units[unit];
}

std::string quoted(const std::string& text) {
    return "\"" + text + "\"";
}

std::string sectorsText(std::uint64_t lba, std::uint64_t count) {
    if (count == 1)
        return zel::words("sector {lba}", {{"lba", lba}});
    return zel::words("sectors {first} through {last}", {{"first", lba}, {"last", lba + count - 1}});
}

std::string countText(std::uint64_t count, const char* singular) {
    return std::to_string(count) + " " + singular + (count == 1 ? "" : "s");
}

std::string printable(std::string_view text) {
    std::string line;
    while (!text.empty()) {
        const CodePoint point = firstOf(text);
        const std::size_t bytes = std::max<std::size_t>(point.bytes, 1);
        line += shown(point, text.substr(0, bytes));
        text.remove_prefix(bytes);
    }
    return line;
}

}  // namespace drivetest
