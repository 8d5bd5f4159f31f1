// The request calls and ReceiveDataOrigin against the scripted test target
// (tests/peers/scripted_target.py; KESTRA_TARGETS_STATE names its ports),
// which answers with the octets each test writes for it: a Close during a
// search, an unknown PDU tag, an undecodable PDU, an answer nobody asked
// for, the peer leaving in mid-PDU, silence; and the argument checks and
// refusals of the request calls.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "tests/dbv/dbv_testkit.h"
#include "tests/diag/scratch_dir.h"
#include "tests/toolkit/toolkit_kit.h"
#include "ui/os.h"

namespace {

using Octets = std::vector<unsigned char>;

const int32_t kAborted = -2; // the error code expected of an SI_Abort

int32_t State(DbvAssocId id)
{
    AssocEntry *entry = AssocFind(id);
    return entry ? entry->protocolState : 0;
}

struct Received {
    int result = SI_NOTOK;
    DbvReceivedPdu *pdu = nullptr;
    SIError *error = nullptr;
    Received(DbvAssocId id, int32_t wait) { result = ReceiveDataOrigin(id, wait, &pdu, &error); }
    ~Received()
    {
        DbvFreeReceivedPdu(pdu);
        SIFreeError(error);
    }
    int32_t code() const
    {
        return !error ? -1 : error->eErrorClass == SI_Abort ? kAborted : error->uErrorCode.lIfOsCoError;
    }
    std::string text() const { return error && error->pcDiagnostics ? error->pcDiagnostics : ""; }
};

class ScriptedTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!PeerPort("KESTRA_TARGETS_STATE", "scripted"))
            GTEST_SKIP() << "no scripted target (KESTRA_TARGETS_STATE)";
    }
    void TearDown() override { std::fclose(trace); }
    ScratchDir scratch;
    std::FILE *trace = std::tmpfile();
};

// The target answers with an accepting initResponse and then the octets;
// the session is traced at Trace_High, initialized, and then `before` is
// done: nothing, a search, or our own Close.
enum Before { kNothing, kSearch, kOurClose };

struct Arrival {
    const char *name;
    const char *mode;
    Before before;
    Octets octets;
    int32_t wait;
    int result;
    int type;      // of the holder, -2 when none is made
    int32_t code;  // of the error, -1 for none
    int32_t state; // afterwards, 0 when the association is gone
    const char *traced;
};

class Arrivals : public ScriptedTest, public testing::WithParamInterface<Arrival> {};

TEST_P(Arrivals, DeliveredAsTheirKindWithTheirEvent)
{
    const Arrival &c = GetParam();
    Octets octets = Fixture("ztest-init.ber");
    octets.insert(octets.end(), c.octets.begin(), c.octets.end());
    DbvAssocId id = OpenScripted(c.mode, octets);
    SIError *error = nullptr;
    EXPECT_EQ(SISetTraceParameter(id, trace, Trace_High, &error), SI_OK);
    EXPECT_EQ(Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, MakeInitializeReq(10000)), SI_OK);
    {
        Received init(id, 10);
        ASSERT_EQ(init.result, SI_OK) << init.text();
        EXPECT_TRUE(init.pdu && init.pdu->ePduType == RPT_InitializeRsp);
        EXPECT_EQ(State(id), DBV_OS_OPEN);
    }
    if (c.before == kSearch) {
        ASSERT_EQ(Send(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016)), SI_OK);
    } else if (c.before == kOurClose) {
        ASSERT_EQ(FeedOriginEvent(id, DBV_OE_CLOSEREQ, &error), 0); // as our own Close does
    }

    auto start = std::chrono::steady_clock::now();
    Received r(id, c.wait);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(r.result, c.result) << r.text();
    EXPECT_EQ(r.code(), c.code) << r.text();
    ASSERT_EQ(r.pdu != nullptr, c.type != -2);
    if (r.pdu) {
        EXPECT_EQ(r.pdu->ePduType, c.type);
    } else if (!r.error) {
        EXPECT_GE(seconds, c.wait - 0.1); // nothing came: the whole wait was spent
    }
    EXPECT_EQ(State(id), c.state);
    EXPECT_NE(StreamText(trace).find(c.traced), std::string::npos) << c.traced;
    if (r.pdu && r.pdu->ePduType == RPT_InvalidAPDU) { // kept whole, and dumped
        const DbvInvalidAPDU *invalid = r.pdu->uPdu.psInvalidAPDU;
        EXPECT_EQ(Octets(invalid->pbData, invalid->pbData + invalid->ulLength), c.octets);
        char name[32];
        std::snprintf(name, sizeof name, "Inv_Pdu.%.8d", static_cast<int>(CurrentProcessId()));
        std::string dumped = ReadFile(name);
        dumped.erase(std::remove(dumped.begin(), dumped.end(), '\r'), dumped.end()); // a text file on Windows
        EXPECT_EQ(dumped, "Invalid PDU:\nHex: bf2500\n");
    }
    Abort(id);
}

