// The association layer: every cell of the origin state machine's table,
// its refusals, excursions and switches; and the reading of one PDU, which
// takes PDUs arriving in pieces of any size to their exact end and never
// past it, in few receive calls, and refuses absurd lengths and nesting. (The transport, the target names, the receive path and the
// diagnostics output run against the scripted target in tests/toolkit.)
#include <algorithm>
#include <random>
#include <sstream>
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

// The protocol's table, row by row: for each event, its moves "FROM>TO"
// and the states in which it is an error (to DBV_OS_ERROR, code 81), the
// states named without "DBV_OS_". In every other state the event is refused
// (code 80, the state kept). "previous": back to the state left before the
// excursion. Written from the protocol's rows, not from the machine's grid.
struct Row {
    int32_t event;
    const char *moves;
    const char *errorIn;
};

const Row kRows[] = {
    {DBV_OE_IASSOCREQ, "CLOSED>ASSOCREQ_INPROGRESS", ""},
    {DBV_OE_AASSOCIATERESP_IND_TRUE, "ASSOCREQ_INPROGRESS>ASSOCIATION", ""},
    {DBV_OE_AASSOCIATERESP_IND_FALSE, "ASSOCREQ_INPROGRESS>DEAD", ""},
    {DBV_OE_INITREQ, "ASSOCIATION>INITSENT", ""},
    {DBV_OE_INITRESP_PDU_TRUE,
     "INITSENT>OPEN",
     "ASSOCIATION OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT RELEASEREQ_SENT CLOSE_SENT CLOSE_RCVD"},
    {DBV_OE_INITRESP_PDU_FALSE,
     "INITSENT>ASSOCIATION",
     "ASSOCIATION OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT RELEASEREQ_SENT CLOSE_SENT CLOSE_RCVD"},
    {DBV_OE_SEARCHREQ, "OPEN>SEARCH_SENT", ""},
    {DBV_OE_SEARCHRESP_PDU,
     "SEARCH_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_PRESENTREQ, "OPEN>PRESENT_SENT", ""},
    {DBV_OE_PRESENTRESP_PDU,
     "PRESENT_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_DELETEREQ, "OPEN>DELETE_SENT", ""},
    {DBV_OE_DELETERESP_PDU,
     "DELETE_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_SCANREQ, "OPEN>SCAN_SENT", ""},
    {DBV_OE_SCANRESP_PDU,
     "SCAN_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_RESOURCEREQ, "OPEN>RESOURCE_REPORT_SENT", ""},
    {DBV_OE_RESOURCERESP_PDU,
     "RESOURCE_REPORT_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_SORTREQ, "OPEN>SORT_REQUEST_SENT", ""},
    {DBV_OE_SORTRESP_PDU,
     "SORT_REQUEST_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_SEGMENTREQ_PDU,
     "PRESENT_SENT>PRESENT_SENT RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_RCVD"},
    {DBV_OE_EXTENDEDREQ, "OPEN>EXTENDED_SERVICE_SENT", ""},
    {DBV_OE_EXTENDEDRESP_PDU,
     "EXTENDED_SERVICE_SENT>OPEN RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "CLOSE_RCVD"},
    {DBV_OE_IRELREQ, "ASSOCIATION>RELEASEREQ_SENT OPEN>RELEASEREQ_SENT", ""},
    {DBV_OE_ARELREQ_IND,
     "",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT RELEASEREQ_SENT CLOSE_SENT CLOSE_RCVD"},
    {DBV_OE_ARELRESP_IND,
     "RELEASEREQ_SENT>DEAD",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_SENT CLOSE_RCVD"},
    {DBV_OE_AABORT_IND,
     "ASSOCREQ_INPROGRESS>DEAD ASSOCIATION>DEAD INITSENT>DEAD OPEN>DEAD SEARCH_SENT>DEAD PRESENT_SENT>DEAD "
     "DELETE_SENT>DEAD SCAN_SENT>DEAD RESOURCE_REPORT_SENT>DEAD SORT_REQUEST_SENT>DEAD EXTENDED_SERVICE_SENT>DEAD "
     "RELEASEREQ_SENT>DEAD CLOSE_SENT>DEAD CLOSE_RCVD>DEAD ERROR>DEAD",
     ""},
    {DBV_OE_IABORTREQ,
     "ASSOCREQ_INPROGRESS>DEAD ASSOCIATION>DEAD INITSENT>DEAD OPEN>DEAD SEARCH_SENT>DEAD PRESENT_SENT>DEAD "
     "DELETE_SENT>DEAD SCAN_SENT>DEAD RESOURCE_REPORT_SENT>DEAD SORT_REQUEST_SENT>DEAD EXTENDED_SERVICE_SENT>DEAD "
     "RELEASEREQ_SENT>DEAD CLOSE_SENT>DEAD CLOSE_RCVD>DEAD ERROR>DEAD",
     ""},
    {DBV_OE_CLOSEREQ_PDU,
     "OPEN>CLOSE_RCVD SEARCH_SENT>CLOSE_RCVD PRESENT_SENT>CLOSE_RCVD DELETE_SENT>CLOSE_RCVD SCAN_SENT>CLOSE_RCVD "
     "RESOURCE_REPORT_SENT>CLOSE_RCVD SORT_REQUEST_SENT>CLOSE_RCVD EXTENDED_SERVICE_SENT>CLOSE_RCVD "
     "RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>ASSOCIATION ERROR>CLOSE_RCVD",
     "ASSOCIATION INITSENT"},
    {DBV_OE_CLOSEREQ,
     "OPEN>CLOSE_SENT SEARCH_SENT>CLOSE_SENT PRESENT_SENT>CLOSE_SENT DELETE_SENT>CLOSE_SENT SCAN_SENT>CLOSE_SENT "
     "RESOURCE_REPORT_SENT>CLOSE_SENT SORT_REQUEST_SENT>CLOSE_SENT EXTENDED_SERVICE_SENT>CLOSE_SENT ERROR>CLOSE_SENT",
     ""},
    {DBV_OE_CLOSERESP, "ASSOCREQ_INPROGRESS>DEAD CLOSE_RCVD>ASSOCIATION", ""},
    {DBV_OE_DECODE_FAILED,
     "",
     "ASSOCIATION INITSENT OPEN SEARCH_SENT PRESENT_SENT DELETE_SENT SCAN_SENT RESOURCE_REPORT_SENT SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT CLOSE_SENT CLOSE_RCVD"},
    {DBV_OE_ACCCNTREQ_PDU,
     "INITSENT>ACCCNT_RCVD SEARCH_SENT>ACCCNT_RCVD PRESENT_SENT>ACCCNT_RCVD DELETE_SENT>ACCCNT_RCVD "
     "SCAN_SENT>ACCCNT_RCVD RESOURCE_REPORT_SENT>ACCCNT_RCVD SORT_REQUEST_SENT>ACCCNT_RCVD "
     "EXTENDED_SERVICE_SENT>ACCCNT_RCVD",
     ""},
    {DBV_OE_ACCCNTRSP, "ACCCNT_RCVD>previous", ""},
    {DBV_OE_RESCNTREQ_PDU,
     "INITSENT>RESCNT_RCVD SEARCH_SENT>RESCNT_RCVD PRESENT_SENT>RESCNT_RCVD DELETE_SENT>RESCNT_RCVD "
     "SCAN_SENT>RESCNT_RCVD RESOURCE_REPORT_SENT>RESCNT_RCVD SORT_REQUEST_SENT>RESCNT_RCVD "
     "EXTENDED_SERVICE_SENT>RESCNT_RCVD",
     ""},
    {DBV_OE_RESCNTRSP, "RESCNT_RCVD>previous", ""},
    {DBV_OE_TRIGRESCNTREQ,
     "SEARCH_SENT>SEARCH_SENT PRESENT_SENT>PRESENT_SENT DELETE_SENT>DELETE_SENT SCAN_SENT>SCAN_SENT "
     "RESOURCE_REPORT_SENT>RESOURCE_REPORT_SENT SORT_REQUEST_SENT>SORT_REQUEST_SENT "
     "EXTENDED_SERVICE_SENT>EXTENDED_SERVICE_SENT RELEASEREQ_SENT>RELEASEREQ_SENT CLOSE_SENT>CLOSE_SENT "
     "CLOSE_RCVD>CLOSE_RCVD",
     ""},
};

// The number of the state named without its prefix.
int32_t StateNamed(const std::string &name)
{
    for (int32_t state = 1; state < DBV_OS_COUNT; state++) {
        if (OriginStateName(state) == "DBV_OS_" + name)
            return state;
    }
    ADD_FAILURE() << "no state " << name;
    return 0;
}

struct Cell {
    int32_t code; // 0 when accepted
    int32_t next;
};

// The row's cell for the state; the way back from an excursion leads to
// DBV_OS_OPEN (see SaveOpenAsPrevious).
Cell ExpectedCell(const Row &row, int32_t state)
{
    std::istringstream moves(row.moves), errors(row.errorIn);
    for (std::string move; moves >> move;) {
        size_t arrow = move.find('>');
        std::string to = move.substr(arrow + 1);
        if (StateNamed(move.substr(0, arrow)) == state)
            return {0, to == "previous" ? DBV_OS_OPEN : StateNamed(to)};
    }
    for (std::string name; errors >> name;) {
        if (StateNamed(name) == state)
            return {SI_ERR_EVENT_IS_ERROR, DBV_OS_ERROR};
    }
    return {SI_ERR_EVENT_INVALID, state};
}

// Leaves DBV_OS_OPEN by an ordinary transition: the state saved for the way
// back from an excursion is then DBV_OS_OPEN.
void SaveOpenAsPrevious()
{
    Association scratch(DBV_OS_OPEN);
    EXPECT_EQ(Feed(scratch.id, DBV_OE_SEARCHREQ).result, 0);
}

TEST(OriginStateMachine, EveryCellOfTheTable)
{
    ASSERT_EQ(sizeof kRows / sizeof kRows[0], static_cast<size_t>(DBV_OE_COUNT - 1));
    for (int32_t event = 1; event < DBV_OE_COUNT; event++) {
        const Row &row = kRows[event - 1];
        ASSERT_EQ(row.event, event) << "one row per event, in their order";
        for (int32_t state = 1; state < DBV_OS_COUNT; state++) {
            SCOPED_TRACE(std::string(OriginEventName(event)) + " in " + OriginStateName(state));
            Cell cell = ExpectedCell(row, state);
            SaveOpenAsPrevious();
            Association a(state);
            Outcome outcome = Feed(a.id, event);
            EXPECT_EQ(outcome.code, cell.code);
            EXPECT_EQ(outcome.result, cell.code ? 1 : 0);
            EXPECT_EQ(a.State(), cell.next);
        }
    }
}

TEST(OriginStateMachine, RefusalsOfUnaskedEventsUnknownAssociationsAndOutOfRangeEvents)
{
    const struct {
        int32_t state, event;
        const char *text;
    } unasked[] = {
        {DBV_OS_OPEN, DBV_OE_SEARCHRESP_PDU, "Incoming event DBV_OE_SEARCHRESP_PDU is an error for state DBV_OS_OPEN"},
        {DBV_OS_INITSENT, DBV_OE_CLOSEREQ_PDU,
         "Incoming event DBV_OE_CLOSEREQ_PDU is an error for state DBV_OS_INITSENT"},
    };
    for (const auto &c : unasked) {
        Association a(c.state);
        Outcome outcome = Feed(a.id, c.event);
        EXPECT_EQ(outcome.result, 1);
        EXPECT_EQ(outcome.text, c.text);
    }
    Association open(DBV_OS_OPEN);
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
