#include <algorithm>
#include <limits>

#include "libDrive2/ScsiMMCDrive.h"
#include "libDrive2/commands/ScsiCommands.h"
#include "libDrive2/drives/DriveAction.h"
#include "libDrive2/drives/MmcMedia.h"
#include "libDrive2/drives/MmcUnit.h"
#include "libDrive2/drives/ScsiUnit.h"
#include "zel/Clock.h"
#include "zel/Format.h"
#include "zel/Words.h"

/// Operations of optical drives on the medium as a whole, which take long.

namespace libDrive2 {

namespace {

/// Operations on the medium are no reason to answer nothing else than that the drive is busy.
constexpr std::uint32_t kMostMuteMs = 60000;
constexpr std::uint32_t kLongPollMs = 500;
/// A command that the drive only accepts, to execute it afterwards; some get ready for it first.
constexpr std::uint32_t kAcceptMs = 300000;

const mmc::FormatCapacities::Choice* chooseFormat(const mmc::FormatCapacities& capacities,
                                                  _MMC_PROFILES profile) {
    for (const std::uint8_t type : mmc::formatTypes(profile)) {
        const auto found = std::find_if(capacities.choices.begin(), capacities.choices.end(),
                                        [type](const auto& choice) { return choice.type == type; });
        if (found != capacities.choices.end())
            return &*found;
    }
    return nullptr;
}

}  // namespace

bool ScsiMMCDrive::succeeded(_LIBDRIVE2_ERROR_TYPES error) {
    lastError = error;
    return error == LIBDRIVE2_NO_ERROR;
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::sendParameters(ScsiRequest request, void* parameters, std::size_t bytes,
                                                    const char* what) {
    request = scsi::withData(request, parameters, bytes);
    const DeviceStatus status = ScsiUnit(*passThrough()).execute(request).status;
    return status.ok() ? LIBDRIVE2_NO_ERROR : fail(status.type, failureOf({what}, name, status.text));
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::waitWhileBusy(const char* what, std::uint32_t timeoutMs,
                                                   std::uint32_t intervalMs) {
    const zel::Stopwatch watch;
    zel::Stopwatch mute;
    MmcUnit unit(*passThrough());
    while (true) {
        const MmcUnit::Progress progress = unit.progress();
        if (!progress.isMute)
            mute = zel::Stopwatch();
        else if (mute.elapsedMilliseconds() >= kMostMuteMs)
            return fail(LIBDRIVE2_BUSY, failureOf({what}, name, progress.status.text));
        if (!progress.busy)
            return progress.status.ok()
                       ? LIBDRIVE2_NO_ERROR
                       : fail(progress.status.type, failureOf({what}, name, progress.status.text));
        if (const std::uint32_t elapsed = watch.elapsedMilliseconds(); elapsed >= timeoutMs) {
            const zel::Wording text = zel::worded("{action} did not end within {n} s: {reason}",
                                                  {{"action", describe({what}, name)},
                                                   {"n", timeoutMs / 1000},
                                                   {"reason", progress.status.text}});
            return fail(LIBDRIVE2_TIMEOUT, progress.percent
                                               ? zel::worded("{reason}, {n} % are done",
                                                             {{"reason", text}, {"n", *progress.percent}})
                                               : text);
        }
        zel::System::mssleep(std::max(intervalMs, 1U));
    }
}

bool ScsiMMCDrive::waitForWrite(std::uint32_t timeoutMs, std::uint32_t intervalMs) {
    return succeeded(waitWhileBusy(zel::marked("writing to the medium"), timeoutMs, intervalMs));
}

bool ScsiMMCDrive::synchronizeCache(std::uint64_t lba, std::uint32_t count, bool immediate) {
    if (lba > std::numeric_limits<std::uint32_t>::max())
        return succeeded(fail(LIBDRIVE2_BAD_ARGUMENT,
                              zel::format("sector %u lies beyond the end of any optical medium", lba)));
    const bool throughEnd = count > std::numeric_limits<std::uint16_t>::max();
    return succeeded(perform(
        mmc::synchronizeCache(static_cast<std::uint32_t>(lba),
                              throughEnd ? std::uint16_t{0} : static_cast<std::uint16_t>(count), immediate),
        {kFlushing}));
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::blankMedia(BlankType type, bool immediate, std::uint32_t timeoutMs) {
    auto error = perform(mmc::blank(type, immediate, immediate ? kAcceptMs : timeoutMs),
                         {zel::marked("blanking the medium")});
    if (error == LIBDRIVE2_NO_ERROR && immediate)
        error = waitWhileBusy(zel::marked("blanking the medium"), timeoutMs, kLongPollMs);
    if (error == LIBDRIVE2_NO_ERROR)
        error = doQueryMediumInfo();
    return lastError = error;
}

_LIBDRIVE2_ERROR_TYPES ScsiMMCDrive::formatUnit(bool immediate, std::uint32_t timeoutMs) {
    MmcUnit unit(*passThrough());
    const _MMC_PROFILES profile = unit.currentProfile();
    const auto capacities = unit.formatCapacities();
    if (!capacities)
        return lastError =
                   fail(unit.why().type, zel::worded("asking for the medium's formats failed: {reason}",
                                                     {{"reason", unit.why().text}}));
    const auto* choice = chooseFormat(*capacities, profile);
    if (choice == nullptr)
        return lastError = fail(LIBDRIVE2_NOT_SUPPORTED, "the drive offers no format for this medium");
    const auto disc = unit.discInformation();
    const bool restart = disc && disc->backgroundFormat == mmc::BackgroundFormat::interrupted;
    std::vector<std::uint8_t> list = mmc::formatParameterList(*choice, immediate, restart);
    const auto send = [&] {
        return sendParameters(mmc::formatUnit(immediate ? kAcceptMs : timeoutMs), list.data(), list.size(),
                              zel::marked("formatting the medium"));
    };
    auto error = send();
    if (error == LIBDRIVE2_NOT_SUPPORTED && immediate) {
        mmc::setFormatOptionsValid(list);
        error = send();
    }
    if (error == LIBDRIVE2_NO_ERROR && immediate)
        error = waitWhileBusy(zel::marked("formatting the medium"), timeoutMs, kLongPollMs);
    if (error == LIBDRIVE2_NO_ERROR)
        error = doQueryMediumInfo();
    return lastError = error;
}

}  // namespace libDrive2
