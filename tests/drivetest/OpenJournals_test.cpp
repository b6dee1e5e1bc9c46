#include "drivetest/safety/OpenJournals.h"

#include <fstream>

#include "OpenJournalsFixture.h"

namespace drivetest {
namespace {

namespace fs = std::filesystem;

using libDrive2::JournalFolder;

TEST_F(OpenJournalsTest, RefuseTheDrivesThatShareTheirStorage) {
    const std::string path = folder + "/x.journal";
    struct Row {
        const char* what;
        OpenJournalState state;
        bool isOpen;
        void (*damage)(const std::string& path);
    };
    const auto nothing = [](const std::string&) {};
    const auto gone = [](const std::string& file) { fs::remove(file); };
    const auto garbled = [](const std::string& file) {
        std::fstream(file, std::ios::in | std::ios::out | std::ios::binary) << std::string(32768, 'x');
    };
    const Row rows[] = {
        {"settled", OpenJournalState::settled, false, nothing},
        {"open", OpenJournalState::open, true, nothing},
        {"busy", OpenJournalState::busy, false, nothing},
        {"missing", OpenJournalState::missing, true, gone},
        {"damaged", OpenJournalState::unreadable, true, garbled},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        auto file = makeJournal("x", row.isOpen);
        add(path);
        if (row.state != OpenJournalState::busy)
            file.reset();
        row.damage(path);
        const bool isSettled = row.state == OpenJournalState::settled;
        const auto found = find(driveOf("wwid:1", 4096, 512));
        EXPECT_EQ(found.settled.size(), isSettled ? 1U : 0U);
        ASSERT_EQ(found.open.size(), isSettled ? 0U : 1U);
        EXPECT_TRUE(isSettled || found.open[0].state == row.state);
        EXPECT_TRUE(find(driveOf("wwid:1", 512000, 512)).open.empty());
        EXPECT_TRUE(find(drive, path).open.empty());
        JournalRegister none(place + "/none/open");
        EXPECT_EQ(fs::exists(path) && discardSettled(path, none, problem), isSettled) << problem;
        EXPECT_EQ(fs::exists(path), !isSettled && row.state != OpenJournalState::missing);
        // Not registered, as far as that can be told.
        ASSERT_TRUE(journals.remove(path, problem));
        const bool isGone = isSettled || row.state == OpenJournalState::missing;
        EXPECT_EQ(find(drive).open.size(), isGone ? 0U : 1U);
        file.reset();
        fs::remove(path);
    }
}

TEST_F(OpenJournalsTest, OfRunsThatHaveOnlyJustBegunKeepNobodyOff) {
    zel::String reason;
    const auto fresh = JournalFolder(folder).create("new", 1 << 20, reason);
    ASSERT_NE(fresh, nullptr) << reason.utf8();
    EXPECT_TRUE(find(drive).open.empty());
    add(folder + "/new.journal");
    EXPECT_EQ(find(drive).open.size(), 1U);
}

}  // namespace
}  // namespace drivetest
