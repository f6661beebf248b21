// ZrDList<T, N>: an append-only slot list. Appends always go one past the highest slot ever filled;
// removing an element leaves a hole (its occupancy bit cleared) that later appends never reuse and
// iteration skips. Owns its elements by value (the first N inside the object) and is copied deeply.
// Indexing is unchecked.
#pragma once

#include <cstdint>
#include <utility>

#include "foundation/container/zrdvector.h"

template <class T, uint32_t N = 0> class ZrDList {
public:
    static constexpr uint32_t kDefaultStep = 10;

    explicit ZrDList(uint32_t step = kDefaultStep)
        : m_step(step ? step : kDefaultStep), m_capacity(m_step), m_bitmapWords(kDefaultStep) {}

    ZrDList(const ZrDList&) = default;
    ZrDList(ZrDList&& other) noexcept
        : m_end(other.m_end), m_count(other.m_count), m_slots(std::move(other.m_slots)), m_step(other.m_step),
          m_capacity(other.m_capacity), m_bitmapWords(other.m_bitmapWords), m_changes(other.m_changes),
          m_bitmap(std::move(other.m_bitmap)) {
        other.Reset();
    }
    ZrDList& operator=(const ZrDList&) = default;
    ZrDList& operator=(ZrDList&& other) noexcept {
        if (this != &other) {
            m_step = other.m_step;
            m_capacity = other.m_capacity;
            m_slots = std::move(other.m_slots);
            m_bitmapWords = other.m_bitmapWords;
            m_bitmap = std::move(other.m_bitmap);
            m_end = other.m_end;
            m_count = other.m_count;
            ++m_changes;
            other.Reset();
        }
        return *this;
    }

    // Appends `value` at the end index and returns its slot.
    uint32_t InsertNonConst(T value) {
        uint32_t i = m_end;
        if (i >= m_capacity)
            m_capacity = (i / m_step + 1) * m_step;
        if (i / 32 >= m_bitmapWords)
            m_bitmapWords = (i + 32) / 32 + 3;
        // The block of `capacity` slots (and of bitmap words) is allocated when the first slot past the
        // inline room is needed, and filled as far as the end index: an empty list, or a short one
        // that fits inline, costs nothing beyond the object itself.
        if (i >= m_slots.Capacity())
            m_slots.Reserve(m_capacity);
        m_slots.Resize(i + 1);
        m_slots[i] = std::move(value);
        uint32_t word = i / 32;
        if (word >= m_bitmap.Size()) {
            if (word >= m_bitmap.Capacity())
                m_bitmap.Reserve(m_bitmapWords);
            m_bitmap.Resize(word + 1);
        }
        m_bitmap[word] |= 1u << (i % 32);
        m_end = i + 1;
        ++m_count;
        return i;
    }
    uint32_t Insert(const T& value) { return InsertNonConst(T(value)); }

    // Turns slot i into a hole; false when it held nothing.
    bool RemoveAt(uint32_t i) {
        if (!IsOccupied(i))
            return false;
        m_bitmap[i / 32] &= ~(1u << (i % 32));
        m_slots[i] = T();
        --m_count;
        return true;
    }

    // Empties the list back to its new state and raises the change counter.
    void Flush() {
        uint32_t changes = m_changes;
        Reset();
        m_changes = changes + 1;
    }

    bool IsOccupied(uint32_t i) const { return i < m_end && (m_bitmap[i / 32] >> (i % 32) & 1u) != 0; }
    T& operator[](uint32_t i) { return m_slots[i]; }
    const T& operator[](uint32_t i) const { return m_slots[i]; }
    // The slot array, valid up to EndIndex(); holes hold a value-initialised T.
    const T* Slots() const { return m_slots.Data(); }
    // True when no slot below the end index is a hole, so the slots can be read without the bitmap.
    bool IsDense() const { return m_count == m_end; }

    // Index of the first occupied slot holding a value equal to `value`, or -1.
    uint32_t Find(const T& value) const {
        for (uint32_t i = 0; i < m_end; ++i)
            if (IsOccupied(i) && m_slots[i] == value)
                return i;
        return 0xFFFFFFFFu;
    }
    bool Contains(const T& value) const { return Find(value) != 0xFFFFFFFFu; }

    uint32_t Count() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }
    uint32_t EndIndex() const { return m_end; }
    uint32_t Capacity() const { return m_capacity; }
    uint32_t Step() const { return m_step; }
    uint32_t BitmapWords() const { return m_bitmapWords; }
    uint32_t ChangeCounter() const { return m_changes; }

    // Forward iteration over the occupied slots in slot order.
    template <class List, class Ref> class Cursor {
    public:
        Cursor(List* list, uint32_t i) : m_list(list), m_i(i) { Skip(); }
        Ref operator*() const { return (*m_list)[m_i]; }
        Cursor& operator++() {
            ++m_i;
            Skip();
            return *this;
        }
        bool operator!=(const Cursor& other) const { return m_i != other.m_i; }
        uint32_t Index() const { return m_i; }

    private:
        void Skip() {
            while (m_i < m_list->m_end && !m_list->IsOccupied(m_i))
                ++m_i;
        }
        List* m_list;
        uint32_t m_i;
    };
    using iterator = Cursor<ZrDList, T&>;
    using const_iterator = Cursor<const ZrDList, const T&>;
    iterator begin() { return iterator(this, 0); }
    iterator end() { return iterator(this, m_end); }
    const_iterator begin() const { return const_iterator(this, 0); }
    const_iterator end() const { return const_iterator(this, m_end); }

private:
    void Reset() {
        m_capacity = m_step;
        m_slots = ZrDVector<T, N>();
        m_bitmapWords = kDefaultStep;
        m_bitmap = ZrDVector<uint32_t, kInlineWords>();
        m_end = 0;
        m_count = 0;
    }

    static constexpr uint32_t kInlineWords = (N + 31) / 32;

    // Search loops read the end index, the count and the slots: they come first.
    uint32_t m_end = 0;
    uint32_t m_count = 0;
    ZrDVector<T, N> m_slots;
    uint32_t m_step;
    uint32_t m_capacity;
    uint32_t m_bitmapWords;
    uint32_t m_changes = 0;
    ZrDVector<uint32_t, kInlineWords> m_bitmap;
};

// Walks the occupied slots of one list; stops early when the list is emptied under it (its change
// counter moved), rather than reading slots that no longer exist.
template <class T, uint32_t N = 0> class ZrDListIterator {
public:
    explicit ZrDListIterator(ZrDList<T, N>& list) : m_list(list), m_changes(list.ChangeCounter()) {}

    // The next element, or nullptr at the end.
    T* Next() {
        if (m_list.ChangeCounter() != m_changes)
            return nullptr;
        while (m_i < m_list.EndIndex()) {
            uint32_t i = m_i++;
            if (m_list.IsOccupied(i))
                return &m_list[i];
        }
        return nullptr;
    }

private:
    ZrDList<T, N>& m_list;
    uint32_t m_changes;
    uint32_t m_i = 0;
};
