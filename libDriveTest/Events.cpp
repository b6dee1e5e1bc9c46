#include "Events.h"

namespace libDriveTest {

namespace events {

SharedEvent testNotSupported{"testNotSupported"};
SharedEvent cannotOpen{"cannotOpen"};
SharedEvent cannotOpenAccessDenied{"cannotOpenAccessDenied"};
SharedEvent cannotOpenDeviceRemoved{"cannotOpenDeviceRemoved"};
SharedEvent cannotOpenDeviceRDOnly{"cannotOpenDeviceRDOnly"};
SharedEvent cannotOpenDeviceNoMedium{"cannotOpenDeviceNoMedium"};
SharedEvent writeSectorRangeErr{"writeSectorRangeErr"};
SharedEvent readSectorRangeErr{"readSectorRangeErr"};
SharedEvent invalidParameters{"invalidParameters"};
SharedEvent isolationRecovered{"isolationRecovered"};
SharedEvent harddrivePasswordProtected{"harddrivePasswordProtected"};
SharedEvent cannotGetTotalSectors{"cannotGetTotalSectors"};
SharedEvent cannotGetSectorSize{"cannotGetSectorSize"};
SharedEvent deviceBusy{"deviceBusy"};
SharedEvent cannotEjectMedia{"cannotEjectMedia"};
SharedEvent cannotInitializeDevice{"CannotInitializeDevice"};
SharedEvent cannotAccessDevice{"CannotAccessDevice"};
SharedEvent encryptedDriveDetected{"EncryptedDriveDetected"};
SharedEvent readSectorErr{"readSectorErr"};
SharedEvent writeSectorErr{"writeSectorErr"};
SharedEvent seekSectorErr{"seekSectorErr"};
SharedEvent dataMiscompareErr{"dataMiscompareErr"};
SharedEvent userAbortSector{"userAbortSector"};
SharedEvent hitMaxErr{"hitMaxErr"};
SharedEvent advancedError{"advancedError"};
SharedEvent nonCritical{"nonCritical"};
SharedEvent mediumNotPresentRMBZero{"MediumNotPresentRMBZero"};

SharedEvent cannotRdOrigRange{"cannotRdOrigRange"};
SharedEvent patternBufferCorrupt{"patternBufferCorrupt"};
SharedEvent cannotRestoreData{"cannotRestoreData"};
SharedEvent patternMismatch{"patternMismatch"};
SharedEvent patternMismatchRange{"patternMismatchRange"};
SharedEvent invalidPatternCnt{"invalidPatternCnt"};
SharedEvent writeProtectedMedia{"writeProtectedMedia"};

SharedEvent readSpeedInfo{"ReadSpeedInfo"};
SharedEvent readSpeedNotReached{"ReadSpeedNotReached"};
SharedEvent writeSpeedInfo{"WriteSpeedInfo"};
SharedEvent writeSpeedNotReached{"WriteSpeedNotReached"};

SharedEvent notEnoughData{"NotEnoughData"};
SharedEvent speedNotReached{"SpeedNotReached"};
SharedEvent speedExceeded{"SpeedExceeded"};
SharedEvent mmcrwCannotPrepareForWrite{"MMCRWcannotPrepareForWrite"};
SharedEvent mmcrwCannotReserveSectors{"MMCRWcannotReserveSectors"};
SharedEvent mmcrwCannotSetWriteParameters{"MMCRWcannotSetWriteParameters"};
SharedEvent mmcrwCannotCloseSession{"MMCRWcannotCloseSession"};
SharedEvent mmcrwCannotSetWriteSpeed{"MMCRWcannotSetWriteSpeed"};
SharedEvent mmcrwCannotFormat{"MMCRWcannotFormat"};
SharedEvent mmcrwFormatNotSupported{"MMCRWformatNotSupported"};
SharedEvent mmcrwCannotBlank{"MMCRWcannotBlank"};
SharedEvent mmcrwCannotFindFreeSectors{"MMCRWcannotFindFreeSectors"};

void createForRecording() {
    for (SharedEvent* event :
         {&mmcrwCannotPrepareForWrite, &mmcrwCannotReserveSectors, &mmcrwCannotSetWriteParameters,
          &mmcrwCannotCloseSession, &mmcrwCannotSetWriteSpeed, &mmcrwCannotFormat, &mmcrwFormatNotSupported,
          &mmcrwCannotBlank, &mmcrwCannotFindFreeSectors, &writeProtectedMedia, &patternMismatchRange})
        event->createOnce();
}

void createForWriting() {
    for (SharedEvent* event :
         {&cannotRdOrigRange, &patternBufferCorrupt, &cannotRestoreData, &patternMismatch,
          &patternMismatchRange, &invalidPatternCnt, &writeProtectedMedia})
        event->createOnce();
}

void createCommon() {
    for (SharedEvent* event : {&testNotSupported,
                               &cannotOpen,
                               &cannotOpenAccessDenied,
                               &cannotOpenDeviceRemoved,
                               &cannotOpenDeviceRDOnly,
                               &cannotOpenDeviceNoMedium,
                               &writeSectorRangeErr,
                               &readSectorRangeErr,
                               &invalidParameters,
                               &isolationRecovered,
                               &harddrivePasswordProtected,
                               &cannotGetTotalSectors,
                               &cannotGetSectorSize,
                               &deviceBusy,
                               &cannotEjectMedia,
                               &cannotInitializeDevice,
                               &cannotAccessDevice,
                               &encryptedDriveDetected,
                               &readSectorErr,
                               &writeSectorErr,
                               &seekSectorErr,
                               &dataMiscompareErr,
                               &userAbortSector,
                               &hitMaxErr,
                               &advancedError,
                               &nonCritical,
                               &mediumNotPresentRMBZero})
        event->createOnce();
}

}  // namespace events

namespace strings {

SharedString mediaType{"mediaType"};
SharedString testInformationMessage{"testInformationMessage"};
SharedString insertWritableMedia{"InsertWritableMedia"};
SharedString deviceBusyLS{"deviceBusyLS"};

SharedString speedTestInformationMessage{"speedTestInformationMessage"};
SharedString rwSpeedTestInformationMessage{"rwSpeedTestInformationMessage"};

SharedString notEnoughData{"NotEnoughDataLS"};
SharedString dataCD{"DataCD"};
SharedString mixedModeCD{"MixedModeCD"};
SharedString verboseInvalidMediaMessage{"verboseInvalidMediaMessage"};
SharedString disc{"disc"};
SharedString runningAtReadSpeed{"RunningAtReadSpeed"};
SharedString mmcrwPreparingForWrite{"MMCRWpreparingForWrite"};
SharedString mmcrwStartingWrite{"MMCRWstartingWrite"};
SharedString mmcrwStartingReadCompare{"MMCRWstartingReadCompare"};
SharedString mmcrwClosingSession{"MMCRWclosingSession"};
SharedString mmcrwSettingWriteSpeed{"MMCRWsettingWriteSpeed"};
SharedString mmcrwFormatting{"MMCRWformatting"};
SharedString mmcrwBlanking{"MMCRWblanking"};
SharedString mmcrwReservingTrack{"MMCRWreservingTrack"};

void createForReadingDiscs() {
    for (SharedString* string : {&notEnoughData, &dataCD, &mixedModeCD, &verboseInvalidMediaMessage, &disc})
        string->createOnce();
}

void createForRecording() {
    for (SharedString* string :
         {&mmcrwPreparingForWrite, &mmcrwStartingWrite, &mmcrwStartingReadCompare, &mmcrwClosingSession,
          &mmcrwSettingWriteSpeed, &mmcrwFormatting, &mmcrwBlanking, &mmcrwReservingTrack})
        string->createOnce();
}

void createCommon() {
    for (SharedString* string : {&mediaType, &testInformationMessage, &insertWritableMedia, &deviceBusyLS})
        string->createOnce();
}

}  // namespace strings

}  // namespace libDriveTest
