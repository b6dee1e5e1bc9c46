#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "drivetest/record/Json.h"
#include "drivetest/shelf/ShelfFolder.h"
#include "drivetest/shelf/kept/KeptWork.h"
#include "drivetest/shelf/kept/WorkFile.h"
#include "drivetest/shelf/kept/WorkSeal.h"
#include "drivetest/shelf/kept/WorkState.h"

namespace drivetest {
namespace {

RunOptions runOf(const std::string& test, const std::string& device) {
    RunOptions run;
    run.test = test;
    run.device = device;
    return run;
}

RunOutcome outcomeOf(std::size_t run, RunEnd end, int status) {
    RunOutcome outcome;
    outcome.run = run;
    outcome.end = end;
    outcome.status = status;
    outcome.test = "LinearReadTest";
    outcome.words = "why\n";
    return outcome;
}

ShelfWork twoDrives() {
    ShelfWork work;
    work.jobs = 3;
    work.hangSeconds = 600;
    work.commandLine = "drivetest run --plan night.toml";
    RunOptions first = runOf("read", "/dev/-x");
    first.parameters = {"StartRange=-5", "X="};
    first.maxTime = 90;
    RunOptions second = runOf("pattern", "/dev/-x");
    second.grading = "default";
    for (RunOptions* const run : {&first, &second}) {
        run->confirm = "S1";
        run->allowUnexamined = true;
        run->journal = run->verifyRestores = false;
        run->moduleFile = "evil.so";
        run->outputs = {{"--events", "x"}};
    }
    libDrive2::DriveIdentity identity;
    identity.sectors = 7;
    identity.sectorBytes = 512;
    identity.id = "wwid:naa.5";
    work.drives = {{"/dev/-x", "D \xc3\xa4", {first, second}, OnFailure::stopDrive},
                   {"b.img", "b.img", {runOf("read", "b.img")}}};
    work.drives[0].identity = identity;
    work.drives[1].refusal = "it is in use";
    work.drives[1].refusedAs = kExitBusy;
    return work;
}

class WorkFolder : public testing::Test {
protected:
    WorkFolder() {
        std::filesystem::remove_all(m_folder);
        std::filesystem::create_directory(m_folder);
    }
    ~WorkFolder() override { std::filesystem::remove_all(m_folder); }

    std::string write() {
        std::string problem;
        const auto file = WorkFile::make(m_folder, twoDrives(), problem);
        EXPECT_NE(file, nullptr) << problem;
        file->started(0, 0, m_folder + "/a.jsonl");
        file->ended(0, outcomeOf(0, RunEnd::killed, 8));
        file->started(0, 0, m_folder + "/a-2.jsonl");
        file->ended(0, outcomeOf(0, RunEnd::byItself, 1));
        file->ended(0, outcomeOf(1, RunEnd::leftOut, 1));
        file->over(1);
        EXPECT_EQ(file->problem(), "");
        return text();
    }
    [[nodiscard]] std::string text() const {
        std::stringstream text;
        text << std::ifstream(m_path, std::ios::binary).rdbuf();
        return text.str();
    }

