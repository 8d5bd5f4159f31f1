// The argument checks of the request calls. One walk per request: the path
// grows as the walk descends ("->" after a pointer member, "." after an
// inline one, union members under the union's name, list entries with their
// index) and the first failing check ends the walk with its error.
#include "dbv/dbv_check.h"

#include <cstdio>
#include <cstring>
#include <string>

#include "asn/asn_ber.h"
#include "assoc/errors.h"
#include "dbv/dbv_tree.h"

namespace {

struct Walk {
    DbvAssocId assoc;
    SIError **slot;
    std::string path;
};

// The message: format holds %s for the path, and with a value a second %s
// (for the value after the path, or before it when valueFirst). A path too
// long for the message keeps its last part.
bool Fail(Walk &w, const std::string &path, int32_t code, const char *format, const char *value = nullptr,
          bool valueFirst = false)
{
    size_t fixed = std::strlen(format) - (value ? 4 : 2) + (value ? std::strlen(value) : 0);
    size_t room = fixed < DBV_CHECK_TEXT_SIZE - 1 ? DBV_CHECK_TEXT_SIZE - 1 - fixed : 0;
    const char *shown = path.c_str() + (path.size() > room ? path.size() - room : 0);
    char message[DBV_CHECK_TEXT_SIZE];
    if (!value)
        std::snprintf(message, sizeof message, format, shown);
    else if (valueFirst)
        std::snprintf(message, sizeof message, format, value, shown);
    else
        std::snprintf(message, sizeof message, format, shown, value);
    SISetError(w.slot, w.assoc, SI_Interface_Error, code, Association_Open, "%s", message);
    return false;
}

// Runs check with segment added to the path.
template <typename Check> bool Within(Walk &w, const char *segment, Check check)
{
    size_t length = w.path.size();
    w.path += segment;
    bool ok = check();
    w.path.resize(length);
    return ok;
}

// Runs check on every entry of a NULL-terminated list, the path naming the
// entry as name[index] followed by after.
template <typename T, typename Check> bool EachEntry(Walk &w, T *const *list, const char *name, const char *after,
                                                     Check check)
{
    for (uint32_t i = 0; list && list[i]; i++) {
        std::string segment = std::string(name) + "[" + (i < 999999 ? std::to_string(i) : "") + "]" + after;
        if (!Within(w, segment.c_str(), [&] { return check(list[i]); }))
            return false;
    }
    return true;
}

// -- the primitives; name is the member's last path segment

bool Missing(Walk &w, const char *name)
{
    return Fail(w, w.path + name, DBV_CHECK_MISSING, "Missing compulsory field %s");
}

bool Compulsory(Walk &w, const void *value, const char *name)
{
    return value || Missing(w, name);
}

bool OutOfRange(Walk &w, const char *name)
{
    return Fail(w, w.path + name, DBV_CHECK_RANGE, "%s contains a value which is out of its range");
}

bool InRange(Walk &w, int value, int low, int high, const char *name)
{
    return (value >= low && value <= high) || OutOfRange(w, name);
}

bool Boolean(Walk &w, int value, const char *name)
{
    return value == DBV_FALSE || value == DBV_TRUE || Fail(w, w.path + name, DBV_CHECK_BOOLEAN, "Invalid boolean value %s given");
}

bool Oid(Walk &w, const char *oid, const char *name)
{
    return DbvOidIsValid(oid) || Fail(w, w.path + name, DBV_CHECK_OID, "Invalid oid value %s given");
}

bool OptionalOid(Walk &w, const char *oid, const char *name)
{
    return !oid || Oid(w, oid, name);
}

bool BitString(Walk &w, const char *bits, const char *name)
{
    if (!Compulsory(w, bits, name))
        return false;
    return std::strspn(bits, "01") == std::strlen(bits) ||
           Fail(w, w.path + name, DBV_CHECK_BIT_STRING, "The bit string %s is invalid\nValue:%s", bits);
}

bool AllowedOptions(Walk &w, const char *options, const char *name)
{
    const size_t allowed = std::strlen(ALLOWED_OPTIONS);
    for (size_t i = 0; options[i]; i++) {
        if (options[i] == '1' && (i >= allowed || ALLOWED_OPTIONS[i] == '0'))
            return Fail(w, w.path + name, DBV_CHECK_OPTIONS,
                        "The options string %s contains options not permitted by the API (see dbvproto "
                        "ALLOWED_OPTIONS for allowed options)\nValue:%s",
                        options);
    }
    return true;
}

// -- shared structures

bool CheckExternal(Walk &w, const DbvExternal *e)
{
    if (!DbvOidIsValid(e->ObjectIdentifier)) {
        std::string external = w.path.substr(0, w.path.size() - 2); // without the "->"
        return Fail(w, external, DBV_CHECK_EXTERNAL_OID, "Invalid oid value %s for external %s",
                    e->ObjectIdentifier ? e->ObjectIdentifier : "NULL", true);
    }
    switch (e->eValueType) {
    case EVT_SingleASN1Type: {
        const DbvSingleASN1Type *single = e->uExternalValue.psSingleASN1Type;
        if (!Compulsory(w, single, "uExternalValue.psSingleASN1Type"))
            return false;
        return Within(w, "uExternalValue.psSingleASN1Type->", [&] {
            const DbvFieldDesc *alt = DbvChoiceAlternative(&DbvDesc_SingleASN1Type, single->eASN1Type);
            if (!alt)
                return OutOfRange(w, "eASN1Type");
            const void *member = *reinterpret_cast<void *const *>(reinterpret_cast<const char *>(single) + alt->ulDbvOffset);
            return Compulsory(w, member, (std::string("uASN1.") + alt->pcName).c_str());
        });
    }
    case EVT_OctetAligned:
        return Compulsory(w, e->uExternalValue.psOctetAligned, "uExternalValue.psOctetAligned");
    case EVT_Arbitrary:
        return Compulsory(w, e->uExternalValue.psArbitrary, "uExternalValue.psArbitrary");
    default:
        return OutOfRange(w, "eValueType");
    }
}

bool CheckOtherInformation(Walk &w, const DbvOtherInformation *o)
{
    if (o->psInfoCategory &&
        !Within(w, "psInfoCategory->", [&] { return OptionalOid(w, o->psInfoCategory->pcCategoryTypeId, "pcCategoryTypeId"); }))
        return false;
    switch (o->eInformationType) {
    case IT_CharacterInfo:
        return Compulsory(w, o->uInformation.psCharacterInfo, "uInformation.psCharacterInfo");
    case IT_BinaryInfo:
        return Compulsory(w, o->uInformation.psBinaryInfo, "uInformation.psBinaryInfo");
    case IT_ExternalInfo:
        return Compulsory(w, o->uInformation.psExternallyDefinedInfo, "uInformation.psExternallyDefinedInfo") &&
               Within(w, "uInformation.psExternallyDefinedInfo->",
                      [&] { return CheckExternal(w, o->uInformation.psExternallyDefinedInfo); });
    case IT_ObjectIdentifier:
        return Oid(w, o->uInformation.pcObjectIdentifier, "uInformation.pcObjectIdentifier");
    default:
        return OutOfRange(w, "eInformationType");
    }
}

bool CheckOtherInformationList(Walk &w, DbvOtherInformation *const *list, const char *name)
{
    return EachEntry(w, list, name, "->", [&](const DbvOtherInformation *o) { return CheckOtherInformation(w, o); });
}

bool CheckDiagnostic(Walk &w, const DbvDiagnostic *d)
{
    switch (d->eDiagnosticsType) {
    case DT_DefaultFormat: {
        const DbvDefaultDiagFormat *f = d->uDiagnostics.psDefault;
        return Compulsory(w, f, "uDiagnostics.psDefault") && Within(w, "uDiagnostics.psDefault->", [&] {
                   const DbvAdditionalInfo *a = &f->sAdditionalInfo;
                   if (!Oid(w, f->pcDiagnosticSetId, "pcDiagnosticSetId"))
                       return false;
                   return Within(w, "sAdditionalInfo.", [&] {
                       switch (a->eProtocolVersionInForce) {
                       case 0: // no additional information
                           return true;
                       case PVIF_Version2:
                           return Compulsory(w, a->uAdditionalInfo.pcV2, "uAdditionalInfo.pcV2");
                       case PVIF_Version3:
                           return Compulsory(w, a->uAdditionalInfo.psV3, "uAdditionalInfo.psV3");
                       default:
                           return OutOfRange(w, "eProtocolVersionInForce");
                       }
                   });
               });
    }
    case DT_ExternallyDefined:
        return Compulsory(w, d->uDiagnostics.psExternallyDefined, "uDiagnostics.psExternallyDefined") &&
               Within(w, "uDiagnostics.psExternallyDefined->",
                      [&] { return CheckExternal(w, d->uDiagnostics.psExternallyDefined); });
    default:
        return OutOfRange(w, "eDiagnosticsType");
    }
}

bool CheckElementSetNames(Walk &w, const DbvElementSetNames *e)
{
    switch (e->eElementSetType) {
    case EST_Generic:
        return Compulsory(w, e->uElementSet.psGeneric, "uElementSet.psGeneric");
    case EST_DatabaseSpecific:
        return Compulsory(w, e->uElementSet.ppsElementSetsDbSpecific, "uElementSet.ppsElementSetsDbSpecific") &&
               EachEntry(w, e->uElementSet.ppsElementSetsDbSpecific, "uElementSet.ppsElementSetsDbSpecific", "->",
                         [&](const DbvElementSetsDbSpecific *d) {
                             return Compulsory(w, d->psDatabaseName, "psDatabaseName") &&
                                    Compulsory(w, d->pspsElementSetName, "pspsElementSetName");
                         });
    default:
        return OutOfRange(w, "eElementSetType");
    }
}

bool CheckStringOrNumeric(Walk &w, const DbvStringOrNumeric *s)
{
    switch (s->eStringOrNumeric) {
    case SON_String:
        return Compulsory(w, s->uStringOrNumeric.psString, "uStringOrNumeric.psString");
    case SON_Numeric:
        return true;
    default:
        return OutOfRange(w, "eStringOrNumeric");
    }
}

// -- the query

bool CheckAttributeElement(Walk &w, const DbvAttributeElement *a)
{
    // A malformed attribute set id counts as a missing one here, unlike
    // every other identifier.
    if (a->pcAttributeSetId && !DbvOidIsValid(a->pcAttributeSetId))
        return Missing(w, "pcAttributeSetId");
    const DbvAttributeValue *v = &a->sAttributeValue;
    return Within(w, "sAttributeValue.", [&] {
        switch (v->eAttributeValueType) {
        case AVT_Numeric:
            return true;
        case AVT_Complex: {
            const DbvComplexValue *c = v->uAttributeValue.psComplexValue;
            return Compulsory(w, c, "uAttributeValue.psComplexValue") &&
                   Within(w, "uAttributeValue.psComplexValue->", [&] {
                       return Compulsory(w, c->ppsList, "ppsList") &&
                              EachEntry(w, c->ppsList, "ppsList", "->",
                                        [&](const DbvStringOrNumeric *s) { return CheckStringOrNumeric(w, s); });
                   });
        }
        default:
            return OutOfRange(w, "eAttributeValueType");
        }
    });
}

bool CheckAttributeList(Walk &w, DbvAttributeElement *const *list)
{
    return Compulsory(w, list, "ppsAttributeElement") &&
           EachEntry(w, list, "ppsAttributeElement", "->",
                     [&](const DbvAttributeElement *a) { return CheckAttributeElement(w, a); });
}

bool CheckUnit(Walk &w, const DbvUnit *u)
{
    return (!u->psUnitType || Within(w, "psUnitType->", [&] { return CheckStringOrNumeric(w, u->psUnitType); })) &&
           (!u->psUnit || Within(w, "psUnit->", [&] { return CheckStringOrNumeric(w, u->psUnit); }));
}

bool CheckTerm(Walk &w, const DbvTerm *t)
{
    switch (t->eTermType) {
    case TT_General:
        return Compulsory(w, t->uTerm.psGeneral, "uTerm.psGeneral");
    case TT_Numeric:
    case TT_Null:
        return true;
    case TT_SimpleCharacter:
        return Compulsory(w, t->uTerm.psSimpleCharacter, "uTerm.psSimpleCharacter");
    case TT_ObjectIdentifier:
        return Oid(w, t->uTerm.pcObjectIdentifier, "uTerm.pcObjectIdentifier");
    case TT_DateTime:
        return Compulsory(w, t->uTerm.pcDateTime, "uTerm.pcDateTime");
    case TT_External:
        return Compulsory(w, t->uTerm.psExternal, "uTerm.psExternal") &&
               Within(w, "uTerm.psExternal->", [&] { return CheckExternal(w, t->uTerm.psExternal); });
    case TT_IntegerAndUnit:
        return Compulsory(w, t->uTerm.psIntegerAndUnit, "uTerm.psIntegerAndUnit") &&
               Within(w, "uTerm.psIntegerAndUnit->sUnitUsed.",
                      [&] { return CheckUnit(w, &t->uTerm.psIntegerAndUnit->sUnitUsed); });
    default:
        return OutOfRange(w, "eTermType");
    }
}

bool CheckAttributesPlusTerm(Walk &w, const DbvAttributesPlusTerm *a)
{
    return CheckAttributeList(w, a->ppsAttributeElement) && Within(w, "sTerm.", [&] { return CheckTerm(w, &a->sTerm); });
}

bool CheckOperand(Walk &w, const DbvOperand *o)
{
    switch (o->eOperandType) {
    case OPD_AttributesPlusTerm:
        return Compulsory(w, o->uOperand.psAttributesPlusTerm, "uOperand.psAttributesPlusTerm") &&
               Within(w, "uOperand.psAttributesPlusTerm->",
                      [&] { return CheckAttributesPlusTerm(w, o->uOperand.psAttributesPlusTerm); });
    case OPD_ResultSetId:
        return Compulsory(w, o->uOperand.psResultSetId, "uOperand.psResultSetId");
    case OPD_ResultSetPlusAttributes:
        return Compulsory(w, o->uOperand.psResultSetPlusAttributes, "uOperand.psResultSetPlusAttributes") &&
               Within(w, "uOperand.psResultSetPlusAttributes->", [&] {
                   return CheckAttributeList(w, o->uOperand.psResultSetPlusAttributes->ppsAttributeElement);
               });
    default:
        return OutOfRange(w, "eOperandType");
    }
}

bool CheckProximity(Walk &w, const DbvProximityOperator *p)
{
    if ((p->pfExclusion && !Boolean(w, *p->pfExclusion, "pfExclusion")) || !Boolean(w, p->fOrdered, "fOrdered") ||
        !InRange(w, p->eProximityRelationType, PRT_LessThan, PRT_NotEqual, "eProximityRelationType"))
        return false;
    const DbvProximityUnitCode *u = &p->sProximityUnitCode;
    return Within(w, "sProximityUnitCode.", [&] {
        switch (u->eProximityUnitType) {
        case PUT_Known:
            return InRange(w, u->uProximityUnit.eKnownProximityUnit, KPU_Character, KPU_Byte,
                           "uProximityUnit.eKnownProximityUnit");
        case PUT_Private:
            return true;
        default:
            return OutOfRange(w, "eProximityUnitType");
        }
    });
}

bool CheckOperator(Walk &w, const DbvOperator *o)
{
    if (!InRange(w, o->eOperatorType, OPR_Or, OPR_Prox, "eOperatorType"))
        return false;
    return o->eOperatorType != OPR_Prox || (Compulsory(w, o->psProximityOperator, "psProximityOperator") &&
                                           Within(w, "psProximityOperator->",
                                                  [&] { return CheckProximity(w, o->psProximityOperator); }));
}

bool CheckRpnStructure(Walk &w, const DbvRPNStructure *s);

// One side of an operator node.
bool CheckSide(Walk &w, const DbvRPNStructure *side, const char *name, const char *segment)
{
    return Compulsory(w, side, name) && Within(w, segment, [&] { return CheckRpnStructure(w, side); });
}

bool CheckRpnStructure(Walk &w, const DbvRPNStructure *s)
{
    switch (s->eRpnStructureType) {
    case RST_RpnLopRopOperator: {
        const DbvRpnLopRopOperator *op = s->uRPNStructure.psRpnLopRopOperator;
        return Compulsory(w, op, "uRPNStructure.psRpnLopRopOperator") &&
               Within(w, "uRPNStructure.psRpnLopRopOperator->", [&] {
                   return CheckSide(w, op->psLeftOperand, "psLeftOperand", "psLeftOperand->") &&
                          CheckSide(w, op->psRightOperand, "psRightOperand", "psRightOperand->") &&
                          Within(w, "sOperator.", [&] { return CheckOperator(w, &op->sOperator); });
               });
    }
    case RST_RpnOperand:
        return Compulsory(w, s->uRPNStructure.psRpnOperand, "uRPNStructure.psRpnOperand") &&
               Within(w, "uRPNStructure.psRpnOperand->", [&] { return CheckOperand(w, s->uRPNStructure.psRpnOperand); });
    default:
        return OutOfRange(w, "eRpnStructureType");
    }
}

bool CheckRpnQuery(Walk &w, const DbvRPNQuery *q)
{
    return Oid(w, q->pcAttributeSetId, "pcAttributeSet") &&
           Within(w, "sRpnStructure.", [&] { return CheckRpnStructure(w, &q->sRpnStructure); });
}

bool CheckSqlQuery(Walk &w, const DbvSQLQuery *q)
{
    return Compulsory(w, q->sQueryExpression.pbData, "sQueryExpression") &&
           (!q->pfAbstractDatabaseFlag || Boolean(w, *q->pfAbstractDatabaseFlag, "pfAbstractDatabaseFlag"));
}

bool CheckQuery(Walk &w, const DbvQuery *q)
{
    switch (q->eQueryType) {
    case QT_Private:
        return Compulsory(w, q->uQuery.psPrivateQuery, "uQuery.psPrivateQuery");
    case QT_Rpn:
        return Compulsory(w, q->uQuery.psRpnQuery, "uQuery.psRpnQuery") &&
               Within(w, "uQuery.psRpnQuery->", [&] { return CheckRpnQuery(w, q->uQuery.psRpnQuery); });
    case QT_Iso8777:
        return Compulsory(w, q->uQuery.psIso8777Query, "uQuery.psIso8777Query");
    case QT_Z3958:
        return Compulsory(w, q->uQuery.psZ3958Query, "uQuery.psZ3958Query");
    case QT_Erpn:
        return Compulsory(w, q->uQuery.psErpnQuery, "uQuery.psErpnQuery") &&
               Within(w, "uQuery.psErpnQuery->", [&] { return CheckRpnQuery(w, q->uQuery.psErpnQuery); });
    case QT_NaturalLanguage:
        return Compulsory(w, q->uQuery.psNaturalLanguageQuery, "uQuery.psNaturalLanguageQuery");
    case QT_Sql:
        return Compulsory(w, q->uQuery.psSQLQuery, "uQuery.psSQLQuery") &&
               Within(w, "uQuery.psSQLQuery->", [&] { return CheckSqlQuery(w, q->uQuery.psSQLQuery); });
    default:
        return OutOfRange(w, "eQueryType");
    }
}

// -- record composition

bool CheckSpecification(Walk &w, const DbvSpecification *s)
{
    if (!OptionalOid(w, s->pcSchema, "pcSchema"))
        return false;
    const DbvElementSpec *e = s->psElementSpec;
    return !e || Within(w, "psElementSpec->", [&] {
        switch (e->eElementSpecType) {
        case EST_Primitive:
            return Compulsory(w, e->uElementSpec.psPrimitive, "uElementSpec.psPrimitive");
        case EST_External:
            return Compulsory(w, e->uElementSpec.psExternal, "uElementSpec.psExternal") &&
                   Within(w, "uElementSpec.psExternal->", [&] { return CheckExternal(w, e->uElementSpec.psExternal); });
        default:
            return OutOfRange(w, "eElementSpecType");
        }
    });
}

bool CheckCompSpec(Walk &w, const DbvCompSpec *c)
{
    return Boolean(w, c->fSelectAlternativeSyntax, "fSelectAlternativeSyntax") &&
           (!c->psGeneric || Within(w, "psGeneric->", [&] { return CheckSpecification(w, c->psGeneric); })) &&
           EachEntry(w, c->ppsDbSpecific, "ppsDbSpecific", "->sSpecification.", [&](const DbvDbSpecific *d) {
               return CheckSpecification(w, &d->sSpecification);
           }) &&
           EachEntry(w, c->ppcRecordSyntax, "ppcRecordSyntax", "", [&](const char *oid) { return Oid(w, oid, ""); });
}

bool CheckRecordComposition(Walk &w, const DbvRecordComposition *r)
{
    switch (r->eRecordCompositionType) {
    case RCT_ElementSetNames:
        return Compulsory(w, r->uRecordComposition.psElementSetNames, "uRecordComposition.psElementSetNames") &&
               Within(w, "uRecordComposition.psElementSetNames->",
                      [&] { return CheckElementSetNames(w, r->uRecordComposition.psElementSetNames); });
    case RCT_CompSpec:
        return Compulsory(w, r->uRecordComposition.psCompSpec, "uRecordComposition.psCompSpec") &&
               Within(w, "uRecordComposition.psCompSpec->",
                      [&] { return CheckCompSpec(w, r->uRecordComposition.psCompSpec); });
    default:
        return OutOfRange(w, "eRecordCompositionType");
    }
}

// Runs a request's checks from its root name; SI_OK or SI_NOTOK.
// A tree nesting deeper than the codec accepts from a target is refused
// whole before any walk over it, this one and those after it included.
template <typename T, typename Check>
int Run(DbvAssocId assoc, const T *request, const DbvTypeDesc *type, const char *root, SIError **slot, Check check)
{
    Walk w{assoc, slot, ""};
    if (slot)
        *slot = nullptr;
    if (!Compulsory(w, request, root))
        return SI_NOTOK;
    if (!DbvTreeNestsWithin(type, request, ASN_MAX_NESTING)) {
        OutOfRange(w, root);
        return SI_NOTOK;
    }
    w.path = std::string(root) + "->";
    return check(w, request) ? SI_OK : SI_NOTOK;
}

} // namespace

