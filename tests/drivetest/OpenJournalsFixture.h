#pragma once

#include <gmock/gmock.h>

#include <filesystem>
#include <random>

#include "drivetest/safety/OpenJournals.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/UndoJournal.h"

namespace drivetest {

inline constexpr std::uint64_t kSlot = 8 * 512;

inline libDrive2::DriveIdentity driveOf(const std::string& id, std::uint64_t start = 0,
                                        std::uint64_t bytes = 0) {
    libDrive2::DriveIdentity drive{"M", "S", 1000, 512};
    drive.storage = {{id, start, bytes}};
    return drive;
}

/// A register and a folder of journals, in a folder that goes away with this object.
struct OpenJournalsTest : testing::Test {
    ~OpenJournalsTest() override { std::filesystem::remove_all(place); }
    /// With a protected range, or with nothing left in it.
    std::unique_ptr<libDrive2::JournalFile> makeJournal(const std::string& name, bool isOpen) const {
        zel::String reason;
        auto file = libDrive2::JournalFolder(folder).create(name, libDrive2::UndoJournal::fileBytes(kSlot, 0),
                                                            reason);
        EXPECT_NE(file, nullptr) << reason.utf8();
        const auto undo =
            libDrive2::UndoJournal::create(file->handle(), {drive, "/dev/x", kSlot, true}, reason);
        EXPECT_NE(undo, nullptr) << reason.utf8();
        const std::string data(512, 'd');
        EXPECT_TRUE(!isOpen || undo->protect(7, 1, data.data(), data.size()));
        return file;
    }
    void add(const std::string& path) { EXPECT_TRUE(journals.add(path, drive, problem)) << problem; }
    std::vector<RegisteredJournal> listed() {
        std::vector<RegisteredJournal> found;
        EXPECT_TRUE(journals.list(found, problem)) << problem;
        return found;
    }
    OpenJournals find(const libDrive2::DriveIdentity& wanted, const std::string& own = "") const {
        return findOpenJournals(wanted, {{folder}, own}, journals);
    }
    static std::string makeFolder() {
        std::string path = testing::TempDir() + "drivetest-" + std::to_string(std::random_device()());
        EXPECT_TRUE(std::filesystem::create_directory(path));
        return path;
    }

    std::string place = makeFolder();
    std::string problem;
    libDrive2::DriveIdentity drive = driveOf("wwid:1", 0, 512000);
    std::string state = place + "/state";
    std::string folder = state + "/journal", shared = state + "/open";
    JournalRegister journals{shared};
};

}  // namespace drivetest
