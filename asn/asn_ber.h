/* BER runtime of the codec: the buffer shared by both directions, identifier
 * and length octets, the universal types, lists, the open-type registries and
 * the value printers. Encoding writes backwards from the end of a block;
 * decoding reads forwards and fails by throwing AsnAbort (C++ callers only),
 * caught at the PDU entry point. */
#ifndef KESTRA_ASN_BER_H
#define KESTRA_ASN_BER_H

#include <stddef.h>
#include <stdint.h>
#include <stdio.h>

#ifdef __cplusplus
extern "C" {
#endif

typedef uint32_t AsnTag;   /* identifier octets left-justified: B4 -> 0xB4000000 */
typedef uint32_t AsnLen;
typedef int32_t AsnInt;
typedef unsigned char AsnBool;
typedef unsigned char AsnNull;
typedef double AsnReal;

#define ASN_INDEFINITE_LEN 0xFFFFFFFFu
#define ASN_CONSTRUCTED_BIT 0x20000000u
#define ASN_OCTS_PRIM_TAG 0x04000000u
#define ASN_OCTS_CONS_TAG 0x24000000u

/* The deepest nesting of constructed elements accepted in received octets;
 * every walk over received data stays within it. Real Z39.50 PDUs nest a few
 * dozen levels at most (a GRS-1 element costs four). Stack per level,
 * measured on the x86-64 Linux build (tests/dbv/nesting_test.cpp prints the
 * figures): decode 76-112 octets, codec print 20-65, codec free 20-32,
 * conversion to DBV 28-48, DBV trace print 24-48, copy 84-240, compare
 * 72-208, free 60-224, conversion from DBV with encoding 60-224, GRS-1
 * renderer about 45. The i686 Windows build's frames (by -fstack-usage) come
 * to at most 200 a level in the decoders and 420 in the DBV walks (an RPN
 * operator is two structures). At this limit the deepest walk takes 65 KB
 * natively and about 110 KB on i686 of the 1 MB stack of a Windows
 * program's main thread. */
#define ASN_MAX_NESTING 256
/* The abort code of octets nested deeper than ASN_MAX_NESTING. */
#define ASN_TOO_DEEP_CODE (-29)

typedef struct ASN_Buffer {
    unsigned char *dataStart;
    unsigned char *dataEnd;
    unsigned char *blkStart;
    unsigned char *blkEnd;
    unsigned char *readLoc;
    int32_t writeError;
    int32_t readError;
} ASN_Buffer;

/* OCTET STRING, every character-string and time type, and OBJECT IDENTIFIER
 * (which holds its BER contents octets). Never NUL-terminated. */
typedef struct AsnOcts {
    uint32_t octetLen;
    unsigned char *octs;
} AsnOcts;
typedef AsnOcts AsnOid;

typedef struct AsnBits {
    uint32_t bitLen;
    unsigned char *bits;
} AsnBits;

typedef struct AsnListNode {
    struct AsnListNode *prev;
    struct AsnListNode *next;
    void *data; /* element slot: dataSize bytes, in practice one pointer */
} AsnListNode;

typedef struct AsnList {
    AsnListNode *first;
    AsnListNode *last;
    AsnListNode *curr;
    uint32_t count;
    uint32_t dataSize;
} AsnList;

/* A chain of identifier arcs, from which the contents octets are built. */
typedef struct AsnOidArc {
    struct AsnOidArc *next;
    uint32_t value;
} AsnOidArc;

typedef AsnLen (*AsnEncodeFn)(ASN_Buffer *b, void *value);
typedef void (*AsnDecodeFn)(ASN_Buffer *b, void *value, AsnLen *bytesDecoded);
typedef void (*AsnFreeFn)(void *value);
typedef void (*AsnPrintFn)(FILE *f, void *value, unsigned short indent);

typedef struct AnyInfo {
    int32_t anyId;
    AsnOid oid;
    AsnInt intId;
    uint32_t size;
    AsnEncodeFn encode;
    AsnDecodeFn decode;
    AsnFreeFn free;
    AsnPrintFn print;
} AnyInfo;

typedef struct AsnAny {
    AnyInfo *ai;
    void *value;
} AsnAny;

/* Buffer set-up for the two directions. */
void ASN_InitWriteBuffer(ASN_Buffer *b, unsigned char *block, size_t size);
void ASN_InitReadBuffer(ASN_Buffer *b, const unsigned char *data, size_t len);

/* Encoding: every routine returns the number of octets it wrote (or would
 * have written: a full block sets writeError and counting goes on). */
void ASN_PutByte(ASN_Buffer *b, unsigned char octet);
AsnLen ASN_EncodeTag(ASN_Buffer *b, AsnTag tag);
AsnLen ASN_EncodeLength(ASN_Buffer *b, AsnLen len);
AsnLen ASN_EncodeTL(ASN_Buffer *b, AsnLen contentLen, AsnTag tag); /* contentLen + length + tag */
AsnLen ASN_EncodeIntContent(ASN_Buffer *b, AsnInt value);
AsnLen ASN_EncodeBoolContent(ASN_Buffer *b, AsnBool value);
AsnLen ASN_EncodeOctsContent(ASN_Buffer *b, const AsnOcts *value);
AsnLen ASN_EncodeBitsContent(ASN_Buffer *b, const AsnBits *value);
AsnLen ASN_EncodeRealContent(ASN_Buffer *b, AsnReal value);
AsnLen ASN_EncodeGeneralString(ASN_Buffer *b, const AsnOcts *value);

/* Decoding: each adds the octets it consumed to *bytesDecoded and throws
 * AsnAbort on bad or missing input. */
AsnTag ASN_DecodeTag(ASN_Buffer *b, AsnLen *bytesDecoded);
AsnLen ASN_DecodeLength(ASN_Buffer *b, AsnLen *bytesDecoded);
void ASN_DecodeEoc(ASN_Buffer *b, AsnLen *bytesDecoded);
void ASN_DecodeIntContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnInt *result, AsnLen *bytesDecoded);
void ASN_DecodeBoolContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnBool *result, AsnLen *bytesDecoded);
void ASN_DecodeNullContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnNull *result, AsnLen *bytesDecoded);
void ASN_DecodeOctsContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnOcts *result, AsnLen *bytesDecoded);
void ASN_DecodeOidContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnOid *result, AsnLen *bytesDecoded);
void ASN_DecodeBitsContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnBits *result, AsnLen *bytesDecoded);
void ASN_DecodeRealContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnReal *result, AsnLen *bytesDecoded);

