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

/// Where the text begins behind blanks, or behind a label that blanks follow; 0 without either.
std::size_t beginOfText(std::string_view text) {
    const std::size_t most = std::string_view(kSummaryIndent).size();
    const std::size_t label = std::min(text.find_first_not_of(' '), text.size());
    const std::size_t gap = text.find("  ", label);
    const std::size_t begin = gap < most ? text.find_first_not_of(' ', gap) : label;
    return begin <= most ? columnsOf(text.substr(0, begin)) : 0;
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

std::string eventLabel(std::string_view text) {
    return padded(text, std::string_view(kEventIndent).size());
}

std::string summaryLabel(std::string_view text) {
    return padded("  " + std::string(text), std::string_view(kSummaryIndent).size());
}

std::string brokenAtBlanks(std::string_view text, std::size_t columns) {
    const std::size_t indent = beginOfText(text);
    if (columnsOf(text) <= columns || columns < 2 * indent)
        return std::string(text);
    std::string lines;
    std::size_t used = 0;
    while (!text.empty()) {
        const std::size_t blanks = std::min(text.find_first_not_of(' '), text.size());
        const std::size_t end = std::min(text.find(' ', blanks), text.size());
        const std::size_t word = columnsOf(text.substr(blanks, end - blanks));
        if (used > indent && used + blanks + word > columns && word <= columns - indent) {
            lines += "\n" + std::string(indent, ' ') + std::string(text.substr(blanks, end - blanks));
            used = indent + word;
        } else {
            lines += text.substr(0, end);
            used += blanks + word;
            if (used > columns)  // the terminal has broken it
                used = (used - 1) % columns + 1;
        }
        text.remove_prefix(end);
    }
    return lines;
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

}  // namespace drivetest
