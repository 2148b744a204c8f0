#pragma once
// Intrusive reference counting: ox::RefCounted carries the use count inside the
// object, ox::Reference<T> is the owning pointer. Holding the count in the object
// lets a raw `T*` handed around inside the library be wrapped again without a
// second control block, which is how the mesh cache shares its results.

#include <atomic>
#include <cstddef>
#include <utility>

namespace ox
{
/// Base class of every reference-counted object. The count starts at 0; the
/// first Reference that takes the object raises it to 1, and the last one to
/// let go deletes the object through the virtual destructor.
/// Thread safety: the count is atomic, so References to one object may be
/// copied and dropped on different threads.
class RefCounted
{
public:
    RefCounted() = default;
    RefCounted(const RefCounted&) : m_useCount(0) {}
    RefCounted& operator=(const RefCounted&) { return *this; }
    virtual ~RefCounted() = default;

    void addReference() const { m_useCount.fetch_add(1, std::memory_order_relaxed); }
    /// Drops one use; deletes the object when it was the last.
    void removeReference() const
    {
        if (m_useCount.fetch_sub(1, std::memory_order_acq_rel) == 1)
            delete this;
    }
    int getUseCount() const { return m_useCount.load(std::memory_order_relaxed); }

private:
    mutable std::atomic<int> m_useCount{0};
};

/// Owning pointer to a RefCounted object: `ox::Reference<T> r(new T)`.
/// Null by default; `get()`, `->`, `*` and the conversion to bool behave as for
/// a raw pointer.
template <class T>
class Reference
{
public:
    Reference() = default;
    Reference(std::nullptr_t) {}
    Reference(T* object) : m_object(object) { acquire(); }
    Reference(const Reference& other) : m_object(other.m_object) { acquire(); }
    Reference(Reference&& other) noexcept : m_object(other.m_object) { other.m_object = nullptr; }
    template <class U>
    Reference(const Reference<U>& other) : m_object(other.get())
    {
        acquire();
    }
    ~Reference() { release(); }

    Reference& operator=(Reference other) noexcept
    {
        std::swap(m_object, other.m_object);
        return *this;
    }

    T* get() const { return m_object; }
    T* operator->() const { return m_object; }
    T& operator*() const { return *m_object; }
    explicit operator bool() const { return m_object != nullptr; }

    void reset() { Reference().swap(*this); }
    void swap(Reference& other) noexcept { std::swap(m_object, other.m_object); }

    friend bool operator==(const Reference& a, const Reference& b)
    {
        return a.m_object == b.m_object;
    }
    friend bool operator!=(const Reference& a, const Reference& b)
    {
        return a.m_object != b.m_object;
    }

private:
    void acquire()
    {
        if (m_object)
            m_object->addReference();
    }
    void release()
    {
        if (m_object)
            m_object->removeReference();
        m_object = nullptr;
    }

    T* m_object = nullptr;
};
}  // namespace ox
