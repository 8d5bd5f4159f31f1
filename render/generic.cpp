// GRS-1 records as one line of simple mark-up: every element whose tag is
// to be shown becomes a bold label, its value and a line break mark. Tags
// of type 3 carry their own names; the numeric tags of the other types are
// named, and chosen for display, by the tag-name table "grsbrief.tbl".
#include "dbv/dbv_build.h"
#include "render/render.h"
#include "ui/table_reader.h"

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <vector>

namespace {

const char kTagNameTablePath[] = "grsbrief.tbl";

// One line of the tag-name table.
struct TagName {
    long long tag_type = 0;
    long long tag_value = 0;
    std::string display_name;
    bool show = false;
};

typedef std::vector<TagName> TagNameTable;

// The table's entries in file order; empty when the file cannot be opened.
// A line is up to four tokens: an Integer tag type, an Integer tag value, a
// display name (a String, or a bare word as in  2 1 Title True) and the
// Characters "True" to show the tag. A token of another kind (or a missing
// one) leaves that field as the line before had it.
TagNameTable LoadTagNameTable(const char *path)
{
    TagNameTable table;
    TableReader reader;
    if (!TableOpen(path, &reader))
        return table;
    TagName entry;
    while (TableNextLine(&reader)) {
        TableToken token = TableLineToken(&reader);
        if (token.kind == TOKEN_INTEGER)
            entry.tag_type = std::strtoll(token.text.c_str(), nullptr, 10);
        token = TableLineToken(&reader);
        if (token.kind == TOKEN_INTEGER)
            entry.tag_value = std::strtoll(token.text.c_str(), nullptr, 10);
        token = TableLineToken(&reader);
        if (token.kind == TOKEN_STRING || token.kind == TOKEN_CHARACTERS)
            entry.display_name = token.text;
        token = TableLineToken(&reader);
        if (token.kind == TOKEN_CHARACTERS)
            entry.show = token.text == "True";
        table.push_back(entry);
    }
    return table;
}

// The first entry for the tag, or NULL.
const TagName *FindTagName(const TagNameTable &table, long long tag_type, long long tag_value)
{
    for (const TagName &entry : table)
        if (entry.tag_type == tag_type && entry.tag_value == tag_value)
            return &entry;
    return nullptr;
}

// What each kind of element data shows: a fixed text or one taken from
// the value. Subtrees show their children instead; unknown kinds nothing.
struct ContentText {
    int kind;
    const char *literal;
    std::string (*text)(const DbvElementData &data);
};

std::string TextOrEmpty(const char *text)
{
    return text ? text : "";
}

std::string NumberText(const DbvElementData &data)
{
    char digits[24];
    std::snprintf(digits, sizeof digits, "%-5d", static_cast<int>(static_cast<int32_t>(data.uElementData.ulNumeric)));
    return digits;
}

const ContentText kContentTexts[] = {
    {ED_Octets, nullptr, [](const DbvElementData &data) { return dbv::TextOf(data.uElementData.psOctets); }},
    {ED_Numeric, nullptr, NumberText},
    {ED_Date, nullptr, [](const DbvElementData &data) { return TextOrEmpty(data.uElementData.pcDate); }},
    {ED_Ext, "EDT_Ext", nullptr},
    {ED_String, nullptr, [](const DbvElementData &data) { return dbv::TextOf(data.uElementData.psString); }},
    // Any boolean shows as "True", whatever its value.
    {ED_TrueOrFalse, "True", nullptr},
    {ED_Oid, nullptr, [](const DbvElementData &data) { return TextOrEmpty(data.uElementData.pcOid); }},
    {ED_IntUnit, "EDT_IntUnit", nullptr},
    {ED_ElementNotThere, "(data not provided)", nullptr},
    {ED_ElementEmpty, "(data not provided)", nullptr},
    {ED_NoDataRequested, "(data not provided)", nullptr},
    {ED_Diagnostic, "(diagnostic provided)", nullptr},
};

std::string ContentTextOf(const DbvElementData &data)
{
    for (const ContentText &entry : kContentTexts)
        if (entry.kind == data.eElementDataType)
            return entry.literal ? entry.literal : entry.text(data);
    return std::string();
}

void AppendLabel(const std::string &label, std::string &out, bool with_colon)
{
    out += "<B>";
    out += label;
    out += with_colon ? ":</B>   " : "</B>";
}

void RenderElement(const DbvTaggedElement &element, const TagNameTable &table, std::string &out);

void RenderElements(DbvTaggedElement *const *elements, const TagNameTable &table, std::string &out)
{
    for (; elements && *elements; ++elements)
        RenderElement(**elements, table, out);
}

// Appends the element's label and value when it is to be shown, and the
// rendering of its children when it is a subtree.
void RenderElement(const DbvTaggedElement &element, const TagNameTable &table, std::string &out)
{
    const DbvStringOrNumeric &tag = element.sTagValue;
    const DbvElementData &content = element.sContent;
    bool subtree = content.eElementDataType == ED_Subtree;
    long long tag_type = element.pulTagType ? *element.pulTagType : -1;
    bool shown = false;
    std::string label;
    switch (tag_type) {
    case 1:
    case 2:
    case 4:
    case 5:
    case 6:
        // Numeric tags only, named and chosen by the table.
        if (tag.eStringOrNumeric == SON_Numeric) {
            const TagName *name = FindTagName(table, tag_type, tag.uStringOrNumeric.ulNumeric);
            shown = name && name->show;
            if (shown)
                label = name->display_name;
        }
        break;
    case 3:
        // String tags only, which are their own labels.
        shown = tag.eStringOrNumeric == SON_String;
        if (shown)
            label = dbv::TextOf(tag.uStringOrNumeric.psString);
        break;
    default:
        out += "Badly formed generic record - report b\n";
        return;
    }
    if (shown)
        AppendLabel(subtree ? std::string() : label, out, !subtree);
    if (subtree)
        RenderElements(content.uElementData.ppsSubtree, table, out);
    if (!shown)
        return;
    std::string text = ContentTextOf(content);
    if (!text.empty())
        out += text + "<BR>";
}

} // namespace

void RenderGenericRecord(const DbvExternal *record, long position)
{
    const DbvSingleASN1Type *value = SingleValueOf(record, AT_GenericRecord);
    DbvTaggedElement *const *elements = value ? value->uASN1.psGenericRecord : nullptr;
    std::string text;
    if (elements)
        RenderElements(elements, LoadTagNameTable(kTagNameTablePath), text);
    else
        text = "Badly formed generic record - report a\n";
    // The record goes out as one line.
    for (char &c : text)
        if (c == '\n' || c == '\r')
            c = ' ';
    if (text.empty())
        WriteRecordLine(position, 1, "Invalid GENERIC record data");
    else
        WriteRecordLine(position, 0, text.c_str());
}
