#include "libDrive2/JournalFolder.h"

#include <cstring>

#include "Fixtures.h"
#include "libDrive2/UndoJournal.h"
#include "zel/Path.h"

namespace libDrive2 {
namespace {

using testing::ElementsAre;
using testing::HasSubstr;

constexpr std::uint64_t kBytes = 1 << 20;

/// A folder that is not there yet, with a name of more than one alphabet.
struct Journals : testing::Test {
    ~Journals() override { std::filesystem::remove_all(zel::pathOf(place)); }
    std::vector<std::string> listed() {
        zel::Array<zel::String> paths;
        EXPECT_TRUE(journals.list(paths, reason)) << reason.utf8();
        std::vector<std::string> list;
        for (const zel::String& found : paths)
            list.push_back(found.utf8());
        return list;
    }

    std::string place =
        testing::TempDir() + "journals-\xC3\xA4\xE6\xBC\xA2-" + std::to_string(std::random_device()());
    std::string folder = zel::textOf(zel::pathOf(place) / "a" / "b");
    std::string path = zel::textOf(zel::pathOf(folder) / "x.journal");
    JournalFolder journals{folder};
    zel::String reason;
};

TEST_F(Journals, AreMadeListedAndDeleted) {
    EXPECT_THAT(listed(), ElementsAre());
    auto file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    EXPECT_EQ(file->path().utf8(), path);
    EXPECT_EQ(file->handle()->info().bytes, kBytes);
    std::ofstream(zel::pathOf(folder) / "other") << "text";
    EXPECT_THAT(listed(), ElementsAre(path));
    EXPECT_EQ(journals.create("x", kBytes, reason), nullptr);
    EXPECT_THAT(reason.utf8(), HasSubstr("exists"));
    file.reset();
    EXPECT_TRUE(JournalFolder::remove(path, reason)) << reason.utf8();
    EXPECT_FALSE(JournalFolder::remove(path, reason));
    EXPECT_EQ(JournalFolder::open(path, reason), nullptr);
    EXPECT_EQ(JournalFolder::look(path).use, JournalUse::missing);
    EXPECT_FALSE(JournalFolder::isInUse(path));
    EXPECT_THAT(listed(), ElementsAre());
    file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    EXPECT_TRUE(file->remove(reason)) << reason.utf8();
    EXPECT_THAT(listed(), ElementsAre());
}

TEST_F(Journals, AreInUseAsLongAsTheyAreHeld) {
    auto file = journals.create("x", kBytes, reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    const std::string data(4096, 'j');
    ASSERT_TRUE(file->handle()->write(8192, data.data(), data.size()).ok());
    EXPECT_TRUE(JournalFolder::isInUse(path));
    EXPECT_EQ(JournalFolder::open(path, reason), nullptr);
    EXPECT_THAT(reason.utf8(), HasSubstr("is in use"));
    {
        const JournalLook seen = JournalFolder::look(path);
        ASSERT_TRUE(seen.use == JournalUse::used && seen.file != nullptr) << seen.problem.utf8();
        std::string read(3, '?');
        EXPECT_TRUE(seen.file->handle()->read(8190, read.data(), read.size()).ok());
        EXPECT_EQ(read, std::string("\0\0j", 3));
        EXPECT_FALSE(seen.file->handle()->write(0, data.data(), data.size()).ok());
    }
    file.reset();
    EXPECT_FALSE(JournalFolder::isInUse(path));
    {
        const JournalLook seen = JournalFolder::look(path);
        EXPECT_EQ(seen.use, JournalUse::free);
        EXPECT_EQ(JournalFolder::look(path).use, JournalUse::free);
        EXPECT_EQ(JournalFolder::open(path, reason), nullptr) << "while somebody looks";
    }
    EXPECT_NE(JournalFolder::open(path, reason), nullptr) << reason.utf8();
}

TEST_F(Journals, HoldAJournalOnRealFiles) {
    constexpr std::uint64_t kSlot = 300 * 512;
    const DriveIdentity drive{"M", "", 1000, 512};
    auto file = journals.create("x", UndoJournal::fileBytes(kSlot, 4096), reason);
    ASSERT_NE(file, nullptr) << reason.utf8();
    const std::string data(kSlot, 'd');
    {
        const auto undo = UndoJournal::create(file->handle(), {drive, "/dev/x", kSlot, true}, reason);
        ASSERT_NE(undo, nullptr) << reason.utf8();
        EXPECT_TRUE(undo->expectWrites(data.data(), data.size()) &&
                    undo->protect(7, 300, data.data(), kSlot));
    }
    file.reset();
    const JournalLook seen = JournalFolder::look(path);
    ASSERT_NE(seen.file, nullptr) << seen.problem.utf8();
    const JournalContents contents = readJournal(*seen.file->handle());
    ASSERT_EQ(contents.open.size(), 1U) << contents.problem.utf8();
    EXPECT_EQ(contents.header.drive, drive);
    EXPECT_EQ(contents.header.locator.utf8(), "/dev/x");
    EXPECT_EQ(std::memcmp(contents.open[0].data.data(), data.data(), kSlot), 0);
    EXPECT_EQ(contents.expected.size(), 512U);
}

}  // namespace
}  // namespace libDrive2
