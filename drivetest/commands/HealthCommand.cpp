#include <array>
#include <iostream>

#include "drivetest/ExitStatus.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/devices/Drives.h"
#include "drivetest/health/HealthChanges.h"
#include "drivetest/health/HealthReader.h"
#include "drivetest/health/HealthWords.h"
#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::DriveHealth;
using zel::words;

constexpr std::size_t kLabelColumns = 40;

void say(const std::string& line) {
    std::cout << printable(line) << '\n';
}

void sayFigure(const std::string& label, const std::string& value) {
    if (!value.empty())
        say("  " + padded(label, kLabelColumns) + value);
}

void sayCounters(const HealthReading& reading) {
    if (const auto predicts = reading.health.predictsFailure)
        sayFigure(words("Predicted failure"),
                  *predicts ? words("the drive predicts that it will fail") : words("none"));
    for (const HealthCounter& counter : healthCounters())
        if (const DriveHealth::Number number = reading.health.*counter.number)
            sayFigure(words(counter.label), counterText(counter, *number));
    sayFigure(words("Asked by"),
              reading.isBySmartctl ? std::string(kHealthBySmartctl) : words("the drive's own commands"));
}

void sayRow(const std::array<std::string, 6>& cells) {
    constexpr std::array<std::size_t, 6> kColumns = {12, 28, 8, 11, 8, 0};
    std::string line = "  ";
    for (std::size_t i = 0; i < cells.size(); ++i)
        line += kColumns[i] != 0 ? padded(printable(cells[i]), kColumns[i]) : cells[i];
    say(line);
}

void sayAttributes(const DriveHealth& health) {
    if (health.attributes.empty())
        return;
    say("");
    sayRow({words("Attribute"), words("Name"), words("Value"), words("Worst"), words("Limit"),
            words("Raw value")});
    for (const libDrive2::SmartAttribute& attribute : health.attributes)
        sayRow({std::to_string(attribute.id), attribute.name, std::to_string(attribute.value),
                std::to_string(attribute.worst), std::to_string(attribute.threshold),
                std::to_string(attribute.raw)});
}

void saySelfTests(const DriveHealth& health) {
    if (health.selfTests.empty())
        return;
    say("");
    say(words("The drive's own tests, the newest first") + ":");
    for (const libDrive2::SelfTestEntry& test : health.selfTests) {
        std::string line = words("{kind}: {outcome}",
                                 {{"kind", kindText(test.kind)}, {"outcome", outcomeText(test.outcome)}});
        if (test.hours)
            line += words(", at {n} hours under power", {{"n", *test.hours}});
        if (test.firstBad)
            line += words(", first bad sector {lba}", {{"lba", *test.firstBad}});
        say("  " + line);
    }
}

}  // namespace

int showHealth(const std::string& locator) {
    std::string problem;
    quix5::DiagDevice device;
    if (!isThere(locator, problem) || !findDrive(locator, device, problem)) {
        complain(problem);
        return kExitUsage;
    }
    const auto reading = readHealth(device);
    if (!reading || reading->health.isEmpty()) {
        complain(words("{drive} tells nothing of its health", {{"drive", locator}}) +
                 (reading ? "; " + problemText(*reading) : std::string()));
        return kExitCannotRun;
    }
    const std::string model = textProperty(device, quix5::kPropertyModel);
    const std::string serial = textProperty(device, quix5::kPropertySerial);
    say(locator + (model.empty() ? "" : ", " + model) + (serial.empty() ? "" : ", " + serial));
    sayCounters(*reading);
    sayFigure(words("Remark"), problemText(*reading));
    sayAttributes(reading->health);
    saySelfTests(reading->health);
    const std::vector<std::string> warnings = healthWarnings(changes(std::nullopt, reading));
    if (!warnings.empty())
        say("");
    for (const std::string& warning : warnings)
        say(words("warning: {text}", {{"text", warning}}));
    return warnings.empty() ? kExitPass : kExitWarn;
}

}  // namespace drivetest
