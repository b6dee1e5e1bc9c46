#include "drivetest/terminal/Labels.h"

#include <algorithm>
#include <initializer_list>

#include "drivetest/terminal/Columns.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::marked;

constexpr auto kEventLabels = {marked("error:"), marked("warning:"), marked("info:"), marked("note:")};
constexpr auto kSummaryLabels = {marked("sectors"), marked("positions"), marked("read"),   marked("written"),
                                 marked("bad"),     marked("slow"),      marked("health"), marked("reported"),
                                 marked("record"),  marked("report")};
constexpr std::string_view kSummaryMargin = "  ";

/// With the blank behind the longest.
std::size_t widthOf(std::initializer_list<const char*> labels) {
    std::size_t width = 0;
    for (const char* const label : labels)
        width = std::max(width, columnsOf(zel::words(label)));
    return width + 1;
}

std::size_t summaryWidth() {
    return kSummaryMargin.size() + widthOf(kSummaryLabels);
}

}  // namespace

std::string eventLabel(const std::string& text) {
    return padded(text, widthOf(kEventLabels));
}

std::string eventIndent() {
    return std::string(widthOf(kEventLabels), ' ');
}

std::string summaryLabel(const std::string& text) {
    return padded(std::string(kSummaryMargin) + text, summaryWidth());
}

std::string summaryIndent() {
    return std::string(summaryWidth(), ' ');
}

}  // namespace drivetest
