#include "diag/api_log.h"

#include <fcntl.h>
#ifdef _WIN32
#include <io.h>
#else
#include <unistd.h>
#endif

#include <cstdarg>
#include <cstdio>

#include "ui/os.h"

namespace {

const char *const kClassNames[] = {"SI_Communication_Error", "SI_Interface_Error", "SI_OperatingSystem_Error",
                                   "SI_Abort"};
const char *const kStateNames[] = {"Association_Open", "Association_Closed", "Association_Unknown_State"};
const unsigned kPieceLimit = 5000;

// Each piece of a record is formatted on its own and written with one write.
void WritePiece(int fd, const char *format, ...) __attribute__((format(printf, 2, 3)));
void WritePiece(int fd, const char *format, ...)
{
    char piece[kPieceLimit + 1];
    va_list args;
    va_start(args, format);
    int n = std::vsnprintf(piece, sizeof piece, format, args);
    va_end(args);
    if (n < 0)
        return;
    unsigned length = static_cast<unsigned>(n) < kPieceLimit ? static_cast<unsigned>(n) : kPieceLimit;
    if (write(fd, piece, length) < 0)
        return; // the log never disturbs the operation in progress
}

} // namespace

extern "C" {

const char *ErrorClassName(int32_t errorClass)
{
    return errorClass >= 0 && errorClass < 4 ? kClassNames[errorClass] : "";
}

const char *AssociationStateName(int32_t state)
{
    return state >= 0 && state < 3 ? kStateNames[state] : "";
}

void LogApiError(const SIError *error, const char *text)
{
    int fd = open(API_LOG_PATH, O_WRONLY);
    if (fd < 0)
        return;
    WritePiece(fd, "Vantor Norbel for Windows LogFile ProcessId: %d produced the following error\n",
               static_cast<int>(CurrentProcessId()));
    WritePiece(fd, "\teErrorClass == ");
    if (error->eErrorClass == SI_Abort) {
        const SIAbortInfo *abort = error->uErrorCode.psAbort;
        WritePiece(fd, "SI_Abort\n");
        WritePiece(fd, "\tuErrorCode.psAbort->eAbortSource == %d\n", static_cast<int>(abort->eAbortSource));
        WritePiece(fd, "\tuErrorCode.psAbort->lAbortReason == %d\n", static_cast<int>(abort->lAbortReason));
        WritePiece(fd, "\tuErrorCode.psAbort->pcDiagnostics == %s\n",
                   abort->pcDiagnostics ? abort->pcDiagnostics : "");
    } else {
        WritePiece(fd, "%s\n", ErrorClassName(error->eErrorClass));
        WritePiece(fd, "\tuErrorCode.lIfOsCoError == %d\n", static_cast<int>(error->uErrorCode.lIfOsCoError));
        if (text) {
            WritePiece(fd, "%s", text);
            WritePiece(fd, "\n");
        }
    }
    WritePiece(fd, "eAssociationState == %s\n", AssociationStateName(error->eAssociationState));
    WritePiece(fd, "\n");
    close(fd);
}

void InvalidPduPath(char *out, unsigned size)
{
    std::snprintf(out, size, "%s%s%.8d", ".", "/Inv_Pdu.", static_cast<int>(CurrentProcessId()));
}

int DumpInvalidPdu(const unsigned char *octets, uint32_t count)
{
    char path[64];
    InvalidPduPath(path, sizeof path);
    FILE *file = std::fopen(path, "a");
    if (!file) {
        std::fprintf(stderr, "couldnt open invalid pdu file diagnostic file\n");
        return -1;
    }
    std::fputs("Invalid PDU:\n", file);
    std::fputs("Hex: ", file);
    if (count == 0 || !octets) {
        std::fputs("NULL \n", file);
    } else {
        for (uint32_t i = 0; i < count; i++)
            std::fprintf(file, "%02x", octets[i]);
        std::fputs("\n", file);
    }
    std::fclose(file);
    return 1;
}

} // extern "C"
