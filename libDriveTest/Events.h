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

extern SharedEvent testNotSupported;
extern SharedEvent cannotOpen;
extern SharedEvent cannotOpenAccessDenied;
extern SharedEvent cannotOpenDeviceRemoved;
extern SharedEvent cannotOpenDeviceRDOnly;
extern SharedEvent cannotOpenDeviceNoMedium;
extern SharedEvent writeSectorRangeErr;
extern SharedEvent readSectorRangeErr;
extern SharedEvent invalidParameters;
extern SharedEvent isolationRecovered;
extern SharedEvent harddrivePasswordProtected;
extern SharedEvent cannotGetTotalSectors;
extern SharedEvent cannotGetSectorSize;
extern SharedEvent deviceBusy;
extern SharedEvent cannotEjectMedia;
extern SharedEvent cannotInitializeDevice;
extern SharedEvent cannotAccessDevice;
extern SharedEvent encryptedDriveDetected;
extern SharedEvent readSectorErr;
extern SharedEvent writeSectorErr;
extern SharedEvent seekSectorErr;
extern SharedEvent dataMiscompareErr;
extern SharedEvent userAbortSector;
extern SharedEvent hitMaxErr;
extern SharedEvent advancedError;
extern SharedEvent nonCritical;
extern SharedEvent mediumNotPresentRMBZero;

// Of tests that write.
extern SharedEvent cannotRdOrigRange;
extern SharedEvent patternBufferCorrupt;
extern SharedEvent cannotRestoreData;
extern SharedEvent patternMismatch;
extern SharedEvent patternMismatchRange;
extern SharedEvent invalidPatternCnt;
extern SharedEvent writeProtectedMedia;

// Of tests that measure a rate.
extern SharedEvent readSpeedInfo;
extern SharedEvent readSpeedNotReached;
extern SharedEvent writeSpeedInfo;
extern SharedEvent writeSpeedNotReached;

// Of tests of optical drives.
extern SharedEvent notEnoughData;
extern SharedEvent speedNotReached;
extern SharedEvent speedExceeded;
extern SharedEvent mmcrwCannotPrepareForWrite;
extern SharedEvent mmcrwCannotReserveSectors;
extern SharedEvent mmcrwCannotSetWriteParameters;
extern SharedEvent mmcrwCannotCloseSession;
extern SharedEvent mmcrwCannotSetWriteSpeed;
extern SharedEvent mmcrwCannotFormat;
extern SharedEvent mmcrwFormatNotSupported;
extern SharedEvent mmcrwCannotBlank;
extern SharedEvent mmcrwCannotFindFreeSectors;

/// Creates, in their settled order, those that every test needs, and those that tests of a kind need.
void createCommon();
void createForWriting();
void createForRecording();

}  // namespace events

namespace strings {

extern SharedString mediaType;
extern SharedString testInformationMessage;
extern SharedString insertWritableMedia;
extern SharedString deviceBusyLS;

extern SharedString speedTestInformationMessage;
extern SharedString rwSpeedTestInformationMessage;

extern SharedString notEnoughData;
extern SharedString dataCD;
extern SharedString mixedModeCD;
extern SharedString verboseInvalidMediaMessage;
extern SharedString disc;
extern SharedString runningAtReadSpeed;
extern SharedString mmcrwPreparingForWrite;
extern SharedString mmcrwStartingWrite;
extern SharedString mmcrwStartingReadCompare;
extern SharedString mmcrwClosingSession;
extern SharedString mmcrwSettingWriteSpeed;
extern SharedString mmcrwFormatting;
extern SharedString mmcrwBlanking;
extern SharedString mmcrwReservingTrack;

void createCommon();
void createForReadingDiscs();
void createForRecording();

}  // namespace strings

}  // namespace libDriveTest
