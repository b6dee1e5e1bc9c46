#include "libDrive2/JournalFolder.h"

#include <sys/wait.h>

#include "Fixtures.h"
#include "libDrive2/DeviceLease.h"
#include "linux/LoopDevice.h"

namespace libDrive2 {
namespace {

using testing::HasSubstr;

constexpr std::uint64_t kBytes = 1 << 20;

/// A folder that is not there yet, beside a temporary file.
struct LinuxJournals : testing::Test {
    ~LinuxJournals() override {
        run("umount " + place);
        std::filesystem::remove_all(place);
    }
    bool run(const std::string& command) { return runCommand(command, output); }
    bool exists(const std::string& file) { return std::filesystem::exists(file); }
    /// What another process says.
    static bool isInUseElsewhere(const std::string& path) {
        const pid_t child = fork();
        if (child == 0)
            _exit(JournalFolder::isInUse(path) ? 1 : 0);
        int status = 0;
        waitpid(child, &status, 0);
        return WEXITSTATUS(status) == 1;
    }
    /// Why journals there must not be used for a test of the drive.
    std::string placement(const std::string& where, const std::string& drive) {
        DeviceStatus failure;
        const auto lease = DeviceLease::take(drive, LeasePurpose::look, failure);
        EXPECT_NE(lease, nullptr) << failure.text.utf8();
        reason = "";
        const bool isOn = JournalFolder(where).isOnDrive(lease->identity(), drive, reason);
        EXPECT_EQ(isOn, reason.utf8().find("to be tested") != std::string::npos);
        return reason.utf8();
    }

