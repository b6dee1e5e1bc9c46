#include "libDriveTest/optional/libScsi2/ReadPerformanceTest.h"

#include "OpticalFixture.h"
#include "libDriveTest/optional/libScsi2/DefaultReadPerformanceTest.h"

namespace libDriveTest {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kFallback =
    "; 3 GET_PERFORMANCE did not succeed, testing will be performed with a minimum boundary of 1x speed";

/// Transfers take the time of the drive's speed, on the test's clock. At 48x a CD's drive moves 8467 KB/s, of
/// which 2048 bytes of every 2352 count.
class ReadPerformance : public OpticalFixture {
protected:
    /// 'D' for the test with bounds of its own, 'R' for the one that asks the drive; in short words.
    std::string run(char kind, ScsiMMCDrive& over, const std::string& given) {
        return zel::String(kind == 'D' ? OpticalFixture::run<DefaultReadPerformanceTest>(over, given)
                                       : OpticalFixture::run<ReadPerformanceTest>(over, given))
            .replace("RunningAtReadSpeed(ReadSpeedRate=", "(")
            .replace(", ReadSpeedX=", ", ")
            .replace(" KB/s", "")
            .replace("ERR SpeedNotReached(RequestedSpeed=", "slow(")
            .replace("ERR SpeedExceeded(RequestedSpeed=", "fast(")
            .replace(", ActualSpeed=", ", ")
            .replace("ERR readSectorErr(ReadSector=", "bad(")
            .replace("error invalidParameters(params=", "(")
            .utf8();
    }
    std::string run(char kind, const std::string& medium, const std::string& given) {
        tested = open<ScsiMMCDrive>(medium);
        return run(kind, *tested, given);
    }

