// BER primitives: buffer, identifiers, lengths, universal contents, lists,
// identifier arcs and the value printers.
#include "asn/asn_ber.h"

#include <cmath>
#include <cstring>

#include "ui/mem.h"

namespace {

// Segments of the constructed string being joined: pointers into the
// received octets, kept for the whole process and grown as needed.
struct Segment {
    const unsigned char *data;
    AsnLen len;
};

Segment *segments;
size_t segmentCapacity;
size_t segmentCount;

const size_t kSegmentsInitial = 128;
const size_t kSegmentsGrowth = 64;

void AddSegment(const unsigned char *data, AsnLen len)
{
    if (segmentCount == segmentCapacity) {
        size_t capacity = segments ? segmentCapacity + kSegmentsGrowth : kSegmentsInitial;
        void *grown = MemRealloc(segments, capacity * sizeof(Segment));
        if (!grown)
            ASN_Abort(ASN_ABORT_NO_MEMORY);
        segments = static_cast<Segment *>(grown);
        segmentCapacity = capacity;
    }
    segments[segmentCount].data = data;
    segments[segmentCount].len = len;
    segmentCount++;
}

unsigned char GetByte(ASN_Buffer *b)
{
    if (b->readLoc < b->dataEnd)
        return *b->readLoc++;
    b->readError = 1;
    return 0;
}

unsigned char GetByteOrAbort(ASN_Buffer *b, int code)
{
    unsigned char octet = GetByte(b);
    if (b->readError)
        ASN_Abort(code);
    return octet;
}

AsnLen Remaining(const ASN_Buffer *b)
{
    return static_cast<AsnLen>(b->dataEnd - b->readLoc);
}

// Copies len octets into a fresh allocation (one octet when empty).
void CopyOut(ASN_Buffer *b, AsnLen len, AsnOcts *result, int shortCode)
{
    // Checked first: a hostile length allocates nothing.
    if (Remaining(b) < len) {
        b->readLoc = b->dataEnd;
        b->readError = 1;
        ASN_Abort(shortCode);
    }
    result->octs = static_cast<unsigned char *>(ASN_DecAlloc(len));
    if (len)
        std::memcpy(result->octs, b->readLoc, len);
    b->readLoc += len;
    result->octetLen = len;
}

// Number of octets the shortest two's-complement form of value needs.
int IntOctets(AsnInt value)
{
    uint32_t v = static_cast<uint32_t>(value);
    uint32_t mask = 0x7F800000u;
    int n = 4;
    if (value >= 0) {
        while (n > 1 && (v & mask) == 0) {
            n--;
            mask >>= 8;
        }
    } else {
        while (n > 1 && (v & mask) == mask) {
            n--;
            mask >>= 8;
        }
    }
    return n;
}

AsnLen PutLowOctets(ASN_Buffer *b, uint32_t v, int n)
{
    for (int i = 0; i < n; i++, v >>= 8)
        ASN_PutByte(b, static_cast<unsigned char>(v & 0xFF));
    return static_cast<AsnLen>(n);
}

// Records the primitive segments of a constructed string (recursively).
void CollectSegments(ASN_Buffer *b, AsnLen len, AsnLen *bytesDecoded)
{
    AsnNesting level;
    AsnLen local = 0;
    while (len == ASN_INDEFINITE_LEN || local < len) {
        AsnTag tag = ASN_DecodeTag(b, &local);
        if (tag == 0 && len == ASN_INDEFINITE_LEN) {
            if (GetByte(b) != 0 || b->readError)
                ASN_Abort(ASN_ABORT_SEGMENT_EOC);
            local++;
            break;
        }
        AsnLen elmtLen = ASN_DecodeLength(b, &local);
        if (tag == ASN_OCTS_PRIM_TAG) {
            if (elmtLen == ASN_INDEFINITE_LEN)
                ASN_Abort(ASN_ABORT_SEGMENT_FORM);
            AsnLen avail = Remaining(b);
            if (avail == 0 && elmtLen > 0)
                ASN_Abort(ASN_ABORT_SEGMENT_MISSING);
            AsnLen take = elmtLen < avail ? elmtLen : avail;
            AddSegment(b->readLoc, take);
            b->readLoc += take;
            local += take;
        } else if (tag == ASN_OCTS_CONS_TAG) {
            CollectSegments(b, elmtLen, &local);
        } else {
            ASN_Abort(ASN_ABORT_SEGMENT_FORM);
        }
    }
    *bytesDecoded += local;
}

void DecodeConstructedOcts(ASN_Buffer *b, AsnLen len, AsnOcts *result, AsnLen *bytesDecoded)
{
    segmentCount = 0;
    CollectSegments(b, len, bytesDecoded);
    size_t total = 0;
    for (size_t i = 0; i < segmentCount; i++)
        total += segments[i].len;
    result->octs = static_cast<unsigned char *>(ASN_DecAlloc(total));
    unsigned char *p = result->octs;
    for (size_t i = 0; i < segmentCount; i++) {
        std::memcpy(p, segments[i].data, segments[i].len);
        p += segments[i].len;
    }
    result->octetLen = static_cast<uint32_t>(total);
    segmentCount = 0;
}

// Calls f with each subidentifier of an arc chain: the first two arcs make
// one (first * 40 + second), every further arc one more.
template <typename F> void ForEachSubidentifier(const AsnOidArc *arcs, F f)
{
    if (!arcs || !arcs->next)
        return;
    f(arcs->value * 40 + arcs->next->value);
    for (const AsnOidArc *arc = arcs->next->next; arc; arc = arc->next)
        f(arc->value);
}

// Base-128 groups of one subidentifier.
int SubidentifierOctets(uint32_t sub)
{
    int groups = 1;
    while (groups < 5 && (sub >> (7 * groups)))
        groups++;
    return groups;
}

// Levels of nesting the decoders hold at present.
int nestingDepth;

} // namespace

