// The DBV model: the tree comparison the round trips rely on, the trace
// printer's rules, the converters where no sampled value goes (private and
// SQL queries), and the PDUs of real targets through the codec and DBV.
#include <string>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "asn/asn_registry.h"
#include "dbv/dbv_tree.h"
#include "dbv_convert.h"
#include "tests/dbv/dbv_testkit.h"

namespace {

TEST(DbvTree, EqualityNoticesEveryKindOfField)
{
    const std::pair<const char *, void (*)(DbvSearchReq *)> cases[] = {
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
        c.second(b);
        EXPECT_FALSE(DbvTreeEqual(&DbvDesc_SearchReq, a, b)) << c.first;
        DbvFreeSearchReq(a);
        DbvFreeSearchReq(b);
    }
}

TEST(PduPrinter, FieldsFollowTheRulesOfTheirKinds)
{
    DbvInitializeReq *request = New<DbvInitializeReq>();
    request->pcProtocolVersion = Text("111");
    request->ulMaxmiumMessageSize = 4000000000u;
    request->psImplementationId = Octets("");
    request->psImplementationName = Octets(std::string("Kes\0tra", 7));
    request->ppsOtherInformation = List<DbvOtherInformation>({});
    EXPECT_EQ(Printed(&DbvDesc_InitializeReq, request),
              "psReferenceId: NULL\npcProtocolVersion: 111\npcOptions: NULL\nulPreferredMessageSize: 0\n"
              "ulMaxmiumMessageSize: 4000000000\npsAuthentication: NULL\npsImplementationId: \n"
              "psImplementationName: Kes\npsImplementationVersion: NULL\npsUserInformationField: NULL\n"
              "ppsOtherInformation: NULL\n\n");
    DbvFreeTree(&DbvDesc_InitializeReq, request);
    DbvQuery query = {};
    query.eQueryType = 42;
    EXPECT_EQ(Printed(&DbvDesc_Query, &query), "eQueryType: Unknown\n");
}

struct QueryCase {
    const char *name;
    int type;
    void *(*member)();
};

const QueryCase kQueries[] = {
    {"private", QT_Private, [] { return static_cast<void *>(OctetAlignedExternal("1.2.840.10003.16.99", "title=a")); }},
    {"sql", QT_Sql, [] { return static_cast<void *>(SqlQuery("SELECT title FROM books WHERE year > 1990")); }},
    {"sql on the abstract database", QT_Sql, [] { return static_cast<void *>(SqlQuery("SELECT 1", DBV_TRUE)); }},
    {"sql, flag false", QT_Sql, [] { return static_cast<void *>(SqlQuery("", DBV_FALSE)); }},
};

// Each query round-trips: the private one as the element of an EXTERNAL,
// the SQL one in a type-104 EXTERNAL under 1.2.840.10003.16.1.
TEST(DbvConvert, PrivateAndSqlQueries)
{
    for (const QueryCase &c : kQueries) {
        DbvPdu pdu = {};
        pdu.ePduType = DPT_SearchRequest;
        pdu.uPdu.psSearchRequest = ValidSearchRequest();
        Reselect(&DbvDesc_Query, pdu.uPdu.psSearchRequest->psQuery, c.type);
        *reinterpret_cast<void **>(&pdu.uPdu.psSearchRequest->psQuery->uQuery) = c.member();
        DbvPdu *back = RoundTrip(&pdu);
        EXPECT_TRUE(back && DbvTreeEqual(&DbvDesc_Pdu, &pdu, back)) << c.name;
        DbvFreePdu(back);
        Query *asn = nullptr;
        ASSERT_EQ(DbvQueryToAsn(pdu.uPdu.psSearchRequest->psQuery, &asn), DBV_CONVERT_OK);
        DbvFreeSearchReq(pdu.uPdu.psSearchRequest);
        char oid[64] = "";
        if (c.type == QT_Sql)
            ASN_OidToText(asn->a.type_104->directReference, oid, sizeof oid);
        EXPECT_EQ(asn->choiceId, c.type == QT_Sql ? Query_type_104 : Query_type_0);
        EXPECT_STREQ(oid, c.type == QT_Sql ? "1.2.840.10003.16.1" : "");
        EXPECT_TRUE(c.type == QT_Sql || asn->a.type_0->octs[0] == 0x28); // [UNIVERSAL 8] constructed
        FreeQuery(asn);
        MemFree(asn);
    }
}

// Every captured PDU: complete at its end, the same octets when encoded
// again, into DBV and back out to the same tree.
TEST(DbvConvert, RealTargetsPdus)
{
    ASSERT_EQ(FixtureNames().size(), 17u);
    for (const std::string &name : FixtureNames()) {
        SCOPED_TRACE(name);
        std::vector<unsigned char> octets = Fixture(name.c_str());
        uint32_t total = 0;
        ASSERT_TRUE(PduLength(octets.data(), static_cast<uint32_t>(octets.size()), &total));
        EXPECT_EQ(total, octets.size());
        PDU *asn = Decode(octets);
        ASSERT_NE(asn, nullptr);
        std::vector<unsigned char> again = Encode(asn);
        asn = Decode(again);
        ASSERT_NE(asn, nullptr);
        DbvPdu *pdu = nullptr;
        EXPECT_EQ(DbvPduFromAsn(asn, &pdu), DBV_CONVERT_OK);
        EXPECT_EQ(Encode(asn), again);
        DbvPdu *back = RoundTrip(pdu);
        EXPECT_TRUE(back && DbvTreeEqual(&DbvDesc_Pdu, pdu, back));
        DbvFreePdu(back);
        DbvFreePdu(pdu);
    }
}

} // namespace
