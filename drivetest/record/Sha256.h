#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace drivetest {

/// The SHA-256 of bytes that come piece by piece (FIPS 180-4).
class Sha256 {
public:
    void add(std::string_view bytes);
    /// 64 hexadecimal digits; nothing is added after that.
    [[nodiscard]] std::string hexDigest();

private:
    static constexpr std::size_t kBlockBytes = 64;

    void take(std::string_view block);

    std::array<std::uint32_t, 8> m_state{0x6a09e667, 0xbb67ae85, 0x3c6ef372, 0xa54ff53a,
                                         0x510e527f, 0x9b05688c, 0x1f83d9ab, 0x5be0cd19};
    std::string m_open;  ///< what is no whole block yet
    std::uint64_t m_bytes = 0;
};

}  // namespace drivetest
