#include <cstring>

#include "FaultyDriveFixture.h"
#include "libDriveTest/LinearPatternTest.h"
#include "libDriveTest/ReadWriteSpeedTest.h"

namespace libDriveTest {
namespace {

/// As long as the process lives, as without a journal in a file.
class MemoryJournal : public libDrive2::SectorJournal {
public:
    std::map<std::uint64_t, std::vector<std::uint8_t>> kept;  ///< by LBA

    bool expectWrites(const void*, std::size_t) override { return true; }
    bool protect(std::uint64_t lba, std::uint32_t, const void* data, std::size_t bytes) override {
        const auto* const start = static_cast<const std::uint8_t*>(data);
        return kept.emplace(lba, std::vector(start, start + bytes)).second;
    }
    [[nodiscard]] bool outlivesCrash() const override { return false; }
    [[nodiscard]] bool verifiesRestores() const override { return false; }
    bool holdsOriginal(std::uint64_t, std::uint32_t, const void*, std::size_t) override { return false; }
    bool readOriginal(std::uint64_t lba, std::uint32_t, void* data, std::size_t bytes) override {
        std::memcpy(data, kept.at(lba).data(), bytes);
        return true;
    }
    bool release(std::uint64_t lba, std::uint32_t) override { return kept.erase(lba) == 1; }
    [[nodiscard]] zel::Wording lastErrorStr() const override { return {}; }
};

class Leftovers : public FaultyDriveFixture {
protected:
    /// Lets the Nth transfer fail, of the test or of putting back, until none is reached.
    template <class TestClass>
    void sweep(const std::string& locator, const std::string& given, int last) {
        zel::LogFactory::setPriority(5);  // nobody reads the lines
        give(given);
        for (int type = 1; type <= 10; ++type)
            for (const bool forGood : {false, true})
                for (int n = 1; n <= last; ++n) {
                    open(locator);
                    faulty->failures = {{n, FaultyHandle::Error(type)}};
                    faulty->forGood = forGood;
                    SCOPED_TRACE(std::to_string(type) + " at " + std::to_string(n));
                    runAndPutBack<TestClass>(forGood);
                    if (HasFailure() || faulty->transfers < n)
                        break;
                    ASSERT_LT(n, last) << "the sweep ends before the test does";
                }
    }

    template <class TestClass>
    void runAndPutBack(bool forGood) {
        MemoryJournal journal;
        tested->setJournal(&journal);
        runAgain<TestClass>();
        tested->setCallback(nullptr);
        const std::size_t events = host.events.size();
        const auto outcome = tested->restoreProtected();
        EXPECT_EQ(host.events.size(), events);
        EXPECT_EQ(journal.kept.empty(), outcome.left.empty());
        EXPECT_TRUE(forGood || outcome.left.empty());
        // A drive that answers nothing more does not tell what it holds: all that was protected is named.
        std::vector<bool> named(before.size() / 512);
        for (const libDrive2::SectorSpan& span : outcome.left)
            for (std::uint64_t lba = span.lba; lba < span.lba + span.count; ++lba)
                named.at(lba) = true;
        const std::vector<char> after = contents();
        for (std::size_t lba = 0; lba < named.size(); ++lba)
            ASSERT_TRUE(named[lba] || std::equal(after.begin() + std::ptrdiff_t(lba * 512),
                                                 after.begin() + std::ptrdiff_t(lba * 512 + 512),
                                                 before.begin() + std::ptrdiff_t(lba * 512)))
                << lba;
        tested->setJournal(nullptr);
    }
};

TEST_F(Leftovers, OfAnyTransferThatFailsArePutBack) {
    sweep<LinearPatternTest>("sim:disk,sectors=40", "NumberOfPatterns=2 RetryCount=0", 200);
    sweep<ReadWriteSpeedTest>("sim:disk,sectors=40", "RetryCount=0", 200);
}

}  // namespace
}  // namespace libDriveTest
