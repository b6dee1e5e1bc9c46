#include <gmock/gmock.h>

#include "drivetest/ExitStatus.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Forecast.h"
#include "drivetest/terminal/ProgressText.h"
#include "drivetest/terminal/Texts.h"

namespace drivetest {
namespace {

using namespace std::chrono_literals;
using quix5::TestResult;

TEST(Texts, DurationsSizesCounts) {
    EXPECT_EQ(durationText(4560ms), "4.56 s");
    EXPECT_EQ(durationText(10s), "0:00:10");
    EXPECT_EQ(durationText(100h + 2min + 3s), "100:02:03");
    EXPECT_EQ(forecastText(71h), "71:00:00");
    EXPECT_EQ(forecastText(85h), "4 days");
    EXPECT_EQ(forecastText(24h * 365 * 15 - 24h), "15 years");
    EXPECT_EQ(sizeText(1023), "1023 B");
    EXPECT_EQ(sizeText(1536), "1.5 KiB");
    EXPECT_EQ(sizeText(1000204886016), "931.5 GiB");
    EXPECT_EQ(sizeText(~0ULL), "16.0 EiB");
    EXPECT_EQ(countText(1, "error") + ", " + countText(0, "warning"), "1 error, 0 warnings");
}

TEST(Columns, AreThoseOfTheTerminalAndNotBytes) {
    EXPECT_EQ(columnsOf("Prüfung"), 7U);
    EXPECT_EQ(columnsOf("检查 ok"), 7U);
    EXPECT_EQ(columnsOf("🚀.img ⚡"), 9U);
    EXPECT_EQ(shortened("检查磁盘", 8), "检查磁盘");
    EXPECT_EQ(shortened("检查磁盘", 6), "检查…");
    EXPECT_EQ(shortened("e\u0301tat", 3), "e\u0301t…");
    EXPECT_EQ(shortened("ab", 0), "");
}

TEST(Columns, FoldTextWhereItsScriptAllows) {
    struct {
        const char* text;
        std::vector<std::string> lines;
    } const rows[] = {
        {"", {""}},
        {"one two three", {"one two", "three"}},
        {"one\n two", {"one", " two"}},
        {"unbreakable word", {"unbreakable", "word"}},
        {"deux mots : « trois »", {"deux", "mots :", "« trois »"}},
        {"检查磁盘，等待中", {"检查磁", "盘，等待", "中"}},
        {"エラー、エラー（2 回）", {"エラー、", "エラー", "（2 回）"}},
    };
    for (const auto& row : rows) {
        std::vector<std::string> lines = folded(row.text, 8);
        EXPECT_EQ(lines, row.lines) << row.text;
    }
    EXPECT_EQ(withBreaksMarked("a b 磁盘，等（2）", "|"), "a b 磁|盘，|等|（2）");
}

TEST(Columns, FurtherLinesBeginBehindTheLabel) {
    const std::tuple<const char*, std::size_t, const char*> cases[] = {
        {"one two", 7, "one two"},
        {"one two", 6, "one\ntwo"},
        {"error:   not read at all", 20, "error:   not read at\n         all"},
        {"  read    1 of 2 in 3 s", 20, "  read    1 of 2 in\n          3 s"},
        {"  it holds nothing", 12, "  it holds\n  nothing"},
        {"name 12345678901 is long", 8, "name\n12345678901\nis long"},  // the terminal breaks the word
        {"语言 语言语言", 9, "语言 语言\n语言"},
        {"attention : one two three", 24, "attention : one two\n            three"},
        {"warning: one two", 13, "warning: one two"},
        {"warning: one two three", 18, "warning: one two\n         three"},
        {"error:   x y", 9, "error:   x y"},  // no room for anything
    };
    for (const auto& [text, columns, lines] : cases)
        EXPECT_EQ(foldedBehindLabel(text, columns), lines) << text;
}

TEST(ProgressMeter, RatesAreOfTheLastSecondsAndOfAll) {
    ProgressMeter meter;
    EXPECT_FALSE(meter.rateNow() || meter.rateMean() || meter.left());
    for (int second = 1; second <= 100; ++second) {
        const std::uint64_t megabytes = second <= 50 ? 4 * second : 200 + 2 * (second - 50);
        meter.add(std::chrono::seconds(second), {.percent = second / 10, .bytes = megabytes << 20U});
    }
    EXPECT_EQ(*meter.rateNow(), 2);
    EXPECT_EQ(*meter.rateMean(), 3);
    EXPECT_EQ(*meter.left(), 900s);
}

TEST(ProgressMeter, TakesSectorsForItWhereTheyAgreeWithTheTest) {
    const auto shareOf = [](const Advance& now) {
        ProgressMeter meter;
        meter.add(10s, now);
        return meter.share();
    };
    EXPECT_EQ(shareOf({.percent = 0, .visited = 5, .requested = 1000}), 0.005);
    EXPECT_EQ(shareOf({.percent = 41, .visited = 418, .requested = 1000}), 0.418);
    EXPECT_EQ(shareOf({.percent = 20, .visited = 800, .requested = 1000}), 0.2);  // of several passes
    EXPECT_EQ(shareOf({.percent = 60, .visited = 10, .requested = 1000}), 0.6);
    EXPECT_EQ(shareOf({.percent = 7}), 0.07);
}

/// What the rows look like without colours.
std::vector<std::string> screen(const Progress& progress, std::size_t width) {
    std::vector<std::string> lines;
    for (const StatusRow& row : progressRows(progress, width)) {
        lines.emplace_back();
        for (const StatusPiece& piece : row)
            lines.back() += piece.text;
        EXPECT_LE(columnsOf(lines.back()), width);
    }
    return lines;
}

class ProgressRows : public testing::Test {
protected:
    /// A drive of 20 TB after an hour and a half.
    ProgressRows() {
        now.advance = {
            .percent = 4, .bytes = 968'000ULL << 20U, .visited = 1'936'000'000, .requested = 39'062'500'000};
        now.errors = 3;
        now.position = 1'936'000'000;
        meter.add(elapsed, now.advance);
    }

    std::string title = "LinearReadTest /dev/disk/by-id/ata-DRIVE_OF_TWENTY_TB_0123456789";
    std::chrono::nanoseconds elapsed = 5400s;
    ProgressSnapshot now;
    ProgressMeter meter;
    Progress progress{title, now, meter, elapsed};
};

TEST_F(ProgressRows, SayFirstWhatMattersAndCutOnlyTheRest) {
    EXPECT_THAT(
        screen(progress, 79),
        testing::ElementsAre("5.0 %  28:45:55 left  3 errors  179.3 MB/s (mean 179.3)  sector 1936000000",
                             "0 warnings  1:30:00",
                             "LinearReadTest /dev/disk/by-id/ata-DRIVE_OF_TWENTY_TB_0123456789"));
    EXPECT_THAT(screen(progress, 39),
                testing::ElementsAre("5.0 %  28:45:55 left  3 errors", "179.3 MB/s (mean 179.3)",
                                     "sector 1936000000  0 warnings  1:30:00"));
    now.stopping = "stopping";
    now.activity = "after this transfer";
    EXPECT_THAT(screen(progress, 79).front(), testing::StartsWith("stopping  5.0 %"));
}

TEST_F(ProgressRows, ShowTheSurfaceWhereThereIsRoom) {
    now.surface = std::vector(100, LiveOutcome::untouched);
    std::fill_n(now.surface.begin(), 5, LiveOutcome::good);
    now.surface[2] = LiveOutcome::bad;
    EXPECT_THAT(screen(progress, 119).back(), testing::StartsWith("■■X■■···"));
    EXPECT_EQ(screen(progress, 79).size(), 3U);
}

TEST(Forecast, IsToldOnceForWhatTakesLong) {
    constexpr std::uint64_t kSectors = 39'062'500'000;
    const auto linesOf = [](std::chrono::nanoseconds elapsed, const Advance& now,
                            std::string advice = "take less") {
        ProgressMeter meter;
        meter.add(elapsed, now);
        Forecast forecast(std::move(advice));
        const std::vector<std::string> lines = forecast.due(meter, now, elapsed);
        EXPECT_TRUE(forecast.due(meter, now, 2 * elapsed).empty() || lines.empty());
        return lines;
    };
    using testing::ElementsAre;
    EXPECT_THAT(linesOf(2s, {.visited = kSectors / 50'000, .requested = kSectors, .bytesOfEach = 512}),
                ElementsAre("39062500000 sectors (18.2 TiB) to visit; at this rate it takes about 27:46:40",
                            "this is longer than a day: take less"));
    EXPECT_THAT(linesOf(1s, {.visited = 100, .requested = 47'000'000'000}, ""),
                ElementsAre("47000000000 positions to visit; at this rate it takes about 15 years"));
    EXPECT_THAT(linesOf(10s, {.percent = 10, .bytes = 300, .written = 200}),
                ElementsAre("at this rate it takes about 0:01:40; about 2.0 KiB will be written"));
    EXPECT_THAT(linesOf(2s, {.percent = 50}), ElementsAre());
    EXPECT_THAT(linesOf(900ms, {.visited = 1, .requested = kSectors}), ElementsAre());
}

TEST(ExitStatus, OfEveryResult) {
    const std::pair<TestResult, int> expected[] = {
        {TestResult::PASS, 0},           {TestResult::FAIL, 1},       {TestResult::BADPARAMS, 2},
        {TestResult::MISCONFIGURED, 2},  {TestResult::WARN, 3},       {TestResult::NOMEDIA, 4},
        {TestResult::INCORRECTMEDIA, 4}, {TestResult::DEVICEBUSY, 5}, {TestResult::CANNOTRUN, 6},
        {TestResult::NOTSUPPORTED, 6},   {TestResult::TIMEDOUT, 7},   {TestResult::INTERNALERROR, 8},
        {TestResult::USERABORTED, 130},
    };
    for (const auto& [result, status] : expected)
        EXPECT_EQ(exitStatusOf(result), status) << result.name();
}

}  // namespace
}  // namespace drivetest
