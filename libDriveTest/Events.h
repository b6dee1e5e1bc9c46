#pragma once

#include "quix5/DiagModule.h"

namespace libDriveTest {

/// A framework object that the module creates once, when the first test registers.
template <class Object, Object* (*create)(const char*)>
class SharedObject {
public:
    explicit constexpr SharedObject(const char* key) : m_key(key) {}

    void createOnce() {
        if (m_object == nullptr)
            m_object = create(m_key);
    }
    [[nodiscard]] Object* get() const { return m_object; }
    Object* operator->() const { return m_object; }
    Object& operator*() const { return *m_object; }

private:
    const char* m_key;
    Object* m_object = nullptr;
};

using SharedEvent = SharedObject<quix5::Event, quix5::DiagModule::createEvent>;
using SharedString = SharedObject<quix5::LocalizedString, quix5::DiagModule::createLocalizedString>;

namespace events {

inline SharedEvent testNotSupported{"testNotSupported"};
inline SharedEvent cannotOpen{"cannotOpen"};
inline SharedEvent cannotOpenAccessDenied{"cannotOpenAccessDenied"};
inline SharedEvent cannotOpenDeviceRemoved{"cannotOpenDeviceRemoved"};
inline SharedEvent cannotOpenDeviceRDOnly{"cannotOpenDeviceRDOnly"};
inline SharedEvent cannotOpenDeviceNoMedium{"cannotOpenDeviceNoMedium"};
inline SharedEvent writeSectorRangeErr{"writeSectorRangeErr"};
inline SharedEvent readSectorRangeErr{"readSectorRangeErr"};
inline SharedEvent invalidParameters{"invalidParameters"};
inline SharedEvent isolationRecovered{"isolationRecovered"};
inline SharedEvent harddrivePasswordProtected{"harddrivePasswordProtected"};
inline SharedEvent cannotGetTotalSectors{"cannotGetTotalSectors"};
inline SharedEvent cannotGetSectorSize{"cannotGetSectorSize"};
inline SharedEvent deviceBusy{"deviceBusy"};
inline SharedEvent cannotEjectMedia{"cannotEjectMedia"};
inline SharedEvent cannotInitializeDevice{"CannotInitializeDevice"};
inline SharedEvent cannotAccessDevice{"CannotAccessDevice"};
inline SharedEvent encryptedDriveDetected{"EncryptedDriveDetected"};
inline SharedEvent readSectorErr{"readSectorErr"};
inline SharedEvent writeSectorErr{"writeSectorErr"};
inline SharedEvent seekSectorErr{"seekSectorErr"};
inline SharedEvent dataMiscompareErr{"dataMiscompareErr"};
inline SharedEvent userAbortSector{"userAbortSector"};
inline SharedEvent hitMaxErr{"hitMaxErr"};
inline SharedEvent advancedError{"advancedError"};
inline SharedEvent nonCritical{"nonCritical"};
inline SharedEvent mediumNotPresentRMBZero{"MediumNotPresentRMBZero"};

// Of the survey.
inline SharedEvent surveySample{"surveySample"};
inline SharedEvent surveyBadAreas{"surveyBadAreas"};
inline SharedEvent surveyTooShort{"surveyTooShort"};

// Of the test of the capacity.
inline SharedEvent capacityTrue{"capacityTrue"};
inline SharedEvent capacityLost{"capacityLost"};
inline SharedEvent capacityRepeats{"capacityRepeats"};
inline SharedEvent addressLost{"addressLost"};
inline SharedEvent addressRepeats{"addressRepeats"};
inline SharedEvent addressSwapped{"addressSwapped"};
inline SharedEvent addressUnstable{"addressUnstable"};

// Of tests that write.
inline SharedEvent cannotRdOrigRange{"cannotRdOrigRange"};
inline SharedEvent patternBufferCorrupt{"patternBufferCorrupt"};
inline SharedEvent cannotRestoreData{"cannotRestoreData"};
inline SharedEvent patternMismatch{"patternMismatch"};
inline SharedEvent patternMismatchRange{"patternMismatchRange"};
inline SharedEvent invalidPatternCnt{"invalidPatternCnt"};
inline SharedEvent writeProtectedMedia{"writeProtectedMedia"};

// Of tests that measure a rate.
inline SharedEvent readSpeedInfo{"ReadSpeedInfo"};
inline SharedEvent readSpeedNotReached{"ReadSpeedNotReached"};
inline SharedEvent writeSpeedInfo{"WriteSpeedInfo"};
inline SharedEvent writeSpeedNotReached{"WriteSpeedNotReached"};

// Of tests of optical drives.
inline SharedEvent notEnoughData{"NotEnoughData"};
inline SharedEvent speedNotReached{"SpeedNotReached"};
inline SharedEvent speedExceeded{"SpeedExceeded"};
inline SharedEvent mmcrwCannotPrepareForWrite{"MMCRWcannotPrepareForWrite"};
inline SharedEvent mmcrwCannotReserveSectors{"MMCRWcannotReserveSectors"};
inline SharedEvent mmcrwCannotSetWriteParameters{"MMCRWcannotSetWriteParameters"};
inline SharedEvent mmcrwCannotCloseSession{"MMCRWcannotCloseSession"};
inline SharedEvent mmcrwCannotSetWriteSpeed{"MMCRWcannotSetWriteSpeed"};
inline SharedEvent mmcrwCannotFormat{"MMCRWcannotFormat"};
inline SharedEvent mmcrwFormatNotSupported{"MMCRWformatNotSupported"};
inline SharedEvent mmcrwCannotBlank{"MMCRWcannotBlank"};
inline SharedEvent mmcrwCannotFindFreeSectors{"MMCRWcannotFindFreeSectors"};

/// Creates, in their settled order, those that every test needs, and those that tests of a kind need.
void createCommon();
void createForWriting();
void createForCapacity();
void createForRecording();

}  // namespace events

namespace strings {

inline SharedString mediaType{"mediaType"};
inline SharedString testInformationMessage{"testInformationMessage"};
inline SharedString insertWritableMedia{"InsertWritableMedia"};
inline SharedString deviceBusyLS{"deviceBusyLS"};

inline SharedString speedTestInformationMessage{"speedTestInformationMessage"};
inline SharedString rwSpeedTestInformationMessage{"rwSpeedTestInformationMessage"};

inline SharedString notEnoughData{"NotEnoughDataLS"};
inline SharedString dataCD{"DataCD"};
inline SharedString mixedModeCD{"MixedModeCD"};
inline SharedString verboseInvalidMediaMessage{"verboseInvalidMediaMessage"};
inline SharedString disc{"disc"};
inline SharedString runningAtReadSpeed{"RunningAtReadSpeed"};
inline SharedString mmcrwPreparingForWrite{"MMCRWpreparingForWrite"};
inline SharedString mmcrwStartingWrite{"MMCRWstartingWrite"};
inline SharedString mmcrwStartingReadCompare{"MMCRWstartingReadCompare"};
inline SharedString mmcrwClosingSession{"MMCRWclosingSession"};
inline SharedString mmcrwSettingWriteSpeed{"MMCRWsettingWriteSpeed"};
inline SharedString mmcrwFormatting{"MMCRWformatting"};
inline SharedString mmcrwBlanking{"MMCRWblanking"};
inline SharedString mmcrwReservingTrack{"MMCRWreservingTrack"};
inline SharedString mmcrwUsesUpMedium{"MMCRWusesUpMedium"};
inline SharedString mmcrwTooSmallMedium{"MMCRWtooSmallMedium"};

void createCommon();
void createForReadingDiscs();
void createForRecording();

}  // namespace strings

}  // namespace libDriveTest
