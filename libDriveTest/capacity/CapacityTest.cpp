#include "CapacityTest.h"

#include <algorithm>
#include <iterator>
#include <random>

#include "../DriveTestLogger.h"
#include "../Events.h"
#include "../Parameters.h"
#include "../RangeSetup.h"
#include "AddressChoice.h"

namespace libDriveTest {

namespace {

constexpr const char* kName = "CapacityTest";
/// What a round may save; a journal takes as much at once.
constexpr std::uint32_t kMostSavedBytes = 32U << 20;
/// Addresses of a round that narrows: few, for the cache is displaced as often.
constexpr std::uint64_t kParts = 64;
/// The share of the first round in the progress; those that follow share the rest.
constexpr int kFirstRound = 80;
/// Six moves of a hard disk's heads.
constexpr double kSecondsOfAddress = 0.06;

bool isNumberOfAddresses(std::uint32_t wanted) {
    return wanted >= kFewestAddresses && wanted <= kMostAddresses;
}

}  // namespace

CapacityTest::CapacityTest(Drive& tested) : DriveTest(tested), m_logger(loggerOf(kName)) {}
CapacityTest::CapacityTest(libDrive2::SharedDrive tested)
    : DriveTest(std::move(tested)), m_logger(loggerOf(kName)) {}
CapacityTest::~CapacityTest() = default;

void CapacityTest::init(Test& test) {
    DriveTest::init(test);
    test.setDestructive(true);
    parameters::numberOfAddresses.addTo(test);
    parameters::preserveData.addTo(test);
    initWriteTest();
    events::createForCapacity();
}

quix5::TestOutlook CapacityTest::foresee(std::uint64_t /*sectors*/, std::uint32_t /*sectorBytes*/) {
    const std::uint32_t wanted = parameters::numberOfAddresses.value();
    quix5::TestOutlook outlook;
    if (!isNumberOfAddresses(wanted))
        outlook.refused = parameters::numberOfAddresses.item();
    outlook.seconds = wanted * kSecondsOfAddress;
    return outlook;
}

TestResult CapacityTest::runTest() {
    const zel::TraceLogger trace(m_logger, "CapacityTest::Run");
    if (const TestResult found = setUpDrive(m_range); found != TestResult::PASS)
        return found;
    const std::uint32_t wanted = parameters::numberOfAddresses.value();
    if (!isNumberOfAddresses(wanted))
        return reportInvalidParameters(m_logger, {parameters::numberOfAddresses.item()});
    const std::uint32_t saved = std::max(drive->getPhysicalSectorSize(), m_range.sectorSize);
    std::vector<std::uint64_t> lbas = chooseAddresses(
        m_range.sectorCount, m_range.sectorSize,
        std::max(kFewestAddresses, std::min(wanted, kMostSavedBytes / saved)), std::random_device()());
    m_stamp = libDrive2::AddressStamp();
    m_rounds = 0;
    std::vector<std::uint8_t> example(m_range.sectorSize);
    m_stamp.fill(0, example);
    if (parameters::preserveData.value() && !drive->expectWrites(example.data(), example.size()))
        return endOnNonFail(drive->lastError).value_or(TestResult::CANNOTRUN);
    drive->planSectors(lbas.size());
    AddressFindings findings;
    if (const auto ended = round(std::move(lbas), findings))
        return *ended;
    const auto loss = findLoss(findings);
    const auto repeat = findRepeat(findings);
    if (const auto ended = loss ? tellOfLoss(*loss) : std::nullopt)
        return *ended;
    if (const auto ended = repeat ? tellOfRepeat(*repeat) : std::nullopt)
        return *ended;
    tellOf(findings);
    return getEventCountResult();
}

std::optional<TestResult> CapacityTest::round(std::vector<std::uint64_t> lbas, AddressFindings& findings) {
    const int from = m_rounds == 0 ? 0 : kFirstRound + std::min(m_rounds, 99 - kFirstRound) - 1;
    const int share = m_rounds++ == 0 ? kFirstRound : 1;
    m_logger.line(1, "Round ", m_rounds, ": stamping ", lbas.size(), " sectors from ", lbas.front(), " to ",
                  lbas.back());
    StampRound stamped({.drive = *drive,
                        .stamp = m_stamp,
                        .preserve = parameters::preserveData.value(),
                        .endsTest = [this](_LIBDRIVE2_ERROR_TYPES error) { return isNonFailError(error); },
                        .stops =
                            [from, share](int percent) {
                                DiagModule::percentDone(from + percent * share / 100);
                                return DiagModule::checkForStop();
                            }},
                       std::move(lbas));
    const StampRound::End end = stamped.run();
    findings = stamped.findings();
    return endOf(end, stamped.lost());
}

std::optional<TestResult> CapacityTest::endOf(StampRound::End end, const std::vector<std::uint64_t>& lost) {
    for (const std::uint64_t lba : lost) {
        if (hitEventLimits(false))
            break;
        events::cannotRestoreData->setVariable("TestName", kName)
            ->setVariable("TestSector", lba)
            ->setVariable("EndSector", lba);
        sendEvent(*events::cannotRestoreData, EventType::ERR);
    }
    if (end == StampRound::End::failed)
        return endOnNonFail(drive->lastError).value_or(TestResult::CANNOTRUN);
    if (end == StampRound::End::stopped) {
        reportUserAbort(0);
        return TestResult::USERABORTED;
    }
    return lost.empty() ? std::nullopt : std::optional(getEventCountResult());
}

std::optional<TestResult> CapacityTest::tellOfLoss(Bracket bracket) {
    const Has isLost = [](const AddressFindings& findings, std::uint64_t lba) {
        const AddressFinding* const finding = findAddress(findings, lba);
        return finding != nullptr && finding->state != AddressState::good &&
               finding->state != AddressState::elsewhere;
    };
    if (const auto ended = narrow(bracket, 0, isLost))
        return ended;
    sendCapacity(*events::capacityLost->setVariable("sector", bracket.above), bracket.above);
    return std::nullopt;
}

std::optional<TestResult> CapacityTest::tellOfRepeat(const Repeat& repeat) {
    std::uint64_t distance = repeat.period;
    Bracket bracket{std::nullopt, distance};
    AddressFindings findings;
    // A drive that wraps has the first sector again after the common period; else a part of it is behind
    // another one, and somewhere up to these two that begins.
    if (const auto ended = round({0, distance}, findings))
        return ended;
    if (!areSame(findings, 0, distance)) {
        distance = repeat.high - repeat.low;
        bracket = {distance - 1, repeat.high};
        const Has repeats = [distance](const AddressFindings& found, std::uint64_t lba) {
            return areSame(found, lba - distance, lba);
        };
        if (const auto ended = narrow(bracket, distance, repeats))
            return ended;
    }
    sendCapacity(*events::capacityRepeats->setVariable("sector", bracket.above)
                      ->setVariable("other", bracket.above - distance),
                 bracket.above);
    return std::nullopt;
}

std::optional<TestResult> CapacityTest::narrow(Bracket& bracket, std::uint64_t partner, const Has& has) {
    while (bracket.below && bracket.above - *bracket.below > 1) {
        const std::uint64_t inside = bracket.above - *bracket.below - 1;
        const std::uint64_t parts = std::min(kParts, inside);
        std::vector<std::uint64_t> points;
        points.reserve(parts);
        for (std::uint64_t i = 0; i < parts; ++i)
            points.push_back(*bracket.below + 1 + inside / parts * i + inside % parts * i / parts);
        std::vector<std::uint64_t> lbas = points;
        std::ranges::transform(points, std::back_inserter(lbas),
                               [partner](std::uint64_t point) { return point - partner; });
        std::ranges::sort(lbas);
        lbas.erase(std::unique(lbas.begin(), lbas.end()), lbas.end());
        AddressFindings findings;
        if (const auto ended = round(std::move(lbas), findings))
            return ended;
        const auto first =
            std::ranges::find_if(points, [&](std::uint64_t point) { return has(findings, point); });
        if (first != points.end())
            bracket.above = *first;
        if (first != points.begin())
            bracket.below = *(first - 1);
    }
    return std::nullopt;
}

/// With the rest of what the events of a false capacity tell.
void CapacityTest::sendCapacity(Event& event, std::uint64_t realSectors) {
    const auto mebibytes = [this](std::uint64_t sectors) { return (sectors * m_range.sectorSize) >> 20U; };
    event.setVariable("sectors", m_range.sectorCount)
        ->setVariable("realMiB", mebibytes(realSectors))
        ->setVariable("MiB", mebibytes(m_range.sectorCount));
    sendEvent(event, EventType::ERR);
}

void CapacityTest::tellOf(const AddressFindings& findings) {
    bool isGood = true;
    for (const AddressFinding& finding : findings) {
        if (finding.state == AddressState::good)
            continue;
        isGood = false;
        if (hitEventLimits(true))
            return;
        tellOf(finding, findings);
    }
    if (!isGood)
        return;
    events::capacityTrue->setVariable("addresses", static_cast<std::uint64_t>(findings.size()))
        ->setVariable("sectors", m_range.sectorCount);
    sendEvent(*events::capacityTrue, EventType::INFORMATIVE);
}

void CapacityTest::tellOf(const AddressFinding& finding, const AddressFindings& findings) {
    switch (finding.state) {
        case AddressState::good:
            return;
        case AddressState::unreadable:
            reportRdErr(finding.lba);
            return;
        case AddressState::unwritable:
            reportWrErr(finding.lba);
            return;
        case AddressState::elsewhere: {
            const AddressFinding* const other = findAddress(findings, finding.other);
            const bool isSwapped =
                other != nullptr && other->state == AddressState::elsewhere && other->other == finding.lba;
            tellOfSector(isSwapped ? *events::addressSwapped : *events::addressRepeats, finding);
            return;
        }
        case AddressState::lost:
            tellOfSector(*events::addressLost, finding);
            return;
        case AddressState::garbage:
            tellOfSector(*events::patternMismatch, finding);
            return;
        case AddressState::unstable:
            tellOfSector(*events::addressUnstable, finding);
            return;
    }
}

void CapacityTest::tellOfSector(Event& event, const AddressFinding& finding) {
    drive->condemnSectors(finding.lba, 1, SectorFault::wrongData);
    event.setVariable("sector", finding.lba);
    if (finding.state == AddressState::elsewhere)
        event.setVariable("other", finding.other);
    sendEvent(event, EventType::ERR);
}

}  // namespace libDriveTest
