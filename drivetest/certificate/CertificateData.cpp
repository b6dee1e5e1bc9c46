#include "drivetest/certificate/CertificateData.h"

#include "drivetest/record/Json.h"

namespace drivetest {

namespace {

constexpr const char* kId = "certificate-data";
/// No text of a drive can be this: its quotes and brackets would be escaped.
constexpr std::string_view kBegin = "<script type=\"application/json\" id=\"certificate-data\">";
constexpr std::string_view kEnd = "</script>";
constexpr std::size_t kDigits = 64;

std::string textAt(const Json& data, const char* name) {
    const auto found = data.find(name);
    return found != data.end() && found->is_string() ? found->get<std::string>() : std::string();
}

bool isDigest(const std::string& text) {
    return text.size() == kDigits && text.find_first_not_of("0123456789abcdef") == std::string::npos;
}

}  // namespace

void CertificateData::write(HtmlWriter& html) const {
    html.data(kId, {{"record", record}, {"sha256", sha256}, {"version", version}, {"language", language}});
}

std::optional<CertificateData> CertificateData::of(std::string_view page) {
    const auto begin = page.find(kBegin);
    if (begin == std::string_view::npos)
        return {};
    page.remove_prefix(begin + kBegin.size());
    const Json data = Json::parse(page.substr(0, page.find(kEnd)), nullptr, false);
    if (!data.is_object())
        return {};
    CertificateData found{textAt(data, "record"), textAt(data, "sha256"), textAt(data, "version"),
                          textAt(data, "language")};
    if (!isDigest(found.sha256))
        return {};
    return found;
}

}  // namespace drivetest
