// ZrPacket: base of every wire record. A record keeps its fields and, as a cache, its packed bytes
// (a ZrByteBuffer shared on copy); Where/HowBig pack on demand. Reading never throws: Read returns
// false on a shortage or a value it cannot accept and clears the valid flag.
#pragma once

#include <cstdint>

#include "foundation/string/zrbytebuffer.h"
#include "foundation/string/zrunistring.h"

class ZrPacket {
public:
    ZrPacket() = default;
    // A raw record holding `length` bytes copied from `data`.
    ZrPacket(const void* data, unsigned long length);
    ZrPacket(const ZrPacket& other) = default;
    ZrPacket& operator=(const ZrPacket& other) = default;
    ZrPacket(ZrPacket&& other) noexcept = default;
    ZrPacket& operator=(ZrPacket&& other) noexcept = default;
    virtual ~ZrPacket() = default;

    // Lays the fields out into the record's own buffer.
    virtual void Pack();
    // Decodes from `data`, advancing it and reducing `remaining` by what was consumed. The base
    // record takes everything that remains as its raw bytes.
    [[nodiscard]] virtual bool Read(const unsigned char*& data, unsigned long& remaining);
    // Takes exactly `length` raw bytes; fails when fewer remain.
    [[nodiscard]] bool Read(const unsigned char*& data, unsigned long& remaining, unsigned long length);

    // The packed bytes and their count, packing first when a field changed since the last Pack.
    const unsigned char* Where() const;
    unsigned long HowBig() const;
    const ZrByteBuffer& Packed() const;

    // Once a record that carried a secret has gone out: the packed bytes are zeroed in place, keeping
    // their allocation (or only let go of while a copy still shares them); the next use packs again.
    void WipePacked() {
        m_packet.Wipe();
        m_current = false;
    }

    bool IsValid() const { return m_valid; }
    void SetValid(bool valid) { m_valid = valid; }

    // Size of the packed form and the layout itself, for records that embed this one.
    virtual unsigned long PackedSize() const { return static_cast<unsigned long>(m_packet.Length()); }
    virtual void PackTo(unsigned char*& out) const;

    // An indented dump of the fields, one per line, for diagnostics.
    virtual ZrUniString DebugString(unsigned indent) const;
    static void DebugIndent(ZrUniString& text, unsigned indent);
    static void DebugOutUint(ZrUniString& text, unsigned long long value);
    static void DebugOutBool(ZrUniString& text, bool value);

    // Bit fields of `count` bits (at most 32) starting `first` bits into `data`. Network order counts
    // bits from the most significant bit of the first byte; intel order from the least significant.
    static uint32_t BitGetnetwork(const unsigned char* data, unsigned first, unsigned count);
    static void BitSetnetwork(unsigned char* data, unsigned first, unsigned count, uint32_t value);
    static uint32_t BitGetintel(const unsigned char* data, unsigned first, unsigned count);
    static void BitSetintel(unsigned char* data, unsigned first, unsigned count, uint32_t value);

protected:
    // Marks the packed bytes stale after a field changed.
    void Changed() { m_current = false; }
    // For the two reading constructors every record offers: from another packet's bytes and from raw
    // bytes (as for Read). A constructor cannot report, so the outcome is the valid flag. They belong
    // to the record itself: a base class constructor would read into fields that do not exist yet.
    void ReadFromPacket(const ZrPacket& packet) {
        const unsigned char* data = packet.Where();
        unsigned long remaining = packet.HowBig();
        ReadFromBytes(data, remaining);
    }
    void ReadFromBytes(const unsigned char*& data, unsigned long& remaining) {
        (void)Read(data, remaining); // a constructor cannot report: the outcome is the valid flag
    }
    // Ends a Read: records the outcome in the valid flag and returns it.
    bool ReadDone(bool ok);
    // "name: value" on its own indented line.
    static void DebugLine(ZrUniString& text, unsigned indent, const char* name, unsigned long long value);
    static void DebugLine(ZrUniString& text, unsigned indent, const char* name, const ZrUniString& value);

private:
    void EnsurePacked() const;

    mutable ZrByteBuffer m_packet;
    mutable bool m_current = false;
    bool m_valid = false;
};
