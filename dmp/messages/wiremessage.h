// The one field list behind every DMP message: a message names its fields once, in wire order, in a
// static Fields(self, field) template, and the visitors here read, write and measure that list.
// Reading and writing throw the stream exceptions of the encoding streams; nothing is caught here.
#pragma once

#include "dmp/messages/t50string.h"
#include "framework/exception/exception.h"

#include <concepts>
#include <cstdint>
#include <new>
#include <string>
#include <vector>

namespace wex::common::dmp::wire {

// A list whose count travels in an earlier field of its own rather than right before the entries.
// The other lists on the wire (and std::string names) carry a 16-bit count right before them.
template <class List, class Count> struct CountedBy {
    List& items;
    Count& count;
};
template <class List, class Count> CountedBy(List&, Count&) -> CountedBy<List, Count>;

class Reader {
public:
    explicit Reader(encoding::LEDecodingBufferStream& stream) : m_stream(stream) {}

    template <std::integral T> void operator()(T& value) const { m_stream.Read(value); }

    template <class Length, bool Terminated> void operator()(T50Field<Length, Terminated>& text) const {
        Length length = 0;
        ParseLengthAndT50String(m_stream, length, text.data, Terminated);
        text.length = length;
    }

    void operator()(std::string& text) const {
        T50Text16 read;
        (*this)(read);
        text = read.Str();
    }

    void operator()(std::vector<unsigned char>& bytes) const {
        uint16_t count = 0;
        m_stream.Read(count);
        bytes.assign(count, 0);
        m_stream.Read(buffer::Buffer(bytes.data(), count));
    }

    template <class Entry> void operator()(std::vector<Entry>& list) const {
        uint16_t count = 0;
        m_stream.Read(count);
        list.clear();
        for (uint16_t i = 0; i < count; ++i) {
            Entry entry;
            Entry::Fields(entry, *this);
            list.push_back(std::move(entry));
        }
    }

    // All entries are allocated before the first is read, as one array.
    template <class Entry, class Count> void operator()(CountedBy<std::vector<Entry>, Count> list) const {
        list.items.clear();
        if (list.count == 0)
            return;
        try {
            list.items.resize(list.count);
        } catch (const std::bad_alloc&) {
            throw memory::OutOfMemoryException();
        }
        for (Entry& entry : list.items)
            Entry::Fields(entry, *this);
    }

private:
    encoding::LEDecodingBufferStream& m_stream;
};

class Writer {
public:
    explicit Writer(encoding::LEEncodingBufferStream& stream) : m_stream(stream) {}

    template <std::integral T> void operator()(const T& value) const { m_stream.Write(value); }

    // The prefix keeps only the bits its width holds; callers keep their texts within it.
    template <class Length, bool Terminated> void operator()(const T50Field<Length, Terminated>& text) const {
        m_stream.Write(static_cast<Length>(text.length));
        m_stream.Write(buffer::Buffer(text.data.get(), text.data ? static_cast<Length>(text.length) : 0));
    }

    void operator()(const std::string& text) const {
        m_stream.Write(static_cast<uint16_t>(text.size()));
        m_stream.Write(buffer::Buffer(text.data(), static_cast<uint16_t>(text.size())));
    }

    void operator()(const std::vector<unsigned char>& bytes) const {
        m_stream.Write(static_cast<uint16_t>(bytes.size()));
        m_stream.Write(buffer::Buffer(bytes.data(), bytes.size()));
    }

    template <class Entry> void operator()(const std::vector<Entry>& list) const {
        m_stream.Write(static_cast<uint16_t>(list.size()));
        for (const Entry& entry : list)
            Entry::Fields(entry, *this);
    }

    template <class Entry, class Count>
    void operator()(CountedBy<const std::vector<Entry>, Count> list) const {
        for (const Entry& entry : list.items)
            Entry::Fields(entry, *this);
    }

private:
    encoding::LEEncodingBufferStream& m_stream;
};

// Adds up the bytes the writer would produce.
class Sizer {
public:
    uint64_t total = 0;

    template <std::integral T> void operator()(const T&) { total += sizeof(T); }
    template <class Length, bool Terminated> void operator()(const T50Field<Length, Terminated>& text) {
        total += sizeof(Length) + text.length;
    }
    void operator()(const std::string& text) { total += 2 + text.size(); }
    void operator()(const std::vector<unsigned char>& bytes) { total += 2 + bytes.size(); }
    template <class Entry> void operator()(const std::vector<Entry>& list) {
        total += 2;
        for (const Entry& entry : list)
            Entry::Fields(entry, *this);
    }
    template <class Entry, class Count> void operator()(CountedBy<const std::vector<Entry>, Count> list) {
        for (const Entry& entry : list.items)
            Entry::Fields(entry, *this);
    }
};

// size() and Serialize() of a message, both from its field list. The message befriends this base so
// that its list can stay private.
template <class Derived> class Message {
public:
    uint64_t size() const {
        Sizer sizer;
        Derived::Fields(Self(), sizer);
        return sizer.total;
    }
    void Serialize(encoding::LEEncodingBufferStream& stream) const {
        Derived::Fields(Self(), Writer(stream));
    }
    bool operator==(const Message&) const = default;

protected:
    void ReadFields(encoding::LEDecodingBufferStream& stream) {
        Derived::Fields(static_cast<Derived&>(*this), Reader(stream));
    }

private:
    const Derived& Self() const { return static_cast<const Derived&>(*this); }
};

} // namespace wex::common::dmp::wire
