#include "zel/Buffer.h"

#include <sys/mman.h>

#include <cstdlib>
#include <new>
#include <utility>

namespace zel {

namespace {

constexpr std::size_t kPage = 4096;
constexpr std::size_t kLargest = ~std::size_t{0} / 2;  // rounding up must not wrap
constexpr std::size_t kHugePage = std::size_t{2} << 20;

}  // namespace

Buffer::Buffer(std::size_t bytes) : m_bytes(bytes) {
    if (bytes == 0)
        return;
    if (bytes > kLargest)
        throw std::bad_alloc();
    const std::size_t alignment = bytes >= kHugePage ? kHugePage : kPage;
    const std::size_t rounded = (bytes + kPage - 1) / kPage * kPage;
    m_data = static_cast<std::uint8_t*>(
        std::aligned_alloc(alignment, (rounded + alignment - 1) / alignment * alignment));
    if (m_data == nullptr)
        throw std::bad_alloc();
    // Huge pages make pinning a transfer's pages many times cheaper; where there are none, nothing is lost.
    if (alignment == kHugePage)
        (void)madvise(m_data, rounded, MADV_HUGEPAGE);
}

Buffer::~Buffer() {
    std::free(m_data);
}

Buffer::Buffer(Buffer&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)), m_bytes(std::exchange(other.m_bytes, 0)) {}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

}  // namespace zel
