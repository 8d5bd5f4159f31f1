// OPAC records as MARC: the bibliographic record as received, plus one
// "937" field per copy carrying the holdings and circulation data, so that
// a caller that understands only MARC sees the holdings too.
#include "dbv/dbv_build.h"
#include "render/iso2709.h"
#include "render/render.h"

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

std::string AppendMarcField(const std::string &record, const std::string &field)
{
    if (field.empty())
        return record;
    size_t directory_end = record.find(kFieldTerminator);
    size_t record_end = record.find(kRecordTerminator);
    if (directory_end == std::string::npos || record_end == std::string::npos || directory_end < kLeaderLength ||
        record_end < directory_end)
        return record;

    // The new field and its directory entry go at the ends of the data and
    // the directory; the leader's record length and base address grow by
    // them, its other positions stay as received.
    size_t field_length = field.size() + 1;
    size_t data_length = record_end - directory_end - 1;
    std::string enlarged;
    enlarged.reserve(record_end + field_length + kDirectoryEntryLength + 16);
    enlarged += Padded(record_end + field_length + kDirectoryEntryLength + 1, 5);
    enlarged.append(record, 5, 7);
    enlarged += Padded(directory_end + kDirectoryEntryLength + 1, 5);
    enlarged.append(record, 17, directory_end - 17); // rest of the leader, old directory
    enlarged += kHoldingsTag;
    enlarged += Padded(field_length, 4);
    enlarged += Padded(data_length, 5);
    enlarged += kFieldTerminator;
    enlarged.append(record, directory_end + 1, data_length);
    enlarged += field;
    enlarged += kFieldTerminator;
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
    std::string marc = dbv::TextOf(bibliographic->uExternalValue.psOctetAligned);
    for (DbvHoldingsRecord **entry = opac->ppsHoldingsData; entry && *entry; ++entry) {
        // MARC holdings records are not folded in.
        if ((*entry)->eHoldingsRecordType != HR_HoldingsAndCirc || !(*entry)->uHoldingsRecord.psHoldingsAndCirc)
            continue;
        const DbvHoldingsAndCircData *holdings = (*entry)->uHoldingsRecord.psHoldingsAndCirc;
        DbvCircRecord **copies = holdings->ppsCirculationData;
        if (!copies || !*copies)
            marc = AppendMarcField(marc, HoldingsField(*holdings, nullptr));
        for (; copies && *copies; ++copies)
            marc = AppendMarcField(marc, HoldingsField(*holdings, *copies));
    }
    WriteRecordLine(position, 0, marc.c_str());
}
