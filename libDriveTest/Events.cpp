#include "Events.h"

namespace libDriveTest {

namespace events {

void createForRecording() {
    for (SharedEvent* event :
         {&mmcrwCannotPrepareForWrite, &mmcrwCannotReserveSectors, &mmcrwCannotSetWriteParameters,
          &mmcrwCannotCloseSession, &mmcrwCannotSetWriteSpeed, &mmcrwCannotFormat, &mmcrwFormatNotSupported,
          &mmcrwCannotBlank, &mmcrwCannotFindFreeSectors, &writeProtectedMedia, &patternMismatchRange})
        event->createOnce();
}

void createForCapacity() {
    for (SharedEvent* event : {&capacityTrue, &capacityLost, &capacityRepeats, &addressLost, &addressRepeats,
                               &addressSwapped, &addressUnstable})
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

void createForReadingDiscs() {
    for (SharedString* string : {&notEnoughData, &dataCD, &mixedModeCD, &verboseInvalidMediaMessage, &disc})
        string->createOnce();
}

void createForRecording() {
    for (SharedString* string :
         {&mmcrwPreparingForWrite, &mmcrwStartingWrite, &mmcrwStartingReadCompare, &mmcrwClosingSession,
          &mmcrwSettingWriteSpeed, &mmcrwFormatting, &mmcrwBlanking, &mmcrwReservingTrack, &mmcrwUsesUpMedium,
          &mmcrwTooSmallMedium})
        string->createOnce();
}

void createCommon() {
    for (SharedString* string : {&mediaType, &testInformationMessage, &insertWritableMedia, &deviceBusyLS})
        string->createOnce();
}

}  // namespace strings

}  // namespace libDriveTest
