#include "drivetest/findings/Figures.h"
#include "drivetest/health/HealthChanges.h"
#include "drivetest/health/HealthWords.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::DriveHealth;
using zel::words;

namespace {

/// More than fit a drive's log are of no use to anybody.
constexpr std::size_t kMostSelfTests = 21;

std::string numberText(const HealthCounter& counter, const std::optional<HealthReading>& reading) {
    const DriveHealth::Number number = reading ? reading->health.*counter.number : std::nullopt;
    return number ? counterText(counter, *number) : std::string();
}

void writeCounters(HtmlWriter& html, const RecordedRun& run) {
    Table table(html, words("What the drive counts"),
                {{words("Figure")}, {words("Before"), true}, {words("After"), true}});
    for (const HealthCounter& counter : healthCounters()) {
        const std::string before = numberText(counter, run.healthBefore);
        const std::string after = numberText(counter, run.healthAfter);
        if (!before.empty() || !after.empty())
            table.row({words(counter.label), before, after});
    }
}

void writeAttributes(HtmlWriter& html, const DriveHealth& health) {
    if (health.attributes.empty())
        return;
    Table table(html, words("SMART attributes; one at or below its limit is a failure"),
                {{words("Attribute")},
                 {words("Name")},
                 {words("Value"), true},
                 {words("Worst"), true},
                 {words("Limit"), true},
                 {words("Raw value"), true}});
    for (const libDrive2::SmartAttribute& attribute : health.attributes)
        table.row({std::to_string(attribute.id), attribute.name, std::to_string(attribute.value),
                   std::to_string(attribute.worst), std::to_string(attribute.threshold),
                   std::to_string(attribute.raw)});
}

void writeSelfTests(HtmlWriter& html, const DriveHealth& health) {
    if (health.selfTests.empty())
        return;
    Table table(html, words("The drive's own tests, the newest first"),
                {{words("Kind")},
                 {words("Outcome")},
                 {words("At hours under power"), true},
                 {words("First bad LBA"), true}});
    for (std::size_t i = 0; i < health.selfTests.size() && i < kMostSelfTests; ++i) {
        const libDrive2::SelfTestEntry& test = health.selfTests[i];
        table.row({kindText(test.kind), outcomeText(test.outcome),
                   test.hours ? std::to_string(*test.hours) : std::string(),
                   test.firstBad ? std::to_string(*test.firstBad) : std::string()});
    }
}

std::string predictionText(const DriveHealth& health) {
    if (!health.predictsFailure)
        return {};
    return *health.predictsFailure ? words("the drive predicts that it will fail") : words("none");
}

}  // namespace

void writeHealth(HtmlWriter& html, const RecordedRun& run) {
    const std::optional<HealthReading>& latest = run.healthAfter ? run.healthAfter : run.healthBefore;
    if (!latest)
        return;
    const Section section(html, "health", words("Health"));
    html.element("p", words("What the drive says of itself. The verdict on the test does not rest on it."),
                 {{"class", "note"}});
    const std::vector<std::string> warnings = healthWarnings(changes(run.healthBefore, run.healthAfter));
    if (!warnings.empty()) {
        const auto list = html.open("ul", {{"class", "warnings"}});
        for (const std::string& warning : warnings)
            html.element("li", warning);
    }
    {
        Facts facts(html);
        facts.add(words("Predicted failure"), predictionText(latest->health));
        facts.add(words("Asked by"),
                  latest->isBySmartctl ? std::string(kHealthBySmartctl) : words("the drive's own commands"));
        if (run.heat) {
            facts.add(words("Temperature"), courseText(*run.heat));
            facts.add(words("Rests because of heat"), restsText(*run.heat));
        }
        facts.add(words("Remark"), problemText(*latest));
    }
    writeCounters(html, run);
    writeAttributes(html, latest->health);
    writeSelfTests(html, latest->health);
}

}  // namespace drivetest
