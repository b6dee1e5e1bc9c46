#pragma once

#include <memory>

#include "libDrive2/BlockHandle.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// The file of a journal, reached by its open handle: what its path leads to plays no part. Writes go through
/// to the medium, past the system's cache where they are aligned. The file neither grows nor shrinks.
class JournalHandle : public BlockHandle {
public:
    /// Shares the file, whose handle it needs no longer. Null on failure, with GetLastError().
    static std::unique_ptr<JournalHandle> open(HANDLE file, bool writable);

    [[nodiscard]] const BlockDeviceInfo& info() const override { return m_info; }
    DeviceStatus query() override;
    DeviceStatus read(std::uint64_t offset, void* buffer, std::size_t bytes) override;
    DeviceStatus write(std::uint64_t offset, const void* buffer, std::size_t bytes) override;
    DeviceStatus flush() override;
    DeviceStatus dropCache() override { return {}; }
    DeviceStatus reopen() override { return query(); }
    /// Transfers nothing from now on, so that the name of a deleted file can go.
    void close();

private:
    JournalHandle(zel::Handle plain, zel::Handle direct)
        : m_plain(std::move(plain)), m_direct(std::move(direct)) {}
    template <class Transfer>
    DeviceStatus transfer(std::uint64_t offset, std::size_t bytes, bool isAligned, Transfer once);

    zel::Handle m_plain;   ///< for transfers that the other one cannot do
    zel::Handle m_direct;  ///< past the cache; empty where the system refuses that
    BlockDeviceInfo m_info;
};

}  // namespace libDrive2
