#include "ModuleFixture.h"

namespace libDriveTest {
namespace {

using namespace std::chrono_literals;
using testing::Contains;
using testing::ElementsAre;
using enum quix5::MessageBox2_Returns;
using enum TestResult::Code;

constexpr const char* kLogger = "libDriveTest.DriveTest";

/// Over a removable drive without a medium.
class Media : public ModuleFixture {
protected:
    Media() {
        drive.removable = true;
        drive.present = false;
        drive.name = "FakeDrive";
    }
    bool require() { return test.requireMedia(state, prompted, 250); }

    LIBDRIVE2_MEDIA_STATE state = libDrive2::LIBDRIVE2_MEDIA_NOT_OPENED;
    bool prompted = false;
};

TEST_F(Media, IsWhatTheAnswerToThePromptMakesIt) {
    const struct {
        std::deque<MessageBox2_Returns> answers;
        bool present, correct;  ///< once the tray is closed
        std::uint32_t state;
        const char *calls, *line;
    } cases[] = {
        {{OK}, true, true, 1, "wait eject load wait", "prompting for media - user hit OK, but media present"},
        {{OK}, false, true, 0, "wait eject load wait", "user hit OK, MEDIA not present"},
        {{OK}, true, false, 3, "wait eject load wait", "user hit OK, MEDIA incorrect"},
        {{CANCEL}, true, true, 0, "wait eject", "prompting for media - CANCEL selected"},
        {{}, true, true, 0, "wait eject", "prompting for media"},
    };
    for (const auto& c : cases) {
        const bool cancelled = c.answers == std::deque{CANCEL};
        drive.present = false;
        drive.calls.clear();
        host.log.clear();
        host.answers = c.answers;
        drive.onLoad = [this, &c] {
            drive.present = c.present;
            drive.correct = c.correct;
        };
        EXPECT_EQ(require(), !cancelled);
        EXPECT_EQ(state, c.state) << c.line;
        EXPECT_TRUE(prompted);
        EXPECT_EQ(host.linesOf(kLogger, 1).front(), "DriveTest::requireMedia - prompting for media");
        EXPECT_THAT(host.linesOf(kLogger, cancelled ? 2 : 1),
                    Contains(std::string("DriveTest::requireMedia - ") + c.line));
        EXPECT_EQ(drive.calls, c.calls) << c.line;
    }
    EXPECT_EQ(host.abortRequests, 1);
}

TEST_F(Media, ThatAppearsClosesThePrompt) {
    for (bool* const appearing : {&drive.loading, &drive.present}) {
        int rounds = 0;
        drive.loading = false;
        host.answers = {CANCEL};
        host.closes = [&] {
            *appearing = ++rounds == 3;
            return false;
        };
        EXPECT_TRUE(require());
        EXPECT_EQ(rounds, 3);
        EXPECT_EQ(state, drive.present ? 1U : 0U);
    }
    EXPECT_EQ(drive.calls, "wait eject wait wait eject wait");
}

TEST_F(Media, CheckAsksUntilThereIsOneOrAnEnd) {
    constexpr auto none = libDrive2::LIBDRIVE2_MEDIA_NONE;
    constexpr auto good = libDrive2::LIBDRIVE2_MEDIA_CORRECT;
    constexpr auto wrong = libDrive2::LIBDRIVE2_MEDIA_INCORRECT;
    constexpr const char* kStay = "DoNotEject=yes";
    constexpr const char* kMute = "PromptUserForMedia=no";
    const struct {
        const char* given;
        LIBDRIVE2_MEDIA_STATE before, inserted;
        std::deque<MessageBox2_Returns> answers;
        unsigned limit;
        int stopAt;  ///< the number of the check from which on the answer is yes
        TestResult result;
        const char* calls;
        std::chrono::seconds settled;
    } cases[] = {
        {"", good, none, {}, 3, 99, PASS, "wait autorun", 0s},
        {kStay, none, good, {OK}, 3, 99, PASS, "wait load wait autorun", 10s},
        {kStay, none, good, {OK}, 3, 4, PASS, "wait load wait autorun", 2s},
        {kStay, none, none, {OK, OK, OK}, 2, 99, NOMEDIA, "wait load wait wait load wait autorun", 10s},
        {kStay, none, none, {OK, CANCEL}, 0, 99, USERABORTED, "wait load wait wait", 0s},
        {"", wrong, wrong, {OK}, 1, 99, INCORRECTMEDIA, "wait eject load wait autorun", 10s},
        {kMute, none, good, {OK}, 0, 99, NOMEDIA, "wait autorun", 0s},
        {kMute, wrong, good, {OK}, 0, 99, INCORRECTMEDIA, "wait autorun", 0s},
        {kMute, none, good, {}, 0, 2, USERABORTED, "wait autorun", 0s},
        {"", none, good, {OK}, 0, 1, USERABORTED, "", 0s},
    };
    const auto put = [this](LIBDRIVE2_MEDIA_STATE medium) {
        drive.present = medium != none;
        drive.correct = medium == good;
    };
    drive.autoRun = true;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        const auto start = clock.now();
        give(c.given);
        put(c.before);
        drive.calls.clear();
        drive.onLoad = [&] { put(c.inserted); };
        host.answers = c.answers;
        host.stopChecks = 0;
        host.stop = [&c](int check) { return check >= c.stopAt; };
        EXPECT_EQ(test.checkMedia(c.limit), c.result);
        EXPECT_EQ(drive.calls, c.calls);
        EXPECT_EQ(clock.now() - start, c.settled);
    }
}

TEST_F(Media, OfAFixedDriveIsNeverAskedFor) {
    drive.removable = false;
    host.answers = {OK};
    EXPECT_EQ(test.checkMedia(3), WARN);
    EXPECT_EQ(test.warningCount, 1U);
    EXPECT_THAT(host.eventsOf("warning"), ElementsAre("cannotGetTotalSectors()"));
    EXPECT_EQ(drive.waitMs, 5000U);
    drive.present = true;
    EXPECT_TRUE(require());
    EXPECT_EQ(drive.waitMs, 250U);
    EXPECT_EQ(state, libDrive2::LIBDRIVE2_MEDIA_CORRECT);
    EXPECT_EQ(host.prompts.size(), 0U);
    EXPECT_EQ(drive.calls, "wait wait");
}

TEST_F(Media, WarnsOfADriveThatTurnsFixed) {
    drive.turnsFixed = true;
    EXPECT_TRUE(require());
    give("WarnRMB=yes");
    for (DriveTest* const asking : {static_cast<DriveTest*>(nullptr), static_cast<DriveTest*>(&test)}) {
        EXPECT_EQ(host.events.size(), 0U);
        drive.removable = true;
        EXPECT_TRUE(DriveTest::__requireMedia(drive, state, prompted, 250, asking));
    }
    EXPECT_THAT(host.eventsOf("WARNING"), ElementsAre("MediumNotPresentRMBZero()"));
    EXPECT_EQ(test.warningCount, 1U);
    EXPECT_EQ(drive.calls, "wait wait wait");
}

TEST_F(Media, PromptNamesTheKindAndTheDrive) {
    using Borrowed = zel::CopiedResource<zel::PointerStorage<Drive>>;
    const struct {
        const char *kind, *message;
        Borrowed drive;
        bool incorrect;
        const char* prompt;
    } cases[] = {
        {"CD-R", "", Borrowed(&drive), false, "Please insert a CD-R. (FakeDrive)"},
        {"CD-R", "", Borrowed(), true, "The media you inserted is not a CD-R. Please insert a CD-R."},
        {"bLank", "", Borrowed(&drive), true, "Please insert media. (FakeDrive)"},
        {"", "", Borrowed(), false, "Please insert media."},
        {"CD-R", "Turn it over.", Borrowed(&drive), true, "Turn it over."},
    };
    for (const auto& c : cases) {
        package("libDriveTest", {{"mediaType", c.kind}});
        host.answers = {OK};
        // Without a drive to look at, the wait has no end.
        host.closes = [&c] { return static_cast<bool>(c.drive); };
        EXPECT_EQ(ProbeTest::__promptForMedia(c.drive, true, c.incorrect, c.message), OK);
        EXPECT_EQ(host.prompts.back().text, c.prompt);
        EXPECT_EQ(host.prompts.back().title, "Insert Media");
    }
    quix5::DiagModule::install(nullptr);
    EXPECT_EQ(test.promptForMedia(), NOT_SHOWN);
}

TEST_F(ModuleFixture, TextsComeFromThePackageAddedLast) {
    test.addSearchQPK(package("first", {{"a", "first a"}, {"b", "first b"}}));
    test.addSearchQPK(package("last", {{"a", "last a"}}));
    package("libDriveTest", {{"a", "module a"}, {"b", "module b"}, {"c", "module c"}});
    EXPECT_EQ(test.localize("a", "?").utf8(), "last a");
    EXPECT_EQ(test.localize("b", "?").utf8(), "first b");
    EXPECT_EQ(test.localize("c", "?").utf8(), "module c");
    EXPECT_EQ(host.log.size(), 0U);
    EXPECT_EQ(test.localize("d", "fallback").utf8(), "fallback");
    EXPECT_THAT(host.linesOf(kLogger, 1),
                ElementsAre("Could not find localized string: LocalizedString.d in libDriveTest.qpk"));
}

}  // namespace
}  // namespace libDriveTest
