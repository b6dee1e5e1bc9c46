#include "drivetest/safety/UseWatch.h"

#include <gtest/gtest.h>

namespace drivetest {
namespace {

using namespace std::chrono_literals;

/// A drive whose users and whose time a test sets.
struct Scene {
    UseWatch watch() {
        return UseWatch([this] { return ++looks, users; }, [this] { return now; });
    }
    std::vector<std::string> users;
    std::chrono::steady_clock::time_point now{};
    int looks = 0;
};

TEST(UseWatch, LooksOnceASecond) {
    Scene scene;
    UseWatch watch = scene.watch();
    scene.users = {"sdb1 is mounted on /mnt"};
    EXPECT_FALSE(watch.isDisturbed());
    scene.now += 999ms;
    EXPECT_FALSE(watch.isDisturbed());
    EXPECT_EQ(scene.looks, 1);
    scene.now += 1ms;
    EXPECT_TRUE(watch.isDisturbed());
    EXPECT_EQ(watch.reason(), "somebody began to use the drive while the test ran: sdb1 is mounted on /mnt");
}

TEST(UseWatch, StaysDisturbedByNewUsersOnly) {
    Scene scene;
    scene.users = {"sdb1 is mounted on /mnt", "sdb2 is swap space"};
    UseWatch watch = scene.watch();
    // Who was there may go and come back.
    for (const auto& users : {std::vector<std::string>{"sdb2 is swap space"}, scene.users, {}}) {
        scene.users = users;
        scene.now += 1s;
        EXPECT_FALSE(watch.isDisturbed());
        EXPECT_EQ(watch.reason(), "");
    }
    scene.users = {"sdb2 is swap space", "sdb1 is mounted on /a", "sdb is attached to /dev/loop1"};
    scene.now += 1s;
    EXPECT_TRUE(watch.isDisturbed());
    const std::string reason = watch.reason();
    EXPECT_EQ(reason,
              "somebody began to use the drive while the test ran: sdb1 is mounted on /a, sdb is attached to "
              "/dev/loop1");
    scene.users = {};
    scene.now += 1h;
    EXPECT_TRUE(watch.isDisturbed());
    EXPECT_EQ(watch.reason(), reason);
}

}  // namespace
}  // namespace drivetest
