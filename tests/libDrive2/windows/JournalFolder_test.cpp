#include "libDrive2/JournalFolder.h"

#include <filesystem>
#include <random>

#include "Fixtures.h"
#include "zel/windows/SystemCalls.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kBytes = 3 << 20;

/// The system, of which one call fails; counts what is open.
class OneFailing : public zel::SystemCalls {
public:
    explicit OneFailing(unsigned failing = 0) : m_failing(failing) { install(this); }
    ~OneFailing() override { install(nullptr); }
    OneFailing(const OneFailing&) = delete;
    OneFailing& operator=(const OneFailing&) = delete;

    HANDLE createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
                      SECURITY_ATTRIBUTES* security) override {
        return opened("open", [&] {
            return SystemCalls::createFile(path, access, share, disposition, flags, security);
        });
    }
    HANDLE createFileIn(HANDLE folder, const std::wstring& name, DWORD access, DWORD share, DWORD disposition,
                        DWORD options, void* security) override {
        return opened("open in", [&] {
            return SystemCalls::createFileIn(folder, name, access, share, disposition, options, security);
        });
    }
    HANDLE reopenFile(HANDLE original, DWORD access, DWORD share, DWORD flags) override {
        return opened((flags & FILE_FLAG_NO_BUFFERING) != 0 ? "reopen direct" : "reopen",
                      [&] { return SystemCalls::reopenFile(original, access, share, flags); });
    }
    BOOL closeHandle(HANDLE handle) override {
        --open;
        return SystemCalls::closeHandle(handle);
    }
    BOOL openProcessToken(DWORD access, HANDLE* token) override {
        ++open;
        return SystemCalls::openProcessToken(access, token);
    }
    BOOL writeFile(HANDLE file, const void* data, DWORD bytes, DWORD* done, OVERLAPPED* place) override {
        return !fails("write") && SystemCalls::writeFile(file, data, bytes, done, place);
    }
    BOOL flushFileBuffers(HANDLE file) override {
        return !fails("flush") && SystemCalls::flushFileBuffers(file);
    }
    BOOL getFileSize(HANDLE file, LARGE_INTEGER* bytes) override {
        return !fails("size") && SystemCalls::getFileSize(file, bytes);
    }
    BOOL getFileInformation(HANDLE file, BY_HANDLE_FILE_INFORMATION* found) override {
        return !fails("information") && SystemCalls::getFileInformation(file, found);
    }
    BOOL getSecurity(HANDLE file, SECURITY_INFORMATION kinds, void* out, DWORD bytes,
                     DWORD* needed) override {
        return !fails("security") && SystemCalls::getSecurity(file, kinds, out, bytes, needed);
    }
    BOOL lockFile(HANDLE file, DWORD flags, DWORD low, DWORD high, OVERLAPPED* place) override {
        return !fails("lock") && SystemCalls::lockFile(file, flags, low, high, place);
    }

    void failNoMore() { m_failing = 0; }

    int open = 0;
    std::string failed{};  ///< what it was; empty when there were fewer calls

private:
    bool fails(const char* what) {
        if (++m_calls != m_failing)
            return false;
        failed = what;
        SetLastError(ERROR_DISK_FULL);
        return true;
    }
    template <class Open>
    HANDLE opened(const char* what, Open call) {
        const HANDLE handle = fails(what) ? INVALID_HANDLE_VALUE : call();
        open += handle != INVALID_HANDLE_VALUE ? 1 : 0;
        return handle;
    }
    unsigned m_failing;
    unsigned m_calls = 0;
};

struct WindowsJournals : testing::Test {
    ~WindowsJournals() override { std::filesystem::remove_all(place); }
    std::size_t listed() {
        zel::Array<zel::String> paths;
        EXPECT_TRUE(journals.list(paths, reason)) << reason.utf8();
        return paths.size();
    }

    std::string place = testing::TempDir() + "journals-" + std::to_string(std::random_device()());
    std::string folder = place + "\\a", path = folder + "\\x.journal";
    JournalFolder journals{folder};
    zel::String reason;
};

TEST_F(WindowsJournals, LeaveNothingBehindWhereACallFails) {
    bool isReached = true;
    for (unsigned call = 1; isReached; ++call) {
        ASSERT_LT(call, 100U);
        OneFailing system(call);
        reason = "";
        auto made = journals.create("x", kBytes, reason);
        system.failNoMore();
        isReached = !system.failed.empty();
        SCOPED_TRACE(system.failed);
        // Without these two it goes on: past the cache, and to make the folder's list durable by itself.
        const bool mayFail = system.failed == "reopen direct" || system.failed == "open in";
        EXPECT_TRUE(made != nullptr ? !isReached || mayFail : !reason.isEmpty());
        if (system.failed == "write") {
            EXPECT_THAT(reason.utf8(), HasSubstr("the journal needs 3 MiB in " + folder));
        }
        EXPECT_EQ(listed(), made != nullptr ? 1U : 0U);
        EXPECT_TRUE(made == nullptr || made->remove(reason)) << reason.utf8();
        made.reset();
        EXPECT_EQ(system.open, 0);
        EXPECT_EQ(listed(), 0U);
    }
}

TEST_F(WindowsJournals, CannotBeRenamedOrDeletedByOthersWhileTheyAreHeld) {
    const auto file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    std::error_code refused;
    std::filesystem::rename(path, path + "2", refused);
    EXPECT_TRUE(refused && !std::filesystem::remove(path, refused));
    std::filesystem::rename(folder, folder + "2", refused);
    EXPECT_TRUE(refused && std::filesystem::exists(path));
    EXPECT_FALSE(JournalFolder::remove(path, reason));
    EXPECT_EQ(JournalFolder::look(path).use, JournalUse::used);
    EXPECT_TRUE(file->remove(reason)) << reason.utf8();
    EXPECT_EQ(JournalFolder::look(path).use, JournalUse::missing);
}

TEST_F(WindowsJournals, LieWhereTheSystemSays) {
    EXPECT_FALSE(journals.isVolatile());
    EXPECT_THAT(journals.fileSystem().utf8(), testing::MatchesRegex(".+ on \\w:."));
    DriveIdentity drive;
    drive.storage = {{"wwid:1"}};
    EXPECT_FALSE(journals.isOnDrive(drive, "drive", reason));
    struct OnRamDisk : zel::SystemCalls {
        OnRamDisk() { install(this); }
        ~OnRamDisk() override { install(nullptr); }
        UINT getDriveType(const std::wstring&) override { return DRIVE_RAMDISK; }
    };
    const OnRamDisk system;
    EXPECT_TRUE(journals.isVolatile());
}

}  // namespace
}  // namespace libDrive2
