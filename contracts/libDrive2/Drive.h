#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <utility>
#include <vector>

#include "libDrive2/DriveCallback.h"
#include "libDrive2/DriveObserver.h"
#include "libDrive2/DriveTypes.h"
#include "libDrive2/SectorJournal.h"
#include "zel/Buffer.h"
#include "zel/Export.h"
#include "zel/SharedResource.h"
#include "zel/Words.h"

namespace libDrive2 {

/// Reads a drive's temperature.
class DRIVETEST_API TemperatureAccessor {
public:
    /// Asks the drive: degrees Celsius, or nothing when it does not tell.
    using Ask = std::function<std::optional<double>()>;

    explicit TemperatureAccessor(Ask ask) : m_ask(std::move(ask)) {}
    /// Null when the drive does not tell now.
    static std::unique_ptr<TemperatureAccessor> over(Ask ask) {
        return ask() ? std::make_unique<TemperatureAccessor>(std::move(ask)) : nullptr;
    }
    /// Degrees Celsius; false when the drive does not tell.
    bool read(double& celsius) const {
        const std::optional<double> told = m_ask();
        celsius = told.value_or(celsius);
        return told.has_value();
    }

private:
    Ask m_ask;
};

/// What Drive::restoreProtected() did.
struct RestoreOutcome {
    std::uint64_t putBack = 0;       ///< sectors that did not hold their data, and do again
    std::vector<SectorSpan> left{};  ///< sectors that still hold something else, or cannot be read; rising

    /// Why something is left, in the words of the last failure; empty when nothing is.
    zel::String reason{};
};

/// A drive with sector-level operations. LBAs are logical sectors from 0; counts are sectors; buffers are
/// the caller's and must hold count times getSectorSize() bytes. Operations block until they are done,
/// never throw, and are called by one thread at a time. They return false on failure; lastError and
/// getLastErrorStr() then tell why.
class DRIVETEST_API Drive {
public:
    /// Set by tests that time long streams of transfers: the layer then drops the timing of single ones.
    bool streamingTransfers = false;

    Drive();
    Drive(const Drive&) = delete;
    Drive& operator=(const Drive&) = delete;

    /// Bytes per logical sector; 0 unknown.
    virtual std::uint32_t getSectorSize() = 0;
    /// Number of logical sectors; 0 unknown.
    virtual std::uint64_t getSectorCount() = 0;
    virtual std::uint32_t getPhysicalSectorSize();
    virtual std::uint64_t getPhysicalSectorCount();
    virtual LIBDRIVE2_MEDIA_STATE mediaState();
    /// MediaCapability flags of the loaded medium (the spelling is the interface's).
    virtual std::uint32_t mediaCapabilties();
    /// MediaCapability flags that the drive can handle.
    virtual std::uint32_t supportedCapabilties();
    virtual bool isMediaRemovable();
    virtual bool isMediaPresent();
    virtual bool isMediaLoading();
    virtual bool isMediaCorrect();
    /// Blocks up to the timeout; true as soon as a medium is ready. What the getters tell of a removable
    /// medium is asked anew then: it may be another one.
    virtual bool waitForMedia(std::uint32_t timeoutMs);
    /// True when auto-run was switched off, as Windows can; the caller then owes a reenableAutoRun(). Linux
    /// has nothing to switch: what keeps auto-mounters away from a drive there is that somebody holds it
    /// exclusively, as a DeviceLease for writing does.
    virtual bool disableAutoRun();
    virtual bool reenableAutoRun();
    /// Preferred sectors per read or write, 1 to `limit`.
    virtual std::uint16_t getOptimalRd(std::uint16_t limit);
    virtual std::uint16_t getOptimalWr(std::uint16_t limit);
    /// Ask the device again for what the getters tell.
    virtual bool queryDeviceInfo();
    virtual bool queryMediumInfo();
    virtual ~Drive();
    /// Null when the device reports no temperature.
    virtual std::unique_ptr<TemperatureAccessor> getTemperatureAccessor();
    /// Closes and opens the device again, after a reset or a change of medium.
    virtual bool reOpenHandle();

    bool readSector(std::uint64_t lba, std::uint32_t count, void* buffer, std::uint32_t bufferBytes);
    /// A read for which the drive may deliver data in time rather than correct (optical streaming).
    bool readStreaming(std::uint64_t lba, std::uint32_t count, void* buffer, std::uint32_t bufferBytes);
    bool writeSector(std::uint64_t lba, std::uint32_t count, const void* buffer, std::uint32_t bufferBytes);
    /// Moves the head without moving data where the command set can, else reads one sector.
    bool seekSector(std::uint64_t lba);
    /// Writes the device's cache to the medium.
    bool flushCache();
    /// Makes the next reads come from the medium.
    bool clearCache();
    /// Locks the medium in, until it is released again. Meanwhile ejectDrive() and a drive without a medium
    /// open the lock, and waitForMedia() closes it over the medium that has come.
    bool preventMediumRemoval(bool prevent);
    bool ejectDrive();
    bool loadDrive();

