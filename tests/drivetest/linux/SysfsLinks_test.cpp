#include "drivetest/linux/SysfsLinks.h"

#include <gmock/gmock.h>

#include <cmath>
#include <cstdlib>
#include <fstream>
#include <string>
#include <vector>

namespace drivetest {
namespace {

namespace fs = std::filesystem;
using testing::ElementsAre;
using testing::IsEmpty;

/// The folder of devices of a machine, made of lines "path = contents" and "path -> target".
class Machine {
public:
    explicit Machine(const std::vector<std::string>& lines) {
        std::string name = (fs::temp_directory_path() / "drivetest-sysfs-XXXXXX").string();
        m_root = mkdtemp(name.data());
        for (const std::string& line : lines)
            add(line);
    }
    ~Machine() { fs::remove_all(m_root); }
    Machine(const Machine&) = delete;
    Machine& operator=(const Machine&) = delete;

    /// "SATA port ata1: 544", from the drive on.
    [[nodiscard]] std::vector<std::string> linksOf(const std::string& name) const {
        std::vector<std::string> texts;
        for (const SharedLink& link : SysfsLinks(m_root).of(name))
            texts.push_back(link.name.utf8() + ": " + std::to_string(std::lround(link.megabytesPerSecond)));
        return texts;
    }
    /// How many links the two have in common.
    [[nodiscard]] std::size_t shared(const std::string& one, const std::string& other) const {
        std::size_t count = 0;
        for (const SharedLink& a : SysfsLinks(m_root).of(one))
            for (const SharedLink& b : SysfsLinks(m_root).of(other))
                count += a.id == b.id ? 1U : 0U;
        return count;
    }
    [[nodiscard]] long expected(const std::string& name) const {
        return std::lround(SysfsLinks(m_root).expectedRateOf(name));
    }

private:
    void add(const std::string& line) {
        const auto arrow = line.find(" -> ");
        const auto equals = line.find(" = ");
        const fs::path path = m_root / line.substr(0, std::min(arrow, equals));
        fs::create_directories(path.parent_path());
        if (arrow != std::string::npos) {
            const fs::path target = m_root / line.substr(arrow + 4);
            fs::create_directories(target);
            fs::create_directory_symlink(target, path);
        } else {
            std::ofstream(path) << line.substr(equals + 3) << '\n';
        }
    }

