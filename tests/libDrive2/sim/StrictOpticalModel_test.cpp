#include <chrono>
#include <sstream>

#include "OpticalModel.h"

namespace libDrive2 {
namespace {

using namespace std::chrono_literals;

/// A strict drive; times are those of 1048 KB/s.
class StrictOpticalModel : public OpticalModel {
protected:
    StrictOpticalModel() { timeoutMs = 3600000; }
    void openStrict(const std::string& keys) {
        drive.reset();  // the same keys shall make a new one
        open("strict,speed=1,sectors=8192,media=" + keys);
    }
    /// Bytes 2 to 5 of the write parameters, and the packet size.
    std::string parameters(std::uint8_t type, std::uint8_t track, std::uint8_t block = 8,
                           std::uint8_t link = 0, std::uint8_t packet = 0) {
        Bytes list{0, 0, 0, 0, 0, 0, 0, 0, 5, 50, type, track, block, link, 0, 0, 0, 0, 0, 0, 0, packet};
        list.resize(60);
        return send({0x55, 0x10, 0, 0, 0, 0, 0, 0, 60}, list);
    }
    std::string reserve(std::uint8_t blocks256) { return run({0x53, 0, 0, 0, 0, 0, 0, blocks256}); }
    bool isCurrent(std::uint8_t feature) {
        return field({0x46, 2, 0, feature, 0, 0, 0, 16, 0}, 10, 1).back() % 2 != 0;
    }
    std::string readPastCache(std::uint32_t lba) {
        data.assign(kSector, 0);
        return run({0x28, 8, 0, 0, 0, std::uint8_t(lba), 0, 0, 1}, kIn);
    }
    std::string formatStatus() {
        const std::string sense = ask({0x51, 0, 0, 0, 0, 0, 0, 0, 34});
        return sense.empty() ? std::to_string(data[7] & 3) : sense;
    }
    /// Seconds and sectors' worth of writing that a command takes.
    void expectTime(const std::string& got, const char* sense, std::chrono::nanoseconds fixed,
                    std::uint64_t sectors, std::chrono::nanoseconds since) {
        EXPECT_EQ(got, sense);
        EXPECT_NEAR(double((time.clock.now() - since - fixed).count()), double(sectors) * 2048e6 / 1048, 1e4);
    }
};

TEST_F(StrictOpticalModel, TakesWriteParametersThatFitTheMedium) {
    // Medium; write type, track mode, block type, link size and packet size in hexadecimal; whether they fit.
    std::istringstream rows(
        "cdr 1 C4 8 0 0 1|cdr 1 C5 8 0 0 0|cdr 0 C4 8 0 0 0|cdr 0 5 8 0 0 1|cdr 21 4 8 7 0 0|cdr 20 5 8 7 0 "
        "1|"
        "cdr 20 5 8 10 0 0|cdr 1 84 8 0 0 0|cdr 1 4 9 0 0 0|cdr 0 25 8 0 10 1|cdr 0 25 8 0 0 0|cdrw 0 25 8 0 "
        "20 0|"
        "cdrw 1 C4 8 0 0 1|cdrw-ow 0 25 8 0 20 1|cdrw-ow 0 25 8 0 10 0|cdrw-ow 1 C4 8 0 0 0|dvdr 20 C5 8 10 "
        "0 1|dvdr 20 C5 8 7 0 0|dvdr 0 C5 8 7 0 1|dvdr 0 C4 8 0 0 0|"
        "dvdr 0 45 8 0 0 0|dvdr 0 C5 A 0 0 0|dvdr 0 E5 8 0 20 0|dvdr 2 5 8 0 0 1|dvdr 22 5 8 10 0 0|dvdr 2 "
        "C5 8 0 0 0|"
        "dvdr 4 C5 8 0 0 0|dvdr-dl 4 C5 8 0 0 0|dvdr-dl-lj 4 C5 8 0 0 1|dvdrw-ow 0 25 8 0 10 1");
    for (std::string row; std::getline(rows, row, '|');) {
        std::istringstream words(row);
        std::string medium;
        unsigned type = 0, track = 0, block = 0, link = 0, packet = 0, fits = 0;
        words >> medium >> std::hex >> type >> track >> block >> link >> packet >> fits;
        openStrict(medium);
        EXPECT_EQ(parameters(std::uint8_t(type), std::uint8_t(track), std::uint8_t(block), std::uint8_t(link),
                             std::uint8_t(packet)),
                  fits != 0 ? "" : "5/26/00")
            << row;
    }
}

TEST_F(StrictOpticalModel, RecordsAsTheTrackWasBegun) {
    openStrict("cdr");
    check({parameters(2, 4), "", reserve(1), "5/2C/00", parameters(1, 0xC4), "", write(0), "",
           parameters(0, 5), "", write(16), "5/64/00", closeTrack(1), "5/64/00", parameters(1, 0xC4), "",
           write(16), ""});
    openStrict("cdrw-ow");  // by default, a track at once
    check({write(0, 32), "5/64/00", parameters(0, 0x25, 8, 0, 32), "", write(0, 32), ""});
    openStrict("dvdrw-ow");
    check({write(0), "5/64/00", parameters(0, 0x25, 8, 0, 16), "", write(0), ""});
    openStrict("dvdr,state=appendable");
    check({parameters(2, 5), "", reserve(1), "5/2C/00"});
}

TEST_F(StrictOpticalModel, RecordsAQuicklyBlankedDvdRwAtOnceOnly) {
    for (const std::string medium : {"dvdrw", "dvdrw-dl"}) {
        openStrict(medium + ",state=blank");
        EXPECT_TRUE(isCurrent(0x21)) << medium;
        EXPECT_EQ(write(0), "");
        openStrict(medium);
        EXPECT_FALSE(isCurrent(0x21)) << medium;
        check({write(0), "5/64/00", reserve(1), "5/64/00", parameters(2, 5), "", reserve(1), ""});
        check({parameters(0, 5), "", closeSession(), "5/64/00", parameters(2, 5), "", write(0, 255), ""});
        check({write(255, 1), "", run({0x35}), "", disc(), "23 t1 s1", run({0xA1, 0}), ""});
        check({parameters(0, 5), "", write(0), ""});
        EXPECT_TRUE(isCurrent(0x21)) << medium;
        check({run({0xA1, 1}), "", write(0), "5/64/00"});
    }
}

TEST_F(StrictOpticalModel, ClosesTracksBeforeSessions) {
    for (const std::string medium : {"cdr", "dvdr", "dvd+r", "bdr"}) {
        SCOPED_TRACE(medium);
        openStrict(medium);
        check({closeSession(), "", disc(), "00 t1 s1", closeTrack(1), "5/24/00", closeTrack(9), "5/24/00"});
        check({write(0, 32), "", closeSession(), "5/72/03", capacity(), "0", closeTrack(1), ""});
        check({capacity(), "0", read(0), ""});
        EXPECT_FALSE(isCurrent(0x10)) << "random readable";
        const bool isMinus = medium == "cdr" || medium == "dvdr";
        check({closeSession(isMinus ? 2 : 6), "", capacity(), medium == "cdr" ? "33" : "31"});
        EXPECT_EQ(isCurrent(0x10), true);
    }
    openStrict("cdr");  // the flush ends what is recorded track at once
    check({write(0, 32), "", run({0x35}), "", closeTrack(1), "5/2C/00", closeSession(), "", disc(),
           "23 t1 s1"});
    openStrict("dvdr-dl");  // has one session
    check({parameters(0, 0xC5), "", write(0), "", closeTrack(1), "", closeSession(), "", disc(), "23 t1 s1"});
    openStrict("dvdr");
    check({reserve(16), "", write(0), "", closeSession(), "5/72/04", run({0x35}), "", write(16), ""});
    const auto before = time.clock.now();
    expectTime(closeTrack(1), "", 5s, 16 + 4064, before);
    check({run({0x5B, 1, 2}), "", run({0}), "2/04/08"});
}

TEST_F(StrictOpticalModel, FormatsWhatItOffersInTheBackgroundWherePossible) {
    for (const std::string medium : {"dvdr,state=closed", "cdr", "bdr,state=appendable", "bdr-random"}) {
        openStrict(medium);
        check({format(0, 0), "5/30/06", field({0x23, 0, 0, 0, 0, 0, 0, 0, 252}, 3, 1), "8"});
    }
    openStrict("dvd+rw,state=unformatted");
    check({formatStatus(), "0", format(0x30, 0), "5/26/00", format(0x26, 0, 33), "5/26/00"});
    openStrict("dvd+rw,state=unformatted,sectors=100000");  // takes 195 s
    check({format(0x26, 2), "", run({0}), "", formatStatus(), "2", capacity(), "99999", format(0x26, 2),
           "2/04/04", write(64), "", closeSession(), "", formatStatus(), "1"});
    time.clock.advance(1h);
    const Bytes restart{0, 2, 0, 8, 0, 0, 0, 0, 0x26 << 2, 0, 0, 1};
    check({formatStatus(), "1", send({0x04, 0x11}, restart), "", formatStatus(), "2"});
    check({run({0x1B, 0, 0, 0, 2}), "", run({0x1B, 0, 0, 0, 3}), ""});
    time.clock.advance(1h);
    check({run({0}), "6/28/00", formatStatus(), "1", send({0x04, 0x11}, restart), ""});
    time.clock.advance(1h);
    check({formatStatus(), "3", send({0x04, 0x11}, restart), "5/2C/00"});
}

TEST_F(StrictOpticalModel, ChecksStreamingAndOffersFeatures) {
    openStrict("dvd+rw,performance=nominal");
    // First and last sector, and the times of reading and writing.
    const auto stream = [this](std::uint32_t first, std::uint32_t last, std::uint8_t reading,
                               std::uint8_t writing, std::uint8_t flags = 0) {
        Bytes list(28);
        list[0] = flags, list[19] = reading, list[27] = writing;
        putBigEndian(&list[4], 8, std::uint64_t{first} << 32 | last);
        return send({0xB6, 0, 0, 0, 0, 0, 0, 0, 0, 0, 28}, list);
    };
    check({stream(0, 8191, 1, 1), "", stream(0, 8192, 1, 1), "5/26/00", stream(2, 1, 1, 1), "5/26/00",
           stream(0, 8191, 0, 1), "5/26/00", stream(0, 8191, 1, 0), "5/26/00", stream(0, 9000, 0, 0, 4), "",
           ask({0xAC, 0, 0, 0, 0, 0, 0, 0, 9, 0, 3}), "5/24/00", ask({0xAC, 0x10, 0, 0, 0, 0, 0, 0, 1, 0, 0}),
           "", field({0x46, 2, 1, 7, 0, 0, 0, 16, 0}, 12, 1), "13"});
    openStrict("dvdr-dl");
    EXPECT_TRUE(isCurrent(0x33));
    openStrict("dvdr");
    EXPECT_FALSE(isCurrent(0x33));
}

TEST_F(StrictOpticalModel, CalibratesBeforeARecordingAndLosesItsPlaceInATimeout) {
    openStrict("dvdr");
    timeoutMs = 59999;
    check({parameters(0, 0xC5), "", write(0), "timeout", run({0}), "6/29/00", nextWritable(), "0",
           field({0x5A, 0, 5, 0, 0, 0, 0, 0, 60}, 11, 1), "5"});
    timeoutMs = 60000;
    auto before = time.clock.now();
    expectTime(write(0, 32), "", 60s, 0, before);
    check({readPastCache(0), "3/11/00", readPastCache(15), "3/11/00", readPastCache(16), ""});
    before = time.clock.now();
    expectTime(write(32), "", 0s, 0, before);
    check({closeTrack(1), "", parameters(0, 0xC5), "", closeSession(), ""});
    before = time.clock.now();
    expectTime(write(std::uint32_t(std::stoul(nextWritable()))), "", 60s, 0, before);
    timeoutMs = 100;
    EXPECT_EQ(run({0x35}), "timeout") << "as any command that takes longer";
}

TEST_F(StrictOpticalModel, FillsItsBufferAndAnswersFromItsCache) {
    openStrict("dvdr");
    for (std::uint32_t lba = 0; lba < 1024; lba += 128)
        EXPECT_EQ(write(lba, 128), "");
    check({write(1024), "2/04/08", nextWritable(), "1024"});
    time.clock.advance(32ms);  // 16 sectors take 31.3 ms
    check({write(1024), "", write(1040), "2/04/08"});
    check({run({0x35, 2}), "", run({0}), "2/04/08"});
    time.clock.advance(2490ms);  // some 2000 ms for the buffer, and 500
    check({run({0}), "2/04/08"});
    time.clock.advance(12ms);
    check({run({0}), ""});
    openStrict("bdre,corrupt=5");
    const auto isRight = [this] { return data == Bytes(kSector, 'w'); };
    for (std::uint32_t lba = 0; lba < 1024; lba += 128)
        EXPECT_EQ(write(lba, 128), "");
    auto before = time.clock.now();
    expectTime(write(1024), "", 0s, 16, before);  // waits
    before = time.clock.now();
    expectTime(readPastCache(6), "", 0s, 1025, before);
    check({write(0, 32), "", read(5), ""});
    EXPECT_TRUE(isRight());
    check({readPastCache(5), ""});
    EXPECT_FALSE(isRight());
    check({write(0, 32), "", read(5), ""});
    EXPECT_TRUE(isRight());
    for (std::uint32_t lba = 2048; lba < 3072; lba += 128)
        EXPECT_EQ(read(lba, 128), "");
    check({read(5), ""});
    EXPECT_FALSE(isRight()) << "displaced";
    openStrict("bdr-random");
    check({read(0), "8/00/00", write(0, 32), "", read(0, 32), "", read(0, 33), "8/00/00"});
}

}  // namespace
}  // namespace libDrive2
