// Freeing, copying and comparing DBV trees by walking their descriptors.
// A slot is where a field's value lives: with DBV_F_DBV_PTR it holds a
// pointer to the value (NULL: absent), else the value itself. Texts and lists
// are pointers by nature, so their slots never carry the flag.
#include "dbv/dbv_tree.h"

#include <cstring>

#include "ui/mem.h"

namespace {

void FreeFields(const DbvTypeDesc *type, void *value);
bool CopyFields(const DbvTypeDesc *type, const void *from, void *to);
bool EqualFields(const DbvTypeDesc *type, const void *left, const void *right);

unsigned char *At(void *base, uint32_t offset)
{
    return static_cast<unsigned char *>(base) + offset;
}

const unsigned char *At(const void *base, uint32_t offset)
{
    return static_cast<const unsigned char *>(base) + offset;
}

void FreeValue(const DbvValueDesc *v, void *value)
{
    switch (v->eKind) {
    case DBV_K_OCTS:
    case DBV_K_ANY:
        MemFree(static_cast<DbvOctetString *>(value)->pbData);
        break;
    case DBV_K_TEXT:
    case DBV_K_OID:
    case DBV_K_BITS:
        MemFree(*static_cast<char **>(value));
        break;
    case DBV_K_LIST: {
        void **list = *static_cast<void ***>(value);
        if (!list)
            break;
        for (uint32_t i = 0; list[i]; i++)
            DbvFreeSlot(v->psElement, DbvElementFlags(v->psElement), &list[i]);
        MemFree(list);
        break;
    }
    case DBV_K_STRUCT:
    case DBV_K_EXTERNAL:
        FreeFields(v->psType, value);
        break;
    default:
        break;
    }
}

void FreeFields(const DbvTypeDesc *type, void *value)
{
    DbvEachMember(type, value, [&](const DbvFieldDesc *f) {
        DbvFreeSlot(&f->sValue, f->ulFlags, At(value, f->ulDbvOffset));
        return true;
    });
}

bool CopyValue(const DbvValueDesc *v, const void *from, void *to)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        *static_cast<uint32_t *>(to) = *static_cast<const uint32_t *>(from);
        return true;
    case DBV_K_ENUM:
    case DBV_K_BOOL:
    case DBV_K_NULL:
        *static_cast<int *>(to) = *static_cast<const int *>(from);
        return true;
    case DBV_K_OCTS:
    case DBV_K_ANY: {
        const DbvOctetString *src = static_cast<const DbvOctetString *>(from);
        return DbvSetOctets(static_cast<DbvOctetString *>(to), src->pbData, src->pbData ? src->ulLength : 0);
    }
    case DBV_K_TEXT:
    case DBV_K_OID:
    case DBV_K_BITS: {
        // Copied as its octets, to which DbvSetOctets adds the NUL.
        const char *text = *static_cast<char *const *>(from);
        DbvOctetString copy = {0, nullptr};
        if (!DbvSetOctets(&copy, text, text ? static_cast<uint32_t>(std::strlen(text)) : 0))
            return false;
        *static_cast<char **>(to) = reinterpret_cast<char *>(copy.pbData);
        return true;
    }
    case DBV_K_LIST: {
        void *const *list = *static_cast<void **const *>(from);
        if (!list)
            return true;
        uint32_t n = DbvListCount(list);
        void **copy = static_cast<void **>(MemAlloc((n + 1) * sizeof(void *)));
        if (!copy)
            return false;
        *static_cast<void ***>(to) = copy;
        uint32_t flags = DbvElementFlags(v->psElement);
        for (uint32_t i = 0; i < n; i++) {
            if (!DbvCopySlot(v->psElement, flags, &list[i], &copy[i]))
                return false;
        }
        return true;
    }
    default:
        return CopyFields(v->psType, from, to);
    }
}

bool CopyFields(const DbvTypeDesc *type, const void *from, void *to)
{
    if (type->fChoice)
        *reinterpret_cast<int *>(At(to, type->ulSelectorOffset)) = DbvSelector(type, from);
    return DbvEachMember(type, from, [&](const DbvFieldDesc *f) {
        return DbvCopySlot(&f->sValue, f->ulFlags, At(from, f->ulDbvOffset), At(to, f->ulDbvOffset));
    });
}