    TempFile image{16 << 20};
    std::string place = image.path + "-place", folder = place + "/a/b", path = folder + "/x.journal", output;
    JournalFolder journals{folder};
    zel::String reason;
};

TEST_F(LinuxJournals, AreTheirOwnersAloneAndTakeTheirRoomAtOnce) {
    auto file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    const auto permissions = std::filesystem::status(folder).permissions();
    EXPECT_EQ(permissions, std::filesystem::perms::owner_all);
    EXPECT_TRUE(run("du --block-size=1 " + path + " | cut -f1") && std::stoull(output) >= kBytes) << output;
    EXPECT_TRUE(isInUseElsewhere(path));
    file.reset();
    EXPECT_FALSE(isInUseElsewhere(path));
    file = JournalFolder::open(path, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    EXPECT_TRUE(isInUseElsewhere(path));
    EXPECT_TRUE(JournalFolder::remove(path, reason));
    EXPECT_FALSE(JournalFolder::isInUse(path));
}

TEST_F(LinuxJournals, NeedRoomAndAPlaceThatLasts) {
    EXPECT_FALSE(JournalFolder("/").isVolatile());
    std::filesystem::create_directory(place);
    if (!run("mount -t tmpfs -o size=512k tmpfs " + place))
        GTEST_SKIP() << output;
    EXPECT_TRUE(journals.isVolatile());
    EXPECT_EQ(placement(folder, image.path), "");
    EXPECT_EQ(journals.create("x", kBytes, reason), nullptr);
    EXPECT_EQ(reason.utf8(), "the journal needs 1 MiB in " + folder +
                                 ", which has 0 MiB left: make room there, or choose another folder");
    EXPECT_FALSE(exists(path));
}

TEST_F(LinuxJournals, AreRefusedWhereOthersCouldInterfere) {
    ASSERT_NE(journals.create("x", kBytes, reason), nullptr) << reason.utf8();
    struct Row {
        const char* damage;  ///< of the journal $J in the folder $F
        const char* refusal;
        bool byFolder = false;  ///< the whole folder is refused
        bool needsRoot = false;
    };
    const Row rows[] = {
        {"mkfifo $J", "is a FIFO and no file"},
        {"ln -s $F/kept $J", "is a symbolic link and no file"},
        {"mkdir $J", "is a folder and no file"},
        {"mknod $J c 1 3", "is a device and no file", false, true},
        {"ln $F/kept $J", "has 2 names (hard links)"},
        {"cp $F/kept $J && chown 12345 $J", "belongs to another user (uid 12345)", false, true},
        {"cp $F/kept $J && chmod 0770 $F", "others can write to the folder", true},
        {"cp $F/kept $J && chmod 1777 $F", "others can write to the folder", true},
        {"cp $F/kept $J && chown 12345 $F", "belongs to another user (uid 12345)", true, true},
    };
    for (const Row& row : rows) {
        SCOPED_TRACE(row.damage);
        if (row.needsRoot && geteuid() != 0)
            continue;
        ASSERT_TRUE(run("F=" + folder + " J=" + path + "; mv $J $F/kept && " + row.damage)) << output;
        zel::Array<FoundJournal> found;
        const bool isListed = journals.list(found, reason);
        EXPECT_EQ(isListed, !row.byFolder);
        EXPECT_THAT(isListed && !found.isEmpty() ? found[0].problem.utf8() : reason.utf8(),
                    HasSubstr(row.refusal));
        EXPECT_TRUE(JournalFolder::isInUse(path));
        const JournalLook seen = JournalFolder::look(path);
        EXPECT_TRUE(seen.use == JournalUse::unusable && seen.file == nullptr);
        EXPECT_THAT(seen.problem.utf8(), HasSubstr(row.refusal));
        EXPECT_EQ(JournalFolder::open(path, reason), nullptr);
        EXPECT_THAT(reason.utf8(), HasSubstr(row.refusal));
        EXPECT_FALSE(JournalFolder::remove(path, reason));
        EXPECT_THAT(reason.utf8(), HasSubstr(row.refusal));
        EXPECT_EQ(journals.create("y", kBytes, reason) == nullptr, row.byFolder);
        ASSERT_TRUE(run("F=" + folder + " J=" + path +
                        "; chmod 0700 $F; chown $(id -u) $F; rm -rf $J $F/y.journal && mv $F/kept $J"))
            << "something was deleted: " << output;
    }
    EXPECT_NE(JournalFolder::open(path, reason), nullptr) << reason.utf8();
}

TEST_F(LinuxJournals, AreReachedByTheirDescriptorAlone) {
    const auto file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    ASSERT_TRUE(run("mv " + path + " " + folder + "/moved && echo other > " + path)) << output;
    const std::string data(4096, 'j');
    EXPECT_TRUE(file->handle()->reopen().ok() && file->handle()->write(0, data.data(), data.size()).ok());
    EXPECT_TRUE(run("cat " + path) && output == "other") << output;
    EXPECT_TRUE(run("head -c 3 " + folder + "/moved") && output == "jjj") << output;
    EXPECT_FALSE(file->remove(reason));
    EXPECT_THAT(reason.utf8(), HasSubstr("another file has taken its name"));
    ASSERT_TRUE(run("mv " + folder + "/moved " + path)) << output;
    EXPECT_EQ(JournalFolder::look(path).use, JournalUse::used);
    EXPECT_TRUE(file->remove(reason)) << reason.utf8();
    EXPECT_EQ(JournalFolder::look(path).use, JournalUse::missing);
}

TEST_F(LinuxJournals, AreInMemoryUnderAnythingThatIs) {
    if (geteuid() != 0)
        GTEST_SKIP() << "mounts need root";
    const std::string inPlace = "cd " + place + " && ";
    std::filesystem::create_directory(place);
    ASSERT_TRUE(run(inPlace +
                    "mkdir m o lo disk d ol && mount -t tmpfs tmpfs m && mkdir m/u m/w d/l && truncate -s 8M "
                    "m/image d/image && mkfs.ext4 -q m/image && mkfs.ext4 -q d/image"))
        << output;
    const bool isAllInMemory = JournalFolder(place).isVolatile();
    struct Row {
        const char* mount;
        const char* folder;
        bool isVolatile;
    };
    const Row rows[] = {
        {"mount -t overlay overlay -o lowerdir=d/l,upperdir=$PWD/m/u,workdir=$PWD/m/w o", "/o/new", true},
        {"mount -o loop m/image lo", "/lo/new", true},
        {"truncate -s 4M lo/image && mkfs.ext4 -q lo/image && mount -o loop lo/image ol", "/ol", true},
        {"mount -o loop d/image disk", "/disk", isAllInMemory},
    };
    std::string missing;
    for (const Row& row : rows)
        if (!run(inPlace + row.mount))
            missing += row.mount + (": " + output) + "; ";
        else
            EXPECT_EQ(JournalFolder(place + row.folder).isVolatile(), row.isVolatile) << row.mount;
    run(inPlace + "umount -l ol lo disk o m");  // others may still look at them
    if (!missing.empty())
        GTEST_SKIP() << "not possible here: " << missing;
}

TEST_F(LinuxJournals, AreFoundOnTheDriveUnderTest) {
    EXPECT_THAT(placement(folder, image.path), testing::Not(HasSubstr("to be tested")));
    const LoopDevice outer(image.path);
    if (outer.path.empty())
        GTEST_SKIP() << outer.problem;
    // A partition of a loop device, on its file system a file, on that a loop device with a file system.
    const std::string middle = place + "/middle", inner = place + "/inner";
    std::filesystem::create_directories(middle);
    if (!run("addpart " + outer.path + " 1 2048 28672") || !run("mkfs.ext4 -q -F " + outer.path + "p1") ||
        !run("mount " + outer.path + "p1 " + middle))
        GTEST_SKIP() << output;
    std::filesystem::create_directory(inner);
    ASSERT_TRUE(run("truncate -s 4M " + middle + "/image && mkfs.ext4 -q -F " + middle + "/image"));
    std::ofstream(middle + "/other");
    {
        const LoopDevice nested(middle + "/image");
        ASSERT_TRUE(run("mount " + nested.path + " " + inner)) << output;
        for (const std::string& drive :
             {nested.path, middle + "/image", outer.path + "p1", outer.path, image.path})
            EXPECT_THAT(placement(inner + "/new/folder", drive),
                        HasSubstr("is stored on " + drive + ", the drive"));
        EXPECT_THAT(placement(inner, middle + "/other"), testing::Not(HasSubstr("to be tested")));
        EXPECT_THAT(placement(middle, nested.path), testing::Not(HasSubstr("to be tested")));
        EXPECT_TRUE(run("umount " + inner)) << output;
    }
    EXPECT_TRUE(run("umount " + middle)) << output;
}

}  // namespace
}  // namespace libDrive2
