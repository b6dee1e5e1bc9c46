#pragma once

#include <functional>
#include <initializer_list>
#include <string>
#include <string_view>

#include "drivetest/record/Json.h"

namespace drivetest {

/// Writes a page of HTML piece by piece. All that is written comes through here, and nothing but markup()
/// goes out as it is given: texts of drives and files are hostile.
class HtmlWriter {
public:
    /// Takes the next part of the page; false when that failed.
    using Sink = std::function<bool(std::string_view part)>;
    struct Attribute {
        const char* name;
        std::string value{};
    };
    using Attributes = std::initializer_list<Attribute>;

    /// An element that ends with this.
    class Element {
    public:
        Element(HtmlWriter& html, const char* tag) : m_html(html), m_tag(tag) {}
        ~Element() { m_html.end(m_tag); }
        Element(const Element&) = delete;
        Element& operator=(const Element&) = delete;

    private:
        HtmlWriter& m_html;
        const char* m_tag;
    };

    explicit HtmlWriter(Sink sink) : m_sink(std::move(sink)) {}

    [[nodiscard]] Element open(const char* tag, Attributes attributes = {});
    /// An element that holds a text.
    void element(const char* tag, std::string_view text, Attributes attributes = {});
    void text(std::string_view text);
    /// Markup of the program's own.
    void markup(std::string_view literal);
    /// Data for scripts, which find it by its id.
    void data(const char* id, const Json& value);

    /// Gives out what is left. False when a part could not be written.
    [[nodiscard]] bool finish();

private:
    void begin(const char* tag, Attributes attributes);
    void end(const char* tag);
    void append(std::string_view part);

    Sink m_sink;
    std::string m_waiting;
    bool m_isWhole = true;
};

/// Text of any origin as HTML: what a terminal would not show is visible, and nothing is markup, neither
/// between tags nor in the value of an attribute.
std::string htmlText(std::string_view text);

}  // namespace drivetest
