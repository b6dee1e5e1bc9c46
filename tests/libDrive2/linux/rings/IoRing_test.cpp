#include "libDrive2/linux/IoRing.h"

#include <gmock/gmock.h>

#include <algorithm>
#include <cerrno>
#include <map>
#include <string>

#include "PlayedKernel.h"

namespace libDrive2 {
namespace {

constexpr std::size_t kPiece = IoRing::kPieceBytes;
constexpr std::uint64_t kStart = 4096;

/// Bytes of a file, which tell where they are from.
char byteAt(std::uint64_t offset) {
    return static_cast<char>(offset / 512 % 251);
}

class IoRingOnPlayedKernel : public testing::Test {
protected:
    IoRingOnPlayedKernel() {
        kernel.carryOut = [this](const PlayedKernel::Work& work) {
            const std::uint64_t at = work.offset - kStart;
            std::int32_t moved = static_cast<std::int32_t>(work.bytes);
            // Each fate is met once; a number of bytes cuts the piece short.
            if (const auto fate = fates.find(at); fate != fates.end()) {
                moved = std::min(moved, fate->second);
                fates.erase(fate);
            }
            for (std::int32_t i = 0; i < moved; ++i)
                reinterpret_cast<char*>(work.address)[i] = byteAt(work.offset + static_cast<unsigned>(i));
            touched = std::max(touched, work.offset + work.bytes);
            return PlayedKernel::End{moved};
        };
    }
    int read(std::size_t bytes) {
        const auto ring = IoRing::create();
        std::string buffer(bytes, '?');
        const int error =
            ring->run({5, false, kStart, reinterpret_cast<std::uint8_t*>(buffer.data()), bytes});
        EXPECT_EQ(kernel.inFlight(), 0U) << "the drive may still write to the buffer";
        for (std::size_t i = 0; error == 0 && i < bytes; ++i)
            if (buffer[i] != byteAt(kStart + i))
                return ADD_FAILURE() << "byte " << i << " is another one", error;
        EXPECT_LE(touched, kStart + bytes);
        return error;
    }

    PlayedKernel kernel;
    std::map<std::uint64_t, std::int32_t> fates;  ///< offset of a piece within the transfer -> its end
    std::uint64_t touched = 0;
};

TEST_F(IoRingOnPlayedKernel, MovesAllBytesOrTellsTheLowestFailure) {
    using Call = PlayedKernel::Call;
    const std::size_t bytes = 20 * kPiece + 512;  // more pieces than there are places
    const struct {
        const char* what;
        std::map<std::uint64_t, std::int32_t> fates;
        std::deque<Call> calls;
        int error;
    } rows[] = {
        {"nothing special", {}, {}, 0},
        {"cut short, and again", {{kPiece, 512}, {kPiece + 512, 1024}}, {}, 0},
        {"interrupted pieces", {{0, -EINTR}, {3 * kPiece, -EAGAIN}}, {}, 0},
        {"interrupted calls", {}, {{-EINTR}, {0, PlayedKernel::kAll, 0}, {-EINTR}}, 0},
        {"taken bit by bit", {}, {{0, 3}, {0, 1}, {-EAGAIN}, {-EBUSY}}, 0},
        {"one bad piece", {{7 * kPiece, -EIO}}, {}, EIO},
        {"two bad pieces",
         {{5 * kPiece, -ENODATA}, {7 * kPiece, -EIO}},
         {{0, PlayedKernel::kAll, 16}},
         ENODATA},
        {"bad behind a cut", {{2 * kPiece, 512}, {2 * kPiece + 512, -EIO}, {9 * kPiece, -ENODATA}}, {}, 0},
        {"the end of the device", {{4 * kPiece, 0}}, {}, IoRing::kEndOfDevice},
        {"no room at all", {}, {{-EAGAIN}}, IoRing::kRefused},
        {"broken after some", {}, {{0, 3}, {-ENXIO}}, IoRing::kRefused},
        {"broken while a piece fails", {{0, -EIO}}, {{0, 3}, {-ENXIO}}, IoRing::kRefused},
    };
    for (const bool newestFirst : {false, true})
        for (const auto& row : rows) {
            kernel.endsNewestFirst = newestFirst;
            kernel.calls = row.calls;
            fates = row.fates;
            const int error = read(bytes);
            // Which of two failures is met first, and whether the other one is then begun, is the order's.
            if (row.fates.size() < 3)
                EXPECT_EQ(error, row.error) << row.what << newestFirst;
            else
                EXPECT_TRUE(error == EIO || error == ENODATA) << row.what;
            EXPECT_FALSE(kernel.wasMisused()) << row.what;
        }
    EXPECT_EQ(kernel.mostInFlight(), 16U);
}

TEST_F(IoRingOnPlayedKernel, IsNotMadeWhereTheKernelRefuses) {
    kernel.setUpError = -EPERM;
    EXPECT_EQ(IoRing::create(), nullptr);
}

}  // namespace
}  // namespace libDrive2
