// The transport against the scripted test target and yaz-ztest (started by
// tests/peers/scripted_target.py; KESTRA_TARGETS_STATE names its ports):
// opening, reading PDUs however they arrive, the event wait, sending to a
// peer that has gone, tracing and aborting.
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "tests/diag/scratch_dir.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

int Port(const std::string &name)
{
    static std::map<std::string, int> ports;
    if (ports.empty()) {
        const char *state = std::getenv("KESTRA_TARGETS_STATE");
        std::ifstream in(state ? state : "");
        std::string key;
        int port = 0;
        while (in >> key >> port)
            ports[key] = port;
    }
    return ports.count(name) ? ports[name] : 0;
}

struct Opened {
    int result;
    DbvAssocId id;
    int32_t status;
    SIError *error;
    ~Opened() { SIFreeError(error); }
};

void Open(Opened *o, const char *host, int port, int32_t timeout)
{
    DbvTargetInformation target = {OIA_Internet, {const_cast<char *>(host), port}};
    o->error = nullptr;
    o->result = SIAssociate(&target, nullptr, timeout, &o->id, &o->status, &o->error);
}

void Abort(DbvAssocId id)
{
    SIError *error = nullptr;
    EXPECT_EQ(DbvAbortRequest(id, &error), SI_OK);
    SIFreeError(error);
}

std::string Hex(const Octets &octets)
{
    std::string hex;
    char pair[3];
    for (unsigned char c : octets) {
        std::snprintf(pair, sizeof pair, "%02x", c);
        hex += pair;
    }
    return hex;
}

// An association with the scripted target, told to send octets back.
DbvAssocId Scripted(const char *mode, size_t segment, int delayMs, const Octets &octets)
{
    Opened o;
    Open(&o, "127.0.0.1", Port("scripted"), -1);
    EXPECT_EQ(o.result, SI_OK);
    std::string script = std::string(mode) + " " + std::to_string(segment) + " " + std::to_string(delayMs) + "\n" +
                         Hex(octets) + "\n";
    SIError *error = nullptr;
    EXPECT_EQ(SISendOctets(o.id, reinterpret_cast<const unsigned char *>(script.data()),
                           static_cast<uint32_t>(script.size()), &error),
              SI_OK);
    return o.id;
}

struct Read {
    int result;
    Octets octets;
    SIError *error;
    ~Read() { SIFreeError(error); }
};

void ReadOne(Read *r, DbvAssocId id, int32_t wait)
{
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    r->error = nullptr;
    r->result = SIReadOctets(id, wait, &octets, &count, &r->error);
    if (r->result == SI_READ_DONE)
        r->octets.assign(octets, octets + count);
    MemFree(octets);
}

Octets Definite(unsigned char tag, size_t size)
{
    Octets pdu = {tag, 0x82, static_cast<unsigned char>(size >> 8), static_cast<unsigned char>(size)};
    for (size_t i = 0; i < size; i++)
        pdu.push_back(static_cast<unsigned char>(i));
    return pdu;
}

Octets IndefiniteRecords(int records)
{
    Octets pdu = {0xB9, 0x80, 0xBC, 0x80};
    for (int i = 0; i < records; i++) {
        Octets record = {0x30, 0x80, 0x81, 0x81, 200};
        record.resize(record.size() + 200, 'M');
        record.insert(record.end(), {0, 0});
        pdu.insert(pdu.end(), record.begin(), record.end());
    }
    pdu.insert(pdu.end(), {0, 0, 0, 0});
    return pdu;
}

class TransportTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!Port("scripted"))
            GTEST_SKIP() << "no scripted target (KESTRA_TARGETS_STATE)";
    }
};

struct Delivery {
    const char *name;
    size_t segment;
    int delayMs;
    std::vector<Octets> pdus;
};

class Deliveries : public TransportTest, public testing::WithParamInterface<Delivery> {};

