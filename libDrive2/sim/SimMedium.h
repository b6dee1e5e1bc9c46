#pragma once

#include <cstdint>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/sim/SectorStore.h"
#include "libDrive2/sim/SimLocator.h"

namespace libDrive2 {

/// The model behind simulated drives: sectors, their faults, and the time that transfers take on
/// zel::Clock. Every operation counts as one command.
class SimMedium {
public:
    /// `image` backs the contents; empty for a model in memory.
    SimMedium(SimOptions options, SharedBlockHandle image);

    [[nodiscard]] const SimOptions& options() const { return m_options; }

    DeviceStatus read(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);
    DeviceStatus write(std::uint64_t lba, std::uint32_t count, const std::uint8_t* buffer);
    DeviceStatus seek(std::uint64_t lba);
    DeviceStatus flush();

private:
    DeviceStatus beginCommand();
    void spendTime(std::uint64_t lba, std::uint32_t count);
    bool hitTransient(std::uint64_t lba, std::uint32_t count, std::uint64_t& hit);
    void corrupt(std::uint64_t lba, std::uint32_t count, std::uint8_t* buffer);

    SimOptions m_options;
    SharedBlockHandle m_image;
    SectorStore m_store;
    std::uint64_t m_commands = 0;
    std::uint8_t m_corruption = 0;
};

}  // namespace libDrive2
