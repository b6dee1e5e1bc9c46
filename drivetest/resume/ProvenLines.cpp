#include "drivetest/resume/ProvenLines.h"

#include <algorithm>
#include <cstdint>

#include "drivetest/record/Json.h"
#include "drivetest/record/RecordWriter.h"
#include "drivetest/record/Sha256.h"

namespace drivetest {

namespace {

/// What is longer, or has more lists, is no line of a record: as a tree of values it could fill the memory.
constexpr std::size_t kLongestLine = std::size_t{32} << 20;
constexpr std::ptrdiff_t kMostLists = 1 << 20;

/// What of a line decides; the rest is read only of what is proven.
enum class LineKind : std::uint8_t { damaged, other, progress, end, verdict };

/// Discarded when it is none.
Json parse(std::string_view line) {
    const auto lists = std::ranges::count_if(line, [](char c) { return c == '[' || c == '{'; });
    return line.size() > kLongestLine || lists > kMostLists ? Json(Json::value_t::discarded)
                                                            : Json::parse(line, nullptr, false);
}

/// A run that was stopped, or could not go on, has an end, too.
bool tellsVerdict(const Json& end) {
    return !end.is_object() || !end.contains("status") || end["status"] == "COMPLETE";
}

LineKind kindOf(const Json& line) {
    if (!line.is_object())
        return LineKind::damaged;
    if (line.contains("testRunArtifact") && line["testRunArtifact"].contains("testRunEnd"))
        return tellsVerdict(line["testRunArtifact"]["testRunEnd"]) ? LineKind::verdict : LineKind::end;
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
        const Json parsed = parse(line);
        const LineKind kind = kindOf(parsed);
        proven.hasEnded = proven.hasEnded || kind == LineKind::end || kind == LineKind::verdict;
        proven.hasVerdict = proven.hasVerdict || kind == LineKind::verdict;
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
