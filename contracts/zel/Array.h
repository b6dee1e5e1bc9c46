#pragma once

#include <cstddef>
#include <initializer_list>
#include <utility>
#include <vector>

#include "zel/Export.h"

namespace zel {

/// Reports a broken precondition: logs `condition` at priority 4 on the logger "zel" and throws
/// std::logic_error. Never returns.
[[noreturn]] DRIVETEST_API void assertionFailed(const char* condition);

/// Growable array that owns its elements. Indexing is bounds-checked ("index < size()").
template <class T>
class Array {
public:
    Array() = default;
    Array(std::initializer_list<T> items) : m_items(items) {}

    void append(T item) { m_items.push_back(std::move(item)); }
    void clear() { m_items.clear(); }
    void resize(std::size_t size) { m_items.resize(size); }
    [[nodiscard]] std::size_t size() const { return m_items.size(); }
    [[nodiscard]] bool isEmpty() const { return m_items.empty(); }

    T& operator[](std::size_t index) {
        check(index);
        return m_items[index];
    }
    const T& operator[](std::size_t index) const {
        check(index);
        return m_items[index];
    }

    auto begin() { return m_items.begin(); }
    auto end() { return m_items.end(); }
    auto begin() const { return m_items.begin(); }
    auto end() const { return m_items.end(); }

    bool operator==(const Array&) const = default;

private:
    void check(std::size_t index) const {
        if (index >= m_items.size())
            assertionFailed("index < size()");
    }

    std::vector<T> m_items;
};

}  // namespace zel
