#include "libDrive2/windows/GuardedFolder.h"

#include <gmock/gmock.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <random>

#include "libDrive2/windows/AccessRules.h"
#include "libDrive2/windows/answers/FolderNames.h"
#include "zel/windows/Utf16.h"

namespace libDrive2 {
namespace {

namespace fs = std::filesystem;

using testing::ElementsAre;
using testing::HasSubstr;
using Writers = GuardedFolder::Writers;
using Readers = GuardedFolder::Readers;
using Owner = GuardedFolder::Owner;

constexpr const char* kAlice = "S-1-5-21-1-2-3-1001";
constexpr const char* kAdministrators = "S-1-5-32-544";

struct Descriptor {
    explicit Descriptor(const std::string& text) {
        EXPECT_NE(ConvertStringSecurityDescriptorToSecurityDescriptorW(zel::toWide(text).c_str(),
                                                                       SDDL_REVISION_1, &binary, &bytes),
                  FALSE)
            << text;
    }
    ~Descriptor() { LocalFree(binary); }
    Descriptor(const Descriptor&) = delete;
    Descriptor& operator=(const Descriptor&) = delete;
    void* binary = nullptr;
    ULONG bytes = 0;
};

/// The system, but for the rules of what is asked for them, and for who runs the process.
struct OtherRules : zel::SystemCalls {
    OtherRules() { install(this); }
    ~OtherRules() override { install(nullptr); }
    BOOL getSecurity(HANDLE file, SECURITY_INFORMATION kinds, void* out, DWORD bytes,
                     DWORD* needed) override {
        BY_HANDLE_FILE_INFORMATION found{};
        getFileInformation(file, &found);
        const bool isFolder = (found.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
        const std::string& text = isFolder ? ofFolders : ofFiles;
        if (text.empty())
            return SystemCalls::getSecurity(file, kinds, out, bytes, needed);
        const Descriptor played(text);
        *needed = played.bytes;
        if (bytes < played.bytes) {
            SetLastError(ERROR_INSUFFICIENT_BUFFER);
            return FALSE;
        }
        std::memcpy(out, played.binary, played.bytes);
        return TRUE;
    }
    std::string ofFolders{}, ofFiles{};
};

struct GuardedFolders : testing::Test {
    ~GuardedFolders() override { fs::remove_all(place); }
    GuardedFolder open(Writers writers = Writers::owner) {
        auto opened = GuardedFolder::open(path, writers, reason);
        EXPECT_TRUE(opened) << reason.utf8();
        return std::move(*opened);
    }
    std::string refusal(Writers writers) {
        reason = "";
        return GuardedFolder::open(path, writers, reason) ? "" : reason.utf8();
    }
    void put(const std::string& name) { std::ofstream(path + "\\" + name) << "text"; }

