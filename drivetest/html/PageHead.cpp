#include "drivetest/html/PageHead.h"

#include <random>

#include "zel/Format.h"

namespace drivetest {

std::string makeNonce() {
    std::random_device random;
    std::string nonce;
    for (int i = 0; i < 4; ++i)
        nonce += zel::format("%08x", random()).utf8();
    return nonce;
}

void writePageHead(HtmlWriter& html, const std::string& title, std::initializer_list<std::string_view> styles,
                   const std::string& nonce) {
    const auto head = html.open("head");
    html.markup("<meta charset=\"utf-8\">\n");
    html.markup("<meta http-equiv=\"Content-Security-Policy\" content=\"default-src 'none'; ");
    if (!nonce.empty()) {
        html.markup("script-src 'nonce-");
        html.text(nonce);
        html.markup("'; ");
    }
    html.markup("style-src 'unsafe-inline'; base-uri 'none'; form-action 'none'\">\n");
    html.markup("<meta name=\"viewport\" content=\"width=device-width, initial-scale=1\">\n");
    html.markup("<meta name=\"color-scheme\" content=\"light dark\">\n");
    html.element("title", title);
    html.markup("<style>\n");
    for (const std::string_view style : styles)
        html.markup(style);
    html.markup("</style>\n");
}

void writeScript(HtmlWriter& html, std::string_view script, const std::string& nonce) {
    html.markup("<script nonce=\"");
    html.text(nonce);
    html.markup("\">\n");
    html.markup(script);
    html.markup("</script>\n");
}

}  // namespace drivetest