    /// False when the device has no sectors of its own and the sector size is an assumption.
    [[nodiscard]] bool isMedium() const { return m_hasNativeSectors; }

    /// The text of the last failure.
    [[nodiscard]] zel::String getLastErrorStr();
    /// The same for people, in their language.
    [[nodiscard]] zel::String lastErrorShown() { return errorText().shown(); }
    /// The device's own words in it (sense, status, registers), without the place where that is known; empty
    /// after a success, or where it gave none.
    [[nodiscard]] zel::String lastErrorWords() const;
    /// The layer's own retries per operation (first attempt not counted). Default 0. Any thread may change
    /// the number, also while an operation makes them.
    [[nodiscard]] std::uint32_t getRetryCount() const { return m_retryCount; }
    void setRetryCount(std::uint32_t retries) { m_retryCount = retries; }
    void setRetryCallbackBehavior(_LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR behavior) { m_behavior = behavior; }
    [[nodiscard]] _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR retryCallbackBehavior() const { return m_behavior; }
    /// Takes ownership; replaces the callback before.
    void setCallback(std::unique_ptr<DriveCallback> callback);

    /// Watches all operations; not owned, null for none. Without one nothing is measured.
    void setObserver(DriveObserver* observer) { m_observer = observer; }
    /// These tell the observer: how many different sectors the test is about to visit, or how many positions
    /// of one sector each; what it found bad, with the words of the operation that just failed; what it
    /// leaves untested. DriveObserver says more.
    void planSectors(std::uint64_t sectors);
    void planPositions(std::uint64_t positions);
    void condemnSectors(std::uint64_t lba, std::uint64_t count, SectorFault fault);
    void skipSectors(std::uint64_t lba, std::uint32_t count);
    /// Tells the observer that the test turns to these sectors. Only tests need it that move a chunk in
    /// several pieces, or come back to a sector.
    void visitSectors(std::uint64_t lba, std::uint32_t count);
    /// Tells the observer, between two chunks, what a run that goes on from here needs to know.
    void settleSectors(std::uint64_t sectors, std::uint32_t errors);

    /// Keeps what protectSectors() is given; not owned, null for none.
    void setJournal(SectorJournal* journal) { m_journal = journal; }
    /// Without a journal the three below do nothing and succeed. When one fails, lastError is
    /// LIBDRIVE2_NO_ACCESS: it is no fault of the sectors.
    /// What is going to be written, for whoever has to tell it from what others wrote: every overwritten
    /// sector will hold one of these bytes / getSectorSize() contents.
    bool expectWrites(const void* data, std::size_t bytes);
    /// These sectors hold `data` and are about to be overwritten. False counts as a failed backup: do not
    /// overwrite. The journal gets whole physical sectors, as a power cut may spoil the whole of one.
    bool protectSectors(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes);
    /// The same for sectors scattered over the drive, which are put back together: `spans` rise and do not
    /// overlap, `data` holds their sectors one after the other. They should be whole physical sectors, as far
    /// as these can be read. Released by the first one's LBA and the number of all.
    bool protectScattered(std::span<const SectorSpan> spans, const void* data, std::size_t bytes);
    /// These sectors have been put back, all that one protection named. The drive is flushed first, and
    /// read back where the journal wants that; false leaves the data in the journal.
    bool releaseSectors(std::uint64_t lba, std::uint32_t count);
    /// Puts back what is protected still, from the journal, as long as the drive answers: writes the sectors
    /// that differ, reads them back, and releases every range of which nothing is left. A range with sectors
    /// left stays protected. Neither the observer nor the callback hear of it. It waits a second for a drive
    /// that is busy, and opens one again that has gone: `isSameDrive` is asked then, null for one that needs
    /// no asking, and false is the end. Blocks for as long as that takes; lastError is of no meaning then.
    RestoreOutcome restoreProtected(const std::function<bool()>& isSameDrive = nullptr);

