#include "foundation/database/zrdbentry.h"

void ZrDBEntry::Values(ZrDList<ZrUniString>& out) const {
    for (const ZrUniString& value : m_values)
        out.Insert(value);
}

void ZrDBEntry::ClearValues() {
    if (!m_values.IsEmpty())
        m_values.Flush();
}
