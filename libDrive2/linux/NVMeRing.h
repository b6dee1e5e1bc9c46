#pragma once

#include <memory>
#include <span>

#include "libDrive2/NVMeDevice.h"
#include "libDrive2/linux/FileDescriptor.h"

namespace libDrive2 {

/// Many NVMe commands in flight, to a namespace's generic node, by io_uring. One thread at a time.
class NVMeRing {
public:
    static constexpr unsigned kDepth = 16;

    /// `node` is the generic node (/dev/ngXnY) of the namespace. Null where the kernel does not take commands
    /// this way (Linux 5.19).
    static std::unique_ptr<NVMeRing> create(FileDescriptor node);
    ~NVMeRing();
    NVMeRing(const NVMeRing&) = delete;
    NVMeRing& operator=(const NVMeRing&) = delete;

    /// What became of a command: the drive's status where `error` is 0, else the errno with which the kernel
    /// ended it, or kNotSent.
    struct Outcome {
        int error = kNotSent;
        std::uint16_t status = 0;
        std::uint32_t result = 0;
    };
    static constexpr int kNotSent = -1;

    /// Sends at most kDepth commands, and returns when none is in flight any more. False when the kernel
    /// takes no more: the ring is of no use then.
    bool run(std::span<const NVMeCommand> commands, std::span<Outcome> outcomes);

private:
    struct State;
    NVMeRing(std::unique_ptr<State> state, FileDescriptor node);
    bool prepare(const NVMeCommand& command, std::size_t number);
    unsigned reap(std::span<Outcome> outcomes);

    std::unique_ptr<State> m_state;
    FileDescriptor m_node;
};

}  // namespace libDrive2
