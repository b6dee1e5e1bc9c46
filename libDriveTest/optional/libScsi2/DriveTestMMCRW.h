#pragma once

#include <memory>

#include "DriveTestMMC.h"
#include "libDrive2/RecordableDrive.h"
#include "zel/Export.h"

namespace libDriveTest {

using libDrive2::RecordableDrive;
using SharedRecordableDrive = zel::SharedPointer<RecordableDrive>;

/// Which media the test is for.
enum MMCRW_TEST : std::uint32_t {
    MMCRW_ANY_RECORDABLE = 0,
    MMCRW_REWRITABLE = 1,  ///< rewritable ones and those of the plus formats
};

/// Base of the optical tests that write to the medium.
class DRIVETEST_API DriveTestMMCRW : public DriveTestMMC {
public:
    explicit DriveTestMMCRW(RecordableDrive& tested);
    explicit DriveTestMMCRW(SharedRecordableDrive tested);
    DriveTestMMCRW(const DriveTestMMCRW& other) = default;
    ~DriveTestMMCRW() override;

    /// A drive of the class that the medium's profile needs, or nothing when no medium fits; `mediaState`
    /// tells why. Asks the user for media, and blocks meanwhile.
    static SharedRecordableDrive createDrive(const DiagDevice& device, LIBDRIVE2_MEDIA_STATE& mediaState,
                                             MMCRW_TEST test, std::uint32_t openArgument1,
                                             std::uint32_t openArgument2);

protected:
    static void init(Test& test);
    /// The drive of the class for the medium that is in it now; null when there is none. Asks nobody.
    static std::unique_ptr<RecordableDrive> lookAt(const DiagDevice& device, MMCRW_TEST test,
                                                   std::uint32_t openArgument1, std::uint32_t openArgument2);
    [[nodiscard]] RecordableDrive& recordableDrive() const;
};

}  // namespace libDriveTest
