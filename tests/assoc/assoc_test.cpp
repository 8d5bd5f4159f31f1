// The origin state machine cell by cell, and the reading of one PDU: to its
// exact end whatever the pieces it arrives in, in few receive calls,
// refusing absurd lengths and nesting. (The transport itself runs against
// the scripted target in tests/toolkit.)
#include <algorithm>
#include <cstring>
#include <random>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "asn/asn_ber.h"
#include "asn/asn_pdu.h"
#include "assoc/assoc_table.h"
#include "assoc/pdu_scan.h"
#include "assoc/state_machine.h"
#include "ui/mem.h"

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

// The protocol's table, transcribed from its rows (not from the machine's
// grid): one row per event, one column per state in the order below. '.':
// refused (code 80, state kept); '!': an error (code 81, to DBV_OS_ERROR);
// a letter: accepted, to that state; '<': back to the state left before
// the excursion.
const char kStates[] = "CQAIOspdcroxRLKEDatg"; // CLOSED ... TRIGRESCNT_SENT
const struct {
    int32_t event;
    const char *cells;
} kRows[] = {
    //                                  CQAIOspdcroxRLKEDatg
    {DBV_OE_IASSOCREQ,                 "Q..................."},
    {DBV_OE_AASSOCIATERESP_IND_TRUE,   ".A.................."},
    {DBV_OE_AASSOCIATERESP_IND_FALSE,  ".D.................."},
    {DBV_OE_INITREQ,                   "..I................."},
    {DBV_OE_INITRESP_PDU_TRUE,         "..!O!!!!!!!!!!!....."},
    {DBV_OE_INITRESP_PDU_FALSE,        "..!A!!!!!!!!!!!....."},
    {DBV_OE_SEARCHREQ,                 "....s..............."},
    {DBV_OE_SEARCHRESP_PDU,            "..!!!O!!!!!!RL!....."},
    {DBV_OE_PRESENTREQ,                "....p..............."},
    {DBV_OE_PRESENTRESP_PDU,           "..!!!!O!!!!!RL!....."},
    {DBV_OE_DELETEREQ,                 "....d..............."},
    {DBV_OE_DELETERESP_PDU,            "..!!!!!O!!!!RL!....."},
    {DBV_OE_SCANREQ,                   "....c..............."},
    {DBV_OE_SCANRESP_PDU,              "..!!!!!!O!!!RL!....."},
    {DBV_OE_RESOURCEREQ,               "....r..............."},
    {DBV_OE_RESOURCERESP_PDU,          "..!!!!!!!O!!RL!....."},
    {DBV_OE_SORTREQ,                   "....o..............."},
    {DBV_OE_SORTRESP_PDU,              "..!!!!!!!!O!RL!....."},
    {DBV_OE_SEGMENTREQ_PDU,            "..!!!!p!!!!!RL!....."},
    {DBV_OE_EXTENDEDREQ,               "....x..............."},
    {DBV_OE_EXTENDEDRESP_PDU,          "..!!!!!!!!!ORL!....."},
    {DBV_OE_IRELREQ,                   "..R.R..............."},
    {DBV_OE_ARELREQ_IND,               "..!!!!!!!!!!!!!....."},
    {DBV_OE_ARELRESP_IND,              "..!!!!!!!!!!D!!....."},
    {DBV_OE_AABORT_IND,                ".DDDDDDDDDDDDDDD...."},
    {DBV_OE_IABORTREQ,                 ".DDDDDDDDDDDDDDD...."},
    {DBV_OE_CLOSEREQ_PDU,              "..!!KKKKKKKKRA.K...."},
    {DBV_OE_CLOSEREQ,                  "....LLLLLLLL...L...."},
    {DBV_OE_CLOSERESP,                 ".D............A....."},
    {DBV_OE_DECODE_FAILED,             "..!!!!!!!!!!.!!....."},
    {DBV_OE_ACCCNTREQ_PDU,             "...a.aaaaaaa........"},
    {DBV_OE_ACCCNTRSP,                 ".................<.."},
    {DBV_OE_RESCNTREQ_PDU,             "...t.ttttttt........"},
    {DBV_OE_RESCNTRSP,                 "..................<."},
    {DBV_OE_TRIGRESCNTREQ,             ".....spdcroxRLK....."},
};

