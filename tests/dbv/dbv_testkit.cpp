#include "tests/dbv/dbv_testkit.h"

#include <dirent.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <iterator>

#include "asn/asn_pdu.h"
#include "dbv/dbv_tree.h"
#include "dbv_convert.h"
#include "tests/asn/builders.h"

DbvOctetString *Octets(const std::string &bytes)
{
    DbvOctetString *o = New<DbvOctetString>();
    o->ulLength = static_cast<uint32_t>(bytes.size());
    o->pbData = static_cast<unsigned char *>(MemAlloc(bytes.size() + 1));
    std::memcpy(o->pbData, bytes.data(), bytes.size());
    return o;
}

DbvOctetString InlineOctets(const std::string &bytes)
{
    DbvOctetString *o = Octets(bytes);
    DbvOctetString value = *o;
    MemFree(o);
    return value;
}

char *Text(const char *text)
{
    char *copy = static_cast<char *>(MemAlloc(std::strlen(text) + 1));
    std::strcpy(copy, text);
    return copy;
}

namespace {

// Frees the value of field f of the structure at base and leaves it absent.
void FreeField(const DbvFieldDesc *f, void *base)
{
    void *slot = static_cast<char *>(base) + f->ulDbvOffset;
    DbvFreeSlot(&f->sValue, f->ulFlags, slot);
    bool pointer = DbvIsPointerKind(f->sValue.eKind) || (f->ulFlags & DBV_F_DBV_PTR);
    std::memset(slot, 0, pointer ? sizeof(void *) : DbvValueSize(&f->sValue));
}

} // namespace

void ClearField(const DbvTypeDesc *type, void *structure, const char *name)
{
    for (uint32_t i = 0; i < type->ulFieldCount; i++) {
        if (type->psFields[i].pcName && std::strcmp(type->psFields[i].pcName, name) == 0)
            return FreeField(&type->psFields[i], structure);
    }
}

void Reselect(const DbvTypeDesc *choice, void *value, int selector)
{
    // A structure with an embedded choice: its selector and union stand in
    // the structure, and so do the offsets of the choice's descriptor.
    for (uint32_t i = 0; !choice->fChoice && i < choice->ulFieldCount; i++) {
        if (!choice->psFields[i].pcName)
            choice = choice->psFields[i].sValue.psType;
    }
    int *current = reinterpret_cast<int *>(static_cast<char *>(value) + choice->ulSelectorOffset);
    const DbvFieldDesc *alt = DbvChoiceAlternative(choice, *current);
    if (alt && alt->sValue.eKind != DBV_K_NULL)
        FreeField(alt, value);
    *current = selector;
}

DbvExternal *OctetAlignedExternal(const char *oid, const std::string &bytes)
{
    DbvExternal *e = New<DbvExternal>();
    e->ObjectIdentifier = Text(oid);
    e->eValueType = EVT_OctetAligned;
    e->uExternalValue.psOctetAligned = Octets(bytes);
    return e;
}

void SetText(char *&field, const char *text)
{
    MemFree(field);
    field = text ? Text(text) : nullptr;
}

