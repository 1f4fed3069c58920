// Text and binary forms of the value field classes (numbers against strtod, strtol and printf;
// vectors, colours, rotations, planes, matrices) and the rotation value's two forms.

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
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using namespace Kalvex;

namespace {

// Fields of any type on a node of its own, kept while the owner lives.
struct Owner {
    Field* make(int type) {
        fields.emplace_back(FieldType::create(type, *node));
        return fields.back().get();
    }
    template <class T>
    T& make() {
        return static_cast<T&>(*make(T::kDataType));
    }

    KalvexTest::NodeHolder holder;
    Node* node = holder.node;
    std::vector<std::unique_ptr<Field>> fields;
};

std::string textOf(const Field& field) {
    std::string out;
    return field.getStrValue(out);
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
    // Lists: every n-th token completes an element, a partial one is dropped (the float and double
    // vector lists of other sizes: the locale test).
    {MFVec3fType, "1 2 3 4", F, true}, {MFVec3fType, "", "", true}, {MFVec3fType, nullptr, "", true},
    {MFVec3fType, "1 2", "", true}, {MFVec3fType, "1;2 3 4", "1.000000, 3.000000, 4.000000", true},
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

// A host that puts a C++ locale in place gets its decimal point in the number and vector lists,
// as from any stream. In the classic locale the stream-free path writes the same characters but
// for the point.
TEST(VectorText, ListsFollowTheGlobalLocale) {
    Owner owner;
    const char* in = "1.5 -0.25 3 1e6 0.1 7 -1e-7 2.5 4 inf 6 8";
    // clang-format off
    const std::pair<int, std::string> cases[] = {  // the first two numbers under the comma locale
        {MFFloatType, "1,500000, -0,250000, "}, {MFDoubleType, "1,500000000000, -0,25"}, {MFTimeType, "1,5, -0,25, 3, "},
        {MFVec2fType, "1,500000, -0,250000, "}, {MFVec3fType, "1,500000, -0,250000, "}, {MFVec4fType, "1,500000, -0,250000, "},
        {MFVec2dType, "1,500000000000, -0,25"}, {MFVec3dType, "1,500000000000, -0,25"}, {MFVec4dType, "1,500000000000, -0,25"}};
    // clang-format on
    for (const auto& [type, start] : cases) {
        SCOPED_TRACE(FieldType::dataTypeName(type));
        auto field = owner.make(type);
        field->setValueByStr(in);
        const std::string classic = textOf(*field);
        std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
        const std::string comma = textOf(*field);
        std::locale::global(old);
        EXPECT_EQ(comma.substr(0, start.size()), start);
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
// single mode adds one value by the single rule and answers null; MFFloat there takes numbers up
// to the first that is none.
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
    {MFPlaneType, M, "0 0 1 5 ", -1, "", "FATAL\tKalvex\tMFPlane::addValueByStr() for partial data not impl.\n"},
    {SFVec3fType, M, "1 2 3", -1, "1 2 3", ""}, {SFMatrix3fType, M, "i", -1, I3, ""},
    {MFVec3fType, S, "1 2", -1, "1.000000, 2.000000, 0.000000", ""}, {MFVec3fType, S, "4 5 6 7", -1, "4.000000, 5.000000, 6.000000", ""},
    {MFVec3fType, S, nullptr, -1, "0.000000, 0.000000, 0.000000", ""}, {MFMatrix3fType, S, "i", -1, "1 0 0 0 1 0 0 0 1", ""},
    {MFMatrix3fType, S, "", -1, "1 0 0 0 1 0 0 0 1", ""}, {MFMatrix3fType, S, "2", -1, "2 0 0 0 0 0 0 0 0", ""},
    {MFRotationType, S, "1 0 0 nan", -1, "0, 0, 1, 0", ""}, {MFRotationType, S, "0 1 0 2", -1, "0, 1, 0, 2", ""},
    {MFPlaneType, S, "0 0 1 5", -1, "0, 0, 1:5", ""},
    {MFFloatType, M, "1.5, 2.", 5, "1.500000", ""}, {MFFloatType, M, " ;\t", -1, "", ""}, {MFFloatType, M, "4 x 5", 2, "4.000000", ""},
    {MFDoubleType, M, "2 1.5", 2, "2.000000000000", ""}, {MFInt32Type, M, "7 8", 2, "7", ""}, {MFFloatType, M, nullptr, -1, "", ""},
    {MFDoubleType, S, "1.5 2", -1, "1.500000000000", ""}, {MFTimeType, S, "2.5, 3", -1, "2.5", ""}, {MFInt32Type, S, nullptr, -1, "0", ""},
    {MFBoolType, S, "yes no", -1, "TRUE", ""}, {MFStringType, S, "a \"b\"", -1, "\"a \\\"b\\\"\"", ""},
    {MFStringType, S, nullptr, -1, "\"\"", ""}, {MFQubitType, S, "OFF ", -1, "UNSET", ""},
    {MFFloatType, S, "1 2,3,,4", -1, "1.000000, 2.000000, 3.000000, 4.000000", ""}, {MFFloatType, S, "5 abc 6", -1, "5.000000", ""},
    {MFFloatType, S, nullptr, -1, "0.000000", ""}, {SFFloatType, S, "2.5 3", -1, "2.5", ""}};
// clang-format on

// Single values read every token with strtof, the double types too; a rotation reads with
// strtod and narrows, so a value beyond float range gives the default rotation.
TEST(VectorText, SingleValueTokensReadAsFloats) {
    Owner owner;
    auto& vec = owner.make<SFVec3d>();
    auto& rotation = owner.make<SFRotation>();
    auto& matrix = owner.make<SFMatrix4d>();
    vec.setValueByStr("0.1 -1e300 2");
    matrix.setValueByStr("0.1");
    rotation.setValueByStr("0 1 0 1e39");
    EXPECT_EQ(
        std::make_tuple(vec.getValue()[0], vec.getValue()[1], matrix.getValue().getValues()[0]),
        std::make_tuple(double(std::strtof("0.1", nullptr)), -HUGE_VAL, double(0.1f)));
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
        EXPECT_EQ(log.text(), c.log);
    }
}

// Cut one long text at random places and feed it piece by piece, carrying the remainder over as
// a streaming reader does; the result must equal one setValueByStr of the whole.
TEST(VectorStream, PiecesAddUpToTheWholeText) {
    std::mt19937 rng(7);
    Owner owner;
    // The number lists stream as well, one number to an element.
    // clang-format off
    const std::pair<int, int> types[] = {{MFFloatType, 1}, {MFDoubleType, 1}, {MFTimeType, 1}, {MFInt32Type, 1},
        {MFVec3fType, 3}, {MFVec2dType, 2}, {MFColorRGBAType, 4}, {MFRotationType, 4}, {MFMatrix4fType, 16}};
    // clang-format on
    const char* signs[] = {"", "-", "+"};
    const char* tails[] = {"", ".25", ".5"};
    // A semicolon ends a whole matrix list but separates in a stream, so matrices go without.
    const char* delims[] = {" ", ", ", "\r\n", ",", "\t", "  ", ";\t"};
    const int numbers = 150;
    for (auto [type, components] : types) {
        std::string text;
        for (int i = 0; i < numbers; ++i) {
            const char* tail = type == MFInt32Type ? "" : tails[rng() % 3];
            text += signs[rng() % 3];
            if (*tail != '.' || rng() % 4) text += std::to_string(rng() % 10001);  // or ".25"
            (text += tail) += delims[rng() % (type == MFMatrix4fType ? 6 : 7)];
        }
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
        EXPECT_TRUE(whole->equalValue(*streamed)) << FieldType::dataTypeName(type) << ": " << text;
    }
}

// A quarter turn about z set as a quaternion, as a conversion would: neither the text nor the
// binary form may show the stale axis form.
TEST(VectorBin, RotationFromAQuaternionPrintsAndWritesTheAxisForm) {
    Owner owner;
    auto &a = owner.make<SFRotation>(), &b = owner.make<SFRotation>();
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
        const std::string fatal = "FATAL\tKalvex\t" + name;
        auto notImp = [&](const char* get, const char* set) {
            return fatal + "::" + get + "() is not imp\n" + fatal + "::" + set + "() is not imp\n";
        };
        std::string expected = c.size ? "" : notImp("getBinValue", "setValueByBin");
        if (multi && !c.elements) expected += notImp("get1ValueByBin", "set1ValueByBin");
        if (!multi) expected += expected;
        unsigned char buffer[8] = {};
        EXPECT_EQ(a->getBinSize() + a->getBinValue(buffer), 0u);
        a->setValueByBin(buffer, sizeof(buffer));
        for (const char* form : {"getBinSize", "getBinValue", "setValueByBin"})
            expected += fatal + ".cpp " + form + " not Impl\n";
        EXPECT_EQ(log.text(), expected);
    }
}

// --- the rotation value ------------------------------------------------------------------------

TEST(Rotation, StateFollowsTheFormLastSetAndTheFormLastComputed) {
    Rotation r;
    EXPECT_EQ(r.state(), Rotation::AxisCurrent);
    r.setQuat(osg::Quaternion(osg::Vec3f(1, 0, 0), 0.5f));
    Rotation copy = r;  // carries the state along, but its cache is its own
    float x, y, z, a;
    copy.getAxisAngle(x, y, z, a);
    EXPECT_EQ(std::make_pair(r.state(), copy.state()),
              std::make_pair(Rotation::QuatCurrent, Rotation::BothCurrent));
    EXPECT_TRUE(std::fabs(x - 1) < 1e-6 && std::fabs(a - 0.5) < 1e-5) << x << " " << a;
    // The stored axis is kept as given although the quaternion uses it normalised, and an
    // update of a value whose other form is not stale touches nothing.
    r.setAxisAngle(0, 0, 2, float(M_PI));
    r.updateAxis();
    r.updateAxisInline();
    EXPECT_TRUE(std::fabs(r.getQuat().z() - 1) < 1e-6 && std::fabs(r.getQuat().w()) < 1e-6);
    EXPECT_EQ(r.state(), Rotation::BothCurrent);
    r.getAxisAngle(x, y, z, a);
    EXPECT_EQ(std::make_pair(z, a), std::make_pair(2.0f, float(M_PI)));
}

TEST(Rotation, AxisAngleAndQuaternionConvertBothWays) {
    std::mt19937 rng(5);
    // Small angles are left out: acos near 1 loses more than the comparison allows.
    std::uniform_real_distribution<float> unit(-2, 2), angle(0.3f, 3.0f);
    for (int i = 0; i < 300; ++i) {
        osg::Vec3f axis{unit(rng), unit(rng), unit(rng)};
        float a = angle(rng);
        if (axis.length() < 0.1f) continue;
        Rotation r(axis[0], axis[1], axis[2], a);
        osg::Quaternion q = r.getQuat(), expected(axis, a);
        for (int k = 0; k < 4; ++k) ASSERT_NEAR(q[k], expected[k], 2e-6) << i;
        // Both read-outs back to axis form (the quaternion's goes through degrees).
        axis.normalize();
        Rotation viaQuat(q), viaInline(q);
        float v[4], w[4];
        viaQuat.getAxisAngle(v[0], v[1], v[2], v[3]);
        viaInline.getAxisAngleInline(w[0], w[1], w[2], w[3]);
        for (int k = 0; k < 3; ++k)
            EXPECT_TRUE(std::fabs(v[k] - axis[k]) < 1e-4 && std::fabs(w[k] - axis[k]) < 1e-4) << i;
        EXPECT_NEAR(v[3], a, 1e-4);
        EXPECT_NEAR(w[3], 2 * std::acos(q.w()), 1e-6);
        EXPECT_TRUE(Rotation(w[0], w[1], w[2], w[3]) == r) << i;
    }
    float x, y, z, a;  // no vector part: the default axis and no angle
    Rotation(osg::Quaternion()).getAxisAngleInline(x, y, z, a);
    EXPECT_EQ(osg::Vec4f(x, y, z, a), osg::Vec4f(0, 0, 1, 0));
}

// Equal within one millionth per quaternion component, in both orders.
TEST(Rotation, EqualityTolerance) {
    auto quat = [](float x, float y, float z, float w) {
        osg::Quaternion q;
        q.setValueAsQuat(x, y, z, w);
        return Rotation(q);
    };
    const float h = 0.5f;
    // clang-format off
    // Axis length does not matter; no angle or no axis (within 1e-6) is identity; q and -q (the
    // same turn) are unequal.
    const struct { Rotation a, b; bool equal; } cases[] = {
        {Rotation(0, 1, 0, 1), Rotation(0, 5, 0, 1), true}, {Rotation(0, 0, 1, 0), Rotation(1, 0, 0, 0), true},
        {Rotation(0, 0, 0, 1), Rotation(0, 0, 1, 0), true}, {Rotation(1e-7f, 0, 0, 2), Rotation(0, 0, 1, 0), true},
        {Rotation(0, 1, 0, 1), Rotation(0, 1, 0, 1.001f), false}, {Rotation(0, 1, 0, 1), Rotation(0, -1, 0, -1), true},
        {quat(0, 0, 1, 0), quat(0, 0, -1, 0), false}, {quat(h, h, h, h), quat(h, h, h, h + 5e-7f), true},
        {quat(h, h, h, h), quat(h, h, h, h + 3e-6f), false}, {quat(0, 0, 0, 1), Rotation(0, 0, 1, 0), true}};
    // clang-format on
    for (const auto& c : cases)
        EXPECT_EQ(std::make_pair(c.a == c.b, c.b == c.a), std::make_pair(c.equal, c.equal))
            << (&c - cases);
}

// --- numbers, strings, bools and qubits --------------------------------------------------------

const NodePartDataType kScalarTypes[] = {
    SFBoolType,  MFBoolType,   SFDoubleType, MFDoubleType, SFFloatType, MFFloatType, SFInt32Type,
    MFInt32Type, SFStringType, MFStringType, SFTimeType,   MFTimeType,  SFQubitType, MFQubitType};

class ScalarFieldTest : public ::testing::Test, protected Owner {
  protected:
    std::string reprint(NodePartDataType type, const char* in) {
        Field* f = make(type);
        f->setValueByStr("1 2 3");  // replaced, never merged
        f->setValueByStr(in);
        return textOf(*f);
    }

