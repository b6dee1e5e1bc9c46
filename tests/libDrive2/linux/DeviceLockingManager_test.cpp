#include "libDrive2/DeviceLockingManager.h"

#include <fcntl.h>
#include <sys/file.h>

#include "Fixtures.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "linux/LoopDevice.h"

namespace libDrive2 {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

std::vector<std::string> holdersOf(const std::string& locator) {
    std::vector<std::string> holders;
    for (const zel::String& holder : DeviceLockingManager(locator).holders())
        holders.push_back(holder.utf8());
    return holders;
}

/// Why the device cannot be locked, "" when it can.
std::string refusal(const std::string& locator) {
    DeviceLockingManager manager(locator);
    return manager.lockVolumes() ? "" : manager.getLastErrorStr().utf8();
}

/// Why the device counts as encrypted, "" when it does not.
std::string encryption(const std::string& locator) {
    DeviceLockingManager manager(locator);
    return manager.isBitLockerEnabledOnVolumes() ? manager.getLastErrorStr().utf8() : "";
}

TEST(DeviceLocking, AFreeImageIsTakenByOneAtATime) {
    const TempFile image(1 << 20);
    const std::string taken =
        image.path + " cannot be taken for this test alone: Resource temporarily unavailable";
    {
        DeviceLockingManager first(image.path);
        EXPECT_TRUE(first.lockVolumes() && first.lockVolumes());
        EXPECT_EQ(refusal(image.path), taken);
        EXPECT_TRUE(first.unlockVolumes());
        EXPECT_EQ(refusal(image.path), "");
        EXPECT_TRUE(first.lockVolumes());
    }
    EXPECT_EQ(refusal(image.path), "");
    const FileDescriptor other(open(image.path.c_str(), O_RDONLY | O_CLOEXEC));
    ASSERT_EQ(flock(other.get(), LOCK_SH), 0);
    EXPECT_EQ(refusal(image.path), taken);
    EXPECT_EQ(refusal("/no/such/drive"),
              "/no/such/drive cannot be taken for this test alone: No such file or directory");
}

TEST(DeviceLocking, FindsEncryptedVolumes) {
    using Pieces = std::vector<std::pair<std::uint64_t, std::string>>;
    const auto reason = [](const Pieces& pieces) {
        const TempFile image(8 << 20);
        for (const auto& [offset, bytes] : pieces)
            image.put(offset, bytes);
        return zel::String(encryption(image.path)).replace(image.path, "IMAGE").utf8();
    };
    const std::string luks("LUKS\xBA\xBE\0\1", 8);
    const Pieces bitLocker = {{0, "\xEB\x58\x90-FVE-FS-"}, {177, "\x10"}, {4096, "-FVE-FS-"}};
    // One partition: from sector 2048 on, 8192 sectors long.
    const Pieces table = {{446, std::string("\0\0\0\0\x83\0\0\0\0\x08\0\0\0\x20\0\0", 16)},
                          {510, "\x55\xAA"}};
    const auto withTable = [&table](std::uint64_t offset, const std::string& bytes) {
        return Pieces{table[0], table[1], {offset, bytes}};
    };
    EXPECT_EQ(reason({}), "");
    EXPECT_EQ(reason({{0, luks}}), "IMAGE holds an encrypted volume (crypto_LUKS)");
    EXPECT_EQ(reason(bitLocker), "IMAGE holds an encrypted volume (BitLocker)");
    EXPECT_EQ(reason({{3, "-FVE-FS-"}}), "IMAGE holds an encrypted volume (BitLocker)");  // a damaged one
    EXPECT_EQ(reason(table), "");
    EXPECT_EQ(reason(withTable(2048 * 512, luks)),
              "partition 1 of IMAGE holds an encrypted volume (crypto_LUKS)");
    EXPECT_EQ(reason(withTable(2047 * 512, luks)), "");
    EXPECT_EQ(encryption("/no/such/drive"),
              "/no/such/drive cannot be examined for encrypted volumes: No such file or directory");
}

TEST(DeviceLocking, SimulatedDrivesAreAsTheirLocatorSays) {
    EXPECT_EQ(encryption("sim:disk,encrypted"), "the simulated drive is encrypted");
    EXPECT_THAT(encryption("sim:disk,x"), testing::StartsWith("the simulated drive \"sim:disk,x\""));
    EXPECT_EQ(encryption("sim:disk") + refusal("sim:disk"), "");
    EXPECT_THAT(refusal("sim:disk,x"),
                testing::StartsWith("the simulated drive \"sim:disk,x\" cannot be made"));
}

class LoopDeviceLocking : public testing::Test {
protected:
    void SetUp() override {
        if (m_device.path.empty())
            GTEST_SKIP() << m_device.problem;
        std::filesystem::create_directory(m_folder);
    }
    void TearDown() override {
        run("umount " + m_folder);
        std::filesystem::remove(m_folder);
    }
    bool run(const std::string& command) { return runCommand(command, m_output); }
    /// Makes a file system on the device and mounts it.
    bool mountNew(const std::string& device) {
        return run("mkfs.ext4 -q -F " + device) && run("mount " + device + " " + m_folder);
    }

