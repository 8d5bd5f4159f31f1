// StackUsedBy of the test kit: a thread with the stack that Windows gives a
// program's main thread, painted first where POSIX lets the caller provide it.
#include "tests/dbv/dbv_testkit.h"

#include <cstdlib>
#include <cstring>

#ifdef _WIN32
#define WIN32_LEAN_AND_MEAN
#include <windows.h>
#else
#include <pthread.h>
#endif

namespace {

struct StackJob {
    void (*walk)(void *);
    void *arg;
};

const size_t kThreadStack = 1 << 20;

#ifdef _WIN32
DWORD WINAPI RunJob(LPVOID job)
#else
void *RunJob(void *job)
#endif
{
    static_cast<StackJob *>(job)->walk(static_cast<StackJob *>(job)->arg);
    return 0;
}

} // namespace

size_t StackUsedBy(void (*walk)(void *), void *arg)
{
    StackJob job = {walk, arg};
#ifdef _WIN32
    HANDLE thread = CreateThread(nullptr, kThreadStack, RunJob, &job, STACK_SIZE_PARAM_IS_A_RESERVATION, nullptr);
    WaitForSingleObject(thread, INFINITE);
    CloseHandle(thread);
    return 0;
#else
    // What the walk left unpainted below the top is what it used (the
    // thread's own start-up included).
    const unsigned char kPaint = 0xA5;
    void *stack = nullptr;
    if (posix_memalign(&stack, 1 << 16, kThreadStack) != 0)
        return 0;
    std::memset(stack, kPaint, kThreadStack);
    pthread_attr_t attributes;
    pthread_attr_init(&attributes);
    pthread_attr_setstack(&attributes, stack, kThreadStack);
    pthread_t thread;
    pthread_create(&thread, &attributes, RunJob, &job);
    pthread_join(thread, nullptr);
    pthread_attr_destroy(&attributes);
    const unsigned char *low = static_cast<const unsigned char *>(stack);
    size_t untouched = 0;
    while (untouched < kThreadStack && low[untouched] == kPaint)
        untouched++;
    std::free(stack);
    return kThreadStack - untouched;
#endif
}
