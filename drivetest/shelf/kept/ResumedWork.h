#pragma once

#include <string>
#include <vector>

#include "drivetest/commands/ResumeOptions.h"
#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/shelf/kept/KeptWork.h"
#include "drivetest/shelf/kept/WorkState.h"

namespace drivetest {

/// What is left of a shelf's work as work for another one, each drive wherever it is attached now; what is
/// done counts with it. A drive that cannot be had, or would be written to and is not confirmed now, is
/// refused. Asks the drives what they are, apart from this process.
ShelfWork shelfWorkOf(const KeptWork& kept, std::vector<std::vector<RunState>>& states,
                      const ResumeOptions& options);

/// On runs that begin anew though they had begun, a sentence for each.
std::vector<std::string> notesOn(const KeptWork& kept, const std::vector<std::vector<RunState>>& states);

/// Takes away the files of records that were made and never begun.
void removeEmptyRecords(const KeptWork& kept);

/// Whether anything is left to do.
bool isAnythingLeft(const std::vector<std::vector<RunState>>& states);

}  // namespace drivetest
