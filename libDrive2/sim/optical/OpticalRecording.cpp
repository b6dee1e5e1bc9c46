#include <chrono>

#include "libDrive2/sim/optical/OpticalCommands.h"

namespace libDrive2::optical {

namespace {

using namespace std::chrono_literals;
using Duration = zel::Clock::Duration;

constexpr Duration kCloseTrack = 5s;
constexpr Duration kCloseSession = 20s;
constexpr std::uint16_t kDvdRDualLayer =
    0x15;  ///< has one session only, unless its layers are jumped between

void startClosing(OpticalUnit& unit, Duration duration, bool immediate) {
    unit.operation.start(unit.isStrict() ? kLongWriteInProgress : kOperationInProgress,
                         unit.writer.remaining() + duration, immediate);
}

void closeTrack(OpticalUnit& unit, OpticalCommand& command, bool immediate) {
    OpticalDisc& disc = *unit.tray.disc();
    const auto number = static_cast<std::uint32_t>(command.field(4, 2));
    const OpticalTrack* const track = disc.tracks().findToClose(number);
    // Some drives take no command for a track that the flush has ended.
    if (unit.isStrict() && disc.type().isCd() && track != nullptr && !track->open)
        return command.fail(kSequenceError);
    if (track != nullptr && track->open && !command.accept(checkWriteMode(unit, track)))
        return;
    // What is left of a reserved track is filled.
    const bool isFilled = unit.isStrict() && track != nullptr && track->reserved;
    const std::uint32_t padding = isFilled ? disc.tracks().freeSectors(*track) : 0;
    if (command.accept(disc.closeTrack(number)))
        startClosing(unit, unit.speeds.timeToWrite(padding) + kCloseTrack, immediate);
}

void closeSession(OpticalUnit& unit, OpticalCommand& command, bool last, bool immediate) {
    OpticalDisc& disc = *unit.tray.disc();
    // Drives take it that there is nothing to close.
    if (unit.isStrict() && !disc.tracks().isSessionBegun())
        return;
    if (!command.accept(checkWriteMode(unit, nullptr)) || !command.accept(disc.closeSession(last)))
        return;
    unit.writer.endRecording();
    startClosing(unit, kCloseSession, immediate);
}

}  // namespace

OpticalRefusal checkWriteMode(const OpticalUnit& unit, const OpticalTrack* track) {
    const OpticalDisc& disc = *unit.tray.disc();
    if (!unit.isStrict() || !(disc.type().isCd() || disc.type().isDvdMinus()))
        return std::nullopt;
    const OpticalWriteParameters parameters = unit.modePages.parameters();
    const bool isAtOnce = parameters.type == OpticalWriteType::sessionAtOnce;
    const bool isChanged = track != nullptr && track->mode && *track->mode != parameters.type;
    if (!parameters.suit(disc.type()) || isChanged || (disc.isQuicklyBlanked() && !isAtOnce))
        return kIllegalMode;
    return isAtOnce && disc.tracks().sessions() != 1 ? OpticalRefusal(kSequenceError) : std::nullopt;
}

void reserveTrack(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kOtherReservations = 0x03;
    OpticalDisc& disc = *unit.tray.disc();
    if ((command.byte(1) & kOtherReservations) != 0)
        return command.fail(kInvalidField);
    // A cue sheet settles the tracks of a CD that is recorded at once.
    if (unit.isStrict() && disc.type().isCd() &&
        unit.modePages.writeType() == OpticalWriteType::sessionAtOnce)
        return command.fail(kSequenceError);
    if (command.accept(checkWriteMode(unit, nullptr)))
        command.accept(disc.reserve(static_cast<std::uint32_t>(command.field(5, 4))));
}

void closeTrackSession(OpticalUnit& unit, OpticalCommand& command) {
    // DVD-R and DVD-RW are finalized by 3, DVD+R by 5 and 6, BD-R by 6.
    enum Function : std::uint8_t { stop = 0, track = 1, session = 2, finalize = 3, quick = 5, disc = 6 };
    OpticalDisc& medium = *unit.tray.disc();
    const auto function = static_cast<Function>(command.byte(2) & 0x07);
    const bool immediate = (command.byte(1) & 0x01) != 0;
    const bool isOverwritten = medium.type().writing == OpticalWriting::overwrite;
    // What is overwritten anywhere and still knows the command has nothing to close but its formatting.
    if (isOverwritten && (medium.type().isDvdPlus() || medium.type().needsWholeBlocks())) {
        if (function == stop || function == session)
            medium.background().stop();
        return startClosing(unit, kCloseTrack, immediate);
    }
    if (function == track)
        return closeTrack(unit, command, immediate);
    const bool isCd = medium.type().isCd();
    const bool isMinus = isCd || medium.type().isDvdMinus();
    const bool isKnown = function == session ||
                         (isMinus ? function == finalize && !isCd : function == quick || function == disc);
    if (!isKnown)
        return command.fail(kInvalidField);
    const bool isForGood = unit.isStrict() && medium.type().profile == kDvdRDualLayer;
    const bool last = function != session || isForGood || (isMinus && !unit.modePages.isMultiSession());
    closeSession(unit, command, last, immediate);
}

}  // namespace libDrive2::optical
