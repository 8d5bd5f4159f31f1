/* The program-wide allocator: every block comes zero-filled, a request for
 * zero bytes gets one byte, and a grown block's new part is zeroed too.
 * Allocation failures are not reported: the null address comes back. */
#ifndef KESTRA_UI_MEM_H
#define KESTRA_UI_MEM_H

#include <stddef.h>

#ifdef __cplusplus
extern "C" {
#endif

void *MemAlloc(size_t size);
void *MemRealloc(void *block, size_t size);
void MemFree(void *block);

/* Returns a copy of text in a block of this allocator, or NULL when memory
 * runs out. */
char *CopyText(const char *text);

#ifdef __cplusplus
}
#endif

#endif
