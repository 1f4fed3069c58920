// Text and binary forms of the vector, colour, rotation, plane and matrix field classes.

#include <gtest/gtest.h>

#include <bit>
#include <cctype>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <memory>
#include <random>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using namespace Kalvex;

namespace {

struct Owner {
    KalvexTest::NodeHolder holder;
    Node* node = holder.node;
    std::unique_ptr<Field> make(int dataType) {
        return std::unique_ptr<Field>(FieldType::create(dataType, *node));
    }
};

std::string textOf(const Field& field) {
    std::string out;
    return field.getStrValue(out);
}

// The captured messages without their level and source columns.
std::string messages(const KalvexTest::LogCapture& log) {
    std::istringstream in(log.text());
    std::string out, line;
    while (std::getline(in, line))
        out += line.substr(line.find('\t', line.find('\t') + 1) + 1) + "\n";
    return out;
}

float floatAt(const std::string& bytes, size_t offset) {
    std::uint32_t bits = 0;
    for (int i = 3; i >= 0; --i) bits = (bits << 8) | std::uint8_t(bytes[offset + i]);
    return std::bit_cast<float>(bits);
}

const char* I3 =
    "   1.000    0.000    0.000 \n   0.000    1.000    0.000 \n   0.000    0.000    1.000 \n";
const char* I4 =
    "   1.000    0.000    0.000    0.000 \n   0.000    1.000    0.000    0.000 \n"
    "   0.000    0.000    1.000    0.000 \n   0.000    0.000    0.000    1.000 \n";
const char* F = "1.000000, 2.000000, 3.000000";  // MFVec3f text of 1 2 3

// Text in, text out, and whether a fresh field reads that text back as an equal value (equal
// values compare within a tolerance).
// clang-format off
const struct { int type; const char* in; const char* out; bool readsBack; } kText[] = {
    // Missing components are 0, extra ones ignored; blanks, tabs, line ends, commas separate; a semicolon ends a number.
    {SFVec3fType, "1", "1 0 0", true}, {SFVec3fType, "1,2 3 4", "1 2 3", true}, {SFVec3fType, "1;2 3", "1 3 0", true},
    {SFVec3fType, "", "0 0 0", true}, {SFVec3fType, nullptr, "0 0 0", true}, {SFVec3fType, "\t1\r\n2,,,3", "1 2 3", true},
    {SFVec3fType, "+1 0x10 .5", "1 16 0.5", true}, {SFVec3fType, "1e50 1e-50 -inf", "inf 0 -inf", false},  // inf - inf is out of any tolerance
    {SFVec3fType, "abc 2 3", "0 2 3", true}, {SFVec3fType, "1.5e2x 2", "150 2 0", true}, {SFVec2fType, "0.5 -0.25 7", "0.5 -0.25", true},
    {SFVec2dType, "1e-7 123456789", "1e-07 1.23457e+08", false},
    {SFVec3dType, "0.1 0.2 0.3", "0.1 0.2 0.3", true}, {SFVec4fType, "1 2 3", "1 2 3 0", true}, {SFVec4dType, "1 2 3 4 5", "1 2 3 4", true},
    {SFColorType, "1 0.5", "1 0.5 0", true},
    {SFColorRGBAType, "0.1 0.2 0.3 0.4", "0.1 0.2 0.3 0.4", true}, {SFPlaneType, "0 3", "0 3 0 0", true},
    // Rotation: the default for no text or a non-finite part, the axis kept as given.
    {SFRotationType, "", "0 0 1 0", true}, {SFRotationType, nullptr, "0 0 1 0", true}, {SFRotationType, "0 2 0 1.5", "0 2 0 1.5", true},
    {SFRotationType, "1 0 0", "1 0 0 0", true}, {SFRotationType, "nan 0 0 1", "0 0 1 0", true}, {SFRotationType, "1 0 0 1e400", "0 0 1 0", true},
    // Matrices: identity for no text or a small i; one column per line, three decimals.
    {SFMatrix4fType, "", I4, true}, {SFMatrix4fType, nullptr, I4, true}, {SFMatrix4fType, "identity 5", I4, true},
    {SFMatrix4dType, "i", I4, true}, {SFMatrix3fType, "i", I3, true}, {SFMatrix3dType, "", I3, true},
    {SFMatrix3fType, "I", "   0.000    0.000    0.000 \n   0.000    0.000    0.000 \n   0.000    0.000    0.000 \n", true},
    {SFMatrix3dType, "0.12345 -1 1234.5678 4", "   0.123   -1.000 1234.568 \n   4.000    0.000    0.000 \n   0.000    0.000    0.000 \n", false},
    // Lists: every n-th token completes an element, a partial one is dropped.
    {MFVec3fType, "1 2 3 4", F, true}, {MFVec3fType, "", "", true}, {MFVec3fType, nullptr, "", true},
    {MFVec3fType, "1 2", "", true}, {MFVec3fType, "1;2 3 4", "1.000000, 3.000000, 4.000000", true},
    {MFVec2fType, "0.1 0.2", "0.100000, 0.200000", true}, {MFVec4fType, "1 2 3 4", "1.000000, 2.000000, 3.000000, 4.000000", true},
    {MFVec2dType, "0.1 0.2", "0.100000000000, 0.200000000000", true}, {MFVec3dType, "1 2 3 4", "1.000000000000, 2.000000000000, 3.000000000000", true},
    {MFVec4dType, "0.5 0 0 1", "0.500000000000, 0.000000000000, 0.000000000000, 1.000000000000", true},
    {MFColorType, "1 0 0 0 1 0", "1 0 0, 0 1 0", true}, {MFColorRGBAType, "1 0 0 1 0 0.5 0 0.25", "1 0 0 1, 0 0.5 0 0.25", true},
    {MFRotationType, "0 1 0 1.5 1 0 0 0", "0, 1, 0, 1.5, 1, 0, 0, 0", true}, {MFRotationType, "0 0 0 inf 0 1 0 2", "0, 0, 1, 0, 0, 1, 0, 2", true},
    // The colon of the plane form sits inside a token: the distance merges into the normal.
    {MFPlaneType, "0 0 1 5 1 0 0 2", "0, 0, 1:5, 1, 0, 0:2", false},
    // Matrix lists: one flat list, no identity shortcut, the first non-number ends the parse.
    {MFMatrix3fType, "1 2 3 4 5 6 7 8 9 x 1 2 3 4 5 6 7 8 9", "1 2 3 4 5 6 7 8 9", true},
    {MFMatrix3fType, "1;2 3 4 5 6 7 8 9 10", "", true}, {MFMatrix4fType, "i", "", true},
    {MFMatrix3dType, "1 2 3 4 5 6 7 8 9 0.5 0 0 0 1 0 0 0 1", "1 2 3 4 5 6 7 8 9 0.5 0 0 0 1 0 0 0 1", true},
    {MFMatrix4fType, "1 0 0 0 0 1 0 0 0 0 1 0 0.123456789 2 3 1", "1 0 0 0 0 1 0 0 0 0 1 0 0.123457 2 3 1", true},
    {MFMatrix4dType, "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1", "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1", true},
};
// clang-format on

TEST(VectorText, ParsesPrintsAndReadsBack) {
    Owner owner;
    for (const auto& c : kText) {
        SCOPED_TRACE(std::string(FieldType::dataTypeName(c.type)) + " <" +
                     (c.in ? c.in : "(null)") + ">");
        KalvexTest::LogCapture log;
        auto a = owner.make(c.type), b = owner.make(c.type);
        a->setValueByStr("9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9");  // replaced, never merged
        a->setValueByStr(c.in);
        EXPECT_EQ(textOf(*a), c.out);
        b->setValueByStr(textOf(*a).c_str());
        EXPECT_EQ(a->equalValue(*b), c.readsBack) << textOf(*b);
        EXPECT_TRUE(!c.readsBack || textOf(*b) == c.out) << textOf(*b);
        EXPECT_EQ(log.text(), "");
    }
}

struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

// A host that puts a C++ locale in place gets its decimal point in the vector lists, as in every
// other list: they print through the vector stream operator. In the classic locale the
// stream-free path writes the same characters but for the point.
TEST(VectorText, ListsFollowTheGlobalLocale) {
    Owner owner;
    const char* in = "1.5 -0.25 3 1e6 0.1 7 -1e-7 2.5 4 inf 6 8";
    const struct {
        int type;
        const char* comma;  // the first two numbers under the comma locale
    } cases[] = {{MFVec2fType, "1,500000, -0,250000, "}, {MFVec3fType, "1,500000, -0,250000, "},
                 {MFVec4fType, "1,500000, -0,250000, "}, {MFVec2dType, "1,500000000000, -0,25"},
                 {MFVec3dType, "1,500000000000, -0,25"}, {MFVec4dType, "1,500000000000, -0,25"}};
    for (const auto& c : cases) {
        SCOPED_TRACE(FieldType::dataTypeName(c.type));
        auto field = owner.make(c.type);
        field->setValueByStr(in);
        const std::string classic = textOf(*field);
        std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
        const std::string comma = textOf(*field);
        std::locale::global(old);
        EXPECT_EQ(comma.substr(0, std::strlen(c.comma)), c.comma);
        std::string pointed = comma;  // a decimal comma is followed by a digit, a separator not
        for (size_t i = 0; i + 1 < pointed.size(); ++i)
            if (pointed[i] == ',' && std::isdigit(static_cast<unsigned char>(pointed[i + 1])))
                pointed[i] = '.';
        EXPECT_EQ(pointed, classic);
        EXPECT_EQ(textOf(*field), classic);
    }
}

// addValueByStr in the streaming mode keeps complete elements and hands back the start of
// the first unfinished one (rest: its offset, -1 for null); single classes ignore the mode. The
// single mode adds one value by the single rule and answers null.
const auto M = Field::CardinalityMulti, S = Field::CardinalitySingle;
// clang-format off
const struct { int type; Field::Cardinality mode; const char* piece; int rest; const char* out; const char* log; } kStream[] = {
    {MFVec3fType, M, "1 2 3 4 5", 6, F, ""}, {MFVec3fType, M, "1 2 3 ", -1, F, ""},
    {MFVec3fType, M, "1 2 3", 0, "", ""},  // the last number touches the end: it may go on
    {MFVec3fType, M, "1;2;3;4", 6, F, ""}, {MFVec3fType, M, "", -1, "", ""}, {MFVec3fType, M, " ,;\n", -1, "", ""},
    {MFVec3fType, M, "  1 2", 2, "", ""}, {MFVec3fType, M, "1 2 x 3", 0, "", ""}, {MFVec3fType, M, "1 2 3 x", 6, F, ""},
    {MFVec2dType, M, "0.5 1.5 2", 8, "0.500000000000, 1.500000000000", ""},
    {MFColorType, M, "1 0 0;0 1 0\n", -1, "1 0 0, 0 1 0", ""}, {MFColorRGBAType, M, "1 0 0 1 0.5", 8, "1 0 0 1", ""},
    {MFRotationType, M, "0 1 0 1.5 ", -1, "0, 1, 0, 1.5", ""}, {MFMatrix3fType, M, "1 2 3 4 5 6 7 8 9 1", 18, "1 2 3 4 5 6 7 8 9", ""},
    {MFPlaneType, M, "0 0 1 5 ", -1, "", "MFPlane::addValueByStr() for partial data not impl.\n"},
    {SFVec3fType, M, "1 2 3", -1, "1 2 3", ""}, {SFMatrix3fType, M, "i", -1, I3, ""},
    {MFVec3fType, S, "1 2", -1, "1.000000, 2.000000, 0.000000", ""}, {MFVec3fType, S, "4 5 6 7", -1, "4.000000, 5.000000, 6.000000", ""},
    {MFVec3fType, S, nullptr, -1, "0.000000, 0.000000, 0.000000", ""}, {MFMatrix3fType, S, "i", -1, "1 0 0 0 1 0 0 0 1", ""},
    {MFMatrix3fType, S, "", -1, "1 0 0 0 1 0 0 0 1", ""}, {MFMatrix3fType, S, "2", -1, "2 0 0 0 0 0 0 0 0", ""},
    {MFRotationType, S, "1 0 0 nan", -1, "0, 0, 1, 0", ""}, {MFRotationType, S, "0 1 0 2", -1, "0, 1, 0, 2", ""},
    {MFPlaneType, S, "0 0 1 5", -1, "0, 0, 1:5", ""},
};
// clang-format on

// Single values read every token with strtof, the double types too; a rotation reads with
// strtod and narrows, so a value beyond float range gives the default rotation.
TEST(VectorText, SingleValueTokensReadAsFloats) {
    Owner owner;
    SFVec3d vec(*owner.node);
    vec.setValueByStr("0.1 -1e300 2");
    EXPECT_EQ(vec.getValue()[0], double(std::strtof("0.1", nullptr)));
    EXPECT_EQ(vec.getValue()[1], -HUGE_VAL);
    SFMatrix4d matrix(*owner.node);
    matrix.setValueByStr("0.1");
    EXPECT_EQ(matrix.getValue().getValues()[0], double(0.1f));
    SFRotation rotation(*owner.node);
    rotation.setValueByStr("0 1 0 1e39");
    EXPECT_EQ(textOf(rotation), "0 0 1 0");
}

TEST(VectorStream, KeepsCompleteElementsAndReturnsTheRest) {
    Owner owner;
    for (const auto& c : kStream) {
        SCOPED_TRACE(std::string(FieldType::dataTypeName(c.type)) + " <" +
                     (c.piece ? c.piece : "(null)") + ">");
        KalvexTest::LogCapture log;
        auto field = owner.make(c.type);
        if (field->cardinality() == Field::CardinalitySingle)
            field->setValueByStr("2 2 2 2 2 2 2 2 2");  // replaced
        const char* rest = field->addValueByStr(c.piece, c.mode);
        EXPECT_EQ(rest, c.rest < 0 ? nullptr : c.piece + c.rest);
        EXPECT_EQ(textOf(*field), c.out);
        EXPECT_EQ(messages(log), c.log);
    }
}

// Cut one long text at random places and feed it piece by piece, carrying the remainder over as
// a streaming reader does; the result must equal one setValueByStr of the whole.
TEST(VectorStream, PiecesAddUpToTheWholeText) {
    std::mt19937 rng(7);
    Owner owner;
    // clang-format off
    const std::pair<int, int> types[] = {{MFVec3fType, 3}, {MFVec2dType, 2}, {MFColorRGBAType, 4}, {MFRotationType, 4}, {MFMatrix4fType, 16}};
    // clang-format on
    const char* delims[] = {" ", ", ", "\n", ",", "\t", "  "};
    const int numbers = 150;
    for (auto [type, components] : types) {
        std::string text;
        for (int i = 0; i < numbers; ++i)
            text += std::to_string(int(rng() % 20001) - 10000) + (rng() % 2 ? ".25" : "") +
                    delims[rng() % 6];
        auto whole = owner.make(type), streamed = owner.make(type);
        whole->setValueByStr(text.c_str());
        std::string pending;  // every number is followed by a delimiter: the last one ends
        for (size_t pos = 0, len; pos < text.size(); pos += len) {
            pending += text.substr(pos, len = 1 + rng() % 17);
            const char* rest = streamed->addValueByStr(pending.c_str(), Field::CardinalityMulti);
            pending = rest ? rest : "";
        }
        EXPECT_EQ(pending.empty(), numbers % components == 0);  // the partial element is dropped
        EXPECT_GT(whole->size(), 0u);
        EXPECT_TRUE(whole->equalValue(*streamed)) << FieldType::dataTypeName(type);
    }
}

// A quarter turn about z set as a quaternion, as a conversion would: neither the text nor the
// binary form may show the stale axis form.
TEST(VectorBin, RotationFromAQuaternionPrintsAndWritesTheAxisForm) {
    Owner owner;
    SFRotation a(*owner.node), b(*owner.node);
    a.editValue().setQuat(osg::Quaternion(osg::Vec3f(0, 0, 2), 1.5707963f));
    b.editValue().setQuat(a.getValue().getQuat());
    const std::string text = textOf(a), bin = b.getBinValue(-1);
    float v[4] = {-9, -9, -9, -9};
    std::sscanf(text.c_str(), "%f %f %f %f", v, v + 1, v + 2, v + 3);
    ASSERT_EQ(bin.size(), 16u);
    for (int i = 0; i < 4; ++i) {
        EXPECT_NEAR(v[i], i == 3 ? 1.5707963f : i == 2, 1e-5) << text;
        EXPECT_NEAR(floatAt(bin, 4 * i), i == 3 ? 1.5707963f : i == 2, 1e-5) << i;
    }
}

const std::set<int> kDoubleVectors = {SFVec2dType, SFVec3dType, MFVec2dType, MFVec3dType};

// Binary forms: the whole value's size (0: none), whether a list has element forms; missing ones
// report, raw buffer forms exist nowhere. What a class writes reads back equal, but the double
// vectors write doubles and read the same bytes as floats.
TEST(VectorBin, WholeValueRoundTripsAndNotImpReports) {
    // clang-format off
    const struct { int type; size_t size; bool elements; } cases[] = {
        {SFColorType, 12, false}, {MFColorType, 68, true}, {SFColorRGBAType, 16, false}, {MFColorRGBAType, 72, true}, {SFVec2dType, 16, false},
        {MFVec2dType, 136, true}, {SFVec2fType, 8, false}, {MFVec2fType, 72, true}, {SFVec3dType, 24, false}, {MFVec3dType, 128, true},
        {SFVec3fType, 12, false}, {MFVec3fType, 68, true}, {SFVec4dType, 0, false}, {MFVec4dType, 0, false}, {SFVec4fType, 16, false},
        {MFVec4fType, 0, false}, {SFRotationType, 16, false}, {MFRotationType, 72, true}, {SFPlaneType, 0, false}, {MFPlaneType, 0, false},
        {SFMatrix3dType, 0, false}, {MFMatrix3dType, 0, false}, {SFMatrix3fType, 0, false}, {MFMatrix3fType, 0, false},
        {SFMatrix4dType, 0, false}, {MFMatrix4dType, 0, false}, {SFMatrix4fType, 64, false}, {MFMatrix4fType, 0, false}};
    // clang-format on
    Owner owner;
    for (const auto& c : cases) {
        std::string name = FieldType::dataTypeName(c.type);
        SCOPED_TRACE(name);
        auto a = owner.make(c.type), b = owner.make(c.type);
        a->setValueByStr("1.5 -2 0.25 1 0 1 0 0 0 0 1 0 0 0 0 1");
        bool multi = a->cardinality() == Field::CardinalityMulti;
        KalvexTest::LogCapture log;
        std::string bin = a->getBinValue(-1);
        EXPECT_EQ(bin.size(), c.size);
        b->setValueByBin(bin);
        EXPECT_EQ(a->equalValue(*b), c.size && !kDoubleVectors.count(c.type)) << textOf(*b);
        if (kDoubleVectors.count(c.type)) {  // the low half of the double 1.5, read as a float
            const double first = floatAt(bin, multi ? 8 : 0);
            EXPECT_EQ(bin.substr(multi ? 8 : 0, 8), std::string("\0\0\0\0\0\0\xf8\x3f", 8));
            EXPECT_EQ(b->getBinValue(-1).substr(multi ? 8 : 0, 8),
                      std::string((const char*)&first, 8));
        }
        std::string one = a->get1ValueAsBin(0);
        a->set1ValueByBin(0, one);
        // An element is its slice of the whole form; a single class hands over the whole value.
        EXPECT_EQ(one, !multi       ? bin
                       : c.elements ? bin.substr(8, (bin.size() - 8) / a->size())
                                    : "");
        auto notImp = [&](const char* get, const char* set) {
            return name + "::" + get + "() is not imp\n" + name + "::" + set + "() is not imp\n";
        };
        std::string expected = c.size ? "" : notImp("getBinValue", "setValueByBin");
        if (multi && !c.elements) expected += notImp("get1ValueByBin", "set1ValueByBin");
        if (!multi) expected += expected;
        unsigned char buffer[8] = {};
        EXPECT_EQ(a->getBinSize() + a->getBinValue(buffer), 0u);
        a->setValueByBin(buffer, sizeof(buffer));
        for (const char* form : {"getBinSize", "getBinValue", "setValueByBin"})
            expected += name + ".cpp " + form + " not Impl\n";
        EXPECT_EQ(messages(log), expected);
    }
}

}  // namespace
