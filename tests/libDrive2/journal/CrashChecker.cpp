#include "CrashChecker.h"

#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2 {

namespace {

constexpr std::size_t kForeign = 5;  ///< the sector that somebody changes after the crash

using Text = std::vector<std::uint8_t>;

Text readBlocks(CrashDevice& file, std::uint64_t offset, std::size_t bytes) {
    Text text(bytes);
    return file.read(offset, text.data(), text.size()).ok() ? text : Text();
}

/// A file in which every slot's data fits its checksum, whatever it is.
void repairChecksums(CrashDevice& file, std::uint64_t slot) {
    Text block = readBlocks(file, slot + journal::kSlotHeaderAt, journal::kBlockBytes);
    const Text data = readBlocks(file, slot + journal::dataAt(kSlotBytes), journal::roundUp(kSlotBytes));
    auto header = journal::decodeSlot(block);
    if (!header || header->dataBytes > data.size())
        return;
    header->root = journal::CheckedData::rootOf(Bytes(data).first(header->dataBytes));
    encode(*header, journal::Block(block.data(), block.size()));
    (void)file.write(slot + journal::kSlotHeaderAt, block.data(), block.size());
}

/// As a reader sees it that takes what it cannot decode for settled.
void settleUndecodable(CrashDevice& file, std::uint64_t slot) {
    if (journal::decodeSlot(readBlocks(file, slot + journal::kSlotHeaderAt, journal::kBlockBytes)))
        return;
    const Text zeros(2 * journal::kBlockBytes);
    (void)file.write(slot, zeros.data(), zeros.size());
}

void eraseNote(CrashDevice& file, std::uint64_t slot) {
    const Text zeros(journal::kBlockBytes);
    (void)file.write(slot + journal::kNoteAt, zeros.data(), zeros.size());
}

void restoreBlindly(JournalWorld& world) {
    for (const JournalSlot& slot : readJournal(world.file()).open)
        (void)world.drive().write(slot.lba * CrashDevice::kSector, slot.data.data(),
                                  slot.count * CrashDevice::kSector);
    (void)world.drive().flush();
}

/// Flips bits of what a device holds, as its medium would.
void flip(DeviceState& device, std::uint64_t byte, std::initializer_list<int> bits) {
    const std::size_t sector = byte / CrashDevice::kSector;
    std::string text = Contents::text(device.now(sector));
    for (const int bit : bits)
        text[byte % CrashDevice::kSector] = static_cast<char>(text[byte % CrashDevice::kSector] ^ 1 << bit);
    device.durable[sector] = Contents::numberOf(text);
    device.pending.erase(sector);
}

bool holdsOriginal(const JournalSlot& slot, std::size_t sector) {
    const std::string original = originalOf(sector);
    return slot.lba <= sector && sector < slot.lba + slot.count &&
           std::memcmp(slot.data.data() + (sector - slot.lba) * CrashDevice::kSector, original.data(),
                       original.size()) == 0;
}

bool saysThatItIsDamaged(const JournalContents& journal) {
    return journal.state != JournalState::valid || !journal.damaged.empty() || journal.expectedDamaged ||
           std::any_of(journal.open.begin(), journal.open.end(),
                       [](const JournalSlot& slot) { return !slot.lost.empty(); });
}

}  // namespace

std::string CrashChecker::checkRun() {
    JournalWorld world;
    watch(world, {{{}}, {}, false, false}, 0, true);
    return world.run() ? checkAll() : "the run failed";
}

std::string CrashChecker::checkSecondRun(std::size_t writesOfFirst) {
    JournalWorld first = crashedWorld(writesOfFirst);
    (void)first.drive().flush();  // as the end of a process does, or the time that passes
    JournalWorld second(CrashDevice::blank(JournalWorld::fileSectors()), first.drive().state);
    watch(second, {{first.file().state, {}}, {}, false, false}, 1, true);
    return second.run() ? checkAll() : "the second run failed";
}

std::string CrashChecker::checkAll() {
    while (!m_toCheck.empty()) {
        const State state = m_toCheck.front();
        m_toCheck.pop_front();
        if (std::string wrong = checkRecovery(state); !wrong.empty())
            return wrong;
    }
    return "";
}

/// `index`: which of the journals is the world's.
void CrashChecker::watch(JournalWorld& world, const State& base, std::size_t index, bool isRun) {
    world.file().ignoresFlush = m_fault.journalIgnoresFlush;
    world.drive().ignoresFlush = m_fault.driveIgnoresFlush;
    world.file().onWrite = world.drive().onWrite = [this, &world, base, index, isRun] {
        State now = base;
        now.journals[index] = world.file().state;
        now.drive = world.drive().state;
        add(now);
        // A damaged journal is only killed upon: all else would be more states than can be checked.
        if (now.isDamaged)
            return;
        addDamaged(now, isRun);
        addPowerCuts(now, index);
    };
}

