// Printing DBV structures into a trace, field by field and under their own
// field names, by walking their descriptors; and the frame around one PDU's
// dump (separator, header, title, fields, separator).
#ifndef KESTRA_DBV_DBV_PRINT_H
#define KESTRA_DBV_DBV_PRINT_H

#include <cstdio>

#include "dbv/dbv_desc.h"
#include "dbv/dbv_request.h"

// One PDU to dump: its header name (as in "## SearchRsp PDU ##"), its title
// (as in "SearchResponse PDU") and the structure; a NULL type makes the
// value a DbvInvalidAPDU, printed in hexadecimal.
struct DbvPduDump {
    const char *pcHeader;
    const char *pcTitle;
    const DbvTypeDesc *psType;
    const void *pvValue;
};

// The dump of a PDU of the DbvPdu choice (ePduType DPT_...). A Close is the
// target's answer to ours (closeIsResponse) or its own request.
DbvPduDump DbvDumpOfPdu(int ePduType, const void *value, bool closeIsResponse);
// The dump of a received invalid APDU.
DbvPduDump DbvDumpOfInvalid(const DbvInvalidAPDU *invalid);

// Every field of a structure (or the alternative of a choice), one item each.
void DbvPrintFields(std::FILE *stream, const DbvTypeDesc *type, const void *value);

// The whole frame, straight to a stream.
void DbvWritePduDump(std::FILE *stream, const DbvPduDump &dump);
// The direction line ("\nSending the following PDU:\n" or "\nReceived the
// following PDU:\n") and the frame, into the association's trace: the
// fields only at Trace_High, nothing at all below it.
void DbvTracePduDump(DbvAssocId assocId, const char *direction, const DbvPduDump &dump);

#endif
