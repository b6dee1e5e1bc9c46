#include <list>
#include <optional>
#include <string>

#include "drivetest/ExitStatus.h"
#include "drivetest/certificate/CertificatePage.h"
#include "drivetest/certificate/PdfPrinter.h"
#include "drivetest/certificate/Signature.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/findings/Verdict.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/record/Sha256.h"
#include "drivetest/run/NewFile.h"
#include "drivetest/run/Signals.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Texts.h"
#include "quix5/StopRequest.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// Files of which either all come to be or none.
class NewFiles {
public:
    explicit NewFiles(bool mayReplace) : m_mayReplace(mayReplace) {}

    /// Before anything is made, so that a place where nothing can be written is told at once.
    [[nodiscard]] bool open(const std::string& path) {
        m_files.emplace_back(path, m_mayReplace);
        return noted(m_files.back().open());
    }
    /// In the order in which they were opened.
    [[nodiscard]] bool keep(const std::list<std::string>& contents) {
        auto content = contents.begin();
        for (NewFile& file : m_files) {
            if (content == contents.end() || !noted(file, file.write(*content)))
                return false;
            ++content;
        }
        for (NewFile& file : m_files)
            if (!noted(file, file.keep()))
                return false;
        return true;
    }
    [[nodiscard]] const std::string& problem() const { return m_problem; }

private:
    bool noted(bool done) { return noted(m_files.back(), done); }
    bool noted(const NewFile& file, bool done) {
        m_problem = done ? "" : file.problem();
        return done;
    }

    bool m_mayReplace;
    std::list<NewFile> m_files;
    std::string m_problem;
};

/// Where one file would take another's place; empty when none does.
std::string findClash(const CertificateOptions& options) {
    for (const std::string& file : {options.output, options.pdf})
        if (!file.empty() && zel::isSameFile(options.record, file))
            return words("{file} is the record itself: name another file for the certificate",
                         {{"file", printable(file)}});
    const std::string signature = options.output + ".sig";
    if (options.pdf == options.output || options.pdf == signature)
        return words("{file} is named for the PDF, and is another file of the certificate: name another one",
                     {{"file", printable(options.pdf)}});
    if (options.key.empty() && zel::pathExists(signature))
        return words("{file} is the signature of another certificate: delete it, or give --sign",
                     {{"file", printable(signature)}});
    return {};
}

/// The page; empty after a sentence in `problem`.
std::string certify(const std::string& record, std::string& problem) {
    Sha256 digest;
    std::optional<RecordedRun> run = readRecord(record, problem, &digest);
    if (!run)
        return {};
    if (const zel::Wording obstacle = obstacleToVerdict(*run); !obstacle.isEmpty()) {
        problem = words("{file} gets no certificate: {reason}",
                        {{"file", printable(record)}, {"reason", printable(obstacle.shown().utf8())}});
        return {};
    }
    run->file = zel::textOf(zel::pathOf(record).filename());
    return makeCertificate(*run, digest.hexDigest());
}

/// False after a sentence in `problem`.
bool makeFiles(const CertificateOptions& options, std::string& problem) {
    problem = findClash(options);
    if (!problem.empty())
        return false;
    std::list<std::string> contents{certify(options.record, problem)};
    if (contents.front().empty())
        return false;
    const std::string page = contents.front();
    stopOnSignals();  // from here on something would stay behind
    NewFiles files(options.replaceOutput);
    bool isOpen = files.open(options.output);
    if (isOpen && !options.key.empty())
        isOpen = files.open(options.output + ".sig");
    if (isOpen && !options.pdf.empty())
        isOpen = files.open(options.pdf);
    if (isOpen && !options.key.empty())
        contents.push_back(makeSignature(page, options.key, problem));
    if (isOpen && problem.empty() && !options.pdf.empty())
        contents.push_back(printPdf(page, problem));
    if (quix5::StopRequest::made())
        problem = words("stopped; no certificate was made");
    if (!problem.empty())
        return false;
    if (!isOpen || !files.keep(contents))
        problem = files.problem();
    return problem.empty();
}

}  // namespace

int writeCertificate(const CertificateOptions& options) {
    std::string problem;
    if (makeFiles(options, problem))
        return kExitPass;
    complain(problem);
    return quix5::StopRequest::made() ? kExitUserAborted : kExitUsage;
}

}  // namespace drivetest
