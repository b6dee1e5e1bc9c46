#pragma once

#include <optional>
#include <span>

#include "libDrive2/UndoJournal.h"
#include "libDrive2/journal/JournalLayout.h"

namespace libDrive2::journal {

/// What a journal's file begins with: whose it is, and what tells its drive from others.
using FileHeaderBytes = std::span<std::uint8_t, kFileHeaderBytes>;

/// False when identity and fingerprint are too long for it; a long locator is cut.
bool encode(const JournalHeader& header, FileHeaderBytes bytes);

/// Nothing unless these bytes are such a header and fit their checksum, perhaps after one bit was mended.
std::optional<JournalHeader> decodeFile(Bytes bytes);

/// How bytes begin that are no header, or a damaged one.
enum class FileBeginning {
    blank,
    cutOff,        ///< begins as a header does, the rest is blank or does not fit
    otherVersion,  ///< of a program that keeps its journals differently
    other,         ///< something else
};
FileBeginning beginningOf(Bytes bytes);

}  // namespace libDrive2::journal
