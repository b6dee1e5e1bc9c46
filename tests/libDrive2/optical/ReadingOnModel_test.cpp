#include <chrono>
#include <sstream>

#include "Fixtures.h"
#include "libDrive2/OpticalReadDrives.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {
namespace {

template <class Class = ScsiMMCDrive>
std::unique_ptr<Class> open(const std::string& keys) {
    return std::make_unique<Class>(
        SharedScsiPassThrough(SimProvider::get().openScsi("sim:optical,strict," + keys, kReadWrite)));
}

/// How a read ended: the error type and why.
std::string read(Drive& drive, std::uint64_t lba, std::uint32_t count = 1) {
    std::vector<std::uint8_t> data(std::size_t{count} * 2048);
    if (drive.readStreaming(lba, count, data.data(), count * 2048))
        return "ok";
    const std::string text = drive.getLastErrorStr().utf8();
    return std::to_string(drive.lastError) + ' ' + text.substr(text.find(" failed: ") + 9);
}

TEST(ReadingOnModel, EveryMediumIsWhatItIs) {
    const VirtualTime time;
    // Medium, profile, flags, sectors; classes that take it: Cd, dVd, Ram, Bd; reads of both ends.
    std::istringstream rows(
        "cdrom 8 a0000 1000 C ok ok|cdaudio 8 60000 1000 C bad bad|cdmixed 8 e0000 1000 C ok bad|"
        "dvdrom 10 100000 1000 V ok ok|bdrom 40 2000000 1000 B ok ok|hddvdrom 50 4000000 1000 - ok ok|"
        "hddvdr 51 4000004 1000 - ok ok|hddvdram 52 4000000 1000 - ok ok|hddvdrw 53 4000000 1000 - ok ok|"
        "hddvdr-dl 58 4000004 1000 - ok ok|hddvdrw-dl 5a 4000000 1000 - ok ok|none 0 0 0 - none none|"
        "cdr 9 20000 0 C none none|cdr,state=closed 9 a0004 1000 C ok end|cdrw,state=closed a a0000 1000 C "
        "ok "
        "end|"
        "dvdram 12 300000 1000 VR ok ok|dvdram,wp 12 300004 1000 VR ok ok|dvd+rw,wp 1a 100004 1000 V ok ok|"
        "bdr,state=closed 41 2000004 1000 B ok ok|bdre,wp 43 2000004 1000 B ok ok|"
        "dvd+rw,state=unformatted 1a 100000 0 V none none|dvdr-dl-lj,state=closed 16 100004 1000 V ok ok");
    for (std::string row; std::getline(rows, row, '|');) {
        const std::string medium = row.substr(0, row.find(' '));
        const std::string keys = "media=" + medium + (medium == "none" ? "" : ",sectors=4096");
        const auto drive = open(keys);
        const std::uint64_t sectors = drive->getSectorCount();
        const std::string classes = std::string(open<CDDrive>(keys)->isMediaCorrect() ? "C" : "") +
                                    (open<DVDDrive>(keys)->isMediaCorrect() ? "V" : "") +
                                    (open<DVDRAMDrive>(keys)->isMediaCorrect() ? "R" : "") +
                                    (open<BDDrive>(keys)->isMediaCorrect() ? "B" : "");
        std::ostringstream found;
        found << std::hex << medium << ' ' << drive->getCurrentProfile() << ' ' << drive->mediaCapabilties()
              << ' ' << sectors << ' ' << (classes.empty() ? "-" : classes);
        for (const std::uint64_t lba : {std::uint64_t{0}, sectors - 1}) {
            const std::string result = sectors == 0 ? "none" : read(*drive, lba);
            found << ' '
                  << (result.ends_with("(sense 05/64/00)")   ? "bad"
                      : result.ends_with("(sense 05/21/00)") ? "end"
                                                             : result);
        }
        EXPECT_EQ(found.str(), row);
    }
}

TEST(ReadingOnModel, ErrorsAndTimesAreExact) {
    VirtualTime time;
    const auto drive = open<BDDrive>("media=bdrom,bad=100,transient=200:1");
    EXPECT_EQ(read(*drive, 90, 20), "2 medium error, unrecovered read error at sector 100 (sense 03/11/00)");
    EXPECT_EQ(read(*drive, 200), "2 medium error, unrecovered read error at sector 200 (sense 03/11/00)");
    EXPECT_EQ(read(*drive, 101, 100), "ok");
    std::uint64_t lba = 1000;
    for (const std::uint32_t speed : {53946U, 26973U, 13486U}) {
        zel_write_speed_desc_t wanted{};
        putBigEndian(reinterpret_cast<std::uint8_t*>(&wanted.readSpeed), 4, speed);
        ASSERT_TRUE(drive->setReadWriteSpeed(wanted)) << drive->getLastErrorStr().utf8();
        zel::Array<::scsi::mmc_performance_nom_desc_t> nominal;
        ASSERT_TRUE(drive->getNominalPerformance(nominal, 1, false));
        EXPECT_EQ(nominal[0].startPerformance, wanted.readSpeed);
        const auto before = time.clock.now();
        EXPECT_EQ(read(*drive, lba, 1000), "ok");
        lba += 1000;
        const std::chrono::duration<double, std::milli> taken = time.clock.now() - before;
        EXPECT_NEAR(taken.count(), 1000.0 * 2048 / speed, 1e-5);
    }
}

TEST(ReadingOnModel, EachLoadBringsTheNextMedium) {
    const VirtualTime time;
    const auto drive = open("media=none>cdrom>dvdrom,sectors=5000,performance=none");
    for (const _MMC_PROFILES profile : {kProfileCDROM, kProfileDVDROM, kProfileDVDROM}) {
        EXPECT_EQ(drive->mediaState(), LIBDRIVE2_MEDIA_NONE);
        ASSERT_TRUE(drive->loadDrive()) << drive->getLastErrorStr().utf8();
        EXPECT_EQ(drive->mediaState(), LIBDRIVE2_MEDIA_BUSY);
        EXPECT_TRUE(drive->waitForMedia(10000) && drive->queryMediumInfo());
        EXPECT_EQ(drive->getCurrentProfile(), profile);
        EXPECT_EQ(read(*drive, 4999), "ok");
        EXPECT_TRUE(drive->ejectDrive());
    }
    zel::Array<zel_write_speed_desc_t> speeds;
    EXPECT_TRUE(drive->loadDrive() && drive->waitForMedia(10000) && drive->getReadWriteSpeeds(speeds));
}

}  // namespace
}  // namespace libDrive2
