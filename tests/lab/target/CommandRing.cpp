#include "CommandRing.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/uio.h>
#include <unistd.h>
#define __LINUX_UIO_H  // the kernel's own iovec would be a second one
#include <linux/target_core_user.h>

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstring>
#include <limits>
#include <system_error>
#include <vector>

namespace lab {

using libDrive2::DataDirection;
using libDrive2::ScsiRequest;
using libDrive2::ScsiResponse;

namespace {

constexpr std::uint8_t kCheckCondition = 0x02;  // SAM-5

[[noreturn]] void fail(const std::string& what) {
    throw std::system_error(errno, std::generic_category(), what);
}

/// Operation code, SPC-4: the group tells the length.
std::uint8_t cdbBytes(std::uint8_t opcode) {
    constexpr std::uint8_t kBytes[] = {6, 10, 10, 16, 16, 12, 16, 16};
    return kBytes[opcode >> 5];
}

/// The ring does not tell the direction. Of the commands of optical drives (MMC-6) and disks (SBC-3) these
/// send data.
bool sendsData(std::uint8_t opcode) {
    constexpr std::uint8_t kSending[] = {0x04, 0x0A, 0x15, 0x2A, 0x2E, 0x3B, 0x54, 0x55,
                                         0x5D, 0x8A, 0xA3, 0xA7, 0xAA, 0xB6, 0xBF};
    return std::ranges::find(kSending, opcode) != std::end(kSending);
}

/// A command's data, which the ring keeps in pieces.
class Data {
public:
    Data(std::uint8_t* memory, const tcmu_cmd_entry& entry) {
        std::size_t bytes = 0;
        for (std::uint32_t i = 0; i < entry.req.iov_cnt; ++i) {
            const iovec piece = entry.req.iov[i];  // its address counts from the start of the memory
            m_pieces.push_back({memory + reinterpret_cast<std::uintptr_t>(piece.iov_base), piece.iov_len});
            bytes += piece.iov_len;
        }
        m_bytes.resize(bytes);
    }
    void gather() {
        std::uint8_t* at = m_bytes.data();
        for (const iovec& piece : m_pieces)
            at = std::copy_n(static_cast<const std::uint8_t*>(piece.iov_base), piece.iov_len, at);
    }
    void scatter() {
        const std::uint8_t* at = m_bytes.data();
        for (const iovec& piece : m_pieces) {
            std::memcpy(piece.iov_base, at, piece.iov_len);
            at += piece.iov_len;
        }
    }
    std::vector<std::uint8_t>& bytes() { return m_bytes; }

private:
    std::vector<iovec> m_pieces;
    std::vector<std::uint8_t> m_bytes;
};

void putResponse(tcmu_cmd_entry& entry, const ScsiResponse& response, bool isShort) {
    std::memset(&entry.rsp, 0, sizeof entry.rsp);
    entry.rsp.scsi_status = response.status;
    std::memcpy(entry.rsp.sense_buffer, response.sense.data(),
                std::min<std::size_t>(response.senseBytes, TCMU_SENSE_BUFFERSIZE));
    if (!response.delivery.ok()) {  // LOGICAL UNIT COMMUNICATION FAILURE, as of a drive that is gone
        constexpr std::uint8_t kSense[] = {0x70, 0, 0x04, 0, 0, 0, 0, 10, 0, 0, 0, 0, 0x08, 0};
        entry.rsp.scsi_status = kCheckCondition;
        std::memcpy(entry.rsp.sense_buffer, kSense, sizeof kSense);
    }
    if (isShort) {
        entry.rsp.read_len = static_cast<std::uint32_t>(response.transferredBytes);
        entry.hdr.uflags |= TCMU_UFLAG_READ_LEN;
    }
}

}  // namespace

CommandRing::CommandRing(const std::string& node, std::size_t bytes)
    : m_fd(open(node.c_str(), O_RDWR | O_CLOEXEC)), m_bytes(bytes) {
    void* const memory =
        m_fd < 0 ? MAP_FAILED : mmap(nullptr, bytes, PROT_READ | PROT_WRITE, MAP_SHARED, m_fd, 0);
    if (memory == MAP_FAILED)
        fail(node);
    m_memory = static_cast<std::uint8_t*>(memory);
}

CommandRing::~CommandRing() {
    munmap(m_memory, m_bytes);
    close(m_fd);
}

void CommandRing::serve(const Device& device) {
    while (true) {
        std::uint32_t events = 0;
        if (read(m_fd, &events, sizeof events) != sizeof events && errno != EINTR)
            fail("waiting for commands");
        answerAll(device);
        if (write(m_fd, &events, sizeof events) != sizeof events)
            fail("telling of answers");
    }
}

void CommandRing::answerAll(const Device& device) {
    const auto& mailbox = *reinterpret_cast<const tcmu_mailbox*>(m_memory);
    const auto at = [this](std::size_t offset) {
        return std::atomic_ref(*reinterpret_cast<std::uint32_t*>(m_memory + offset));
    };
    const auto head = at(offsetof(tcmu_mailbox, cmd_head));
    const auto tail = at(offsetof(tcmu_mailbox, cmd_tail));
    while (head.load() != tail.load()) {
        auto& entry = *reinterpret_cast<tcmu_cmd_entry*>(m_memory + mailbox.cmdr_off + tail.load());
        const std::uint32_t header = entry.hdr.len_op;
        if (tcmu_hdr_get_op(header) == TCMU_OP_CMD)
            answer(entry, device);
        else if (tcmu_hdr_get_op(header) != TCMU_OP_PAD)
            entry.hdr.uflags |= TCMU_UFLAG_UNKNOWN_OP;
        tail.store((tail.load() + tcmu_hdr_get_len(header)) % mailbox.cmdr_size);
    }
}

void CommandRing::answer(tcmu_cmd_entry& entry, const Device& device) {
    Data data(m_memory, entry);
    const std::uint8_t* const cdb = m_memory + entry.req.cdb_off;
    ScsiRequest request;
    request.timeoutMs = std::numeric_limits<std::uint32_t>::max();  // the kernel knows, and does not tell
    request.cdbBytes = cdbBytes(cdb[0]);
    std::copy_n(cdb, request.cdbBytes, request.cdb.begin());
    request.data = data.bytes().data();
    request.dataBytes = data.bytes().size();
    const bool reads = request.dataBytes > 0 && !sendsData(cdb[0]);
    if (request.dataBytes > 0)
        request.direction = reads ? DataDirection::fromDevice : DataDirection::toDevice;
    if (!reads)
        data.gather();
    const ScsiResponse response = device(request);
    if (reads)
        data.scatter();
    putResponse(entry, response, reads && response.transferredBytes < request.dataBytes);
}

}  // namespace lab