// Leaves DBV_OS_OPEN by an ordinary transition: the way back from an
// excursion is then DBV_OS_OPEN.
void SaveOpenAsPrevious()
{
    Association scratch(DBV_OS_OPEN);
    EXPECT_EQ(Feed(scratch.id, DBV_OE_SEARCHREQ).result, 0);
}

TEST(OriginStateMachine, EveryCellOfTheTable)
{
    ASSERT_EQ(sizeof kRows / sizeof kRows[0], static_cast<size_t>(DBV_OE_COUNT - 1));
    ASSERT_EQ(sizeof kStates - 1, static_cast<size_t>(DBV_OS_COUNT - 1));
    for (int32_t event = 1; event < DBV_OE_COUNT; event++) {
        ASSERT_EQ(kRows[event - 1].event, event) << "one row per event, in their order";
        for (int32_t state = 1; state < DBV_OS_COUNT; state++) {
            SCOPED_TRACE(std::string(OriginEventName(event)) + " in " + OriginStateName(state));
            char cell = kRows[event - 1].cells[state - 1];
            int32_t code = cell == '.' ? SI_ERR_EVENT_INVALID : cell == '!' ? SI_ERR_EVENT_IS_ERROR : 0;
            int32_t next = cell == '.'   ? state
                           : cell == '!' ? DBV_OS_ERROR
                           : cell == '<' ? DBV_OS_OPEN
                                         : static_cast<int32_t>(std::strchr(kStates, cell) - kStates + 1);
            SaveOpenAsPrevious();
            Association a(state);
            Outcome outcome = Feed(a.id, event);
            EXPECT_EQ(outcome.code, code);
            EXPECT_EQ(outcome.result, code ? 1 : 0);
            EXPECT_EQ(a.State(), next);
        }
    }
}

