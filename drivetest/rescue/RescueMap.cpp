#include "drivetest/rescue/RescueMap.h"

#include <algorithm>
#include <charconv>
#include <limits>
#include <optional>

#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/ReadFile.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using libDrive2::SectorSpan;
using zel::words;
using Block = RescueMap::Block;
using Status = RescueMap::Status;

constexpr std::string_view kStatuses = "?*/-+";
/// What ddrescue is doing: copying what was not tried, and so on, or that all is done.
constexpr std::string_view kActivities = "?*/-FG+";

std::string hexadecimal(std::uint64_t number) {
    std::string digits(18, '0');
    const auto end = std::to_chars(digits.data(), digits.data() + digits.size(), number, 16).ptr;
    digits.resize(static_cast<std::size_t>(end - digits.data()));
    std::ranges::transform(digits, digits.begin(),
                           [](char c) { return c >= 'a' ? static_cast<char>(c - 32) : c; });
    return "0x" + std::string(digits.size() < 8 ? 8 - digits.size() : 0, '0') + digits;
}

/// The words of one line, and where each begins.
class Line {
public:
    Line(std::string_view text, std::size_t number) : m_text(text), m_number(number) { skipBlanks(); }

    [[nodiscard]] bool isAtEnd() const { return m_at == m_text.size() || m_text[m_at] == '#'; }
    /// Decimal, or hexadecimal behind "0x".
    std::optional<std::uint64_t> number() {
        const std::string_view word = take();
        const bool isHexadecimal = word.starts_with("0x") || word.starts_with("0X");
        const std::string_view digits = word.substr(isHexadecimal ? 2 : 0);
        std::uint64_t value = 0;
        const auto [end, error] =
            std::from_chars(digits.data(), digits.data() + digits.size(), value, isHexadecimal ? 16 : 10);
        if (digits.empty() || error != std::errc() || end != digits.data() + digits.size())
            return std::nullopt;
        return value;
    }
    std::optional<char> oneOf(std::string_view characters) {
        const std::string_view word = take();
        return word.size() == 1 && characters.find(word[0]) != std::string_view::npos ? std::optional(word[0])
                                                                                      : std::nullopt;
    }
    /// "line 3, column 7: ..." of the word that was taken last.
    [[nodiscard]] std::string fault(const std::string& what) const { return faultAt(m_word, what); }
    /// The same of the next word.
    [[nodiscard]] std::string excess() const { return faultAt(m_at, words("this does not belong here")); }

private:
    [[nodiscard]] std::string faultAt(std::size_t at, const std::string& what) const {
        return words("line {line}, column {column}: {fault}",
                     {{"line", m_number}, {"column", at + 1}, {"fault", what}});
    }
    std::string_view take() {
        m_word = m_at;
        m_at = std::min(m_text.find_first_of(" \t\r", m_at), m_text.size());
        const std::string_view word = m_text.substr(m_word, m_at - m_word);
        skipBlanks();
        return word;
    }
    void skipBlanks() { m_at = std::min(m_text.find_first_not_of(" \t\r", m_at), m_text.size()); }

    std::string_view m_text;
    std::size_t m_number;
    std::size_t m_at = 0;
    std::size_t m_word = 0;
};

/// The first line that is no comment: where ddrescue is, what it does, and for how many times.
bool readActivity(Line& line, std::string& error) {
    if (!line.number())
        error = line.fault(words("a position in bytes is missing"));
    else if (!line.oneOf(kActivities))
        error =
            line.fault(words("one of {characters} is missing", {{"characters", std::string(kActivities)}}));
    else if (!line.isAtEnd() && !line.number())
        error = line.fault(words("this does not belong here"));
    else if (!line.isAtEnd())
        error = line.excess();
    return error.empty();
}

