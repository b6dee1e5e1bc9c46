#include <algorithm>
#include <chrono>
#include <sstream>

#include "Fixtures.h"
#include "libDrive2/RecordableDrives.h"
#include "libDrive2/commands/MmcCommands.h"
#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/SimProvider.h"

namespace libDrive2 {
namespace {

constexpr std::uint32_t kSector = 2048;
constexpr std::uint64_t kSectors = 320;
constexpr std::uint64_t kAll = 0;
using Bytes = std::vector<std::uint8_t>;

SharedScsiPassThrough openDrive(const std::string& keys) {
    return SharedScsiPassThrough(SimProvider::get().openScsi("sim:optical,strict," + keys, kReadWrite));
}

/// The class for writing to a medium, in order or at random.
std::unique_ptr<RecordableDrive> writerFor(const std::string& keys, bool atRandom) {
    const SharedScsiPassThrough device = openDrive(keys);
    ScsiMMCDrive drive(device);
    const _MMC_PROFILES profile = drive.getCurrentProfile();
    if (profile <= kProfileCDRW && atRandom)
        return std::make_unique<CDRROWDrive>(device);
    if (profile <= kProfileCDRW)
        return std::make_unique<CDRecordableDrive>(device);
    if (profile == kProfileDVDRAM)
        return std::make_unique<DVDRAMRWDrive>(device);
    if (profile <= kProfileDVDRWDualLayer && !atRandom && drive.hasFeature(kFeatureLayerJumpRecording, true))
        return std::make_unique<DVDMRDLLJDrive>(device);
    if (profile <= kProfileDVDRWDualLayer)
        return std::make_unique<DVDMinusDrive>(device);
    if (profile >= kProfileBDROM)
        return std::make_unique<BDREDrive>(device);
    return std::make_unique<DVDPlusDrive>(device);
}

/// What is on the medium; unreadable sectors count as empty.
Bytes contentsOf(Drive& drive) {
    Bytes all, piece(std::size_t{64} * kSector);
    for (std::uint64_t lba = 0; lba + 64 <= drive.getSectorCount(); lba += 64)
        if (drive.readSector(lba, 64, piece.data(), 64 * kSector))
            all.insert(all.end(), piece.begin(), piece.end());
    return all;
}

class RecordingOnModel : public testing::Test {
protected:
    /// Records once; gives the step that failed, "" for none. Units are written in the order given by `step`.
    std::string record(RecordableDrive& drive, const zel_write_speed_desc_t& speed, unsigned step,
                       std::uint8_t seed, std::uint64_t sectors) {
        if (!drive.setReadWriteSpeed(speed))
            return "speed";
        if (!drive.setWriteParameters(false))
            return "parameters";
        if (const auto error = drive.prepareForWriting(sectors); error != LIBDRIVE2_NO_ERROR)
            return "prepare " + std::to_string(error);
        const std::uint64_t most = drive.getFreeSectors();
        if (most < std::max<std::uint64_t>(sectors, 1))
            return "free";
        const std::uint32_t unit = drive.numCoincidentWriteSectors();
        const auto units = static_cast<unsigned>((sectors == kAll ? most : sectors) / unit);
        if (!drive.reserveSectors(std::uint64_t{units} * unit))
            return "reserve";
        Bytes data(std::size_t{unit} * kSector);
        const auto bytes = static_cast<std::uint32_t>(data.size());
        std::uint64_t start = drive.getNextWriteAddress();
        for (unsigned i = 0; i < units; ++i) {
            const unsigned k = i * step % units;
            std::ranges::fill(data, static_cast<std::uint8_t>(seed + k));
            const std::uint64_t lba = drive.getNextWriteAddress(start + std::uint64_t{k} * unit);
            jumps += lba != start + std::uint64_t{k} * unit ? 1 : 0;
            if (!drive.writeSector(lba, unit, data.data(), bytes))
                return "write " + std::to_string(drive.lastError);
        }
        if (!drive.closeOpenTrack() || !drive.waitForWrite(900000, 100))
            return "close track";
        EXPECT_EQ(drive.getNextWriteAddress(), start) << "what was written begins where it began";
        start = drive.getNextWriteAddress();
        for (unsigned k = 0; k < units; ++k) {
            const Bytes written(bytes, static_cast<std::uint8_t>(seed + k));
            const std::uint64_t lba = drive.getNextWriteAddress(start + std::uint64_t{k} * unit);
            if (!drive.readSector(lba, unit, data.data(), bytes))
                return "read";
            if (data != written)
                return "compare " + std::to_string(k);
        }
        return drive.closeOpenSession() && drive.waitForWrite(900000, 100) ? "" : "close session";
    }