    std::string m_folder = testing::TempDir() + "drivetest-work";
    std::string m_path = m_folder + "/shelf.work";
};

/// All that is in it, in the order of the lines.
std::vector<std::string> accountOf(const KeptWork& work) {
    std::vector<std::string> account;
    for (const KeptDrive& drive : work.drives)
        for (const KeptRun& run : drive.runs) {
            for (const std::string& record : run.records)
                account.push_back(record);
            if (run.outcome)
                account.push_back(std::to_string(static_cast<int>(run.outcome->end)));
        }
    return account;
}

TEST_F(WorkFolder, ComesBackWithoutWhatIsGivenAnew) {
    const std::string text = write();
    std::string problem;
    RunOptions usual;
    usual.confirm = "S9";
    usual.shelf.moreConfirmed = {"S8"};
    const auto work = readKeptWork(m_path, text, usual, problem);
    ASSERT_TRUE(work) << problem;
    EXPECT_EQ(std::pair(work->jobs, work->hangSeconds), std::pair(3U, std::optional(600U)));
    EXPECT_EQ(work->bytes, text.size());
    ASSERT_EQ(work->drives.size(), 2U);
    ShelfWork expected = twoDrives();
    for (std::size_t i = 0; i < 2; ++i) {
        const DriveWork& drive = work->drives[i].work;
        EXPECT_EQ(drive.device, expected.drives[i].device);
        EXPECT_EQ(drive.onFailure, expected.drives[i].onFailure);
        EXPECT_EQ(drive.identity, expected.drives[i].identity);
        EXPECT_EQ(drive.refusal, expected.drives[i].refusal);
        for (std::size_t k = 0; k < drive.runs.size(); ++k) {
            RunOptions& run = expected.drives[i].runs[k];
            run = [&] {
                RunOptions plain = runOf(run.test, run.device);
                plain.parameters = run.parameters;
                plain.maxTime = run.maxTime;
                plain.grading = run.grading;
                return plain;
            }();
            EXPECT_TRUE(drive.runs[k] == run) << i << " " << k;
        }
    }
    EXPECT_EQ(accountOf(*work), (std::vector<std::string>{"a.jsonl", "a-2.jsonl", "0", "7"}));
    EXPECT_EQ(work->drives[0].runs[0].outcome->words, "why\\n");
}

/// After a power cut there is less of it, never something else.
TEST_F(WorkFolder, EveryBeginningIsOneThatWasThere) {
    const std::string text = write();
    std::string problem;
    std::vector<std::vector<std::string>> known{{}};
    for (std::size_t end = 0; (end = text.find('\n', end)) != std::string::npos; ++end) {
        const auto work = readKeptWork(m_path, text.substr(0, end + 1), {}, problem);
        ASSERT_TRUE(work) << problem;
        known.push_back(accountOf(*work));
    }
    std::size_t lines = 0;
    for (std::size_t bytes = 0; bytes <= text.size(); ++bytes) {
        lines += bytes > 0 && text[bytes - 1] == '\n';
        for (const char* const tail : {"", "\n"}) {  // a torn line may have its end already
            const auto work = readKeptWork(m_path, text.substr(0, bytes) + tail, {}, problem);
            const bool isWhole = *tail != 0 && bytes < text.size() && text[bytes] == '\n';
            const std::size_t read = lines + (isWhole ? 1 : 0);
            ASSERT_TRUE(work || lines == 0) << bytes << problem;
            if (!work)
                continue;
            ASSERT_EQ(accountOf(*work), known[read]) << bytes;
            ASSERT_EQ(work->drives.size(), read < 3 ? 0U : 2U) << bytes;
        }
    }
}

TEST_F(WorkFolder, ADamagedByteIsNeverAnotherStory) {
    const std::string text = write();
    const std::size_t lastLine = text.rfind('\n', text.size() - 2);
    for (std::size_t at = 0; at < text.size(); at += 3) {
        std::string damaged = text;
        damaged[at] = static_cast<char>(damaged[at] ^ 1);
        std::string problem;
        const auto work = readKeptWork(m_path, damaged, {}, problem);
        EXPECT_EQ(work.has_value(), at >= lastLine) << at;
        EXPECT_EQ(problem.empty(), work.has_value());
    }
}

TEST_F(WorkFolder, IsGoneOnWithBehindItsLastWholeLine) {
    const std::string text = write();
    std::string problem;
    const auto work = readKeptWork(m_path, text, {}, problem);
    std::ofstream(m_path, std::ios::app | std::ios::binary) << R"({"started":{"dri)";
    {
        const auto file = WorkFile::goOn(*work, problem);
        ASSERT_NE(file, nullptr) << problem;
        EXPECT_EQ(WorkFile::goOn(*work, problem), nullptr) << "two at once";
        file->started(1, 0, "c.jsonl");
    }
    EXPECT_EQ(accountOf(readKeptWork(m_path, this->text(), {}, problem).value()).back(), "c.jsonl");
    EXPECT_EQ(WorkFile::goOn(*work, problem), nullptr) << "somebody else has gone on with it";
    EXPECT_NE(problem.find("another drivetest goes on with it"), std::string::npos);
}

TEST_F(WorkFolder, TheNamesOfRecordsThatGoOn) {
    std::string problem;
    const auto folder = ShelfFolder::make(m_folder, "", problem);
    std::ofstream(m_folder + "/a-2.log") << "of a run that was killed at once";
    for (const auto& [record, next] : {std::pair("a.jsonl", "a-3"),
                                       {"a-2.jsonl", "a-4"},
                                       {"b-7.jsonl", "b-8"},
                                       {"b-2026.jsonl", "b-2026-2"}}) {
        const auto files = folder->filesNextTo(record, problem);
        ASSERT_TRUE(files) << problem;
        EXPECT_EQ(std::filesystem::path(files->record).stem(), next);
    }
}

const char* const kHead =
    R"({"shelf":{"format":1,"program":"drivetest","version":"1","commandLine":"","jobs":0,"hangSeconds":0,"drives":1}})";

std::string driveLine(const std::string& arguments, const std::string& device = "x") {
    return R"({"drive":{"device":")" + device +
           R"(","name":"x","identity":"","onFailure":"go-on","bytes":0,"refusal":"","status":0,"runs":[[)" +
           arguments + "]]}}";
}

std::string sealed(const std::vector<std::string>& lines) {
    WorkSeal seal;
    std::string text;
    for (const std::string& line : lines)
        text += seal.seal(Json::parse(line));
    return text;
}

TEST(KeptWork, WhatNoShelfWritesIsRefusedWithItsLine) {
    const std::string good = driveLine(R"("run","--param=A=1","--","read","x")");
    std::string problem;
    ASSERT_TRUE(readKeptWork("f", sealed({kHead, good}), {}, problem)) << problem;
    const std::vector<std::pair<std::vector<std::string>, std::string>> rows{
        {{R"({"plan":{}})"}, "f:1: "},
        {{"{}"}, "f:1: "},
        {{R"({"shelf":[]})"}, "f:1: "},
        {{R"({"shelf":{"format":2,"version":"9.9"}})"}, "f:1: version 9.9"},
        {{R"({"shelf":{"format":1,"version":"1","commandLine":"","jobs":-1,"hangSeconds":0,"drives":1}})"},
         R"(f:1: "jobs")"},
        {{kHead, R"({"started":{"drive":0,"run":0,"record":"a.jsonl"}})"}, "f:2: "},
        {{kHead, good, R"({"started":{"drive":1,"run":0,"record":"a.jsonl"}})"}, R"(f:3: "drive")"},
        {{kHead, good, R"({"started":{"drive":0,"run":1,"record":"a.jsonl"}})"}, R"(f:3: "run")"},
        {{kHead, good, R"({"started":{"drive":0,"run":0,"record":"../a.jsonl"}})"}, R"(f:3: "record")"},
        {{kHead, good, R"({"started":{"drive":0,"run":0,"record":"/etc/passwd"}})"}, R"(f:3: "record")"},
        {{kHead, good, R"({"ended":{"drive":0,"run":0,"end":"well","status":0,"test":"","words":""}})"},
         R"(f:3: "end")"},
        {{kHead, good, R"({"ended":{"drive":0,"run":0,"end":"killed","status":999,"test":"","words":""}})"},
         R"(f:3: "status")"},
        {{kHead, good, R"({"confirmed":{"drive":0,"run":0}})"}, "f:3: \"confirmed\" is nothing"},
        {{kHead, driveLine(R"("run","--","read","y")")}, R"(f:2: "device")"},
        {{kHead, driveLine(R"("run","--","read","x","y")")}, "f:2: each run is of one drive"},
        {{kHead, driveLine(R"("run","--","../../read","x")")}, "f:2: \"../../read\" is no test"},
        {{kHead, driveLine(R"("run","--slow-ms=-1","--","read","x")")}, "f:2: "},
        {{kHead, driveLine(R"("recover","--","x")")}, "f:2: these are no arguments"},
        {{kHead, driveLine(R"("run","read","x")")}, "f:2: these are no arguments"},
    };
    for (const auto& [lines, expected] : rows) {
        EXPECT_FALSE(readKeptWork("f", sealed(lines), {}, problem)) << lines.back();
        EXPECT_TRUE(problem.starts_with(expected)) << problem;
    }
    for (const char* const option :
         {"--confirm=S1", "--no-journal", "--allow-unexamined", "--no-verify-restore", "--module=/tmp/x.so",
          "--events=/etc/passwd", "--export", "--force", "--resume=r", "--plan=p", "--progress-to=1",
          "--out=o", "--param", "--no-prompt", "--import=m", "-p=A=1", "--conf=S1", "--quiet=--confirm=S1"}) {
        const auto lines =
            sealed({kHead, driveLine("\"run\",\"" + std::string(option) + R"(","--","read","x")")});
        EXPECT_FALSE(readKeptWork("f", lines, {}, problem)) << option;
        EXPECT_EQ(problem, "f:2: \"" + std::string(option) + "\" is nothing that a shelf keeps");
    }
}

/// Of two drives with three runs each, the first one's so: p PASS, f FAIL, k killed, h hung, b busy, s
/// stopped,
/// - nothing yet.
std::string statesAfter(OnFailure onFailure, const std::string& outcomes) {
    KeptWork work;
    for (const std::string& each : {outcomes, std::string("p--")}) {
        KeptDrive drive{{"x", "x", std::vector<RunOptions>(3), onFailure}, std::vector<KeptRun>(3)};
        for (std::size_t i = 0; i < each.size(); ++i) {
            if (each[i] != '-')
                drive.runs[i].records = {"none.jsonl"};
            const bool isCut = each[i] == 'k' || each[i] == 'h';
            const int status = each[i] == 'p'   ? 0
                               : each[i] == 'f' ? 1
                               : each[i] == 'b' ? 5
                               : each[i] == 's' ? 130
                                                : 8;
            const RunEnd end = each[i] == 'k' ? RunEnd::killed : isCut ? RunEnd::hung : RunEnd::byItself;
            if (each[i] != '-')
                drive.runs[i].outcome = outcomeOf(i, end, status);
        }
        work.drives.push_back(drive);
    }
    std::string text;
    for (const auto& states : statesOf(work, RunChains()))
        for (const RunState& state : states)
            text += state.kind == RunState::Kind::fresh                                          ? 'n'
                    : state.kind == RunState::Kind::anew                                         ? 'a'
                    : state.kind == RunState::Kind::done && state.outcome.end == RunEnd::leftOut ? 'x'
                                                                                                 : 'd';
    return text;
}

TEST(WorkState, RulesOnFailuresHoldOverTheCut) {
    struct Row {
        OnFailure onFailure;
        const char* outcomes;
        const char* expected;
    };
    for (const Row& row : {Row{OnFailure::goOn, "pf-", "ddndnn"},
                           {OnFailure::goOn, "kbs", "aaadnn"},
                           {OnFailure::stopDrive, "f--", "dxxdnn"},
                           {OnFailure::stopDrive, "k--", "anndnn"},
                           {OnFailure::stopDrive, "b--", "anndnn"},
                           {OnFailure::stopDrive, "pp-", "ddndnn"},
                           {OnFailure::stopAll, "f--", "dxxdxx"},
                           {OnFailure::stopAll, "h--", "dxxdxx"},
                           {OnFailure::stopAll, "k--", "anndnn"},
                           {OnFailure::stopAll, "ps-", "dandnn"}})
        EXPECT_EQ(statesAfter(row.onFailure, row.outcomes), row.expected) << row.outcomes;
}

}  // namespace
}  // namespace drivetest
