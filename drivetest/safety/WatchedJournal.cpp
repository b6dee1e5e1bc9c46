#include "drivetest/safety/WatchedJournal.h"

#include "drivetest/terminal/Texts.h"

namespace drivetest {

bool WatchedJournal::noteFailureUnless(bool success) {
    if (!success)
        m_failure = "the undo journal failed: " + m_inner->lastErrorStr().utf8();
    return success;
}

bool WatchedJournal::expectWrites(const void* data, std::size_t bytes) {
    return m_inner == nullptr || noteFailureUnless(m_inner->expectWrites(data, bytes));
}

bool WatchedJournal::protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) {
    if (m_inner != nullptr && !noteFailureUnless(m_inner->protect(lba, count, data, bytes)))
        return false;
    m_unrestored.push_back({lba, count});
    return true;
}

bool WatchedJournal::verifiesRestores() const {
    return m_inner != nullptr && m_inner->verifiesRestores();
}

bool WatchedJournal::holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data,
                                   std::size_t bytes) {
    if (m_inner == nullptr || m_inner->holdsOriginal(lba, count, data, bytes))
        return true;
    m_failure = "what was put back on " + sectorsText(lba, count) + " does not read back as it was";
    return false;
}

bool WatchedJournal::readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) {
    return m_inner != nullptr && m_inner->readOriginal(lba, count, data, bytes);
}

bool WatchedJournal::release(std::uint64_t lba, std::uint32_t count) {
    // The sectors hold their data again, whatever the journal says of them.
    std::erase_if(m_unrestored, [=](const Range& range) { return range.lba == lba && range.count == count; });
    return m_inner == nullptr || noteFailureUnless(m_inner->release(lba, count));
}

zel::String WatchedJournal::lastErrorStr() const {
    return m_inner != nullptr ? m_inner->lastErrorStr() : zel::String();
}

}  // namespace drivetest
