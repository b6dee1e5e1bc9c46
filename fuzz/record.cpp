#include <string>
#include <string_view>

#include "drivetest/certificate/CertificateData.h"
#include "drivetest/certificate/CertificatePage.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/HtmlReport.h"
#include "drivetest/html/PageFiles.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/terminal/Terminal.h"
#include "fuzz/Invariants.h"

namespace drivetest {

// None of them is of a record.
const std::string_view kPageStyle, kCertificateStyle, kPageScript, kCurveStyle, kCurveScript;

std::string systemLanguage() {
    return {};
}
std::string programFolder() {
    return {};
}

}  // namespace drivetest

namespace libDrive2::fuzz {
namespace {

using drivetest::RecordDetail;
using drivetest::RecordedRun;

/// A line with the number that its place gives it, so that lines may come in any order.
std::string numbered(std::string_view line, std::uint64_t number) {
    if (!line.starts_with("{\""))
        return std::string(line);
    return "{\"sequenceNumber\":" + std::to_string(number) + "," + std::string(line.substr(1));
}

std::optional<RecordedRun> read(std::string_view text, RecordDetail detail) {
    drivetest::RecordReader reader("record", detail);
    std::uint64_t lines = 0;
    bool isTaken = true;
    while (isTaken && text.find('\n') != std::string_view::npos) {
        isTaken = reader.addLine(numbered(text.substr(0, text.find('\n')), lines++));
        text.remove_prefix(text.find('\n') + 1);
    }
    isTaken = isTaken && reader.finish(numbered(text, lines++));
    const std::string& problem = reader.problem();
    require(isTaken == problem.empty(), "what is refused has a reason, and nothing else has");
    require(isTaken || problem.starts_with("record:"), "a reason names file and line");
    require(problem.find_first_of("\n\x1b") == std::string::npos, "a reason is one line");
    return isTaken ? std::optional(reader.take()) : std::nullopt;
}

std::size_t countOf(std::string_view text, std::string_view word) {
    std::size_t count = 0;
    for (auto at = text.find(word); at != std::string_view::npos; at = text.find(word, at + 1))
        ++count;
    return count;
}

void checkRun(const RecordedRun& run) {
    std::uint64_t last = 0;
    for (const drivetest::RecordedBad& bad : run.bad) {
        require(bad.first >= last && bad.last >= bad.first, "bad ranges are sorted");
        require(bad.cause < run.badCauses.size(), "each has a cause");
        last = bad.first;
    }
    if (run.surface)
        require(run.surface->slowestUs.size() == run.surface->cells(), "each cell has a time, or 0");
}

void checkReport(const RecordedRun& run) {
    std::string page;
    const bool isWhole = drivetest::writeHtmlReport({run, run}, [&page](std::string_view part) {
        page += part;
        return true;
    });
    require(isWhole && page.ends_with("</html>\n"), "a report is written to its end");
    require(countOf(page, "<img") + countOf(page, "<svg") == 0, "no text of a record becomes an element");
    require(countOf(page, "<script") == countOf(page, "</script>"), "nor ends a script");
}

void checkCertificate(const RecordedRun& run) {
    if (!drivetest::obstacleToVerdict(run).isEmpty())
        return;
    require(!run.isCutOff && !run.result.empty(), "only a run with an end and a result is certified");
    const std::string digest(64, 'd');
    const std::string page = drivetest::makeCertificate(run, digest);
    const auto data = drivetest::CertificateData::of(page);
    require(data && data->sha256 == digest, "a certificate tells of its record");
    require(countOf(page, "<img") == 0 && countOf(page, "<script") == 1, "no text becomes an element");
}

}  // namespace

/// The input is a record whose lines need no numbers.
void check(Bytes input) {
    const std::string_view text(reinterpret_cast<const char*>(input.data()), input.size());
    const auto run = read(text, RecordDetail::all);
    const auto figures = read(text, RecordDetail::figures);
    if (!run)
        return;
    require(figures && figures->badSectors() == run->badSectors() && figures->result == run->result,
            "the figures alone are those of the whole record");
    checkRun(*run);
    checkReport(*run);
    checkCertificate(*run);
}

}  // namespace libDrive2::fuzz
