#include <gmock/gmock.h>

#include "RecordText.h"

namespace drivetest {
namespace {

using namespace testing_support;
using testing::ElementsAre;
using testing::HasSubstr;

TEST(RecordReader, NamesTheFileAndTheLineOfWhatItRefuses) {
    const struct {
        std::vector<std::string> lines;
        const char* sentence;
    } cases[] = {
        {{}, "out.jsonl:1: this is no record of a run"},
        {{"GIF89a"}, "out.jsonl:1: this is no record of a run"},
        {{"[1,2]"}, "out.jsonl:1: this is no record of a run"},
        {{R"({"name":"x"})"}, "out.jsonl:1: this is no record of a run"},
        {{R"({"schemaVersion":{"major":3,"minor":0}})"},
         "out.jsonl:1: the record is of version 3.0, which is newer"},
        {{R"({"schemaVersion":{"major":2,"minor":1}})"},
         "out.jsonl:1: the record is of version 2.1, which is newer"},
        {{R"({"schemaVersion":{"major":"2"}})"}, "out.jsonl:1: \"major\" is missing, or is not"},
        {{kVersionLine}, "out.jsonl:2: the record ends before it tells of a run"},
        {{kVersionLine, kStepLine}, "out.jsonl:2: here a record tells of the start"},
        {{kVersionLine, R"({"testRunArtifact":{"testRunStart":{"name":"other"}}})"},
         "out.jsonl:2: this is a record of other, not of drivetest"},
        {{kVersionLine, kStartLine, R"({"testStepArtifact":)", kEndLine},
         "out.jsonl:3: this line of the record is damaged"},
        {{kVersionLine, kStartLine, "[]"}, "out.jsonl:3: this line of the record is damaged"},
        {{kVersionLine, kStartLine, extensionLine("coverage", R"({"unit":"sectors","requested":-1})")},
         "out.jsonl:3: \"requested\" is missing, or is not"},
        {{kVersionLine, kStartLine, extensionLine("drive", R"({"sectors":8,"sectorBytes":4294967808})")},
         "out.jsonl:3: \"sectorBytes\" is missing, or is not"},
        {{kVersionLine, kStartLine, stepLine(R"("measurement":{"name":"readRate","value":-1.5})")},
         "out.jsonl:3: \"value\" is missing, or is not"},
        {{kVersionLine, kStartLine, stepLine(R"("measurement":{"name":"readRate","value":1e400})")},
         "out.jsonl:3: this line of the record is damaged"},
        {{kVersionLine, kStartLine,
          extensionLine("badSectors", R"({"fault":"unreadable","ranges":[[9,7]]})")},
         "out.jsonl:3: \"ranges\" is missing, or is not"},
        {{kVersionLine, kStartLine, extensionLine("slowTransfers", R"({"over150ms":1})")},
         "out.jsonl:3: \"slowTransfers\" is missing, or is not"},
        {{kVersionLine, kStartLine,
          extensionLine("surface",
                        R"({"sectorsPerCell":1,"cells":3,"outcomes":[[1,2]],"slowestUs":[[null,3]]})")},
         "out.jsonl:3: \"outcomes\" is missing, or is not"},
        {{kVersionLine, kStartLine,
          extensionLine("surface",
                        R"({"sectorsPerCell":1,"cells":3,"outcomes":[[1,3]],"slowestUs":[[5,4294967295]]})")},
         "out.jsonl:3: \"slowestUs\" is missing, or is not"},
        {{kVersionLine, kStartLine,
          extensionLine("temperature", R"({"lowest":30,"highest":56,"last":"hot"})")},
         "out.jsonl:3: \"temperature\" is missing, or is not"},
        {{kVersionLine, kStartLine,
          extensionLine(
              "temperature",
              R"({"lowest":30,"highest":56,"last":50,"rests":1,"restedSeconds":9000000000000000000})")},
         "out.jsonl:3: \"restedSeconds\" is missing, or is not"},
        {{kVersionLine, kStartLine, extensionLine("links", R"({"links":[{"name":7}]})")},
         "out.jsonl:3: \"name\" is missing, or is not"},
        {{kVersionLine, kStartLine,
          extensionLine("sharedLinks", R"({"links":[{"name":"x","drives":"many"}]})")},
         "out.jsonl:3: \"drives\" is missing, or is not"},
        {{kVersionLine, kStartLine, kStepLine, R"({"sequenceNumber":2,"testStepArtifact":{}})"},
         "out.jsonl:4: lines of the record are missing here, or in the wrong order"},
        {{kVersionLine, kStartLine, kStepLine, kStepLine}, "out.jsonl:4: here a second test begins"},
        {{kVersionLine, kStartLine, extensionLine("surface", R"({"sectorsPerCell":1,"cells":99000000000})")},
         "out.jsonl:3: \"cells\" is missing, or is not"},
    };
    for (const auto& each : cases) {
        std::string problem;
        EXPECT_FALSE(readLines(each.lines, problem)) << each.sentence;
        EXPECT_THAT(problem, HasSubstr(each.sentence));
    }
}

TEST(RecordReader, ReadsARecordThatWasCutOffAsFarAsItGoes) {
    const std::string event = extensionLine(
        "event", R"({"key":"readSectorErr","type":"ERR","message":"Sector 7","variables":{"ReadSector":7}})");
    for (const std::string& rest : {std::string(), event.substr(0, event.size() / 2)}) {
        std::string problem;
        const RecordedRun run =
            readLines({kVersionLine, kStartLine, kStepLine, event}, problem, rest).value_or(RecordedRun{});
        EXPECT_EQ(problem, "");
        EXPECT_TRUE(run.isCutOff);
        EXPECT_EQ(run.result, "");
        ASSERT_EQ(run.events.size(), 1U);
        EXPECT_EQ(run.lastTime, "2026-11-23T04:30:00.000Z");
    }
}

TEST(RecordReader, CountsEventsOfOneKindAndCauseTogether) {
    const auto event = [](const char* sector, const char* cause) {
        return extensionLine("event", std::string(R"({"key":"readSectorErr","type":"ERR","message":"at )") +
                                          sector + R"(","variables":{"ReadSector":)" + sector +
                                          R"(},"cause":")" + cause + R"("})");
    };
    const RecordedRun run = readRun(
        {event("70", "medium"), event("9", "timeout"), event("30", "medium"),
         extensionLine("events",
                       R"({"key":"readSectorErr","type":"ERR","cause":"medium","count":500,"message":"a",
                       "variables":{"ReadSector":80},"lastMessage":"z","lastVariables":{"ReadSector":900}})")});
    ASSERT_EQ(run.events.size(), 2U) << run.file;
    const RecordedEvents& medium = run.events[0];
    EXPECT_EQ(medium.count, 502U);
    EXPECT_EQ(medium.firstSector, 30U);
    EXPECT_EQ(medium.lastSector, 900U);
    EXPECT_EQ(medium.firstMessage + medium.lastMessage, "at 70z");
    EXPECT_EQ(run.events[1].cause + std::to_string(run.events[1].count), "timeout1");
}

TEST(RecordReader, ReadsBothFormsOfASurface) {
    const RecordedRun old = readRun({extensionLine(
        "surface",
        R"({"sectorsPerCell":10,"cells":3,"outcomes":[[1,1],[2,1],[0,1]],"slowestUs":[[12.5,2],[null,1]],"megabytesPerSecond":[[100,1],[null,2]]})")});
    const RecordedSurface was = old.surface.value_or(RecordedSurface{});
    EXPECT_THAT(was.outcomes, ElementsAre(CellOutcome::good, CellOutcome::failed, CellOutcome::untested));
    EXPECT_THAT(was.slowestUs, ElementsAre(12.5F, 12.5F, 0.0F));
    EXPECT_THAT(was.megabytesPerSecond, ElementsAre(100.0F, 0.0F, 0.0F));
    const RecordedRun now = readRun(
        {extensionLine(
             "surface",
             R"({"sectorsPerCell":8,"cells":2,"outcomes":[[3,1],[1,1]],"slowestUs":[[5,2]],"cellsPerValue":{"outcomes":1,"slowestUs":1}})"),
         extensionLine(
             "regions",
             R"({"sectorsPerRegion":8,"regions":2,"read":{"bytes":[1048576,0],"us":[500000,0]}})")});
    const RecordedSurface is = now.surface.value_or(RecordedSurface{});
    const RecordedRegions regions = now.regions.value_or(RecordedRegions{});
    EXPECT_THAT(is.outcomes, ElementsAre(CellOutcome::recovered, CellOutcome::good));
    EXPECT_DOUBLE_EQ(regions.read.at(0).megabytesPerSecond(), 2.0);
    EXPECT_DOUBLE_EQ(regions.read.at(1).megabytesPerSecond(), 0.0);
    EXPECT_TRUE(regions.written.empty());
}

TEST(RecordReader, PassesOverWhatItDoesNotKnow) {
    const RecordedRun run =
        readRun({extensionLine("later", R"({"outcomes":[[9,"x"]]})"),
                 stepLine(R"("log":{"severity":"INFO","message":"x"})"), stepLine(R"("file":{"name":"x"})"),
                 extensionLine("result", R"({"result":"WARN","errors":0,"warnings":3})")});
    EXPECT_EQ(run.file, "out.jsonl");
    EXPECT_EQ(run.result + std::to_string(run.warnings), "WARN3");
    EXPECT_FALSE(run.isCutOff);
    EXPECT_EQ(run.drive.serial, "S1");
    EXPECT_THAT(run.parameters, ElementsAre(testing::Pair("MaxErrors", "0")));
}

}  // namespace
}  // namespace drivetest
