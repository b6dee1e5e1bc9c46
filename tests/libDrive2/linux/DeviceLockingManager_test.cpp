#include "libDrive2/DeviceLockingManager.h"

#include <fcntl.h>
#include <sys/file.h>

#include "Fixtures.h"
#include "libDrive2/linux/ErrnoError.h"
#include "libDrive2/linux/FileDescriptor.h"
#include "libDrive2/linux/LinuxVolumes.h"
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

/// What was found out about encrypted volumes, "" when there are none. Only found ones are encryption.
std::string encryption(const std::string& locator) {
    DeviceLockingManager manager(locator);
    const Encryption found = manager.examineEncryption();
    EXPECT_EQ(manager.isBitLockerEnabledOnVolumes(), found == Encryption::found);
    return found != Encryption::none ? manager.getLastErrorStr().utf8() : "";
}

TEST(DeviceLocking, AFreeImageIsTakenByOneAtATime) {
    const TempFile image(1 << 20);
    const std::string taken = image.path + " is in use: another program has locked it";
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

TEST(DeviceLocking, SeesAndTakesTheLocksOfOtherPrograms) {
    const TempFile image(1 << 20);
    const FileDescriptor other(open(image.path.c_str(), O_RDWR | O_CLOEXEC));
    // As emulators lock the image that they run from: bytes that mean something to them only.
    const auto take = [&other](short type) {
        struct flock some {};
        some.l_type = type;
        some.l_start = 100;
        some.l_len = 1;
        return fcntl(other.get(), F_OFD_SETLK, &some) == 0;
    };
    for (const auto& [type, what] :
         {std::pair<short, std::string>{F_RDLCK,
                                        ", such as a test that reads, keeps others from writing to it"},
          {F_WRLCK, " has locked it"}}) {
        ASSERT_TRUE(take(type));
        EXPECT_EQ(refusal(image.path), image.path + " is in use: another program" + what);
    }
    ASSERT_TRUE(take(F_UNLCK));

    DeviceLockingManager manager(image.path);
    ASSERT_TRUE(manager.lockVolumes());
    // A lock of the process would end with any descriptor of the file.
    FileDescriptor(open(image.path.c_str(), O_RDWR | O_CLOEXEC)).reset();
    EXPECT_FALSE(take(F_RDLCK));
    EXPECT_TRUE(manager.unlockVolumes());
    EXPECT_TRUE(take(F_RDLCK));
}

TEST(DeviceLocking, LocksWhatWasOpenedWhateverThePathLeadsToByThen) {
    const TempFile image(1 << 20);
    const std::string renamed = image.path + "-renamed";
    LinuxVolumes volumes(image.path, FileDescriptor(open(image.path.c_str(), O_RDONLY | O_CLOEXEC)));
    std::filesystem::rename(image.path, renamed);
    std::ofstream(image.path).close();
    zel::Wording reason;
    EXPECT_TRUE(volumes.lock(reason)) << reason.utf8();
    EXPECT_EQ(refusal(image.path), "");
    EXPECT_NE(refusal(renamed), "");
    std::filesystem::remove(renamed);
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
    const TempFile image(1 << 20);
    const std::string over = "sim:disk,image=" + image.path;
    EXPECT_EQ(encryption(over + ",bad=1+64+2047"), "");
    EXPECT_EQ(encryption(over + ",bad=0"),
              over + ",bad=0 cannot be examined for encrypted volumes: sector 0 cannot be read");
    image.put(0, "LUKS\xBA\xBE");
    EXPECT_EQ(encryption(over + ",bad=1"), over + ",bad=1 holds an encrypted volume (crypto_LUKS)");
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

TEST_F(LoopDeviceLocking, AnAttachmentIsSeenUnderAnyName) {
    const std::string attached = " is attached to " + m_device.path;
    const auto isSeenAs = [&attached](const std::string& name) {
        return holdersOf(name) == std::vector<std::string>{name + attached};
    };
    const std::string other = m_image.path + "-other", odd = m_image.path + "-odd \n (deleted)";
    std::filesystem::create_hard_link(m_image.path, other);
    EXPECT_TRUE(isSeenAs(other));
    std::filesystem::rename(m_image.path, odd);
    EXPECT_TRUE(isSeenAs(odd));
    // What took its place is free, and so is what has the name that the system shows for a deleted file.
    std::ofstream(m_image.path).close();
    EXPECT_THAT(holdersOf(m_image.path), IsEmpty());
    std::filesystem::remove(odd);
    std::ofstream(odd + " (deleted)").close();
    EXPECT_THAT(holdersOf(odd + " (deleted)"), IsEmpty());
    EXPECT_TRUE(isSeenAs(other));
    std::filesystem::remove(odd + " (deleted)");
    std::filesystem::rename(other, m_image.path);
}

TEST_F(LoopDeviceLocking, WhatSharesItsStorageIsSeen) {
    const std::string name = m_device.path.substr(5);
    {
        const LoopDevice above(m_device.path);
        ASSERT_EQ(above.problem, "");
        EXPECT_EQ(refusal(m_device.path),
                  m_device.path + " is in use: " + name + " is attached to " + above.path);
        EXPECT_THAT(holdersOf(above.path), IsEmpty());
        ASSERT_TRUE(mountNew(above.path)) << m_output;
        EXPECT_THAT(holdersOf(m_image.path), ElementsAre(m_image.path + " is attached to " + m_device.path +
                                                         " (which is attached to " + above.path +
                                                         " (which is mounted on " + m_folder + "))"));
        EXPECT_TRUE(run("umount " + m_folder)) << m_output;
        ASSERT_TRUE(run("mount " + m_device.path + " " + m_folder)) << m_output;
        EXPECT_THAT(holdersOf(above.path), ElementsAre(name + " is mounted on " + m_folder));
        EXPECT_TRUE(run("umount " + m_folder)) << m_output;
    }
    const LoopDevice beside(m_image.path);
    ASSERT_EQ(beside.problem, "");
    ASSERT_TRUE(run("mount " + beside.path + " " + m_folder)) << m_output;
    EXPECT_THAT(holdersOf(m_device.path),
                ElementsAre("the file behind " + name + " is attached to " + beside.path +
                            " (which is mounted on " + m_folder + ")"));
    EXPECT_TRUE(run("umount " + m_folder)) << m_output;
}

TEST_F(LoopDeviceLocking, AMountInAnotherNamespaceIsSeen) {
    if (!mountNew(m_device.path) || !run("umount " + m_folder))
        GTEST_SKIP() << m_output;
    // The shell that says that it is ready keeps the namespace until its input ends.
    std::FILE* const shell =
        popen(("unshare --mount sh -c 'mount " + m_device.path + " " + m_folder + " && touch " + m_folder +
               "-ready && { read line; umount " + m_folder + "; }'")
                  .c_str(),
              "w");
    ASSERT_NE(shell, nullptr);
    EXPECT_TRUE(
        run("for i in $(seq 500); do [ -e " + m_folder + "-ready ] && exit; sleep 0.02; done; exit 1"));
    EXPECT_THAT(holdersOf(m_device.path),
                ElementsAre(testing::StartsWith(m_device.path.substr(5) + " is mounted on " + m_folder +
                                                " for process ")));
    EXPECT_THAT(refusal(m_device.path), testing::HasSubstr(" is in use: "));
    pclose(shell);
    std::filesystem::remove(m_folder + "-ready");
    EXPECT_EQ(refusal(m_device.path), "");
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

TEST_F(LoopDeviceLocking, APoolThatHoldsItIsNamed) {
    const TempFile image(64 << 20);
    for (std::uint64_t uberblock = 0; uberblock < 16; ++uberblock)
        image.put((128 + uberblock) << 10, std::string("\x0C\xB1\xBA\0\0\0\0\0", 8));
    const LoopDevice device(image.path);
    ASSERT_EQ(device.problem, "");
    const FileDescriptor pool(open(device.path.c_str(), O_RDONLY | O_EXCL | O_CLOEXEC));
    EXPECT_EQ(refusal(device.path),
              device.path + " cannot be taken for this test alone: " + errnoStatus(EBUSY).text.utf8() +
                  " (it belongs to a ZFS pool: zfs_member)");
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
