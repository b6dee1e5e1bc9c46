#include "drivetest/settings/TomlFile.h"

#include <toml++/toml.h>

#include <algorithm>
#include <fstream>
#include <tuple>
#include <utility>

#include "drivetest/run/NearestName.h"
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

TomlValue valueOf(const toml::node& node) {
    if (const auto* const flag = node.as_boolean())
        return flag->get();
    if (node.is_number())
        return node.value<double>().value_or(0);
    if (const auto* const text = node.as_string())
        return text->get();
    return std::monostate();
}

/// What stands directly in the table; at the beginning of a file, tables in it are sections of their own.
TomlSection sectionOf(const std::string& name, TomlPlace place, const toml::table& table) {
    const bool isBeginning = name.empty();
    TomlSection section{name, place, {}};
    for (const auto& [key, node] : table)
        if (!isBeginning || !node.is_table())
            section.entries.push_back(
                {std::string(key.str()), placeOf(key.source()), valueOf(node), placeOf(node.source())});
    std::ranges::sort(section.entries, isBefore, &TomlEntry::keyPlace);
    return section;
}

std::vector<TomlSection> sectionsOf(const toml::table& root) {
    std::vector<TomlSection> sections;
    for (const auto& [key, node] : root)
        if (const toml::table* const table = node.as_table(); table != nullptr)
            sections.push_back(sectionOf(std::string(key.str()), placeOf(key.source()), *table));
    std::ranges::sort(sections, isBefore, &TomlSection::place);
    sections.insert(sections.begin(), sectionOf({}, {}, root));
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
