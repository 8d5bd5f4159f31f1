// The PRESENT request: records of the result set "default" in the record
// syntax asked for, one record line each, paging on from the last PRESENT
// when no position is given, and asking again for the rest when a target
// returns fewer records than asked.
#include <cctype>
#include <climits>
#include <cstdint>
#include <cstring>

#include "dbv/dbv_build.h"
#include "service/exchange/exchange.h"
#include "render/render.h"
#include "retrieval/retrieval.h"
#include "session/session.h"

namespace {

// "RecordSyntax" names, upper-cased, and the syntaxes they ask for, with
// the renderer of a record that arrives in the syntax as one ASN.1 value of
// the given type (none for the MARC syntaxes, whose records are octets). A
// name outside the table (such as "Service Choice") lets the target choose.
const struct {
    const char *name;
    const char *oid;
    int asn1_type;
    void (*render)(const DbvExternal *record, long position);
} kRecordSyntaxes[] = {
    {"USMARC", OID_SYNTAX_USMARC, 0, nullptr},
    {"UKMARC", OID_SYNTAX_UKMARC, 0, nullptr},
    {"UNIMARC", OID_SYNTAX_UNIMARC, 0, nullptr},
    {"NORMARC", OID_SYNTAX_NORMARC, 0, nullptr},
    {"DANMARC", OID_SYNTAX_DANMARC, 0, nullptr},
    {"FINMARC", OID_SYNTAX_FINMARC, 0, nullptr},
    {"CANMARC", OID_SYNTAX_CANMARC, 0, nullptr},
    {"LIBRISMARC", OID_SYNTAX_LIBRISMARC, 0, nullptr},
    {"PICAMARC", OID_SYNTAX_PICAMARC, 0, nullptr},
    {"SUTRS", OID_SYNTAX_SUTRS, AT_UnstructuredText, RenderSutrsRecord},
    {"SUMMARY", OID_SYNTAX_SUMMARY, AT_SummaryRecord, RenderSummaryRecord},
    {"GENERIC", OID_SYNTAX_GRS1, AT_GenericRecord, RenderGenericRecord},
    {"OPAC", OID_SYNTAX_OPAC, AT_OpacRecord, RenderOpacRecord},
};

// The preferred record syntax that "RecordSyntax" names, or NULL.
const char *PreferredSyntax()
{
    char name[kValueSize];
    RequestString("RecordSyntax", name, sizeof name, "USMARC");
    std::string upper = UpperCase(name);
    for (const auto &syntax : kRecordSyntaxes) {
        if (upper == syntax.name)
            return syntax.oid;
    }
    return nullptr;
}

// The generic element set: "B" (brief) when "RecordDetails" begins with B.
const char *ElementSetName()
{
    char details[kValueSize];
    RequestString("RecordDetails", details, sizeof details, "F");
    return std::toupper(static_cast<unsigned char>(details[0])) == 'B' ? "B" : "F";
}

bool SendPresentRequest()
{
    const ResultSetState &set = g_result_set;
    if (set.start_position < 1)
        SetStatus(3002, 0, "Present Request Error - Starting Position cannot be zero");
    else if (set.hit_count < 1)
        SetStatus(3003, 0, "Present Request Error - No Rows to Present");
    else if (set.records_wanted < 1)
        SetStatus(3004, 0, "Present Request Error - Present Quantity cannot be zero");
    else if (set.hit_count < static_cast<unsigned long>(set.start_position))
        SetStatus(3005, 0, "Present Request Error - Starting Position greater then Rows Found");
    if (StatusIsSet())
        return false;

    uint64_t start = static_cast<uint64_t>(set.start_position);
    uint64_t wanted = static_cast<uint64_t>(set.records_wanted);
    dbv::Owned<DbvPresentReq> request(dbv::New<DbvPresentReq>(), DbvFreePresentReq);
    request->sResultSetId = dbv::InlineOctets("default");
    request->ulResultSetStartPoint = static_cast<uint32_t>(start);
    // Never past the last hit.
    request->ulNumberOfRecordsRequested =
        static_cast<uint32_t>(start + wanted - 1 < set.hit_count ? wanted : set.hit_count - start + 1);
    request->psRecordComposition = dbv::New<DbvRecordComposition>();
    request->psRecordComposition->eRecordCompositionType = RCT_ElementSetNames;
    DbvElementSetNames *names = dbv::New<DbvElementSetNames>();
    request->psRecordComposition->uRecordComposition.psElementSetNames = names;
    names->eElementSetType = EST_Generic;
    names->uElementSet.psGeneric = dbv::Octets(ElementSetName());
    if (const char *syntax = PreferredSyntax())
        request->pcPreferredRecordSyntax = dbv::Text(syntax);
    return SendRequest(DBVPresentRequest, request.get(), 3000, "Present Request Error - Invalid parameter");
}

// A record that arrives as octets: the text as received (an ISO 2709 record
// for the MARC syntaxes); SUTRS text is shown on the status display too.
void WriteOctetRecord(const DbvExternal *record, long position)
{
    const DbvOctetString *octets = record->uExternalValue.psOctetAligned;
    if (!octets || octets->ulLength == 0) {
        WriteRecordLine(position, 1, "Unknown record type (Not MARC or SUTRS)");
        return;
    }
    std::string text = dbv::TextOf(octets);
    WriteRecordLine(position, 0, text.c_str());
    if (record->ObjectIdentifier && std::strcmp(record->ObjectIdentifier, OID_SYNTAX_SUTRS) == 0)
        ShowStatus(text.c_str());
}

// Hands a retrieval record to the renderer for its kind; a single ASN.1
// value of a kind without a renderer writes nothing.
void WriteRetrievalRecord(const DbvExternal *record, long position)
{
    if (!record)
        return;
    switch (record->eValueType) {
    case EVT_SingleASN1Type: {
        const DbvSingleASN1Type *value = record->uExternalValue.psSingleASN1Type;
        for (const auto &syntax : kRecordSyntaxes) {
            if (syntax.render && value && record->ObjectIdentifier &&
                std::strcmp(record->ObjectIdentifier, syntax.oid) == 0 && value->eASN1Type == syntax.asn1_type) {
                syntax.render(record, position);
                return;
            }
        }
        break;
    }
    case EVT_OctetAligned:
        WriteOctetRecord(record, position);
        break;
    case EVT_Arbitrary:
        RenderArbitraryRecord(record, position);
        break;
    }
}

// A diagnostic in place of a record: its condition and the condition's text.
void WriteSurrogateDiagnostic(const DbvDiagnostic *diagnostic, long position)
{
    if (!diagnostic || diagnostic->eDiagnosticsType != DT_DefaultFormat || !diagnostic->uDiagnostics.psDefault)
        return;
    long condition = static_cast<long>(diagnostic->uDiagnostics.psDefault->ulCondition);
    WriteRecordLine(position, condition, DiagnosticText(condition));
}

// One line per record of a present response; the number of entries walked.
long WriteRecords(const DbvRecords *records)
{
    long walked = 0;
    if (!records)
        return walked;
    switch (records->eRecordsType) {
    case RT_Response:
        for (DbvNamePlusRecord **entry = records->uRecords.ppsResponseRecords; entry && *entry && !StatusIsSet();
             ++entry, ++walked) {
            const DbvRecord &record = (*entry)->sRecord;
            long position = g_result_set.start_position + walked;
            if (record.eRecordType == DRT_Retrieval)
                WriteRetrievalRecord(record.uRecord.psRetrievalRecord, position);
            else if (record.eRecordType == DRT_SurrogateDiagnostics)
                WriteSurrogateDiagnostic(record.uRecord.psSurrogateDiagnostic, position);
        }
        break;
    case RT_NonSurrDiagnostics:
        ReportDiagnostics(records);
        break;
    case RT_MultipleNonSurrDiagnostics:
        for (DbvDiagnostic **entry = records->uRecords.ppsMultipleNonSurDiagnostics; entry && *entry && !StatusIsSet();
             ++entry, ++walked)
            ReportDiagnostic(*entry);
        break;
    }
    return walked;
}

bool ReceivePresentResponse()
{
    DbvReceivedPdu *pdu = AwaitAnswer(RPT_PresentRsp, 3001, "Present Response Error - Unspecified failure");
    if (!pdu)
        return false;
    const DbvPresentRsp *response = pdu->uPdu.psPresentRsp;
    // A partial or failed present status is shown, and is no error by itself.
    ShowStatus(response->ePresentStatus == PS_Success ? "Present Response Succeeded" : "Present Response Failure");
    g_result_set.records_returned = WriteRecords(response->psRecords);
    DbvFreeReceivedPdu(pdu);
    return !StatusIsSet();
}

// Fetches the records asked for, batch by batch; the records written, or -1.
long PresentRecords(long requested)
{
    ResultSetState &set = g_result_set;
    long total = 0;
    set.records_wanted = requested;
    for (;;) {
        if (!SendPresentRequest() || !ReceivePresentResponse())
            return -1;
        total += set.records_returned;
        bool past_last_hit = static_cast<unsigned long>(set.start_position + set.records_returned - 1) >= set.hit_count;
        // A batch without records while hits remain would only repeat itself.
        if (total >= requested || past_last_hit || set.records_returned == 0)
            return total;
        set.start_position += set.records_returned;
        set.records_wanted -= set.records_returned;
    }
}

} // namespace

bool HandlePresent()
{
    WriteEchoLine("PRESENT_REQUEST");
    ResultSetState &set = g_result_set;
    long start = 0;
    long requested = 0;
    RequestInteger("StartFrom", &start, 0);
    RequestInteger("Records", &requested, 0);
    // Without a position the next page follows the last one; past the
    // largest position there is none, and 0 is refused as below 1.
    if (start == 0 && set.start_position == 0)
        start = 1;
    else if (start == 0)
        start = set.records_wanted > LONG_MAX - set.start_position ? 0 : set.start_position + set.records_wanted;
    set.start_position = start;
    if (requested == 0)
        requested = set.records_wanted != 0 ? set.records_wanted : 1;
    long written = PresentRecords(requested);
    if (written >= 0) {
        PairInteger("StartFrom", start);
        PairInteger("Records", written);
    }
    WriteResponseLine("PRESENT_RESPONSE", written >= 0);
    return written >= 0;
}
