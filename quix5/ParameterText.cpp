#include "quix5/ParameterText.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <string>

namespace quix5 {

namespace {

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
    zel::String text;
    for (const zel::String& choice : parameter.choices())
        text += (text.isEmpty() ? "" : " or ") + choice;
    return text.isEmpty() ? zel::String(describeType(parameter.type())) : text;
}

const char* describeType(DataType type) {
    switch (type) {
        case DataType::STRING:
            return "a text";
        case DataType::BOOLEAN:
            return "true or false";
        case DataType::UINT32:
            return "a whole number from 0 to 4294967295";
        case DataType::UINT64:
            return "a whole number from 0 to 18446744073709551615";
        case DataType::DOUBLE:
            return "a number such as 1.5";
        case DataType::PERCENT:
            return "a percentage such as 12.5";
    }
    return "";
}

const char* typeName(DataType type) {
    switch (type) {
        case DataType::STRING:
            return "STRING";
        case DataType::BOOLEAN:
            return "BOOLEAN";
        case DataType::UINT32:
            return "UINT32";
        case DataType::UINT64:
            return "UINT64";
        case DataType::DOUBLE:
            return "DOUBLE";
        case DataType::PERCENT:
            return "PERCENT";
    }
    return "";
}

Parameter* findParameter(const Test& test, const zel::String& name) {
    // Tests list their parameters as constant; the framework created them and may set them.
    for (const Parameter* parameter : test.parameters())
        if (parameter->name() == name)
            return const_cast<Parameter*>(parameter);
    return nullptr;
}

}  // namespace quix5