    std::mt19937_64 _rng{987654321};
};

TEST_F(ScalarFieldTest, TextInTextOut) {
    // clang-format off
    const struct { NodePartDataType type; const char* in; const char* out; } cases[] = {
        // SFBool by first character; a plus sign or a blank is not among them.
        {SFBoolType, "yes", "TRUE"}, {SFBoolType, "No", "FALSE"}, {SFBoolType, "0.0", "FALSE"}, {SFBoolType, "-0.5", "TRUE"},
        {SFBoolType, "+1", "FALSE"}, {SFBoolType, " TRUE", "FALSE"}, {SFBoolType, nullptr, "FALSE"},
        // SFInt32: strtol base 10; SFFloat, SFDouble "%g"; SFTime "%.16g".
        {SFInt32Type, "  +5", "5"}, {SFInt32Type, "0x10", "0"}, {SFInt32Type, "3000000000", "-1294967296"}, {SFInt32Type, nullptr, "0"},
        {SFFloatType, "  -2.5e-3x", "-0.0025"}, {SFFloatType, "0x1p4", "16"}, {SFFloatType, "1e40", "inf"}, {SFFloatType, "1;2", "1"},
        {SFFloatType, nullptr, "0"}, {SFDoubleType, "123456789", "1.23457e+08"}, {SFTimeType, "123456789.125", "123456789.125"},
        {SFTimeType, "-inf", "-inf"}, {SFTimeType, nullptr, "0"},
        // SFString as it stands; SFQubit compares the whole text.
        {SFStringType, "a \"b\" \\c", "a \"b\" \\c"}, {SFStringType, nullptr, ""},
        {SFQubitType, "TRUE", "ON"}, {SFQubitType, "OFF", "OFF"}, {SFQubitType, "", "UNSET"}, {SFQubitType, "on", "UNSET"},
        // Lists: token set, fixed 6 (MFFloat), fixed 12 (MFDouble), default (MFTime), decimal.
        {MFFloatType, "1;2 3", "1.000000, 3.000000"}, {MFFloatType, "abc 2", "0.000000, 2.000000"},
        {MFFloatType, ",,\t\r\n 0.1 ,", "0.100000"}, {MFFloatType, nullptr, ""},
        {MFInt32Type, "1 -2 +3 0x4 5.9", "1, -2, 3, 0, 5"}, {MFInt32Type, "2147483648", "-2147483648"},
        {MFDoubleType, "0.5 1e-3", "0.500000000000, 0.001000000000"}, {MFTimeType, "1.5 1234567 0.1 -0", "1.5, 1.23457e+06, 0.1, -0"},
        {MFBoolType, "TRUE false, yes\t0\n1", "TRUE, FALSE, TRUE, FALSE, TRUE"}, {MFBoolType, nullptr, ""},
        // MFString: the first quote decides; escapes; the unquoted form; open strings dropped.
        {MFStringType, "\"a\\\"b\" \"c\\\\d\"", "\"a\\\"b\" \"c\\\\d\""}, {MFStringType, "a;b\tc", "\"a\" \"b\" \"c\""},
        {MFStringType, "\"one\" \"open", "\"one\""}, {MFStringType, "'it\"s'", "\"it\\\"s\""},
        {MFStringType, "\"a\\nb\"", "\"a\\\\nb\""}, {MFStringType, "junk \"a\" junk", "\"a\""}, {MFStringType, nullptr, ""},
        // MFQubit: each value compares the whole rest of the text; names run together.
        {MFQubitType, "FALSE", "OFF"}, {MFQubitType, "ON OFF", "UNSETOFF "}, {MFQubitType, nullptr, ""}};
    // clang-format on
    KalvexTest::LogCapture log;  // text parsing never reports
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(FieldType::dataTypeName(c.type)) + " from >" +
                     (c.in ? c.in : "null") + "<");
        EXPECT_EQ(reprint(c.type, c.in), c.out);
        EXPECT_TRUE(c.type == MFQubitType ||
                    reprint(c.type, c.out) == c.out);  // print, read, print is stable
    }
    EXPECT_EQ(log.text(), "");
    auto& s = make<MFString>();
    s.editValue() = {"plain", "with \"quotes\"", "back\\slash", "", "'single'", "tail\\"};
    auto& back = make<MFString>();
    back.setValueByStr(textOf(s).c_str());
    EXPECT_TRUE(back.equalValue(s)) << textOf(s);
}

