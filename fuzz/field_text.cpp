// Text forms of every field class: setValueByStr, its print read back, the single mode of
// addValueByStr, and splitAndAddValues with a delimiter set the knob picks.

#include <cstring>
#include <set>

#include "FieldFuzz.h"

using namespace KalvexFuzz;
using namespace Kalvex;

namespace {

// Classes whose printed text, read back, prints the same again. The others differ on purpose:
// MFQubit runs its names together, MFImage writes every header after the first in hexadecimal,
// MFPlane's colon joins the distance to the normal's last token, and the sound, node and
// wildcard classes have no text of their own.
const std::set<NodePartDataType> kStableText = {
    SFBoolType,      MFBoolType,     SFColorType,    MFColorType,    SFColorRGBAType,
    MFColorRGBAType, SFDoubleType,   MFDoubleType,   SFFloatType,    MFFloatType,
    SFInt32Type,     MFInt32Type,    SFStringType,   MFStringType,   SFTimeType,
    MFTimeType,      SFVec2dType,    MFVec2dType,    SFVec2fType,    MFVec2fType,
    SFVec3dType,     MFVec3dType,    SFVec3fType,    MFVec3fType,    SFVec4dType,
    MFVec4dType,     SFVec4fType,    MFVec4fType,    SFMatrix3dType, MFMatrix3dType,
    SFMatrix3fType,  MFMatrix3fType, SFMatrix4dType, MFMatrix4dType, SFMatrix4fType,
    MFMatrix4fType,  SFRotationType, MFRotationType, SFPlaneType,    SFImageType,
    SFQubitType};

// Multi classes whose single mode appends exactly one element per call.
const std::set<NodePartDataType> kOnePerAdd = {
    MFBoolType,     MFColorType,    MFColorRGBAType, MFDoubleType,   MFInt32Type,
    MFMatrix3dType, MFMatrix3fType, MFMatrix4dType,  MFMatrix4fType, MFRotationType,
    MFStringType,   MFTimeType,     MFVec2dType,     MFVec2fType,    MFVec3dType,
    MFVec3fType,    MFVec4dType,    MFVec4fType,     MFPlaneType,    MFQubitType};

const char* const kDelimiterSets[] = {" \t\n\r,", " ", ",;", "\n", "0"};

// Runs of characters outside the set: what splitAndAddValues must count.
int countRuns(const char* text, const char* delimiters) {
    int runs = 0;
    bool inRun = false;
    for (const char* p = text; *p; ++p) {
        const bool delimiter = std::strchr(delimiters, *p) != nullptr;
        if (!delimiter && !inRun) ++runs;
        inRun = !delimiter;
    }
    return runs;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    Input in;
    if (!split(data, size, in)) return 0;
    const Text text = exactText(in.data, in.size);

    auto field = makeField(in.type);
    field->setValueByStr(text.begin());
    if (bulky(*field)) return 0;
    const std::string printed = textOf(*field);
    auto again = makeField(in.type);
    again->setValueByStr(printed.c_str());
    const std::string reprinted = textOf(*again);
    if (kStableText.count(in.type) && reprinted != printed)
        fail("printed text does not read back", *field,
             "text:    " + std::string(text.begin()) + "\nprinted: " + printed +
                 "\nreread:  " + reprinted);

    if (!field->setAndValidateValueByStr(text.begin(), true))
        fail("setAndValidateValueByStr answered false", *field, text.begin());
    const unsigned before = field->size();
    field->addValueByStr(text.begin(), Field::CardinalitySingle);
    if (kOnePerAdd.count(in.type) && field->size() != before + 1)
        fail("the single mode did not append one element", *field, text.begin());

    const char* delimiters = kDelimiterSets[in.knob % std::size(kDelimiterSets)];
    auto split = makeField(in.type);
    const int count = split->splitAndAddValues(text.begin(), delimiters);
    if (count != countRuns(text.begin(), delimiters))
        fail("splitAndAddValues miscounted", *split, text.begin());
    if (kOnePerAdd.count(in.type) && split->size() != unsigned(count))
        fail("splitAndAddValues added other than one element per value", *split, text.begin());
    if (!bulky(*split)) textOf(*split);
    return 0;
}
