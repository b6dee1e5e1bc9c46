#pragma once

#include <vector>

#include "drivetest/record/Json.h"
#include "drivetest/shelf/links/LinkSharing.h"

namespace drivetest {

/// The extension "sharedLinks": what the drives of a shelf have in common, and how many of them were tested
/// at once.
Json sharingJson(const std::vector<LinkSharing>& links);
/// Throws Json::exception of what has another form.
std::vector<LinkSharing> readSharingJson(const Json& content);

}  // namespace drivetest
