#include "Fixtures.h"
#include "libDrive2/OSDrive.h"
#include "libDrive2/sim/SimLocator.h"
#include "libDrive2/sim/SimProvider.h"
#include "zel/Format.h"

namespace libDrive2 {
namespace {

using namespace std::chrono_literals;
using testing::Each;
using testing::HasSubstr;

/// Empty when the locator can be that of a drive.
std::string faultOf(const std::string& locator) {
    zel::String error;
    (void)parseSimLocator(locator, error);
    return error.utf8();
}

TEST(SimLocator, SaysWhatIsWrong) {
    const auto problem = [](const std::string& locator) {
        const std::string text = faultOf(locator),
                          start = "the simulated drive \"" + locator + "\" cannot be made: ";
        return text.starts_with(start) ? text.substr(start.size()) : text;
    };
    const struct {
        std::string key, form;
        std::vector<std::string> values;
    } keys[] = {{"sectors", "a whole number", {"", "-1", "1k", "0x10"}},
                {"sector-size",
                 "a power of two from 128 to 65536, or for scsi any number from 512 to 4224",
                 {"513", "64", "131072"}},
                {"bad", "sectors such as 1234+5000-5003", {"", "x", "5-", "5-3", "5++7", "+5"}},
                {"transient", "LBA:TIMES, joined by +", {"5", "5:", "5:0", "5-6:1"}},
                {"slow",
                 "A-B:MILLISECONDS (at most 86400000), joined by +",
                 {"5", "7-5:1", "5:x", "0:86400001", "0:18446744073709551615"}},
                {"speed", "MB/s, a whole number from 1 to 1000000", {"0", "1000001", "17592186044416"}},
                {"gone-at", "a whole number from 1 on", {"0", ""}},
                {"busy-at", "a whole number from 1 on", {"0"}},
                {"serial", "a text", {""}},
                {"image", "the path of a file", {""}}};
    for (const auto& [key, form, values] : keys)
        for (const std::string& value : values)
            EXPECT_EQ(problem("sim:disk," + key + "=" + value),
                      "\"" + value + "\" is no value for \"" + key + "\": give " + form);
    EXPECT_EQ(problem("sim:disk,bad"), "\"bad\" needs a value: sectors such as 1234+5000-5003");
    EXPECT_EQ(problem("sim:disk,wp=1"), "\"wp\" takes no value");
    EXPECT_EQ(problem("sim:disk,sectors=10,bad=3+10"), "sector 10 lies beyond its end");
    EXPECT_EQ(problem("sim:disk,bad-write=8-12,sectors=10"), "sector 12 lies beyond its end");
    EXPECT_EQ(problem("sim:disk,sectors=10,slow=0-10:5"), "sector 10 lies beyond its end");
    EXPECT_EQ(problem("sim:disk,sectors=10,transient=11:1"), "sector 11 lies beyond its end");
    EXPECT_EQ(problem("sim:disk,sectors=18446744073709551615"), "it has more sectors than can be addressed");
    for (const char* locator : {"sim:tape", "sim:", "sim:Disk"})
        EXPECT_THAT(problem(locator), HasSubstr("there is no kind \"")) << locator;
    for (const char* locator : {"sim:disk,badd=1", "sim:disk,", "sim:disk,,wp", "sim:disk,WP"})
        EXPECT_THAT(problem(locator), HasSubstr("it does not know \"")) << locator;
    EXPECT_EQ(problem("sim:disk"), "");
    for (const char* locator : {"/dev/sim", "simulated:x", ""})
        EXPECT_FALSE(isSimLocator(locator)) << locator;
}

TEST(SimLocator, RefusesWhatAKindDoesNotHave) {
    const struct {
        const char *locator, *problem;
    } cases[] = {{"tape", "there is no kind \"tape\"; known are disk, scsi, ata, nvme, floppy, ufi, optical"},
                 {"scsi,locked", "\"locked\" is only for ata"},
                 {"nvme,media=none", "\"media\" is only for disk, scsi, floppy, ufi, optical"},
                 {"nvme,sense=fixed", "\"sense\" is only for scsi, ata, ufi"},
                 {"disk,temperature=1", "\"temperature\" is only for scsi, ata, nvme"},
                 {"ata,temperature=201",
                  "\"201\" is no value for \"temperature\": give degrees Celsius from 0 to 200"},
                 {"scsi,sense=both", "\"both\" is no value for \"sense\": give fixed or descriptor"},
                 {"ata,sector-size=256", "the sectors of this kind have at least 512 bytes"},
                 {"ata,sectors=281474976710657", "it has more sectors than can be addressed"},
                 {"floppy,recovered=2880", "sector 2880 lies beyond its end"},
                 {"nvme,sectors=0", "it has no sectors"},
                 {"scsi,serial=123456789012345678901",
                  "a serial number has at most 20 characters, all of them ASCII"}};
    for (const auto& c : cases)
        EXPECT_THAT(faultOf(std::string("sim:") + c.locator),
                    testing::EndsWith(std::string("cannot be made: ") + c.problem));
    EXPECT_FALSE(SimProvider::get().openScsi("sim:ata", kReadWrite));
    EXPECT_FALSE(SimProvider::get().openNVMe("sim:scsi"));
    EXPECT_EQ(lastOpenErrorStr().utf8(), "the simulated drive \"sim:scsi\" has no NVMe interface");
}

constexpr std::uint32_t kSector = 512;

TEST(SimDevices, HandlesOfOneLocatorShareADriveUntilTheLastIsClosed) {
    const zel::String locator("sim:ata,emulated,gone-at=4");
    std::string data(kSector, 'w');
    SharedBlockHandle block = openBlock(locator.utf8());
    auto ata = SimProvider::get().openAta(locator);
    const AtaRequest read{{0, 1, 9, 0x40, 0x25},     AtaProtocol::dma, true,
                          DataDirection::fromDevice, data.data(),      data.size()};
    const ScsiRequest ready{{}, 6};
    EXPECT_TRUE(block->write(9 * kSector, data.data(), kSector).ok());
    data.assign(kSector, '?');
    EXPECT_EQ(ata->execute(read).status, 0x50);
    EXPECT_THAT(data, Each('w'));
    EXPECT_EQ(SimProvider::get().openScsi(locator, kReadWrite)->execute(ready).status, 2);
    EXPECT_EQ(ata->execute(read).delivery.type, LIBDRIVE2_NO_ACCESS);
    ata.reset();
    block.release();
    EXPECT_EQ(SimProvider::get().openAta(locator)->execute(read).status, 0x50);
    EXPECT_NE(data, std::string(kSector, 'w'));
}

TEST(SimDevices, ALaterHandleMayWriteWhereTheFirstOnlyReads) {
    const TempFile file(8 * kSector);
    const std::string locator = "sim:disk,image=" + file.path, data(kSector, 'w');
    const SharedBlockHandle reader = openBlock(locator, kAccessRead), writer = openBlock(locator);
    EXPECT_TRUE(writer->write(0, data.data(), kSector).ok());
    EXPECT_EQ(file.bytes(0, kSector), data);
    EXPECT_EQ(reader->write(0, data.data(), kSector).type, LIBDRIVE2_WRITE_PROTECTED_DEVICE);
}

/// A simulated drive of 1000 sectors, used at its block handle: nothing above hides a fault.
class SimMediumTest : public testing::Test {
protected:
    void open(const std::string& faults, std::uint32_t access = kReadWrite) {
        handle = openBlock("sim:disk,sectors=1000" + faults, access);
        ASSERT_TRUE(handle) << lastOpenErrorStr().utf8();
    }
    std::string read(std::uint64_t lba, std::uint32_t count = 1) {
        data.assign(std::size_t{count} * kSector, '?');
        return outcome(handle->read(lba * kSector, data.data(), data.size()));
    }
    std::string write(std::uint64_t lba, std::uint32_t count = 1) {
        return outcome(handle->write(lba * kSector, std::string(std::size_t{count} * kSector, 'w').data(),
                                     std::size_t{count} * kSector));
    }
    std::string seek(std::uint64_t lba) { return outcome(handle->seek(lba * kSector)); }
    std::string flush() { return outcome(handle->flush()); }
    static std::string outcome(const DeviceStatus& status) {
        return status.ok() ? "ok" : zel::format("%u %s", std::uint32_t{status.type}, status.text).utf8();
    }
    [[nodiscard]] std::string sector(std::size_t index) const {
        return data.substr(index * kSector, kSector);
    }

