#pragma once

#include <unistd.h>

#include <cstdio>
#include <string>

namespace libDrive2 {

/// Runs a shell command and keeps all its output but the last line feed. False when it fails.
inline bool runCommand(const std::string& command, std::string& output) {
    std::FILE* const pipe = popen((command + " 2>&1").c_str(), "r");
    output.clear();
    for (int byte = 0; pipe != nullptr && (byte = std::fgetc(pipe)) != EOF;)
        output += static_cast<char>(byte);
    if (output.ends_with('\n'))
        output.pop_back();
    return pipe != nullptr && pclose(pipe) == 0;
}

/// A loop device over a file, as long as this object lives.
struct LoopDevice {
    explicit LoopDevice(const std::string& file) {
        if (geteuid() != 0)
            problem = "loop devices need root";
        else if (runCommand("losetup --find --show --partscan " + file, problem))
            path.swap(problem);
    }
    ~LoopDevice() {
        if (!path.empty())
            runCommand("losetup --detach " + path, problem);
    }
    LoopDevice(const LoopDevice&) = delete;
    LoopDevice& operator=(const LoopDevice&) = delete;

    std::string path;     ///< empty where there can be none
    std::string problem;  ///< why not
};

}  // namespace libDrive2
