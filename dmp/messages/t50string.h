// T50 strings of the DMP messages: a u16 or u32 little-endian length followed by exactly that many
// bytes, no terminator on the wire. Read into an owned array (length + 1 zero-filled bytes when
// terminated, exactly the length when raw, nothing at all for length 0). A short or missing text
// throws stream::IncompleteReadException or stream::EOSException, before anything is allocated.
#pragma once

#include "framework/encoding/decodingstream.h"
#include "framework/encoding/encodingstream.h"

#include <cstdint>
#include <memory>
#include <string>

namespace wex::common::dmp {

// One text of a message: its wire length and its bytes (null when the length is 0).
struct T50Text {
    uint32_t length = 0;
    std::unique_ptr<char[]> data;

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

// Convenience over the above for a T50Text.
void ReadT50Text16(encoding::LEDecodingBufferStream& stream, T50Text& text, bool terminate = true);
void ReadT50Text32(encoding::LEDecodingBufferStream& stream, T50Text& text, bool terminate = true);

// Writes prefix and bytes. The 16-bit form takes only the low 16 bits of the length; callers keep
// their texts within it.
void WriteT50Text16(encoding::LEEncodingBufferStream& stream, const T50Text& text);
void WriteT50Text32(encoding::LEEncodingBufferStream& stream, const T50Text& text);
void WriteT50String16(encoding::LEEncodingBufferStream& stream, const std::string& text);

// Builds a text from bytes (absent when empty), as a parser would have.
T50Text MakeT50Text(const std::string& bytes);

} // namespace wex::common::dmp
