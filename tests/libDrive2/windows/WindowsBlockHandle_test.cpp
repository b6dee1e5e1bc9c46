#include "libDrive2/windows/WindowsBlockHandle.h"

#include <gmock/gmock.h>

#include <cstring>

#include "Fixtures.h"
#include "libDrive2/windows/BlockMeasure.h"
#include "support/windows/PlayedDrives.h"
#include "zel/Buffer.h"

namespace libDrive2 {
namespace {

using namespace testing_support;
using testing::HasSubstr;

constexpr const wchar_t* kWidePath = L"\\\\.\\PhysicalDrive1";
const std::string kPath = "\\\\.\\PhysicalDrive1";
constexpr std::uint32_t kShared = kShareRead | kShareWrite;
constexpr std::size_t kPiece = OverlappedQueue::kPieceBytes;

class WindowsBlock : public testing::Test {
protected:
    /// A disk of 24 MiB.
    WindowsBlock() : disk(playDisk(calls.device(kWidePath), 49152)) {}
    ~WindowsBlock() override {
        handle.reset();
        EXPECT_EQ(calls.openHandles(), 0U);
        EXPECT_EQ(calls.pending(), 0U);
    }
    bool open(std::uint32_t access = kReadWrite) {
        handle = WindowsBlockHandle::open(kPath, access, kShared);
        return handle != nullptr;
    }
    static std::uint64_t numberAt(const std::uint8_t* data) {
        std::uint64_t number = 0;
        std::memcpy(&number, data, sizeof number);
        return number;
    }

