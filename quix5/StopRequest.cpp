#include "quix5/StopRequest.h"

#include <atomic>

namespace quix5 {

namespace {

std::atomic<bool> stopRequested{false};
static_assert(std::atomic<bool>::is_always_lock_free);

}  // namespace

void StopRequest::make() noexcept {
    stopRequested.store(true, std::memory_order_relaxed);
}
bool StopRequest::made() noexcept {
    return stopRequested.load(std::memory_order_relaxed);
}

}  // namespace quix5
