#include "tests/dbv/dbv_testkit.h"

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>

#include "asn/asn_pdu.h"
#include "dbv/dbv_print.h"
#include "dbv/dbv_tree.h"
#include "dbv_convert.h"
#include "tests/asn/sample_values.h"

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
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
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

PDU *SamplePdu(uint32_t seed)
{
    return static_cast<PDU *>(SampleValue(FindSampleType("Z39-50-APDU-1995", "PDU"), seed));
}

DbvPdu *SampledPdu(uint32_t seed)
{
    PDU *pdu = SamplePdu(seed);
    DbvPdu *converted = nullptr;
    DbvPduFromAsn(pdu, &converted);
    Release(pdu);
    return converted;
}

DbvPdu *RoundTrip(const DbvPdu *pdu)
{
    PDU *asn = nullptr;
    if (DbvPduToAsn(pdu, &asn) != DBV_CONVERT_OK)
        return nullptr;
    PDU *decoded = Decode(Encode(asn));
    if (!decoded)
        return nullptr;
    DbvPdu *back = nullptr;
    DbvPduFromAsn(decoded, &back);
    Release(decoded);
    return back;
}

std::string Printed(const DbvTypeDesc *type, const void *value)
{
    std::FILE *f = std::tmpfile();
    DbvPrintFields(f, type, value);
    std::string text(static_cast<size_t>(std::ftell(f)), '\0');
    std::rewind(f);
    text.resize(std::fread(&text[0], 1, text.size(), f));
    std::fclose(f);
    return text;
}

