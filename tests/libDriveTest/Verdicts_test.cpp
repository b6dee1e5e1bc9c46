#include "FaultyDriveFixture.h"
#include "libDriveTest/CacheTest.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/LinearReadCompareTest.h"
#include "libDriveTest/LinearReadTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

using testing::HasSubstr;
using testing::Not;
using enum TestResult::Code;

struct Course {
    const char* given;
    const char* trace;  ///< what fails, and what follows from it
    TestResult verdict;
    const char* account;
};

class Verdicts : public FaultyDriveFixture {
protected:
    /// Chunks of four sectors over sectors of different contents.
    template <class TestClass>
    void expectAll(const char* device, const std::vector<Course>& courses) {
        for (const Course& c : courses) {
            SCOPED_TRACE(std::string(c.given) + " " + c.trace);
            open(device);
            fill();
            faulty->follow(c.trace);
            EXPECT_EQ(run<TestClass>(c.given), c.verdict) << events();
            EXPECT_EQ(traceLike(c.trace), c.trace);
            EXPECT_EQ(keeper.account, c.account);
            EXPECT_EQ(contents(), before);
        }
    }
};

TEST_F(Verdicts, CondemnWhatIsUnreadableAndNothingElse) {
    expectAll<LinearReadTest>("sim:disk,sectors=43",
                              {{"RetryCount=0", "r0+4! r0+1 r1+1! r2+1 r3+1 r4+4 ", FAIL, "1+1 unreadable; "},
                               {"RetryCount=0", "r0+4! r0+1 r1+1 r2+1 r3+1 r4+4 ", WARN, ""},
                               {"RetryCount=0 IsolateFailedLBA=no", "r0+4! r4+4 ", FAIL, "0+4 unreadable; "},
                               {"RetryCount=0", "r0+4 r4+4!9 |", CANNOTRUN, ""}});
    // The sectors of a chunk that failed at first are compared as they were read one by one.
    expectAll<LinearReadCompareTest>(
        "sim:disk,sectors=43", {{"RetryCount=0", "r0+4! r0+1 r1+1 r2+1 r3+1 r0+4 r4+4 ", WARN, ""},
                                {"RetryCount=0", "r0+4 r0+4! r0+1 r1+1 r2+1 r3+1 r4+4 ", WARN, ""},
                                {"RetryCount=0", "r0+4! r0+1 r1+1 r2+1~ r3+1 r0+4 ", FAIL, "2+1 wrongData; "},
                                {"RetryCount=0", "r0+4 r0+4~ ", FAIL, "3+1 wrongData; "}});
}

TEST_F(Verdicts, CondemnWhatDoesNotHoldItsPattern) {
    const char* const once = "RetryCount=0 NumberOfPatterns=1";
    expectAll<LinearPatternTest>(
        "sim:disk,sectors=83",
        {{once, "r0+4 w0+4 r0+4~ w0+4 w0+4 r4+4 ", FAIL, "3+1 wrongData; "},
         {once, "r0+4 w0+4! w0+1 w1+1! w2+1 w3+1 w0+4 ", FAIL, "1+1 unwritable; "},
         {once, "r0+4 w0+4 r0+4! r0+1 r1+1! r2+1 r3+1 w0+4 w0+4 ", FAIL, "1+1 unreadable; "},
         {once, "r0+4 w0+4 r0+4 w0+4! w0+1 w1+1! w1+1! w1+1! w1+1! w1+1 w2+1 ", WARN, ""},
         // The chunk is put back at the first wrong sector: what differs after it proves nothing.
         {once, "r0+4 w0+4 r0+4! r0+1 r1+1~ w0+4 r2+1 w0+4 r3+1 w0+4 w0+4 r4+4 ", FAIL, "1+1 wrongData; "}});
    const auto lines = host.linesOf("libDriveTest.LinearPatternTest", 3);
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(),
                            [](const auto& line) { return line.find("proves nothing") != line.npos; }),
              1);
    expectAll<CacheTest>("sim:disk,sectors=32768",
                         {{"RetryCount=0", "r0+256 w0+256 r0+256! r0+1 r1+1 ", WARN, ""}});
    EXPECT_THAT(events(), Not(HasSubstr("patternMismatch")));
}

TEST_F(Verdicts, SkipAChunkThatCannotBeSaved) {
    expectAll<LinearPatternTest>(
        "sim:disk,sectors=83", {{"RetryCount=0 NumberOfPatterns=1", "r0+4! r0+1 r1+1! r2+1 r3+1! r4+4 w4+4 ",
                                 FAIL, "skipped 0+4; 1+1 unreadable; 3+1 unreadable; "},
                                {"RetryCount=1 NumberOfPatterns=1",
                                 "r0+4! r0+1! r0+1 r1+1 r2+1 r3+1 r4+4 w4+4 ", FAIL, "skipped 0+4; "},
                                {"RetryCount=0", "r0+4! r0+1 r1+1!9 r4+4 w4+4 ", FAIL, "skipped 0+4; "}});
    expectAll<ReadWriteSpeedTest>(
        "sim:disk,sectors=8", {{"RetryCount=0 EndRange=1 XferSizeHinting=no",
                                "r0+1 r0+1 r1+1! r0+1 r1+1! r2+1 ", FAIL, "skipped 0+8; 1+1 unreadable; "}});
    // A dying drive must not keep the user waiting through all its chunks.
    open("sim:disk,sectors=83");
    faulty->failures = {{1, libDrive2::LIBDRIVE2_MEDIA_ERROR}};
    faulty->forGood = true;
    stopAfter(6);
    EXPECT_EQ(run<LinearPatternTest>("RetryCount=0"), USERABORTED);
    EXPECT_LT(faulty->transfers, 10);
    EXPECT_FALSE(host.percents.empty());
}

TEST_F(Verdicts, ChunkThatIsLeftInTheMiddleIsNotTested) {
    open("sim:disk,sectors=83");
    stopAfter(1);
    EXPECT_EQ(run<LinearPatternTest>("RetryCount=0"), USERABORTED);
    EXPECT_EQ(keeper.account, "skipped 0+4; ");
    EXPECT_EQ(contents(), before);
}

/// From the partial chunk on, chunks are retried as well; also after sectors were looked into.
TEST_F(Verdicts, PartialChunkIsRetriedToItsEnd) {
    open("sim:disk,sectors=82");
    const std::string trace = "r80+2 w80+2 r80+2! r80+2! r80+1 r81+1 w80+2! w80+2 r80+2 ";
    faulty->follow("r80+2 w80+2 r80+2! r80+2! r80+1 r81+1 w80+2! ");
    stopAfter(1000);
    give("RetryCount=1 NumberOfPatterns=2 StartRange=0");
    // The faults are those of the last chunk: the twenty before it take six transfers each.
    std::map<int, FaultyHandle::Error> late;
    for (const auto& [transfer, error] : faulty->failures)
        late[transfer + 20 * 6] = error;
    faulty->failures = late;
    EXPECT_EQ(runAgain<LinearPatternTest>(), WARN);
    EXPECT_THAT(faulty->trace, HasSubstr(trace));
}

TEST_F(Verdicts, SecondRunOfAnObjectForgetsTheFirstOnesCopies) {
    open("sim:disk,sectors=8");
    fill();
    ReadWriteSpeedTest twice(tested);
    give("EndRange=1");
    EXPECT_EQ(twice.run(), PASS);
    give("EndRange=1 PreserveData=no");
    EXPECT_EQ(twice.run(), PASS);
    EXPECT_NE(contents(), before);
}

}  // namespace
}  // namespace libDriveTest
