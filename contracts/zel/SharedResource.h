#pragma once

#include <memory>
#include <type_traits>
#include <utility>

namespace zel {

/// Storage policy of a resource held by pointer: the last holder deletes it.
template <class T>
struct PointerStorage {
    using Element = T;
};

/// Shared ownership of a resource. Copies share it; the last one releases it. May be empty.
/// The count is safe across threads, the resource itself is not guarded.
template <class Storage>
class SharedResource {
public:
    using Element = typename Storage::Element;

    SharedResource() = default;
    /// Takes ownership.
    explicit SharedResource(std::unique_ptr<Element> owned) : m_pointer(std::move(owned)) {}

    /// From the holder of a derived class; both share the resource.
    template <class Derived>
    requires std::is_convertible_v<Derived*, Element*> SharedResource(
        const SharedResource<PointerStorage<Derived>>& other)
        : m_pointer(other.m_pointer) {}
    /// The same, leaving the other holder empty.
    template <class Derived>
    requires std::is_convertible_v<Derived*, Element*> SharedResource(
        SharedResource<PointerStorage<Derived>>&& other)
        : m_pointer(std::move(other.m_pointer)) {}

    [[nodiscard]] Element* get() const { return m_pointer.get(); }
    Element& operator*() const { return *m_pointer; }
    Element* operator->() const { return m_pointer.get(); }
    explicit operator bool() const { return m_pointer != nullptr; }
    [[nodiscard]] long references() const { return m_pointer.use_count(); }
    void release() { m_pointer.reset(); }

private:
    template <class>
    friend class SharedResource;

    std::shared_ptr<Element> m_pointer;
};

template <class T>
using SharedPointer = SharedResource<PointerStorage<T>>;

/// A copy of a resource's pointer without ownership: valid as long as its owner keeps the resource.
/// May be empty.
template <class Storage>
class CopiedResource {
public:
    using Element = typename Storage::Element;

    CopiedResource() = default;
    explicit CopiedResource(Element* borrowed) : m_pointer(borrowed) {}
    CopiedResource(const SharedResource<Storage>& shared) : m_pointer(shared.get()) {}

    [[nodiscard]] Element* get() const { return m_pointer; }
    Element* operator->() const { return m_pointer; }
    explicit operator bool() const { return m_pointer != nullptr; }

private:
    Element* m_pointer = nullptr;
};

}  // namespace zel
