// T50 strings of the DMP messages: a u16 or u32 little-endian length followed by exactly that many
// bytes, no terminator on the wire. Read into an owned array (length + 1 zero-filled bytes when
// terminated, exactly the length when raw, nothing at all for length 0). A short or missing text
// throws stream::IncompleteReadException or stream::EOSException, before anything is allocated.
#pragma once

#include "foundation/crypto/zrsecurewipe.h"
#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"

#include <cstdint>
#include <memory>
#include <string>
#include <string_view>

namespace wex::common::dmp {

// One text of a message: its wire length and its bytes (null when the length is 0). The bytes are
// wiped when the text goes: user names and passwords travel in these.
struct T50Text {
    uint32_t length = 0;
    std::unique_ptr<char[]> data;

    T50Text() = default;
    T50Text(T50Text&& other) noexcept = default;
    T50Text& operator=(T50Text&& other) noexcept {
        if (this != &other) {
            Wipe();
            length = other.length;
            data = std::move(other.data);
        }
        return *this;
    }
    ~T50Text() { Wipe(); }
    void Wipe() {
        if (data)
            ZrSecureWipe(data.get(), length);
    }
    // The bytes as they came, without a copy: what secrets are read through.
    std::string_view View() const { return data ? std::string_view(data.get(), length) : std::string_view(); }

    // The text as a string of exactly the wire length, embedded zero bytes included; "" when absent.
    std::string Str() const { return data ? std::string(data.get(), length) : std::string(); }
    bool operator==(const T50Text& other) const;
};

// Reads the prefix into `length`, then the text; `terminate` adds the extra zero byte in memory.
template <class Length>
void ParseLengthAndT50String(encoding::LEDecodingBufferStream& stream, Length& length,
                             std::unique_ptr<char[]>& text, bool terminate);

extern template void ParseLengthAndT50String<unsigned short>(encoding::LEDecodingBufferStream&,
                                                             unsigned short&, std::unique_ptr<char[]>&, bool);
extern template void ParseLengthAndT50String<unsigned int>(encoding::LEDecodingBufferStream&, unsigned int&,
                                                           std::unique_ptr<char[]>&, bool);

// A text as a message field: the width of its length prefix travels in the type, and so does whether
// the reader keeps a zero byte after it in memory (names and user texts) or allocates exactly the
// length (configuration keys and values, attached data).
template <class Length, bool Terminated> struct T50Field : T50Text {
    using LengthType = Length;
    static constexpr bool kTerminated = Terminated;
};
using T50Text16 = T50Field<uint16_t, true>;
using T50Text32 = T50Field<uint32_t, true>;
using RawText16 = T50Field<uint16_t, false>;
using RawText32 = T50Field<uint32_t, false>;

} // namespace wex::common::dmp
