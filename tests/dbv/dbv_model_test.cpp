// The DBV structures as the toolkit's users and the trace printer see them:
// the field names and enumeration values the rest of the system relies on,
// and freeing, copying and comparing trees.
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "dbv/dbv_tree.h"
#include "tests/dbv/dbv_testkit.h"

extern "C" int DbvCopyFromC(void);

namespace {

TEST(DbvModel, UsableFromC)
{
    EXPECT_EQ(DbvCopyFromC(), 1);
}

std::string FieldNames(const DbvTypeDesc *type)
{
    std::string names;
    for (uint32_t i = 0; i < type->ulFieldCount; i++)
        names += std::string(names.empty() ? "" : " ") + (type->psFields[i].pcName ? type->psFields[i].pcName : "-");
    return names;
}

TEST(DbvModel, FieldNamesInProtocolOrder)
{
    const struct {
        const DbvTypeDesc *type;
        const char *fields;
    } cases[] = {
        {&DbvDesc_InitializeReq,
         "psReferenceId pcProtocolVersion pcOptions ulPreferredMessageSize ulMaxmiumMessageSize psAuthentication "
         "psImplementationId psImplementationName psImplementationVersion psUserInformationField ppsOtherInformation"},
        {&DbvDesc_InitializeRsp,
         "psReferenceId pcProtocolVersion pcOptions ulPreferredMessageSize ulMaxmiumMessageSize fResult "
         "psImplementationId psImplementationName psImplementationVersion psUserInformationField ppsOtherInformation"},
        {&DbvDesc_SearchReq,
         "psReferenceId ulSmallSetUpperBound ulLargeSetLowerBound ulMediumSetPresentNumber fReplaceIndicator "
         "sResultSetName ppsDatabaseNames psSmallSetElementNames psMediumSetElementNames pcPreferredRecordSyntax "
         "psQuery ppsAdditionalSearchInfo ppsOtherInformation"},
        {&DbvDesc_SearchRsp,
         "psReferenceId ulResultCount ulNumberOfRecordsReturned ulNextResultSetPosition fSearchStatus "
         "peResultSetStatus pePresentStatus psRecords ppsAdditionalSearchInfo ppsOtherInformation"},
        {&DbvDesc_PresentReq,
         "psReferenceId sResultSetId ulResultSetStartPoint ulNumberOfRecordsRequested ppsAdditionalRanges "
         "psRecordComposition pcPreferredRecordSyntax pulMaxSegmentCount pulMaxRecordSize pulMaxSegmentSize "
         "ppsOtherInformation"},
        {&DbvDesc_PresentRsp,
         "psReferenceId ulNumberOfRecordsReturned ulNextResultSetPosition ePresentStatus psRecords ppsOtherInformation"},
        {&DbvDesc_ScanReq,
         "psReferenceId ppsDatabaseNames pcAttributeSetId sAttributesPlusTerm pulStepSize ulNumberOfTermsRequested "
         "pulPreferredPositionInResponse ppsOtherInformation"},
        {&DbvDesc_ScanRsp,
         "psReferenceId pulStepSize eScanStatus ulNumberOfEntriesReturned pulPositionOfTerm psEntries "
         "pcAttributeSetId ppsOtherInformation"},
        {&DbvDesc_Close,
         "psReferenceId eCloseReason psDiagnosticInformation pcResourceReportFormat psResourceReport "
         "ppsOtherInformation"},
        {&DbvDesc_RPNQuery, "pcAttributeSetId sRpnStructure"},
        {&DbvDesc_RpnLopRopOperator, "psLeftOperand psRightOperand sOperator"},
        {&DbvDesc_Operator, "- - - psProximityOperator"},
        {&DbvDesc_ProximityOperator, "pfExclusion ulDistance fOrdered eProximityRelationType sProximityUnitCode"},
        {&DbvDesc_AttributeElement, "pcAttributeSetId ulAttributeType sAttributeValue"},
        {&DbvDesc_DefaultDiagFormat, "pcDiagnosticSetId ulCondition sAdditionalInfo"},
        {&DbvDesc_OtherInformation, "psInfoCategory -"},
        {&DbvDesc_TermInfo,
         "sTerm psDisplayTerm ppsSuggestedAttribute ppsAlternativeTerm pulGlobalOccurrences ppsByAttributes "
         "ppsOtherInformation"},
        {&DbvDesc_ListEntries, "ppsEntry ppsNonSurrogateDiagnostics"},
        {&DbvDesc_External, "ObjectIdentifier pulIndirectReference pcDataValueDescriptor -"},
        {&DbvDesc_SQLQuery, "sQueryExpression pfAbstractDatabaseFlag"},
        {&DbvDesc_Extension, "ulIdentifier pfCritical sItem"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(FieldNames(c.type), c.fields) << c.type->pcName;
}

TEST(DbvModel, ChoicesNameTheirSelectorAndUnion)
{
    const struct {
        const DbvTypeDesc *type;
        const char *selector, *unionName, *members;
    } cases[] = {
        {&DbvDesc_Query, "eQueryType", "uQuery",
         "psPrivateQuery psRpnQuery psIso8777Query psZ3958Query psErpnQuery psNaturalLanguageQuery psSQLQuery"},
        {&DbvDesc_RPNStructure, "eRpnStructureType", "uRPNStructure", "psRpnOperand psRpnLopRopOperator"},
        {&DbvDesc_Term, "eTermType", "uTerm",
         "psGeneral ulNumeric psSimpleCharacter pcObjectIdentifier pcDateTime psExternal psIntegerAndUnit -"},
        {&DbvDesc_Operand, "eOperandType", "uOperand",
         "psAttributesPlusTerm psResultSetId psResultSetPlusAttributes"},
        {&DbvDesc_IdAuthentication, "eAuthenticationType", "uAuthentication", "psOpen psIdPassword - psOther"},
        {&DbvDesc_ElementSetNames, "eElementSetType", "uElementSet", "psGeneric ppsElementSetsDbSpecific"},
        {&DbvDesc_Diagnostic, "eDiagnosticsType", "uDiagnostics", "psDefault psExternallyDefined"},
        {&DbvDesc_AdditionalInfo, "eProtocolVersionInForce", "uAdditionalInfo", "pcV2 psV3"},
        {&DbvDesc_StringOrNumeric, "eStringOrNumeric", "uStringOrNumeric", "psString ulNumeric"},
        {&DbvDesc_ProximityUnitCode, "eProximityUnitType", "uProximityUnit", "eKnownProximityUnit ulPrivate"},
    };
    for (const auto &c : cases) {
        EXPECT_STREQ(c.type->pcSelectorName, c.selector);
        EXPECT_STREQ(c.type->pcUnionName, c.unionName);
        EXPECT_EQ(FieldNames(c.type), c.members) << c.type->pcName;
    }
}

TEST(DbvModel, EnumerationValuesAndNames)
{
    const struct {
        int value;
        const DbvEnumDesc *names;
        int expected;
        const char *name;
    } cases[] = {
        {PS_Success, &DbvEnum_PS, 0, "PS_Success"},
        {PS_Partial_1, &DbvEnum_PS, 1, "PS_Partial_1"},
        {PS_Failure, &DbvEnum_PS, 5, "PS_Failure"},
        {PS_Invalid, &DbvEnum_PS, -1, "PS_Invalid"},
        {RSS_Subset, &DbvEnum_RSS, 1, "RSS_Subset"},
        {RSS_None, &DbvEnum_RSS, 3, "RSS_None"},
        {SCS_Partial_5, &DbvEnum_SCS, 5, "SCS_Partial_5"},
        {SCS_Failure, &DbvEnum_SCS, 6, "SCS_Failure"},
        {CR_ShutDown, &DbvEnum_CR, 1, "CR_ShutDown"},
        {CR_PeerAbort, &DbvEnum_CR, 8, "CR_PeerAbort"},
        {CR_Invalid, &DbvEnum_CR, -1, "CR_Invalid"},
        {KPU_SubElement, &DbvEnum_KPU, 9, "KPU_SubElement"},
        {KPU_Byte, &DbvEnum_KPU, 11, "KPU_Byte"},
        {PRT_NotEqual, &DbvEnum_PRT, 6, "PRT_NotEqual"},
        {DSS_NotAllSetsDeletedOnBulkDlt, &DbvEnum_DSS, 8, "DSS_NotAllSetsDeletedOnBulkDlt"},
        {ESOS_Queued, &DbvEnum_ESOS, 2, "ESOS_Queued"},
        {SRSS_Unchanged, &DbvEnum_SRSS, 3, "SRSS_Unchanged"},
        {OPR_Or, &DbvEnum_OPR, 1, "OPR_Or"},
        {OPR_And, &DbvEnum_OPR, 2, "OPR_And"},
        {OPR_AndNot, &DbvEnum_OPR, 3, "OPR_AndNot"},
        {OPR_Prox, &DbvEnum_OPR, 4, "OPR_Prox"},
        {RST_RpnLopRopOperator, &DbvEnum_RST, 1, "RST_RpnLopRopOperator"},
        {RST_RpnOperand, &DbvEnum_RST, 2, "RST_RpnOperand"},
        {QT_Erpn, &DbvEnum_QT, 5, "QT_Erpn"},
        {QT_Sql, &DbvEnum_QT, 7, "QT_Sql"},
        {TT_Null, &DbvEnum_TT, 8, "TT_Null"},
        {AT_OpacRecord, &DbvEnum_AT, 2, "AT_OpacRecord"},
        {AT_GenericRecord, &DbvEnum_AT, 13, "AT_GenericRecord"},
        {AT_CIPSpecificInfo, &DbvEnum_AT, 24, "AT_CIPSpecificInfo"},
        {EVT_Arbitrary, &DbvEnum_EVT, 3, "EVT_Arbitrary"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(c.value, c.expected) << c.name;
        EXPECT_STREQ(DbvEnumName(c.names, c.value), c.name);
    }
    EXPECT_EQ(DbvEnumName(&DbvEnum_AT, 8), nullptr); // reserved
    EXPECT_EQ(DbvEnumName(&DbvEnum_AT, 11), nullptr);
}

TEST(DbvModel, TypedValuesOfTheRecordIdentifiers)
{
    const struct {
        const char *oid;
        int type;
    } cases[] = {{"1.2.840.10003.5.101", AT_UnstructuredText}, {"1.0.10163.5.102", AT_OpacRecord},
                 {"1.2.840.10003.5.103", AT_SummaryRecord}, {"1.2.840.10003.5.105", AT_GenericRecord}};
    for (const auto &c : cases) {
        bool found = false;
        for (uint32_t i = 0; i < DbvAsn1OidCount; i++)
            found = found || (std::strcmp(DbvAsn1Oids[i].pcOid, c.oid) == 0 && DbvAsn1Oids[i].eASN1Type == c.type);
        EXPECT_TRUE(found) << c.oid;
    }
}

TEST(DbvTree, NullAndEmptyListsAreAlike)
{
    DbvScanReq *a = ValidScanRequest();
    DbvScanReq *b = DbvCopyScanReq(a);
    ASSERT_NE(b, nullptr);
    EXPECT_NE(a->ppsDatabaseNames, b->ppsDatabaseNames); // deep
    EXPECT_TRUE(DbvTreeEqual(&DbvDesc_ScanReq, a, b));
    ClearField(&DbvDesc_ScanReq, a, "ppsOtherInformation");
    b->ppsOtherInformation = List<DbvOtherInformation>({});
    EXPECT_TRUE(DbvTreeEqual(&DbvDesc_ScanReq, a, b));
    DbvScanReq *c = DbvCopyScanReq(b);
    EXPECT_TRUE(DbvTreeEqual(&DbvDesc_ScanReq, a, c));
    EXPECT_EQ(DbvListCount(c->ppsOtherInformation), 0u);
    DbvFreeScanReq(a);
    DbvFreeScanReq(b);
    DbvFreeScanReq(c);
}

TEST(DbvTree, EqualityNoticesEveryKindOfField)
{
    const struct {
        const char *what;
        void (*change)(DbvSearchReq *);
    } cases[] = {
        {"number", [](DbvSearchReq *r) { r->ulLargeSetLowerBound++; }},
        {"boolean", [](DbvSearchReq *r) { r->fReplaceIndicator = DBV_FALSE; }},
        {"inline octets", [](DbvSearchReq *r) { r->sResultSetName.pbData[0] = 'D'; }},
        {"identifier", [](DbvSearchReq *r) { SetText(r->pcPreferredRecordSyntax, "1.2.840.10003.5.109"); }},
        {"absent pointer", [](DbvSearchReq *r) { ClearField(&DbvDesc_SearchReq, r, "psSmallSetElementNames"); }},
        {"list length", [](DbvSearchReq *r) { ClearField(&DbvDesc_SearchReq, r, "ppsDatabaseNames"); }},
        {"selector", [](DbvSearchReq *r) { r->psQuery->eQueryType = QT_Erpn; }}, // same member type
        {"deep enumeration",
         [](DbvSearchReq *r) {
             r->psQuery->uQuery.psRpnQuery->sRpnStructure.uRPNStructure.psRpnLopRopOperator->sOperator.eOperatorType =
                 OPR_Or;
         }},
    };
    for (const auto &c : cases) {
        DbvSearchReq *a = ValidSearchRequest();
        DbvSearchReq *b = DbvCopySearchReq(a);
        c.change(b);
        EXPECT_FALSE(DbvTreeEqual(&DbvDesc_SearchReq, a, b)) << c.what;
        DbvFreeSearchReq(a);
        DbvFreeSearchReq(b);
    }
}

TEST(DbvTree, FreeTakesNullAndPartlyBuiltTrees)
{
    DbvFreeSearchReq(nullptr);
    EXPECT_EQ(DbvCopySearchReq(nullptr), nullptr);
    // Built as far as the query's operator node, whose operands are not set.
    DbvSearchReq *r = New<DbvSearchReq>();
    r->ppsDatabaseNames = List<DbvOctetString>({Octets("Default")});
    r->psQuery = New<DbvQuery>();
    r->psQuery->eQueryType = QT_Rpn;
    r->psQuery->uQuery.psRpnQuery = New<DbvRPNQuery>();
    r->psQuery->uQuery.psRpnQuery->sRpnStructure.eRpnStructureType = RST_RpnLopRopOperator;
    r->psQuery->uQuery.psRpnQuery->sRpnStructure.uRPNStructure.psRpnLopRopOperator = New<DbvRpnLopRopOperator>();
    DbvFreeSearchReq(r);
    // A selector out of range: the union is not looked at.
    DbvTerm *t = New<DbvTerm>();
    t->eTermType = 42;
    t->uTerm.ulNumeric = 0xFFFFFFFF;
    DbvTerm *copy = DbvCopyTerm(t);
    EXPECT_EQ(copy->eTermType, 42);
    EXPECT_EQ(copy->uTerm.ulNumeric, 0u);
    DbvFreeTerm(t);
    DbvFreeTerm(copy);
}

} // namespace
