#pragma once

#include <cstddef>

#include "libDrive2/BlockHandle.h"
#include "libDrive2/ScsiPassThrough.h"
#include "libDrive2/commands/Bytes.h"
#include "libDrive2/windows/AutoRunHold.h"
#include "zel/Buffer.h"
#include "zel/windows/Handle.h"

namespace libDrive2 {

/// Enough to keep a drive busy while the next command is on its way.
inline constexpr unsigned kCommandsInFlight = 4;

/// A device that commands are sent to. It must be a whole device: through a partition or a volume, commands
/// would reach other sectors than those that its numbers mean.
class PassThroughDevice {
public:
    explicit PassThroughDevice(const zel::String& path) : m_path(path) {}

    /// Also to open it again. Drivers take commands only from those who may write.
    DeviceStatus open();
    [[nodiscard]] HANDLE handle() const { return m_handle.get(); }
    [[nodiscard]] const zel::String& path() const { return m_path; }
    /// The largest transfer that the driver takes as one command.
    [[nodiscard]] std::size_t maxTransferBytes() const { return m_maxTransferBytes; }
    /// What data buffers must be aligned to.
    [[nodiscard]] std::size_t alignment() const { return m_alignment; }
    /// Sends a command, whose driver answers in its place: `answer` is as much of it as came back. A failure
    /// says nothing of the medium.
    DeviceStatus exchange(DWORD code, void* command, std::size_t bytes, Bytes& answer) const;
    bool holdAutoRun(bool hold) { return hold ? m_autoRun.hold(m_path) : m_autoRun.letGo(); }

private:
    [[nodiscard]] DeviceStatus checkWholeDevice() const;
    void readLimits();
    [[nodiscard]] DeviceStatus failure(DWORD error) const;

    zel::String m_path;
    zel::Handle m_handle;
    AutoRunHold m_autoRun;
    std::size_t m_maxTransferBytes = 0;
    std::size_t m_alignment = 1;
};

/// A command's data where the driver can take it: the caller's own buffer, or a copy that is aligned.
class CommandData {
public:
    CommandData(void* data, std::size_t bytes, DataDirection direction, std::size_t alignment);

    /// Null where no data moves.
    [[nodiscard]] void* data() const { return m_data; }
    [[nodiscard]] std::size_t bytes() const { return m_bytes; }
    /// Hands what has come over to the caller's buffer.
    void deliver() const;

private:
    void* m_callers;
    void* m_data;
    std::size_t m_bytes;
    DataDirection m_direction;
    zel::Buffer m_copy;
};

/// Drivers count whole seconds; 0 would be their own default.
DWORD wholeSeconds(std::uint32_t milliseconds);

/// Whether drivers can count so many bytes of data, along with a header.
DeviceStatus checkDataBytes(std::size_t bytes);

/// Of an answer that is not as long as it must be.
DeviceStatus answerCutOff();

}  // namespace libDrive2
