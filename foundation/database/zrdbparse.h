// ZrDBParse: the configuration database's text form. Reads text into a ZrDatabase through the
// database's own virtual operations, and writes a database (or one entry) as text. One parse or one
// write per object. Bad text never throws: FromString returns false and ErrorString() names the
// character, position and what was expected.
#pragma once

#include <cstdint>

#include "foundation/database/zrdatabase.h"
#include "foundation/database/zrdbentry.h"
#include "foundation/string/zrunistring.h"

class ZrDBParse {
public:
    // True when the whole text was read and parsing ended between entries. Entries completed before an
    // error stay applied.
    [[nodiscard]] bool FromString(ZrDatabase& db, const ZrUniString& text, int tag);
    // Every entry (negative tag) or the entries with `tag`, in the database's table order.
    ZrUniString ToString(ZrDatabase& db, int tag);
    // One entry: its comment, then "[key={(value)...}]" and a line feed.
    ZrUniString ToString(const ZrUniString& key, ZrDBEntry& entry);
    // Puts a backslash before every ")", "=" and "\".
    static ZrUniString Quote(const ZrUniString& text);

    // Starts reading `text` at its first character, line 1, character 1, without parsing anything;
    // FromString does this itself. For driving the skips below on their own.
    void Begin(const ZrUniString& text, int tag);
    // Skips header lines ("##" up to and past the next line feed) at the current position.
    bool SkipHeader();
    // Skips blanks, line feeds and "#" comments, collecting them into `collected`.
    bool SkipIrrelevant(ZrUniString& collected);
    ZrUniString ErrorString() const;

    uint32_t Index() const { return m_index; }
    uint64_t Line() const { return m_line; }
    uint64_t Character() const { return m_char; }
    int ErrorState() const { return m_error; }

private:
    bool AtEnd() const { return m_index >= m_length; }
    ZrUniChar Current() const { return m_units[m_index]; }
    // Consumes the current character; a line feed inside a key or value starts a new line.
    void Consume() {
        if (m_units[m_index++] == u'\n') {
            ++m_line;
            m_char = 1;
        } else {
            ++m_char;
        }
    }
    // SkipIrrelevant for the places inside an entry, where the skipped text is thrown away: the same
    // steps and positions, nothing collected.
    void SkipBlank();
    // Consumes characters into `into` up to (not including) the next `stop` or backslash.
    void ReadRun(ZrUniString& into, ZrUniChar stop);
    bool Fail(int state) {
        m_error = state;
        return false;
    }
    class Sink;
    static void AppendEntry(Sink& out, const ZrUniString& key, const ZrDBEntry& entry);

    ZrUniString m_text;
    const ZrUniChar* m_units = nullptr;
    uint32_t m_length = 0;
    uint32_t m_index = 0;
    uint64_t m_line = 1;
    uint64_t m_char = 1;
    int m_tag = 0;
    int m_error = 0;
};
