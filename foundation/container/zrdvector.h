// ZrDVector<T, N>: a growable array of constructed elements that owns its storage (the first N slots
// inside the object), copied deeply. It is the storage under ZrDList. Indexing is unchecked; allocation
// failure throws std::bad_alloc from operator new, like every other allocation in the foundation.
#pragma once

#include <cstdint>
#include <memory>
#include <new>
#include <utility>

// Room for N elements inside the vector itself, so short vectors never allocate; none when N is 0.
template <class T, uint32_t N> struct ZrDVectorInline {
    alignas(T) unsigned char m_bytes[N * sizeof(T)];
};
template <class T> struct ZrDVectorInline<T, 0> {};

template <class T, uint32_t N = 0> class ZrDVector {
public:
    ZrDVector() : m_data(InlineSlots()) {}
    explicit ZrDVector(uint32_t size) : m_data(InlineSlots()) { Resize(size); }
    ZrDVector(const ZrDVector& other) : m_data(InlineSlots()) {
        Reserve(other.m_size);
        for (uint32_t i = 0; i < other.m_size; ++i)
            new (m_data + i) T(other.m_data[i]);
        m_size = other.m_size;
    }
    ZrDVector(ZrDVector&& other) noexcept : m_data(InlineSlots()) { TakeFrom(other); }
    ZrDVector& operator=(const ZrDVector& other) {
        if (this != &other) {
            ZrDVector copy(other);
            *this = std::move(copy);
        }
        return *this;
    }
    ZrDVector& operator=(ZrDVector&& other) noexcept {
        if (this != &other) {
            Free();
            TakeFrom(other);
        }
        return *this;
    }
    ~ZrDVector() { Free(); }

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
        T* block = Allocate(capacity);
        for (uint32_t i = 0; i < m_size; ++i) {
            new (block + i) T(std::move(m_data[i]));
            m_data[i].~T();
        }
        if (!IsInline())
            Deallocate(m_data);
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
        ZrDVector keep(std::move(other));
        other = std::move(*this);
        *this = std::move(keep);
    }

private:
    // Elements aligned beyond what plain operator new gives (a cache line) get blocks aligned for them.
    static constexpr bool kOverAligned = alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__;
    static T* Allocate(uint32_t count) {
        if constexpr (kOverAligned)
            return static_cast<T*>(::operator new(sizeof(T) * count, std::align_val_t(alignof(T))));
        else
            return static_cast<T*>(::operator new(sizeof(T) * count));
    }
    static void Deallocate(T* block) {
        if constexpr (kOverAligned)
            ::operator delete(block, std::align_val_t(alignof(T)));
        else
            ::operator delete(block);
    }

    // Only the address of the inline room is taken, so this is safe before the room is constructed.
    T* InlineSlots() {
        if constexpr (N == 0)
            return nullptr;
        else
            return reinterpret_cast<T*>(std::addressof(m_inline));
    }
    bool IsInline() const { return N != 0 && m_data == const_cast<ZrDVector*>(this)->InlineSlots(); }

    void Free() {
        Clear();
        if (!IsInline())
            Deallocate(m_data);
        m_data = InlineSlots();
        m_capacity = N;
    }

    // Expects this vector empty with no heap block; leaves `other` empty on its inline room.
    void TakeFrom(ZrDVector& other) noexcept {
        if (other.IsInline()) {
            m_data = InlineSlots();
            m_capacity = N;
            for (uint32_t i = 0; i < other.m_size; ++i) {
                new (m_data + i) T(std::move(other.m_data[i]));
                other.m_data[i].~T();
            }
        } else {
            m_data = other.m_data;
            m_capacity = other.m_capacity;
            other.m_data = other.InlineSlots();
            other.m_capacity = N;
        }
        m_size = other.m_size;
        other.m_size = 0;
    }

    // The pointer comes first so that, in a small vector, it shares a cache line with the inline slots.
    T* m_data;
    uint32_t m_size = 0;
    uint32_t m_capacity = N;
    [[no_unique_address]] ZrDVectorInline<T, N> m_inline;
};
