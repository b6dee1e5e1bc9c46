#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/settings/TomlFile.h"

namespace drivetest {

/// Something that can be set for all runs: never what makes a run write, or spares it a question.
struct SettingForm {
    enum class Kind { text, language, folder, limits, flag, number, time };

    const char* name;  ///< "check.max-time" is max-time below [check]
    Kind kind;
    const char* variable;  ///< of the environment, which goes before the files; null for none
    const char* builtIn;   ///< what holds where nobody set anything; empty where that depends on the system
    const char* meaning;   ///< a text to translate
    std::uint64_t most;    ///< of a number
};

/// What was set, and by whom.
struct Setting {
    const SettingForm* form;
    std::string value;     ///< as it is typed on a command line
    std::string origin{};  ///< "FILE:LINE", or the variable's name; empty where nothing was set
};

/// What a person and the machine have set; the person's goes first.
class Settings {
public:
    /// A file, its contents, whoever it is of.
    struct Source {
        std::string path;
        std::string text;
    };

    /// Of the files that there are; `leftOut` has a sentence for each that cannot be trusted. Nothing after a
    /// sentence in `error`, which names file, line and column.
    static std::optional<Settings> load(std::vector<std::string>& leftOut, std::string& error);
    /// Of these, the one that goes first first.
    static std::optional<Settings> read(const std::vector<Source>& sources, std::string& error);

    [[nodiscard]] const std::vector<Setting>& all() const { return m_all; }
    /// What was set, else what is built in.
    [[nodiscard]] std::string text(std::string_view name) const;
    [[nodiscard]] bool flag(std::string_view name) const { return text(name) == "true"; }
    [[nodiscard]] std::uint64_t number(std::string_view name) const;

private:
    Settings();
    bool take(const TomlFile& file, std::string& error);
    bool take(const TomlFile& file, const TomlSection& section, const TomlEntry& entry, std::string& error);

    std::vector<Setting> m_all;
};

}  // namespace drivetest
