#pragma once

#include <optional>
#include <string>

#include "drivetest/commands/RunOptions.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// Whether what the command line asks for is carried out by processes of its own.
bool wantsShelf(const RunOptions& options);

/// What the command line asks for, when all of it can be done. Nothing after a sentence in `error`: two names
/// of one drive, an option that can be of one drive only, a confirmation that is of none of them, and what
/// would be wrong for one drive alone. A drive that cannot be tested keeps the others from nothing.
std::optional<ShelfWork> shelfWorkOf(const RunOptions& options, std::string& error);

}  // namespace drivetest
