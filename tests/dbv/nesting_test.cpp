// Nesting: received octets nested deeper than ASN_MAX_NESTING are refused as
// undecodable in every construction, requests nested deeper are refused by
// the checks, and every walk over the deepest input accepted stays within a
// quarter of the 1 MB stack that Windows gives a program's main thread.
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "dbv/dbv_check.h"
#include "dbv/dbv_print.h"
#include "dbv_convert.h"
#include "tests/dbv/dbv_testkit.h"

namespace {

using Bytes = std::vector<unsigned char>;

// A quarter of Windows' 1 MB main stack (not held to under AddressSanitizer,
// whose frames are three to four times larger).
const size_t kStackBudget = 256 * 1024;

struct Construction {
    const char *name;
    Bytes (*build)(int levels);
    bool indefinite;
    bool byHand; // built without the product's walks, so far deeper too
};

const Construction kConstructions[] = {
    {"constructed string, definite lengths", [](int levels) { return DeepStringClose(levels, false); }, false, true},
    {"constructed string, indefinite lengths", [](int levels) { return DeepStringClose(levels, true); }, true, true},
    {"GRS-1 elements, definite lengths", [](int levels) { return DeepGrs1Present(levels, false); }, false, true},
    {"GRS-1 elements, indefinite lengths", [](int levels) { return DeepGrs1Present(levels, true); }, true, true},
    {"RPN operators", [](int levels) { return Encode(SearchPdu(DeepSearchReq(levels))); }, false, false},
};

// The most levels whose octets nest no deeper than limit.
int MostLevelsWithin(const Construction &c, int limit)
{
    int first = BerDepth(c.build(1));
    int step = BerDepth(c.build(2)) - first;
    return 1 + (limit - first) / step;
}

int DecodeCode(const Bytes &octets)
{
    auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    int code = ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu);
    Release(pdu);
    return code;
}

TEST(Nesting, TheDecoderTakesTheLimitAndRefusesMoreAsUndecodable)
{
    for (const Construction &c : kConstructions) {
        SCOPED_TRACE(c.name);
        int levels = MostLevelsWithin(c, ASN_MAX_NESTING);
        Bytes under = c.build(levels);
        Bytes over = c.build(levels + 1);
        ASSERT_LE(BerDepth(under), ASN_MAX_NESTING);
        ASSERT_GT(BerDepth(over), ASN_MAX_NESTING);
        EXPECT_EQ(DecodeCode(under), 0);
        EXPECT_EQ(DecodeCode(over), ASN_TOO_DEEP_CODE);
        if (c.byHand) {
            EXPECT_EQ(DecodeCode(c.build(levels * 100)), ASN_TOO_DEEP_CODE);
        }
        // The receive path's entry point: the error every undecodable PDU gets.
        auto *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
        ASN_PduError error = {};
        EXPECT_EQ(DecodePdu(0, over.data(), static_cast<uint32_t>(over.size()), pdu, &error), 1);
        EXPECT_EQ(error.errorCode, 60);
        EXPECT_STREQ(error.text, "The received PDU could not be decoded");
        Release(pdu);
    }
}

int CheckSearch(int levels, SIError **error)
{
    DbvSearchReq *request = DeepSearchReq(levels);
    int result = DbvCheckSearchRequest(-1, request, error);
    DbvFreeSearchReq(request);
    return result;
}

TEST(Nesting, RequestsNestedDeeperThanTheLimitAreRefusedBeforeAnyWalk)
{
    // The deepest query that passes (two structures per operator) decodes.
    int levels = ASN_MAX_NESTING / 2;
    SIError *error = nullptr;
    while (levels > 0 && CheckSearch(levels, &error) != SI_OK) {
        SIFreeError(error);
        levels--;
    }
    ASSERT_GT(levels, ASN_MAX_NESTING / 2 - 8);
    EXPECT_EQ(DecodeCode(Encode(SearchPdu(DeepSearchReq(levels)))), 0);
    for (int deeper : {levels + 1, ASN_MAX_NESTING * 4}) {
        SCOPED_TRACE(deeper);
        ASSERT_EQ(CheckSearch(deeper, &error), SI_NOTOK);
        ASSERT_NE(error, nullptr);
        EXPECT_EQ(error->uErrorCode.lIfOsCoError, DBV_CHECK_RANGE);
        EXPECT_STREQ(error->pcDiagnostics, "psSearchReq contains a value which is out of its range");
        SIFreeError(error);
        error = nullptr;
    }
}

// A private query: a search-result report whose one entry holds query q.
DbvQuery *PrivateQueryAround(DbvQuery *q)
{
    DbvSearchInfoReportItem *item = New<DbvSearchInfoReportItem>();
    item->fFullQuery = DBV_TRUE;
    item->psSubqueryExpression = New<DbvQueryExpression>();
    item->psSubqueryExpression->eQueryExpressionType = QE_Query;
    item->psSubqueryExpression->uQueryExpression.psQuery = q;
    DbvExternal *e = New<DbvExternal>();
    e->ObjectIdentifier = Text("1.2.840.10003.10.1");
    e->eValueType = EVT_SingleASN1Type;
    e->uExternalValue.psSingleASN1Type = New<DbvSingleASN1Type>();
    e->uExternalValue.psSingleASN1Type->eASN1Type = AT_UserInfoSearchResult1;
    e->uExternalValue.psSingleASN1Type->uASN1.psUserInfoSearchResult1 = List<DbvSearchInfoReportItem>({item});
    DbvQuery *around = New<DbvQuery>();
    around->eQueryType = QT_Private;
    around->uQuery.psPrivateQuery = e;
    return around;
}

