#pragma once

#include <cstdint>
#include <memory>

#include "DriveTestMMC.h"
#include "libDrive2/DeviceOpeners.h"
#include "libDrive2/ScsiMMCDrive.h"

namespace libDriveTest {

/// What an optical test asks for: a drive on this device.
struct MediumRequest {
    const DiagDevice& device;
    LIBDRIVE2_MEDIA_STATE& mediaState;  ///< tells in the end why there is no drive
    std::uint32_t openArgument1;        ///< of ScsiDevice::openScsiDevice(), unchanged
    std::uint32_t openArgument2;
};

/// Opens an optical drive and looks whether the medium in it is one that a test can use; asks the user for
/// another one until it is, or until there is no point in asking. Which media fit is for a derived class to
/// say, as is all in which the search differs between reading and recording tests.
class MediumSearch {
public:
    MediumSearch(const MediumSearch&) = delete;
    MediumSearch& operator=(const MediumSearch&) = delete;
    virtual ~MediumSearch() = default;

    /// True when a medium fits; its drive is the derived class's to hand out.
    bool run();

protected:
    /// What was found out about the medium in the drive.
    struct Medium {
        std::uint32_t profile = 0xFFFF;
        std::uint32_t capabilities = 0;  ///< libDrive2::MediaCapability
    };
    enum class Verdict : std::uint8_t {
        fits,
        unsupported,  ///< no class of drives, or not enough on it
        incorrect,    ///< not a medium for this test
    };

    MediumSearch(const MediumRequest& request, zel::Logger& logger);

    /// Whether the medium fits, and then makes the drive for it. May put a text in `message`, which is what
    /// the user is asked then.
    virtual Verdict examine(const Medium& medium, String& message) = 0;
    /// False ends the search before an attempt.
    virtual bool mayGoOn() { return true; }
    /// After the tray was opened, before the user is asked.
    virtual void beforePrompt() {}

    [[nodiscard]] static bool isAccepted(std::uint32_t profile);
    [[nodiscard]] libDrive2::ScsiMMCDrive& drive() const { return *m_drive; }
    [[nodiscard]] const libDrive2::SharedScsiPassThrough& handle() const { return m_handle; }
    /// Gives a drive, which may be null, the device's name.
    template <class DriveClass>
    std::unique_ptr<DriveClass> named(std::unique_ptr<DriveClass> drive) const {
        if (drive != nullptr)
            drive->name = m_device.name();
        return drive;
    }
    [[nodiscard]] bool mayPrompt() const { return m_mayPrompt; }
    /// Auto-run is switched on again when the search is over.
    void disableAutoRun();

    zel::Logger& m_logger;

private:
    void readSettings();
    bool open();
    bool repeat();
    void lookForMedium(bool isFirst);
    /// Sets the state that the medium deserves; true when it fits.
    bool judgeMedium(String& message);
    /// Whether the drive takes no commands: that is told, and set as the state.
    bool isLost();
    /// True when the user has put in another one.
    bool askForAnother(const String& message, std::uint32_t attempts);

    const DiagDevice& m_device;
    LIBDRIVE2_MEDIA_STATE& m_state;
    std::uint32_t m_openArgument1;
    std::uint32_t m_openArgument2;
    bool m_mayPrompt = false;
    bool m_doNotEject = false;
    bool m_alwaysEject = false;
    std::uint32_t m_maxTries = 0;
    bool m_autoRunOff = false;
    libDrive2::SharedScsiPassThrough m_handle;
    std::unique_ptr<libDrive2::ScsiMMCDrive> m_drive;
};

}  // namespace libDriveTest
