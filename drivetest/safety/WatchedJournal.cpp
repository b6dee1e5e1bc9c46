#include "drivetest/safety/WatchedJournal.h"

#include <algorithm>
#include <cstring>
#include <utility>

#include "drivetest/terminal/Texts.h"
#include "zel/Format.h"
#include "zel/Resource.h"
#include "zel/Words.h"

namespace drivetest {

using zel::worded;

void WatchedJournal::fail(const zel::Wording& cause) {
    m_failure = cause.shown().utf8();
    m_cause = cause;
}

bool WatchedJournal::noteFailureUnless(bool success) {
    if (!success)
        fail(worded("the undo journal failed: {reason}", {{"reason", m_inner->lastErrorStr()}}));
    return success;
}

bool WatchedJournal::expectWrites(const void* data, std::size_t bytes) {
    return m_inner == nullptr || noteFailureUnless(m_inner->expectWrites(data, bytes));
}

bool WatchedJournal::protect(std::uint64_t lba, std::uint32_t count, const void* data, std::size_t bytes) {
    const bool isKept = m_inner != nullptr ? noteFailureUnless(m_inner->protect(lba, count, data, bytes))
                                           : keepCopy({lba, count}, data, bytes);
    if (isKept)
        m_unrestored.push_back({lba, count});
    return isKept;
}

bool WatchedJournal::protectScattered(std::span<const libDrive2::SectorSpan> spans, const void* data,
                                      std::size_t bytes) {
    std::vector<Range> ranges;
    std::uint32_t sectors = 0;
    for (const libDrive2::SectorSpan& span : spans) {
        ranges.push_back({span.lba, static_cast<std::uint32_t>(span.count)});
        sectors += ranges.back().count;
    }
    const Range named{spans.front().lba, sectors};
    const bool isKept = m_inner != nullptr ? noteFailureUnless(m_inner->protectScattered(spans, data, bytes))
                                           : keepCopy(named, data, bytes);
    if (!isKept)
        return false;
    m_unrestored.insert(m_unrestored.end(), ranges.begin(), ranges.end());
    m_scattered.emplace_back(named, std::move(ranges));
    return true;
}

/// Chunk after chunk goes into the same buffer.
bool WatchedJournal::keepCopy(const Range& range, const void* data, std::size_t bytes) {
    const auto free =
        std::find_if(m_copies.begin(), m_copies.end(), [](const Copy& copy) { return !copy.isKept; });
    if (free == m_copies.end()) {
        fail(worded("two chunks could not be put back: the test must not overwrite more"));
        return false;
    }
    if (free->data.size() < bytes)
        free->data = zel::Buffer(bytes);
    std::memcpy(free->data.data(), data, bytes);
    free->range = range;
    return free->isKept = true;
}

WatchedJournal::Copy* WatchedJournal::findCopy(const Range& range) {
    const auto found = std::find_if(m_copies.begin(), m_copies.end(),
                                    [&](const Copy& copy) { return copy.isKept && copy.range == range; });
    return found != m_copies.end() ? &*found : nullptr;
}

bool WatchedJournal::verifiesRestores() const {
    return m_inner != nullptr && m_inner->verifiesRestores();
}

bool WatchedJournal::holdsOriginal(std::uint64_t lba, std::uint32_t count, const void* data,
                                   std::size_t bytes) {
    const Copy* const copy = findCopy({lba, count});
    if (m_inner != nullptr ? m_inner->holdsOriginal(lba, count, data, bytes)
                           : copy != nullptr && bytes <= copy->data.size() &&
                                 std::memcmp(copy->data.data(), data, bytes) == 0)
        return true;
    const bool isScattered = std::any_of(m_scattered.begin(), m_scattered.end(), [&](const auto& each) {
        return each.first == Range{lba, count};
    });
    const zel::Wording sectors =
        isScattered  ? worded("{n} scattered sectors, the first of them {lba},", {{"n", count}, {"lba", lba}})
        : count == 1 ? worded("sector {lba}", {{"lba", lba}})
                     : worded("sectors {first} through {last}", {{"first", lba}, {"last", lba + count - 1}});
    fail(worded("what was put back on {sectors} does not read back as it was", {{"sectors", sectors}}));
    return false;
}

bool WatchedJournal::readOriginal(std::uint64_t lba, std::uint32_t count, void* data, std::size_t bytes) {
    if (m_inner != nullptr)
        return m_inner->readOriginal(lba, count, data, bytes);
    const Copy* const copy = findCopy({lba, count});
    if (copy == nullptr || bytes > copy->data.size())
        return false;
    std::memcpy(data, copy->data.data(), bytes);
    return true;
}

bool WatchedJournal::release(std::uint64_t lba, std::uint32_t count) {
    // The sectors hold their data again, whatever the journal says of them.
    const Range named{lba, count};
    const auto scattered = std::find_if(m_scattered.begin(), m_scattered.end(),
                                        [&](const auto& each) { return each.first == named; });
    if (scattered == m_scattered.end()) {
        std::erase(m_unrestored, named);
    } else {
        const std::vector<Range>& ranges = scattered->second;
        std::erase_if(m_unrestored, [&](const Range& range) {
            return std::find(ranges.begin(), ranges.end(), range) != ranges.end();
        });
        m_scattered.erase(scattered);
    }
    if (Copy* const copy = findCopy({lba, count}))
        copy->isKept = false;
    return m_inner == nullptr || noteFailureUnless(m_inner->release(lba, count));
}

void WatchedJournal::narrowUnrestored(const std::vector<libDrive2::SectorSpan>& left) {
    m_unrestored.clear();
    for (const libDrive2::SectorSpan& span : left)
        m_unrestored.push_back({span.lba, static_cast<std::uint32_t>(span.count)});
}

zel::Wording WatchedJournal::lastErrorStr() const {
    return m_inner != nullptr ? m_inner->lastErrorStr() : m_cause;
}

}  // namespace drivetest
