#include "drivetest/certificate/PdfPrinter.h"

#include <fstream>
#include <utility>
#include <vector>

#include "drivetest/run/ChildProcess.h"
#include "drivetest/run/TemporaryFolder.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/ReadFile.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

std::string contentOf(const std::string& path) {
    return zel::readFile(zel::pathOf(path)).value_or("");
}

bool isPdf(const std::string& content) {
    return content.starts_with("%PDF-");
}

/// One page for all the programs that may print it.
class Printing {
public:
    Printing(std::string_view page, std::chrono::seconds longest) : m_longest(longest) {
        std::ofstream file(zel::pathOf(m_source), std::ios::binary);
        file << page;
        file.close();
        m_isReady = !m_folder.path().empty() && !file.fail();
        if (!m_isReady)
            m_problem = words("no PDF was made: nothing can be written to the folder for temporary files");
    }

    void byBrowser(const std::string& browser) {
        std::vector<std::string> arguments{"--headless",
                                           "--disable-gpu",
                                           "--no-first-run",
                                           "--disable-background-networking",
                                           "--user-data-dir=" + m_folder.pathOf("profile"),
                                           "--no-pdf-header-footer",
                                           "--print-to-pdf=" + m_output,
                                           m_source};
        with(browser, arguments);
        // For root, and in containers, it has no sandbox; the page is the program's own and runs no script.
        arguments.insert(arguments.begin(), "--no-sandbox");
        with(browser, arguments);
    }
    void byConverter(const std::string& converter) { with(converter, {m_source, m_output}); }

    [[nodiscard]] std::string& pdf() { return m_pdf; }
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    /// Not once there is a PDF, or a program that does not come to an end.
    void with(const std::string& program, const std::vector<std::string>& arguments) {
        if (!m_isReady || !m_pdf.empty() || isLate(program))
            return;
        const ChildResult result =
            runChild(program, arguments, {.longest = m_longest, .temporaryFolder = m_folder.path()});
        m_problem =
            result.end == ChildResult::End::tooLate
                ? words(
                      "{program} was not done with the PDF after {n} seconds and was ended; try again, or "
                      "print the certificate from a browser instead",
                      {{"program", printable(program)}, {"n", m_longest.count()}})
                : words("{program} made no PDF; print the certificate from a browser instead",
                        {{"program", printable(program)}});
        if (result.end == ChildResult::End::tooLate)
            m_late = program;
        if (result.status == 0)
            m_pdf = contentOf(m_output);
        if (!isPdf(m_pdf))
            m_pdf.clear();
    }
    [[nodiscard]] bool isLate(const std::string& program) const { return m_late == program; }

    TemporaryFolder m_folder;
    std::string m_source = m_folder.pathOf("page.html");
    std::string m_output = m_folder.pathOf("page.pdf");
    std::chrono::seconds m_longest;
    bool m_isReady = false;
    std::string m_late;  ///< the program that was ended
    std::string m_pdf;
    std::string m_problem;
};

}  // namespace

std::string printPdf(std::string_view page, std::string& problem, std::chrono::seconds longest) {
    const std::string browser = findProgram(
        {"chromium", "chromium-browser", "google-chrome", "google-chrome-stable", "chrome", "msedge"});
    const std::string converter = findProgram({"weasyprint"});
    if (browser.empty() && converter.empty()) {
        problem =
            words("a PDF is made by Chromium or WeasyPrint, and neither was found: install one of them");
        return {};
    }
    Printing printing(page, longest);
    if (!browser.empty())
        printing.byBrowser(browser);
    if (!converter.empty())
        printing.byConverter(converter);
    if (printing.pdf().empty())
        problem = printing.problem();
    return std::move(printing.pdf());
}

}  // namespace drivetest
