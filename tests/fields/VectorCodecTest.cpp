// Text and binary forms of the vector, colour, rotation, plane and matrix field classes.

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <iomanip>
#include <limits>
#include <memory>
#include <random>
#include <sstream>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "platform/harnel/BinStream.h"
#include "support/LogCapture.h"

using namespace Kalvex;

namespace {

struct Owner {
    NodeType type{"VectorCodecTestType", nullptr, 0};
    Node* node;
    Owner() : node(new Node(type, "n")) { node->addRef(); }
    ~Owner() { node->subRef(); }
    std::unique_ptr<Field> make(int dataType) {
        return std::unique_ptr<Field>(FieldType::create(dataType, *node));
    }
};

std::string textOf(const Field& field) {
    std::string out;
    field.getStrValue(out);
    return out;
}

const char* kIdentity3 =
    "   1.000    0.000    0.000 \n   0.000    1.000    0.000 \n   0.000    0.000    1.000 \n";
const char* kIdentity4 =
    "   1.000    0.000    0.000    0.000 \n   0.000    1.000    0.000    0.000 \n"
    "   0.000    0.000    1.000    0.000 \n   0.000    0.000    0.000    1.000 \n";

// ------------------------------------------------------------------------------------------
// Text in, text out.

struct TextCase {
    int type;
    const char* in;  // null: setValueByStr(nullptr)
    const char* out;
};

std::ostream& operator<<(std::ostream& os, const TextCase& c) {
    return os << FieldType::dataTypeName(c.type) << " <" << (c.in ? c.in : "(null)") << ">";
}

class VectorText : public ::testing::TestWithParam<TextCase> {};

TEST_P(VectorText, ParsesAndPrints) {
    const TextCase& c = GetParam();
    KalvexTest::LogCapture log;
    Owner owner;
    auto field = owner.make(c.type);
    ASSERT_TRUE(field);
    field->setValueByStr("9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9 9");  // replaced, never merged
    field->setValueByStr(c.in);
    EXPECT_EQ(textOf(*field), c.out);
    EXPECT_FALSE(log.contains("not imp")) << log.text();
}

INSTANTIATE_TEST_SUITE_P(
    Single, VectorText,
    ::testing::Values(
        // Missing components are 0, extra ones ignored; blanks, tabs, line ends and commas
        // separate tokens, a semicolon does not and the number ends at it.
        TextCase{SFVec3fType, "1", "1 0 0"}, TextCase{SFVec3fType, "1,2 3 4", "1 2 3"},
        TextCase{SFVec3fType, "1;2 3", "1 3 0"}, TextCase{SFVec3fType, "", "0 0 0"},
        TextCase{SFVec3fType, nullptr, "0 0 0"}, TextCase{SFVec3fType, "\t1\r\n2,,,3", "1 2 3"},
        TextCase{SFVec3fType, "+1 0x10 .5", "1 16 0.5"},
        TextCase{SFVec3fType, "1e50 1e-50 -inf", "inf 0 -inf"},
        TextCase{SFVec3fType, "abc 2 3", "0 2 3"}, TextCase{SFVec3fType, "1.5e2x 2", "150 2 0"},
        TextCase{SFVec2fType, "0.5 -0.25 7", "0.5 -0.25"},
        TextCase{SFVec2dType, "1e-7 123456789", "1e-07 1.23457e+08"},
        TextCase{SFVec3dType, "0.1 0.2 0.3", "0.1 0.2 0.3"},
        TextCase{SFVec4fType, "1 2 3", "1 2 3 0"}, TextCase{SFVec4dType, "1 2 3 4 5", "1 2 3 4"},
        TextCase{SFColorType, "1 0.5", "1 0.5 0"},
        TextCase{SFColorRGBAType, "0.1 0.2 0.3 0.4", "0.1 0.2 0.3 0.4"},
        TextCase{SFColorRGBAType, "", "0 0 0 0"}, TextCase{SFPlaneType, "0 0 1 5", "0 0 1 5"},
        TextCase{SFPlaneType, "0 3", "0 3 0 0"},
        // Rotation: the default axis for no text, the axis kept as given, non-finite parts
        // replaced by the default.
        TextCase{SFRotationType, "", "0 0 1 0"}, TextCase{SFRotationType, nullptr, "0 0 1 0"},
        TextCase{SFRotationType, "1 0 0", "1 0 0 0"},
        TextCase{SFRotationType, "0 2 0 1.5", "0 2 0 1.5"},
        TextCase{SFRotationType, "nan 0 0 1", "0 0 1 0"},
        TextCase{SFRotationType, "1 0 0 1e400", "0 0 1 0"},
        // Matrices: identity for no text or a small i; one column per line, three decimals.
        TextCase{SFMatrix4fType, "", kIdentity4}, TextCase{SFMatrix4fType, nullptr, kIdentity4},
        TextCase{SFMatrix4fType, "identity 5 5", kIdentity4},
        TextCase{SFMatrix4dType, "i", kIdentity4}, TextCase{SFMatrix3fType, "i", kIdentity3},
        TextCase{SFMatrix3dType, "", kIdentity3},
        TextCase{SFMatrix3fType, "I",
                 "   0.000    0.000    0.000 \n   0.000    0.000    0.000 \n"
                 "   0.000    0.000    0.000 \n"},
        TextCase{SFMatrix3fType, "1 2 3 4 5 6 7 8 9",
                 "   1.000    2.000    3.000 \n   4.000    5.000    6.000 \n"
                 "   7.000    8.000    9.000 \n"},
        TextCase{SFMatrix3dType, "0.12345 -1 1234.5678 4",
                 "   0.123   -1.000 1234.568 \n   4.000    0.000    0.000 \n"
                 "   0.000    0.000    0.000 \n"},
        TextCase{SFMatrix4fType, "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16",
                 "   1.000    2.000    3.000    4.000 \n   5.000    6.000    7.000    8.000 \n"
                 "   9.000   10.000   11.000   12.000 \n  13.000   14.000   15.000   16.000 \n"}));

INSTANTIATE_TEST_SUITE_P(
    Multi, VectorText,
    ::testing::Values(
        // Every n-th token completes an element; a partial element is dropped.
        TextCase{MFVec3fType, "1 2 3 4", "1.000000, 2.000000, 3.000000"},
        TextCase{MFVec3fType, "", ""}, TextCase{MFVec3fType, nullptr, ""},
        TextCase{MFVec3fType, "1 2", ""},
        TextCase{MFVec3fType, "1 2 3, 4 5 6",
                 "1.000000, 2.000000, 3.000000, 4.000000, 5.000000, 6.000000"},
        TextCase{MFVec3fType, "1;2 3 4", "1.000000, 3.000000, 4.000000"},
        TextCase{MFVec2fType, "0.1 0.2", "0.100000, 0.200000"},
        TextCase{MFVec4fType, "1 2 3 4", "1.000000, 2.000000, 3.000000, 4.000000"},
        TextCase{MFVec2dType, "0.1 0.2", "0.100000000000, 0.200000000000"},
        TextCase{MFVec3dType, "1 2 3 4 5 6 7",
                 "1.000000000000, 2.000000000000, 3.000000000000, 4.000000000000, "
                 "5.000000000000, 6.000000000000"},
        TextCase{MFVec4dType, "0.5 0 0 1",
                 "0.500000000000, 0.000000000000, 0.000000000000, "
                 "1.000000000000"},
        TextCase{MFColorType, "1 0 0 0 1 0", "1 0 0, 0 1 0"},
        TextCase{MFColorRGBAType, "1 0 0 1 0 0.5 0 0.25", "1 0 0 1, 0 0.5 0 0.25"},
        TextCase{MFRotationType, "0 1 0 1.5 1 0 0 0", "0, 1, 0, 1.5, 1, 0, 0, 0"},
        TextCase{MFRotationType, "0 0 0 inf 0 1 0 2", "0, 0, 1, 0, 0, 1, 0, 2"},
        TextCase{MFPlaneType, "0 0 1 5 1 0 0 2", "0, 0, 1:5, 1, 0, 0:2"},
        // Matrix lists: one flat list in default format, no identity shortcut, the first
        // text that is no number ends the parse.
        TextCase{MFMatrix3fType, "1 2 3 4 5 6 7 8 9 10", "1 2 3 4 5 6 7 8 9"},
        TextCase{MFMatrix3dType, "1 2 3 4 5 6 7 8 9 0.5 0 0 0 1 0 0 0 1",
                 "1 2 3 4 5 6 7 8 9 0.5 0 0 0 1 0 0 0 1"},
        TextCase{MFMatrix3fType, "1 2 3 4 5 6 7 8 9 x 1 2 3 4 5 6 7 8 9", "1 2 3 4 5 6 7 8 9"},
        TextCase{MFMatrix3fType, "1;2 3 4 5 6 7 8 9 10", ""}, TextCase{MFMatrix4fType, "i", ""},
        TextCase{MFMatrix4fType, "1 0 0 0 0 1 0 0 0 0 1 0 0.123456789 2 3 1",
                 "1 0 0 0 0 1 0 0 0 0 1 0 0.123457 2 3 1"},
        TextCase{MFMatrix4dType, "1,0,0,0,0,1,0,0,0,0,1,0,0,0,0,1",
                 "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1"}));

// ------------------------------------------------------------------------------------------
// Round trips: what a field prints, a fresh field of the same class reads back as an equal
// value. The exceptions are checked below.

struct RoundTrip {
    int type;
    const char* in;
};

class VectorRoundTrip : public ::testing::TestWithParam<RoundTrip> {};

TEST_P(VectorRoundTrip, PrintedTextReadsBackEqual) {
    Owner owner;
    auto a = owner.make(GetParam().type);
    auto b = owner.make(GetParam().type);
    a->setValueByStr(GetParam().in);
    std::string text = textOf(*a);
    b->setValueByStr(text.c_str());
    EXPECT_TRUE(a->equalValue(*b)) << text << " -> " << textOf(*b);
    EXPECT_EQ(textOf(*b), text);
}

INSTANTIATE_TEST_SUITE_P(
    All, VectorRoundTrip,
    ::testing::Values(
        RoundTrip{SFVec2fType, "1.5 -2"}, RoundTrip{SFVec2dType, "0.25 8"},
        RoundTrip{SFVec3fType, "1 -2.5 3e5"}, RoundTrip{SFVec3dType, "1 2 3"},
        RoundTrip{SFVec4fType, "1 2 3 4"}, RoundTrip{SFVec4dType, "-1 -2 -3 -4"},
        RoundTrip{SFColorType, "1 0.5 0.25"}, RoundTrip{SFColorRGBAType, "1 0.5 0.25 0.125"},
        RoundTrip{SFRotationType, "0 1 0 1.5"}, RoundTrip{SFPlaneType, "0 1 0 -3"},
        RoundTrip{SFMatrix3fType, "1 2 3 4 5 6 7 8 9"}, RoundTrip{SFMatrix4dType, "i"},
        RoundTrip{SFMatrix4fType, "2 0 0 0 0 2 0 0 0 0 2 0 1.5 2.5 3.5 1"},
        RoundTrip{MFVec2fType, "1 2 3 4"}, RoundTrip{MFVec3fType, "1 2 3 4 5 6"},
        RoundTrip{MFVec4fType, "1 2 3 4"}, RoundTrip{MFVec2dType, "0.1 0.2"},
        RoundTrip{MFVec3dType, "0.1 0.2 0.3"}, RoundTrip{MFVec4dType, "1 2 3 4"},
        RoundTrip{MFColorType, "1 0 0 0 1 0"}, RoundTrip{MFColorRGBAType, "1 0 0 1 0 1 0 0.5"},
        RoundTrip{MFRotationType, "0 1 0 1.5 1 0 0 0.25"},
        RoundTrip{MFMatrix3fType, "1 2 3 4 5 6 7 8 9"},
        RoundTrip{MFMatrix4dType, "1 0 0 0 0 1 0 0 0 0 1 0 5 6 7 1"}, RoundTrip{MFVec3fType, ""}));

// The vector lists print what the vector stream operator prints under fixed precision 6
// (float) or 12 (double), element after element with ", " between.
template <class V>
void expectStreamForm(int type, int precision, std::mt19937& rng) {
    Owner owner;
    auto field = owner.make(type);
    auto& values = static_cast<MVField<V, false>&>(*field).editValue();
    std::uniform_real_distribution<double> mantissa(-10, 10);
    const double specials[] = {0.0, -0.0, 1e-7, -5e-13, 1e30, 3.4e38, 1e300, 0.5e-6, 2.5e-12};
    for (int i = 0; i < 300; ++i) {
        V v;
        for (int c = 0; c < V::_iSize; ++c) {
            double x = rng() % 4 ? mantissa(rng) * std::pow(10.0, int(rng() % 13) - 6)
                                 : specials[rng() % 9];
            v[c] = typename V::ValueType(x);
        }
        values.push_back(v);
    }
    values.push_back(V(std::numeric_limits<typename V::ValueType>::infinity()));
    std::ostringstream expected;
    expected << std::fixed << std::setprecision(precision);
    for (size_t i = 0; i < values.size(); ++i) expected << (i ? ", " : "") << values[i];
    EXPECT_EQ(textOf(*field), expected.str()) << FieldType::dataTypeName(type);
}

TEST(VectorText, VectorListsPrintTheStreamForm) {
    std::mt19937 rng(17);
    expectStreamForm<osg::Vec2f>(MFVec2fType, 6, rng);
    expectStreamForm<osg::Vec3f>(MFVec3fType, 6, rng);
    expectStreamForm<osg::Vec4f>(MFVec4fType, 6, rng);
    expectStreamForm<osg::Vec2d>(MFVec2dType, 12, rng);
    expectStreamForm<osg::Vec3d>(MFVec3dType, 12, rng);
    expectStreamForm<osg::Vec4d>(MFVec4dType, 12, rng);
}

TEST(VectorTextAsymmetry, MatrixTextKeepsThreeDecimalsOnly) {
    Owner owner;
    auto a = owner.make(SFMatrix4dType);
    auto b = owner.make(SFMatrix4dType);
    a->setValueByStr("1.23456 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1");
    b->setValueByStr(textOf(*a).c_str());
    EXPECT_FALSE(a->equalValue(*b));
    EXPECT_DOUBLE_EQ(static_cast<SFMatrix4d&>(*b).getValue().getValues()[0], 1.235);
}

TEST(VectorTextAsymmetry, PlaneListTextDoesNotReadBack) {
    // The colon of the plane form is inside a token, so the distance merges into the normal.
    Owner owner;
    auto a = owner.make(MFPlaneType);
    auto b = owner.make(MFPlaneType);
    a->setValueByStr("0 0 1 5 1 0 0 2");
    b->setValueByStr(textOf(*a).c_str());
    EXPECT_EQ(b->size(), 1u);
    EXPECT_FALSE(a->equalValue(*b));
}

TEST(VectorTextAsymmetry, RotationPrintsAxisAngleOfItsQuaternion) {
    Owner owner;
    SFRotation field(*owner.node);
    osg::Matrix4f m;
    m.setIdentity();
    // A quarter turn about z, set through a matrix, as a conversion would.
    m[0][0] = 0;
    m[0][1] = 1;
    m[1][0] = -1;
    m[1][1] = 0;
    field.editValue().setQuat(osg::Quaternion(m));
    EXPECT_EQ(field.getValue().state(), Rotation::QuatCurrent);
    std::string text = textOf(field);
    EXPECT_EQ(field.getValue().state(), Rotation::BothCurrent);
    float x, y, z, angle;
    ASSERT_EQ(std::sscanf(text.c_str(), "%f %f %f %f", &x, &y, &z, &angle), 4) << text;
    EXPECT_NEAR(x, 0, 1e-5);
    EXPECT_NEAR(y, 0, 1e-5);
    EXPECT_NEAR(z, 1, 1e-5);
    EXPECT_NEAR(angle, 1.5707963, 1e-5);
}

TEST(VectorText, MultiSetReplacesEverything) {
    Owner owner;
    for (int type : {MFVec3fType, MFColorType, MFMatrix3fType, MFRotationType, MFPlaneType}) {
        auto field = owner.make(type);
        field->setValueByStr("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18");
        EXPECT_GT(field->size(), 0u);
        field->setValueByStr("");
        EXPECT_EQ(field->size(), 0u) << FieldType::dataTypeName(type);
        field->setValueByStr("1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16 17 18");
        field->setValueByStr(nullptr);
        EXPECT_EQ(field->size(), 0u) << FieldType::dataTypeName(type);
    }
}

// ------------------------------------------------------------------------------------------
// addValueByStr: the single mode appends one value by the single rule; the streaming mode
// keeps complete elements and hands back the start of the first unfinished one.

struct StreamCase {
    int type;
    const char* piece;
    int rest;  // offset of the returned pointer, -1 for null
    const char* out;
};

class VectorStream : public ::testing::TestWithParam<StreamCase> {};

TEST_P(VectorStream, KeepsCompleteElementsAndReturnsTheRest) {
    const StreamCase& c = GetParam();
    Owner owner;
    auto field = owner.make(c.type);
    const char* rest = field->addValueByStr(c.piece, Field::CardinalityMulti);
    if (c.rest < 0)
        EXPECT_EQ(rest, nullptr);
    else
        EXPECT_EQ(rest, c.piece + c.rest);
    EXPECT_EQ(textOf(*field), c.out);
}

INSTANTIATE_TEST_SUITE_P(
    Pieces, VectorStream,
    ::testing::Values(StreamCase{MFVec3fType, "1 2 3 4 5", 6, "1.000000, 2.000000, 3.000000"},
                      StreamCase{MFVec3fType, "1 2 3 ", -1, "1.000000, 2.000000, 3.000000"},
                      // The last number touches the end: it may go on in the next piece.
                      StreamCase{MFVec3fType, "1 2 3", 0, ""},
                      StreamCase{MFVec3fType, "1;2;3;4", 6, "1.000000, 2.000000, 3.000000"},
                      StreamCase{MFVec3fType, "", -1, ""}, StreamCase{MFVec3fType, " ,;\n", -1, ""},
                      StreamCase{MFVec3fType, "  1 2", 2, ""},
                      StreamCase{MFVec3fType, "1 2 x 3", 0, ""},
                      StreamCase{MFVec3fType, "1 2 3 x", 6, "1.000000, 2.000000, 3.000000"},
                      StreamCase{MFVec2dType, "0.5 1.5 2", 8, "0.500000000000, 1.500000000000"},
                      StreamCase{MFColorType, "1 0 0;0 1 0\n", -1, "1 0 0, 0 1 0"},
                      StreamCase{MFColorRGBAType, "1 0 0 1 0.5", 8, "1 0 0 1"},
                      StreamCase{MFRotationType, "0 1 0 1.5 ", -1, "0, 1, 0, 1.5"},
                      StreamCase{MFMatrix3fType, "1 2 3 4 5 6 7 8 9 1", 18, "1 2 3 4 5 6 7 8 9"}));

TEST(VectorStream, PiecesAddUpToTheWholeText) {
    // Cut one long text at random places and feed it piece by piece, carrying the remainder
    // over, as a streaming reader does; the result must equal one setValueByStr of the whole.
    std::mt19937 rng(7);
    Owner owner;
    const std::pair<int, int> types[] = {
        {MFVec3fType, 3},    {MFVec2dType, 2},     {MFColorType, 3}, {MFColorRGBAType, 4},
        {MFRotationType, 4}, {MFMatrix4fType, 16}, {MFVec4fType, 4}};
    const int numbers = 200;
    for (auto [type, components] : types) {
        std::string text;
        const char* delims[] = {" ", ", ", "\n", ",", "\t", "  "};
        for (int i = 0; i < numbers; ++i) {
            text += std::to_string(int(rng() % 20001) - 10000);
            if (rng() % 2) text += "." + std::to_string(rng() % 100);
            text += delims[rng() % 6];
        }
        auto whole = owner.make(type);
        whole->setValueByStr(text.c_str());
        ASSERT_GT(whole->size(), 0u);

        for (int round = 0; round < 5; ++round) {
            auto streamed = owner.make(type);
            std::string pending;
            size_t pos = 0;
            while (pos < text.size()) {
                size_t len = 1 + rng() % 17;
                pending += text.substr(pos, len);
                pos += len;
                const char* rest =
                    streamed->addValueByStr(pending.c_str(), Field::CardinalityMulti);
                ASSERT_TRUE(rest == nullptr ||
                            (rest >= pending.c_str() && rest <= pending.c_str() + pending.size()));
                pending = rest ? std::string(rest) : std::string();
            }
            // The end of the stream finishes the last number; what is left then is the
            // partial element that setValueByStr drops as well.
            pending += " ";
            const char* rest = streamed->addValueByStr(pending.c_str(), Field::CardinalityMulti);
            EXPECT_EQ(rest == nullptr, numbers % components == 0);
            EXPECT_TRUE(whole->equalValue(*streamed))
                << FieldType::dataTypeName(type) << ": " << whole->size() << " vs "
                << streamed->size();
        }
    }
}

TEST(VectorStream, SingleModeAppendsOneValueByTheSingleRule) {
    Owner owner;
    auto vec = owner.make(MFVec3fType);
    EXPECT_EQ(vec->addValueByStr("1 2", Field::CardinalitySingle), nullptr);
    EXPECT_EQ(vec->addValueByStr("4 5 6 7", Field::CardinalitySingle), nullptr);
    EXPECT_EQ(vec->addValueByStr(nullptr, Field::CardinalitySingle), nullptr);
    EXPECT_EQ(textOf(*vec),
              "1.000000, 2.000000, 0.000000, 4.000000, 5.000000, 6.000000, "
              "0.000000, 0.000000, 0.000000");

    auto matrix = owner.make(MFMatrix3fType);
    matrix->addValueByStr("i", Field::CardinalitySingle);
    matrix->addValueByStr("", Field::CardinalitySingle);
    matrix->addValueByStr("2", Field::CardinalitySingle);
    EXPECT_EQ(textOf(*matrix), "1 0 0 0 1 0 0 0 1 1 0 0 0 1 0 0 0 1 2 0 0 0 0 0 0 0 0");

    auto rotation = owner.make(MFRotationType);
    rotation->addValueByStr("", Field::CardinalitySingle);
    rotation->addValueByStr("1 0 0 nan", Field::CardinalitySingle);
    rotation->addValueByStr("0 1 0 2", Field::CardinalitySingle);
    EXPECT_EQ(textOf(*rotation), "0, 0, 1, 0, 0, 0, 1, 0, 0, 1, 0, 2");
}

TEST(VectorStream, PlaneListRefusesPartialDataButTakesSingleValues) {
    KalvexTest::LogCapture log;
    Owner owner;
    auto plane = owner.make(MFPlaneType);
    EXPECT_EQ(plane->addValueByStr("0 0 1 5 ", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(plane->size(), 0u);
    EXPECT_EQ(log.count("MFPlane::addValueByStr() for partial data not impl.\n"), 1);
    EXPECT_EQ(plane->addValueByStr("0 0 1 5", Field::CardinalitySingle), nullptr);
    EXPECT_EQ(textOf(*plane), "0, 0, 1:5");
}

TEST(VectorStream, SingleFieldsIgnoreTheMode) {
    Owner owner;
    auto vec = owner.make(SFVec3fType);
    EXPECT_EQ(vec->addValueByStr("1 2 3", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(textOf(*vec), "1 2 3");
    auto matrix = owner.make(SFMatrix3fType);
    matrix->setValueByStr("1 2 3 4 5 6 7 8 9");
    EXPECT_EQ(matrix->addValueByStr("i", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(textOf(*matrix), kIdentity3);
}

// ------------------------------------------------------------------------------------------
// Binary strings.

float floatAt(const std::string& bytes, size_t offset) {
    std::uint32_t bits = 0;
    for (int i = 3; i >= 0; --i) bits = (bits << 8) | std::uint8_t(bytes[offset + i]);
    return std::bit_cast<float>(bits);
}

struct BinCase {
    int type;
    const char* text;
    size_t size;  // of getBinValue(-1)
};

class VectorBin : public ::testing::TestWithParam<BinCase> {};

TEST_P(VectorBin, WholeValueRoundTrip) {
    const BinCase& c = GetParam();
    KalvexTest::LogCapture log;
    Owner owner;
    auto a = owner.make(c.type);
    auto b = owner.make(c.type);
    a->setValueByStr(c.text);
    std::string bin = a->getBinValue(-1);
    EXPECT_EQ(bin.size(), c.size);
    b->setValueByBin(bin);
    EXPECT_TRUE(a->equalValue(*b)) << textOf(*a) << " vs " << textOf(*b);
    EXPECT_EQ(b->getBinValue(-1), bin);
    // Single fields hand the element forms to the whole value.
    if (a->cardinality() == Field::CardinalitySingle) {
        EXPECT_EQ(a->get1ValueAsBin(3), bin);
    }
    EXPECT_EQ(log.text(), "");
}

INSTANTIATE_TEST_SUITE_P(
    FloatForms, VectorBin,
    ::testing::Values(BinCase{SFVec2fType, "1.5 -2", 8}, BinCase{SFVec3fType, "1 2 3", 12},
                      BinCase{SFVec4fType, "1 2 3 4", 16}, BinCase{SFColorType, "1 0.5 0", 12},
                      BinCase{SFColorRGBAType, "1 0.5 0 0.25", 16},
                      BinCase{SFRotationType, "0 1 0 1.5", 16},
                      BinCase{SFMatrix4fType, "1 2 3 4 5 6 7 8 9 10 11 12 13 14 15 16", 64},
                      BinCase{MFVec2fType, "1 2 3 4", 8 + 16},
                      BinCase{MFVec3fType, "1 2 3 4 5 6", 8 + 24}, BinCase{MFVec3fType, "", 8},
                      BinCase{MFColorType, "1 0 0 0 1 0 0 0 1", 8 + 36},
                      BinCase{MFColorRGBAType, "1 0 0 1", 8 + 16},
                      BinCase{MFRotationType, "0 1 0 1.5 1 0 0 0.5", 8 + 32}));

TEST(VectorBin, RotationIsWrittenInAxisFormAndReadAsAxisForm) {
    Owner owner;
    SFRotation a(*owner.node);
    a.editValue().setQuat(osg::Quaternion(osg::Vec3f(0, 0, 1), 1.0f));
    std::string bin = a.getBinValue(-1);
    ASSERT_EQ(bin.size(), 16u);
    EXPECT_NEAR(floatAt(bin, 8), 1.0f, 1e-6);
    EXPECT_NEAR(floatAt(bin, 12), 1.0f, 1e-5);
    SFRotation b(*owner.node);
    b.setValueByBin(bin);
    EXPECT_EQ(b.getValue().state(), Rotation::AxisCurrent);
    EXPECT_TRUE(a.equalValue(b));
}

TEST(VectorBin, DoubleVectorsWriteDoublesAndReadFloats) {
    Owner owner;
    for (int type : {SFVec2dType, SFVec3dType, MFVec2dType, MFVec3dType}) {
        auto a = owner.make(type);
        a->setValueByStr("1.5 -2.25 3 4 5 6");
        std::string bin = a->getBinValue(-1);
        bool multi = a->cardinality() == Field::CardinalityMulti;
        size_t header = multi ? 8 : 0;
        size_t n = (type == SFVec2dType || type == MFVec2dType) ? 2 : 3;
        size_t elements = multi ? 6 / n : 1;
        ASSERT_EQ(bin.size(), header + elements * n * 8) << FieldType::dataTypeName(type);
        double first;
        std::memcpy(&first, bin.data() + header, 8);  // little-endian host
        EXPECT_EQ(first, 1.5);

        // Reading takes the same bytes as floats: the first component comes from the low
        // half of the double 1.5, the second from its high half.
        auto b = owner.make(type);
        b->setValueByBin(bin);
        EXPECT_FALSE(a->equalValue(*b));
        std::string back = b->getBinValue(-1);
        double x, y;
        std::memcpy(&x, back.data() + header, 8);
        std::memcpy(&y, back.data() + header + 8, 8);
        EXPECT_EQ(x, double(floatAt(bin, header)));
        EXPECT_EQ(y, double(floatAt(bin, header + 4)));

        // What the reader does understand is floats.
        std::ostringstream floats;
        Harnel::obinstream out(floats);
        if (multi) out << long(1);
        for (size_t i = 0; i < n; ++i) out << float(i + 0.5f);
        b->setValueByBin(floats.str());
        EXPECT_EQ(b->size(), 1u);
        EXPECT_EQ(textOf(*b).substr(0, 3), "0.5");
    }
}

TEST(VectorBin, ElementFormsReadAndWriteOneElement) {
    Owner owner;
    auto vec = owner.make(MFVec3fType);
    vec->setValueByStr("1 2 3 4 5 6");
    std::string one = vec->get1ValueAsBin(1);
    ASSERT_EQ(one.size(), 12u);
    EXPECT_EQ(floatAt(one, 0), 4.0f);
    vec->set1ValueByBin(0, one);
    EXPECT_EQ(textOf(*vec), "4.000000, 5.000000, 6.000000, 4.000000, 5.000000, 6.000000");
    // Out of range indices neither read nor write.
    EXPECT_EQ(vec->get1ValueAsBin(2), "");
    EXPECT_EQ(vec->get1ValueAsBin(-1), "");
    vec->set1ValueByBin(7, one);
    EXPECT_EQ(vec->size(), 2u);

    auto rot = owner.make(MFRotationType);
    rot->setValueByStr("0 1 0 1 1 0 0 2");
    rot->set1ValueByBin(1, rot->get1ValueAsBin(0));
    EXPECT_EQ(textOf(*rot), "0, 1, 0, 1, 0, 1, 0, 1");

    auto vec2d = owner.make(MFVec2dType);
    vec2d->setValueByStr("1 2");
    EXPECT_EQ(vec2d->get1ValueAsBin(0).size(), 16u);  // doubles out
    std::ostringstream floats;
    Harnel::obinstream out(floats);
    out << 7.0f << 8.0f;
    vec2d->set1ValueByBin(0, floats.str());  // floats in
    EXPECT_EQ(textOf(*vec2d), "7.000000000000, 8.000000000000");
}

TEST(VectorBin, ShortDataKeepsWhatItCannotRead) {
    Owner owner;
    auto vec = owner.make(SFVec3fType);
    vec->setValueByStr("1 2 3");
    vec->setValueByBin(std::string("\x00\x00\x80\x3f", 4));
    EXPECT_EQ(textOf(*vec), "1 2 3");

    auto list = owner.make(MFVec3fType);
    list->setValueByStr("1 2 3 4 5 6");
    std::string bin = list->getBinValue(-1);
    list->setValueByBin(bin.substr(0, bin.size() - 1));  // second element cut short
    EXPECT_EQ(textOf(*list), "1.000000, 2.000000, 3.000000");
    list->setValueByBin(std::string("\xff\xff\xff\xff\xff\xff\xff\x7f", 8));  // absurd count
    EXPECT_EQ(list->size(), 0u);
    list->setValueByStr("1 2 3");
    list->setValueByBin("");
    EXPECT_EQ(list->size(), 1u);
}

// Which classes have which binary forms; all others report.
struct NotImpCase {
    int type;
    bool whole;     // getBinValue(-1) and setValueByBin(string)
    bool elements;  // get1ValueAsBin and set1ValueByBin (multi classes only)
};

class VectorNotImp : public ::testing::TestWithParam<NotImpCase> {};

TEST_P(VectorNotImp, ReportsExactlyTheMissingForms) {
    const NotImpCase& c = GetParam();
    Owner owner;
    auto field = owner.make(c.type);
    field->setValueByStr("1 0 0 1 0 1 0 0 0 0 1 0 0 0 0 1");
    std::string name = FieldType::dataTypeName(c.type);
    bool multi = field->cardinality() == Field::CardinalityMulti;
    KalvexTest::LogCapture log;

    std::string bin = field->getBinValue(-1);
    EXPECT_EQ(log.count(name + "::getBinValue() is not imp\n"), c.whole ? 0 : 1);
    EXPECT_EQ(bin.empty(), !c.whole);
    field->setValueByBin(bin);
    EXPECT_EQ(log.count(name + "::setValueByBin() is not imp\n"), c.whole ? 0 : 1);

    log.clear();
    std::string one = field->get1ValueAsBin(0);
    field->set1ValueByBin(0, one);
    if (multi) {
        EXPECT_EQ(log.count(name + "::get1ValueByBin() is not imp\n"), c.elements ? 0 : 1);
        EXPECT_EQ(log.count(name + "::set1ValueByBin() is not imp\n"), c.elements ? 0 : 1);
        EXPECT_EQ(one.empty(), !c.elements);
    } else {
        EXPECT_EQ(log.count(name + "::getBinValue() is not imp\n"), c.whole ? 0 : 1);
        EXPECT_EQ(log.count(name + "::setValueByBin() is not imp\n"), c.whole ? 0 : 1);
    }

    // The raw buffer forms exist in none of these classes.
    log.clear();
    unsigned char buffer[8] = {};
    EXPECT_EQ(field->getBinSize(), 0u);
    EXPECT_EQ(field->getBinValue(buffer), 0u);
    field->setValueByBin(buffer, sizeof(buffer));
    EXPECT_EQ(log.count(name + ".cpp getBinSize not Impl\n"), 1);
    EXPECT_EQ(log.count(name + ".cpp getBinValue not Impl\n"), 1);
    EXPECT_EQ(log.count(name + ".cpp setValueByBin not Impl\n"), 1);
    EXPECT_FALSE(log.contains("::setValueByStr() is not imp"));
}

INSTANTIATE_TEST_SUITE_P(
    All, VectorNotImp,
    ::testing::Values(
        NotImpCase{SFColorType, true, false}, NotImpCase{MFColorType, true, true},
        NotImpCase{SFColorRGBAType, true, false}, NotImpCase{MFColorRGBAType, true, true},
        NotImpCase{SFVec2dType, true, false}, NotImpCase{MFVec2dType, true, true},
        NotImpCase{SFVec2fType, true, false}, NotImpCase{MFVec2fType, true, true},
        NotImpCase{SFVec3dType, true, false}, NotImpCase{MFVec3dType, true, true},
        NotImpCase{SFVec3fType, true, false}, NotImpCase{MFVec3fType, true, true},
        NotImpCase{SFVec4dType, false, false}, NotImpCase{MFVec4dType, false, false},
        NotImpCase{SFVec4fType, true, false}, NotImpCase{MFVec4fType, false, false},
        NotImpCase{SFRotationType, true, false}, NotImpCase{MFRotationType, true, true},
        NotImpCase{SFPlaneType, false, false}, NotImpCase{MFPlaneType, false, false},
        NotImpCase{SFMatrix3dType, false, false}, NotImpCase{MFMatrix3dType, false, false},
        NotImpCase{SFMatrix3fType, false, false}, NotImpCase{MFMatrix3fType, false, false},
        NotImpCase{SFMatrix4dType, false, false}, NotImpCase{MFMatrix4dType, false, false},
        NotImpCase{SFMatrix4fType, true, false}, NotImpCase{MFMatrix4fType, false, false}));

TEST(VectorPlane, TakesItsValueFromAnotherPlaneOnly) {
    Owner owner;
    auto plane = owner.make(SFPlaneType);
    auto other = owner.make(SFPlaneType);
    auto vec = owner.make(SFVec4fType);
    auto list = owner.make(MFPlaneType);
    plane->setValueByStr("0 0 1 2");
    other->setValueByStr("1 0 0 7");
    vec->setValueByStr("0 1 0 3");
    list->setValueByStr("0 1 0 3");
    EXPECT_FALSE(plane->setValueByField(*vec, nullptr));
    EXPECT_FALSE(plane->setValueByField(*list, nullptr));
    EXPECT_EQ(textOf(*plane), "0 0 1 2");
    EXPECT_TRUE(plane->setValueByField(*other, nullptr));
    EXPECT_EQ(textOf(*plane), "1 0 0 7");
    EXPECT_TRUE(plane->equalValue(*other));
}

}  // namespace
