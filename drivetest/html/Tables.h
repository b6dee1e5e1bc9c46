#pragma once

#include <string>
#include <vector>

#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// A section of the page, which ends with this; its heading names it.
class Section {
public:
    Section(HtmlWriter& html, const char* id, const std::string& heading);

private:
    HtmlWriter::Element m_element;
};

/// A table that scrolls by itself where the page is too narrow for it.
class Table {
public:
    struct Column {
        std::string heading;
        bool isNumber = false;
    };

    Table(HtmlWriter& html, const std::string& caption, std::vector<Column> columns);
    ~Table();
    Table(const Table&) = delete;
    Table& operator=(const Table&) = delete;

    /// The first cell names the row.
    void row(const std::vector<std::string>& cells);

private:
    HtmlWriter& m_html;
    std::vector<Column> m_columns;
};

/// A list of names with what they stand for; a pair whose value is empty is left out.
class Facts {
public:
    explicit Facts(HtmlWriter& html);

    void add(const std::string& name, const std::string& value);

private:
    HtmlWriter& m_html;
    HtmlWriter::Element m_element;
};

}  // namespace drivetest
