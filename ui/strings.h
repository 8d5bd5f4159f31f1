/* The program's string table: shared by the Windows resource script and the
 * POSIX build, so both show the same texts. */
#ifndef KESTRA_UI_STRINGS_H
#define KESTRA_UI_STRINGS_H

#define IDS_CANNOT_RUN 4000
#define IDS_CANNOT_CREATE_DIALOG 4001
#define IDS_CANNOT_LOAD_MENU 4002
#define IDS_CANNOT_LOAD_ICON 4003
#define IDS_CANNOT_LOAD_BITMAP 4004
#define IDS_CANNOT_CREATE_WINDOW 4005

#define TEXT_CANNOT_RUN "Cannot run "
#define TEXT_CANNOT_CREATE_DIALOG "Cannot create dialog box "
#define TEXT_CANNOT_LOAD_MENU "Cannot load menu "
#define TEXT_CANNOT_LOAD_ICON "Cannot load icon "
#define TEXT_CANNOT_LOAD_BITMAP "Cannot load bitmap "
#define TEXT_CANNOT_CREATE_WINDOW "Cannot create window "

/* The status dialog and its edit control. */
#define STATUS_DIALOG_NAME "MYDLG"
#define IDC_STATUS_TEXT 100

#endif
