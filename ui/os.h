/* The platform seam: windows and their messages, the timer, the named
 * mutex, the status display, message boxes, temporary directory and child
 * processes. Windows builds map each call onto the Win32 API; POSIX builds
 * keep the same contract with sockets and lock files (see docs/posix-contract.md). */
#ifndef KESTRA_UI_OS_H
#define KESTRA_UI_OS_H

#include <stddef.h>
#include <stdint.h>

#ifdef __cplusplus
extern "C" {
#endif

/* A window: the HWND on Windows, a number unique among running instances on POSIX. */
typedef intptr_t WindowHandle;
typedef intptr_t (*WindowProcedure)(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam);

/* Message numbers shared by both platforms (the Win32 values). */
enum {
    OS_MSG_CREATE = 0x0001,
    OS_MSG_DESTROY = 0x0002,
    OS_MSG_COMMAND = 0x0111,
    OS_MSG_TIMER = 0x0113,
    OS_MSG_USER = 0x0400
};

/* The window number as the program prints it: "%ld" in titles, "%08X" in
 * file names. Window handles are 32-bit values on both Windows targets. */
static inline long WindowNumber(WindowHandle window)
{
    return (long)window;
}

static inline WindowHandle WindowFromNumber(long number)
{
    return (WindowHandle)number;
}

unsigned RegisterNamedMessage(const char *name);
int RegisterWindowClass(const char *class_name, WindowProcedure procedure);
WindowHandle CreateHiddenWindow(const char *class_name, const char *title);
void SetWindowTitle(WindowHandle window, const char *title);
void DestroyHiddenWindow(WindowHandle window);
intptr_t DefaultWindowProcedure(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam);

/* Finds the window of the given class whose title starts with the prefix and
 * that belongs to the process; 0 when there is none. */
WindowHandle FindProcessWindow(long process_id, const char *class_name, const char *title_prefix);
/* The window with exactly this title; 0 when there is none. */
WindowHandle FindWindowByTitle(const char *title);

/* Runs the message loop until PostQuit; returns the quit code. */
int RunMessageLoop(void);
/* Waits at most the given time for a message or for a child process (see
 * StartChildProcess) to end, handles the messages that have arrived, and
 * returns as soon as it has handled one or a child has ended: 0 once quit
 * was posted, else 1. */
int PumpMessages(unsigned milliseconds);
void PostQuit(int code);

int SendToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam,
                 unsigned timeout_ms, intptr_t *result);
int PostToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam);
/* Answers the sending call of the message being handled. */
void ReplyToSender(intptr_t result);
void StartWindowTimer(WindowHandle window, unsigned id, unsigned period_ms);
void BringWindowToFront(WindowHandle window);

/* The named mutex, openable from any account; a null handle makes waits return at once. */
typedef intptr_t NamedMutex;
NamedMutex CreateNamedMutex(const char *name);
NamedMutex OpenNamedMutex(const char *name);
void WaitNamedMutex(NamedMutex mutex);
void ReleaseNamedMutex(NamedMutex mutex);
void CloseNamedMutex(NamedMutex mutex);

/* The status display: the modeless dialog "MYDLG" with its edit control 100. */
int CreateStatusDisplay(WindowHandle owner);
size_t GetStatusDisplayText(char *out, size_t size);
void SetStatusDisplayText(const char *text);
/* Shows the display's latest text to other processes at once. On POSIX the
 * text otherwise reaches its file within a quarter of a second of a change
 * (docs/posix-contract.md); on Windows the dialog always shows it. */
void PublishStatusDisplay(void);

/* A modal message box; returns the box result. On POSIX the text goes to
 * standard error as "<caption>: <text>" and onto the status display, and the
 * program goes on as if OK had been pressed. */
int ShowMessageBox(WindowHandle owner, const char *caption, const char *text, unsigned flags);
/* A message box that a window owns and that is open: fills its caption and
 * text and returns it; 0 when there is none (always so on POSIX, where
 * boxes never stay open). */
WindowHandle FindMessageBox(WindowHandle owner, char *caption, size_t caption_size, char *text, size_t text_size);
/* Closes a message box as if its OK button had been pressed. */
void DismissMessageBox(WindowHandle box);
/* Loads a string of the program's string table; 0 when there is none. */
int LoadResourceString(unsigned id, char *out, size_t size);

/* The system temporary directory with its final separator. */
void SystemTempDirectory(char *out, size_t size);
/* Appends the directory separator unless the path already ends with one. */
void AddPathSeparator(char *path, size_t size);
void DeleteFileIfExists(const char *path);
long CurrentProcessId(void);
/* True on the Windows NT family, where connects are made without a time limit. */
int ConnectsWithoutTimeLimit(void);
/* The command line after the program's own name, as one text. */
const char *ProgramCommandLine(int argc, char **argv);

/* Child processes (the distributor's side). */
typedef intptr_t ChildProcess;
ChildProcess StartChildProcess(const char *program, const char *argument, long *process_id);
/* Waits up to the time given; returns 1 if the process has ended. */
int WaitChildProcess(ChildProcess child, unsigned timeout_ms);
void CloseChildProcess(ChildProcess child);

void SleepMilliseconds(unsigned milliseconds);
/* Standard output without line-end translation. */
void UseBinaryStandardOutput(void);

#ifdef __cplusplus
}
#endif

#endif
