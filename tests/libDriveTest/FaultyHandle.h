#pragma once

#include <algorithm>
#include <map>
#include <sstream>
#include <string>
#include <vector>

#include "libDrive2/BlockHandle.h"

namespace libDriveTest {

/// Passes transfers on to another handle and keeps what it was asked; fails, or reads wrongly, at chosen
/// ones.
class FaultyHandle : public libDrive2::BlockHandle {
public:
    using Error = libDrive2::_LIBDRIVE2_ERROR_TYPES;
    using Status = libDrive2::DeviceStatus;

    /// Handles that exist.
    static inline int alive = 0;

    explicit FaultyHandle(libDrive2::SharedBlockHandle inner) : m_inner(std::move(inner)) { ++alive; }
    ~FaultyHandle() override { --alive; }

    // What goes wrong, by the transfer's number (from 1).
    std::map<int, Error> failures;
    bool forGood = false;               ///< all transfers from the last failure on
    std::map<int, std::size_t> spoils;  ///< the byte that a read gets wrong; its last one if there are less

    /// Fails and spoils as in the beginning of a trace.
    void follow(const std::string& wanted) {
        failures.clear();
        spoils.clear();
        std::istringstream words(wanted);
        int n = 1;
        for (std::string word; words >> word; ++n)
            if (const auto mark = word.find_first_of("!~"); mark != std::string::npos) {
                if (word[mark] == '~')
                    spoils[n] = std::string::npos;
                else
                    failures[n] = static_cast<Error>(mark + 1 < word.size() ? word[mark + 1] - '0' : 2);
            }
    }

    // What it was asked.
    int transfers = 0;
    std::string trace;  ///< "r0+5 w0+5! ": LBA and sectors; ! failed (!8 other than a media error), ~ spoiled
    int cacheDrops = 0, flushes = 0;
    std::vector<int> firstWords;  ///< of writes, least significant byte first

    void restart() {
        transfers = cacheDrops = flushes = 0;
        trace.clear();
        firstWords.clear();
    }

    [[nodiscard]] const libDrive2::BlockDeviceInfo& info() const override { return m_inner->info(); }
    Status query() override { return m_inner->query(); }
    Status read(std::uint64_t offset, void* buffer, std::size_t bytes) override {
        begin('r', offset, bytes);
        const Status status = failure().ok() ? m_inner->read(offset, buffer, bytes) : failure();
        if (const auto spoil = spoils.find(transfers); spoil != spoils.end()) {
            static_cast<std::uint8_t*>(buffer)[std::min(spoil->second, bytes - 1)] ^= 1;
            trace += "~";
        }
        return end(status);
    }
    Status write(std::uint64_t offset, const void* buffer, std::size_t bytes) override {
        const auto* const data = static_cast<const std::uint8_t*>(buffer);
        firstWords.push_back(data[0] + 256 * data[1]);
        begin('w', offset, bytes);
        return end(failure().ok() ? m_inner->write(offset, buffer, bytes) : failure());
    }
    Status flush() override { return count(flushes); }
    Status dropCache() override { return count(cacheDrops); }
    Status reopen() override { return {}; }

private:
    static Status count(int& calls) {
        ++calls;
        return {};
    }
    void begin(char what, std::uint64_t offset, std::size_t bytes) {
        const std::uint32_t sector = info().logicalSectorBytes;
        trace.append(1, what).append(std::to_string(offset / sector));
        trace.append("+").append(std::to_string(bytes / sector));
        ++transfers;
    }
    [[nodiscard]] Status failure() const {
        auto found = failures.find(transfers);
        if (found == failures.end() && forGood && !failures.empty() && transfers > failures.rbegin()->first)
            found = std::prev(failures.end());
        return found == failures.end() ? Status{} : Status{found->second, "planned"};
    }
    Status end(const Status& status) {
        if (!status.ok())
            trace +=
                status.type == libDrive2::LIBDRIVE2_MEDIA_ERROR ? "!" : "!" + std::to_string(status.type);
        trace += " ";
        return status;
    }

    libDrive2::SharedBlockHandle m_inner;
};

}  // namespace libDriveTest
