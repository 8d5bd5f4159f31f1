// The SCAN request: the index terms around a start term, one term line each,
// from a target that granted the scan service when the session opened.
#include <cstdlib>
#include <cstring>

#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"
#include "retrieval/query.h"
#include "retrieval/retrieval.h"
#include "session/session.h"

namespace {

const char *const kScanStatusTexts[] = {
    "Scan Request Succeeded",
    "Not all records can be returned due to termination by access control",
    "Cannot return all requested records - negotiated message would be exceeded",
    "Not all records can be returned through termination by resource control by Origin",
    "Not all records can be returned through termination by resource control by Target",
    "Not all records can be returned as the term list contains too few entries",
    "Present Request Returned Failure",
};

const int kScanOptionBit = 7;
const size_t kMaxAttributes = 6;
// "Only zero step size supported for Scan".
const uint32_t kOnlyZeroStepSize = 205;

// Sets the attribute list from the "Attribute" value: its tokens, cut at
// blanks, points and commas, are the values of attribute types 1, 2, 3 ...
// in order; a zero value is left out but still takes its type.
void SetScanAttributes(DbvAttributesPlusTerm *attributes_plus_term, const char *specification)
{
    DbvAttributeElement **list = attributes_plus_term->ppsAttributeElement =
        static_cast<DbvAttributeElement **>(dbv::Allocate((kMaxAttributes + 1) * sizeof(DbvAttributeElement *)));
    std::string text = specification;
    size_t stored = 0;
    uint32_t type = 0;
    for (char *token = std::strtok(&text[0], " .,"); token && stored < kMaxAttributes;
         token = std::strtok(nullptr, " .,")) {
        ++type;
        long value = std::strtol(token, nullptr, 10);
        if (value != 0)
            list[stored++] = NumericAttribute(type, static_cast<uint32_t>(value));
    }
}

// A value below 1 is sent as 1.
uint32_t AtLeastOne(long value)
{
    return static_cast<uint32_t>(value < 1 ? 1 : value);
}

struct ScanKeys {
    char database[kValueSize];
    char term[kRequestSize];
    char attributes[kValueSize];
    long records;
    long step_size;
    long preferred_position;
};

// Reads the keys and checks that the scan can be asked for; false with the
// status set when it cannot.
bool ReadScanKeys(ScanKeys *keys)
{
    RequestString("Database", keys->database, sizeof keys->database, "KESTRA");
    RequestString("Query", keys->term, sizeof keys->term, "");
    RequestString("Attribute", keys->attributes, sizeof keys->attributes, "1003.0.0.0.0.0");
    RequestInteger("Records", &keys->records, 0);
    RequestInteger("StepSize", &keys->step_size, 1);
    RequestInteger("PreferredPosition", &keys->preferred_position, 1);
    const std::string &options = GrantedOptions();
    if (options.size() <= kScanOptionBit || options[kScanOptionBit] != '1')
        SetStatus(4002, 0, "Scan Request Error - The scan service is not supported");
    else if (keys->records < 1)
        SetStatus(4003, 0, "Scan Request Error - Number of records must be supplied");
    else if (!keys->term[0])
        SetStatus(4004, 0, "Scan Request Error - A search term must be supplied");
    return !StatusIsSet();
}

bool SendScanRequest(const ScanKeys &keys, uint32_t step_size)
{
    dbv::Owned<DbvScanReq> request(dbv::New<DbvScanReq>(), DbvFreeScanReq);
    request->ppsDatabaseNames = dbv::List<DbvOctetString>({dbv::Octets(keys.database)});
    request->pcAttributeSetId = dbv::Text(OID_ATTSET_BIB1);
    SetScanAttributes(&request->sAttributesPlusTerm, keys.attributes);
    request->sAttributesPlusTerm.sTerm.eTermType = TT_General;
    request->sAttributesPlusTerm.sTerm.uTerm.psGeneral = dbv::Octets(keys.term);
    request->pulStepSize = dbv::New<uint32_t>();
    *request->pulStepSize = step_size;
    request->ulNumberOfTermsRequested = static_cast<uint32_t>(keys.records);
    request->pulPreferredPositionInResponse = dbv::New<uint32_t>();
    *request->pulPreferredPositionInResponse =
        AtLeastOne(keys.preferred_position < keys.records ? keys.preferred_position : keys.records);
    return SendRequest(DBVScanRequest, request.get(), 2000, "Scan Request Error - Invalid parameter");
}

// The text of a term: the octets of a general or character-string term.
std::string TermText(const DbvTerm *term)
{
    if (term->eTermType == TT_General)
        return dbv::TextOf(term->uTerm.psGeneral);
    if (term->eTermType == TT_SimpleCharacter)
        return dbv::TextOf(term->uTerm.psSimpleCharacter);
    return std::string();
}

// One line per term: its number, 0, the display term, the hits and the
// term. A surrogate diagnostic writes no line but takes its number.
void WriteTermLines(const DbvListEntries *entries)
{
    long number = 0;
    for (DbvEntry **entry = entries ? entries->ppsEntry : nullptr; entry && *entry; ++entry) {
        ++number;
        const DbvTermInfo *info = (*entry)->eEntryType == ET_TermInfo ? (*entry)->uEntry.psTermInfo : nullptr;
        if (!info)
            continue;
        AppendInteger(number);
        AppendInteger(0);
        AppendField(dbv::TextOf(info->psDisplayTerm).c_str());
        AppendInteger(info->pulGlobalOccurrences ? static_cast<long>(*info->pulGlobalOccurrences) : 0);
        AppendField(TermText(&info->sTerm).c_str());
        FlushResponse();
    }
}

DbvReceivedPdu *ReceiveScanResponse()
{
    return AwaitAnswer(RPT_ScanRsp, 2001, "Scan Response Error - Unspecified failure");
}

// A target that scans only with step size 0 says so with a diagnostic and
// no terms.
bool OnlyZeroStepSize(const DbvScanRsp *response)
{
    const DbvListEntries *entries = response->psEntries;
    if (response->ulNumberOfEntriesReturned != 0 || !entries)
        return false;
    for (DbvDiagnostic **diagnostic = entries->ppsNonSurrogateDiagnostics; diagnostic && *diagnostic; ++diagnostic) {
        if ((*diagnostic)->eDiagnosticsType == DT_DefaultFormat && (*diagnostic)->uDiagnostics.psDefault &&
            (*diagnostic)->uDiagnostics.psDefault->ulCondition == kOnlyZeroStepSize)
            return true;
    }
    return false;
}

// The "Records" pair and the term lines; nothing when no term came back.
void WriteScanResponse(const DbvScanRsp *response)
{
    int status = response->eScanStatus;
    if (response->ulNumberOfEntriesReturned == 0)
        return;
    PairInteger("Records", static_cast<long>(response->ulNumberOfEntriesReturned));
    if (status >= 0 && status < static_cast<int>(sizeof kScanStatusTexts / sizeof kScanStatusTexts[0])) {
        ShowStatus(kScanStatusTexts[status]);
        WriteTermLines(response->psEntries);
    }
}

} // namespace

bool HandleScan()
{
    WriteEchoLine("SCAN_REQUEST");
    ScanKeys keys;
    bool asked = ReadScanKeys(&keys) && SendScanRequest(keys, AtLeastOne(keys.step_size));
    DbvReceivedPdu *pdu = asked ? ReceiveScanResponse() : nullptr;
    // Such a target is asked once more, with step size 0.
    if (pdu && OnlyZeroStepSize(pdu->uPdu.psScanRsp)) {
        DbvFreeReceivedPdu(pdu);
        pdu = SendScanRequest(keys, 0) ? ReceiveScanResponse() : nullptr;
    }
    if (pdu)
        WriteScanResponse(pdu->uPdu.psScanRsp);
    DbvFreeReceivedPdu(pdu);
    WriteResponseLine("SCAN_RESPONSE", pdu != nullptr);
    return pdu != nullptr;
}
