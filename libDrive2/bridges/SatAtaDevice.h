#pragma once

#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/ScsiPassThrough.h"

namespace libDrive2 {

/// An ATA device behind a SCSI path, reached by ATA PASS-THROUGH(16) (SAT-3).
class SatAtaDevice : public AtaDevice {
public:
    /// Asks the device who it is; isInitialized() tells whether it answered. Some paths give queued commands
    /// their tags.
    explicit SatAtaDevice(std::unique_ptr<ScsiPassThrough> path, bool isTagging = false);

    AtaResponse execute(const AtaRequest& request) override;
    [[nodiscard]] bool isInitialized() const override { return m_initialized; }
    [[nodiscard]] bool isEmulated() const override { return m_emulated; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return m_path->maxTransferBytes(); }
    [[nodiscard]] unsigned maxInFlight() const override { return m_path->maxInFlight(); }
    [[nodiscard]] bool takesQueuedCommands() const override { return m_isTagging; }
    DeviceStatus reopen() override;

private:
    void identify();

    std::unique_ptr<ScsiPassThrough> m_path;
    bool m_isTagging;
    bool m_initialized = false;
    bool m_emulated = false;
};

}  // namespace libDrive2
