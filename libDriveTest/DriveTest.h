#pragma once

#include <cstdint>
#include <optional>
#include <source_location>

#include "ChunkSequence.h"
#include "DriveTestAccessor.h"
#include "RangePlan.h"
#include "libDrive2/Drive.h"
#include "quix5/DiagDevice.h"
#include "quix5/DiagModule.h"
#include "quix5/TestResult.h"
#include "zel/Array.h"
#include "zel/Buffer.h"
#include "zel/Export.h"
#include "zel/Log.h"
#include "zel/SharedResource.h"

namespace libDriveTest {

using libDrive2::_LIBDRIVE2_ERROR_TYPES;
using libDrive2::_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR;
using libDrive2::Drive;
using libDrive2::LIBDRIVE2_MEDIA_STATE;
using libDrive2::SectorFault;
using quix5::DiagDevice;
using quix5::DiagModule;
using quix5::Event;
using quix5::EventType;
using quix5::MessageBox2_Returns;
using quix5::Test;
using quix5::TestResult;
using zel::Array;
using zel::String;

/// A kind of drive error that ends a test without counting as a failure.
struct non_fail_result {
    _LIBDRIVE2_ERROR_TYPES errorType;
    TestResult result;
    Event* event;  ///< sent as a warning; may be null
};

/// Stands for "no previous sector" in reportSeekErr().
inline constexpr std::uint64_t kNoSector = ~std::uint64_t{0};

/// Base of every test: registration of what all tests share, the run around runTest(), reporting and the
/// result policy, media checks and localization. One thread uses a test.
class DRIVETEST_API DriveTest {
public:
    /// Over a drive that the caller keeps alive.
    explicit DriveTest(Drive& drive);
    /// Keeps the shared drive alive.
    explicit DriveTest(libDrive2::SharedDrive drive);
    DriveTest(const DriveTest& other) = default;
    DriveTest& operator=(const DriveTest&) = delete;
    virtual ~DriveTest();

    /// Prepares the drive, runs the test, and folds what the drive reported into its result.
    TestResult run();
    /// run() with the device's volumes locked; encrypted ones are refused.
    TestResult runWriteTest(const DiagDevice& device);

    /// The drive for a device, or an empty holder after the event that says why. The search order is the
    /// setting's, else the given one (null for none), else the device property's, else the default.
    static libDrive2::SharedDrive createDrive(const DiagDevice& device, unsigned long desiredAccess,
                                              unsigned long shareMode,
                                              const DRIVE_IMPLEMENTATIONS* searchOrder);
    /// Whether an ATA drive is locked by its security password; raises the event that says so.
    static bool isATADrivePasswordProtected(const DiagDevice& device);

    /// The package text for a key, the package added last first; `fallback` where none has it.
    String localize(const char* key, const char* fallback);
    void addSearchQPK(const String& package);
    /// The name of the kind of medium that the running test needs.
    static String mediaType();

    /// Waits for a medium, asking the user as needed; false only when the user cancels. `test` may be null.
    static bool __requireMedia(Drive& drive, LIBDRIVE2_MEDIA_STATE& state, bool& prompted,
                               unsigned int timeoutMs, DriveTest* test);
    bool requireMedia(LIBDRIVE2_MEDIA_STATE& state, bool& prompted, unsigned int timeoutMs);

protected:
    static void init(Test& test);
    /// What every test that writes adds to its registration after its parameters: events and error types.
    static void initWriteTest();

    /// The path that SCSI pass-through handles are opened by.
    static String getScsiIOLocator(const DiagDevice& device);

    /// The one path by which counted events leave a test. An override must call it.
    virtual void sendEvent(const Event& event, const EventType& type);

public:
    /// The test itself, over a drive that is prepared; run() calls it.
    virtual TestResult runTest() = 0;

protected:
    virtual MessageBox2_Returns promptForMedia();
    virtual void reportRdErr(std::uint64_t sector, std::uint32_t count);
    virtual void reportRdErr(std::uint64_t sector);
    virtual void reportWrErr(std::uint64_t sector, std::uint32_t count);
    virtual void reportWrErr(std::uint64_t sector);
    virtual void reportSeekErr(std::uint64_t sector, std::uint64_t previous);
    virtual void reportUserAbort(std::uint64_t sector);
    virtual void reportIsolationRecover(std::uint64_t sector, std::uint32_t count, const String& message);
    virtual void reportNonFailError(_LIBDRIVE2_ERROR_TYPES errorType);

    /// Condemns the sectors whose data differs; both buffers hold all of them.
    void condemnDifferences(std::uint64_t lba, std::uint32_t sectors, const void* expected,
                            const void* found);
    /// Sends without counting and without logging; for events raised from drive callbacks.
    void sendCallbackEvent(const Event& event, const EventType& type);
    [[nodiscard]] bool hitEventLimits(bool report) const;
    [[nodiscard]] TestResult getEventCountResult() const;
    [[nodiscard]] bool isNonFailError(_LIBDRIVE2_ERROR_TYPES errorType);
    [[nodiscard]] TestResult getCurrentResult(_LIBDRIVE2_ERROR_TYPES errorType);
    /// For an error that ends a test without counting as a failure: reports it and gives the test's result.
    std::optional<TestResult> endOnNonFail(_LIBDRIVE2_ERROR_TYPES errorType);

    /// The pre-test media check; 0 prompts means no limit.
    TestResult checkMedia(unsigned int maxPrompts);
    static String __localize(const char* key, const char* fallback);
    static MessageBox2_Returns __promptForMedia(zel::CopiedResource<zel::PointerStorage<Drive>> drive,
                                                bool ignored, bool incorrect, String message);

    /// The parameters of tests that can go on where another run broke off.
    static void addGoingOn(Test& test);
    /// Passes over what an earlier run has done, and takes over its count of errors. PASS to go on; BADPARAMS
    /// when that run ended inside a chunk.
    TestResult skipDone(zel::Logger& logger, ChunkSequence& sequence, std::uint64_t& done);

    /// The medium and its size, which tests set up first. PASS to go on; anything else is the test's result.
    TestResult setUpDrive(RangePlan& plan);

    static bool cannotOpenDevice() { return false; }
    static bool deviceBusy() { return false; }

    static Array<non_fail_result> s_nonFailResults;

private:
    friend class DriveTestCallbackBase;
    friend class DriveFactory;
    friend class ChunkBackup;
    friend class MediumSearch;

    static void initOS() {}
    static const non_fail_result* findNonFail(_LIBDRIVE2_ERROR_TYPES errorType);
    TestResult resultOfMediaState(LIBDRIVE2_MEDIA_STATE state, bool removable);
    static void settleAutoRun(Drive& drive, bool userInserted);
    /// Repeats __requireMedia() while `mayAsk` and it helps; false when the user stopped or cancelled.
    bool askForMedia(bool mayAsk, LIBDRIVE2_MEDIA_STATE& state, unsigned int maxPrompts,
                     unsigned int& prompts);

protected:
    Drive* drive;
    TestResult result;
    Array<String> searchPackages;
    std::uint32_t errorCount = 0;
    std::uint32_t maxErrors = 0;
    std::uint32_t warningCount = 0;
    std::uint32_t maxWarnings = 0;
    libDrive2::SharedDrive driveHolder;
};

}  // namespace libDriveTest
