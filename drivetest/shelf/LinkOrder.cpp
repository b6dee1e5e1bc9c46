#include "drivetest/shelf/LinkOrder.h"

#include <algorithm>

namespace drivetest {

namespace {

std::vector<Admission::Drive> attachedDrives(const ShelfWork& work) {
    std::vector<Admission::Drive> drives;
    drives.reserve(work.drives.size());
    for (const DriveWork& drive : work.drives)
        if (drive.refusal.empty() && !drive.isDone())
            drives.push_back({linksOf(drive.device), static_cast<std::uint64_t>(drive.bytes),
                              expectedRateOf(drive.device)});
        else
            drives.emplace_back();  // it loads nothing, and may keep whoever looks for it
    return drives;
}

}  // namespace

LinkOrder::LinkOrder(const ShelfWork& work)
    : m_admission(attachedDrives(work), std::min(work.jobs == 0 ? kMostJobs : work.jobs, kMostJobs)) {}

std::vector<std::string> LinkOrder::notes() const {
    std::vector<std::string> notes;
    for (const Admission::LinkUse& use : m_admission.uses())
        if (use.isFull)
            notes.push_back(describeSharing(sharingOf(use)));
    return notes;
}

std::vector<LinkSharing> LinkOrder::sharedBy(std::size_t drive) const {
    std::vector<LinkSharing> links;
    for (const Admission::LinkUse& use : m_admission.usesBy(drive))
        links.push_back(sharingOf(use));
    return links;
}

}  // namespace drivetest
