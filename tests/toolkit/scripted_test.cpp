// The request calls and ReceiveDataOrigin against the scripted test target
// (tests/peers/scripted_target.py; KESTRA_TARGETS_STATE names its ports),
// which answers with the octets each test writes for it: a Close during a
// search, an unknown PDU tag, an undecodable PDU, an answer nobody asked
// for, the peer leaving in mid-PDU; and the argument checks and refusals of
// the request calls.
#include <algorithm>
#include <cstdio>
#include <functional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "tests/dbv/dbv_testkit.h"
#include "tests/diag/scratch_dir.h"
#include "tests/toolkit/toolkit_kit.h"
#include "ui/os.h"

namespace {

using Octets = std::vector<unsigned char>;

int ScriptedPort()
{
    return PeerPort("KESTRA_TARGETS_STATE", "scripted");
}

// An association whose target sends octets back and then keeps quiet
// (mode "keep") or closes (mode "close").
DbvAssocId Scripted(const char *mode, const Octets &octets)
{
    DbvAssocId id = OpenAssociation(ScriptedPort());
    std::string script = std::string(mode) + " 100000 0\n";
    char pair[3];
    for (unsigned char c : octets) {
        std::snprintf(pair, sizeof pair, "%02x", c);
        script += pair;
    }
    script += "\n";
    SIError *error = nullptr;
    EXPECT_EQ(SISendOctets(id, reinterpret_cast<const unsigned char *>(script.data()),
                           static_cast<uint32_t>(script.size()), &error),
              SI_OK);
    SIFreeError(error);
    return id;
}

Octets Joined(std::initializer_list<Octets> parts)
{
    Octets all;
    for (const Octets &p : parts)
        all.insert(all.end(), p.begin(), p.end());
    return all;
}

int32_t State(DbvAssocId id)
{
    AssocEntry *entry = AssocFind(id);
    return entry ? entry->protocolState : 0;
}

struct Received {
    int result = SI_NOTOK;
    DbvReceivedPdu *pdu = nullptr;
    SIError *error = nullptr;
    ~Received()
    {
        DbvFreeReceivedPdu(pdu);
        SIFreeError(error);
    }
    int32_t code() const { return error && error->eErrorClass != SI_Abort ? error->uErrorCode.lIfOsCoError : -1; }
    std::string text() const { return error && error->pcDiagnostics ? error->pcDiagnostics : ""; }
};

void Receive(Received *r, DbvAssocId id, int32_t wait)
{
    r->result = ReceiveDataOrigin(id, wait, &r->pdu, &r->error);
}

template <typename Request>
int Call(int (*call)(DbvAssocId, const Request *, SIError **), DbvAssocId id, const DbvTypeDesc *type, Request *request,
         std::string *text = nullptr)
{
    SIError *error = nullptr;
    int result = call(id, request, &error);
    if (text)
        *text = error && error->pcDiagnostics ? error->pcDiagnostics : "";
    SIFreeError(error);
    DbvFreeTree(type, request);
    return result;
}

void Abort(DbvAssocId id)
{
    SIError *error = nullptr;
    DbvAbortRequest(id, &error);
    SIFreeError(error);
}

class ScriptedTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!ScriptedPort())
            GTEST_SKIP() << "no scripted target (KESTRA_TARGETS_STATE)";
    }
    // Opens, traces at Trace_High and initializes against a target that
    // answers with an accepting initResponse and then the octets.
    DbvAssocId Initialized(const char *mode, const Octets &then)
    {
        DbvAssocId id = Scripted(mode, Joined({Fixture("ztest-init.ber"), then}));
        SIError *error = nullptr;
        EXPECT_EQ(SISetTraceParameter(id, trace, Trace_High, &error), SI_OK);
        SIFreeError(error);
        EXPECT_EQ(Call(DBVInitializeRequest, id, &DbvDesc_InitializeReq, MakeInitializeReq(10000)), SI_OK);
        Received init;
        Receive(&init, id, 10);
        EXPECT_EQ(init.result, SI_OK) << init.text();
        EXPECT_TRUE(init.pdu && init.pdu->ePduType == RPT_InitializeRsp);
        EXPECT_EQ(State(id), DBV_OS_OPEN);
        return id;
    }
    void TearDown() override
    {
        if (trace)
            std::fclose(trace);
    }
    ScratchDir scratch;
    std::FILE *trace = std::tmpfile();
};

