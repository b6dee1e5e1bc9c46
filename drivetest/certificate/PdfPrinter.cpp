#include "drivetest/certificate/PdfPrinter.h"

#include <fstream>
#include <iterator>
#include <vector>

#include "drivetest/run/ChildProcess.h"
#include "drivetest/run/TemporaryFolder.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::string contentOf(const std::string& path) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
}

bool isPdf(const std::string& content) {
    return content.starts_with("%PDF-");
}

/// What the program made; whatever is no PDF when it made none.
std::string printWith(const std::string& program, const std::vector<std::string>& arguments,
                      const std::string& output) {
    const ChildResult result = runChild(program, arguments);
    return result.status == 0 ? contentOf(output) : std::string();
}

std::string printByBrowser(const std::string& browser, const TemporaryFolder& folder, const std::string& page,
                           const std::string& output) {
    std::vector<std::string> arguments{"--headless",
                                       "--disable-gpu",
                                       "--no-first-run",
                                       "--disable-background-networking",
                                       "--user-data-dir=" + folder.pathOf("profile"),
                                       "--no-pdf-header-footer",
                                       "--print-to-pdf=" + output,
                                       page};
    std::string pdf = printWith(browser, arguments, output);
    if (isPdf(pdf))
        return pdf;
    // For root, and in containers, it has no sandbox; the page is the program's own and runs no script.
    arguments.insert(arguments.begin(), "--no-sandbox");
    return printWith(browser, arguments, output);
}

}  // namespace

std::string printPdf(std::string_view page, std::string& problem) {
    const std::string browser = findProgram(
        {"chromium", "chromium-browser", "google-chrome", "google-chrome-stable", "chrome", "msedge"});
    const std::string converter = findProgram({"weasyprint"});
    if (browser.empty() && converter.empty()) {
        problem =
            words("a PDF is made by Chromium or WeasyPrint, and neither was found: install one of them");
        return {};
    }
    const TemporaryFolder folder;
    const std::string source = folder.pathOf("page.html");
    const std::string output = folder.pathOf("page.pdf");
    std::ofstream file(zel::pathOf(source), std::ios::binary);
    file << page;
    file.close();
    std::string pdf;
    if (!folder.path().empty() && !file.fail() && !browser.empty())
        pdf = printByBrowser(browser, folder, source, output);
    if (!folder.path().empty() && !file.fail() && !isPdf(pdf) && !converter.empty())
        pdf = printWith(converter, {source, output}, output);
    if (isPdf(pdf))
        return pdf;
    problem = words("{program} made no PDF; print the certificate from a browser instead",
                    {{"program", printable(browser.empty() ? converter : browser)}});
    return {};
}

}  // namespace drivetest
