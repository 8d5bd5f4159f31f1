// The association layer: every cell of the origin state machine's table,
// its refusals, excursions and switches; and the completeness walk, which
// finds PDUs arriving in pieces of any size complete at their exact end,
// never asks for octets past it, reads few times, and refuses absurd
// lengths. (The transport, the target names, the receive path and the
// diagnostics output run against the scripted target in tests/toolkit.)
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "assoc/assoc_table.h"
#include "assoc/pdu_scan.h"
#include "assoc/state_machine.h"

namespace {

// An association without a connection, in a chosen state.
struct Association {
    DbvAssocId id;
    explicit Association(int32_t state) : id(AssocAdd(OIA_Internet, 0, SI_CONNECTED)->assocId)
    {
        AssocFind(id)->protocolState = state;
    }
    ~Association() { AssocRemove(id); }
    int32_t State() const { return AssocFind(id)->protocolState; }
};

struct Outcome {
    int result;
    int32_t code; // 0 when accepted
    std::string text;
};

Outcome Feed(DbvAssocId id, int32_t event)
{
    SIError *error = nullptr;
    Outcome outcome = {FeedOriginEvent(id, event, &error), 0, ""};
    if (error) {
        outcome.code = error->uErrorCode.lIfOsCoError;
        outcome.text = error->pcDiagnostics;
        EXPECT_EQ(error->eErrorClass, outcome.code == SI_ERR_INVALID_ASSOCIATION ? SI_Communication_Error
                                                                                 : SI_Interface_Error);
        SIFreeError(error);
    }
    return outcome;
}

// The states in their order, one letter each: CLOSED, ASSOCREQ_INPROGRESS,
// ASSOCIATION, INITSENT, OPEN, SEARCH_SENT, PRESENT_SENT, DELETE_SENT,
// SCAN_SENT, RESOURCE_REPORT_SENT, SORT_REQUEST_SENT, EXTENDED_SERVICE_SENT,
// RELEASEREQ_SENT, CLOSE_SENT, CLOSE_RCVD, ERROR, DEAD, ACCCNT_RCVD,
// RESCNT_RCVD, TRIGRESCNT_SENT.
const std::string kStates = "cianospdkrtxlwvezqug";

// The table of the protocol: for each event, in each state, the state it
// moves to, 'E' where the event is an error (to ERROR, code 81), '.' where
// it is refused (code 80, the state kept). The answers to access and
// resource control return to the state left (the test below).
const char *const kTable[] = {
    "i...................", // IASSOCREQ
    ".a..................", // AASSOCIATERESP_IND_TRUE
    ".z..................", // AASSOCIATERESP_IND_FALSE
    "..n.................", // INITREQ
    "..EoEEEEEEEEEEE.....", // INITRESP_PDU_TRUE
    "..EaEEEEEEEEEEE.....", // INITRESP_PDU_FALSE
    "....s...............", // SEARCHREQ
    "..EEEoEEEEEElwE.....", // SEARCHRESP_PDU
    "....p...............", // PRESENTREQ
    "..EEEEoEEEEElwE.....", // PRESENTRESP_PDU
    "....d...............", // DELETEREQ
    "..EEEEEoEEEElwE.....", // DELETERESP_PDU
    "....k...............", // SCANREQ
    "..EEEEEEoEEElwE.....", // SCANRESP_PDU
    "....r...............", // RESOURCEREQ
    "..EEEEEEEoEElwE.....", // RESOURCERESP_PDU
    "....t...............", // SORTREQ
    "..EEEEEEEEoElwE.....", // SORTRESP_PDU
    "..EEEEpEEEEElwE.....", // SEGMENTREQ_PDU
    "....x...............", // EXTENDEDREQ
    "..EEEEEEEEEolwE.....", // EXTENDEDRESP_PDU
    "..l.l...............", // IRELREQ
    "..EEEEEEEEEEEEE.....", // ARELREQ_IND
    "..EEEEEEEEEEzEE.....", // ARELRESP_IND
    ".zzzzzzzzzzzzzzz....", // AABORT_IND
    ".zzzzzzzzzzzzzzz....", // IABORTREQ
    "..Evvvvvvvvvla.v....", // CLOSEREQ_PDU
    "....wwwwwwww...w....", // CLOSEREQ
    ".z............a.....", // CLOSERESP
    "..EEEEEEEEEE.EE.....", // DECODE_FAILED
    "...q.qqqqqqq........", // ACCCNTREQ_PDU
    nullptr,                // ACCCNTRSP
    "...u.uuuuuuu........", // RESCNTREQ_PDU
    nullptr,                // RESCNTRSP
    ".....spdkrtxlwv.....", // TRIGRESCNTREQ
};
static_assert(sizeof kTable / sizeof kTable[0] == DBV_OE_COUNT - 1, "one row per event");

TEST(OriginStateMachine, EveryCellOfTheTable)
{
    for (int32_t event = 1; event < DBV_OE_COUNT; event++) {
        for (int32_t state = 1; kTable[event - 1] && state < DBV_OS_COUNT; state++) {
            SCOPED_TRACE(std::string(OriginEventName(event)) + " in " + OriginStateName(state));
            char cell = kTable[event - 1][state - 1];
            Association a(state);
            Outcome outcome = Feed(a.id, event);
            EXPECT_EQ(outcome.code, cell == '.' ? SI_ERR_EVENT_INVALID : cell == 'E' ? SI_ERR_EVENT_IS_ERROR : 0);
            EXPECT_EQ(a.State(), cell == '.' ? state : cell == 'E' ? DBV_OS_ERROR
                                                                   : static_cast<int32_t>(kStates.find(cell)) + 1);
        }
    }
}

TEST(OriginStateMachine, RefusalsOfUnaskedEventsUnknownAssociationsAndOutOfRangeEvents)
{
    Association open(DBV_OS_OPEN);
    Outcome unasked = Feed(open.id, DBV_OE_SEARCHRESP_PDU);
    EXPECT_EQ(unasked.result, 1);
    EXPECT_EQ(unasked.text, "Incoming event DBV_OE_SEARCHRESP_PDU is an error for state DBV_OS_OPEN");
    Outcome unknown = Feed(987654, DBV_OE_SEARCHREQ);
    EXPECT_EQ(unknown.result, 1);
    EXPECT_EQ(unknown.code, SI_ERR_INVALID_ASSOCIATION);
    EXPECT_EQ(unknown.text, "The association 987654 is invalid");
    EXPECT_EQ(Feed(open.id, 0).code, SI_ERR_EVENT_INVALID);
    EXPECT_EQ(Feed(open.id, DBV_OE_COUNT).code, SI_ERR_EVENT_INVALID);
}

// Access and resource control requests leave the state for an excursion;
// the answer returns to the state left.
TEST(OriginStateMachine, ExcursionsReturnToTheStateLeft)
{
    const int32_t cases[][4] = {{DBV_OS_SEARCH_SENT, DBV_OE_ACCCNTREQ_PDU, DBV_OS_ACCCNT_RCVD, DBV_OE_ACCCNTRSP},
                                {DBV_OS_INITSENT, DBV_OE_RESCNTREQ_PDU, DBV_OS_RESCNT_RCVD, DBV_OE_RESCNTRSP}};
    for (const auto &c : cases) {
        Association a(c[0]);
        EXPECT_EQ(Feed(a.id, c[1]).result, 0);
        EXPECT_EQ(a.State(), c[2]);
        EXPECT_EQ(Feed(a.id, c[3]).result, 0);
        EXPECT_EQ(a.State(), c[0]);
    }
}

TEST(OriginStateMachine, SwitchesForCheckingAndResourceControl)
{
    SetStateChecking(0); // everything is accepted and nothing moves
    Association a(DBV_OS_OPEN);
    EXPECT_EQ(Feed(a.id, DBV_OE_SEARCHRESP_PDU).result, 0);
    EXPECT_EQ(Feed(987654, DBV_OE_INITREQ).result, 0);
    SetStateChecking(1);
    EXPECT_EQ(a.State(), DBV_OS_OPEN);
    SetResourceControlHandling(0); // its request is accepted silently
    EXPECT_EQ(Feed(a.id, DBV_OE_RESCNTREQ_PDU).result, 0);
    EXPECT_EQ(a.State(), DBV_OS_OPEN);
    EXPECT_EQ(Feed(a.id, DBV_OE_ACCCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
    SetResourceControlHandling(1);
    EXPECT_EQ(Feed(a.id, DBV_OE_RESCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
}


using Octets = std::vector<unsigned char>;

const uint32_t kLimit = 1u << 24;

Octets Cat(std::initializer_list<Octets> parts)
{
    Octets all;
    for (const Octets &part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

Octets Definite(Octets tag, const Octets &contents)
{
    auto n = static_cast<unsigned char>(contents.size()), high = static_cast<unsigned char>(contents.size() >> 8);
    return Cat({tag, contents.size() < 0x80 ? Octets{n} : Octets{0x82, high, n}, contents});
}

Octets Indefinite(Octets tag, const Octets &contents)
{
    return Cat({tag, {0x80}, contents, {0, 0}});
}

struct Delivery {
    PduScanResult result;
    uint32_t count;    // the size when complete
    size_t reads;      // pieces taken
    bool overread;     // asked for octets past the PDU's end
};

// Feeds the walk from pdu followed by foreign octets, at most `piece`
// octets a time and never more than it asks for, as a receive would.
Delivery Deliver(const Octets &pdu, size_t piece, uint32_t limit = kLimit)
{
    Octets stream = Cat({pdu, Octets(64, 0xEE)});
    PduScan scan = {0, 0, 0};
    Delivery d = {PDU_SCAN_MORE, 0, 0, false};
    uint32_t available = 0;
    for (;;) {
        uint32_t want = 0;
        d.result = PduScanStep(&scan, stream.data(), available, limit, &want);
        if (d.result != PDU_SCAN_MORE) {
            d.count = want;
            return d;
        }
        EXPECT_GT(want, 0u);
        if (available + want > pdu.size())
            d.overread = true;
        uint32_t take = static_cast<uint32_t>(std::min<size_t>({want, piece, stream.size() - available}));
        available += take;
        d.reads++;
        if (d.reads > 10 * stream.size())
            return d;
    }
}

// Random trees of definite and indefinite elements, short and long forms,
// low and high tag numbers, empty and nested, delivered in pieces of any
// size: the walk finds them complete at the end the codec finds.
Octets RandomElement(std::mt19937 &random, int depth)
{
    bool constructed = depth < 4 && random() % 3 != 0;
    Octets tag = random() % 4 == 0 ? Octets{static_cast<unsigned char>(constructed ? 0xBF : 0x9F), 0x81, 0x05}
                                   : Octets{static_cast<unsigned char>(constructed ? 0xA1 : 0x81)};
    if (!constructed)
        return Definite(tag, Octets(random() % 300, 0x5A));
    Octets contents;
    for (unsigned n = random() % 4; n > 0; n--)
        contents = Cat({contents, RandomElement(random, depth + 1)});
    return random() % 2 ? Indefinite(tag, contents) : Definite(tag, contents);
}

TEST(PduScan, AgreesWithTheCodecOnRandomTrees)
{
    std::mt19937 random(20240307);
    for (int i = 0; i < 300; i++) {
        Octets pdu = RandomElement(random, 0);
        uint32_t total = 0;
        ASSERT_EQ(PduLength(pdu.data(), static_cast<uint32_t>(pdu.size()), &total), 1);
        for (size_t piece : {size_t(1), size_t(1 + random() % 100), size_t(4096)}) {
            Delivery d = Deliver(pdu, piece);
            ASSERT_EQ(d.result, PDU_SCAN_COMPLETE) << piece;
            EXPECT_EQ(d.count, total);
            EXPECT_FALSE(d.overread);
        }
    }
}

// 1,000 records of 400 octets, indefinite lengths at every level above
// them, as common servers send a large present response: a few reads per
// record, not one per octet.
TEST(PduScan, LargeIndefiniteResponsesTakeFewReads)
{
    Octets records;
    for (int i = 0; i < 1000; i++)
        records = Cat({records, Indefinite({0x30}, Indefinite({0xA1}, Definite({0x81}, Octets(400, 'M'))))});
    Octets pdu = Indefinite({0xB9}, Indefinite({0xBC}, records));
    Delivery d = Deliver(pdu, 4096);
    ASSERT_EQ(d.result, PDU_SCAN_COMPLETE);
    EXPECT_EQ(d.count, pdu.size());
    EXPECT_LE(d.reads, 3000u);
}

} // namespace
