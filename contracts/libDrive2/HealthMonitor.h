#pragma once

#include <cstdint>
#include <memory>
#include <optional>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/DriveHealth.h"
#include "quix5/DiagDevice.h"
#include "zel/Export.h"

namespace libDrive2 {

/// How far the drive's own test is.
struct SelfTestState {
    DeviceStatus status{};  ///< whether the drive told
    bool isRunning = false;
    /// Part that is done, 0 to 100; nothing where the drive does not tell.
    std::optional<unsigned> percent{};
    /// The newest entry of its log; nothing where it has none.
    std::optional<SelfTestEntry> newest{};
};

/// What the attributes of an ATA drive say, into the numbers: those whose meaning vendors agree upon.
DRIVETEST_API void takeAttributeMeanings(DriveHealth& health);

/// Asks a drive for its health by its own commands, and has it test itself. No command of it moves user data
/// or changes settings; one that the drive refuses leaves its part empty. Each call blocks for as long as its
/// commands take: some milliseconds, longer while a motor starts. One thread at a time.
class DRIVETEST_API HealthMonitor {
public:
    /// Null when the device takes no commands that could tell of it: an image file, a partition, a medium
    /// that can be changed, a bridge without ATA commands.
    static std::unique_ptr<HealthMonitor> open(const quix5::DiagDevice& device);
    /// Whether open() would look for it at all; sends nothing.
    static bool isFor(const quix5::DiagDevice& device);

    virtual ~HealthMonitor() = default;

    virtual DriveHealth read() = 0;
    /// Degrees Celsius: that part of read() alone.
    virtual std::optional<std::int64_t> readTemperature() = 0;
    /// The part of read() that other programs do not tell.
    virtual HiddenAreas readHiddenAreas() { return {}; }

    /// The drive tests itself while it goes on serving commands; the call returns at once.
    virtual DeviceStatus startSelfTest(SelfTestKind kind) = 0;
    virtual SelfTestState selfTestState() = 0;
    virtual DeviceStatus abortSelfTest() = 0;
    /// How long it expects to take; nothing where it does not tell.
    virtual std::optional<std::uint32_t> selfTestMinutes(SelfTestKind /*kind*/) { return std::nullopt; }
};

}  // namespace libDrive2
