#include "drivetest/safety/RegisterFolder.h"

#include <cstdlib>
#include <fstream>
#include <functional>

#include "OpenJournalsFixture.h"
#include "drivetest/record/KeptRecord.h"
#include "drivetest/recovery/ExportFolder.h"
#include "drivetest/safety/JournalPlace.h"
#include "zel/Path.h"
#include "zel/windows/SystemCalls.h"

namespace drivetest {
namespace {

namespace fs = std::filesystem;

using testing::HasSubstr;

/// Windows, but for where it keeps what, and whether this process is elevated.
struct Elsewhere : zel::SystemCalls {
    explicit Elsewhere(const std::string& folder, bool isElevated)
        : m_folder(zel::pathOf(folder).native()), m_isElevated(isElevated) {
        install(this);
    }
    ~Elsewhere() override { install(nullptr); }
    LONG getKnownFolder(int number, wchar_t* path) override {
        const std::wstring found = m_folder + L"\\" + std::to_wstring(number);
        found.copy(path, MAX_PATH);
        path[found.size()] = 0;
        return S_OK;
    }
    BOOL checkTokenMembership(void*, BOOL* isMember) override {
        *isMember = m_isElevated ? TRUE : FALSE;
        return TRUE;
    }

private:
    std::wstring m_folder;
    bool m_isElevated;
};

struct WindowsRegister : OpenJournalsTest {
    ~WindowsRegister() override { _putenv_s("DRIVETEST_STATE", ""); }
    std::string entry = shared + "\\bad.open";
};

TEST_F(WindowsRegister, KeepsJournalsByTheirPathsAlone) {
    EXPECT_TRUE(listed().empty());
    const std::string odd = place + "\\a \xC3\xA4\\x.journal";
    fs::create_directories(zel::pathOf(place) / "B");
    for (const std::string& path : {odd, place + "\\B\\x.journal", place + "/b/x.journal"})
        add(path);
    add(odd);
    auto found = listed();
    ASSERT_EQ(found.size(), 2U);  // letters of either case lead to one file
    for (const RegisteredJournal& journal : found) {
        EXPECT_EQ(journal.problem, "");
        EXPECT_EQ(journal.drive, drive);
        EXPECT_EQ(journal.owner, RegisterFolder::user());
    }
    EXPECT_TRUE(std::any_of(found.begin(), found.end(), [&](const auto& one) { return one.journal == odd; }));
    EXPECT_TRUE(journals.remove(odd, problem) && journals.remove(place + "\\never.journal", problem));
    EXPECT_EQ(listed().size(), 1U);
}

TEST_F(WindowsRegister, CountsWhatCannotBeRead) {
    add(place + "\\x.journal");
    ASSERT_TRUE(journals.remove(place + "\\x.journal", problem)) << problem;
    const auto put = [this](const std::string& text) { std::ofstream(entry, std::ios::binary) << text; };
    const std::string identity = "\nsectors 1\nsector-bytes 512\n";
    const std::pair<std::function<void()>, const char*> rows[] = {
        {[&] { fs::create_directory(entry); }, "is a folder"},
        {[&] {
             put("text");
             CreateHardLinkW(fs::path(entry + "2").c_str(), fs::path(entry).c_str(), nullptr);
         },
         "has 2 names"},
        {[&] { put(std::string(70000, 'x')); }, "longer than an entry"},
        {[&] { put("hello"); }, "something else, or is damaged"},
        {[&] { put("journal 4 C:\\x" + identity); }, "something else, or is damaged"},
        {[&] { put("journal 99 C:\\x" + identity + "end\n"); }, "something else, or is damaged"},
        {[&] { put("journal 1 x" + identity + "end\n"); }, "something else, or is damaged"},
    };
    for (const auto& [make, expected] : rows) {
        SCOPED_TRACE(expected);
        make();
        const auto found = find(driveOf("wwid:other")).open;
        ASSERT_EQ(found.size(), 1U);
        EXPECT_EQ(found[0].state, OpenJournalState::unreadable);
        EXPECT_THAT(found[0].journal.problem, HasSubstr(expected));
        EXPECT_THAT(found[0].journal.problem, HasSubstr("bad.open"));
        fs::remove(entry + "2");
        fs::remove(entry);
    }
    put("journal 4 C:\\x" + identity + "end\n");
    EXPECT_EQ(listed().at(0).problem, "");
}

TEST_F(WindowsRegister, LiesWhereWindowsAndTheEnvironmentSay) {
    const std::string all = zel::textOf(zel::pathOf(place) / "35" / "DriveTest");
    const std::string own = zel::textOf(zel::pathOf(place) / "28" / "DriveTest");
    _putenv_s("DRIVETEST_STATE", "relative");
    {
        const Elsewhere windows(place, false);
        EXPECT_EQ(defaultRegisterFolder(), all + "\\open");
        EXPECT_EQ(defaultJournalFolder(), own + "\\journal");
        // What a user made there, administrators could not trust.
        JournalRegister usual;
        EXPECT_FALSE(usual.add(place + "\\x.journal", drive, problem));
        EXPECT_THAT(problem, HasSubstr("the first test that an administrator runs makes it"));
        EXPECT_FALSE(fs::exists(all) || RegisterFolder::isRequired());
    }
    const Elsewhere windows(place, true);
    EXPECT_EQ(defaultJournalFolder(), all + "\\journal");
    JournalRegister usual;
    EXPECT_TRUE(usual.add(place + "\\x.journal", drive, problem)) << problem;
    EXPECT_TRUE(RegisterFolder::isRequired());
    _putenv_s("DRIVETEST_STATE", state.c_str());
    EXPECT_EQ(defaultRegisterFolder(), state + "\\open");
    EXPECT_EQ(defaultRecordFolder(), state + "\\records");
}

TEST_F(WindowsRegister, RecordsAndExportsGoWhereNobodyElseWrites) {
    const std::uint8_t data[] = {'a', 'b'};
    const std::string path = place + "\\x.bin";
    ASSERT_TRUE(writeDurably(path, data, problem)) << problem;
    EXPECT_EQ(fs::file_size(path), 2U);
    EXPECT_FALSE(writeDurably(path, data, problem));
    EXPECT_THAT(problem, HasSubstr("exists"));
    EXPECT_FALSE(writeDurably(place + "\\none\\x.bin", data, problem));
    EXPECT_THAT(problem, HasSubstr("cannot be opened"));

    const Elsewhere windows(place, true);
    std::string first;
    {
        KeptRecord dropped = createKeptRecord(defaultRecordFolder(), "r", problem);
        ASSERT_TRUE(dropped.file) << problem;
        first = dropped.path;
        EXPECT_TRUE(fs::exists(first));
    }
    EXPECT_FALSE(fs::exists(first)) << "a refused run leaves no record";
    KeptRecord kept = createKeptRecord(defaultRecordFolder(), "r", problem);
    const KeptRecord second = createKeptRecord(defaultRecordFolder(), "r", problem);
    EXPECT_EQ(kept.path, first);
    EXPECT_THAT(second.path, testing::EndsWith("r-2.jsonl"));
    EXPECT_TRUE(kept.file.begin() && kept.file.write("line\n"));
    EXPECT_EQ(fs::file_size(first), 5U);
}

}  // namespace
}  // namespace drivetest
