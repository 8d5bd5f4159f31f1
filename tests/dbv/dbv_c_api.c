/* The public headers compiled as C: a request built and copied, and an
 * error structure filled, from C. */
#include "dbv/dbvproto.h"

int DbvCopyFromC(void)
{
    DbvSearchReq request = {0};
    DbvSearchReq *copy;
    SIAbortInfo abort = {0, 0, 0};
    SIError error;
    DbvTargetInformation target = {OIA_Internet, {0, 210}};
    int same;
    error.eErrorClass = SI_Abort;
    error.uErrorCode.psAbort = &abort;
    request.fReplaceIndicator = DBV_TRUE;
    request.sResultSetName.ulLength = 7;
    request.sResultSetName.pbData = (unsigned char *)"default";
    copy = DbvCopySearchReq(&request);
    same = copy && DbvTreeEqual(&DbvDesc_SearchReq, &request, copy) && copy->sResultSetName.pbData != request.sResultSetName.pbData;
    DbvFreeSearchReq(copy);
    return same && error.uErrorCode.psAbort == &abort && target.sInternet.lPort == 210 && DBV_OE_TRIGRESCNTREQ == 35;
}
