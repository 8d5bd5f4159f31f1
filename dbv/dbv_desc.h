/* The DBV data model's common ground: the octet string, the booleans, and
 * the descriptors that the generated headers give for every structure
 * (field names, representations, offsets in the DBV structure and in the
 * codec structure, enumeration member names). The free, copy, comparison
 * and conversion routines all walk a tree through these descriptors, and
 * the trace printer can print any structure from them. Plain C. */
#ifndef KESTRA_DBV_DBV_DESC_H
#define KESTRA_DBV_DBV_DESC_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

#define DBV_TRUE 1
#define DBV_FALSE 0

/* Octets with their count, not NUL-terminated (the toolkit adds one NUL
 * after the count in the trees it builds, for printing). */
typedef struct DbvOctetString {
    uint32_t ulLength;
    unsigned char *pbData;
} DbvOctetString;

typedef struct DbvExternal DbvExternal;

/* Representations of a value. */
enum {
    DBV_K_UINT = 1, /* uint32_t */
    DBV_K_ENUM,     /* int holding a member of an enumeration */
    DBV_K_BOOL,     /* int, DBV_TRUE or DBV_FALSE */
    DBV_K_NULL,     /* in a structure: int, DBV_TRUE when present; in a choice: nothing */
    DBV_K_OCTS,     /* DbvOctetString */
    DBV_K_ANY,      /* DbvOctetString: the BER element of an ANY DEFINED BY value */
    DBV_K_TEXT,     /* char *, NUL-terminated */
    DBV_K_OID,      /* char *, dotted decimal */
    DBV_K_BITS,     /* char *, one '1' or '0' per bit */
    DBV_K_STRUCT,   /* a structure or choice of its own descriptor */
    DBV_K_EXTERNAL, /* DbvExternal */
    DBV_K_LIST      /* NULL-terminated array of element pointers */
};

/* Field flags. */
enum {
    DBV_F_DBV_PTR = 1, /* the DBV structure holds a pointer (NULL: absent) */
    DBV_F_ASN_PTR = 2, /* the codec structure holds a pointer */
    DBV_F_OPTIONAL = 4, /* an inline choice that is absent while its selector is 0 */
    /* The codec holds the value in another form: */
    DBV_F_ASN_OPEN = 8,     /* an External, as the BER element in an open value (ANY) */
    DBV_F_ASN_EXTERNAL = 16 /* a structure, as the single-ASN1-type value of an EXTERNAL */
};

typedef struct DbvEnumMember {
    int32_t lValue;
    const char *pcName;
} DbvEnumMember;

typedef struct DbvEnumDesc {
    uint32_t ulCount;
    const DbvEnumMember *psMembers;
} DbvEnumDesc;

typedef struct DbvTypeDesc DbvTypeDesc;

typedef struct DbvValueDesc {
    int32_t eKind;
    const DbvTypeDesc *psType;           /* DBV_K_STRUCT, DBV_K_EXTERNAL */
    const DbvEnumDesc *psEnum;           /* DBV_K_ENUM */
    const struct DbvValueDesc *psElement; /* DBV_K_LIST: the elements */
} DbvValueDesc;

typedef struct DbvFieldDesc {
    const char *pcName;  /* NULL for an embedded choice (its members stand in the structure) */
    DbvValueDesc sValue;
    uint32_t ulFlags;
    int32_t lSelector;   /* alternatives of a choice: the selector value */
    uint32_t ulDbvOffset;
    uint32_t ulAsnOffset;
} DbvFieldDesc;

/* A structure, or a choice: a selector (int) and one member per
 * alternative; the codec's choice holds its alternative index at offset 0
 * and the alternative at the fields' codec offset. */
struct DbvTypeDesc {
    const char *pcName;
    uint32_t fChoice;
    uint32_t ulDbvSize;
    uint32_t ulAsnSize;
    uint32_t ulSelectorOffset;
    const char *pcSelectorName;
    const char *pcUnionName;    /* NULL: the members stand in the structure */
    const DbvEnumDesc *psSelectorEnum;
    uint32_t ulFieldCount;
    const DbvFieldDesc *psFields;
};

extern const DbvTypeDesc DbvDesc_External;

/* Which identifier selects which eASN1Type of a single-ASN1-type value: for
 * each type the identifier sent first, then the others recognised. */
typedef struct DbvAsn1Oid {
    const char *pcOid;
    int32_t eASN1Type;
} DbvAsn1Oid;
extern const DbvAsn1Oid DbvAsn1Oids[];
extern const uint32_t DbvAsn1OidCount;

/* The member name of value in an enumeration, or NULL. */
const char *DbvEnumName(const DbvEnumDesc *psEnum, int32_t lValue);
/* The alternative that a choice's selector value selects, or NULL. */
const DbvFieldDesc *DbvChoiceAlternative(const DbvTypeDesc *psType, int32_t lSelector);

/* The tree routines behind every structure's own: free accepts NULL and a
 * partly built tree; copy gives NULL when memory runs out; equal compares
 * every field (a NULL list and an empty one are equal). */
void DbvFreeTree(const DbvTypeDesc *psType, void *pvTree);
void *DbvCopyTree(const DbvTypeDesc *psType, const void *pvTree);
int DbvTreeEqual(const DbvTypeDesc *psType, const void *pvLeft, const void *pvRight);
/* The number of entries of a NULL-terminated list (0 for NULL). */
uint32_t DbvListCount(const void *pvList);

#ifdef __cplusplus
}
#endif

#endif
