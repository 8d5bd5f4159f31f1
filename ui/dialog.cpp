#include "ui/dialog.h"

#include <cstring>

extern "C" int ResourceMessage(WindowHandle owner, unsigned string_id, const char *extra, unsigned flags)
{
    const size_t kLimit = 200;
    char text[kLimit + 1] = "";
    if (string_id != 0 && LoadResourceString(string_id, text, sizeof text) == 0) {
        ShowMessageBox(owner, "Cannot load string.", BOX_SYSTEM_MODAL | BOX_ICON_STOP);
        return 0;
    }
    if (extra && std::strlen(text) + std::strlen(extra) + 1 < kLimit + 1) {
        std::strcat(text, " ");
        std::strcat(text, extra);
    }
    return ShowMessageBox(owner, text, flags);
}