void ASN_Abort(int code)
{
    throw AsnAbort{code};
}

AsnNesting::AsnNesting()
{
    if (nestingDepth >= ASN_MAX_NESTING)
        ASN_Abort(ASN_TOO_DEEP_CODE);
    nestingDepth++;
}

AsnNesting::~AsnNesting()
{
    nestingDepth--;
}

extern "C" {

void ASN_InitWriteBuffer(ASN_Buffer *b, unsigned char *block, size_t size)
{
    b->blkStart = block;
    b->blkEnd = block + size;
    b->dataStart = b->dataEnd = b->readLoc = b->blkEnd;
    b->writeError = 0;
    b->readError = 1;
}

void ASN_InitReadBuffer(ASN_Buffer *b, const unsigned char *data, size_t len)
{
    // The reader never writes; the buffer type is shared with encoding.
    unsigned char *p = const_cast<unsigned char *>(data);
    b->dataStart = b->blkStart = b->readLoc = p;
    b->dataEnd = b->blkEnd = p + len;
    b->writeError = 1;
    b->readError = 0;
}

void ASN_PutByte(ASN_Buffer *b, unsigned char octet)
{
    if (b->dataStart > b->blkStart)
        *--b->dataStart = octet;
    else
        b->writeError = 1;
}

AsnLen ASN_EncodeTag(ASN_Buffer *b, AsnTag tag)
{
    AsnLen n = 0;
    for (int shift = 0; shift < 32; shift += 8) {
        unsigned char octet = static_cast<unsigned char>(tag >> shift);
        if (octet == 0 && n == 0 && shift < 24)
            continue;
        ASN_PutByte(b, octet);
        n++;
    }
    return n;
}

AsnLen ASN_EncodeLength(ASN_Buffer *b, AsnLen len)
{
    if (len < 128) {
        ASN_PutByte(b, static_cast<unsigned char>(len));
        return 1;
    }
    int n = len < 256 ? 1 : len < 65536 ? 2 : len < 16777126u ? 3 : 4;
    PutLowOctets(b, len, n);
    ASN_PutByte(b, static_cast<unsigned char>(0x80 | n));
    return static_cast<AsnLen>(n + 1);
}

AsnLen ASN_EncodeTL(ASN_Buffer *b, AsnLen contentLen, AsnTag tag)
{
    contentLen += ASN_EncodeLength(b, contentLen);
    return contentLen + ASN_EncodeTag(b, tag);
}

AsnLen ASN_EncodeIntContent(ASN_Buffer *b, AsnInt value)
{
    return PutLowOctets(b, static_cast<uint32_t>(value), IntOctets(value));
}

AsnLen ASN_EncodeBoolContent(ASN_Buffer *b, AsnBool value)
{
    ASN_PutByte(b, value ? 0xFF : 0x00);
    return 1;
}

AsnLen ASN_EncodeOctsContent(ASN_Buffer *b, const AsnOcts *value)
{
    AsnLen len = value->octetLen;
    if (static_cast<size_t>(b->dataStart - b->blkStart) < len) {
        b->writeError = 1;
    } else if (len) {
        b->dataStart -= len;
        std::memcpy(b->dataStart, value->octs, len);
    }
    return len;
}

AsnLen ASN_EncodeBitsContent(ASN_Buffer *b, const AsnBits *value)
{
    AsnOcts octs = {(value->bitLen + 7) / 8, value->bits};
    AsnLen len = ASN_EncodeOctsContent(b, &octs);
    ASN_PutByte(b, static_cast<unsigned char>((8 - value->bitLen % 8) % 8));
    return len + 1;
}

AsnLen ASN_EncodeRealContent(ASN_Buffer *b, AsnReal value)
{
    if (value == 0.0)
        return 0;
    if (std::isinf(value)) {
        ASN_PutByte(b, value > 0 ? 0x40 : 0x41);
        return 1;
    }
    // Binary form, base 2: value = mantissa * 2^exponent with an odd mantissa.
    int exp2 = 0;
    double fraction = std::frexp(std::fabs(value), &exp2);
    uint64_t mantissa = static_cast<uint64_t>(std::ldexp(fraction, 53));
    AsnInt exponent = exp2 - 53;
    while ((mantissa & 1) == 0) {
        mantissa >>= 1;
        exponent++;
    }
    AsnLen len = 0;
    for (; mantissa; mantissa >>= 8, len++)
        ASN_PutByte(b, static_cast<unsigned char>(mantissa & 0xFF));
    int expOctets = IntOctets(exponent);
    len += PutLowOctets(b, static_cast<uint32_t>(exponent), expOctets);
    ASN_PutByte(b, static_cast<unsigned char>(0x80 | (value < 0 ? 0x40 : 0) | (expOctets - 1)));
    return len + 1;
}

AsnLen ASN_EncodeGeneralString(ASN_Buffer *b, const AsnOcts *value)
{
    return ASN_EncodeTL(b, ASN_EncodeOctsContent(b, value), 0x1B000000u);
}

AsnTag ASN_DecodeTag(ASN_Buffer *b, AsnLen *bytesDecoded)
{
    unsigned char octet = GetByteOrAbort(b, ASN_ABORT_TAG_MISSING);
    AsnTag tag = static_cast<AsnTag>(octet) << 24;
    AsnLen n = 1;
    if ((octet & 0x1F) == 0x1F) {
        for (int shift = 16; shift >= 8; shift -= 8) {
            octet = GetByteOrAbort(b, ASN_ABORT_TAG_MISSING);
            tag |= static_cast<AsnTag>(octet) << shift;
            n++;
            if (!(octet & 0x80))
                break;
        }
    }
    *bytesDecoded += n;
    return tag;
}

AsnLen ASN_DecodeLength(ASN_Buffer *b, AsnLen *bytesDecoded)
{
    unsigned char octet = GetByteOrAbort(b, ASN_ABORT_LENGTH_MISSING);
    (*bytesDecoded)++;
    if (octet < 0x80)
        return octet;
    if (octet == 0x80)
        return ASN_INDEFINITE_LEN;
    int n = octet & 0x7F;
    if (n > 4)
        ASN_Abort(ASN_ABORT_LENGTH_TOO_LONG);
    AsnLen len = 0;
    for (int i = 0; i < n; i++)
        len = (len << 8) | GetByteOrAbort(b, ASN_ABORT_LENGTH_OCTETS);
    *bytesDecoded += static_cast<AsnLen>(n);
    return len;
}

void ASN_DecodeEoc(ASN_Buffer *b, AsnLen *bytesDecoded)
{
    unsigned char first = GetByte(b);
    unsigned char second = GetByte(b);
    if (b->readError || first != 0 || second != 0)
        ASN_Abort(ASN_ABORT_EOC);
    *bytesDecoded += 2;
}

void ASN_DecodeIntContent(ASN_Buffer *b, AsnTag, AsnLen len, AsnInt *result, AsnLen *bytesDecoded)
{
    if (len > 4)
        ASN_Abort(ASN_ABORT_INT_LENGTH);
    uint32_t v = 0;
    for (AsnLen i = 0; i < len; i++) {
        unsigned char octet = GetByteOrAbort(b, ASN_ABORT_INT_MISSING);
        v = i == 0 ? static_cast<uint32_t>(static_cast<int32_t>(static_cast<signed char>(octet)))
                   : (v << 8) | octet;
    }
    *result = static_cast<AsnInt>(v);
    *bytesDecoded += len;
}

void ASN_DecodeBoolContent(ASN_Buffer *b, AsnTag, AsnLen len, AsnBool *result, AsnLen *bytesDecoded)
{
    if (len != 1)
        ASN_Abort(ASN_ABORT_BOOL_LENGTH);
    *result = GetByteOrAbort(b, ASN_ABORT_BOOL_MISSING) != 0;
    *bytesDecoded += 1;
}

void ASN_DecodeNullContent(ASN_Buffer *, AsnTag, AsnLen len, AsnNull *result, AsnLen *)
{
    if (len != 0)
        ASN_Abort(ASN_ABORT_NULL_LENGTH);
    *result = 0;
}

void ASN_DecodeOctsContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnOcts *result, AsnLen *bytesDecoded)
{
    if (tag & ASN_CONSTRUCTED_BIT) {
        DecodeConstructedOcts(b, len, result, bytesDecoded);
        return;
    }
    if (len == ASN_INDEFINITE_LEN)
        ASN_Abort(ASN_ABORT_STRING);
    CopyOut(b, len, result, ASN_ABORT_STRING);
    *bytesDecoded += len;
}

