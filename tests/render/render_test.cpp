// The record renderers, through the lines they write to a response file in
// a scratch directory (also the current one, where "grsbrief.tbl" is read).
#include "service/exchange/exchange.h"
#include "render/render.h"
#include "asn/asn_ber.h"
#include "dbv_convert.h"
#include "tests/dbv/dbv_testkit.h"
#include "tools/distributor/marc_display.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <optional>
#include <random>
#include <utility>
#include <variant>

namespace fs = std::filesystem;

namespace {

typedef std::vector<std::string> Line;

struct RenderTest : ::testing::Test {
    fs::path home = fs::current_path();
    fs::path scratch;

    void SetUp() override
    {
        scratch = fs::temp_directory_path() /
                  (std::string("kestra-render-") + ::testing::UnitTest::GetInstance()->current_test_info()->name() +
                   "-" + std::to_string(std::random_device{}()));
        fs::create_directories(scratch);
        fs::current_path(scratch);
        std::snprintf(g_exchange.temp_directory, kTempPathSize, "%s/", scratch.string().c_str());
        std::snprintf(g_exchange.temp_prefix, kTempPrefixSize, "R");
        g_exchange.instance_window = WindowFromNumber(0x1234);
    }
    void TearDown() override
    {
        fs::current_path(home);
        fs::remove_all(scratch);
    }
};

// Renders the record (then freed) at position 1 and reads back the one line
// of the response file, split into fields by the distributor's own reader.
Line RenderedLine(void (*render)(const DbvExternal *, long), DbvExternal *record)
{
    render(record, 1);
    DbvFreeExternal(record);
    CloseResponseFile();
    std::ifstream file(ResponseFileName());
    std::string s((std::istreambuf_iterator<char>(file)), std::istreambuf_iterator<char>());
    file.close();
    fs::remove(ResponseFileName());
    Line line;
    EXPECT_EQ(ResponseLineLength(s, 0), s.size()) << "one line";
    EXPECT_TRUE(SplitResponseFields(s.substr(0, s.size() - 1), &line)) << s;
    return line;
}

DbvExternal *Single(int type)
{
    DbvExternal *record = New<DbvExternal>();
    record->eValueType = EVT_SingleASN1Type;
    record->uExternalValue.psSingleASN1Type = New<DbvSingleASN1Type>();
    record->uExternalValue.psSingleASN1Type->eASN1Type = type;
    return record;
}

auto &Value(DbvExternal *record)
{
    return record->uExternalValue.psSingleASN1Type->uASN1;
}

DbvExternal *Sutrs(std::optional<std::string> text)
{
    DbvExternal *record = Single(AT_UnstructuredText);
    Value(record).psUnstructuredText = text ? Octets(*text) : nullptr;
    return record;
}

DbvExternal *Summary(std::optional<std::string> title)
{
    DbvExternal *record = Single(AT_SummaryRecord);
    if (title)
        (Value(record).psSummaryRecord = New<DbvBriefBib>())->sTitle = InlineOctets(*title);
    return record;
}

DbvExternal *Arbitrary(std::optional<std::string> octets)
{
    DbvExternal *record = New<DbvExternal>();
    record->eValueType = EVT_Arbitrary;
    record->uExternalValue.psArbitrary = octets ? Octets(*octets) : nullptr;
    return record;
}

// ---- OPAC records folded into MARC ----

using H = DbvHoldingsAndCircData;
using C = DbvCircRecord;
// The fields of the subfield codes a to q, r to w and the flags x to z.
DbvOctetString *H::*const kHoldingsFields[] = {
    &H::psCallNumber,    &H::psCompleteness,     &H::psCopyNumber,       &H::psDateOfReport,  &H::psEncodingLevel,
    &H::psEnumAndChron,  &H::psFormat,           &H::psGeneralRetention, &H::psLocalLocation, &H::psNucCode,
    &H::psPublicNote,    &H::psReceiptAcqStatus, &H::psReproductionNote, &H::psShelvingData,  &H::psShelvingLocation,
    &H::psTermsUseRepro, &H::psTypeOfRecord};
DbvOctetString *C::*const kCopyFields[] = {&C::psAvailablityDate, &C::psAvailableThru, &C::psItemId,
                                           &C::psMidspine,        &C::psRestrictions,  &C::psTemporaryLocation,
                                           &C::psEnumAndChron}; // never written
int C::*const kCopyFlags[] = {&C::fAvailableNow, &C::fOnHold, &C::fRenewable};

struct Copy {
    std::vector<std::string> texts; // r, s, ... in order
    std::vector<int> flags;         // x, y, z
};
struct Holdings {
    std::vector<std::string> texts; // a, b, ... in order
    std::vector<Copy> copies;
    bool marc = false; // a MARC holdings record instead
};

template <typename T, typename Make> T **ListOf(size_t count, Make make)
{
    T **list = count ? static_cast<T **>(dbv::Allocate((count + 1) * sizeof(T *))) : nullptr;
    for (size_t i = 0; i < count; ++i)
        list[i] = make(i);
    return list;
}

DbvExternal *Opac(const std::string &bibliographic, const std::vector<Holdings> &holdings)
{
    DbvExternal *record = Single(AT_OpacRecord);
    DbvOPACRecord *opac = Value(record).psOpacRecord = New<DbvOPACRecord>();
    opac->psBibliographicRecord = OctetAlignedExternal("1.2.840.10003.5.10", bibliographic);
    opac->ppsHoldingsData = ListOf<DbvHoldingsRecord>(holdings.size(), [&](size_t i) {
        DbvHoldingsRecord *entry = New<DbvHoldingsRecord>();
        entry->eHoldingsRecordType = holdings[i].marc ? HR_MarcHoldingsRecord : HR_HoldingsAndCirc;
        if (holdings[i].marc) {
            entry->uHoldingsRecord.psMarcHoldingsRecord = OctetAlignedExternal("1.2.840.10003.5.10", "skipped");
            return entry;
        }
        H *data = entry->uHoldingsRecord.psHoldingsAndCirc = New<H>();
        for (size_t k = 0; k < holdings[i].texts.size(); ++k)
            data->*kHoldingsFields[k] = Octets(holdings[i].texts[k]);
        const std::vector<Copy> &copies = holdings[i].copies;
        data->ppsCirculationData = ListOf<C>(copies.size(), [&](size_t j) {
            C *copy = New<C>();
            for (size_t k = 0; k < copies[j].texts.size(); ++k)
                copy->*kCopyFields[k] = Octets(copies[j].texts[k]);
            for (size_t k = 0; k < copies[j].flags.size(); ++k)
                copy->*kCopyFlags[k] = copies[j].flags[k];
            return copy;
        });
        return entry;
    });
    return record;
}

// MARC text with $ for the subfield delimiter 0x1F, ^ for the field
// terminator 0x1E and # for the record terminator 0x1D.
std::string Marc(std::string text)
{
    for (char &c : text)
        c = c == '$' ? '\x1f' : c == '^' ? '\x1e' : c == '#' ? '\x1d' : c;
    return text;
}

const std::string kBib = Marc("00071nam a2200049 i 4500001000700000245001400007^ocm123^10$aMoby Dick^#");

// Refused records, and OPAC records whose MARC cannot take fields: as they are.
TEST_F(RenderTest, TextRecordsAndOpacRecordsThatCannotBeExtended)
{
    const Holdings qa76 = {{"QA76"}, {}};
    DbvExternal *no_bib = Opac(kBib, {qa76});
    DbvFreeExternal(Value(no_bib).psOpacRecord->psBibliographicRecord);
    Value(no_bib).psOpacRecord->psBibliographicRecord = nullptr;
    const std::string swapped = kBib.substr(0, 40) + Marc("#") + kBib.substr(40);
    const struct {
        void (*render)(const DbvExternal *, long);
        DbvExternal *record;
        Line line;
    } cases[] = {
        {RenderSutrsRecord, Sutrs(std::nullopt), {"1", "1", "Invalid SUTRS record data"}},
        {RenderSutrsRecord, Summary("x"), {"1", "1", "Invalid SUTRS record data"}},
        {RenderSummaryRecord, Summary(""), {"1", "0", "Title:\n"}},
        {RenderSummaryRecord, Summary(std::nullopt), {"1", "1", "Invalid SUMMARY record data"}},
        {RenderArbitraryRecord, Arbitrary(std::nullopt), {"1", "1", "Invalid ARBITRARY record data"}},
        {RenderArbitraryRecord, Sutrs("x"), {"1", "1", "Invalid ARBITRARY record data"}},
        {RenderOpacRecord, no_bib, {"1", "1", "Invalid OPAC record data"}},
        {RenderOpacRecord, Single(AT_OpacRecord), {"1", "1", "Invalid OPAC record data"}},
        {RenderOpacRecord, Sutrs("x"), {"1", "1", "Invalid OPAC record data"}},
        {RenderOpacRecord, Opac(Marc("no record end^"), {qa76}), {"1", "0", Marc("no record end^")}},
        {RenderOpacRecord, Opac(Marc("short^#"), {qa76}), {"1", "0", Marc("short^#")}},
        {RenderOpacRecord, Opac(swapped, {qa76}), {"1", "0", swapped}},
        {RenderOpacRecord, Opac(kBib.substr(0, 60) + '\0' + kBib.substr(60), {qa76}), {"1", "0", kBib.substr(0, 60)}},
    };
    for (const auto &c : cases)
        EXPECT_EQ(RenderedLine(c.render, c.record), c.line) << c.line[2];
}

// The "937" fields added for the holdings, as AppendMarcFields (tested below)
// adds them: one per copy, or one for the holdings alone; copy subfields r to
// w and flags x to z before the holdings' a to q, empty texts left out.
TEST_F(RenderTest, OpacHoldingsBecome937Fields)
{
    const std::string huge(12000, 'n'); // past the 2000-octet field buffer and four-digit lengths
    const struct {
        std::vector<Holdings> holdings;
        std::vector<std::string> fields; // $ for 0x1F
    } cases[] = {
        {{{{"QA76", "", "c1"}, {}}}, {"  $aQA76$cc1"}},
        {{{{"QA76"}, {{{"date", "", "item", "", "", "desk", "enum"}, {1, 0, -1}}, {{}, {}}}}},
         {"  $rdate$titem$wdesk$x1$y0$z1$aQA76", "  $x0$y0$z0$aQA76"}},
        {{{{"skipped"}, {}, true}, {{"", ""}, {}}, {{"B"}, {}}}, {"  $aB"}},
        {{{{huge}, {{{"r"}, {1}}}}}, {"  $rr$x1$y0$z0$a" + huge}},
    };
    for (const auto &c : cases) {
        std::vector<std::string> fields;
        for (const std::string &field : c.fields)
            fields.push_back(Marc(field));
        EXPECT_EQ(RenderedLine(RenderOpacRecord, Opac(kBib, c.holdings)).at(2), AppendMarcFields(kBib, fields))
            << c.fields[0];
    }
}

// ---- GRS-1 records ----

DbvElementData Data(int kind)
{
    DbvElementData data{};
    data.eElementDataType = kind;
    return data;
}
DbvElementData String(const std::string &text)
{
    DbvElementData data = Data(ED_String);
    data.uElementData.psString = Octets(text);
    return data;
}
DbvElementData Number(uint32_t value)
{
    DbvElementData data = Data(ED_Numeric);
    data.uElementData.ulNumeric = value;
    return data;
}
DbvElementData Subtree(std::initializer_list<DbvTaggedElement *> children)
{
    DbvElementData data = Data(ED_Subtree);
    data.uElementData.ppsSubtree = List(children);
    return data;
}

// An element with a numeric or a string tag; a negative tag type is left absent.
DbvTaggedElement *Tagged(long type, std::variant<uint32_t, const char *> tag, DbvElementData content)
{
    DbvTaggedElement *element = New<DbvTaggedElement>();
    if (type >= 0)
        *(element->pulTagType = New<uint32_t>()) = static_cast<uint32_t>(type);
    element->sTagValue.eStringOrNumeric = tag.index() ? SON_String : SON_Numeric;
    if (tag.index())
        element->sTagValue.uStringOrNumeric.psString = Octets(std::get<1>(tag));
    else
        element->sTagValue.uStringOrNumeric.ulNumeric = std::get<0>(tag);
    element->sContent = content;
    return element;
}

DbvExternal *Generic(std::initializer_list<DbvTaggedElement *> elements)
{
    DbvExternal *record = Single(AT_GenericRecord);
    Value(record).psGenericRecord = List(elements);
    return record;
}

// One field added as the per-field rule says, rebuilding the whole record:
// the reference that AppendMarcFields must equal.
std::string AddedOneByOne(std::string record, const std::vector<std::string> &fields)
{
    auto padded = [](size_t value, int width) {
        std::string digits = std::to_string(value);
        return std::string(digits.size() < static_cast<size_t>(width) ? width - digits.size() : 0, '0') + digits;
    };
    for (const std::string &field : fields) {
        size_t directory_end = record.find('\x1e'), record_end = record.find('\x1d');
        if (field.empty() || directory_end == std::string::npos || record_end == std::string::npos ||
            directory_end < 24 || record_end < directory_end)
            continue;
        record = padded(record_end + field.size() + 14, 5) + record.substr(5, 7) + padded(directory_end + 13, 5) +
                 record.substr(17, directory_end - 17) + "937" + padded(field.size() + 1, 4) +
                 padded(record_end - directory_end - 1, 5) + "\x1e" +
                 record.substr(directory_end + 1, record_end - directory_end - 1) + field + "\x1e\x1d";
    }
    return record;
}

// Fields that push the numbers past five digits, carry record terminators
// or are empty, added to records with and without data after their end.
TEST_F(RenderTest, ManyFieldsAddedAtOnceEqualThemAddedOneByOne)
{
    std::mt19937 random(937);
    auto number = [&random](size_t below) { return static_cast<size_t>(random() % below); };
    for (int round = 0; round < 200; ++round) {
        std::string record = kBib;
        if (number(4) == 0)
            record += "after the end";
        if (number(4) == 0)
            record.insert(60, "\x1d" + std::string(number(20), 'd'));
        bool long_record = round % 10 == 0;
        std::vector<std::string> fields(1 + number(long_record ? 60 : 12));
        for (std::string &field : fields) {
            field.assign(number(3) == 0 ? 0 : number(long_record ? 3 : 20) == 0 ? 4000 + number(12000) : number(30), 'f');
            if (!field.empty() && number(6) == 0)
                field[number(field.size())] = '\x1d';
        }
        ASSERT_EQ(AppendMarcFields(record, fields), AddedOneByOne(record, fields)) << "round " << round;
        ASSERT_EQ(AppendMarcFields(record, {fields[0]}), AddedOneByOne(record, {fields[0]})) << "round " << round;
    }
}

TEST_F(RenderTest, GenericRecords)
{
    // A line without a name keeps the name and flag of the line before.
    std::ofstream("grsbrief.tbl") << "2 1 Title True\n2 2 \"Hidden\" False\n# comment\n2 3 \"Count\" True\n"
                                     "4 5 \"Nest\" True\n2 6\n2 1 \"Second\" True\n";
    DbvElementData date = Data(ED_Date), oid = Data(ED_Oid), octets = Data(ED_Octets);
    date.uElementData.pcDate = Text("2024");
    oid.uElementData.pcOid = Text("1.2.3");
    octets.uElementData.psOctets = Octets(std::string("oct\0ets", 7));
    const struct {
        DbvExternal *record;
        const char *status;
        const char *text;
    } cases[] = {
        {Generic({Tagged(2, 1u, String("Kim"))}), "0", "<B>Title:</B>   Kim<BR>"},
        {Generic({Tagged(2, 2u, String("Kim")), Tagged(2, 9u, String("x"))}), "1", "Invalid GENERIC record data"},
        {Generic({Tagged(2, 3u, Number(42)), Tagged(2, 3u, Number(123456))}), "0",
         "<B>Count:</B>   42   <BR><B>Count:</B>   123456<BR>"},
        {Generic({Tagged(2, 6u, Data(ED_TrueOrFalse))}), "0", "<B>Nest:</B>   True<BR>"},
        {Generic({Tagged(4, 5u, Subtree({Tagged(3, "Author", String("Melville"))}))}), "0",
         "<B></B><B>Author:</B>   Melville<BR>"},
        {Generic({Tagged(-1, 1u, Subtree({Tagged(2, 1u, String("Kim"))})), Tagged(7, 1u, Number(1))}), "0",
         "Badly formed generic record - report b Badly formed generic record - report b "},
        {Generic({Tagged(3, 1u, String("numeric")), Tagged(2, "Title", String("string"))}), "1",
         "Invalid GENERIC record data"},
        {Single(AT_GenericRecord), "0", "Badly formed generic record - report a "},
        {Sutrs("x"), "0", "Badly formed generic record - report a "},
        {Generic({Tagged(3, "D", date), Tagged(3, "O", oid), Tagged(3, "B", octets), Tagged(3, "E", Data(ED_Ext)),
                  Tagged(3, "I", Data(ED_IntUnit)), Tagged(3, "N", Data(ED_ElementNotThere)),
                  Tagged(3, "M", Data(ED_ElementEmpty)), Tagged(3, "R", Data(ED_NoDataRequested)),
                  Tagged(3, "G", Data(ED_Diagnostic)), Tagged(3, "U", Data(99)), Tagged(3, "S", String(""))}),
         "0",
         "<B>D:</B>   2024<BR><B>O:</B>   1.2.3<BR><B>B:</B>   oct<BR><B>E:</B>   EDT_Ext<BR>"
         "<B>I:</B>   EDT_IntUnit<BR><B>N:</B>   (data not provided)<BR><B>M:</B>   (data not provided)<BR>"
         "<B>R:</B>   (data not provided)<BR><B>G:</B>   (diagnostic provided)<BR><B>U:</B>   <B>S:</B>   "},
        // Without the table (from here on) only string tags are shown.
        {nullptr, nullptr, nullptr},
        {Generic({Tagged(2, 1u, Subtree({Tagged(3, "Author", String("Melville"))}))}), "0",
         "<B>Author:</B>   Melville<BR>"},
    };
    for (const auto &c : cases) {
        if (c.record)
            EXPECT_EQ(RenderedLine(RenderGenericRecord, c.record), (Line{"1", c.status, c.text}));
        else
            fs::remove("grsbrief.tbl");
    }
}

// The stack the last render under RenderDeep used.
size_t deepRenderStack;

void RenderDeep(const DbvExternal *record, long position)
{
    std::pair<const DbvExternal *, long> job(record, position);
    deepRenderStack = StackUsedBy(
        [](void *arg) {
            auto *j = static_cast<std::pair<const DbvExternal *, long> *>(arg);
            RenderGenericRecord(j->first, j->second);
        },
        &job);
}

TEST_F(RenderTest, TheDeepestGenericRecordAcceptedRendersInAQuarterOfTheStack)
{
    int levels = 1;
    while (BerDepth(DeepGrs1Present(levels + 1, false)) <= ASN_MAX_NESTING)
        levels++;
    PDU *pdu = Decode(DeepGrs1Present(levels, false));
    ASSERT_NE(pdu, nullptr);
    DbvPdu *dbv = nullptr;
    ASSERT_EQ(DbvPduFromAsn(pdu, &dbv), DBV_CONVERT_OK);
    Release(pdu);
    DbvExternal *&record =
        dbv->uPdu.psPresentResponse->psRecords->uRecords.ppsResponseRecords[0]->sRecord.uRecord.psRetrievalRecord;
    std::string text;
    for (int i = 1; i < levels; i++)
        text += "<B></B>";
    EXPECT_EQ(RenderedLine(RenderDeep, record), (Line{"1", "0", text + "<B>T:</B>   leaf<BR>"}));
    record = nullptr; // freed by RenderedLine
    DbvFreePdu(dbv);
    std::printf("GRS-1 renderer: %zu octets of stack at nesting %d\n", deepRenderStack,
                BerDepth(DeepGrs1Present(levels, false)));
#ifndef __SANITIZE_ADDRESS__
    EXPECT_LT(deepRenderStack, 256u * 1024);
#endif
}

} // namespace
