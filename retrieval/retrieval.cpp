// Searching and retrieval: Search, Present and Scan.
#include "service/operations.h"

bool HandleSearch()
{
    return RefuseUnavailable("SEARCH", 2000);
}

bool HandlePresent()
{
    return RefuseUnavailable("PRESENT", 3000);
}

bool HandleScan()
{
    return RefuseUnavailable("SCAN", 4002);
}