void ASN_DecodeOidContent(ASN_Buffer *b, AsnTag, AsnLen len, AsnOid *result, AsnLen *bytesDecoded)
{
    if (len == ASN_INDEFINITE_LEN)
        ASN_Abort(ASN_ABORT_OID);
    CopyOut(b, len, result, ASN_ABORT_OID);
    *bytesDecoded += len;
}

void ASN_DecodeBitsContent(ASN_Buffer *b, AsnTag tag, AsnLen len, AsnBits *result, AsnLen *bytesDecoded)
{
    // The leading octet counts the unused bits of the last octet.
    if (tag & ASN_CONSTRUCTED_BIT || len == 0 || len == ASN_INDEFINITE_LEN)
        ASN_Abort(ASN_ABORT_STRING);
    unsigned char unused = GetByteOrAbort(b, ASN_ABORT_STRING) & 7;
    AsnOcts octs = {0, nullptr};
    CopyOut(b, len - 1, &octs, ASN_ABORT_STRING);
    result->bits = octs.octs;
    result->bitLen = octs.octetLen * 8 >= unused ? octs.octetLen * 8 - unused : 0;
    *bytesDecoded += len;
}

void ASN_DecodeRealContent(ASN_Buffer *b, AsnTag, AsnLen len, AsnReal *result, AsnLen *bytesDecoded)
{
    if (len == 0) {
        *result = 0.0;
        return;
    }
    if (len == ASN_INDEFINITE_LEN)
        ASN_Abort(ASN_ABORT_REAL);
    unsigned char first = GetByteOrAbort(b, ASN_ABORT_REAL);
    if (Remaining(b) < len - 1)
        ASN_Abort(ASN_ABORT_REAL);
    AsnLen used = 1;
    if (first == 0x40 || first == 0x41) {
        *result = first == 0x40 ? HUGE_VAL : -HUGE_VAL;
    } else {
        if (!(first & 0x80))
            ASN_Abort(ASN_ABORT_REAL_FORM);
        int baseBits = first & 0x30;
        if (baseBits == 0x30)
            ASN_Abort(ASN_ABORT_REAL_BASE);
        int log2Base = baseBits == 0x00 ? 1 : baseBits == 0x10 ? 3 : 4;
        AsnLen expLen = (first & 3) + 1;
        if ((first & 3) == 3) {
            expLen = GetByteOrAbort(b, ASN_ABORT_REAL);
            used++;
        }
        if (expLen > 4 || used + expLen > len)
            ASN_Abort(ASN_ABORT_REAL);
        AsnInt exponent = 0;
        ASN_DecodeIntContent(b, 0, expLen, &exponent, &used);
        double mantissa = 0.0;
        for (; used < len; used++)
            mantissa = mantissa * 256.0 + GetByteOrAbort(b, ASN_ABORT_REAL);
        int scale = (first >> 2) & 3;
        double value = std::ldexp(mantissa, scale + log2Base * exponent);
        *result = first & 0x40 ? -value : value;
    }
    *bytesDecoded += len;
}

