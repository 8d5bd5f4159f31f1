/* kestra-fetch HOST PORT DATABASE TERM COUNT [SYNTAX]
 *
 * Fetches records with the protocol toolkit: initializes (preferred and
 * maximum message size 1,000,000), searches DATABASE for TERM as any word
 * (use attribute 1016), and presents records 1 to COUNT in SYNTAX (a name
 * such as USMARC, the default, or a dotted object identifier), asking again
 * from the next position whenever the target returns fewer. The records'
 * octets go to standard output as the target sent them, one after another;
 * every diagnostic goes to standard error. Exit status 0 when every wanted
 * record was written, 1 otherwise, 2 on a usage error. */
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#ifdef _WIN32
#include <fcntl.h>
#include <io.h>
#endif

#include "dbv/dbvproto.h"

enum { WAIT_SECONDS = 60, MESSAGE_SIZE = 1000000 };

static const struct {
    const char *name;
    const char *oid;
} SYNTAXES[] = {
    {"USMARC", OID_SYNTAX_USMARC}, {"UNIMARC", OID_SYNTAX_UNIMARC}, {"UKMARC", OID_SYNTAX_UKMARC},
    {"SUTRS", OID_SYNTAX_SUTRS},   {"OPAC", OID_SYNTAX_OPAC},       {"SUMMARY", OID_SYNTAX_SUMMARY},
    {"GRS-1", OID_SYNTAX_GRS1},    {"XML", OID_SYNTAX_XML},
};

static const char *SyntaxOid(const char *syntax)
{
    size_t i;
    for (i = 0; i < sizeof SYNTAXES / sizeof SYNTAXES[0]; i++) {
        if (strcmp(SYNTAXES[i].name, syntax) == 0)
            return SYNTAXES[i].oid;
    }
    return DbvOidIsValid(syntax) ? syntax : NULL;
}

static DbvOctetString Text(const char *text)
{
    DbvOctetString octets;
    octets.ulLength = (uint32_t)strlen(text);
    octets.pbData = (unsigned char *)text;
    return octets;
}

/* Reports and frees an error structure; always returns 0. */
static int Failed(const char *what, SIError *error)
{
    fprintf(stderr, "kestra-fetch: %s: %s\n", what, error && error->pcDiagnostics ? error->pcDiagnostics : "failed");
    SIFreeError(error);
    return 0;
}

static void PrintDefaultDiagnostic(const DbvDefaultDiagFormat *d)
{
    const char *text = "";
    int length = 0;
    if (d->sAdditionalInfo.eProtocolVersionInForce == PVIF_Version2 && d->sAdditionalInfo.uAdditionalInfo.pcV2) {
        text = d->sAdditionalInfo.uAdditionalInfo.pcV2;
        length = (int)strlen(text);
    } else if (d->sAdditionalInfo.eProtocolVersionInForce == PVIF_Version3 && d->sAdditionalInfo.uAdditionalInfo.psV3) {
        text = (const char *)d->sAdditionalInfo.uAdditionalInfo.psV3->pbData;
        length = (int)d->sAdditionalInfo.uAdditionalInfo.psV3->ulLength;
    }
    fprintf(stderr, "diagnostic %lu (set %s): %.*s\n", (unsigned long)d->ulCondition,
            d->pcDiagnosticSetId ? d->pcDiagnosticSetId : "none", length, text);
}

static void PrintDiagnostic(const DbvDiagnostic *d)
{
    if (d && d->eDiagnosticsType == DT_DefaultFormat && d->uDiagnostics.psDefault)
        PrintDefaultDiagnostic(d->uDiagnostics.psDefault);
    else
        fprintf(stderr, "diagnostic in an external format\n");
}

/* Waits for the next PDU of the association; NULL (reported) when none came. */
static DbvReceivedPdu *Await(DbvAssocId id, int wanted)
{
    DbvReceivedPdu *pdu = NULL;
    SIError *error = NULL;
    if (ReceiveDataOrigin(id, WAIT_SECONDS, &pdu, &error) != SI_OK) {
        DbvFreeReceivedPdu(pdu);
        Failed("receive", error);
        return NULL;
    }
    if (!pdu || pdu->ePduType != wanted) {
        fprintf(stderr, "kestra-fetch: %s\n", pdu ? "the target answered out of turn" : "no answer in time");
        DbvFreeReceivedPdu(pdu);
        return NULL;
    }
    return pdu;
}

