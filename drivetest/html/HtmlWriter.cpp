#include "drivetest/html/HtmlWriter.h"

#include "drivetest/terminal/Texts.h"

namespace drivetest {

namespace {

constexpr std::size_t kPart = std::size_t{64} << 10;

const char* entityOf(char letter) {
    switch (letter) {
        case '&':
            return "&amp;";
        case '<':
            return "&lt;";
        case '>':
            return "&gt;";
        case '"':
            return "&quot;";
        case '\'':
            return "&#39;";
        default:
            return nullptr;
    }
}

/// In a script, "<" could begin the script's end or a comment; as an escape it cannot.
std::string scriptText(const Json& value) {
    const std::string plain = value.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string text;
    text.reserve(plain.size());
    for (const char letter : plain)
        if (letter == '<')
            text += "\\u003c";
        else
            text += letter;
    return text;
}

}  // namespace

std::string htmlText(std::string_view text) {
    const std::string shown = printable(text);
    std::string escaped;
    escaped.reserve(shown.size());
    for (const char letter : shown)
        if (const char* const entity = entityOf(letter))
            escaped += entity;
        else
            escaped += letter;
    return escaped;
}

void HtmlWriter::append(std::string_view part) {
    m_waiting += part;
    if (m_waiting.size() < kPart)
        return;
    m_isWhole = m_isWhole && m_sink(m_waiting);
    m_waiting.clear();
}

void HtmlWriter::begin(const char* tag, Attributes attributes) {
    append("<");
    append(tag);
    for (const Attribute& attribute : attributes) {
        append(" ");
        append(attribute.name);
        append("=\"");
        append(htmlText(attribute.value));
        append("\"");
    }
    append(">");
}

void HtmlWriter::end(const char* tag) {
    append("</");
    append(tag);
    append(">\n");
}

HtmlWriter::Element HtmlWriter::open(const char* tag, Attributes attributes) {
    begin(tag, attributes);
    return {*this, tag};
}

void HtmlWriter::element(const char* tag, std::string_view text, Attributes attributes) {
    begin(tag, attributes);
    append(htmlText(text));
    end(tag);
}

void HtmlWriter::text(std::string_view text) {
    append(htmlText(text));
}

void HtmlWriter::markup(std::string_view literal) {
    append(literal);
}

void HtmlWriter::data(const char* id, const Json& value) {
    begin("script", {{"type", "application/json"}, {"id", id}});
    append(scriptText(value));
    end("script");
}

bool HtmlWriter::finish() {
    m_isWhole = m_isWhole && m_sink(m_waiting);
    m_waiting.clear();
    return m_isWhole;
}

}  // namespace drivetest
