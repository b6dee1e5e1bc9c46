#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "drivetest/html/HtmlWriter.h"

namespace drivetest {

/// What a certificate holds for programs: which record it was made from, and by what.
struct CertificateData {
    std::string record{};   ///< the name of its file, without folders
    std::string sha256{};   ///< of that file, hexadecimal
    std::string version{};  ///< of the program that made the certificate
    std::string language{};

    void write(HtmlWriter& html) const;
    /// Nothing where the page is no certificate.
    [[nodiscard]] static std::optional<CertificateData> of(std::string_view page);
};

}  // namespace drivetest
