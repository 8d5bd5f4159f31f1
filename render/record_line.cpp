// The record line every renderer writes, and the typed value of a record.
#include "service/exchange/exchange.h"
#include "render/render.h"

void WriteRecordLine(long position, long status, const char *text)
{
    AppendInteger(position);
    AppendInteger(status);
    AppendField(text);
    FlushResponse();
}

const DbvSingleASN1Type *SingleValueOf(const DbvExternal *record, int asn1_type)
{
    if (!record || record->eValueType != EVT_SingleASN1Type)
        return nullptr;
    const DbvSingleASN1Type *value = record->uExternalValue.psSingleASN1Type;
    return value && value->eASN1Type == asn1_type ? value : nullptr;
}
