/* The origin state machine: every request an origin sends and every PDU
 * it receives is an event that either moves the association to its next
 * state or is refused. */
#ifndef KESTRA_ASSOC_STATE_MACHINE_H
#define KESTRA_ASSOC_STATE_MACHINE_H

#include "assoc/si_api.h"

/* Feeds the event to the association's machine: 0 when accepted, 1 when
 * refused, with code 80 ("Event %s is invalid for state %s", state kept)
 * or code 81 ("Incoming event %s is an error for state %s", the
 * association then in DBV_OS_ERROR) or the lookup error in the slot. */
int FeedOriginEvent(DbvAssocId assocId, int32_t event, SIError **slot);

/* The names the trace and the messages print; "" for a number outside the
 * tables. */
const char *OriginStateName(int32_t state);
const char *OriginEventName(int32_t event);

/* Both switches start on. With state checking off every event is accepted
 * and nothing changes; with resource-control handling off a received
 * resource-control request is accepted without a change. */
void SetStateChecking(int on);
void SetResourceControlHandling(int on);

#endif
