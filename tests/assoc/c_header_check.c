/* Compiled as C: the association layer's public header as a C program sees it. */
#include "dbv/si_api.h"

int CHeaderCheck(void)
{
    SIAbortInfo abort = {0, 0, 0};
    SIError error;
    DbvTargetInformation target = {OIA_Internet, {0, 210}};
    error.eErrorClass = SI_Abort;
    error.uErrorCode.psAbort = &abort;
    error.pcDiagnostics = 0;
    error.eAssociationState = Association_Closed;
    return error.eErrorClass == SI_Abort && target.sInternet.lPort == 210 && DBV_OE_TRIGRESCNTREQ == 35 &&
                   DBV_OS_TRIGRESCNT_SENT == 20
               ? SI_OK
               : SI_NOTOK;
}
