#include "tests/asn/builders.h"

#include <cstring>

#include "asn/asn_pdu.h"
#include "asn/asn_registry.h"
#include "ui/mem.h"

namespace {

template <typename T> T *Make()
{
    return static_cast<T *>(MemAlloc(sizeof(T)));
}

AsnOcts *Octs(const char *text)
{
    auto *o = Make<AsnOcts>();
    o->octetLen = static_cast<uint32_t>(std::strlen(text));
    o->octs = static_cast<unsigned char *>(MemAlloc(o->octetLen));
    std::memcpy(o->octs, text, o->octetLen);
    return o;
}

AsnOid *Oid(const char *dotted)
{
    auto *o = Make<AsnOid>();
    ASN_MakeOid(dotted, o);
    return o;
}

AsnBits *Bits(uint32_t count, std::initializer_list<uint32_t> set)
{
    auto *b = Make<AsnBits>();
    b->bitLen = count;
    b->bits = static_cast<unsigned char *>(MemAlloc((count + 7) / 8));
    for (uint32_t i : set)
        ASN_SetBit(b, i);
    return b;
}

AsnList *List(std::initializer_list<void *> elements)
{
    AsnList *list = ASN_ListNew(sizeof(void *));
    for (void *e : elements)
        *static_cast<void **>(ASN_ListAppend(list)) = e;
    return list;
}

template <typename T> PDU *Wrap(uint32_t choice, T *alternative)
{
    auto *pdu = Make<PDU>();
    pdu->choiceId = choice;
    reinterpret_cast<T *&>(pdu->a) = alternative;
    return pdu;
}

AttributesPlusTerm *UseTerm(int use, const char *term)
{
    auto *value = Make<AttributeElementAttributeValue>();
    value->choiceId = AttributeElementAttributeValue_numeric;
    value->a.numeric = Make<AsnInt>();
    *value->a.numeric = use;
    auto *element = Make<AttributeElement>();
    element->attributeType = 1;
    element->attributeValue = value;
    auto *apt = Make<AttributesPlusTerm>();
    apt->attributes = List({element});
    apt->term = Make<Term>();
    apt->term->choiceId = Term_general;
    apt->term->a.general = Octs(term);
    return apt;
}

const char *const kBib1 = "1.2.840.10003.3.1";

} // namespace

PDU *BuildInitRequest()
{
    auto *r = Make<InitializeRequest>();
    r->protocolVersion = Bits(3, {0, 1, 2});
    r->options = Bits(16, {0, 1, 2, 7, 14});
    r->preferredMessageSize = 1024 * 1024;
    r->exceptionalRecordSize = 1024 * 1024;
    r->implementationId = Octs("Vantor Systems (61)");
    r->implementationName = Octs("Kestra Z39.50 Client");
    r->implementationVersion = Octs("1.1");
    return Wrap(PDU_initRequest, r);
}

PDU *BuildSearchRequest(const char *database, const char *term, int useAttribute)
{
    auto *op = Make<Operand>();
    op->choiceId = Operand_attrTerm;
    op->a.attrTerm = UseTerm(useAttribute, term);
    auto *rpn = Make<RPNQuery>();
    rpn->attributeSet = Oid(kBib1);
    rpn->rpn = Make<RPNStructure>();
    rpn->rpn->choiceId = RPNStructure_op;
    rpn->rpn->a.op = op;
    auto *r = Make<SearchRequest>();
    r->smallSetUpperBound = 0;
    r->largeSetLowerBound = 1;
    r->mediumSetPresentNumber = 0;
    r->replaceIndicator = 1;
    r->resultSetName = Octs("default");
    r->databaseNames = List({Octs(database)});
    r->query = Make<Query>();
    r->query->choiceId = Query_type_1;
    r->query->a.type_1 = rpn;
    return Wrap(PDU_searchRequest, r);
}

PDU *BuildPresentRequest(int start, int count, const char *syntaxOid, const char *elementSet)
{
    auto *r = Make<PresentRequest>();
    r->resultSetId = Octs("default");
    r->resultSetStartPoint = start;
    r->numberOfRecordsRequested = count;
    r->preferredRecordSyntax = Oid(syntaxOid);
    if (elementSet) {
        auto *names = Make<ElementSetNames>();
        names->choiceId = ElementSetNames_genericElementSetName;
        names->a.genericElementSetName = Octs(elementSet);
        r->recordComposition = Make<PresentRequestRecordComposition>();
        r->recordComposition->choiceId = PresentRequestRecordComposition_simple;
        r->recordComposition->a.simple = names;
    }
    return Wrap(PDU_presentRequest, r);
}

PDU *BuildScanRequest(const char *database, const char *term, int count)
{
    auto *r = Make<ScanRequest>();
    r->databaseNames = List({Octs(database)});
    r->attributeSet = Oid(kBib1);
    r->termListAndStartPoint = UseTerm(4, term);
    r->stepSize = Make<AsnInt>();
    r->numberOfTermsRequested = count;
    r->preferredPositionInResponse = Make<AsnInt>();
    *r->preferredPositionInResponse = 1;
    return Wrap(PDU_scanRequest, r);
}

PDU *BuildCloseRequest()
{
    auto *r = Make<Close>();
    r->closeReason = 0;
    return Wrap(PDU_close, r);
}

std::vector<unsigned char> Encode(PDU *pdu)
{
    unsigned char *octets = nullptr;
    uint32_t length = 0;
    ASN_PduError error = {};
    if (EncodePdu(0, pdu, &octets, &length, &error))
        return {};
    return std::vector<unsigned char>(octets, octets + length);
}

PDU *Decode(const std::vector<unsigned char> &octets)
{
    auto *pdu = Make<PDU>();
    if (ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu) == 0)
        return pdu;
    Release(pdu);
    return nullptr;
}

void Release(PDU *pdu)
{
    FreePDU(pdu);
    MemFree(pdu);
}

std::string Text(const AsnOcts *octs)
{
    return std::string(reinterpret_cast<const char *>(octs->octs), octs->octetLen);
}
