// The origin state machine: every cell of its table, the refusals, the way
// back from excursions, the switches and the trace lines.
#include <algorithm>
#include <cstdio>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "assoc/assoc_table.h"
#include "assoc/state_machine.h"
#include "diag/trace.h"
#include "tests/diag/scratch_dir.h"

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

const int32_t AS = DBV_OS_ASSOCIATION, IS = DBV_OS_INITSENT, OP = DBV_OS_OPEN, SR = DBV_OS_SEARCH_SENT,
              PR = DBV_OS_PRESENT_SENT, DL = DBV_OS_DELETE_SENT, SC = DBV_OS_SCAN_SENT,
              RR = DBV_OS_RESOURCE_REPORT_SENT, SO = DBV_OS_SORT_REQUEST_SENT, EX = DBV_OS_EXTENDED_SERVICE_SENT,
              RL = DBV_OS_RELEASEREQ_SENT, CS = DBV_OS_CLOSE_SENT, CR = DBV_OS_CLOSE_RCVD, ER = DBV_OS_ERROR,
              DE = DBV_OS_DEAD, AI = DBV_OS_ASSOCREQ_INPROGRESS;

// The states with an operation outstanding, and those where a response
// may come at all.
const std::vector<int32_t> kSent = {SR, PR, DL, SC, RR, SO, EX};
const std::vector<int32_t> kLive = {AS, IS, OP, SR, PR, DL, SC, RR, SO, EX, CR};

std::vector<int32_t> Except(std::vector<int32_t> states, int32_t left)
{
    states.erase(std::remove(states.begin(), states.end(), left), states.end());
    return states;
}

template <typename T> std::vector<T> Plus(std::vector<T> states, const std::vector<T> &more)
{
    states.insert(states.end(), more.begin(), more.end());
    return states;
}

std::vector<std::pair<int32_t, int32_t>> Each(const std::vector<int32_t> &from, int32_t to)
{
    std::vector<std::pair<int32_t, int32_t>> moves;
    for (int32_t state : from)
        moves.push_back({state, to});
    return moves;
}

std::vector<std::pair<int32_t, int32_t>> Stay(const std::vector<int32_t> &states)
{
    std::vector<std::pair<int32_t, int32_t>> moves;
    for (int32_t state : states)
        moves.push_back({state, state});
    return moves;
}

struct Row {
    int32_t event;
    std::vector<std::pair<int32_t, int32_t>> moves;
    std::vector<int32_t> errors;
};

// A response to the operation sent in state `sent`: back to open, kept
// while releasing or closing, an error wherever else a response may come.
Row Response(int32_t event, int32_t sent)
{
    return {event, {{sent, OP}, {RL, RL}, {CS, CS}}, Except(kLive, sent)};
}

// The table of the protocol, written out event by event.
std::vector<Row> Rows()
{
    std::vector<int32_t> abortable = Plus(kLive, {AI, RL, CS, ER});
    return {
        {DBV_OE_IASSOCREQ, {{DBV_OS_CLOSED, AI}}, {}},
        {DBV_OE_AASSOCIATERESP_IND_TRUE, {{AI, AS}}, {}},
        {DBV_OE_AASSOCIATERESP_IND_FALSE, {{AI, DE}}, {}},
        {DBV_OE_INITREQ, {{AS, IS}}, {}},
        {DBV_OE_INITRESP_PDU_TRUE, {{IS, OP}}, Plus(Except(kLive, IS), {RL, CS})},
        {DBV_OE_INITRESP_PDU_FALSE, {{IS, AS}}, Plus(Except(kLive, IS), {RL, CS})},
        {DBV_OE_SEARCHREQ, {{OP, SR}}, {}},
        Response(DBV_OE_SEARCHRESP_PDU, SR),
        {DBV_OE_PRESENTREQ, {{OP, PR}}, {}},
        Response(DBV_OE_PRESENTRESP_PDU, PR),
        {DBV_OE_DELETEREQ, {{OP, DL}}, {}},
        Response(DBV_OE_DELETERESP_PDU, DL),
        {DBV_OE_SCANREQ, {{OP, SC}}, {}},
        Response(DBV_OE_SCANRESP_PDU, SC),
        {DBV_OE_RESOURCEREQ, {{OP, RR}}, {}},
        Response(DBV_OE_RESOURCERESP_PDU, RR),
        {DBV_OE_SORTREQ, {{OP, SO}}, {}},
        Response(DBV_OE_SORTRESP_PDU, SO),
        {DBV_OE_SEGMENTREQ_PDU, Stay({PR, RL, CS}), Except(kLive, PR)},
        {DBV_OE_EXTENDEDREQ, {{OP, EX}}, {}},
        Response(DBV_OE_EXTENDEDRESP_PDU, EX),
        {DBV_OE_IRELREQ, {{AS, RL}, {OP, RL}}, {}},
        {DBV_OE_ARELREQ_IND, {}, Plus(kLive, {RL, CS})},
        {DBV_OE_ARELRESP_IND, {{RL, DE}}, Plus(kLive, {CS})},
        {DBV_OE_AABORT_IND, Each(abortable, DE), {}},
        {DBV_OE_IABORTREQ, Each(abortable, DE), {}},
        {DBV_OE_CLOSEREQ_PDU, Plus(Each(Plus({OP, ER}, kSent), CR), {{RL, RL}, {CS, AS}}), {AS, IS}},
        {DBV_OE_CLOSEREQ, Each(Plus({OP, ER}, kSent), CS), {}},
        {DBV_OE_CLOSERESP, {{AI, DE}, {CR, AS}}, {}},
        {DBV_OE_DECODE_FAILED, {}, Plus(kLive, {CS})},
        {DBV_OE_ACCCNTREQ_PDU, Each(Plus({IS}, kSent), DBV_OS_ACCCNT_RCVD), {}},
        {DBV_OE_RESCNTREQ_PDU, Each(Plus({IS}, kSent), DBV_OS_RESCNT_RCVD), {}},
        {DBV_OE_TRIGRESCNTREQ, Stay(Plus(kSent, {RL, CS, CR})), {}},
    };
}

