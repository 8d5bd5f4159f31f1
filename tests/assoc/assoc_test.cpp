// The association layer: every cell of the origin state machine's table,
// its refusals, excursions and switches; and the reading of one PDU, which
// takes PDUs arriving in pieces of any size to their exact end and never
// past it, in few receive calls, and refuses absurd lengths and nesting. (The transport, the target names, the receive path and the
// diagnostics output run against the scripted target in tests/toolkit.)
#include <algorithm>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_pdu.h"
#include "assoc/assoc_table.h"
#include "assoc/pdu_scan.h"
#include "asn/asn_ber.h"
#include "ui/mem.h"
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

// A stream that the PDU and foreign octets after it arrive on, `piece`
// octets at a time, one piece per wait (and, when flowing, one more with
// every receive call); it notes every receive call and any octet taken
// past the PDU's end.
struct PieceStream {
    Octets data;
    size_t end; // the PDU's end
    size_t piece;
    size_t arrived = 0;
    size_t taken = 0;
    size_t calls = 0;
    bool overread = false;
    bool flowing = false;

    PieceStream(const Octets &pdu, size_t pieceSize)
        : data(Cat({pdu, Octets(64, 0xEE)})), end(pdu.size()), piece(pieceSize), arrived(std::min(piece, data.size()))
    {
    }
    static PieceStream &Of(void *context) { return *static_cast<PieceStream *>(context); }
    static long Available(void *context) { return static_cast<long>(Of(context).arrived - Of(context).taken); }
    static long Receive(void *context, unsigned char *octets, size_t count, int peek)
    {
        PieceStream &s = Of(context);
        s.calls++;
        if (s.flowing)
            s.arrived = std::min(s.arrived + s.piece, s.data.size());
        size_t n = std::min(count, s.arrived - s.taken);
        std::copy(s.data.begin() + static_cast<long>(s.taken), s.data.begin() + static_cast<long>(s.taken + n), octets);
        if (!peek)
            s.taken += n;
        s.overread |= s.taken > s.end;
        return static_cast<long>(n);
    }
    static int Await(void *context)
    {
        PieceStream &s = Of(context);
        if (s.arrived > s.taken)
            return 1;
        if (s.arrived == s.data.size())
            return 0;
        s.arrived = std::min(s.arrived + s.piece, s.data.size());
        return 1;
    }
};

struct Delivery {
    PduReadResult result;
    Octets octets; // the PDU read
    uint32_t count;
    size_t calls;
    bool overread;
};

Delivery Deliver(const Octets &pdu, size_t piece, uint32_t limit = kLimit, bool flowing = false)
{
    PieceStream source(pdu, piece);
    source.flowing = flowing;
    PduStream stream = {&source, PieceStream::Available, PieceStream::Receive, PieceStream::Await};
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    Delivery d = {ReadOnePdu(&stream, limit, &octets, &count), {}, count, source.calls, source.overread};
    if (d.result == PDU_READ_DONE) {
        d.octets.assign(octets, octets + count);
        MemFree(octets);
    }
    return d;
}

// Random trees of definite and indefinite elements, short and long forms,
// low and high tag numbers, empty and nested, delivered in pieces of any
// size: the read ends at the end the codec finds, with exactly the PDU.
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

TEST(PduRead, AgreesWithTheCodecOnRandomTrees)
{
    std::mt19937 random(20240307);
    for (int i = 0; i < 300; i++) {
        Octets pdu = RandomElement(random, 0);
        uint32_t total = 0;
        ASSERT_EQ(PduLength(pdu.data(), static_cast<uint32_t>(pdu.size()), &total), 1);
        ASSERT_EQ(total, pdu.size());
        for (size_t piece : {size_t(1), size_t(1 + random() % 100), size_t(4096)}) {
            for (bool flowing : {false, true}) {
                Delivery d = Deliver(pdu, piece, kLimit, flowing);
                ASSERT_EQ(d.result, PDU_READ_DONE) << piece;
                EXPECT_EQ(d.octets, pdu);
                EXPECT_FALSE(d.overread);
            }
        }
    }
}

// Present responses as targets send them, 1,000 records of 400 octets, with
// indefinite lengths at every level above the records or definite ones:
// two receive calls when the PDU has arrived whole, and at most two per
// further piece of 64 KB.
TEST(PduRead, ReceiveCallsPerPiece)
{
    Octets record = Indefinite({0x30}, Indefinite({0xA1}, Definite({0x81}, Octets(400, 'M'))));
    Octets records;
    for (int i = 0; i < 1000; i++)
        records.insert(records.end(), record.begin(), record.end());
    Octets small = Definite({0x81}, Octets(4000, 'M'));
    struct Case {
        const char *name;
        Octets pdu;
    } cases[] = {
        {"indefinite 4 KB", Indefinite({0xB9}, Indefinite({0xBC}, small))},
        {"definite 4 KB", Definite({0xB9}, Definite({0xBC}, small))},
        {"indefinite 400 KB", Indefinite({0xB9}, Indefinite({0xBC}, records))},
    };
    for (const Case &c : cases) {
        Delivery whole = Deliver(c.pdu, c.pdu.size() + 64);
        EXPECT_EQ(whole.calls, 2u) << c.name;
        Delivery pieces = Deliver(c.pdu, 65536);
        ASSERT_EQ(pieces.result, PDU_READ_DONE) << c.name;
        EXPECT_LE(pieces.calls, 2 * (c.pdu.size() / 65536 + 1)) << c.name;
        EXPECT_FALSE(pieces.overread) << c.name;
    }
}

// Refusals: a length beyond the limit before anything is allocated for it,
// more open indefinite lengths than the codec accepts (by the receive path
// and PduLength alike), a peer that closes or stops in mid-PDU.
TEST(PduRead, Refusals)
{
    Delivery tooLong = Deliver(Definite({0xB9}, Octets(60000, 'M')), 100, 50000);
    EXPECT_EQ(tooLong.result, PDU_READ_TOO_LONG);
    EXPECT_EQ(tooLong.count, 60004u);
    EXPECT_EQ(Deliver({0xB9, 0x85, 1, 0, 0, 0, 0}, 100).result, PDU_READ_TOO_LONG);

    Octets deepest = Definite({0x81}, {1});
    for (int level = 0; level < ASN_MAX_NESTING; level++)
        deepest = Indefinite({0xA1}, deepest);
    uint32_t total = 0;
    EXPECT_EQ(PduLength(deepest.data(), static_cast<uint32_t>(deepest.size()), &total), 1);
    EXPECT_EQ(Deliver(deepest, 4096).result, PDU_READ_DONE);
    Octets deeper = Indefinite({0xA1}, deepest);
    EXPECT_EQ(PduLength(deeper.data(), static_cast<uint32_t>(deeper.size()), &total), 0);
    EXPECT_EQ(total, 0u);
    EXPECT_EQ(Deliver(deeper, 4096).result, PDU_READ_UNDECODABLE);

    Octets pdu = Definite({0xB9}, Octets(300, 'M'));
    pdu.resize(200);
    PieceStream source(pdu, 100);
    source.data.resize(200); // nothing follows: the wait times out
    PduStream stream = {&source, PieceStream::Available, PieceStream::Receive, PieceStream::Await};
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    EXPECT_EQ(ReadOnePdu(&stream, kLimit, &octets, &count), PDU_READ_TIMED_OUT);
}

} // namespace
