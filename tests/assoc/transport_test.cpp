// The transport against the scripted test target (tests/peers/scripted_target.py;
// KESTRA_TARGETS_STATE names its ports): opening, reading PDUs however they
// arrive, the event wait, sending to a peer that has gone, tracing and
// aborting. The receive path above it is tested in tests/toolkit.
#include <chrono>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "tests/diag/scratch_dir.h"
#include "tests/toolkit/toolkit_kit.h"
#include "ui/mem.h"

namespace {

using Octets = std::vector<unsigned char>;

int Port(const char *name)
{
    return PeerPort("KESTRA_TARGETS_STATE", name);
}

struct Opened {
    int result;
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    Opened(const char *host, int port, int32_t timeout, int32_t kind = OIA_Internet)
    {
        DbvTargetInformation target = {kind, {const_cast<char *>(host), port}};
        result = SIAssociate(&target, nullptr, timeout, &id, &status, &error);
    }
    ~Opened() { SIFreeError(error); }
};

struct Read {
    int result;
    Octets octets;
    SIError *error = nullptr;
    Read(DbvAssocId id, int32_t wait)
    {
        unsigned char *data = nullptr;
        uint32_t count = 0;
        result = SIReadOctets(id, wait, &data, &count, &error);
        if (result == SI_READ_DONE)
            octets.assign(data, data + count);
        MemFree(data);
    }
    ~Read() { SIFreeError(error); }
};

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
    DbvAssocId id = OpenScripted("keep", all, c.segment, c.delayMs);
    for (const Octets &pdu : c.pdus) {
        Read r(id, 5);
        ASSERT_EQ(r.result, SI_READ_DONE);
        EXPECT_EQ(r.octets, pdu);
    }
    EXPECT_EQ(Read(id, 0).result, SI_READ_NOTHING);
    EXPECT_EQ(Abort(id), SI_OK);
}

INSTANTIATE_TEST_SUITE_P(
    Scripted, Deliveries,
    testing::Values(Delivery{"many_segments", 97, 1, {Definite(0xB5, 3000)}},
                    Delivery{"octet_by_octet", 1, 0, {IndefiniteRecords(3)}},
                    Delivery{"two_in_one_segment", 100000, 0, {Definite(0xB7, 300), IndefiniteRecords(2)}},
                    Delivery{"large_indefinite", 1460, 0, {IndefiniteRecords(1000), Definite(0xBF, 10)}}),
    [](const testing::TestParamInfo<Delivery> &info) { return std::string(info.param.name); });

TEST_F(TransportTest, AnAbsurdLengthIsRefusedWithoutReadingOn)
{
    DbvAssocId id = OpenScripted("keep", {0xB5, 0x84, 0x7F, 0xFF, 0xFF, 0xF0, 0x01, 0x02}, 100);
    SISetNegotiatedSizes(id, 10000, 10000);
    Read r(id, 5);
    EXPECT_EQ(r.result, SI_READ_FAILED);
    ASSERT_NE(r.error, nullptr);
    EXPECT_EQ(r.error->eErrorClass, SI_Communication_Error);
    EXPECT_EQ(r.error->uErrorCode.lIfOsCoError, SI_ERR_ASSOCIATION_LOST);
    EXPECT_STREQ(r.error->pcDiagnostics, "The received PDU announces a length of 2147483638 octets, more than the "
                                         "105536 octets this association accepts");
    EXPECT_EQ(Abort(id), SI_OK);
}

struct OpenFailure {
    const char *name;
    const char *host;
    const char *port;
    int32_t code;
    const char *text; // the start of the text
};

class OpenFailures : public TransportTest, public testing::WithParamInterface<OpenFailure> {};

TEST_P(OpenFailures, ReportedAndNothingLeftBehind)
{
    const OpenFailure &c = GetParam();
    AssocSetNextId(5000);
    Opened o(c.host, Port(c.port), -1);
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
    testing::Values(OpenFailure{"refused", "127.0.0.1", "refused", SI_ERR_CONNECT_FAILED,
                                "TCP: connect() failed.\nDiagnostics :"},
                    OpenFailure{"unresolvable", "no-such-host.invalid", "scripted", SI_ERR_INVALID_ADDRESS,
                                "TCP/IP: address no-such-host.invalid is invalid"}),
    [](const testing::TestParamInfo<OpenFailure> &info) { return std::string(info.param.name); });

TEST_F(TransportTest, TimedConnectToARefusingPortDoesNotConnect)
{
    Opened o("127.0.0.1", Port("refused"), 1);
    if (o.result == SI_OK) { // a platform that reports a refusal only as an unfinished attempt
        EXPECT_EQ(o.status, SI_CONNECT_IN_PROGRESS);
        EXPECT_EQ(AssocFind(o.id)->protocolState, DBV_OS_ASSOCREQ_INPROGRESS);
        EXPECT_EQ(Abort(o.id), SI_OK);
    } else {
        EXPECT_EQ(o.error->uErrorCode.lIfOsCoError, SI_ERR_CONNECT_FAILED);
    }
}