int ASN_NextElement(ASN_Buffer *b, AsnLen len, AsnLen *decoded, AsnTag *tag, AsnLen *elmtLen)
{
    if (len == ASN_INDEFINITE_LEN) {
        if (Remaining(b) >= 2 && b->readLoc[0] == 0 && b->readLoc[1] == 0)
            return 0;
    } else if (*decoded >= len) {
        return 0;
    }
    *tag = ASN_DecodeTag(b, decoded);
    *elmtLen = ASN_DecodeLength(b, decoded);
    return 1;
}

void ASN_EndContents(ASN_Buffer *b, AsnLen len, AsnLen *decoded)
{
    if (len == ASN_INDEFINITE_LEN)
        ASN_DecodeEoc(b, decoded);
}

void *ASN_DecAlloc(size_t size)
{
    void *p = MemAlloc(size);
    if (!p)
        ASN_Abort(ASN_ABORT_NO_MEMORY);
    return p;
}

AsnLen ASN_OidEncodedLength(const AsnOidArc *arcs)
{
    AsnLen len = 0;
    ForEachSubidentifier(arcs, [&](uint32_t sub) { len += static_cast<AsnLen>(SubidentifierOctets(sub)); });
    return len;
}

void ASN_BuildEncodedOid(const AsnOidArc *arcs, AsnOid *result)
{
    // result->octs holds ASN_OidEncodedLength(arcs) octets.
    unsigned char *p = result->octs;
    ForEachSubidentifier(arcs, [&](uint32_t sub) {
        for (int g = SubidentifierOctets(sub) - 1; g >= 0; g--)
            *p++ = static_cast<unsigned char>(((sub >> (7 * g)) & 0x7F) | (g ? 0x80 : 0));
    });
    result->octetLen = static_cast<uint32_t>(p - result->octs);
}

