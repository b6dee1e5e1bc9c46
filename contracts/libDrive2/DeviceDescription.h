#pragma once

#include <cstdint>

#include "quix5/DiagDevice.h"
#include "zel/Export.h"
#include "zel/String.h"
#include "zel/Words.h"

namespace libDrive2 {

/// What a device is, as far as those know who open it; the inventory of the system's drives knows more of
/// those.
struct DeviceDescription {
    quix5::DeviceCapability capabilities;
    zel::String model, serial, firmware;  ///< empty where nothing is told
    std::uint64_t bytes = 0;              ///< 0 without a medium, or where only the inventory knows
    std::uint32_t sectorBytes = 0;        ///< 0 where only the inventory knows
    std::uint8_t protectionType = 0;      ///< of SCSI protection information beside the sectors; 0 none
    /// Why the system has no block interface for it; empty where it has one.
    zel::Wording whyNotShown{};
};

/// Whether the locator is that of a model, whose time is zel::Clock's. Opens nothing.
DRIVETEST_API bool isSimulated(const zel::String& locator);

/// Whether a wait for the device needs to take no time: a zel::SkippingClock may be installed. Opens nothing.
DRIVETEST_API bool skipsTime(const zel::String& locator);

/// What follows "sim:" in locators: kinds, keys and media, in lines of at most 90 columns.
DRIVETEST_API zel::String describeSimulatedLocators();

/// False when the locator cannot be that of a device; `error` then says why.
DRIVETEST_API bool describeDevice(const zel::String& locator, DeviceDescription& description,
                                  zel::String& error);

/// The security feature set of an ATA drive (ACS-4, IDENTIFY DEVICE word 128).
struct AtaSecurity {
    bool supported = false;
    bool passwordSet = false;
    bool locked = false;
};

/// Asks the device; false when it is no ATA device or does not answer. Blocks until it has.
DRIVETEST_API bool readAtaSecurity(const quix5::DiagDevice& device, AtaSecurity& security);

}  // namespace libDrive2