    PlayedCalls calls;
    PlayedDevice& disk;
    std::unique_ptr<WindowsBlockHandle> handle;
    zel::Buffer buffer{20 * kPiece};
};

TEST_F(WindowsBlock, KeepsPiecesInFlightAndPutsThemInTheirPlaces) {
    ASSERT_TRUE(open());
    // 20 pieces but for a sector, beginning in the middle of one.
    const std::size_t bytes = 20 * kPiece - 512;
    ASSERT_TRUE(handle->read(7 * 512, buffer.data(), bytes).ok());
    EXPECT_EQ(calls.mostPending(), OverlappedQueue::kDepth);
    EXPECT_EQ(calls.logged("read "), 20U);
    for (std::size_t i = 0; i < bytes / 512; ++i)
        ASSERT_EQ(numberAt(buffer.data() + i * 512), i + 7);
    std::memset(buffer.data(), 'w', bytes);
    ASSERT_TRUE(handle->write(512, buffer.data(), bytes).ok());
    EXPECT_EQ(numberAt(disk.content.data()), 0U);
    EXPECT_TRUE(std::all_of(disk.content.begin() + 512, disk.content.begin() + 512 + bytes,
                            [](std::uint8_t byte) { return byte == 'w'; }));
    EXPECT_EQ(numberAt(disk.content.data() + 512 + bytes), 1 + bytes / 512);
}

TEST_F(WindowsBlock, AddressesWhatLiesBeyond4GiB) {
    ASSERT_TRUE(open());
    EXPECT_FALSE(handle->read((std::uint64_t{5} << 40) + 512, buffer.data(), 512).ok());
    EXPECT_EQ(calls.logged("read " + kPath + " 5497558139392+512"), 1U);
}

TEST_F(WindowsBlock, CopiesForBuffersThatAreNotAligned) {
    ASSERT_TRUE(open());
    for (const std::size_t shift : {1, 8, 511, 512}) {
        std::memset(buffer.data(), '?', buffer.size());
        const std::size_t bytes = 5 * kPiece + 512;
        ASSERT_TRUE(handle->read(512, buffer.data() + shift, bytes).ok());
        EXPECT_EQ(numberAt(buffer.data() + shift), 1U);
        EXPECT_EQ(numberAt(buffer.data() + shift + bytes - 512), bytes / 512);
        EXPECT_TRUE(buffer.data()[shift - 1] == '?' && buffer.data()[shift + bytes] == '?');
        ASSERT_TRUE(handle->write(0, buffer.data() + shift, bytes).ok());
        EXPECT_EQ(numberAt(disk.content.data() + 512), 2U);
        playDisk(disk, 49152);
    }
}

TEST_F(WindowsBlock, TellsTheFailureOfTheLowestPiece) {
    const struct {
        std::map<std::uint64_t, DWORD> bad;
        std::optional<std::uint64_t> shortAfter;
        _LIBDRIVE2_ERROR_TYPES type;
        const char* text;
    } rows[] = {{{{3000, ERROR_CRC}, {9000, ERROR_SEM_TIMEOUT}}, {}, LIBDRIVE2_MEDIA_ERROR, "(23)"},
                {{{3000, ERROR_SEM_TIMEOUT}, {9000, ERROR_CRC}}, {}, LIBDRIVE2_TIMEOUT, "(121)"},
                {{{19000, ERROR_IO_DEVICE}}, {}, LIBDRIVE2_DRIVE_ERROR, "(1117)"},
                {{}, 3 * kPiece + 512, LIBDRIVE2_LINK_ERROR, "only 512 of 524288 bytes were transferred"}};
    ASSERT_TRUE(open());
    for (const auto& row : rows)
        for (const bool writing : {false, true}) {
            disk.badReads = disk.badWrites = row.bad;
            disk.shortAfter = row.shortAfter;
            const DeviceStatus status = writing ? handle->write(0, buffer.data(), buffer.size())
                                                : handle->read(0, buffer.data(), buffer.size());
            EXPECT_EQ(status.type, row.type) << status.text.utf8();
            EXPECT_THAT(status.text.utf8(), HasSubstr(row.text));
            EXPECT_EQ(calls.pending(), 0U);
        }
}

TEST_F(WindowsBlock, AGoneDriveHasNoBadSectors) {
    disk.badReads[5] = ERROR_CRC;
    const struct {
        DWORD state;
        std::uint8_t removable;
        _LIBDRIVE2_ERROR_TYPES type;
        const char* text;
    } rows[] = {{ERROR_SUCCESS, 0, LIBDRIVE2_MEDIA_ERROR, "(23)"},
                {ERROR_INVALID_FUNCTION, 0, LIBDRIVE2_MEDIA_ERROR, "(23)"},
                {ERROR_MEDIA_CHANGED, 0, LIBDRIVE2_MEDIA_ERROR, "(23)"},
                {ERROR_DEVICE_NOT_CONNECTED, 0, LIBDRIVE2_NO_ACCESS, "the device is gone ("},
                {ERROR_NOT_READY, 1, LIBDRIVE2_NO_ACCESS, "the medium was taken out ("}};
    for (const auto& row : rows) {
        disk.answer(IOCTL_STORAGE_GET_HOTPLUG_INFO, {8, 0, 0, 0, row.removable, 0, 0, 0});
        disk.answer(IOCTL_STORAGE_CHECK_VERIFY2, {});
        ASSERT_TRUE(open());
        disk.fail(IOCTL_STORAGE_CHECK_VERIFY2, row.state);
        const DeviceStatus status = handle->read(0, buffer.data(), 4096);
        EXPECT_EQ(status.type, row.type) << row.state;
        EXPECT_THAT(status.text.utf8(), HasSubstr(row.text));
    }
    calls.remove(kWidePath);
    EXPECT_EQ(handle->read(512, buffer.data(), 512).type, LIBDRIVE2_NO_ACCESS);
}

TEST_F(WindowsBlock, WritesOnlyWhereThatIsAllowedAndFlushesWhatItWrote) {
    ASSERT_TRUE(open(kAccessRead));
    EXPECT_EQ(handle->write(0, buffer.data(), 512).type, LIBDRIVE2_WRITE_PROTECTED_DEVICE);
    EXPECT_TRUE(handle->flush().ok());
    EXPECT_EQ(calls.logged("write ") + calls.logged("flush "), 0U);
    ASSERT_TRUE(open());
    EXPECT_TRUE(handle->info().writable && handle->flush().ok());
    EXPECT_EQ(calls.logged("flush " + kPath), 1U);
    disk.flushError = ERROR_SEM_TIMEOUT;
    EXPECT_EQ(handle->flush().type, LIBDRIVE2_TIMEOUT);
    disk.fail(IOCTL_DISK_IS_WRITABLE, ERROR_WRITE_PROTECT);
    ASSERT_TRUE(handle->query().ok());
    EXPECT_FALSE(handle->info().writable);
    EXPECT_EQ(handle->write(0, buffer.data(), 512).type, LIBDRIVE2_WRITE_PROTECTED_MEDIUM);
}

TEST_F(WindowsBlock, WhatCannotBeOpenedAgainIsNotThere) {
    ASSERT_TRUE(open());
    disk.openError = ERROR_FILE_NOT_FOUND;
    EXPECT_EQ(handle->reopen().type, LIBDRIVE2_NO_ACCESS);
    EXPECT_EQ(handle->query().type, LIBDRIVE2_NO_ACCESS);
    EXPECT_EQ(handle->read(0, buffer.data(), 512).type, LIBDRIVE2_NO_ACCESS);
    disk.openError = ERROR_SUCCESS;
    EXPECT_TRUE(handle->reopen().ok() && handle->read(0, buffer.data(), 512).ok());
}

TEST_F(WindowsBlock, MeasuresByWhateverTheDriversTell) {
    const PlayedBytes cut{1, 2, 3}, huge(4096, 0xFF);
    using Change = void (*)(PlayedDevice&);
    const struct {
        Change change;
        std::uint64_t bytes;
        std::uint32_t logical, physical;
    } rows[] = {
        {[](PlayedDevice&) {}, 1024000, 512, 4096},
        {[](PlayedDevice& it) { playDisk(it, 250, 4096); }, 1024000, 4096, 4096},
        {[](PlayedDevice& it) { playDisk(it, 2000, 512, 768); }, 1024000, 512, 512},
        // Without a length, the geometry's; without a geometry, sectors of 512 bytes.
        {[](PlayedDevice& it) { it.fail(IOCTL_DISK_GET_LENGTH_INFO, ERROR_INVALID_FUNCTION); }, 1024000, 512,
         4096},
        {[](PlayedDevice& it) {
             it.answer(IOCTL_DISK_GET_LENGTH_INFO, {1, 2, 3});
         },
         1024000, 512, 4096},
        {[](PlayedDevice& it) { it.drivers.erase(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX); }, 1024000, 512, 4096},
        {[](PlayedDevice& it) { it.answer(IOCTL_DISK_GET_DRIVE_GEOMETRY_EX, PlayedBytes(4096, 0xFF)); },
         1024000, 512, 4096},
        // Drivers that know nothing: what can be read tells.
        {[](PlayedDevice& it) { it.drivers.clear(), it.isFile = true; }, 1024000, 512, 512},
    };
    for (const auto& row : rows) {
        playDisk(disk, 2000);
        row.change(disk);
        ASSERT_TRUE(open()) << lastOpenErrorStr().utf8();
        EXPECT_EQ(handle->info().bytes, row.bytes);
        EXPECT_EQ(handle->info().logicalSectorBytes, row.logical);
        EXPECT_EQ(handle->info().physicalSectorBytes, row.physical);
    }
    disk.isFile = false;
    playDisk(disk, 2000).fail(IOCTL_DISK_GET_LENGTH_INFO, ERROR_DEVICE_NOT_CONNECTED);
    EXPECT_FALSE(open());
    EXPECT_THAT(lastOpenErrorStr().utf8(), HasSubstr(kPath + " cannot be opened: "));
}

TEST(FindEnd, FindsTheFirstSectorThatIsNotThere) {
    for (const std::uint64_t sectors : {0ULL, 1ULL, 2ULL, 3ULL, 1000ULL, 1ULL << 40}) {
        unsigned asked = 0;
        const auto exists = [&](std::uint64_t offset) { return ++asked, offset < sectors * 4096; };
        EXPECT_EQ(findEnd(4096, exists), sectors * 4096);
        EXPECT_LE(asked, 100U);
    }
    EXPECT_EQ(findEnd(512, [](std::uint64_t) { return true; }), 0U);
}

TEST_F(WindowsBlock, WaitsForAMediumWithoutOne) {
    disk.answer(IOCTL_STORAGE_GET_HOTPLUG_INFO, {8, 0, 0, 0, 1, 1, 0, 0});
    disk.fail(IOCTL_STORAGE_CHECK_VERIFY2, ERROR_NOT_READY);
    disk.fail(IOCTL_DISK_GET_LENGTH_INFO, ERROR_NOT_READY);
    disk.content.clear();
    // A volume does not even open to be read then.
    disk.refusal = ERROR_NOT_READY;
    for (const DWORD refused : {DWORD{0}, DWORD{GENERIC_READ}}) {
        disk.refusedAccess = refused;
        ASSERT_TRUE(open());
        EXPECT_TRUE(handle->info().removable && !handle->info().mediumPresent && handle->info().bytes == 0);
        EXPECT_EQ(handle->read(0, buffer.data(), 512).type, LIBDRIVE2_NO_ACCESS);
    }
    // A disk that is not ready is no empty drive.
    disk.answer(IOCTL_STORAGE_GET_HOTPLUG_INFO, {8, 0, 0, 0, 0, 0, 0, 0});
    EXPECT_EQ(handle->reopen().type, LIBDRIVE2_NO_ACCESS);
    disk.refusedAccess = 0;
    playDisk(disk, 100).answer(IOCTL_STORAGE_GET_HOTPLUG_INFO, {8, 0, 0, 0, 1, 1, 0, 0});
    ASSERT_TRUE(handle->reopen().ok());
    EXPECT_TRUE(handle->info().mediumPresent && handle->info().bytes == 51200);
}

TEST_F(WindowsBlock, DrivesTheTrayAndHoldsAutoPlayOff) {
    std::vector<PlayedBytes> told;
    for (const DWORD code : {IOCTL_STORAGE_MEDIA_REMOVAL, IOCTL_STORAGE_MCN_CONTROL})
        disk.drivers[code] = [&told](const PlayedRequest& request) {
            told.emplace_back(request.in.begin(), request.in.end());
            return PlayedAnswer{};
        };
    disk.answer(IOCTL_STORAGE_EJECT_MEDIA, {});
    ASSERT_TRUE(open());
    EXPECT_TRUE(handle->lockMedium(true).ok() && handle->lockMedium(false).ok() && handle->eject().ok());
    EXPECT_EQ(handle->load().type, LIBDRIVE2_NOT_SUPPORTED);
    EXPECT_FALSE(handle->holdAutoRun(false));
    EXPECT_TRUE(handle->holdAutoRun(true) && handle->holdAutoRun(true));
    const std::size_t held = calls.openHandles();
    EXPECT_TRUE(handle->reopen().ok());
    EXPECT_EQ(calls.openHandles(), held);
    EXPECT_TRUE(handle->holdAutoRun(false));
    EXPECT_EQ(calls.openHandles(), held - 1);
    EXPECT_EQ(told, (std::vector<PlayedBytes>{{1}, {0}, {1}, {0}}));
    disk.fail(IOCTL_STORAGE_MCN_CONTROL, ERROR_INVALID_FUNCTION);
    EXPECT_FALSE(handle->holdAutoRun(true));
}

TEST_F(WindowsBlock, TellsTheTemperatureWhereTheDriveDoes) {
    ASSERT_TRUE(open());
    EXPECT_FALSE(handle->temperature());
    disk.drivers[IOCTL_STORAGE_QUERY_PROPERTY] = [](const PlayedRequest& request) {
        PlayedBytes answer(40);
        answer[12] = 1;
        answer[26] = 41;
        return PlayedAnswer{answer,
                            request.in[0] == 52 ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_INVALID_FUNCTION}};
    };
    EXPECT_EQ(handle->temperature(), 41.0);
}

/// Whatever call fails: no crash, nothing left open or in flight, and an error of the kind that it was.
TEST_F(WindowsBlock, SurvivesTheFailureOfAnyCall) {
    const std::pair<DWORD, _LIBDRIVE2_ERROR_TYPES> kinds[] = {{ERROR_CRC, LIBDRIVE2_MEDIA_ERROR},
                                                              {ERROR_SEM_TIMEOUT, LIBDRIVE2_TIMEOUT},
                                                              {ERROR_BUSY, LIBDRIVE2_BUSY},
                                                              {ERROR_DEVICE_REMOVED, LIBDRIVE2_NO_ACCESS}};
    for (const auto& [failure, type] : kinds) {
        calls.failure = failure;
        unsigned number = 0;
        bool isReached = true;
        for (; isReached && number < 200; ++number) {
            playDisk(disk, 49152);
            handle.reset();
            calls.failAt = calls.calls() + number + 1;
            std::vector<DeviceStatus> outcomes;
            if (open()) {
                outcomes.push_back(handle->read(0, buffer.data(), 3 * kPiece));
                outcomes.push_back(handle->write(512, buffer.data() + 1, 3 * kPiece));
                outcomes.push_back(handle->flush());
                outcomes.push_back(handle->reopen());
            }
            isReached = calls.calls() >= calls.failAt;
            for (const DeviceStatus& outcome : outcomes)
                EXPECT_TRUE(outcome.ok() || outcome.type == type) << number << ' ' << outcome.text.utf8();
            EXPECT_EQ(calls.pending(), 0U);
        }
        EXPECT_GT(number, 20U);
        EXPECT_LT(number, 200U);
    }
    calls.failAt = 0;
}

}  // namespace
}  // namespace libDrive2
