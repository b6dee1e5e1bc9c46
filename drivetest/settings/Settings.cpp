#include "drivetest/settings/Settings.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "drivetest/settings/SettingsFile.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Kind = SettingForm::Kind;
using zel::marked;
using zel::words;

constexpr std::uint64_t kMostMs = std::numeric_limits<unsigned>::max();

constexpr SettingForm kForms[] = {
    {"language", Kind::language, kLanguageVariable, "", marked("Language of the texts, such as de or fr"), 0},
    {"color", Kind::flag, "NO_COLOR", "true", marked("Whether a terminal is shown colours"), 0},
    {"records", Kind::folder, nullptr, "", marked("Folder where records are kept"), 0},
    {"grade", Kind::limits, nullptr, "none", marked("Limits that drives are graded by after each run"), 0},
    {"quiet", Kind::flag, nullptr, "false", marked("Whether progress is left out"), 0},
    {"log-priority", Kind::number, nullptr, "3", marked("Lowest priority that is logged"), 4},
    {"check.max-time", Kind::time, nullptr, "10min", marked("How long a check may take"), 0},
    {"run.slow-ms", Kind::number, nullptr, "0",
     marked("After how many ms a slow transfer makes a PASS a WARN; 0 for never"), kMostMs},
};

std::string fullName(const TomlSection& section, const std::string& key) {
    return section.name.empty() ? key : section.name + "." + key;
}

std::vector<std::string> names() {
    std::vector<std::string> all;
    for (const SettingForm& form : kForms)
        all.emplace_back(form.name);
    return all;
}

std::string textOf(const TomlValue& value) {
    const auto* const text = std::get_if<std::string>(&value);
    return text != nullptr ? *text : std::string();
}

/// Why this is none; empty when it is one, whose text then goes to `read`.
std::string faultOfNumber(const SettingForm& form, const TomlValue& value, std::string& read) {
    const auto number = wholeNumberIn(value, 0, form.most);
    if (!number)
        return words("{name} wants a whole number from {least} to {most}",
                     {{"name", form.name}, {"least", 0}, {"most", form.most}});
    read = std::to_string(*number);
    return {};
}

std::string faultOfTime(const SettingForm& form, const TomlValue& value, std::string& read) {
    read = textOf(value);
    const auto seconds = secondsIn(value);
    if (read.empty() && seconds)
        read = std::to_string(*seconds);
    return seconds
               ? std::string()
               : words("{name} wants a time, such as \"90s\", \"10min\" or \"1h\"", {{"name", form.name}});
}

/// What is checked of a text without the one who takes it.
std::string faultOfText(const SettingForm& form, const std::string& text) {
    if (text.empty())
        return words("{name} wants a text in quotes", {{"name", form.name}});
    const bool isPath =
        form.kind == Kind::folder || (form.kind == Kind::limits && text != "default" && text != "none");
    if (isPath && !zel::isAbsolute(text))
        return words("{name} wants a path that begins at the root", {{"name", form.name}});
    if (form.kind == Kind::language && !isLanguage(text))
        return words("there are no texts in the language {language}; there are: {known}",
                     {{"language", quoted(text)}, {"known", knownLanguages()}});
    return {};
}

std::string faultOf(const SettingForm& form, const TomlValue& value, std::string& read) {
    if (form.kind == Kind::number)
        return faultOfNumber(form, value, read);
    if (form.kind == Kind::time)
        return faultOfTime(form, value, read);
    if (form.kind == Kind::flag) {
        const auto* const flag = std::get_if<bool>(&value);
        read = flag != nullptr && *flag ? "true" : "false";
        return flag != nullptr ? std::string() : words("{name} wants true or false", {{"name", form.name}});
    }
    read = textOf(value);
    return faultOfText(form, read);
}

}  // namespace

Settings::Settings() {
    for (const SettingForm& form : kForms) {
        m_all.push_back({&form, form.builtIn});
        if (form.variable == nullptr)
            continue;
        const char* const value = std::getenv(form.variable);
        if (value == nullptr || *value == '\0')
            continue;
        m_all.back().origin = form.variable;
        // Such a variable is of a language, or refuses something by being there.
        m_all.back().value = form.kind == Kind::flag ? "false" : value;
    }
}

std::optional<Settings> Settings::load(std::vector<std::string>& leftOut, std::string& error) {
    std::vector<Source> sources;
    for (const std::string& path : {personsSettingsFile(), machineSettingsFile()}) {
        if (path.empty())
            continue;
        std::string refusal;
        if (auto text = readSettingsFile(path, refusal); text)
            sources.push_back({path, *std::move(text)});
        else if (!refusal.empty())
            leftOut.push_back(refusal);
    }
    return read(sources, error);
}

std::optional<Settings> Settings::read(const std::vector<Source>& sources, std::string& error) {
    Settings settings;
    for (const Source& source : sources) {
        const auto file = TomlFile::parse(source.path, source.text, error);
        if (!file || !settings.take(*file, error))
            return {};
    }
    return settings;
}

bool Settings::take(const TomlFile& file, std::string& error) {
    for (const TomlSection& section : file.sections()) {
        const bool isKnown =
            section.name.empty() || std::ranges::any_of(kForms, [&section](const SettingForm& form) {
                return std::string_view(form.name).starts_with(section.name + ".");
            });
        if (!isKnown) {
            error = file.fault(section.place, unknownName(section.name, {"check", "run"}));
            return false;
        }
        for (const TomlEntry& entry : section.entries)
            if (!take(file, section, entry, error))
                return false;
    }
    return true;
}

bool Settings::take(const TomlFile& file, const TomlSection& section, const TomlEntry& entry,
                    std::string& error) {
    const std::string name = fullName(section, entry.key);
    const auto found =
        std::ranges::find_if(m_all, [&name](const Setting& setting) { return name == setting.form->name; });
    if (found == m_all.end()) {
        error = file.fault(entry.keyPlace, unknownName(name, names()));
        return false;
    }
    std::string value;
    if (const std::string fault = faultOf(*found->form, entry.value, value); !fault.empty()) {
        error = file.fault(entry.valuePlace, fault);
        return false;
    }
    if (found->origin.empty()) {
        found->value = value;
        found->origin = file.name() + ":" + std::to_string(entry.keyPlace.line);
    }
    return true;
}

std::string Settings::text(std::string_view name) const {
    return std::ranges::find_if(m_all, [name](const Setting& each) { return name == each.form->name; })
        ->value;
}

std::uint64_t Settings::number(std::string_view name) const {
    return std::strtoull(text(name).c_str(), nullptr, 10);
}

}  // namespace drivetest