extern "C" {

int DbvOidIsValid(const char *pcOid)
{
    if (!pcOid || std::strlen(pcOid) > 998)
        return 0;
    // Components of decimal digits separated by single full stops.
    const char *p = pcOid;
    do {
        size_t digits = std::strspn(p, "0123456789");
        if (digits == 0)
            return 0;
        p += digits;
    } while (*p == '.' && *++p);
    return *p == '\0' && p[-1] != '.';
}

int DbvCheckInitializeRequest(DbvAssocId lAssocId, const DbvInitializeReq *psInitializeReq, SIError **ppsError)
{
    return Run(lAssocId, psInitializeReq, &DbvDesc_InitializeReq, "psInitializeReq", ppsError,
               [](Walk &w, const DbvInitializeReq *r) {
        if (!BitString(w, r->pcProtocolVersion, "pcProtocolVersion") || !BitString(w, r->pcOptions, "pcOptions") ||
            !AllowedOptions(w, r->pcOptions, "pcOptions"))
            return false;
        const DbvIdAuthentication *a = r->psAuthentication;
        if (a && !Within(w, "psAuthentication->", [&] {
                switch (a->eAuthenticationType) {
                case AUTH_Open:
                    return Compulsory(w, a->uAuthentication.psOpen, "uAuthentication.psOpen");
                case AUTH_IdPassword:
                    return Compulsory(w, a->uAuthentication.psIdPassword, "uAuthentication.psIdPassword");
                case AUTH_Anonymous:
                    return true;
                case AUTH_Other:
                    return Compulsory(w, a->uAuthentication.psOther, "uAuthentication.psOther") &&
                           Within(w, "uAuthentication.psOther->",
                                  [&] { return CheckExternal(w, a->uAuthentication.psOther); });
                default:
                    return OutOfRange(w, "eAuthenticationType");
                }
            }))
            return false;
        return (!r->psUserInformationField ||
                Within(w, "psUserInformationField->", [&] { return CheckExternal(w, r->psUserInformationField); })) &&
               CheckOtherInformationList(w, r->ppsOtherInformation, "ppsOtherInformation");
    });
}

int DbvCheckSearchRequest(DbvAssocId lAssocId, const DbvSearchReq *psSearchReq, SIError **ppsError)
{
    return Run(lAssocId, psSearchReq, &DbvDesc_SearchReq, "psSearchReq", ppsError,
               [](Walk &w, const DbvSearchReq *r) {
        return Boolean(w, r->fReplaceIndicator, "fReplaceIndicator") &&
               Compulsory(w, r->ppsDatabaseNames, "ppsDatabaseNames") &&
               (!r->psSmallSetElementNames ||
                Within(w, "psSmallSetElementNames->", [&] { return CheckElementSetNames(w, r->psSmallSetElementNames); })) &&
               (!r->psMediumSetElementNames ||
                Within(w, "psMediumSetElementNames->",
                       [&] { return CheckElementSetNames(w, r->psMediumSetElementNames); })) &&
               OptionalOid(w, r->pcPreferredRecordSyntax, "pcPreferredRecordSyntax") &&
               Compulsory(w, r->psQuery, "psQuery") && Within(w, "psQuery->", [&] { return CheckQuery(w, r->psQuery); }) &&
               CheckOtherInformationList(w, r->ppsAdditionalSearchInfo, "ppsAdditionalSearchInfo") &&
               CheckOtherInformationList(w, r->ppsOtherInformation, "ppsOtherInformation");
    });
}

int DbvCheckPresentRequest(DbvAssocId lAssocId, const DbvPresentReq *psPresentReq, SIError **ppsError)
{
    return Run(lAssocId, psPresentReq, &DbvDesc_PresentReq, "psPresentReq", ppsError,
               [](Walk &w, const DbvPresentReq *r) {
        return (!r->psRecordComposition ||
                Within(w, "psRecordComposition->", [&] { return CheckRecordComposition(w, r->psRecordComposition); })) &&
               OptionalOid(w, r->pcPreferredRecordSyntax, "pcPreferredRecordSyntax") &&
               CheckOtherInformationList(w, r->ppsOtherInformation, "ppsOtherInformation");
    });
}

int DbvCheckScanRequest(DbvAssocId lAssocId, const DbvScanReq *psScanReq, SIError **ppsError)
{
    return Run(lAssocId, psScanReq, &DbvDesc_ScanReq, "psScanReq", ppsError,
               [](Walk &w, const DbvScanReq *r) {
        return Compulsory(w, r->ppsDatabaseNames, "ppsDatabaseNames") &&
               OptionalOid(w, r->pcAttributeSetId, "pcAttributeSetId") &&
               Within(w, "sAttributesPlusTerm.", [&] { return CheckAttributesPlusTerm(w, &r->sAttributesPlusTerm); }) &&
               CheckOtherInformationList(w, r->ppsOtherInformation, "ppsOtherInformation");
    });
}

int DbvCheckDiagnostic(DbvAssocId lAssocId, const DbvDiagnostic *psDiagnostic, SIError **ppsError)
{
    return Run(lAssocId, psDiagnostic, &DbvDesc_Diagnostic, "psDiagnostic", ppsError, CheckDiagnostic);
}

} // extern "C"
