#include "foundation/database/zrdbparse.h"

#include <cstring>

namespace {

enum State {
    kBetween = 0,
    kNotAnEntry = 1, // an error state only: something other than "[" between entries
    kKey = 2,
    kKeyEscape = 3,
    kAfterEquals = 4,
    kValues = 5,
    kAfterBrace = 6,
    kValue = 7,
    kValueEscape = 8
};

void AppendAscii(ZrUniString& out, const char* text) {
    ZrUniChar units[64];
    uint32_t n = 0;
    while (text[n])
        units[n] = ZrUniChar(static_cast<unsigned char>(text[n])), ++n;
    out.Append(units, n);
}

void AppendDecimal(ZrUniString& out, uint64_t value) {
    ZrUniChar digits[20];
    uint32_t n = 0;
    do {
        digits[19 - n++] = ZrUniChar(u'0' + value % 10);
        value /= 10;
    } while (value);
    out.Append(digits + 20 - n, n);
}

// Length of the leading run of `units` that holds none of a, b and c.
uint32_t RunWithout(const ZrUniChar* units, uint32_t length, ZrUniChar a, ZrUniChar b, ZrUniChar c) {
    uint32_t i = 0;
    while (i < length && units[i] != a && units[i] != b && units[i] != c)
        ++i;
    return i;
}

const char* Expected(int state) {
    switch (state) {
    case kNotAnEntry:
        return "\"[\"";
    case kKey:
    case kKeyEscape:
        return "\"=\"";
    case kAfterEquals:
        return "\"{\"";
    case kValues:
        return "\"(\" or \"}\"";
    case kAfterBrace:
        return "\"]\"";
    default:
        return "\")\"";
    }
}

} // namespace

void ZrDBParse::Begin(const ZrUniString& text, int tag) {
    m_text = text;
    m_units = m_text.Units();
    m_length = m_text.Length();
    m_index = 0;
    m_line = 1;
    m_char = 1;
    m_tag = tag;
    m_error = 0;
}

bool ZrDBParse::SkipHeader() {
    bool skipped = false;
    while (m_index + 1 < m_length && m_units[m_index] == u'#' && m_units[m_index + 1] == u'#') {
        // Deliberately counted into the character number only: header lines never advance the line
        // number, so positions after a header report the header's characters on line 1.
        uint32_t end = m_index;
        while (end < m_length && m_units[end] != u'\n')
            ++end;
        end = end < m_length ? end + 1 : m_length;
        m_char += end - m_index;
        m_index = end;
        skipped = true;
    }
    return skipped;
}

bool ZrDBParse::SkipIrrelevant(ZrUniString& collected) {
    collected = ZrUniString();
    uint32_t begin = m_index;
    // Characters are collected in runs [run, m_index); a line feed that is dropped ends a run.
    uint32_t run = m_index;
    bool empty = true;
    bool endsInLineFeed = false;
    while (m_index < m_length) {
        ZrUniChar c = m_units[m_index];
        if (c == u'\t' || c == u'\r' || c == u' ') {
            ++m_index;
            ++m_char;
            empty = false;
            endsInLineFeed = false;
        } else if (c == u'\n') {
            // Leading line feeds are dropped and runs of empty lines collapse to one line feed.
            if (empty || endsInLineFeed) {
                collected.Append(m_units + run, m_index - run);
                run = m_index + 1;
            }
            endsInLineFeed = true;
            ++m_index;
            ++m_line;
            m_char = 1;
        } else if (c == u'#') {
            while (m_index < m_length && m_units[m_index] != u'\n') {
                ++m_index;
                ++m_char;
            }
            empty = false;
            endsInLineFeed = false;
        } else {
            break;
        }
    }
    collected.Append(m_units + run, m_index - run);
    return m_index != begin;
}

void ZrDBParse::SkipBlank() {
    while (m_index < m_length) {
        ZrUniChar c = m_units[m_index];
        if (c == u'\t' || c == u'\r' || c == u' ') {
            ++m_index;
            ++m_char;
        } else if (c == u'\n') {
            ++m_index;
            ++m_line;
            m_char = 1;
        } else if (c == u'#') {
            uint32_t end = m_index + RunWithout(m_units + m_index, m_length - m_index, u'\n', u'\n', u'\n');
            m_char += end - m_index;
            m_index = end;
        } else {
            return;
        }
    }
}

void ZrDBParse::ReadRun(ZrUniString& into, ZrUniChar stop) {
    uint32_t start = m_index, end = m_index;
    // Line feeds inside keys and values count lines; the character number restarts after the last one.
    uint32_t lastLineFeed = ZrUniString::npos;
    for (;;) {
        end += RunWithout(m_units + end, m_length - end, stop, u'\\', u'\n');
        if (end >= m_length || m_units[end] != u'\n')
            break;
        ++m_line;
        lastLineFeed = end++;
    }
    if (lastLineFeed == ZrUniString::npos)
        m_char += end - start;
    else
        m_char = 1 + (end - lastLineFeed - 1);
    m_index = end;
    // A key or value is mostly one run, read once and then only shared: give it a block of its size.
    if (into.IsEmpty())
        into.AssignExact(m_units + start, uint64_t(end - start) * 2);
    else
        into.Append(m_units + start, end - start);
}

