// Whole sessions through the toolkit's API against the live peers of
// tests/peers (yaz-ztest and Zebra; KESTRA_PEERS_STATE names their ports):
// initialize, search, present in every record syntax each offers, scan and
// abort; a session traced at Trace_High shows every PDU field by field; and
// kestra-fetch writes the records' octets as the toolkit receives them.
#include <cstdio>
#include <cstdlib>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "tests/diag/scratch_dir.h"
#include "tests/toolkit/toolkit_kit.h"

namespace {

class LiveTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!PeerPort("KESTRA_PEERS_STATE", "ztest"))
            GTEST_SKIP() << "no live peers (KESTRA_PEERS_STATE)";
    }
};

struct Syntax {
    const char *oid;
    int valueType;
    int asn1Type; // of a single-ASN1-type value
};

const Syntax kUsmarc = {"1.2.840.10003.5.10", EVT_OctetAligned, 0},
             kSutrs = {"1.2.840.10003.5.101", EVT_SingleASN1Type, AT_UnstructuredText},
             kOpac = {"1.2.840.10003.5.102", EVT_SingleASN1Type, AT_OpacRecord},
             kGrs1 = {"1.2.840.10003.5.105", EVT_SingleASN1Type, AT_GenericRecord};

struct Offer {
    const char *name;
    const char *peer;
    const char *database;
    const char *term;
    std::vector<Syntax> syntaxes;
    int leastScanEntries; // yaz-ztest answers with an empty list; -1: no scan
};

class Sessions : public LiveTest, public testing::WithParamInterface<Offer> {};

