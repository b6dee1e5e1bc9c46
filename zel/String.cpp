#include "zel/String.h"

#include <charconv>
#include <system_error>

namespace zel {

namespace {

constexpr char16_t kReplacement = 0xFFFD;

void appendCodePoint(std::u16string& units, char32_t point) {
    if (point < 0x10000) {
        units += static_cast<char16_t>(point);
    } else {
        point -= 0x10000;
        units += static_cast<char16_t>(0xD800 + (point >> 10));
        units += static_cast<char16_t>(0xDC00 + (point & 0x3FF));
    }
}

/// Decodes one sequence at `position`, moves past it, and gives kReplacement for a malformed one.
char32_t decodeUtf8(std::string_view bytes, std::size_t& position) {
    const auto lead = static_cast<unsigned char>(bytes[position++]);
    if (lead < 0x80)
        return lead;
    const int trailing = lead >= 0xF0 && lead < 0xF5   ? 3
                         : lead >= 0xE0 && lead < 0xF0 ? 2
                         : lead >= 0xC2 && lead < 0xE0 ? 1
                                                       : 0;
    if (trailing == 0)
        return kReplacement;
    char32_t point = lead & (0x3FU >> trailing);
    for (int i = 0; i < trailing; ++i) {
        if (position >= bytes.size() || (static_cast<unsigned char>(bytes[position]) & 0xC0) != 0x80)
            return kReplacement;
        point = (point << 6) | (static_cast<unsigned char>(bytes[position++]) & 0x3F);
    }
    constexpr char32_t kSmallest[] = {0, 0x80, 0x800, 0x10000};
    const bool surrogate = point >= 0xD800 && point < 0xE000;
    return point < kSmallest[trailing] || surrogate || point > 0x10FFFF ? kReplacement : point;
}

std::u16string fromUtf8(std::string_view bytes) {
    std::u16string units;
    units.reserve(bytes.size());
    for (std::size_t position = 0; position < bytes.size();)
        appendCodePoint(units, decodeUtf8(bytes, position));
    return units;
}

void appendUtf8(std::string& bytes, char32_t point) {
    const auto put = [&bytes](char32_t byte) { bytes += static_cast<char>(byte); };
    if (point < 0x80) {
        put(point);
    } else if (point < 0x800) {
        put(0xC0 | (point >> 6));
        put(0x80 | (point & 0x3F));
    } else if (point < 0x10000) {
        put(0xE0 | (point >> 12));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    } else {
        put(0xF0 | (point >> 18));
        put(0x80 | ((point >> 12) & 0x3F));
        put(0x80 | ((point >> 6) & 0x3F));
        put(0x80 | (point & 0x3F));
    }
}

bool isHighSurrogate(char16_t unit) {
    return unit >= 0xD800 && unit < 0xDC00;
}
bool isLowSurrogate(char16_t unit) {
    return unit >= 0xDC00 && unit < 0xE000;
}

char16_t lower(char16_t unit) {
    return unit >= u'A' && unit <= u'Z' ? static_cast<char16_t>(unit + 32) : unit;
}

template <class Number>
bool parseNumber(const std::u16string& units, Number& value, unsigned radix) {
    std::string digits;
    digits.reserve(units.size());
    for (const char16_t unit : units) {
        if (unit > 0x7F)
            return false;
        digits += static_cast<char>(unit);
    }
    std::size_t skip = 0;
    const bool isMarked = digits.starts_with("0x") || digits.starts_with("0X");
    if (radix == 0)
        radix = isMarked ? 16 : 10;
    if (radix == 16 && isMarked)
        skip = 2;
    if (radix < 2 || radix > 36)
        return false;
    Number parsed = 0;
    const char* const end = digits.data() + digits.size();
    const auto result = std::from_chars(digits.data() + skip, end, parsed, static_cast<int>(radix));
    if (result.ec != std::errc() || result.ptr != end)
        return false;
    value = parsed;
    return true;
}

}  // namespace

String::String(const char* utf8) : String(std::string_view(utf8 == nullptr ? "" : utf8)) {}

String::String(std::string_view utf8) : m_units(fromUtf8(utf8)) {}

String String::number(std::uint64_t value) {
    return std::to_string(value);
}

std::string String::utf8() const {
    std::string bytes;
    bytes.reserve(m_units.size());
    for (std::size_t i = 0; i < m_units.size(); ++i) {
        char32_t point = m_units[i];
        if (isHighSurrogate(m_units[i]) && i + 1 < m_units.size() && isLowSurrogate(m_units[i + 1])) {
            point = 0x10000 + ((point & 0x3FF) << 10) + (m_units[i + 1] & 0x3FFU);
            ++i;
        } else if (isHighSurrogate(m_units[i]) || isLowSurrogate(m_units[i])) {
            point = kReplacement;
        }
        appendUtf8(bytes, point);
    }
    return bytes;
}

std::string String::lowerBytes() const {
    std::string bytes;
    bytes.reserve(m_units.size());
    for (const char16_t unit : m_units)
        bytes += static_cast<char>(unit & 0xFF);
    return bytes;
}

String& String::operator+=(const String& tail) {
    m_units += tail.m_units;
    return *this;
}

Array<String> String::tokenize(const String& separators) const {
    Array<String> pieces;
    if (m_units.empty())
        return pieces;
    std::size_t start = 0;
    while (true) {
        const std::size_t end = m_units.find_first_of(separators.m_units, start);
        pieces.append(String(m_units.substr(start, end == std::u16string::npos ? end : end - start)));
        if (end == std::u16string::npos)
            return pieces;
        start = end + 1;
    }
}

String String::toLower() const {
    std::u16string units = m_units;
    for (char16_t& unit : units)
        unit = lower(unit);
    return String(std::move(units));
}

int String::compareNoCase(const String& other) const {
    return toLower().m_units.compare(other.toLower().m_units);
}

String String::replace(const String& what, const String& with) const {
    if (what.isEmpty())
        return *this;
    std::u16string units;
    std::size_t start = 0;
    for (std::size_t hit = 0; (hit = m_units.find(what.m_units, start)) != std::u16string::npos;) {
        units.append(m_units, start, hit - start);
        units += with.m_units;
        start = hit + what.length();
    }
    units.append(m_units, start);
    return String(std::move(units));
}

bool String::strToUInt(std::uint32_t& value, unsigned radix) const {
    return parseNumber(m_units, value, radix);
}
bool String::strToUInt64(std::uint64_t& value, unsigned radix) const {
    return parseNumber(m_units, value, radix);
}
bool String::toUint32(std::uint32_t& value, unsigned radix) const {
    return parseNumber(m_units, value, radix);
}

}  // namespace zel
