#include "quix5/StopRequest.h"

#include <atomic>

namespace quix5 {

namespace {

std::atomic<bool> stopRequested{false};
std::atomic<int> timesInsisted{0};
static_assert(std::atomic<bool>::is_always_lock_free && std::atomic<int>::is_always_lock_free);

}  // namespace

void StopRequest::make() noexcept {
    stopRequested.store(true, std::memory_order_relaxed);
}
int StopRequest::insist() noexcept {
    make();
    return timesInsisted.fetch_add(1, std::memory_order_relaxed) + 1;
}
bool StopRequest::isInsistedOn() noexcept {
    return timesInsisted.load(std::memory_order_relaxed) > 1;
}
bool StopRequest::made() noexcept {
    return stopRequested.load(std::memory_order_relaxed);
}

}  // namespace quix5
