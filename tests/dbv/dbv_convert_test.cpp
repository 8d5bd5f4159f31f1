// DBV trees through the codec and the wire and back: every PDU kind, filled
// field by field from its descriptor; the record syntaxes the client reads;
// the mappings that are not one to one; and the PDUs of real targets.
#include <algorithm>
#include <cstring>
#include <string>

#include <gtest/gtest.h>

#include "asn/asn_registry.h"
#include "dbv_convert.h"
#include "asn/asn_pdu.h"
#include "tests/asn/roundtrip.h"
#include "tests/dbv/dbv_testkit.h"

namespace {

// Round-trips pdu through the wire, expects the same tree and frees pdu.
void ExpectRoundTrip(DbvPdu *pdu, const std::string &what)
{
    DbvPdu *back = RoundTrip(pdu);
    EXPECT_NE(back, nullptr) << what;
    EXPECT_TRUE(back && DbvTreeEqual(&DbvDesc_Pdu, pdu, back)) << what;
    DbvFreePdu(back);
    DbvFreePdu(pdu);
}

// A PDU of the given type around body.
DbvPdu *PduOf(int type, void *body)
{
    DbvPdu *pdu = New<DbvPdu>();
    pdu->ePduType = type;
    *reinterpret_cast<void **>(reinterpret_cast<char *>(pdu) + DbvChoiceAlternative(&DbvDesc_Pdu, type)->ulDbvOffset) = body;
    return pdu;
}

// A retrieval record of e; npr through the codec's structures and back.
DbvNamePlusRecord *Retrieval(DbvExternal *e)
{
    DbvNamePlusRecord *npr = New<DbvNamePlusRecord>();
    npr->sRecord.eRecordType = DRT_Retrieval;
    npr->sRecord.uRecord.psRetrievalRecord = e;
    return npr;
}
DbvNamePlusRecord *ThroughCodec(const DbvNamePlusRecord *npr)
{
    NamePlusRecord *asn = nullptr;
    DbvNamePlusRecord *back = nullptr;
    EXPECT_EQ(DbvNamePlusRecordToAsn(npr, &asn), DBV_CONVERT_OK);
    EXPECT_EQ(DbvNamePlusRecordFromAsn(asn, &back), DBV_CONVERT_OK);
    FreeNamePlusRecord(asn);
    MemFree(asn);
    return back;
}

TEST(DbvRoundTrip, EveryPduKindKeepsEveryField)
{
    for (uint32_t i = 0; i < DbvDesc_Pdu.ulFieldCount; i++) {
        const DbvFieldDesc *alt = &DbvDesc_Pdu.psFields[i];
        for (unsigned seed = 0; seed < 12; seed++)
            ExpectRoundTrip(FilledPdu(alt->lSelector, seed), std::string(alt->pcName) + " seed " + std::to_string(seed));
    }
}

TEST(DbvRoundTrip, RecordSyntaxesOfPresentResponses)
{
    const int types[] = {AT_UnstructuredText, AT_OpacRecord, AT_SummaryRecord, AT_GenericRecord};
    for (int type : types) {
        for (unsigned seed = 0; seed < 6; seed++) {
            DbvPresentRsp *rsp = New<DbvPresentRsp>();
            rsp->ulNumberOfRecordsReturned = 1;
            rsp->ulNextResultSetPosition = 2;
            rsp->psRecords = New<DbvRecords>();
            rsp->psRecords->eRecordsType = RT_Response;
            DbvNamePlusRecord *record = Retrieval(New<DbvExternal>());
            record->psDatabaseName = Octets("Default");
            FillTypedExternal(record->sRecord.uRecord.psRetrievalRecord, type, seed);
            rsp->psRecords->uRecords.ppsResponseRecords = List<DbvNamePlusRecord>({record});
            ExpectRoundTrip(PduOf(DPT_PresentResponse, rsp),
                            std::string(DbvEnumName(&DbvEnum_AT, type)) + " seed " + std::to_string(seed));
        }
    }
}

// An ILL PDU whose ANY DEFINED BY values sit under keys that the codec
// decodes: extensions as client ids (key 800), delivery and document
// parameters as SUTRS text.
void UseKnownKeys(DbvExternal *ill)
{
    DbvILL_APDU *apdu = ill->uExternalValue.psSingleASN1Type->uASN1.psIllPdu;
    auto replace = [](DbvOctetString &octets, const std::string &bytes) {
        MemFree(octets.pbData);
        octets = InlineOctets(bytes);
    };
    const std::string sutrs("\x1b\x05notes", 7);
    EachStructure(&DbvDesc_ILL_APDU, apdu, &DbvDesc_Extension, [&](void *v) {
        DbvExtension *e = static_cast<DbvExtension *>(v);
        e->ulIdentifier = 800;
        replace(e->sItem, std::string("\x30\x00", 2));
    });
    EachStructure(&DbvDesc_ILL_APDU, apdu, &DbvDesc_Electronic_Delivery_ServiceE_delivery_service, [&](void *v) {
        auto *d = static_cast<DbvElectronic_Delivery_ServiceE_delivery_service *>(v);
        SetText(d->pcEDeliveryMode, "1.2.840.10003.5.101");
        replace(d->sEDeliveryParameters, sutrs);
    });
    EachStructure(&DbvDesc_ILL_APDU, apdu, &DbvDesc_Electronic_Delivery_ServiceDocument_type, [&](void *v) {
        auto *d = static_cast<DbvElectronic_Delivery_ServiceDocument_type *>(v);
        SetText(d->pcDocumentTypeId, "1.2.840.10003.5.101");
        replace(d->sDocumentTypeParameters, sutrs);
    });
}

TEST(DbvRoundTrip, IllPdusKeepTheirAnyValues)
{
    for (unsigned seed = 0; seed < 24; seed++) {
        DbvExternal *ill = New<DbvExternal>();
        FillTypedExternal(ill, AT_IllPdu, seed);
        UseKnownKeys(ill);
        DbvNamePlusRecord *npr = Retrieval(DbvCopyExternal(ill));
        DbvSearchReq *search = ValidSearchRequest();
        Reselect(&DbvDesc_Query, search->psQuery, QT_Private);
        search->psQuery->uQuery.psPrivateQuery = ill;
        ExpectRoundTrip(PduOf(DPT_SearchRequest, search), "seed " + std::to_string(seed));
        // Items that are not client ids, through the codec's structures only:
        // they go out as they are, but decode on receipt only under a key that
        // the codec knows.
        EachStructure(&DbvDesc_ILL_APDU, npr->sRecord.uRecord.psRetrievalRecord->uExternalValue.psSingleASN1Type->uASN1.psIllPdu,
                      &DbvDesc_Extension, [&](void *v) {
                          DbvOctetString &item = static_cast<DbvExtension *>(v)->sItem;
                          MemFree(item.pbData);
                          item = InlineOctets(std::string("\x04\x02zz", 4));
                      });
        DbvNamePlusRecord *back = ThroughCodec(npr);
        EXPECT_TRUE(back && DbvTreeEqual(&DbvDesc_NamePlusRecord, npr, back)) << "seed " << seed;
        DbvFreeNamePlusRecord(back);
        DbvFreeNamePlusRecord(npr);
    }
}

// -- queries of the types whose codec form differs

struct QueryCase {
    const char *name;
    int type;
    void *(*member)();
};

const QueryCase kQueries[] = {
    {"private, octet aligned", QT_Private,
     [] { return static_cast<void *>(OctetAlignedExternal("1.2.840.10003.16.99", "title=rivers")); }},
    {"private, typed", QT_Private,
     [] {
         DbvExternal *e = New<DbvExternal>();
         FillTypedExternal(e, AT_SummaryRecord, 5);
         return static_cast<void *>(e);
     }},
    {"sql", QT_Sql, [] { return static_cast<void *>(SqlQuery("SELECT title FROM books WHERE year > 1990")); }},
    {"sql on the abstract database", QT_Sql, [] { return static_cast<void *>(SqlQuery("SELECT 1", DBV_TRUE)); }},
    {"sql, flag false", QT_Sql, [] { return static_cast<void *>(SqlQuery("", DBV_FALSE)); }},
};

DbvQuery *QueryOf(const QueryCase &c)
{
    DbvQuery *q = New<DbvQuery>();
    q->eQueryType = c.type;
    *reinterpret_cast<void **>(&q->uQuery) = c.member();
    return q;
}

TEST(DbvRoundTrip, PrivateAndSqlQueries)
{
    for (const QueryCase &c : kQueries) {
        DbvSearchReq *search = ValidSearchRequest();
        DbvFreeQuery(search->psQuery);
        search->psQuery = QueryOf(c);
        ExpectRoundTrip(PduOf(DPT_SearchRequest, search), c.name);
    }
}

TEST(DbvConvert, PrivateQueryTravelsAsTheElementOfAnExternal)
{
    DbvQuery *q = QueryOf(kQueries[0]);
    Query *asn = nullptr;
    ASSERT_EQ(DbvQueryToAsn(q, &asn), DBV_CONVERT_OK);
    ASSERT_EQ(asn->choiceId, Query_type_0);
    const AsnOcts *open = asn->a.type_0;
    ASSERT_GT(open->octetLen, 2u);
    EXPECT_EQ(open->octs[0], 0x28); // [UNIVERSAL 8] constructed
    EXPECT_EQ(open->octs[1], open->octetLen - 2);
    // Octets that are not an EXTERNAL give an External without a value.
    open->octs[0] = 0x30;
    DbvQuery *back = nullptr;
    ASSERT_EQ(DbvQueryFromAsn(asn, &back), DBV_CONVERT_OK);
    ASSERT_EQ(back->eQueryType, QT_Private);
    ASSERT_NE(back->uQuery.psPrivateQuery, nullptr);
    EXPECT_EQ(back->uQuery.psPrivateQuery->ObjectIdentifier, nullptr);
    EXPECT_EQ(back->uQuery.psPrivateQuery->eValueType, 0);
    DbvFreeQuery(back);
    DbvFreeQuery(q);
    FreeQuery(asn);
    MemFree(asn);
}

TEST(DbvConvert, SqlQueryTravelsInAType104External)
{
    DbvQuery *q = QueryOf(kQueries[3]);
    Query *asn = nullptr;
    ASSERT_EQ(DbvQueryToAsn(q, &asn), DBV_CONVERT_OK);
    ASSERT_EQ(asn->choiceId, Query_type_104);
    const AsnExternal *e = asn->a.type_104;
    char oid[64];
    ASSERT_TRUE(ASN_OidToText(e->directReference, oid, sizeof oid));
    EXPECT_STREQ(oid, "1.2.840.10003.16.1");
    EXPECT_EQ(e->encodingChoice, static_cast<uint32_t>(AsnExternal_singleASN1Type));
    // Under another identifier the query is not taken for an SQL one.
    ASN_FreeOcts(asn->a.type_104->directReference);
    ASN_MakeOid("1.2.840.10003.16.2", asn->a.type_104->directReference);
    DbvQuery *back = nullptr;
    ASSERT_EQ(DbvQueryFromAsn(asn, &back), DBV_CONVERT_OK);
    ASSERT_EQ(back->eQueryType, QT_Sql);
    ASSERT_NE(back->uQuery.psSQLQuery, nullptr);
    EXPECT_EQ(back->uQuery.psSQLQuery->sQueryExpression.pbData, nullptr);
    EXPECT_EQ(back->uQuery.psSQLQuery->pfAbstractDatabaseFlag, nullptr);
    DbvFreeQuery(back);
    DbvFreeQuery(q);
    FreeQuery(asn);
    MemFree(asn);
}

// -- the irregular mappings, seen on the codec side

TEST(DbvConvert, OperatorsMapToTheProtocolsOrder)
{
    const struct {
        int dbv;
        uint32_t asn;
    } cases[] = {{OPR_Or, Operator_or_}, {OPR_And, Operator_and_}, {OPR_AndNot, Operator_and_not}};
    for (const auto &c : cases) {
        DbvOperator op = {};
        op.eOperatorType = c.dbv;
        Operator *asn = nullptr;
        ASSERT_EQ(DbvOperatorToAsn(&op, &asn), DBV_CONVERT_OK);
        EXPECT_EQ(asn->choiceId, c.asn) << DbvEnumName(DbvDesc_Operator.psSelectorEnum, c.dbv);
        EXPECT_NE(asn->a.and_, nullptr); // the NULL alternative is present
        DbvOperator *back = nullptr;
        ASSERT_EQ(DbvOperatorFromAsn(asn, &back), DBV_CONVERT_OK);
        EXPECT_EQ(back->eOperatorType, c.dbv);
        DbvFreeOperator(back);
        FreeOperator(asn);
        MemFree(asn);
    }
}

TEST(DbvConvert, IdentifiersBitStringsAndOctets)
{
    DbvInitializeReq *init = ValidInitializeRequest();
    SetText(init->pcProtocolVersion, "1101");
    SetText(init->psUserInformationField->ObjectIdentifier, "1.2.840.10003.5.100");
    InitializeRequest *asn = nullptr;
    ASSERT_EQ(DbvInitializeReqToAsn(init, &asn), DBV_CONVERT_OK);
    EXPECT_EQ(asn->protocolVersion->bitLen, 4u);
    EXPECT_EQ(asn->protocolVersion->bits[0], 0xD0);
    char oid[64];
    ASSERT_TRUE(ASN_OidToText(asn->userInformationField->directReference, oid, sizeof oid));
    EXPECT_STREQ(oid, "1.2.840.10003.5.100");
    EXPECT_EQ(Text(asn->implementationName), "Kestra Z39.50 Client");
    EXPECT_EQ(asn->preferredMessageSize, 10000);
    DbvInitializeReq *back = nullptr;
    ASSERT_EQ(DbvInitializeReqFromAsn(asn, &back), DBV_CONVERT_OK);
    EXPECT_STREQ(back->pcProtocolVersion, "1101");
    EXPECT_STREQ(back->psUserInformationField->ObjectIdentifier, "1.2.840.10003.5.100");
    EXPECT_TRUE(DbvTreeEqual(&DbvDesc_InitializeReq, init, back));
    DbvFreeInitializeReq(back);
    DbvFreeInitializeReq(init);
    FreeInitializeRequest(asn);
    MemFree(asn);
}

TEST(DbvConvert, TypedExternalWithoutIdentifierIsSentUnderItsOwn)
{
    DbvExternal *e = New<DbvExternal>();
    FillTypedExternal(e, AT_OpacRecord, 3);
    SetText(e->ObjectIdentifier, nullptr);
    DbvNamePlusRecord *npr = Retrieval(e);
    DbvNamePlusRecord *back = ThroughCodec(npr);
    ASSERT_NE(back, nullptr);
    const DbvExternal *got = back->sRecord.uRecord.psRetrievalRecord;
    EXPECT_STREQ(got->ObjectIdentifier, "1.2.840.10003.5.102");
    ASSERT_EQ(got->eValueType, EVT_SingleASN1Type);
    EXPECT_EQ(got->uExternalValue.psSingleASN1Type->eASN1Type, AT_OpacRecord);
    EXPECT_TRUE(DbvTreeEqual(&DbvDesc_OPACRecord, e->uExternalValue.psSingleASN1Type->uASN1.psOpacRecord,
                             got->uExternalValue.psSingleASN1Type->uASN1.psOpacRecord));
    DbvFreeNamePlusRecord(back);
    DbvFreeNamePlusRecord(npr);
}

// -- PDUs of real targets (tests/asn/fixtures, every one of them): complete,
// stable when encoded again, into DBV, spot checks, and back out to the same tree.

const DbvExternal *FirstRecord(const DbvPdu *pdu)
{
    const DbvRecords *records = pdu->uPdu.psPresentResponse->psRecords;
    if (!records || records->eRecordsType != RT_Response || !records->uRecords.ppsResponseRecords)
        return nullptr;
    const DbvRecord *record = &records->uRecords.ppsResponseRecords[0]->sRecord;
    return record->eRecordType == DRT_Retrieval ? record->uRecord.psRetrievalRecord : nullptr;
}

int RecordType(const DbvPdu *pdu)
{
    const DbvExternal *e = FirstRecord(pdu);
    if (!e)
        return -1;
    return e->eValueType == EVT_SingleASN1Type ? e->uExternalValue.psSingleASN1Type->eASN1Type : -e->eValueType;
}

struct FixtureCase {
    const char *file;
    int pduType;
    void (*check)(const DbvPdu *);
};

const FixtureCase kFixtures[] = {
    {"ztest-init.ber", DPT_InitResponse,
     [](const DbvPdu *p) {
         const DbvInitializeRsp *r = p->uPdu.psInitResponse;
         EXPECT_EQ(std::string(r->pcProtocolVersion).substr(0, 3), "111");
         EXPECT_EQ(r->ulMaxmiumMessageSize, 1048576u);
         EXPECT_EQ(r->fResult, DBV_TRUE);
         EXPECT_EQ(std::string(reinterpret_cast<char *>(r->psImplementationName->pbData)), "GFS/YAZ");
     }},
    {"zebra-init.ber", DPT_InitResponse, [](const DbvPdu *p) { EXPECT_EQ(p->uPdu.psInitResponse->fResult, DBV_TRUE); }},
    {"ztest-search.ber", DPT_SearchResponse, [](const DbvPdu *p) { EXPECT_GT(p->uPdu.psSearchResponse->ulResultCount, 0u); }},
    {"zebra-search.ber", DPT_SearchResponse, [](const DbvPdu *p) { EXPECT_GT(p->uPdu.psSearchResponse->ulResultCount, 0u); }},
    {"zebra-search-diagnostic.ber", DPT_SearchResponse,
     [](const DbvPdu *p) {
         const DbvSearchRsp *r = p->uPdu.psSearchResponse;
         ASSERT_NE(r->peResultSetStatus, nullptr);
         EXPECT_EQ(*r->peResultSetStatus, RSS_None);
         ASSERT_EQ(r->psRecords->eRecordsType, RT_NonSurrDiagnostics);
         const DbvDefaultDiagFormat *d = r->psRecords->uRecords.psNonSurrogateDiagnostic;
         EXPECT_STREQ(d->pcDiagnosticSetId, "1.2.840.10003.4.1");
         EXPECT_EQ(d->ulCondition, 109u);
         EXPECT_EQ(d->sAdditionalInfo.eProtocolVersionInForce, PVIF_Version2);
         EXPECT_STREQ(d->sAdditionalInfo.uAdditionalInfo.pcV2, "nodb");
     }},
    {"ztest-search-diagnostic.ber", DPT_SearchResponse, [](const DbvPdu *p) { EXPECT_NE(p->uPdu.psSearchResponse->psRecords, nullptr); }},
    {"ztest-present-sutrs.ber", DPT_PresentResponse, [](const DbvPdu *p) { EXPECT_EQ(RecordType(p), AT_UnstructuredText); }},
    {"zebra-present-sutrs.ber", DPT_PresentResponse, [](const DbvPdu *p) { EXPECT_EQ(RecordType(p), AT_UnstructuredText); }},
    {"ztest-present-opac.ber", DPT_PresentResponse,
     [](const DbvPdu *p) {
         ASSERT_EQ(RecordType(p), AT_OpacRecord);
         const DbvOPACRecord *opac = FirstRecord(p)->uExternalValue.psSingleASN1Type->uASN1.psOpacRecord;
         ASSERT_NE(opac->psBibliographicRecord, nullptr);
         EXPECT_EQ(opac->psBibliographicRecord->eValueType, EVT_OctetAligned);
         EXPECT_GT(DbvListCount(opac->ppsHoldingsData), 0u);
     }},
    {"ztest-present-usmarc.ber", DPT_PresentResponse,
     [](const DbvPdu *p) {
         ASSERT_EQ(RecordType(p), -EVT_OctetAligned);
         const DbvExternal *e = FirstRecord(p);
         EXPECT_STREQ(e->ObjectIdentifier, "1.2.840.10003.5.10");
         // The raw MARC record: its leader starts with the record length.
         const DbvOctetString *marc = e->uExternalValue.psOctetAligned;
         EXPECT_EQ(std::string(reinterpret_cast<char *>(marc->pbData), 5), std::to_string(100000 + marc->ulLength).substr(1));
     }},
    {"zebra-present-usmarc.ber", DPT_PresentResponse, [](const DbvPdu *p) { EXPECT_EQ(RecordType(p), -EVT_OctetAligned); }},
    {"zebra-present-grs1.ber", DPT_PresentResponse,
     [](const DbvPdu *p) {
         ASSERT_EQ(RecordType(p), AT_GenericRecord);
         DbvTaggedElement **grs = FirstRecord(p)->uExternalValue.psSingleASN1Type->uASN1.psGenericRecord;
         ASSERT_GE(DbvListCount(grs), 2u);
         EXPECT_EQ(*grs[0]->pulTagType, 1u);
     }},
    {"zebra-present-summary.ber", DPT_PresentResponse,
     [](const DbvPdu *p) {
         const DbvRecord *r = &p->uPdu.psPresentResponse->psRecords->uRecords.ppsResponseRecords[0]->sRecord;
         ASSERT_EQ(r->eRecordType, DRT_SurrogateDiagnostics);
         EXPECT_EQ(r->uRecord.psSurrogateDiagnostic->uDiagnostics.psDefault->ulCondition, 238u);
     }},
    {"zebra-scan.ber", DPT_ScanResponse,
     [](const DbvPdu *p) {
         const DbvScanRsp *r = p->uPdu.psScanResponse;
         EXPECT_EQ(r->eScanStatus, SCS_Success);
         ASSERT_NE(r->psEntries, nullptr);
         ASSERT_EQ(DbvListCount(r->psEntries->ppsEntry), r->ulNumberOfEntriesReturned);
         const DbvTermInfo *t = r->psEntries->ppsEntry[0]->uEntry.psTermInfo;
         EXPECT_EQ(std::string(reinterpret_cast<char *>(t->sTerm.uTerm.psGeneral->pbData)), "analyzed");
     }},
    {"ztest-scan.ber", DPT_ScanResponse,
     [](const DbvPdu *p) {
         EXPECT_EQ(p->uPdu.psScanResponse->eScanStatus, SCS_Success);
         ASSERT_NE(p->uPdu.psScanResponse->psEntries, nullptr);
         EXPECT_EQ(DbvListCount(p->uPdu.psScanResponse->psEntries->ppsEntry), 0u);
     }},
    {"ztest-close.ber", DPT_Close, [](const DbvPdu *p) { EXPECT_NE(p->uPdu.psClose->eCloseReason, CR_Invalid); }},
    {"zebra-close.ber", DPT_Close, [](const DbvPdu *p) { EXPECT_NE(p->uPdu.psClose->eCloseReason, CR_Invalid); }},
};

TEST(DbvConvert, RealTargetsPdus)
{
    std::vector<std::string> listed;
    for (const FixtureCase &c : kFixtures)
        listed.push_back(c.file);
    std::sort(listed.begin(), listed.end());
    EXPECT_EQ(listed, FixtureNames()); // every captured PDU, each once
    for (const FixtureCase &c : kFixtures) {
        SCOPED_TRACE(c.file);
        std::vector<unsigned char> octets = Fixture(c.file);
        uint32_t total = 0;
        ASSERT_TRUE(PduLength(octets.data(), static_cast<uint32_t>(octets.size()), &total));
        EXPECT_EQ(total, octets.size());
        PDU *asn = Decode(octets);
        ASSERT_NE(asn, nullptr);
        ExpectStableReencoding(Decode(octets)); // takes its PDU
        DbvPdu *pdu = nullptr;
        ASSERT_EQ(DbvPduFromAsn(asn, &pdu), DBV_CONVERT_OK);
        Release(asn);
        ASSERT_EQ(pdu->ePduType, c.pduType);
        c.check(pdu);
        DbvPdu *back = RoundTrip(pdu);
        EXPECT_TRUE(DbvTreeEqual(&DbvDesc_Pdu, pdu, back));
        DbvFreePdu(back);
        DbvFreePdu(pdu);
    }
}

} // namespace
