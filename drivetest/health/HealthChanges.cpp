#include "drivetest/health/HealthChanges.h"

#include "zel/Words.h"

namespace drivetest {

using libDrive2::DriveHealth;
using libDrive2::SelfTestEntry;
using libDrive2::SelfTestOutcome;
using zel::counted;
using zel::words;

namespace {

void compare(const DriveHealth& before, const DriveHealth& after, HealthFindings& findings) {
    for (const HealthCounter& counter : healthCounters()) {
        const DriveHealth::Number was = before.*counter.number;
        const DriveHealth::Number is = after.*counter.number;
        if (!was || !is || *was == *is || counter.meaning == HealthCounter::Meaning::limit)
            continue;
        const bool isWorse = (counter.meaning == HealthCounter::Meaning::damage && *is > *was) ||
                             (counter.meaning == HealthCounter::Meaning::reserve && *is < *was);
        (isWorse ? findings.worse : findings.changed).push_back({&counter, *was, *is});
    }
}

/// What one reading says by itself.
void judge(const DriveHealth& health, HealthFindings& findings) {
    for (const libDrive2::SmartAttribute& attribute : health.attributes)
        if (attribute.isBelowThreshold())
            findings.belowThreshold.push_back(attribute);
    findings.isSpareLow = health.spareLeftPercent && health.spareThresholdPercent &&
                          *health.spareLeftPercent < *health.spareThresholdPercent;
    for (const SelfTestEntry& test : health.selfTests) {
        if (test.outcome == SelfTestOutcome::failed)
            findings.failedSelfTest = test;
        if (test.outcome == SelfTestOutcome::failed || test.outcome == SelfTestOutcome::passed)
            break;
    }
    const auto whereAny = [](std::optional<std::uint64_t> sectors) {
        return sectors.value_or(0) != 0 ? sectors : std::nullopt;
    };
    findings.hidden = {whereAny(health.hidden.hpaSectors), whereAny(health.hidden.dcoSectors),
                       whereAny(health.hidden.inaccessibleSectors)};
}

void warnOfHidden(const libDrive2::HiddenAreas& hidden, std::vector<std::string>& warnings) {
    if (hidden.hpaSectors)
        warnings.push_back(counted(
            *hidden.hpaSectors, "{n} sector is hidden in a host protected area (HPA) and was not tested",
            "{n} sectors are hidden in a host protected area (HPA) and were not tested"));
    if (hidden.dcoSectors)
        warnings.push_back(counted(*hidden.dcoSectors,
                                   "{n} sector is hidden by a device configuration overlay (DCO)",
                                   "{n} sectors are hidden by a device configuration overlay (DCO)"));
    if (hidden.inaccessibleSectors)
        warnings.push_back(counted(*hidden.inaccessibleSectors,
                                   "{n} sector lies beyond the accessible maximum address",
                                   "{n} sectors lie beyond the accessible maximum address"));
}

}  // namespace

bool HealthFindings::hasWarnings() const {
    return predictsFailure || !worse.empty() || !belowThreshold.empty() || isSpareLow || failedSelfTest ||
           hidden != libDrive2::HiddenAreas{};
}

HealthFindings changes(const std::optional<HealthReading>& before,
                       const std::optional<HealthReading>& after) {
    HealthFindings findings;
    for (const auto* const reading : {&before, &after})
        if (*reading)
            findings.predictsFailure |= (*reading)->health.predictsFailure.value_or(false);
    if (before && after && before->isBySmartctl == after->isBySmartctl)
        compare(before->health, after->health, findings);
    // A drive that died in the run tells nothing any more.
    if (after && !after->health.isEmpty())
        judge(after->health, findings);
    else if (before)
        judge(before->health, findings);
    return findings;
}

std::string changeText(const HealthChange& change) {
    return words("{what}: {before} -> {after}", {{"what", words(change.counter->label)},
                                                 {"before", counterText(*change.counter, change.before)},
                                                 {"after", counterText(*change.counter, change.after)}});
}

std::vector<std::string> healthWarnings(const HealthFindings& findings) {
    std::vector<std::string> warnings;
    if (findings.predictsFailure)
        warnings.push_back(
            words("the drive predicts that it will fail: back up what is on it, and replace it"));
    for (const HealthChange& change : findings.worse)
        warnings.push_back(
            words("it became worse during the run: {change}", {{"change", changeText(change)}}));
    for (const libDrive2::SmartAttribute& attribute : findings.belowThreshold)
        warnings.push_back(words("attribute {id} {name} is at {value}, and its limit is {limit}",
                                 {{"id", attribute.id},
                                  {"name", attribute.name},
                                  {"value", attribute.value},
                                  {"limit", attribute.threshold}}));
    if (findings.isSpareLow)
        warnings.push_back(words("the drive has less spare left than it needs"));
    if (findings.failedSelfTest)
        warnings.push_back(findings.failedSelfTest->firstBad
                               ? words("the drive's own test failed, first at sector {lba}",
                                       {{"lba", *findings.failedSelfTest->firstBad}})
                               : words("the drive's own test failed"));
    warnOfHidden(findings.hidden, warnings);
    return warnings;
}

std::string problemText(const HealthReading& reading) {
    return reading.problem.isEmpty()
               ? std::string()
               : words("smartctl did not tell the drive's health, so the drive itself was asked: {reason}",
                       {{"reason", reading.problem}});
}

std::vector<std::string> healthSummary(const std::optional<HealthReading>& before,
                                       const std::optional<HealthReading>& after) {
    std::vector<std::string> lines;
    const std::optional<HealthReading>& latest = after ? after : before;
    if (!latest)
        return lines;
    const HealthFindings findings = changes(before, after);
    std::string changed;
    for (const HealthChange& change : findings.changed)
        changed = changed.empty()
                      ? changeText(change)
                      : words("{first}, {second}", {{"first", changed}, {"second", changeText(change)}});
    for (const std::string& line : {healthLine(latest->health), changed, problemText(*latest)})
        if (!line.empty())
            lines.push_back(line);
    for (const std::string& warning : healthWarnings(findings))
        lines.push_back(words("warning: {text}", {{"text", warning}}));
    return lines;
}

std::string healthLine(const DriveHealth& health) {
    std::string line;
    const auto add = [&line](const std::string& text) {
        line = line.empty() ? text : words("{first}, {second}", {{"first", line}, {"second", text}});
    };
    if (health.predictsFailure)
        add(*health.predictsFailure ? words("predicts its failure") : words("predicts no failure"));
    if (health.reallocatedSectors)
        add(counted(static_cast<std::uint64_t>(*health.reallocatedSectors), "{n} reallocated sector",
                    "{n} reallocated sectors"));
    if (health.pendingSectors)
        add(counted(static_cast<std::uint64_t>(*health.pendingSectors), "{n} pending", "{n} pending"));
    if (health.mediaErrors)
        add(counted(static_cast<std::uint64_t>(*health.mediaErrors), "{n} uncorrected error",
                    "{n} uncorrected errors"));
    if (health.wearPercent)
        add(words("{n} % worn", {{"n", *health.wearPercent}}));
    if (health.temperatureC)
        add(words("{n} °C", {{"n", *health.temperatureC}}));
    return line;
}

}  // namespace drivetest
