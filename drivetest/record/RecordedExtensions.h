#pragma once

#include <stdexcept>
#include <string>

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordedRun.h"
#include "drivetest/record/RunLists.h"

namespace drivetest {

/// A line that is not what a record holds; a sentence for the user. The reader catches it.
struct RecordFault : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// What a record has under this name is missing, or is something else.
RecordFault faultOf(const std::string& name);

/// What stands under this name, empty or 0 where nothing does; throws a RecordFault when it is something
/// else. No number of a record is negative.
std::string recordedText(const Json& object, const char* name);
std::uint64_t recordedCount(const Json& object, const char* name);
/// As well when it is greater than `most`.
std::uint64_t recordedCount(const Json& object, const char* name, std::uint64_t most);
double recordedNumber(const Json& object, const char* name);

/// The content of "temperature"; throws a RecordFault, or a Json::exception, when it is none.
HeatCourse recordedHeat(const Json& content);

/// Takes an extension into the run; one of another name is passed over. Throws a RecordFault when it is not
/// as docs/record.md has it.
void takeExtension(const std::string& name, const Json& content, const RunLists& lists, RecordedRun& run);

}  // namespace drivetest
