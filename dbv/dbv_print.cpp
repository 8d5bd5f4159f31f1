// The trace printer of every DBV structure, driven by the descriptors: each
// field is written under its own name, in the order of the structure.
#include "dbv/dbv_print.h"

#include <cstring>

#include "dbv/dbv_tree.h"
#include "diag/trace.h"
#include "ui/mem.h"

namespace {

const char kSeparator[] = "----------------------------------------\n";

struct PduNames {
    int type;
    const char *header;
    const char *title;
};

// By DPT_ value; the Close's header depends on who asked.
const PduNames kPduNames[] = {
    {DPT_InitRequest, "InitializeReq", "InitRequest PDU"},
    {DPT_InitResponse, "InitializeRsp", "InitResponse PDU"},
    {DPT_SearchRequest, "SearchReq", "SearchRequest PDU"},
    {DPT_SearchResponse, "SearchRsp", "SearchResponse PDU"},
    {DPT_PresentRequest, "PresentReq", "PresentRequest PDU"},
    {DPT_PresentResponse, "PresentRsp", "PresentResponse PDU"},
    {DPT_DeleteResultSetRequest, "DeleteResultSetReq", "DeleteResultSetRequest PDU"},
    {DPT_DeleteResultSetResponse, "DeleteResultSetRsp", "DeleteResultSetResponse PDU"},
    {DPT_AccessControlRequest, "AccessControlReq", "AccessControlRequest PDU"},
    {DPT_AccessControlResponse, "AccessControlRsp", "AccessControlResponse PDU"},
    {DPT_ResourceControlRequest, "ResourceControlReq", "ResourceControlRequest PDU"},
    {DPT_ResourceControlResponse, "ResourceControlRsp", "ResourceControlResponse PDU"},
    {DPT_TriggerResourceControlRequest, "TriggerResourceControlReq", "TriggerResourceControlRequest PDU"},
    {DPT_ResourceReportRequest, "ResourceReportReq", "ResourceReportRequest PDU"},
    {DPT_ResourceReportResponse, "ResourceReportRsp", "ResourceReportResponse PDU"},
    {DPT_ScanRequest, "ScanReq", "ScanRequest PDU"},
    {DPT_ScanResponse, "ScanRsp", "ScanResponse PDU"},
    {DPT_SortRequest, "SortReq", "SortRequest PDU"},
    {DPT_SortResponse, "SortRsp", "SortResponse PDU"},
    {DPT_SegmentRequest, "SegmentReq", "SegmentRequest PDU"},
    {DPT_ExtendedServicesRequest, "ExtendedServicesReq", "ExtendServicesRequest PDU"},
    {DPT_ExtendedServicesResponse, "ExtendedServicesRsp", "ExtendServicesResponse PDU"},
    {DPT_Close, "Close 'CloseReq'", "Close PDU"},
};

const unsigned char *At(const void *base, uint32_t offset)
{
    return static_cast<const unsigned char *>(base) + offset;
}

void PrintValue(std::FILE *out, const DbvValueDesc *v, const char *name, const void *value);

// The octets as text, up to a NUL among them.
void PrintOctets(std::FILE *out, const DbvOctetString *octets)
{
    if (!octets->pbData || octets->ulLength == 0) {
        std::fputs("\n", out);
        return;
    }
    char *text = static_cast<char *>(MemAlloc(static_cast<size_t>(octets->ulLength) + 1));
    if (!text) {
        std::fputs("NOT ENOUGH MEMORY FOR PRINT OPERATION!\n", out);
        return;
    }
    std::memcpy(text, octets->pbData, octets->ulLength);
    std::fprintf(out, "%s\n", text);
    MemFree(text);
}

void PrintBoolean(std::FILE *out, const char *name, int value)
{
    if (std::strcmp(name, "fResult") == 0 && (value == DBV_TRUE || value == DBV_FALSE))
        std::fputs(value == DBV_TRUE ? "TRUE\n" : "FALSE\n", out);
    else if (value == DBV_TRUE || value == DBV_FALSE)
        std::fputs(value == DBV_TRUE ? "DBV_TRUE\n" : "DBV_FALSE\n", out);
    else
        std::fprintf(out, "%d - invalid\n", value);
}

void PrintEnum(std::FILE *out, const DbvEnumDesc *members, int value)
{
    const char *member = DbvEnumName(members, value);
    std::fprintf(out, "%s\n", member ? member : "Unknown");
}

void PrintList(std::FILE *out, const DbvValueDesc *v, void *const *list)
{
    if (!list || !list[0]) {
        std::fputs("NULL\n\n", out);
        return;
    }
    std::fputs("\n", out);
    const DbvValueDesc *element = v->psElement;
    bool byPointer = DbvElementFlags(element) & DBV_F_DBV_PTR;
    for (uint32_t i = 0; list[i]; i++) {
        PrintValue(out, element, nullptr, byPointer ? list[i] : &list[i]);
        std::fputs("\n", out);
    }
    std::fputs("\n", out);
}

// A value that is present, after its label (none for a list element).
void PrintValue(std::FILE *out, const DbvValueDesc *v, const char *name, const void *value)
{
    switch (v->eKind) {
    case DBV_K_UINT:
        std::fprintf(out, "%lu\n", static_cast<unsigned long>(*static_cast<const uint32_t *>(value)));
        break;
    case DBV_K_ENUM:
        PrintEnum(out, v->psEnum, *static_cast<const int *>(value));
        break;
    case DBV_K_BOOL:
        PrintBoolean(out, name ? name : "", *static_cast<const int *>(value));
        break;
    case DBV_K_NULL:
        std::fputs(*static_cast<const int *>(value) ? "DBV_TRUE\n" : "NULL\n", out);
        break;
    case DBV_K_OCTS:
    case DBV_K_ANY:
        PrintOctets(out, static_cast<const DbvOctetString *>(value));
        break;
    case DBV_K_TEXT:
    case DBV_K_OID:
    case DBV_K_BITS: {
        const char *text = *static_cast<char *const *>(value);
        std::fprintf(out, "%s\n", text ? text : "NULL");
        break;
    }
    case DBV_K_LIST:
        PrintList(out, v, *static_cast<void **const *>(value));
        break;
    default:
        if (name)
            std::fputs("\n", out);
        DbvPrintFields(out, v->psType, value);
        break;
    }
}

void PrintField(std::FILE *out, const DbvFieldDesc *f, const void *base)
{
    const void *slot = At(base, f->ulDbvOffset);
    if (!f->pcName) { // a choice whose members stand in the structure
        if (f->sValue.eKind == DBV_K_STRUCT)
            DbvPrintFields(out, f->sValue.psType, slot);
        return;
    }
    std::fprintf(out, "%s: ", f->pcName);
    if (f->ulFlags & DBV_F_DBV_PTR) {
        slot = *static_cast<void *const *>(slot);
        if (!slot) {
            std::fputs("NULL\n", out);
            return;
        }
    }
    PrintValue(out, &f->sValue, f->pcName, slot);
}

void WriteFrameHead(const DbvPduDump &dump, void (*write)(void *sink, const char *text), void *sink)
{
    write(sink, kSeparator);
    char header[128];
    std::snprintf(header, sizeof header, "## %s PDU ##\n", dump.pcHeader);
    write(sink, header);
    write(sink, "\n");
}

void PrintBody(std::FILE *out, const DbvPduDump &dump)
{
    std::fprintf(out, "%s\n", dump.pcTitle);
    if (dump.psType) {
        DbvPrintFields(out, dump.psType, dump.pvValue);
        return;
    }
    const DbvInvalidAPDU *invalid = static_cast<const DbvInvalidAPDU *>(dump.pvValue);
    std::fprintf(out, "ulLength: %lu\npbData: ", static_cast<unsigned long>(invalid->ulLength));
    for (uint32_t i = 0; i < invalid->ulLength; i++)
        std::fprintf(out, "%02x", invalid->pbData[i]);
    std::fputs("\n", out);
}

} // namespace