void ASN_SetBit(AsnBits *bits, uint32_t i)
{
    if (i < bits->bitLen)
        bits->bits[i / 8] |= static_cast<unsigned char>(0x80 >> (i % 8));
}

void ASN_ClearBit(AsnBits *bits, uint32_t i)
{
    if (i < bits->bitLen)
        bits->bits[i / 8] &= static_cast<unsigned char>(~(0x80 >> (i % 8)));
}

int ASN_GetBit(const AsnBits *bits, uint32_t i)
{
    return i < bits->bitLen && (bits->bits[i / 8] & (0x80 >> (i % 8))) != 0;
}

AsnList *ASN_ListNew(uint32_t dataSize)
{
    AsnList *list = static_cast<AsnList *>(MemAlloc(sizeof(AsnList)));
    if (list)
        list->dataSize = dataSize;
    return list;
}

void *ASN_ListAppend(AsnList *list)
{
    auto *node = static_cast<AsnListNode *>(MemAlloc(offsetof(AsnListNode, data) + list->dataSize));
    if (!node)
        return nullptr;
    node->prev = list->last;
    if (list->last)
        list->last->next = node;
    else
        list->first = node;
    list->last = list->curr = node;
    list->count++;
    return &node->data;
}

void ASN_FreeOcts(AsnOcts *value)
{
    MemFree(value->octs);
    value->octs = nullptr;
}

