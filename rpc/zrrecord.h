// ZrRecord<Derived>: a wire record whose fields are listed once, in wire order, in a static
// Derived::Fields(self, field) template; Read, PackedSize, PackTo, DebugString and equality all
// follow from that list. A list may branch on a field it has already listed (a status, a command):
// the reader has read that field by then. Equality compares the packed forms.
// Reading never throws: a shortage or a refused value fails the record and consumes nothing.
#pragma once

#include <array>
#include <concepts>
#include <cstring>
#include <optional>
#include <vector>

#include "foundation/container/zrdlist.h"
#include "foundation/crypto/zrsecurewipe.h"
#include "rpc/zrpacket.h"
#include "rpc/zrrpcstring.h"
#include "rpc/zrstructunistring.h"
#include "rpc/zrxdr.h"

namespace zrrecord {

// A word with one fixed value: written as it is, read back only when it matches, never compared.
struct Constant {
    uint32_t value;
};

// The rest of the datagram, carried as it is (no length word): on reading, every byte left.
template <class Bytes> struct Rest {
    Bytes& bytes;
};
template <class Bytes> Rest(Bytes&) -> Rest<Bytes>;

// Lists travel as a count word followed by the entries.
template <class List>
concept EntryList = requires(const List& list) { list.begin(); };

template <class T>
concept Record = std::derived_from<T, ZrPacket>;

template <class T> uint32_t Count(const std::vector<T>& list) {
    return static_cast<uint32_t>(list.size());
}
template <class T> uint32_t Count(const ZrDList<T>& list) {
    return list.Count();
}
template <class T> void Clear(std::vector<T>& list) {
    list.clear();
}
template <class T> void Clear(ZrDList<T>& list) {
    list.Flush();
}
template <class T> void Append(std::vector<T>& list, T entry) {
    list.push_back(std::move(entry));
}
template <class T> void Append(ZrDList<T>& list, T entry) {
    list.InsertNonConst(std::move(entry));
}

class Reader {
public:
    Reader(const unsigned char*& data, unsigned long& remaining) : m_data(data), m_remaining(remaining) {}

    bool ok = true;

    // Fails the record when the condition does not hold; the fields after it are then left alone.
    void Require(bool condition) { ok = ok && condition; }

    void operator()(const char*, uint32_t& value) { ok = ok && zrxdr::GetU32(m_data, m_remaining, value); }
    void operator()(const char*, Constant expected) {
        uint32_t value;
        ok = ok && zrxdr::GetU32(m_data, m_remaining, value) && value == expected.value;
    }
    template <Record T> void operator()(const char*, T& record) {
        ok = ok && record.Read(m_data, m_remaining);
    }
    void operator()(const char*, ZrControlString& text) { ok = ok && text.Read(m_data, m_remaining); }
    void operator()(const char*, Rest<ZrByteBuffer> rest) {
        if (!ok)
            return;
        rest.bytes = ZrByteBuffer(m_data, m_remaining);
        m_data += m_remaining;
        m_remaining = 0;
    }
    // A byte saying whether five words follow.
    void operator()(const char*, std::optional<std::array<uint32_t, 5>>& words) {
        if (!ok || !(ok = m_remaining >= 1))
            return;
        const bool present = *m_data != 0;
        ++m_data;
        --m_remaining;
        words.reset();
        if (!present)
            return;
        words.emplace();
        for (uint32_t& word : *words)
            (*this)("word", word);
    }
    // Every entry takes at least the bytes of an empty one, so a count the data cannot hold is
    // refused before anything is reserved.
    template <EntryList List> void operator()(const char*, List& list) {
        using Entry = std::remove_cvref_t<decltype(*list.begin())>;
        uint32_t count;
        if (!ok || !(ok = zrxdr::GetU32(m_data, m_remaining, count)))
            return;
        if (!(ok = uint64_t(count) * Entry().PackedSize() <= m_remaining))
            return;
        Clear(list);
        for (uint32_t i = 0; ok && i < count; ++i) {
            Entry entry;
            (*this)("entry", entry);
            Append(list, std::move(entry));
        }
    }

private:
    const unsigned char*& m_data;
    unsigned long& m_remaining;
};

class Packer {
public:
    explicit Packer(unsigned char*& out) : m_out(out) {}

    void Require(bool) {}
    void operator()(const char*, uint32_t value) { zrxdr::PutU32(m_out, value); }
    void operator()(const char*, Constant constant) { zrxdr::PutU32(m_out, constant.value); }
    template <Record T> void operator()(const char*, const T& record) { record.PackTo(m_out); }
    void operator()(const char*, const ZrControlString& text) { text.PackTo(m_out); }
    void operator()(const char*, Rest<const ZrByteBuffer> rest) {
        if (rest.bytes.Length())
            std::memcpy(m_out, rest.bytes.Data(), rest.bytes.Length());
        m_out += rest.bytes.Length();
    }
    void operator()(const char*, const std::optional<std::array<uint32_t, 5>>& words) {
        *m_out++ = words ? 1 : 0;
        if (words)
            for (uint32_t word : *words)
                zrxdr::PutU32(m_out, word);
    }
    template <EntryList List> void operator()(const char*, const List& list) {
        zrxdr::PutU32(m_out, Count(list));
        for (const auto& entry : list)
            entry.PackTo(m_out);
    }

private:
    unsigned char*& m_out;
};

class Sizer {
public:
    unsigned long total = 0;

