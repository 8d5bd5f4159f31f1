/* The public headers compiled as C: a request built and copied from C. */
#include "dbv/dbvproto.h"

int DbvCopyFromC(void)
{
    DbvSearchReq request = {0};
    DbvSearchReq *copy;
    int same;
    request.fReplaceIndicator = DBV_TRUE;
    request.sResultSetName.ulLength = 7;
    request.sResultSetName.pbData = (unsigned char *)"default";
    copy = DbvCopySearchReq(&request);
    same = copy && DbvTreeEqual(&DbvDesc_SearchReq, &request, copy) && copy->sResultSetName.pbData != request.sResultSetName.pbData;
    DbvFreeSearchReq(copy);
    return same;
}