// The refusal's text; unknown associations and events out of range; an
// excursion returns to the state it left, whichever; and the switches that
// turn checking and resource control off.
TEST(OriginStateMachine, RefusalsExcursionsAndSwitches)
{
    Association a(DBV_OS_OPEN);
    EXPECT_EQ(Feed(a.id, DBV_OE_SEARCHRESP_PDU).text,
              "Incoming event DBV_OE_SEARCHRESP_PDU is an error for state DBV_OS_OPEN");
    Outcome unknown = Feed(987654, DBV_OE_SEARCHREQ);
    EXPECT_EQ(unknown.code, SI_ERR_INVALID_ASSOCIATION);
    EXPECT_EQ(unknown.text, "The association 987654 is invalid");
    EXPECT_EQ(Feed(a.id, 0).code, SI_ERR_EVENT_INVALID);
    EXPECT_EQ(Feed(a.id, DBV_OE_COUNT).code, SI_ERR_EVENT_INVALID);

    for (int32_t left : {DBV_OS_SEARCH_SENT, DBV_OS_INITSENT}) {
        Association b(left);
        EXPECT_EQ(Feed(b.id, DBV_OE_ACCCNTREQ_PDU).result + Feed(b.id, DBV_OE_ACCCNTRSP).result, 0);
        EXPECT_EQ(Feed(b.id, DBV_OE_RESCNTREQ_PDU).result + Feed(b.id, DBV_OE_RESCNTRSP).result, 0);
        EXPECT_EQ(b.State(), left);
    }

    Association c(DBV_OS_OPEN);
    SetStateChecking(0); // everything is accepted and nothing moves
    EXPECT_EQ(Feed(c.id, DBV_OE_SEARCHRESP_PDU).result, 0);
    EXPECT_EQ(Feed(987654, DBV_OE_INITREQ).result, 0);
    SetStateChecking(1);
    EXPECT_EQ(c.State(), DBV_OS_OPEN);
    SetResourceControlHandling(0); // its request is accepted silently
    EXPECT_EQ(Feed(c.id, DBV_OE_RESCNTREQ_PDU).result, 0);
    EXPECT_EQ(c.State(), DBV_OS_OPEN);
    EXPECT_EQ(Feed(c.id, DBV_OE_ACCCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
    SetResourceControlHandling(1);
    EXPECT_EQ(Feed(c.id, DBV_OE_RESCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
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

// The PDU and `foreign` octets after it arrive `piece` octets at a time, one
// piece per wait (and, when flowing, one more with every receive call); the
// stream counts receive calls and notes any octet taken past the PDU's end.
struct PieceStream {
    Octets data;
    size_t end, piece, arrived, taken = 0, calls = 0;
    bool flowing, overread = false;

    void Arrive() { arrived = std::min(arrived + piece, data.size()); }
    static PieceStream &Of(void *context) { return *static_cast<PieceStream *>(context); }
    static long Available(void *context) { return static_cast<long>(Of(context).arrived - Of(context).taken); }
    static long Receive(void *context, unsigned char *octets, size_t count, int peek)
    {
        PieceStream &s = Of(context);
        s.calls++;
        if (s.flowing)
            s.Arrive();
        size_t n = std::min(count, s.arrived - s.taken);
        std::copy_n(s.data.begin() + static_cast<long>(s.taken), n, octets);
        s.taken += peek ? 0 : n;
        s.overread |= s.taken > s.end;
        return static_cast<long>(n);
    }
    static int Await(void *context)
    {
        PieceStream &s = Of(context);
        if (s.arrived == s.taken && s.arrived == s.data.size())
            return 0;
        if (s.arrived == s.taken)
            s.Arrive();
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

Delivery Deliver(const Octets &pdu, size_t piece, uint32_t limit = kLimit, bool flowing = false, size_t foreign = 64)
{
    PieceStream source{Cat({pdu, Octets(foreign, 0xEE)}), pdu.size(), piece, std::min(piece, pdu.size() + foreign),
                       0, 0, flowing};
    PduStream stream = {&source, PieceStream::Available, PieceStream::Receive, PieceStream::Await};
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    Delivery d = {ReadOnePdu(&stream, limit, &octets, &count), {}, count, source.calls, source.overread};
    if (d.result == PDU_READ_DONE)
        d.octets.assign(octets, octets + count);
    MemFree(octets);
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
    for (const Octets &pdu : {Indefinite({0xB9}, Indefinite({0xBC}, small)), Definite({0xB9}, Definite({0xBC}, small)),
                              Indefinite({0xB9}, Indefinite({0xBC}, records))}) {
        SCOPED_TRACE(std::to_string(pdu.size()) + (pdu[1] == 0x80 ? " octets, indefinite" : " octets, definite"));
        EXPECT_EQ(Deliver(pdu, pdu.size() + 64).calls, 2u);
        Delivery pieces = Deliver(pdu, 65536);
        ASSERT_EQ(pieces.result, PDU_READ_DONE);
        EXPECT_LE(pieces.calls, 2 * (pdu.size() / 65536 + 1));
        EXPECT_FALSE(pieces.overread);
    }
}

// Refusals: a length beyond the limit before anything is allocated for it,
// more open indefinite lengths than the codec accepts (by the receive path
// and PduLength alike), a peer that stops in mid-PDU.
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

    Octets cut = Definite({0xB9}, Octets(300, 'M'));
    cut.resize(200); // nothing follows: the wait times out
    EXPECT_EQ(Deliver(cut, 100, kLimit, false, 0).result, PDU_READ_TIMED_OUT);
}

} // namespace