// Whole and element binary forms: sizes, round trips, out-of-range indices, corrupt data.
TEST_F(ScalarFieldTest, BinaryRoundTripsAndCorruptData) {
    // clang-format off
    const struct { NodePartDataType type; const char* in; size_t bytes; } cases[] = {
        {SFBoolType, "TRUE", 1}, {SFInt32Type, "-123456", 8}, {SFFloatType, "0.1", 4}, {SFDoubleType, "0.1", 8},
        {SFTimeType, "1e-300", 8}, {SFStringType, "with \"quotes\"", 4 + 13}, {MFFloatType, "1 -0.5 3e38", 20},
        {MFDoubleType, "0.1 -1e300", 24}, {MFTimeType, "5", 16}, {MFStringType, "\"a\" \"\" \"ccc\"", 8 + 5 + 4 + 7},
        {MFFloatType, "", 8}};
    // clang-format on
    for (const auto& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr(c.in);
        std::string bin = f->getBinValue(-1);
        Field* g = make(c.type);  // reads what f wrote
        g->setValueByBin(bin);
        EXPECT_TRUE(bin.size() == c.bytes && g->equalValue(*f)) << FieldType::dataTypeName(c.type);
    }
    for (NodePartDataType type : {MFFloatType, MFDoubleType, MFTimeType, MFStringType}) {
        Field *f = make(type), *g = make(type);
        f->setValueByStr("1 2 3");
        g->setValueByStr("7 8 9");
        for (int i = 0; i < 3; ++i) g->set1ValueByBin(i, f->get1ValueAsBin(i));
        EXPECT_TRUE(g->equalValue(*f)) << FieldType::dataTypeName(type) << ": " << textOf(*g);
        g->set1ValueByBin(17, f->get1ValueAsBin(0));
        EXPECT_TRUE(f->get1ValueAsBin(3).empty() && f->get1ValueAsBin(-1).empty() &&
                    g->size() == 3);
    }
    // MFInt32 writes longs and reads ints: the whole list does not read back, one element does.
    auto &n = make<MFInt32>(), &m = make<MFInt32>();
    n.setValueByStr("5 -3");
    EXPECT_EQ(n.getBinValue(-1).size(), 8u + 16u);
    m.setValueByBin(n.getBinValue(-1));
    EXPECT_EQ(m.getValue(), std::vector<int>({5, 0}));  // the low half of 5, then its high half
    m.set1ValueByBin(1, n.get1ValueAsBin(1));
    EXPECT_EQ(m.getValue(), std::vector<int>({5, -3}));
    auto &d = make<MFDouble>(), &g = make<MFDouble>();  // corrupt data reads what the bytes hold
    d.setValueByStr("1 2 3");
    const std::string bin = d.getBinValue(-1);
    // clang-format off
    const std::pair<std::string, std::vector<double>> corrupt[] = {  // huge and negative counts, short data, no count
        {bin.substr(0, 6) + '\x7f' + bin.substr(7), {1, 2, 3}}, {bin.substr(0, 7) + '\x80' + bin.substr(8), {}},
        {bin.substr(0, bin.size() - 3), {1, 2}}, {bin, {1, 2, 3}}, {std::string("\x01\x02", 2), {}}};
    // clang-format on
    for (const auto& [data, values] : corrupt) {
        g.setValueByBin(data);
        EXPECT_EQ(g.getValue(), values);
    }
    auto& s = make<MFString>();
    s.setValueByBin(std::string("\xff\xff\xff\xff\xff\xff\xff\x0f", 8) + std::string(40, 'A'));
    EXPECT_LE(s.size(), 10u);
}

