#include "drivetest/run/OutputQueue.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <system_error>
#include <utility>

#include "drivetest/run/Signals.h"
#include "quix5/StopRequest.h"
#include "zel/Words.h"

namespace drivetest {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::size_t kMostBytes = std::size_t{64} << 20;
/// How soon a stop request is noticed while waiting.
constexpr std::chrono::milliseconds kStopInterval{20};
constexpr std::chrono::seconds kPatience{2};
/// Of each queue once the stop is insisted on; who reads at all takes what is left in less.
constexpr std::chrono::milliseconds kHurriedPatience{500};
/// Each queue's share when others have used up the patience.
constexpr std::chrono::milliseconds kLeastPatience{200};

std::atomic<std::size_t> bytesOfAll{0};
/// Whether any queue has; asked at every step of a test.
std::atomic<bool> hasOneFailed{false};

struct Line {
    std::string text;
    bool isDurable;
};

/// With what a line costs besides its text.
std::size_t costOf(const Line& line) {
    return line.text.size() + sizeof(Line);
}

/// The queues of standard output and standard error. Never destroyed: their threads may be blocked for good.
struct StandardQueues {
    std::mutex mutex;
    std::array<std::shared_ptr<OutputQueue>, 3> byDescriptor;

    static StandardQueues& get() {
        static StandardQueues& queues = *new StandardQueues;
        return queues;
    }
    std::array<std::shared_ptr<OutputQueue>, 3> used() {
        const std::lock_guard lock(mutex);
        return byDescriptor;
    }
};

}  // namespace

struct OutputQueue::State {
    explicit State(OutputFile output) : file(std::move(output)) {}

    void writeAll();
    void writeFirst(std::unique_lock<std::mutex>& lock);
    void discard();
    [[nodiscard]] bool isIdle() const { return lines.empty() && !writing; }

    mutable std::mutex mutex;
    std::condition_variable wake;     ///< of the thread
    std::condition_variable written;  ///< everything is
    std::deque<Line> lines;
    OutputFile file;
    bool writing = false;
    bool failed = false;
    int error = 0;  ///< why, as errno
    bool givenUp = false;
    bool closing = false;
};

void OutputQueue::State::discard() {
    for (const Line& line : lines)
        bytesOfAll -= costOf(line);
    lines.clear();
}

void OutputQueue::State::writeFirst(std::unique_lock<std::mutex>& lock) {
    const Line line = std::move(lines.front());
    lines.pop_front();
    writing = true;
    lock.unlock();
    const bool ok = file.write(line.text) && (!line.isDurable || file.sync());
    const int reason = ok ? 0 : errno;
    lock.lock();
    writing = false;
    bytesOfAll -= costOf(line);
    if (!ok) {
        failed = true;
        error = reason;
        hasOneFailed = true;
        discard();
    }
}

void OutputQueue::State::writeAll() {
    std::unique_lock lock(mutex);
    while (true) {
        wake.wait(lock, [this] { return closing || !lines.empty(); });
        if (lines.empty())
            return;
        writeFirst(lock);
        if (isIdle())
            written.notify_all();
    }
}

OutputQueue::OutputQueue(OutputFile file) : m_state(std::make_shared<State>(std::move(file))) {
    m_state->failed = !m_state->file.begin();
    if (m_state->failed)
        hasOneFailed = true;
    try {
        m_thread = std::thread([state = m_state] {
            leaveSignalsToOthers();
            state->writeAll();
        });
    } catch (const std::system_error&) {
        // The system has none to give: better whoever adds something waits than that nothing is said.
        m_thread = {};
    }
}

OutputQueue::~OutputQueue() {
    finish();
    std::unique_lock lock(m_state->mutex);
    m_state->closing = true;
    const bool blocked = m_state->writing;
    lock.unlock();
    m_state->wake.notify_one();
    if (!m_thread.joinable())
        return;
    if (blocked)
        m_thread.detach();
    else
        m_thread.join();
}

