#pragma once

#include <condition_variable>
#include <functional>
#include <mutex>
#include <thread>

namespace drivetest {

/// Waits on a thread of its own for the stop to be asked for again, and then calls once what makes it
/// quicker. Meanwhile it sees to it that stops are noticed that a silent drive keeps from this process.
class HurryWatch {
public:
    explicit HurryWatch(std::function<void()> hurry);
    ~HurryWatch();
    HurryWatch(const HurryWatch&) = delete;
    HurryWatch& operator=(const HurryWatch&) = delete;

private:
    void watch();

    std::function<void()> m_hurry;
    std::mutex m_mutex;
    std::condition_variable m_wake;
    bool m_ending = false;
    std::thread m_thread;
};

}  // namespace drivetest