    void Require(bool) {}
    void operator()(const char*, uint32_t) { total += 4; }
    void operator()(const char*, Constant) { total += 4; }
    template <Record T> void operator()(const char*, const T& record) { total += record.PackedSize(); }
    void operator()(const char*, const ZrControlString& text) { total += text.PackedSize(); }
    void operator()(const char*, Rest<const ZrByteBuffer> rest) {
        total += static_cast<unsigned long>(rest.bytes.Length());
    }
    void operator()(const char*, const std::optional<std::array<uint32_t, 5>>& words) {
        total += words ? 21 : 1;
    }
    template <EntryList List> void operator()(const char*, const List& list) {
        total += 4;
        for (const auto& entry : list)
            total += entry.PackedSize();
    }
};

// "name: value" lines at the record's indent; embedded records and list entries one level deeper.
class Dumper {
public:
    Dumper(ZrUniString& text, unsigned indent) : m_text(text), m_indent(indent) {}

    void Require(bool) {}
    void operator()(const char* name, uint32_t value) { Line(name, value); }
    void operator()(const char* name, Constant constant) { Line(name, constant.value); }
    template <Record T> void operator()(const char* name, const T& record) {
        ZrPacket::DebugIndent(m_text, m_indent);
        m_text.Append(ZrUniString(name)).Append(ZrUniString(":\n")).Append(record.DebugString(m_indent + 1));
    }
    void operator()(const char* name, const ZrControlString& text) { Line(name, text.Text()); }
    void operator()(const char* name, const ZrRPCString& text) { Line(name, text.Text()); }
    void operator()(const char* name, Rest<const ZrByteBuffer> rest) { Line(name, rest.bytes.Length()); }
    void operator()(const char* name, const std::optional<std::array<uint32_t, 5>>& words) {
        ZrPacket::DebugIndent(m_text, m_indent);
        m_text.Append(ZrUniString(name)).Append(ZrUniString(": "));
        ZrPacket::DebugOutBool(m_text, words.has_value());
        m_text.Append(u'\n');
        if (words)
            for (uint32_t word : *words)
                Dumper(m_text, m_indent + 1)("word", word);
    }
    template <EntryList List> void operator()(const char* name, const List& list) {
        Line(name, Count(list));
        for (const auto& entry : list)
            m_text.Append(entry.DebugString(m_indent + 1));
    }

private:
    template <class Value> void Line(const char* name, const Value& value) {
        ZrPacket::DebugIndent(m_text, m_indent);
        m_text.Append(ZrUniString(name)).Append(ZrUniString(": "));
        if constexpr (std::is_same_v<Value, ZrUniString>)
            m_text.Append(u'"').Append(value).Append(u'"');
        else
            ZrPacket::DebugOutUint(m_text, value);
        m_text.Append(u'\n');
    }

    ZrUniString& m_text;
    unsigned m_indent;
};

} // namespace zrrecord

template <class Derived> class ZrRecord : public ZrPacket {
public:
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining) override {
        const unsigned char* start = data;
        const unsigned long before = remaining;
        zrrecord::Reader reader(data, remaining);
        Derived::Fields(static_cast<Derived&>(*this), reader);
        if (!reader.ok) {
            data = start;
            remaining = before;
        }
        return ReadDone(reader.ok);
    }
    unsigned long PackedSize() const override {
        zrrecord::Sizer sizer;
        Derived::Fields(Self(), sizer);
        return sizer.total;
    }
    void PackTo(unsigned char*& out) const override {
        zrrecord::Packer packer(out);
        Derived::Fields(Self(), packer);
    }
    ZrUniString DebugString(unsigned indent) const override {
        ZrUniString text;
        zrrecord::Dumper dumper(text, indent);
        Derived::Fields(Self(), dumper);
        return text;
    }

    // Two records are equal when they put the same bytes on the wire: fixed words and the fields a
    // record does not list for its current status make no difference.
    friend bool operator==(const Derived& a, const Derived& b) { return Equal(a, b); }

protected:
    // Sets a field and marks the packed bytes stale.
    template <class Field, class Value> void Assign(Field& field, Value&& value) {
        field = std::forward<Value>(value);
        Changed();
    }

private:
    // Packs both into scratch buffers, leaving the caches alone, and wipes them: a record may hold a secret.
    static bool Equal(const Derived& a, const Derived& b) {
        const unsigned long size = a.PackedSize();
        if (size != b.PackedSize())
            return false;
        std::vector<unsigned char> left(size), right(size);
        unsigned char* out = left.data();
        a.PackTo(out);
        out = right.data();
        b.PackTo(out);
        const bool equal = left == right;
        ZrSecureWipe(left.data(), size);
        ZrSecureWipe(right.data(), size);
        return equal;
    }
    const Derived& Self() const { return static_cast<const Derived&>(*this); }
};