    VirtualTime time;
    SharedBlockHandle handle;
    std::string data;
};

TEST_F(SimMediumTest, NamesTheFirstBadSectorOfATransfer) {
    open(",bad=500-502+10,bad-write=20-29,bad-seek=30");
    EXPECT_EQ(read(0, 10) + read(503, 2) + read(20, 20), "okokok");
    EXPECT_EQ(read(0, 1000), "2 unrecovered read error at sector 10");
    EXPECT_EQ(read(501, 9), "2 unrecovered read error at sector 501");
    EXPECT_EQ(write(0, 20) + write(30) + write(500, 3), "okokok");
    EXPECT_EQ(write(15, 10), "2 write error at sector 20");
    EXPECT_EQ(write(25, 50), "2 write error at sector 25");
    EXPECT_EQ(seek(29) + seek(31), "okok");
    EXPECT_EQ(seek(30), "2 seek error at sector 30");
    EXPECT_EQ(seek(501), "2 unrecovered read error at sector 501");
}

TEST_F(SimMediumTest, TransientErrorsPassAfterTheirCount) {
    open(",transient=5:2+7:1");
    EXPECT_EQ(read(0, 5), "ok");
    EXPECT_EQ(read(0, 10), "2 unrecovered read error at sector 5");
    EXPECT_EQ(read(5), "2 unrecovered read error at sector 5");
    EXPECT_EQ(read(5, 2), "ok");
    EXPECT_EQ(read(0, 10), "2 unrecovered read error at sector 7");
    EXPECT_EQ(read(0, 10), "ok");
}

TEST_F(SimMediumTest, CorruptSectorsDifferAtEveryRead) {
    open("");
    read(0, 10);
    const std::string intact = data;
    open(",corrupt=3+5-6");
    read(0, 10);
    const std::string once = data;
    read(0, 10);
    for (std::size_t lba = 0; lba < 10; ++lba) {
        const bool whole = lba != 3 && lba != 5 && lba != 6;
        const auto same = [&](const std::string& other) {
            return other.substr(lba * kSector, kSector) == sector(lba);
        };
        EXPECT_EQ(same(intact), whole) << lba;
        EXPECT_EQ(same(once), whole) << lba;
    }
}

// Disabled until a corrupt range that goes on behind a transfer leaves the memory there alone.
TEST_F(SimMediumTest, CorruptionStaysInTheBuffer) {
    open(",corrupt=0-10");
    data.assign(12 * kSector, '?');
    EXPECT_TRUE(handle->read(0, data.data(), kSector).ok());
    EXPECT_EQ(data.substr(kSector), std::string(11 * kSector, '?'));
}

TEST_F(SimMediumTest, TransfersTakeExactlyTheirVirtualTime) {
    open(",slow=10-19:250+15:40,speed=1");
    const auto took = [this](auto transfer) {
        const auto start = time.clock.now();
        EXPECT_EQ(transfer(), "ok");
        return time.clock.now() - start;
    };
    EXPECT_EQ(took([&] { return read(512, 256); }), 125ms);
    EXPECT_EQ(took([&] { return write(512, 256); }), 125ms);
    EXPECT_EQ(took([&] { return read(9); }), 488281ns);
    EXPECT_EQ(took([&] { return read(20); }), 488281ns);
    EXPECT_EQ(took([&] { return read(19); }), 250ms + 488281ns);
    EXPECT_EQ(took([&] { return write(9, 2); }), 250ms + 976562ns);
    EXPECT_EQ(took([&] { return read(8, 8); }), 290ms + 3906250ns);
}

TEST_F(SimMediumTest, GoesAwayOrBecomesBusyAtTheNthCommand) {
    open(",gone-at=5");
    EXPECT_EQ(read(0) + write(0) + seek(0) + flush(), "okokokok");
    for (const auto& result : {read(1), write(1), seek(1), flush()})
        EXPECT_EQ(result, "9 the device does not answer any more");
    open(",busy-at=2,bad=0");
    EXPECT_EQ(read(0), "2 unrecovered read error at sector 0");
    EXPECT_EQ(read(1), "8 the device is busy");
    EXPECT_EQ(read(1), "8 the device is busy");
}

TEST_F(SimMediumTest, RefusesWhatTheMediumOrTheOpenDoesNotAllow) {
    open(",wp");
    EXPECT_EQ(write(0), "6 the medium is write-protected");
    open("", kAccessRead);
    EXPECT_EQ(write(0), "7 the device was opened for reading only");
    EXPECT_EQ(read(0), "ok");
    open(",media=none,removable");
    for (const auto& result : {read(0), write(0), seek(0)})
        EXPECT_EQ(result, "9 there is no medium in the drive");
    OSDrive drive(handle, "sim");
    EXPECT_TRUE(drive.isMediaRemovable());
    EXPECT_EQ(drive.mediaState(), LIBDRIVE2_MEDIA_NONE);
}

TEST_F(SimMediumTest, AnotherMediumIsSeenByWhoeverOpensAgain) {
    open(",removable,media=none>disk:20>disk");
    for (const std::uint64_t sectors : {20U, 1000U}) {
        EXPECT_TRUE(handle->load().ok());
        EXPECT_EQ(read(0) + std::to_string(handle->info().bytes), "9 there is no medium in the drive0");
        EXPECT_TRUE(handle->reopen().ok());
        EXPECT_EQ(handle->info().bytes, sectors * kSector);
        EXPECT_EQ(read(19) + write(0), "okok");
        EXPECT_TRUE(handle->eject().ok() && handle->query().ok() && !handle->info().mediumPresent);
    }
    for (const auto* const wrong : {"media=disk:101", "media=disk:0", "media=disc", "media=none:5"})
        EXPECT_FALSE(openBlock(std::string("sim:disk,sectors=100,removable,") + wrong)) << wrong;
}

TEST_F(SimMediumTest, MayBeLargerThanAnyMemory) {
    open(",sectors=1099511627776,sector-size=4096");
    EXPECT_EQ(handle->info().bytes, std::uint64_t{1} << 52);
    EXPECT_EQ(handle->info().logicalSectorBytes, 4096U);
    open(",sectors=1099511627776");
    constexpr std::uint64_t kLast = (std::uint64_t{1} << 40) - 1;
    EXPECT_EQ(write(kLast), "ok");
    EXPECT_EQ(read(kLast), "ok");
    EXPECT_THAT(data, Each('w'));
    EXPECT_EQ(read(kLast - (std::uint64_t{1} << 32)), "ok");
    EXPECT_NE(data, std::string(kSector, 'w'));
}

TEST_F(SimMediumTest, BackingFileHoldsTheContents) {
    const TempFile file(100 * kSector);
    handle = openBlock("sim:disk,bad=9,image=" + file.path);
    ASSERT_TRUE(handle) << lastOpenErrorStr().utf8();
    EXPECT_EQ(handle->info().bytes, 100U * kSector);
    EXPECT_EQ(write(7), "ok");
    EXPECT_EQ(read(6, 3), "ok");
    EXPECT_EQ(read(9), "2 unrecovered read error at sector 9");
    EXPECT_EQ(file.bytes(6 * kSector, 3 * kSector),
              std::string(kSector, '\0') + std::string(kSector, 'w') + std::string(kSector, '\0'));
    EXPECT_FALSE(openBlock("sim:disk,sectors=101,image=" + file.path));
    EXPECT_EQ(lastOpenErrorStr().utf8(), file.path + " is smaller than the simulated drive over it");
    EXPECT_FALSE(openBlock("sim:disk,image=" + file.path + "-missing"));
    EXPECT_THAT(lastOpenErrorStr().utf8(), testing::StartsWith(file.path + "-missing cannot be opened: "));
    handle.release();
}

}  // namespace
}  // namespace libDrive2
