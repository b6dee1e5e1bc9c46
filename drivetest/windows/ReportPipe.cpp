#include "drivetest/shelf/ReportPipe.h"

#include <algorithm>
#include <cstdint>
#include <thread>

#include "quix5/StopRequest.h"
#include "zel/windows/Windows.h"

namespace drivetest {

namespace {

constexpr std::chrono::milliseconds kSlice{50};

class Pipe : public ReportPipe {
public:
    explicit Pipe(HANDLE handle) : m_handle(handle) {}
    ~Pipe() override { CloseHandle(m_handle); }
    Pipe(const Pipe&) = delete;
    Pipe& operator=(const Pipe&) = delete;

    void send(std::string_view line) override {
        DWORD written = 0;
        m_hasEnded = m_hasEnded || (WriteFile(m_handle, line.data(), static_cast<DWORD>(line.size()),
                                              &written, nullptr) == 0 &&
                                    GetLastError() == ERROR_NO_DATA);
    }
    std::string take() override { return {}; }
    /// Nobody tells of it: a write of nothing does.
    bool waitForEnd(std::chrono::milliseconds longest) override {
        for (auto left = longest; !m_hasEnded && left.count() > 0; left -= kSlice) {
            std::this_thread::sleep_for(std::min(left, kSlice));
            DWORD written = 0;
            m_hasEnded = WriteFile(m_handle, "\n", 1, &written, nullptr) == 0;
        }
        return m_hasEnded;
    }

private:
    HANDLE m_handle;
    bool m_hasEnded = false;
};

}  // namespace

std::unique_ptr<ReportPipe> ReportPipe::adopt(long long number) {
    // NOLINTNEXTLINE(performance-no-int-to-ptr): a handle is handed on as a number
    const auto handle = reinterpret_cast<HANDLE>(static_cast<std::intptr_t>(number));
    if (number <= 0 || GetFileType(handle) != FILE_TYPE_PIPE)
        return nullptr;
    SetHandleInformation(handle, HANDLE_FLAG_INHERIT, 0);
    DWORD mode = PIPE_NOWAIT;
    SetNamedPipeHandleState(handle, &mode, nullptr, nullptr);
    return std::make_unique<Pipe>(handle);
}

void stopAsIfAsked() {
    quix5::StopRequest::make();
}

}  // namespace drivetest
