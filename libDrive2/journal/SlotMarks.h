#pragma once

#include "libDrive2/UndoJournal.h"

namespace libDrive2 {

/// What recovery writes into a journal, each durably.

/// Nothing of the slot is left to do.
DeviceStatus closeSlot(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot);
/// Torn sectors of the slot are about to be overwritten. Beside the slot's header, not in it: if this write
/// is cut off, the slot must stay open.
DeviceStatus noteRestoring(BlockHandle& file, const JournalContents& journal, const JournalSlot& slot);

}  // namespace libDrive2
