#include "SeekMove.h"

#include "Parameters.h"

namespace libDriveTest {

SeekMove::SeekMove() : m_reads(parameters::seekMethod.value().toLower() == "read") {}

void SeekMove::addParameters(quix5::Test& test) {
    parameters::seekMethod.addTo(test);
    parameters::startRange.addTo(test);
    parameters::endRange.addTo(test);
    parameters::numberOfSeeks.addTo(test);
    parameters::sectorPercentToTest.addTo(test);
}

bool SeekMove::prepare(std::uint32_t sectorSize) {
    if (sectorSize == 0)
        return false;
    m_sector = zel::Buffer(sectorSize);
    return true;
}

bool SeekMove::to(libDrive2::Drive& drive, std::uint64_t lba) {
    return m_reads ? drive.readSector(lba, 1, m_sector.data(), static_cast<std::uint32_t>(m_sector.size()))
                   : drive.seekSector(lba);
}

void logSeekStep(zel::Logger& logger, const SeekStep& step, std::uint64_t endLba) {
    logger.line(1, "Testing Seek to LBA ", step.lba, " of ", endLba - 1, " Percent: ", step.index, "/",
                step.total, " [", step.percent(), "]");
}

}  // namespace libDriveTest