TEST_F(ScalarFieldTest, NotImplementedForms) {
    KalvexTest::LogCapture log;
    for (NodePartDataType type : kScalarTypes) {
        const std::string name = FieldType::dataTypeName(type);
        const bool qubitOrMFBool = type == SFQubitType || type == MFQubitType || type == MFBoolType;
        Field* f = make(type);
        f->setValueByStr("ON");
        log.clear();
        EXPECT_EQ(f->getBinValue(-1).empty(), qubitOrMFBool) << name;
        f->setValueByBin(std::string("\x01", 1));
        const bool list = FieldType::isMultiField(type);
        if (qubitOrMFBool && list) {
            EXPECT_TRUE(f->size() == 1 && f->get1ValueAsBin(0).empty()) << name;
            f->set1ValueByBin(0, "x");
        }
        // Each missing binary form reports once (the exact texts: the vector binary test).
        EXPECT_EQ(log.count(name + "::"), qubitOrMFBool ? (list ? 4 : 2) : 0) << name;
    }
    log.clear();
    for (NodePartDataType type : {MFBoolType, MFQubitType, MFStringType}) {
        Field* f = make(type);
        EXPECT_TRUE(!f->addValueByStr("\"ON\"", Field::CardinalityMulti) && f->size() == 0);
        EXPECT_TRUE(log.contains(std::string(FieldType::dataTypeName(type)) +
                                 "::addValueByStr() for partial data not impl."));
    }
    EXPECT_TRUE(log.contains(
        "Node.NoName MFString::addValueByStr() for partial data not impl. \n >\"ON\"<\n"));
}

