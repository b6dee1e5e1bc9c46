#include "drivetest/devices/ApartAnswers.h"

#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

#include "quix5/StopRequest.h"

namespace drivetest {

namespace {

using Clock = std::chrono::steady_clock;

constexpr std::chrono::milliseconds kSlice{100};

/// Lives as long as the last thread that may still answer.
struct Shared {
    std::mutex mutex{};
    std::condition_variable isTold{};
    std::vector<ApartAnswer> answers{};
    std::size_t missing = 0;
};

}  // namespace

/// A thread that never comes back is left to itself: there is no copy of a process here.
std::vector<ApartAnswer> askApart(const std::vector<std::function<std::string()>>& questions,
                                  std::chrono::milliseconds longest) {
    const auto shared = std::make_shared<Shared>();
    shared->answers.resize(questions.size());
    shared->missing = questions.size();
    for (std::size_t i = 0; i < questions.size(); ++i)
        std::thread([shared, i, question = questions[i]] {
            std::string text = question();
            const std::lock_guard lock(shared->mutex);
            shared->answers[i] = {ApartAnswer::End::answered, std::move(text)};
            --shared->missing;
            shared->isTold.notify_all();
        }).detach();
    const auto deadline = Clock::now() + longest;
    std::unique_lock lock(shared->mutex);
    const auto isDone = [&shared] { return shared->missing == 0; };
    while (!isDone() && Clock::now() < deadline && !quix5::StopRequest::made())
        shared->isTold.wait_for(lock, kSlice, isDone);
    std::vector<ApartAnswer> answers = shared->answers;
    if (!isDone() && quix5::StopRequest::made())
        for (ApartAnswer& each : answers)
            if (each.end == ApartAnswer::End::silent)
                each.end = ApartAnswer::End::stopped;
    return answers;
}

}  // namespace drivetest