namespace {

const int kLeafDepth = 4;

unsigned char *At(void *base, uint32_t offset)
{
    return static_cast<unsigned char *>(base) + offset;
}

void FillSlot(const DbvValueDesc *v, uint32_t flags, void *slot, unsigned &seed, int depth);

// An alternative of a choice: by seed, or further down one that carries no
// structure of its own, so that recursive types end.
const DbvFieldDesc *PickAlternative(const DbvTypeDesc *type, unsigned seed, int depth)
{
    if (depth < kLeafDepth)
        return &type->psFields[seed % type->ulFieldCount];
    for (uint32_t i = 0; i < type->ulFieldCount; i++) {
        int kind = type->psFields[i].sValue.eKind;
        if (kind != DBV_K_STRUCT && kind != DBV_K_LIST && kind != DBV_K_EXTERNAL)
            return &type->psFields[i];
    }
    return &type->psFields[0];
}

void FillFields(const DbvTypeDesc *type, void *value, unsigned &seed, int depth)
{
    if (!type->fChoice) {
        for (uint32_t i = 0; i < type->ulFieldCount; i++) {
            const DbvFieldDesc *f = &type->psFields[i];
            FillSlot(&f->sValue, f->ulFlags, At(value, f->ulDbvOffset), seed, depth + 1);
        }
        return;
    }
    const DbvFieldDesc *alt = PickAlternative(type, seed++, depth);
    *reinterpret_cast<int *>(At(value, type->ulSelectorOffset)) = alt->lSelector;
    if (alt->sValue.eKind != DBV_K_NULL)
        FillSlot(&alt->sValue, alt->ulFlags, At(value, alt->ulDbvOffset), seed, depth + 1);
}

// A member of the enumeration that is not its _Invalid one.
int EnumValue(const DbvEnumDesc *e, unsigned seed)
{
    const DbvEnumMember *m = &e->psMembers[seed % e->ulCount];
    return m->lValue == -1 ? e->psMembers[0].lValue : m->lValue;
}

void FillExternal(DbvExternal *e, unsigned &seed, int depth)
{
    e->pulIndirectReference = New<uint32_t>();
    *e->pulIndirectReference = seed % 7;
    e->pcDataValueDescriptor = Text("described");
    switch (depth < kLeafDepth ? seed++ % 4 : 0) {
    case 0:
        e->ObjectIdentifier = Text("1.2.840.10003.5.10");
        e->eValueType = EVT_OctetAligned;
        e->uExternalValue.psOctetAligned = Octets("00042nam  2200037   4500");
        break;
    case 1:
        e->ObjectIdentifier = Text("1.2.840.10003.5.109.1");
        e->eValueType = EVT_Arbitrary;
        e->uExternalValue.psArbitrary = Text("1011001");
        break;
    case 2: // a value whose identifier the codec does not decode: kept as BER
        e->ObjectIdentifier = Text("1.2.840.10003.5.1000.1");
        e->eValueType = EVT_SingleASN1Type;
        e->uExternalValue.psSingleASN1Type = New<DbvSingleASN1Type>();
        e->uExternalValue.psSingleASN1Type->uASN1.psRawEncoding = Octets(std::string("\x30\x03\x02\x01\x07", 5));
        break;
    default: {
        const DbvTypeDesc *single = &DbvDesc_SingleASN1Type;
        // The typed alternatives follow the raw one. ILL PDUs carry ANY
        // values that decode only under the keys that the codec knows,
        // which the filler does not choose.
        int type = single->psFields[1 + seed++ % (single->ulFieldCount - 1)].lSelector;
        FillTypedExternal(e, type == AT_IllPdu ? AT_SummaryRecord : type, seed);
        break;
    }
    }
}

void FillValue(const DbvValueDesc *v, void *value, unsigned &seed, int depth)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        *static_cast<uint32_t *>(value) = 1000 + seed++ % 1000;
        break;
    case DBV_K_ENUM:
        *static_cast<int *>(value) = EnumValue(v->psEnum, seed++);
        break;
    case DBV_K_BOOL:
        *static_cast<int *>(value) = seed++ % 2;
        break;
    case DBV_K_NULL:
        *static_cast<int *>(value) = DBV_TRUE;
        break;
    case DBV_K_OCTS:
    case DBV_K_ANY: // octets that are a BER element themselves, as the open (ANY) values must be
        *static_cast<DbvOctetString *>(value) =
            InlineOctets(std::string("\x04\x03", 2) + static_cast<char>('a' + seed++ % 26) + "xy");
        break;
    case DBV_K_TEXT:
        *static_cast<char **>(value) = Text(("text" + std::to_string(seed++ % 100)).c_str());
        break;
    case DBV_K_OID:
        *static_cast<char **>(value) = Text(("1.2.840.10003.3." + std::to_string(seed++ % 300)).c_str());
        break;
    case DBV_K_BITS:
        *static_cast<char **>(value) = Text(seed++ % 2 ? "10110" : "111");
        break;
    case DBV_K_LIST: {
        int n = depth < kLeafDepth ? 2 : 0;
        void **list = static_cast<void **>(MemAlloc((n + 1) * sizeof(void *)));
        *static_cast<void ***>(value) = list;
        for (int i = 0; i < n; i++)
            FillSlot(v->psElement, DbvElementFlags(v->psElement), &list[i], seed, depth + 1);
        break;
    }
    case DBV_K_EXTERNAL:
        FillExternal(static_cast<DbvExternal *>(value), seed, depth);
        break;
    case DBV_K_STRUCT:
        FillFields(v->psType, value, seed, depth);
        break;
    default:
        break;
    }
}

