#include "libDriveTest/DriveFactory.h"

#include <fstream>

#include "ModuleFixture.h"
#include "libDrive2/AtaDrive.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/NVMeDrive.h"
#include "libDrive2/OSFloppyDrive.h"
#include "libDrive2/OSScsiSBCDrive.h"
#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/UFIFloppyDrive.h"
#include "zel/Resource.h"

namespace libDriveTest {
namespace {

using namespace libDrive2;
using Can = quix5::DeviceCapability;

class DriveFactoryTest : public ModuleFixture {
protected:
    void be(const std::string& locator, Can capabilities) {
        device = {};
        device.setLocators(locator, "bus 1");
        device.setName("the drive");
        device.setCapabilities(capabilities);
    }
    /// By the caller's order ":N:N" where there is one.
    void create(const char* order, std::uint32_t access = kAccessRead | kAccessWrite) {
        DriveTestAccessor accessor(nullptr);
        if (order != nullptr)
            accessor.deserialize(zel::String("DriveTestSearchOrder") + order);
        host.log.clear();
        host.events.clear();
        made = DriveFactory(device, access, kShareRead | kShareWrite).create(accessor.getSearchOrder());
    }
    /// "priority text|" for every line of the module, without the name of the function.
    [[nodiscard]] std::string log() const {
        zel::String all;
        for (const auto& line : host.log)
            if (line.logger.starts_with("libDriveTest."))
                all += std::to_string(line.priority) + " " + line.text + "|";
        return all.replace("DriveTest::createDrive() ", "").utf8();
    }
    [[nodiscard]] std::string refusal() const {
        return testing::PrintToString(host.eventsOf("warning")) + made.reason.name();
    }

