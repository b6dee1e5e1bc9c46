#pragma once

#include <cstdint>

#include "libDrive2/Drive.h"
#include "quix5/Test.h"
#include "zel/Buffer.h"
#include "zel/Log.h"

namespace libDriveTest {

/// How the seek tests move to a position: by a seek command, or by reading one sector there.
class SeekMove {
public:
    /// Takes the way from the parameter SeekMethod.
    SeekMove();
    /// Registers the parameters of the seek tests.
    static void addParameters(quix5::Test& test);

    /// Makes ready for sectors of this size; false when it is 0.
    bool prepare(std::uint32_t sectorSize);
    bool to(libDrive2::Drive& drive, std::uint64_t lba);

private:
    bool m_reads;
    zel::Buffer m_sector;
};

/// Where a seek test stands: move `index` of `total`, to `lba`.
struct SeekStep {
    std::uint64_t index;
    std::uint64_t total;
    std::uint64_t lba;

    [[nodiscard]] std::uint64_t percent() const { return index * 100 / total; }
};
void logSeekStep(zel::Logger& logger, const SeekStep& step, std::uint64_t endLba);

}  // namespace libDriveTest
