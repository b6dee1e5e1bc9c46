#pragma once

#include <string>
#include <utility>

#include "drivetest/record/RecordWriter.h"
#include "drivetest/record/StatisticsJson.h"

namespace drivetest {

/// What a record has of a surface.
inline Json writtenSurface(const SurfaceMap& surface) {
    std::string written;
    RecordWriter writer([&written](const std::string& line) { written = line; });
    SurfaceJson json = surfaceJson(surface);
    writer.writeStep("extension", std::move(json.content), json.lists);
    return Json::parse(written).at("testStepArtifact").at("extension");
}

}  // namespace drivetest