bool ZrDBParse::FromString(ZrDatabase& db, const ZrUniString& text, int tag) {
    Begin(text, tag);
    ZrUniString key, value, scratch;
    // Replaced only by the skip between entries and deliberately never cleared: an entry whose "["
    // follows the previous "]" directly gets the previous entry's comment again.
    ZrUniString pending;
    int state = kBetween;
    for (;;) {
        switch (state) {
        case kBetween:
            SkipHeader();
            if (SkipIrrelevant(scratch)) {
                pending = scratch;
                continue;
            }
            if (AtEnd())
                return true;
            if (Current() != u'[')
                return Fail(kNotAnEntry);
            Consume();
            key = ZrUniString();
            state = kKey;
            break;
        case kKey:
            ReadRun(key, u'=');
            if (AtEnd())
                return Fail(kKey);
            state = Current() == u'=' ? kAfterEquals : kKeyEscape;
            Consume();
            break;
        case kKeyEscape:
        case kValueEscape:
            // Any character may follow a backslash and is taken literally.
            if (AtEnd())
                return Fail(state);
            (state == kKeyEscape ? key : value).Append(Current());
            Consume();
            state = state == kKeyEscape ? kKey : kValue;
            break;
        case kAfterEquals:
            SkipBlank();
            if (AtEnd() || Current() != u'{')
                return Fail(kAfterEquals);
            Consume();
            db.ClearKey(key);
            db.Comment(key, pending);
            db.Tag(key, m_tag);
            state = kValues;
            break;
        case kValues:
            SkipBlank();
            if (AtEnd())
                return Fail(kValues);
            if (Current() == u'(') {
                value = ZrUniString();
                state = kValue;
            } else if (Current() == u'}') {
                state = kAfterBrace;
            } else {
                return Fail(kValues);
            }
            Consume();
            break;
        case kAfterBrace:
            SkipBlank();
            if (AtEnd() || Current() != u']')
                return Fail(kAfterBrace);
            Consume();
            state = kBetween;
            break;
        case kValue:
            ReadRun(value, u')');
            if (AtEnd())
                return Fail(kValue);
            if (Current() == u')') {
                db.AppendValue(key, value);
                state = kValues;
            } else {
                state = kValueEscape;
            }
            Consume();
            break;
        default: // not reached: every state above names its successor among these
            return Fail(state);
        }
    }
}

ZrUniString ZrDBParse::ErrorString() const {
    if (m_error == 0)
        return ZrUniString("Success");
    ZrUniString text;
    AppendAscii(text, "Error: found \"");
    if (m_index < m_length)
        text.Append(m_units[m_index]);
    else
        AppendAscii(text, "(EOF)");
    AppendAscii(text, "\" at character ");
    AppendDecimal(text, m_char);
    AppendAscii(text, " in line ");
    AppendDecimal(text, m_line);
    AppendAscii(text, " whilst looking for ");
    AppendAscii(text, Expected(m_error));
    return text;
}

// Writes straight into the result's own units, growing it by half each time, and cuts it to the used
// length at the end: a file-sized text costs a handful of reallocations instead of one call per piece.
class ZrDBParse::Sink {
public:
    explicit Sink(ZrUniString& out) : m_out(out) {}
    ~Sink() { m_out.Truncate(m_used); }

    void Put(ZrUniChar unit) {
        Room(1);
        m_units[m_used++] = unit;
    }
    void Put(const ZrUniChar* units, uint32_t count) {
        if (count == 0)
            return;
        Room(count);
        std::memcpy(m_units + m_used, units, uint64_t(count) * 2);
        m_used += count;
    }
    void Put(const ZrUniString& text) { Put(text.Units(), text.Length()); }
    // Keys and values share the rule, so a key's ")" and a value's "=" are escaped although the reader
    // would not need it; the reader accepts an escape before any character.
    void PutQuoted(const ZrUniString& text) {
        const ZrUniChar* units = text.Units();
        uint32_t length = text.Length();
        Room(length * 2);
        ZrUniChar* to = m_units + m_used;
        // Most text has nothing to escape: copy the runs between escapes whole.
        for (uint32_t i = 0; i < length;) {
            uint32_t run = RunWithout(units + i, length - i, u')', u'=', u'\\');
            std::memcpy(to, units + i, uint64_t(run) * 2);
            to += run;
            i += run;
            if (i < length) {
                *to++ = u'\\';
                *to++ = units[i++];
            }
        }
        m_used = uint32_t(to - m_units);
    }

private:
    void Room(uint32_t count) {
        if (m_used + count <= m_room)
            return;
        m_room = m_used + count + (m_used + count) / 2 + 64;
        m_out.Truncate(m_room);
        m_units = reinterpret_cast<ZrUniChar*>(m_out.MutableData());
    }

    ZrUniString& m_out;
    ZrUniChar* m_units = nullptr;
    uint32_t m_used = 0;
    uint32_t m_room = 0;
};

ZrUniString ZrDBParse::Quote(const ZrUniString& text) {
    ZrUniString out;
    {
        Sink sink(out);
        sink.PutQuoted(text);
    }
    return out;
}

void ZrDBParse::AppendEntry(Sink& out, const ZrUniString& key, const ZrDBEntry& entry) {
    out.Put(entry.Comment());
    out.Put(ZrUniChar(u'['));
    out.PutQuoted(key);
    out.Put(u"={", 2);
    for (const ZrUniString& value : entry.ValueList()) {
        out.Put(ZrUniChar(u'('));
        out.PutQuoted(value);
        out.Put(ZrUniChar(u')'));
    }
    out.Put(u"}]\n", 3);
}

ZrUniString ZrDBParse::ToString(const ZrUniString& key, ZrDBEntry& entry) {
    ZrUniString out;
    {
        Sink sink(out);
        AppendEntry(sink, key, entry);
    }
    return out;
}

ZrUniString ZrDBParse::ToString(ZrDatabase& db, int tag) {
    ZrUniString out;
    {
        Sink sink(out);
        ZrDictionaryIterator<ZrDatabase::Pair> it(db.Entries());
        while (const ZrDatabase::Pair* pair = it.Next())
            if (tag < 0 || pair->Value().Tag() == tag)
                AppendEntry(sink, pair->Key(), pair->Value());
    }
    return out;
}
