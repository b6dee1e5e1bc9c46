#include "SampleOrder.h"

#include <algorithm>

namespace libDriveTest {

namespace {

/// Each of the zones at both ends and in the middle has so many areas.
constexpr std::uint64_t kZoneAreas = 16;
/// The first pass, which tells how long an area takes, and the smallest that is worth its way over the drive.
constexpr std::uint64_t kFirstPass = 128;
constexpr std::uint64_t kSmallestPass = 32;
/// A pass takes this part of the time that is left, and the last one leaves a part of it for what may be
/// slower.
constexpr double kShareOfPass = 0.2;
constexpr double kShareOfLast = 0.9;
/// That sectors are bad is known after a few; which others are is for a test that has the time.
constexpr std::uint32_t kMostBad = 4;

double ratio(zel::Clock::Duration part, zel::Clock::Duration whole) {
    return static_cast<double>(part.count()) / static_cast<double>(whole.count());
}

}  // namespace

SampleOrder::SampleOrder(const Plan& plan)
    : m_plan(plan),
      m_areas((plan.range.count + plan.areaSectors - 1) / plan.areaSectors),
      m_generator(plan.seed) {
    const std::uint64_t zone = kZoneAreas * plan.areaSectors;
    if (plan.time.count() == 0 || plan.range.count <= 4 * zone) {
        m_stage = Stage::whole;
        begin(plan.range);
        return;
    }
    const std::uint64_t last = (m_areas - kZoneAreas) * plan.areaSectors;
    const std::uint64_t middle = m_areas / 2 * plan.areaSectors;
    m_zones = {{plan.range.lba + last, plan.range.count - last}, {plan.range.lba + middle, zone}};
    begin({plan.range.lba, zone});
}

void SampleOrder::begin(libDrive2::SectorSpan span) {
    m_at = span.lba;
    m_spanEnd = span.lba + span.count;
}

std::uint64_t SampleOrder::areaOf(std::uint64_t lba) const {
    return (lba - m_plan.range.lba) / m_plan.areaSectors;
}

std::optional<Reading> SampleOrder::next() {
    if (m_isOpen)
        return m_reading;
    if (m_at >= m_spanEnd)
        nextSpan();
    if (m_stage == Stage::done)
        return std::nullopt;
    const auto count = std::min<std::uint64_t>(m_plan.chunkSectors, m_spanEnd - m_at);
    m_reading = {m_at, static_cast<std::uint32_t>(count)};
    m_isOpen = true;
    return m_reading;
}

void SampleOrder::note(const Finding& finding) {
    m_spent += finding.took;
    if (m_stage == Stage::zones && finding.isGood && !m_reading.singly) {
        m_zoneTime += finding.took;
        m_zoneSectors += m_reading.count;
    }
    if (!finding.isGood)
        m_badAreas.insert(areaOf(m_reading.lba));
    const bool isWhole = m_stage == Stage::whole;
    if (!finding.isGood && !m_reading.singly) {
        m_reading.singly = true;
        m_reading.mostBad = isWhole ? 0 : kMostBad;
        return;
    }
    m_at = m_reading.singly && !isWhole ? m_spanEnd : m_reading.end();
    m_isOpen = false;
}

void SampleOrder::nextSpan() {
    switch (m_stage) {
        case Stage::zones:
            if (!m_zones.empty()) {
                begin(m_zones.back());
                m_zones.pop_back();
                return;
            }
            break;
        case Stage::pass:
            if (m_stratum < m_strata) {
                drawArea();
                return;
            }
            m_samples += m_strata;
            break;
        case Stage::whole:
            m_isWhole = true;
            m_stage = Stage::done;
            return;
        case Stage::done:
            return;
    }
    planPass();
}

bool SampleOrder::sufficesForAll() const {
    if (m_zoneSectors == 0)
        return false;
    const double rounds = static_cast<double>(m_plan.range.count) / static_cast<double>(m_zoneSectors);
    return static_cast<double>(m_zoneTime.count()) * rounds <
           kShareOfLast * static_cast<double>((m_plan.time - m_spent).count());
}

/// What comes after the zones or after a pass.
void SampleOrder::planPass() {
    if (sufficesForAll()) {
        m_stage = Stage::whole;
        begin(m_plan.range);
        return;
    }
    std::uint64_t strata = kFirstPass;
    if (m_stage == Stage::pass) {
        const double perArea =
            ratio(m_spent - m_passBegan, zel::Clock::Duration(1)) / static_cast<double>(m_strata);
        const double fitting = ratio(m_plan.time - m_spent, zel::Clock::Duration(1)) / std::max(perArea, 1.0);
        const bool isLast = fitting * kShareOfPass < static_cast<double>(kFirstPass);
        strata = static_cast<std::uint64_t>(std::max(0.0, fitting * (isLast ? kShareOfLast : kShareOfPass)));
    }
    m_stage = m_spent < m_plan.time && strata >= kSmallestPass ? Stage::pass : Stage::done;
    if (m_stage == Stage::done)
        return;
    m_strata = std::min(strata, m_areas);
    m_stratum = 0;
    m_passBegan = m_spent;
    drawArea();
}

/// Stratum i of n is the share [i/n, (i+1)/n) of the range. Counted in n-th parts of an area all strata have
/// the same size, and every part is drawn equally often. What is known to
/// be bad is not read again.
void SampleOrder::drawArea() {
    std::uniform_int_distribution<std::uint64_t> within(0, m_areas - 1);
    std::uint64_t area = 0;
    do {
        area = (m_stratum * m_areas + within(m_generator)) / m_strata;
        ++m_stratum;
    } while (m_badAreas.contains(area) && m_stratum < m_strata);
    const std::uint64_t first = area * m_plan.areaSectors;
    begin(
        {m_plan.range.lba + first, std::min<std::uint64_t>(m_plan.areaSectors, m_plan.range.count - first)});
}

}  // namespace libDriveTest
