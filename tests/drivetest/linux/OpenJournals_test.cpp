#include "drivetest/safety/OpenJournals.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "drivetest/recovery/ExportFolder.h"
#include "drivetest/safety/JournalPlace.h"
#include "libDrive2/JournalFolder.h"
#include "libDrive2/UndoJournal.h"

namespace drivetest {
namespace {

namespace fs = std::filesystem;

using libDrive2::DriveIdentity;
using libDrive2::JournalFolder;
using testing::HasSubstr;

constexpr unsigned kOtherUser = 12345;
constexpr std::uint64_t kSlot = 8 * 512;

DriveIdentity driveOf(const std::string& id, std::uint64_t start = 0, std::uint64_t bytes = 0) {
    DriveIdentity drive{"M", "S", 1000, 512};
    drive.storage = {{id, start, bytes}};
    return drive;
}

struct OpenJournalsTest : testing::Test {
    OpenJournalsTest() { fs::permissions(place, fs::perms{0755}); }
    ~OpenJournalsTest() override { fs::remove_all(place); }
    /// With a protected range, or with nothing left in it.
    std::unique_ptr<libDrive2::JournalFile> makeJournal(const std::string& name, bool isOpen) const {
        zel::String reason;
        auto file = JournalFolder(folder).create(name, libDrive2::UndoJournal::fileBytes(kSlot, 0), reason);
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
    OpenJournals find(const DriveIdentity& wanted, const std::string& own = "") const {
        return findOpenJournals(wanted, {{folder}, own}, journals);
    }
    static bool shell(const std::string& command) { return std::system(command.c_str()) == 0; }
    /// Does it as another user, in a process of its own.
    template <class Act>
    static bool asOtherUser(Act act) {
        const pid_t child = fork();
        if (child == 0)
            _exit(setresuid(kOtherUser, kOtherUser, kOtherUser) == 0 && act() ? 0 : 1);
        int status = 0;
        return waitpid(child, &status, 0) == child && status == 0;
    }

    static std::string makeFolder() {
        std::string path = testing::TempDir() + "drivetest-XXXXXX";
        EXPECT_NE(mkdtemp(path.data()), nullptr);
        return path;
    }

    std::string place = makeFolder();
    std::string problem;
    DriveIdentity drive = driveOf("wwid:1", 0, 512000);
    std::string state = place + "/state";
    std::string folder = state + "/journal", shared = state + "/open";
    JournalRegister journals{shared};
};

TEST_F(OpenJournalsTest, AreRegisteredWhereverTheyLie) {
    EXPECT_TRUE(listed().empty());
    const std::string odd = place + "/a b\nend\n/x.journal";
    fs::create_directories(place + "/real");
    fs::create_directory_symlink(place + "/real", place + "/link");
    for (const std::string& path : {odd, place + "/link/x.journal", place + "/b/x.journal"})
        add(path);
    add(odd);
    auto found = listed();
    ASSERT_EQ(found.size(), 3U);
    for (const RegisteredJournal& journal : found) {
        EXPECT_EQ(journal.problem, "");
        EXPECT_EQ(journal.drive, drive);
        EXPECT_EQ(journal.owner, std::to_string(geteuid()));
        EXPECT_EQ(fs::status(journal.file).permissions(), fs::perms{0644});
    }
    EXPECT_TRUE(std::any_of(found.begin(), found.end(), [&](const auto& one) { return one.journal == odd; }));
    if (geteuid() == 0) {
        EXPECT_EQ(fs::status(shared).permissions(), fs::perms{01777});
    }
    EXPECT_TRUE(journals.remove(place + "/real/x.journal", problem) && journals.remove(odd, problem));
    EXPECT_TRUE(journals.remove(place + "/never.journal", problem));
    found = listed();
    ASSERT_EQ(found.size(), 1U);
    EXPECT_EQ(found[0].journal, place + "/b/x.journal");
}

TEST_F(OpenJournalsTest, CountWhenTheyCannotBeRead) {
    add(place + "/x.journal");
    ASSERT_TRUE(journals.remove(place + "/x.journal", problem));
    const std::string entry = shared + "/bad.open";
    const std::pair<const char*, const char*> rows[] = {
        {"mkfifo $E", "is a FIFO"},
        {"ln -s /dev/zero $E", "is a symbolic link"},
        {"mkdir $E", "is a folder"},
        {"touch $E && ln $E $E.2", "has 2 names"},
        {"truncate -s 70000 $E", "longer than an entry"},
        {"echo hello > $E", "something else, or is damaged"},
        {"printf 'journal 2 /x\\nsectors 1\\nsector-bytes 512\\n' > $E", "something else, or is damaged"},
        {"printf 'journal 99 /x\\nsectors 1\\nsector-bytes 512\\nend\\n' > $E",
         "something else, or is damaged"},
        {"printf 'journal 1 x\\nsectors 1\\nsector-bytes 512\\nend\\n' > $E",
         "something else, or is damaged"},
    };
    for (const auto& [make, expected] : rows) {
        ASSERT_TRUE(shell("E=" + entry + "; " + make)) << make;
        const auto found = find(driveOf("wwid:other")).open;
        ASSERT_EQ(found.size(), 1U) << make;
        EXPECT_EQ(found[0].state, OpenJournalState::unreadable);
        EXPECT_THAT(found[0].journal.problem, HasSubstr(expected));
        EXPECT_THAT(found[0].journal.problem, HasSubstr(entry));
        fs::remove(entry + ".2");
        fs::remove(entry);
    }
}

TEST_F(OpenJournalsTest, AreLookedForOnlyInARegisterThatCanBeTrusted) {
    if (geteuid() != 0)
        GTEST_SKIP() << "what is asked of a root's register needs root";
    add(place + "/x.journal");
    const std::pair<const char*, const char*> rows[] = {
        {"chown 12345 $R", "belongs to another user (uid 12345)"},
        {"chmod 0777 $R", "others can write to the folder"},
        {"chmod 0777 $(dirname $R)", "others can write to the folder"},
        {"mv $R $R.2; ln -s $R.2 $R", "cannot be opened"},
    };
    for (const auto& [damage, expected] : rows) {
        ASSERT_TRUE(shell("R=" + shared + "; " + damage));
        EXPECT_THAT(find(driveOf("wwid:other")).problem, HasSubstr(expected)) << damage;
        EXPECT_FALSE(journals.add(place + "/y.journal", drive, problem)) << damage;
        ASSERT_TRUE(shell("R=" + shared +
                          "; test -d $R.2 && rm $R && mv $R.2 $R; chown 0 $R; chmod 1777 $R; "
                          "chmod 0755 $(dirname $R)"));
    }
    EXPECT_EQ(listed().size(), 1U);
}

TEST_F(OpenJournalsTest, OfOtherUsersAreSeenAndCannotBeTouched) {
    if (geteuid() != 0)
        GTEST_SKIP() << "becoming another user needs root";
    std::string said;
    // Who cannot make the register goes on without it.
    EXPECT_TRUE(asOtherUser([&] {
        return !journals.add("/x.journal", drive, said) && said.find("could not be made") != said.npos &&
               find(drive).problem.empty();
    }));
    add("/root.journal");
    EXPECT_TRUE(asOtherUser([&] {
        return journals.add("/other.journal", drive, said) && journals.remove("/root.journal", said);
    }));
    const auto found = listed();
    ASSERT_EQ(found.size(), 2U);
    EXPECT_EQ(found[0].journal + found[1].journal, "/other.journal/root.journal");
    EXPECT_EQ(found[0].owner, std::to_string(kOtherUser));
    EXPECT_EQ(find(drive).open.size(), 2U);
}

TEST_F(OpenJournalsTest, RefuseTheDrivesThatShareTheirStorage) {
    const std::string path = folder + "/x.journal";
    struct Row {
        const char* what;
        OpenJournalState state;
        bool isOpen;
        const char* damage;
    };
    const Row rows[] = {
        {"settled", OpenJournalState::settled, false, "true"},
        {"open", OpenJournalState::open, true, "true"},
        {"busy", OpenJournalState::busy, false, "true"},
        {"missing", OpenJournalState::missing, true, "rm $J"},
        {"damaged", OpenJournalState::unreadable, true,
         "head -c 32768 /dev/zero | tr \\000 x | dd of=$J conv=notrunc status=none"},
        {"fifo", OpenJournalState::unreadable, true, "rm $J && mkfifo $J"},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.what);
        auto file = makeJournal("x", row.isOpen);
        add(path);
        if (row.state != OpenJournalState::busy)
            file.reset();
        ASSERT_TRUE(shell("J=" + path + "; " + row.damage));
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
    // Somebody else's word does not replace what the journal itself says.
    if (geteuid() == 0) {
        makeJournal("x", true).reset();
        fs::permissions(state, fs::perms{0755});
        EXPECT_TRUE(asOtherUser([&] { return journals.add(path, driveOf("wwid:other"), problem); }));
        EXPECT_EQ(find(drive).open.size(), 1U);
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

TEST_F(OpenJournalsTest, LieWhereTheEnvironmentSays) {
    const char* const before = std::getenv("DRIVETEST_STATE");
    const std::string kept = before != nullptr ? before : "";
    setenv("DRIVETEST_STATE", "relative", 1);
    EXPECT_EQ(defaultRegisterFolder(), "/var/lib/drivetest/open");
    setenv("DRIVETEST_STATE", state.c_str(), 1);
    EXPECT_EQ(defaultRegisterFolder(), shared);
    EXPECT_EQ(defaultJournalFolder() == folder, geteuid() == 0);
    // A folder of journals that was there first keeps nobody from registering, and its journals to itself.
    makeJournal("x", true).reset();
    add(folder + "/x.journal");
    if (geteuid() == 0) {
        EXPECT_TRUE(asOtherUser([this] { return journals.add("/y.journal", drive, problem); }));
        EXPECT_EQ(fs::status(folder).permissions(), fs::perms{0700});
    }
    before != nullptr ? setenv("DRIVETEST_STATE", kept.c_str(), 1) : unsetenv("DRIVETEST_STATE");
}

TEST_F(OpenJournalsTest, ExportsGoWhereNobodyElseWrites) {
    const std::uint8_t data[] = {'a', 'b'};
    fs::create_directory(place + "/out");
    const std::string path = place + "/out/x.bin";
    ASSERT_TRUE(writeDurably(path, data, problem)) << problem;
    EXPECT_TRUE(fs::file_size(path) == 2 && fs::status(path).permissions() == fs::perms{0600});
    const std::pair<const char*, const char*> rows[] = {
        {"true", "File exists"},
        {"rm $P; ln -s $P.2 $P", "File exists"},
        {"rm $P; mkfifo $P", "File exists"},
        {"rm $P; chmod 1777 $(dirname $P)", "others can write to the folder"},
        {"rm -r $(dirname $P)", "cannot be opened"},
    };
    for (const auto& [damage, expected] : rows) {
        ASSERT_TRUE(shell("P=" + path + "; " + damage));
        EXPECT_FALSE(writeDurably(path, data, problem)) << damage;
        EXPECT_THAT(problem, HasSubstr(expected)) << damage;
        EXPECT_FALSE(fs::exists(path + ".2"));
    }
}

TEST_F(OpenJournalsTest, TellWhatTheyCostTheirDisk) {
    EXPECT_TRUE(journalCostLines(9'999'999'999, "/usr/new").empty());
    const auto lines = journalCostLines(20'000'000'000'000, "/usr/new");
    ASSERT_EQ(lines.size(), 2U);
    EXPECT_THAT(lines[0], testing::MatchesRegex(".*, up to 18.2 TiB, in /usr/new \\(.+ on .+, .+B free\\)"));
    if (fs::is_directory("/dev/shm")) {
        EXPECT_TRUE(journalCostLines(20'000'000'000'000, "/dev/shm").empty());
    }
}

}  // namespace
}  // namespace drivetest