void CrashChecker::addPowerCuts(const State& now, std::size_t index) {
    // A physical sector that is spoilt loses what others changed in it, too.
    const auto keptDrives = now.drive.afterPowerCut(now.hasForeign ? 0 : 2);
    for (const auto& keptFile : now.journals[index].afterPowerCut(0))
        for (const auto& keptDrive : keptDrives) {
            State cut = now;
            cut.journals[index] = {keptFile, {}, {}};
            cut.drive = {keptDrive, {}, {}};
            add(cut);
            if (cut.hash() % 16 == 0)
                addDamaged(cut, false);
            cut.hasForeign = true;
            cut.drive.durable[kForeign] = Contents::numberOf(foreignFor(kForeign));
            if (now.journals.size() == 1)
                add(std::move(cut));
        }
}

void CrashChecker::add(State state) {
    if (m_known.size() < m_mostStates && m_known.insert(state.hash()).second)
        m_toCheck.push_back(std::move(state));
}

/// Of one slot, by chance: a bit of its note, header, table or data. While the journal is as the run left it,
/// so that the note is there, also more than mending helps against.
void CrashChecker::addDamaged(State state, bool isRun) {
    if (!m_known.contains(state.hash()))
        return;
    const std::size_t chance = state.hash() / 16;
    const std::uint64_t places[] = {journal::kNoteAt + 45, journal::kSlotHeaderAt + 45,
                                    journal::dataAt(kSlotBytes) + 700, journal::kTableAt + 3};
    const auto slot = journal::slotOffset(kSlotBytes, static_cast<std::uint32_t>(chance / 4 % 2));
    state.isDamaged = true;
    const auto addFlipped = [&](std::uint64_t place, bool isOne) {
        State flipped = state;
        if (isOne)
            flip(flipped.journals.back(), slot + place, {3});
        else
            flip(flipped.journals.back(), slot + place, {3, 5});
        add(std::move(flipped));
    };
    addFlipped(places[chance % 4], !m_fault.nothingIsMended);
    for (const std::uint64_t place : places)
        if (isRun)
            addFlipped(place, false);
}

void CrashChecker::spoil(CrashDevice& file) const {
    for (std::uint32_t i = 0; i < journal::kSlots; ++i) {
        const std::uint64_t slot = journal::slotOffset(kSlotBytes, i);
        if (m_fault.checksumsDoNotCount)
            repairChecksums(file, slot);
        if (m_fault.undecodableIsSettled)
            settleUndecodable(file, slot);
        if (m_fault.notesAreIgnored)
            eraseNote(file, slot);
    }
    if (m_fault.checksumsDoNotCount || m_fault.undecodableIsSettled || m_fault.notesAreIgnored)
        (void)file.flush();
}

std::string CrashChecker::checkRecovery(const State& state) {
    State now = state;
    std::vector<std::size_t> order;  // the newest first
    for (std::size_t i = state.journals.size(); i > 0; --i)
        order.push_back(m_fault.oldestIsFirst ? state.journals.size() - i : i - 1);
    std::vector<JournalContents> kept;
    for (const std::size_t index : order) {
        JournalWorld world(now.journals[index], now.drive);
        spoil(world.file());
        watch(world, now, index, false);
        if (m_fault.isBlind)
            restoreBlindly(world);
        else if (!readJournal(world.file()).isSettled())
            world.recoverAll(false, m_fault.foreignIsOverwritten);
        now.journals[index] = world.file().state;
        now.drive = world.drive().state;
        JournalContents left = readJournal(world.file());
        // What is older has to wait for what is newer.
        if (!m_fault.isBlind && !left.isSettled())
            kept.push_back(std::move(left));
        if (!kept.empty() && !m_fault.oldestIsFirst)
            break;
    }
    for (std::size_t i = 0; !kept.empty() && !m_fault.oldestIsFirst && i + 1 < state.journals.size(); ++i) {
        CrashDevice file(now.journals[i], 1);
        kept.push_back(readJournal(file));
    }
    return judge(state, kept, now.drive);
}

/// Journals that were not kept are deleted now: all must be durable then.
std::string CrashChecker::judge(const State& state, const std::vector<JournalContents>& kept,
                                const DeviceState& drive) {
    m_kept += kept.empty() ? 0 : 1;
    if (!kept.empty() && !state.hasForeign && !state.isDamaged)
        return "recovery left something to do: " + kept.front().problem.utf8();
    const bool isExcused = state.isDamaged && std::any_of(kept.begin(), kept.end(), saysThatItIsDamaged);
    for (std::size_t i = 0; i < kDriveSectors; ++i) {
        const bool isForeign = state.hasForeign && i == kForeign;
        const auto wanted = Contents::numberOf(isForeign ? foreignFor(i) : originalOf(i));
        if (isForeign && drive.now(i) != wanted)
            return "sector " + std::to_string(i) + " lost a foreign change";
        if (drive.durable[i] == wanted && drive.now(i) == wanted)
            continue;
        const bool isHeld = std::any_of(kept.begin(), kept.end(), [i](const JournalContents& journal) {
            return std::any_of(journal.open.begin(), journal.open.end(),
                               [i](const JournalSlot& slot) { return holdsOriginal(slot, i); });
        });
        if (!isHeld && !isExcused)
            return "sector " + std::to_string(i) + " is lost";
    }
    return "";
}

}  // namespace libDrive2
