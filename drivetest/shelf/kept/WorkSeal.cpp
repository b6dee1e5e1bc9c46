#include "drivetest/shelf/kept/WorkSeal.h"

namespace drivetest {

namespace {

constexpr std::string_view kBegin = ",\"sha256\":\"";
constexpr std::string_view kEnd = "\"}";
constexpr std::size_t kDigits = 64;
constexpr std::size_t kSealBytes = kBegin.size() + kDigits + kEnd.size();

std::string digestOf(Sha256 before, std::string_view object) {
    before.add(object);
    return before.hexDigest();
}

}  // namespace

std::string WorkSeal::seal(const Json& object) {
    const std::string text = object.dump(-1, ' ', false, Json::error_handler_t::replace);
    std::string line = text.substr(0, text.size() - 1);
    line.append(kBegin).append(digestOf(m_digest, text)).append(kEnd).append("\n");
    m_digest.add(line);
    return line;
}

std::optional<Json> WorkSeal::open(std::string_view line) {
    if (line.size() < kSealBytes)
        return std::nullopt;
    const std::string_view seal = line.substr(line.size() - kSealBytes);
    const std::string object = std::string(line.substr(0, line.size() - kSealBytes)) + "}";
    if (!seal.starts_with(kBegin) || !seal.ends_with(kEnd) ||
        seal.substr(kBegin.size(), kDigits) != digestOf(m_digest, object))
        return std::nullopt;
    Json parsed = Json::parse(object, nullptr, false);
    if (!parsed.is_object())
        return std::nullopt;
    m_digest.add(line);
    m_digest.add("\n");
    return parsed;
}

}  // namespace drivetest
