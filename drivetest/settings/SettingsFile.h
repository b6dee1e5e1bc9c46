#pragma once

#include <optional>
#include <string>

namespace drivetest {

/// Where settings for all runs are kept: a person's, and the machine's for all who use it. Empty where the
/// system tells of no such place.
std::string personsSettingsFile();
std::string machineSettingsFile();

/// What a file of settings holds; nothing where there is none. Nor where it cannot be read or somebody else
/// may write to it, after a sentence in `refusal`: whoever tests drives as root must not do as others tell
/// him.
std::optional<std::string> readSettingsFile(const std::string& path, std::string& refusal);

}  // namespace drivetest
