#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/html/HtmlWriter.h"
#include "drivetest/html/Tables.h"

namespace drivetest {

/// A table of drives. Its rows have an end, and can be sorted by each column where scripts run.
class FleetTable {
public:
    struct Link {
        std::string text;
        std::string target;
    };
    struct Cell {
        std::string text{};
        std::optional<double> number{};  ///< to sort by
        std::vector<Link> links{};       ///< instead of the text
    };

    FleetTable(HtmlWriter& html, const std::string& caption, std::vector<Table::Column> columns,
               std::size_t most);

    /// False when there are as many rows as there may be.
    [[nodiscard]] bool hasRoom() const { return m_rows < m_most; }
    /// The first cell names the row.
    void row(const std::vector<Cell>& cells);

private:
    void writeCell(const Cell& cell, bool isFirst, bool isNumber);

    HtmlWriter& m_html;
    std::vector<Table::Column> m_columns;
    Table m_table;
    std::size_t m_most;
    std::size_t m_rows = 0;
};

}  // namespace drivetest
