#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <utility>

#include "drivetest/record/RecordedRun.h"

namespace drivetest {

/// What a run shows of something that has a limit.
struct GradeMeasure {
    double value;
    std::optional<std::pair<std::uint64_t, std::uint64_t>> sectors{};  ///< where
};

/// Something that a file of limits can limit.
struct GradeLimit {
    enum class Sense { atMost, atLeast };
    enum class Unit { count, percent, celsius, hours, flag, result };

    const char* key;
    Sense sense;
    Unit unit;
    const char* what;                                                ///< a text to translate
    bool isOfHealth;                                                 ///< told by the drive itself
    std::optional<GradeMeasure> (*measure)(const RecordedRun& run);  ///< nothing: the record does not tell

    [[nodiscard]] bool keeps(double found, double allowed) const {
        return sense == Sense::atMost ? found <= allowed : found >= allowed;
    }
};

/// What stands for all limits that are told by the drive, where none of them could be judged.
inline constexpr std::string_view kHealthLimits = "health";

/// All there are.
std::span<const GradeLimit> gradeLimits();
/// Null for none.
const GradeLimit* findGradeLimit(std::string_view key);

/// A limit of the kind `result` is one of these, as a number: 0 PASS, 1 WARN, 2 FAIL.
std::optional<double> resultNumber(std::string_view result);
std::string resultName(double number);

}  // namespace drivetest
