// Open-type registries (by integer and by identifier) and ANY dispatch.
// Each registry is a multi-level hash table: 256 slots indexed by the low 8
// bits of the key's hash, a colliding slot turning into a further table
// indexed by the next 8 bits. Keys are known only by their 32-bit hash, so
// two keys with the same hash are one key.
#include "asn/asn_ber.h"

#include "ui/mem.h"

namespace {

struct HashTable;

struct HashSlot {
    HashTable *table; // set when the slot leads to a deeper level
    uint32_t hash;
    AnyInfo *entry;
};

struct HashTable {
    HashSlot *slots[256];
};

HashTable *byInt;
HashTable *byOid;

uint32_t Hash(const unsigned char *octets, size_t len)
{
    uint32_t h = 0;
    for (size_t i = 0; i < len; i++)
        h = h * 65587u + octets[i];
    return h;
}

uint32_t IntHash(AsnInt key)
{
    uint32_t v = static_cast<uint32_t>(key);
    unsigned char octets[4] = {static_cast<unsigned char>(v), static_cast<unsigned char>(v >> 8),
                               static_cast<unsigned char>(v >> 16), static_cast<unsigned char>(v >> 24)};
    return Hash(octets, 4);
}

// Returns false only when memory ran out.
bool InsertNew(HashTable **root, uint32_t hash, AnyInfo *entry)
{
    if (!*root && !(*root = static_cast<HashTable *>(MemAlloc(sizeof(HashTable)))))
        return false;
    HashTable *table = *root;
    for (int shift = 0; shift < 32; shift += 8) {
        HashSlot **slot = &table->slots[(hash >> shift) & 0xFF];
        if (!*slot) {
            if (!(*slot = static_cast<HashSlot *>(MemAlloc(sizeof(HashSlot)))))
                return false;
            (*slot)->hash = hash;
            (*slot)->entry = entry;
            return true;
        }
        if (!(*slot)->table) {
            if ((*slot)->hash == hash)
                return true;
            // Push the resident leaf one level down and continue there.
            auto *deeper = static_cast<HashTable *>(MemAlloc(sizeof(HashTable)));
            auto *moved = static_cast<HashSlot *>(MemAlloc(sizeof(HashSlot)));
            if (!deeper || !moved || shift == 24) {
                MemFree(deeper);
                MemFree(moved);
                return false;
            }
            *moved = **slot;
            deeper->slots[((*slot)->hash >> (shift + 8)) & 0xFF] = moved;
            (*slot)->table = deeper;
            (*slot)->entry = nullptr;
        }
        table = (*slot)->table;
    }
    return false;
}

AnyInfo *Lookup(const HashTable *table, uint32_t hash)
{
    for (int shift = 0; table && shift < 32; shift += 8) {
        const HashSlot *slot = table->slots[(hash >> shift) & 0xFF];
        if (!slot)
            return nullptr;
        if (!slot->table)
            return slot->hash == hash ? slot->entry : nullptr;
        table = slot->table;
    }
    return nullptr;
}

// Takes the entry over: a key already present keeps its first entry, and
// an entry that is not stored is freed. False only when memory ran out.
bool Insert(HashTable **root, uint32_t hash, AnyInfo *entry)
{
    bool stored = InsertNew(root, hash, entry);
    if (Lookup(*root, hash) != entry)
        MemFree(entry);
    return stored;
}

AnyInfo *NewInfo(int32_t anyId, uint32_t size, AsnEncodeFn encode, AsnDecodeFn decode, AsnFreeFn free,
                 AsnPrintFn print)
{
    auto *info = static_cast<AnyInfo *>(MemAlloc(sizeof(AnyInfo)));
    if (info)
        *info = AnyInfo{anyId, {0, nullptr}, 0, size, encode, decode, free, print};
    return info;
}

} // namespace

extern "C" {

int ASN_InstallAnyByInt(int32_t anyId, AsnInt intId, uint32_t size, AsnEncodeFn encode, AsnDecodeFn decode,
                        AsnFreeFn free, AsnPrintFn print)
{
    AnyInfo *info = NewInfo(anyId, size, encode, decode, free, print);
    if (!info)
        return 0;
    info->intId = intId;
    return Insert(&byInt, IntHash(intId), info);
}

int ASN_InstallAnyByOid(int32_t anyId, const AsnOid *oid, uint32_t size, AsnEncodeFn encode,
                        AsnDecodeFn decode, AsnFreeFn free, AsnPrintFn print)
{
    AnyInfo *info = NewInfo(anyId, size, encode, decode, free, print);
    if (!info)
        return 0;
    info->oid = *oid;
    return Insert(&byOid, Hash(oid->octs, oid->octetLen), info);
}

void ASN_SetAnyTypeByInt(AsnAny *any, AsnInt intId)
{
    any->ai = Lookup(byInt, IntHash(intId));
}

void ASN_SetAnyTypeByOid(AsnAny *any, const AsnOid *oid)
{
    any->ai = Lookup(byOid, Hash(oid->octs, oid->octetLen));
}

AsnLen ASN_EncodeAny(ASN_Buffer *b, AsnAny *any)
{
    if (!any->ai || !any->ai->encode)
        return 0;
    return any->ai->encode(b, any->value);
}

void ASN_DecodeAny(ASN_Buffer *b, AsnAny *any, AsnLen *bytesDecoded)
{
    if (!any->ai || !any->ai->decode)
        ASN_Abort(ASN_ABORT_ANY_UNKNOWN);
    any->value = ASN_DecAlloc(any->ai->size);
    any->ai->decode(b, any->value, bytesDecoded);
}

void ASN_FreeAny(AsnAny *any)
{
    if (!any->ai || !any->ai->free)
        return;
    if (any->value)
        any->ai->free(any->value);
    MemFree(any->value);
    any->value = nullptr;
}

void ASN_PrintAny(FILE *f, AsnAny *any, unsigned short indent)
{
    if (!any->ai || !any->ai->print) {
        fputs(" -- ERROR: malformed ANY value --", f);
        return;
    }
    any->ai->print(f, any->value, indent);
}

} // extern "C"
