// The tests' one kit: codec octets, sample PDUs of the codec and of DBV,
// edits of DBV trees, the requests a session sends, captured PDUs of real
// targets, and deep inputs for the nesting limit.
#ifndef KESTRA_TESTS_DBV_TESTKIT_H
#define KESTRA_TESTS_DBV_TESTKIT_H

#include <string>
#include <vector>

#include "asn_modules.h"
#include "dbv/dbv_build.h"
#include "dbv_types.h"

using dbv::InlineOctets;
using dbv::List;
using dbv::New;
using dbv::Octets;
using dbv::Text;

// Encodes (and frees) pdu; empty on failure.
std::vector<unsigned char> Encode(PDU *pdu);
// A fresh PDU decoded from octets, nullptr when the decode aborted.
PDU *Decode(const std::vector<unsigned char> &octets);
void Release(PDU *pdu);

// The sample PDU of seed (alternative seed % 23, tests/asn/sample_values.h),
// as the codec holds it and converted to DBV.
PDU *SamplePdu(uint32_t seed);
DbvPdu *SampledPdu(uint32_t seed);
// DBV -> codec -> BER -> codec -> DBV; NULL when a step failed.
DbvPdu *RoundTrip(const DbvPdu *pdu);
// The trace printer's lines for a value of the type.
std::string Printed(const DbvTypeDesc *type, const void *value);

// A presentResponse of `records` USMARC records of 380 octets, with the
// indefinite lengths real targets use above the records.
std::vector<unsigned char> MarcPresentResponse(int records);

// A file of tests/asn/fixtures, and the sorted names of all of them.
std::vector<unsigned char> Fixture(const char *name);
std::vector<std::string> FixtureNames();

// Frees the named field of a structure and leaves it absent.
void ClearField(const DbvTypeDesc *type, void *structure, const char *name);
// Frees the current alternative of a choice (or of the choice embedded in
// a structure) and selects another, left empty.
void Reselect(const DbvTypeDesc *choice, void *value, int selector);
// Replaces a text field; NULL clears it.
void SetText(char *&field, const char *text);
DbvExternal *OctetAlignedExternal(const char *oid, const std::string &bytes);
// An SQL query; the abstract-database flag is left out when flag < 0.
DbvSQLQuery *SqlQuery(const char *expression, int flag = -1);

// The requests a simple client sends. The search is for one term with one
// Bib-1 use attribute into "default"; the present asks for element set "F".
DbvInitializeReq *MakeInitializeReq(uint32_t messageSize);
DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use);
DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax);
DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count);
// A search request (freed) converted to a codec PDU.
PDU *SearchPdu(DbvSearchReq *request);
// The same requests with every part that the checks look into.
DbvInitializeReq *ValidInitializeRequest();
DbvSearchReq *ValidSearchRequest();
DbvPresentReq *ValidPresentRequest();

// Deep inputs, with definite lengths or indefinite ones: a presentResponse
// of one GRS-1 record whose elements nest levels deep, each tagged (3, "T")
// around the next, the innermost the string "leaf"; a Close whose diagnostic
// text is a constructed string nested levels deep.
std::vector<unsigned char> DeepGrs1Present(int levels, bool indefinite);
std::vector<unsigned char> DeepStringClose(int levels, bool indefinite);
// A search for "deep" whose RPN operators nest levels deep.
DbvSearchReq *DeepSearchReq(int levels);
// The deepest nesting of constructed elements in BER octets (the outermost
// counts as 1); -1 when the octets are malformed.
int BerDepth(const std::vector<unsigned char> &octets);
// Runs walk(arg) on a thread with the 1 MB stack Windows gives its main
// thread; the stack it used in octets where POSIX lets it be painted, else 0.
size_t StackUsedBy(void (*walk)(void *), void *arg);

#endif