    std::unique_ptr<ScsiMMCDrive> tested;
};

TEST_F(ReadPerformance, IsExactForEveryKindOfMedium) {
    // Sampled and timed rate; percent of the drive's nominal speed, rounded down; media.
    for (const Texts& row : rowsOf(R"(7373.606299212598|7375.750300120048|87|cdrom|cdmixed|cdr,state=closed
4914.928981032202|4915.2|87|cdrw,state=closed
22176.447105788422|22180.505415162454|100|dvdrom|dvdr,state=closed|dvd+r,state=closed
16627.809523809523|16627.87550744249|100|dvdram|dvdrw-ow|dvdrw,state=closed|dvdr-dl,state=closed
  dvdr-dl-lj,state=closed|dvd+rw|dvd+r-dl,state=closed
11080.809202697343|11080.252479711451|100|dvdrw-dl,state=closed|dvd+rw-dl
53983.80838323353|54132.15859030837|100|bdrom|bdr,state=closed|bdr-random,state=closed
35989.205588822355|36035.190615835774|100|bdre
13705.846153846154|13714.285714285714|100|hddvdrom)"))
        for (std::size_t i = 3; i < row.size(); ++i) {
            SCOPED_TRACE(row[i]);
            const auto verdict = [&](char kind, const std::string& given) {
                return run(kind, row[i], "TestPassCount=1 EndRange=" + given).substr(0, 4);
            };
            const std::string rate = std::to_string(std::stoi(row[0]));
            const std::string above = std::to_string(std::stoi(row[0]) + 1);
            EXPECT_EQ(verdict('D', "15000 MinRate=" + rate + " MaxRate=" + above), "PASS");
            EXPECT_TRUE(host.logged("Calc transfer rate : " + row[0]));
            EXPECT_EQ(verdict('D', "15000 MaxRate=0 MinRate=" + above), "FAIL");
            EXPECT_EQ(verdict('D', "15000 MinRate=1 MaxRate=" + rate), "FAIL");
            EXPECT_EQ(verdict('R', "6000 MinRatePercent=" + row[2]), "PASS");
            EXPECT_EQ(verdict('R', "6000 MinRatePercent=" + std::to_string(std::stoi(row[2]) + 1)), "FAIL");
            EXPECT_TRUE(host.logged("TOTAL Data Transfer Performance: " + row[1] + " KB/s"));
        }
}

TEST_F(ReadPerformance, TellsWhatItReadsAndFinds) {
    // Nine samples end a pass; the first comes after 501 ms. A CD's range moves down by 10000 sectors,
    // others by 20000. Sectors that cannot be read count for nothing. One sector is too fast to tell.
    for (const Texts& row : rowsOf(R"(D|cdrom|| 0-16461/31|PASS; (2000-8000, 11.3X-45.4X); 0 %
D|cdrom|MaxRate=7000| 0-16461/31|FAIL; (2000-7000, 11.3X-39.7X); 0 %; fast(39.7, 41.8)
D|cdrom|EndRange=1804| 0-1804/31|PASS; (2000-8000, 11.3X-45.4X); 0 %
D|cdrom|EndRange=1803 TestPassCount=1| 0-1803/31|FAIL; (2000-8000, 11.3X-45.4X); 0 %; slow(11.3, 0.0)
D|cdrom|MinRate=9000 MaxRate=0 StartRange=30000 EndRange=36000
   30000-36000/31 20000-25000/31 20000-26000/31 20000-26000/31
  FAIL; (9000-MAX, 51.0X-MAX); 0 %; 25 %; 50 %; slow(51.0, 41.8)
D|dvdrom|MinRate=30000 MaxRate=30001 StartRange=30000 EndRange=36000 TestPassCount=2
   30000-36000/31 10000-15000/31 10000-16000/31
  FAIL; (30000-30001, 21.7X-21.7X); 0 %; 33 %; slow(21.7, 16.0)
D|cdrom|StartRange=10001 EndRange=10101 TestPassCount=2| 10001-10101/31 1-5001/31 1-101/31
  FAIL; (2000-8000, 11.3X-45.4X); 0 %; 33 %; slow(11.3, 0.0)
D|cdrom|StartRange=1 EndRange=10000 MinRate=7999| 1-10000/31
  FAIL; (7999-8000, 45.3X-45.4X); 0 %; 25 %; 50 %; slow(45.3, 0.0)
D|cdrom,bad=100+190|RetryCount=0 EndRange=2000 MaxRate=0 MinRate=7123| 0-2000/31
  FAIL; (7123-MAX, 40.4X-MAX); 0 %; bad(93); bad(186)
D|cdrom,bad=100+190|RetryCount=0 EndRange=2000 MaxRate=0 MinRate=7124 TestPassCount=1| 0-2000/31
  FAIL; (7124-MAX, 40.4X-MAX); 0 %; bad(93); bad(186); slow(40.4, 40.4)
D|cdrom,bad=100+190|RetryCount=0 EndRange=2000 MaxRate=0 MinRate=8000 MaxErrors=2| 0-2000/31
  FAIL; (8000-MAX, 45.4X-MAX); 0 %; bad(93); bad(186)
R|cdrom|MinRatePercent=200 StartRange=30000 EndRange=30100 TestPassCount=2| 20000-30100/32 20000-30100/32
  FAIL; (8467-8467, 48.0X-48.0X); 0 %; 25 %; 50 %; 75 %; slow(96.0, 43.0)
R|dvdrom|MinRatePercent=110.5 StartRange=20000 EndRange=20033| 0-20033/32 0-20033/32 0-20033/32
  FAIL; (22160-22160, 16.0X-16.0X); 0 %; 16 %; 33 %; 50 %; 66 %; 83 %; slow(17.7, 16.3)
R|cdrom,bad=100+290|RetryCount=0 StartRange=200 EndRange=2000 MinRatePercent=1| 0-2000/32
  FAIL; (8467-8467, 48.0X-48.0X); 0 %; bad(96); 16 %; bad(264)
R|cdrom|EndRange=1| 0-1/1|CANNOTRUN; (8467-8467, 48.0X-48.0X); 0 %; 16 %; WARNING cannotOpenAccessDenied()
DR|cdrom|StartRange=x EndRange=y||BADPARAMS; (StartRange:x)
DR|cdrom|EndRange=3x||BADPARAMS; (EndRange:3x)
DR|cdrom|StartRange=9 EndRange=9||BADPARAMS; (StartRange:9, EndRange:9)
DR|cdrom|StartRange=333000 EndRange=333001||BADPARAMS; (StartRange:333000, EndRange:333001)
D|cdrom|MinRate=2001 MaxRate=2000 StartRange=9 EndRange=1||BADPARAMS; (MinRate:2001, MaxRate:2000)
R|cdrom|MinRatePercent=0 StartRange=9 EndRange=1||BADPARAMS; (MinRatePercent:0)
DR|cdrom|TestPassCount=0||BADPARAMS)"))
        for (const char kind : row[0]) {
            SCOPED_TRACE(row[1] + " " + row[2]);
            EXPECT_EQ(run(kind, row[1], row[2]), row[4]);
            EXPECT_EQ(unit->reads, row[3]);
            const char* const logger = kind == 'D' ? "DefaultReadPerformanceTest" : "ReadPerformanceTest";
            EXPECT_EQ(lines(logger, 4).empty(), !row[4].starts_with("BADPARAMS; "));
        }
    host.answers = {quix5::MessageBox2_Returns::OK, quix5::MessageBox2_Returns::OK};
    EXPECT_EQ(run('D', "none", "MaxRetries=2"), "NOMEDIA");
    EXPECT_EQ(host.prompts.size(), 2U);
    // Stopped: the first check is for a medium.
    const std::tuple<char, int, const char*> stops[] = {
        {'R', 1, ""}, {'R', 2, ""}, {'R', 3, " 0-32/32"}, {'R', 5, " 0-96/32"}, {'D', 5, " 64-157/31"}};
    for (const auto& [kind, first, reads] : stops) {
        host.stop = [at = first](int check) { return check >= at; };
        EXPECT_THAT(run(kind, "cdrom", "StartRange=64"), StartsWith("USERABORTED"));
        EXPECT_EQ(unit->reads, reads);
    }
}

TEST_F(ReadPerformance, LogsParametersSamplesAndRates) {
    (void)run('D', "cdrom", "RetryCount=5 MinRate=7374");
    EXPECT_EQ(lines("DriveTestMMCRO"),
              "; 1 === Read Performance Test parameters ===; 1  Sectors To Test:       333000; "
              "1  Start LBA: (inclusive) 0; 1  Divisor:               1; 1  Last LBA:  (exclusive) 333000; "
              "1  Disk has Sectors:      5; 1  Sector Size:           2048; 1  Opt. xfer blocks:      31; "
              "1  Per Read Retries:      5; 1  Test Loop Count:       3");
    zel::String samples;
    for (int i = 1; i <= 9; ++i)
        samples += zel::format("; 1 kbps sample @ %i = 7373.606299212598 (41.8) total read amount %i",
                               508 * i, 59 * 31 * i);
    const std::string log = lines("DefaultReadPerformanceTest"), nine = samples.utf8();
    EXPECT_THAT(log, StartsWith("; 1 TEST DESIRED MIN PERF: 7374 KB/s; 1 TEST DESIRED MAX PERF: 8000 KB/s; "
                                "1 START TIMED PERF TEST from 0 to 333000" +
                                nine + "; 1 START TIMED PERF TEST from 0 to 323000" + nine));
    EXPECT_THAT(log, testing::EndsWith(nine + "; 1 Calc transfer rate : 7373.606299212598; 3 The calculated "
                                              "transfer rate (7373.606299212598 KB/s) is less than the "
                                              "minimum (7374 KB/s)"));
    (void)run('D', "cdrom", "MaxRate=2000");
    EXPECT_EQ(lines("DefaultReadPerformanceTest", 3),
              "; 3 The calculated transfer rate (7373.606299212598 "
              "KB/s) is greater than the maximum (2000 KB/s)");
    (void)run('D', "cdrom", "StartRange=10009 EndRange=10010 TestPassCount=2");
    EXPECT_THAT(lines("DefaultReadPerformanceTest"), HasSubstr("1 SPIN UP SEQUENTIAL READ from 9 to 5009;"));
    (void)run('R', "cdrom", "StartRange=9 MinRatePercent=200 TestPassCount=1");
    EXPECT_EQ(lines("ReadPerformanceTest"),
              "; 1 retrieved 1 nominal performance descriptors; 1 using optical performance descriptor:; "
              "1 DESC START_LBA: 0; 1 DESC START_PERF: 8467 KB/s; 1 DESC END_LBA: 332999; "
              "1 DESC END_PERF: 8467 KB/s; 1 DESC COMPUTED AVG_PERF: 8467 KB/s; "
              "1 TEST DESIRED MIN PERF: 16934 KB/s; 1 SPIN UP SEQUENTIAL READ from 0 to 9; "
              "1 START TIMED PERF TEST from 9 to 333000; 1 Current loop is taking longer than max test time "
              "(10000 ms) calculating transfer rate w/current amount transferred (36032); "
              "1 iteration : 0 - kbps: 7372.7181536617045; "
              "1 TOTAL Data Transfer Performance: 7372.7181536617045 KB/s; 3 The calculated transfer rate "
              "(7372.7181536617045 KB/s) is less than the minimum (16934 KB/s)");
    EXPECT_THAT(lines("DriveTestMMCRO"), HasSubstr("; 1  Opt. xfer blocks:      32; "));
    (void)run('R', "cdrom", "EndRange=6000");
    EXPECT_THAT(lines("ReadPerformanceTest"),
                HasSubstr("; 1 Transfer rate meets minimum requirements: (kbps: "
                          "7375.750300120048) exiting test loop;"));
}

TEST_F(ReadPerformance, AsksTheDriveForItsSpeed) {
    // Medium; commands that are refused; GET PERFORMANCE's length, and where it holds what how many times;
    // what is shown at first, and logged ("@" for the fallback).
    for (const Texts& row :
         rowsOf(R"(cdrom|BB||PASS; (8467-8467, |; 1 Set cd speed failed, try set performance
cdrom|BB B6||CANNOTRUN; ERR advancedError(errmsg=setting the speed failed: |; 1 Set cd speed failed, try
cdrom||24 20 0 4|PASS; (8467-16934, 48.0X-96.0X)|; 1 DESC COMPUTED AVG_PERF: 4233 KB/s
cdrom||40 24 1 16|PASS; (8467-8467, |; 1 retrieved 2 nominal performance descriptors
cdrom||8 8 0 0|PASS; (150-300, 0.9X-1.7X)|; 1 retrieved 0 nominal performance descriptors@
cdrom|AC||PASS; (150-300, |@; 1 TEST DESIRED MIN PERF: 105 KB/s
dvdram,performance=none|||PASS; (1352-2704, 1.0X-2.0X)|@
bdrom|AC||PASS; (4394-8788, 1.0X-2.0X)|@
hddvdrom|AC||PASS; (4394-8788, 1.0X-1.9X)|@
cdrom|25||WARN; WARNING cannotGetTotalSectors()|)")) {
        SCOPED_TRACE(row[0] + " " + row[1] + row[2]);
        tested = open<ScsiMMCDrive>(row[0]);
        std::istringstream refused(row[1]), answer(row[2]);
        for (int opcode = 0; refused >> std::hex >> opcode;)
            unit->refuse(opcode);
        unsigned bytes = 0, place = 0, value = 0, count = 0;
        if (answer >> bytes >> place >> value >> count)
            unit->changes[0xAC] = [=](std::uint8_t* data, auto& response) {
                data[3] = static_cast<std::uint8_t>(bytes - 4);
                std::fill_n(data + place, count, static_cast<std::uint8_t>(value));
                response.transferredBytes = bytes;
            };
        (void)tested->queryMediumInfo();
        EXPECT_THAT(run('R', *tested, "EndRange=6000"), StartsWith(row[3]));
        EXPECT_THAT(lines("ReadPerformanceTest"),
                    HasSubstr(zel::String(row[4]).replace("@", kFallback).utf8()));
        EXPECT_EQ(unit->asked[0xBB], row[1] == "25" ? "" : "BB00FFFFFFFF000000000000");
        EXPECT_EQ(unit->asked[0xB6], row[1].starts_with("BB") ? "B60000000000000000001C00 24" : "");
        EXPECT_EQ(unit->asked[0xAC], row[1] == "25" || row[1] == "BB B6" ? "" : "AC1000000000000000080000");
    }
    // After that question the medium is of no kind any more.
    unit->changes = {{0xAC, [this](std::uint8_t*, auto& response) {
                          response.status = 2;
                          unit->changes[0x46] = [](std::uint8_t* data, auto&) { data[6] = data[7] = 0; };
                      }}};
    (void)tested->queryMediumInfo();
    EXPECT_EQ(run('R', *tested, ""), "CANNOTRUN; ERR CannotInitializeDevice()");
    struct : ScsiMMCDrive {
        using ScsiMMCDrive::ScsiMMCDrive;
        std::uint32_t getSectorSize() override { return 0; }
    } sizeless(libDrive2::ScsiDevice::openScsiDevice("sim:optical", kReadWrite, 0));
    EXPECT_EQ(run('D', sizeless, ""), "WARN; WARNING cannotGetSectorSize()");
}

}  // namespace
}  // namespace libDriveTest
