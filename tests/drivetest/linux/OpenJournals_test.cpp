#include "drivetest/safety/OpenJournals.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>

#include "OpenJournalsFixture.h"
#include "drivetest/recovery/ExportFolder.h"
#include "drivetest/safety/JournalPlace.h"

namespace drivetest {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

constexpr unsigned kOtherUser = 12345;

struct LinuxRegister : OpenJournalsTest {
    LinuxRegister() { fs::permissions(place, fs::perms{0755}); }
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
};

TEST_F(LinuxRegister, AreRegisteredWhereverTheyLie) {
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

TEST_F(LinuxRegister, CountWhenTheyCannotBeRead) {
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

TEST_F(LinuxRegister, AreLookedForOnlyInARegisterThatCanBeTrusted) {
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

TEST_F(LinuxRegister, OfOtherUsersAreSeenAndCannotBeTouched) {
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

TEST_F(LinuxRegister, AreRefusedThatCannotBeJournals) {
    makeJournal("x", true).reset();
    const std::string path = folder + "/x.journal";
    add(path);
    ASSERT_TRUE(shell("J=" + path + "; rm $J && mkfifo $J"));
    const auto found = find(drive);
    ASSERT_EQ(found.open.size(), 1U);
    EXPECT_EQ(found.open[0].state, OpenJournalState::unreadable);
}

TEST_F(LinuxRegister, SomebodyElsesWordDoesNotReplaceWhatTheJournalSays) {
    if (geteuid() != 0)
        GTEST_SKIP() << "becoming another user needs root";
    makeJournal("x", true).reset();
    fs::permissions(state, fs::perms{0755});
    const std::string path = folder + "/x.journal";
    add(path);  // makes the register
    ASSERT_TRUE(journals.remove(path, problem)) << problem;
    EXPECT_TRUE(asOtherUser([&] { return journals.add(path, driveOf("wwid:other"), problem); }));
    EXPECT_EQ(find(drive).open.size(), 1U);
}

TEST_F(LinuxRegister, LieWhereTheEnvironmentSays) {
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

TEST_F(LinuxRegister, ExportsGoWhereNobodyElseWrites) {
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

TEST_F(LinuxRegister, TellWhatTheyCostTheirDisk) {
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