    /// The error kind of the last operation.
    _LIBDRIVE2_ERROR_TYPES lastError = LIBDRIVE2_NO_ERROR;
    /// For messages: set by whoever made the drive.
    zel::String name;

protected:
    virtual _LIBDRIVE2_ERROR_TYPES doQueryDeviceInfo();
    virtual _LIBDRIVE2_ERROR_TYPES doQueryMediumInfo();
    virtual _LIBDRIVE2_ERROR_TYPES doGetLastErrorStr(zel::String& text);
    virtual _LIBDRIVE2_ERROR_TYPES doReadSector(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                std::uint32_t bufferBytes) = 0;
    virtual _LIBDRIVE2_ERROR_TYPES doReadStreaming(std::uint64_t lba, std::uint32_t count, void* buffer,
                                                   std::uint32_t bufferBytes);
    virtual _LIBDRIVE2_ERROR_TYPES doWriteSector(std::uint64_t lba, std::uint32_t count, const void* buffer,
                                                 std::uint32_t bufferBytes) = 0;
    virtual _LIBDRIVE2_ERROR_TYPES doSeekSector(std::uint64_t lba);
    virtual _LIBDRIVE2_ERROR_TYPES doSyncCache();
    virtual _LIBDRIVE2_ERROR_TYPES doFlushCache();
    virtual _LIBDRIVE2_ERROR_TYPES doClearCache();
    virtual _LIBDRIVE2_ERROR_TYPES doStartDrive();
    virtual _LIBDRIVE2_ERROR_TYPES doStopDrive();
    virtual _LIBDRIVE2_ERROR_TYPES doPreventMediumRemoval(bool prevent);
    virtual _LIBDRIVE2_ERROR_TYPES doEjectDrive();
    virtual _LIBDRIVE2_ERROR_TYPES doLoadDrive();

    /// For classes that can ask, after a timeout, whether the drive answers at all. A sector may keep it
    /// silent for long; a drive that answers nothing any more is gone.
    void setAnswerProbe(std::function<bool()> answers) { m_answers = std::move(answers); }

    /// For hooks: keeps the error's text and returns its type. `words` are the device's own in it: sense,
    /// status, registers.
    _LIBDRIVE2_ERROR_TYPES fail(_LIBDRIVE2_ERROR_TYPES type, zel::Wording text, zel::String words = {});
    /// The same with a text that is made when somebody asks for it: most failures are counted, not read.
    using Description = std::function<zel::Wording()>;
    _LIBDRIVE2_ERROR_TYPES fail(_LIBDRIVE2_ERROR_TYPES type, Description describe, zel::String words = {});
    /// For hooks that succeed only after the drive itself recovered from an error.
    void noteRecovered(Description describe);
    /// Whether the hook runs again after a failure: such a transfer should reach the medium itself.
    [[nodiscard]] bool isRepeat() const { return m_isRepeat; }
    /// For hooks: see DriveOperationReport::getsReady.
    void noteGettingReady() { m_getsReady = true; }
    void setNativeSectors(bool native) { m_hasNativeSectors = native; }

private:
    template <class Hook>
    bool perform(DriveOperation operation, std::uint64_t lba, std::uint32_t count, Hook hook);
    template <class Hook>
    bool performTransfer(DriveOperation operation, std::uint64_t lba, std::uint32_t count,
                         std::uint32_t bufferBytes, Hook hook);
    _LIBDRIVE2_ERROR_TYPES askSectorSize();
    _LIBDRIVE2_ERROR_TYPES judgeTimeout();
    [[nodiscard]] bool mayRetry(_LIBDRIVE2_ERROR_TYPES error, std::uint32_t attempts) const;
    void notify(std::uint32_t code, std::uint32_t behaviorBit);
    bool awaitMedium(std::uint32_t timeoutMs);
    void takeMedium();
    void lockMedium(bool lock);
    struct ProtectedRange {
        std::uint64_t lba;         ///< as protectSectors() was told
        std::uint64_t journalLba;  ///< of the whole physical sectors
        std::uint32_t journalCount;
        std::vector<SectorSpan> spans{};  ///< what the journal holds: all of the range, or scattered sectors
    };
    /// The whole physical sectors around a range, read into `wide` together with its `data`; the range itself
    /// and no buffer where it is made of such.
    ProtectedRange widen(std::uint64_t lba, std::uint32_t count, const void* data, zel::Buffer& wide);
    bool readsBackAsBefore(const ProtectedRange& range);
    void restoreRanges(const std::function<bool()>& isSameDrive, RestoreOutcome& outcome);
    const zel::Wording& errorText();
    bool failProtection(const char* what, std::uint64_t lba, const zel::Wording& reason);

    DriveObserver* m_observer = nullptr;
    SectorJournal* m_journal = nullptr;
    std::vector<ProtectedRange> m_protected;
    std::unique_ptr<DriveCallback> m_callback;
    std::function<bool()> m_answers;  ///< empty where nobody can tell
    zel::Wording m_errorText;
    Description m_describeError;  ///< makes the text; null where that is there
    zel::String m_errorWords;
    std::uint64_t m_lastLba = 0;  ///< of the last operation
    std::atomic<std::uint32_t> m_retryCount = 0;
    _LIBDRIVE2_RETRY_CALLBACK_BEHAVIOR m_behavior = LIBDRIVE2_RETRY_AND_REPORT;
    bool m_keepsMedium = false;  ///< whether the medium is to be locked in
    bool m_isMediumLocked = false;
    bool m_recovered = false;
    bool m_isRepeat = false;
    bool m_getsReady = false;
    bool m_hasNativeSectors = true;
};

/// The shared handle through which tests hold a drive.
using SharedDrive = zel::SharedPointer<Drive>;

}  // namespace libDrive2
