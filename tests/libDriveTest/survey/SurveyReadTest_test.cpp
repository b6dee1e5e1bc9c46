#include "libDriveTest/survey/SurveyReadTest.h"

#include <chrono>
#include <regex>

#include "FaultyDriveFixture.h"
#include "libDriveTest/ChunkSequence.h"
#include "libDriveTest/LinearReadTest.h"
#include "libDriveTest/LinearSeekTest.h"

namespace libDriveTest {
namespace {

using std::chrono::seconds;
using testing::ElementsAre;
using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;
using enum TestResult::Code;

/// The sectors that operations name, in order.
class ReadKeeper : public AccountKeeper {
public:
    std::vector<std::uint64_t> lbas;
    std::uint64_t planned = 0;

    void onOperation(const libDrive2::DriveOperationReport& report) override {
        if (report.operation != libDrive2::DriveOperation::other)
            lbas.push_back(report.lba);
    }
    void onPlan(std::uint64_t sectors) override { planned = sectors; }
    void onPlanPositions(std::uint64_t positions) override { planned = positions; }
};

class Survey : public ModuleFixture {
protected:
    template <class TestClass = SurveyReadTest>
    TestResult run(const std::string& locator, const std::string& given) {
        give(given);
        host.events.clear();
        keeper = ReadKeeper();
        const libDrive2::SharedDrive tested = open("sim:disk," + locator);
        tested->setObserver(&keeper);
        const auto began = clock.now();
        const TestResult ended = TestClass(tested).run();
        took = clock.now() - began;
        return ended;
    }
    [[nodiscard]] std::string events() const {
        std::string all;
        for (const auto& event : host.events)
            all += event.type + " " + event.key + "(" + event.variables + "); ";
        return all;
    }

