// The platform seam on Windows: each call is the Win32 call it stands for.
#include "ui/os.h"
#include "ui/strings.h"

#include <windows.h>
#include <shlwapi.h>

#include <fcntl.h>
#include <io.h>

#include <cstdio>
#include <cstring>
#include <algorithm>
#include <string>
#include <vector>

namespace {

WindowProcedure g_procedure;
HWND g_status_dialog;
// The child processes started and not yet closed: their ends wake PumpMessages.
std::vector<HANDLE> g_children;

HWND AsHwnd(WindowHandle window)
{
    return reinterpret_cast<HWND>(window);
}

LRESULT CALLBACK ClassProcedure(HWND window, UINT message, WPARAM wparam, LPARAM lparam)
{
    return g_procedure(reinterpret_cast<WindowHandle>(window), message, wparam, lparam);
}

INT_PTR CALLBACK StatusDialogProcedure(HWND, UINT message, WPARAM, LPARAM)
{
    return message == WM_INITDIALOG;
}

// Offers a message to the modeless status dialog; true if the dialog took it.
bool DialogTakes(MSG *message)
{
    return g_status_dialog && IsDialogMessageA(g_status_dialog, message);
}

struct ProcessWindowSearch {
    DWORD process_id;
    const char *class_name;
    const char *title_prefix;
    HWND found;
};

BOOL CALLBACK MatchProcessWindow(HWND window, LPARAM context)
{
    auto *search = reinterpret_cast<ProcessWindowSearch *>(context);
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    char class_name[64] = "", title[128] = "";
    GetClassNameA(window, class_name, sizeof class_name);
    GetWindowTextA(window, title, sizeof title);
    if (owner == search->process_id && std::strcmp(class_name, search->class_name) == 0 &&
        std::strncmp(title, search->title_prefix, std::strlen(search->title_prefix)) == 0) {
        search->found = window;
        return FALSE;
    }
    return TRUE;
}

struct MessageBoxSearch {
    HWND owner;
    HWND found;
    char *text;
    size_t text_size;
};

// The box's text is its static control that holds text (the icon's has none).
BOOL CALLBACK TakeStaticText(HWND child, LPARAM context)
{
    auto *search = reinterpret_cast<MessageBoxSearch *>(context);
    char class_name[16] = "";
    GetClassNameA(child, class_name, sizeof class_name);
    if (lstrcmpiA(class_name, "Static") != 0 || GetWindowTextLengthA(child) == 0)
        return TRUE;
    GetWindowTextA(child, search->text, static_cast<int>(search->text_size));
    return FALSE;
}

BOOL CALLBACK MatchMessageBox(HWND window, LPARAM context)
{
    auto *search = reinterpret_cast<MessageBoxSearch *>(context);
    char class_name[16] = "";
    GetClassNameA(window, class_name, sizeof class_name);
    // "#32770" is the class of dialog boxes; of those a message box has an
    // OK button, the status display none.
    if (std::strcmp(class_name, "#32770") != 0 || GetWindow(window, GW_OWNER) != search->owner ||
        !GetDlgItem(window, IDOK))
        return TRUE;
    search->found = window;
    search->text[0] = '\0';
    EnumChildWindows(window, TakeStaticText, context);
    return FALSE;
}

} // namespace

