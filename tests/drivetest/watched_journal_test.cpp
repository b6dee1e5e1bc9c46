#include <gmock/gmock.h>

#include "drivetest/safety/WatchedJournal.h"

namespace drivetest {
namespace {

using Range = WatchedJournal::Range;
using testing::ElementsAre;
using testing::IsEmpty;

TEST(WatchedJournal, KeepsTheDataInMemoryWithoutAJournal) {
    WatchedJournal journal(nullptr);
    char found[4] = {};
    EXPECT_TRUE(journal.protect(0, 4, "aaaa", 4) && journal.protect(8, 2, "bb", 2));
    EXPECT_FALSE(journal.protect(16, 1, "c", 1));
    EXPECT_THAT(journal.failure(), testing::HasSubstr("two chunks"));
    EXPECT_THAT(journal.unrestored(), ElementsAre(Range{0, 4}, Range{8, 2}));
    EXPECT_TRUE(journal.release(0, 4) && journal.protect(4, 3, "ddd", 3));
    EXPECT_FALSE(journal.readOriginal(0, 4, found, 4));
    EXPECT_TRUE(journal.readOriginal(4, 3, found, 3));
    EXPECT_STREQ(found, "ddd");
    EXPECT_TRUE(journal.holdsOriginal(8, 2, "bb", 2));
    EXPECT_FALSE(journal.holdsOriginal(8, 2, "bc", 2));
    journal.narrowUnrestored({{5, 1}});
    EXPECT_THAT(journal.unrestored(), ElementsAre(Range{5, 1}));
    journal.narrowUnrestored({});
    EXPECT_THAT(journal.unrestored(), IsEmpty());
}

}  // namespace
}  // namespace drivetest
