#include "drivetest/grade/Grading.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "drivetest/findings/Verdict.h"
#include "drivetest/grade/GradeLimits.h"
#include "drivetest/grade/GradeText.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Unit = GradeLimit::Unit;
using zel::words;

/// What is counted is below.
constexpr double kMostCounted = 1e15;

std::vector<std::string> keys() {
    std::vector<std::string> all;
    for (const GradeLimit& limit : gradeLimits())
        all.emplace_back(limit.key);
    return all;
}

std::string letterText(std::size_t grade) {
    return std::string(1, static_cast<char>(kBestGrade + static_cast<int>(grade)));
}

bool isWhole(double number) {
    return number == std::floor(number);
}

/// Nothing after a sentence in `error`.
std::optional<double> allowedOf(const GradeLimit& limit, const TomlValue& value, std::string& error) {
    if (limit.unit == Unit::result) {
        const auto* const text = std::get_if<std::string>(&value);
        const auto number = text != nullptr ? resultNumber(*text) : std::optional<double>();
        if (!number)
            error = words("{limit} wants \"PASS\", \"WARN\" or \"FAIL\"", {{"limit", limit.key}});
        return number;
    }
    if (limit.unit == Unit::flag) {
        if (const auto* const flag = std::get_if<bool>(&value); flag != nullptr)
            return *flag ? 1 : 0;
        error = words("{limit} wants true or false", {{"limit", limit.key}});
        return {};
    }
    const auto* const number = std::get_if<double>(&value);
    const bool isPercent = limit.unit == Unit::percent;
    if (number != nullptr && *number >= 0 && *number <= (isPercent ? 100 : kMostCounted) &&
        (isPercent || isWhole(*number)))
        return *number;
    error = isPercent ? words("{limit} wants a number from 0 to 100", {{"limit", limit.key}})
                      : words("{limit} wants a whole number, 0 or more", {{"limit", limit.key}});
    return {};
}

bool isLooser(const GradeLimit& limit, double one, double other) {
    return one != other && limit.keeps(other, one);
}

/// Why a run says nothing that a grade could rest on; empty when it does.
zel::Wording obstacleTo(const RecordedRun& run) {
    if (const RecordedCoverage coverage = run.coverage.value_or(RecordedCoverage{});
        run.result != "FAIL" && coverage.tested + coverage.failed == 0 && !run.isCutOff)
        return zel::worded("nothing was tested");
    return obstacleToVerdict(run);
}

void addUnknown(const GradeLimit& limit, const RecordedRun& run, std::vector<std::string>& unknown) {
    const bool isOfNoHealth = limit.isOfHealth && !run.healthBefore && !run.healthAfter;
    const std::string what(isOfNoHealth ? kHealthLimits : limit.key);
    if (std::ranges::find(unknown, what) == unknown.end())
        unknown.push_back(what);
}

}  // namespace

std::optional<Grading> Grading::load(const std::string& choice, std::string& error) {
    return choice == kDefaultGrading ? parse(choice, kGradeFile, error)
                                     : read(TomlFile::load(choice, error), error);
}

std::optional<Grading> Grading::parse(const std::string& name, std::string_view text, std::string& error) {
    return read(TomlFile::parse(name, text, error), error);
}

std::optional<Grading> Grading::read(const std::optional<TomlFile>& file, std::string& error) {
    if (!file)
        return {};
    Grading grading;
    grading.m_name = file->name();
    grading.m_allowed.resize(gradeLimits().size());
    for (const TomlSection& section : file->sections())
        if (!grading.take(*file, section, error))
            return {};
    if (error = grading.findContradiction(*file); !error.empty())
        return {};
    if (std::ranges::all_of(grading.m_allowed, [](const Allowed& allowed) {
            return std::ranges::none_of(allowed, [](const auto& each) { return each.has_value(); });
        })) {
        error = words("{file} limits nothing: \"drivetest grade --print-default\" shows what limits are like",
                      {{"file", printable(file->name())}});
        return {};
    }
    return grading;
}

