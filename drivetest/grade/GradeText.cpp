#include "drivetest/grade/GradeText.h"

#include <algorithm>
#include <cmath>

#include "drivetest/findings/Figures.h"
#include "drivetest/terminal/Language.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Sense = GradeLimit::Sense;
using Unit = GradeLimit::Unit;
using zel::words;

constexpr int kMostDigits = 9;

std::string percentText(double value, int digits) {
    return decimalText(value, digits) + "\u00a0%";
}

/// So many digits behind the point that the number is told within a hundredth of it, and never as 0 or 100
/// when it is not.
int digitsOf(double value) {
    for (int digits = 0; digits < kMostDigits; ++digits) {
        const double scale = std::pow(10, digits);
        const double told = std::round(value * scale) / scale;
        if (told == value || (std::abs(told - value) < value / 100 && told != 100))
            return digits;
    }
    return kMostDigits;
}

/// What was found beside what is allowed, with as many digits as tell them apart.
std::string percentBeside(double found, double allowed) {
    int digits = digitsOf(found);
    const std::string limit = percentText(allowed, digitsOf(allowed));
    while (found != allowed && digits < kMostDigits && percentText(found, digits) == limit)
        ++digits;
    return percentText(found, digits);
}

std::string sentenceWith(const GradeLimit& limit, const RecordedGrade::Reason& reason) {
    const std::string better(1, static_cast<char>(reason.grade - 1));
    if (limit.unit == Unit::flag)
        return words("The drive predicts its own failure, which grade {grade} does not take.",
                     {{"grade", better}});
    const std::string what =
        reason.sectors ? words("{what} (LBA {range})",
                               {{"what", words(limit.what)},
                                {"range", rangeFigure(reason.sectors->first, reason.sectors->second)}})
                       : words(limit.what);
    const std::string found = limit.unit == Unit::percent ? percentBeside(reason.found, reason.allowed)
                                                          : gradeFigure(limit, reason.found);
    const std::string allowed = gradeFigure(limit, reason.allowed);
    return limit.sense == Sense::atMost
               ? words("{what}: {found}; grade {grade} takes {allowed} at most.",
                       {{"what", what}, {"found", found}, {"grade", better}, {"allowed", allowed}})
               : words("{what}: {found}; grade {grade} wants {allowed} at least.",
                       {{"what", what}, {"found", found}, {"grade", better}, {"allowed", allowed}});
}

std::string unknownText(const RecordedGrade& grade) {
    std::string list;
    for (const std::string& key : grade.unknown) {
        const GradeLimit* const limit = findGradeLimit(key);
        const std::string what = key == kHealthLimits ? words("all that the drive tells of its health")
                                 : limit != nullptr   ? words(limit->what)
                                                      : key;
        list += (list.empty() ? "" : "; ") + what;
    }
    return list;
}

std::string wholeText(double value) {
    constexpr double kMost = 1e18;
    return countFigure(static_cast<std::uint64_t>(std::min(value, kMost)));
}

}  // namespace

std::string gradeFigure(const GradeLimit& limit, double value) {
    switch (limit.unit) {
        case Unit::percent:
            return percentText(value, digitsOf(value));
        case Unit::celsius:
            return decimalText(value, 0) + "\u00a0°C";
        case Unit::hours:
            return wholeText(value) + "\u00a0h";
        case Unit::result:
            return resultName(value);
        case Unit::flag:
        case Unit::count:
            break;
    }
    return wholeText(value);
}

std::string gradeLine(const RecordedGrade& grade) {
    return words(
        "{grade}, by the limits of {file}",
        {{"grade", grade.grade != 0 ? std::string(1, grade.grade) : words("none")}, {"file", grade.file}});
}

std::string gradeReason(const RecordedGrade::Reason& reason) {
    const GradeLimit* const limit = findGradeLimit(reason.limit);
    const std::string sentence = limit != nullptr
                                     ? sentenceWith(*limit, reason)
                                     : words("The limit {limit} is not kept.", {{"limit", reason.limit}});
    return std::string(1, reason.grade) + ": " + sentence;
}

std::vector<std::string> gradeReasons(const RecordedGrade& grade) {
    if (grade.grade == 0)
        return {words("There is no grade: {reason}.", {{"reason", grade.problem.shown()}})};
    std::vector<std::string> sentences;
    sentences.reserve(grade.reasons.size() + 1);
    for (const RecordedGrade::Reason& reason : grade.reasons)
        sentences.push_back(gradeReason(reason));
    if (grade.reasons.empty())
        sentences.push_back(words("It keeps every limit of grade A that could be judged."));
    if (!grade.unknown.empty())
        sentences.push_back(words("Not judged, as the record has no figures for it: {list}.",
                                  {{"list", unknownText(grade)}}));
    return sentences;
}

}  // namespace drivetest