// Initialize, search, present in every record syntax offered, scan, abort.
TEST_P(Sessions, PresentInEverySyntaxOfferedAndScan)
{
    const Offer &c = GetParam();
    std::string failure;
    DbvAssocId id = OpenSearched(PeerPort("KESTRA_PEERS_STATE", c.peer), c.database, c.term, 100000, &failure);
    ASSERT_GE(id, 0) << failure;
    for (const Syntax &syntax : c.syntaxes) {
        SCOPED_TRACE(syntax.oid);
        DbvReceivedPdu *pdu = Exchange(id, DBVPresentRequest, &DbvDesc_PresentReq, MakePresentReq(1, 2, syntax.oid),
                                       RPT_PresentRsp, &failure);
        ASSERT_TRUE(pdu) << failure;
        const DbvPresentRsp *response = pdu->uPdu.psPresentRsp;
        EXPECT_EQ(response->ePresentStatus, PS_Success);
        ASSERT_TRUE(response->psRecords && response->psRecords->eRecordsType == RT_Response);
        DbvNamePlusRecord **records = response->psRecords->uRecords.ppsResponseRecords;
        ASSERT_EQ(DbvListCount(records), response->ulNumberOfRecordsReturned);
        EXPECT_GT(response->ulNumberOfRecordsReturned, 0u);
        for (uint32_t i = 0; records && records[i]; i++) {
            ASSERT_EQ(records[i]->sRecord.eRecordType, DRT_Retrieval);
            const DbvExternal *record = records[i]->sRecord.uRecord.psRetrievalRecord;
            EXPECT_STREQ(record->ObjectIdentifier, syntax.oid);
            ASSERT_EQ(record->eValueType, syntax.valueType);
            if (syntax.valueType == EVT_SingleASN1Type) {
                EXPECT_EQ(record->uExternalValue.psSingleASN1Type->eASN1Type, syntax.asn1Type);
            } else {
                EXPECT_GT(record->uExternalValue.psOctetAligned->ulLength, 0u);
            }
        }
        DbvFreeReceivedPdu(pdu);
    }
    if (c.leastScanEntries >= 0) {
        DbvReceivedPdu *pdu =
            Exchange(id, DBVScanRequest, &DbvDesc_ScanReq, MakeScanReq(c.database, "a", 5), RPT_ScanRsp, &failure);
        ASSERT_TRUE(pdu) << failure;
        const DbvScanRsp *response = pdu->uPdu.psScanRsp;
        EXPECT_EQ(response->eScanStatus, SCS_Success);
        EXPECT_GE(response->ulNumberOfEntriesReturned, static_cast<uint32_t>(c.leastScanEntries));
        ASSERT_TRUE(response->psEntries);
        EXPECT_EQ(DbvListCount(response->psEntries->ppsEntry), response->ulNumberOfEntriesReturned);
        DbvFreeReceivedPdu(pdu);
    }
    EXPECT_EQ(Abort(id), SI_OK);
    EXPECT_EQ(AssocFind(id), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Peers, Sessions,
    testing::Values(Offer{"ztest", "ztest", "Default", "computer", {kUsmarc, kSutrs, kOpac}, 0},
                    Offer{"zebra_marc", "zebra", "marc", "computer", {kUsmarc}, -1},
                    Offer{"zebra_gils", "zebra", "gils", "utah", {kSutrs, kGrs1}, 3}),
    [](const testing::TestParamInfo<Offer> &info) { return std::string(info.param.name); });

// Every PDU of a session, sent and received, appears in a Trace_High trace
// with its frame and every field of the PDU under its name.
TEST_F(LiveTest, TraceHighShowsEveryPduFieldByField)
{
    ScratchDir scratch;
    std::FILE *trace = std::fopen("session.trc", "w+");
    std::string failure;
    DbvAssocId id =
        OpenSearched(PeerPort("KESTRA_PEERS_STATE", "zebra"), "gils", "utah", 100000, &failure, trace);
    ASSERT_GE(id, 0) << failure;
    DbvFreeReceivedPdu(Exchange(id, DBVPresentRequest, &DbvDesc_PresentReq,
                                MakePresentReq(1, 1, "1.2.840.10003.5.105"), RPT_PresentRsp, &failure));
    DbvFreeReceivedPdu(
        Exchange(id, DBVScanRequest, &DbvDesc_ScanReq, MakeScanReq("gils", "utah", 3), RPT_ScanRsp, &failure));
    EXPECT_EQ(Abort(id), SI_OK);
    std::fclose(trace);
    std::string text = ReadFile("session.trc");

    struct Traced {
        const char *direction;
        const char *header;
        const char *title;
        const DbvTypeDesc *type;
    } pdus[] = {
        {"Sending", "InitializeReq", "InitRequest", &DbvDesc_InitializeReq},
        {"Received", "InitializeRsp", "InitResponse", &DbvDesc_InitializeRsp},
        {"Sending", "SearchReq", "SearchRequest", &DbvDesc_SearchReq},
        {"Received", "SearchRsp", "SearchResponse", &DbvDesc_SearchRsp},
        {"Sending", "PresentReq", "PresentRequest", &DbvDesc_PresentReq},
        {"Received", "PresentRsp", "PresentResponse", &DbvDesc_PresentRsp},
        {"Sending", "ScanReq", "ScanRequest", &DbvDesc_ScanReq},
        {"Received", "ScanRsp", "ScanResponse", &DbvDesc_ScanRsp},
    };
    size_t at = 0;
    for (const Traced &p : pdus) {
        std::string frame = std::string("\n") + p.direction + " the following PDU:\n----------------------------------------\n## " +
                            p.header + " PDU ##\n\n" + p.title + " PDU\n";
        at = text.find(frame, at);
        ASSERT_NE(at, std::string::npos) << frame;
        size_t end = text.find("\n----------------------------------------\n", at + frame.size());
        std::string fields = text.substr(at, end - at);
        for (uint32_t i = 0; i < p.type->ulFieldCount; i++)
            EXPECT_NE(fields.find(std::string("\n") + p.type->psFields[i].pcName + ": "), std::string::npos)
                << p.header << " " << p.type->psFields[i].pcName;
        at = end;
    }
    EXPECT_NE(text.find("\nulMaxmiumMessageSize: 100000\n"), std::string::npos);
    EXPECT_NE(text.find("\npsGeneral: utah\n"), std::string::npos);
    EXPECT_NE(text.find("\neASN1Type: AT_GenericRecord\n"), std::string::npos);
}

// kestra-fetch's output is the records' octets, back to back, exactly as
// the toolkit receives them from the same present.
TEST_F(LiveTest, FetchWritesTheRawRecords)
{
    ScratchDir scratch;
    int port = PeerPort("KESTRA_PEERS_STATE", "ztest");
    std::string command =
        std::string(KESTRA_FETCH) + " 127.0.0.1 " + std::to_string(port) + " Default computer 7 > out.mrc 2> err.txt";
    ASSERT_EQ(std::system(command.c_str()), 0) << ReadFile("err.txt");

    std::string failure;
    DbvAssocId id = OpenSearched(port, "Default", "computer", 1000000, &failure);
    ASSERT_GE(id, 0) << failure;
    std::string expected;
    for (uint32_t next = 1; next <= 7;) {
        DbvReceivedPdu *pdu = Exchange(id, DBVPresentRequest, &DbvDesc_PresentReq,
                                       MakePresentReq(next, 8 - next, kUsmarc.oid), RPT_PresentRsp, &failure);
        ASSERT_TRUE(pdu) << failure;
        DbvNamePlusRecord **records = pdu->uPdu.psPresentRsp->psRecords->uRecords.ppsResponseRecords;
        ASSERT_GT(DbvListCount(records), 0u);
        for (uint32_t i = 0; records[i]; i++, next++) {
            const DbvOctetString *octets = records[i]->sRecord.uRecord.psRetrievalRecord->uExternalValue.psOctetAligned;
            expected.append(reinterpret_cast<const char *>(octets->pbData), octets->ulLength);
        }
        DbvFreeReceivedPdu(pdu);
    }
    Abort(id);
    EXPECT_EQ(ReadFile("out.mrc"), expected);
    ASSERT_FALSE(expected.empty());
    EXPECT_EQ(expected.back(), '\x1d'); // a MARC record's terminator
}

TEST_F(LiveTest, FetchReportsDiagnosticsOnStandardError)
{
    ScratchDir scratch;
    std::string command = std::string(KESTRA_FETCH) + " 127.0.0.1 " +
                          std::to_string(PeerPort("KESTRA_PEERS_STATE", "zebra")) +
                          " nosuchdb utah 3 > out.mrc 2> err.txt";
    EXPECT_NE(std::system(command.c_str()), 0);
    EXPECT_EQ(ReadFile("out.mrc"), "");
    EXPECT_NE(ReadFile("err.txt").find("diagnostic 109"), std::string::npos) << ReadFile("err.txt");
}

} // namespace