bool EqualText(const char *left, const char *right)
{
    if (!left || !right)
        return left == right;
    return std::strcmp(left, right) == 0;
}

bool EqualValue(const DbvValueDesc *v, const void *left, const void *right)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        return *static_cast<const uint32_t *>(left) == *static_cast<const uint32_t *>(right);
    case DBV_K_ENUM:
    case DBV_K_BOOL:
    case DBV_K_NULL:
        return *static_cast<const int *>(left) == *static_cast<const int *>(right);
    case DBV_K_OCTS:
    case DBV_K_ANY: {
        const DbvOctetString *a = static_cast<const DbvOctetString *>(left);
        const DbvOctetString *b = static_cast<const DbvOctetString *>(right);
        return a->ulLength == b->ulLength && (a->ulLength == 0 || std::memcmp(a->pbData, b->pbData, a->ulLength) == 0);
    }
    case DBV_K_TEXT:
    case DBV_K_OID:
    case DBV_K_BITS:
        return EqualText(*static_cast<char *const *>(left), *static_cast<char *const *>(right));
    case DBV_K_LIST: {
        void *const *a = *static_cast<void **const *>(left);
        void *const *b = *static_cast<void **const *>(right);
        uint32_t n = DbvListCount(a);
        if (n != DbvListCount(b))
            return false;
        uint32_t flags = DbvElementFlags(v->psElement);
        for (uint32_t i = 0; i < n; i++) {
            if (!DbvEqualSlot(v->psElement, flags, &a[i], &b[i]))
                return false;
        }
        return true;
    }
    default:
        return EqualFields(v->psType, left, right);
    }
}

bool EqualFields(const DbvTypeDesc *type, const void *left, const void *right)
{
    if (type->fChoice && DbvSelector(type, left) != DbvSelector(type, right))
        return false;
    return DbvEachMember(type, left, [&](const DbvFieldDesc *f) {
        return DbvEqualSlot(&f->sValue, f->ulFlags, At(left, f->ulDbvOffset), At(right, f->ulDbvOffset));
    });
}

bool FieldsNestWithin(const DbvTypeDesc *type, const void *value, uint32_t levels);

// Whether the value in the slot holds no path through more than levels
// structures and lists; the walk goes no deeper than that.
bool SlotNestsWithin(const DbvValueDesc *v, uint32_t flags, const void *slot, uint32_t levels)
{
    const void *value = (flags & DBV_F_DBV_PTR) ? *static_cast<void *const *>(slot) : slot;
    if (!value)
        return true;
    switch (v->eKind) {
    case DBV_K_LIST: {
        void *const *list = *static_cast<void **const *>(value);
        if (!list)
            return true;
        if (levels == 0)
            return false;
        uint32_t elementFlags = DbvElementFlags(v->psElement);
        for (uint32_t i = 0; list[i]; i++) {
            if (!SlotNestsWithin(v->psElement, elementFlags, &list[i], levels - 1))
                return false;
        }
        return true;
    }
    case DBV_K_STRUCT:
    case DBV_K_EXTERNAL:
        return levels > 0 && FieldsNestWithin(v->psType, value, levels - 1);
    default:
        return true;
    }
}

bool FieldsNestWithin(const DbvTypeDesc *type, const void *value, uint32_t levels)
{
    return DbvEachMember(type, value, [&](const DbvFieldDesc *f) {
        return SlotNestsWithin(&f->sValue, f->ulFlags, At(value, f->ulDbvOffset), levels);
    });
}

} // namespace

int DbvSelector(const DbvTypeDesc *choice, const void *value)
{
    return *reinterpret_cast<const int *>(At(value, choice->ulSelectorOffset));
}

uint32_t DbvElementFlags(const DbvValueDesc *element)
{
    return DbvIsPointerKind(element->eKind) ? 0 : DBV_F_DBV_PTR;
}

bool DbvIsPointerKind(int32_t kind)
{
    return kind == DBV_K_TEXT || kind == DBV_K_OID || kind == DBV_K_BITS || kind == DBV_K_LIST;
}

