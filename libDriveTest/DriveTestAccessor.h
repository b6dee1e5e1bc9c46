#pragma once

#include <cstdint>
#include <vector>

#include "zel/Export.h"
#include "zel/String.h"

namespace libDriveTest {

/// Ways to reach a device, as search orders name them.
enum DRIVE_IMPLEMENTATIONS : std::uint32_t {
    DRIVE_IMPLEMENTATION_END = 0,  ///< ends a search order
    DRIVE_IMPLEMENTATION_ATA = 1,
    DRIVE_IMPLEMENTATION_SCSI_SBC = 2,
    DRIVE_IMPLEMENTATION_SCSI_MMC = 3,
    DRIVE_IMPLEMENTATION_USB_UFI = 4,
    DRIVE_IMPLEMENTATION_OS_FLOPPY = 5,
    DRIVE_IMPLEMENTATION_OS = 6,
    DRIVE_IMPLEMENTATION_OS_SCSI_SBC = 7,
    DRIVE_IMPLEMENTATION_NVME = 8,
};

/// A search order: access methods in the order in which to try them. A value type; its text form is
/// "DriveTestSearchOrder" and ":N" for each method.
class DRIVETEST_API DriveTestAccessor {
public:
    /// Copies the order up to and including its terminating 0; null gives an empty accessor.
    explicit DriveTestAccessor(const DRIVE_IMPLEMENTATIONS* order);

    /// Replaces the order by the text's. After a failure, which is logged, the order is the one before or a
    /// part of the text's, ended by 0. Numbers are not checked: an unknown one is passed over when it is
    /// tried.
    bool deserialize(const zel::String& text);
    [[nodiscard]] zel::String toString() const;
    /// The first of the entries, of which the last is 0; null for an empty accessor.
    [[nodiscard]] const DRIVE_IMPLEMENTATIONS* getSearchOrder() const { return m_order.data(); }

    /// Without ATA and NVMe, which are used only when an order names them.
    static const DRIVE_IMPLEMENTATIONS* getDefaultSearchOrder();
    /// The device property that carries a device's own order.
    static const char* getPropertyName();

private:
    std::vector<DRIVE_IMPLEMENTATIONS> m_order;
};

}  // namespace libDriveTest
