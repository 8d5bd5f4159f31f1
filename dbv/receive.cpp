// ReceiveDataOrigin: one PDU off the association, decoded, fed to the
// state machine, converted to DBV and handed to the caller.
#include "dbv/dbv_receive.h"

#include <cstring>

#include "asn/asn_pdu.h"
#include "asn_modules.h"
#include "assoc/assoc_table.h"
#include "assoc/errors.h"
#include "assoc/state_machine.h"
#include "assoc/transport.h"
#include "dbv/dbv_convert.h"
#include "diag/api_log.h"
#include "diag/trace.h"
#include "ui/mem.h"

namespace {

// Two rows share an alternative where the PDU's content or the state
// decides: the first is taken for an accepting initResponse and for a
// Close that answers ours.
const DbvReceivedKind kKinds[] = {
    {PDU_initResponse, RPT_InitializeRsp, DBV_OE_INITRESP_PDU_TRUE, "InitRsp"},
    {PDU_initResponse, RPT_InitializeRsp, DBV_OE_INITRESP_PDU_FALSE, "InitRsp"},
    {PDU_searchResponse, RPT_SearchRsp, DBV_OE_SEARCHRESP_PDU, "SrchRsp"},
    {PDU_presentResponse, RPT_PresentRsp, DBV_OE_PRESENTRESP_PDU, "PresRsp"},
    {PDU_deleteResultSetResponse, RPT_DeleteResultSetRsp, DBV_OE_DELETERESP_PDU, "DelRsp"},
    {PDU_accessControlRequest, RPT_AccessControlReq, DBV_OE_ACCCNTREQ_PDU, "AccReq"},
    {PDU_resourceControlRequest, RPT_ResourceControlReq, DBV_OE_RESCNTREQ_PDU, "ResCntrlReq"},
    {PDU_resourceReportResponse, RPT_ResourceReportRsp, DBV_OE_RESOURCERESP_PDU, "ResourceReportRsp"},
    {PDU_scanResponse, RPT_ScanRsp, DBV_OE_SCANRESP_PDU, "ScanRsp"},
    {PDU_sortResponse, RPT_SortRsp, DBV_OE_SORTRESP_PDU, "SortRsp"},
    {PDU_segmentRequest, RPT_SegmentReq, DBV_OE_SEGMENTREQ_PDU, "SegmentReq"},
    {PDU_extendedServicesResponse, RPT_ExtendedServicesRsp, DBV_OE_EXTENDEDRESP_PDU, "ExtendedServicesRsp"},
    {PDU_close, RPT_CloseRsp, DBV_OE_CLOSEREQ_PDU, "Close"},
    {PDU_close, RPT_CloseReq, DBV_OE_CLOSEREQ_PDU, "Close"},
    {ASN_PDU_UNKNOWN, RPT_InvalidAPDU, 0, nullptr},
};

const DbvReceivedKind *KindOfType(int type)
{
    for (const DbvReceivedKind &kind : kKinds) {
        if (kind.type == type)
            return &kind;
    }
    return nullptr;
}

// The DBV structure of a received kind (NULL for the invalid APDU).
const DbvTypeDesc *TypeOf(const DbvReceivedKind *kind)
{
    const DbvFieldDesc *alternative = DbvChoiceAlternative(&DbvDesc_Pdu, static_cast<int>(kind->choiceId) + 1);
    return alternative ? alternative->sValue.psType : nullptr;
}

void *&HeldStructure(DbvReceivedPdu *holder)
{
    // Every member of the union is a pointer to the held structure.
    return *reinterpret_cast<void **>(&holder->uPdu);
}

const void *HeldStructure(const DbvReceivedPdu *holder)
{
    return *reinterpret_cast<void *const *>(&holder->uPdu);
}

} // namespace

const DbvReceivedKind *DbvReceivedKindOf(const PDU *pdu, bool closeAnswersOurs)
{
    bool first = pdu->choiceId == PDU_initResponse ? pdu->a.initResponse->result != 0 : closeAnswersOurs;
    for (size_t i = 0; i < sizeof kKinds / sizeof kKinds[0]; i++) {
        if (kKinds[i].choiceId != pdu->choiceId)
            continue;
        bool paired = i + 1 < sizeof kKinds / sizeof kKinds[0] && kKinds[i + 1].choiceId == pdu->choiceId;
        return paired && !first ? &kKinds[i + 1] : &kKinds[i];
    }
    return nullptr;
}

int DbvFillReceived(const DbvReceivedKind *kind, const PDU *pdu, const unsigned char *octets, uint32_t count,
                    DbvReceivedPdu *holder)
{
    if (kind->type == RPT_InvalidAPDU) {
        DbvInvalidAPDU *invalid = static_cast<DbvInvalidAPDU *>(MemAlloc(sizeof(DbvInvalidAPDU)));
        unsigned char *copy = static_cast<unsigned char *>(MemAlloc(count));
        if (!invalid || !copy) {
            MemFree(invalid);
            MemFree(copy);
            return DBV_CONVERT_NO_MEMORY;
        }
        std::memcpy(copy, octets, count);
        invalid->ulLength = count;
        invalid->pbData = copy;
        holder->uPdu.psInvalidAPDU = invalid;
        holder->ePduType = kind->type;
        return DBV_CONVERT_OK;
    }
    const DbvFieldDesc *alternative = DbvChoiceAlternative(&DbvDesc_Pdu, static_cast<int>(kind->choiceId) + 1);
    const void *codec = *reinterpret_cast<void *const *>(reinterpret_cast<const unsigned char *>(pdu) +
                                                          alternative->ulAsnOffset);
    void *converted = nullptr;
    if (DbvTreeFromAsn(alternative->sValue.psType, codec, &converted) != DBV_CONVERT_OK)
        return DBV_CONVERT_NO_MEMORY;
    HeldStructure(holder) = converted;
    holder->ePduType = kind->type;
    return DBV_CONVERT_OK;
}

