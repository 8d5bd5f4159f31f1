#include "ui/dialog.h"

#include <cstring>
#include <string>
#include <vector>

extern "C" int ResourceMessage(WindowHandle owner, unsigned string_id, const char *extra, unsigned flags)
{
    const size_t kLimit = 200;
    char text[kLimit + 1] = "";
    if (string_id != 0 && LoadResourceString(string_id, text, sizeof text) == 0) {
        ShowMessageBox(owner, "Tellan", "Cannot load string.", BOX_SYSTEM_MODAL | BOX_ICON_STOP);
        return 0;
    }
    if (extra && std::strlen(text) + std::strlen(extra) + 1 < kLimit + 1) {
        std::strcat(text, " ");
        std::strcat(text, extra);
    }
    return ShowMessageBox(owner, "Tellan", text, flags);
}

extern "C" void PrependStatusLine(const char *text)
{
    // The newest line goes on top; the oldest fall off past 32,000 bytes.
    const size_t limit = kStatusDisplayLimit - 1;
    std::string line = std::string(text) + "\n";
    if (line.size() > limit)
        line.resize(limit);
    size_t room = limit - line.size();
    std::vector<char> earlier(room + 1);
    GetStatusDisplayText(earlier.data(), room);
    SetStatusDisplayText((line + earlier.data()).c_str());
}