    std::string place = testing::TempDir() + "guarded-" + std::to_string(std::random_device()());
    std::string path = place + "\\a\\b";
    zel::String reason;
    bool isMade = GuardedFolder::make(path, Writers::owner, Readers::owner, reason);
};

TEST_F(GuardedFolders, HoldFilesThatAreMadeOnceAndDeleted) {
    ASSERT_TRUE(isMade) << reason.utf8();
    const GuardedFolder folder = open();
    GuardedFile file = folder.createFile("b.x", Readers::owner);
    ASSERT_TRUE(file.file) << file.problem.utf8();
    EXPECT_THAT(folder.createFile("B.X", Readers::owner).problem.utf8(), HasSubstr("exists"));
    EXPECT_TRUE(writeAllDurably(file.file.get(), "text", 4));
    EXPECT_TRUE(folder.createFile("\xC3\xA4", Readers::all).file);
    EXPECT_TRUE(folder.sync(reason)) << reason.utf8();
    std::vector<std::string> names;
    EXPECT_TRUE(folder.names(names, reason));
    EXPECT_THAT(names, ElementsAre("b.x", "\xC3\xA4"));
    EXPECT_TRUE(folder.rename(file.file, "\xC3\xA4", reason)) << reason.utf8();
    EXPECT_EQ(folder.openFile("\xC3\xA4", GENERIC_READ, Owner::user).bytes(), 4U);
    EXPECT_TRUE(folder.remove("\xC3\xA4", file.file, reason)) << reason.utf8();
    EXPECT_TRUE(folder.openFile("\xC3\xA4", GENERIC_READ, Owner::user).isMissing);
    EXPECT_TRUE(folder.names(names, reason) && names.empty());
}

TEST_F(GuardedFolders, StayWhereTheyAreWhileTheyAreHeld) {
    std::error_code failed;
    {
        const GuardedFolder folder = open();
        const GuardedFile file = folder.createFile("x", Readers::owner);
        EXPECT_FALSE(MoveFileW(fs::path(path).c_str(), fs::path(path + "2").c_str()));
        EXPECT_FALSE(MoveFileW(fs::path(path + "\\x").c_str(), fs::path(path + "\\y").c_str()));
        EXPECT_FALSE(DeleteFileW(fs::path(path + "\\x").c_str()));
        EXPECT_TRUE(folder.openFile("x", DELETE, Owner::user).isInUse);
        EXPECT_TRUE(folder.openFile("x", GENERIC_READ, Owner::user).file);
    }
    EXPECT_TRUE(MoveFileW(fs::path(path).c_str(), fs::path(path + "2").c_str()));
    EXPECT_THAT(refusal(Writers::owner), HasSubstr("cannot be opened"));
    EXPECT_EQ(GetLastError(), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST_F(GuardedFolders, OpenNothingButTheirOwnPlainFiles) {
    const GuardedFolder folder = open();
    put("twice");
    ASSERT_TRUE(
        CreateHardLinkW(fs::path(path + "\\twin").c_str(), fs::path(path + "\\twice").c_str(), nullptr));
    fs::create_directory(path + "\\folder");
    put("folder\\inner");
    const std::pair<const char*, const char*> rows[] = {
        {"folder", "is a folder and no file"},
        {"twice", "has 2 names (hard links)"},
        {"folder\\inner", "cannot be opened"},
        {"folder/inner", "cannot be opened"},
        {"..\\b", "cannot be opened"},
        {"twice:stream", "cannot be opened"},
        {"", "cannot be opened"},
        {"nothing", "cannot be opened"},
    };
    for (const auto& [name, problem] : rows) {
        const GuardedFile file = folder.openFile(name, GENERIC_READ, Owner::user);
        EXPECT_FALSE(file.file) << name;
        EXPECT_THAT(file.problem.utf8(), HasSubstr(problem)) << name;
        EXPECT_EQ(file.isMissing, name == std::string("nothing")) << name;
    }
    for (const char* name : {"folder\\new", "new:stream", "folder"})
        EXPECT_THAT(folder.createFile(name, Readers::owner).problem.utf8(), HasSubstr("could not be made"));
    EXPECT_FALSE(folder.openFolder("..", Writers::owner, reason));
    EXPECT_TRUE(folder.openFolder("folder", Writers::owner, reason)) << reason.utf8();
}

TEST_F(GuardedFolders, AreTrustedOnlyWhenNobodyElseRulesThem) {
    OtherRules system;
    struct Row {
        const char* rules;
        const char* refusal;  ///< of one for its owner alone
        const char* shared;   ///< of one that others may make files in
    };
    constexpr const char* kNone = "";
    const auto isRefusal = [](const char* text) { return testing::ContainsRegex(*text == 0 ? "^$" : text); };
    const Row rows[] = {
        {"O:SYD:P(A;OICI;FA;;;SY)(A;OICI;FA;;;BA)", kNone, kNone},
        {"O:S-1-5-80-956008885-3418522649-1831038044-1853292631-2271478464D:P(A;;FA;;;BA)", kNone, kNone},
        {"O:S-1-5-21-1-2-3-1001D:P(A;OICI;FA;;;SY)", "belongs to another user .S-1-5-21-1-2-3-1001.",
         "belongs to another user"},
        {"O:BAD:P(A;;FA;;;S-1-5-21-1-2-3-1001)", "others .S-1-5-21-1-2-3-1001. can write to the folder",
         "can write to the folder"},
        {"O:BAD:P(A;OICI;FRFX;;;WD)", kNone, kNone},
        {"O:BAD:P(D;;FA;;;WD)", kNone, kNone},
        {"O:BAD:P(A;;0x1200AB;;;BU)(A;OIIO;FA;;;CO)", "can write to the folder", kNone},
        {"O:BAD:P(A;OI;0x2;;;BU)", "can write to the folder", "can write to the folder"},
        {"O:BAD:P(A;OIIO;SD;;;BU)", "can write to the folder", "can write to the folder"},
        {"O:BAD:P(A;;0x40;;;BU)", "can write to the folder", "can write to the folder"},
        {"O:BAD:P(A;;WD;;;BU)", "can write to the folder", "can write to the folder"},
        {"O:BAD:P(A;;FA;;;CO)", "can write to the folder", "can write to the folder"},
        {"O:BAD:P(A;OICIIO;FA;;;CO)(A;;FA;;;OW)", kNone, kNone},
        {"O:BA", "its file system keeps no rights", "its file system keeps no rights"},
    };
    for (const Row& row : rows) {
        system.ofFolders = row.rules;
        EXPECT_THAT(refusal(Writers::owner), isRefusal(row.refusal)) << row.rules;
        EXPECT_THAT(refusal(Writers::all), isRefusal(row.shared)) << row.rules;
    }
}

TEST_F(GuardedFolders, TakeFilesOnlyThatNobodyElseRules) {
    OtherRules system;
    const GuardedFolder folder = open();
    put("x");
    const std::pair<const char*, const char*> rows[] = {
        {"O:BAD:P(A;;FR;;;WD)", ""},
        {"O:BAD:P(A;;0x100;;;BU)", "can write to"},
        {"O:S-1-5-21-1-2-3-1001D:P(A;;FA;;;SY)", "only that user can use or delete it"},
    };
    for (const auto& [rules, problem] : rows) {
        system.ofFiles = rules;
        const GuardedFile file = folder.openFile("x", GENERIC_READ, Owner::user);
        EXPECT_THAT(file.problem.utf8(), HasSubstr(problem)) << rules;
        EXPECT_EQ(static_cast<bool>(file.file), file.problem.isEmpty());
        const GuardedFile anybodys = folder.openFile("x", GENERIC_READ, Owner::anybody);
        EXPECT_TRUE(anybodys.file);
        EXPECT_EQ(anybodys.owner, std::string(rules).starts_with("O:BA") ? kAdministrators : kAlice);
    }
}

/// What is made passes the checks of whoever made it, and lets others do no more than it is meant for.
TEST(NewRules, AreTrustedByTheirMaker) {
    const Account alice{kAlice, kAlice, false};
    const Account elevated{kAlice, kAdministrators, true};
    const Account bob{"S-1-5-21-1-2-3-1002", "S-1-5-21-1-2-3-1002", false};
    struct FixedRules : zel::SystemCalls {
        explicit FixedRules(void* made) : descriptor(made) { install(this); }
        ~FixedRules() override { install(nullptr); }
        BOOL getSecurity(HANDLE, SECURITY_INFORMATION, void* out, DWORD, DWORD*) override {
            DWORD bytes = GetSecurityDescriptorLength(descriptor);
            std::memcpy(out, descriptor, bytes);
            return TRUE;
        }
        void* descriptor;
    };
    for (const Account& maker : {alice, elevated})
        for (const auto kind : {NewRules::Kind::closed, NewRules::Kind::shown, NewRules::Kind::shared}) {
            const NewRules made(kind, maker);
            ASSERT_NE(made.descriptor(), nullptr);
            const FixedRules system(made.descriptor());
            const auto rules = AccessRules::of(nullptr);
            ASSERT_TRUE(rules);
            EXPECT_EQ(rules->writerBeside(maker).empty(), kind != NewRules::Kind::shared);
            EXPECT_EQ(rules->meddlerBeside(maker), "");
            // An elevated run trusts no other process of its user.
            EXPECT_EQ(rules->meddlerBeside(bob), maker.isAdministrator ? "" : kAlice);
            const auto isForAll = [](const AccessRules::Allowed& each) { return each.who == "S-1-5-32-545"; };
            EXPECT_EQ(std::any_of(rules->allowed.begin(), rules->allowed.end(), isForAll),
                      kind != NewRules::Kind::closed);
        }
}

TEST(FolderNames, AreReadOnlyWithinTheirList) {
    const auto entry = [](std::uint32_t next, std::uint32_t nameBytes, const std::wstring& name) {
        std::vector<std::uint8_t> bytes(68 + name.size() * 2);
        std::memcpy(bytes.data(), &next, 4);
        std::memcpy(bytes.data() + 60, &nameBytes, 4);
        std::memcpy(bytes.data() + 68, name.data(), name.size() * 2);
        return bytes;
    };
    std::vector<std::uint8_t> chain = entry(72, 4, L"ab");
    const auto last = entry(0, 2, L"c");
    chain.insert(chain.end(), last.begin(), last.end());
    std::vector<std::string> names;
    EXPECT_TRUE(appendNames(chain, names));
    EXPECT_THAT(names, ElementsAre("ab", "c"));
    for (const auto& broken :
         {entry(0, 6, L"ab"), entry(999, 4, L"ab"), entry(4, 4, L"ab"), entry(72, 4, L"ab"),
          entry(0, 0xFFFFFFFF, L"ab"), std::vector<std::uint8_t>(67)})
        EXPECT_FALSE(appendNames(broken, names));
}

}  // namespace
}  // namespace libDrive2