/* Walking the elements of a constructed value of length len of which
 * *decoded octets have been consumed: reads the next identifier and length
 * and returns 1, or returns 0 at the end (definite length used up, or the
 * end-of-contents octets ahead, left unread). */
int ASN_NextElement(ASN_Buffer *b, AsnLen len, AsnLen *decoded, AsnTag *tag, AsnLen *elmtLen);
/* Consumes the end-of-contents of an indefinite length; nothing otherwise. */
void ASN_EndContents(ASN_Buffer *b, AsnLen len, AsnLen *decoded);
/* The codes a decode aborts with (the generated decoders add codes of their
 * own types): what was wrong where. */
enum {
    ASN_ABORT_BOOL_LENGTH = -5,        /* a BOOLEAN not one octet long */
    ASN_ABORT_BOOL_MISSING = -6,       /* a BOOLEAN's octet missing */
    ASN_ABORT_INT_LENGTH = -7,         /* an INTEGER longer than four octets */
    ASN_ABORT_INT_MISSING = -8,        /* an INTEGER's octets missing */
    ASN_ABORT_LENGTH_MISSING = -13,    /* no length octet */
    ASN_ABORT_LENGTH_TOO_LONG = -14,   /* more than four length octets */
    ASN_ABORT_LENGTH_OCTETS = -15,     /* length octets missing */
    ASN_ABORT_EOC = -16,               /* no end-of-contents octets */
    ASN_ABORT_NULL_LENGTH = -17,       /* a NULL with contents */
    ASN_ABORT_SEGMENT_MISSING = -18,   /* a string segment's octets missing */
    ASN_ABORT_SEGMENT_FORM = -19,      /* a string segment of another form */
    ASN_ABORT_STRING = -20,            /* an octet or bit string cut short or of a wrong form */
    ASN_ABORT_OID = -21,               /* an identifier cut short or indefinite */
    ASN_ABORT_REAL_FORM = -22,         /* a REAL in decimal form */
    ASN_ABORT_REAL_BASE = -23,         /* a REAL of a reserved base */
    ASN_ABORT_REAL = -24,              /* a REAL cut short or too long */
    ASN_ABORT_TAG_MISSING = -26,       /* tag octets missing */
    ASN_ABORT_NO_MEMORY = -27,         /* memory ran out */
    ASN_ABORT_SEGMENT_EOC = -28,       /* a string's end-of-contents malformed */
    ASN_ABORT_ANY_UNKNOWN = -44,       /* an ANY of no registered type */
    ASN_ABORT_EXTERNAL_NO_ENCODING = -101, /* an EXTERNAL without its encoding */
    ASN_ABORT_EXTERNAL_ENCODING = -102,    /* an EXTERNAL encoding of no known form */
    ASN_ABORT_EXTERNAL_TRAILING = -103,    /* elements after an EXTERNAL's encoding */
    ASN_ABORT_EXTERNAL_INCOMPLETE = -104   /* a single-ASN1-type value cut short */
};