// The fast paths against the C library on random numbers, to the bit and to the byte.

template <class T>
bool sameBits(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

std::string format(const char* fmt, double v) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, v);
    return buffer;
}

// Any bit pattern (NaNs, infinities, huge exponents), denormals, plain numbers, specials.
double randomDouble(std::mt19937_64& rng) {
    static const double specials[] = {0.0, -0.0, 0.1, 1.7976931348623157e308, 4.9e-324, 1e-7};
    std::uint64_t bits = rng();
    if (bits % 4 == 1) bits &= 0x800fffffffffffffULL;
    if (bits % 4 == 2) return std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
    if (bits % 4 == 3) return specials[rng() % std::size(specials)];
    return std::bit_cast<double>(bits);
}

// Number texts of every shape strtod knows, and some it half knows.
std::string randomNumberText(std::mt19937_64& rng) {
    // clang-format off
    static const char* const fixed[] = {"inf", "-INFINITY", "nan(123)", "0x1.8p3", "-0X1P-1074", "1e400", "-1e-400", ".5", "5.",
        "1e", "1e+", "-", ".", "-.e3", "+.5e1", "00012.50", "0x", "\v3", "\f-2", "1.e5", "9007199254740993",
        "2.4703282292062328e-324", "1e-325", "0e999999"};
    // clang-format on
    static const char* const formats[] = {"%.17g", "%.3e", "%a", "%f", "%.25g"};
    unsigned pick = rng() % 7;
    if (pick < 5) return format(formats[pick], randomDouble(rng));
    if (pick == 6) return fixed[rng() % std::size(fixed)];
    std::string s = (rng() % 2) ? "-" : "";  // long mantissas that need exact rounding
    int n = 1 + int(rng() % 60);
    for (int i = 0; i < 2 * n + 1; ++i) s += i == n ? '.' : char('0' + rng() % 10);
    return s + 'e' + std::to_string(int(rng() % 700) - 350);
}

