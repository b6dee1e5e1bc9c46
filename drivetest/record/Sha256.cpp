#include "drivetest/record/Sha256.h"

#include <bit>

#include "zel/Format.h"

namespace drivetest {

namespace {

using Word = std::uint32_t;

/// FIPS 180-4, 4.2.2
constexpr std::array<Word, 64> kConstants{
    0x428a2f98, 0x71374491, 0xb5c0fbcf, 0xe9b5dba5, 0x3956c25b, 0x59f111f1, 0x923f82a4, 0xab1c5ed5,
    0xd807aa98, 0x12835b01, 0x243185be, 0x550c7dc3, 0x72be5d74, 0x80deb1fe, 0x9bdc06a7, 0xc19bf174,
    0xe49b69c1, 0xefbe4786, 0x0fc19dc6, 0x240ca1cc, 0x2de92c6f, 0x4a7484aa, 0x5cb0a9dc, 0x76f988da,
    0x983e5152, 0xa831c66d, 0xb00327c8, 0xbf597fc7, 0xc6e00bf3, 0xd5a79147, 0x06ca6351, 0x14292967,
    0x27b70a85, 0x2e1b2138, 0x4d2c6dfc, 0x53380d13, 0x650a7354, 0x766a0abb, 0x81c2c92e, 0x92722c85,
    0xa2bfe8a1, 0xa81a664b, 0xc24b8b70, 0xc76c51a3, 0xd192e819, 0xd6990624, 0xf40e3585, 0x106aa070,
    0x19a4c116, 0x1e376c08, 0x2748774c, 0x34b0bcb5, 0x391c0cb3, 0x4ed8aa4a, 0x5b9cca4f, 0x682e6ff3,
    0x748f82ee, 0x78a5636f, 0x84c87814, 0x8cc70208, 0x90befffa, 0xa4506ceb, 0xbef9a3f7, 0xc67178f2};

Word wordAt(std::string_view bytes, std::size_t index) {
    Word word = 0;
    for (std::size_t i = 0; i < 4; ++i)
        word = word << 8 | static_cast<unsigned char>(bytes[4 * index + i]);
    return word;
}

std::array<Word, 64> scheduleOf(std::string_view block) {
    std::array<Word, 64> schedule{};
    for (std::size_t t = 0; t < 16; ++t)
        schedule[t] = wordAt(block, t);
    for (std::size_t t = 16; t < 64; ++t) {
        const Word early = schedule[t - 15];
        const Word late = schedule[t - 2];
        schedule[t] = schedule[t - 16] + schedule[t - 7] +
                      (std::rotr(early, 7) ^ std::rotr(early, 18) ^ early >> 3) +
                      (std::rotr(late, 17) ^ std::rotr(late, 19) ^ late >> 10);
    }
    return schedule;
}

}  // namespace

void Sha256::take(std::string_view block) {
    const std::array<Word, 64> schedule = scheduleOf(block);
    auto [a, b, c, d, e, f, g, h] = m_state;
    for (std::size_t t = 0; t < 64; ++t) {
        const Word first = h + (std::rotr(e, 6) ^ std::rotr(e, 11) ^ std::rotr(e, 25)) +
                           ((e & f) ^ (~e & g)) + kConstants[t] + schedule[t];
        const Word second =
            (std::rotr(a, 2) ^ std::rotr(a, 13) ^ std::rotr(a, 22)) + ((a & b) ^ (a & c) ^ (b & c));
        h = g;
        g = f;
        f = e;
        e = d + first;
        d = c;
        c = b;
        b = a;
        a = first + second;
    }
    const std::array<Word, 8> worked{a, b, c, d, e, f, g, h};
    for (std::size_t i = 0; i < worked.size(); ++i)
        m_state[i] += worked[i];
}

void Sha256::add(std::string_view bytes) {
    m_bytes += bytes.size();
    if (!m_open.empty()) {
        const std::string_view missing = bytes.substr(0, kBlockBytes - m_open.size());
        m_open += missing;
        bytes.remove_prefix(missing.size());
        if (m_open.size() < kBlockBytes)
            return;
        take(m_open);
        m_open.clear();
    }
    for (; bytes.size() >= kBlockBytes; bytes.remove_prefix(kBlockBytes))
        take(bytes.substr(0, kBlockBytes));
    m_open = bytes;
}

std::string Sha256::hexDigest() {
    const std::uint64_t bits = m_bytes * 8;
    std::string ending(1, '\x80');
    while ((m_bytes + ending.size()) % kBlockBytes != kBlockBytes - sizeof bits)
        ending += '\0';
    for (int shift = 56; shift >= 0; shift -= 8)
        ending += static_cast<char>(bits >> shift & 0xff);
    add(ending);
    std::string digits;
    for (const Word word : m_state)
        digits += zel::format("%08x", word).utf8();
    return digits;
}

}  // namespace drivetest
