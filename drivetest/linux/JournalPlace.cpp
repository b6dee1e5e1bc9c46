#include "drivetest/safety/JournalPlace.h"

#include <unistd.h>

#include <cstdlib>

namespace drivetest {

namespace {

std::string stateFolder() {
    const char* const state = std::getenv("DRIVETEST_STATE");
    return state != nullptr && *state == '/' ? state : "/var/lib/drivetest";
}

/// Root's is the machine's.
std::string userFolder() {
    if (geteuid() == 0)
        return stateFolder();
    // XDG base directories: state that should outlast restarts.
    const char* const state = std::getenv("XDG_STATE_HOME");
    if (state != nullptr && *state == '/')
        return std::string(state) + "/drivetest";
    const char* const home = std::getenv("HOME");
    return std::string(home != nullptr ? home : ".") + "/.local/state/drivetest";
}

}  // namespace

std::string defaultRegisterFolder() {
    return stateFolder() + "/open";
}

std::string defaultJournalFolder() {
    return userFolder() + "/journal";
}

std::string defaultRecordFolder() {
    return userFolder() + "/records";
}

}  // namespace drivetest
