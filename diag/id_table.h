// The toolkit's tables keyed by association id (the association table, the
// trace table): entries in counted, zero-filled memory, kept in order of
// creation, looked up from the start. Entry is a plain structure with a
// DbvAssocId assocId field.
#ifndef KESTRA_DIAG_ID_TABLE_H
#define KESTRA_DIAG_ID_TABLE_H

#include <vector>

#include "diag/console.h"
#include "diag/si_error.h"
#include "ui/mem.h"

// Returns the entry of the id, or NULL.
template <typename Entry>
Entry *IdTableFind(const std::vector<Entry *> &table, DbvAssocId assocId)
{
    for (Entry *entry : table)
        if (entry->assocId == assocId)
            return entry;
    return nullptr;
}

// Returns a new zero-filled entry of the id, appended to the table; the
// allocation counts under context.
template <typename Entry>
Entry *IdTableAdd(std::vector<Entry *> &table, DbvAssocId assocId, const char *context)
{
    Entry *entry = static_cast<Entry *>(CountedAlloc(sizeof(Entry), context));
    entry->assocId = assocId;
    table.push_back(entry);
    return entry;
}

// Removes and frees the entry of the id, if there is one.
template <typename Entry>
void IdTableRemove(std::vector<Entry *> &table, DbvAssocId assocId)
{
    for (auto it = table.begin(); it != table.end(); ++it) {
        if ((*it)->assocId == assocId) {
            MemFree(*it);
            table.erase(it);
            return;
        }
    }
}

#endif