static int Initialize(DbvAssocId id)
{
    DbvInitializeReq request;
    DbvOctetString name = Text("kestra-fetch");
    SIError *error = NULL;
    DbvReceivedPdu *pdu;
    int accepted;
    memset(&request, 0, sizeof request);
    request.pcProtocolVersion = "111";
    request.pcOptions = "11";
    request.ulPreferredMessageSize = MESSAGE_SIZE;
    request.ulMaxmiumMessageSize = MESSAGE_SIZE;
    request.psImplementationName = &name;
    if (DBVInitializeRequest(id, &request, &error) != SI_OK)
        return Failed("initialize", error);
    if (!(pdu = Await(id, RPT_InitializeRsp)))
        return 0;
    accepted = pdu->uPdu.psInitializeRsp->fResult == DBV_TRUE;
    if (!accepted)
        fprintf(stderr, "kestra-fetch: the target refused the session\n");
    DbvFreeReceivedPdu(pdu);
    return accepted;
}

/* Reports the diagnostics among records; the count of records found. */
static uint32_t ReportRecordDiagnostics(const DbvRecords *records)
{
    uint32_t i;
    if (!records)
        return 0;
    if (records->eRecordsType == RT_NonSurrDiagnostics && records->uRecords.psNonSurrogateDiagnostic)
        PrintDefaultDiagnostic(records->uRecords.psNonSurrogateDiagnostic);
    if (records->eRecordsType == RT_MultipleNonSurrDiagnostics && records->uRecords.ppsMultipleNonSurDiagnostics) {
        for (i = 0; records->uRecords.ppsMultipleNonSurDiagnostics[i]; i++)
            PrintDiagnostic(records->uRecords.ppsMultipleNonSurDiagnostics[i]);
    }
    return records->eRecordsType == RT_Response ? DbvListCount(records->uRecords.ppsResponseRecords) : 0;
}

/* The number of hits, or -1. */
static long Search(DbvAssocId id, const char *database, const char *term)
{
    DbvOctetString databaseName = Text(database), termText = Text(term);
    DbvOctetString *databases[2];
    DbvAttributeElement use, *attributes[2];
    DbvAttributesPlusTerm operand;
    DbvOperand leaf;
    DbvRPNQuery rpn;
    DbvQuery query;
    DbvSearchReq request;
    SIError *error = NULL;
    DbvReceivedPdu *pdu;
    long hits = -1;

    databases[0] = &databaseName;
    databases[1] = NULL;
    memset(&use, 0, sizeof use);
    use.ulAttributeType = 1;
    use.sAttributeValue.eAttributeValueType = AVT_Numeric;
    use.sAttributeValue.uAttributeValue.ulNumeric = 1016;
    attributes[0] = &use;
    attributes[1] = NULL;
    operand.ppsAttributeElement = attributes;
    operand.sTerm.eTermType = TT_General;
    operand.sTerm.uTerm.psGeneral = &termText;
    leaf.eOperandType = OPD_AttributesPlusTerm;
    leaf.uOperand.psAttributesPlusTerm = &operand;
    rpn.pcAttributeSetId = OID_ATTSET_BIB1;
    rpn.sRpnStructure.eRpnStructureType = RST_RpnOperand;
    rpn.sRpnStructure.uRPNStructure.psRpnOperand = &leaf;
    query.eQueryType = QT_Rpn;
    query.uQuery.psRpnQuery = &rpn;
    memset(&request, 0, sizeof request);
    request.ulLargeSetLowerBound = 1;
    request.fReplaceIndicator = DBV_TRUE;
    request.sResultSetName = Text("default");
    request.ppsDatabaseNames = databases;
    request.psQuery = &query;

    if (DBVSearchRequest(id, &request, &error) != SI_OK)
        return Failed("search", error) - 1;
    if (!(pdu = Await(id, RPT_SearchRsp)))
        return -1;
    ReportRecordDiagnostics(pdu->uPdu.psSearchRsp->psRecords);
    if (pdu->uPdu.psSearchRsp->fSearchStatus == DBV_TRUE)
        hits = (long)pdu->uPdu.psSearchRsp->ulResultCount;
    else
        fprintf(stderr, "kestra-fetch: the search failed\n");
    DbvFreeReceivedPdu(pdu);
    return hits;
}

