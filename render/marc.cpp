// OPAC records as MARC: the bibliographic record as received, plus one
// "937" field per copy carrying the holdings and circulation data, so that
// a caller that understands only MARC sees the holdings too.
#include "dbv/dbv_build.h"
#include "render/iso2709.h"
#include "render/render.h"

#include <algorithm>
#include <cstdio>

namespace {

const char kHoldingsTag[] = "937";

template <typename Record> struct TextSubfield {
    char code;
    DbvOctetString *Record::*value;
};

struct FlagSubfield {
    char code;
    int DbvCircRecord::*value;
};

// The holdings subfields: codes in the alphabetical order of the field names.
const TextSubfield<DbvHoldingsAndCircData> kHoldingsSubfields[] = {
    {'a', &DbvHoldingsAndCircData::psCallNumber},       {'b', &DbvHoldingsAndCircData::psCompleteness},
    {'c', &DbvHoldingsAndCircData::psCopyNumber},       {'d', &DbvHoldingsAndCircData::psDateOfReport},
    {'e', &DbvHoldingsAndCircData::psEncodingLevel},    {'f', &DbvHoldingsAndCircData::psEnumAndChron},
    {'g', &DbvHoldingsAndCircData::psFormat},           {'h', &DbvHoldingsAndCircData::psGeneralRetention},
    {'i', &DbvHoldingsAndCircData::psLocalLocation},    {'j', &DbvHoldingsAndCircData::psNucCode},
    {'k', &DbvHoldingsAndCircData::psPublicNote},       {'l', &DbvHoldingsAndCircData::psReceiptAcqStatus},
    {'m', &DbvHoldingsAndCircData::psReproductionNote}, {'n', &DbvHoldingsAndCircData::psShelvingData},
    {'o', &DbvHoldingsAndCircData::psShelvingLocation}, {'p', &DbvHoldingsAndCircData::psTermsUseRepro},
    {'q', &DbvHoldingsAndCircData::psTypeOfRecord},
};

// The circulation subfields of one copy; its enumeration and chronology
// is not written.
const TextSubfield<DbvCircRecord> kCirculationSubfields[] = {
    {'r', &DbvCircRecord::psAvailablityDate}, {'s', &DbvCircRecord::psAvailableThru},
    {'t', &DbvCircRecord::psItemId},          {'u', &DbvCircRecord::psMidspine},
    {'v', &DbvCircRecord::psRestrictions},    {'w', &DbvCircRecord::psTemporaryLocation},
};

const FlagSubfield kCirculationFlags[] = {
    {'x', &DbvCircRecord::fAvailableNow},
    {'y', &DbvCircRecord::fOnHold},
    {'z', &DbvCircRecord::fRenewable},
};

void StartSubfield(std::string &field, char code)
{
    if (field.empty())
        field = "  ";
    field += kSubfieldDelimiter;
    field += code;
}

template <typename Record, size_t N>
void AddTextSubfields(std::string &field, const Record &record, const TextSubfield<Record> (&subfields)[N])
{
    for (const TextSubfield<Record> &subfield : subfields)
        AddTextSubfield(field, subfield.code, record.*subfield.value);
}

// The "937" field of one copy (copy NULL: the holdings alone).
std::string HoldingsField(const DbvHoldingsAndCircData &holdings, const DbvCircRecord *copy)
{
    std::string field;
    if (copy) {
        AddTextSubfields(field, *copy, kCirculationSubfields);
        for (const FlagSubfield &flag : kCirculationFlags)
            AddFlagSubfield(field, flag.code, copy->*flag.value);
    }
    AddTextSubfields(field, holdings, kHoldingsSubfields);
    return field;
}

// value in decimal, zero-padded to width digits, wider when it needs more.
std::string Padded(size_t value, int width)
{
    char digits[32];
    std::snprintf(digits, sizeof digits, "%0*lu", width, static_cast<unsigned long>(value));
    return digits;
}

} // namespace

void AddTextSubfield(std::string &field, char code, const DbvOctetString *octets)
{
    // Cut at a NUL byte like every text taken from octets, so that the
    // record's numbers stay true to what reaches the response file.
    std::string text = dbv::TextOf(octets);
    if (text.empty())
        return;
    StartSubfield(field, code);
    field += text;
}

