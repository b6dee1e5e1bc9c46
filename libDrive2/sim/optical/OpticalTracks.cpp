#include "libDrive2/sim/optical/OpticalTracks.h"

#include <algorithm>

namespace libDrive2 {

namespace {

// Track at once (MMC-6, CD recording): blocks that end a track and hold no data, and the gap to the next.
constexpr std::uint32_t kRunOut = 2;
constexpr std::uint32_t kPregap = 150;
// Lead-out and lead-in between the sessions of a CD, and about what the borders of DVDs take.
constexpr std::uint32_t kFirstCdGap = 11400;
constexpr std::uint32_t kLaterCdGap = 6900;
constexpr std::uint32_t kDvdGap = 4096;
constexpr std::uint32_t kAnyIncompleteTrack = 0xFF;
constexpr std::size_t kMaxTracks = 99;

constexpr SimSense kNoMoreReservations{0x5, 0x72, 0x05};
constexpr SimSense kReservedTrackNotFull{0x5, 0x72, 0x04};
constexpr SimSense kIncompleteTrack{0x5, 0x72, 0x03};
constexpr SimSense kSessionFixation{0x5, 0x72, 0x00};

}  // namespace

OpticalTracks::OpticalTracks(const OpticalMediaType& type, std::uint32_t capacity)
    : m_type(&type), m_capacity(capacity - capacity % type.blocking), m_layers(type, m_capacity) {
    if (type.isCd()) {
        m_runOut = kRunOut;
        m_pregap = kPregap;
    }
    openTrack(0);
}

OpticalTracks OpticalTracks::pressed(const OpticalMediaType& type, std::uint32_t capacity) {
    OpticalTracks tracks(type, capacity);
    tracks.m_tracks.clear();
    tracks.m_finalized = true;
    const std::uint32_t count = type.content == OpticalContent::data ? 1 : 3;
    for (std::uint32_t i = 0; i < count; ++i) {
        const std::uint32_t start = capacity / count * i;
        const std::uint32_t size = i + 1 < count ? capacity / count : capacity - start;
        const bool audio =
            type.content == OpticalContent::audio || (type.content == OpticalContent::mixed && i > 0);
        tracks.m_tracks.push_back({start, size, size, 1, false, false, audio});
    }
    return tracks;
}

void OpticalTracks::record(std::uint32_t sectors, bool last) {
    wrote(m_tracks.back().start, std::min(roundUp(sectors), freeSectors(m_tracks.back())));
    (void)closeTrack(static_cast<std::uint32_t>(m_tracks.size()));
    (void)closeSession(last);
}

const OpticalTrack* OpticalTracks::byNumber(std::uint32_t number) const {
    return number >= 1 && number <= m_tracks.size() ? &m_tracks[number - 1] : nullptr;
}

std::uint32_t OpticalTracks::numberAt(std::uint32_t lba) const {
    const std::uint32_t position = m_layers.positionOf(lba);
    const auto found = std::ranges::find_if(m_tracks, [position](const OpticalTrack& track) {
        return position >= track.start && position < track.end();
    });
    return found != m_tracks.end() ? static_cast<std::uint32_t>(found - m_tracks.begin()) + 1 : 0;
}

std::uint32_t OpticalTracks::firstOfSession(std::uint16_t session) const {
    const auto found = std::ranges::find(m_tracks, session, &OpticalTrack::session);
    return found != m_tracks.end() ? static_cast<std::uint32_t>(found - m_tracks.begin()) + 1 : 0;
}

bool OpticalTracks::isBlank() const {
    return m_session == 1 && !isSessionBegun() && !m_finalized;
}

bool OpticalTracks::isSessionBegun() const {
    return !m_finalized && std::ranges::any_of(m_tracks, [this](const OpticalTrack& track) {
        return track.session == m_session && (track.written != 0 || track.reserved);
    });
}

std::uint32_t OpticalTracks::recordedEnd() const {
    std::uint32_t end = 0;
    for (const OpticalTrack& track : m_tracks)
        if (track.written != 0)
            end = track.next();
    return m_layers.endOf(end);
}

std::uint32_t OpticalTracks::closedEnd() const {
    std::uint32_t end = 0;
    for (const OpticalTrack& track : m_tracks)
        if (isSessionClosed(track.session))
            end = m_type->isCd() ? track.end() : track.next();  // the run-out of CDs counts
    return m_layers.endOf(end);
}

const OpticalTrack* OpticalTracks::findToClose(std::uint32_t number) const {
    return byNumber(number == kAnyIncompleteTrack ? lastNumber() : number);
}

std::uint32_t OpticalTracks::freeSectors(const OpticalTrack& track) const {
    return track.open ? track.size - track.written - m_runOut : 0;
}

OpticalRefusal OpticalTracks::checkRead(std::uint64_t lba, std::uint64_t count) const {
    const std::uint64_t end = recordedEnd();
    if (lba > end || count > end - lba)
        return kBeyondEnd;
    while (count != 0) {
        const std::uint32_t position = m_layers.positionOf(static_cast<std::uint32_t>(lba));
        const OpticalTrack* const track = byNumber(numberAt(static_cast<std::uint32_t>(lba)));
        if (track == nullptr || track->audio || position >= track->next())
            return kIllegalMode;
        const std::uint64_t taken =
            std::min<std::uint64_t>({count, track->next() - position, m_layers.sectorsToJump(position)});
        lba += taken;
        count -= taken;
    }
    return std::nullopt;
}

OpticalRefusal OpticalTracks::checkWrite(std::uint64_t lba, std::uint64_t count) const {
    if (lba >= m_capacity)
        return kBeyondEnd;
    const OpticalTrack* const track = byNumber(numberAt(static_cast<std::uint32_t>(lba)));
    if (track == nullptr || !track->open || lba != m_layers.addressOf(track->next()) ||
        count > m_layers.sectorsToJump(track->next()))
        return kInvalidWriteAddress;
    return count > freeSectors(*track) ? OpticalRefusal(kEndOfUserArea) : std::nullopt;
}

void OpticalTracks::begin(std::uint64_t lba, OpticalWriteType mode) {
    OpticalTrack& track = m_tracks[numberAt(static_cast<std::uint32_t>(lba)) - 1];
    if (!track.mode)
        track.mode = mode;
}

void OpticalTracks::wrote(std::uint64_t lba, std::uint32_t count) {
    const std::uint32_t number = numberAt(static_cast<std::uint32_t>(lba));
    m_tracks[number - 1].written += count;
}

void OpticalTracks::pad() {
    for (OpticalTrack& track : m_tracks)
        if (track.open)
            track.written = roundUp(track.written);
}

OpticalRefusal OpticalTracks::reserve(std::uint32_t sectors) {
    if (m_finalized || !m_tracks.back().open || m_tracks.back().reserved)
        return kInvalidField;
    if (m_tracks.back().written != 0)
        return kSequenceError;
    if (m_tracks.size() >= kMaxTracks)
        return kNoMoreReservations;
    OpticalTrack& track = m_tracks.back();
    if (sectors == 0 || sectors > freeSectors(track))
        return kInvalidField;
    track.reserved = true;
    track.size = roundUp(sectors) + m_runOut;
    openTrack(track.end() + m_pregap);
    return std::nullopt;
}

OpticalRefusal OpticalTracks::closeTrack(std::uint32_t number) {
    const OpticalTrack* const found = findToClose(number);
    if (found == nullptr)
        return kInvalidField;
    OpticalTrack& track = m_tracks[static_cast<std::size_t>(found - m_tracks.data())];
    if (!track.open)
        return std::nullopt;
    if (track.written == 0 && !track.reserved)
        return kInvalidField;
    track.open = false;
    if (track.reserved) {
        track.written = track.size - m_runOut;
    } else {
        track.written = roundUp(track.written);
        track.size = track.written + m_runOut;
        openTrack(track.end() + m_pregap);
    }
    return std::nullopt;
}

OpticalRefusal OpticalTracks::closeSession(bool last, bool strict) {
    if (!isSessionBegun())
        return kSessionFixation;
    for (const OpticalTrack& track : m_tracks) {
        if (track.reserved && freeSectors(track) != 0)
            return kReservedTrackNotFull;
        if (track.open && !track.reserved && track.written != 0 && (strict || m_type->isCd()))
            return kIncompleteTrack;
    }
    for (OpticalTrack& track : m_tracks)
        track.open = track.open && !track.reserved;
    if (m_tracks.back().open && m_tracks.back().written != 0)
        (void)closeTrack(kAnyIncompleteTrack);
    if (m_tracks.back().open)
        m_tracks.pop_back();
    const std::uint32_t start = m_tracks.back().end() + sessionGap();
    if (!last) {
        ++m_session;
        openTrack(start);
    }
    // A session that finds no room is none.
    m_finalized = last || !m_tracks.back().open;
    if (!last && m_finalized)
        --m_session;
    return std::nullopt;
}

std::uint32_t OpticalTracks::lastNumber() const {
    return static_cast<std::uint32_t>(m_tracks.size());
}

std::uint32_t OpticalTracks::sessionGap() const {
    if (m_type->isBd())
        return 0;
    const std::uint32_t gap = !m_type->isCd() ? kDvdGap : m_session == 1 ? kFirstCdGap : kLaterCdGap;
    // Discs of few sectors, as tests like them, shall have room for several sessions.
    const std::uint32_t most = m_capacity / 16;
    return std::min(gap, most - most % m_type->blocking);
}

std::uint32_t OpticalTracks::roundUp(std::uint32_t sectors) const {
    return (sectors + m_type->blocking - 1) / m_type->blocking * m_type->blocking;
}

void OpticalTracks::openTrack(std::uint32_t start) {
    if (start + m_runOut + m_type->blocking > m_capacity || m_tracks.size() >= kMaxTracks)
        return;
    m_tracks.push_back({start, m_capacity - start, 0, m_session, true, false, false});
}

}  // namespace libDrive2
