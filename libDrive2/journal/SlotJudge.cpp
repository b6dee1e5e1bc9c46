#include "libDrive2/journal/SlotJudge.h"

#include <algorithm>
#include <vector>

// The note is a second header. What says that a slot is open outweighs what says nothing; only a header that
// is done, or was cut off in a way that shows that nothing has been overwritten yet or all has been put back,
// settles it. What is cut off is told from what is damaged by the bytes behind the cut: they are those of the
// header that stood there before.

namespace libDrive2::journal {

namespace {

using Kind = FoundMark::Kind;

bool isMark(const FoundMark& found, SlotMark mark) {
    return found.kind == Kind::marked && found.header.mark == mark;
}

bool isProtecting(const FoundMark& note) {
    return isMark(note, SlotMark::durable) || isMark(note, SlotMark::restoring);
}

std::vector<std::uint8_t> encoded(const SlotHeader& header) {
    std::vector<std::uint8_t> bytes(kBlockBytes);
    encode(header, Block(bytes.data(), kBlockBytes));
    bytes.resize(kSlotHeaderBytes);
    return bytes;
}

/// Where the bytes cease to be those of `begun`.
std::size_t commonBeginning(Bytes bytes, Bytes begun) {
    return static_cast<std::size_t>(std::mismatch(begun.begin(), begun.end(), bytes.begin()).first -
                                    begun.begin());
}

/// Whether bytes begin as the one and end as the other.
bool isMixed(Bytes bytes, Bytes begun, Bytes before) {
    const std::size_t cut = commonBeginning(bytes, begun);
    return std::equal(before.begin() + static_cast<std::ptrdiff_t>(cut), before.end(),
                      bytes.begin() + static_cast<std::ptrdiff_t>(cut));
}

/// Done in front, something that protected behind. Several bits are wrong then, so it is no flipped bit.
bool isClosing(Bytes bytes, SlotHeader header) {
    SlotHeader done = header;
    done.mark = SlotMark::done;
    for (const SlotMark mark : {SlotMark::open, SlotMark::durable, SlotMark::restoring}) {
        header.mark = mark;
        if (isMixed(bytes, encoded(done), encoded(header)))
            return true;
    }
    return false;
}

/// An open header in front, behind the cut what stood there before. The checksum must not have been begun
/// beyond its half, as half of it makes a header fit.
bool isFilling(Bytes bytes, const SlotHeader& fields, const FoundMark& note) {
    std::vector<std::uint8_t> before(kSlotHeaderBytes);
    if (note.kind == Kind::marked)
        before = encoded(note.header);
    const auto isOldFrom = [&](std::size_t cut) {
        return std::equal(before.begin() + static_cast<std::ptrdiff_t>(cut), before.end(),
                          bytes.begin() + static_cast<std::ptrdiff_t>(cut));
    };
    SlotHeader open = fields;
    open.mark = SlotMark::open;
    const std::size_t most = std::min(commonBeginning(bytes, encoded(open)), kSlotFieldsEnd + 8);
    std::size_t cut = 0;
    while (cut <= most && !isOldFrom(cut))
        ++cut;
    const bool isNewer =
        cut < kSequenceEnd || note.kind == Kind::blank || fields.sequence > note.header.sequence;
    return cut <= most && isNewer;
}

FoundMark find(const Bytes* block, const Session& session) {
    if (block == nullptr)
        return {Kind::unreadable, {}};
    if (const auto header = decodeSlot(*block))
        return header->session == session ? FoundMark{Kind::marked, *header} : FoundMark{};
    if (isBlank(block->first(kSlotHeaderBytes)))
        return {Kind::blank, {}};
    return {};
}

SlotFate open(const FoundMark& found, SlotFate::Kind kind, bool wasRestoring) {
    return {kind, found.header, wasRestoring};
}

SlotFate judgeOpen(const FoundMark& header, const FoundMark& note) {
    const bool isNoted = note.kind == Kind::marked;
    if (isNoted && note.header.sequence > header.header.sequence && isProtecting(note))
        return open(note, SlotFate::Kind::open, isMark(note, SlotMark::restoring));
    if (isNoted && note.header.sequence >= header.header.sequence && isMark(note, SlotMark::done))
        return {SlotFate::Kind::settled, {}, false};
    const bool isThis = isNoted && note.header.sequence == header.header.sequence;
    const bool mayBeCutOff = note.kind == Kind::blank || (isNoted && !isThis);
    return open(header, mayBeCutOff ? SlotFate::Kind::openOrCutOff : SlotFate::Kind::open,
                isThis && isMark(note, SlotMark::restoring));
}

}  // namespace

FoundMark findNote(const Bytes* block, const Session& session) {
    return find(block, session);
}

FoundMark findHeader(const Bytes* block, const Session& session, const FoundMark& note) {
    FoundMark found = find(block, session);
    if (found.kind != Kind::broken)
        return found;
    const Bytes bytes = block->first(kSlotHeaderBytes);
    SlotHeader fields = slotFields(bytes);
    fields.session = session;
    if (isClosing(bytes, fields))
        return {Kind::closing, fields};
    if ((note.kind == Kind::blank || isMark(note, SlotMark::done)) && isFilling(bytes, fields, note))
        found.kind = Kind::filling;
    return found;
}

SlotFate judgeSlot(const FoundMark& header, const FoundMark& note) {
    if (isMark(header, SlotMark::open))
        return judgeOpen(header, note);
    const bool isDone = isMark(header, SlotMark::done) || header.kind == Kind::closing;
    const bool isLater = note.header.sequence > header.header.sequence;
    if (isProtecting(note) && (!isDone || isLater))
        return open(note, SlotFate::Kind::open, isMark(note, SlotMark::restoring));
    const bool isBlank = header.kind == Kind::blank && note.kind == Kind::blank;
    if (isDone || isBlank || header.kind == Kind::filling)
        return {SlotFate::Kind::settled, {}, false};
    return {};
}

}  // namespace libDrive2::journal
