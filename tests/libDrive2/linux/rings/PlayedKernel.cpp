#include "PlayedKernel.h"

#include <algorithm>
#include <cerrno>
#include <cstddef>
#include <cstdlib>
#include <cstring>

namespace libDrive2 {

PlayedKernel* PlayedKernel::current = nullptr;

PlayedKernel::PlayedKernel() {
    current = this;
}

PlayedKernel::~PlayedKernel() {
    current = nullptr;
}

int PlayedKernel::setUp(unsigned entries, io_uring& ring, unsigned flags) {
    if (setUpError != 0)
        return setUpError;
    const bool isLong = (flags & IORING_SETUP_SQE128) != 0;
    const bool endsLong = (flags & IORING_SETUP_CQE32) != 0;
    const unsigned ends = 2 * entries;
    m_flags = flags;
    m_sqHead = m_sqTail = m_cqHead = m_cqTail = 0;
    m_entries.assign(std::size_t{entries} * (isLong ? 2 : 1), {});
    m_completions.assign(ends * (endsLong ? 4U : 2U), 0);
    ring = {};
    ring.flags = flags;
    ring.features = IORING_FEAT_EXT_ARG;
    ring.sq = {};
    ring.sq.khead = &m_sqHead;
    ring.sq.ktail = &m_sqTail;
    ring.sq.kflags = &m_sqFlags;
    ring.sq.sqes = m_entries.data();
    ring.sq.ring_entries = entries;
    ring.sq.ring_mask = entries - 1;
    ring.cq.khead = &m_cqHead;
    ring.cq.ktail = &m_cqTail;
    ring.cq.cqes = reinterpret_cast<io_uring_cqe*>(m_completions.data());
    ring.cq.ring_entries = ends;
    ring.cq.ring_mask = ends - 1;
    return 0;
}

void PlayedKernel::tearDown() {
    m_wasMisused = m_wasMisused || !m_inFlight.empty();
}

PlayedKernel::Call PlayedKernel::nextCall() {
    if (calls.empty())
        return {};
    const Call call = calls.front();
    calls.pop_front();
    return call;
}

unsigned PlayedKernel::take(io_uring& ring, unsigned most) {
    const unsigned width = (m_flags & IORING_SETUP_SQE128) != 0 ? 2 : 1;
    unsigned taken = 0;
    for (; taken < most && m_sqHead != ring.sq.sqe_tail; ++taken, ++m_sqHead) {
        const io_uring_sqe& entry = m_entries[std::size_t{m_sqHead & ring.sq.ring_mask} * width];
        Work work{entry.user_data, entry.opcode, entry.cmd_op, entry.off, entry.addr, entry.len, {}};
        if (width == 2) {
            const auto* const from =
                reinterpret_cast<const std::byte*>(&entry) + offsetof(io_uring_sqe, addr3);
            work.command.assign(from, reinterpret_cast<const std::byte*>(&entry + 2));
        }
        m_inFlight.push_back(std::move(work));
    }
    m_sqTail = ring.sq.sqe_tail;
    m_most = std::max(m_most, m_inFlight.size());
    return taken;
}

int PlayedKernel::end(io_uring& ring, unsigned count) {
    const unsigned width = (m_flags & IORING_SETUP_CQE32) != 0 ? 4 : 2;
    for (; count > 0 && !m_inFlight.empty(); --count) {
        const auto which = endsNewestFirst ? m_inFlight.end() - 1 : m_inFlight.begin();
        const Work work = std::move(*which);
        m_inFlight.erase(which);
        const End ended = carryOut(work);
        std::uint64_t* const place = &m_completions[std::size_t{m_cqTail & ring.cq.ring_mask} * width];
        io_uring_cqe head{};
        head.user_data = work.number;
        head.res = ended.result;
        std::memcpy(static_cast<void*>(place), &head, 16);
        if (width == 4)
            place[2] = ended.extra;
        ++m_cqTail;
    }
    return 0;
}

int PlayedKernel::submitAndWait(io_uring& ring, unsigned least) {
    const Call call = nextCall();
    if (call.error != 0)
        return call.error;
    const unsigned wanted = ring.sq.sqe_tail - m_sqHead;
    const unsigned taken = take(ring, call.takes);
    if (taken < wanted)
        return static_cast<int>(taken);
    const bool isThere = m_cqTail - m_cqHead >= least;
    if (!isThere && m_inFlight.empty()) {
        m_wasMisused = true;
        return -EDEADLK;
    }
    if (call.ends == 0)
        return isThere || taken > 0 ? static_cast<int>(taken) : -EINTR;
    end(ring, call.ends);
    return static_cast<int>(taken);
}

int PlayedKernel::wait(io_uring& ring) {
    const Call call = nextCall();
    if (call.error != 0)
        return call.error;
    if (m_inFlight.empty()) {
        m_wasMisused = true;
        return -EDEADLK;
    }
    return call.ends == 0 ? -EINTR : end(ring, call.ends);
}

}  // namespace libDrive2

using libDrive2::PlayedKernel;

// liburing's, as far as the rings call them and its header does not hold them whole.
extern "C" {

int io_uring_queue_init(unsigned entries, io_uring* ring, unsigned flags) {
    return PlayedKernel::current->setUp(entries, *ring, flags);
}

void io_uring_queue_exit(io_uring* /*ring*/) {
    PlayedKernel::current->tearDown();
}

int io_uring_submit_and_wait(io_uring* ring, unsigned least) {
    return PlayedKernel::current->submitAndWait(*ring, least);
}

/// Behind io_uring_wait_cqe(), and io_uring_peek_cqe(), which does not wait.
int __io_uring_get_cqe(io_uring* ring, io_uring_cqe** completion, unsigned /*submit*/, unsigned least,
                       sigset_t* /*mask*/) {
    const int answer = least == 0 ? 0 : PlayedKernel::current->wait(*ring);
    unsigned available = 0;
    if (answer == 0)
        (void)__io_uring_peek_cqe(ring, completion, &available);
    return answer != 0 ? answer : available > 0 ? 0 : -EAGAIN;
}

io_uring_probe* io_uring_get_probe_ring(io_uring* /*ring*/) {
    constexpr unsigned kOperations = IORING_OP_LAST;
    auto* const probe = static_cast<io_uring_probe*>(
        std::calloc(1, sizeof(io_uring_probe) + kOperations * sizeof(io_uring_probe_op)));
    probe->last_op = kOperations - 1;
    for (unsigned i = 0; i < kOperations; ++i)
        probe->ops[i].flags =
            i != IORING_OP_URING_CMD || PlayedKernel::current->knowsCommands ? IO_URING_OP_SUPPORTED : 0;
    return probe;
}

void io_uring_free_probe(io_uring_probe* probe) {
    std::free(probe);
}

}  // extern "C"
