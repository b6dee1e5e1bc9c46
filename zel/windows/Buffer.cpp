#include "zel/Buffer.h"

#include <malloc.h>

#include <new>
#include <utility>

namespace zel {

namespace {

constexpr std::size_t kPage = 4096;

}  // namespace

Buffer::Buffer(std::size_t bytes) : m_bytes(bytes) {
    if (bytes == 0)
        return;
    m_data = static_cast<std::uint8_t*>(_aligned_malloc(bytes, kPage));
    if (m_data == nullptr)
        throw std::bad_alloc();
}

Buffer::~Buffer() {
    _aligned_free(m_data);
}

Buffer::Buffer(Buffer&& other) noexcept
    : m_data(std::exchange(other.m_data, nullptr)), m_bytes(std::exchange(other.m_bytes, 0)) {}

Buffer& Buffer::operator=(Buffer&& other) noexcept {
    std::swap(m_data, other.m_data);
    std::swap(m_bytes, other.m_bytes);
    return *this;
}

}  // namespace zel
