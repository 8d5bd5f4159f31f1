// The transport and the toolkit's API against the scripted target
// (tests/peers/z3950_target.py), which sends back the octets each test
// writes it, in segments, then keeps quiet or closes: PDUs split or two in
// one segment, each kind of arrival with its event, state and trace lines,
// the refusals with their texts and the API log.
#include <algorithm>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <filesystem>
#include <fstream>
#include <regex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "ui/os.h"
#include "tests/toolkit/toolkit_kit.h"

namespace {

using Bytes = std::vector<unsigned char>;

const int32_t kAborted = -2; // the error code expected of an SI_Abort

int Port(const char *name) { return PeerPort("KESTRA_TARGETS_STATE", name); }

int32_t State(DbvAssocId id) // 0 when the association is gone
{
    AssocEntry *entry = AssocFind(id);
    return entry ? entry->protocolState : 0;
}

// The error's text (it is freed), or "" for none.
std::string TextOf(SIError *error)
{
    std::string text = error && error->pcDiagnostics ? error->pcDiagnostics : "";
    SIFreeError(error);
    return text;
}

// SIReadOctets: its result, the octets read, and the error's text.
int Read(DbvAssocId id, int32_t wait, Bytes *octets = nullptr, std::string *text = nullptr)
{
    unsigned char *data = nullptr;
    uint32_t count = 0;
    SIError *error = nullptr;
    int result = SIReadOctets(id, wait, &data, &count, &error);
    if (octets && result == SI_READ_DONE)
        octets->assign(data, data + count);
    MemFree(data);
    std::string said = TextOf(error);
    if (text)
        *text = said;
    return result;
}

struct Received {
    int result;
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

// The file's octets; with text, without a Windows text file's carriage returns.
std::string ReadFile(const std::string &path, bool text = false)
{
    std::ifstream in(path, std::ios::binary);
    std::string octets(std::istreambuf_iterator<char>(in), {});
    if (text)
        octets.erase(std::remove(octets.begin(), octets.end(), '\r'), octets.end());
    return octets;
}

void WriteFile(const std::string &path, const std::string &text) { std::ofstream(path, std::ios::binary) << text; }

// Each test in a fresh working directory: the trace, log, dump and names
// files live at fixed relative paths.
class Scripted : public testing::Test {
protected:
    void SetUp() override
    {
        if (!Port("scripted"))
            GTEST_SKIP() << "no scripted target (KESTRA_TARGETS_STATE)";
        std::filesystem::create_directories(dir);
        std::filesystem::current_path(dir);
    }
    void TearDown() override
    {
        std::filesystem::current_path(previous);
        std::error_code ignored;
        std::filesystem::remove_all(dir, ignored);
    }
    static inline int serial = 0;
    std::filesystem::path previous = std::filesystem::current_path();
    std::filesystem::path dir = std::filesystem::temp_directory_path() /
                                ("kestra-test-" + std::to_string(CurrentProcessId()) + "-" + std::to_string(++serial));
};

TEST_F(Scripted, EachPduIsReadWholeAndNothingBeyondItAndAnAbsurdLengthIsRefused)
{
    const struct {
        size_t segment;
        int delayMs;
        std::vector<Bytes> pdus;
    } cases[] = {{97, 1, {Fixture("zebra-present-grs1.ber"), Fixture("ztest-close.ber")}},
                 {1, 0, {Fixture("ztest-present-opac.ber")}}, // octet by octet
                 {100000, 0, {Fixture("zebra-init.ber"), Fixture("zebra-present-sutrs.ber")}}}; // two in one segment
    for (const auto &c : cases) {
        Bytes all;
        for (const Bytes &pdu : c.pdus)
            all.insert(all.end(), pdu.begin(), pdu.end());
        DbvAssocId id = OpenScripted("keep", all, c.segment, c.delayMs);
        for (const Bytes &pdu : c.pdus) {
            Bytes octets;
            EXPECT_EQ(Read(id, 5, &octets), SI_READ_DONE);
            EXPECT_EQ(octets, pdu) << c.segment;
        }
        EXPECT_EQ(Read(id, 0), SI_READ_NOTHING);
        EXPECT_EQ(Abort(id), SI_OK);
    }
    DbvAssocId id = OpenScripted("keep", {0xB5, 0x84, 0x7F, 0xFF, 0xFF, 0xF0, 0x01, 0x02}, 100);
    SISetNegotiatedSizes(id, 10000, 10000);
    std::string text;
    EXPECT_EQ(Read(id, 5, nullptr, &text), SI_READ_FAILED);
    EXPECT_EQ(text, "The received PDU announces a length of 2147483638 octets, more than the 105536 octets this "
                    "association accepts");
    EXPECT_EQ(Abort(id), SI_OK);
}

// A PDU that trickles in within the idle limit is read whole, unless the
// association's read deadline passes first: then it fails as a stalled one.
TEST_F(Scripted, ATricklingPduIsReadUntilTheReadDeadline)
{
    const Bytes pdu = {0xB5, 0x03, 0x02, 0x01, 0x07}; // an octet every 300 ms: whole after 1.2 s
    for (int32_t deadline : {-1, 1}) {
        DbvAssocId id = OpenScripted("keep", pdu, 1, 300);
        SIError *error = nullptr;
        EXPECT_EQ(SISetReadDeadline(id, deadline, &error), SI_OK);
        auto start = std::chrono::steady_clock::now();
        Bytes octets;
        std::string text;
        EXPECT_EQ(Read(id, 1, &octets, &text), deadline < 0 ? SI_READ_DONE : SI_READ_FAILED);
        EXPECT_NEAR(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(),
                    deadline < 0 ? 1.2 : 1.0, 0.25);
        EXPECT_EQ(text, deadline < 0 ? "" : "This association has been unexpectedly lost");
        EXPECT_EQ(octets, deadline < 0 ? pdu : Bytes{});
        EXPECT_EQ(Abort(id), SI_OK);
    }
    SIError *error = nullptr;
    EXPECT_EQ(SISetReadDeadline(987654, 1, &error), SI_NOTOK);
    EXPECT_EQ(TextOf(error), "The association 987654 is invalid");
}

// SIAssociate's error text for a target, or for a name looked up in the
// target names file; no association may be left.
std::string OpenRefused(const char *host, int port, int32_t kind, const char *name = nullptr)
{
    AssocSetNextId(5000);
    DbvTargetInformation target = {kind, {const_cast<char *>(host), port}};
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    EXPECT_EQ(SIAssociate(name ? nullptr : &target, name, -1, &id, &status, &error), SI_NOTOK);
    EXPECT_EQ(AssocFind(5000), nullptr);
    return TextOf(error);
}

// SIGetEventLocation's error text for the lists given.
std::string WaitRefused(DbvAssocId **ids, uint32_t **descriptors)
{
    SIEventList *events = nullptr;
    SIError *error = nullptr;
    EXPECT_EQ(SIGetEventLocation(ids, 0, descriptors, &events, &error), SI_NOTOK);
    return TextOf(error);
}

// Each refusal is also logged in DBV_API_logfile once it exists: each
// record over the head of the file.
TEST_F(Scripted, RefusalsWithTheirTexts)
{
    EXPECT_EQ(Received(987654, 0).code(), SI_ERR_INVALID_ASSOCIATION);
    EXPECT_FALSE(std::filesystem::exists("DBV_API_logfile")); // not made by the log
    WriteFile("DBV_API_logfile", "");
    const std::string invalid = "Function called with invalid parameters.\nDiagnostics: ";
    DbvAssocId unknown = 987654, quiet = OpenScripted("keep", {});
    DbvAssocId *none[] = {nullptr}, *ids[] = {&unknown, nullptr};
    uint32_t *descriptors[] = {nullptr};
    SIError *error = nullptr;
    const std::pair<std::string, std::string> cases[] = {
        {OpenRefused("127.0.0.1", Port("refused"), OIA_Internet).substr(0, 36), "TCP: connect() failed.\nDiagnostics :"},
        {OpenRefused("no-such-host.invalid", 210, OIA_Internet), "TCP/IP: address no-such-host.invalid is invalid"},
        {OpenRefused("127.0.0.1", 210, OIA_Osi), invalid + "Value for psTargetInformation->eOsiOrInternetAddress is invalid"},
        {OpenRefused("", 0, 0, "scripted"), "The file ./target_names.tbl could not be opened"},
        {(WriteFile("target_names.tbl", "\"a\" h \"1\"\n"), OpenRefused("", 0, 0, "b")),
         "File format error: Expected String, read Characters"},
        {(WriteFile("target_names.tbl", "\"a\" \"h\" \"1\"\n"), OpenRefused("", 0, 0, "A")),
         "The entry A is not in the name file/The format is not correct"},
        {WaitRefused(nullptr, descriptors), invalid + "SIGetEventLocation: pplAssocId must be NULL terminated list"},
        {WaitRefused(none, nullptr), invalid + "SIGetEventLocation: ppulFileDescriptor must be NULL terminated list"},
        {WaitRefused(none, descriptors),
         invalid + "SIGetEventLocation: Association list and File Descriptor list cannot both be empty"},
        {WaitRefused(ids, descriptors), "The association 987654 is invalid"},
        {(SISetTraceParameter(quiet, stdout, Trace_Off, &error), TextOf(error)),
         invalid + "SISetTraceParameter: There is no trace file for this Association, so it cannot be closed"},
        {Received(987654, 0).text(), "The association 987654 is invalid"},
    };
    for (const auto &c : cases)
        EXPECT_EQ(c.first, c.second);
    const std::string last = "Vantor Norbel for Windows LogFile ProcessId: " + std::to_string(CurrentProcessId()) +
                             " produced the following error\n\teErrorClass == SI_Communication_Error\n"
                             "\tuErrorCode.lIfOsCoError == 3\nThe association 987654 is invalid\n"
                             "eAssociationState == Association_Closed\n\n";
    std::string log = ReadFile("DBV_API_logfile", true);
    EXPECT_EQ(log.substr(0, last.size()), last);
    EXPECT_GT(log.size(), last.size()); // the rest of a longer record before
    Abort(quiet);
}

TEST_F(Scripted, OpenedByNameWithATimeLimitAndIdsWrapToZero)
{
    WriteFile("target_names.tbl", "\"scripted\" \"127.0.0.1\" \"" + std::to_string(Port("scripted")) + "\"\n");
    AssocSetNextId(0x7FFFFFFF);
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    ASSERT_EQ(SIAssociate(nullptr, "scripted", 5, &id, &status, &error), SI_OK);
    EXPECT_EQ(status, SI_CONNECTED);
    EXPECT_EQ(id, 0x7FFFFFFF);
    EXPECT_EQ(State(id), DBV_OS_ASSOCIATION);
    EXPECT_EQ(OpenAssociation(Port("scripted")), 0);
    EXPECT_EQ(Abort(id) + Abort(0), 2 * SI_OK);
}

TEST_F(Scripted, APeerThatHasGoneOrADeadAssociationIsRemoved)
{
    DbvAssocId id = OpenScripted("close", {}, 1);
    Read(id, 5); // the close is seen: the peer has gone
    const unsigned char pdu[] = {0xB6, 0x03, 0x02, 0x01, 0x05};
    SIError *error = nullptr;
    EXPECT_EQ(SISendOctets(id, pdu, sizeof pdu, &error), SI_NOTOK);
    EXPECT_EQ(error ? error->eErrorClass : 0, SI_Abort);
    SIFreeError(error);
    EXPECT_EQ(AssocFind(id), nullptr);
    std::string text;
    EXPECT_EQ(Send(DBVScanRequest, id, &DbvDesc_ScanReq, MakeScanReq("Default", "x", 5), &text), SI_NOTOK);
    EXPECT_EQ(text, "The association " + std::to_string(id) + " is invalid");
    id = OpenScripted("keep", {}, 1);
    error = nullptr;
    ASSERT_EQ(FeedOriginEvent(id, DBV_OE_AABORT_IND, &error), 0);
    EXPECT_EQ(DbvAbortRequest(id, &error), SI_OK);
    EXPECT_EQ(error ? error->uErrorCode.lIfOsCoError : 0, SI_ERR_EVENT_INVALID); // the machine's refusal stays
    SIFreeError(error);
    EXPECT_EQ(AssocFind(id), nullptr);
}

// The target answers with an accepting initResponse and then the octets;
// the session is traced at Trace_High, initialized, and then `before` is
// done: nothing, a search, or our own Close. type: of the holder, -2 when
// none is made; code: of the error, -1 for none; state: afterwards.
enum Before { kNothing, kSearch, kOurClose };

struct Arrival {
    const char *name, *mode;
    Before before;
    Bytes octets;
    int32_t wait;
    int result, type;
    int32_t code, state;
    const char *traced;
};

class Arrivals : public Scripted, public testing::WithParamInterface<Arrival> {};

TEST_P(Arrivals, DeliveredAsTheirKindWithTheirEvent)
{
    const Arrival &c = GetParam();
    Bytes octets = Fixture("ztest-init.ber");
    octets.insert(octets.end(), c.octets.begin(), c.octets.end());
    DbvAssocId id = OpenScripted(c.mode, octets);
    std::FILE *trace = std::fopen("session.trc", "w+b");
    SIError *error = nullptr;
    EXPECT_EQ(SISetTraceParameter(id, trace, Trace_High, &error), SI_OK);
    EXPECT_EQ(Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, MakeInitializeReq(10000)), SI_OK);
    ASSERT_EQ(Received(id, 10).result, SI_OK);
    EXPECT_EQ(State(id), DBV_OS_OPEN);
    if (c.before == kSearch) {
        ASSERT_EQ(Send(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016)), SI_OK);
    } else if (c.before == kOurClose) {
        ASSERT_EQ(FeedOriginEvent(id, DBV_OE_CLOSEREQ, &error), 0); // as our own Close does
    }
    auto start = std::chrono::steady_clock::now();
    Received r(id, c.wait);
    EXPECT_EQ(r.result, c.result) << r.text();
    EXPECT_EQ(r.code(), c.code) << r.text();
    ASSERT_EQ(r.pdu != nullptr, c.type != -2);
    if (r.pdu) {
        EXPECT_EQ(r.pdu->ePduType, c.type);
    } else if (!r.error) { // nothing came: the whole wait was spent
        EXPECT_GE(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), c.wait - 0.1);
    }
    EXPECT_EQ(State(id), c.state);
    std::fflush(trace);
    std::string traced = ReadFile("session.trc");
    char today[16];
    std::time_t now = std::time(nullptr);
    std::strftime(today, sizeof today, "%d/%m/%Y", std::localtime(&now));
    const std::string time = "\\d\\d:\\d\\d:\\d\\d \t" + std::string(today) + " \n \n";
    EXPECT_TRUE(std::regex_search(traced, std::regex("^Vantor Norbel for Windows API Trace Information\n-{49}\n\n"
                                                     "Beginning trace for Association:" + std::to_string(id) +
                                                     "\nStarted at " + time + "Association uses stack: TCP_Stack\n\n"
                                                     "Beginning Trace at Level: Trace_High\n")));
    const std::string header = "Vantor Norbel for Windows Trace File Association: " + std::to_string(id) + "\n";
    for (const std::string &part : {std::string(c.traced),
                                    header + "**Entering function:DBVInitializeRequest\nORIGIN EVENT is: DBV_OE_INITREQ\n"
                                             "Current ORIGIN STATE is: DBV_OS_INITSENT\n",
                                    std::string("\nSending the following PDU:\n----------------------------------------\n"
                                                "## InitializeReq PDU ##\n\nInitRequest PDU\npsReferenceId: NULL\n"),
                                    header + "**Leaving function:ReceiveDataOrigin\nFunction returned: " +
                                        (c.result == SI_OK ? "SI_OK\n\n" : "SI_NOTOK\n\n")})
        EXPECT_NE(traced.find(part), std::string::npos) << part;
    if (r.pdu && r.pdu->ePduType == RPT_InvalidAPDU) { // kept whole, and dumped
        const DbvInvalidAPDU *invalid = r.pdu->uPdu.psInvalidAPDU;
        EXPECT_EQ(Bytes(invalid->pbData, invalid->pbData + invalid->ulLength), c.octets);
        char name[32];
        std::snprintf(name, sizeof name, "Inv_Pdu.%.8d", static_cast<int>(CurrentProcessId()));
        EXPECT_EQ(ReadFile(name, true), "Invalid PDU:\nHex: bf2500\n");
    }
    if (State(id)) { // the trace ended
        EXPECT_EQ(SISetTraceParameter(id, trace, Trace_Off, &error), SI_OK);
        std::fflush(trace);
        EXPECT_TRUE(std::regex_search(ReadFile("session.trc"), std::regex("\nEnding current trace.\nEnded at:" + time + "$")));
    }
    Abort(id);
    std::fclose(trace);
}

