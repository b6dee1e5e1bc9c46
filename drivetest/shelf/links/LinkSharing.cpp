#include "drivetest/shelf/links/LinkSharing.h"

#include <exception>

#include "drivetest/record/SharingJson.h"

namespace drivetest {

std::string describeSharing(const LinkSharing& link) {
    std::string text =
        link.isFull
            ? zel::words(
                  "{n} drives share {link}, which carries {rate} MB/s: at most {most} of them at once, so "
                  "that none is slowed by the others",
                  {{"n", link.drives},
                   {"link", link.name},
                   {"rate", link.megabytesPerSecond},
                   {"most", link.atOnce}})
            : zel::words("{n} drives share {link}, which carries them all at once",
                         {{"n", link.drives}, {"link", link.name}});
    if (link.moved > 0)
        text += "; " + zel::words("{rate} MB/s were measured on it at most", {{"rate", link.moved}});
    return text;
}

std::string sharingLine(const std::vector<LinkSharing>& links) {
    return sharingJson(links).dump(-1, ' ', true, Json::error_handler_t::replace);
}

std::optional<std::vector<LinkSharing>> readSharingLine(std::string_view line) {
    try {
        return readSharingJson(Json::parse(line));
    } catch (const std::exception&) {  // of the parser, or of what a record would not hold
        return std::nullopt;
    }
}

}  // namespace drivetest
