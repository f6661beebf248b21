// ZrDVector<T>: a growable array of constructed elements that owns its storage, copied deeply.
// It is the storage under ZrDList. Indexing is unchecked; allocation failure throws std::bad_alloc
// from operator new, like every other allocation in the foundation.
#pragma once

#include <cstdint>
#include <new>
#include <utility>

template <class T> class ZrDVector {
public:
    ZrDVector() = default;
    explicit ZrDVector(uint32_t size) { Resize(size); }
    ZrDVector(const ZrDVector& other) {
        Reserve(other.m_size);
        for (uint32_t i = 0; i < other.m_size; ++i)
            new (m_data + i) T(other.m_data[i]);
        m_size = other.m_size;
    }
    ZrDVector(ZrDVector&& other) noexcept
        : m_data(std::exchange(other.m_data, nullptr)), m_size(std::exchange(other.m_size, 0)),
          m_capacity(std::exchange(other.m_capacity, 0)) {}
    ZrDVector& operator=(const ZrDVector& other) {
        if (this != &other) {
            ZrDVector copy(other);
            Swap(copy);
        }
        return *this;
    }
    ZrDVector& operator=(ZrDVector&& other) noexcept {
        if (this != &other) {
            ZrDVector gone(std::move(other));
            Swap(gone);
        }
        return *this;
    }
    ~ZrDVector() {
        Clear();
        ::operator delete(m_data);
    }

    uint32_t Size() const { return m_size; }
    uint32_t Capacity() const { return m_capacity; }
    bool IsEmpty() const { return m_size == 0; }
    T* Data() { return m_data; }
    const T* Data() const { return m_data; }
    T& operator[](uint32_t i) { return m_data[i]; }
    const T& operator[](uint32_t i) const { return m_data[i]; }
    T* begin() { return m_data; }
    T* end() { return m_data + m_size; }
    const T* begin() const { return m_data; }
    const T* end() const { return m_data + m_size; }

    // Moves the elements into a new block of exactly `capacity` slots when that is larger.
    void Reserve(uint32_t capacity) {
        if (capacity <= m_capacity)
            return;
        T* block = static_cast<T*>(::operator new(sizeof(T) * capacity));
        for (uint32_t i = 0; i < m_size; ++i) {
            new (block + i) T(std::move(m_data[i]));
            m_data[i].~T();
        }
        ::operator delete(m_data);
        m_data = block;
        m_capacity = capacity;
    }

    // New elements are value-initialised (zero for numbers and pointers).
    void Resize(uint32_t size) {
        Reserve(size);
        for (uint32_t i = m_size; i < size; ++i)
            new (m_data + i) T();
        for (uint32_t i = size; i < m_size; ++i)
            m_data[i].~T();
        m_size = size;
    }

    void Append(T value) {
        if (m_size == m_capacity)
            Reserve(m_capacity < 8 ? 8 : m_capacity + m_capacity / 2);
        new (m_data + m_size) T(std::move(value));
        ++m_size;
    }

    // Destroys the elements and keeps the storage.
    void Clear() {
        for (uint32_t i = 0; i < m_size; ++i)
            m_data[i].~T();
        m_size = 0;
    }

    void Swap(ZrDVector& other) noexcept {
        std::swap(m_data, other.m_data);
        std::swap(m_size, other.m_size);
        std::swap(m_capacity, other.m_capacity);
    }

private:
    T* m_data = nullptr;
    uint32_t m_size = 0;
    uint32_t m_capacity = 0;
};
