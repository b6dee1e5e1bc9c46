#pragma once

#include <optional>
#include <vector>

#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// Sense key, additional sense code and its qualifier (SPC-4).
struct SimSense {
    std::uint8_t key;
    std::uint8_t code;
    std::uint8_t qualifier;
};

inline constexpr SimSense kNoSense{0x0, 0x00, 0x00};
inline constexpr SimSense kInvalidOpcode{0x5, 0x20, 0x00};
inline constexpr SimSense kInvalidField{0x5, 0x24, 0x00};
inline constexpr SimSense kNoMedium{0x2, 0x3A, 0x00};

/// Fixed format of 18 bytes, or descriptor format when asked for or when the LBA needs it.
std::vector<std::uint8_t> encodeSense(SimSense sense, std::optional<std::uint64_t> lba, bool descriptor);

/// One command on its way through a model: what it asks, and what is answered.
class SimScsiCommand {
public:
    SimScsiCommand(const ScsiRequest& request, ScsiResponse& response, bool descriptorSense)
        : m_request(request), m_response(response), m_descriptorSense(descriptorSense) {}

    [[nodiscard]] std::uint8_t opcode() const { return m_request.cdb[0]; }
    [[nodiscard]] std::uint8_t byte(std::size_t at) const { return m_request.cdb[at]; }
    /// A field of the CDB; its bytes stand most significant first.
    [[nodiscard]] std::uint64_t field(std::size_t at, std::size_t bytes) const;
    /// How long the opcode says that its CDB is; 0 when it does not say (SPC-4, operation code).
    [[nodiscard]] std::uint8_t opcodeBytes() const;

    /// The sectors that a block command names.
    struct Extent {
        std::uint64_t lba;
        std::uint32_t count;
    };
    [[nodiscard]] Extent extent() const;

    /// The caller's buffer, as far as it is for this direction.
    [[nodiscard]] std::size_t bufferBytes(DataDirection direction) const {
        return m_request.direction == direction ? m_request.dataBytes : 0;
    }
    [[nodiscard]] std::uint8_t* buffer() const { return static_cast<std::uint8_t*>(m_request.data); }
    void setTransferred(std::size_t bytes) { m_response.transferredBytes = bytes; }

    /// Sends as much as the allocation length of the CDB and the caller's buffer take.
    void answer(const std::vector<std::uint8_t>& bytes, std::uint64_t allocationLength);
    /// Ends with CHECK CONDITION.
    void fail(SimSense sense, std::optional<std::uint64_t> lba = std::nullopt);
    /// Ends as the medium's part of the command did.
    void finish(const SimOutcome& outcome);

private:
    const ScsiRequest& m_request;
    ScsiResponse& m_response;
    bool m_descriptorSense;
};

}  // namespace libDrive2
