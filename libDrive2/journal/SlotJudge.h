#pragma once

#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2::journal {

/// What the header or the note of a slot was found to be.
struct FoundMark {
    enum class Kind {
        blank,
        marked,      ///< fits its checksum: `header` holds
        filling,     ///< a header that was cut off while it was written over the one of the note, or blanks
        closing,     ///< cut off while its mark was made done, of `header`
        broken,      ///< anything else: damaged
        unreadable,  ///< the medium does not give it
    };
    Kind kind = Kind::broken;
    SlotHeader header{};
};

/// What became of a slot, as its header and its note tell.
struct SlotFate {
    enum class Kind {
        settled,       ///< proven: nothing of it is needed any more
        open,          ///< its sectors are protected: what does not fit of its data has been lost
        openOrCutOff,  ///< if its data does not fit and it is the newest, it was never filled in to the end
        damaged,       ///< nothing is known but that it may be needed
    };
    Kind kind = Kind::damaged;
    SlotHeader header{};  ///< when open
    bool wasRestoring = false;
};

/// `block` is null where it cannot be read. For headers, `note` tells what stood there before.
FoundMark findNote(const Bytes* block, const Session& session);
FoundMark findHeader(const Bytes* block, const Session& session, const FoundMark& note);

SlotFate judgeSlot(const FoundMark& header, const FoundMark& note);

}  // namespace libDrive2::journal
