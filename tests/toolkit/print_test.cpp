// The PDU trace printer: real targets' PDUs (the fixtures of tests/asn)
// converted and dumped field by field under their own names, the special
// lines of the rules, and the frame at each trace level.
#include <cstdio>
#include <functional>
#include <string>
#include <utility>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "dbv/dbv_convert.h"
#include "dbv/dbv_receive.h"
#include "diag/trace.h"
#include "tests/dbv/dbv_testkit.h"
#include "tests/toolkit/toolkit_kit.h"
#include "ui/mem.h"

namespace {

std::string Capture(const std::function<void(std::FILE *)> &write)
{
    std::FILE *f = std::tmpfile();
    write(f);
    std::string text = StreamText(f);
    std::fclose(f);
    return text;
}

// A fixture decoded and converted as the receive path does it.
DbvReceivedPdu *Received(const char *fixture, bool closeAnswersOurs = false)
{
    std::vector<unsigned char> octets = Fixture(fixture);
    PDU *pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
    DbvReceivedPdu *holder = static_cast<DbvReceivedPdu *>(MemAlloc(sizeof(DbvReceivedPdu)));
    holder->ePduType = RPT_None;
    int code = ASN_DecodePduCode(octets.data(), static_cast<uint32_t>(octets.size()), pdu);
    const DbvReceivedKind *kind = DbvReceivedKindOf(pdu, closeAnswersOurs);
    EXPECT_TRUE(code == 0 && kind) << fixture;
    if (code == 0 && kind) {
        EXPECT_EQ(DbvFillReceived(kind, pdu, octets.data(), static_cast<uint32_t>(octets.size()), holder),
                  DBV_CONVERT_OK);
    }
    FreePDU(pdu);
    MemFree(pdu);
    return holder;
}

std::string Dump(const DbvReceivedPdu *pdu)
{
    DbvPduDump dump;
    EXPECT_TRUE(DbvDumpOfReceived(pdu, &dump));
    return Capture([&](std::FILE *f) { DbvWritePduDump(f, dump); });
}

struct FixtureDump {
    const char *fixture;
    int type;
    const char *header;
    const char *title;
    std::vector<const char *> lines; // more lines the dump must hold
};

class FixtureDumps : public testing::TestWithParam<FixtureDump> {};

TEST_P(FixtureDumps, FrameTitleAndEveryFieldByName)
{
    const FixtureDump &c = GetParam();
    DbvReceivedPdu *pdu = Received(c.fixture);
    ASSERT_EQ(pdu->ePduType, c.type);
    std::string text = Dump(pdu);
    const std::string separator = "----------------------------------------\n";
    EXPECT_EQ(text.rfind(separator + "## " + c.header + " PDU ##\n\n" + c.title + "\n", 0), 0u) << text;
    EXPECT_EQ(text.substr(text.size() - separator.size()), separator);
    DbvPduDump dump;
    DbvDumpOfReceived(pdu, &dump);
    for (uint32_t i = 0; i < dump.psType->ulFieldCount; i++)
        EXPECT_NE(text.find(std::string("\n") + dump.psType->psFields[i].pcName + ": "), std::string::npos)
            << dump.psType->psFields[i].pcName;
    for (const char *line : c.lines)
        EXPECT_NE(text.find(line), std::string::npos) << line << "\n" << text;
    DbvFreeReceivedPdu(pdu);
}

INSTANTIATE_TEST_SUITE_P(
    Targets, FixtureDumps,
    testing::Values(
        FixtureDump{"ztest-init.ber", RPT_InitializeRsp, "InitializeRsp", "InitResponse PDU",
                    {"\nfResult: TRUE\n", "\npsReferenceId: NULL\n", "\nulMaxmiumMessageSize: ", "\npsImplementationName: GFS/YAZ\n"}},
        FixtureDump{"zebra-search.ber", RPT_SearchRsp, "SearchRsp", "SearchResponse PDU",
                    {"\nfSearchStatus: DBV_TRUE\n", "\npePresentStatus: NULL\n"}},
        FixtureDump{"zebra-search-diagnostic.ber", RPT_SearchRsp, "SearchRsp", "SearchResponse PDU",
                    {"\nfSearchStatus: DBV_FALSE\n", "\nulCondition: "}},
        FixtureDump{"ztest-present-usmarc.ber", RPT_PresentRsp, "PresentRsp", "PresentResponse PDU",
                    {"\nePresentStatus: PS_Success\n", "\neRecordsType: RT_Response\n", "\neValueType: EVT_OctetAligned\n",
                     "\npsOctetAligned: 00366nam"}},
        FixtureDump{"zebra-present-grs1.ber", RPT_PresentRsp, "PresentRsp", "PresentResponse PDU",
                    {"\neASN1Type: AT_GenericRecord\n", "\npsGenericRecord: \n"}},
        FixtureDump{"zebra-present-summary.ber", RPT_PresentRsp, "PresentRsp", "PresentResponse PDU",
                    {"\neRecordType: DRT_SurrogateDiagnostics\n", "\nulCondition: 238\n"}},
        FixtureDump{"ztest-present-opac.ber", RPT_PresentRsp, "PresentRsp", "PresentResponse PDU",
                    {"\neASN1Type: AT_OpacRecord\n"}},
        FixtureDump{"zebra-scan.ber", RPT_ScanRsp, "ScanRsp", "ScanResponse PDU", {"\neScanStatus: SCS_"}},
        FixtureDump{"ztest-close.ber", RPT_CloseReq, "Close 'CloseReq'", "Close PDU", {"\neCloseReason: CR_"}}),
    [](const testing::TestParamInfo<FixtureDump> &info) {
        std::string name = info.param.fixture;
        name = name.substr(0, name.find('.'));
        for (char &c : name)
            c = c == '-' ? '_' : c;
        return name;
    });

TEST(PduPrinter, ResultLines)
{
    const std::pair<int, const char *> cases[] = {
        {1, "\nfResult: TRUE\n"}, {0, "\nfResult: FALSE\n"}, {7, "\nfResult: 7 - invalid\n"}};
    for (const auto &c : cases) {
        DbvInitializeRsp response = {};
        response.fResult = c.first;
        std::string text = Capture([&](std::FILE *f) { DbvPrintFields(f, &DbvDesc_InitializeRsp, &response); });
        EXPECT_NE(text.find(c.second), std::string::npos) << text;
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
    std::string text = Capture([&](std::FILE *f) { DbvPrintFields(f, &DbvDesc_InitializeReq, request); });
    EXPECT_EQ(text, "psReferenceId: NULL\n"
                    "pcProtocolVersion: 111\n"
                    "pcOptions: NULL\n"
                    "ulPreferredMessageSize: 0\n"
                    "ulMaxmiumMessageSize: 4000000000\n"
                    "psAuthentication: NULL\n"
                    "psImplementationId: \n"
                    "psImplementationName: Kes\n"
                    "psImplementationVersion: NULL\n"
                    "psUserInformationField: NULL\n"
                    "ppsOtherInformation: NULL\n\n");
    DbvFreeTree(&DbvDesc_InitializeReq, request);
}

TEST(PduPrinter, UnknownSelectorPrintsUnknownAndNothingBehindIt)
{
    DbvQuery query = {};
    query.eQueryType = 42;
    EXPECT_EQ(Capture([&](std::FILE *f) { DbvPrintFields(f, &DbvDesc_Query, &query); }), "eQueryType: Unknown\n");
}

struct LevelCase {
    const char *name;
    int32_t level;
    bool stream;
    const char *expected;
};

class TraceLevels : public testing::TestWithParam<LevelCase> {};

TEST_P(TraceLevels, FrameReachesTheTraceOnlyAtTraceHigh)
{
    const LevelCase &c = GetParam();
    DbvClose close = {};
    close.eCloseReason = CR_Finished;
    const DbvAssocId id = 7001;
    std::string text = Capture([&](std::FILE *f) {
        TraceAdd(id, c.stream ? f : nullptr, c.level);
        DbvTracePduDump(id, "\nReceived the following PDU:\n", DbvDumpOfPdu(DPT_Close, &close, false));
        TraceRemove(id);
    });
    EXPECT_EQ(text, c.expected);
}

INSTANTIATE_TEST_SUITE_P(
    Levels, TraceLevels,
    testing::Values(LevelCase{"low", Trace_Low, true, ""}, LevelCase{"high_without_stream", Trace_High, false, ""},
                    LevelCase{"high", Trace_High, true,
                              "\nReceived the following PDU:\n----------------------------------------\n"
                              "## Close 'CloseReq' PDU ##\n\nClose PDU\npsReferenceId: NULL\neCloseReason: CR_Finished\n"
                              "psDiagnosticInformation: NULL\npcResourceReportFormat: NULL\npsResourceReport: NULL\n"
                              "ppsOtherInformation: NULL\n\n----------------------------------------\n"}),
    [](const testing::TestParamInfo<LevelCase> &info) { return std::string(info.param.name); });

} // namespace
