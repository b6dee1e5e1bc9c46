#pragma once

#include <cstddef>
#include <cstdint>

#include "zel/Export.h"

namespace zel {

/// Owned bytes for drive transfers: page-aligned, not initialized; large ones are placed where the
/// system can map them with few translations. Throws std::bad_alloc.
class DRIVETEST_API Buffer {
public:
    Buffer() = default;
    explicit Buffer(std::size_t bytes);
    ~Buffer();
    Buffer(Buffer&& other) noexcept;
    Buffer& operator=(Buffer&& other) noexcept;
    Buffer(const Buffer&) = delete;
    Buffer& operator=(const Buffer&) = delete;

    [[nodiscard]] std::uint8_t* data() { return m_data; }
    [[nodiscard]] const std::uint8_t* data() const { return m_data; }
    [[nodiscard]] std::size_t size() const { return m_bytes; }

private:
    std::uint8_t* m_data = nullptr;
    std::size_t m_bytes = 0;
};

}  // namespace zel
