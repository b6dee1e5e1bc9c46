#include "drivetest/record/SharingJson.h"

#include <cstddef>

#include "drivetest/record/RecordedExtensions.h"

namespace drivetest {

namespace {

/// More than any machine has one behind the other.
constexpr std::size_t kMostLinks = 64;

}  // namespace

Json sharingJson(const std::vector<LinkSharing>& links) {
    Json list = Json::array();
    for (const LinkSharing& link : links) {
        Json each{{"name", link.name.utf8()},
                  {"drives", link.drives},
                  {"atOnce", link.atOnce},
                  {"waited", link.isFull}};
        if (link.megabytesPerSecond > 0)
            each["megabytesPerSecond"] = link.megabytesPerSecond;
        if (link.moved > 0)
            each["measured"] = link.moved;
        list.push_back(std::move(each));
    }
    return {{"links", std::move(list)}};
}

std::vector<LinkSharing> readSharingJson(const Json& content) {
    std::vector<LinkSharing> links;
    for (const Json& each : content.at("links"))
        if (links.size() < kMostLinks) {
            LinkSharing link;
            link.name = recordedText(each, "name");
            link.drives = recordedCount(each, "drives");
            link.atOnce = recordedCount(each, "atOnce");
            link.isFull = each.at("waited").get<bool>();
            link.megabytesPerSecond = recordedCount(each, "megabytesPerSecond");
            link.moved = recordedCount(each, "measured");
            links.push_back(std::move(link));
        }
    return links;
}

}  // namespace drivetest