std::vector<unsigned char> Fixture(const char *name)
{
    std::ifstream in(std::string(KESTRA_FIXTURES) + "/" + name, std::ios::binary);
    return std::vector<unsigned char>(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

std::vector<std::string> FixtureNames()
{
    std::vector<std::string> names;
    for (const auto &entry : std::filesystem::directory_iterator(KESTRA_FIXTURES))
        if (entry.path().extension() == ".ber")
            names.push_back(entry.path().filename().string());
    std::sort(names.begin(), names.end());
    return names;
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

DbvOtherInformation *NoteInformation()
{
    DbvOtherInformation *o = New<DbvOtherInformation>();
    o->psInfoCategory = New<DbvInfoCategory>();
    o->psInfoCategory->pcCategoryTypeId = Text("1.2.840.10003.13.1");
    o->eInformationType = IT_CharacterInfo;
    o->uInformation.psCharacterInfo = Octets("note");
    return o;
}

DbvElementSetNames *GenericNames()
{
    DbvElementSetNames *names = New<DbvElementSetNames>();
    names->eElementSetType = EST_Generic;
    names->uElementSet.psGeneric = Octets("F");
    return names;
}

DbvAttributeElement *Attribute(uint32_t type, uint32_t value)
{
    DbvAttributeElement *a = New<DbvAttributeElement>();
    a->ulAttributeType = type;
    a->sAttributeValue.eAttributeValueType = AVT_Numeric;
    a->sAttributeValue.uAttributeValue.ulNumeric = value;
    return a;
}

// Attribute 1 of Bib-1 as a complex value: the string "title", the number 4.
DbvAttributeElement *ComplexAttribute()
{
    DbvAttributeElement *a = New<DbvAttributeElement>();
    a->pcAttributeSetId = Text("1.2.840.10003.3.1");
    a->ulAttributeType = 1;
    a->sAttributeValue.eAttributeValueType = AVT_Complex;
    DbvStringOrNumeric *s = New<DbvStringOrNumeric>(), *n = New<DbvStringOrNumeric>();
    s->uStringOrNumeric.psString = Octets("title");
    s->eStringOrNumeric = SON_String;
    n->uStringOrNumeric.ulNumeric = 4;
    n->eStringOrNumeric = SON_Numeric;
    (a->sAttributeValue.uAttributeValue.psComplexValue = New<DbvComplexValue>())->ppsList = List<DbvStringOrNumeric>({s, n});
    return a;
}

void SetTerm(DbvAttributesPlusTerm *apt, const char *term, DbvAttributeElement **attributes)
{
    apt->ppsAttributeElement = attributes;
    apt->sTerm.eTermType = TT_General;
    apt->sTerm.uTerm.psGeneral = Octets(term);
}

// A query structure: an operand, or an operator node over left and right.
DbvRPNStructure *Structure(DbvOperand *operand, DbvRPNStructure *left = nullptr, DbvRPNStructure *right = nullptr,
                           int type = 0)
{
    DbvRPNStructure *s = New<DbvRPNStructure>();
    s->eRpnStructureType = operand ? RST_RpnOperand : RST_RpnLopRopOperator;
    if ((s->uRPNStructure.psRpnOperand = operand))
        return s;
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
    SetTerm(o->uOperand.psAttributesPlusTerm = New<DbvAttributesPlusTerm>(), term, attributes);
    return o;
}

// An RPN query of the Bib-1 attribute set around a structure (taken over).
DbvQuery *RpnQuery(DbvRPNStructure *top)
{
    DbvQuery *q = New<DbvQuery>();
    q->eQueryType = QT_Rpn;
    q->uQuery.psRpnQuery = New<DbvRPNQuery>();
    q->uQuery.psRpnQuery->pcAttributeSetId = Text("1.2.840.10003.3.1");
    q->uQuery.psRpnQuery->sRpnStructure = *top;
    MemFree(top);
    return q;
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

void SetText(char *&field, const char *text)
{
    MemFree(field);
    field = text ? Text(text) : nullptr;
}

DbvExternal *OctetAlignedExternal(const char *oid, const std::string &bytes)
{
    DbvExternal *e = New<DbvExternal>();
    e->ObjectIdentifier = Text(oid);
    e->eValueType = EVT_OctetAligned;
    e->uExternalValue.psOctetAligned = Octets(bytes);
    return e;
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

DbvInitializeReq *MakeInitializeReq(uint32_t messageSize)
{
    DbvInitializeReq *r = New<DbvInitializeReq>();
    r->pcProtocolVersion = Text("111");
    r->pcOptions = Text("111000010000000"); // search, present, delSet, scan
    r->ulPreferredMessageSize = messageSize;
    r->ulMaxmiumMessageSize = messageSize;
    r->psImplementationId = Octets("Vantor Systems (61)");
    r->psImplementationName = Octets("Kestra Z39.50 Client");
    r->psImplementationVersion = Octets("1.1");
    return r;
}

DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use)
{
    DbvSearchReq *r = New<DbvSearchReq>();
    r->ulLargeSetLowerBound = 1;
    r->fReplaceIndicator = DBV_TRUE;
    r->sResultSetName = InlineOctets("default");
    r->ppsDatabaseNames = List<DbvOctetString>({Octets(database)});
    r->psQuery = RpnQuery(Structure(TermOperand(term, List<DbvAttributeElement>({Attribute(1, use)}))));
    return r;
}

DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax)
{
    DbvPresentReq *r = New<DbvPresentReq>();
    r->sResultSetId = InlineOctets("default");
    r->ulResultSetStartPoint = start;
    r->ulNumberOfRecordsRequested = count;
    r->psRecordComposition = New<DbvRecordComposition>();
    r->psRecordComposition->eRecordCompositionType = RCT_ElementSetNames;
    r->psRecordComposition->uRecordComposition.psElementSetNames = GenericNames();
    r->pcPreferredRecordSyntax = Text(syntax);
    return r;
}

DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count)
{
    DbvScanReq *r = New<DbvScanReq>();
    r->ppsDatabaseNames = List<DbvOctetString>({Octets(database)});
    r->pcAttributeSetId = Text("1.2.840.10003.3.1");
    SetTerm(&r->sAttributesPlusTerm, term, List<DbvAttributeElement>({Attribute(1, 4)}));
    r->pulStepSize = New<uint32_t>();
    r->ulNumberOfTermsRequested = count;
    r->pulPreferredPositionInResponse = New<uint32_t>();
    *r->pulPreferredPositionInResponse = 1;
    return r;
}

PDU *SearchPdu(DbvSearchReq *request)
{
    DbvPdu pdu = {};
    pdu.ePduType = DPT_SearchRequest;
    pdu.uPdu.psSearchRequest = request;
    PDU *asn = nullptr;
    DbvPduToAsn(&pdu, &asn);
    DbvFreeSearchReq(request);
    return asn;
}

DbvInitializeReq *ValidInitializeRequest()
{
    DbvInitializeReq *r = MakeInitializeReq(10000);
    r->psReferenceId = Octets("ref-1");
    SetText(r->pcOptions, "111000011000000"); // search, present, delSet, scan, sort
    r->psAuthentication = New<DbvIdAuthentication>();
    r->psAuthentication->eAuthenticationType = AUTH_IdPassword;
    DbvIdPassword *id = r->psAuthentication->uAuthentication.psIdPassword = New<DbvIdPassword>();
    id->psUserId = Octets("user");
    id->psPassword = Octets("secret");
    r->psUserInformationField = OctetAlignedExternal("1.2.840.10003.10.1000.17.1", "hello");
    r->ppsOtherInformation = List<DbvOtherInformation>({NoteInformation()});
    return r;
}

DbvSearchReq *ValidSearchRequest()
{
    DbvSearchReq *r = MakeSearchReq("Default", "computer", 4);
    r->psSmallSetElementNames = GenericNames();
    r->pcPreferredRecordSyntax = Text("1.2.840.10003.5.10");
    r->ppsOtherInformation = List<DbvOtherInformation>({NoteInformation()});
    // "computer" (two attributes) AND NOT result set "old"
    DbvOperand *old = New<DbvOperand>();
    old->eOperandType = OPD_ResultSetId;
    old->uOperand.psResultSetId = Octets("old");
    DbvAttributeElement **title = List<DbvAttributeElement>({Attribute(1, 4), ComplexAttribute()});
    DbvFreeQuery(r->psQuery);
    r->psQuery = RpnQuery(Structure(nullptr, Structure(TermOperand("computer", title)), Structure(old), OPR_AndNot));
    return r;
}

DbvPresentReq *ValidPresentRequest()
{
    DbvPresentReq *r = MakePresentReq(1, 10, "1.2.840.10003.5.10");
    DbvCompSpec *c = New<DbvCompSpec>();
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
    Reselect(&DbvDesc_RecordComposition, r->psRecordComposition, RCT_CompSpec);
    r->psRecordComposition->uRecordComposition.psCompSpec = c;
    return r;
}

namespace {

using Bytes = std::vector<unsigned char>;

// One level of a nested value: its identifier, and the contents before and
// after the level inside it.
struct Level {
    Bytes identifier, before, after;
};

void Append(Bytes &to, const Bytes &octets)
{
    to.insert(to.end(), octets.begin(), octets.end());
}

Bytes DefiniteLength(size_t length)
{
    if (length < 0x80)
        return {static_cast<unsigned char>(length)};
    Bytes octets;
    for (size_t rest = length; rest; rest >>= 8)
        octets.insert(octets.begin(), static_cast<unsigned char>(rest));
    octets.insert(octets.begin(), static_cast<unsigned char>(0x80 | octets.size()));
    return octets;
}

// The levels, outermost first, around the innermost octets, built without
// recursion: the lengths inside out, then the octets front to back.
Bytes Nested(const std::vector<Level> &levels, const Bytes &innermost, bool indefinite)
{
    std::vector<Bytes> lengths(levels.size());
    size_t inner = innermost.size();
    for (size_t i = levels.size(); i-- > 0;) {
        const Level &l = levels[i];
        size_t contents = l.before.size() + inner + l.after.size();
        lengths[i] = indefinite ? Bytes{0x80} : DefiniteLength(contents);
        inner = l.identifier.size() + lengths[i].size() + contents + (indefinite ? 2 : 0);
    }
    Bytes out;
    out.reserve(inner);
    for (size_t i = 0; i < levels.size(); i++) {
        Append(out, levels[i].identifier);
        Append(out, lengths[i]);
        Append(out, levels[i].before);
    }
    Append(out, innermost);
    for (size_t i = levels.size(); i-- > 0;) {
        Append(out, levels[i].after);
        if (indefinite)
            Append(out, {0, 0});
    }
    return out;
}

} // namespace

std::vector<unsigned char> DeepGrs1Present(int levels, bool indefinite)
{
    const Bytes grs1 = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x13, 0x05, 0x69}; // 1.2.840.10003.5.105
    const Bytes tagValue = {0x81, 0x01, 0x03, 0xA2, 0x03, 0x81, 0x01, 'T'};    // string tag "T" of type 3
    std::vector<Level> nesting = {
        {{0xB9}, {0x98, 0x01, 0x01, 0x99, 0x01, 0x02, 0x9B, 0x01, 0x00}, {}}, // presentResponse
        {{0xBC}, {}, {}},                                                   // responseRecords
        {{0x30}, {}, {}},                                                   // NamePlusRecord
        {{0xA1}, {}, {}},                                                   // record
        {{0xA1}, {}, {}},                                                   // retrievalRecord
        {{0x28}, grs1, {}},                                                 // EXTERNAL
        {{0xA0}, {}, {}},                                                   // single-ASN1-type
        {{0x30}, {}, {}},                                                   // GenericRecord
    };
    for (int i = 1; i < levels; i++) {
        // A TaggedElement whose content is a subtree of one element.
        nesting.push_back({{0x30}, tagValue, {}});
        nesting.push_back({{0xA4}, {}, {}});
        nesting.push_back({{0xA6}, {}, {}});
        nesting.push_back({{0x30}, {}, {}});
    }
    nesting.push_back({{0x30}, tagValue, {}}); // the leaf, with a string
    nesting.push_back({{0xA4}, {}, {}});
    return Nested(nesting, {0x1B, 0x04, 'l', 'e', 'a', 'f'}, indefinite);
}

std::vector<unsigned char> DeepStringClose(int levels, bool indefinite)
{
    // closeReason [211] 0, then diagnosticInformation [3] in constructed form.
    std::vector<Level> nesting = {{{0xBF, 0x30}, {0x9F, 0x81, 0x53, 0x01, 0x00}, {}}, {{0xA3}, {}, {}}};
    nesting.resize(static_cast<size_t>(levels) + 1, Level{{0x24}, {}, {}});
    return Nested(nesting, {0x04, 0x01, 'x'}, indefinite);
}

DbvSearchReq *DeepSearchReq(int levels)
{
    DbvSearchReq *r = MakeSearchReq("Default", "deep", 4);
    auto leaf = [] { return Structure(TermOperand("deep", List<DbvAttributeElement>({Attribute(1, 4)}))); };
    DbvRPNStructure *top = leaf();
    for (int i = 0; i < levels; i++)
        top = Structure(nullptr, leaf(), top, OPR_And);
    DbvFreeQuery(r->psQuery);
    r->psQuery = RpnQuery(top);
    return r;
}

int BerDepth(const std::vector<unsigned char> &octets)
{
    const size_t kIndefinite = SIZE_MAX;
    std::vector<size_t> ends; // of the constructed elements open at pos
    size_t deepest = 0;
    size_t pos = 0;
    for (;;) {
        while (!ends.empty() && ends.back() != kIndefinite && pos >= ends.back()) {
            if (pos > ends.back())
                return -1;
            ends.pop_back();
        }
        if (!ends.empty() && ends.back() == kIndefinite && pos + 1 < octets.size() && octets[pos] == 0 &&
            octets[pos + 1] == 0) {
            pos += 2;
            ends.pop_back();
            continue;
        }
        if (pos >= octets.size())
            return ends.empty() ? static_cast<int>(deepest) : -1;
        unsigned char first = octets[pos++];
        if ((first & 0x1F) == 0x1F) {
            while (pos < octets.size() && (octets[pos++] & 0x80)) {
            }
        }
        if (pos >= octets.size())
            return -1;
        size_t length = octets[pos++];
        bool indefinite = length == 0x80;
        if (length > 0x80) {
            size_t n = length & 0x7F;
            for (length = 0; n > 0 && pos < octets.size(); n--)
                length = length << 8 | octets[pos++];
        }
        if (first & 0x20) {
            ends.push_back(indefinite ? kIndefinite : pos + length);
            if (ends.size() > deepest)
                deepest = ends.size();
        } else {
            pos += length;
        }
    }
}

std::vector<unsigned char> MarcPresentResponse(int records)
{
    std::string marc(380, 'm');
    marc.replace(0, 24, "00380nam  2200097   4500");
    marc.back() = '\x1D';
    // Each NamePlusRecord: name "Default", retrievalRecord an EXTERNAL USMARC
    // octet-aligned, definite lengths inside it.
    Bytes external = {0x06, 0x07, 0x2A, 0x86, 0x48, 0xCE, 0x13, 0x05, 0x0A, 0x81};
    Append(external, DefiniteLength(marc.size()));
    external.insert(external.end(), marc.begin(), marc.end());
    Bytes out = {0xB9, 0x80, 0x98, 0x02, 0x03, 0xE8, 0x99, 0x02, 0x03, 0xE9, 0x9B, 0x01, 0x00, 0xBC, 0x80};
    for (int i = 0; i < records; i++) {
        Append(out, {0x30, 0x80, 0x80, 0x07, 'D', 'e', 'f', 'a', 'u', 'l', 't', 0xA1, 0x80, 0xA1, 0x80, 0x28});
        Append(out, DefiniteLength(external.size()));
        Append(out, external);
        Append(out, {0, 0, 0, 0, 0, 0});
    }
    Append(out, {0, 0, 0, 0});
    return out;
}
