#include "drivetest/terminal/ProgressText.h"

#include <algorithm>

#include "drivetest/terminal/Columns.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::counted;
using zel::words;

constexpr std::size_t kGap = 2;
/// So many rows of what is not essential are shown at most.
constexpr std::size_t kMostRows = 3;

/// "0.043 %" at the beginning of a large drive, "42 %" later; never rounded up to 100.
std::string percentText(const ProgressMeter& meter) {
    const double percent = meter.share() * 100;
    constexpr double kOfBinary = 1e-9;  // what 0.29 lacks
    return percent > 0 && percent < 10
               ? words("{percent} %", {{"percent", decimalText(percent, percent < 0.1 ? 3
                                                                        : percent < 1 ? 2
                                                                                      : 1)}})
               : words("{percent} %", {{"percent", static_cast<int>(percent + kOfBinary)}});
}

std::string rateText(const ProgressMeter& meter) {
    const auto now = meter.rateNow();
    const auto mean = meter.rateMean();
    return now && mean ? words("{now} MB/s (mean {mean})",
                               {{"now", decimalText(*now, 1)}, {"mean", decimalText(*mean, 1)}})
                       : "";
}

Emphasis ifAny(std::uint64_t count, Emphasis emphasis) {
    return count > 0 ? emphasis : Emphasis::none;
}

void addIfAny(StatusRow& pieces, const std::string& text, Emphasis emphasis = Emphasis::none) {
    if (!text.empty())
        pieces.push_back({printable(text), emphasis});
}

StatusRow essentials(const Progress& progress) {
    const ProgressSnapshot& now = progress.now;
    StatusRow pieces;
    addIfAny(pieces, now.stopping, Emphasis::warning);
    addIfAny(pieces, percentText(progress.meter), Emphasis::strong);
    if (const auto left = progress.meter.left())
        addIfAny(pieces, words("{time} left", {{"time", forecastText(*left)}}));
    addIfAny(pieces, counted(now.errors, "{n} error", "{n} errors"), ifAny(now.errors, Emphasis::bad));
    addIfAny(pieces, rateText(progress.meter));
    if (now.position)
        addIfAny(pieces, words("sector {lba}", {{"lba", *now.position}}));
    return pieces;
}

StatusRow others(const Progress& progress) {
    const ProgressSnapshot& now = progress.now;
    StatusRow pieces;
    addIfAny(pieces, counted(now.warnings, "{n} warning", "{n} warnings"),
             ifAny(now.warnings, Emphasis::warning));
    addIfAny(pieces, durationText(progress.elapsed));
    if (now.temperature)
        addIfAny(pieces, words("{n} °C", {{"n", *now.temperature}}));
    addIfAny(pieces, now.activity);
    addIfAny(pieces, progress.title, Emphasis::faint);
    return pieces;
}

/// The surface from end to end; what is bad also differs from what is good without colours.
StatusRow strip(const std::vector<LiveOutcome>& surface) {
    StatusRow row;
    for (std::size_t i = 0; i < surface.size();) {
        const LiveOutcome outcome = surface[i];
        StatusPiece piece{"", outcome == LiveOutcome::bad    ? Emphasis::bad
                              : outcome == LiveOutcome::good ? Emphasis::good
                                                             : Emphasis::faint};
        for (; i < surface.size() && surface[i] == outcome; ++i)
            piece.text += outcome == LiveOutcome::bad ? "X" : outcome == LiveOutcome::good ? "■" : "·";
        row.push_back(std::move(piece));
    }
    return row;
}

/// Lays pieces out in rows, each piece in one of them.
class Layout {
public:
    explicit Layout(std::size_t width) : m_width(width) {}

    void add(const StatusPiece& piece) {
        const std::size_t columns = columnsOf(piece.text);
        if (m_rows.empty() || (m_used > 0 && m_used + kGap + columns > m_width))
            beginRow();
        put(piece.text, piece.emphasis);
    }

    /// What does not fit into the row, and would begin one too many, is shortened.
    void addIfRoom(const StatusPiece& piece) {
        constexpr std::size_t kLeast = 8;
        const std::size_t columns = columnsOf(piece.text);
        const std::size_t room = m_width - std::min(m_width, m_used + kGap);
        if (columns <= room || m_rows.size() < kMostRows)
            add(piece);
        else if (room >= kLeast)
            put(shortened(piece.text, room), piece.emphasis);
    }

    [[nodiscard]] StatusRows take() { return std::move(m_rows); }

private:
    void beginRow() {
        m_rows.emplace_back();
        m_used = 0;
    }

    void put(const std::string& text, Emphasis emphasis) {
        if (m_used > 0)
            m_rows.back().push_back({std::string(kGap, ' '), Emphasis::none});
        m_used += m_used > 0 ? kGap : 0;
        m_rows.back().push_back({shortened(text, m_width - m_used), emphasis});
        m_used += columnsOf(m_rows.back().back().text);
    }

    std::size_t m_width;
    std::size_t m_used = 0;
    StatusRows m_rows;
};

}  // namespace

StatusRows progressRows(const Progress& progress, std::size_t width) {
    Layout layout(width);
    for (const StatusPiece& piece : essentials(progress))
        layout.add(piece);
    for (const StatusPiece& piece : others(progress))
        layout.addIfRoom(piece);
    StatusRows rows = layout.take();
    if (const std::vector<LiveOutcome>& surface = progress.now.surface;
        width > surface.size() && !surface.empty())
        rows.push_back(strip(surface));
    return rows;
}

std::string progressLine(const Progress& progress) {
    std::string line = progress.title;
    StatusRow pieces = essentials(progress);
    for (StatusPiece& piece : others(progress))
        pieces.push_back(std::move(piece));
    pieces.pop_back();  // the title
    for (const StatusPiece& piece : pieces)
        line += std::string(kGap, ' ') + piece.text;
    return line;
}

}  // namespace drivetest