void DbvPrintFields(std::FILE *stream, const DbvTypeDesc *type, const void *value)
{
    if (type->fChoice) {
        int selector = DbvSelector(type, value);
        std::fprintf(stream, "%s: ", type->pcSelectorName);
        PrintEnum(stream, type->psSelectorEnum, selector);
    }
    DbvEachMember(type, value, [&](const DbvFieldDesc *f) {
        PrintField(stream, f, value);
        return true;
    });
}

DbvPduDump DbvDumpOfPdu(int ePduType, const void *value, bool closeIsResponse)
{
    DbvPduDump dump = {"Unknown", "Unknown PDU", nullptr, value};
    for (const PduNames &names : kPduNames) {
        if (names.type == ePduType) {
            dump.pcHeader = ePduType == DPT_Close && closeIsResponse ? "Close 'CloseRsp'" : names.header;
            dump.pcTitle = names.title;
        }
    }
    const DbvFieldDesc *alternative = DbvChoiceAlternative(&DbvDesc_Pdu, ePduType);
    dump.psType = alternative ? alternative->sValue.psType : nullptr;
    return dump;
}

DbvPduDump DbvDumpOfInvalid(const DbvInvalidAPDU *invalid)
{
    return DbvPduDump{"psInvalidAPDU", "InvalidAPDU PDU", nullptr, invalid};
}

void DbvWritePduDump(std::FILE *stream, const DbvPduDump &dump)
{
    WriteFrameHead(dump, [](void *sink, const char *text) { std::fputs(text, static_cast<std::FILE *>(sink)); },
                   stream);
    PrintBody(stream, dump);
    std::fputs(kSeparator, stream);
}

void DbvTracePduDump(DbvAssocId assocId, const char *direction, const DbvPduDump &dump)
{
    TraceWrite(assocId, Trace_High, direction);
    WriteFrameHead(
        dump, [](void *sink, const char *text) { TraceWrite(*static_cast<DbvAssocId *>(sink), Trace_High, text); },
        &assocId);
    if (TraceLevel(assocId) != Trace_High) {
        TraceWrite(assocId, Trace_High, "PDU fields are only displayed for trace level Trace_High\n");
    } else if (TraceEntry *entry = TraceFind(assocId); entry && entry->stream) {
        PrintBody(entry->stream, dump);
        std::fflush(entry->stream);
    } else {
        TraceWrite(assocId, Trace_High, "Error with trace file\n");
    }
    TraceWrite(assocId, Trace_High, kSeparator);
}