void FillSlot(const DbvValueDesc *v, uint32_t flags, void *slot, unsigned &seed, int depth)
{
    if (flags & DBV_F_DBV_PTR)
        slot = *static_cast<void **>(slot) = MemAlloc(DbvValueSize(v));
    FillValue(v, slot, seed, depth);
}

DbvOtherInformation *NoteInformation()
{
    DbvOtherInformation *o = New<DbvOtherInformation>();
    o->psInfoCategory = New<DbvInfoCategory>();
    o->psInfoCategory->pcCategoryTypeId = Text("1.2.840.10003.13.1");
    o->eInformationType = IT_CharacterInfo;
    o->uInformation.psCharacterInfo = Octets("note");
    return o;
}

DbvAttributeElement *Attribute(uint32_t type, uint32_t value)
{
    DbvAttributeElement *a = New<DbvAttributeElement>();
    a->ulAttributeType = type;
    a->sAttributeValue.eAttributeValueType = AVT_Numeric;
    a->sAttributeValue.uAttributeValue.ulNumeric = value;
    return a;
}

DbvAttributeElement *ComplexAttribute()
{
    DbvAttributeElement *a = New<DbvAttributeElement>();
    a->pcAttributeSetId = Text("1.2.840.10003.3.1");
    a->ulAttributeType = 1;
    a->sAttributeValue.eAttributeValueType = AVT_Complex;
    DbvComplexValue *c = New<DbvComplexValue>();
    DbvStringOrNumeric *s = New<DbvStringOrNumeric>();
    s->eStringOrNumeric = SON_String;
    s->uStringOrNumeric.psString = Octets("title");
    DbvStringOrNumeric *n = New<DbvStringOrNumeric>();
    n->eStringOrNumeric = SON_Numeric;
    n->uStringOrNumeric.ulNumeric = 4;
    c->ppsList = List<DbvStringOrNumeric>({s, n});
    a->sAttributeValue.uAttributeValue.psComplexValue = c;
    return a;
}

// A query structure: an operand, or an operator node (taking over left and
// right) when there is no operand.
DbvRPNStructure *Structure(DbvOperand *operand, DbvRPNStructure *left = nullptr, DbvRPNStructure *right = nullptr,
                           int type = 0)
{
    DbvRPNStructure *s = New<DbvRPNStructure>();
    s->eRpnStructureType = operand ? RST_RpnOperand : RST_RpnLopRopOperator;
    if (operand) {
        s->uRPNStructure.psRpnOperand = operand;
        return s;
    }
    DbvRpnLopRopOperator *n = s->uRPNStructure.psRpnLopRopOperator = New<DbvRpnLopRopOperator>();
    n->psLeftOperand = left;
    n->psRightOperand = right;
    n->sOperator.eOperatorType = type;
    return s;
}

DbvOperand *TermOperand(const char *term, DbvAttributeElement **attributes)
{
    DbvOperand *o = New<DbvOperand>();
    o->eOperandType = OPD_AttributesPlusTerm;
    DbvAttributesPlusTerm *apt = o->uOperand.psAttributesPlusTerm = New<DbvAttributesPlusTerm>();
    apt->ppsAttributeElement = attributes;
    apt->sTerm.eTermType = TT_General;
    apt->sTerm.uTerm.psGeneral = Octets(term);
    return o;
}

} // namespace

DbvPdu *FilledPdu(int type, unsigned seed)
{
    DbvPdu *pdu = New<DbvPdu>();
    pdu->ePduType = type;
    const DbvFieldDesc *alt = DbvChoiceAlternative(&DbvDesc_Pdu, type);
    void *body = MemAlloc(alt->sValue.psType->ulDbvSize);
    FillFields(alt->sValue.psType, body, seed, 0);
    *reinterpret_cast<void **>(reinterpret_cast<char *>(pdu) + alt->ulDbvOffset) = body;
    return pdu;
}

void FillTypedExternal(DbvExternal *external, int asn1Type, unsigned seed)
{
    for (uint32_t i = 0; i < DbvAsn1OidCount; i++) {
        if (DbvAsn1Oids[i].eASN1Type == asn1Type) {
            external->ObjectIdentifier = Text(DbvAsn1Oids[i].pcOid);
            break;
        }
    }
    external->eValueType = EVT_SingleASN1Type;
    DbvSingleASN1Type *single = New<DbvSingleASN1Type>();
    external->uExternalValue.psSingleASN1Type = single;
    single->eASN1Type = asn1Type;
    const DbvFieldDesc *alt = DbvChoiceAlternative(&DbvDesc_SingleASN1Type, asn1Type);
    FillSlot(&alt->sValue, alt->ulFlags, At(single, alt->ulDbvOffset), seed, 1);
}

