#include "drivetest/safety/JournalPlace.h"

#include <gtest/gtest.h>

namespace drivetest {
namespace {

TEST(JournalPlace, CommandTakesEachNameAsOneWordOfTheShell) {
    const struct {
        const char* folder;
        const char* command;
    } cases[] = {
        {"/srv/journals", "\"drivetest recover /dev/sda --journal /srv/journals\""},
        {"/srv/my journals", "\"drivetest recover /dev/sda --journal '/srv/my journals'\""},
        {"/srv/$(reboot)", "\"drivetest recover /dev/sda --journal '/srv/$(reboot)'\""},
        {"/srv/bob's", "\"drivetest recover /dev/sda --journal '/srv/bob'\\''s'\""},
        {"/srv/über", "\"drivetest recover /dev/sda --journal /srv/über\""},
    };
    for (const auto& [folder, command] : cases)
        EXPECT_EQ(recoverCommand("/dev/sda", folder), command);
}

}  // namespace
}  // namespace drivetest
