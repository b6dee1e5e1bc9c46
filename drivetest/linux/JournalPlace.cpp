#include "drivetest/safety/JournalPlace.h"

#include <unistd.h>

#include <algorithm>
#include <cstdlib>
#include <string_view>

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

std::string shellWord(const std::string& text) {
    constexpr std::string_view kPlain =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789%+,-./:=@_";
    const auto needsNone = [&](char c) {
        return kPlain.find(c) != std::string_view::npos || static_cast<unsigned char>(c) >= 0x80;
    };
    if (!text.empty() && std::all_of(text.begin(), text.end(), needsNone))
        return text;
    std::string word = "'";
    for (const char c : text)
        word += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return word + "'";
}

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
