#include <set>

#include "OpticalFixture.h"
#include "libDrive2/RecordableDrives.h"
#include "libDriveTest/optional/libScsi2/DriveTestMMCRWCallback.h"
#include "libDriveTest/optional/libScsi2/PatternTestMMC.h"
#include "libDriveTest/optional/libScsi2/RandomWriteTestMMC.h"

namespace libDriveTest {
namespace {

using testing::StartsWith;

/// Records DVD+RW, answers what the test case says where it says something, and keeps the steps that it was
/// asked to take.
class ScriptedRecorder : public libDrive2::DVDPlusDrive {
public:
    using DVDPlusDrive::DVDPlusDrive, DVDPlusDrive::getNextWriteAddress;
    using Error = libDrive2::_LIBDRIVE2_ERROR_TYPES;

    std::map<std::string, std::uint64_t> answers;
    std::function<void(const std::string& step)> onStep = [](const std::string&) {};
    std::string steps;

    Error prepareForWriting(const std::uint64_t& sectors) override {
        return Error(step("prepare", sectors, DVDPlusDrive::prepareForWriting(sectors)));
    }
    bool reserveSectors(const std::uint64_t& sectors) override {
        return step("reserve", sectors, DVDPlusDrive::reserveSectors(sectors)) != 0;
    }
    bool setWriteParameters(bool isTest) override { return step("parameters", isTest, 1) != 0; }
    bool closeOpenTrack() override { return step("track", 0, 1) != 0; }
    bool closeOpenSession() override { return step("session", 0, 1) != 0; }
    std::uint64_t getFreeSectors() override { return answer("free", DVDPlusDrive::getFreeSectors()); }
    std::uint32_t getSectorSize() override { return std::uint32_t(answer("size", 2048)); }
    std::uint32_t numCoincidentWriteSectors() override { return std::uint32_t(answer("unit", 16)); }
    std::uint64_t getNextWriteAddress(std::uint64_t position) override {
        return position + answer("shift", 0);
    }

private:
    std::uint64_t answer(const std::string& what, std::uint64_t usual) {
        return answers.contains(what) ? answers[what] : usual;
    }
    std::uint64_t step(const char* what, std::uint64_t number, std::uint64_t usual) {
        steps += zel::format("%s %u ", what, number).utf8();
        onStep(what);
        return answer(what, usual);
    }
};

class RecordingTests : public OpticalFixture {
protected:
    template <class TestClass = PatternTestMMC>
    std::string run(const std::string& given) {
        recorder->steps = "";
        return zel::String(OpticalFixture::run<TestClass>(*recorder, given))
            .replace("MMCRW", "")
            .replace("preparingForWrite(); settingWriteSpeed(WriteSpeedIndex=", "(")
            .replace(", WriteSpeed=", ", ")
            .replace("startingWrite(sector=", "write(")
            .replace("startingReadCompare(sector=", "compare(")
            .replace("closingSession()", "close")
            .utf8();
    }
    /// A DVD+RW of one speed, unless the keys say otherwise.
    void insert(const std::string& keys = "") {
        recorder = open<ScriptedRecorder>("dvd+rw,sectors=1024,speed=1" + keys);
    }