bool Grading::take(const TomlFile& file, const TomlSection& section, std::string& error) {
    if (section.name.empty() && section.entries.empty())
        return true;
    const auto letter =
        static_cast<std::size_t>(section.name.size() == 1 ? section.name[0] - kBestGrade : -1);
    if (letter >= kGrades) {
        error = section.name.empty()
                    ? file.fault(section.entries.front().keyPlace,
                                 words("a limit stands below the grade that it is for, such as [A]"))
                    : file.fault(section.place,
                                 words("there is no grade {text} that has limits; there are: {known}",
                                       {{"text", quoted(section.name)}, {"known", "A, B, C, D, E"}}));
        return false;
    }
    for (const TomlEntry& entry : section.entries) {
        const GradeLimit* const limit = findGradeLimit(entry.key);
        if (limit == nullptr) {
            error = file.fault(entry.keyPlace, unknownName(entry.key, keys()));
            return false;
        }
        const auto allowed = allowedOf(*limit, entry.value, error);
        if (!allowed) {
            error = file.fault(entry.valuePlace, error);
            return false;
        }
        m_allowed[static_cast<std::size_t>(limit - gradeLimits().data())][letter] = {*allowed,
                                                                                     entry.valuePlace};
    }
    return true;
}

/// A better grade must not take what a worse one refuses.
std::string Grading::findContradiction(const TomlFile& file) const {
    for (std::size_t i = 0; i < m_allowed.size(); ++i) {
        const GradeLimit& limit = gradeLimits()[i];
        for (std::size_t grade = 1; grade < kGrades; ++grade) {
            const auto& better = m_allowed[i][grade - 1];
            const auto& worse = m_allowed[i][grade];
            if (!worse || (better && !isLooser(limit, better->allowed, worse->allowed)))
                continue;
            return file.fault(
                worse->place,
                better ? words("grade {grade} is stricter here than grade {better}, which takes {allowed}",
                               {{"grade", letterText(grade)},
                                {"better", letterText(grade - 1)},
                                {"allowed", gradeFigure(limit, better->allowed)}})
                       : words("grade {grade} is stricter here than grade {better}, which has no {limit}",
                               {{"grade", letterText(grade)},
                                {"better", letterText(grade - 1)},
                                {"limit", limit.key}}));
        }
    }
    return {};
}

/// The best grade that takes what was found.
std::size_t Grading::gradeOf(const GradeLimit& limit, const Allowed& allowed, double found) {
    const auto* const taking = std::ranges::find_if(
        allowed, [&](const auto& each) { return !each || limit.keeps(found, each->allowed); });
    return static_cast<std::size_t>(taking - allowed.begin());
}

RecordedGrade Grading::judge(const RecordedRun& run) const {
    RecordedGrade judged;
    judged.file = m_name;
    judged.problem = obstacleTo(run);
    if (!judged.problem.isEmpty())
        return judged;
    judged.grade = kBestGrade;
    for (std::size_t i = 0; i < m_allowed.size(); ++i) {
        const GradeLimit& limit = gradeLimits()[i];
        const Allowed& allowed = m_allowed[i];
        if (!allowed.front())
            continue;
        const auto found = limit.measure(run);
        if (!found) {
            addUnknown(limit, run, judged.unknown);
            continue;
        }
        const std::size_t grade = gradeOf(limit, allowed, found->value);
        const std::optional<Given> better = grade > 0 ? allowed[grade - 1] : std::nullopt;
        if (!better)
            continue;
        const char letter = letterText(grade).front();
        const auto place =
            std::ranges::upper_bound(judged.reasons, letter, std::greater(), &RecordedGrade::Reason::grade);
        judged.reasons.insert(place, {letter, limit.key, found->value, better->allowed, found->sectors});
        judged.grade = std::max(judged.grade, letter);
    }
    return judged;
}

}  // namespace drivetest