const Bytes kClose = Fixture("ztest-close.ber");
const Bytes kSearchResponse = Fixture("zebra-search.ber");
const Bytes kUndecodable = {0xB7, 0x10, 0x97, 0x05, 0x00, 0x00, 0x00, 0x00, 0x01, 0x98,
                            0x01, 0x00, 0x99, 0x01, 0x01, 0x96, 0x01, 0xFF};

INSTANTIATE_TEST_SUITE_P(
    Receive, Arrivals,
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
                "\n**Entering function:ReceiveDataOrigin\nAn error has occured, Error structure is:\n"
                "eErrorClass == SI_Interface_Error\nuErrorCode.lIfOsCoError == 60\n"
                "Diagnostic: The received PDU could not be decoded\neAssociationState == Association_Open\n"},
        Arrival{"unasked_search_response", "keep", kNothing, kSearchResponse, 10, SI_NOTOK, RPT_None, 81,
                DBV_OS_ERROR, "Failed to convert received SrchRsp PDU to DBV format\n"},
        Arrival{"peer_leaving_in_mid_pdu", "close", kNothing,
                Bytes(kSearchResponse.begin(), kSearchResponse.begin() + kSearchResponse.size() / 2), 10, SI_NOTOK,
                -2, kAborted, 0, "\nAn error has occured, Error structure is:\neErrorClass == SI_Abort\n"
                "uErrorCode.psAbort->eAbortSource == 0\nuErrorCode.psAbort->lAbortReason == 0\n"
                "Diagnostic: The Association has been aborted\neAssociationState == Association_Closed\n"},
        Arrival{"nothing_within_the_wait", "keep", kNothing, {}, 1, SI_OK, -2, -1, DBV_OS_OPEN,
                "**Entering function:ReceiveDataOrigin\nVantor Norbel for Windows Trace File Association: "}),
    [](const testing::TestParamInfo<Arrival> &info) { return std::string(info.param.name); });

// The argument checks come before the state machine: a refused request
// leaves the state as it was.
TEST_F(Scripted, RequestsRefusedBeforeOrByTheStateMachine)
{
    DbvAssocId id = OpenScripted("keep", {});
    std::string text;
    DbvInitializeReq *init = MakeInitializeReq(10000);
    SetText(init->pcOptions, "1111111111");
    EXPECT_EQ(Send(DBVInitializeRequest, id, &DbvDesc_InitializeReq, init, &text), SI_NOTOK);
    EXPECT_EQ(text.rfind("The options string psInitializeReq->pcOptions contains options not permitted", 0), 0u);
    EXPECT_EQ(Send(DBVSearchRequest, id, &DbvDesc_SearchReq, MakeSearchReq("Default", "x", 1016), &text), SI_NOTOK);
    EXPECT_EQ(text, "Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_ASSOCIATION");
    EXPECT_EQ(State(id), DBV_OS_ASSOCIATION);
    Abort(id);
}

} // namespace
