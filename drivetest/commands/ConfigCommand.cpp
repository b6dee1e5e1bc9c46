#include <algorithm>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/safety/JournalPlace.h"
#include "drivetest/settings/SettingsFile.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr std::size_t kGap = 2;

struct Row {
    std::string name;
    std::string value;
    std::string origin;
};

/// What holds, also where it depends on the system.
Row rowOf(const Setting& setting, const std::string& language) {
    using Kind = SettingForm::Kind;
    Row row{setting.form->name, setting.value, setting.origin.empty() ? words("built in") : setting.origin};
    if (setting.form->kind == Kind::language) {
        row.value = languageOfTexts();
        if (!language.empty())
            row.origin = words("command line");
        else if (setting.origin.empty())
            row.origin = words("system");
    } else if (setting.form->kind == Kind::folder && setting.origin.empty()) {
        row.value = defaultRecordFolder();
    }
    return row;
}

void printFiles() {
    std::cout << '\n' << words("Files, of which the first that sets something counts:") << '\n';
    for (const std::string& path : {personsSettingsFile(), machineSettingsFile()})
        if (!path.empty())
            std::cout << "  " << printable(path)
                      << (zel::pathExists(path) ? std::string() : " " + words("(not there)")) << '\n';
}

}  // namespace

int showSettings(const Settings& settings, const std::string& language) {
    std::vector<Row> rows{{words("setting"), words("value"), words("from")}};
    for (const Setting& setting : settings.all())
        rows.push_back(rowOf(setting, language));
    std::size_t name = 0;
    std::size_t value = 0;
    for (Row& row : rows) {
        row.value = printable(row.value);
        name = std::max(name, columnsOf(row.name) + kGap);
        value = std::max(value, columnsOf(row.value) + kGap);
    }
    for (const Row& row : rows)
        std::cout << padded(row.name, name) << padded(row.value, value) << printable(row.origin) << '\n';
    printFiles();
    return kExitPass;
}

}  // namespace drivetest
