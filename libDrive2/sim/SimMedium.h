#pragma once

#include <cstdint>
#include <memory>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/sim/SectorStore.h"
#include "libDrive2/sim/SimHealth.h"
#include "libDrive2/sim/SimLocator.h"
#include "libDrive2/sim/SimSecurity.h"

namespace libDrive2 {

/// What became of an operation on a simulated medium; each kind of drive says it in its own way.
enum class SimFault : std::uint8_t {
    none,
    recovered,  ///< done, but only after the drive corrected an error
    gone,
    busy,
    noMedium,
    locked,  ///< with a password
    beyondEnd,
    writeProtected,
    unreadable,
    unwritable,
    unseekable,
    failedCheck,  ///< its data does not fit its protection information
};

struct SimOutcome {
    SimFault fault = SimFault::none;
    std::uint64_t lba = 0;                  ///< the first sector concerned, where one is
    const DeviceStatus* backing = nullptr;  ///< why, when the backing file failed; the medium's own

    [[nodiscard]] bool ok() const { return fault <= SimFault::recovered; }
};

/// Counts one command of a drive: gone, busy, or nothing.
SimFault countCommand(const SimOptions& options, std::uint64_t& count);

/// What commands have made of the drive; all of its handles see it.
struct SimDriveState {
    bool loaded = true;  ///< whether the medium, if there is one, is in the drive
    bool removalPrevented = false;
    bool stopped = false;
    std::uint16_t unitAttention = 0x2900;  ///< ASC and ASCQ that wait to be told; power-on to begin with
    SimSecurity security{};
    SimWarmth warmth{};
    std::shared_ptr<SimHealth> health{};  ///< never null in a drive
};

/// The model behind simulated drives: sectors, their faults, and the time that transfers take on
/// zel::Clock. All handles of a drive share it; they are used by one thread at a time.
class SimMedium {
public:
    /// `image` backs the contents; empty for a model in memory. `health` is what the drive went through
    /// before; null for a new one.
    SimMedium(SimOptions options, SharedBlockHandle image, std::shared_ptr<SimHealth> health = nullptr);

    [[nodiscard]] const SimOptions& options() const { return m_options; }
    [[nodiscard]] bool isPresent() const { return m_options.media[m_inserted].present && m_state.loaded; }
    /// Which medium of the options it is; another number is another medium.
    [[nodiscard]] std::size_t inserted() const { return m_inserted; }
    [[nodiscard]] bool isWriteProtected() const;
    /// 0 without a medium.
    [[nodiscard]] std::uint64_t bytes() const;
    [[nodiscard]] SimDriveState& state() { return m_state; }
    [[nodiscard]] const SimDriveState& state() const { return m_state; }

    void eject() { m_state.loaded = false; }
    /// Puts in the next medium; the last one stays the medium. A unit attention tells that it may be another.
    void load();

    [[nodiscard]] const SharedBlockHandle& image() const { return m_image; }
    /// Another handle to the same file.
    void setImage(SharedBlockHandle image) { m_image = std::move(image); }

    /// Degrees Celsius, now.
    [[nodiscard]] std::uint64_t temperature() const { return m_options.temperature + m_state.warmth.riseC(); }

    /// The first sector that cannot be read.
    [[nodiscard]] std::optional<std::uint64_t> firstBad() const;

    /// Counts one command: gone, busy, or nothing.
    SimOutcome beginCommand() { return {countCommand(m_options, m_commands)}; }

    // Parts of commands. After a failure the sectors in front of the faulty one have been transferred.
    SimOutcome read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    SimOutcome write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer);
    /// Reads without transferring.
    SimOutcome verify(std::uint64_t lba, std::uint32_t count);
    [[nodiscard]] SimOutcome seek(std::uint64_t lba) const;
    SimOutcome flush();
    /// Overwrites everything with zeros.
    SimOutcome erase();
    /// Whether the medium can be used at all, and has these sectors.
    [[nodiscard]] SimOutcome checkAccess(std::uint64_t lba, std::uint64_t count) const;

private:
    void insert(std::size_t number);
    void spendTime(std::uint64_t lba, std::uint32_t count);
    SimOutcome findUnreadable(std::uint64_t lba, std::uint32_t count);
    bool hitTransient(std::uint64_t lba, std::uint32_t count, std::uint64_t& hit);
    void corrupt(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    [[nodiscard]] bool isReal(std::uint64_t lba, std::uint32_t count) const;
    template <class Transfer>
    SimOutcome transferPieces(std::uint64_t lba, std::uint32_t count, Transfer transfer);
    void pretend(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    SimOutcome fetchReal(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    SimOutcome storeReal(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer);
    SimOutcome fetch(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    SimOutcome store(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer);

    SimOptions m_options;         ///< with the sectors of the medium that is in the drive
    std::uint64_t m_mostSectors;  ///< that a medium can have
    std::size_t m_inserted = 0;
    SharedBlockHandle m_image;
    SectorStore m_store;
    SimDriveState m_state;
    DeviceStatus m_backing;
    std::uint64_t m_commands = 0;
    std::uint8_t m_corruption = 0;
    std::uint64_t m_pretended = 0;  ///< reads that gave garbage
};

}  // namespace libDrive2
