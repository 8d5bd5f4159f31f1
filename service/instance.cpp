// The process: its instance window "Tellan:%ld", the instance mutex, the
// status dialog, the message loop, the idle shut-down and the exit.
#include "service/service.h"
#include "session/session.h"
#include "ui/dialog.h"
#include "ui/strings.h"

#include <cstdio>
#include <cstring>

namespace {

void SetUpInstance(WindowHandle window, const char *command_line)
{
    g_exchange.instance_window = window;
    char name[32];
    std::snprintf(name, sizeof name, "Tellan:%ld", WindowNumber(window));
    // The distributor finds the window by this title and opens the mutex by this name.
    g_service.instance_mutex = CreateNamedMutex(name);
    SetWindowTitle(window, name);
    g_service.last_activity = std::time(nullptr);
    StartWindowTimer(window, 0, 5000);
    ClearStatus();
    g_exchange.response_text.clear();
    std::memset(g_service.request_queue, 0, sizeof g_service.request_queue);
    g_service.session_state = SESSION_NONE;
    if (!*command_line)
        return;
    if (!QueueRequestText(command_line)) {
        ShowStatus("Command-line request does not fit the request queue: not run");
        return;
    }
    ProcessRequests();
}

void EndIfIdle(WindowHandle window)
{
    if (std::difftime(std::time(nullptr), g_service.last_activity) > g_exchange.session_timeout)
        DestroyHiddenWindow(window);
}

intptr_t InstanceWindowProcedure(WindowHandle window, unsigned message, uintptr_t wparam, intptr_t lparam)
{
    switch (message) {
    case MSG_SUBMIT_REQUEST:
        WaitNamedMutex(g_service.instance_mutex);
        SubmitRequest(static_cast<WindowHandle>(wparam), lparam);
        ReleaseNamedMutex(g_service.instance_mutex);
        break;
    case MSG_PROCESS_REQUESTS:
        ProcessRequests();
        break;
    case MSG_QUERY_STATE:
        PublishStatusDisplay(); // a reader of the status display asks first
        ReplyToSender(g_service.session_state);
        break;
    case OS_MSG_DESTROY:
        PostQuit(0);
        break;
    case OS_MSG_COMMAND: // no application commands: treated as a timer tick
    case OS_MSG_TIMER:
        EndIfIdle(window);
        break;
    case OS_MSG_CREATE:
        g_exchange.instance_window = window;
        if (!CreateStatusDisplay(window))
            ResourceMessage(window, IDS_CANNOT_CREATE_DIALOG, STATUS_DIALOG_NAME, BOX_ICON_STOP);
        return 0;
    default:
        break;
    }
    return DefaultWindowProcedure(window, message, wparam, lparam);
}

} // namespace

int main(int argc, char **argv)
{
    g_service.toolbar_message = RegisterNamedMessage("BLDToolbarMessage");
    g_service.help_message = RegisterNamedMessage("BLDHelpMessage");
    SystemTempDirectory(g_exchange.temp_directory, sizeof g_exchange.temp_directory);
    if (!RegisterWindowClass("BLDGENERIC", InstanceWindowProcedure))
        return 0;
    WindowHandle window = CreateHiddenWindow("BLDGENERIC", "Tellan");
    if (!window)
        return 0;
    SetUpInstance(window, ProgramCommandLine(argc, argv));
    int exit_code = RunMessageLoop();
    ReleaseSession();
    CloseResponseFile();
    DeleteFileIfExists(ResponseFileName().c_str());
    ReleaseNamedMutex(g_service.instance_mutex);
    CloseNamedMutex(g_service.instance_mutex);
    return exit_code;
}
