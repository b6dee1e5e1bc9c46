#include "quix5/ParameterText.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <string>
#include <utility>

#include "zel/Words.h"

namespace quix5 {

namespace {

/// Name and description, in the order of their enumeration.
constexpr std::array<std::pair<const char*, const char*>, 6> kTypes{{
    {"STRING", zel::marked("a text")},
    {"BOOLEAN", zel::marked("true or false")},
    {"UINT32", zel::marked("a whole number from 0 to 4294967295")},
    {"UINT64", zel::marked("a whole number from 0 to 18446744073709551615")},
    {"DOUBLE", zel::marked("a number such as 1.5")},
    {"PERCENT", zel::marked("a percentage such as 12.5")},
}};
static_assert(kTypes.size() == static_cast<std::size_t>(DataType::PERCENT) + 1);

std::optional<bool> parseBoolean(const zel::String& text) {
    for (const char* word : {"true", "yes", "on", "1"})
        if (text.compareNoCase(word) == 0)
            return true;
    for (const char* word : {"false", "no", "off", "0"})
        if (text.compareNoCase(word) == 0)
            return false;
    return std::nullopt;
}

std::optional<double> parseReal(const std::string& text) {
    double value = 0;
    const char* const end = text.data() + text.size();
    const auto result = std::from_chars(text.data(), end, value);
    if (result.ec != std::errc() || result.ptr != end || !std::isfinite(value))
        return std::nullopt;
    return value;
}

std::optional<Value> parsePercent(std::string text) {
    if (text.ends_with('%'))
        text.pop_back();
    const auto value = parseReal(text);
    if (!value || *value < 0)
        return std::nullopt;
    return Value::percent(*value);
}

}  // namespace

std::optional<Value> parseValue(DataType type, const zel::String& text) {
    std::uint32_t narrow = 0;
    std::uint64_t wide = 0;
    switch (type) {
        case DataType::STRING:
            return Value(text);
        case DataType::BOOLEAN:
            if (const auto truth = parseBoolean(text))
                return Value::boolean(*truth);
            return std::nullopt;
        case DataType::UINT32:
            return text.strToUInt(narrow, 0) ? std::optional(Value(narrow)) : std::nullopt;
        case DataType::UINT64:
            return text.strToUInt64(wide, 0) ? std::optional(Value(wide)) : std::nullopt;
        case DataType::DOUBLE:
            if (const auto real = parseReal(text.utf8()))
                return Value::real(*real);
            return std::nullopt;
        case DataType::PERCENT:
            return parsePercent(text.utf8());
    }
    return std::nullopt;
}

std::optional<Value> parseValue(const Parameter& parameter, const zel::String& text) {
    const auto& choices = parameter.choices();
    const bool isValid =
        choices.empty() || std::any_of(choices.begin(), choices.end(), [&text](const zel::String& choice) {
            return text.compareNoCase(choice) == 0;
        });
    return isValid ? parseValue(parameter.type(), text) : std::nullopt;
}

zel::String describeValues(const Parameter& parameter) {
    std::string text;
    for (const zel::String& choice : parameter.choices())
        text = text.empty() ? choice.utf8()
                            : zel::words("{choices} or {choice}", {{"choices", text}, {"choice", choice}});
    return text.empty() ? zel::words(describeType(parameter.type())) : text;
}

const char* describeType(DataType type) {
    return kTypes.at(static_cast<std::size_t>(type)).second;
}

const char* typeName(DataType type) {
    return kTypes.at(static_cast<std::size_t>(type)).first;
}

Parameter* findParameter(const Test& test, const zel::String& name) {
    // Tests list their parameters as constant; the framework created them and may set them.
    for (const Parameter* parameter : test.parameters())
        if (parameter->name() == name)
            return const_cast<Parameter*>(parameter);
    return nullptr;
}

}  // namespace quix5
