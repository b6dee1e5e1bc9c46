#include "drivetest/record/GradeJson.h"

#include "drivetest/grade/GradeText.h"
#include "drivetest/record/RecordedExtensions.h"
#include "drivetest/terminal/Language.h"

namespace drivetest {

namespace {

/// More than there are limits.
constexpr std::size_t kMost = 256;

/// 0 for none, where there may be none.
char letterOf(const Json& object) {
    const std::string text = recordedText(object, "grade");
    if (text.empty())
        return 0;
    if (text.size() != 1 || text[0] < kBestGrade || text[0] > kWorstGrade)
        throw faultOf("grade");
    return text[0];
}

RecordedGrade::Reason reasonOf(const Json& content) {
    RecordedGrade::Reason reason{letterOf(content),
                                 recordedText(content, "limit"),
                                 recordedNumber(content, "found"),
                                 recordedNumber(content, "allowed"),
                                 {}};
    if (reason.grade <= kBestGrade)
        throw faultOf("reasons");
    if (content.contains("sectors")) {
        const Json& first = content.at("sectors").at(0);
        const Json& last = content.at("sectors").at(1);
        if (!first.is_number_unsigned() || !last.is_number_unsigned())
            throw faultOf("sectors");
        reason.sectors.emplace(first.get<std::uint64_t>(), last.get<std::uint64_t>());
    }
    return reason;
}

}  // namespace

Json gradeJson(const RecordedGrade& grade) {
    const LanguageChange inEnglish("en");
    Json reasons = Json::array();
    for (const RecordedGrade::Reason& reason : grade.reasons) {
        Json each{{"grade", std::string(1, reason.grade)},
                  {"limit", reason.limit},
                  {"found", reason.found},
                  {"allowed", reason.allowed},
                  {"message", gradeReason(reason)}};
        if (reason.sectors)
            each["sectors"] = {reason.sectors->first, reason.sectors->second};
        reasons.push_back(std::move(each));
    }
    Json content{{"file", grade.file},
                 {"grade", grade.grade != 0 ? std::string(1, grade.grade) : std::string()},
                 {"reasons", std::move(reasons)},
                 {"unknown", grade.unknown}};
    if (!grade.problem.isEmpty())
        content["problem"] = grade.problem.utf8();
    return content;
}

RecordedGrade readGrade(const Json& content) {
    RecordedGrade grade;
    grade.file = recordedText(content, "file");
    grade.grade = letterOf(content);
    grade.problem = recordedText(content, "problem");
    const Json& reasons = content.at("reasons");
    const Json& unknown = content.at("unknown");
    if (!reasons.is_array() || !unknown.is_array() || reasons.size() > kMost || unknown.size() > kMost)
        throw faultOf("reasons");
    for (const Json& each : reasons)
        grade.reasons.push_back(reasonOf(each));
    for (const Json& each : unknown)
        grade.unknown.push_back(each.get<std::string>());
    return grade;
}

}  // namespace drivetest