    ReadKeeper keeper;
    zel::Clock::Duration took{0};
};

TEST_F(Survey, SaysWhatASampleProves) {
    const std::string large = "sectors=1000000000,speed=100";  // reading all of it takes 4883 s
    EXPECT_EQ(run(large, "MaxTime=10"), PASS);
    std::smatch said;
    const std::string sentence = events();
    ASSERT_TRUE(std::regex_match(
        sentence, said,
        std::regex(
            R"(INFORMATIVE surveySample\(Samples=(\d+), Areas=122071, AreaMiB=4, Certainty=99, Bound=(\d+)\); )")))
        << sentence;
    EXPECT_GT(std::stoi(said[1]), 150);
    EXPECT_LT(std::stoi(said[2]), 122071 / 30);
    EXPECT_EQ(keeper.planned, 1000000000U);
    EXPECT_GT(took, seconds(8));
    EXPECT_LE(took, seconds(10));

    EXPECT_EQ(run(large + ",bad=300000000-600000000", "MaxTime=10"), FAIL);
    EXPECT_THAT(events(), StartsWith("ERR readSectorErr(ReadSector="));
    EXPECT_THAT(host.events.back().key, "surveyBadAreas");
    EXPECT_EQ(run(large, "MaxTime=1"), PASS);
    EXPECT_EQ(events(), "INFORMATIVE surveyTooShort(); ");
    EXPECT_EQ(run(large, "SurveyMethod=sample OnlyRanges=1-2"), BADPARAMS);
    host.stop = [](int n) { return n > 3; };
    EXPECT_EQ(run(large, "MaxTime=10"), USERABORTED);
    EXPECT_THAT(events(), testing::Not(HasSubstr("surveyTooShort")));
}

TEST_F(Survey, ReadsAllWhereNothingLimitsIt) {
    const std::string faulty = "sectors=300000,bad=70+8191-8193+299999";
    const std::string errors =
        "ERR readSectorErr(ReadSector=70); ERR readSectorErr(ReadSector=8191); ERR "
        "readSectorErr(ReadSector=8192); "
        "ERR readSectorErr(ReadSector=8193); ERR readSectorErr(ReadSector=299999); ";
    for (const char* given : {"", "MaxTime=600", "SurveyMethod=gentle"}) {
        EXPECT_EQ(run(faulty, given), FAIL) << given;
        EXPECT_THAT(events(), StartsWith(errors)) << given;
        EXPECT_EQ(keeper.account,
                  "70+1 unreadable; 8191+1 unreadable; 8192+1 unreadable; 8193+1 unreadable; 299999+1 "
                  "unreadable; ");
    }
    EXPECT_EQ(run(faulty, "SurveyMethod=gentle MaxErrors=2"), FAIL);
    EXPECT_THAT(events(), EndsWith("error hitMaxErr(MaxError=2); "));
    EXPECT_EQ(run(faulty, "SurveyMethod=gentle OnlyRanges=71-8000,200000-250000"), PASS);
    EXPECT_EQ(keeper.planned, 57931U);
    EXPECT_EQ(*std::ranges::max_element(keeper.lbas) < 250001, true);
    for (const char* given : {"OnlyRanges=5-4", "OnlyRanges=400000", "StartRange=9 OnlyRanges=1-8"})
        EXPECT_EQ(run(faulty, std::string("SurveyMethod=gentle ") + given), BADPARAMS) << given;
    host.stop = [](int n) { return n > 3; };
    EXPECT_EQ(run(faulty, "SurveyMethod=gentle"), USERABORTED);
}

/// A chunk that failed is an error, even where no time was left to find its bad sectors.
TEST_F(Survey, TellsOfChunksThatItHadNoTimeFor) {
    EXPECT_EQ(
        run("sectors=400000,bad=100000-150000,slow=100000-150000:3000", "SurveyMethod=gentle MaxTime=120"),
        FAIL);
    const std::regex ranges("(ERR readSectorRangeErr\\(sector=[0-9]+, lastSector=[0-9]+\\); )+");
    EXPECT_TRUE(std::regex_match(events(), ranges)) << events();
    EXPECT_EQ(keeper.account, "");
    EXPECT_GE(took, seconds(120));
    EXPECT_LT(took, seconds(130));
}

TEST_F(Survey, LinearTestsSpreadWhatTheyVisitInALimitedTime) {
    const auto spread = [this] {
        std::vector<int> quarters(4);
        for (const std::uint64_t lba : keeper.lbas)
            ++quarters[lba / 1000000];
        return quarters;
    };
    // 1.9 GiB at 100 MB/s: half of it in ten seconds.
    EXPECT_EQ(run<LinearReadTest>("sectors=4000000,speed=100", "MaxTime=10"), PASS);
    const auto quarters = spread();
    EXPECT_NEAR(quarters[0], quarters[3], quarters[0] / 4.0);
    EXPECT_NEAR(quarters[1], quarters[2], quarters[1] / 4.0);
    EXPECT_GE(took, seconds(10));
    EXPECT_LT(took, seconds(11));
    EXPECT_EQ(run<LinearReadTest>("sectors=40000,bad=39999", "MaxTime=10"), FAIL);
    EXPECT_EQ(keeper.account, "39999+1 unreadable; ");
    EXPECT_EQ(run<LinearSeekTest>("sectors=100000", "MaxTime=10"), PASS);
    std::ranges::sort(keeper.lbas);
    EXPECT_EQ(std::ranges::unique(keeper.lbas).begin() - keeper.lbas.begin(), 100000);
}

TEST(ChunkSequence, GivesEachChunkOnceAndThePartialOneLast) {
    for (const auto& [sectors, run] :
         {std::pair(0U, 1U), {1U, 4U}, {9U, 1U}, {10U, 20U}, {1003U, 30U}, {4096U, 1U}})
        for (const bool isSpread : {false, true}) {
            ChunkSequence sequence(sectors, 10, run, isSpread);
            std::vector<std::uint64_t> given, wanted;
            for (auto at = sequence.next(); at; at = sequence.next())
                given.push_back(*at);
            for (std::uint64_t at = 0; at < sectors; at += 10)
                wanted.push_back(at);
            EXPECT_TRUE(sectors % 10 == 0 || given.back() == wanted.back());
            if (isSpread)
                std::ranges::sort(given);
            EXPECT_EQ(given, wanted);
        }
    ChunkSequence runs(100, 10, 20, true);
    std::vector<std::uint64_t> order;
    for (auto at = runs.next(); at; at = runs.next())
        order.push_back(*at);
    EXPECT_THAT(order, ElementsAre(0, 10, 80, 90, 40, 50, 20, 30, 60, 70));
}

TEST(ChunkSequence, GoesOnBehindWhatIsDone) {
    for (const std::uint64_t sectors : {7, 100, 1003, 4096})
        for (const bool isSpread : {false, true}) {
            const auto restAfter = [&](std::uint64_t done) {
                ChunkSequence sequence(sectors, 10, 30, isSpread);
                std::vector<std::uint64_t> rest;
                EXPECT_TRUE(sequence.skip(done)) << done;
                for (auto at = sequence.next(); at; at = sequence.next())
                    rest.push_back(*at);
                return rest;
            };
            std::vector<std::uint64_t> wanted = restAfter(0);
            for (std::uint64_t done = 10; !wanted.empty(); done += 10) {
                wanted.erase(wanted.begin());
                ASSERT_EQ(restAfter(std::min(done, sectors)), wanted) << sectors << " " << done;
            }
            for (const std::uint64_t wrong : {std::uint64_t{3}, sectors + 1, sectors + 10, UINT64_MAX})
                EXPECT_FALSE(ChunkSequence(sectors, 10, 30, isSpread).skip(wrong)) << wrong;
        }
}

}  // namespace
}  // namespace libDriveTest