struct Arrival {
    const char *name;
    bool searchFirst;
    Octets octets;
    int result;
    int type;      // of the holder, when one was made
    int32_t code;  // of the error, -1 for none
    int32_t state; // afterwards
    const char *traced;
};

class Arrivals : public ScriptedTest, public testing::WithParamInterface<Arrival> {};

TEST_P(Arrivals, DeliveredAsTheirKindWithTheirEvent)
{
    const Arrival &c = GetParam();
    DbvAssocId id = Initialized("keep", c.octets);
    if (c.searchFirst) {
        ASSERT_EQ(Call(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016)), SI_OK);
    }
    Received r;
    Receive(&r, id, 10);
    EXPECT_EQ(r.result, c.result) << r.text();
    EXPECT_EQ(r.code(), c.code) << r.text();
    ASSERT_EQ(r.pdu != nullptr, c.type != -2);
    if (r.pdu) {
        EXPECT_EQ(r.pdu->ePduType, c.type);
    }
    EXPECT_EQ(State(id), c.state);
    EXPECT_NE(StreamText(trace).find(c.traced), std::string::npos) << c.traced;
    Abort(id);
}

const Octets kClose = Fixture("ztest-close.ber");
const Octets kSearchResponse = Fixture("zebra-search.ber");
const Octets kUnknownTag = {0xBF, 0x25, 0x00};
const Octets kUndecodable = {0xB7, 0x10, 0x97, 0x05, 0x00, 0x00, 0x00, 0x00, 0x01, 0x98,
                             0x01, 0x00, 0x99, 0x01, 0x01, 0x96, 0x01, 0xFF};

INSTANTIATE_TEST_SUITE_P(
    Scripted, Arrivals,
    testing::Values(
        Arrival{"search_response", true, kSearchResponse, SI_OK, RPT_SearchRsp, -1, DBV_OS_OPEN,
                "\nReceived the following PDU:\n----------------------------------------\n## SearchRsp PDU ##\n"},
        Arrival{"close_during_search", true, kClose, SI_OK, RPT_CloseReq, -1, DBV_OS_CLOSE_RCVD,
                "## Close 'CloseReq' PDU ##\n\nClose PDU\n"},
        Arrival{"unknown_tag", false, kUnknownTag, SI_OK, RPT_InvalidAPDU, -1, DBV_OS_OPEN,
                "## psInvalidAPDU PDU ##\n\nInvalidAPDU PDU\nulLength: 3\npbData: bf2500\n"},
        Arrival{"undecodable", false, kUndecodable, SI_NOTOK, -2, 60, DBV_OS_OPEN,
                "The received PDU could not be decoded"},
        Arrival{"unasked_search_response", false, kSearchResponse, SI_NOTOK, RPT_None, 81, DBV_OS_ERROR,
                "Failed to convert received SrchRsp PDU to DBV format\n"}),
    [](const testing::TestParamInfo<Arrival> &info) { return std::string(info.param.name); });

TEST_F(ScriptedTest, UnknownTagKeepsItsOctetsAndIsDumped)
{
    DbvAssocId id = Initialized("keep", kUnknownTag);
    Received r;
    Receive(&r, id, 10);
    ASSERT_TRUE(r.pdu && r.pdu->ePduType == RPT_InvalidAPDU);
    const DbvInvalidAPDU *invalid = r.pdu->uPdu.psInvalidAPDU;
    EXPECT_EQ(Octets(invalid->pbData, invalid->pbData + invalid->ulLength), kUnknownTag);
    char name[32];
    std::snprintf(name, sizeof name, "Inv_Pdu.%.8d", static_cast<int>(CurrentProcessId()));
    std::string dumped = ReadFile(name);
    dumped.erase(std::remove(dumped.begin(), dumped.end(), '\r'), dumped.end()); // a text file on Windows
    EXPECT_EQ(dumped, "Invalid PDU:\nHex: bf2500\n");
    Abort(id);
}

