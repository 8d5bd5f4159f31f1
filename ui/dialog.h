/* Dialog support: message boxes from the program's string table. */
#ifndef KESTRA_UI_DIALOG_H
#define KESTRA_UI_DIALOG_H

#include "ui/os.h"

#ifdef __cplusplus
extern "C" {
#endif

/* Message-box flags used by the program (the Win32 values). */
enum { BOX_ICON_STOP = 0x10, BOX_SYSTEM_MODAL = 0x1000 };

/* Shows string `string_id` of the string table, followed by a blank and
 * `extra` when both fit in 200 characters, in a box captioned "Tellan".
 * Returns the box's result, or 0 when the string cannot be loaded. */
int ResourceMessage(WindowHandle owner, unsigned string_id, const char *extra, unsigned flags);

/* The status display holds at most this many bytes. */
enum { kStatusDisplayLimit = 32000 };

/* Puts a line on top of the status display; the oldest lines fall off the end. */
void PrependStatusLine(const char *text);

#ifdef __cplusplus
}
#endif

#endif
