/* The protocol toolkit's chief header: everything an application of the
 * toolkit needs, usable from C and C++. */
#ifndef KESTRA_DBV_DBVPROTO_H
#define KESTRA_DBV_DBVPROTO_H

#include "assoc/si_api.h"
#include "dbv_types.h"
#include "oid_names.h"
#include "dbv/dbv_check.h"
#include "dbv/dbv_request.h"

#endif
