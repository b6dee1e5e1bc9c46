#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <string_view>

namespace libDrive2 {

/// The password of a simulated drive (ACS-4, Security feature set): 32 bytes, padded with zeros.
class SimSecurity {
public:
    static constexpr std::string_view kPassword = "secret";
    static constexpr std::size_t kPasswordBytes = 32;
    /// Wrong attempts until the drive answers none before the next power-on.
    static constexpr std::uint8_t kAttempts = 5;

    SimSecurity() = default;
    explicit SimSecurity(bool locked) : m_enabled(locked), m_locked(locked) {}

    [[nodiscard]] bool isEnabled() const { return m_enabled; }
    [[nodiscard]] bool isLocked() const { return m_locked; }
    [[nodiscard]] bool isExpired() const { return m_attemptsLeft == 0; }

    /// False for a wrong password, which counts as an attempt, and when no attempt is left.
    bool check(const std::uint8_t* password) {
        if (isExpired())
            return false;
        std::array<std::uint8_t, kPasswordBytes> right{};
        std::copy(kPassword.begin(), kPassword.end(), right.begin());
        if (std::equal(right.begin(), right.end(), password))
            return true;
        if (m_locked)
            --m_attemptsLeft;
        return false;
    }
    void unlock() { m_locked = false; }
    void disable() { m_enabled = m_locked = false; }

    /// An erase is taken only as the command right after SECURITY ERASE PREPARE.
    void prepareErase(bool prepared) { m_erasePrepared = prepared; }
    [[nodiscard]] bool isErasePrepared() const { return m_erasePrepared; }

private:
    bool m_enabled = false;
    bool m_locked = false;
    bool m_erasePrepared = false;
    std::uint8_t m_attemptsLeft = kAttempts;
};

}  // namespace libDrive2
