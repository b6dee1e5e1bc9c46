#pragma once

#include <chrono>
#include <optional>

#include "drivetest/health/HealthReading.h"
#include "quix5/DiagDevice.h"

namespace drivetest {

/// Asks a drive for its health: by smartctl, where that is installed and the drive is a real one, else by the
/// drive layer's own commands. Nothing for what has no health to tell: image files, partitions, floppies;
/// that takes no time. Else it blocks for as long as the drive takes to answer, with smartctl at most
/// `longest`. Not while the drive is tested.
std::optional<HealthReading> readHealth(const quix5::DiagDevice& device,
                                        std::chrono::milliseconds longest = std::chrono::seconds(10));

}  // namespace drivetest
