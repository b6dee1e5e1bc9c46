#include "drivetest/html/Tables.h"

#include <utility>

namespace drivetest {

Section::Section(HtmlWriter& html, const char* id, const std::string& heading)
    : m_element(html.open("section", {{"id", id}, {"aria-labelledby", std::string(id) + "-heading"}})) {
    html.element("h2", heading, {{"id", std::string(id) + "-heading"}});
}

Table::Table(HtmlWriter& html, const std::string& caption, std::vector<Column> columns)
    : m_html(html), m_columns(std::move(columns)) {
    html.markup("<div class=\"scroll\" tabindex=\"0\" role=\"region\" aria-label=\"");
    html.text(caption);
    html.markup("\"><table>\n");
    html.element("caption", caption);
    html.markup("<thead><tr>");
    for (const Column& column : m_columns)
        html.element("th", column.heading,
                     {{"scope", "col"}, {"class", column.isNumber ? "number" : "text"}});
    html.markup("</tr></thead>\n<tbody>\n");
}

Table::~Table() {
    m_html.markup("</tbody></table></div>\n");
}

void Table::row(const std::vector<std::string>& cells) {
    const auto line = m_html.open("tr");
    for (std::size_t i = 0; i < cells.size(); ++i) {
        const char* const kind = m_columns.at(i).isNumber ? "number" : "text";
        if (i == 0)
            m_html.element("th", cells[i], {{"scope", "row"}, {"class", kind}});
        else
            m_html.element("td", cells[i], {{"class", kind}});
    }
}

Facts::Facts(HtmlWriter& html) : m_html(html), m_element(html.open("dl")) {}

void Facts::add(const std::string& name, const std::string& value) {
    if (value.empty())
        return;
    const auto pair = m_html.open("div");
    m_html.element("dt", name);
    m_html.element("dd", value);
}

}  // namespace drivetest
