#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "drivetest/shelf/links/LinkSharing.h"
#include "zel/Words.h"

namespace drivetest {

using zel::counted;
using zel::words;

namespace {

struct Look {
    const char* style;
    const char* mark;  ///< so that nobody needs the colour
};

Look lookOf(Verdict::Kind kind) {
    switch (kind) {
        case Verdict::Kind::sound:
            return {"verdict sound", "✓"};
        case Verdict::Kind::doubted:
            return {"verdict doubted", "!"};
        case Verdict::Kind::faulty:
            return {"verdict faulty", "✗"};
        default:
            return {"verdict open", "?"};
    }
}

std::string rateText(const RecordedRun& run, const char* name) {
    const RecordedMeasurement* const rate = run.measurement(name);
    if (rate == nullptr)
        return {};
    if (!rate->atLeast)
        return rateFigure(rate->value);
    return words("{rate}; required are {limit}",
                 {{"rate", rateFigure(rate->value)}, {"limit", rateFigure(*rate->atLeast)}});
}

/// "SATA port ata1 (544 MB/s), SATA adapter 0000:00:17.0"
std::string linksText(const std::vector<RecordedLink>& links) {
    std::string text;
    for (const RecordedLink& link : links) {
        text += (text.empty() ? "" : ", ") + link.name;
        if (link.megabytesPerSecond > 0)
            text += " (" + std::to_string(link.megabytesPerSecond) + " MB/s)";
    }
    return text;
}

}  // namespace

/// "999 995 tested, 5 failed, 0 skipped of 1 000 000 sectors (100 %)"
std::string coverageText(const RecordedCoverage& coverage) {
    const std::string text =
        coverage.unit == "positions"
            ? words(
                  "{tested} good, {failed} failed and {skipped} skipped of {requested} positions: {share} "
                  "tested",
                  {{"tested", countFigure(coverage.tested)},
                   {"failed", countFigure(coverage.failed)},
                   {"skipped", countFigure(coverage.skipped)},
                   {"requested", countFigure(coverage.requested)},
                   {"share", coverageShare(coverage)}})
            : words(
                  "{tested} good, {failed} failed and {skipped} skipped of {requested} sectors: {share} "
                  "tested",
                  {{"tested", countFigure(coverage.tested)},
                   {"failed", countFigure(coverage.failed)},
                   {"skipped", countFigure(coverage.skipped)},
                   {"requested", countFigure(coverage.requested)},
                   {"share", coverageShare(coverage)}});
    return coverage.requested > 0 ? text : std::string();
}

std::string partOfDrive(const RecordedRun& run) {
    if (!run.coverage || run.coverage->unit != "sectors" || run.drive.sectors == 0)
        return {};
    return shareFigure(run.coverage->tested + run.coverage->failed, run.drive.sectors);
}

void writeVerdictLine(HtmlWriter& html, const Verdict& verdict) {
    const Look look = lookOf(verdict.kind);
    const auto line = html.open("p", {{"class", look.style}});
    html.element("span", look.mark, {{"class", "mark"}, {"aria-hidden", "true"}});
    html.element("span", verdict.sentence);
}

/// What the drive still owes its owner, if anything does.
void writeUnrestored(HtmlWriter& html, const RecordedRun& run) {
    if (run.unrestored.empty())
        return;
    std::uint64_t sectors = 0;
    for (const auto& [first, last] : run.unrestored)
        sectors += last - first + 1;
    const auto alert = html.open("p", {{"class", "alert"}});
    html.text(counted(sectors, "The data of {n} sector was not put back; the first is {sector}.",
                      "The data of {n} sectors was not put back; the first is {sector}.",
                      {{"sector", run.unrestored.front().first}}) +
              " ");
    if (!run.journal.empty())
        html.text(words("\"drivetest recover\" puts it back from {journal}.", {{"journal", run.journal}}));
}

void writeVerdict(HtmlWriter& html, const RecordedRun& run) {
    const Verdict verdict = Verdict::of(run);
    writeVerdictLine(html, verdict);
    if (run.isCutOff && verdict.kind != Verdict::Kind::open)
        html.element("p",
                     words("The record breaks off before the end of the test; what it told until then is "
                           "below."),
                     {{"class", "alert"}});
    writeUnrestored(html, run);
    Facts facts(html);
    facts.add(words("Test"), run.test);
    facts.add(words("Coverage"), run.coverage ? coverageText(*run.coverage) : words("not recorded"));
    facts.add(words("Share of the whole drive"), partOfDrive(run));
    facts.add(words("Reached by"), methodText(run.drive.method));
    facts.add(words("Attached through"), linksText(run.links));
    for (const LinkSharing& link : run.sharedLinks)
        facts.add(words("Shared"), describeSharing(link));
    facts.add(words("Mean read rate"), rateText(run, "readRate"));
    facts.add(words("Mean write rate"), rateText(run, "writeRate"));
    facts.add(words("Date"), timeFigure(run.startTime));
    facts.add(words("Duration"), durationFigure(secondsOf(run)));
    if (!run.pauses.empty())
        facts.add(words("Resumed"), zel::counted(run.pauses.size(), "{n} time", "{n} times"));
}

}  // namespace drivetest
