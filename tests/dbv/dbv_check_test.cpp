// The request checks: each case breaks one field of a valid request and
// expects the exact code and message; edge values that pass have code 0.
#include <iterator>
#include <string>

#include <gtest/gtest.h>

#include "dbv/dbvproto.h"
#include "tests/dbv/dbv_testkit.h"

namespace {

const char *const kQuery = "psSearchReq->psQuery->uQuery.psRpnQuery->";
const char *const kRoot = "psSearchReq->psQuery->uQuery.psRpnQuery->sRpnStructure.uRPNStructure.psRpnLopRopOperator->";
// The left leaf ("computer", two attributes).
const std::string kTitle = std::string(kRoot) + "psLeftOperand->uRPNStructure.psRpnOperand->uOperand.psAttributesPlusTerm->";

// The top operator node and the title leaf of the valid search request.
DbvRpnLopRopOperator *Root(DbvSearchReq *r)
{
    return r->psQuery->uQuery.psRpnQuery->sRpnStructure.uRPNStructure.psRpnLopRopOperator;
}
DbvAttributesPlusTerm *Title(DbvSearchReq *r)
{
    return Root(r)->psLeftOperand->uRPNStructure.psRpnOperand->uOperand.psAttributesPlusTerm;
}

template <typename Request> struct Case {
    const char *name;
    void (*breakIt)(Request *);
    int32_t code; // 0: passes
    std::string message;
};

std::string Missing(const std::string &path) { return "Missing compulsory field " + path; }
std::string OutOfRange(const std::string &path) { return path + " contains a value which is out of its range"; }
std::string BadOid(const std::string &path) { return "Invalid oid value " + path + " given"; }
std::string BadBool(const std::string &path) { return "Invalid boolean value " + path + " given"; }

// Each case breaks (or varies) one field of the valid request, which passes.
template <typename Request>
void RunCases(const Case<Request> *cases, size_t count, Request *(*valid)(), int (*check)(DbvAssocId, const Request *, SIError **),
         void (*release)(Request *))
{
    const Case<Request> passes = {"valid", [](Request *) {}, 0, ""};
    for (size_t i = 0; i <= count; i++) {
        const Case<Request> &c = i < count ? cases[i] : passes;
        SCOPED_TRACE(c.name);
        Request *request = valid();
        c.breakIt(request);
        SIError *error = reinterpret_cast<SIError *>(1); // cleared on entry
        int result = check(-1, request, &error);
        if (c.code == 0) {
            EXPECT_EQ(result, SI_OK);
            EXPECT_EQ(error, nullptr);
        } else {
            EXPECT_EQ(result, SI_NOTOK);
            ASSERT_NE(error, nullptr);
            EXPECT_EQ(error->eErrorClass, SI_Interface_Error);
            EXPECT_EQ(error->uErrorCode.lIfOsCoError, c.code);
            EXPECT_EQ(error->eAssociationState, Association_Open);
            EXPECT_EQ(std::string(error->pcDiagnostics), c.message);
            SIFreeError(error);
        }
        release(request);
    }
}

const Case<DbvInitializeReq> kInitialize[] = {
    {"bit 9 set", [](DbvInitializeReq *r) { SetText(r->pcOptions, "1111111111"); }, 67,
     "The options string psInitializeReq->pcOptions contains options not permitted by the API (see dbvproto "
     "ALLOWED_OPTIONS for allowed options)\nValue:1111111111"},
    {"options not a bit string", [](DbvInitializeReq *r) { SetText(r->pcOptions, "11x"); }, 65,
     "The bit string psInitializeReq->pcOptions is invalid\nValue:11x"},
    {"no protocol version", [](DbvInitializeReq *r) { SetText(r->pcProtocolVersion, nullptr); }, 64,
     Missing("psInitializeReq->pcProtocolVersion")},
    {"authentication type", [](DbvInitializeReq *r) { Reselect(&DbvDesc_IdAuthentication, r->psAuthentication, 5); }, 66,
     OutOfRange("psInitializeReq->psAuthentication->eAuthenticationType")},
    {"open authentication without text", [](DbvInitializeReq *r) { Reselect(&DbvDesc_IdAuthentication, r->psAuthentication, AUTH_Open); },
     64, Missing("psInitializeReq->psAuthentication->uAuthentication.psOpen")},
    {"user information identifier",
     [](DbvInitializeReq *r) { SetText(r->psUserInformationField->ObjectIdentifier, "1..2"); }, 74,
     "Invalid oid value 1..2 for external psInitializeReq->psUserInformationField"},
    {"other information type", [](DbvInitializeReq *r) { Reselect(&DbvDesc_OtherInformation, r->ppsOtherInformation[0], 9); }, 66,
     OutOfRange("psInitializeReq->ppsOtherInformation[0]->eInformationType")},
};

// The query of a search made a type-7 (SQL) query.
void UseSql(DbvSearchReq *r, DbvSQLQuery *sql)
{
    Reselect(&DbvDesc_Query, r->psQuery, QT_Sql);
    r->psQuery->uQuery.psSQLQuery = sql;
}

const std::string kSql = "psSearchReq->psQuery->uQuery.psSQLQuery";

const Case<DbvSearchReq> kSearch[] = {
    {"replace indicator", [](DbvSearchReq *r) { r->fReplaceIndicator = 2; }, 72, BadBool("psSearchReq->fReplaceIndicator")},
    {"no databases", [](DbvSearchReq *r) { ClearField(&DbvDesc_SearchReq, r, "ppsDatabaseNames"); }, 64,
     Missing("psSearchReq->ppsDatabaseNames")},
    {"element set name", [](DbvSearchReq *r) { Reselect(&DbvDesc_ElementSetNames, r->psSmallSetElementNames, EST_DatabaseSpecific); }, 64,
     Missing("psSearchReq->psSmallSetElementNames->uElementSet.ppsElementSetsDbSpecific")},
    {"record syntax", [](DbvSearchReq *r) { SetText(r->pcPreferredRecordSyntax, "1.2.840.x"); }, 73,
     BadOid("psSearchReq->pcPreferredRecordSyntax")},
    {"query type", [](DbvSearchReq *r) { Reselect(&DbvDesc_Query, r->psQuery, 9); }, 66, OutOfRange("psSearchReq->psQuery->eQueryType")},
    {"query member", [](DbvSearchReq *r) { Reselect(&DbvDesc_Query, r->psQuery, QT_Iso8777); }, 64,
     Missing("psSearchReq->psQuery->uQuery.psIso8777Query")},
    {"private query: present is enough", [](DbvSearchReq *r) {
         Reselect(&DbvDesc_Query, r->psQuery, QT_Private);
         r->psQuery->uQuery.psPrivateQuery = New<DbvExternal>(); },
     0, ""},
    {"sql query", [](DbvSearchReq *r) { UseSql(r, SqlQuery("SELECT title FROM books")); }, 0, ""},
    {"sql query without its expression", [](DbvSearchReq *r) { UseSql(r, New<DbvSQLQuery>()); }, 64,
     Missing(kSql + "->sQueryExpression")},
    {"sql abstract database flag", [](DbvSearchReq *r) { UseSql(r, SqlQuery("SELECT 1", 2)); }, 72,
     BadBool(kSql + "->pfAbstractDatabaseFlag")},
    {"no attribute set", [](DbvSearchReq *r) { SetText(r->psQuery->uQuery.psRpnQuery->pcAttributeSetId, nullptr); }, 73,
     BadOid(std::string(kQuery) + "pcAttributeSet")},
    {"malformed attribute set of an attribute", [](DbvSearchReq *r) {
         SetText(Title(r)->ppsAttributeElement[1]->pcAttributeSetId, "bib-1"); },
     64, Missing(kTitle + "ppsAttributeElement[1]->pcAttributeSetId")},
    {"string of a complex attribute value", [](DbvSearchReq *r) {
         Reselect(&DbvDesc_StringOrNumeric,
                  Title(r)->ppsAttributeElement[1]->sAttributeValue.uAttributeValue.psComplexValue->ppsList[0], 0); },
     66, OutOfRange(kTitle + "ppsAttributeElement[1]->sAttributeValue.uAttributeValue.psComplexValue->ppsList[0]->"
                             "eStringOrNumeric")},
    {"empty attribute list", [](DbvSearchReq *r) {
         ClearField(&DbvDesc_AttributesPlusTerm, Title(r), "ppsAttributeElement");
         Title(r)->ppsAttributeElement = List<DbvAttributeElement>({}); },
     0, ""},
    {"no attribute list", [](DbvSearchReq *r) { ClearField(&DbvDesc_AttributesPlusTerm, Title(r), "ppsAttributeElement"); },
     64, Missing(kTitle + "ppsAttributeElement")},
    {"numeric term with anything in the union", [](DbvSearchReq *r) {
         Reselect(&DbvDesc_Term, &Title(r)->sTerm, TT_Numeric);
         Title(r)->sTerm.uTerm.ulNumeric = 0xDEADBEEF; },
     0, ""},
    {"term type", [](DbvSearchReq *r) { Reselect(&DbvDesc_Term, &Title(r)->sTerm, 9); }, 66,
     OutOfRange(kTitle + "sTerm.eTermType")},
    {"no right operand", [](DbvSearchReq *r) { ClearField(&DbvDesc_RpnLopRopOperator, Root(r), "psRightOperand"); }, 64,
     Missing(std::string(kRoot) + "psRightOperand")},
};

const std::string kComp = "psPresentReq->psRecordComposition->uRecordComposition.psCompSpec->";
DbvCompSpec *Comp(DbvPresentReq *r) { return r->psRecordComposition->uRecordComposition.psCompSpec; }

const Case<DbvPresentReq> kPresent[] = {
    {"alternative syntax flag", [](DbvPresentReq *r) { Comp(r)->fSelectAlternativeSyntax = 7; }, 72,
     BadBool(kComp + "fSelectAlternativeSyntax")},
    {"record syntax entry", [](DbvPresentReq *r) { SetText(Comp(r)->ppcRecordSyntax[1], "1.2.3."); }, 73,
     BadOid(kComp + "ppcRecordSyntax[1]")},
    {"element specification",
     [](DbvPresentReq *r) { Reselect(&DbvDesc_ElementSpec, Comp(r)->psGeneric->psElementSpec, EST_External); }, 64,
     Missing(kComp + "psGeneric->psElementSpec->uElementSpec.psExternal")},
};

const Case<DbvScanReq> kScan[] = {
    {"no databases", [](DbvScanReq *r) { ClearField(&DbvDesc_ScanReq, r, "ppsDatabaseNames"); }, 64,
     Missing("psScanReq->ppsDatabaseNames")},
    {"start term", [](DbvScanReq *r) { Reselect(&DbvDesc_Term, &r->sAttributesPlusTerm.sTerm, TT_DateTime); }, 64,
     Missing("psScanReq->sAttributesPlusTerm.sTerm.uTerm.pcDateTime")},
};

// A valid default-format diagnostic with version-2 additional information.
DbvDiagnostic *ValidDiagnostic()
{
    DbvDiagnostic *d = New<DbvDiagnostic>();
    d->eDiagnosticsType = DT_DefaultFormat;
    DbvDefaultDiagFormat *f = New<DbvDefaultDiagFormat>();
    f->pcDiagnosticSetId = Text("1.2.840.10003.4.1");
    f->ulCondition = 109;
    f->sAdditionalInfo.eProtocolVersionInForce = PVIF_Version2;
    f->sAdditionalInfo.uAdditionalInfo.pcV2 = Text("nodb");
    d->uDiagnostics.psDefault = f;
    return d;
}

const std::string kDefault = "psDiagnostic->uDiagnostics.psDefault";

const Case<DbvDiagnostic> kDiagnostics[] = {
    {"version 3 text", [](DbvDiagnostic *d) {
         Reselect(&DbvDesc_AdditionalInfo, &d->uDiagnostics.psDefault->sAdditionalInfo, PVIF_Version3);
         d->uDiagnostics.psDefault->sAdditionalInfo.uAdditionalInfo.psV3 = Octets("nodb");
     }, 0, ""},
    {"type", [](DbvDiagnostic *d) { Reselect(&DbvDesc_Diagnostic, d, 3); }, 66,
     OutOfRange("psDiagnostic->eDiagnosticsType")},
    {"external without identifier", [](DbvDiagnostic *d) {
         Reselect(&DbvDesc_Diagnostic, d, DT_ExternallyDefined);
         d->uDiagnostics.psExternallyDefined = New<DbvExternal>(); },
     74, "Invalid oid value NULL for external psDiagnostic->uDiagnostics.psExternallyDefined"},
    {"diagnostic set", [](DbvDiagnostic *d) { SetText(d->uDiagnostics.psDefault->pcDiagnosticSetId, "bib-1"); }, 73,
     BadOid(kDefault + "->pcDiagnosticSetId")},
    {"version 2 without text",
     [](DbvDiagnostic *d) { SetText(d->uDiagnostics.psDefault->sAdditionalInfo.uAdditionalInfo.pcV2, nullptr); }, 64,
     Missing(kDefault + "->sAdditionalInfo.uAdditionalInfo.pcV2")},
    {"protocol version", [](DbvDiagnostic *d) { Reselect(&DbvDesc_AdditionalInfo, &d->uDiagnostics.psDefault->sAdditionalInfo, 3); },
     66, OutOfRange(kDefault + "->sAdditionalInfo.eProtocolVersionInForce")},
};

TEST(DbvCheck, EachBrokenFieldWithItsCodeAndMessage)
{
    RunCases(kDiagnostics, std::size(kDiagnostics), ValidDiagnostic, DbvCheckDiagnostic, DbvFreeDiagnostic);
    RunCases(kInitialize, std::size(kInitialize), ValidInitializeRequest, DbvCheckInitializeRequest, DbvFreeInitializeReq);
    RunCases(kSearch, std::size(kSearch), ValidSearchRequest, DbvCheckSearchRequest, DbvFreeSearchReq);
    RunCases(kPresent, std::size(kPresent), ValidPresentRequest, DbvCheckPresentRequest, DbvFreePresentReq);
    RunCases(kScan, std::size(kScan), +[] { return MakeScanReq("Default", "a", 20); }, DbvCheckScanRequest, DbvFreeScanReq);
}

TEST(DbvCheck, PathTooLongForTheMessageKeepsItsEnd)
{
    // A broken term at the bottom of a query nested so deep that its path is
    // longer than the message.
    DbvSearchReq *r = DeepSearchReq(120);
    DbvRPNStructure *s = &r->psQuery->uQuery.psRpnQuery->sRpnStructure;
    while (s->eRpnStructureType == RST_RpnLopRopOperator)
        s = s->uRPNStructure.psRpnLopRopOperator->psRightOperand;
    Reselect(&DbvDesc_Term, &s->uRPNStructure.psRpnOperand->uOperand.psAttributesPlusTerm->sTerm, 0);
    SIError *error = nullptr;
    ASSERT_EQ(DbvCheckSearchRequest(-1, r, &error), SI_NOTOK);
    std::string message = error->pcDiagnostics;
    EXPECT_EQ(message.size(), DBV_CHECK_TEXT_SIZE - 1u);
    const std::string end = "psAttributesPlusTerm->sTerm.eTermType contains a value which is out of its range";
    EXPECT_EQ(message.substr(message.size() - end.size()), end);
    EXPECT_NE(message.substr(0, 12), "psSearchReq-");
    SIFreeError(error);
    DbvFreeSearchReq(r);
}

} // namespace
