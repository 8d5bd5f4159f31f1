#include "assoc/target_names.h"

#include <cstdlib>

#include "assoc/errors.h"
#include "ui/mem.h"
#include "ui/table_reader.h"

namespace {

// Not tied to an association: no trace receives these errors.
const DbvAssocId kNoAssociation = -1;

void SetFormatError(SIError **slot, const char *read)
{
    SISetError(slot, kNoAssociation, SI_Interface_Error, SI_ERR_NAMES_FORMAT, Association_Closed,
               "File format error: Expected %s, read %s", "String", read);
}

// Reads one String token; a token of another kind or the end of the table
// is a format error.
bool ReadString(TableReader *reader, TableToken *token, SIError **slot)
{
    const char *read = "Nothing";
    if (TableNextToken(reader, token)) {
        if (token->kind == TOKEN_STRING)
            return true;
        read = TableTokenKindName(token->kind);
    }
    SetFormatError(slot, read);
    return false;
}

} // namespace

extern "C" void SIFreeTargetInformation(DbvTargetInformation *psTarget)
{
    if (!psTarget)
        return;
    MemFree(psTarget->sInternet.pcHostName);
    MemFree(psTarget);
}

int LookUpTargetName(const char *name, DbvTargetInformation **target, SIError **slot)
{
    TableReader reader;
    if (!TableOpen(TARGET_NAMES_PATH, &reader)) {
        SISetError(slot, kNoAssociation, SI_Interface_Error, SI_ERR_NAMES_NO_FILE, Association_Closed,
                   "The file %s could not be opened", TARGET_NAMES_PATH);
        return 1;
    }
    TableToken token;
    while (TableNextToken(&reader, &token)) {
        if (token.kind != TOKEN_STRING) {
            SetFormatError(slot, TableTokenKindName(token.kind));
            return 1;
        }
        if (token.text != name)
            continue;
        TableToken host;
        TableToken port;
        if (!ReadString(&reader, &host, slot) || !ReadString(&reader, &port, slot))
            return 1;
        DbvTargetInformation *found = static_cast<DbvTargetInformation *>(MemAlloc(sizeof(DbvTargetInformation)));
        char *hostName = CopyText(host.text.c_str());
        if (!found || !hostName) {
            MemFree(found);
            MemFree(hostName);
            SISetError(slot, kNoAssociation, SI_Interface_Error, SI_ERR_OUT_OF_MEMORY, Association_Closed,
                       "Out of memory");
            return 1;
        }
        found->eOsiOrInternetAddress = OIA_Internet;
        found->sInternet.pcHostName = hostName;
        found->sInternet.lPort = static_cast<int32_t>(std::atol(port.text.c_str()));
        *target = found;
        return 0;
    }
    SISetError(slot, kNoAssociation, SI_Interface_Error, SI_ERR_NAMES_NO_ENTRY, Association_Closed,
               "The entry %s is not in the name file/The format is not correct", name);
    return 1;
}