    /// At the slowest speed and at the fastest; ends with the first step that failed.
    std::string recordTwice(const std::string& keys, unsigned step, std::uint64_t sectors = kSectors) {
        const SharedScsiPassThrough held = openDrive(keys);  // keeps the medium between the classes
        ScsiMMCDrive before(held);
        const Bytes old = contentsOf(before);
        const auto drive = writerFor(keys, step != 1);
        jumps = 0;
        zel::Array<zel_write_speed_desc_t> speeds;
        EXPECT_TRUE(drive->getReadWriteSpeeds(speeds) && speeds.size() >= 1);
        std::string failed = record(*drive, speeds[speeds.size() - 1], step, 1, sectors);
        if (failed.empty()) {
            const std::string then = record(*drive, speeds[0], step, 101, sectors);
            return then.empty() ? "ok" : "then " + then;
        }
        EXPECT_TRUE(failed == "free" || !drive->getLastErrorStr().utf8().empty()) << "no word of why";
        EXPECT_TRUE(before.queryMediumInfo());
        EXPECT_TRUE(failed == "write 5" || contentsOf(before) == old) << "the medium changed";
        return failed;
    }

    VirtualTime time;
    unsigned jumps = 0;
};

TEST_F(RecordingOnModel, EveryMediumInEveryState) {
    // Medium; what recording in order twice comes to.
    std::istringstream rows(
        "cdr ok|cdr,state=appendable ok|cdr,state=closed free|cdrw ok|cdrw,state=appendable ok|"
        "cdrw,state=closed ok|cdrw-ow ok|dvdr ok|dvdr,state=appendable ok|dvdr,state=closed free|"
        "dvdr-dl ok|dvdr-dl,state=appendable ok|dvdr-dl,state=closed free|dvdr-dl-lj ok|"
        "dvdr-dl-lj,state=appendable ok|dvdr-dl-lj,state=closed free|dvdrw-ow ok|dvdrw ok|"
        "dvdrw,state=appendable ok|dvdrw,state=closed ok|dvdrw-dl ok|dvdrw-dl,state=appendable ok|"
        "dvdrw-dl,state=closed ok|dvd+rw ok|dvd+rw,state=unformatted ok|dvd+r ok|dvd+r,state=appendable ok|"
        "dvd+r,state=closed free|dvd+rw-dl ok|dvd+rw-dl,state=unformatted ok|dvd+r-dl ok|"
        "dvd+r-dl,state=appendable ok|dvd+r-dl,state=closed free|dvdram ok|dvdram,state=unformatted ok|"
        "bdr ok|bdr,state=appendable ok|bdr,state=closed free|bdr-random ok|bdre ok|"
        "bdre,state=unformatted ok|cdr,wp write 6|cdrw,state=closed,wp prepare 3|cdrw-ow,wp prepare 3|"
        "dvdr,wp write 6|dvdr-dl-lj,wp write 6|dvdrw-ow,wp write 6|dvd+r,wp write 6|dvd+rw,wp write 6|"
        "dvd+rw,state=unformatted,wp prepare 3|dvdram,wp write 6|bdr,wp write 6|bdre,wp write 6");
    for (std::string row; std::getline(rows, row, '|');) {
        const std::string keys = "media=" + row.substr(0, row.find(' ')) + ",sectors=8192";
        EXPECT_EQ(recordTwice(keys, 1), row.substr(row.find(' ') + 1)) << row;
        EXPECT_EQ(jumps != 0, row.starts_with("dvdr-dl-lj") && row.ends_with(" ok")) << row;
    }
}

TEST_F(RecordingOnModel, AtRandomWhereTheMediumAllowsIt) {
    // Media that take sectors one behind the other refuse the second unit, and a CD-R any packets.
    std::istringstream rows(
        "cdrw ok|cdrw,state=closed ok|cdrw-ow ok|dvdrw-ow ok|dvdrw write 5|dvdrw-dl write 5|dvd+rw ok|"
        "dvd+rw,state=unformatted ok|dvd+rw-dl ok|dvdram ok|dvdram,state=unformatted ok|dvd+r write 5|"
        "dvd+r-dl,state=closed free|bdre ok|bdr-random ok|cdr parameters");
    for (std::string row; std::getline(rows, row, '|');) {
        const std::string keys = "media=" + row.substr(0, row.find(' ')) + ",sectors=8192";
        const std::string came = recordTwice(keys, 7);
        EXPECT_EQ(came, row.substr(row.find(' ') + 1)) << row;
        EXPECT_EQ(writerFor(keys, true)->takesAnyOrder(), came == "ok") << row;
    }
}

TEST_F(RecordingOnModel, WholeMediaAndAfterARecordingThatBrokeOff) {
    // What records everything that fits, twice, comes to, and what records behind tracks that were begun.
    std::istringstream rows(
        "cdr then free;ok|cdrw ok;ok|cdrw-ow ok;ok|dvdr then free;ok|dvdr-dl then free;ok|"
        "dvdr-dl-lj then free;ok|dvdrw ok;ok|dvdrw-ow ok;ok|dvdrw-dl ok;ok|dvd+r then free;ok|"
        "dvd+rw ok;ok|dvd+r-dl then free;ok|dvd+rw-dl ok;ok|dvdram ok;ok|bdr then free;ok|bdr-random then "
        "free;write 5|bdre ok;ok");
    for (std::string row; std::getline(rows, row, '|');) {
        const std::size_t end = row.find(' ');
        const std::string keys = "media=" + row.substr(0, end) + ",sectors=4096";
        const std::string came = recordTwice(keys, 1, kAll) + ';';
        const SharedScsiPassThrough held = openDrive(keys);
        for (int begun = 0; begun < 2; ++begun) {
            const auto drive = writerFor(keys, false);
            const std::uint32_t unit = drive->numCoincidentWriteSectors();
            const Bytes data(std::size_t{unit} * kSector);
            EXPECT_EQ(drive->prepareForWriting(kSectors), LIBDRIVE2_NO_ERROR) << row;
            EXPECT_TRUE(drive->setWriteParameters(false) && drive->reserveSectors(kSectors)) << row;
            const std::uint64_t at = drive->getNextWriteAddress(drive->getNextWriteAddress());
            (void)drive->writeSector(at, unit, data.data(), unit * kSector);
        }
        EXPECT_EQ(came + recordTwice(keys, 1), row.substr(end + 1)) << row;
    }
}

TEST_F(RecordingOnModel, TakesUpTheFormattingThatItInterrupted) {
    using mmc::BackgroundFormat;
    const std::string keys = "media=dvd+rw,state=unformatted,speed=1";  // takes 4483 s
    const SharedScsiPassThrough device = openDrive(keys);
    const auto status = [&] { return MmcUnit(*device).discInformation()->backgroundFormat; };
    const auto drive = writerFor(keys, false);
    const Bytes data(16 * kSector);
    for (int i = 0; i < 2; ++i)
        EXPECT_EQ(drive->prepareForWriting(kSectors), LIBDRIVE2_NO_ERROR) << drive->getLastErrorStr().utf8();
    EXPECT_TRUE(drive->reserveSectors(16) && drive->writeSector(0, 16, data.data(), 16 * kSector));
    EXPECT_EQ(status(), BackgroundFormat::running);
    time.clock.advance(std::chrono::seconds(4000));
    EXPECT_TRUE(drive->closeOpenTrack() && drive->closeOpenSession());
    EXPECT_EQ(status(), BackgroundFormat::interrupted);
    EXPECT_EQ(drive->prepareForWriting(kSectors), LIBDRIVE2_NO_ERROR) << drive->getLastErrorStr().utf8();
    EXPECT_EQ(status(), BackgroundFormat::running);
    time.clock.advance(std::chrono::seconds(600));
    EXPECT_EQ(status(), BackgroundFormat::done);
}

TEST_F(RecordingOnModel, WaitsWhileATrackThatSomebodyReservedIsFilled) {
    const std::string keys = "media=dvdr";
    const SharedScsiPassThrough device = openDrive(keys);
    const auto drive = writerFor(keys, false);
    const Bytes data(16 * kSector);
    EXPECT_TRUE(drive->setWriteParameters(false));
    EXPECT_TRUE(device->execute(mmc::reserveTrack(2298496)).delivery.ok());
    EXPECT_TRUE(drive->reserveSectors(16) && drive->writeSector(0, 16, data.data(), 16 * kSector));
    const auto before = time.clock.now();
    EXPECT_TRUE(drive->closeOpenTrack()) << drive->getLastErrorStr().utf8();
    EXPECT_GT(time.clock.now() - before, std::chrono::minutes(3));
    EXPECT_TRUE(drive->closeOpenSession()) << drive->getLastErrorStr().utf8();
}

TEST_F(RecordingOnModel, ClosesShortRecordingsWithoutFillingTheDisc) {
    for (const std::string medium : {"dvdr", "dvdrw,state=blank", "dvdrw-dl,state=blank", "dvd+r", "bdr"}) {
        const auto before = time.clock.now();
        EXPECT_EQ(recordTwice("media=" + medium, 1), "ok") << medium;
        EXPECT_LT(time.clock.now() - before, std::chrono::minutes(5)) << medium;
    }
}

}  // namespace
}  // namespace libDrive2
