/* The argument checks of the request calls: each walks its request and
 * stops at the first field that is missing, out of range or malformed,
 * naming it by its path from the request ("psSearchReq->psQuery->eQueryType")
 * in an error of class SI_Interface_Error (codes 64-67, 72-74) with the
 * association state Association_Open. SI_OK or SI_NOTOK. */
#ifndef KESTRA_DBV_DBV_CHECK_H
#define KESTRA_DBV_DBV_CHECK_H

#include "assoc/si_api.h"
#include "dbv_types.h"

#ifdef __cplusplus
extern "C" {
#endif

/* The Options bits (0-14, Z39.50 order) that a request may ask for. */
#define ALLOWED_OPTIONS "111111111011101"

/* Error codes of the checks, in lIfOsCoError. */
enum {
    DBV_CHECK_MISSING = 64,
    DBV_CHECK_BIT_STRING = 65,
    DBV_CHECK_RANGE = 66,
    DBV_CHECK_OPTIONS = 67,
    DBV_CHECK_BOOLEAN = 72,
    DBV_CHECK_OID = 73,
    DBV_CHECK_EXTERNAL_OID = 74
};

/* The paths are built and the messages formatted in this many characters. */
#define DBV_CHECK_TEXT_SIZE 5000

int DbvCheckInitializeRequest(DbvAssocId lAssocId, const DbvInitializeReq *psInitializeReq, SIError **ppsError);
int DbvCheckSearchRequest(DbvAssocId lAssocId, const DbvSearchReq *psSearchReq, SIError **ppsError);
int DbvCheckPresentRequest(DbvAssocId lAssocId, const DbvPresentReq *psPresentReq, SIError **ppsError);
int DbvCheckScanRequest(DbvAssocId lAssocId, const DbvScanReq *psScanReq, SIError **ppsError);
/* A diagnostic record (a default-format diagnostic or an external one), for
 * the calls that carry one; the path starts at "psDiagnostic". */
int DbvCheckDiagnostic(DbvAssocId lAssocId, const DbvDiagnostic *psDiagnostic, SIError **ppsError);

/* Dotted decimal of at most 998 characters: digits, single full stops
 * between them. 1 when valid. */
int DbvOidIsValid(const char *pcOid);

#ifdef __cplusplus
}
#endif

#endif
