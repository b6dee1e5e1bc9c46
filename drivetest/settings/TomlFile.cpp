#include "drivetest/settings/TomlFile.h"

// The library's tables of characters take for impossible what characters such as U+FEF7 lead to where a key
// or a value could stand; that none of them is in the table is what they mean.
// clang-format off
#include <toml++/impl/forward_declarations.h>
#undef TOML_UNREACHABLE
#define TOML_UNREACHABLE return false
#include <toml++/impl/unicode.h>
#undef TOML_UNREACHABLE
#define TOML_UNREACHABLE __builtin_unreachable()
// clang-format on
#include <toml++/toml.h>

#include <algorithm>
#include <cmath>
#include <fstream>
#include <iterator>
#include <limits>
#include <tuple>
#include <utility>

#include "drivetest/run/NearestName.h"
#include "drivetest/settings/TimeText.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Nobody writes so much by hand.
constexpr std::size_t kLargest = std::size_t{256} << 10;

TomlPlace placeOf(const toml::source_region& region) {
    return {region.begin.line, region.begin.column};
}

bool isBefore(TomlPlace a, TomlPlace b) {
    return std::tie(a.line, a.column) < std::tie(b.line, b.column);
}

TomlSection sectionOf(const std::string& name, TomlPlace place, const toml::table& table);

TomlTables tablesOf(const toml::array& list) {
    TomlTables tables{true, {}};
    for (const toml::node& node : list)
        if (const toml::table* const table = node.as_table(); table != nullptr)
            tables.all.push_back(sectionOf({}, placeOf(node.source()), *table));
    return tables;
}

std::vector<TomlText> textsOf(const toml::array& list) {
    std::vector<TomlText> texts;
    for (const toml::node& node : list)
        if (const auto* const text = node.as_string())
            texts.push_back({text->get(), placeOf(node.source())});
    return texts;
}

TomlValue listOf(const toml::array& list) {
    std::vector<TomlText> texts = textsOf(list);
    if (texts.size() == list.size())
        return texts;
    TomlTables tables = tablesOf(list);
    return tables.all.size() == list.size() ? TomlValue(std::move(tables)) : TomlValue();
}

TomlValue valueOf(const toml::node& node) {
    if (const toml::table* const table = node.as_table(); table != nullptr)
        return TomlTables{false, {sectionOf({}, placeOf(node.source()), *table)}};
    if (const toml::array* const list = node.as_array(); list != nullptr)
        return listOf(*list);
    if (const auto* const flag = node.as_boolean())
        return flag->get();
    if (const auto* const whole = node.as_integer())
        return static_cast<double>(whole->get());
    if (const auto* const number = node.as_floating_point())
        return number->get();
    if (const auto* const text = node.as_string())
        return text->get();
    return std::monostate();
}

TomlSection sectionOf(const std::string& name, TomlPlace place, const toml::table& table) {
    TomlSection section{name, place, {}};
    for (const auto& [key, node] : table)
        section.entries.push_back(
            {std::string(key.str()), placeOf(key.source()), valueOf(node), placeOf(node.source())});
    std::ranges::sort(section.entries, isBefore, &TomlEntry::keyPlace);
    return section;
}

bool isHeading(const TomlEntry& entry) {
    const auto* const tables = std::get_if<TomlTables>(&entry.value);
    return tables != nullptr && !tables->isList;
}

/// What comes before the first heading, and what is below each.
std::vector<TomlSection> sectionsOf(const toml::table& root) {
    std::vector<TomlSection> sections{sectionOf({}, {}, root)};
    std::vector<TomlEntry>& beginning = sections.front().entries;
    std::vector<TomlSection> below;
    for (TomlEntry& entry : beginning)
        if (isHeading(entry))
            below.push_back({entry.key, entry.keyPlace,
                             std::move(std::get<TomlTables>(entry.value).all.front().entries)});
    std::erase_if(beginning, isHeading);
    std::ranges::sort(below, isBefore, &TomlSection::place);
    std::ranges::move(below, std::back_inserter(sections));
    return sections;
}

}  // namespace

std::optional<TomlFile> TomlFile::load(const std::string& path, std::string& error) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    std::string text(kLargest + 1, '\0');
    file.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(file.gcount()));
    if (!file.eof() && text.size() <= kLargest) {
        error = zel::pathExists(path) ? words("{file} cannot be read", {{"file", printable(path)}})
                                      : words("{file} does not exist", {{"file", printable(path)}});
        return {};
    }
    return parse(path, text, error);
}

std::optional<TomlFile> TomlFile::parse(const std::string& name, std::string_view text, std::string& error) {
    TomlFile file;
    file.m_name = name;
    if (text.size() > kLargest) {
        error = words("{file} is larger than any file of settings", {{"file", printable(name)}});
        return {};
    }
    try {
        file.m_sections = sectionsOf(toml::parse(text));
        return file;
    } catch (const toml::parse_error& fault) {
        error = file.fault(placeOf(fault.source()), std::string(fault.description()));
        return {};
    }
}

std::string TomlFile::fault(TomlPlace place, const std::string& reason) const {
    return words("{file}:{line}:{column}: {reason}", {{"file", printable(m_name)},
                                                      {"line", place.line},
                                                      {"column", place.column},
                                                      {"reason", printable(reason)}});
}

std::optional<std::uint64_t> wholeNumberIn(const TomlValue& value, std::uint64_t least, std::uint64_t most) {
    const auto* const number = std::get_if<double>(&value);
    if (number == nullptr || *number < static_cast<double>(least) || *number > static_cast<double>(most) ||
        *number != std::floor(*number))
        return {};
    return static_cast<std::uint64_t>(*number);
}

std::optional<std::uint32_t> secondsIn(const TomlValue& value) {
    if (const auto number = wholeNumberIn(value, 0, std::numeric_limits<std::uint32_t>::max()))
        return static_cast<std::uint32_t>(*number);
    const auto* const text = std::get_if<std::string>(&value);
    return text != nullptr ? secondsOf(*text) : std::nullopt;
}

std::string enumerated(const std::vector<std::string>& all) {
    std::string list;
    for (const std::string& each : all)
        list += (list.empty() ? "" : ", ") + each;
    return list;
}

std::string unknownName(const std::string& name, const std::vector<std::string>& known) {
    const std::string near = nearestName(name, known);
    return near.empty()
               ? words("there is no {text}; there are: {known}",
                       {{"text", quoted(name)}, {"known", enumerated(known)}})
               : words("there is no {text}; is it {near}?", {{"text", quoted(name)}, {"near", quoted(near)}});
}

}  // namespace drivetest
