#pragma once

#include "libDrive2/sim/SimBlockTarget.h"
#include "libDrive2/sim/SimScsiPages.h"

namespace libDrive2 {

/// A simulated disk that answers SCSI commands (SPC-4, SBC-3), or an ATA drive behind a translator (SAT-3).
class SimScsiDevice : public SimBlockTarget {
public:
    SimScsiDevice(std::shared_ptr<SimMedium> medium, bool writable);

protected:
    bool perform(SimScsiCommand& command) override;

private:
    void inquiry(SimScsiCommand& command);
    void modeSense(SimScsiCommand& command);
    void logSense(SimScsiCommand& command);
    void senseOrProgress(SimScsiCommand& command);
    void sendDiagnostic(SimScsiCommand& command);
    void readDefectData(SimScsiCommand& command);
    void reportLuns(SimScsiCommand& command);
    void readCapacity16(SimScsiCommand& command);
    std::optional<SimPage> modeParameters(const SimScsiCommand& command) const;
};

}  // namespace libDrive2