TEST(OriginStateMachine, EveryCellOfTheTable)
{
    for (const Row &row : Rows()) {
        for (int32_t state = 1; state < DBV_OS_COUNT; state++) {
            SCOPED_TRACE(std::string(OriginEventName(row.event)) + " in " + OriginStateName(state));
            Association a(state);
            auto move = std::find_if(row.moves.begin(), row.moves.end(), [&](auto m) { return m.first == state; });
            bool error = std::count(row.errors.begin(), row.errors.end(), state) > 0;
            Outcome outcome = Feed(a.id, row.event);
            if (move != row.moves.end()) {
                EXPECT_EQ(outcome.result, 0);
                EXPECT_EQ(a.State(), move->second);
            } else if (error) {
                EXPECT_EQ(outcome.code, SI_ERR_EVENT_IS_ERROR);
                EXPECT_EQ(a.State(), DBV_OS_ERROR);
            } else {
                EXPECT_EQ(outcome.code, SI_ERR_EVENT_INVALID);
                EXPECT_EQ(a.State(), state);
            }
        }
    }
}

TEST(OriginStateMachine, RefusalsOfUnaskedEventsUnknownAssociationsAndOutOfRangeEvents)
{
    Association open(OP);
    Outcome unasked = Feed(open.id, DBV_OE_SEARCHRESP_PDU);
    EXPECT_EQ(unasked.result, 1);
    EXPECT_EQ(unasked.text, "Incoming event DBV_OE_SEARCHRESP_PDU is an error for state DBV_OS_OPEN");
    EXPECT_EQ(open.State(), ER);
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
    const int32_t cases[][4] = {{SR, DBV_OE_ACCCNTREQ_PDU, DBV_OS_ACCCNT_RCVD, DBV_OE_ACCCNTRSP},
                                {IS, DBV_OE_ACCCNTREQ_PDU, DBV_OS_ACCCNT_RCVD, DBV_OE_ACCCNTRSP},
                                {PR, DBV_OE_RESCNTREQ_PDU, DBV_OS_RESCNT_RCVD, DBV_OE_RESCNTRSP},
                                {EX, DBV_OE_RESCNTREQ_PDU, DBV_OS_RESCNT_RCVD, DBV_OE_RESCNTRSP}};
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
    Association a(OP);
    EXPECT_EQ(Feed(a.id, DBV_OE_SEARCHRESP_PDU).result, 0);
    EXPECT_EQ(Feed(a.id, DBV_OE_INITREQ).result, 0);
    EXPECT_EQ(Feed(987654, DBV_OE_INITREQ).result, 0);
    SetStateChecking(1);
    EXPECT_EQ(a.State(), OP);

    SetResourceControlHandling(0); // its request is accepted silently
    EXPECT_EQ(Feed(a.id, DBV_OE_RESCNTREQ_PDU).result, 0);
    EXPECT_EQ(a.State(), OP);
    EXPECT_EQ(Feed(a.id, DBV_OE_ACCCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
    SetResourceControlHandling(1);
    EXPECT_EQ(Feed(a.id, DBV_OE_RESCNTREQ_PDU).code, SI_ERR_EVENT_INVALID);
}

TEST(OriginStateMachine, TraceLinesOfTransitionsAndRefusals)
{
    ScratchDir scratch;
    FILE *stream = std::fopen("machine.trc", "w+b");
    Association a(OP);
    TraceAdd(a.id, stream, Trace_Low);
    Feed(a.id, DBV_OE_SEARCHREQ);
    Feed(a.id, DBV_OE_SEARCHREQ);
    TraceRemove(a.id);
    std::fclose(stream);
    EXPECT_EQ(ReadFile("machine.trc"), "ORIGIN EVENT is: DBV_OE_SEARCHREQ\n"
                                       "Current ORIGIN STATE is: DBV_OS_SEARCH_SENT\n"
                                       "An error has occured, Error structure is:\n"
                                       "eErrorClass == SI_Interface_Error\n"
                                       "uErrorCode.lIfOsCoError == 80\n"
                                       "Diagnostic: Event DBV_OE_SEARCHREQ is invalid for state DBV_OS_SEARCH_SENT\n"
                                       "eAssociationState == Association_Open\n");
}

} // namespace
