#include <fcntl.h>
#include <gmock/gmock.h>
#include <linux/nvme_ioctl.h>

#include <array>
#include <cerrno>
#include <cstring>
#include <string>

#include "PlayedKernel.h"
#include "libDrive2/linux/NVMeRing.h"

namespace libDrive2 {
namespace {

constexpr std::size_t kBytes = 512;

/// A namespace whose sectors hold their numbers; a sector that is in `fates` ends like that.
class NVMeRingOnPlayedKernel : public testing::Test {
protected:
    NVMeRingOnPlayedKernel() {
        kernel.carryOut = [this](const PlayedKernel::Work& work) {
            nvme_uring_cmd command{};
            std::memcpy(&command, work.command.data(), sizeof command);
            if (const auto fate = fates.find(command.cdw10); fate != fates.end())
                return fate->second;
            std::memset(reinterpret_cast<void*>(command.addr), static_cast<int>(command.cdw10),
                        command.data_len);
            return PlayedKernel::End{0, command.cdw10};
        };
    }
    std::unique_ptr<NVMeRing> create() {
        return NVMeRing::create(FileDescriptor(::open("/dev/null", O_RDONLY)));
    }
    /// Reads so many sectors, each by a command, and tells what became of them: "." for good ones, "-" for
    /// those that were not sent, else the error or status. What the buffers hold is looked at, too.
    std::string read(NVMeRing& ring, std::size_t count) {
        std::vector<NVMeCommand> commands(count);
        std::vector<NVMeRing::Outcome> outcomes(count);
        buffers.assign(count * kBytes, '?');
        for (std::size_t i = 0; i < count; ++i) {
            commands[i].opcode = 2;
            commands[i].cdw10 = static_cast<std::uint32_t>(i);
            commands[i].data = &buffers[i * kBytes];
            commands[i].dataBytes = kBytes;
        }
        isOfUse = ring.run(commands, outcomes);
        EXPECT_EQ(kernel.inFlight(), 0U) << "the drive may still write to the buffers";
        EXPECT_FALSE(kernel.wasMisused());
        std::string told;
        for (std::size_t i = 0; i < count; ++i) {
            const NVMeRing::Outcome& outcome = outcomes[i];
            const bool isGood = outcome.error == 0 && outcome.status == 0;
            const bool isFilled =
                buffers.substr(i * kBytes, kBytes) == std::string(kBytes, static_cast<char>(i));
            EXPECT_TRUE(!isGood || (isFilled && outcome.result == i)) << i;
            told += isGood                                ? "."
                    : outcome.error == NVMeRing::kNotSent ? "-"
                    : outcome.error != 0                  ? std::to_string(outcome.error) + " "
                                                          : "s" + std::to_string(outcome.status) + " ";
        }
        return told;
    }

