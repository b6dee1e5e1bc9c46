#pragma once

#include <sys/types.h>

#include <string>

namespace libDrive2 {

/// What tells a file from all others: its file system, its inode, and when it was made, as inodes are used
/// again. "file:…", or "boot:…" where nothing lasting is known of the file system. `path` may lead to
/// the file, and tells more where it does.
std::string fileIdOf(dev_t fileSystem, ino_t inode, const std::string& path);

/// Changes with every start of the system.
std::string bootId();

}  // namespace libDrive2
