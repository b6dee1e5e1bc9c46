#include "drivetest/health/SmartctlOutput.h"

#include "drivetest/health/JsonFields.h"
#include "drivetest/terminal/Texts.h"
#include "libDrive2/HealthMonitor.h"

namespace drivetest {

using libDrive2::DriveHealth;
using libDrive2::SelfTestEntry;
using libDrive2::SelfTestKind;
using libDrive2::SelfTestOutcome;

namespace {

/// Deeper than anything that the program prints: such things are left out.
constexpr int kDeepest = 16;

std::optional<std::uint64_t> natural(DriveHealth::Number number) {
    return number ? std::optional(static_cast<std::uint64_t>(*number)) : std::nullopt;
}

void takeAttributes(const Json& output, DriveHealth& health) {
    constexpr std::int64_t kByte = 0xFF;
    forEachIn(at(output, {"ata_smart_attributes", "table"}), [&health](const Json& entry) {
        const auto id = countAt(entry, {"id"}, kByte);
        const auto value = countAt(entry, {"value"}, kByte);
        const auto raw = countAt(entry, {"raw", "value"});
        if (!id || *id == 0 || !value || !raw)
            return;
        const auto byte = [&entry](const char* name) {
            return static_cast<std::uint8_t>(countAt(entry, {name}, kByte).value_or(0));
        };
        std::string name = textAt(entry, {"name"});
        health.attributes.push_back({static_cast<std::uint8_t>(*id),
                                     name == "Unknown_Attribute" ? std::string() : std::move(name),
                                     static_cast<std::uint8_t>(*value), byte("worst"), byte("thresh"),
                                     static_cast<std::uint64_t>(*raw)});
    });
    takeAttributeMeanings(health);
}

/// The lower seven bits of the subcommand (ACS-2, SMART EXECUTE OFF-LINE IMMEDIATE).
SelfTestKind ataKind(std::int64_t code) {
    return (code & 0x7F) == 1   ? SelfTestKind::shortTest
           : (code & 0x7F) == 2 ? SelfTestKind::extendedTest
                                : SelfTestKind::other;
}

void takeAtaSelfTests(const Json& output, DriveHealth& health) {
    // The extended log has addresses of 48 bits.
    const Json& log = at(output, {"ata_smart_self_test_log"});
    const Json& extended = at(log, {"extended", "table"});
    forEachIn(extended.is_array() ? extended : at(log, {"standard", "table"}), [&health](const Json& entry) {
        const auto status = countAt(entry, {"status", "value"});
        if (!status)
            return;
        SelfTestEntry test{ataKind(countAt(entry, {"type", "value"}).value_or(0)),
                           libDrive2::selfTestOutcome(static_cast<unsigned>(*status >> 4)),
                           natural(countAt(entry, {"lifetime_hours"}))};
        if (test.outcome == SelfTestOutcome::failed)
            test.firstBad = natural(countAt(entry, {"lba"}));
        health.selfTests.push_back(test);
    });
}

/// ACS-3, Device Statistics log: the few that every vendor counts alike.
void takeDeviceStatistics(const Json& output, DriveHealth& health) {
    const std::int64_t sectorBytes = countAt(output, {"logical_block_size"}, 65536).value_or(512);
    forEachIn(at(output, {"ata_device_statistics", "pages"}), [&](const Json& page) {
        forEachIn(at(page, {"table"}), [&](const Json& entry) {
            const std::string name = textAt(entry, {"name"});
            const auto value = countAt(entry, {"value"});
            if (!value || flagAt(entry, {"flags", "valid"}) == false)
                return;
            if (name == "Logical Sectors Written" && *value <= kMostOfFields / sectorBytes)
                health.bytesWritten = *value * sectorBytes;
            else if (name == "Percentage Used Endurance Indicator")
                health.wearPercent = value;
        });
    });
}

void takeAta(const Json& output, DriveHealth& health) {
    takeAttributes(output, health);
    takeAtaSelfTests(output, health);
    takeDeviceStatistics(output, health);
}

/// The result's number (SPC-4, Self-Test Results log page). Releases before 7.4 have its name only.
DriveHealth::Number scsiResult(const Json& entry) {
    if (const auto value = countAt(entry, {"result", "value"}, 0xF))
        return value;
    const std::string name = textAt(entry, {"result", "string"});
    if (name.empty())
        return std::nullopt;
    constexpr std::int64_t kFailed = 7;
    constexpr std::int64_t kInterrupted = 2;
    if (name == "Completed")
        return 0;
    return name.starts_with("Completed") || name.starts_with("Failed") ? kFailed : kInterrupted;
}

void takeScsiSelfTest(const Json& entry, DriveHealth& health) {
    const auto result = scsiResult(entry);
    if (!result)
        return;
    SelfTestEntry test{SelfTestKind::other, SelfTestOutcome::failed,
                       natural(countAt(entry, {"power_on_time", "hours"}))};
    const std::int64_t code = countAt(entry, {"code", "value"}).value_or(0);
    if (code == 1 || code == 5)
        test.kind = SelfTestKind::shortTest;
    else if (code == 2 || code == 6)
        test.kind = SelfTestKind::extendedTest;
    constexpr SelfTestOutcome kFirstOutcomes[] = {SelfTestOutcome::passed, SelfTestOutcome::aborted,
                                                  SelfTestOutcome::interrupted};
    if (*result < 3)
        test.outcome = kFirstOutcomes[*result];
    else if (*result == 0xF)
        test.outcome = SelfTestOutcome::running;
    if (test.outcome == SelfTestOutcome::failed)
        test.firstBad = natural(countAt(entry, {"lba_first_failure", "value"}));
    health.selfTests.push_back(test);
}

void takeScsi(const Json& output, DriveHealth& health) {
    health.reallocatedSectors = countAt(output, {"scsi_grown_defect_list"});
    for (const char* const direction : {"read", "write"})
        if (const auto errors = countAt(
                output, {"scsi_error_counter_log", direction, "total_uncorrected_errors"}, kMostOfFields / 2))
            health.mediaErrors = health.mediaErrors.value_or(0) + *errors;
    health.wearPercent = countAt(output, {"scsi_percentage_used_endurance_indicator"});
    health.powerCycles = countAt(output, {"scsi_start_stop_cycle_counter", "accumulated_start_stop_cycles"});
    // Both 0: there is no such page, or the drive has its temperature on another one.
    const bool hasLimit = numberAt(output, {"temperature", "drive_trip"}).value_or(0) != 0 ||
                          numberAt(output, {"scsi_temperature", "drive_trip"}).value_or(0) != 0;
    if (health.temperatureC == 0 && !hasLimit)
        health.temperatureC = numberAt(output, {"scsi_environmental_reports", "temperature_1", "current"});
    for (int i = 0; i < 20; ++i)
        takeScsiSelfTest(at(output, {("scsi_self_test_" + std::to_string(i)).c_str()}), health);
}

void takeNVMeSelfTests(const Json& output, DriveHealth& health) {
    forEachIn(at(output, {"nvme_self_test_log", "table"}), [&health](const Json& entry) {
        const auto result = countAt(entry, {"self_test_result", "value"}, 0xF);
        const auto code = countAt(entry, {"self_test_code", "value"}, 0xF);
        if (!result || !code)
            return;
        SelfTestEntry test{*code == 1   ? SelfTestKind::shortTest
                           : *code == 2 ? SelfTestKind::extendedTest
                                        : SelfTestKind::other,
                           *result == 0                   ? SelfTestOutcome::passed
                           : *result == 1                 ? SelfTestOutcome::aborted
                           : *result >= 5 && *result <= 7 ? SelfTestOutcome::failed
                                                          : SelfTestOutcome::interrupted,
                           natural(countAt(entry, {"power_on_hours"}))};
        if (test.outcome == SelfTestOutcome::failed)
            test.firstBad = natural(countAt(entry, {"lba"}));
        health.selfTests.push_back(test);
    });
}

void takeNVMe(const Json& output, DriveHealth& health) {
    constexpr std::int64_t kTemperatureWarning = 0x02;
    constexpr std::int64_t kDataUnitBytes = 512000;
    const Json& log = at(output, {"nvme_smart_health_information_log"});
    if (const auto warnings = countAt(log, {"critical_warning"}, 0xFF))
        health.predictsFailure = (*warnings & ~kTemperatureWarning) != 0;
    health.spareLeftPercent = countAt(log, {"available_spare"}, 0xFF);
    health.spareThresholdPercent = countAt(log, {"available_spare_threshold"}, 0xFF);
    health.wearPercent = countAt(log, {"percentage_used"}, 0xFF);
    health.mediaErrors = countAt(log, {"media_errors"});
    if (const auto units = countAt(log, {"data_units_written"}, kMostOfFields / kDataUnitBytes))
        health.bytesWritten = *units * kDataUnitBytes;
    takeNVMeSelfTests(output, health);
}

/// What all kinds of drives have alike. A SCSI drive's "smart_status" is what it says of its exceptions.
void takeCommon(const Json& output, DriveHealth& health) {
    constexpr std::int64_t kMostDegrees = 1000;
    if (const auto passed = flagAt(output, {"smart_status", "passed"}))
        health.predictsFailure = !*passed;
    if (const auto celsius = numberAt(output, {"temperature", "current"});
        celsius && *celsius > -kMostDegrees && *celsius < kMostDegrees)
        health.temperatureC = celsius;
    if (const auto hours = countAt(output, {"power_on_time", "hours"}))
        health.powerOnHours = hours;
    if (const auto cycles = countAt(output, {"power_cycle_count"}))
        health.powerCycles = cycles;
}

/// Its own words on what went wrong; empty when nothing did.
zel::Wording complaintOf(const Json& output) {
    std::string told;
    forEachIn(at(output, {"smartctl", "messages"}), [&told](const Json& message) {
        if (told.empty() && textAt(message, {"severity"}) == "error")
            told = textAt(message, {"string"});
    });
    if (told.empty())
        return {};
    return zel::worded("it says \"{words}\"", {{"words", printable(told)}});
}

}  // namespace

std::optional<SmartctlOutput> parseSmartctl(std::string_view text, zel::Wording& problem) {
    const Json output = Json::parse(
        text, [](int depth, Json::parse_event_t /*event*/, Json& /*parsed*/) { return depth <= kDeepest; },
        false);
    if (!output.is_object() || !at(output, {"smartctl"}).is_object()) {
        problem = zel::worded("what it printed makes no sense");
        return std::nullopt;
    }
    SmartctlOutput told;
    told.serial = textAt(output, {"serial_number"});
    takeCommon(output, told.health);
    const DriveHealth common = told.health;
    const std::string protocol = textAt(output, {"device", "protocol"});
    if (protocol == "ATA")
        takeAta(output, told.health);
    else if (protocol == "SCSI")
        takeScsi(output, told.health);
    else if (protocol == "NVMe")
        takeNVMe(output, told.health);
    // It converts these two, where vendors count in other units.
    for (const auto member : {&DriveHealth::powerOnHours, &DriveHealth::powerCycles})
        if (common.*member)
            told.health.*member = common.*member;
    if (told.health.isEmpty())
        problem = complaintOf(output);
    return problem.isEmpty() ? std::optional(told) : std::nullopt;
}

}  // namespace drivetest
