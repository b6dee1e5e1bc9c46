#include <fstream>
#include <iostream>
#include <optional>
#include <string>
#include <vector>

#include "drivetest/ExitStatus.h"
#include "drivetest/certificate/CertificateData.h"
#include "drivetest/certificate/CertificatePage.h"
#include "drivetest/certificate/Signature.h"
#include "drivetest/commands/Commands.h"
#include "drivetest/record/RecordReader.h"
#include "drivetest/record/Sha256.h"
#include "drivetest/terminal/Console.h"
#include "drivetest/terminal/Language.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

/// No certificate is longer by far.
constexpr std::size_t kLongestCertificate = std::size_t{1} << 20;
constexpr std::size_t kBlock = std::size_t{256} << 10;

/// What was checked, one after the other.
struct Findings {
    bool allHold = true;
    std::string text{};     ///< what holds and what does not
    std::string problem{};  ///< a sentence, when something could not be checked

    void add(bool holds, const std::string& clause) {
        allHold = allHold && holds;
        text += (text.empty() ? "" : "; ") + clause;
    }
};

struct Certificate {
    std::string page;
    CertificateData data;
};

std::optional<std::string> contentOf(const std::string& path, std::size_t most) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    std::string content(most, '\0');
    file.read(content.data(), static_cast<std::streamsize>(most));
    content.resize(static_cast<std::size_t>(file.gcount()));
    return file.bad() || content.empty() ? std::nullopt : std::optional(std::move(content));
}

std::optional<Certificate> readCertificate(const std::string& path, std::string& problem) {
    std::optional<std::string> page = contentOf(path, kLongestCertificate);
    if (!page) {
        problem = words("{file} does not exist, or cannot be read", {{"file", printable(path)}});
        return {};
    }
    std::optional<CertificateData> data = CertificateData::of(*page);
    if (!data) {
        problem = words("{file} is no certificate of a drive test", {{"file", printable(path)}});
        return {};
    }
    return Certificate{std::move(*page), std::move(*data)};
}

/// Of a file's bytes, whatever they are; empty when it cannot be read.
std::string digestOf(const std::string& path) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    Sha256 digest;
    std::vector<char> block(kBlock);
    while (file.read(block.data(), static_cast<std::streamsize>(block.size())), file.gcount() > 0)
        digest.add({block.data(), static_cast<std::size_t>(file.gcount())});
    return file.is_open() && file.eof() ? digest.hexDigest() : std::string();
}

/// The certificate that this program makes of the record, in the language of the other.
std::string makeAgain(RecordedRun run, const CertificateData& data) {
    run.file = data.record;
    const LanguageChange change(data.language);
    return makeCertificate(run, data.sha256);
}

void checkText(const Certificate& certificate, const std::string& record, Findings& findings) {
    const std::optional<RecordedRun> run = readRecord(record, findings.problem);
    if (!run)
        return;
    if (certificate.data.version != DRIVETEST_VERSION)
        findings.add(true, words("its text was not compared with the record, for version {version} of the "
                                 "program made it",
                                 {{"version", printable(certificate.data.version)}}));
    else if (makeAgain(*run, certificate.data) == certificate.page)
        findings.add(true, words("it says what the record says"));
    else
        findings.add(false, words("it was changed: it does not say what the record says"));
}

void checkRecord(const Certificate& certificate, const std::string& record, Findings& findings) {
    const std::string digest = digestOf(record);
    if (digest.empty()) {
        findings.problem = words("{file} does not exist, or cannot be read", {{"file", printable(record)}});
        return;
    }
    const std::string shown = printable(record);
    if (digest != certificate.data.sha256) {
        findings.add(false, words("{record} is not the record it was made from, or was changed since",
                                  {{"record", shown}}));
        return;
    }
    findings.add(true, words("{record} is the record it was made from", {{"record", shown}}));
    checkText(certificate, record, findings);
}

void checkSigner(const Certificate& certificate, const VerifyOptions& options, Findings& findings) {
    const std::string file = options.certificate + ".sig";
    if (!zel::pathExists(file)) {
        if (!options.allowedSigners.empty())
            findings.add(false, words("it is not signed"));
        return;
    }
    const SignatureCheck check =
        checkSignature(certificate.page, file, {options.allowedSigners, options.identity});
    if (!check.problem.empty())
        findings.problem = check.problem;
    else if (options.allowedSigners.empty() && check.isGood)
        findings.add(true,
                     words("the signature is good, made with the key {key}; whose that is was not checked",
                           {{"key", check.key}}));
    else if (options.allowedSigners.empty())
        findings.add(false, words("the signature is not of this certificate"));
    else if (check.isGood)
        findings.add(true, words("the signature is good and that of {signer}",
                                 {{"signer", printable(options.identity)}}));
    else
        findings.add(false, words("the signature is not one of {signer} for this certificate",
                                  {{"signer", printable(options.identity)}}));
}

}  // namespace

int verifyCertificate(const VerifyOptions& options) {
    Findings findings;
    const std::optional<Certificate> certificate = readCertificate(options.certificate, findings.problem);
    if (certificate && !options.record.empty())
        checkRecord(*certificate, options.record, findings);
    if (certificate && findings.problem.empty())
        checkSigner(*certificate, options, findings);
    const std::string file = printable(options.certificate);
    if (findings.problem.empty() && findings.text.empty())
        findings.problem =
            words("{file} is not signed, so name the record it was made from", {{"file", file}});
    if (!findings.problem.empty()) {
        complain(findings.problem);
        return kExitUsage;
    }
    std::cout << (findings.allHold
                      ? words("{file} holds: {findings}", {{"file", file}, {"findings", findings.text}})
                      : words("{file} does not hold: {findings}",
                              {{"file", file}, {"findings", findings.text}}))
              << '\n';
    return findings.allHold ? kExitPass : kExitFail;
}

}  // namespace drivetest
