#pragma once

#include <memory>

#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// The block interface of a simulated drive. As with the kernel's, what was opened without a medium, or with
/// another one, has to be opened again before it transfers anything.
class SimBlockHandle : public BlockHandle {
public:
    SimBlockHandle(std::shared_ptr<SimMedium> medium, bool writable);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus seek(std::uint64_t offset) override;
    DeviceStatus flush() override;
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus eject() override;
    DeviceStatus load() override;
    DeviceStatus lockMedium(bool lock) override;
    DeviceStatus reopen() override;

private:
    template <class Operation>
    DeviceStatus perform(Operation operation);
    template <class Operation>
    DeviceStatus onMedium(Operation operation);
    [[nodiscard]] bool seesMedium() const;

    std::shared_ptr<SimMedium> m_medium;
    BlockDeviceInfo m_info;
    std::size_t m_opened = 0;  ///< the medium that was in the drive when it was opened
    bool m_isOpenedEmpty = false;
};

}  // namespace libDrive2