    TempFile m_image{8 << 20};
    LoopDevice m_device{m_image.path};
    std::string m_folder = m_image.path + "-mount", m_output;
};

TEST_F(LoopDeviceLocking, AnAttachedImageIsInUse) {
    EXPECT_THAT(holdersOf(m_image.path), ElementsAre(m_image.path + " is attached to " + m_device.path));
    EXPECT_EQ(refusal(m_image.path),
              m_image.path + " is in use: " + m_image.path + " is attached to " + m_device.path);
    EXPECT_THAT(holdersOf(m_device.path), IsEmpty());
    EXPECT_EQ(refusal(m_device.path), "");
}

TEST_F(LoopDeviceLocking, AnAttachmentIsSeenUnderAnyNameAndOverDevices) {
    const std::string otherName = m_image.path + "-link";
    std::filesystem::create_hard_link(m_image.path, otherName);
    EXPECT_THAT(holdersOf(otherName), ElementsAre(otherName + " is attached to " + m_device.path));
    std::filesystem::remove(otherName);

    const LoopDevice second(m_device.path);
    ASSERT_EQ(second.problem, "");
    const std::string user = m_device.path.substr(5) + " is attached to " + second.path;
    EXPECT_EQ(refusal(m_device.path), m_device.path + " is in use: " + user);
}

TEST_F(LoopDeviceLocking, AMountedDeviceOrPartitionIsInUse) {
    for (const std::string part : {"", "p1"}) {
        if ((!part.empty() && !run("addpart " + m_device.path + " 1 2048 8192")) ||
            !mountNew(m_device.path + part))
            GTEST_SKIP() << m_output;
        const std::string user = m_device.path.substr(5) + part + " is mounted on " + m_folder;
        EXPECT_THAT(holdersOf(m_device.path), ElementsAre(user));
        EXPECT_EQ(refusal(m_device.path), m_device.path + " is in use: " + user);
        ASSERT_TRUE(run("umount " + m_folder)) << m_output;
        EXPECT_EQ(refusal(m_device.path), "");
    }
    const std::string blanks = m_folder + "/a \\ b";
    std::filesystem::create_directory(blanks);
    ASSERT_TRUE(run("mount " + m_device.path + "p1 '" + blanks + "'")) << m_output;
    EXPECT_THAT(holdersOf(m_device.path),
                ElementsAre(m_device.path.substr(5) + "p1 is mounted on " + blanks));
    EXPECT_TRUE(run("umount '" + blanks + "'")) << m_output;
    std::filesystem::remove(blanks);
}

TEST_F(LoopDeviceLocking, ALockedDeviceCannotBeMounted) {
    if (!mountNew(m_device.path) || !run("umount " + m_folder))
        GTEST_SKIP() << m_output;
    DeviceLockingManager manager(m_device.path);
    EXPECT_TRUE(manager.lockVolumes());
    EXPECT_FALSE(run("mount " + m_device.path + " " + m_folder));
    EXPECT_TRUE(manager.unlockVolumes());
    EXPECT_TRUE(run("mount " + m_device.path + " " + m_folder)) << m_output;
}

}  // namespace
}  // namespace libDrive2
