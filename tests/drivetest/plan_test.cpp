#include <gmock/gmock.h>

#include <string>
#include <vector>

#include "drivetest/plan/BuiltInPlans.h"
#include "drivetest/plan/DriveMatch.h"
#include "drivetest/plan/PlanReader.h"
#include "drivetest/settings/SizeText.h"
#include "quix5/DeviceInventory.h"

namespace drivetest {
namespace {

using quix5::DeviceCapability;
using testing::ElementsAre;
using testing::IsEmpty;

struct ReadPlan {
    Plan plan;
    std::vector<std::string> faults;
};

ReadPlan read(const std::string& text) {
    std::string error;
    const auto file = TomlFile::parse("p", text, error);
    if (!file)
        return {{}, {error}};
    std::vector<PlanFault> faults;
    Plan plan = readPlan(*file, {}, faults);
    return {std::move(plan), linesOf(*file, faults)};
}

constexpr const char* kTest = "[[test]]\ntest = \"read\"\n";
constexpr const char* kDrive = "[[drive]]\npath = \"/dev/sdb\"\n";

TEST(Plan, HasWhatItsFileSays) {
    const auto [plan, faults] = read(R"(
on-failure = "stop-all"
repeats = 2
jobs = 3
folder = "//srv/drives"
hang-time = "10min"
confirm = "S1"
[[drive]]
serial = "S1"
tests = ["b", "read"]
[[drive]]
kind = "ssd"
bus = ["ata", "usb"]
model = "X*"
size-from = "1TB"
size-to = "2 TiB"
[[test]]
test = "read"
max-time = 90
gentle = true
max-temp = 50
max-errors = 7
slow-ms = 500
slow-count = 2
grade = "default"
repeats = 4
[[test]]
name = "b"
test = "pattern"
[test.parameters]
PreserveData = false
SectorPercentToTest = 0.5
EndRange = "50%"
)");
    EXPECT_THAT(faults, IsEmpty());
    EXPECT_EQ(plan.onFailure, OnFailure::stopAll);
    EXPECT_THAT((std::vector{plan.repeats, plan.jobs, plan.hangSeconds.value_or(0)}), ElementsAre(2, 3, 600));
    EXPECT_EQ(plan.folder + plan.confirmed.at(0).text, "//srv/drivesS1");
    ASSERT_EQ(plan.drives.size(), 2U);
    EXPECT_EQ(plan.drives[0].name, "S1");
    EXPECT_EQ(plan.drives[0].tests.at(1).text, "read");
    const DriveMatch& match = plan.drives[1].match;
    EXPECT_THAT(match.kinds, ElementsAre("ssd"));
    EXPECT_THAT(match.buses, ElementsAre("ata", "usb"));
    EXPECT_THAT((std::vector{match.leastBytes, match.mostBytes}),
                ElementsAre(1'000'000'000'000U, 2ULL << 40));
    ASSERT_EQ(plan.tests.size(), 2U);
    const RunOptions& options = plan.tests[0].options;
    EXPECT_THAT((std::vector<std::uint64_t>{options.maxTime, options.gentle, options.maxTemperature,
                                            options.slowMs, options.slowAllowed, plan.tests[0].repeats}),
                ElementsAre(90, 1, 50, 500, 2, 4));
    EXPECT_EQ(options.grading, "default");
    std::string parameters;
    for (const PlannedTest& test : plan.tests)
        for (const PlannedValue& value : test.parameters)
            parameters += test.label + ":" + value.name + "=" + value.value + " ";
    EXPECT_EQ(parameters, "read:MaxErrors=7 b:PreserveData=false b:SectorPercentToTest=0.5 b:EndRange=50% ");
}

TEST(Plan, TellsAllThatIsWrongAtOnce) {
    const struct {
        std::string text;
        std::vector<std::string> faults;
    } rows[] = {
        {"",
         {"p:1:1: the plan has no test: it wants a line [[test]], and test = \"read\" below",
          "p:1:1: the plan has no drive: it wants a line [[drive]], and path = \"…\" or the like below"}},
        {"[[test]\n", {"p:1:8: Error while parsing table header: expected ']', saw '\\n'"}},
        {std::string("force = true\nconfrim = []\n") + kDrive + kTest,
         {"p:1:1: there is no \"force\"; there are: on-failure, repeats, jobs, folder, hang-time, confirm, "
          "test, drive",
          "p:2:1: there is no \"confrim\"; is it \"confirm\"?"}},
        {std::string("on-failure = \"stop\"\nrepeats = 0\njobs = 1.5\nfolder = \"x\"\nhang-time = "
                     "\"soon\"\nconfirm = [1]\n") +
             kDrive + kTest,
         {"p:1:14: there is no \"stop\"; there are: go-on, stop-drive, stop-all",
          "p:2:11: repeats wants a whole number from 1 to 100",
          "p:3:8: jobs wants a whole number from 1 to 256",
          "p:4:10: folder wants a path that begins at the root",
          "p:5:13: hang-time wants a time, such as \"90s\", \"10min\" or \"1h\"",
          "p:6:11: confirm wants texts in quotes, such as [\"one\", \"other\"]"}},
        {std::string("confirm = [\"S1\", \"\"]\n") + kDrive + kTest,
         {"p:1:18: confirm wants a text in quotes"}},
        {"[test]\ntest = \"read\"\n[drives]\n",
         {"p:1:2: write \"[[test]]\" in double brackets, on a line of its own: there can be several",
          "p:3:2: there is no \"drives\"; is it \"drive\"?"}},
        {"drive = \"/dev/sdb\"\ntest = [\"read\"]\n",
         {"p:1:1: write \"[[drive]]\" in double brackets, on a line of its own: there can be several",
          "p:2:1: write \"[[test]]\" in double brackets, on a line of its own: there can be several"}},
        {std::string(
             "[[drive]]\n[[drive]]\npath = 5\n[[drive]]\npath = \"a\"\nserial = \"b\"\nkind = \"hdd\"\n") +
             kTest,
         {"p:1:1: say which drive: give path or serial, or what it is like by kind, bus, model, size-from, "
          "size-to",
          "p:3:8: path wants a text in quotes",
          "p:6:1: path says already which drive it is: leave out serial",
          "p:7:1: path says already which drive it is: leave out kind"}},
        {std::string("[[drive]]\nkind = [\"hd\", \"tape\"]\nsize-from = \"4TB\"\nsize-to = \"big\"\nbus = 1\n"
                     "tests = [\"reed\"]\n[[drive]]\nsize-from = 2\nsize-to = 1\ntests = []\n") +
             kTest,
         {"p:2:9: there is no \"hd\"; is it \"hdd\"?",
          "p:2:15: there is no \"tape\"; there are: hdd, ssd, nvme, card, optical, floppy, virtual",
          "p:4:11: size-to wants a size, such as \"500GB\", \"4TB\" or \"2TiB\"",
          "p:5:7: bus wants texts in quotes, such as [\"one\", \"other\"]",
          "p:6:10: there is no \"reed\"; is it \"read\"?",
          "p:7:1: no drive has such a size: size-from is more than size-to", "p:10:9: tests names none"}},
        {std::string(kDrive) + "[[test]]\nmax-tmie = 1\n[[test]]\ntest = true\nconfirm = \"S1\"\n",
         {"p:3:1: test is missing", "p:4:1: there is no \"max-tmie\"; is it \"max-time\"?",
          "p:6:8: test wants a text in quotes",
          "p:7:1: there is no \"confirm\"; there are: test, name, parameters, properties, repeats, max-time, "
          "gentle, "
          "max-temp, max-errors, slow-ms, slow-count, grade"}},
        {std::string(kDrive) + kTest +
             "max-time = -1\ngentle = 1\nmax-temp = 900\nmax-errors = 0\nslow-count = 1\ngrade = \"mine\"\n",
         {"p:5:12: max-time wants a time, such as \"90s\", \"10min\" or \"1h\"",
          "p:6:10: gentle wants true or false", "p:7:12: max-temp wants a whole number from 1 to 200",
          "p:8:14: max-errors wants a whole number from 1 to 4294967295",
          "p:9:14: slow-count is only of use with slow-ms: give that, too",
          "p:10:9: grade wants a path that begins at the root"}},
        {std::string(kDrive) + kTest +
             "parameters = { A = 1979-05-27, B = 90071992547409930, C = nan }\nproperties = [1]\n",
         {"p:5:20: A wants a text, a number, or true or false",
          "p:5:36: B is so large a number that it has to stand in quotes",
          "p:5:59: C wants a text, a number, or true or false",
          "p:6:14: properties wants names and values, such as { NAME = 1 }"}},
        {std::string(kDrive) + "\x1b = 1\n" + kTest,
         {"p:3:1: Error while parsing root table: expected keys, tables, whitespace or comments, saw "
          "'\\u001B'"}},
    };
    for (const auto& row : rows)
        EXPECT_EQ(read(row.text).faults, row.faults) << row.text;
}

TEST(Plan, OfTheProgramAreGood) {
    for (const BuiltInPlan& plan : builtInPlans())
        EXPECT_THAT(read(std::string(plan.text)).faults, IsEmpty()) << plan.name;
}

quix5::DiagDevice deviceOf(DeviceCapability capabilities, const char* address = "") {
    quix5::DiagDevice device;
    device.setLocators("/dev/x", address);
    device.setCapabilities(capabilities);
    return device;
}

TEST(DriveMatch, KnowsKindAndBus) {
    const auto disk = DeviceCapability::SCSISBC | DeviceCapability::HardDrive;
    const struct {
        DeviceCapability capabilities;
        const char* address;
        int rotational;  ///< -1 where nobody knows
        bool isVirtual;
        std::string kind, bus;
    } rows[] = {
        {disk | DeviceCapability::ATA, "pci-0000:00:1f.2-ata-1", 1, false, "hdd", "ata"},
        {disk, "", 0, false, "ssd", "scsi"},
        {disk | DeviceCapability::ATA | DeviceCapability::USBMassStorage, "", 1, false, "hdd", "usb"},
        {DeviceCapability::NVME | DeviceCapability::HardDrive, "", 0, false, "nvme", "nvme"},
        {DeviceCapability::SCSIMMC | DeviceCapability::CDROM, "pci-0000:00:1f.2-ata-3", 1, false, "optical",
         "ata"},
        {DeviceCapability::USB_UFI | DeviceCapability::FloppyDrive, "", -1, false, "floppy", "usb"},
        {DeviceCapability::MMCSDFlash, "", 0, false, "card", "mmc"},
        {DeviceCapability::HardDrive, "", -1, true, "virtual", ""},
        {DeviceCapability::HardDrive, "", -1, false, "", ""},
    };
    for (const auto& row : rows) {
        quix5::DiagDevice device = deviceOf(row.capabilities, row.address);
        if (row.rotational >= 0)
            device.setProperty(quix5::kPropertyRotational, quix5::Value::boolean(row.rotational == 1));
        if (row.isVirtual)
            device.setProperty(quix5::kPropertyVirtual, quix5::Value::boolean(true));
        EXPECT_EQ(kindOf(device) + "/" + busOf(device), row.kind + "/" + row.bus);
        // Nothing of the kind "virtual" unless it is asked for.
        EXPECT_EQ(DriveMatch{}.takes(device), !row.isVirtual);
        EXPECT_EQ((DriveMatch{{"virtual"}}.takes(device)), row.isVirtual);
    }
}

TEST(DriveMatch, ComparesSizeAndModel) {
    quix5::DiagDevice device = deviceOf(DeviceCapability::NVME);
    device.setProperty(quix5::kPropertyBytes, std::uint64_t{1000});
    device.setProperty(quix5::kPropertyModel, zel::String("Samsung_SSD_870"));
    const struct {
        std::uint64_t least, most;
        const char* model;
        bool takes;
    } rows[] = {
        {1000, 1000, "", true},          {1001, 2000, "", false},      {0, 999, "", false},
        {0, 5000, "samsung ssd*", true}, {0, 5000, "*870", true},      {0, 5000, "*ssd?8*0", true},
        {0, 5000, "samsung", false},     {0, 5000, "*samsung", false}, {0, 5000, "****870?", false},
        {0, 5000, "s*s*s*s*870", true},
    };
    for (const auto& row : rows)
        EXPECT_EQ((DriveMatch{{}, {}, row.model, row.least, row.most}.takes(device)), row.takes)
            << row.least << " " << row.most << " " << row.model;
}

TEST(SizeText, KnowsItsUnits) {
    const std::pair<const char*, std::optional<std::uint64_t>> rows[] = {
        {"500", 500},
        {"4TB", 4'000'000'000'000},
        {"1.5 GiB", 1'610'612'736},
        {"0B", 0},
        {"", {}},
        {"TB", {}},
        {"-1GB", {}},
        {"4tb", {}},
        {"4TBx", {}},
        {"9999PB", {}},
        {"nan", {}},
        {"1e3", {}},
    };
    for (const auto& [text, bytes] : rows)
        EXPECT_EQ(bytesOf(text), bytes) << text;
}

}  // namespace
}  // namespace drivetest
