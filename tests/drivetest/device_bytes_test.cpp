#include <gtest/gtest.h>

#include "drivetest/devices/DeviceBytes.h"

namespace drivetest {
namespace {

using quix5::DeviceCapability;
using quix5::Value;

quix5::DiagDevice oddDevice() {
    quix5::DiagDevice device;
    device.setLocators("/dev/sdb", "pci-0000");
    device.setName("a \"name\"\n\xff");
    device.setCapabilities(DeviceCapability::ATA | DeviceCapability::HardDrive |
                           DeviceCapability::RemovableStorage);
    for (const auto& [name, value] : {std::pair<const char*, Value>("text", "x"),
                                      {"flag", Value::boolean(true)},
                                      {"small", std::uint32_t{7}},
                                      {"large", ~std::uint64_t{0}},
                                      {"real", Value::real(0.1)},
                                      {"part", Value::percent(50)}})
        device.setProperty(name, value);
    return device;
}

TEST(DeviceBytes, ComeBackAsTheDeviceTheyWereMadeOf) {
    const quix5::DiagDevice device = oddDevice();
    quix5::DiagDevice again;
    ASSERT_TRUE(readDevice(bytesOf(device), again));
    EXPECT_EQ(again.osLocator(), device.osLocator());
    EXPECT_EQ(again.hwLocator(), device.hwLocator());
    EXPECT_EQ(again.name(), device.name());
    EXPECT_TRUE(again.deviceCapabilities() == device.deviceCapabilities());
    ASSERT_EQ(again.properties().size(), device.properties().size());
    for (const auto& [name, property] : device.properties())
        EXPECT_TRUE(again.property(name)->value() == property.value()) << name.utf8();
}

TEST(DeviceBytes, ThatAreBrokenOffAreNone) {
    const std::string bytes = bytesOf(oddDevice());
    quix5::DiagDevice device;
    for (std::size_t size = 0; size < bytes.size(); ++size)
        EXPECT_FALSE(readDevice(std::string_view(bytes).substr(0, size), device)) << size;
}

}  // namespace
}  // namespace drivetest
