#include "drivetest/fleet/FleetTable.h"

#include <utility>

#include "drivetest/fleet/RunResult.h"
#include "zel/Format.h"

namespace drivetest {

FleetTable::FleetTable(HtmlWriter& html, const std::string& caption, std::vector<Table::Column> columns,
                       std::size_t most)
    : m_html(html), m_columns(std::move(columns)), m_table(html, caption, m_columns), m_most(most) {}

void FleetTable::row(const std::vector<Cell>& cells) {
    ++m_rows;
    const auto line = m_html.open("tr");
    for (std::size_t i = 0; i < cells.size(); ++i)
        writeCell(cells[i], i == 0, m_columns.at(i).isNumber);
}

void FleetTable::writeCell(const Cell& cell, bool isFirst, bool isNumber) {
    const char* const kind = isNumber ? "number" : "text";
    if (isFirst)
        return m_html.element("th", shortText(cell.text), {{"scope", "row"}, {"class", kind}});
    if (cell.number)
        return m_html.element("td", cell.text,
                              {{"class", kind}, {"data-value", zel::format("%.6g", *cell.number).utf8()}});
    if (cell.links.empty())
        return m_html.element("td", shortText(cell.text), {{"class", kind}});
    const auto element = m_html.open("td", {{"class", kind}});
    for (const Link& link : cell.links) {
        m_html.element("a", shortText(link.text), {{"href", link.target}});
    }
}

}  // namespace drivetest