    fs::path m_root;
};

TEST(SysfsLinks, PortsOfAnAdapterInTheProcessor) {
    const std::string pci = "devices/pci0000:00/0000:00:17.0";
    const std::string one = pci + "/ata1/host0/target0:0:0/0:0:0:0";
    const std::string two = pci + "/ata2/host1/target1:0:0/1:0:0:0";
    const Machine machine(
        {pci + "/class = 0x010601", pci + "/ata1/link1/ata_link/link1/sata_spd = 6.0 Gbps",
         pci + "/ata2/link2/ata_link/link2/sata_spd = <unknown>", one + "/block/sda/device -> " + one,
         one + "/block/sda/queue/rotational = 1", one + "/block/sda/sda1/partition = 1",
         two + "/block/sdb/device -> " + two, two + "/block/sdb/queue/rotational = 0",
         "class/block/sda -> " + one + "/block/sda", "class/block/sda1 -> " + one + "/block/sda/sda1",
         "class/block/sdb -> " + two + "/block/sdb", one + "/scsi_generic/sg0/device -> " + one,
         "class/scsi_generic/sg0 -> " + one + "/scsi_generic/sg0"});
    const auto expected = ElementsAre("SATA port ata1: 544", "SATA adapter 0000:00:17.0: 0");
    EXPECT_THAT(machine.linksOf("sda"), expected);
    EXPECT_THAT(machine.linksOf("sda1"), expected);
    EXPECT_THAT(machine.linksOf("sg0"), expected);
    EXPECT_THAT(machine.linksOf("sdb"), ElementsAre("SATA port ata2: 0", "SATA adapter 0000:00:17.0: 0"));
    EXPECT_EQ(machine.shared("sda", "sdb"), 1U);
    EXPECT_EQ(machine.expected("sda"), 260);
    EXPECT_EQ(machine.expected("sda1"), 260);
    EXPECT_EQ(machine.expected("sdb"), 0);
}

TEST(SysfsLinks, AnExpanderBehindFourLanes) {
    const std::string root = "devices/pci0000:00/0000:00:01.0";
    const std::string adapter = root + "/0000:03:00.0";
    const std::string wide = adapter + "/host0/port-0:0";
    const std::string expander = wide + "/expander-0:0";
    std::vector<std::string> lines = {root + "/class = 0x060400",
                                      root + "/current_link_speed = 8.0 GT/s PCIe",
                                      root + "/current_link_width = 8",
                                      adapter + "/class = 0x010700",
                                      adapter + "/current_link_speed = 8.0 GT/s PCIe",
                                      adapter + "/current_link_width = 8"};
    for (const std::string phy : {"phy-0:0", "phy-0:1", "phy-0:2", "phy-0:3"})
        lines.insert(lines.end(),
                     {adapter + "/host0/" + phy + "/sas_phy/" + phy + "/negotiated_linkrate = 12.0 Gbit",
                      wide + "/" + phy + " -> " + adapter + "/host0/" + phy});
    for (const std::string port : {"3", "4"}) {
        const std::string phy = "phy-0:0:" + port;
        const std::string disk = expander + "/port-0:0:" + port + "/end_device-0:0:" + port +
                                 "/target0:0:" + port + "/0:0:" + port + ":0";
        const std::string name = "sd" + port;
        lines.insert(lines.end(),
                     {expander + "/" + phy + "/sas_phy/" + phy + "/negotiated_linkrate = 6.0 Gbit",
                      expander + "/port-0:0:" + port + "/" + phy + " -> " + expander + "/" + phy,
                      disk + "/block/" + name + "/device -> " + disk,
                      "class/block/" + name + " -> " + disk + "/block/" + name});
    }
    const Machine machine(lines);
    EXPECT_THAT(machine.linksOf("sd3"),
                ElementsAre("SAS port port-0:0:3: 544", "SAS port port-0:0: 4349",
                            "SAS adapter 0000:03:00.0: 6535", "PCI bridge 0000:00:01.0: 6535"));
    EXPECT_EQ(machine.shared("sd3", "sd4"), 3U);
    EXPECT_EQ(machine.expected("sd3"), 544);
}

TEST(SysfsLinks, DrivesOnAUsbHub) {
    const std::string controller = "devices/pci0000:00/0000:00:14.0";
    const std::string hub = controller + "/usb2/2-1";
    std::vector<std::string> lines = {controller + "/class = 0x0c0330", controller + "/usb2/speed = 10000",
                                      hub + "/speed = 5000", hub + "/bDeviceClass = 09"};
    for (const auto& [port, speed] : {std::pair{"2-1.1", "5000"}, {"2-1.4", "480"}}) {
        const std::string disk = hub + "/" + port + "/" + port + ":1.0/host6/target6:0:0/6:0:0:0";
        lines.insert(lines.end(),
                     {hub + "/" + port + "/speed = " + speed, hub + "/" + port + "/bDeviceClass = 00",
                      disk + "/block/" + port + "/device -> " + disk,
                      "class/block/" + std::string(port) + " -> " + disk + "/block/" + port});
    }
    const Machine machine(lines);
    EXPECT_THAT(machine.linksOf("2-1.1"),
                ElementsAre("USB device 2-1.1: 405", "USB hub 2-1: 405", "USB controller 0000:00:14.0: 0"));
    EXPECT_THAT(machine.linksOf("2-1.4"),
                ElementsAre("USB device 2-1.4: 49", "USB hub 2-1: 405", "USB controller 0000:00:14.0: 0"));
    EXPECT_EQ(machine.expected("2-1.4"), 49);
}

TEST(SysfsLinks, FlashBehindASwitchAndOfTwoControllers) {
    const std::string upper = "devices/pci0000:00/0000:00:01.0/0000:01:00.0";
    const std::string one = upper + "/0000:02:00.0/0000:03:00.0";
    const std::string two = upper + "/0000:02:01.0/0000:04:00.0";
    const std::string family = "devices/virtual/nvme-subsystem/nvme-subsys1";
    const Machine machine(
        {upper + "/current_link_speed = 16.0 GT/s PCIe", upper + "/current_link_width = 4",
         upper + "/class = 0x060400", one + "/class = 0x010802", one + "/current_link_speed = 8.0 GT/s PCIe",
         one + "/current_link_width = 4", two + "/class = 0x010802", two + "/current_link_speed = 5.0 GT/s",
         two + "/current_link_width = 1", one + "/nvme/nvme0/nvme0n1/device -> " + one + "/nvme/nvme0",
         "class/block/nvme0n1 -> " + one + "/nvme/nvme0/nvme0n1", family + "/nvme1 -> " + two + "/nvme/nvme1",
         family + "/nvme1n1/device -> " + family, "class/block/nvme1n1 -> " + family + "/nvme1n1"});
    EXPECT_THAT(machine.linksOf("nvme0n1"),
                ElementsAre("NVMe port 0000:03:00.0: 3268", "adapter 0000:02:00.0: 0",
                            "PCI bridge 0000:01:00.0: 6535", "adapter 0000:00:01.0: 0"));
    EXPECT_THAT(machine.linksOf("nvme1n1"),
                ElementsAre("NVMe port 0000:04:00.0: 415", "adapter 0000:02:01.0: 0",
                            "PCI bridge 0000:01:00.0: 6535", "adapter 0000:00:01.0: 0"));
}

TEST(SysfsLinks, APortMultiplierAndABoardWithoutPci) {
    const std::string port = "devices/pci0000:00/0000:00:1c.0/0000:05:00.0/ata7";
    const std::string one = port + "/host6/target6:0:0/6:0:0:0";
    const std::string two = port + "/host6/target6:1:0/6:1:0:0";
    const std::string board = "devices/platform/soc/fe9c0000.xhci/usb1/1-1";
    const Machine machine({port + "/link7/ata_link/link7/sata_spd = 3.0 Gbps",
                           "devices/pci0000:00/0000:00:1c.0/0000:05:00.0/current_link_width = 255",
                           "devices/pci0000:00/0000:00:1c.0/0000:05:00.0/current_link_speed = Unknown",
                           one + "/block/sdc/device -> " + one, two + "/block/sdd/device -> " + two,
                           "class/block/sdc -> " + one + "/block/sdc",
                           "class/block/sdd -> " + two + "/block/sdd", board + "/speed = 480",
                           board + "/block/sde/device -> " + board,
                           "class/block/sde -> " + board + "/block/sde"});
    EXPECT_THAT(machine.linksOf("sdc"),
                ElementsAre("SATA port ata7: 272", "adapter 0000:05:00.0: 0", "adapter 0000:00:1c.0: 0"));
    EXPECT_EQ(machine.shared("sdc", "sdd"), 3U);
    EXPECT_THAT(machine.linksOf("sde"), ElementsAre("USB device 1-1: 49"));
}

TEST(SysfsLinks, WhatHangsOnNothing) {
    const Machine machine({"devices/virtual/block/loop0/size = 8",
                           "class/block/loop0 -> devices/virtual/block/loop0",
                           "devices/pci0000:00/0000:00:02.0/speed = 99999999999999999999"});
    for (const std::string& name :
         std::vector<std::string>{"loop0", "sdz", "", "..", "../block/loop0", "/", std::string(400, 'a')})
        EXPECT_THAT(machine.linksOf(name), IsEmpty()) << name;
}

}  // namespace
}  // namespace drivetest
