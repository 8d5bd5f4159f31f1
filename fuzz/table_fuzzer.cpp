// The toolkit's table files through the token reader: the input is written
// as both "grsbrief.tbl" and "target_names.tbl" in the working directory;
// the GRS-1 renderer then names and chooses the elements of a record with
// tags of every type by it, target names are looked up in it, and every
// token is read and named.
#include <algorithm>
#include <cstdio>
#include <vector>

#include "ui/table_reader.h"
#include "assoc/target_names.h"
#include "dbv/dbv_build.h"
#include "fuzz/fuzz_kit.h"
#include "render/render.h"

namespace {

DbvTaggedElement *Tagged(uint32_t tag_type, uint32_t tag, int content_type)
{
    DbvTaggedElement *element = dbv::New<DbvTaggedElement>();
    element->pulTagType = dbv::New<uint32_t>();
    *element->pulTagType = tag_type;
    element->sTagValue.eStringOrNumeric = SON_Numeric;
    element->sTagValue.uStringOrNumeric.ulNumeric = tag;
    element->sContent.eElementDataType = content_type;
    return element;
}

DbvTaggedElement *Element(uint32_t tag_type, uint32_t tag, const char *text)
{
    DbvTaggedElement *element = Tagged(tag_type, tag, ED_String);
    element->sContent.uElementData.psString = dbv::Octets(text);
    return element;
}

// A GRS-1 record with numeric tags 1 to 20 of the types 1, 2, 4, 5 and 6,
// a string tag and a subtree; built once, kept for the process's life.
const DbvExternal *TaggedRecord()
{
    static DbvExternal *record = [] {
        std::vector<DbvTaggedElement *> elements;
        for (uint32_t tag_type : {1, 2, 4, 5, 6})
            for (uint32_t tag = 1; tag <= 20; ++tag)
                elements.push_back(Element(tag_type, tag, "value"));
        DbvTaggedElement *named = Element(3, 0, "text");
        named->sTagValue.eStringOrNumeric = SON_String;
        named->sTagValue.uStringOrNumeric.psString = dbv::Octets("Title");
        elements.push_back(named);
        DbvTaggedElement *subtree = Tagged(2, 1, ED_Subtree);
        subtree->sContent.uElementData.ppsSubtree = dbv::List({Element(2, 2, "inner"), Element(1, 14, "inner")});
        elements.push_back(subtree);
        elements.push_back(nullptr);

        auto *built = dbv::New<DbvExternal>();
        built->ObjectIdentifier = dbv::Text("1.2.840.10003.5.105");
        built->eValueType = EVT_SingleASN1Type;
        DbvSingleASN1Type *value = built->uExternalValue.psSingleASN1Type = dbv::New<DbvSingleASN1Type>();
        value->eASN1Type = AT_GenericRecord;
        value->uASN1.psGenericRecord =
            static_cast<DbvTaggedElement **>(dbv::Allocate(elements.size() * sizeof(DbvTaggedElement *)));
        std::copy(elements.begin(), elements.end(), value->uASN1.psGenericRecord);
        return built;
    }();
    return record;
}

void WriteFile(const char *path, const uint8_t *data, size_t size)
{
    if (std::FILE *file = std::fopen(path, "wb")) {
        std::fwrite(data, 1, size, file);
        std::fclose(file);
    }
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int *, char ***)
{
    fuzz::ScratchDirectory();
    TaggedRecord();
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    fuzz::ResetService();
    WriteFile("grsbrief.tbl", data, size);
    WriteFile(TARGET_NAMES_PATH, data, size);
    RenderGenericRecord(TaggedRecord(), 1);
    for (const char *name : {"z3950", "absent"}) {
        DbvTargetInformation *target = nullptr;
        SIError *error = nullptr;
        LookUpTargetName(name, &target, &error);
        SIFreeTargetInformation(target);
        SIFreeError(error);
    }
    TableReader reader;
    TableToken token;
    if (TableOpen("grsbrief.tbl", &reader))
        while (TableNextToken(&reader, &token))
            std::fputs(TableTokenKindName(token.kind), fuzz::Sink());
    fuzz::EndInput();
    return 0;
}