namespace {

void EachSlot(const DbvValueDesc *v, uint32_t flags, void *slot, const DbvTypeDesc *wanted,
              const std::function<void(void *)> &visit)
{
    void *value = (flags & DBV_F_DBV_PTR) ? *static_cast<void **>(slot) : slot;
    if (!value)
        return;
    if (v->eKind == DBV_K_STRUCT) {
        EachStructure(v->psType, value, wanted, visit);
    } else if (v->eKind == DBV_K_LIST) {
        void **list = *static_cast<void ***>(value);
        for (uint32_t i = 0; list && list[i]; i++)
            EachSlot(v->psElement, DbvElementFlags(v->psElement), &list[i], wanted, visit);
    }
}

} // namespace

void EachStructure(const DbvTypeDesc *type, void *value, const DbvTypeDesc *wanted,
                   const std::function<void(void *)> &visit)
{
    if (type == wanted)
        visit(value);
    DbvEachMember(type, value, [&](const DbvFieldDesc *f) {
        EachSlot(&f->sValue, f->ulFlags, At(value, f->ulDbvOffset), wanted, visit);
        return true;
    });
}

DbvSQLQuery *SqlQuery(const char *expression, int flag)
{
    DbvSQLQuery *q = New<DbvSQLQuery>();
    q->sQueryExpression = InlineOctets(expression);
    if (flag >= 0) {
        q->pfAbstractDatabaseFlag = New<int>();
        *q->pfAbstractDatabaseFlag = flag;
    }
    return q;
}

DbvPdu *RoundTrip(const DbvPdu *pdu)
{
    PDU *asn = nullptr;
    if (DbvPduToAsn(pdu, &asn) != DBV_CONVERT_OK)
        return nullptr;
    std::vector<unsigned char> octets = Encode(asn);
    PDU *decoded = octets.empty() ? nullptr : Decode(octets);
    if (!decoded)
        return nullptr;
    DbvPdu *back = nullptr;
    DbvPduFromAsn(decoded, &back);
    Release(decoded);
    return back;
}

