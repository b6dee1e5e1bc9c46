#pragma once

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "drivetest/grade/GradeLimits.h"
#include "drivetest/record/RecordedGrade.h"
#include "drivetest/record/RecordedRun.h"
#include "drivetest/settings/TomlFile.h"

namespace drivetest {

/// The name of the limits that come with the program, where a file could be named.
inline constexpr std::string_view kDefaultGrading = "default";

inline constexpr std::string_view kNoGrading = "none";

/// The file of limits that comes with the program.
extern const std::string_view kGradeFile;

/// Limits for the grades A to E. A drive gets the best grade of which it keeps every limit, F where there is
/// none.
class Grading {
public:
    /// Of a file, or of the program's own; nothing after a sentence in `error` that names the place.
    static std::optional<Grading> load(const std::string& choice, std::string& error);
    static std::optional<Grading> parse(const std::string& name, std::string_view text, std::string& error);

    [[nodiscard]] RecordedGrade judge(const RecordedRun& run) const;

private:
    static constexpr std::size_t kGrades = kWorstGrade - kBestGrade;  ///< those that have limits
    struct Given {
        double allowed;
        TomlPlace place;
    };
    /// By grade; a grade without one takes anything.
    using Allowed = std::array<std::optional<Given>, kGrades>;

    static std::optional<Grading> read(const std::optional<TomlFile>& file, std::string& error);
    static std::size_t gradeOf(const GradeLimit& limit, const Allowed& allowed, double found);
    bool take(const TomlFile& file, const TomlSection& section, std::string& error);
    [[nodiscard]] std::string findContradiction(const TomlFile& file) const;

    std::string m_name;
    std::vector<Allowed> m_allowed;  ///< by limit, as gradeLimits() has them
};

}  // namespace drivetest
