// Records whose content is already text: SUTRS, the Summary record's title
// and the octets of arbitrary bits.
#include "dbv/dbv_build.h"
#include "render/render.h"

namespace {

// Writes the text with status 0 when the record had one, else status 1
// with the record kind's complaint.
void WriteTextOrInvalid(long position, bool present, const std::string &text, const char *invalid)
{
    if (present)
        WriteRecordLine(position, 0, text.c_str());
    else
        WriteRecordLine(position, 1, invalid);
}

} // namespace

void RenderSutrsRecord(const DbvExternal *record, long position)
{
    const DbvSingleASN1Type *value = SingleValueOf(record, AT_UnstructuredText);
    const DbvOctetString *text = value ? value->uASN1.psUnstructuredText : nullptr;
    WriteTextOrInvalid(position, text != nullptr, dbv::TextOf(text), "Invalid SUTRS record data");
}

void RenderSummaryRecord(const DbvExternal *record, long position)
{
    const DbvSingleASN1Type *value = SingleValueOf(record, AT_SummaryRecord);
    const DbvBriefBib *summary = value ? value->uASN1.psSummaryRecord : nullptr;
    std::string text = summary ? "Title:\n" + dbv::TextOf(&summary->sTitle) : std::string();
    WriteTextOrInvalid(position, summary != nullptr, text, "Invalid SUMMARY record data");
}

void RenderArbitraryRecord(const DbvExternal *record, long position)
{
    const DbvOctetString *bits =
        record && record->eValueType == EVT_Arbitrary ? record->uExternalValue.psArbitrary : nullptr;
    WriteTextOrInvalid(position, bits != nullptr, dbv::TextOf(bits), "Invalid ARBITRARY record data");
}