TEST_F(TransportTest, OpenedByNameAndWithATimeLimitOrRefusedForOsi)
{
    ScratchDir scratch;
    WriteFile("target_names.tbl", "\"scripted\" \"127.0.0.1\" \"" + std::to_string(Port("scripted")) + "\"\n");
    DbvAssocId id = -1;
    int32_t status = 0;
    SIError *error = nullptr;
    ASSERT_EQ(SIAssociate(nullptr, "scripted", 5, &id, &status, &error), SI_OK);
    EXPECT_EQ(status, SI_CONNECTED);
    EXPECT_EQ(AssocFind(id)->protocolState, DBV_OS_ASSOCIATION);
    EXPECT_EQ(Abort(id), SI_OK);

    Opened osi("127.0.0.1", 1, -1, OIA_Osi);
    EXPECT_EQ(osi.result, SI_NOTOK);
    EXPECT_STREQ(osi.error->pcDiagnostics, "Function called with invalid parameters.\nDiagnostics: Value for "
                                           "psTargetInformation->eOsiOrInternetAddress is invalid");
}

TEST_F(TransportTest, IdsWrapFromTheLargestToZero)
{
    AssocSetNextId(0x7FFFFFFF);
    Opened first("127.0.0.1", Port("scripted"), -1);
    Opened second("127.0.0.1", Port("scripted"), -1);
    EXPECT_EQ(first.id, 0x7FFFFFFF);
    EXPECT_EQ(second.id, 0);
    EXPECT_EQ(Abort(first.id), SI_OK);
    EXPECT_EQ(Abort(second.id), SI_OK);
}

TEST_F(TransportTest, SendingToAPeerThatHasGoneAbortsAndRemoves)
{
    DbvAssocId id = OpenScripted("close", {}, 1);
    Read r(id, 5); // the close is seen: the peer has gone
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
    DbvAssocId quiet = OpenScripted("keep", {}, 1);
    DbvAssocId talking = OpenScripted("keep", {0xB6, 0x03, 0x02, 0x01, 0x05}, 5);
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
    EXPECT_EQ(Abort(quiet), SI_OK);
    EXPECT_EQ(Abort(talking), SI_OK);
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

#define INVALID "Function called with invalid parameters.\nDiagnostics: SIGetEventLocation: "
INSTANTIATE_TEST_SUITE_P(
    Arguments, BadWaits,
    testing::Values(BadWait{"no_ids", true, false, 0, INVALID "pplAssocId must be NULL terminated list"},
                    BadWait{"no_descriptors", false, true, 0, INVALID "ppulFileDescriptor must be NULL terminated list"},
                    BadWait{"both_empty", false, false, 0,
                            INVALID "Association list and File Descriptor list cannot both be empty"},
                    BadWait{"unknown_id", false, false, 987654, "The association 987654 is invalid"}),
    [](const testing::TestParamInfo<BadWait> &info) { return std::string(info.param.name); });
#undef INVALID

TEST_F(TransportTest, TraceSettingAndAbortingAreTraced)
{
    ScratchDir scratch;
    DbvAssocId id = OpenScripted("keep", {}, 1);
    FILE *stream = std::fopen("assoc.trc", "w+b");
    SIError *error = nullptr;
    EXPECT_EQ(SISetTraceParameter(id, stream, Trace_Off, &error), SI_NOTOK);
    EXPECT_STREQ(error->pcDiagnostics, "Function called with invalid parameters.\nDiagnostics: SISetTraceParameter: "
                                       "There is no trace file for this Association, so it cannot be closed");
    SIFreeError(error);
    EXPECT_EQ(SISetTraceParameter(987654, stream, Trace_Low, &error), SI_NOTOK);
    SIFreeError(error);
    EXPECT_EQ(SISetTraceParameter(id, stream, Trace_Low, &error), SI_OK);
    EXPECT_EQ(Abort(id), SI_OK);
    std::fclose(stream);
    std::string trace = ReadFile("assoc.trc");
    for (const std::string &part :
         {"\nBeginning trace for Association:" + std::to_string(id) + "\n",
          std::string("Association uses stack: TCP_Stack\n\nBeginning Trace at Level: Trace_Low\n"),
          std::string("**Entering function:DbvAbortRequest\nORIGIN EVENT is: DBV_OE_IABORTREQ\n"
                      "Current ORIGIN STATE is: DBV_OS_DEAD\n"),
          std::string("**Leaving function:DbvAbortRequest\nFunction returned: SI_OK\n\n")})
        EXPECT_NE(trace.find(part), std::string::npos) << part;
    EXPECT_EQ(trace.find("Input Function Arguments"), std::string::npos); // a Trace_High line
}

TEST_F(TransportTest, AbortingADeadAssociationCleansUp)
{
    DbvAssocId id = OpenScripted("keep", {}, 1);
    SIError *error = nullptr;
    ASSERT_EQ(FeedOriginEvent(id, DBV_OE_AABORT_IND, &error), 0);
    EXPECT_EQ(DbvAbortRequest(id, &error), SI_OK);
    ASSERT_NE(error, nullptr); // the machine's refusal stays in the slot
    EXPECT_EQ(error->uErrorCode.lIfOsCoError, SI_ERR_EVENT_INVALID);
    SIFreeError(error);
    EXPECT_EQ(AssocFind(id), nullptr);
}

} // namespace
