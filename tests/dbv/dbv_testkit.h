// Building DBV trees in tests: single values, lists, a filler that
// populates any structure from its descriptor, and the valid requests that
// the check tests break one field at a time.
#ifndef KESTRA_TESTS_DBV_TESTKIT_H
#define KESTRA_TESTS_DBV_TESTKIT_H

#include <functional>
#include <initializer_list>
#include <string>
#include <vector>

#include "dbv/dbv_desc.h"
#include "dbv_types.h"
#include "ui/mem.h"

template <typename T> T *New()
{
    return static_cast<T *>(MemAlloc(sizeof(T)));
}

DbvOctetString *Octets(const std::string &bytes);
DbvOctetString InlineOctets(const std::string &bytes);
char *Text(const char *text);
// Frees the named field of a structure through its descriptor and leaves it
// absent.
void ClearField(const DbvTypeDesc *type, void *structure, const char *name);
// Frees the current alternative of a choice (or of the choice embedded in
// a structure) and selects another, left empty.
void Reselect(const DbvTypeDesc *choice, void *value, int selector);
// An External of octet-aligned bytes under the identifier oid.
DbvExternal *OctetAlignedExternal(const char *oid, const std::string &bytes);
// Replaces a text field (freeing the old one); NULL clears it.
void SetText(char *&field, const char *text);
// A NULL-terminated list of the given entries.
template <typename T> T **List(std::initializer_list<T *> entries)
{
    T **list = static_cast<T **>(MemAlloc((entries.size() + 1) * sizeof(T *)));
    size_t i = 0;
    for (T *e : entries)
        list[i++] = e;
    return list;
}

// A PDU of the given type (DPT_...) with every field filled, alternatives
// and values chosen from seed; below a few levels lists get two entries,
// further down lists are empty and choices take an alternative without
// structure of its own.
DbvPdu *FilledPdu(int type, unsigned seed);
// Fills an External whose value is of the given eASN1Type.
void FillTypedExternal(DbvExternal *external, int asn1Type, unsigned seed);

// Calls visit on every structure of type wanted in the tree value of type
// type (not looking into Externals).
void EachStructure(const DbvTypeDesc *type, void *value, const DbvTypeDesc *wanted,
                   const std::function<void(void *)> &visit);

// DBV -> codec -> BER -> codec -> DBV; NULL when a step failed.
DbvPdu *RoundTrip(const DbvPdu *pdu);
// The BER octets of a fixture file of tests/asn/fixtures.
std::vector<unsigned char> Fixture(const char *name);
// The names of all those files, sorted.
std::vector<std::string> FixtureNames();

// An SQL query of the given text; the abstract-database flag is left out
// when flag is negative.
DbvSQLQuery *SqlQuery(const char *expression, int flag = -1);

// Valid requests, as a session sends them.
DbvInitializeReq *ValidInitializeRequest();
DbvSearchReq *ValidSearchRequest();
DbvPresentReq *ValidPresentRequest();
DbvScanReq *ValidScanRequest();

#endif
