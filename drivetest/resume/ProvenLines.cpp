#include "drivetest/resume/ProvenLines.h"

#include <cstdint>

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/record/Sha256.h"

namespace drivetest {

namespace {

/// What of a line decides; the rest is read only of what is proven.
enum class LineKind : std::uint8_t { damaged, other, progress, end };

LineKind kindOf(const Json& line) {
    if (!line.is_object())
        return LineKind::damaged;
    if (line.contains("testRunArtifact") && line["testRunArtifact"].contains("testRunEnd"))
        return LineKind::end;
    const auto progress = Json::json_pointer("/testStepArtifact/extension/name");
    return line.contains(progress) && line[progress] == "progress" ? LineKind::progress : LineKind::other;
}

/// Whether the line has the digest of all before it and of itself.
bool isProof(const Sha256& before, std::string_view line, const Json& parsed) {
    const auto place = Json::json_pointer("/testStepArtifact/extension/content/sha256");
    if (!parsed.contains(place) || !parsed[place].is_string())
        return false;
    const auto told = parsed[place].get<std::string>();
    const std::size_t at = line.rfind(told);
    if (told.size() != RecordWriter::kNoDigest.size() || at == std::string_view::npos)
        return false;
    Sha256 digest = before;
    digest.add(line.substr(0, at));
    digest.add(RecordWriter::kNoDigest);
    digest.add(line.substr(at + told.size()));
    digest.add("\n");
    return digest.hexDigest() == told;
}

}  // namespace

ProvenLines findProven(std::string_view record) {
    ProvenLines proven;
    Sha256 digest;
    std::size_t number = 0;
    for (std::size_t begin = 0, end = 0; (end = record.find('\n', begin)) != std::string_view::npos;
         begin = end + 1) {
        ++number;
        const std::string_view line = record.substr(begin, end - begin);
        const Json parsed = Json::parse(line, nullptr, false);
        const LineKind kind = kindOf(parsed);
        proven.hasEnded = proven.hasEnded || kind == LineKind::end;
        proven.hasProgress = proven.hasProgress || kind == LineKind::progress;
        const bool isProven = kind == LineKind::progress && isProof(digest, line, parsed);
        digest.add(record.substr(begin, end + 1 - begin));
        if (isProven) {
            proven.bytes = end + 1;
            proven.damaged = 0;
            proven.sha256 = Sha256(digest).hexDigest();
        } else if ((kind == LineKind::damaged || kind == LineKind::progress) && proven.damaged == 0) {
            proven.damaged = number;
        }
    }
    return proven;
}

}  // namespace drivetest
