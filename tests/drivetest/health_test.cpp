#include <gmock/gmock.h>

#include <fstream>
#include <iterator>

#include "drivetest/health/HealthChanges.h"
#include "drivetest/health/HealthJson.h"
#include "drivetest/health/SmartctlOutput.h"

namespace drivetest {
namespace {

using libDrive2::DriveHealth;
using libDrive2::SelfTestEntry;
using libDrive2::SelfTestKind;
using libDrive2::SelfTestOutcome;
using testing::ElementsAre;
using testing::HasSubstr;

std::string recordedOutput(const std::string& drive) {
    std::ifstream file(std::string(HEALTH_OUTPUTS) + "/" + drive + ".json");
    return {std::istreambuf_iterator<char>(file), {}};
}

/// "predicts:no reallocatedSectors:0 …", attributes and self-tests by their number.
std::string summaryOf(const DriveHealth& health) {
    std::string text = health.predictsFailure ? *health.predictsFailure ? "FAILS" : "fine" : "silent";
    for (const HealthCounter& counter : healthCounters())
        if (const auto number = health.*counter.number)
            text += " " + std::string(counter.key) + ":" + std::to_string(*number);
    if (!health.attributes.empty())
        text += " attributes:" + std::to_string(health.attributes.size());
    if (!health.selfTests.empty())
        text += " tests:" + std::to_string(health.selfTests.size());
    return text;
}

TEST(SmartctlOutput, IsUnderstoodOfDrivesOfAllKinds) {
    const struct {
        const char* drive;
        const char* summary;
        std::size_t warnings = 0;
    } cases[] = {
        {"hitachi-7k1000d-failing",
         "FAILS reallocatedSectors:1975 pendingSectors:8 uncorrectableSectors:0 crcErrors:0 temperature:25 "
         "powerOnHours:65592 powerCycles:86 attributes:15",
         2},
        {"samsung-860-evo",
         "fine reallocatedSectors:0 crcErrors:0 mediaErrors:0 wear:19 temperature:36 powerOnHours:14551 "
         "powerCycles:13 bytesWritten:33166218315776 attributes:11 tests:8"},
        {"samsung-sata-cable-errors",
         "fine reallocatedSectors:0 crcErrors:108 mediaErrors:0 temperature:33 powerOnHours:19497 "
         "powerCycles:4169 attributes:9"},
        {"seagate-7200.10",
         "fine reallocatedSectors:0 pendingSectors:0 uncorrectableSectors:0 crcErrors:0 mediaErrors:0 "
         "temperature:35 powerOnHours:100216 powerCycles:75 attributes:13"},
        {"seagate-7200.12",
         "fine reallocatedSectors:1 pendingSectors:0 uncorrectableSectors:0 crcErrors:0 mediaErrors:0 "
         "temperature:32 powerOnHours:44670 powerCycles:26 attributes:15"},
        {"hp-midline-sata",
         "fine reallocatedSectors:0 pendingSectors:0 uncorrectableSectors:0 crcErrors:0 mediaErrors:1 "
         "temperature:26 powerOnHours:89214 powerCycles:48 attributes:12"},
        {"wd-red",
         "fine reallocatedSectors:0 pendingSectors:0 uncorrectableSectors:0 crcErrors:0 temperature:34 "
         "powerOnHours:47657 powerCycles:3 attributes:10"},
        {"intel-s3520-m2",
         "fine reallocatedSectors:0 pendingSectors:0 uncorrectableSectors:0 crcErrors:0 temperature:47 "
         "powerOnHours:21213 powerCycles:186 attributes:12"},
        {"seagate-cheetah-damaged",
         "fine reallocatedSectors:260 mediaErrors:536 temperature:33 powerOnHours:102880"},
        {"seagate-enterprise-10k",
         "fine reallocatedSectors:0 mediaErrors:0 temperature:31 powerOnHours:5675"},
        {"wd-hc550-sas", "fine reallocatedSectors:0 mediaErrors:0 temperature:38 powerOnHours:12345"},
        {"toshiba-al15-sas",
         "fine reallocatedSectors:0 mediaErrors:0 temperature:32 powerOnHours:12437 powerCycles:82"},
        {"fujitsu-u320", "fine reallocatedSectors:0 mediaErrors:0 temperature:28 powerCycles:184"},
        {"hitachi-sas-10k",
         "fine reallocatedSectors:0 mediaErrors:0 temperature:27 powerOnHours:982 powerCycles:45"},
        {"seagate-nl-sas-reallocated",
         "fine reallocatedSectors:56 mediaErrors:0 temperature:34 powerOnHours:43549"},
        {"micron-7450",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:10 wear:0 temperature:33 powerOnHours:2884 "
         "powerCycles:32 bytesWritten:639015936000"},
        {"samsung-970-evo-media-errors",
         "fine mediaErrors:7 spareLeft:99 spareThreshold:10 wear:3 temperature:35 powerOnHours:12798 "
         "powerCycles:25 bytesWritten:33588269056000"},
        {"samsung-970-evo-plus",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:10 wear:0 temperature:35 powerOnHours:3149 "
         "powerCycles:16 bytesWritten:1008363008000"},
        {"toshiba-xg6-4k",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:10 wear:1 temperature:37 powerOnHours:12173 "
         "powerCycles:30 bytesWritten:1977242624000"},
        {"intel-p3700",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:10 wear:5 temperature:28 powerOnHours:41951 "
         "powerCycles:55 bytesWritten:335366573568000"},
        {"corsair-mp510",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:5 wear:1 temperature:38 powerOnHours:6487 "
         "powerCycles:4 bytesWritten:8239678464000"},
        {"intel-optane-m10",
         "fine mediaErrors:0 spareLeft:100 spareThreshold:0 wear:1 temperature:31 powerOnHours:41159 "
         "powerCycles:194 bytesWritten:2429238784000"},
        {"team-mp33-self-tests", "silent tests:2"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.drive);
        zel::Wording problem;
        const auto told = parseSmartctl(recordedOutput(c.drive), problem);
        ASSERT_TRUE(told) << problem.utf8();
        EXPECT_EQ(summaryOf(told->health), c.summary);
        EXPECT_FALSE(told->serial.empty());
        const HealthReading reading{true, {}, told->health};
        EXPECT_EQ(healthWarnings(changes(std::nullopt, reading)).size(), c.warnings);
        // A record keeps all of it.
        EXPECT_EQ(readHealthJson(Json::parse(healthJson(reading).dump())).health, told->health);
    }
}

TEST(SmartctlOutput, IsLeftOutWhereItIsNotOfItsForm) {
    const std::string ata = R"({"smartctl":{},"device":{"protocol":"ATA"},)";
    const std::string nested(100000, '[');
    std::string euros;  // of three bytes each
    for (int i = 0; i < 100; ++i)
        euros += "€";
    const struct {
        std::string output;
        std::string summary;  ///< or why there is none
    } cases[] = {
        {"", "what it printed makes no sense"},
        {"smartctl 7.3 2022-02-28", "what it printed makes no sense"},
        {"[]", "what it printed makes no sense"},
        {"{}", "what it printed makes no sense"},
        {nested, "what it printed makes no sense"},
        {R"({"smartctl":{"messages":[{"string":"Permission denied","severity":"error"}],"exit_status":2}})",
         "it says \"Permission denied\""},
        {R"({"smartctl":{"messages":[{"string":"\u001b[2J","severity":"error"}]}})", "it says \"\\x1b[2J\""},
        {R"({"smartctl":{},"temperature":{"current":20}})", "silent temperature:20"},
        {R"({"smartctl":{},"temperature":{"current":-5}})", "silent temperature:-5"},
        {R"({"smartctl":{},"temperature":{"current":"hot"}})", "silent"},
        {R"({"smartctl":{},"temperature":{"current":1e300},"power_on_time":[]})", "silent"},
        {R"({"smartctl":{},"power_on_time":{"hours":-1},"power_cycle_count":18446744073709551615})",
         "silent"},
        {ata + R"("smart_status":{"passed":"no"}})", "silent"},
        {ata +
             R"("ata_smart_attributes":{"table":[{"id":5,"value":300,"raw":{"value":1}},)"
             R"({"id":0,"value":1,"raw":{"value":1}},{"id":197,"value":1},7,{"id":5,"value":9,"raw":{"value":2}}]}})",
         "silent reallocatedSectors:2 attributes:1"},
        {ata + R"("ata_smart_attributes":{"table":{"id":5}}})", "silent"},
        {ata + R"("temperature":{"current":30},"deep":)" + std::string(50, '[') + std::string(50, ']') + "}",
         "silent temperature:30"},
        {R"({"smartctl":{"messages":[{"severity":"error","string":"x)" + euros + R"("}]}})",
         "it says \"x" + euros.substr(0, 198) + "\""},
        {R"({"smartctl":{},"device":{"protocol":"NVMe"},"nvme_smart_health_information_log":{"critical_warning":2}})",
         "fine"},
        {R"({"smartctl":{},"device":{"protocol":"NVMe"},"nvme_smart_health_information_log":{"critical_warning":4}})",
         "FAILS"},
        {R"({"smartctl":{},"device":{"protocol":"SCSI"},"temperature":{"current":0},"scsi_temperature":{"drive_trip":0}})",
         "silent"},
        {R"({"smartctl":{},"device":{"protocol":"SCSI"},"scsi_self_test_0":{"result":{"string":"Completed, segment failed"}},)"
         R"("scsi_self_test_1":{"code":{"value":2},"result":{"value":0},"power_on_time":{"hours":9}}})",
         "silent tests:2"},
    };
    for (const auto& c : cases) {
        zel::Wording problem;
        const auto told = parseSmartctl(c.output, problem);
        EXPECT_EQ(told ? summaryOf(told->health) : problem.utf8(), c.summary) << c.output.substr(0, 200);
    }
}

HealthReading readingOf(DriveHealth health, bool isBySmartctl = false) {
    return {isBySmartctl, {}, std::move(health)};
}

TEST(HealthChanges, TellWhatBecameWorse) {
    DriveHealth before;
    before.predictsFailure = false;
    before.reallocatedSectors = 4;
    before.pendingSectors = 0;
    before.spareLeftPercent = 90;
    before.temperatureC = 30;
    DriveHealth after = before;
    EXPECT_FALSE(changes(readingOf(before), readingOf(after)).hasWarnings());
    after.pendingSectors = 3;
    after.reallocatedSectors = 2;  // a vendor may count down, which is no damage
    after.spareLeftPercent = 80;
    after.temperatureC = 41;
    const HealthFindings findings = changes(readingOf(before), readingOf(after));
    EXPECT_THAT(healthWarnings(findings),
                ElementsAre(HasSubstr("Sectors that wait to be reallocated: 0 -> 3"),
                            HasSubstr("Spare that is left: 90 % -> 80 %")));
    EXPECT_EQ(findings.changed.size(), 2U);
    // What two ways of asking understand differently is no change of the drive.
    EXPECT_FALSE(changes(readingOf(before, true), readingOf(after)).hasWarnings());
    EXPECT_FALSE(changes(std::nullopt, readingOf(after)).hasWarnings());
}

TEST(HealthChanges, WarnOfWhatOneReadingSays) {
    DriveHealth failing;
    failing.predictsFailure = true;
    failing.attributes = {{5, "Reallocated_Sector_Ct", 1, 1, 5, 9}, {1, "", 5, 1, 0, 9}};
    failing.spareLeftPercent = 4;
    failing.spareThresholdPercent = 5;
    failing.selfTests = {{SelfTestKind::shortTest, SelfTestOutcome::aborted, 9, {}},
                         {SelfTestKind::shortTest, SelfTestOutcome::failed, 8, 77}};
    failing.hidden = {1, 0, 2048};
    const auto warnings = healthWarnings(changes(readingOf(failing), std::nullopt));
    EXPECT_THAT(warnings, ElementsAre(HasSubstr("predicts that it will fail"), HasSubstr("attribute 5"),
                                      HasSubstr("less spare"), HasSubstr("first at sector 77"),
                                      HasSubstr("1 sector is hidden in a host protected area"),
                                      HasSubstr("2048 sectors lie beyond the accessible maximum address")));
    // One that passed since is what counts.
    failing.selfTests.insert(failing.selfTests.begin(),
                             SelfTestEntry{SelfTestKind::extendedTest, SelfTestOutcome::passed, 10, {}});
    EXPECT_FALSE(changes(readingOf(failing), std::nullopt).failedSelfTest);
    // A drive that tells nothing any more does not take back what it said.
    EXPECT_EQ(changes(readingOf(failing), readingOf({})).belowThreshold.size(), 1U);
}

TEST(HealthJson, RefusesWhatIsOfAnotherForm) {
    const char* const good = R"({"source":"drive","counters":{"temperature":-3}})";
    EXPECT_EQ(readHealthJson(Json::parse(good)).health.temperatureC, -3);
    for (const char* const bad :
         {R"({"counters":{}})", R"({"source":"drive"})", R"({"source":"drive","counters":{"wear":"1"}})",
          R"({"source":"drive","counters":{"wear":18446744073709551615}})",
          R"({"source":"drive","counters":{},"selfTests":[{"kind":"long","outcome":"passed"}]})",
          R"({"source":"drive","counters":{},"attributes":[{"id":999,"name":""}]})",
          R"({"source":"drive","counters":{},"hidden":{"hpaSectors":-1}})"})
        EXPECT_THROW((void)readHealthJson(Json::parse(bad)), Json::exception) << bad;
}

}  // namespace
}  // namespace drivetest
