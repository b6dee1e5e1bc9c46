#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/BlockHandle.h"
#include "libDrive2/DeviceDescription.h"
#include "libDrive2/DeviceLease.h"
#include "libDrive2/DeviceLockingManager.h"
#include "libDrive2/NVMeDevice.h"
#include "libDrive2/ScsiPassThrough.h"
#include "zel/Words.h"

namespace libDrive2 {

/// Keeps why an open failed for lastOpenErrorStr(), and logs it at priority 4.
void noteOpenError(const zel::Wording& text);

/// Why no system has a block interface for a drive of such sectors.
zel::Wording whyNotShown(std::uint32_t sectorBytes);

/// Where devices come from: an operating system, or the simulation. A provider knows what its locators name,
/// and opens it; openers, leases and guards ask of() for the one that owns a locator. Openers keep why they
/// fail with noteOpenError() and give null. Any thread may call; all that opens may block as long as the
/// system's open does.
class DeviceProvider {
public:
    virtual ~DeviceProvider() = default;

    /// Lives as long as the process. The operating system's owns whatever no other does.
    static DeviceProvider& of(const zel::String& locator);
    /// The operating system's; defined in its folder.
    static DeviceProvider& system();

    [[nodiscard]] virtual bool owns(const zel::String& locator) const = 0;
    [[nodiscard]] virtual bool isSimulated() const { return false; }
    [[nodiscard]] virtual bool skipsTime(const zel::String& /*locator*/) const { return false; }
    /// See describeDevice().
    virtual bool describe(const zel::String& locator, DeviceDescription& description, zel::String& error) = 0;

    /// `desiredAccess` and `shareMode` are those of DeviceOpeners.h.
    virtual std::unique_ptr<BlockHandle> openBlock(const zel::String& locator, std::uint32_t desiredAccess,
                                                   std::uint32_t shareMode) = 0;
    /// Without kAccessWrite, commands that write are not delivered.
    virtual std::unique_ptr<ScsiPassThrough> openScsi(const zel::String& locator,
                                                      std::uint32_t desiredAccess) = 0;
    /// By another way than the device's own path, where there is one.
    virtual std::unique_ptr<ScsiPassThrough> openScsiObject(const zel::String& locator, bool writable) = 0;
    virtual std::unique_ptr<AtaDevice> openAta(const zel::String& locator) = 0;
    virtual std::unique_ptr<NVMeDevice> openNVMe(const zel::String& locator) = 0;

    /// Opens nothing yet.
    virtual std::unique_ptr<DeviceLockingManager::Volumes> volumes(const zel::String& locator) = 0;
    /// See DeviceLease::take().
    virtual std::unique_ptr<DeviceLease> take(const zel::String& locator, LeasePurpose purpose,
                                              DeviceStatus& failure) = 0;
    /// See DeviceLease::listLocators(); of those that are there without being asked for.
    virtual zel::Array<zel::String> listLocators() = 0;
};

}  // namespace libDrive2
