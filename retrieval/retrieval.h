// Searching and retrieval: the Search, Present and Scan operations, the
// state that a search leaves for the presents after it, and the texts of
// the targets' diagnostics.
#ifndef KESTRA_RETRIEVAL_RETRIEVAL_H
#define KESTRA_RETRIEVAL_RETRIEVAL_H

#include "dbv/dbvproto.h"

// What the last SEARCH left: its hit count (0 after a failed search) and
// the paging state of the presents that follow it.
struct ResultSetState {
    unsigned long hit_count;
    long start_position;
    long records_returned;
    long records_wanted;
};

extern ResultSetState g_result_set;

// The SEARCH, PRESENT and SCAN requests: true on success.
bool HandleSearch();
bool HandlePresent();
bool HandleScan();

// The user's text for a diagnostic condition, or NULL when it has none.
const char *DiagnosticText(long condition);

// Reports the diagnostics that a Records value carries as status 3001 with
// the condition's text, until one report stands.
void ReportDiagnostics(const DbvRecords *records);
// Reports one diagnostic as status 3001 with its condition as the number,
// when it is in the default format and its condition has a text.
void ReportDiagnostic(const DbvDiagnostic *diagnostic);
void ReportDefaultDiagnostic(const DbvDefaultDiagFormat *diagnostic);

#endif