    std::unique_ptr<ScriptedRecorder> recorder;
};

TEST_F(RecordingTests, LeavePatternsOnEveryKindOfMedium) {
    // Sectors of a unit, then media.
    for (
        const Texts& row : rowsOf(
            R"(16|dvdr|dvdr-dl|dvdrw|dvdrw-ow|dvdrw-dl|dvdram|dvd+rw|dvd+rw,state=unformatted|dvd+r|dvd+rw-dl|dvd+r-dl
32|cdr|cdrw|bdr|bdr-random|bdre)"))
        for (std::size_t i = 1; i < row.size(); ++i) {
            SCOPED_TRACE(row[i]);
            const std::string medium = row[i] + ",sectors=8192,speed=1";
            const auto reader = open<libDrive2::ScsiMMCDrive>(medium);
            quix5::DiagDevice device;
            device.setLocators("sim:optical,strict,media=" + medium, "");
            LIBDRIVE2_MEDIA_STATE state{};
            restart("NumberOfSeeks=101 NumberOfPatterns=3");
            const auto made = DriveTestMMCRW::createDrive(device, state, MMCRW_ANY_RECORDABLE, kReadWrite, 0);
            ASSERT_TRUE(made);
            EXPECT_EQ(PatternTestMMC(made).run(), TestResult::PASS);
            EXPECT_THAT(host.eventsOf("ERR"), testing::IsEmpty());
            const std::uint64_t together = std::stoul(row[0]);
            std::uint8_t data[2048];
            for (std::uint64_t lba = 0; lba < 101 / together * together; ++lba) {
                ASSERT_TRUE(reader->readSector(lba, 1, data, sizeof data));
                ASSERT_EQ(data[lba % 2048], "\xFF\x00\xF0"[lba / together % 3] & 0xFF) << lba;
            }
        }
}

TEST_F(RecordingTests, TellWhatTheyDo) {
    insert();
    EXPECT_EQ(run("NumberOfSeeks=47"), "PASS; (0, 0.8); write(0); 25 %; 50 %; compare(0); 50 %; 75 %; close");
    EXPECT_EQ(recorder->steps, "parameters 0 prepare 47 reserve 32 track 0 session 0 ");
    EXPECT_EQ(unit->writes + unit->reads, " 0-32/16 0-32/16");
    EXPECT_EQ(lines("PatternTestMMC"), "; 3 performing compare @0; 3 performing compare @16");
    // Parts of 100 that are no whole numbers, and a speed without a number.
    recorder = open<ScriptedRecorder>("dvd+rw,sectors=1024");
    unit->changes[0xAC] = [](std::uint8_t* data, auto& response) {
        data[3] = static_cast<std::uint8_t>(data[3] - 16);
        std::fill_n(data + 8 + 16 + 12, 4, std::uint8_t{0xFF});
        response.transferredBytes -= 16;
    };
    EXPECT_EQ(
        run("NumberOfSeeks=64"),
        "PASS; (0, 8.0); write(0); 4 %; 8 %; 12 %; 16 %; compare(0); 16 %; 20 %; 25 %; 29 %; close; "
        "(1, optimal multiplier of 1); write(0); 37 %; 41 %; 45 %; 49 %; compare(0); 49 %; 53 %; 58 %; "
        "62 %; close; (2, 4.0); write(0); 70 %; 74 %; 78 %; 82 %; compare(0); 82 %; 86 %; 91 %; 95 %; close");
    quix5::Test offered("PatternTestMMC");
    PatternTestMMC::init(offered);
    EXPECT_TRUE(offered.isDestructive());
}

TEST_F(RecordingTests, WriteWhatTheParametersSay) {
    const char* const table = " FF 00 F0 0F AA 55 80 40 20 10 08 04 02 01 11 22 44 88";
    for (const Texts& row : rowsOf(R"(NumberOfPatterns=0 NumberOfSeeks=320|@ FF 00| 0-320/16
NumberOfPatterns=19 NumberOfSeeks=304|@ FF| 0-304/16
NumberOfPatterns=18 NumberOfSeeks=300|@| 0-288/16
NumberOfPatterns=18 NumberOfSeeks=301|@| 0-288/16
NumberOfPatterns=18|@| 0-288/16
NumberOfSeeks=80| FF 00 F0 0F FF| 0-80/16)")) {
        insert();
        if (row[1] == "@")
            recorder->answers["free"] = 300;
        EXPECT_THAT(run(row[0]), StartsWith("PASS; ")) << row[0];
        EXPECT_EQ(unit->patterns + unit->writes, zel::String(row[1] + row[2]).replace("@", table).utf8());
    }
}

TEST_F(RecordingTests, EndEarlyButCloseWhatTheyBegan) {
    // What the recorder answers, or at which step it gets busy for ever; keys; the check that stops it; what
    // is shown ("^" while three units are written, "~" while they are compared); steps; writes; reads; log.
    for (const Texts& row : rowsOf(R"(||99|PASS; ^~; close|@track 0 session 0 | 0-48/16| 0-48/16|
parameters 0||99|MISCONFIGURED; preparingForWrite(); ERR cannotSetWriteParameters()|parameters 0 |||
prepare 1||99|NOTSUPPORTED; !drive does not support writing to media type)|parameters 0 prepare 48 |||
prepare 2||99|CANNOTRUN; !unknown error)|parameters 0 prepare 48 |||
prepare 3||99|CANNOTRUN; !drive encountered error while preparing to write)|parameters 0 prepare 48 |||
prepare 5||99|BADPARAMS; !bad input parameters)|parameters 0 prepare 48 |||
free 0||99|CANNOTRUN; (0, 0.8)|parameters 0 prepare 48 |||; 4 number of free sectors = 0
size 0||99|CANNOTRUN; (0, 0.8)|parameters 0 prepare 48 |||; 4 sector size = 0
free 15||99|BADPARAMS; (0, 0.8)|parameters 0 prepare 48 |||
unit 49||99|BADPARAMS; (0, 0.8)|parameters 0 prepare 48 |||
unit 0||99|BADPARAMS; (0, 0.8)|parameters 0 prepare 48 |||
reserve 0||99|CANNOTRUN; (0, 0.8); ERR cannotReserveSectors()|@|||; 4 unable to reserve sectors for testing
track 0||99|PASS; ^~; close|@track 0 session 0 | 0-48/16| 0-48/16|; 3 Unable to close open track
session 0||99|PASS; ^~; close; WARNING cannotCloseSession()|@track 0 session 0 | 0-48/16| 0-48/16
  ; 3 Unable to close open session
track busy||99|TIMEDOUT; ^; close|@track 0 session 0 | 0-48/16||
session busy||99|TIMEDOUT; ^~; close|@track 0 session 0 | 0-48/16| 0-48/16|
|,bad-write=0|99|FAIL; (0, 0.8); write(0); ERR writeSectorRangeErr(sector=0, lastSector=16)|@| 0-16/16||
|,bad-write=20|99|FAIL; (0, 0.8); write(0); 16 %; ERR writeSectorRangeErr(sector=16, lastSector=32); close
  @track 0 session 0 | 0-32/16||
|,bad=20|99|FAIL; ^; compare(0); 50 %; ERR readSectorRangeErr(sector=16, lastSector=32); close
  @track 0 session 0 | 0-48/16| 0-32/16|
shift 160|,corrupt=165|99|FAIL; ^; compare(0); ERR patternMismatchRange(sector=160, end_sector=176); close
  @track 0 session 0 | 160-208/16| 160-176/16|; 3 performing compare @0; 3 miscompare @160:; 3 written value
||2|USERABORTED; (0, 0.8); write(0)|@|||
||4|USERABORTED; (0, 0.8); write(0); 16 %; 33 %; close|@track 0 session 0 | 0-32/16||
||6|USERABORTED; ^; compare(0); 50 %; close|@track 0 session 0 | 0-48/16| 0-16/16|)")) {
        SCOPED_TRACE(row[0] + row[1] + " " + row[2]);
        insert(row[1]);
        const std::string what = row[0].substr(0, row[0].find(' ')), value = row[0].substr(what.size());
        if (value == " busy")
            recorder->onStep = [&](const std::string& step) {
                if (step == what)
                    unit->refuse(0x00, 2, 4, 8);
            };
        else if (!what.empty())
            recorder->answers[what] = std::stoul(value);
        host.stop = [at = std::stoi(row[2])](int check) { return check >= at; };
        EXPECT_EQ(run("NumberOfSeeks=48 RetryCount=0"),
                  zel::String(row[3])
                      .replace("^", "(0, 0.8); write(0); 16 %; 33 %; 50 %")
                      .replace("~", "; compare(0); 50 %; 66 %; 83 %")
                      .replace("; !", "; preparingForWrite(); ERR cannotPrepareForWrite(reason=")
                      .utf8());
        EXPECT_EQ(recorder->steps,
                  zel::String(row[4]).replace("@", "parameters 0 prepare 48 reserve 48 ").utf8());
        EXPECT_EQ(unit->writes + ";" + unit->reads, row[5] + ";" + row[6]);
        const std::string log = lines("PatternTestMMC");
        EXPECT_THAT(log, testing::HasSubstr(row[7]));
        EXPECT_EQ(std::ranges::count(log, '\n'),
                  row[1].starts_with(",corrupt") ? 2 * (1 + 16 * 2048 / 16) : 0);
    }
}

