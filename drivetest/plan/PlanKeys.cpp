#include "drivetest/plan/PlanKeys.h"

#include <charconv>
#include <cmath>
#include <limits>
#include <variant>

#include "drivetest/settings/SizeText.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;
using Faults = std::vector<PlanFault>;

/// Above, a number is not kept to the last digit.
constexpr double kMostExact = 0x1p53;

/// A value as it is typed; empty, with the reason in `fault`, for what nobody could type.
std::string typed(const TomlValue& value, const std::string& name, std::string& fault) {
    if (const auto* const text = std::get_if<std::string>(&value))
        return *text;
    if (const auto* const flag = std::get_if<bool>(&value))
        return *flag ? "true" : "false";
    const auto* const number = std::get_if<double>(&value);
    if (number == nullptr || !std::isfinite(*number)) {
        fault = words("{name} wants a text, a number, or true or false", {{"name", name}});
        return {};
    }
    if (std::abs(*number) > kMostExact) {
        fault = words("{name} is so large a number that it has to stand in quotes", {{"name", name}});
        return {};
    }
    char digits[512];  // more than any of that size has, however small
    const auto end = std::to_chars(std::begin(digits), std::end(digits), *number, std::chars_format::fixed);
    return {std::begin(digits), end.ptr};
}

}  // namespace

std::optional<std::string> textIn(const TomlEntry& entry, Faults& faults) {
    const auto* const text = std::get_if<std::string>(&entry.value);
    if (text != nullptr && !text->empty())
        return *text;
    faults.push_back({entry.valuePlace, words("{name} wants a text in quotes", {{"name", entry.key}})});
    return {};
}

std::optional<std::uint64_t> numberIn(const TomlEntry& entry, std::uint64_t least, std::uint64_t most,
                                      Faults& faults) {
    const auto number = wholeNumberIn(entry.value, least, most);
    if (!number)
        faults.push_back({entry.valuePlace, words("{name} wants a whole number from {least} to {most}",
                                                  {{"name", entry.key}, {"least", least}, {"most", most}})});
    return number;
}

std::optional<std::uint32_t> timeIn(const TomlEntry& entry, Faults& faults) {
    const auto seconds = secondsIn(entry.value);
    if (!seconds)
        faults.push_back({entry.valuePlace, words("{name} wants a time, such as \"90s\", \"10min\" or \"1h\"",
                                                  {{"name", entry.key}})});
    return seconds;
}

std::optional<std::uint64_t> sizeIn(const TomlEntry& entry, Faults& faults) {
    auto bytes = wholeNumberIn(entry.value, 0, std::uint64_t{1} << 53);
    if (const auto* const text = std::get_if<std::string>(&entry.value))
        bytes = bytesOf(*text);
    if (!bytes)
        faults.push_back(
            {entry.valuePlace,
             words("{name} wants a size, such as \"500GB\", \"4TB\" or \"2TiB\"", {{"name", entry.key}})});
    return bytes;
}

std::optional<bool> flagIn(const TomlEntry& entry, Faults& faults) {
    if (const auto* const flag = std::get_if<bool>(&entry.value))
        return *flag;
    faults.push_back({entry.valuePlace, words("{name} wants true or false", {{"name", entry.key}})});
    return {};
}

std::vector<TomlText> textsIn(const TomlEntry& entry, Faults& faults) {
    std::vector<TomlText> texts;
    if (const auto* const text = std::get_if<std::string>(&entry.value))
        texts.push_back({*text, entry.valuePlace});
    else if (const auto* const list = std::get_if<std::vector<TomlText>>(&entry.value))
        texts = *list;
    else
        faults.push_back(
            {entry.valuePlace,
             words("{name} wants texts in quotes, such as [\"one\", \"other\"]", {{"name", entry.key}})});
    for (const TomlText& each : texts)
        if (each.text.empty())
            faults.push_back({each.place, words("{name} wants a text in quotes", {{"name", entry.key}})});
    return texts;
}

std::vector<std::string> namesIn(const TomlEntry& entry, const std::vector<std::string>& known,
                                 Faults& faults) {
    std::vector<std::string> names;
    for (const TomlText& each : textsIn(entry, faults))
        if (std::ranges::find(known, each.text) != known.end())
            names.push_back(each.text);
        else if (!each.text.empty())
            faults.push_back({each.place, unknownName(each.text, known)});
    return names;
}

std::optional<std::string> pathIn(const TomlEntry& entry, const std::vector<std::string>& others,
                                  Faults& faults) {
    auto text = textIn(entry, faults);
    if (!text || std::ranges::find(others, *text) != others.end() || zel::isAbsolute(*text))
        return text;
    faults.push_back(
        {entry.valuePlace, words("{name} wants a path that begins at the root", {{"name", entry.key}})});
    return {};
}

std::vector<PlannedValue> valuesIn(const TomlEntry& entry, Faults& faults) {
    const auto* const tables = std::get_if<TomlTables>(&entry.value);
    if (tables == nullptr || tables->isList) {
        faults.push_back({entry.valuePlace, words("{name} wants names and values, such as {example}",
                                                  {{"name", entry.key}, {"example", "{ NAME = 1 }"}})});
        return {};
    }
    std::vector<PlannedValue> values;
    for (const TomlEntry& each : tables->all.front().entries) {
        std::string fault;
        const std::string text = typed(each.value, each.key, fault);
        if (fault.empty())
            values.push_back({each.key, each.keyPlace, text, each.valuePlace});
        else
            faults.push_back({each.valuePlace, fault});
    }
    return values;
}

}  // namespace drivetest
