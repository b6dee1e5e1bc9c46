#pragma once

#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <mutex>
#include <thread>
#include <vector>

namespace libDrive2 {

/// Keeps several blocking commands in flight, each from a thread of its own. Used by one thread at a time.
class CommandPool {
public:
    CommandPool() = default;
    ~CommandPool();
    CommandPool(const CommandPool&) = delete;
    CommandPool& operator=(const CommandPool&) = delete;

    /// Calls `command(0)` to `command(count - 1)`, all at the same time, and returns when all have returned.
    /// The threads are kept for the next time.
    void run(std::size_t count, const std::function<void(std::size_t)>& command);

private:
    void work(std::size_t index);

    std::vector<std::thread> m_threads;  ///< thread i serves command i + 1; the caller serves the first
    std::mutex m_mutex;
    std::condition_variable m_start;
    std::condition_variable m_done;
    const std::function<void(std::size_t)>* m_command = nullptr;
    std::size_t m_count = 0;    ///< commands of the round
    std::size_t m_running = 0;  ///< those of them that have not returned
    std::uint64_t m_round = 0;
    bool m_ending = false;
};

}  // namespace libDrive2