const Octets kClose = Fixture("ztest-close.ber");
const Octets kSearchResponse = Fixture("zebra-search.ber");
const Octets kUndecodable = {0xB7, 0x10, 0x97, 0x05, 0x00, 0x00, 0x00, 0x00, 0x01, 0x98,
                             0x01, 0x00, 0x99, 0x01, 0x01, 0x96, 0x01, 0xFF};

INSTANTIATE_TEST_SUITE_P(
    Scripted, Arrivals,
    testing::Values(
        Arrival{"search_response", "keep", kSearch, kSearchResponse, 10, SI_OK, RPT_SearchRsp, -1, DBV_OS_OPEN,
                "\nReceived the following PDU:\n----------------------------------------\n## SearchRsp PDU ##\n"},
        Arrival{"close_during_search", "keep", kSearch, kClose, 10, SI_OK, RPT_CloseReq, -1, DBV_OS_CLOSE_RCVD,
                "## Close 'CloseReq' PDU ##\n\nClose PDU\n"},
        Arrival{"close_answering_ours", "keep", kOurClose, kClose, 10, SI_OK, RPT_CloseRsp, -1, DBV_OS_ASSOCIATION,
                "## Close 'CloseRsp' PDU ##\n\nClose PDU\n"},
        Arrival{"unknown_tag", "keep", kNothing, {0xBF, 0x25, 0x00}, 10, SI_OK, RPT_InvalidAPDU, -1, DBV_OS_OPEN,
                "## psInvalidAPDU PDU ##\n\nInvalidAPDU PDU\nulLength: 3\npbData: bf2500\n"},
        Arrival{"undecodable", "keep", kNothing, kUndecodable, 10, SI_NOTOK, -2, 60, DBV_OS_OPEN,
                "The received PDU could not be decoded"},
        Arrival{"unasked_search_response", "keep", kNothing, kSearchResponse, 10, SI_NOTOK, RPT_None, 81,
                DBV_OS_ERROR, "Failed to convert received SrchRsp PDU to DBV format\n"},
        Arrival{"peer_leaving_in_mid_pdu", "close", kNothing,
                Octets(kSearchResponse.begin(), kSearchResponse.begin() + kSearchResponse.size() / 2), 10, SI_NOTOK,
                -2, kAborted, 0, "The Association has been aborted"},
        Arrival{"nothing_within_the_wait", "keep", kNothing, {}, 1, SI_OK, -2, -1, DBV_OS_OPEN,
                "**Leaving function:ReceiveDataOrigin\nFunction returned: SI_OK\n"}),
    [](const testing::TestParamInfo<Arrival> &info) { return std::string(info.param.name); });

// The argument checks come before the state machine: a refused request
// leaves the state as it was and sends nothing.
struct CheckCase {
    const char *name;
    int (*call)(DbvAssocId, std::string *);
    int result;
    const char *message;
    int32_t state;
};