/* A zero-filled allocation; failure aborts the decode with ASN_ABORT_NO_MEMORY. */
void *ASN_DecAlloc(size_t size);

/* Identifiers built from arcs. */
AsnLen ASN_OidEncodedLength(const AsnOidArc *arcs);
void ASN_BuildEncodedOid(const AsnOidArc *arcs, AsnOid *result);

/* Bits; an index at or beyond bitLen is ignored. */
void ASN_SetBit(AsnBits *bits, uint32_t i);
void ASN_ClearBit(AsnBits *bits, uint32_t i);
int ASN_GetBit(const AsnBits *bits, uint32_t i);

/* Lists (SEQUENCE OF / SET OF). Append returns the element slot, or NULL
 * when memory ran out. */
AsnList *ASN_ListNew(uint32_t dataSize);
void *ASN_ListAppend(AsnList *list);

/* Releasing the storage of simple values (not the value's own structure). */
void ASN_FreeOcts(AsnOcts *value);
void ASN_FreeBits(AsnBits *value);

/* Open-type registries, one keyed by integer and one by identifier. */
int ASN_InstallAnyByInt(int32_t anyId, AsnInt intId, uint32_t size, AsnEncodeFn encode,
                        AsnDecodeFn decode, AsnFreeFn free, AsnPrintFn print);
int ASN_InstallAnyByOid(int32_t anyId, const AsnOid *oid, uint32_t size, AsnEncodeFn encode,
                        AsnDecodeFn decode, AsnFreeFn free, AsnPrintFn print);
void ASN_SetAnyTypeByInt(AsnAny *any, AsnInt intId);
void ASN_SetAnyTypeByOid(AsnAny *any, const AsnOid *oid);
AsnLen ASN_EncodeAny(ASN_Buffer *b, AsnAny *any);
void ASN_DecodeAny(ASN_Buffer *b, AsnAny *any, AsnLen *bytesDecoded);
void ASN_FreeAny(AsnAny *any);
void ASN_PrintAny(FILE *f, AsnAny *any, unsigned short indent);

/* Value printers. */
void ASN_PrintIndent(FILE *f, unsigned short indent);
void ASN_PrintInt(FILE *f, AsnInt value);
void ASN_PrintBool(FILE *f, AsnBool value);
void ASN_PrintNull(FILE *f);
void ASN_PrintReal(FILE *f, AsnReal value);
void ASN_PrintOcts(FILE *f, const AsnOcts *value);
void ASN_PrintBits(FILE *f, const AsnBits *value);
void ASN_PrintOid(FILE *f, const AsnOid *value);
/* Constructed values: each component or element starts with
 * ASN_PrintComponent (name may be NULL), the value ends with ASN_PrintEnd;
 * *first starts at 1. */
void ASN_PrintComponent(FILE *f, int *first, unsigned short indent, const char *name);
void ASN_PrintEnd(FILE *f, int first, unsigned short indent);

#ifdef __cplusplus
}

/* The one way a decode fails: thrown by the primitives and generated
 * decoders, caught only at the PDU entry point. */
struct AsnAbort {
    int code;
};

[[noreturn]] void ASN_Abort(int code);

/* One level of nesting, held by a decoder for as long as it reads inside a
 * constructed element: aborts with ASN_TOO_DEEP_CODE when the decoders
 * already hold ASN_MAX_NESTING levels. The count is process-wide, like the
 * rest of the codec, and unwinds with the abort. */
struct AsnNesting {
    AsnNesting();
    ~AsnNesting();
    AsnNesting(const AsnNesting &) = delete;
    AsnNesting &operator=(const AsnNesting &) = delete;
};
#endif

#endif
