#pragma once

#include <random>
#include <vector>

#include "OpticalWriteTest.h"
#include "zel/Export.h"

namespace libDriveTest {

/// Writes units at random places of the medium, then reads each back and compares it. Destructive.
///
/// - All free sectors are prepared and reserved: the places are spread over the whole medium.
/// - "NumberOfSeeks" counts units; not set, or 0, it is 100. There are no more than fit on the medium.
/// - No unit is written twice at one speed, so that each holds its own pattern to the end. The k-th that is
///   written gets the k-th byte of the table. They are read back in the order in which they were written.
/// - Media that take their sectors only one behind the other (of the kinds that rewritable and plus media
///   include: DVD-RW in sequential recording, DVD+R) end with "MMCRWcannotPrepareForWrite" and NOTSUPPORTED
///   before anything is written.
/// - Everything else is as in the pattern test.
class DRIVETEST_API RandomWriteTestMMC : public OpticalWriteTest {
public:
    explicit RandomWriteTestMMC(RecordableDrive& tested);
    explicit RandomWriteTestMMC(SharedRecordableDrive tested);
    ~RandomWriteTestMMC() override;

    static void init(Test& test);

protected:
    String refuseMedium() override;
    [[nodiscard]] std::uint64_t sectorsToPrepare(const Settings& settings) const override;
    void plan(const Settings& settings, std::uint64_t freeSectors, Recording& recording) override;
    [[nodiscard]] std::uint64_t offsetOf(const Recording& recording, std::uint64_t k) const override;

private:
    std::mt19937_64 m_generator;
    std::vector<std::uint64_t> m_units;  ///< in the order in which they are written
};

}  // namespace libDriveTest