TEST_P(Deliveries, EachPduIsReadWholeAndNothingBeyondIt)
{
    const Delivery &c = GetParam();
    Octets all;
    for (const Octets &pdu : c.pdus)
        all.insert(all.end(), pdu.begin(), pdu.end());
    DbvAssocId id = Scripted("keep", c.segment, c.delayMs, all);
    for (const Octets &pdu : c.pdus) {
        Read r;
        ReadOne(&r, id, 5);
        ASSERT_EQ(r.result, SI_READ_DONE);
        EXPECT_EQ(r.octets, pdu);
    }
    Read after;
    ReadOne(&after, id, 0);
    EXPECT_EQ(after.result, SI_READ_NOTHING);
    Abort(id);
}

INSTANTIATE_TEST_SUITE_P(
    Scripted, Deliveries,
    testing::Values(Delivery{"many_segments", 97, 1, {Definite(0xB5, 3000)}},
                    Delivery{"octet_by_octet", 1, 0, {IndefiniteRecords(3)}},
                    Delivery{"two_in_one_segment", 100000, 0, {Definite(0xB7, 300), IndefiniteRecords(2)}},
                    Delivery{"large_indefinite", 1460, 0, {IndefiniteRecords(1000), Definite(0xBF, 10)}}),
    [](const testing::TestParamInfo<Delivery> &info) { return std::string(info.param.name); });

TEST_F(TransportTest, LargeIndefinitePduTakesFewReceives)
{
    Octets pdu = IndefiniteRecords(1000);
    DbvAssocId id = Scripted("keep", pdu.size(), 0, pdu);
    uint64_t before = SIReceiveCalls();
    Read r;
    ReadOne(&r, id, 5);
    ASSERT_EQ(r.result, SI_READ_DONE);
    EXPECT_EQ(r.octets.size(), pdu.size());
    EXPECT_LE(SIReceiveCalls() - before, 3000u);
    Abort(id);
}

TEST_F(TransportTest, PeerClosingInMidPduAbortsTheAssociation)
{
    Octets half = Definite(0xB5, 1000);
    half.resize(500);
    DbvAssocId id = Scripted("close", 100, 0, half);
    Read r;
    ReadOne(&r, id, 5);
    EXPECT_EQ(r.result, SI_READ_FAILED);
    ASSERT_NE(r.error, nullptr);
    EXPECT_EQ(r.error->eErrorClass, SI_Abort);
    EXPECT_EQ(r.error->eAssociationState, Association_Closed);
    EXPECT_STREQ(r.error->uErrorCode.psAbort->pcDiagnostics, "The Association has been aborted");
    AssocDrop(id);
    EXPECT_EQ(AssocFind(id), nullptr);
}

TEST_F(TransportTest, NothingWithinTheWait)
{
    DbvAssocId id = Scripted("keep", 1, 0, {});
    auto start = std::chrono::steady_clock::now();
    Read r;
    ReadOne(&r, id, 1);
    double seconds = std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
    EXPECT_EQ(r.result, SI_READ_NOTHING);
    EXPECT_EQ(r.error, nullptr);
    EXPECT_GE(seconds, 0.9);
    Abort(id);
}

TEST_F(TransportTest, AnAbsurdLengthIsRefusedWithoutReadingOn)
{
    DbvAssocId id = Scripted("keep", 100, 0, {0xB5, 0x84, 0x7F, 0xFF, 0xFF, 0xF0, 0x01, 0x02});
    SISetNegotiatedSizes(id, 10000, 10000);
    Read r;
    ReadOne(&r, id, 5);
    EXPECT_EQ(r.result, SI_READ_FAILED);
    ASSERT_NE(r.error, nullptr);
    EXPECT_EQ(r.error->eErrorClass, SI_Communication_Error);
    EXPECT_EQ(r.error->uErrorCode.lIfOsCoError, SI_ERR_ASSOCIATION_LOST);
    EXPECT_STREQ(r.error->pcDiagnostics, "The received PDU announces a length of 2147483638 octets, more than the "
                                         "105536 octets this association accepts");
    Abort(id);
}

struct OpenFailure {
    const char *name;
    const char *host;
    bool refusedPort;
    int32_t timeout;
    int32_t code;
    const char *text; // the start of the text
};

