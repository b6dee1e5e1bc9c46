#include "drivetest/safety/JournalPlace.h"

#include <unistd.h>

#include <cstdlib>

namespace drivetest {

std::string defaultJournalFolder() {
    if (geteuid() == 0)
        return "/var/lib/drivetest/journal";
    // XDG base directories: state that should outlast restarts.
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/')
        return std::string(state) + "/drivetest/journal";
    const char* const home = std::getenv("HOME");
    return std::string(home != nullptr ? home : ".") + "/.local/state/drivetest/journal";
}

}  // namespace drivetest
