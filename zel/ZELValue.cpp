#include "zel/ZELValue.h"

#include <charconv>
#include <cmath>
#include <limits>

namespace zel {

bool ZELValue::get(bool& out) const {
    const auto* const held = std::get_if<bool>(&m_value);
    if (held != nullptr)
        out = *held;
    return held != nullptr;
}

bool ZELValue::get(std::uint32_t& out) const {
    std::uint64_t wide = 0;
    if (!get(wide) || wide > std::numeric_limits<std::uint32_t>::max())
        return false;
    out = static_cast<std::uint32_t>(wide);
    return true;
}

bool ZELValue::get(std::uint64_t& out) const {
    if (const auto* narrow = std::get_if<std::uint32_t>(&m_value))
        out = *narrow;
    else if (const auto* wide = std::get_if<std::uint64_t>(&m_value))
        out = *wide;
    else
        return false;
    return true;
}

bool ZELValue::get(double& out) const {
    std::uint32_t number = 0;
    if (const auto* real = std::get_if<double>(&m_value))
        out = *real;
    else if (get(number))
        out = number;
    else
        return false;
    return true;
}

bool ZELValue::get(String& out) const {
    if (std::holds_alternative<std::monostate>(m_value))
        return false;
    out = text();
    return true;
}

String ZELValue::text() const {
    if (const auto* truth = std::get_if<bool>(&m_value))
        return *truth ? "true" : "false";
    if (const auto* real = std::get_if<double>(&m_value)) {
        char digits[32];
        // Rates of many digits stay readable: "100000", not "1e+05".
        const double size = std::fabs(*real);
        const bool isPlain = size == 0 || (size >= 1e-5 && size < 1e15);
        const auto result = std::to_chars(digits, digits + sizeof digits, *real,
                                          isPlain ? std::chars_format::fixed : std::chars_format::general);
        return std::string_view(digits, static_cast<std::size_t>(result.ptr - digits));
    }
    if (const auto* held = std::get_if<String>(&m_value))
        return *held;
    std::uint64_t number = 0;
    return get(number) ? String::number(number) : String();
}

}  // namespace zel