TEST_F(ScriptedTest, CloseAnsweringOursIsTheCloseResponse)
{
    DbvAssocId id = Initialized("keep", kClose);
    SIError *error = nullptr;
    ASSERT_EQ(FeedOriginEvent(id, DBV_OE_CLOSEREQ, &error), 0); // as our own Close does
    Received r;
    Receive(&r, id, 10);
    ASSERT_TRUE(r.pdu);
    EXPECT_EQ(r.pdu->ePduType, RPT_CloseRsp);
    EXPECT_EQ(State(id), DBV_OS_ASSOCIATION);
    EXPECT_NE(StreamText(trace).find("## Close 'CloseRsp' PDU ##\n"), std::string::npos);
    Abort(id);
}

TEST_F(ScriptedTest, PeerLeavingInMidPduRemovesTheAssociation)
{
    Octets half(kSearchResponse.begin(), kSearchResponse.begin() + kSearchResponse.size() / 2);
    DbvAssocId id = Initialized("close", half);
    Received r;
    Receive(&r, id, 10);
    EXPECT_EQ(r.result, SI_NOTOK);
    ASSERT_TRUE(r.error);
    EXPECT_EQ(r.error->eErrorClass, SI_Abort);
    EXPECT_EQ(r.text(), "The Association has been aborted");
    EXPECT_EQ(AssocFind(id), nullptr);
    Received after;
    Receive(&after, id, 0);
    EXPECT_EQ(after.text(), "The association " + std::to_string(id) + " is invalid");
}

TEST_F(ScriptedTest, NothingWithinTheWaitIsNoPdu)
{
    DbvAssocId id = Initialized("keep", {});
    Received r;
    Receive(&r, id, 0);
    EXPECT_EQ(r.result, SI_OK);
    EXPECT_EQ(r.pdu, nullptr);
    EXPECT_EQ(r.error, nullptr);
    Abort(id);
}

// The argument checks come before the state machine: a refused request
// leaves the state as it was and sends nothing.
struct CheckCase {
    const char *name;
    std::function<int(DbvAssocId, std::string *)> call;
    int result;
    const char *message;
    int32_t state;
};

DbvInitializeReq *InitWithOptions(const char *options)
{
    DbvInitializeReq *r = MakeInitializeReq(10000);
    SetText(r->pcOptions, options);
    return r;
}

int InitCall(DbvAssocId id, std::string *text, const char *options)
{
    return Call(DBVInitializeRequest, id, &DbvDesc_InitializeReq, InitWithOptions(options), text);
}

class Checks : public ScriptedTest, public testing::WithParamInterface<CheckCase> {};

TEST_P(Checks, RefusedBeforeTheStateMachine)
{
    const CheckCase &c = GetParam();
    DbvAssocId id = Scripted("keep", {});
    std::string text;
    EXPECT_EQ(c.call(id, &text), c.result);
    EXPECT_EQ(text, c.message);
    EXPECT_EQ(State(id), c.state);
    Abort(id);
}

