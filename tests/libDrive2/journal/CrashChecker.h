#pragma once

#include <deque>
#include <string>
#include <unordered_set>
#include <vector>

#include "JournalWorld.h"

namespace libDrive2 {

/// What is done wrong on purpose, to see that it is found.
struct Fault {
    bool journalIgnoresFlush = false, driveIgnoresFlush = false, checksumsDoNotCount = false, isBlind = false;
    bool notesAreIgnored = false, nothingIsMended = false, undecodableIsSettled = false;
    bool foreignIsOverwritten = false, oldestIsFirst = false;
};

/// Crashes a run at every write, its recovery at every write, and the recovery of that, until no new state is
/// found or there are too many; after each crash both devices may hold anything that was not flushed,
/// somebody may change a sector of the drive, and a bit of the journal may flip. A killed process leaves
/// caches as they are.
class CrashChecker {
public:
    /// Those nearest to the run come first; there are more than can be checked each time.
    explicit CrashChecker(Fault fault, std::size_t mostStates = 80000)
        : m_fault(fault), m_mostStates(mostStates) {
        Contents::forget();
    }

    /// What went wrong first; empty when nothing did.
    std::string checkRun();
    /// A second run on the drive of one that ended after so many writes, and has not been recovered.
    std::string checkSecondRun(std::size_t writesOfFirst);

    [[nodiscard]] std::size_t states() const { return m_known.size(); }
    [[nodiscard]] std::size_t kept() const { return m_kept; }

private:
    struct State {
        std::vector<DeviceState> journals{};  ///< of the runs, the oldest first
        DeviceState drive{};
        bool hasForeign = false;
        bool isDamaged = false;

        [[nodiscard]] std::size_t hash() const {
            std::size_t sum = drive.hash(hasForeign ? 1 : 0);
            for (const DeviceState& journal : journals)
                sum = journal.hash(sum);
            return sum;
        }
    };

    void watch(JournalWorld& world, const State& base, std::size_t index, bool isRun);
    void addPowerCuts(const State& now, std::size_t index);
    void add(State state);
    void addDamaged(State state, bool isRun);
    std::string checkAll();
    std::string checkRecovery(const State& state);
    void spoil(CrashDevice& file) const;
    std::string judge(const State& state, const std::vector<JournalContents>& kept, const DeviceState& drive);

    Fault m_fault;
    std::size_t m_mostStates;
    std::unordered_set<std::size_t> m_known;  ///< by hash
    std::deque<State> m_toCheck;
    std::size_t m_kept = 0;
};

}  // namespace libDrive2
