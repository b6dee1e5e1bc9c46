#pragma once

#include <map>
#include <memory>
#include <mutex>

#include "libDrive2/sim/SimMedium.h"
#include "libDrive2/sim/optical/OpticalDrive.h"
#include "zel/String.h"

namespace libDrive2 {

/// The file of a simulated drive's contents, by the lease on it if there is one. Null, with the reason noted,
/// when it does not open.
SharedBlockHandle openSimImage(const zel::String& path, std::uint32_t desiredAccess);

/// The simulated drives of this process, by locator. Handles that are open on the same locator at the same
/// time are handles of one drive: they share its contents, its faults' counts and its state, and are used by
/// one thread at a time. Null, with the reason noted, when the drive cannot be made. Any thread may ask.
class SimDrives {
public:
    static SimDrives& get();

    /// What the locator describes; parsed the first time that it is asked. Null when it is malformed; `error`
    /// then says what is wrong in one sentence.
    std::shared_ptr<const SimOptions> options(const zel::String& locator, zel::String& error);
    /// Of a drive of one of these kinds; `interface` is what they have in common.
    std::shared_ptr<SimMedium> medium(const zel::String& locator, std::uint32_t desiredAccess, SimKinds kinds,
                                      const char* interface);
    std::shared_ptr<OpticalDrive> optical(const zel::String& locator);

private:
    struct Drive {
        std::shared_ptr<const SimOptions> options;  ///< null: `problem` says why
        zel::String problem;
        std::weak_ptr<SimMedium> medium;
        std::shared_ptr<SimHealth> health;  ///< outlives the handles, as a drive's does
        std::weak_ptr<OpticalDrive> optical;
    };
    Drive& at(const zel::String& locator);

    std::recursive_mutex m_mutex;  // a backing file may be a simulated drive again
    std::map<zel::String, Drive> m_drives;
};

}  // namespace libDrive2