TEST(Nesting, APrivateQueryInsideAnotherIsLeftUndecoded)
{
    // Each private query is decoded afresh from its octets, so a chain of
    // them is opened one deep.
    DbvSearchReq *request = MakeSearchReq("Default", "x", 4);
    for (int i = 0; i < 3; i++)
        request->psQuery = PrivateQueryAround(request->psQuery);
    DbvPdu pdu = {};
    pdu.ePduType = DPT_SearchRequest;
    pdu.uPdu.psSearchRequest = request;
    DbvPdu *back = RoundTrip(&pdu);
    DbvFreeSearchReq(request);
    ASSERT_NE(back, nullptr);
    const DbvExternal *outer = back->uPdu.psSearchRequest->psQuery->uQuery.psPrivateQuery;
    ASSERT_EQ(outer->eValueType, EVT_SingleASN1Type);
    const DbvQuery *inner = outer->uExternalValue.psSingleASN1Type->uASN1.psUserInfoSearchResult1[0]
                                ->psSubqueryExpression->uQueryExpression.psQuery;
    ASSERT_EQ(inner->eQueryType, QT_Private);
    EXPECT_EQ(inner->uQuery.psPrivateQuery->ObjectIdentifier, nullptr);
    EXPECT_EQ(inner->uQuery.psPrivateQuery->uExternalValue.psSingleASN1Type, nullptr);
    DbvFreePdu(back);
}

// The walks over one PDU, each run on its own thread: the state they share.
struct Walked {
    Bytes octets;
    Bytes deeper; // by one level more, beyond the limit
    PDU *pdu;
    DbvPdu *dbv;
    DbvPdu *copy;
};

struct Walk {
    const char *name;
    void (*run)(Walked *w);
};

std::FILE *Sink()
{
    static std::FILE *sink = std::tmpfile();
    std::rewind(sink);
    return sink;
}

const Walk kWalks[] = {
    {"decode", [](Walked *w) {
         w->pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
         ASN_DecodePduCode(w->octets.data(), static_cast<uint32_t>(w->octets.size()), w->pdu);
     }},
    {"decode of one level more", [](Walked *w) { DecodeCode(w->deeper); }}, // refused at the limit
    {"codec print", [](Walked *w) { PrintPDU(Sink(), w->pdu, 0); }},
    {"conversion to DBV", [](Walked *w) { DbvPduFromAsn(w->pdu, &w->dbv); }},
    {"codec free", [](Walked *w) { Release(w->pdu); }},
    {"DBV trace print", [](Walked *w) { DbvPrintFields(Sink(), &DbvDesc_Pdu, w->dbv); }},
    {"request check", [](Walked *w) {
         SIError *error = nullptr;
         if (w->dbv->ePduType == DPT_SearchRequest)
             DbvCheckSearchRequest(-1, w->dbv->uPdu.psSearchRequest, &error);
         SIFreeError(error);
     }},
    {"DBV copy", [](Walked *w) { w->copy = DbvCopyPdu(w->dbv); }},
    {"DBV compare", [](Walked *w) { EXPECT_TRUE(DbvTreeEqual(&DbvDesc_Pdu, w->dbv, w->copy)); }},
    {"DBV free", [](Walked *w) { DbvFreePdu(w->copy); }},
    {"conversion from DBV and encode", [](Walked *w) {
         PDU *back = nullptr;
         EXPECT_EQ(DbvPduToAsn(w->dbv, &back), DBV_CONVERT_OK);
         EXPECT_FALSE(Encode(back).empty());
         DbvFreePdu(w->dbv);
     }},
};

// The stack that each walk uses on the octets, in walk order.
std::vector<size_t> StackOfEachWalk(const Bytes &octets, const Bytes &deeper)
{
    Walked walked = {octets, deeper, nullptr, nullptr, nullptr};
    std::vector<size_t> used;
    for (const Walk &walk : kWalks) {
        std::pair<const Walk *, Walked *> job(&walk, &walked);
        used.push_back(StackUsedBy(
            [](void *arg) {
                auto *j = static_cast<std::pair<const Walk *, Walked *> *>(arg);
                j->first->run(j->second);
            },
            &job));
    }
    return used;
}

// Each walk's stack at the limit is printed, and per level (from half of it).
TEST(Nesting, EveryWalkOverTheDeepestPduAcceptedFitsAQuarterOfTheStack)
{
    for (const Construction &c : kConstructions) {
        if (c.indefinite)
            continue; // the same walks as definite lengths
        SCOPED_TRACE(c.name);
        int levels = MostLevelsWithin(c, ASN_MAX_NESTING);
        Bytes deep = c.build(levels);
        Bytes half = c.build(levels / 2);
        std::vector<size_t> atLimit = StackOfEachWalk(deep, c.build(levels + 1));
        std::vector<size_t> atHalf = StackOfEachWalk(half, c.build(levels / 2 + 1));
        double nesting = BerDepth(deep) - BerDepth(half);
        for (size_t i = 0; i < atLimit.size(); i++) {
            std::printf("%-40s %-32s %7zu octets at nesting %d, %5.0f per level\n", c.name, kWalks[i].name,
                        atLimit[i], BerDepth(deep), (static_cast<double>(atLimit[i]) - atHalf[i]) / nesting);
#ifndef __SANITIZE_ADDRESS__
            EXPECT_LT(atLimit[i], kStackBudget) << kWalks[i].name;
#endif
        }
    }
}

} // namespace
