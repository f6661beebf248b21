// ZrDBEntry: what a configuration database holds under one key: the values in insertion order
// (duplicates allowed), a comment written verbatim in front of the entry's text, and a caller-defined
// tag. Plain value type owned by its ZrDatabase; nothing here fails but allocation.
#pragma once

#include <cstdint>

#include "foundation/container/zrdlist.h"
#include "foundation/string/zrunistring.h"

class ZrDBEntry {
public:
    const ZrUniString& Comment() const { return m_comment; }
    void SetComment(const ZrUniString& comment) { m_comment = comment; }
    int32_t Tag() const { return m_tag; }
    void SetTag(int32_t tag) { m_tag = tag; }

    // Appends the values, in order, to the end of `out`.
    void Values(ZrDList<ZrUniString>& out) const;
    // Most entries hold one or two values; those live inside the entry.
    using ValueListType = ZrDList<ZrUniString, 2>;
    const ValueListType& ValueList() const { return m_values; }
    void AppendValue(const ZrUniString& value) { m_values.Insert(value); }
    void ClearValues();

private:
    ZrUniString m_comment;
    int32_t m_tag = 0;
    ValueListType m_values;
};
