#include "libDrive2/DeviceLease.h"

#include <fcntl.h>

#include "Fixtures.h"
#include "linux/LoopDevice.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kSize = 8 << 20;

DriveIdentity identityOf(const std::string& locator) {
    DeviceStatus failure;
    const auto lease = DeviceLease::take(locator, LeasePurpose::look, failure);
    EXPECT_NE(lease, nullptr) << failure.text.utf8();
    return lease != nullptr ? lease->identity() : DriveIdentity();
}

/// A mapping with a table of its own, as long as this object lives.
struct Mapping {
    explicit Mapping(const std::string& table, const std::string& options = "")
        : name("drivetest" + std::to_string(std::random_device()())), path("/dev/mapper/" + name) {
        isMade = runCommand(
            "dmsetup create " + name + " " + options + " --table '" + table + "' && dmsetup mknodes " + name,
            output);
    }
    ~Mapping() { runCommand("dmsetup remove --retry " + name, output); }
    Mapping(const Mapping&) = delete;
    Mapping& operator=(const Mapping&) = delete;
    bool load(const std::string& table) {
        return runCommand("dmsetup suspend " + name + " && dmsetup load " + name + " --table '" + table +
                              "' && dmsetup resume " + name,
                          output);
    }

    std::string name, path, output;
    bool isMade = false;
};

TEST(DeviceLease, KnowsAFileByWhateverName) {
    const TempFile image(kSize), other(kSize);
    const DriveIdentity file = identityOf(image.path);
    EXPECT_TRUE(isStable(file)) << file.id.toText();
    EXPECT_EQ(file.sectors, kSize / 512);
    EXPECT_FALSE(sharesStorage(file, identityOf(other.path)));
    EXPECT_TRUE(isSameDrive(file, identityOf("sim:disk,serial=X,image=" + image.path)));
    const std::string link = image.path + "-link";
    std::filesystem::create_hard_link(image.path, link);
    EXPECT_TRUE(isSameDrive(file, identityOf(link)));
    const LoopDevice loop(image.path);
    if (loop.path.empty())
        GTEST_SKIP() << loop.problem;
    EXPECT_TRUE(isSameDrive(file, identityOf(loop.path)));
    // The kernel's own name of the file leads nowhere, or to another file.
    std::filesystem::remove(link);
    std::filesystem::rename(image.path, link);
    std::filesystem::copy_file(other.path, image.path);
    EXPECT_TRUE(isSameDrive(file, identityOf(loop.path)));
    EXPECT_FALSE(sharesStorage(identityOf(loop.path), identityOf(image.path)));
    std::filesystem::remove(link);
    EXPECT_TRUE(isSameDrive(file, identityOf(loop.path)));
}

TEST(DeviceLease, KnowsPartitionsAndMappingsByWhatTheyAreMadeOf) {
    const TempFile image(kSize), other(kSize);
    const LoopDevice loop(image.path), elsewhere(other.path);
    std::string output;
    if (loop.path.empty() || !runCommand("addpart " + loop.path + " 1 2048 4096", output) ||
        !runCommand("addpart " + loop.path + " 2 8192 4096", output))
        GTEST_SKIP() << loop.problem << output;
    const Mapping first("0 4096 linear " + loop.path + " 2048"),
        unequal("0 4096 linear " + loop.path + " 2049");
    if (!first.isMade)
        GTEST_SKIP() << first.output;
    const DriveIdentity part = identityOf(loop.path + "p1");
    EXPECT_TRUE(sharesStorage(part, identityOf(image.path)));
    EXPECT_FALSE(sharesStorage(part, identityOf(loop.path + "p2")));
    EXPECT_FALSE(isSameDrive(part, identityOf(loop.path)));
    EXPECT_TRUE(sharesStorage(part, identityOf(unequal.path)));
    EXPECT_FALSE(isSameDrive(part, identityOf(unequal.path)));
    EXPECT_FALSE(sharesStorage(identityOf(first.path), identityOf(loop.path + "p2")));
    const DriveIdentity mapped = identityOf(first.path);
    EXPECT_TRUE(isSameDrive(mapped, identityOf(first.path)));
    const Mapping again("0 4096 linear " + loop.path + " 2048"),
        foreign("0 4096 linear " + elsewhere.path + " 2048");
    EXPECT_TRUE(isSameDrive(mapped, identityOf(again.path)));
    EXPECT_FALSE(sharesStorage(mapped, identityOf(foreign.path)));
    const Mapping broken("0 2048 linear " + loop.path + " 8192\n2048 2048 error");
    EXPECT_TRUE(sharesStorage(identityOf(broken.path), identityOf(loop.path + "p2")));
    EXPECT_FALSE(sharesStorage(identityOf(broken.path), part));
}