std::shared_ptr<OutputQueue> OutputQueue::of(OutputFile file) {
    if (file.descriptor() == 1 || file.descriptor() == 2)
        return standard(file.descriptor());
    return std::make_shared<OutputQueue>(std::move(file));
}

std::shared_ptr<OutputQueue> OutputQueue::standard(int descriptor) {
    StandardQueues& queues = StandardQueues::get();
    const std::lock_guard lock(queues.mutex);
    const bool shared = isSameOutput(OutputFile::borrow(1), OutputFile::borrow(2));
    auto& queue = queues.byDescriptor.at(shared ? 1 : static_cast<std::size_t>(descriptor));
    if (queue == nullptr)
        queue = std::make_shared<OutputQueue>(OutputFile::borrow(descriptor));
    return queue;
}

bool OutputQueue::waitForStandard(const std::function<bool()>& isPatient) {
    const auto queues = StandardQueues::get().used();
    return std::all_of(queues.begin(), queues.end(), [&isPatient](const auto& queue) {
        return queue == nullptr || queue->wait(isPatient);
    });
}

void OutputQueue::finishStandard() {
    for (const auto& queue : StandardQueues::get().used())
        if (queue != nullptr)
            queue->finish();
}

std::string OutputQueue::failure() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->failed ? std::generic_category().message(m_state->error) : std::string();
}

bool OutputQueue::hasAnyFailed() {
    return hasOneFailed;
}

bool OutputQueue::hasStandardFailed() {
    return hasOneFailed && !standardFailure().empty();
}

std::string OutputQueue::standardFailure() {
    const auto queues = StandardQueues::get().used();
    for (const auto& [descriptor, name] :
         {std::pair{1, zel::marked("standard output")}, {2, zel::marked("standard error")}}) {
        const auto& queue = queues.at(static_cast<std::size_t>(descriptor));
        const std::string reason = queue != nullptr ? queue->failure() : std::string();
        if (!reason.empty())
            return zel::words("{stream} cannot be written to: {reason}",
                              {{"stream", zel::words(name)}, {"reason", reason}});
    }
    return {};
}

void OutputQueue::add(std::string text, bool isDurable) {
    std::unique_lock lock(m_state->mutex);
    if (m_state->failed || m_state->givenUp)
        return;
    m_state->lines.push_back({std::move(text), isDurable});
    bytesOfAll += costOf(m_state->lines.back());
    m_state->wake.notify_one();
    if (!m_thread.joinable() && !m_state->writing)
        m_state->writeFirst(lock);
}

bool OutputQueue::isBusy() const {
    const std::lock_guard lock(m_state->mutex);
    return !m_state->isIdle();
}

bool OutputQueue::wait(const std::function<bool()>& isPatient) const {
    std::unique_lock lock(m_state->mutex);
    while (!m_state->isIdle() && isPatient())
        m_state->written.wait_for(lock, kStopInterval);
    return m_state->isIdle();
}

bool OutputQueue::finish() {
    static const Clock::time_point firstCall = Clock::now();
    const Clock::time_point end = std::max(firstCall + kPatience, Clock::now() + kLeastPatience);
    const Clock::time_point hurriedEnd = std::min(end, Clock::now() + kHurriedPatience);
    const bool idle = wait([end, hurriedEnd] {
        const Clock::time_point last = quix5::StopRequest::isInsistedOn() ? hurriedEnd : end;
        return !quix5::StopRequest::made() || Clock::now() < last;
    });
    const std::lock_guard lock(m_state->mutex);
    if (!idle && !m_state->isIdle()) {
        m_state->givenUp = true;
        m_state->discard();
    }
    return !m_state->failed && !m_state->givenUp;
}

bool OutputQueue::wasGivenUp() const {
    const std::lock_guard lock(m_state->mutex);
    return m_state->givenUp;
}

std::size_t OutputQueue::waitingBytes() {
    return bytesOfAll;
}

void OutputQueue::waitForRoom() {
    if (bytesOfAll <= kMostBytes)
        return;
    while (bytesOfAll > kMostBytes / 2 && !quix5::StopRequest::made())
        std::this_thread::sleep_for(kStopInterval);
}

}  // namespace drivetest
