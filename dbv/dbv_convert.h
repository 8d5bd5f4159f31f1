/* Conversion between DBV trees and the codec's structures, driven by the
 * descriptors. The generated dbv_convert.h declares one pair per structure
 * (Dbv<Name>ToAsn, Dbv<Name>FromAsn) on top of these. */
#ifndef KESTRA_DBV_DBV_CONVERT_H
#define KESTRA_DBV_DBV_CONVERT_H

#include "asn/asn_ber.h"
#include "dbv/dbv_desc.h"
#include "ui/mem.h"

#ifdef __cplusplus
extern "C" {
#endif

enum { DBV_CONVERT_OK = 0, DBV_CONVERT_NO_MEMORY = 1 };

/* A structure that travels as the single-ASN1-type value of an EXTERNAL
 * (DBV_F_ASN_EXTERNAL): its identifier, and the whole-value routines of its
 * codec structure. Generated. */
typedef struct DbvCarriedType {
    const DbvTypeDesc *psType;
    const char *pcOid;
    AnyInfo *psInfo;
} DbvCarriedType;
extern const DbvCarriedType DbvCarriedTypes[];
extern const uint32_t DbvCarriedTypeCount;

/* DBV tree -> newly allocated codec structure in *ppvOut (set also after a
 * failure, holding what was built so far for the codec's free routine). */
int DbvTreeToAsn(const DbvTypeDesc *psType, const void *pvTree, void **ppvOut);
/* Codec structure -> newly allocated DBV tree in *ppvOut (NULL after a
 * failure: the partial tree is freed). */
int DbvTreeFromAsn(const DbvTypeDesc *psType, const void *pvAsn, void **ppvOut);

#ifdef __cplusplus
}

/* The bodies of the generated converter pairs. */
template <typename Codec, void (*FreeCodec)(Codec *)>
int DbvToAsn(const DbvTypeDesc *type, const void *tree, Codec **out)
{
    void *built = nullptr;
    int result = DbvTreeToAsn(type, tree, &built);
    if (result != DBV_CONVERT_OK && built) {
        FreeCodec(static_cast<Codec *>(built));
        MemFree(built);
        built = nullptr;
    }
    *out = static_cast<Codec *>(built);
    return result;
}

template <typename Dbv>
int DbvFromAsn(const DbvTypeDesc *type, const void *asn, Dbv **out)
{
    void *built = nullptr;
    int result = DbvTreeFromAsn(type, asn, &built);
    *out = static_cast<Dbv *>(built);
    return result;
}
#endif

#endif
