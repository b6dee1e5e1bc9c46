#include <gmock/gmock.h>

#include "RecordText.h"
#include "drivetest/certificate/CertificateData.h"
#include "drivetest/certificate/CertificatePage.h"
#include "drivetest/findings/Verdict.h"

namespace drivetest {
namespace {

using namespace testing_support;
using testing::HasSubstr;
using testing::Not;

const std::string kDigest(64, 'd');

/// Of a drive of 1000 sectors.
RecordedRun runWith(const std::string& result, const std::string& coverage,
                    const std::vector<std::string>& more = {}) {
    std::vector<std::string> lines{extensionLine("drive", R"({"sectors":1000,"sectorBytes":512})"),
                                   extensionLine("result", R"({"result":")" + result + R"("})")};
    if (!coverage.empty())
        lines.push_back(extensionLine("coverage", coverage));
    lines.insert(lines.end(), more.begin(), more.end());
    return readRun(lines);
}

constexpr const char* kWhole = R"({"unit":"sectors","requested":1000,"tested":1000,"failed":0,"skipped":0})";

TEST(Certificate, PromisesNoMoreThanTheRunKnows) {
    const char* const sound = "<p class=\"verdict sound\"";
    const char* const doubted = "<p class=\"verdict doubted\"";
    const char* const faulty = "<p class=\"verdict faulty\"";
    const struct {
        const char* result;
        const char* coverage;
        std::vector<std::string> more;
        const char* kind;
        const char* sentence;
    } cases[] = {
        {"PASS", kWhole, {}, sound, "each of the 1\u202f000 sectors was tested and is good"},
        {"PASS",
         R"({"unit":"sectors","requested":50,"tested":50,"failed":0,"skipped":0})",
         {},
         doubted,
         "in the 5.0\u00a0% of the drive that was tested; the rest is unknown"},
        {"PASS",
         kWhole,
         {extensionLine("badSectors", R"({"fault":"unreadable","words":"","ranges":[[7,8]]})")},
         faulty,
         "2 sectors of the drive are bad"},
        {"PASS",
         kWhole,
         {extensionLine("unrestored", R"({"ranges":[{"sector":0,"lastSector":7}],"journal":""})")},
         sound,
         "The data of 8 sectors was not put back"},
    };
    for (const auto& each : cases) {
        const RecordedRun run = runWith(each.result, each.coverage, each.more);
        EXPECT_EQ(obstacleToVerdict(run).utf8(), "") << each.sentence;
        const std::string page = makeCertificate(run, kDigest);
        EXPECT_THAT(page, HasSubstr(each.kind)) << each.sentence;
        EXPECT_THAT(page, HasSubstr(each.sentence));
    }
}

TEST(Certificate, IsNotMadeOfARunWithoutVerdict) {
    const std::string lost = stepLine(R"("error":{"symptom":"driveLost","message":"gone"})");
    const struct {
        RecordedRun run;
        const char* reason;
    } cases[] = {
        {runWith("USERABORTED", kWhole), "stopped before its end"},
        {runWith("CANNOTRUN", kWhole), "could not be carried out (CANNOTRUN)"},
        {runWith("PASS", kWhole, {lost}), "stopped taking commands"},
        {readRun({}), "tells no result"},
    };
    for (const auto& each : cases)
        EXPECT_THAT(obstacleToVerdict(each.run).utf8(), HasSubstr(each.reason));
    std::string problem;
    const auto cutOff = readLines(
        {kVersionLine, kStartLine, kStepLine, extensionLine("result", R"({"result":"PASS"})")}, problem);
    ASSERT_TRUE(cutOff) << problem;
    EXPECT_THAT(obstacleToVerdict(*cutOff).utf8(), HasSubstr("breaks off"));
}

TEST(Certificate, TellsOfItsDriveWhatItCan) {
    RecordedRun run = runWith("PASS", kWhole);
    EXPECT_THAT(makeCertificate(run, kDigest), HasSubstr("<p class=\"subject\">Model, S1</p>"));
    run.drive.serial = "";
    EXPECT_THAT(makeCertificate(run, kDigest), HasSubstr("<dt>Serial number</dt>\n<dd>none</dd>"));
    run.drive.model = "";
    EXPECT_THAT(makeCertificate(run, kDigest), HasSubstr("<p class=\"subject\">/dev/sdb</p>"));
    run.drive.model = std::string(5000, 'W');  // shown shortened: it is one page
    EXPECT_THAT(makeCertificate(run, kDigest), Not(HasSubstr(std::string(100, 'W'))));
}

TEST(CertificateData, IsFoundOnlyInCertificates) {
    const std::string page = makeCertificate(runWith("PASS", kWhole), kDigest);
    const auto found = CertificateData::of(page);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->record + found->sha256 + found->language, "out.jsonl" + kDigest + "en");
    for (const auto& [old, now] : {std::pair<std::string, std::string>(kDigest, "short"),
                                   {kDigest, std::string(64, 'D')},
                                   {"certificate-data", "other-data"},
                                   {R"({"record":)", R"([{"record" :)"}}) {
        std::string other = page;
        other.replace(other.rfind(old), old.size(), now);
        EXPECT_FALSE(CertificateData::of(other)) << now;
    }
}

}  // namespace
}  // namespace drivetest
