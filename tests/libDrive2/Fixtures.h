#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <fstream>
#include <random>
#include <string>

#include "libDrive2/DeviceOpeners.h"
#include "zel/Clock.h"

namespace libDrive2 {

constexpr std::uint32_t kReadWrite = kAccessRead | kAccessWrite;

inline SharedBlockHandle openBlock(const std::string& locator, std::uint32_t access = kReadWrite,
                                   std::uint32_t share = kShareRead | kShareWrite) {
    return OsDevice::openOsDevice(locator, access, share, kOpenExisting, 0);
}

/// Installs a clock that stands still but for sleeping, and restores the one before.
struct VirtualTime {
    VirtualTime() : before(zel::Clock::install(&clock)) {}
    ~VirtualTime() { zel::Clock::install(before); }
    zel::SimulatedClock clock;
    zel::Clock* before;
};

/// A file of zeros in the temporary folder that goes away with this object.
struct TempFile {
    explicit TempFile(std::uint64_t size)
        : path(testing::TempDir() + "libDrive2-" + std::to_string(std::random_device()())) {
        std::ofstream(path.c_str()).close();
        std::filesystem::resize_file(path, size);
    }
    ~TempFile() {
        std::error_code stillOpen;  // which keeps it on Windows
        std::filesystem::remove(path, stillOpen);
    }
    void put(std::uint64_t offset, const std::string& text) const {
        std::fstream file(path, std::ios::in | std::ios::out | std::ios::binary);
        file.seekp(static_cast<std::streamoff>(offset)) << text;
    }
    [[nodiscard]] std::string bytes(std::uint64_t offset, std::size_t count) const {
        std::string found(count, '?');
        std::ifstream file(path, std::ios::binary);
        file.seekg(static_cast<std::streamoff>(offset))
            .read(found.data(), static_cast<std::streamsize>(count));
        return found;
    }
    const std::string path;
};

}  // namespace libDrive2