TEST_F(RecordingTests, AskTheDriveForItsSpeeds) {
    insert();
    unit->refuse(0xB6);
    unit->refuse(0xBB);
    EXPECT_THAT(run(""), StartsWith("PASS; (0, 0.8); write(0); ")) << "the drive keeps to its own";
    EXPECT_THAT(host.log, testing::Contains(testing::Field(&testing_support::RecordingHost::LogLine::text,
                                                           testing::HasSubstr("keeps to its own"))));
    unit->refuse(0xAC);
    EXPECT_THAT(run(""), StartsWith("PASS; (0, 0.8); write(0); ")) << "its mode page lists them, too";
    unit->refuse(0x5A);
    EXPECT_EQ(run(""), "CANNOTRUN");
    EXPECT_EQ(lines("PatternTestMMC"), "; 4 unable to get supported write speeds");
    unit->changes[0xAC] = [](std::uint8_t* data, auto& response) {
        data[3] = 4;
        response.transferredBytes = 8;
    };
    EXPECT_THAT(run(""), StartsWith("PASS; (0, optimal multiplier of 1); write(0); ")) << "it tells none";
}

TEST_F(RecordingTests, PassOnWhatTheDriveReports) {
    restart("");
    const std::string unknown =
        "; 3 DriveTestMMCRWCallback::handleResult: Unknown RecordableDrive event type : ";
    DriveTestMMCRWCallback sink(test);
    for (int type = -1; type <= 7; ++type)
        sink.handleResult(type);
    EXPECT_EQ(story(),
              "; MMCRWformatting(); ERR MMCRWcannotFormat(); ERR MMCRWformatNotSupported(); "
              "MMCRWblanking(); ERR MMCRWcannotBlank(); MMCRWreservingTrack(); "
              "ERR MMCRWcannotFindFreeSectors()");
    EXPECT_EQ(test.errorCount, 4U);
    EXPECT_EQ(lines("DriveTestMMCRWCallback"), unknown + "-1" + unknown + "7");
    insert(",state=unformatted");
    EXPECT_THAT(run("NumberOfSeeks=16"),
                StartsWith("PASS; preparingForWrite(); formatting(); settingWriteSpeed("));
}

