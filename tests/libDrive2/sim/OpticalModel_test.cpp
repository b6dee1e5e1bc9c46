#include <chrono>

#include "OpticalModel.h"
#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {
namespace {

using namespace std::chrono_literals;
using testing::ElementsAre;

TEST_F(OpticalModel, EveryMediumHasItsProfileAndFeatures) {
    // Profile, whether it is erasable, and the features that are current because of the medium.
    std::istringstream cases(
        "cdrom 8 0 10 1D 1E 107|cdr 9 0 1D 1E 21 2D 107|cdrw A 1 1D 1E 21 23 2D 37 107|"
        "cdrw-ow A 1 10 1D 1E 23 26 37 107|dvdrom 10 0 10 1F 107|dvdr 11 0 1F 21 2F 107|"
        "dvdram 12 1 10 1F 20 23 24 107|dvdrw-ow 13 1 10 1F 23 26 2C 2F 107|"
        "dvdrw 14 1 1F 21 23 2F 107|dvdr-dl 15 0 1F 21 2F 107|dvdr-dl-lj 16 0 1F 21 2F 33 107|"
        "dvdrw-dl 17 1 1F 21 2F 107|dvd+rw 1A 1 10 1F 20 23 2A 107|dvd+r 1B 0 1F 21 2B 107|"
        "dvd+rw-dl 2A 1 10 1F 20 23 3A 107|dvd+r-dl 2B 0 1F 21 3B 107|bdrom 40 0 10 40 107|"
        "bdr 41 0 21 23 24 40 41 107|bdr-random 42 0 10 24 25 40 41 107|"
        "bdre 43 1 10 20 23 24 40 41 107|hddvdrom 50 0 10 50 107|dvdr,wp 11 0 1F 107|"
        "dvdr,state=closed 11 0 10 1F 107|dvd+rw,state=unformatted 1A 1 1F 23 2A 107|"
        "bdre,performance=none 43 1 10 20 23 24 40 41");
    for (std::string expected; std::getline(cases, expected, '|');) {
        open("media=" + expected.substr(0, expected.find(' ')));
        std::ostringstream found;
        found << expected.substr(0, expected.find(' ')) << std::hex << std::uppercase;
        found << ' ' << std::stoul(profile()) << ' ' << (disc().empty() ? 2 : data[2] >> 4 & 1);
        EXPECT_EQ(ask({0x46, 1, 0, 0x10, 0, 0, 0, 16, 0}), "");
        for (std::size_t at = 8; at < data.size(); at += data[at + 3] + 4U)
            if (const std::uint64_t code = getBigEndian(&data[at], 2); code < 0x100 || code == 0x107)
                found << ' ' << code;
        EXPECT_EQ(found.str(), expected);
    }
}

TEST_F(OpticalModel, RecordsACdInTracksAndSessions) {
    const Bytes toc{0x43, 0, 0, 0, 0, 0, 0, 1, 0};
    open("media=cdr,sectors=100000");
    check({disc(), "00 t1 s1", track(1), "0 99998 100000", read(0), "5/21/00", ask(toc), "5/24/00", write(1),
           "5/21/02", write(0), "", write(0), "5/21/02", write(16, 4), "", disc(), "11 t1 s1"});
    check({writeType(1, 0xC4), "", closeSession(), "5/72/03", closeTrack(1), "", read(19), "", read(19, 2),
           "5/21/00", track(1), "0 0 22", nextWritable(), "172"});
    // Gaps shrink with the disc.
    check({closeSession(), "", disc(), "10 t2 s2", capacity(), "19", nextWritable(), "6272", ask(toc), ""});
    EXPECT_THAT(data, ElementsAre(0, 18, 1, 1, 0, 0x14, 1, 0, 0, 0, 0, 0, 0, 0x14, 0xAA, 0, 0, 0, 0, 22));
    // The run-out of the first track holds no data; a CD-R cannot be blanked.
    check({write(6272), "", read(18, 4), "5/64/00", writeType(1, 4), "", closeTrack(0xFF), "", closeSession(),
           "", disc(), "23 t2 s2", write(6440), "5/21/02", run({0xA1, 0}), "5/30/05"});
    EXPECT_EQ(ask({0x43, 0, 1, 0, 0, 0, 0, 1, 0}), "");
    EXPECT_THAT(data, ElementsAre(0, 10, 1, 2, 0, 0x14, 2, 0, 0, 0, 0x18, 0x80));
}

TEST_F(OpticalModel, RecordsInReservedTracksAndPadsBlocks) {
    for (const std::string media : {"dvdr", "dvd+r", "bdr"}) {
        SCOPED_TRACE(media);
        const std::uint32_t block = media == "bdr" ? 32 : 16, second = 256 + block;
        const std::string size = std::to_string(second), after = std::to_string(second + block);
        open("sectors=8192,media=" + media);
        check({run({0x53, 0, 0, 0, 0, 0, 0, 1, 1}), "", disc(), "11 t2 s1", track(1),
               "0 " + size + " " + size, nextWritable(), size, write(second, 5), "", run({0x35}), "",
               nextWritable(), after});
        check({closeSession(), "5/72/04", write(0, 255), "", write(255, 255), "5/63/00", closeTrack(1), "",
               closeSession(media == "dvdr" ? 2 : 6), "", disc(), "23 t2 s1", capacity(),
               std::to_string(second + block - 1)});
    }
    open("media=dvdr,sectors=8192,state=appendable");
    // Disc at once needs a reservation; a DVD has no track at once; a test leaves nothing.
    check({disc(),           "10 t2 s2", capacity(),      "2047", writeType(2), "", write(2560),    "5/2C/00",
           writeType(1),     "5/26/00",  writeType(0x10), "",     write(2560),  "", nextWritable(), "2576",
           closeTrack(0xFF), "",         nextWritable(),  "2560"});
}

TEST_F(OpticalModel, BlanksAndFormatsInVirtualTime) {
    open("media=dvdrw,sectors=8192,state=closed,speed=1");
    check({write(0), "5/21/02", run({0xA1, 0x10}), "", run({0}), "2/04/07"});
    time.clock.advance(8000ms);  // 8192 sectors at 1048 KB/s take 16 s
    EXPECT_EQ(read(0), "2/04/07");
    EXPECT_EQ(getBigEndian(&response.sense[15], 3), 0x800000U + 32749);
    time.clock.advance(8010ms);
    check({disc(), "00 t1 s1", format(0x15, 2), "", run({0}), "2/04/04", profile(), "19"});
    time.clock.advance(20s);
    check({write(16), "", write(8), "5/21/02", write(8176, 32), "5/21/00"});
    const auto done = time.clock.now() + 40s;
    check({run({0xA1, 1}), "", profile(), "20"});
    EXPECT_EQ(time.clock.now(), done);
    open("media=dvd+rw,sectors=8192,state=unformatted");
    check({write(0), "3/31/00", read(0), "5/30/02", disc(), "00 t1 s1"});
    EXPECT_EQ(ask({0x23, 0, 0, 0, 0, 0, 0, 0, 12}), "");
    EXPECT_THAT(data, ElementsAre(0, 0, 0, 24, 0, 0, 32, 0, 1, 0, 8, 0));
    check({format(0x30, 0), "5/24/00", format(0x26, 0, 16), "", write(5, 3), "", disc(), "23 t1 s1",
           write(4090), "5/21/00", capacity(), "4095"});
    open("media=bdr,sectors=8192");
    check({send({0x04, 0x11}, {0, 0, 0, 8, 0, 0, 0, 0, 0x32 << 2 | 2, 0, 0, 0}), "", profile(), "66",
           write(64, 32), "", write(32, 64), "5/21/02", write(32, 32), ""});
    open("media=dvdram,wp");
    check({write(0), "7/27/00", format(0, 0), "7/27/00"});
    open("media=bdrom");
    check({write(0), "5/30/05"});
}

TEST_F(OpticalModel, LoadsTheMediaOfItsScript) {
    open("media=none>cdmixed>dvd+rw,sectors=2000");
    const Bytes load{0x1B, 0, 0, 0, 3}, eject{0x1B, 0, 0, 0, 2};
    check({run({0}), "2/3A/01", run(load), "", run({0}), "2/04/01"});
    time.clock.advance(3s);
    check({run({0}), "6/28/00", run({0}), "", ask({0x43, 2, 0, 0, 0, 0, 2, 1, 0}), ""});
    EXPECT_THAT(data, ElementsAre(0, 26, 1, 3, 0, 0x10, 2, 0, 0, 0, 10, 66, 0, 0x10, 3, 0, 0, 0, 19, 57, 0,
                                  0x10, 0xAA, 0, 0, 0, 28, 50));
    check({read(665), "", read(665, 2), "5/64/00", run({0x1E, 0, 0, 0, 1}), "", run(eject), "5/53/02",
           run({0x1E}), "", run(eject), "", run({0}), "2/3A/02", ask({0x4A, 1, 0, 0, 0x10, 0, 0, 0, 8}), ""});
    EXPECT_THAT(data, ElementsAre(0, 6, 4, 0x50, 3, 1, 0, 0));
    for (const bool isKept : {false, true}) {
        EXPECT_EQ(run(load), "");
        time.clock.advance(3s);
        check({run({0}), "6/28/00", profile(), "26", read(7), ""});
        EXPECT_EQ(data == Bytes(kSector, 'w'), isKept);
        check({write(7, 1), "", run(eject), ""});
    }
    open("media=none>cdrom,tray=no");
    EXPECT_EQ(run(load), "5/24/00");
    time.clock.advance(10s);  // a hand puts it in
    EXPECT_EQ(run({0}), "2/04/01");
}

TEST_F(OpticalModel, TransfersTakeTheTimeOfTheChosenSpeed) {
    const auto microseconds = [this](auto transfer) {
        const auto before = time.clock.now();
        EXPECT_EQ(transfer(), "");
        return (time.clock.now() - before) / 1us;
    };
    const auto reading = [this] { return read(0, 100); };
    const Bytes nominal{0xAC, 0x10, 0, 0, 0, 0, 0, 0, 1, 0, 0},
        writeSpeeds{0xAC, 0, 0, 0, 0, 0, 0, 0, 9, 0, 3};
    open("media=bdre,sectors=4096");
    check({field(nominal, 12), "35964", field(nominal, 16), "4095", field(nominal, 20), "35964"});
    EXPECT_EQ(microseconds(reading), 204800000 / 35964);
    check({field(writeSpeeds, 0), "36", field(writeSpeeds, 20), "8991", field(writeSpeeds, 36), "4495"});
    EXPECT_EQ(run({0xBB, 0, 0x46, 0x3E, 0x11, 0x8F}), "");  // 17982 and 4495 KB/s
    EXPECT_EQ(microseconds([this] { return write(0, 100); }), 204800000 / 4495);
    EXPECT_EQ(microseconds(reading), 204800000 / 17982);
    Bytes streaming(28);
    putBigEndian(&streaming[12], 8, 100000ULL << 32 | 10000);  // KB in so many milliseconds
    EXPECT_EQ(send({0xB6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28}, streaming), "");
    EXPECT_EQ(response.transferredBytes, 28);
    EXPECT_EQ(microseconds(reading), 204800000 / 8991) << "the slowest there is";
    open("media=cdrom,speed=1,performance=none");
    EXPECT_EQ(microseconds(reading), 235200000 / 1048) << "a CD counts whole frames";
    EXPECT_EQ(ask(nominal), "5/20/00");
}

TEST_F(OpticalModel, HasTheFaultsAndTheImageOfItsLocator) {
    open("media=dvdr,sectors=8192,bad-write=20,bad=5,gone-at=6");
    check({write(0), "", read(4, 3), "3/11/00", write(16), "3/0C/00", nextWritable(), "20"});
    EXPECT_EQ(drive->execute({{0}, 6}).delivery.type, LIBDRIVE2_NO_ACCESS);
    const TempFile file(8 * kSector);
    file.put(3 * kSector, std::string(kSector, 'i'));
    const SharedBlockHandle block = openBlock("sim:optical,media=none>dvdrom,image=" + file.path);
    EXPECT_TRUE(!block->info().mediumPresent && block->load().ok() && block->query().ok());
    EXPECT_EQ(block->info().bytes, 8U * kSector);
    data.assign(kSector, 0);
    EXPECT_TRUE(block->read(3 * kSector, data.data(), kSector).ok());
    EXPECT_EQ(data, Bytes(kSector, 'i'));
    zel::String ignored;
    for (const char* keys :
         {"media=cdr,image=x", "state=blank", "media=cdr,sectors=100", "media=dvd", "tray=maybe",
          "performance=fast", "strict=yes", "sector-size=2048", "media=cdrom,bad=333000"})
        EXPECT_FALSE(parseSimLocator(std::string("sim:optical,") + keys, ignored)) << keys;
}

}  // namespace
}  // namespace libDrive2
