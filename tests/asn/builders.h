// Request PDUs built with the codec's structures, for the tests and the
// benchmark: the requests a session sends (init, search, present, scan,
// close), each a complete PDU that EncodePdu takes over and frees.
#ifndef KESTRA_TESTS_ASN_BUILDERS_H
#define KESTRA_TESTS_ASN_BUILDERS_H

#include <string>
#include <vector>

#include "asn_modules.h"

PDU *BuildInitRequest();
PDU *BuildSearchRequest(const char *database, const char *term, int useAttribute);
PDU *BuildPresentRequest(int start, int count, const char *syntaxOid, const char *elementSet);
PDU *BuildScanRequest(const char *database, const char *term, int count);
PDU *BuildCloseRequest();

// Encodes (and frees) pdu; the octets, or an empty vector on failure.
std::vector<unsigned char> Encode(PDU *pdu);
// Decodes octets into a fresh PDU (nullptr when the decode aborted).
PDU *Decode(const std::vector<unsigned char> &octets);
void Release(PDU *pdu);
std::string Text(const AsnOcts *octs);

#endif
