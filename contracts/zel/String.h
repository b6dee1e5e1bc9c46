#pragma once

#include <compare>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

#include "zel/Array.h"
#include "zel/Export.h"

namespace zel {

/// Text as UTF-16 code units; a value type. Comparison is case-sensitive, code unit by code unit.
class DRIVETEST_API String {
public:
    String() = default;
    /// From UTF-8; a null pointer is the empty text. Malformed bytes become U+FFFD.
    String(const char* utf8);
    String(std::string_view utf8);
    String(const std::string& utf8) : String(std::string_view(utf8)) {}
    explicit String(std::u16string units) : m_units(std::move(units)) {}

    /// The decimal form of a number.
    static String number(std::uint64_t value);

    /// UTF-8; an unpaired surrogate becomes U+FFFD.
    [[nodiscard]] std::string utf8() const;
    /// The lower byte of each code unit.
    [[nodiscard]] std::string lowerBytes() const;

    [[nodiscard]] bool isEmpty() const { return m_units.empty(); }
    /// Length in code units.
    [[nodiscard]] std::size_t length() const { return m_units.size(); }
    [[nodiscard]] const std::u16string& units() const { return m_units; }

    String& operator+=(const String& tail);
    friend String operator+(String head, const String& tail) { return head += tail; }
    bool operator==(const String&) const = default;
    auto operator<=>(const String&) const = default;

    /// The pieces between separators (every code unit of `separators` is one). Empty pieces are kept;
    /// the empty text has no pieces.
    [[nodiscard]] Array<String> tokenize(const String& separators) const;
    /// ASCII letters turned to lower case.
    [[nodiscard]] String toLower() const;
    /// Like strcmp, ASCII letters compared without regard to case.
    [[nodiscard]] int compareNoCase(const String& other) const;
    /// Every occurrence of `what` replaced; an empty `what` changes nothing.
    [[nodiscard]] String replace(const String& what, const String& with) const;

    /// Unsigned numbers: digits only, the whole text, no sign and no blanks. Radix 2 to 36, 16 also with
    /// "0x"; radix 0 takes "0x" as hexadecimal and everything else as decimal. False (value untouched)
    /// when the text is no such number or does not fit.
    bool strToUInt(std::uint32_t& value, unsigned radix = 10) const;
    bool strToUInt64(std::uint64_t& value, unsigned radix = 10) const;
    bool toUint32(std::uint32_t& value, unsigned radix = 0) const;

private:
    std::u16string m_units;
};

}  // namespace zel
