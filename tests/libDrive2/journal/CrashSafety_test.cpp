#include <gmock/gmock.h>

#include "CrashChecker.h"

namespace libDrive2 {
namespace {

using testing::AnyOf;
using testing::HasSubstr;

TEST(CrashSafety, EverySectorIsRestoredOrKeptAfterAnyCrash) {
    CrashChecker checker({});
    EXPECT_EQ(checker.checkRun(), "");
    EXPECT_GT(checker.states(), 50000U);
    EXPECT_GT(checker.kept(), 0U);
    RecordProperty("states", std::to_string(checker.states()));
    RecordProperty("kept", std::to_string(checker.kept()));
}

TEST(CrashSafety, SeveralJournalsOfADriveAreRecoveredNewestFirst) {
    for (const std::size_t writes : {1, 7}) {
        CrashChecker checker({}, 20000);
        EXPECT_EQ(checker.checkSecondRun(writes), "") << writes;
        EXPECT_GT(checker.states(), 2000U);
        RecordProperty("states" + std::to_string(writes), std::to_string(checker.states()));
    }
}

TEST(CrashSafety, FaultsAreFound) {
    const auto isLost = HasSubstr(" is lost");
    const auto isFound = AnyOf(HasSubstr("sector "), HasSubstr("left something to do"));
    const auto isNoticed = AnyOf(isLost, HasSubstr("left something to do"));
    EXPECT_THAT(CrashChecker({.journalIgnoresFlush = true}).checkRun(), isNoticed);
    EXPECT_THAT(CrashChecker({.driveIgnoresFlush = true}).checkRun(), isLost);
    EXPECT_THAT(CrashChecker({.checksumsDoNotCount = true}).checkRun(), isFound);
    EXPECT_THAT(CrashChecker({.isBlind = true}).checkRun(), isFound);
    EXPECT_THAT(CrashChecker({.notesAreIgnored = true}).checkRun(), isNoticed);
    EXPECT_THAT(CrashChecker({.nothingIsMended = true}).checkRun(), isLost);
    EXPECT_THAT(CrashChecker({.undecodableIsSettled = true}).checkRun(), isLost);
    EXPECT_THAT(CrashChecker({.foreignIsOverwritten = true}).checkRun(), HasSubstr(" lost a foreign change"));
    EXPECT_THAT(CrashChecker({.oldestIsFirst = true}).checkSecondRun(1), isNoticed);
}

}  // namespace
}  // namespace libDrive2