void AddFlagSubfield(std::string &field, char code, int value)
{
    StartSubfield(field, code);
    field += value ? '1' : '0';
}

std::string AppendMarcFields(const std::string &record, const std::vector<std::string> &fields)
{
    size_t directory_end = record.find(kFieldTerminator);
    size_t record_end = record.find(kRecordTerminator);
    bool any = std::any_of(fields.begin(), fields.end(), [](const std::string &f) { return !f.empty(); });
    if (!any || directory_end == std::string::npos || record_end == std::string::npos ||
        directory_end < kLeaderLength || record_end < directory_end)
        return record;

    // Each field rebuilds the record from its predecessor: the record length
    // and base address are written afresh at positions 0 and 12, positions
    // 5 to 11 and 17 onwards are kept, the directory gains an entry and the
    // data the field, and what follows the first record terminator is
    // dropped. Only the parts that change are touched: the first 17
    // characters, what a wider number pushes past them (kept reversed, as it
    // is prepended), the directory's end and the data's end.
    std::string lead = record.substr(0, 17);
    std::string pushed_reversed;
    std::string directory = record.substr(17, directory_end - 17);
    std::string data = record.substr(directory_end + 1, record_end - directory_end - 1);
    size_t cut = std::string::npos; // a record terminator inside the data, from a field
    for (const std::string &field : fields) {
        if (field.empty())
            continue;
        if (cut != std::string::npos) {
            data.resize(cut);
            cut = std::string::npos;
        }
        size_t field_length = field.size() + 1;
        size_t old_directory_end = 17 + pushed_reversed.size() + directory.size();
        size_t old_record_end = old_directory_end + 1 + data.size();
        std::string numbers = Padded(old_record_end + field_length + kDirectoryEntryLength + 1, 5) + lead.substr(5, 7) +
                              Padded(old_directory_end + kDirectoryEntryLength + 1, 5);
        pushed_reversed.append(numbers.rbegin(), numbers.rend() - 17);
        lead = numbers.substr(0, 17);
        directory += kHoldingsTag;
        directory += Padded(field_length, 4);
        directory += Padded(data.size(), 5);
        size_t terminator = field.find(kRecordTerminator);
        if (terminator != std::string::npos)
            cut = data.size() + terminator;
        data += field;
        data += kFieldTerminator;
    }
    std::string enlarged = lead;
    enlarged.append(pushed_reversed.rbegin(), pushed_reversed.rend());
    enlarged += directory;
    enlarged += kFieldTerminator;
    enlarged += data;
    enlarged += kRecordTerminator;
    return enlarged;
}

void RenderOpacRecord(const DbvExternal *record, long position)
{
    const DbvSingleASN1Type *value = SingleValueOf(record, AT_OpacRecord);
    const DbvOPACRecord *opac = value ? value->uASN1.psOpacRecord : nullptr;
    const DbvExternal *bibliographic = opac ? opac->psBibliographicRecord : nullptr;
    if (!bibliographic || bibliographic->eValueType != EVT_OctetAligned ||
        !bibliographic->uExternalValue.psOctetAligned) {
        WriteRecordLine(position, 1, "Invalid OPAC record data");
        return;
    }
    std::vector<std::string> fields;
    for (DbvHoldingsRecord **entry = opac->ppsHoldingsData; entry && *entry; ++entry) {
        // MARC holdings records are not folded in.
        if ((*entry)->eHoldingsRecordType != HR_HoldingsAndCirc || !(*entry)->uHoldingsRecord.psHoldingsAndCirc)
            continue;
        const DbvHoldingsAndCircData *holdings = (*entry)->uHoldingsRecord.psHoldingsAndCirc;
        DbvCircRecord **copies = holdings->ppsCirculationData;
        if (!copies || !*copies)
            fields.push_back(HoldingsField(*holdings, nullptr));
        for (; copies && *copies; ++copies)
            fields.push_back(HoldingsField(*holdings, *copies));
    }
    std::string marc = AppendMarcFields(dbv::TextOf(bibliographic->uExternalValue.psOctetAligned), fields);
    WriteRecordLine(position, 0, marc.c_str());
}