extern "C" {

unsigned RegisterNamedMessage(const char *name)
{
    return RegisterWindowMessageA(name);
}

int RegisterWindowClass(const char *class_name, WindowProcedure procedure)
{
    g_procedure = procedure;
    WNDCLASSA window_class = {};
    window_class.style = CS_DBLCLKS;
    window_class.lpfnWndProc = ClassProcedure;
    window_class.hInstance = GetModuleHandleA(nullptr);
    window_class.hIcon = LoadIconA(nullptr, reinterpret_cast<LPCSTR>(IDI_APPLICATION));
    window_class.hCursor = LoadCursorA(nullptr, reinterpret_cast<LPCSTR>(IDC_ARROW));
    window_class.hbrBackground = reinterpret_cast<HBRUSH>(COLOR_WINDOW + 1);
    window_class.lpszClassName = class_name;
    return RegisterClassA(&window_class) != 0;
}

WindowHandle CreateHiddenWindow(const char *class_name, const char *title)
{
    HWND window = CreateWindowExA(0, class_name, title, WS_CAPTION | WS_SYSMENU, CW_USEDEFAULT, 0,
                                  CW_USEDEFAULT, 0, nullptr, nullptr, GetModuleHandleA(nullptr), nullptr);
    return reinterpret_cast<WindowHandle>(window);
}

void SetWindowTitle(WindowHandle window, const char *title)
{
    SetWindowTextA(AsHwnd(window), title);
}

void DestroyHiddenWindow(WindowHandle window)
{
    DestroyWindow(AsHwnd(window));
}

intptr_t DefaultWindowProcedure(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam)
{
    return DefWindowProcA(AsHwnd(window), message, wparam, lparam);
}

WindowHandle FindProcessWindow(long process_id, const char *class_name, const char *title_prefix)
{
    ProcessWindowSearch search = {static_cast<DWORD>(process_id), class_name, title_prefix, nullptr};
    EnumWindows(MatchProcessWindow, reinterpret_cast<LPARAM>(&search));
    return reinterpret_cast<WindowHandle>(search.found);
}

WindowHandle FindWindowByTitle(const char *title)
{
    return reinterpret_cast<WindowHandle>(FindWindowA(nullptr, title));
}

int RunMessageLoop(void)
{
    MSG message;
    while (GetMessageA(&message, nullptr, 0, 0) > 0) {
        if (DialogTakes(&message))
            continue;
        TranslateMessage(&message);
        DispatchMessageA(&message);
    }
    return static_cast<int>(message.wParam);
}

int PumpMessages(unsigned milliseconds)
{
    DWORD deadline = GetTickCount() + milliseconds;
    for (;;) {
        bool handled = false;
        MSG message;
        while (PeekMessageA(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT)
                return 0;
            handled = true;
            if (DialogTakes(&message))
                continue;
            TranslateMessage(&message);
            DispatchMessageA(&message);
        }
        DWORD now = GetTickCount();
        if (handled || static_cast<LONG>(deadline - now) <= 0)
            return 1;
        DWORD count = static_cast<DWORD>(g_children.size());
        DWORD woken = MsgWaitForMultipleObjects(count, g_children.data(), FALSE, deadline - now, QS_ALLINPUT);
        if (woken < WAIT_OBJECT_0 + count)
            return 1; // a child ended
    }
}

void PostQuit(int code)
{
    PostQuitMessage(code);
}

int SendToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam, unsigned timeout_ms,
                 intptr_t *result)
{
    DWORD_PTR answer = 0;
    LRESULT sent = SendMessageTimeoutA(AsHwnd(window), message, wparam, lparam, SMTO_NORMAL, timeout_ms, &answer);
    if (result)
        *result = static_cast<intptr_t>(answer);
    return sent != 0;
}

int PostToWindow(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam)
{
    return PostMessageA(AsHwnd(window), message, wparam, lparam) != 0;
}

void ReplyToSender(intptr_t result)
{
    ReplyMessage(result);
}

void StartWindowTimer(WindowHandle window, unsigned id, unsigned period_ms)
{
    SetTimer(AsHwnd(window), id, period_ms, nullptr);
}

void BringWindowToFront(WindowHandle window)
{
    SetForegroundWindow(AsHwnd(window));
}

NamedMutex CreateNamedMutex(const char *name)
{
    // A null DACL lets processes of any account open the mutex by its name.
    SECURITY_DESCRIPTOR descriptor;
    InitializeSecurityDescriptor(&descriptor, SECURITY_DESCRIPTOR_REVISION);
    SetSecurityDescriptorDacl(&descriptor, TRUE, nullptr, FALSE);
    SECURITY_ATTRIBUTES attributes = {sizeof attributes, &descriptor, FALSE};
    return reinterpret_cast<NamedMutex>(CreateMutexA(&attributes, FALSE, name));
}

NamedMutex OpenNamedMutex(const char *name)
{
    return reinterpret_cast<NamedMutex>(OpenMutexA(SYNCHRONIZE | MUTEX_MODIFY_STATE, FALSE, name));
}

void WaitNamedMutex(NamedMutex mutex)
{
    WaitForSingleObject(reinterpret_cast<HANDLE>(mutex), INFINITE);
}

void ReleaseNamedMutex(NamedMutex mutex)
{
    ReleaseMutex(reinterpret_cast<HANDLE>(mutex));
}

void CloseNamedMutex(NamedMutex mutex)
{
    if (mutex)
        CloseHandle(reinterpret_cast<HANDLE>(mutex));
}

int CreateStatusDisplay(WindowHandle owner)
{
    HINSTANCE instance = GetModuleHandleA(nullptr);
    HRSRC resource = FindResourceA(instance, STATUS_DIALOG_NAME, reinterpret_cast<LPCSTR>(RT_DIALOG));
    HGLOBAL loaded = resource ? LoadResource(instance, resource) : nullptr;
    auto *dialog_template = loaded ? static_cast<LPCDLGTEMPLATEA>(LockResource(loaded)) : nullptr;
    if (!dialog_template)
        return 0;
    g_status_dialog = CreateDialogIndirectParamA(instance, dialog_template, AsHwnd(owner), StatusDialogProcedure, 0);
    if (!g_status_dialog)
        return 0;
    ShowWindow(g_status_dialog, SW_SHOWNA);
    return 1;
}

