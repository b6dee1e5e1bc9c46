#include "drivetest/health/HealthReader.h"

#include <chrono>
#include <mutex>

#include "drivetest/devices/Drives.h"
#include "drivetest/health/SmartctlOutput.h"
#include "drivetest/run/ChildProcess.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/HealthMonitor.h"
#include "quix5/DeviceInventory.h"
#include "zel/Words.h"

namespace drivetest {

using libDrive2::HealthMonitor;
using zel::worded;

namespace {

/// A hundred times what the most talkative drives take.
constexpr std::size_t kMostBytes = std::size_t{8} << 20;

// Exit status bits of smartctl.
constexpr int kWrongUsage = 0x01;
constexpr int kNotOpened = 0x02;
constexpr int kFailing = 0x08;

/// Why there is no output to look at; empty when there is, or nobody wants it.
zel::Wording problemOf(const ChildResult& child, std::chrono::milliseconds longest) {
    switch (child.end) {
        case ChildResult::End::notStarted:
            return worded("it cannot be started: {reason}", {{"reason", child.errors}});
        case ChildResult::End::killed:
            return worded("it was killed");
        case ChildResult::End::tooLate:
            return worded("it did not end within {n} seconds",
                          {{"n", std::chrono::ceil<std::chrono::seconds>(longest).count()}});
        case ChildResult::End::stopRequest:
        case ChildResult::End::byItself:
            break;
    }
    if (child.output.size() >= kMostBytes)
        return worded("it printed without end");
    return {};
}

/// Serial numbers are compared without the blanks that buses and bridges put into them.
std::string bare(const std::string& serial) {
    std::string text;
    for (const char letter : serial)
        if (letter != ' ')
            text += letter;
    return text;
}

/// The path may lead to another drive by now.
bool isOfAnother(const std::string& serial, const quix5::DiagDevice& device) {
    const std::string known = bare(textProperty(device, quix5::kPropertySerial));
    const std::string told = bare(serial);
    return !known.empty() && !told.empty() && known.find(told) == std::string::npos &&
           told.find(known) == std::string::npos;
}

/// Nothing, with the reason in `problem`, when it does not tell.
std::optional<libDrive2::DriveHealth> askSmartctl(const std::string& program, const quix5::DiagDevice& device,
                                                  std::chrono::milliseconds longest, zel::Wording& problem) {
    // One at a time.
    static std::mutex mutex;
    const std::lock_guard lock(mutex);
    ChildOptions options;
    options.longest = longest;
    options.mostBytes = kMostBytes;
    const ChildResult child = runChild(program, {"--json", "-x", device.osLocator().utf8()}, options);
    problem = problemOf(child, longest);
    // Nobody waits for it any more: the drive's own commands are quicker.
    if (!problem.isEmpty() || child.end == ChildResult::End::stopRequest)
        return std::nullopt;
    auto told = parseSmartctl(child.output, problem);
    if (!told || (child.status & (kWrongUsage | kNotOpened)) != 0) {
        if (problem.isEmpty())
            problem = worded("it ended with status {n}", {{"n", child.status}});
        return std::nullopt;
    }
    if (isOfAnother(told->serial, device)) {
        problem = worded("it told of another drive");
        return std::nullopt;
    }
    if ((child.status & kFailing) != 0)
        told->health.predictsFailure = true;
    return told->health;
}

}  // namespace

std::optional<HealthReading> readHealth(const quix5::DiagDevice& device, std::chrono::milliseconds longest) {
    if (!HealthMonitor::isFor(device))
        return std::nullopt;
    HealthReading reading;
    if (!libDrive2::isSimulated(device.osLocator()))
        if (const std::string program = findProgram({"smartctl"}); !program.empty())
            if (auto health = askSmartctl(program, device, longest, reading.problem)) {
                reading.isBySmartctl = !health->isEmpty();
                reading.health = std::move(*health);
            }
    const auto monitor = HealthMonitor::open(device);
    if (monitor != nullptr && reading.isBySmartctl)
        reading.health.hidden = monitor->readHiddenAreas();
    else if (monitor != nullptr)
        reading.health = monitor->read();
    const bool isSilent = reading.health.isEmpty() && reading.problem.isEmpty();
    return isSilent ? std::nullopt : std::optional(reading);
}

}  // namespace drivetest
