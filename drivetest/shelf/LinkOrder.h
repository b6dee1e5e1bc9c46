#pragma once

#include "drivetest/shelf/RunOrder.h"
#include "drivetest/shelf/ShelfWork.h"
#include "drivetest/shelf/links/Admission.h"

namespace drivetest {

/// Tests so many drives at once that none is slowed by what it shares with the others.
class LinkOrder : public RunOrder {
public:
    /// Looks where the drives are attached, now.
    explicit LinkOrder(const ShelfWork& work);

    [[nodiscard]] bool mayStart(std::size_t drive) override { return m_admission.mayStart(drive); }
    void started(std::size_t drive) override { m_admission.started(drive); }
    void measured(std::size_t drive, double megabytesPerSecond) override {
        m_admission.measured(drive, megabytesPerSecond);
    }
    void ended(std::size_t drive) override { m_admission.ended(drive); }
    /// The links on which drives had to wait.
    [[nodiscard]] std::vector<std::string> notes() const override;
    [[nodiscard]] std::vector<LinkSharing> sharedBy(std::size_t drive) const override;

private:
    Admission m_admission;
};

}  // namespace drivetest
