// The slot helpers that the tree routines and the converters share (C++
// only, internal to the DBV library). A slot holds a field's value, or with
// DBV_F_DBV_PTR a pointer to it.
#ifndef KESTRA_DBV_DBV_TREE_H
#define KESTRA_DBV_DBV_TREE_H

#include "dbv/dbv_desc.h"

// Texts and lists are pointers by nature: absent is NULL, no flag needed.
bool DbvIsPointerKind(int32_t kind);
// The flags of a list element's slot (an array entry).
uint32_t DbvElementFlags(const DbvValueDesc *element);
// Bytes of a value held by pointer.
size_t DbvValueSize(const DbvValueDesc *v);
// Copies length octets (and a NUL after them); nothing when data is NULL.
bool DbvSetOctets(DbvOctetString *to, const void *data, uint32_t length);

// The selector of a choice.
int DbvSelector(const DbvTypeDesc *choice, const void *value);

// Calls visit(field) on every field of a structure, or on the alternative of
// a choice that its selector picks (none for an unknown selector or a NULL
// alternative); stops at the first false.
template <typename Visit> bool DbvEachMember(const DbvTypeDesc *type, const void *value, Visit visit)
{
    if (type->fChoice) {
        const DbvFieldDesc *alt = DbvChoiceAlternative(type, DbvSelector(type, value));
        return !alt || alt->sValue.eKind == DBV_K_NULL || visit(alt);
    }
    for (uint32_t i = 0; i < type->ulFieldCount; i++) {
        if (!visit(&type->psFields[i]))
            return false;
    }
    return true;
}

void DbvFreeSlot(const DbvValueDesc *v, uint32_t flags, void *slot);
// to starts zero-filled; false when memory ran out (to then holds what was
// copied so far, which DbvFreeSlot releases).
bool DbvCopySlot(const DbvValueDesc *v, uint32_t flags, const void *from, void *to);
bool DbvEqualSlot(const DbvValueDesc *v, uint32_t flags, const void *left, const void *right);

// Whether no path through the tree (NULL: none) passes more than levels
// structures and lists, the root counting as one; the walk itself goes no
// deeper than that, so it is safe on any tree.
bool DbvTreeNestsWithin(const DbvTypeDesc *type, const void *tree, uint32_t levels);

#endif