void ASN_FreeBits(AsnBits *value)
{
    MemFree(value->bits);
    value->bits = nullptr;
}

void ASN_PrintIndent(FILE *f, unsigned short indent)
{
    fprintf(f, "%*s", indent, "");
}

void ASN_PrintInt(FILE *f, AsnInt value)
{
    fprintf(f, "%d", static_cast<int>(value));
}

void ASN_PrintBool(FILE *f, AsnBool value)
{
    fputs(value ? "TRUE" : "FALSE", f);
}

void ASN_PrintNull(FILE *f)
{
    fputs("NULL", f);
}

void ASN_PrintReal(FILE *f, AsnReal value)
{
    fprintf(f, "%.17E", value);
}

static void PrintHex(FILE *f, const unsigned char *octs, uint32_t len)
{
    static const char digits[] = "0123456789abcdef";
    fputc('\'', f);
    for (uint32_t i = 0; i < len; i++) {
        fputc(digits[octs[i] >> 4], f);
        fputc(digits[octs[i] & 0xF], f);
    }
    fputs("'H", f);
}

void ASN_PrintOcts(FILE *f, const AsnOcts *value)
{
    PrintHex(f, value->octs, value->octetLen);
    fputs("  -- \"", f);
    for (uint32_t i = 0; i < value->octetLen; i++) {
        unsigned char c = value->octs[i];
        fputc(c >= 0x20 && c < 0x7F ? c : '.', f);
    }
    fputs("\" --", f);
}

void ASN_PrintBits(FILE *f, const AsnBits *value)
{
    PrintHex(f, value->bits, (value->bitLen + 7) / 8);
}

void ASN_PrintOid(FILE *f, const AsnOid *value)
{
    fputc('{', f);
    uint32_t sub = 0;
    bool first = true;
    for (uint32_t i = 0; i < value->octetLen; i++) {
        sub = (sub << 7) | (value->octs[i] & 0x7F);
        if (value->octs[i] & 0x80)
            continue;
        if (first) {
            uint32_t x = sub / 40 < 2 ? sub / 40 : 2;
            fprintf(f, "%u %u", x, sub - 40 * x);
            first = false;
        } else {
            fprintf(f, " %u", sub);
        }
        sub = 0;
    }
    fputc('}', f);
}

void ASN_PrintComponent(FILE *f, int *first, unsigned short indent, const char *name)
{
    if (!*first)
        fputs(",\n", f);
    *first = 0;
    ASN_PrintIndent(f, static_cast<unsigned short>(indent + 4));
    if (name)
        fprintf(f, "%s ", name);
}

void ASN_PrintEnd(FILE *f, int first, unsigned short indent)
{
    if (!first)
        fputc('\n', f);
    ASN_PrintIndent(f, indent);
    fputc('}', f);
}

} // extern "C"