INSTANTIATE_TEST_SUITE_P(
    Requests, Checks,
    testing::Values(
        CheckCase{"option_9", [](DbvAssocId id, std::string *t) { return InitCall(id, t, "1111111111"); }, SI_NOTOK,
                  "The options string psInitializeReq->pcOptions contains options not permitted by the API (see "
                  "dbvproto ALLOWED_OPTIONS for allowed options)\nValue:1111111111",
                  DBV_OS_ASSOCIATION},
        CheckCase{"options_not_bits", [](DbvAssocId id, std::string *t) { return InitCall(id, t, "11x"); }, SI_NOTOK,
                  "The bit string psInitializeReq->pcOptions is invalid\nValue:11x", DBV_OS_ASSOCIATION},
        CheckCase{"allowed_options", [](DbvAssocId id, std::string *t) { return InitCall(id, t, ALLOWED_OPTIONS); },
                  SI_OK, "", DBV_OS_INITSENT},
        CheckCase{"empty_options", [](DbvAssocId id, std::string *t) { return InitCall(id, t, ""); }, SI_OK, "",
                  DBV_OS_INITSENT},
        CheckCase{"no_databases",
                  [](DbvAssocId id, std::string *t) {
                      DbvSearchReq *r = MakeSearchReq("Default", "x", 1016);
                      ClearField(&DbvDesc_SearchReq, r, "ppsDatabaseNames");
                      return Call(DBVSearchRequest, id, &DbvDesc_SearchReq, r, t);
                  },
                  SI_NOTOK, "Missing compulsory field psSearchReq->ppsDatabaseNames", DBV_OS_ASSOCIATION},
        CheckCase{"search_before_initialize",
                  [](DbvAssocId id, std::string *t) {
                      return Call(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016), t);
                  },
                  SI_NOTOK, "Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_ASSOCIATION", DBV_OS_ASSOCIATION},
        CheckCase{"present_bad_syntax",
                  [](DbvAssocId id, std::string *t) {
                      return Call(DBVPresentRequest, id, &DbvDesc_PresentReq, MakePresentReq(1, 1, "1..2"), t);
                  },
                  SI_NOTOK, "Invalid oid value psPresentReq->pcPreferredRecordSyntax given", DBV_OS_ASSOCIATION},
        CheckCase{"scan_without_databases",
                  [](DbvAssocId id, std::string *t) {
                      DbvScanReq *r = MakeScanReq("Default", "x", 5);
                      ClearField(&DbvDesc_ScanReq, r, "ppsDatabaseNames");
                      return Call(DBVScanRequest, id, &DbvDesc_ScanReq, r, t);
                  },
                  SI_NOTOK, "Missing compulsory field psScanReq->ppsDatabaseNames", DBV_OS_ASSOCIATION}),
    [](const testing::TestParamInfo<CheckCase> &info) { return std::string(info.param.name); });

TEST_F(ScriptedTest, SecondSearchBeforeTheAnswerIsRefusedAndTraced)
{
    DbvAssocId id = Initialized("keep", {});
    ASSERT_EQ(Call(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016)), SI_OK);
    std::string text;
    EXPECT_EQ(Call(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "y", 1016), &text), SI_NOTOK);
    EXPECT_EQ(text, "Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_SEARCH_SENT");
    EXPECT_EQ(State(id), DBV_OS_SEARCH_SENT);
    std::string traced = StreamText(trace);
    EXPECT_NE(traced.find("**Entering function:DBVSearchRequest\n"), std::string::npos);
    EXPECT_NE(traced.find("\nSending the following PDU:\n----------------------------------------\n"
                          "## SearchReq PDU ##\n\nSearchRequest PDU\n"),
              std::string::npos);
    EXPECT_NE(traced.find("**Leaving function:DBVSearchRequest\nFunction returned: SI_NOTOK\n\n"), std::string::npos);
    Abort(id);
}

TEST_F(ScriptedTest, UnknownAssociationIsRefused)
{
    std::string text;
    EXPECT_EQ(Call(DBVScanRequest, 999999, &DbvDesc_ScanReq, MakeScanReq("Default", "x", 5), &text), SI_NOTOK);
    EXPECT_EQ(text, "The association 999999 is invalid");
    Received r;
    Receive(&r, 999999, 0);
    EXPECT_EQ(r.result, SI_NOTOK);
    EXPECT_EQ(r.text(), "The association 999999 is invalid");
}

} // namespace
