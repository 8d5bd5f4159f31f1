#include "assoc/state_machine.h"

#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "diag/trace.h"

namespace {

// Cell values besides the next state's number.
const int32_t no = 0;            // the event is invalid in this state
const int32_t ER = DBV_OS_ERROR; // the event is an error in this state (it leads to DBV_OS_ERROR)
const int32_t RV = 98;           // back to the saved state, as PV
const int32_t PV = 99;           // back to the state saved before the last excursion
const int32_t xx = -1; // row 0 and column 0: no event, no state

// Short names of the states for the table below.
const int32_t CL = DBV_OS_CLOSED, AI = DBV_OS_ASSOCREQ_INPROGRESS, AS = DBV_OS_ASSOCIATION, IS = DBV_OS_INITSENT,
              OP = DBV_OS_OPEN, SR = DBV_OS_SEARCH_SENT, PR = DBV_OS_PRESENT_SENT, DL = DBV_OS_DELETE_SENT,
              SC = DBV_OS_SCAN_SENT, RR = DBV_OS_RESOURCE_REPORT_SENT, SO = DBV_OS_SORT_REQUEST_SENT,
              EX = DBV_OS_EXTENDED_SERVICE_SENT, RL = DBV_OS_RELEASEREQ_SENT, CS = DBV_OS_CLOSE_SENT,
              CR = DBV_OS_CLOSE_RCVD, DE = DBV_OS_DEAD, AC = DBV_OS_ACCCNT_RCVD, RC = DBV_OS_RESCNT_RCVD;

// Rows: events 0-35. Columns: states 0-20.
const int32_t kTransitions[DBV_OE_COUNT][DBV_OS_COUNT] = {
    //      CL  AI  AS  IS  OP  SR  PR  DL  SC  RR  SO  EX  RL  CS  CR  ER  DE  AC  RC  TR
    {xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx, xx},
    {xx, AI, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // IASSOCREQ
    {xx, no, AS, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // AASSOCIATERESP_IND_TRUE
    {xx, no, DE, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // AASSOCIATERESP_IND_FALSE
    {xx, no, no, IS, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // INITREQ
    {xx, no, no, ER, OP, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, no, no, no, no, no}, // INITRESP_PDU_TRUE
    {xx, no, no, ER, AS, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, no, no, no, no, no}, // INITRESP_PDU_FALSE
    {xx, no, no, no, no, SR, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // SEARCHREQ
    {xx, no, no, ER, ER, ER, OP, ER, ER, ER, ER, ER, ER, RL, CS, ER, no, no, no, no, no}, // SEARCHRESP_PDU
    {xx, no, no, no, no, PR, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // PRESENTREQ
    {xx, no, no, ER, ER, ER, ER, OP, ER, ER, ER, ER, ER, RL, CS, ER, no, no, no, no, no}, // PRESENTRESP_PDU
    {xx, no, no, no, no, DL, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // DELETEREQ
    {xx, no, no, ER, ER, ER, ER, ER, OP, ER, ER, ER, ER, RL, CS, ER, no, no, no, no, no}, // DELETERESP_PDU
    {xx, no, no, no, no, SC, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // SCANREQ
    {xx, no, no, ER, ER, ER, ER, ER, ER, OP, ER, ER, ER, RL, CS, ER, no, no, no, no, no}, // SCANRESP_PDU
    {xx, no, no, no, no, RR, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // RESOURCEREQ
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, OP, ER, ER, RL, CS, ER, no, no, no, no, no}, // RESOURCERESP_PDU
    {xx, no, no, no, no, SO, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // SORTREQ
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, ER, OP, ER, RL, CS, ER, no, no, no, no, no}, // SORTRESP_PDU
    {xx, no, no, ER, ER, ER, ER, PR, ER, ER, ER, ER, ER, RL, CS, ER, no, no, no, no, no}, // SEGMENTREQ_PDU
    {xx, no, no, no, no, EX, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // EXTENDEDREQ
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, ER, ER, OP, RL, CS, ER, no, no, no, no, no}, // EXTENDEDRESP_PDU
    {xx, no, no, RL, no, RL, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no}, // IRELREQ
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, no, no, no, no, no}, // ARELREQ_IND
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, DE, ER, ER, no, no, no, no, no}, // ARELRESP_IND
    {xx, no, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, no, no, no, no}, // AABORT_IND
    {xx, no, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, DE, no, no, no, no}, // IABORTREQ
    {xx, no, no, ER, ER, CR, CR, CR, CR, CR, CR, CR, CR, RL, AS, no, CR, no, no, no, no}, // CLOSEREQ_PDU
    {xx, no, no, no, no, CS, CS, CS, CS, CS, CS, CS, CS, no, no, no, CS, no, no, no, no}, // CLOSEREQ
    {xx, no, DE, no, no, no, no, no, no, no, no, no, no, no, no, AS, no, no, no, no, no}, // CLOSERESP
    {xx, no, no, ER, ER, ER, ER, ER, ER, ER, ER, ER, ER, no, ER, ER, no, no, no, no, no}, // DECODE_FAILED
    {xx, no, no, no, AC, no, AC, AC, AC, AC, AC, AC, AC, no, no, no, no, no, no, no, no}, // ACCCNTREQ_PDU
    {xx, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, PV, no, no}, // ACCCNTRSP
    {xx, no, no, no, RC, no, RC, RC, RC, RC, RC, RC, RC, no, no, no, no, no, no, no, no}, // RESCNTREQ_PDU
    {xx, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, no, PV, no}, // RESCNTRSP
    {xx, no, no, no, no, no, SR, PR, DL, SC, RR, SO, EX, RL, CS, CR, no, no, no, no, no}, // TRIGRESCNTREQ
};

const char kStateNames[DBV_OS_COUNT][32] = {
    "",
    "DBV_OS_CLOSED",
    "DBV_OS_ASSOCREQ_INPROGRESS",
    "DBV_OS_ASSOCIATION",
    "DBV_OS_INITSENT",
    "DBV_OS_OPEN",
    "DBV_OS_SEARCH_SENT",
    "DBV_OS_PRESENT_SENT",
    "DBV_OS_DELETE_SENT",
    "DBV_OS_SCAN_SENT",
    "DBV_OS_RESOURCE_REPORT_SENT",
    "DBV_OS_SORT_REQUEST_SENT",
    "DBV_OS_EXTENDED_SERVICE_SENT",
    "DBV_OS_RELEASEREQ_SENT",
    "DBV_OS_CLOSE_SENT",
    "DBV_OS_CLOSE_RCVD",
    "DBV_OS_ERROR",
    "DBV_OS_DEAD",
    "DBV_OS_ACCCNT_RCVD",
    "DBV_OS_RESCNT_RCVD",
    "DBV_OS_TRIGRESCNT_SENT",
};

const char kEventNames[DBV_OE_COUNT][32] = {
    "",
    "DBV_OE_IASSOCREQ",
    "DBV_OE_AASSOCIATERESP_IND_TRUE",
    "DBV_OE_AASSOCIATERESP_IND_FALSE",
    "DBV_OE_INITREQ",
    "DBV_OE_INITRESP_PDU_TRUE",
    "DBV_OE_INITRESP_PDU_FALSE",
    "DBV_OE_SEARCHREQ",
    "DBV_OE_SEARCHRESP_PDU",
    "DBV_OE_PRESENTREQ",
    "DBV_OE_PRESENTRESP_PDU",
    "DBV_OE_DELETEREQ",
    "DBV_OE_DELETERESP_PDU",
    "DBV_OE_SCANREQ",
    "DBV_OE_SCANRESP_PDU",
    "DBV_OE_RESOURCEREQ",
    "DBV_OE_RESOURCERESP_PDU",
    "DBV_OE_SORTREQ",
    "DBV_OE_SORTRESP_PDU",
    "DBV_OE_SEGMENTREQ_PDU",
    "DBV_OE_EXTENDEDREQ",
    "DBV_OE_EXTENDEDRESP_PDU",
    "DBV_OE_IRELREQ",
    "DBV_OE_ARELREQ_IND",
    "DBV_OE_ARELRESP_IND",
    "DBV_OE_AABORT_IND",
    "DBV_OE_IABORTREQ",
    "DBV_OE_CLOSEREQ_PDU",
    "DBV_OE_CLOSEREQ",
    "DBV_OE_CLOSERESP",
    "DBV_OE_DECODE_FAILED",
    "DBV_OE_ACCCNTREQ_PDU",
    "DBV_OE_ACCCNTRSP",
    "DBV_OE_RESCNTREQ_PDU",
    "DBV_OE_RESCNTRSP",
    "DBV_OE_TRIGRESCNTREQ",
};

bool stateChecking = true;
bool resourceControlHandling = true;
// The state left by the last ordinary transition, for the way back from
// an access-control or resource-control excursion.
int32_t savedState = DBV_OS_CLOSED;

int32_t Cell(int32_t event, int32_t state)
{
    bool known = event > 0 && event < DBV_OE_COUNT && state > 0 && state < DBV_OS_COUNT;
    return known ? kTransitions[event][state] : no;
}

} // namespace

const char *OriginStateName(int32_t state)
{
    return state >= 0 && state < DBV_OS_COUNT ? kStateNames[state] : "";
}

const char *OriginEventName(int32_t event)
{
    return event >= 0 && event < DBV_OE_COUNT ? kEventNames[event] : "";
}

void SetStateChecking(int on)
{
    stateChecking = on != 0;
}

void SetResourceControlHandling(int on)
{
    resourceControlHandling = on != 0;
}

int FeedOriginEvent(DbvAssocId assocId, int32_t event, SIError **slot)
{
    if (!stateChecking)
        return 0;
    AssocEntry *entry = nullptr;
    if (AssocLookUp(assocId, &entry, slot) != 0)
        return 1;
    if (event == DBV_OE_RESCNTREQ_PDU && !resourceControlHandling)
        return 0;
    int32_t state = entry->protocolState;
    int32_t cell = Cell(event, state);
    if (cell == no) {
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_EVENT_INVALID, Association_Open,
                   "Event %s is invalid for state %s", OriginEventName(event), OriginStateName(state));
        return 1;
    }
    if (cell == ER) {
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_EVENT_IS_ERROR, Association_Open,
                   "Incoming event %s is an error for state %s", OriginEventName(event), OriginStateName(state));
        entry->protocolState = DBV_OS_ERROR;
        return 1;
    }
    if (cell == RV || cell == PV) {
        entry->protocolState = savedState;
    } else {
        savedState = state;
        entry->protocolState = cell;
    }
    TraceWritef(assocId, Trace_Low, "ORIGIN EVENT is: %s\n", OriginEventName(event));
    TraceWritef(assocId, Trace_Low, "Current ORIGIN STATE is: %s\n", OriginStateName(entry->protocolState));
    return 0;
}
