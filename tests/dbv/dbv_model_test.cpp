// The DBV structures from C, the names of reserved values, and freeing,
// copying and comparing trees. (The field names are those of the check
// messages' paths, tested there.)
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

TEST(DbvModel, ReservedRecordTypesHaveNoName)
{
    EXPECT_STREQ(DbvEnumName(&DbvEnum_AT, AT_GenericRecord), "AT_GenericRecord");
    EXPECT_EQ(DbvEnumName(&DbvEnum_AT, 8), nullptr);
    EXPECT_EQ(DbvEnumName(&DbvEnum_AT, 11), nullptr);
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
