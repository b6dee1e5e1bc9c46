#pragma once

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "drivetest/plan/Plan.h"
#include "drivetest/settings/TomlFile.h"

namespace drivetest {

/// What a key sets. Adds to the faults, and leaves `into` alone, when its value makes no sense.
template <class Into>
struct PlanKey {
    const char* name;
    void (*take)(Into& into, const TomlEntry& entry, std::vector<PlanFault>& faults);
};

/// Each gives nothing after a fault that says what the key wants.
std::optional<std::string> textIn(const TomlEntry& entry, std::vector<PlanFault>& faults);
std::optional<std::uint64_t> numberIn(const TomlEntry& entry, std::uint64_t least, std::uint64_t most,
                                      std::vector<PlanFault>& faults);
std::optional<std::uint32_t> timeIn(const TomlEntry& entry, std::vector<PlanFault>& faults);
std::optional<std::uint64_t> sizeIn(const TomlEntry& entry, std::vector<PlanFault>& faults);
std::optional<bool> flagIn(const TomlEntry& entry, std::vector<PlanFault>& faults);
/// A text, or a list of them; empty ones are faults.
std::vector<TomlText> textsIn(const TomlEntry& entry, std::vector<PlanFault>& faults);
/// The same, of these names only.
std::vector<std::string> namesIn(const TomlEntry& entry, const std::vector<std::string>& known,
                                 std::vector<PlanFault>& faults);
/// Full path of a file or a folder, or one of these words.
std::optional<std::string> pathIn(const TomlEntry& entry, const std::vector<std::string>& words,
                                  std::vector<PlanFault>& faults);
/// What stands in a table, as it is typed on a command line.
std::vector<PlannedValue> valuesIn(const TomlEntry& entry, std::vector<PlanFault>& faults);

/// All entries by the table of their keys.
template <class Into>
void takeEntries(const std::vector<TomlEntry>& entries, std::span<const PlanKey<Into>> keys, Into& into,
                 std::vector<PlanFault>& faults) {
    std::vector<std::string> names;
    for (const PlanKey<Into>& key : keys)
        names.emplace_back(key.name);
    for (const TomlEntry& entry : entries) {
        const auto key =
            std::ranges::find_if(keys, [&entry](const auto& each) { return entry.key == each.name; });
        if (key == keys.end())
            faults.push_back({entry.keyPlace, unknownName(entry.key, names)});
        else
            key->take(into, entry, faults);
    }
}

}  // namespace drivetest