class OpenFailures : public TransportTest, public testing::WithParamInterface<OpenFailure> {};

TEST_P(OpenFailures, ReportedAndNothingLeftBehind)
{
    const OpenFailure &c = GetParam();
    AssocSetNextId(5000);
    Opened o;
    Open(&o, c.host, c.refusedPort ? Port("refused") : Port("scripted"), c.timeout);
    EXPECT_EQ(o.result, SI_NOTOK);
    ASSERT_NE(o.error, nullptr);
    EXPECT_EQ(o.error->eErrorClass, SI_Communication_Error);
    EXPECT_EQ(o.error->uErrorCode.lIfOsCoError, c.code);
    EXPECT_EQ(o.error->eAssociationState, Association_Closed);
    EXPECT_EQ(std::string(o.error->pcDiagnostics).rfind(c.text, 0), 0u) << o.error->pcDiagnostics;
    EXPECT_EQ(AssocFind(5000), nullptr);
}

INSTANTIATE_TEST_SUITE_P(
    Connect, OpenFailures,
    testing::Values(OpenFailure{"refused_blocking", "127.0.0.1", true, -1, SI_ERR_CONNECT_FAILED,
                                "TCP: connect() failed.\nDiagnostics :"},
                    OpenFailure{"unresolvable", "no-such-host.invalid", false, -1, SI_ERR_INVALID_ADDRESS,
                                "TCP/IP: address no-such-host.invalid is invalid"}),
    [](const testing::TestParamInfo<OpenFailure> &info) { return std::string(info.param.name); });

TEST_F(TransportTest, TimedConnectToARefusingPortDoesNotConnect)
{
    Opened o;
    Open(&o, "127.0.0.1", Port("refused"), 1);
    if (o.result == SI_OK) {
        // A platform that reports a refusal only as an unfinished attempt.
        EXPECT_EQ(o.status, SI_CONNECT_IN_PROGRESS);
        EXPECT_EQ(AssocFind(o.id)->protocolState, DBV_OS_ASSOCREQ_INPROGRESS);
        Abort(o.id);
    } else {
        EXPECT_EQ(o.error->uErrorCode.lIfOsCoError, SI_ERR_CONNECT_FAILED);
    }
}

TEST_F(TransportTest, OpenedByNameAndWithATimeLimit)
{
    ScratchDir scratch;
    WriteFile("target_names.tbl", "\"scripted\" \"127.0.0.1\" \"" + std::to_string(Port("scripted")) + "\"\n");
    Opened o;
    o.error = nullptr;
    o.result = SIAssociate(nullptr, "scripted", 5, &o.id, &o.status, &o.error);
    ASSERT_EQ(o.result, SI_OK);
    EXPECT_EQ(o.status, SI_CONNECTED);
    EXPECT_EQ(AssocFind(o.id)->protocolState, DBV_OS_ASSOCIATION);
    Abort(o.id);

    Opened osi;
    DbvTargetInformation target = {OIA_Osi, {const_cast<char *>("127.0.0.1"), 1}};
    osi.error = nullptr;
    EXPECT_EQ(SIAssociate(&target, nullptr, -1, &osi.id, &osi.status, &osi.error), SI_NOTOK);
    EXPECT_STREQ(osi.error->pcDiagnostics, "Function called with invalid parameters.\nDiagnostics: Value for "
                                           "psTargetInformation->eOsiOrInternetAddress is invalid");
}

TEST_F(TransportTest, IdsWrapFromTheLargestToZero)
{
    AssocSetNextId(0x7FFFFFFF);
    Opened first;
    Open(&first, "127.0.0.1", Port("scripted"), -1);
    Opened second;
    Open(&second, "127.0.0.1", Port("scripted"), -1);
    EXPECT_EQ(first.id, 0x7FFFFFFF);
    EXPECT_EQ(second.id, 0);
    Abort(first.id);
    Abort(second.id);
}

