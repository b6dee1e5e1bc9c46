#include "libDrive2/drives/CommandPool.h"

namespace libDrive2 {

CommandPool::~CommandPool() {
    {
        const std::lock_guard lock(m_mutex);
        m_ending = true;
    }
    m_start.notify_all();
    for (std::thread& thread : m_threads)
        thread.join();
}

void CommandPool::run(std::size_t count, const std::function<void(std::size_t)>& command) {
    if (count == 0)
        return;
    while (m_threads.size() + 1 < count)
        m_threads.emplace_back([this, index = m_threads.size() + 1] { work(index); });
    if (count > 1) {
        const std::lock_guard lock(m_mutex);
        m_command = &command;
        m_count = count;
        m_running = count - 1;
        ++m_round;
    }
    m_start.notify_all();
    command(0);
    std::unique_lock lock(m_mutex);
    m_done.wait(lock, [this] { return m_running == 0; });
}

void CommandPool::work(std::size_t index) {
    std::uint64_t served = 0;
    std::unique_lock lock(m_mutex);
    while (true) {
        m_start.wait(lock, [&] { return m_ending || (m_round != served && index < m_count); });
        if (m_ending)
            return;
        served = m_round;
        const auto* const command = m_command;
        lock.unlock();
        (*command)(index);
        lock.lock();
        if (--m_running == 0)
            m_done.notify_one();
    }
}

}  // namespace libDrive2
