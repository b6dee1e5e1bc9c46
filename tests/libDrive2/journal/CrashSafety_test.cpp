#include <gmock/gmock.h>

#include <deque>
#include <unordered_set>

#include "JournalWorld.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {
namespace {

constexpr std::size_t kForeign = 5;  ///< the sector that somebody changes after the crash

struct Fault {
    bool journalIgnoresFlush = false, driveIgnoresFlush = false, checksumsDoNotCount = false, isBlind = false;
};

/// A file in which every slot's data fits its checksum, whatever it is.
void repairChecksums(CrashDevice& file) {
    for (std::uint32_t i = 0; i < journal::kSlots; ++i) {
        const std::uint64_t offset = journal::slotOffset(kSlotBytes, i);
        std::vector<std::uint8_t> block(journal::kBlockBytes), data(journal::roundUp(kSlotBytes));
        if (!file.read(offset, block.data(), block.size()).ok() ||
            !file.read(offset + journal::kDataAt, data.data(), data.size()).ok())
            continue;
        if (auto header = journal::decodeSlot(block); header && header->dataBytes <= data.size()) {
            header->data = checksumOf(Bytes(data).first(header->dataBytes));
            encode(*header, journal::Block(block.data(), block.size()));
            (void)file.write(offset, block.data(), block.size());
        }
    }
    (void)file.flush();
}

/// Crashes a run at every write, its recovery at every write, and the recovery of that, until no new state is
/// found; after each crash both devices may hold anything that was not flushed. A killed process leaves
/// caches as they are.
class Checker {
public:
    static constexpr std::size_t kMostStates = 100000;

    explicit Checker(Fault fault) : m_fault(fault) {}

    /// What went wrong first; empty when nothing did.
    std::string check() {
        JournalWorld world;
        watch(world, false);
        if (!world.run())
            return "the run failed";
        while (!m_toCheck.empty()) {
            const State state = m_toCheck.front();
            m_toCheck.pop_front();
            if (const std::string wrong = checkRecovery(state); !wrong.empty())
                return wrong;
        }
        return "";
    }
    [[nodiscard]] std::size_t states() const { return m_known.size(); }

private:
    struct State {
        DeviceState journal, drive;
        bool hasForeign = false;

        [[nodiscard]] std::size_t hash() const { return drive.hash(journal.hash(hasForeign)); }
    };

    void watch(JournalWorld& world, bool hasForeign) {
        world.file().ignoresFlush = m_fault.journalIgnoresFlush;
        world.drive().ignoresFlush = m_fault.driveIgnoresFlush;
        world.file().onWrite = world.drive().onWrite = [this, &world, hasForeign] {
            const DeviceState &file = world.file().state, &drive = world.drive().state;
            add({file, drive, hasForeign});
            // A physical sector that is spoilt loses what others changed in it, too.
            const auto keptDrives = drive.afterPowerCut(hasForeign ? 0 : 2);
            for (const auto& keptFile : file.afterPowerCut(0))
                for (const auto& keptDrive : keptDrives) {
                    add({{keptFile, {}, {}}, {keptDrive, {}, {}}, hasForeign});
                    State changed{{keptFile, {}, {}}, {keptDrive, {}, {}}, true};
                    changed.drive.durable[kForeign] = Contents::numberOf(foreignFor(kForeign));
                    add(std::move(changed));
                }
        };
    }
    void add(State state) {
        if (m_known.size() < kMostStates && m_known.insert(state.hash()).second)
            m_toCheck.push_back(std::move(state));
    }

    std::string checkRecovery(const State& state) {
        JournalWorld world(state.journal, state.drive);
        if (m_fault.checksumsDoNotCount)
            repairChecksums(world.file());
        watch(world, state.hasForeign);
        if (m_fault.isBlind)
            restoreBlindly(world);
        else if (const RecoveryReport report = world.recoverAll(); readJournal(world.file()).needsRecovery())
            return "recovery left something to do: " + report.problem.utf8();
        // The journal is deleted now: all must be durable.
        const DeviceState& drive = world.drive().state;
        for (std::size_t i = 0; i < kDriveSectors; ++i) {
            const bool isForeign = state.hasForeign && i == kForeign;
            const auto wanted = Contents::numberOf(isForeign ? foreignFor(i) : originalOf(i));
            if (drive.durable[i] != wanted || drive.now(i) != wanted)
                return "sector " + std::to_string(i) + (isForeign ? " lost a foreign change" : " is lost");
            if (!isForeign && world.sink.saved.contains({i, RecoverySink::What::original}))
                return "sector " + std::to_string(i) + " was taken for foreign";
        }
        return "";
    }
    static void restoreBlindly(JournalWorld& world) {
        for (const JournalSlot& slot : readJournal(world.file()).open)
            (void)world.drive().write(slot.lba * CrashDevice::kSector, slot.data.data(),
                                      slot.count * CrashDevice::kSector);
        (void)world.drive().flush();
    }

    Fault m_fault;
    std::unordered_set<std::size_t> m_known;  ///< by hash
    std::deque<State> m_toCheck;
};

TEST(CrashSafety, EverySectorIsRestoredAfterAnyCrash) {
    Checker checker({});
    EXPECT_EQ(checker.check(), "");
    EXPECT_GT(checker.states(), 5000U);
    EXPECT_LT(checker.states(), Checker::kMostStates);
    RecordProperty("states", std::to_string(checker.states()));
}

TEST(CrashSafety, FaultsAreFound) {
    EXPECT_THAT(Checker({.journalIgnoresFlush = true}).check(),
                testing::AnyOf(testing::HasSubstr(" is lost"), testing::HasSubstr("left something to do")));
    EXPECT_THAT(Checker({.driveIgnoresFlush = true}).check(), testing::HasSubstr(" is lost"));
    EXPECT_THAT(Checker({.checksumsDoNotCount = true}).check(), testing::HasSubstr("sector "));
    EXPECT_THAT(Checker({.isBlind = true}).check(), testing::HasSubstr(" lost a foreign change"));
}

}  // namespace
}  // namespace libDrive2