TEST_F(TransportTest, SendingToAPeerThatHasGoneAbortsAndRemoves)
{
    DbvAssocId id = Scripted("close", 1, 0, {});
    Read r;
    ReadOne(&r, id, 5); // the close is seen: the peer has gone
    const unsigned char pdu[] = {0xB6, 0x03, 0x02, 0x01, 0x05};
    SIError *error = nullptr;
    EXPECT_EQ(SISendOctets(id, pdu, sizeof pdu, &error), SI_NOTOK);
    ASSERT_NE(error, nullptr);
    EXPECT_EQ(error->eErrorClass, SI_Abort);
    SIFreeError(error);
    EXPECT_EQ(AssocFind(id), nullptr);
    error = nullptr;
    EXPECT_EQ(DbvAbortRequest(id, &error), SI_NOTOK);
    EXPECT_STREQ(error->pcDiagnostics, ("The association " + std::to_string(id) + " is invalid").c_str());
    SIFreeError(error);
}

TEST_F(TransportTest, EventLocationNamesTheReadyAssociationOnly)
{
    DbvAssocId quiet = Scripted("keep", 1, 0, {});
    DbvAssocId talking = Scripted("keep", 5, 0, {0xB6, 0x03, 0x02, 0x01, 0x05});
    DbvAssocId *ids[] = {&quiet, &talking, nullptr};
    uint32_t *none[] = {nullptr};
    SIEventList *events = nullptr;
    SIError *error = nullptr;
    ASSERT_EQ(SIGetEventLocation(ids, 5, none, &events, &error), SI_OK);
    ASSERT_NE(events, nullptr);
    ASSERT_NE(events->pplAssocId[0], nullptr);
    EXPECT_EQ(*events->pplAssocId[0], talking);
    EXPECT_EQ(events->pplAssocId[1], nullptr);
    EXPECT_EQ(events->ppulFileDescriptor[0], nullptr);
    SIFreeEventList(events);

    DbvAssocId *quietOnly[] = {&quiet, nullptr};
    auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(SIGetEventLocation(quietOnly, 0, none, &events, &error), SI_OK);
    EXPECT_LT(std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count(), 0.5);
    EXPECT_EQ(events, nullptr);
    Abort(quiet);
    Abort(talking);
}

struct BadWait {
    const char *name;
    bool noIds;
    bool noDescriptors;
    DbvAssocId unknown; // 0: none
    const char *text;
};

class BadWaits : public testing::TestWithParam<BadWait> {};

TEST_P(BadWaits, Refused)
{
    const BadWait &c = GetParam();
    DbvAssocId unknown = c.unknown;
    DbvAssocId *ids[] = {c.unknown ? &unknown : nullptr, nullptr};
    uint32_t *descriptors[] = {nullptr};
    SIEventList *events = nullptr;
    SIError *error = nullptr;
    EXPECT_EQ(SIGetEventLocation(c.noIds ? nullptr : ids, 0, c.noDescriptors ? nullptr : descriptors, &events, &error),
              SI_NOTOK);
    ASSERT_NE(error, nullptr);
    EXPECT_STREQ(error->pcDiagnostics, c.text);
    SIFreeError(error);
}

INSTANTIATE_TEST_SUITE_P(
    Arguments, BadWaits,
    testing::Values(BadWait{"no_ids", true, false, 0,
                            "Function called with invalid parameters.\nDiagnostics: SIGetEventLocation: pplAssocId "
                            "must be NULL terminated list"},
                    BadWait{"no_descriptors", false, true, 0,
                            "Function called with invalid parameters.\nDiagnostics: SIGetEventLocation: "
                            "ppulFileDescriptor must be NULL terminated list"},
                    BadWait{"both_empty", false, false, 0,
                            "Function called with invalid parameters.\nDiagnostics: SIGetEventLocation: Association "
                            "list and File Descriptor list cannot both be empty"},
                    BadWait{"unknown_id", false, false, 987654, "The association 987654 is invalid"}),
    [](const testing::TestParamInfo<BadWait> &info) { return std::string(info.param.name); });

