#include "zel/Format.h"

#include <cstdio>
#include <cstring>

namespace zel {

namespace {

/// One conversion such as "%-5I64u", taken apart.
struct Conversion {
    std::string text;           ///< as it stands in the pattern
    std::string flagsAndWidth;  ///< "%-5": without the length modifier and the letter
    char letter = '\0';         ///< '\0' when the pattern ends inside the conversion
};

Conversion parseConversion(const char* percent) {
    const char* at = percent + 1;
    at += std::strspn(at, "-+ #0123456789.");
    const char* const modifier = at;
    if (std::strncmp(at, "I64", 3) == 0 || std::strncmp(at, "I32", 3) == 0)
        at += 3;
    else
        at += std::strspn(at, "lhzjt");
    Conversion conversion;
    conversion.flagsAndWidth.assign(percent, modifier);
    conversion.letter = *at;
    conversion.text.assign(percent, *at == '\0' ? at : at + 1);
    return conversion;
}

template <class T>
std::string print(const std::string& pattern, T value) {
    const int length = std::snprintf(nullptr, 0, pattern.c_str(), value);
    if (length < 0)
        return {};
    std::string text(static_cast<std::size_t>(length) + 1, '\0');
    std::snprintf(text.data(), text.size(), pattern.c_str(), value);
    text.pop_back();
    return text;
}

bool isInteger(char letter) {
    return letter != '\0' && std::strchr("diuxXo", letter) != nullptr;
}
bool isReal(char letter) {
    return letter != '\0' && std::strchr("fFeEgG", letter) != nullptr;
}
bool isUnsigned(char letter) {
    return letter != '\0' && std::strchr("uxXo", letter) != nullptr;
}

}  // namespace

std::string FormatArgument::convert(const std::string& flagsAndWidth, char conversion) const {
    if (const auto* text = std::get_if<std::string>(&m_value))
        return print(flagsAndWidth + 's', text->c_str());
    if (const auto* real = std::get_if<double>(&m_value))
        return print(flagsAndWidth + (isReal(conversion) ? conversion : 'g'), *real);
    const auto* const natural = std::get_if<std::uint64_t>(&m_value);
    const auto bits =
        natural != nullptr ? *natural : static_cast<std::uint64_t>(std::get<std::int64_t>(m_value));
    if (isReal(conversion))
        return print(flagsAndWidth + conversion, natural != nullptr
                                                     ? static_cast<double>(bits)
                                                     : static_cast<double>(std::get<std::int64_t>(m_value)));
    if (natural != nullptr || isUnsigned(conversion))
        return print(flagsAndWidth + "ll" + (isUnsigned(conversion) ? conversion : 'u'),
                     static_cast<unsigned long long>(bits));
    return print(flagsAndWidth + "lld", static_cast<long long>(bits));
}

String formatList(const char* pattern, const FormatArgument* arguments, std::size_t count) {
    std::string text;
    std::size_t used = 0;
    for (const char* at = pattern; *at != '\0';) {
        if (*at != '%') {
            text += *at++;
            continue;
        }
        const Conversion conversion = parseConversion(at);
        const bool known =
            isInteger(conversion.letter) || isReal(conversion.letter) || conversion.letter == 's';
        if (conversion.letter == '%')
            text += '%';
        else if (known && used < count)
            text += arguments[used++].convert(conversion.flagsAndWidth, conversion.letter);
        else
            text += conversion.text;
        at += conversion.text.size();
    }
    return text;
}

}  // namespace zel
