#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "libDrive2/sim/SimScsiCommand.h"
#include "libDrive2/sim/optical/OpticalLayers.h"
#include "libDrive2/sim/optical/OpticalWriteParameters.h"

namespace libDrive2 {

/// Why a drive does not do what it is asked; nothing when it does.
using OpticalRefusal = std::optional<SimSense>;

inline constexpr SimSense kBeyondEnd{0x5, 0x21, 0x00};
inline constexpr SimSense kInvalidWriteAddress{0x5, 0x21, 0x02};
inline constexpr SimSense kSequenceError{0x5, 0x2C, 0x00};
inline constexpr SimSense kCannotWriteMedium{0x5, 0x30, 0x05};
inline constexpr SimSense kInvalidParameter{0x5, 0x26, 0x00};
inline constexpr SimSense kEndOfUserArea{0x5, 0x63, 0x00};
inline constexpr SimSense kIllegalMode{0x5, 0x64, 0x00};

/// Counts in positions: in the order of recording.
struct OpticalTrack {
    std::uint32_t start = 0;
    std::uint32_t size = 0;     ///< an open track reaches to its reservation's end, or to that of the disc
    std::uint32_t written = 0;  ///< sectors from the start on that hold data
    std::uint16_t session = 1;
    bool open = false;
    bool reserved = false;
    bool audio = false;
    std::optional<OpticalWriteType> mode{};  ///< once it is begun

    [[nodiscard]] std::uint32_t end() const { return start + size; }
    [[nodiscard]] std::uint32_t next() const { return start + written; }
};

/// The tracks and sessions of a disc, and the rules by which sequential recording adds to them. While there
/// is room and the disc is not closed, the last track is the open one that nobody has reserved. LBAs are
/// addresses, which layers() tells from the positions that tracks count in.
class OpticalTracks {
public:
    /// A blank disc.
    OpticalTracks(const OpticalMediaType& type, std::uint32_t capacity);
    /// A pressed disc, or one that is overwritten anywhere: complete.
    static OpticalTracks pressed(const OpticalMediaType& type, std::uint32_t capacity);
    /// With one session of so many sectors; nothing more can follow when it is to be the last.
    void record(std::uint32_t sectors, bool last);

    [[nodiscard]] const std::vector<OpticalTrack>& all() const { return m_tracks; }
    /// Numbers count from 1; null when there is no such track.
    [[nodiscard]] const OpticalTrack* byNumber(std::uint32_t number) const;
    /// 0 when the sector belongs to no track.
    [[nodiscard]] std::uint32_t numberAt(std::uint32_t lba) const;
    [[nodiscard]] std::uint32_t firstOfSession(std::uint16_t session) const;
    [[nodiscard]] std::uint16_t sessions() const { return m_session; }
    [[nodiscard]] bool isFinalized() const { return m_finalized; }
    [[nodiscard]] bool isBlank() const;
    /// Whether a session has begun that is not closed.
    [[nodiscard]] bool isSessionBegun() const;
    [[nodiscard]] bool isSessionClosed(std::uint16_t session) const {
        return m_finalized || session < m_session;
    }
    [[nodiscard]] const OpticalLayers& layers() const { return m_layers; }
    /// Behind the highest LBA that holds data.
    [[nodiscard]] std::uint32_t recordedEnd() const;
    /// Behind the last LBA of closed sessions.
    [[nodiscard]] std::uint32_t closedEnd() const;
    /// The track that CLOSE TRACK means; null for none.
    [[nodiscard]] const OpticalTrack* findToClose(std::uint32_t number) const;
    /// Sectors of a track that can still be written.
    [[nodiscard]] std::uint32_t freeSectors(const OpticalTrack& track) const;

    [[nodiscard]] OpticalRefusal checkRead(std::uint64_t lba, std::uint64_t count) const;
    [[nodiscard]] OpticalRefusal checkWrite(std::uint64_t lba, std::uint64_t count) const;
    /// Settles how the track is recorded, unless it was begun before.
    void begin(std::uint64_t lba, OpticalWriteType mode);
    void wrote(std::uint64_t lba, std::uint32_t count);
    /// Fills the last block of open tracks.
    void pad();
    OpticalRefusal reserve(std::uint32_t sectors);
    OpticalRefusal closeTrack(std::uint32_t number);
    /// A strict drive closes no track by the way.
    OpticalRefusal closeSession(bool last, bool strict = false);

private:
    [[nodiscard]] std::uint32_t lastNumber() const;
    [[nodiscard]] std::uint32_t sessionGap() const;
    [[nodiscard]] std::uint32_t roundUp(std::uint32_t sectors) const;
    void openTrack(std::uint32_t start);

    std::vector<OpticalTrack> m_tracks;
    const OpticalMediaType* m_type;
    std::uint32_t m_capacity;
    OpticalLayers m_layers;
    std::uint32_t m_runOut = 0;
    std::uint32_t m_pregap = 0;
    std::uint16_t m_session = 1;
    bool m_finalized = false;
};

}  // namespace libDrive2