TEST_F(RecordingTests, ScatterUnitsOverTheMedium) {
    const std::pair<const char*, std::size_t> cases[] = {
        {"", 100}, {"NumberOfSeeks=7", 7}, {"NumberOfSeeks=200", 200}, {"NumberOfSeeks=201", 200}};
    for (const auto& [given, units] : cases) {
        SCOPED_TRACE(given);
        recorder = open<ScriptedRecorder>("dvd+rw,sectors=3209,speed=1");
        EXPECT_THAT(run<RandomWriteTestMMC>(given), StartsWith("PASS; "));
        EXPECT_THAT(recorder->steps, StartsWith("parameters 0 prepare 0 reserve 3200 "));
        EXPECT_THAT(unit->patterns, StartsWith(" FF 00 F0 0F FF 00 "));
        EXPECT_EQ(unit->patterns.size(), 3 * units);
        EXPECT_EQ(unit->reads, unit->writes) << "not the same places in the same order";
        std::set<unsigned long> places;
        std::istringstream stretches(unit->writes);
        for (std::string stretch; stretches >> stretch;) {
            const unsigned long end = std::stoul(stretch.substr(stretch.find('-') + 1));
            for (unsigned long lba = std::stoul(stretch); lba < end; lba += 16)
                places.insert(lba % 16 == 0 && end <= 3200 ? lba : 1);
        }
        EXPECT_EQ(places.size() - places.count(1), units);
        EXPECT_FALSE(unit->writes.starts_with(" 0-112/16")) << "not scattered";
    }
    recorder = open<ScriptedRecorder>("dvd+r,sectors=1024");
    EXPECT_EQ(run<RandomWriteTestMMC>(""),
              "NOTSUPPORTED; ERR cannotPrepareForWrite(reason=the medium takes its "
              "sectors only one behind the other)");
    EXPECT_EQ(recorder->steps, "");
}

}  // namespace
}  // namespace libDriveTest
