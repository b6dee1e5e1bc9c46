#pragma once

#include <concepts>
#include <cstdint>
#include <string>
#include <tuple>
#include <variant>

#include "zel/Export.h"
#include "zel/String.h"

namespace zel {

/// One argument of a printf-style format.
class DRIVETEST_API FormatArgument {
public:
    template <std::unsigned_integral T>
    FormatArgument(T value) : m_value(static_cast<std::uint64_t>(value)) {}
    template <std::signed_integral T>
    FormatArgument(T value) : m_value(static_cast<std::int64_t>(value)) {}
    FormatArgument(double value) : m_value(value) {}
    /// A null pointer is the empty text.
    FormatArgument(const char* text) : m_value(std::string(text == nullptr ? "" : text)) {}
    FormatArgument(const String& text) : m_value(text.utf8()) {}

    /// The argument in the form of one conversion such as "%02X" (length modifiers removed).
    [[nodiscard]] std::string convert(const std::string& flagsAndWidth, char conversion) const;

private:
    std::variant<std::uint64_t, std::int64_t, double, std::string> m_value;
};

/// Fills a printf-style format. Conversions %i %d %u %x %X %f %g %s %% with flags, width and precision;
/// length modifiers (I64, ll, l, h) are accepted and mean nothing: whole numbers are 64 bits wide.
/// A missing argument leaves the conversion's text as it stands.
DRIVETEST_API String formatList(const char* pattern, const FormatArgument* arguments, std::size_t count);

template <class... Arguments>
String format(const char* pattern, const Arguments&... arguments) {
    if constexpr (sizeof...(arguments) == 0) {
        return formatList(pattern, nullptr, 0);
    } else {
        const FormatArgument list[] = {FormatArgument(arguments)...};
        return formatList(pattern, list, sizeof...(arguments));
    }
}

/// A format and its arguments, filled only when somebody asks for the text. Refers to its arguments: use
/// it within the full expression that made it.
template <class... Arguments>
struct Formatted {
    const char* pattern;
    std::tuple<const Arguments&...> arguments;

    [[nodiscard]] String text() const {
        return std::apply([this](const auto&... list) { return format(pattern, list...); }, arguments);
    }
};

template <class... Arguments>
Formatted<Arguments...> formatted(const char* pattern, const Arguments&... arguments) {
    return {pattern, std::tie(arguments...)};
}

}  // namespace zel
