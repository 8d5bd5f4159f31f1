// The tests' one kit: codec octets, sample PDUs of the codec and (through
// the product's converters) of the DBV model, edits of DBV trees, the
// requests a session sends, and the captured PDUs of real targets.
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

// Encodes (and frees) pdu; the octets, or an empty vector on failure.
std::vector<unsigned char> Encode(PDU *pdu);
// Decodes octets into a fresh PDU (nullptr when the decode aborted).
PDU *Decode(const std::vector<unsigned char> &octets);
// Frees a PDU and its block.
void Release(PDU *pdu);

// A sample PDU of the codec: alternative seed % 23, every component
// present, the rest chosen by seed (tests/asn/sample_values.h).
PDU *SamplePdu(uint32_t seed);
// The same PDU converted to DBV.
DbvPdu *SampledPdu(uint32_t seed);
// DBV -> codec -> BER -> codec -> DBV; NULL when a step failed.
DbvPdu *RoundTrip(const DbvPdu *pdu);
// The trace printer's lines for a value of the type.
std::string Printed(const DbvTypeDesc *type, const void *value);

// A presentResponse of `records` USMARC records of 380 octets, framed as
// real targets send it: indefinite lengths above the records.
std::vector<unsigned char> MarcPresentResponse(int records);

// The BER octets of a file of tests/asn/fixtures, and the names of all of
// them, sorted.
std::vector<unsigned char> Fixture(const char *name);
std::vector<std::string> FixtureNames();

// Frees the named field of a structure through its descriptor and leaves it
// absent.
void ClearField(const DbvTypeDesc *type, void *structure, const char *name);
// Frees the current alternative of a choice (or of the choice embedded in
// a structure) and selects another, left empty.
void Reselect(const DbvTypeDesc *choice, void *value, int selector);
// Replaces a text field (freeing the old one); NULL clears it.
void SetText(char *&field, const char *text);
// An External of octet-aligned bytes under the identifier oid.
DbvExternal *OctetAlignedExternal(const char *oid, const std::string &bytes);
// An SQL query; the abstract-database flag is left out when flag < 0.
DbvSQLQuery *SqlQuery(const char *expression, int flag = -1);

// The requests a simple client sends, released with the free routines.
DbvInitializeReq *MakeInitializeReq(uint32_t messageSize);
// A search for one term with one Bib-1 use attribute into "default".
DbvSearchReq *MakeSearchReq(const char *database, const char *term, uint32_t use);
// Records of "default" in a syntax, with the generic element set "F".
DbvPresentReq *MakePresentReq(uint32_t start, uint32_t count, const char *syntax);
DbvScanReq *MakeScanReq(const char *database, const char *term, uint32_t count);
// The same search as a codec PDU.
PDU *BuildSearchRequest(const char *database, const char *term, int useAttribute);

// Deep inputs. The presentResponse of one GRS-1 record whose elements nest
// levels deep, each tagged (3, "T") and holding the next as its only child,
// the innermost the string "leaf"; with definite lengths or indefinite ones.
std::vector<unsigned char> DeepGrs1Present(int levels, bool indefinite);
// A Close whose diagnostic text is a constructed string nested levels deep.
std::vector<unsigned char> DeepStringClose(int levels, bool indefinite);
// A search for "deep" whose RPN operators nest levels deep.
DbvSearchReq *DeepSearchReq(int levels);
// The deepest nesting of constructed elements in BER octets (the outermost
// element counts as 1); -1 when the octets are malformed.
int BerDepth(const std::vector<unsigned char> &octets);
// Runs walk(arg) on a thread with a 1 MB stack, as Windows gives its main
// thread. Returns the stack it used in octets, measured where the platform
// lets the stack be painted first (POSIX), else 0.
size_t StackUsedBy(void (*walk)(void *), void *arg);

// Valid requests with every part that the checks look into.
DbvInitializeReq *ValidInitializeRequest();
DbvSearchReq *ValidSearchRequest();
DbvPresentReq *ValidPresentRequest();

#endif
