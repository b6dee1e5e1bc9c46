#include "drivetest/findings/Explanation.h"

#include <algorithm>

#include "drivetest/findings/Figures.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/health/HealthChanges.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

std::string driveText(const RecordedDrive& drive) {
    std::string text = drive.model;
    for (const std::string& more : {drive.serial.empty() ? drive.location : drive.serial,
                                    drive.sectors == 0 ? std::string()
                                                       : sizeFigure(static_cast<double>(drive.sectors) *
                                                                    static_cast<double>(drive.sectorBytes))})
        if (!more.empty())
            text += (text.empty() ? "" : ", ") + more;
    return text;
}

std::string workText(const RecordedRun& run) {
    const std::string time = durationFigure(secondsOf(run));
    return words("{test} ran on {drive} for {time}, on {date}.", {{"test", run.test},
                                                                  {"drive", driveText(run.drive)},
                                                                  {"time", time},
                                                                  {"date", timeFigure(run.startTime)}});
}

std::string coverageLine(const RecordedRun& run) {
    if (!run.coverage || run.coverage->requested == 0)
        return {};
    const RecordedCoverage& coverage = *run.coverage;
    return words(
        "Of {requested} {unit} it tested {share}: {failed} failed, {skipped} were left out.",
        {{"requested", countFigure(coverage.requested)},
         {"unit", words(coverage.unit == "positions" ? zel::marked("positions") : zel::marked("sectors"))},
         {"share", coverageShare(coverage)},
         {"failed", countFigure(coverage.failed)},
         {"skipped", countFigure(coverage.skipped)}});
}

std::string badLine(const RecordedRun& run) {
    if (run.bad.empty() || isCapacityFalse(run))
        return {};
    std::string text = words("The first bad sector is LBA {first}, the last LBA {last}.",
                             {{"first", run.bad.front().first}, {"last", run.bad.back().last}});
    const std::size_t cause = run.bad.front().cause;
    if (cause < run.badCauses.size() && !run.badCauses[cause].words.empty())
        text += " " + words("Of the first the drive says: {words}.", {{"words", run.badCauses[cause].words}});
    return text;
}

/// What tests say in a sentence of their own, or else the first thing that they warn of.
std::string answerLine(const RecordedRun& run) {
    for (const char* const key : {"capacityRepeats", "capacityLost", "capacityTrue", "surveySample",
                                  "surveyBadAreas", "surveyTooShort"})
        for (const RecordedEvents& each : run.events)
            if (each.key == key)
                return each.firstMessage;
    const auto warning =
        std::ranges::find_if(run.events, [](const RecordedEvents& each) { return each.type == "WARNING"; });
    return warning != run.events.end() ? warning->firstMessage : std::string();
}

std::string recoveredLine(const RecordedRun& run) {
    std::uint64_t recovered = 0;
    for (const RecordedAttempts& attempts : run.attempts)
        recovered += attempts.recovered;
    if (recovered == 0)
        return {};
    return counted(
        recovered,
        "{n} transfer succeeded only after further attempts: a sign of a weak spot or of a "
        "bad cable.",
        "{n} transfers succeeded only after further attempts: a sign of weak spots or of a bad cable.");
}

std::string slowLine(const RecordedRun& run) {
    if (!run.slowness || run.slowness->over150ms == 0)
        return {};
    const std::uint64_t slow = run.slowness->over150ms;
    if (run.slowness->slowest.empty())
        return counted(slow, "{n} transfer took longer than 150 ms.",
                       "{n} transfers took longer than 150 ms.");
    const RecordedTransfer& worst = run.slowness->slowest.front();
    return counted(slow, "{n} transfer took longer than 150 ms: {time}, at LBA {lba}.",
                   "{n} transfers took longer than 150 ms; the slowest {time}, at LBA {lba}.",
                   {{"time", latencyFigure(worst.durationUs)}, {"lba", worst.first}});
}

std::string rateLine(const RecordedRun& run) {
    const RecordedMeasurement* const rate = run.measurement("readRate");
    return rate == nullptr ? std::string()
                           : words("It read at {rate} on average.", {{"rate", rateFigure(rate->value)}});
}

std::string problemLine(const RecordedRun& run) {
    return run.problems.empty() ? std::string() : run.problems.front().message;
}

std::string healthTold(const RecordedRun& run) {
    const std::optional<HealthReading>& latest = run.healthAfter ? run.healthAfter : run.healthBefore;
    const std::string told = latest ? healthLine(latest->health) : std::string();
    return told.empty() ? told : words("The drive says of itself: {health}.", {{"health", told}});
}

/// All reasons to worry in one line, for there are to be few.
std::string healthWorries(const HealthFindings& findings) {
    std::string worries;
    for (const std::string& each : healthWarnings(findings))
        worries = worries.empty() ? each : words("{first}; {second}", {{"first", worries}, {"second", each}});
    return worries.empty() ? worries : words("warning: {text}", {{"text", worries}});
}

bool wasLost(const RecordedRun& run) {
    return std::ranges::any_of(run.problems,
                               [](const RecordedError& each) { return each.symptom == "driveLost"; });
}

/// The one thing that comes first.
std::string adviceOn(const RecordedRun& run, const HealthFindings& health) {
    const std::string& device = run.drive.location;
    if (!run.unrestored.empty())
        return words("put the data back that is not on the drive any more: drivetest recover");
    if (wasLost(run))
        return words("look at its cable, power and dock, then test it again");
    if (isCapacityFalse(run))
        return words(
            "copy away what it still holds, write nothing to it any more, and give it back to those who sold "
            "it, with a report of this record");
    switch (Verdict::of(run).kind) {
        case Verdict::Kind::faulty:
            return words(
                "copy its data elsewhere while it still answers, and replace it; those who sold it want its "
                "serial number and a report of this record");
        case Verdict::Kind::open:
            return words("test it again, to the end");
        case Verdict::Kind::sound:
            if (health.hasWarnings())
                break;
            return words(
                "nothing has to be done; what fails only when written finds: drivetest run pattern {device}",
                {{"device", device}});
        default:
            break;
    }
    if (health.predictsFailure)
        return words("copy its data elsewhere, and replace it");
    if (!health.worse.empty() || run.warnings > 0 || run.result == "WARN")
        return words(
            "try another cable or dock, test it again within days, and replace it if there is more of it");
    if (health.hasWarnings())
        return words("see what it says of itself: drivetest health {device}", {{"device", device}});
    return words("read all of it: drivetest run read {device}", {{"device", device}});
}

}  // namespace

std::vector<std::string> explainRun(const RecordedRun& run) {
    const HealthFindings health = changes(run.healthBefore, run.healthAfter);
    std::vector<std::string> lines;
    for (const std::string& line :
         {workText(run), coverageLine(run), Verdict::of(run).sentence, answerLine(run), badLine(run),
          recoveredLine(run), slowLine(run), rateLine(run), healthTold(run), healthWorries(health),
          problemLine(run), words("Next: {advice}", {{"advice", adviceOn(run, health)}})})
        if (!line.empty())
            lines.push_back(line);
    return lines;
}

}  // namespace drivetest
