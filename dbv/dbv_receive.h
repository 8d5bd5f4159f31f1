// What an origin makes of a decoded PDU: which kind of received PDU each
// codec alternative becomes and which event it feeds to the state machine,
// and the conversion into the received-PDU holder. Shared by
// ReceiveDataOrigin and the tools that print PDUs read from files.
#ifndef KESTRA_DBV_DBV_RECEIVE_H
#define KESTRA_DBV_DBV_RECEIVE_H

#include <cstdint>

#include "dbv/dbv_print.h"
#include "dbv/dbv_request.h"

struct PDU;

struct DbvReceivedKind {
    uint32_t choiceId; // the codec's alternative
    int type;          // RPT_...
    int32_t event;     // DBV_OE_..., 0 for none
    const char *label; // names the PDU when the state machine refuses it
};

// The kind of a decoded PDU (an unrecognised one is RPT_InvalidAPDU; a
// Close is RPT_CloseRsp when it answers the origin's own Close), or NULL
// for a PDU that an origin does not take.
const DbvReceivedKind *DbvReceivedKindOf(const PDU *pdu, bool closeAnswersOurs);

// Fills an empty holder with the PDU converted to DBV, or for an invalid
// APDU with a copy of its octets. DBV_CONVERT_OK, or DBV_CONVERT_NO_MEMORY
// with the holder left empty.
int DbvFillReceived(const DbvReceivedKind *kind, const PDU *pdu, const unsigned char *octets, uint32_t count,
                    DbvReceivedPdu *holder);

// The dump of a received PDU; false for an empty holder.
bool DbvDumpOfReceived(const DbvReceivedPdu *pdu, DbvPduDump *dump);

#endif
