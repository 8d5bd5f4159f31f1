/* Object identifiers: made from dotted text, turned back into it, the test
 * for the identifiers whose values the codec decodes as structures, and the
 * one-time registration of every generated open type. */
#ifndef KESTRA_ASN_REGISTRY_H
#define KESTRA_ASN_REGISTRY_H

#include "asn/asn_ber.h"

#ifdef __cplusplus
extern "C" {
#endif

/* One type of a registration group, installed under its identifier, or
 * under intId in the integer-keyed registry when oid is NULL. */
typedef struct ASN_RegisteredType {
    const char *oid;
    AsnInt intId;
    int32_t anyId;
    uint32_t size;
    AsnEncodeFn encode;
    AsnDecodeFn decode;
    AsnFreeFn free;
    AsnPrintFn print;
} ASN_RegisteredType;

/* Contents octets of a dotted identifier; an allocation failure aborts with
 * ASN_ABORT_NO_MEMORY (AsnAbort), so C++ callers outside a decode catch it themselves. */
void ASN_MakeOid(const char *text, AsnOid *result);
/* Dotted text of an identifier; 0 when it does not fit into size. */
int ASN_OidToText(const AsnOid *oid, char *text, size_t size);
/* 0 when text is exactly one of the structured identifiers, else 1. */
int IsUnstructuredOid(const char *text);
/* Installs a group's types; failMessage goes to standard output when an
 * identifier cannot be made (the type is installed all the same). */
void ASN_RegisterTypes(const ASN_RegisteredType *types, size_t count, const char *failMessage);
/* The one-time registration of all groups, guarded by a once flag. */
void RegisterCodecTypes(void);

/* Generated from the registrations (oid_groups.cpp): the identifiers whose
 * values the codec decodes as structures, NULL-terminated, and the run of
 * every registration group in its start-up order. */
extern const char *const ASN_StructuredOids[];
void ASN_RunRegistrationGroups(void);

#ifdef __cplusplus
}
#endif

#endif
