#include "drivetest/shelf/ShelfLink.h"

#include <utility>

#include "zel/Clock.h"

namespace drivetest {

namespace {

constexpr std::chrono::milliseconds kInterval{400};
/// How soon the end of the run is noticed while the reader's is waited for.
constexpr std::chrono::milliseconds kSlice{50};

constexpr std::size_t kLongestLine = 65536;

}  // namespace

ShelfLink::ShelfLink(std::unique_ptr<ReportPipe> pipe)
    : m_pipe(std::move(pipe)), m_thread([this] {
          leaveSignalsToOthers();
          watch();
      }) {}

ShelfLink::~ShelfLink() {
    {
        const std::lock_guard lock(m_mutex);
        m_isEnding = true;
    }
    m_thread.join();
}

void ShelfLink::watch() {
    std::chrono::milliseconds untilReport{0};
    while (true) {
        const bool isAlone = m_pipe->waitForEnd(kSlice);
        if (isAlone)
            stopAsIfAsked();
        const std::lock_guard lock(m_mutex);
        if (m_isEnding || isAlone)
            return;
        listen();
        untilReport -= kSlice;
        if (untilReport.count() > 0)
            continue;
        untilReport = kInterval;
        look();
        send();
    }
}

/// Under the lock.
void ShelfLink::look() {
    if (!m_snapshot)
        return;
    const ProgressSnapshot now = m_snapshot();
    m_meter.add(zel::Clock::current().now() - m_began, now.advance);
    m_report.stage = now.isResting ? RunStage::resting : RunStage::testing;
    m_report.share = m_meter.share();
    m_report.bytes = now.advance.bytes;
    m_report.visited = now.advance.visited;
    m_report.rate = m_meter.rateNow();
    m_report.meanRate = m_meter.rateMean();
    const auto left = m_meter.left();
    m_report.secondsLeft = left ? std::optional(std::chrono::duration<double>(*left).count()) : std::nullopt;
    m_report.sector = now.position;
    m_report.temperatureC = now.temperature;
    m_report.errors = now.errors;
    m_report.warnings = now.warnings;
}

void ShelfLink::send() {
    m_pipe->send(m_report.toText());
}

/// Under the lock.
void ShelfLink::listen() {
    m_heard += m_pipe->take();
    std::size_t begin = 0;
    for (std::size_t end = 0; (end = m_heard.find('\n', begin)) != std::string::npos; begin = end + 1)
        if (auto told = readSharingLine(std::string_view(m_heard).substr(begin, end - begin)))
            m_sharing = *std::move(told);
    m_heard.erase(0, begin);
    if (m_heard.size() > kLongestLine)
        m_heard.clear();
}

std::vector<LinkSharing> ShelfLink::sharing() {
    const std::lock_guard lock(m_mutex);
    listen();
    return m_sharing;
}

void ShelfLink::tellStake(AtStake stake, const std::string& journal) {
    const std::lock_guard lock(m_mutex);
    m_report.stake = stake;
    m_report.journal = journal;
    send();
}

ShelfLink::Telling::Telling(ShelfLink* link, Snapshot snapshot) : m_link(link) {
    if (m_link != nullptr)
        m_link->begin(std::move(snapshot));
}

ShelfLink::Telling::~Telling() {
    if (m_link != nullptr)
        m_link->end();
}

void ShelfLink::begin(Snapshot snapshot) {
    const std::lock_guard lock(m_mutex);
    m_snapshot = std::move(snapshot);
    m_began = zel::Clock::current().now();
    m_report.stage = RunStage::testing;
    send();
}

void ShelfLink::end() {
    const std::lock_guard lock(m_mutex);
    look();
    m_snapshot = nullptr;
    m_report.stage = RunStage::ending;
    send();
}

}  // namespace drivetest
