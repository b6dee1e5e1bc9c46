#include <gmock/gmock.h>

#include <algorithm>
#include <cctype>
#include <cmath>
#include <random>

#include "RecordText.h"
#include "drivetest/findings/Figures.h"
#include "drivetest/findings/RunComparison.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/HtmlReport.h"
#include "drivetest/html/SurfaceData.h"

namespace drivetest {
namespace {

using namespace testing_support;
using testing::HasSubstr;
using testing::Not;

std::string pageOf(const std::vector<RecordedRun>& runs) {
    std::string page;
    EXPECT_TRUE(writeHtmlReport(runs, [&page](std::string_view part) {
        page += part;
        return true;
    }));
    return page;
}

TEST(HtmlWriter, LeavesNoTextToBeMarkup) {
    std::string page;
    HtmlWriter html([&page](std::string_view part) {
        page += part;
        return true;
    });
    html.element("p", "a<b>&\"'\x1b[0m\u202e\xff", {{"title", "\"><script>"}});
    html.data("x", Json{{"name", "</script><!--"}});
    EXPECT_TRUE(html.finish());
    EXPECT_EQ(
        page,
        "<p title=\"&quot;&gt;&lt;script&gt;\">a&lt;b&gt;&amp;&quot;&#39;\\x1b[0m\\u{202e}\\xff</p>\n"
        "<script type=\"application/json\" id=\"x\">{\"name\":\"\\u003c/script>\\u003c!--\"}</script>\n");
}

TEST(HtmlWriter, TellsWhenThePageCannotBeWritten) {
    int parts = 0;
    const auto takesOne = [&parts](std::string_view) { return ++parts == 1; };
    EXPECT_FALSE(writeHtmlReport({readRun({})}, takesOne));
    EXPECT_EQ(parts, 2);  // and no more after the one that failed
}

/// Every text of a record, each of which somebody else may have written.
TEST(HtmlReport, ShowsHostileTextsAsText) {
    const std::string hostile = R"(<script>x()</script>\"'><img src=x>\u202e)";
    const auto text = [&hostile](const char* name) {
        return "\"" + std::string(name) + "\":\"" + hostile + "\"";
    };
    std::string start = R"({"testRunArtifact":{"testRunStart":{"name":"drivetest",)" + text("version") + "," +
                        text("commandLine") + R"(,"parameters":{)" + text(hostile.c_str()) +
                        R"(},"dutInfo":{)" + text("name") + R"(,"hardwareInfos":[{)" + text("name") + "," +
                        text("serialNumber") + "," + text("revision") + "," + text("manufacturer") +
                        "}]}}}," + text("timestamp") + "}";
    std::string problem;
    const auto run = readLines(
        {kVersionLine, start, stepLine("\"testStepStart\":{" + text("name") + "}"),
         extensionLine("drive", "{" + text("method") + "}"),
         extensionLine("event", "{" + text("key") + "," + text("type") + "," + text("message") + "," +
                                    text("cause") + R"(,"variables":{}})"),
         extensionLine("badSectors", "{" + text("fault") + "," + text("words") + R"(,"ranges":[[1,2]]})"),
         extensionLine("latency",
                       R"({"operations":[{)" + text("operation") + R"(,"count":1,"buckets":[[1,1]]}]})"),
         extensionLine("slowTransfers", R"({"slowest":[{)" + text("operation") +
                                            R"(,"sector":1,"lastSector":2,"durationUs":3}]})"),
         extensionLine("transfers", R"({"operations":[{)" + text("operation") + "}]}"),
         extensionLine("unrestored", R"({"ranges":[{"sector":1,"lastSector":1}],)" + text("journal") + "}"),
         extensionLine("coverage", "{" + text("unit") + R"(,"requested":1})"),
         stepLine("\"error\":{" + text("symptom") + "," + text("message") + "}"),
         stepLine("\"measurement\":{\"name\":\"readRate\",\"value\":1," + text("unit") + "}"),
         extensionLine("result", "{" + text("result") + "}")},
        problem);
    EXPECT_EQ(problem, "");
    const std::string page = pageOf({run.value_or(RecordedRun{})});
    EXPECT_THAT(page, Not(HasSubstr("<script>")));
    EXPECT_THAT(page, Not(HasSubstr("<img")));
    EXPECT_THAT(page, Not(HasSubstr("\u202e")));
    std::size_t shown = 0;
    for (auto at = page.find("&lt;img src"); at != std::string::npos; at = page.find("&lt;img src", at + 1))
        ++shown;
    EXPECT_GE(shown, 20U);  // where texts are shown at all
}

/// A record of everything, whose numbers are then whatever somebody may have put there.
TEST(HtmlReport, IsMadeOrRefusedWhateverTheNumbersAre) {
    const std::vector<std::string> lines{
        extensionLine("drive", R"({"method":"block","sectors":40,"sectorBytes":512})"),
        extensionLine("surface",
                      R"({"sectorsPerCell":8,"cells":5,"outcomes":[[1,4],[2,1]],"slowestUs":[[7,5]]})"),
        extensionLine("regions",
                      R"({"sectorsPerRegion":20,"regions":2,"read":{"bytes":[10240,10240],"us":[5,9]}})"),
        extensionLine("badSectors", R"({"fault":"unreadable","words":"","ranges":[[32,39]]})"),
        extensionLine(
            "slowTransfers",
            R"({"over150ms":1,"over500ms":0,"slowest":[{"sector":3,"lastSector":4,"durationUs":5}]})"),
        extensionLine(
            "latency",
            R"({"operations":[{"operation":"read","count":3,"p50Us":5,"p99Us":6,"longestUs":7,"buckets":[[5,2],[7,1]]}]})"),
        extensionLine("coverage", R"({"unit":"sectors","requested":40,"tested":32,"failed":8,"skipped":0})"),
        stepLine(R"("measurement":{"name":"readRate","value":5,"unit":"MB/s"})"),
    };
    int made = 0;
    int refused = 0;
    for (std::size_t line = 0; line < lines.size(); ++line)
        for (auto at = lines[line].find("\"name\""); at < lines[line].rfind("},"); ++at) {
            if (std::isdigit(static_cast<unsigned char>(lines[line][at])) == 0)
                continue;
            for (const char* number :
                 {"0", "-1", "1.5e300", "4294967296", "18446744073709551615", "null", "\"x\"", "[]"}) {
                std::vector<std::string> changed = lines;
                changed[line].replace(at, 1, number);
                std::vector<RecordedRun> runs{readRun(changed)};
                ++(runs[0].test.empty() ? refused : made);
                EXPECT_THAT(pageOf(runs), testing::EndsWith("</html>\n"));
            }
        }
    EXPECT_GT(made, 100);
    EXPECT_GT(refused, 100);
}

TEST(Verdict, SaysWhatABuyerNeeds) {
    using Kind = Verdict::Kind;
    const auto result = [](const char* name, int warnings = 0) {
        return extensionLine("result", std::string(R"({"result":")") + name + R"(","errors":0,"warnings":)" +
                                           std::to_string(warnings) + "}");
    };
    const auto coverage = [](const char* unit, int requested, int tested, int failed, int skipped) {
        return extensionLine("coverage", Json{{"unit", unit},
                                              {"requested", requested},
                                              {"tested", tested},
                                              {"failed", failed},
                                              {"skipped", skipped}}
                                             .dump());
    };
    const std::string drive =
        extensionLine("drive", R"({"method":"block","sectors":1000,"sectorBytes":512})");
    const std::string bad =
        extensionLine("badSectors", R"({"fault":"unreadable","words":"","ranges":[[7,9]]})");
    const struct {
        std::vector<std::string> lines;
        Kind kind;
        const char* sentence;
    } cases[] = {
        {{drive, coverage("sectors", 1000, 1000, 0, 0), result("PASS")},
         Kind::sound,
         "each of the 1\u202f000 sectors"},
        {{drive, coverage("sectors", 100, 100, 0, 0), result("PASS")},
         Kind::doubted,
         "in the 10.0\u00a0% of the drive"},
        {{drive, coverage("sectors", 1000, 999, 0, 1), result("PASS")},
         Kind::doubted,
         "in the 99.900\u00a0% of"},
        {{drive, coverage("positions", 5, 5, 0, 0), result("PASS")}, Kind::doubted, "at the 5 positions"},
        {{drive, coverage("sectors", 1000, 1000, 0, 0), result("WARN", 2)},
         Kind::doubted,
         "there are 2 warnings"},
        {{drive, coverage("sectors", 1000, 1000, 0, 0), result("WARN")},
         Kind::doubted,
         "slower than was allowed"},
        {{bad, coverage("sectors", 1000, 997, 3, 0), result("FAIL")},
         Kind::faulty,
         "3 sectors of the drive are bad"},
        {{bad, result("USERABORTED")}, Kind::faulty, "3 sectors of the drive are bad"},
        {{result("FAIL")}, Kind::faulty, "The drive failed the test"},
        {{result("USERABORTED")}, Kind::open, "stopped before its end"},
        // Nothing tells the drive's size: there is no claim about the whole.
        {{coverage("sectors", 100, 100, 0, 0), result("PASS")},
         Kind::doubted,
         "how much of the drive was tested is not known"},
        {{drive, coverage("sectors", 1000, 0, 0, 1000), result("PASS")},
         Kind::doubted,
         "no sector was tested either"},
        {{stepLine(R"("error":{"symptom":"driveLost","message":"gone"})"), result("CANNOTRUN")},
         Kind::open,
         "stopped taking commands"},
        {{result("NOMEDIA")}, Kind::open, "could not be carried out (NOMEDIA)"},
    };
    for (const auto& each : cases) {
        const Verdict verdict = Verdict::of(readRun(each.lines));
        EXPECT_EQ(verdict.kind, each.kind) << verdict.sentence;
        EXPECT_THAT(verdict.sentence, HasSubstr(each.sentence));
    }
    const std::string event = extensionLine(
        "event", R"({"key":"readSectorErr","type":"ERR","message":"Sector 7","variables":{"ReadSector":7}})");
    for (const auto& [line, sentence] :
         {std::pair(bad, "3 sectors of the drive are bad"),
          {event, "until then it told of 1 error: do not rely on the drive"},
          {drive, "breaks off before the end of the test: there is no verdict"}}) {
        std::string problem;
        const auto cutOff = readLines({kVersionLine, kStartLine, kStepLine, line}, problem);
        EXPECT_THAT(Verdict::of(cutOff.value_or(RecordedRun{})).sentence, HasSubstr(sentence)) << problem;
    }
}

RecordedRun runWithBad(const std::vector<RunComparison::Range>& ranges) {
    RecordedRun run;
    for (const auto& [first, last] : ranges)
        run.bad.push_back({first, last, 0});
    return run;
}

TEST(RunComparison, FindsNewBadSectorsInWhateverWayRangesOverlap) {
    using Ranges = std::vector<RunComparison::Range>;
    const struct {
        Ranges before, now, added, gone;
    } cases[] = {
        {{}, {{5, 9}}, {{5, 9}}, {}},
        {{{5, 9}}, {{5, 9}}, {}, {}},
        {{{5, 9}}, {{1, 20}}, {{1, 4}, {10, 20}}, {}},
        {{{1, 3}, {6, 8}, {11, 12}}, {{2, 11}}, {{4, 5}, {9, 10}}, {{1, 1}, {12, 12}}},
        {{{0, 0}}, {{0, 0}, {1, 1}, {3, 3}}, {{1, 1}, {3, 3}}, {}},
        {{{5, 5}, {6, 6}}, {{5, 6}}, {}, {}},
        {{{100, 200}}, {{7, 7}}, {{7, 7}}, {{100, 200}}},
    };
    for (const auto& each : cases) {
        const RunComparison comparison = RunComparison::of(runWithBad(each.before), runWithBad(each.now));
        EXPECT_EQ(comparison.newBad, each.added);
        EXPECT_EQ(comparison.noMoreBad, each.gone);
    }
}

TEST(RunComparison, NamesRegionsThatAreSlowerByMoreThanAFifth) {
    RecordedRun before;
    before.regions = RecordedRegions{10, {{100, 1}, {100, 1}, {100, 1}, {0, 0}}, {}};
    RecordedRun now = before;
    now.regions = RecordedRegions{10, {{100, 1}, {100, 1.2}, {100, 2}, {100, 9}}, {}};
    const auto slower = RunComparison::of(before, now).slower;
    ASSERT_EQ(slower.size(), 1U);
    EXPECT_EQ(slower[0].first, 20U);
    EXPECT_EQ(slower[0].last, 29U);
    EXPECT_DOUBLE_EQ(slower[0].now / slower[0].before, 0.5);
}

std::vector<std::uint8_t> decoded(const Json& list) {
    const std::string text = list.at("data");
    const std::string digits = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::vector<std::uint8_t> bytes;
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::uint32_t group = 0;
        for (std::size_t j = 0; j < 4; ++j)
            group =
                group << 6 | static_cast<std::uint32_t>(text[i + j] == '=' ? 0 : digits.find(text[i + j]));
        for (std::size_t j = 0; j < 3 && text[i + j + 1] != '='; ++j)
            bytes.push_back(static_cast<std::uint8_t>(group >> (16 - 8 * j)));
    }
    if (list.at("coding") == "bytes")
        return bytes;
    std::vector<std::uint8_t> values;
    for (std::size_t at = 0; at < bytes.size();) {
        const std::uint8_t value = bytes[at++];
        std::size_t run = 0;
        for (unsigned shift = 0; run += std::size_t{bytes[at] & 127U} << shift, bytes[at++] >= 128;
             shift += 7)
            ;
        values.insert(values.end(), run, value);
    }
    return values;
}

TEST(SurfaceData, KeepsEveryCellInWhicheverCoding) {
    std::mt19937 random(1);  // NOLINT: the same cells each time
    RecordedSurface surface{1};
    for (int cell = 0; cell < 1000000; ++cell) {
        surface.outcomes.push_back(cell / 1000 % 700 == 3 ? CellOutcome::failed : CellOutcome::good);
        surface.slowestUs.push_back(static_cast<float>(0.2 + static_cast<double>(random() % 100000000) / 7));
    }
    RecordedRun run;
    run.surface = surface;
    const Json data = surfaceData(run);
    EXPECT_LT(data.dump().size(), std::size_t{2} << 20);
    const auto outcomes = decoded(data.at("outcomes"));
    const auto codes = decoded(data.at("slowest"));
    ASSERT_EQ(outcomes.size(), 1000000U);
    ASSERT_EQ(codes.size(), 1000000U);
    EXPECT_EQ(std::count(outcomes.begin(), outcomes.end(), 3), 2000);
    EXPECT_EQ(outcomes[3999] + outcomes[4000] + outcomes[703999], 3 + 1 + 3);
    for (std::size_t cell = 0; cell < codes.size(); cell += 997) {
        const double shown = 0.1 * std::exp2((codes[cell] - 1) / 8.0);
        EXPECT_NEAR(shown / static_cast<double>(surface.slowestUs[cell]), 1, 0.05);
    }
}

TEST(Figures, KeepTheirMeaningAtTheEdges) {
    EXPECT_EQ(shareFigure(999999999, 1000000000), "99.999\u00a0%");  // never "100 %" with a sector missing
    EXPECT_EQ(shareFigure(1, 1000000000), "0.001\u00a0%");
    EXPECT_EQ(shareFigure(0, 0) + shareFigure(5, 5), "0\u00a0%100\u00a0%");
    EXPECT_EQ(latencyFigure(999.6), "1.00\u00a0ms");
    EXPECT_EQ(latencyFigure(999600), "1.00\u00a0s");
    EXPECT_EQ(sizeFigure(512), "512\u00a0B");
    EXPECT_EQ(sizeFigure(2e13), "20.0\u00a0TB");
    EXPECT_EQ(timeFigure("<b>"), "<b>");
    EXPECT_DOUBLE_EQ(secondsBetween("2026-02-28T23:59:59.500Z", "2026-03-01T00:00:01.000Z"), 1.5);
}

}  // namespace
}  // namespace drivetest