    PlayedKernel kernel;
    std::map<std::uint32_t, PlayedKernel::End> fates;
    std::string buffers;
    bool isOfUse = false;
};

TEST_F(NVMeRingOnPlayedKernel, WaitsForAllThatTheKernelTookHoweverItAnswers) {
    using Call = PlayedKernel::Call;
    const std::string five(5, '.'), full(NVMeRing::kDepth, '.');
    const Call interrupted{-EINTR}, cut{0, PlayedKernel::kAll, 0}, two{0, 2}, busy{-EBUSY}, tired{-EAGAIN},
        broken{-ENXIO};
    const struct {
        const char* what;
        std::deque<Call> calls;
        std::size_t commands;
        std::string outcomes;
        bool isOfUse;
    } rows[] = {
        {"one by one", {}, 5, five, true},
        {"a full ring", {}, NVMeRing::kDepth, full, true},
        {"more than fit in", {}, NVMeRing::kDepth + 2, full + "--", true},
        {"nothing", {}, 0, "", true},
        {"all at once", {{0, PlayedKernel::kAll, 99}}, 5, five, true},
        {"interrupted before", {interrupted, interrupted}, 5, five, true},
        {"interrupted while waiting", {cut, cut, {}, cut}, 5, five, true},
        {"taken bit by bit", {two, two, two}, 5, five, true},
        {"no room for a while", {two, tired, busy}, 5, five, true},
        {"no room at all", {tired}, 5, "-----", false},
        {"broken from the start", {broken}, 5, "-----", false},
        {"broken after two", {two, broken}, 5, "..---", false},
        {"broken after two, and interrupted", {two, broken, interrupted, {0, 0, 0}}, 5, "..---", false},
        {"broken when all are sent", {cut, broken}, 5, five, false},
    };
    for (const bool newestFirst : {false, true})
        for (const auto& row : rows) {
            const auto ring = create();
            ASSERT_NE(ring, nullptr);
            kernel.endsNewestFirst = newestFirst;
            kernel.calls = row.calls;
            EXPECT_EQ(read(*ring, row.commands), row.outcomes) << row.what;
            EXPECT_EQ(isOfUse, row.isOfUse) << row.what;
            EXPECT_TRUE(kernel.calls.empty()) << row.what;
        }
}

TEST_F(NVMeRingOnPlayedKernel, GivesEachCommandItsOwnOutcome) {
    fates = {{1, {0x281}}, {3, {-EIO}}, {4, {-EOPNOTSUPP}}, {6, {0x4002}}};
    for (const bool newestFirst : {false, true}) {
        const auto ring = create();
        kernel.endsNewestFirst = newestFirst;
        for (int pass = 0; pass < 3; ++pass)  // the ring's memory goes round
            EXPECT_EQ(read(*ring, 8), ".s641 .5 95 .s16386 .");
        EXPECT_TRUE(isOfUse);
    }
    EXPECT_EQ(kernel.mostInFlight(), 8U);
}

TEST_F(NVMeRingOnPlayedKernel, SendsCommandsAsTheKernelReadsThem) {
    const auto ring = create();
    EXPECT_EQ(kernel.flags(), IORING_SETUP_SQE128 | IORING_SETUP_CQE32);
    std::array<NVMeCommand, 2> commands{};
    std::array<NVMeRing::Outcome, 2> outcomes{};
    std::array<char, 4096> buffer{};
    commands[1] = {.admin = true};
    NVMeCommand& command = commands[0];
    command.opcode = 0x02;
    command.namespaceId = 7;
    command.data = buffer.data();
    command.dataBytes = buffer.size();
    command.cdw10 = 10, command.cdw11 = 11, command.cdw12 = 12, command.cdw13 = 13, command.cdw14 = 14,
    command.cdw15 = 15;
    command.timeoutMs = 1234;
    std::vector<std::uint32_t> told;
    kernel.carryOut = [&](const PlayedKernel::Work& work) {
        nvme_uring_cmd is{};
        std::memcpy(&is, work.command.data(), sizeof is);
        const bool isInPlace = is.addr == reinterpret_cast<std::uintptr_t>(buffer.data());
        told.insert(told.end(), {work.opcode, work.commandKind, is.opcode, is.nsid, is.data_len, is.cdw10,
                                 is.cdw11, is.cdw12, is.cdw13, is.cdw14, is.cdw15, is.timeout_ms, isInPlace});
        return PlayedKernel::End{0, 0xFFFFFFFF00000005};
    };
    EXPECT_TRUE(ring->run(commands, outcomes));
    told.resize(13 + 2);
    EXPECT_THAT(told, testing::ElementsAre(IORING_OP_URING_CMD, NVME_URING_CMD_IO, 2, 7, 4096, 10, 11, 12, 13,
                                           14, 15, 1234, 1, IORING_OP_URING_CMD, NVME_URING_CMD_ADMIN));
    EXPECT_EQ(outcomes[0].result, 5U);
}

TEST_F(NVMeRingOnPlayedKernel, IsNotMadeWhereTheKernelCannot) {
    EXPECT_EQ(NVMeRing::create(FileDescriptor()), nullptr);
    kernel.knowsCommands = false;
    EXPECT_EQ(create(), nullptr);
    kernel.knowsCommands = true;
    kernel.setUpError = -EINVAL;  // one that does not know long entries
    EXPECT_EQ(create(), nullptr);
}

}  // namespace
}  // namespace libDrive2
