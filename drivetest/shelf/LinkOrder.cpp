#include "drivetest/shelf/LinkOrder.h"

#include <algorithm>

namespace drivetest {

namespace {

std::vector<Admission::Drive> attachedDrives(const ShelfWork& work) {
    std::vector<Admission::Drive> drives;
    drives.reserve(work.drives.size());
    for (const DriveWork& drive : work.drives)
        drives.push_back(
            {linksOf(drive.device), static_cast<std::uint64_t>(drive.bytes), expectedRateOf(drive.device)});
    return drives;
}

}  // namespace

LinkOrder::LinkOrder(const ShelfWork& work)
    : m_admission(attachedDrives(work), std::min(work.jobs == 0 ? kMostJobs : work.jobs, kMostJobs)) {}

std::vector<std::string> LinkOrder::notes() const {
    std::vector<std::string> notes;
    for (const Admission::LinkUse& use : m_admission.uses())
        if (use.isFull)
            notes.push_back(linkUseText(use));
    return notes;
}

}  // namespace drivetest