bool readBlock(Line& line, RescueMap& map, std::string& error) {
    const std::uint64_t expected =
        map.blocks.empty() ? 0 : map.blocks.back().position + map.blocks.back().size;
    const auto position = line.number();
    if (!position) {
        error = line.fault(words("a position in bytes is missing"));
        return false;
    }
    if (!map.blocks.empty() && *position != expected) {
        error = line.fault(
            words("the block before it ends at {position}", {{"position", hexadecimal(expected)}}));
        return false;
    }
    const auto size = line.number();
    if (!size || *size > std::numeric_limits<std::uint64_t>::max() - *position) {
        error = line.fault(words("a size in bytes is missing"));
        return false;
    }
    const auto status = line.oneOf(kStatuses);
    if (!status)
        error = line.fault(words("one of {characters} is missing", {{"characters", std::string(kStatuses)}}));
    else if (!line.isAtEnd())
        error = line.excess();
    else
        map.blocks.push_back({*position, *size, static_cast<Status>(*status)});
    return error.empty();
}

void append(std::vector<Block>& blocks, std::uint64_t end, Status status) {
    const std::uint64_t begin = blocks.empty() ? 0 : blocks.back().position + blocks.back().size;
    if (end <= begin)
        return;
    if (!blocks.empty() && blocks.back().status == status)
        blocks.back().size += end - begin;
    else
        blocks.push_back({begin, end - begin, status});
}

}  // namespace

std::string RescueMap::text(std::string_view title) const {
    const bool isDone =
        std::ranges::none_of(blocks, [](const Block& block) { return block.status == Status::notTried; });
    std::string text = "# " + std::string(title) +
                       "\n# current_pos  current_status  current_pass\n0x00000000     " +
                       (isDone ? "+" : "?") + "               1\n#      pos        size  status\n";
    for (const Block& block : blocks)
        text += hexadecimal(block.position) + "  " + hexadecimal(block.size) + "  " +
                static_cast<char>(block.status) + "\n";
    return text;
}

std::vector<SectorSpan> RescueMap::unfinished(std::uint32_t sectorBytes) const {
    std::vector<SectorSpan> spans;
    for (const Block& block : blocks) {
        if (block.status == Status::finished || block.size == 0)
            continue;
        const std::uint64_t first = block.position / sectorBytes;
        const std::uint64_t last = (block.position + block.size - 1) / sectorBytes;
        if (!spans.empty() && first <= spans.back().lba + spans.back().count)
            spans.back().count = last + 1 - spans.back().lba;
        else
            spans.push_back({first, last + 1 - first});
    }
    return spans;
}

bool readRescueMap(std::string_view text, RescueMap& map, std::string& error) {
    map.blocks.clear();
    bool hasActivity = false;
    for (std::size_t number = 1; !text.empty(); ++number) {
        const std::size_t end = std::min(text.find('\n'), text.size());
        Line line(text.substr(0, end), number);
        text.remove_prefix(std::min(end + 1, text.size()));
        if (line.isAtEnd())
            continue;
        if (!(hasActivity ? readBlock(line, map, error) : readActivity(line, error)))
            return false;
        hasActivity = true;
    }
    if (map.blocks.empty())
        error = words("it has no blocks");
    return error.empty();
}

bool loadRescueMap(const std::string& path, RescueMap& map, std::string& error) {
    const auto text = zel::readFile(zel::pathOf(path));
    if (!text) {
        error = words("{file} does not exist, or cannot be read", {{"file", printable(path)}});
        return false;
    }
    if (readRescueMap(*text, map, error))
        return true;
    error =
        words("{file} is no mapfile of GNU ddrescue: {fault}", {{"file", printable(path)}, {"fault", error}});
    return false;
}

RescueMap makeRescueMap(const std::vector<SectorSpan>& good, const std::vector<SectorSpan>& bad,
                        std::uint64_t sectors, std::uint32_t sectorBytes) {
    RescueMap map;
    auto next = good.begin();
    const auto appendGood = [&](std::uint64_t until) {
        for (; next != good.end() && next->lba < until; ++next) {
            append(map.blocks, next->lba * sectorBytes, Status::notTried);
            append(map.blocks, std::min(next->lba + next->count, until) * sectorBytes, Status::finished);
            if (next->lba + next->count > until)
                return;
        }
    };
    for (const SectorSpan& span : bad) {
        appendGood(span.lba);
        append(map.blocks, span.lba * sectorBytes, Status::notTried);
        append(map.blocks, (span.lba + span.count) * sectorBytes, Status::bad);
    }
    appendGood(sectors);
    append(map.blocks, sectors * sectorBytes, Status::notTried);
    return map;
}

}  // namespace drivetest