    quix5::DiagDevice device;
    quix5::CreatedDrive made;
};

const std::string kNoSetting = "1 unable to find resource - libDriveTest:DefaultSearchOrderOverride.value|";
const std::string kNotSupported = "{ \"testNotSupported()\" }NOTSUPPORTED";
constexpr Can kMedia =
    Can::CDROM | Can::HardDrive | Can::FloppyDrive | Can::USBMassStorage | Can::RemovableStorage;

template <class Class>
bool isA(const libDrive2::Drive& drive) {
    return typeid(drive) == typeid(Class);
}

/// One access method: capabilities of which one suffices; what it logs before and after it opens "@".
const struct {
    const char *order, *locator;
    bool (*isRight)(const libDrive2::Drive& drive);
    Can takes;
    const char *before, *after;
} kMethods[] = {
    {":1", "sim:ata", &isA<AtaDrive>, Can::ATA, "", "1 Created drive type: AtaDrive|"},
    {":2", "sim:scsi", &isA<ScsiSBCDrive>, Can::SCSISBC, "1 creating SCSI SBC Drive|1 will test locator: @|",
     "1 Device @ supports FUA|1 Created drive type: ScsiSBCDrive|"},
    {":2", "sim:ufi", &isA<ScsiSBCDrive>, Can::SCSISBC, "1 creating SCSI SBC Drive|1 will test locator: @|",
     "3 Device @ does not support FUA|1 Created drive type: ScsiSBCDrive|"},
    {":3", "sim:scsi", &isA<ScsiMMCDrive>, Can::SCSIMMC, "1 creating SCSI MMC Drive|1 will test locator: @|",
     "1 Created drive type: ScsiMMCDrive|"},
    {":4", "sim:ufi", &isA<UFIFloppyDrive>, Can::USB_UFI,
     "1 creating USB UFI Floppy Drive|1 will test locator: @|", "1 Created drive type: UFIFloppyDrive|"},
    {":5", "sim:floppy", &isA<OSFloppyDrive>, Can::FloppyDrive, "1 creating OS Floppy Drive|", ""},
    {":6", "sim:disk", &isA<OSDrive>, kMedia | Can::MMCSDFlash, "1 creating OS Drive|",
     "1 Created drive type: OSDrive|"},
    {":7", "sim:scsi", &isA<OSScsiSBCDrive>, kMedia, "1 creating OSScsiSBCDrive|1 will test OS locator: @|",
     "1 will test SCSI locator: @|1 Created drive type: OSScsiSBCDrive|"},
    {":8", "sim:nvme", &isA<NVMeDrive>, Can::NVME, "1 creating NVMeDrive|1 will test OS locator: @|",
     "1 Created drive type: NVMeDrive|"}};

std::string at(const char* locator, const std::string& text) {
    return kNoSetting + zel::String(text).replace("@", locator).utf8();
}

TEST_F(DriveFactoryTest, EachMethodFitsItsCapabilitiesAndLogsWhatItDoes) {
    for (const auto& [order, locator, isRight, takes, before, after] : kMethods)
        for (const Can one :
             {Can::ATA, Can::SCSISBC, Can::SCSIMMC, Can::USB_UFI, Can::NVME, Can::FloppyDrive, Can::CDROM,
              Can::HardDrive, Can::USBMassStorage, Can::MMCSDFlash, Can::RemovableStorage}) {
            const bool blocks = order[1] == '6' || order[1] == '7';
            be(locator, order[1] == '7' ? one | Can::SCSISBC : one);
            create(order);
            ASSERT_EQ(refusal(), takes.isCapable(one) ? "{}PASS" : kNotSupported) << order;
            if (!takes.isCapable(one))
                continue;
            EXPECT_TRUE(isRight(*made.drive) && made.drive.references() == 1) << order;
            EXPECT_EQ(log(), at(locator, std::string(before) + after));
            EXPECT_EQ(made.drive->name, "the drive") << order;
            EXPECT_TRUE(!blocks || made.drive->mediaCapabilties() == (one == Can::HardDrive ? 1 : 2));
        }
    be("sim:scsi", Can::HardDrive);
    create(":7");
    EXPECT_EQ(refusal(), kNotSupported);
}

TEST_F(DriveFactoryTest, AFailedOpenEndsTheSearchButForAta) {
    for (const auto& method : kMethods) {
        be("sim:none", method.takes | Can::HardDrive | Can::SCSISBC);
        create((std::string(method.order) + ":6").c_str());
        EXPECT_EQ(refusal(), "{ \"cannotOpenDeviceRemoved()\" }CANNOTRUN");
        EXPECT_EQ(log(),
                  at("sim:none", method.order[1] != '1' ? method.before
                                                        : "3 Unable to create AtaDrive object for device: "
                                                          "bus 1|1 creating OS Drive|"));
    }
}

TEST_F(DriveFactoryTest, OpensAsAskedAndClosesWhatWasOpenedInVain) {
    char data[512] = {}, found[512] = {};
    be("sim:scsi", Can::SCSISBC | Can::SCSIMMC | Can::HardDrive);
    for (const char* order : {":2", ":3", ":6", ":7"}) {
        create(order, kAccessRead);
        EXPECT_FALSE(made.drive->writeSector(0, 1, data, 512));
        EXPECT_EQ(made.drive->lastError, LIBDRIVE2_WRITE_PROTECTED_DEVICE) << order;
    }
    be("sim:disk", Can::SCSISBC | Can::HardDrive);
    auto keeper = OsDevice::openOsDevice("sim:disk", kAccessRead | kAccessWrite, 0, kOpenExisting, 0);
    EXPECT_TRUE(keeper->write(0, data, 512).ok());
    create(":7");
    EXPECT_EQ(log(), at("sim:disk",
                        "1 creating OSScsiSBCDrive|1 will test OS locator: @|"
                        "1 will test SCSI locator: @|"));
    keeper.release();
    // A simulated drive that nobody has open any more forgets what was written.
    EXPECT_TRUE(open("sim:disk")->readSector(0, 1, found, 512));
    EXPECT_NE(std::string(found, 512), std::string(data, 512));
}

TEST_F(DriveFactoryTest, SettingBeforeCallerBeforePropertyBeforeDefault) {
    const char *const six = "DriveTestSearchOrder:6", *const bad = "DriveTestSearchOrder:x";
    const std::string setting = "1 Found override parameter \"DefaultSearchOrderOverride\"|",
                      taken =
                          "1 Using search order from override parameter \"DefaultSearchOrderOverride\" : ",
                      property = kNoSetting +
                                 "1 Using search order from device property '__libDriveTest_AccessOrder': ",
                      malformed =
                          "3 Token 1 in serialization is not a valid unsigned intDriveTestSearchOrder:x|",
                      prefix =
                          "3 Serialization prefix (DriveTestSearchOrder) is missing, found: DriveTestSearch|",
                      standard = "1 Using default drive test search order|1 creating OSScsi";
    const struct {
        const char *setting, *caller;
        std::string property, log;
    } rows[] = {{six, ":2", six, setting + taken + six + "|1 creating OS D"},
                {"", ":2", six, "1 creating SCSI SBC"},
                {bad, ":2", six, setting + malformed + "1 creating SCSI SBC"},
                {"DriveTestSearch:7", nullptr, "none", setting + prefix + standard},
                {nullptr, nullptr, six, property + six + "|1 creating OS D"},
                {nullptr, nullptr, bad, kNoSetting + malformed + standard},
                {nullptr, nullptr, "", kNoSetting + "3 Serialization is a null string|" + standard},
                {nullptr, nullptr, "7",
                 kNoSetting + "3 Unable to identify the access method for this device|" + standard},
                {nullptr, nullptr, "none", kNoSetting + standard},
                {nullptr, ":9:4294967295:6", six,
                 kNoSetting + "1 No support for drive implementation: 00000009|"
                              "1 No support for drive implementation: FFFFFFFF|1 creating OS D"},
                {nullptr, ":1:2", six,
                 kNoSetting + "3 Unable to create AtaDrive object for device: bus 1|1 creating SCSI SBC"},
                {nullptr, nullptr, "DriveTestSearchOrder", property + "DriveTestSearchOrder|"}};
    for (const auto& row : rows) {
        zel::Resource::reset();
        if (row.setting != nullptr)
            std::ofstream(package("libDriveTest", {}))
                << R"({"settings": {"DefaultSearchOrderOverride.value": ")" << row.setting << "\"}}";
        be("sim:ata,emulated", Can::ATA | Can::SCSISBC | Can::HardDrive);
        if (row.property != "none")
            device.setProperty("__libDriveTest_AccessOrder",
                               row.property == "7" ? quix5::Value(7U) : quix5::Value(row.property));
        create(row.caller);
        EXPECT_THAT(log(), testing::StartsWith(row.log));
    }
    EXPECT_EQ(refusal(), kNotSupported);
    be("sim:nvme", Can::NVME);
    create(nullptr);
    EXPECT_EQ(refusal(), kNotSupported);
}

TEST_F(DriveFactoryTest, PasswordProtectionNeedsAllOfItsProperties) {
    const char* const names[] = {"SecurityPasswordSupported", "SecurityPasswordSet", "ATASecurityLocked"};
    for (int state = 0; state < 2 * 27; ++state) {
        be("sim:ata", state % 2 == 0 ? Can::HardDrive : Can::ATA);
        for (int i = 0, rest = state / 2; i < 3; ++i, rest /= 3)  // missing, false, true
            if (rest % 3 != 0)
                device.setProperty(names[i], quix5::Value::boolean(rest % 3 == 2));
        EXPECT_EQ(DriveTest::isATADrivePasswordProtected(device), state == 53) << state;
    }
    EXPECT_EQ(host.eventsOf("warning"), std::vector<std::string>{"harddrivePasswordProtected()"});
}

TEST_F(DriveFactoryTest, AccessorsAreValuesWithATextForm) {
    const std::string prefix = "DriveTestSearchOrder";
    const DriveTestAccessor defaults(DriveTestAccessor::getDefaultSearchOrder());
    const std::tuple<std::string, bool, std::string> rows[] = {
        {prefix + ":1:4294967295", true, ":1:4294967295"},
        {prefix, true, ""},
        {prefix + ":8:0:5", true, ":8:2:3"},
        {prefix + ":1:x:5", false, ":1:2:3"},
        {prefix + ":4294967296", false, ":7"},
        {"", false, ":7:2:3:4:5:6"},
        {"drivetestsearchorder:6", false, ":7:2:3:4:5:6"}};
    for (const auto& [text, valid, result] : rows) {
        DriveTestAccessor accessor(nullptr);
        EXPECT_EQ(accessor.toString().utf8(), prefix);
        accessor = defaults;
        EXPECT_EQ(accessor.deserialize(text), valid) << text;
        EXPECT_EQ(DriveTestAccessor(std::move(accessor)).toString().utf8(), prefix + result) << text;
    }
    EXPECT_EQ(defaults.toString().utf8(), prefix + ":7:2:3:4:5:6");
    EXPECT_EQ(defaults.getSearchOrder()[6], DRIVE_IMPLEMENTATION_END);
}

}  // namespace
}  // namespace libDriveTest
