#include "drivetest/terminal/Columns.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace drivetest {

namespace {

struct Range {
    char32_t first;
    char32_t last;
};
/// With what lies between them: too few columns would be worse than too many.
constexpr Range kWide[] = {{0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},  {0x23E9, 0x23F3},
                           {0x25FD, 0x25FE},   {0x2614, 0x27BF},   {0x2B1B, 0x2B55},  {0x2E80, 0x303E},
                           {0x3041, 0x4DBF},   {0x4E00, 0xA4CF},   {0xA960, 0xA97C},  {0xAC00, 0xD7A3},
                           {0xF900, 0xFAFF},   {0xFE10, 0xFE6F},   {0xFF00, 0xFF60},  {0xFFE0, 0xFFE6},
                           {0x16FE0, 0x1B2FB}, {0x1F004, 0x1FAFF}, {0x20000, 0x3FFFD}};
constexpr Range kSetAbove[] = {{0x0300, 0x036F}, {0x20D0, 0x20F0}, {0xFE00, 0xFE0F}, {0xFE20, 0xFE2F}};

template <std::size_t N>
bool isIn(const Range (&ranges)[N], char32_t character) {
    return std::any_of(std::begin(ranges), std::end(ranges), [character](const Range& range) {
        return character >= range.first && character <= range.last;
    });
}

bool continues(char byte) {
    return (static_cast<unsigned char>(byte) & 0xC0) == 0x80;
}

/// The bytes of the first character, and what it takes. The text is not empty.
std::pair<std::size_t, std::size_t> firstOf(std::string_view text) {
    std::size_t bytes = 1;
    auto character = static_cast<char32_t>(static_cast<unsigned char>(text.front()));
    if (character >= 0xC0)
        character &= character >= 0xF0 ? 0x07U : character >= 0xE0 ? 0x0FU : 0x1FU;
    for (; bytes < text.size() && continues(text[bytes]); ++bytes)
        character = character << 6 | (static_cast<unsigned char>(text[bytes]) & 0x3FU);
    return {bytes, isIn(kWide, character) ? 2 : isIn(kSetAbove, character) ? 0 : 1};
}

/// Where the last character begins. The text is not empty.
std::size_t beginOfLast(std::string_view text) {
    std::size_t at = text.size() - 1;
    while (at > 0 && continues(text[at]))
        --at;
    return at;
}

bool isAmong(std::string_view characters, std::string_view one) {
    return characters.find(one) != std::string_view::npos;
}

/// Whether a line may end behind what is before, and go on with the next character.
bool mayBreakBetween(std::string_view before, std::string_view next) {
    constexpr std::string_view kOpening = "([{（「『《“«";
    constexpr std::string_view kClosing =
        ".,;:!?)]}、。，；：！？）」』》”»%ーぁぃぅぇぉっゃゅょァィゥェォッャュョ";
    if (next == " " || isAmong(kClosing, next))  // in French blanks stand before some
        return false;
    const std::string_view last = before.substr(beginOfLast(before));
    if (last == " ")
        return !before.ends_with("« ");
    const bool isWide = firstOf(last).second == 2 || firstOf(next).second == 2;
    return isWide && !isAmong(kOpening, last);
}

std::string withoutBlanksAtEnd(std::string_view line) {
    return std::string(line.substr(0, line.find_last_not_of(' ') + 1));
}

void foldLine(std::string_view line, std::size_t columns, std::vector<std::string>& lines) {
    std::size_t breakAt = 0;  // where the next line may begin; 0 for nowhere
    for (std::size_t at = 0; at < line.size();) {
        const std::string_view next = line.substr(at, firstOf(line.substr(at)).first);
        if (at > 0 && mayBreakBetween(line.substr(0, at), next))
            breakAt = at;
        at += next.size();
        if (breakAt == 0 || next == " " || columnsOf(line.substr(0, at)) <= columns)
            continue;
        lines.push_back(withoutBlanksAtEnd(line.substr(0, breakAt)));
        line.remove_prefix(breakAt);
        at -= breakAt;
        breakAt = 0;
    }
    lines.push_back(withoutBlanksAtEnd(line));
}

/// How many bytes stand before the text: blanks, or a label that blanks follow or that ends with ":".
std::size_t beginOfText(std::string_view text) {
    constexpr std::size_t kLongestLabel = 24;
    const std::size_t label = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t gap = std::min(text.find("  ", label), text.find(": ", label));
    if (gap > kLongestLabel || text.find_first_of(' ', label) + 1 < gap)  // French has a blank before ":"
        return label;
    return std::min(text.find_first_not_of(' ', gap + 1), text.size());
}

}  // namespace

std::size_t columnsOf(std::string_view text) {
    std::size_t columns = 0;
    while (!text.empty()) {
        const auto [bytes, taken] = firstOf(text);
        columns += taken;
        text.remove_prefix(bytes);
    }
    return columns;
}

std::string padded(std::string_view text, std::size_t columns) {
    const std::size_t taken = columnsOf(text);
    return std::string(text) + std::string(columns > taken ? columns - taken : 1, ' ');
}

std::string shortened(std::string_view text, std::size_t columns) {
    if (columnsOf(text) <= columns)
        return std::string(text);
    if (columns == 0)
        return {};
    std::size_t used = 0;
    std::size_t kept = 0;
    while (true) {
        const auto [bytes, taken] = firstOf(text.substr(kept));
        if (used + taken > columns - 1)
            return std::string(text.substr(0, kept)) + "…";
        used += taken;
        kept += bytes;
    }
}

std::vector<std::string> folded(std::string_view text, std::size_t columns) {
    std::vector<std::string> lines;
    while (true) {
        const std::size_t end = text.find('\n');
        foldLine(text.substr(0, end), columns, lines);
        if (end == std::string_view::npos)
            return lines;
        text.remove_prefix(end + 1);
    }
}

std::string foldedBehindLabel(std::string_view text, std::size_t columns) {
    const std::size_t begin = beginOfText(text);
    const std::size_t indent = columnsOf(text.substr(0, begin));
    if (columnsOf(text) <= columns || columns < 2 * indent)
        return std::string(text);
    std::string result(text.substr(0, begin));
    for (const std::string& line : folded(text.substr(begin), columns - indent))
        result += (result.size() == begin ? "" : "\n" + std::string(indent, ' ')) + line;
    return result;
}

std::string withBreaksMarked(std::string_view text, std::string_view mark) {
    std::string result;
    while (!text.empty()) {
        const std::string_view next = text.substr(0, firstOf(text).first);
        if (!result.empty() && !result.ends_with(' ') && mayBreakBetween(result, next))
            result += mark;
        result += next;
        text.remove_prefix(next.size());
    }
    return result;
}

}  // namespace drivetest
