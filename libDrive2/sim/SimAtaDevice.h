#pragma once

#include <memory>

#include "libDrive2/AtaDevice.h"
#include "libDrive2/sim/SimAtaIdentify.h"
#include "libDrive2/sim/SimMedium.h"

namespace libDrive2 {

/// A simulated ATA drive (ACS-4). Registers hold LBAs whole; for 28-bit commands bits 27 to 24 may also stand
/// in the device register. A request that no host adapter could carry out is not delivered.
class SimAtaDevice : public AtaDevice {
public:
    explicit SimAtaDevice(std::shared_ptr<SimMedium> medium) : m_medium(std::move(medium)) {}

    AtaResponse execute(const AtaRequest& request) override;
    [[nodiscard]] bool isInitialized() const override { return true; }
    [[nodiscard]] bool isEmulated() const override { return m_medium->options().emulated; }
    [[nodiscard]] std::size_t maxTransferBytes() const override { return std::size_t{1} << 20; }
    DeviceStatus reopen() override { return {}; }

private:
    struct Entry;
    struct Extent {
        std::uint64_t lba;
        std::uint32_t count;
    };
    static const Entry* findCommand(const AtaTaskFile& registers);
    static Extent extentOf(const AtaRequest& request);

    [[nodiscard]] zel::String findHostFault(const AtaRequest& request, const Entry* entry) const;
    [[nodiscard]] std::size_t dataBytes(const AtaRequest& request, const Entry& entry) const;

    void identify(const AtaRequest& request, AtaResponse& response);
    void readSectors(const AtaRequest& request, AtaResponse& response);
    void writeSectors(const AtaRequest& request, AtaResponse& response);
    void verifySectors(const AtaRequest& request, AtaResponse& response);
    void flushCache(const AtaRequest& request, AtaResponse& response);
    void changePower(const AtaRequest& request, AtaResponse& response);
    void smartRead(const AtaRequest& request, AtaResponse& response);
    void smartAct(const AtaRequest& request, AtaResponse& response);
    void readNativeMax(const AtaRequest& request, AtaResponse& response);
    void accessibleMax(const AtaRequest& request, AtaResponse& response);
    void identifyConfiguration(const AtaRequest& request, AtaResponse& response);
    void securityUnlock(const AtaRequest& request, AtaResponse& response);
    void securityErasePrepare(const AtaRequest& request, AtaResponse& response);
    void securityEraseUnit(const AtaRequest& request, AtaResponse& response);
    void securityDisablePassword(const AtaRequest& request, AtaResponse& response);

    std::shared_ptr<SimMedium> m_medium;
};

}  // namespace libDrive2
