// ZrDatabase: a configuration database, a flat table from "/"-separated key paths to entries (values,
// comment, tag), with sub-tree operations and a text form (ZrDBParse). Owns its entries. Every change
// goes through the virtual operations below, so a derived database sees each one. Never throws for bad
// text: FromString returns false and ErrorString() tells where parsing stopped.
#pragma once

#include <cstdint>

#include "foundation/container/zrdictionary.h"
#include "foundation/container/zrdlist.h"
#include "foundation/database/zrdbentry.h"
#include "foundation/string/zrunistring.h"

class ZrDatabase {
public:
    using Pair = ZrDDAssoc<ZrUniString, ZrDBEntry>;
    using Table = ZrDictionary<Pair>;

    // The lines a writer of a whole configuration file puts first; the reader skips them as header.
    static const char fileheader[];

    ZrDatabase();
    ZrDatabase(const ZrDatabase&) = delete;
    ZrDatabase& operator=(const ZrDatabase&) = delete;

    // Kept in this order: derived databases and their callers rely on the slot layout.
    virtual ~ZrDatabase();
    // Parses `text` into this database (entries get `tag`) and keeps the parser's error text.
    [[nodiscard]] virtual bool FromString(const ZrUniString& text, int tag);
    // The error text of the last FromString: "Success" when it was clean (and before any parse).
    virtual ZrUniString ErrorString() const;
    // Text of every entry (negative tag) or of the entries with `tag`, in the table's own order.
    virtual ZrUniString ToString(int tag);
    // Removes `prefix` and its sub-tree; an empty prefix removes everything.
    virtual void RemoveKeys(const ZrUniString& prefix);
    // Creates the key (no values, empty comment, tag 0) or empties the values of an existing one.
    virtual void ClearKey(const ZrUniString& key);
    // Creates the key when absent, then appends `value` to its values.
    virtual void AppendValue(const ZrUniString& key, const ZrUniString& value);
    // Sets the tag of an existing key; nothing when absent.
    virtual void Tag(const ZrUniString& key, int tag);
    // Replaces the comment of an existing key; nothing when absent.
    virtual void Comment(const ZrUniString& key, const ZrUniString& comment);
    virtual bool KeyExists(const ZrUniString& key);
    // Appends each distinct child name of `prefix` not already in `out`, in table order.
    virtual void ListKeys(const ZrUniString& prefix, ZrDList<ZrUniString>& out);
    // Appends the key's values to `out`; nothing when the key is absent.
    virtual void ListValues(const ZrUniString& key, ZrDList<ZrUniString>& out);
    // The key's tag, or -1 when absent.
    virtual int Tag(const ZrUniString& key);

    // Read access for writers and tests; not a way to change the database.
    const Table& Entries() const { return m_table; }
    const ZrDBEntry* Entry(const ZrUniString& key) const;
    uint32_t Count() const { return m_table.Count(); }

private:
    // The key's pair, created (empty) when absent and `create` is set.
    Pair* Lookup(const ZrUniString& key, bool create = false) const;

    mutable Table m_table;
    ZrUniString m_error;
    // The pair found last. A parse applies ClearKey, Comment, Tag and AppendValue to one key in a row
    // with the same string, so this spares re-hashing it for each.
    mutable Pair* m_last = nullptr;
};
