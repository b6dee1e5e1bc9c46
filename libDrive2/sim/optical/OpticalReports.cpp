#include <algorithm>

#include "libDrive2/sim/SimBytes.h"
#include "libDrive2/sim/optical/OpticalCommands.h"
#include "libDrive2/sim/optical/OpticalFeatures.h"

namespace libDrive2::optical {

namespace {

using Bytes = std::vector<std::uint8_t>;

/// Minutes, seconds and frames of a CD, which begin 150 frames before sector 0.
std::uint32_t toMsf(std::uint32_t lba) {
    const std::uint32_t frames = lba + 150;
    return frames / 75 / 60 << 16 | frames / 75 % 60 << 8 | frames % 75;
}

/// The byte where a number's lower eight bits go; the upper ones have a place of their own.
std::uint8_t low(std::uint32_t number) {
    return static_cast<std::uint8_t>(number);
}

std::uint8_t discStatus(const OpticalDisc& disc) {
    enum Status : std::uint8_t { empty = 0, incomplete = 1, finalized = 2, others = 3 };
    if (disc.isSequential())
        return disc.tracks().isBlank() ? empty : disc.tracks().isFinalized() ? finalized : incomplete;
    const bool isFree = disc.type().profile == 0x12 || disc.type().isBd();
    return isFree && disc.type().writing != OpticalWriting::none ? others : finalized;
}

std::uint8_t lastSessionState(const OpticalTracks& tracks) {
    enum State : std::uint8_t { empty = 0, incomplete = 1, complete = 3 };
    return tracks.isFinalized() ? complete : tracks.isSessionBegun() ? incomplete : empty;
}

void addTocEntry(Bytes& toc, bool isAudio, std::uint32_t lba, std::uint32_t number, bool isMsf) {
    constexpr std::uint8_t kPosition = 0x10;  // ADR 1
    constexpr std::uint8_t kDataTrack = 0x04;
    toc.insert(toc.end(), {0, static_cast<std::uint8_t>(kPosition | (isAudio ? 0 : kDataTrack)), low(number),
                           0, 0, 0, 0, 0});
    putBigEndian(&toc[toc.size() - 4], 4, isMsf ? toMsf(lba) : lba);
}

/// The tracks of closed sessions from a number on, and the lead-out.
Bytes tableOfContents(const OpticalTracks& tracks, std::uint8_t first, bool isMsf) {
    constexpr std::uint8_t kLeadOut = 0xAA;
    Bytes toc{0, 0, 1, 0};
    const OpticalTrack* last = nullptr;
    for (std::uint32_t number = 1; const OpticalTrack& track : tracks.all()) {
        if (tracks.isSessionClosed(track.session)) {
            if (number >= first)
                addTocEntry(toc, track.audio, tracks.layers().addressOf(track.start), number, isMsf);
            toc[3] = low(number);
            last = &track;
        }
        ++number;
    }
    if (last != nullptr)
        addTocEntry(toc, last->audio, tracks.layers().endOf(last->end()), kLeadOut, isMsf);
    return toc;
}

Bytes sessionInformation(const OpticalTracks& tracks, bool isMsf) {
    const auto last =
        static_cast<std::uint16_t>(tracks.isFinalized() ? tracks.sessions() : tracks.sessions() - 1);
    const std::uint32_t number = tracks.firstOfSession(last);
    Bytes toc{0, 0, 1, low(last)};
    const OpticalTrack& first = *tracks.byNumber(number);
    addTocEntry(toc, first.audio, tracks.layers().addressOf(first.start), number, isMsf);
    return toc;
}

/// MMC-6, READ TRACK INFORMATION.
Bytes describeTrack(const OpticalDisc& disc, std::uint32_t number) {
    const OpticalLayers& layers = disc.tracks().layers();
    const OpticalTrack& track = *disc.tracks().byNumber(number);
    const bool isCd = disc.type().isCd();
    const bool isFixed = disc.type().writing == OpticalWriting::overwrite;
    const bool inPackets = isFixed || !isCd;
    const bool takesMore = disc.tracks().freeSectors(track) != 0;
    Bytes bytes(48);
    putBigEndian(bytes.data(), 2, bytes.size() - 2);
    bytes[2] = low(number);
    bytes[3] = low(track.session);
    bytes[5] = track.audio ? 0 : inPackets ? 5 : 4;
    bytes[6] =
        static_cast<std::uint8_t>((track.reserved ? 0x80 : 0) | (track.written == 0 ? 0x40 : 0) |
                                  (inPackets ? 0x20 : 0) | (isFixed ? 0x10 : 0) | (track.audio ? 0 : 1));
    bytes[7] = static_cast<std::uint8_t>((takesMore ? 1 : 0) | (track.written != 0 ? 2 : 0));
    putBigEndian(&bytes[8], 4, layers.addressOf(track.start));
    putBigEndian(&bytes[12], 4, takesMore ? layers.addressOf(track.next()) : 0);
    putBigEndian(&bytes[16], 4, disc.tracks().freeSectors(track));
    putBigEndian(&bytes[20], 4, disc.type().blocking);
    putBigEndian(&bytes[24], 4, track.size);
    putBigEndian(&bytes[28], 4, track.written != 0 ? layers.addressOf(track.next() - 1) : 0);
    if (disc.type().jumpsLayers()) {
        bytes[5] |= 0x40;  // LJRS: the track is recorded by jumping
        const std::uint32_t next = track.next();
        putBigEndian(&bytes[40], 4, takesMore ? layers.addressOf(next + layers.sectorsToJump(next) - 1) : 0);
    }
    return bytes;
}

/// 0 when there is no such track.
std::uint32_t findTrack(const OpticalTracks& tracks, std::uint8_t addressType, std::uint32_t address) {
    enum AddressType : std::uint8_t { sector = 0, track = 1, session = 2 };
    constexpr std::uint32_t kIncompleteTrack = 0xFF;
    const auto count = static_cast<std::uint32_t>(tracks.all().size());
    switch (addressType) {
        case sector:
            return tracks.numberAt(address);
        case track:
            if (address == kIncompleteTrack)
                return tracks.all().back().open ? count : 0;
            return address <= count ? address : 0;
        case session:
            return address <= tracks.sessions() ? tracks.firstOfSession(static_cast<std::uint16_t>(address))
                                                : 0;
        default:
            return 0;
    }
}

void addPerformance(Bytes& bytes, std::initializer_list<std::uint32_t> fields) {
    for (const std::uint32_t field : fields) {
        bytes.resize(bytes.size() + 4);
        putBigEndian(&bytes[bytes.size() - 4], 4, field);
    }
}

}  // namespace

void getConfiguration(OpticalUnit& unit, OpticalCommand& command) {
    enum RequestType : std::uint8_t { all = 0, current = 1, one = 2 };
    constexpr std::size_t kHeaderBytes = 8;
    const std::uint8_t type = command.byte(1) & 0x03;
    if (type > one)
        return command.fail(kInvalidField);
    const Bytes features = describeFeatures(
        unit, {static_cast<std::uint16_t>(command.field(2, 2)), type == one, type == current});
    Bytes bytes = behindHeader(kHeaderBytes, features);
    putBigEndian(bytes.data(), 4, bytes.size() - 4);
    putBigEndian(&bytes[6], 2, unit.profile());
    command.answer(bytes, command.field(7, 2));
}

void getPerformance(OpticalUnit& unit, OpticalCommand& command) {
    enum Type : std::uint8_t { nominal = 0, writeSpeeds = 3 };
    constexpr std::uint8_t kWriteBit = 0x04;
    constexpr std::uint8_t kNominalTolerance = 0x10;  // and no exceptions
    constexpr std::uint32_t kExact = 0x02000000;
    constexpr std::size_t kDescriptorBytes = 16;
    const bool write = (command.byte(1) & kWriteBit) != 0;
    if (!unit.options.optical.performance)
        return command.fail(kInvalidOpcode);
    const std::uint8_t type = command.byte(10);
    const bool isNominal = type == nominal && (command.byte(1) & ~kWriteBit) == kNominalTolerance;
    const bool isKnown = type == writeSpeeds && unit.options.optical.writeSpeeds;
    if (!isNominal && (!isKnown || command.byte(1) != 0))
        return command.fail(kInvalidField);
    const std::uint32_t last = unit.tray.disc()->capacity() - 1;
    const std::uint32_t speed = write ? unit.speeds.write() : unit.speeds.read();
    Bytes bytes(8);
    if (isNominal && speed != 0)
        addPerformance(bytes, {0, speed, last, speed});
    if (type == writeSpeeds)
        for (const std::uint32_t known : unit.speeds.writeSpeeds())
            addPerformance(bytes, {kExact, last, unit.speeds.read(), known});
    putBigEndian(bytes.data(), 4, bytes.size() - 4);
    bytes[4] = isNominal && write ? 0x02 : 0;
    bytes.resize(std::min(bytes.size(), 8 + kDescriptorBytes * command.field(8, 2)));
    command.answer(bytes, bytes.size());
}

void readDiscInformation(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kUnknownType = 0xFF;
    const OpticalDisc& disc = *unit.tray.disc();
    const OpticalTracks& tracks = disc.tracks();
    if ((command.byte(1) & 0x07) != 0)
        return command.fail(kInvalidField);
    Bytes bytes(34);
    putBigEndian(bytes.data(), 2, bytes.size() - 2);
    bytes[2] = static_cast<std::uint8_t>((disc.type().erasable ? 0x10 : 0) | lastSessionState(tracks) << 2 |
                                         discStatus(disc));
    bytes[3] = 1;
    bytes[4] = low(tracks.sessions());
    bytes[5] = low(tracks.firstOfSession(tracks.sessions()));
    bytes[6] = low(static_cast<std::uint32_t>(tracks.all().size()));
    bytes[7] = 0x20;  // unrestricted use
    if (disc.type().isDvdPlus() && disc.type().erasable)
        bytes[7] |= static_cast<std::uint8_t>(disc.background().status());
    if (!disc.isFormatted())
        bytes[2] = 0x10;
    bytes[8] = tracks.isBlank() ? kUnknownType : 0;
    if (disc.type().isCd() && disc.isSequential())
        putBigEndian(&bytes[20], 4, toMsf(disc.capacity()));
    command.answer(bytes, command.field(7, 2));
}

/// The one structure that this drive has: how the medium is protected against writing.
void readDiscStructure(OpticalUnit& unit, OpticalCommand& command) {
    constexpr std::uint8_t kWriteProtection = 0xC0;
    constexpr std::uint8_t kForGood = 0x02;
    constexpr SimSense kIncompatibleMedium{0x5, 0x30, 0x02};
    const OpticalDisc& disc = *unit.tray.disc();
    const std::uint8_t mediaType = disc.type().isBd() ? 1 : 0;
    if (disc.type().isCd())
        return command.fail(kIncompatibleMedium);
    if ((command.byte(1) & 0x0F) != mediaType || command.byte(7) != kWriteProtection)
        return command.fail(kInvalidField);
    Bytes bytes{0, 6, 0, 0, disc.isWriteProtected() ? kForGood : std::uint8_t{0}, 0, 0, 0};
    command.answer(bytes, command.field(8, 2));
}

void readTrackInformation(OpticalUnit& unit, OpticalCommand& command) {
    const OpticalDisc& disc = *unit.tray.disc();
    const auto address = static_cast<std::uint32_t>(command.field(2, 4));
    const std::uint32_t number = findTrack(disc.tracks(), command.byte(1) & 0x03, address);
    if (number == 0)
        return command.fail(kInvalidField);
    command.answer(describeTrack(disc, number), command.field(7, 2));
}

void readToc(OpticalUnit& unit, OpticalCommand& command) {
    enum Format : std::uint8_t { toc = 0, sessions = 1 };
    const OpticalDisc& disc = *unit.tray.disc();
    const bool isMsf = (command.byte(1) & 0x02) != 0;
    const std::uint8_t format = command.byte(2) & 0x0F;
    const bool isListed = disc.isFormatted() && disc.tracks().isSessionClosed(1);
    if (!isListed || format > sessions)
        return command.fail(kInvalidField);
    Bytes bytes = format == toc ? tableOfContents(disc.tracks(), command.byte(6), isMsf)
                                : sessionInformation(disc.tracks(), isMsf);
    putBigEndian(bytes.data(), 2, bytes.size() - 2);
    command.answer(bytes, command.field(7, 2));
}

}  // namespace libDrive2::optical