size_t GetStatusDisplayText(char *out, size_t size)
{
    if (!g_status_dialog || size == 0) {
        if (size)
            out[0] = '\0';
        return 0;
    }
    return GetDlgItemTextA(g_status_dialog, IDC_STATUS_TEXT, out, static_cast<int>(size));
}

void SetStatusDisplayText(const char *text)
{
    if (!g_status_dialog)
        return;
    SetDlgItemTextA(g_status_dialog, IDC_STATUS_TEXT, text);
    UpdateWindow(g_status_dialog);
}

void PublishStatusDisplay(void)
{
}

int ShowMessageBox(WindowHandle owner, const char *caption, const char *text, unsigned flags)
{
    return MessageBoxA(AsHwnd(owner), text, caption, flags);
}

WindowHandle FindMessageBox(WindowHandle owner, char *caption, size_t caption_size, char *text, size_t text_size)
{
    MessageBoxSearch search = {AsHwnd(owner), nullptr, text, text_size};
    EnumWindows(MatchMessageBox, reinterpret_cast<LPARAM>(&search));
    if (search.found)
        GetWindowTextA(search.found, caption, static_cast<int>(caption_size));
    return reinterpret_cast<WindowHandle>(search.found);
}

void DismissMessageBox(WindowHandle box)
{
    PostMessageA(AsHwnd(box), WM_COMMAND, MAKEWPARAM(IDOK, BN_CLICKED), 0);
}

int LoadResourceString(unsigned id, char *out, size_t size)
{
    return LoadStringA(GetModuleHandleA(nullptr), id, out, static_cast<int>(size));
}

void SystemTempDirectory(char *out, size_t size)
{
    if (GetTempPathA(static_cast<DWORD>(size), out) == 0 && size)
        out[0] = '\0';
    AddPathSeparator(out, size);
}

void AddPathSeparator(char *path, size_t size)
{
    size_t length = std::strlen(path);
    if (length + 2 <= size && (length == 0 || path[length - 1] != '\\'))
        PathAddBackslashA(path);
}

void DeleteFileIfExists(const char *path)
{
    DeleteFileA(path);
}

long CurrentProcessId(void)
{
    return static_cast<long>(GetCurrentProcessId());
}

int ConnectsWithoutTimeLimit(void)
{
    OSVERSIONINFOA version = {};
    version.dwOSVersionInfoSize = sizeof version;
    return GetVersionExA(&version) && version.dwPlatformId == VER_PLATFORM_WIN32_NT;
}

const char *ProgramCommandLine(int, char **)
{
    const char *text = GetCommandLineA();
    if (*text == '"') {
        const char *end = std::strchr(text + 1, '"');
        text = end ? end + 1 : text + std::strlen(text);
    }
    while (*text && *text != ' ' && *text != '\t')
        ++text;
    while (*text == ' ' || *text == '\t')
        ++text;
    return text;
}

ChildProcess StartChildProcess(const char *program, const char *argument, long *process_id)
{
    std::string command_line = std::string("\"") + program + "\"";
    if (argument && *argument)
        command_line += std::string(" ") + argument;
    STARTUPINFOA startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    if (!CreateProcessA(program, &command_line[0], nullptr, nullptr, FALSE, 0, nullptr, nullptr, &startup, &process))
        return 0;
    CloseHandle(process.hThread);
    g_children.push_back(process.hProcess);
    *process_id = static_cast<long>(process.dwProcessId);
    return reinterpret_cast<ChildProcess>(process.hProcess);
}

int WaitChildProcess(ChildProcess child, unsigned timeout_ms)
{
    return WaitForSingleObject(reinterpret_cast<HANDLE>(child), timeout_ms) == WAIT_OBJECT_0;
}

void CloseChildProcess(ChildProcess child)
{
    if (!child)
        return;
    HANDLE process = reinterpret_cast<HANDLE>(child);
    g_children.erase(std::remove(g_children.begin(), g_children.end(), process), g_children.end());
    CloseHandle(process);
}

void SleepMilliseconds(unsigned milliseconds)
{
    Sleep(milliseconds);
}

void UseBinaryStandardOutput(void)
{
    _setmode(_fileno(stdout), _O_BINARY);
}

} // extern "C"