std::vector<unsigned char> Fixture(const char *name)
{
    std::ifstream in(std::string(KESTRA_FIXTURES) + "/" + name, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> FixtureNames()
{
    std::vector<std::string> names;
    if (DIR *dir = opendir(KESTRA_FIXTURES)) {
        while (dirent *e = readdir(dir)) {
            std::string name = e->d_name;
            if (name.size() > 4 && name.compare(name.size() - 4, 4, ".ber") == 0)
                names.push_back(name);
        }
        closedir(dir);
    }
    std::sort(names.begin(), names.end());
    return names;
}

DbvInitializeReq *ValidInitializeRequest()
{
    DbvInitializeReq *r = New<DbvInitializeReq>();
    r->psReferenceId = Octets("ref-1");
    r->pcProtocolVersion = Text("111");
    r->pcOptions = Text("111000011000000"); // search, present, delSet, scan, sort
    r->ulPreferredMessageSize = 10000;
    r->ulMaxmiumMessageSize = 10000;
    r->psAuthentication = New<DbvIdAuthentication>();
    r->psAuthentication->eAuthenticationType = AUTH_IdPassword;
    DbvIdPassword *id = New<DbvIdPassword>();
    id->psUserId = Octets("user");
    id->psPassword = Octets("secret");
    r->psAuthentication->uAuthentication.psIdPassword = id;
    r->psImplementationId = Octets("Vantor Systems (61)");
    r->psImplementationName = Octets("Kestra Z39.50 Client");
    r->psImplementationVersion = Octets("1.1");
    r->psUserInformationField = OctetAlignedExternal("1.2.840.10003.10.1000.17.1", "hello");
    r->ppsOtherInformation = List<DbvOtherInformation>({NoteInformation()});
    return r;
}

DbvSearchReq *ValidSearchRequest()
{
    DbvSearchReq *r = New<DbvSearchReq>();
    r->ulSmallSetUpperBound = 0;
    r->ulLargeSetLowerBound = 1;
    r->ulMediumSetPresentNumber = 0;
    r->fReplaceIndicator = DBV_TRUE;
    r->sResultSetName = InlineOctets("default");
    r->ppsDatabaseNames = List<DbvOctetString>({Octets("Default")});
    r->psSmallSetElementNames = New<DbvElementSetNames>();
    r->psSmallSetElementNames->eElementSetType = EST_Generic;
    r->psSmallSetElementNames->uElementSet.psGeneric = Octets("F");
    r->pcPreferredRecordSyntax = Text("1.2.840.10003.5.10");
    // "computer" AND ("knuth" PROX result set "old")
    DbvOperand *old = New<DbvOperand>();
    old->eOperandType = OPD_ResultSetId;
    old->uOperand.psResultSetId = Octets("old");
    DbvRPNStructure *right =
        Structure(nullptr, Structure(TermOperand("knuth", List<DbvAttributeElement>({Attribute(1, 1003)}))),
                  Structure(old), OPR_Prox);
    DbvProximityOperator *p = right->uRPNStructure.psRpnLopRopOperator->sOperator.psProximityOperator =
        New<DbvProximityOperator>();
    p->pfExclusion = New<int>();
    p->ulDistance = 3;
    p->fOrdered = DBV_TRUE;
    p->eProximityRelationType = PRT_LessThanOrEqual;
    p->sProximityUnitCode.eProximityUnitType = PUT_Known;
    p->sProximityUnitCode.uProximityUnit.eKnownProximityUnit = KPU_Word;
    DbvRPNStructure *top = Structure(
        nullptr, Structure(TermOperand("computer", List<DbvAttributeElement>({Attribute(1, 4), ComplexAttribute()}))),
        right, OPR_And);
    DbvRPNQuery *rpn = New<DbvRPNQuery>();
    rpn->pcAttributeSetId = Text("1.2.840.10003.3.1");
    rpn->sRpnStructure = *top;
    MemFree(top);
    r->psQuery = New<DbvQuery>();
    r->psQuery->eQueryType = QT_Rpn;
    r->psQuery->uQuery.psRpnQuery = rpn;
    r->ppsOtherInformation = List<DbvOtherInformation>({NoteInformation()});
    return r;
}

DbvPresentReq *ValidPresentRequest()
{
    DbvPresentReq *r = New<DbvPresentReq>();
    r->sResultSetId = InlineOctets("default");
    r->ulResultSetStartPoint = 1;
    r->ulNumberOfRecordsRequested = 10;
    DbvCompSpec *c = New<DbvCompSpec>();
    c->fSelectAlternativeSyntax = DBV_FALSE;
    c->psGeneric = New<DbvSpecification>();
    c->psGeneric->pcSchema = Text("1.2.840.10003.13.1");
    c->psGeneric->psElementSpec = New<DbvElementSpec>();
    c->psGeneric->psElementSpec->eElementSpecType = EST_Primitive;
    c->psGeneric->psElementSpec->uElementSpec.psPrimitive = Octets("F");
    DbvDbSpecific *d = New<DbvDbSpecific>();
    d->sDatabaseName = InlineOctets("Default");
    d->sSpecification.pcSchema = Text("1.2.840.10003.13.2");
    c->ppsDbSpecific = List<DbvDbSpecific>({d});
    c->ppcRecordSyntax = List<char>({Text("1.2.840.10003.5.10"), Text("1.2.840.10003.5.101")});
    r->psRecordComposition = New<DbvRecordComposition>();
    r->psRecordComposition->eRecordCompositionType = RCT_CompSpec;
    r->psRecordComposition->uRecordComposition.psCompSpec = c;
    r->pcPreferredRecordSyntax = Text("1.2.840.10003.5.10");
    return r;
}

DbvScanReq *ValidScanRequest()
{
    DbvScanReq *r = New<DbvScanReq>();
    r->ppsDatabaseNames = List<DbvOctetString>({Octets("Default")});
    r->pcAttributeSetId = Text("1.2.840.10003.3.1");
    r->sAttributesPlusTerm.ppsAttributeElement = List<DbvAttributeElement>({Attribute(1, 4)});
    r->sAttributesPlusTerm.sTerm.eTermType = TT_General;
    r->sAttributesPlusTerm.sTerm.uTerm.psGeneral = Octets("a");
    r->ulNumberOfTermsRequested = 20;
    return r;
}