bool DbvDumpOfReceived(const DbvReceivedPdu *pdu, DbvPduDump *dump)
{
    const DbvReceivedKind *kind = KindOfType(pdu->ePduType);
    if (!kind)
        return false;
    if (kind->type == RPT_InvalidAPDU)
        *dump = DbvDumpOfInvalid(pdu->uPdu.psInvalidAPDU);
    else
        *dump = DbvDumpOfPdu(static_cast<int>(kind->choiceId) + 1, HeldStructure(pdu), kind->type == RPT_CloseRsp);
    return true;
}

namespace {

// Steps 5 on of a receive, with the PDU read and decoded. SI_OK or SI_NOTOK.
int Deliver(DbvAssocId assocId, int32_t stateBefore, const PDU *pdu, const unsigned char *octets, uint32_t count,
            DbvReceivedPdu **place, SIError **slot)
{
    DbvReceivedPdu *holder = static_cast<DbvReceivedPdu *>(MemAlloc(sizeof(DbvReceivedPdu)));
    if (!holder) {
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open, "Out of memory");
        return SI_NOTOK;
    }
    holder->ePduType = RPT_None;
    *place = holder;
    const DbvReceivedKind *kind = DbvReceivedKindOf(pdu, stateBefore == DBV_OS_CLOSE_SENT);
    if (!kind)
        return SI_OK;
    if (kind->event && FeedOriginEvent(assocId, kind->event, slot) != 0) {
        TraceWritef(assocId, Trace_High, "Failed to convert received %s PDU to DBV format\n", kind->label);
        return SI_NOTOK;
    }
    if (DbvFillReceived(kind, pdu, octets, count, holder) != DBV_CONVERT_OK) {
        SISetError(slot, assocId, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open, "Out of memory");
        return SI_NOTOK;
    }
    if (kind->type == RPT_InitializeRsp)
        SISetNegotiatedSizes(assocId, holder->uPdu.psInitializeRsp->ulPreferredMessageSize,
                             holder->uPdu.psInitializeRsp->ulMaxmiumMessageSize);
    DbvPduDump dump;
    if (DbvDumpOfReceived(holder, &dump))
        DbvTracePduDump(assocId, "\nReceived the following PDU:\n", dump);
    if (kind->type == RPT_InvalidAPDU && UnknownPduFlag && count > 0)
        DumpInvalidPdu(octets, count);
    return SI_OK;
}

} // namespace

extern "C" {

void DbvFreeReceivedPdu(DbvReceivedPdu *psPdu)
{
    if (!psPdu)
        return;
    if (psPdu->ePduType == RPT_InvalidAPDU) {
        if (psPdu->uPdu.psInvalidAPDU)
            MemFree(psPdu->uPdu.psInvalidAPDU->pbData);
        MemFree(psPdu->uPdu.psInvalidAPDU);
    } else if (const DbvReceivedKind *kind = KindOfType(psPdu->ePduType)) {
        DbvFreeTree(TypeOf(kind), HeldStructure(psPdu));
    }
    MemFree(psPdu);
}

int ReceiveDataOrigin(DbvAssocId lAssocId, int32_t lWaitTime, DbvReceivedPdu **ppsPdu, SIError **ppsError)
{
    UnknownPduFlag = 0;
    TraceEnter(lAssocId, "ReceiveDataOrigin");
    if (ppsError)
        *ppsError = nullptr;
    int result = SI_NOTOK;
    AssocEntry *entry = nullptr;
    unsigned char *octets = nullptr;
    uint32_t count = 0;
    PDU *pdu = nullptr;
    if (AssocLookUp(lAssocId, &entry, ppsError) == 0) {
        int32_t stateBefore = entry->protocolState;
        pdu = static_cast<PDU *>(MemAlloc(sizeof(PDU)));
        int read = pdu ? SIReadPdu(lAssocId, lWaitTime, &octets, &count, pdu, ppsError) : SI_READ_FAILED;
        if (!pdu)
            SISetError(ppsError, lAssocId, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Open,
                       "Out of memory");
        if (read == SI_READ_NOTHING)
            result = SI_OK;
        else if (read == SI_READ_DONE)
            result = Deliver(lAssocId, stateBefore, pdu, octets, count, ppsPdu, ppsError);
    }
    TraceLeave(lAssocId, "ReceiveDataOrigin", result);
    if (result != SI_OK && ppsError && *ppsError && (*ppsError)->eErrorClass == SI_Abort)
        AssocDrop(lAssocId);
    if (pdu)
        FreePDU(pdu);
    MemFree(pdu);
    MemFree(octets);
    return result;
}

} // extern "C"
