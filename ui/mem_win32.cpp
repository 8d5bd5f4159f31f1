// Moveable, zero-initialised global memory, locked for the block's whole life.
#include "ui/mem.h"

#include <windows.h>

static const UINT kMemFlags = GMEM_MOVEABLE | GMEM_ZEROINIT;

extern "C" void *MemAlloc(size_t size)
{
    HGLOBAL handle = GlobalAlloc(kMemFlags, size ? size : 1);
    return handle ? GlobalLock(handle) : nullptr;
}

extern "C" void *MemRealloc(void *block, size_t size)
{
    if (!block)
        return MemAlloc(size);
    HGLOBAL handle = GlobalHandle(block);
    GlobalUnlock(handle);
    HGLOBAL grown = GlobalReAlloc(handle, size ? size : 1, kMemFlags);
    if (!grown) {
        GlobalLock(handle);
        return nullptr;
    }
    return GlobalLock(grown);
}

extern "C" void MemFree(void *block)
{
    if (!block)
        return;
    HGLOBAL handle = GlobalHandle(block);
    GlobalUnlock(handle);
    GlobalFree(handle);
}
