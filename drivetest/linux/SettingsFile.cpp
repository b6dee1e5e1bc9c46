#include "drivetest/settings/SettingsFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <system_error>

#include "drivetest/terminal/Texts.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr const char* kName = "/drivetest.toml";
/// One byte more than any is read.
constexpr std::size_t kMost = std::size_t{256} << 10;

bool isAbsolute(const char* path) {
    return path != nullptr && *path == '/';
}

/// Why nobody should do what the file says; empty when it can be trusted.
std::string findDistrust(const std::string& path, const struct stat& found) {
    if (!S_ISREG(found.st_mode))
        return words("{file} is left out: it is no file", {{"file", printable(path)}});
    if (found.st_uid != 0 && found.st_uid != geteuid())
        return words(
            "{file} is left out: it belongs to another user (sudo -H takes the settings of root instead)",
            {{"file", printable(path)}});
    if ((found.st_mode & (S_IWGRP | S_IWOTH)) != 0)
        return words("{file} is left out: others may write to it; chmod go-w makes it yours alone",
                     {{"file", printable(path)}});
    return {};
}

std::string contentsOf(int file) {
    std::string text(kMost + 1, '\0');
    std::size_t bytes = 0;
    while (bytes < text.size()) {
        const ssize_t got = read(file, text.data() + bytes, text.size() - bytes);
        if (got <= 0)
            break;
        bytes += static_cast<std::size_t>(got);
    }
    text.resize(bytes);
    return text;
}

}  // namespace

std::string personsSettingsFile() {
    // XDG base directories.
    if (const char* const folder = std::getenv("XDG_CONFIG_HOME"); isAbsolute(folder))
        return std::string(folder) + kName;
    const char* const home = std::getenv("HOME");
    return isAbsolute(home) ? std::string(home) + "/.config" + kName : std::string();
}

std::string machineSettingsFile() {
    return std::string("/etc") + kName;
}

std::optional<std::string> readSettingsFile(const std::string& path, std::string& refusal) {
    const libDrive2::FileDescriptor file(open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NOCTTY | O_NONBLOCK));
    struct stat found {};
    if (!file || fstat(file.get(), &found) != 0) {
        if (errno != ENOENT && errno != ENOTDIR)
            refusal = words("{file} is left out: {reason}",
                            {{"file", printable(path)}, {"reason", std::generic_category().message(errno)}});
        return {};
    }
    refusal = findDistrust(path, found);
    return refusal.empty() ? std::optional(contentsOf(file.get())) : std::nullopt;
}

}  // namespace drivetest
