// ZrDList<T, N>: an append-only slot list. Appends always go one past the highest slot ever filled;
// removing an element leaves a hole (its occupancy bit cleared) that later appends never reuse and
// iteration skips. Owns its elements by value (the first N inside the object) and is copied deeply.
// Indexing is unchecked; allocation failure throws std::bad_alloc.
#pragma once

#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <utility>

// The slot storage of a list: room for N elements inside the list, sharing its bytes with the pointer
// to the heap block that replaces it once more than N slots are used (no room when N is 0).
template <class T, uint32_t N> union ZrDListRoom {
    T* m_heap;
    alignas(T) unsigned char m_bytes[N * sizeof(T)];
};
template <class T> union ZrDListRoom<T, 0> {
    T* m_heap;
};

template <class T, uint32_t N = 0> class ZrDList {
public:
    static constexpr uint32_t kDefaultStep = 10;

    explicit ZrDList(uint32_t step = kDefaultStep) : m_step(step ? step : kDefaultStep) { m_bits.m_word = 0; }

    ZrDList(const ZrDList& other) : m_step(other.m_step), m_changes(other.m_changes) { CopyFrom(other); }
    ZrDList(ZrDList&& other) noexcept : m_step(other.m_step), m_changes(other.m_changes) {
        m_bits.m_word = 0;
        TakeFrom(other);
    }
    ZrDList& operator=(const ZrDList& other) {
        if (this != &other) {
            ZrDList copy(other);
            Release();
            m_step = copy.m_step;
            TakeFrom(copy);
            m_changes = other.m_changes;
        }
        return *this;
    }
    ZrDList& operator=(ZrDList&& other) noexcept {
        if (this != &other) {
            Release();
            m_step = other.m_step;
            TakeFrom(other);
            ++m_changes;
        }
        return *this;
    }
    ~ZrDList() { Release(); }

    // Appends `value` at the end index and returns its slot.
    uint32_t InsertNonConst(T value) {
        uint32_t i = m_end;
        // The logical capacity and bitmap size follow from the end index alone (see Capacity() and
        // BitmapWords()); storage is allocated when the first slot past the inline room, or the first
        // bit past one word, is needed, and again each time the logical size grows. Both blocks are
        // allocated before anything changes, so a failed allocation leaves the list as it was.
        uint32_t* bits = nullptr;
        if (i >= 32 && (i == 32 || i / 32 >= WordsFor(i)))
            bits = NewBitmap(i);
        if (i >= N && (i == N || i >= CapacityFor(i))) {
            try {
                GrowSlots(i);
            } catch (...) {
                ::operator delete(bits);
                throw;
            }
        }
        new (SlotsFor(i + 1) + i) T(std::move(value));
        if (bits) {
            if (i > 32)
                ::operator delete(m_bits.m_words);
            m_bits.m_words = bits;
        }
        m_end = i + 1;
        Bits()[i / 32] |= 1u << (i % 32);
        ++m_count;
        return i;
    }
    uint32_t Insert(const T& value) { return InsertNonConst(T(value)); }

    // Turns slot i into a hole; false when it held nothing.
    [[nodiscard]] bool RemoveAt(uint32_t i) {
        if (!IsOccupied(i))
            return false;
        Bits()[i / 32] &= ~(1u << (i % 32));
        Slots()[i] = T();
        --m_count;
        return true;
    }

    // Empties the list back to its new state and raises the change counter.
    void Flush() {
        Release();
        ++m_changes;
    }

    bool IsOccupied(uint32_t i) const { return i < m_end && (Bits()[i / 32] >> (i % 32) & 1u) != 0; }
    T& operator[](uint32_t i) { return Slots()[i]; }
    const T& operator[](uint32_t i) const { return Slots()[i]; }
    // The slot array, valid up to EndIndex(); holes hold a value-initialised T.
    const T* Slots() const { return const_cast<ZrDList*>(this)->SlotsFor(m_end); }
    T* Slots() { return SlotsFor(m_end); }
    // True when no slot below the end index is a hole, so the slots can be read without the bitmap.
    bool IsDense() const { return m_count == m_end; }

    // Index of the first occupied slot holding a value equal to `value`, or -1.
    uint32_t Find(const T& value) const {
        for (uint32_t i = 0; i < m_end; ++i)
            if (IsOccupied(i) && (*this)[i] == value)
                return i;
        return 0xFFFFFFFFu;
    }
    bool Contains(const T& value) const { return Find(value) != 0xFFFFFFFFu; }

    uint32_t Count() const { return m_count; }
    bool IsEmpty() const { return m_count == 0; }
    uint32_t EndIndex() const { return m_end; }
    // Slots allocated: the step at first, then (i / step + 1) * step once slot i is filled.
    uint32_t Capacity() const { return CapacityFor(m_end); }
    uint32_t Step() const { return m_step; }
    // Ten at first, then ((i + 32) / 32) + 3 once bit i no longer fits.
    uint32_t BitmapWords() const { return WordsFor(m_end); }
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
    // The capacity once `end` slots have been filled. Appends fill slots one after the other, so the
    // rule "slot i past the capacity makes it (i / step + 1) * step" depends on the end index only.
    uint32_t CapacityFor(uint32_t end) const {
        return end <= m_step ? m_step : ((end - 1) / m_step + 1) * m_step;
    }
    // Likewise for the bitmap: bit i past the words makes them (i + 32) / 32 + 3, which happens exactly
    // when i reaches 32 * words, so ten words grow by four each time.
    static uint32_t WordsFor(uint32_t end) {
        uint32_t word = end ? (end - 1) / 32 : 0;
        return word < 10 ? 10 : 10 + 4 * ((word - 10) / 4 + 1);
    }

    T* SlotsFor(uint32_t end) {
        if constexpr (N == 0)
            return m_room.m_heap;
        else
            return end > N ? m_room.m_heap : reinterpret_cast<T*>(m_room.m_bytes);
    }
    uint32_t* Bits() { return m_end > 32 ? m_bits.m_words : &m_bits.m_word; }
    const uint32_t* Bits() const { return m_end > 32 ? m_bits.m_words : &m_bits.m_word; }

    // Moves slots [0, i) into a block of the capacity that slot i needs.
    void GrowSlots(uint32_t i) {
        T* block = static_cast<T*>(::operator new(sizeof(T) * CapacityFor(i + 1)));
        T* old = SlotsFor(i);
        for (uint32_t k = 0; k < i; ++k) {
            new (block + k) T(std::move(old[k]));
            old[k].~T();
        }
        if (i > N)
            ::operator delete(old);
        m_room.m_heap = block;
    }
    // A zeroed block of the size that bit i needs, holding the words in use.
    uint32_t* NewBitmap(uint32_t i) const {
        uint32_t words = WordsFor(i + 1);
        auto* block = static_cast<uint32_t*>(::operator new(sizeof(uint32_t) * words));
        std::memset(block, 0, sizeof(uint32_t) * words);
        std::memcpy(block, Bits(), sizeof(uint32_t) * ((i + 31) / 32));
        return block;
    }

    // Destroys the elements and frees the blocks; the list is new again (change counter aside).
    void Release() {
        T* slots = Slots();
        for (uint32_t k = 0; k < m_end; ++k)
            slots[k].~T();
        if (m_end > N)
            ::operator delete(slots);
        if (m_end > 32)
            ::operator delete(m_bits.m_words);
        if constexpr (N == 0)
            m_room.m_heap = nullptr;
        m_bits.m_word = 0;
        m_end = 0;
        m_count = 0;
    }

    // Expects this list empty; copies `other`'s slots (holes included) and bits.
    void CopyFrom(const ZrDList& other) {
        uint32_t end = other.m_end;
        m_room.m_heap = nullptr;
        if (end > N)
            m_room.m_heap = static_cast<T*>(::operator new(sizeof(T) * CapacityFor(end)));
        T* slots = SlotsFor(end);
        const T* from = other.Slots();
        uint32_t k = 0;
        try {
            for (; k < end; ++k)
                new (slots + k) T(from[k]);
        } catch (...) {
            while (k-- > 0)
                slots[k].~T();
            if (end > N)
                ::operator delete(slots);
            throw;
        }
        if (end > 32) {
            uint32_t words = WordsFor(end);
            m_bits.m_words = static_cast<uint32_t*>(::operator new(sizeof(uint32_t) * words));
            std::memcpy(m_bits.m_words, other.m_bits.m_words, sizeof(uint32_t) * words);
        } else {
            m_bits.m_word = other.m_bits.m_word;
        }
        m_end = end;
        m_count = other.m_count;
    }

    // Expects this list empty; takes `other`'s slots and bits and leaves it new (change counter aside).
    void TakeFrom(ZrDList& other) noexcept {
        uint32_t end = other.m_end;
        if (end > N) {
            m_room.m_heap = other.m_room.m_heap;
        } else {
            T* slots = SlotsFor(end);
            T* from = other.SlotsFor(end);
            for (uint32_t k = 0; k < end; ++k) {
                new (slots + k) T(std::move(from[k]));
                from[k].~T();
            }
        }
        m_bits = other.m_bits;
        m_end = end;
        m_count = other.m_count;
        if constexpr (N == 0)
            other.m_room.m_heap = nullptr;
        other.m_bits.m_word = 0;
        other.m_end = 0;
        other.m_count = 0;
    }

    // Search loops read the end index, the count and the slots: they come first. The capacity and
    // the bitmap size are not stored: they follow from the end index and the step.
    uint32_t m_end = 0;
    uint32_t m_count = 0;
    uint32_t m_step;
    uint32_t m_changes = 0;
    ZrDListRoom<T, N> m_room{nullptr};
    union {
        uint32_t m_word; // bits of slots 0..31 while the end index is at most 32
        uint32_t* m_words;
    } m_bits;
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