/* Writes one record's octets; 0 (reported) when it holds none to write. */
static int WriteRecord(const DbvNamePlusRecord *entry, uint32_t position)
{
    const DbvExternal *external;
    const DbvOctetString *octets = NULL;
    if (entry->sRecord.eRecordType == DRT_SurrogateDiagnostics) {
        fprintf(stderr, "record %lu: ", (unsigned long)position);
        PrintDiagnostic(entry->sRecord.uRecord.psSurrogateDiagnostic);
        return 0;
    }
    external = entry->sRecord.eRecordType == DRT_Retrieval ? entry->sRecord.uRecord.psRetrievalRecord : NULL;
    if (external && external->eValueType == EVT_OctetAligned)
        octets = external->uExternalValue.psOctetAligned;
    else if (external && external->eValueType == EVT_SingleASN1Type && external->uExternalValue.psSingleASN1Type &&
             external->uExternalValue.psSingleASN1Type->eASN1Type == AT_UnstructuredText)
        octets = external->uExternalValue.psSingleASN1Type->uASN1.psUnstructuredText;
    if (!octets) {
        fprintf(stderr, "record %lu: not in a syntax that can be written as octets\n", (unsigned long)position);
        return 0;
    }
    fwrite(octets->pbData, 1, octets->ulLength, stdout);
    return 1;
}

/* Presents records first to last; 1 when every one was written. */
static int Present(DbvAssocId id, const char *syntax, uint32_t first, uint32_t last)
{
    DbvOctetString elementSet = Text("F");
    DbvElementSetNames names;
    DbvRecordComposition composition;
    DbvPresentReq request;
    uint32_t next = first;
    int complete = 1;

    names.eElementSetType = EST_Generic;
    names.uElementSet.psGeneric = &elementSet;
    composition.eRecordCompositionType = RCT_ElementSetNames;
    composition.uRecordComposition.psElementSetNames = &names;
    memset(&request, 0, sizeof request);
    request.sResultSetId = Text("default");
    request.psRecordComposition = &composition;
    request.pcPreferredRecordSyntax = (char *)syntax;

    while (next <= last) {
        SIError *error = NULL;
        DbvReceivedPdu *pdu;
        const DbvPresentRsp *response;
        uint32_t count, i;
        request.ulResultSetStartPoint = next;
        request.ulNumberOfRecordsRequested = last - next + 1;
        if (DBVPresentRequest(id, &request, &error) != SI_OK)
            return Failed("present", error);
        if (!(pdu = Await(id, RPT_PresentRsp)))
            return 0;
        response = pdu->uPdu.psPresentRsp;
        count = ReportRecordDiagnostics(response->psRecords);
        for (i = 0; i < count; i++)
            complete &= WriteRecord(response->psRecords->uRecords.ppsResponseRecords[i], next + i);
        DbvFreeReceivedPdu(pdu);
        if (count == 0) {
            fprintf(stderr, "kestra-fetch: no records returned from position %lu\n", (unsigned long)next);
            return 0;
        }
        next += count;
    }
    return complete;
}

int main(int argc, char **argv)
{
    DbvTargetInformation target;
    DbvAssocId id;
    int32_t status;
    SIError *error = NULL;
    const char *syntax;
    long count, hits;
    int ok = 0;

    if (argc < 6 || argc > 7) {
        fprintf(stderr, "usage: kestra-fetch HOST PORT DATABASE TERM COUNT [SYNTAX]\n");
        return 2;
    }
    syntax = SyntaxOid(argc == 7 ? argv[6] : "USMARC");
    count = strtol(argv[5], NULL, 10);
    if (!syntax || count < 1) {
        fprintf(stderr, "kestra-fetch: %s\n", !syntax ? "unknown record syntax" : "COUNT must be at least 1");
        return 2;
    }
#ifdef _WIN32
    _setmode(_fileno(stdout), _O_BINARY);
#endif
    target.eOsiOrInternetAddress = OIA_Internet;
    target.sInternet.pcHostName = argv[1];
    target.sInternet.lPort = (int32_t)strtol(argv[2], NULL, 10);
    if (SIAssociate(&target, NULL, -1, &id, &status, &error) != SI_OK)
        return !Failed("connect", error);

    if (Initialize(id) && (hits = Search(id, argv[3], argv[4])) >= 0) {
        if (hits < count)
            fprintf(stderr, "kestra-fetch: %ld records found, %ld wanted\n", hits, count);
        ok = hits >= count;
        if (hits > 0)
            ok = Present(id, syntax, 1, (uint32_t)(hits < count ? hits : count)) && ok;
    }
    fflush(stdout);
    DbvAbortRequest(id, &error);
    SIFreeError(error);
    return ok ? 0 : 1;
}
