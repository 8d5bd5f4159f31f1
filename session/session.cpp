// Session control: opening and ending the Z39.50 session.
#include "service/operations.h"

bool HandleInitialize()
{
    return RefuseUnavailable("INITIALIZE", 1000);
}

bool HandleClose()
{
    return RefuseUnavailable("CLOSE", 6000);
}

bool SessionAssociationOpen()
{
    return false;
}
