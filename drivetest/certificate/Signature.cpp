#include "drivetest/certificate/Signature.h"

#include <chrono>
#include <fstream>
#include <utility>
#include <vector>

#include "drivetest/run/ChildProcess.h"
#include "drivetest/terminal/Texts.h"
#include "zel/Path.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using zel::words;

constexpr const char* kPurpose = "drivetest";
/// For a passphrase, or a touch of the key.
constexpr std::chrono::minutes kTimeToSign{2};
constexpr std::chrono::minutes kTimeToCheck{1};

bool canRead(const std::string& path) {
    std::ifstream file(zel::pathOf(path), std::ios::binary);
    return file.is_open() && (file.peek(), file.good());
}

std::string unreadable(const std::string& path) {
    return words("{file} does not exist, or cannot be read", {{"file", printable(path)}});
}

/// Where ssh-keygen is; empty after a sentence.
std::string findTool(std::string& problem) {
    std::string tool = findProgram({"ssh-keygen"});
    if (tool.empty())
        problem =
            words("ssh-keygen, which makes and checks signatures, is missing: install OpenSSH's client");
    return tool;
}

/// What a program said last is why it gave up.
std::string lastLine(const std::string& text) {
    const auto end = text.find_last_not_of("\r\n");
    if (end == std::string::npos)
        return {};
    const auto begin = text.find_last_of("\r\n", end);
    const std::size_t first = begin == std::string::npos ? 0 : begin + 1;
    return printable(std::string_view(text).substr(first, end + 1 - first));
}

std::string fingerprintIn(const std::string& said) {
    const auto begin = said.find("SHA256:");
    return begin == std::string::npos ? std::string()
                                      : said.substr(begin, said.find_first_of(" \r\n", begin) - begin);
}

std::string reasonOf(const ChildResult& result, std::chrono::minutes longest) {
    if (result.end == ChildResult::End::tooLate)
        return words(
            "ssh-keygen was not done after {n} min; if the key has a passphrase or wants to be touched, "
            "hand it to ssh-agent first (ssh-add)",
            {{"n", longest.count()}});
    if (result.errors.find("passphrase") != std::string::npos)
        return words(
            "its passphrase was not given, or is wrong; type it when ssh-keygen asks for it on the "
            "terminal, or hand the key to ssh-agent first (ssh-add)");
    const std::string last = lastLine(result.errors);
    return last.empty() ? words("ssh-keygen does not say why") : last;
}

}  // namespace

std::string makeSignature(std::string_view text, const std::string& key, std::string& problem) {
    if (!canRead(key)) {
        problem = unreadable(key);
        return {};
    }
    const std::string tool = findTool(problem);
    if (tool.empty())
        return {};
    ChildResult result = runChild(tool, {"-q", "-Y", "sign", "-n", kPurpose, "-f", key},
                                  {.input = text, .longest = kTimeToSign, .mayAsk = true});
    if (result.status == 0 && result.output.starts_with("-----BEGIN SSH SIGNATURE-----"))
        return std::move(result.output);
    problem = words("nothing can be signed with {key}: {reason}",
                    {{"key", printable(key)}, {"reason", reasonOf(result, kTimeToSign)}});
    return {};
}

SignatureCheck checkSignature(std::string_view text, const std::string& signatureFile, const Signer& signer) {
    SignatureCheck check;
    for (const std::string& file : {signatureFile, signer.allowedSigners})
        if (!file.empty() && !canRead(file)) {
            check.problem = unreadable(file);
            return check;
        }
    const std::string tool = findTool(check.problem);
    if (tool.empty())
        return check;
    std::vector<std::string> arguments{"-Y", "check-novalidate", "-n", kPurpose, "-s", signatureFile};
    if (!signer.allowedSigners.empty())
        arguments = {"-Y", "verify",        "-n", kPurpose,     "-f", signer.allowedSigners,
                     "-I", signer.identity, "-s", signatureFile};
    const ChildResult result = runChild(tool, arguments, {.input = text, .longest = kTimeToCheck});
    if (result.end != ChildResult::End::byItself)
        check.problem = words("{program} could not be run: {reason}",
                              {{"program", "ssh-keygen"}, {"reason", reasonOf(result, kTimeToCheck)}});
    check.isGood = result.status == 0;
    check.key = check.isGood ? printable(fingerprintIn(result.output + result.errors)) : std::string();
    return check;
}

}  // namespace drivetest
