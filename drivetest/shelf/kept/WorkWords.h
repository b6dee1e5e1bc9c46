#pragma once

#include <utility>

#include "drivetest/shelf/RunOutcome.h"
#include "drivetest/shelf/ShelfWork.h"

namespace drivetest {

/// What the lines of a work file are made of, for who writes and who reads them.
inline constexpr unsigned kWorkFormat = 1;

inline constexpr std::pair<RunEnd, const char*> kRunEndNames[] = {
    {RunEnd::byItself, "byItself"}, {RunEnd::crashed, "crashed"}, {RunEnd::killed, "killed"},
    {RunEnd::hung, "hung"},         {RunEnd::lost, "lost"},       {RunEnd::notStarted, "notStarted"},
    {RunEnd::refused, "refused"},   {RunEnd::leftOut, "leftOut"},
};

inline constexpr std::pair<OnFailure, const char*> kOnFailureNames[] = {
    {OnFailure::goOn, "go-on"}, {OnFailure::stopDrive, "stop-drive"}, {OnFailure::stopAll, "stop-all"}};

/// Null for a value that has none.
template <class Value, std::size_t N>
const char* nameIn(const std::pair<Value, const char*> (&names)[N], Value value) {
    for (const auto& [each, name] : names)
        if (each == value)
            return name;
    return nullptr;
}

}  // namespace drivetest