TEST_F(TransportTest, TraceSettingAndAbortingAreTraced)
{
    ScratchDir scratch;
    DbvAssocId id = Scripted("keep", 1, 0, {});
    FILE *stream = std::fopen("assoc.trc", "w+b");
    SIError *error = nullptr;
    EXPECT_EQ(SISetTraceParameter(id, stream, Trace_Off, &error), SI_NOTOK);
    EXPECT_STREQ(error->pcDiagnostics, "Function called with invalid parameters.\nDiagnostics: SISetTraceParameter: "
                                       "There is no trace file for this Association, so it cannot be closed");
    SIFreeError(error);
    EXPECT_EQ(SISetTraceParameter(987654, stream, Trace_Low, &error), SI_NOTOK);
    SIFreeError(error);
    EXPECT_EQ(SISetTraceParameter(id, stream, Trace_Low, &error), SI_OK);
    Abort(id);
    std::fclose(stream);
    std::string trace = ReadFile("assoc.trc");
    EXPECT_NE(trace.find("\nBeginning trace for Association:" + std::to_string(id) + "\n"), std::string::npos);
    EXPECT_NE(trace.find("Association uses stack: TCP_Stack\n\nBeginning Trace at Level: Trace_Low\n"),
              std::string::npos);
    EXPECT_NE(trace.find("**Entering function:DbvAbortRequest\nORIGIN EVENT is: DBV_OE_IABORTREQ\n"
                         "Current ORIGIN STATE is: DBV_OS_DEAD\n"),
              std::string::npos);
    EXPECT_EQ(trace.find("Input Function Arguments"), std::string::npos); // a Trace_High line
    EXPECT_NE(trace.find("**Leaving function:DbvAbortRequest\nFunction returned: SI_OK\n\n"), std::string::npos);
}

TEST_F(TransportTest, AbortingADeadAssociationCleansUp)
{
    DbvAssocId id = Scripted("keep", 1, 0, {});
    SIError *error = nullptr;
    ASSERT_EQ(FeedOriginEvent(id, DBV_OE_AABORT_IND, &error), 0);
    EXPECT_EQ(DbvAbortRequest(id, &error), SI_OK);
    ASSERT_NE(error, nullptr); // the machine's refusal stays in the slot
    EXPECT_EQ(error->uErrorCode.lIfOsCoError, SI_ERR_EVENT_INVALID);
    SIFreeError(error);
    EXPECT_EQ(AssocFind(id), nullptr);
}

// A real target: an Initialize request written out octet by octet, and the
// target's response read whole and decoded.
TEST(YazZtest, InitializeResponseReadWhole)
{
    if (!Port("ztest"))
        GTEST_SKIP() << "no yaz-ztest";
    const unsigned char initRequest[] = {
        0xB4, 0x10,                   // initRequest
        0x83, 0x02, 0x05, 0xE0,       // protocolVersion: 1, 2, 3
        0x84, 0x02, 0x00, 0xC0,       // options: search, present
        0x85, 0x02, 0x27, 0x10,       // preferredMessageSize 10000
        0x86, 0x02, 0x27, 0x10};      // exceptionalRecordSize 10000
    Opened o;
    Open(&o, "127.0.0.1", Port("ztest"), -1);
    ASSERT_EQ(o.result, SI_OK);
    SIError *error = nullptr;
    ASSERT_EQ(SISendOctets(o.id, initRequest, sizeof initRequest, &error), SI_OK);
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    PDU pdu = {};
    ASSERT_EQ(SIReadPdu(o.id, 10, &octets, &count, &pdu, &error), SI_READ_DONE);
    EXPECT_EQ(pdu.choiceId, 1u); // initResponse
    uint32_t total = 0;
    EXPECT_EQ(PduLength(octets, count, &total), 1);
    EXPECT_EQ(total, count);
    FreePDU(&pdu);
    MemFree(octets);
    Read after;
    ReadOne(&after, o.id, 0);
    EXPECT_EQ(after.result, SI_READ_NOTHING);
    Abort(o.id);
}

} // namespace
