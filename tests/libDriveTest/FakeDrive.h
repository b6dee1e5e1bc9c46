#pragma once

#include <cstring>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "libDrive2/Drive.h"

namespace libDriveTest {

/// A drive that answers what the test case says, and keeps what it was asked. It never waits.
class FakeDrive : public libDrive2::Drive {
public:
    using Error = libDrive2::_LIBDRIVE2_ERROR_TYPES;

    // What it answers.
    std::uint64_t sectors = 1000;
    std::uint32_t sectorBytes = 512;
    std::uint16_t optimal = 128;
    bool removable = false, present = true, correct = true, loading = false, autoRun = false;
    bool turnsFixed = false;  ///< removable only when asked for the first time
    std::set<std::uint64_t> bad;
    Error badError = libDrive2::LIBDRIVE2_MEDIA_ERROR;
    std::function<void()> onLoad = [] {};

    // What it was asked.
    std::string calls;               ///< "lock wait eject load autorun"
    std::uint32_t waitMs = 0;        ///< of the last wait for a medium
    std::vector<std::string> reads;  ///< "LBA+COUNT @BEHAVIOUR", every attempt

    using Drive::setNativeSectors;

    std::uint32_t getSectorSize() override { return sectorBytes; }
    std::uint64_t getSectorCount() override { return sectors; }
    std::uint16_t getOptimalRd(std::uint16_t /*limit*/) override { return optimal; }
    bool isMediaRemovable() override {
        const bool answer = removable;
        removable = removable && !turnsFixed;
        return answer;
    }
    bool isMediaPresent() override { return present; }
    bool isMediaLoading() override { return loading; }
    bool isMediaCorrect() override { return correct; }
    bool waitForMedia(std::uint32_t timeoutMs) override {
        note("wait");
        waitMs = timeoutMs;
        return present;
    }
    bool disableAutoRun() override { return autoRun; }
    bool reenableAutoRun() override { return note("autorun") == libDrive2::LIBDRIVE2_NO_ERROR; }

protected:
    Error doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer, std::uint32_t bytes) override {
        reads.push_back(std::to_string(lba) + "+" + std::to_string(count) + " @" +
                        std::to_string(retryCallbackBehavior()));
        std::memset(buffer, 0, bytes);
        const auto hit = bad.lower_bound(lba);
        if (hit == bad.end() || *hit >= lba + count)
            return libDrive2::LIBDRIVE2_NO_ERROR;
        return fail(badError, "sector " + std::to_string(*hit) + " is bad");
    }
    Error doSeekSector(std::uint64_t lba) override {
        reads.push_back("seek " + std::to_string(lba));
        return bad.count(lba) == 0 ? libDrive2::LIBDRIVE2_NO_ERROR : fail(badError, "cannot seek");
    }
    Error doWriteSector(std::uint64_t, std::uint32_t, const void*, std::uint32_t) override {
        return note("write");
    }
    Error doPreventMediumRemoval(bool prevent) override { return note(prevent ? "lock" : "unlock"); }
    Error doEjectDrive() override { return note("eject"); }
    Error doLoadDrive() override {
        onLoad();
        return note("load");
    }

private:
    Error note(const std::string& call) {
        calls += (calls.empty() ? "" : " ") + call;
        return libDrive2::LIBDRIVE2_NO_ERROR;
    }
};

}  // namespace libDriveTest
