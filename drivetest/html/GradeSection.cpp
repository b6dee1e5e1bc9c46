#include "drivetest/grade/GradeText.h"
#include "drivetest/html/Sections.h"
#include "drivetest/html/Tables.h"
#include "zel/Words.h"

namespace drivetest {

void writeGrade(HtmlWriter& html, const RecordedRun& run) {
    if (!run.grade)
        return;
    const Section section(html, "grade", zel::words("Grade"));
    html.element("p", gradeLine(*run.grade));
    const auto list = html.open("ul");
    for (const std::string& reason : gradeReasons(*run.grade))
        html.element("li", reason);
}

}  // namespace drivetest
