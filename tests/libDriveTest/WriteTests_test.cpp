#include "FaultyDriveFixture.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

using enum TestResult::Code;

/// What a transfer is for, and so what its failure means.
struct Transfer {
    enum Kind { backup, narrowed, notNarrowed, restore } kind;
    bool chunkWritten = false;  ///< the chunk no longer holds its data
};

class WriteTests : public FaultyDriveFixture {
protected:
    struct Fault {
        FaultyHandle::Error type;
        bool forGood;
        Transfer at;
        [[nodiscard]] bool isFailure() const { return type < libDrive2::LIBDRIVE2_WRITE_PROTECTED_MEDIUM; }
        [[nodiscard]] bool isMended() const {
            return !forGood &&
                   (at.kind == Transfer::restore || (isFailure() && at.kind == Transfer::narrowed));
        }
        [[nodiscard]] TestResult verdict() const {
            // An error of the drive itself fails a test even when it is mended.
            if (isMended())
                return type == libDrive2::LIBDRIVE2_DRIVE_ERROR ? FAIL : WARN;
            if (isFailure())
                return FAIL;
            return type == libDrive2::LIBDRIVE2_BUSY ? DEVICEBUSY : CANNOTRUN;
        }
        /// The chunk stays as it is where the drive takes no more writes, or the fault ends the test at once.
        [[nodiscard]] bool leavesChunk() const {
            return at.chunkWritten && !isMended() && (forGood || !isFailure());
        }
    };

    /// Lets the Nth transfer fail, for every N until none is reached, or up to the last one.
    template <class TestClass>
    void sweep(const std::string& locator, const std::string& given, int last, Transfer (*transfer)(int)) {
        zel::LogFactory::setPriority(5);  // nobody reads the lines
        give(given);
        for (int type = 1; type <= 9; ++type)
            for (const bool forGood : {false, true}) {
                open(locator);
                for (int n = 1; n <= last; ++n) {
                    faulty->failures = {{n, FaultyHandle::Error(type)}};
                    faulty->forGood = forGood;
                    const TestResult verdict = runAgain<TestClass>();
                    const bool reached = faulty->transfers >= n;
                    const Fault fault{FaultyHandle::Error(type), forGood, transfer(n)};
                    const std::string where = std::to_string(type) + " at " + std::to_string(n);
                    ASSERT_EQ(verdict, reached ? fault.verdict() : TestResult(PASS)) << where << forGood;
                    const bool changed = contents() != before;
                    ASSERT_EQ(changed, reached && fault.leavesChunk()) << where << forGood;
                    if (changed) {
                        ASSERT_TRUE(model->write(0, before.data(), before.size()).ok());
                    }
                    if (!reached)
                        break;
                    ASSERT_LT(n, last) << "the sweep ends before the test does";
                }
                ASSERT_EQ(FaultyHandle::alive, 1);
            }
    }
};

TEST_F(WriteTests, LeaveEveryByteAsItWas) {
    open("sim:disk,sectors=33000");
    for (const char* given :
         {"EndRange=1000", "NumberOfPatterns=18 StartRange=5 EndRange=108", "XferSizeHinting=no EndRange=30",
          "SectorPercentToTest=10", "OverridePattern=a5"})
        EXPECT_EQ(run<LinearPatternTest>(given), PASS) << given;
    EXPECT_EQ(run<CacheTest>(""), PASS);
    EXPECT_EQ(run<ReadWriteSpeedTest>(""), PASS);
    EXPECT_EQ(contents(), before);
    EXPECT_EQ(run<LinearPatternTest>("PreserveData=no"), PASS);
    EXPECT_EQ(contents(), std::vector<char>(before.size(), 0x0F));
}

TEST_F(WriteTests, RefuseWhatTheyCannotDo) {
    open("sim:disk,sectors=32767");
    const struct {
        const char *given, *event;
        bool pattern = true;
    } cases[] = {
        {"NumberOfPatterns=0", "WARNING invalidPatternCnt(patternCntMax=18)"},
        {"NumberOfPatterns=19", "WARNING invalidPatternCnt(patternCntMax=18)"},
        {"OverridePattern=1FF", "error invalidParameters(params=OverridePattern:1FF)"},
        {"OverridePattern=0x", "error invalidParameters(params=OverridePattern:0x)"},
        {"OverridePattern=+5", "error invalidParameters(params=OverridePattern:+5)"},
        {"OverridePattern=-1", "error invalidParameters(params=OverridePattern:-1)"},
        {"VerifyOnly=yes", "error invalidParameters(params=OverridePattern:, VerifyOnly:true)"},
        {"SectorPercentToTest=0", "error invalidParameters(params=SectorPercentToTest:0)"},
        {"WriteRateThreshold=0", "error invalidParameters(params=WriteRateThreshold:0, ReadRateThreshold:1)",
         false},
        {"StartRange=9 EndRange=9 WriteEndRange=x", "error invalidParameters(params=WriteEndRange:x)", false},
        {"WriteStartRange=9 WriteEndRange=9",
         "error invalidParameters(params=WriteStartRange:9, WriteEndRange:9)", false},
    };
    for (const auto& c : cases) {
        EXPECT_EQ(c.pattern ? run<LinearPatternTest>(c.given) : run<ReadWriteSpeedTest>(c.given), BADPARAMS);
        EXPECT_EQ(events(), std::string(c.event) + "; ");
    }
    EXPECT_EQ(run<CacheTest>(""), BADPARAMS);
    EXPECT_EQ(events(), "error invalidParameters(params=StartRange:MIN, EndRange:MAX); ");
    EXPECT_EQ(faulty->trace, "");
    open("sim:disk,sectors=100,wp");
    EXPECT_EQ(run<LinearPatternTest>(""), CANNOTRUN);
    EXPECT_EQ(events(), "WARNING writeProtectedMedia(MediaName=Drive); ");
}

TEST_F(WriteTests, AnyTransferMayFail) {
    using enum Transfer::Kind;
    // A chunk: its backup, two patterns written and read, its restoration.
    sweep<LinearPatternTest>("sim:disk,sectors=40", "NumberOfPatterns=2 RetryCount=0", 122, [](int n) {
        const int step = (n - 1) % 6;
        return Transfer{step == 0 ? backup : step == 5 ? restore : narrowed, step > 1};
    });
    // 20 reads that are timed; then backup, writes and restoration in 20 transfers each.
    sweep<ReadWriteSpeedTest>("sim:disk,sectors=40", "RetryCount=0", 82, [](int n) {
        const int step = (n - 1) / 20;
        return Transfer{step == 1 ? backup : step == 3 ? restore : notNarrowed, n > 41};
    });
}

TEST_F(WriteTests, PutTheChunkBackBeforeTheyStop) {
    // The first check is that for a medium; the pattern test checks after each pattern and each chunk.
    open("sim:disk,sectors=100");
    for (int check = 2; check < 40; ++check) {
        stopAfter(check - 1);
        EXPECT_EQ(run<LinearPatternTest>(""), USERABORTED);
        EXPECT_EQ(host.stopChecks, check);
        EXPECT_EQ(contents(), before) << check;
    }
    for (const auto& [check, transfers] : {std::pair{2, 20}, {3, 80}, {4, 80}}) {
        stopAfter(check - 1);
        EXPECT_EQ(run<ReadWriteSpeedTest>(""), USERABORTED);
        EXPECT_EQ(faulty->transfers, transfers);
        EXPECT_EQ(contents(), before) << check;
    }
}

}  // namespace
}  // namespace libDriveTest
