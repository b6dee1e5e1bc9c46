#include <gmock/gmock.h>

#include <fstream>
#include <random>

#include "drivetest/run/OutputFile.h"
#include "drivetest/windows/OutputName.h"
#include "support/windows/PlayedCalls.h"
#include "zel/Path.h"
#include "zel/windows/Handle.h"
#include "zel/windows/Utf16.h"

namespace drivetest {
namespace {

using testing::HasSubstr;
using testing_support::PlayedCalls;

OutputRules rules(bool force = false) {
    return {[](const std::string&) { return std::string(); }, force};
}

TEST(OutputName, TellsDevicesFromFiles) {
    const std::pair<const wchar_t*, OutputName> cases[] = {
        {L"C:\\folder\\file", OutputName::file},
        {L"\\\\?\\C:\\folder\\com1", OutputName::file},
        {L"\\\\.\\c:\\file", OutputName::file},
        {L"\\\\?\\UNC\\server\\share\\file", OutputName::file},
        {L"\\\\?\\Volume{1-2}\\file", OutputName::file},
        {L"\\\\.\\nul", OutputName::null},
        {L"\\\\.\\CON", OutputName::console},
        {L"\\\\.\\conout$", OutputName::console},
        {L"\\\\.\\pipe\\records", OutputName::pipe},
        {L"\\\\.\\PhysicalDrive0", OutputName::drive},
        {L"\\\\?\\physicaldrive11", OutputName::drive},
        {L"\\\\.\\PhysicalDrive0\\Partition1", OutputName::drive},
        {L"\\\\.\\C:", OutputName::drive},
        {L"\\\\?\\z:", OutputName::drive},
        {L"\\\\?\\Volume{1-2}", OutputName::drive},
        {L"\\\\.\\HarddiskVolume3", OutputName::drive},
        {L"\\\\.\\CdRom0", OutputName::drive},
        {L"\\\\.\\CONIN$", OutputName::device},
        {L"\\\\.\\COM1", OutputName::device},
        {L"\\\\.\\nul:", OutputName::device},
        {L"\\\\.\\pipe\\", OutputName::device},
        {L"\\\\?\\GLOBALROOT\\Device\\Harddisk0\\Partition0", OutputName::device},
        {L"\\\\.\\", OutputName::device},
    };
    for (const auto& [path, expected] : cases)
        EXPECT_EQ(classifyOutput(path), expected) << zel::fromWide(path);
}

TEST(Output, WhatIsNoPlaceForItIsNotEvenOpened) {
    const std::pair<const char*, const char*> cases[] = {
        {"\\\\.\\PhysicalDrive0", "it is a drive; name a file"},
        {"\\\\.\\c:", "it is a drive; name a file"},
        {"COM1", "it is a device other than a terminal; name a file"},
        {"aux", "it is a device other than a terminal; name a file"},
    };
    PlayedCalls windows;
    windows.device(L"\\\\.\\PhysicalDrive0");
    windows.device(L"\\\\.\\c:");
    for (const auto& [path, sentence] : cases) {
        std::string error;
        EXPECT_FALSE(openOutput("the log", path, rules(true), error));
        EXPECT_EQ(error, std::string("the log cannot be written to ") + path + ": " + sentence);
    }
    EXPECT_EQ(windows.calls(), 0U);
}

/// A name that exists, and leads to a drive.
class LinkToDrive : public PlayedCalls {
public:
    HANDLE createFile(const std::wstring& path, DWORD access, DWORD share, DWORD disposition, DWORD flags,
                      SECURITY_ATTRIBUTES* security) override {
        if (disposition != CREATE_NEW)
            return PlayedCalls::createFile(path, access, share, disposition, flags, security);
        SetLastError(ERROR_FILE_EXISTS);
        return INVALID_HANDLE_VALUE;
    }
};

TEST(Output, ALinkToADriveIsNotOpenedForWriting) {
    LinkToDrive windows;
    windows.device(L"\\\\?\\Z:\\link").refusedAccess = GENERIC_WRITE;
    std::string error;
    EXPECT_FALSE(openOutput("the log", "Z:\\link", rules(true), error));
    EXPECT_THAT(error, HasSubstr("it is a drive"));
    EXPECT_EQ(windows.logged("open"), 1U);
    EXPECT_EQ(windows.openHandles(), 0U);
}

/// A file server that does not let its folders be searched.
class ClosedShare : public zel::SystemCalls {
public:
    ClosedShare() : m_before(install(this)) {}
    ~ClosedShare() override { install(m_before); }
    DWORD getFinalPath(HANDLE file, wchar_t* path, DWORD units, DWORD flags) override {
        if ((flags & FILE_NAME_OPENED) != 0)
            return SystemCalls::getFinalPath(file, path, units, flags);
        SetLastError(ERROR_ACCESS_DENIED);
        return 0;
    }

private:
    SystemCalls* m_before;
};

TEST(Output, HoldsTheGuardToThePathWithoutLinks) {
    const std::string path = testing::TempDir() + "größe-" + std::to_string(std::random_device()());
    std::ofstream(zel::pathOf(path)) << "data";
    std::string error;
    EXPECT_FALSE(openOutput("the log", path, rules(), error));
    EXPECT_THAT(error, HasSubstr("it holds something already"));
    error.clear();
    std::string asked;
    const OutputRules guarded{[&asked](const std::string& file) { return asked = file, "it is precious"; },
                              true};
    EXPECT_FALSE(openOutput("the log", path, guarded, error));
    EXPECT_THAT(error, HasSubstr(path + ": it is precious; name another file"));
    EXPECT_EQ(asked, zel::canonicalPath(path));
    {
        const ClosedShare share;
        asked.clear();
        EXPECT_FALSE(openOutput("the log", path, guarded, error));
        EXPECT_TRUE(zel::isSameFile(asked, path)) << asked;
    }

    error.clear();
    {
        const OutputFile first = openOutput("the log", path, rules(true), error);
        const OutputFile again = openOutput("the record", zel::canonicalPath(path), rules(true), error);
        const OutputFile null = openOutput("the record", "nul", rules(), error);
        const OutputFile alsoNull = openOutput("the record", "NUL", rules(), error);
        EXPECT_EQ(error, "");
        EXPECT_TRUE(isSameOutput(first, again));
        EXPECT_FALSE(isSameOutput(first, null) || isSameOutput(null, alsoNull));
        EXPECT_TRUE(null.write("gone"));
    }
    EXPECT_TRUE(std::filesystem::remove(zel::pathOf(path)));
}

TEST(Output, GoesToAPipeThatSomebodyReads) {
    const std::string path = "\\\\.\\pipe\\drivetest-" + std::to_string(std::random_device()());
    std::string error;
    EXPECT_FALSE(openOutput("the record", path, rules(), error));
    EXPECT_THAT(error, HasSubstr("there is no such pipe: start the program that reads from it first"));
    error.clear();
    const zel::Handle reader(CreateNamedPipeW(zel::toWide(path).c_str(), PIPE_ACCESS_INBOUND, PIPE_TYPE_BYTE,
                                              1, 4096, 4096, 0, nullptr));
    OutputFile file = openOutput("the record", path, rules(), error);
    ASSERT_TRUE(file) << error;
    EXPECT_TRUE(file.begin() && file.write("a line\n"));
    char text[8] = "";
    DWORD got = 0;
    EXPECT_TRUE(ReadFile(reader.get(), text, 7, &got, nullptr));
    EXPECT_STREQ(text, "a line\n");
}

}  // namespace
}  // namespace drivetest