TEST(DeviceLease, HoldsWhatItTook) {
    const TempFile image(kSize);
    DeviceStatus failure;
    {
        const auto lease = DeviceLease::take(image.path, LeasePurpose::write, failure);
        ASSERT_NE(lease, nullptr) << failure.text.utf8();
        EXPECT_EQ(DeviceLease::take(image.path, LeasePurpose::write, failure), nullptr);
        EXPECT_EQ(failure.type, LIBDRIVE2_BUSY);
        EXPECT_TRUE(DeviceLockingManager(image.path).lockVolumes());  // in hand already
        EXPECT_NE(DeviceLease::take(image.path, LeasePurpose::look, failure), nullptr);
        // Its name leads to another file: whoever opens it by that name reaches the one in hand.
        const std::string moved = image.path + "-moved";
        std::filesystem::rename(image.path, moved);
        std::ofstream(image.path) << std::string(kSize, 'x');
        const auto handle = openBlock(image.path);
        ASSERT_TRUE(handle);
        const std::string data(512, 'd');
        EXPECT_TRUE(handle->write(0, data.data(), data.size()).ok() && handle->reopen().ok());
        EXPECT_TRUE(handle->write(512, data.data(), data.size()).ok());
        EXPECT_EQ(image.bytes(0, 1024), std::string(1024, 'x'));
        zel::String difference;
        EXPECT_TRUE(lease->isUnchanged(difference)) << difference.utf8();
        std::filesystem::resize_file(moved, kSize / 2);
        EXPECT_FALSE(lease->isUnchanged(difference));
        EXPECT_THAT(difference.utf8(), HasSubstr("has another size now"));
        std::filesystem::remove(moved);
    }
    EXPECT_NE(DeviceLease::take(image.path, LeasePurpose::write, failure), nullptr) << failure.text.utf8();
    for (const auto& [path, reason] : {std::pair{"/dev/null", "neither a block device"},
                                       {"/", "a directory"},
                                       {"/no/such", "No such file"},
                                       {"sim:disk,image=/no/such", "No such file"},
                                       {"sim:disk,sectors=x", "sectors"}}) {
        EXPECT_EQ(DeviceLease::take(path, LeasePurpose::write, failure), nullptr);
        EXPECT_THAT(failure.text.utf8(), HasSubstr(reason));
    }
}

TEST(DeviceLease, ReadersKeepWritersAwayAndNobodyElse) {
    const TempFile image(kSize);
    const TempFile attached(kSize);
    const LoopDevice loop(attached.path);
    std::vector<std::string> locators{image.path, "sim:disk,image=" + image.path};
    if (!loop.path.empty())
        locators.push_back(loop.path);
    for (const std::string& locator : locators) {
        DeviceStatus failure;
        auto first = DeviceLease::take(locator, LeasePurpose::read, failure);
        const auto second = DeviceLease::take(locator, LeasePurpose::read, failure);
        ASSERT_TRUE(first != nullptr && second != nullptr) << failure.text.utf8();
        first.reset();
        EXPECT_EQ(DeviceLease::take(locator, LeasePurpose::write, failure), nullptr);
        EXPECT_EQ(failure.type, LIBDRIVE2_BUSY);
        EXPECT_THAT(failure.text.utf8(),
                    HasSubstr("such as a test that reads, keeps others from writing to it"));
    }
    for (const std::string& locator : locators) {
        DeviceStatus failure;
        const auto writer = DeviceLease::take(locator, LeasePurpose::write, failure);
        ASSERT_NE(writer, nullptr) << failure.text.utf8();
        EXPECT_EQ(DeviceLease::take(locator, LeasePurpose::read, failure), nullptr);
        EXPECT_EQ(failure.type, LIBDRIVE2_BUSY);
        EXPECT_THAT(failure.text.utf8(), HasSubstr("such as a test that writes, has locked it"));
    }
}

TEST(DeviceLease, NoticesAMappingThatLeadsElsewhere) {
    const TempFile image(kSize), other(kSize);
    const LoopDevice loop(image.path), elsewhere(other.path);
    if (loop.path.empty())
        GTEST_SKIP() << loop.problem;
    Mapping mapping("0 4096 linear " + loop.path + " 0", "--uuid TEST-1");
    if (!mapping.isMade)
        GTEST_SKIP() << mapping.output;
    DeviceStatus failure;
    const auto lease = DeviceLease::take(mapping.path, LeasePurpose::write, failure);
    ASSERT_NE(lease, nullptr) << failure.text.utf8();
    EXPECT_EQ(lease->identity().id, "dm:TEST-1");
    zel::String difference;
    EXPECT_TRUE(lease->isUnchanged(difference));
    ASSERT_TRUE(mapping.load("0 4096 linear " + elsewhere.path + " 0")) << mapping.output;
    EXPECT_FALSE(lease->isUnchanged(difference));
    EXPECT_THAT(difference.utf8(), HasSubstr("is stored on something else now"));
}

}  // namespace
}  // namespace libDrive2