int Init(DbvAssocId id, std::string *text, const char *options)
{
    DbvInitializeReq *r = MakeInitializeReq(10000);
    SetText(r->pcOptions, options);
    return Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, r, text);
}

class Checks : public ScriptedTest, public testing::WithParamInterface<CheckCase> {};

TEST_P(Checks, RefusedBeforeTheStateMachine)
{
    const CheckCase &c = GetParam();
    DbvAssocId id = OpenScripted("keep", {});
    std::string text;
    EXPECT_EQ(c.call(id, &text), c.result);
    EXPECT_EQ(text, c.message);
    EXPECT_EQ(State(id), c.state);
    Abort(id);
}

int Search(DbvAssocId id, std::string *text, bool withDatabases)
{
    DbvSearchReq *r = MakeSearchReq("Default", "x", 1016);
    if (!withDatabases)
        ClearField(&DbvDesc_SearchReq, r, "ppsDatabaseNames");
    return Send(DBVSearchRequest, id, &DbvDesc_SearchReq, r, text);
}

int Scan(DbvAssocId id, std::string *text, bool withDatabases)
{
    DbvScanReq *r = MakeScanReq("Default", "x", 5);
    if (!withDatabases)
        ClearField(&DbvDesc_ScanReq, r, "ppsDatabaseNames");
    return Send(DBVScanRequest, id, &DbvDesc_ScanReq, r, text);
}

using Id = DbvAssocId;
using Text = std::string *;
const int32_t kAS = DBV_OS_ASSOCIATION;

INSTANTIATE_TEST_SUITE_P(
    Requests, Checks,
    testing::Values(
        CheckCase{"option_9", [](Id id, Text t) { return Init(id, t, "1111111111"); }, SI_NOTOK,
                  "The options string psInitializeReq->pcOptions contains options not permitted by the API (see "
                  "dbvproto ALLOWED_OPTIONS for allowed options)\nValue:1111111111",
                  kAS},
        CheckCase{"options_not_bits", [](Id id, Text t) { return Init(id, t, "11x"); }, SI_NOTOK,
                  "The bit string psInitializeReq->pcOptions is invalid\nValue:11x", kAS},
        CheckCase{"allowed_options", [](Id id, Text t) { return Init(id, t, ALLOWED_OPTIONS); }, SI_OK, "",
                  DBV_OS_INITSENT},
        CheckCase{"empty_options", [](Id id, Text t) { return Init(id, t, ""); }, SI_OK, "", DBV_OS_INITSENT},
        CheckCase{"no_databases", [](Id id, Text t) { return Search(id, t, false); }, SI_NOTOK,
                  "Missing compulsory field psSearchReq->ppsDatabaseNames", kAS},
        CheckCase{"search_before_initialize", [](Id id, Text t) { return Search(id, t, true); }, SI_NOTOK,
                  "Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_ASSOCIATION", kAS},
        CheckCase{"present_bad_syntax",
                  [](Id id, Text t) {
                      return Send(DBVPresentRequest, id, &DbvDesc_PresentReq, MakePresentReq(1, 1, "1..2"), t);
                  },
                  SI_NOTOK, "Invalid oid value psPresentReq->pcPreferredRecordSyntax given", kAS},
        CheckCase{"scan_without_databases", [](Id id, Text t) { return Scan(id, t, false); }, SI_NOTOK,
                  "Missing compulsory field psScanReq->ppsDatabaseNames", kAS},
        CheckCase{"scan_unknown_association", [](Id, Text t) { return Scan(999999, t, true); }, SI_NOTOK,
                  "The association 999999 is invalid", kAS},
        CheckCase{"receive_unknown_association",
                  [](Id, Text t) {
                      Received r(999999, 0);
                      *t = r.text();
                      return r.result;
                  },
                  SI_NOTOK, "The association 999999 is invalid", kAS}),
    [](const testing::TestParamInfo<CheckCase> &info) { return std::string(info.param.name); });

} // namespace