size_t DbvValueSize(const DbvValueDesc *v)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        return sizeof(uint32_t);
    case DBV_K_ENUM:
    case DBV_K_BOOL:
    case DBV_K_NULL:
        return sizeof(int);
    case DBV_K_OCTS:
    case DBV_K_ANY:
        return sizeof(DbvOctetString);
    case DBV_K_STRUCT:
    case DBV_K_EXTERNAL:
        return v->psType->ulDbvSize;
    default:
        return sizeof(void *);
    }
}

bool DbvSetOctets(DbvOctetString *to, const void *data, uint32_t length)
{
    if (!data)
        return true;
    to->pbData = static_cast<unsigned char *>(MemAlloc(static_cast<size_t>(length) + 1));
    if (!to->pbData)
        return false;
    if (length)
        std::memcpy(to->pbData, data, length);
    to->ulLength = length;
    return true;
}

void DbvFreeSlot(const DbvValueDesc *v, uint32_t flags, void *slot)
{
    if (!(flags & DBV_F_DBV_PTR)) {
        FreeValue(v, slot);
        return;
    }
    void *value = *static_cast<void **>(slot);
    if (value) {
        FreeValue(v, value);
        MemFree(value);
    }
}

bool DbvCopySlot(const DbvValueDesc *v, uint32_t flags, const void *from, void *to)
{
    if (!(flags & DBV_F_DBV_PTR))
        return CopyValue(v, from, to);
    const void *value = *static_cast<void *const *>(from);
    if (!value)
        return true;
    void *copy = MemAlloc(DbvValueSize(v));
    if (!copy)
        return false;
    *static_cast<void **>(to) = copy;
    return CopyValue(v, value, copy);
}

bool DbvEqualSlot(const DbvValueDesc *v, uint32_t flags, const void *left, const void *right)
{
    if (!(flags & DBV_F_DBV_PTR))
        return EqualValue(v, left, right);
    const void *a = *static_cast<void *const *>(left);
    const void *b = *static_cast<void *const *>(right);
    if (!a || !b)
        return a == b;
    return EqualValue(v, a, b);
}

bool DbvTreeNestsWithin(const DbvTypeDesc *type, const void *tree, uint32_t levels)
{
    return !tree || (levels > 0 && FieldsNestWithin(type, tree, levels - 1));
}

extern "C" {

const char *DbvEnumName(const DbvEnumDesc *psEnum, int32_t lValue)
{
    for (uint32_t i = 0; i < psEnum->ulCount; i++) {
        if (psEnum->psMembers[i].lValue == lValue)
            return psEnum->psMembers[i].pcName;
    }
    return nullptr;
}

const DbvFieldDesc *DbvChoiceAlternative(const DbvTypeDesc *psType, int32_t lSelector)
{
    for (uint32_t i = 0; i < psType->ulFieldCount; i++) {
        if (psType->psFields[i].lSelector == lSelector)
            return &psType->psFields[i];
    }
    return nullptr;
}

uint32_t DbvListCount(const void *pvList)
{
    uint32_t n = 0;
    if (pvList) {
        for (void *const *list = static_cast<void *const *>(pvList); list[n]; n++) {
        }
    }
    return n;
}

void DbvFreeTree(const DbvTypeDesc *psType, void *pvTree)
{
    if (!pvTree)
        return;
    FreeFields(psType, pvTree);
    MemFree(pvTree);
}

void *DbvCopyTree(const DbvTypeDesc *psType, const void *pvTree)
{
    if (!pvTree)
        return nullptr;
    void *copy = MemAlloc(psType->ulDbvSize);
    if (copy && !CopyFields(psType, pvTree, copy)) {
        DbvFreeTree(psType, copy);
        copy = nullptr;
    }
    return copy;
}

int DbvTreeEqual(const DbvTypeDesc *psType, const void *pvLeft, const void *pvRight)
{
    if (!pvLeft || !pvRight)
        return pvLeft == pvRight;
    return EqualFields(psType, pvLeft, pvRight);
}

} // extern "C"
