#include "libDrive2/linux/NVMeRing.h"

#include <liburing.h>
#include <linux/nvme_ioctl.h>

#include <cerrno>
#include <cstddef>
#include <cstring>

#include "libDrive2/linux/NVMeRequest.h"

namespace libDrive2 {

namespace {

/// The command lies behind the part that all entries have, in one of twice the usual size.
constexpr std::size_t kCommandOffset = offsetof(io_uring_sqe, addr3);

bool takesCommands(io_uring& ring) {
    io_uring_probe* const probe = io_uring_get_probe_ring(&ring);
    const bool takes = probe != nullptr && io_uring_opcode_supported(probe, IORING_OP_URING_CMD) != 0;
    io_uring_free_probe(probe);
    return takes;
}

}  // namespace

struct NVMeRing::State {
    io_uring ring{};
};

NVMeRing::NVMeRing(std::unique_ptr<State> state, FileDescriptor node)
    : m_state(std::move(state)), m_node(std::move(node)) {}

NVMeRing::~NVMeRing() {
    io_uring_queue_exit(&m_state->ring);
}

std::unique_ptr<NVMeRing> NVMeRing::create(FileDescriptor node) {
    auto state = std::make_unique<State>();
    if (!node || io_uring_queue_init(kDepth, &state->ring, IORING_SETUP_SQE128 | IORING_SETUP_CQE32) != 0)
        return nullptr;
    std::unique_ptr<NVMeRing> ring(new NVMeRing(std::move(state), std::move(node)));
    return takesCommands(ring->m_state->ring) ? std::move(ring) : nullptr;
}

/// False when the ring is full.
bool NVMeRing::prepare(const NVMeCommand& command, std::size_t number) {
    io_uring_sqe* const entry = io_uring_get_sqe(&m_state->ring);
    if (entry == nullptr)
        return false;
    std::memset(entry, 0, 2 * sizeof(io_uring_sqe));
    entry->opcode = IORING_OP_URING_CMD;
    entry->fd = m_node.get();
    entry->cmd_op = command.admin ? NVME_URING_CMD_ADMIN : NVME_URING_CMD_IO;
    const nvme_uring_cmd request = requestOf<nvme_uring_cmd>(command);
    std::memcpy(reinterpret_cast<std::byte*>(entry) + kCommandOffset, &request, sizeof request);
    io_uring_sqe_set_data64(entry, number);
    return true;
}

/// How many commands have come to their end.
unsigned NVMeRing::reap(std::span<Outcome> outcomes) {
    unsigned ended = 0;
    for (io_uring_cqe* completion = nullptr; io_uring_peek_cqe(&m_state->ring, &completion) == 0; ++ended) {
        Outcome& outcome = outcomes[io_uring_cqe_get_data64(completion)];
        const int answer = completion->res;
        outcome.error = answer < 0 ? -answer : 0;
        outcome.status = answer > 0 ? static_cast<std::uint16_t>(answer) : std::uint16_t{0};
        outcome.result = static_cast<std::uint32_t>(completion->big_cqe[0]);
        io_uring_cqe_seen(&m_state->ring, completion);
    }
    return ended;
}

bool NVMeRing::run(std::span<const NVMeCommand> commands, std::span<Outcome> outcomes) {
    io_uring& ring = m_state->ring;
    unsigned open = 0;
    for (std::size_t i = 0; i < commands.size(); ++i) {
        outcomes[i] = {};
        open += prepare(commands[i], i) ? 1U : 0U;
    }
    bool isRefused = false;
    // What the kernel has is waited for in any case: until then the drive may write to the buffers.
    while (open > (isRefused ? io_uring_sq_ready(&ring) : 0U)) {
        const unsigned unsent = io_uring_sq_ready(&ring);
        io_uring_cqe* completion = nullptr;
        const int answer =
            isRefused ? io_uring_wait_cqe(&ring, &completion) : io_uring_submit_and_wait(&ring, 1);
        open -= reap(outcomes);
        // With nothing in flight, nothing will make room either.
        const bool mayPass = answer == -EINTR || ((answer == -EAGAIN || answer == -EBUSY) && open > unsent);
        isRefused = isRefused || (answer < 0 && !mayPass);
    }
    return !isRefused;
}

}  // namespace libDrive2
