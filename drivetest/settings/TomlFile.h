#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace drivetest {

/// Where something stands in a text; both count from 1.
struct TomlPlace {
    std::size_t line = 1;
    std::size_t column = 1;
};

struct TomlSection;

struct TomlText {
    std::string text;
    TomlPlace place;
};

/// Tables in a table: one, or a list of them.
struct TomlTables {
    bool isList = false;
    std::vector<TomlSection> all;
};

/// Nothing stands for all that is none of it: dates, and lists of anything but texts or tables.
using TomlValue = std::variant<std::monostate, bool, double, std::string, std::vector<TomlText>, TomlTables>;

struct TomlEntry {
    std::string key;
    TomlPlace keyPlace;
    TomlValue value;
    TomlPlace valuePlace;
};

/// What stands under one heading.
struct TomlSection {
    std::string name;  ///< empty for what comes before the first
    TomlPlace place;
    std::vector<TomlEntry> entries;  ///< as they stand in the file
};

/// A file in TOML.
class TomlFile {
public:
    /// Each gives nothing after a sentence in `error`, which names the file, and the place where there is
    /// one.
    static std::optional<TomlFile> load(const std::string& path, std::string& error);
    static std::optional<TomlFile> parse(const std::string& name, std::string_view text, std::string& error);

    [[nodiscard]] const std::string& name() const { return m_name; }
    [[nodiscard]] const std::vector<TomlSection>& sections() const { return m_sections; }
    /// "FILE:LINE:COLUMN: reason"
    [[nodiscard]] std::string fault(TomlPlace place, const std::string& reason) const;

private:
    std::string m_name;
    std::vector<TomlSection> m_sections;
};

/// `all`, with a comma between each and the next.
std::string enumerated(const std::vector<std::string>& all);

/// The value as one of these; nothing when it is none. A time is a text such as "10min", or seconds.
std::optional<std::uint64_t> wholeNumberIn(const TomlValue& value, std::uint64_t least, std::uint64_t most);
std::optional<std::uint32_t> secondsIn(const TomlValue& value);

/// "there is no NAME", with the nearest of what there is, or all of it where none is near.
std::string unknownName(const std::string& name, const std::vector<std::string>& known);

}  // namespace drivetest
