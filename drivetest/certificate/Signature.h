#pragma once

#include <string>
#include <string_view>

namespace drivetest {

/// Signatures by ssh-keygen, for the purpose "drivetest": people have such keys, and know how to keep them.

/// The signature of a text; empty after a sentence in `problem`.
std::string makeSignature(std::string_view text, const std::string& key, std::string& problem);

/// Whose signature is wanted; nobody's when it is empty.
struct Signer {
    std::string allowedSigners;  ///< a file of ssh-keygen's
    std::string identity;
};

struct SignatureCheck {
    bool isGood = false;
    std::string key;      ///< the fingerprint of a good one's
    std::string problem;  ///< a sentence, when it could not be checked
};
/// Checks the signature of a text in a file, and whether it is the signer's where one is given.
SignatureCheck checkSignature(std::string_view text, const std::string& signatureFile, const Signer& signer);

}  // namespace drivetest