std::string join(const std::vector<std::string>& tokens, std::mt19937_64& rng) {
    std::string s;
    for (const std::string& t : tokens) s += t + std::string(1 + rng() % 3, " ,\t\r\n"[rng() % 5]);
    return s;
}

TEST_F(ScalarFieldTest, ListsReadAsStrtodAndStrtolAndPrintAsPrintf) {
    // clang-format off
    static const char* const fixedInts[] = {"+12", "-", "0x1f", "007", "-2147483649", "99999999999999999999999",
                                            "-9223372036854775808", "12abc", "\v5", "1.9"};
    // clang-format on
    std::vector<std::string> numbers, ints;
    for (int i = 0; i < 2000; ++i) {
        numbers.push_back(randomNumberText(_rng));
        const std::int64_t wide = _rng() % 2 ? std::int64_t(_rng()) : int(std::uint32_t(_rng()));
        ints.push_back(_rng() % 3 ? std::to_string(wide)
                                  : fixedInts[_rng() % std::size(fixedInts)]);
    }
    auto& d = make<MFDouble>();
    auto& t = make<MFTime>();
    auto& f = make<MFFloat>();
    auto& n = make<MFInt32>();
    d.setValueByStr(join(numbers, _rng).c_str());
    f.setValueByStr(join(numbers, _rng).c_str());
    n.setValueByStr(join(ints, _rng).c_str());
    ASSERT_EQ(d.size() + f.size() + n.size(), 3 * numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) {
        double expected = std::strtod(numbers[i].c_str(), nullptr);
        EXPECT_TRUE(sameBits(d.getValue()[i], expected)) << numbers[i];
        EXPECT_TRUE(sameBits(f.getValue()[i], float(expected))) << numbers[i];
        EXPECT_EQ(n.getValue()[i], int(std::strtol(ints[i].c_str(), nullptr, 10))) << ints[i];
    }

    d.clear();
    f.clear();
    std::string dText, tText, fText, nText;
    for (int i = 0; i < 2000; ++i) {
        double v = randomDouble(_rng);
        float fv = i % 2 ? std::bit_cast<float>(std::uint32_t(_rng())) : float(v);
        d.editValue().push_back(v);
        t.editValue().push_back(v);
        f.editValue().push_back(fv);
        const std::string sep = i ? ", " : "";
        dText += sep + format("%.12f", v);
        tText += sep + format("%g", v);
        fText += sep + format("%.6f", fv);
        nText += sep + std::to_string(n.getValue()[i]);
    }
    EXPECT_EQ(textOf(d), dText);
    EXPECT_EQ(textOf(t), tText);
    EXPECT_EQ(textOf(f), fText);
    EXPECT_EQ(textOf(n), nText);
}

}  // namespace
