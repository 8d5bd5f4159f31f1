/* Symbolic target names, resolved through "./target_names.tbl": entries of
 * three String tokens (name, host, port), read afresh on every look-up. */
#ifndef KESTRA_ASSOC_TARGET_NAMES_H
#define KESTRA_ASSOC_TARGET_NAMES_H

#include "assoc/si_api.h"

#define TARGET_NAMES_PATH "./target_names.tbl"

/* 0 with a new Internet description in *target (released with
 * SIFreeTargetInformation), else 1 with error 110 (no file), 100 (format)
 * or 102 (no entry) in the slot. Every token is compared as a name in
 * turn, so a name that appears as some entry's host or port matches too,
 * and the two tokens after it are taken as host and port. */
int LookUpTargetName(const char *name, DbvTargetInformation **target, SIError **slot);

#endif
