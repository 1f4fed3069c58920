// Conversions between fields of different data types: which element pairs convert (against a
// table of our own), what each rule does, the four shapes under every mode, rotations from
// matrices against axis/angle arithmetic, and the refusals with their exact messages.

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using namespace Kalvex;
using KalvexTest::LogCapture;

namespace {

const std::string kWarning = "WARNING\tKalvex\t";

// Fields under test, by data type or by the name of a single field without "SF".
struct Owner {
    Field& make(int type, const char* text = nullptr) {
        fields.emplace_back(FieldType::create(type, *holder.node));
        if (!fields.back()) throw std::invalid_argument("no field type " + std::to_string(type));
        if (text) fields.back()->setValueByStr(text);
        return *fields.back();
    }
    Field& make(const std::string& name, const char* text) {
        return make(FieldType::dataType("SF" + name), text);
    }
    template <class T>
    T& make(const char* text = nullptr) {
        return static_cast<T&>(make(T::kDataType, text));
    }
    KalvexTest::NodeHolder holder;
    std::vector<std::unique_ptr<Field>> fields;
};

std::string textOf(const Field& field) {
    std::string out;
    return field.getStrValue(out);
}

// The elements of a list, blank separated, each as a default stream prints it.
template <class C>
std::string join(const C& values) {
    std::ostringstream os;
    const char* separator = "";
    for (const auto& v : values) os << std::exchange(separator, " ") << v;
    return os.str();
}

// ---------------------------------------------------------------------------------------------
// Element conversions.

// The conversion matrix, written down from the rules: per target, the sources that convert.
std::map<std::string, std::set<std::string>> expectedSources() {
    const std::string vec = "Vec2d Vec2f Vec3d Vec3f Vec4d Vec4f";
    const std::string num = "Bool Double Float Image Int32 Time " + vec;
    const std::string mat = "Matrix3d Matrix3f Matrix4d Matrix4f Rotation";
    const std::string col = "Color3f Color4f Vec3d Vec3f Vec4d Vec4f";
    const std::string v3 = "Color3f Color4f Image Rotation Vec2d Vec2f Vec3d Vec3f";
    // clang-format off
    const std::pair<const char*, std::string> rows[] = {
        {"Bool", num}, {"Int32", num}, {"Float", num}, {"Double", num}, {"Time", num},
        {"Color3f", col}, {"Color4f", col}, {"Image", "Color3f Color4f Image"}, {"Sound", "Sound"},
        {"Matrix3d", mat}, {"Matrix3f", mat}, {"Matrix4d", mat}, {"Matrix4f", mat},
        {"Rotation", "Bool Double Float Int32 Time Vec3d Vec3f Vec4d Vec4f " + mat},
        {"String", "Bool Color3f Color4f Double Float Int32 String Time " + vec + " " + mat},
        {"Vec2d", "Image " + vec}, {"Vec2f", "Image " + vec}, {"Vec3d", v3}, {"Vec3f", v3},
        {"Vec4d", v3 + " Vec4d Vec4f"}, {"Vec4f", v3 + " Vec4d Vec4f"}};
    // clang-format on
    std::map<std::string, std::set<std::string>> out;
    for (const auto& [target, sources] : rows) {
        std::istringstream in(sources);
        for (std::string word; in >> word;) out[target].insert(word);
    }
    return out;
}

// A value of each element type that differs from its default, or the default when plain.
// Matrices are a quarter turn about z, with a translation where there is room.
template <class SF>
const typename SF::ValueType& sample(Owner& o, const std::string& name, bool plain) {
    // clang-format off
    static const std::map<std::string, const char*> texts = {
        {"Bool", "TRUE"}, {"Int32", "7"}, {"Float", "7.5"}, {"Double", "7.5"}, {"Time", "7.5"},
        {"Color3f", "0.1 0.2 0.3"}, {"Color4f", "0.1 0.2 0.3 0.4"}, {"Image", "2 1 3 0x102030 0x405060"},
        {"Rotation", "0 1 0 0.5"}, {"String", "text"}, {"Sound", nullptr},
        {"Vec2d", "1 2"}, {"Vec2f", "1 2"}, {"Vec3d", "1 2 3"}, {"Vec3f", "1 2 3"}, {"Vec4d", "1 2 3 4"}, {"Vec4f", "1 2 3 4"},
        {"Matrix3d", "0 1 0 -1 0 0 0 0 1"}, {"Matrix3f", "0 1 0 -1 0 0 0 0 1"},
        {"Matrix4d", "0 1 0 0 -1 0 0 0 0 0 1 0 5 0 0 1"}, {"Matrix4f", "0 1 0 0 -1 0 0 0 0 0 1 0 5 0 0 1"}};
    // clang-format on
    SF& field = o.make<SF>(plain ? nullptr : texts.at(name));
    if constexpr (std::is_same_v<SF, SFSound>)
        if (!plain) field.editValue().set(8000, 8, 1, {1, 2, 3});
    return field.getValue();
}

struct Tally {
    int converting = 0;
    std::set<std::string> pairs;
};

// One named element function on sample values: the pair converts silently, copying a value of
// its own type whole, or logs its own message, answers false and leaves the target.
template <class SFA, class SFB, class TA, class TB>
void checkPair(bool (*assign)(TA&, const TB&), const std::string& from, const std::string& to,
               Owner& o, Tally& tally) {
    const std::string pair = from + " to " + to;
    const bool converts = expectedSources().at(to).count(from) > 0;
    TA target = sample<SFA>(o, to, from == to);
    const TA before = target;
    const TB& source = sample<SFB>(o, from, false);
    LogCapture log;
    EXPECT_EQ(assign(target, source), converts) << pair;
    EXPECT_EQ(log.text(), converts ? "" : kWarning + pair + " conversion NI!\n");
    EXPECT_TRUE(converts || target == before) << pair;
    EXPECT_TRUE(from == to || !(before == sample<SFA>(o, to, true))) << to << " sample is plain";
    // Colour targets take red, green and blue only, from every source.
    if constexpr (std::is_same_v<SFA, SFB> && !std::is_same_v<SFA, SFColorRGBA>) {
        EXPECT_TRUE(target == source) << pair;
    }
    tally.converting += converts;
    tally.pairs.insert(pair);
}

TEST(ElementConversions, MatchTheTableAndTheOthersReportNotImplemented) {
    Owner o;
    Tally tally;
#define KALVEX_TEST_PAIR(B, TB, SFB, MFB, A, TA, SFA, MFA) \
    checkPair<SFA, SFB>(&assign##A##From##B, #B, #A, o, tally);
    KALVEX_CONVERSION_PAIRS(KALVEX_TEST_PAIR)
#undef KALVEX_TEST_PAIR
    EXPECT_EQ(expectedSources().size(), 21u);
    EXPECT_EQ(tally.pairs.size(), 441u);
    EXPECT_EQ(tally.converting, 179);
}

// Single fields named without "SF": source and its text, target and its earlier text, the
// target's text afterwards, worked out by hand; none for a pair the table leaves out, which
// reports and keeps the target.
TEST(ElementConversions, RulesByCategory) {
    Owner o;
    // clang-format off
    const struct { const char *from, *source, *to, *before, *after; } cases[] = {
        // Numbers: casts, truncation toward zero, bools as 1 and 0, lengths of vectors.
        {"Float", "2.7", "Int32", "9", "2"}, {"Float", "-2.7", "Int32", "9", "-2"}, {"Double", "-0.999", "Int32", "9", "0"},
        {"Int32", "7", "Time", "0", "7"}, {"Time", "1.5", "Float", "0", "1.5"}, {"Double", "0.1", "Float", "0", "0.1"},
        {"Bool", "TRUE", "Float", "5", "1"}, {"Bool", "FALSE", "Int32", "5", "0"}, {"Float", "0.001", "Bool", "FALSE", "TRUE"},
        {"Int32", "0", "Bool", "TRUE", "FALSE"}, {"Double", "-3", "Bool", "FALSE", "TRUE"}, {"Vec3f", "3 4 0", "Float", "0", "5"},
        {"Vec2d", "-6 8", "Double", "0", "10"}, {"Vec4f", "1 1 1 1", "Int32", "0", "2"}, {"Vec3d", "0 0 0", "Bool", "TRUE", "FALSE"},
        {"Vec2f", "0 0.5", "Bool", "FALSE", "TRUE"},
        // Departure: into an int, NaN gives 0 and out-of-range values the nearest end.
        {"Double", "nan", "Int32", "5", "0"}, {"Float", "nan", "Int32", "5", "0"},
        {"Double", "1e20", "Int32", "5", "2147483647"}, {"Double", "-1e20", "Int32", "5", "-2147483648"},
        {"Float", "1e20", "Int32", "5", "2147483647"}, {"Float", "-1e20", "Int32", "5", "-2147483648"},
        {"Double", "2147483647.9", "Int32", "5", "2147483647"}, {"Double", "-2147483648.9", "Int32", "5", "-2147483648"},
        // Images: width x height x depth x bytes per pixel.
        {"Image", "2 3 3", "Int32", "0", "18"}, {"Image", "4 1 2", "Float", "0", "8"}, {"Image", "2 3 3", "Bool", "FALSE", "TRUE"},
        {"Image", "2 3 3", "Vec2f", "9 9", "2 3"}, {"Image", "2 3 3", "Vec3d", "9 9 9", "2 3 1"},
        {"Image", "2 3 4", "Vec4f", "9 9 9 9", "2 3 1 4"},
        // Vectors and colours: the common components; the rest of the target stays.
        {"Vec2f", "1 2", "Vec3f", "7 8 9", "1 2 9"}, {"Vec4d", "1 2 3 4", "Vec2f", "7 8", "1 2"},
        {"Vec3f", "1 2 3", "Vec4d", "7 8 9 10", "1 2 3 10"}, {"Vec2d", "0.5 0.25", "Vec2f", "0 0", "0.5 0.25"},
        {"Color", "0.1 0.2 0.3", "Vec4f", "9 9 9 7", "0.1 0.2 0.3 7"}, {"ColorRGBA", "0.1 0.2 0.3 0.4", "Vec3d", "9 9 9", "0.1 0.2 0.3"},
        {"Color", "0.1 0.2 0.3", "ColorRGBA", "1 1 1 0.5", "0.1 0.2 0.3 0.5"}, {"ColorRGBA", "0.1 0.2 0.3 0.4", "Color", "1 1 1", "0.1 0.2 0.3"},
        {"Vec4f", "0.1 0.2 0.3 0.4", "ColorRGBA", "1 1 1 0.5", "0.1 0.2 0.3 0.5"}, {"Vec3d", "0.5 0.25 1", "Color", "0 0 0", "0.5 0.25 1"},
        // Rotations: the axis as stored, the angle; numbers set the angle, vectors the axis.
        {"Rotation", "0 0 2 1.5", "Vec3f", "9 9 9", "0 0 2"}, {"Rotation", "0 0 2 1.5", "Vec4d", "9 9 9 9", "0 0 2 1.5"},
        {"Vec3f", "1 0 0", "Rotation", "0 1 0 0.5", "1 0 0 0.5"}, {"Vec4f", "0 1 0 2", "Rotation", "1 0 0 0.5", "0 1 0 2"},
        {"Float", "0.25", "Rotation", "0 1 0 1", "0 1 0 0.25"}, {"Bool", "TRUE", "Rotation", "0 0 2 0.5", "0 0 2 1"},
        {"Int32", "3", "Rotation", "1 0 0 0", "1 0 0 3"},
        // Images from colours: one RGB or RGBA pixel, (int)(c * 255 + 0.5) per channel.
        {"Color", "1 0.5 0", "Image", "", "1 1 3 0xff8000"}, {"ColorRGBA", "0 0.2 1 0.5", "Image", "2 1 1 0x01 0x02", "1 1 4 0x0033ff80"},
        // Text: default stream output, the vector and colour stream operators, the rotation.
        {"Float", "2.5", "String", "x", "2.5"}, {"Int32", "-42", "String", "x", "-42"}, {"Bool", "TRUE", "String", "x", "1"},
        {"Bool", "FALSE", "String", "x", "0"}, {"Double", "1e-7", "String", "x", "1e-07"},
        {"Time", "123456789", "String", "x", "1.23457e+08"}, {"Vec3f", "1 2.5 3", "String", "x", "1, 2.5, 3"},
        {"Vec2d", "0.5 -1", "String", "x", "0.5, -1"}, {"Color", "1 0.5 0", "String", "x", "1 0.5 0"},
        {"ColorRGBA", "1 0.5 0 1", "String", "x", "1 0.5 0 1"}, {"Rotation", "0 0 1 1.5", "String", "x", "0, 0, 1, 1.5"},
        {"String", "a b", "String", "x", "a b"},
        {"Matrix3f", "", "String", "x", "   1.000    0.000    0.000 \n   0.000    1.000    0.000 \n   0.000    0.000    1.000 \n"},
        // Refused.
        {"String", "5", "Int32", "9", nullptr}, {"Vec4f", "1 2 3 4", "Vec3f", "7 8 9", nullptr},
        {"Image", "1 1 1 0x01", "String", "kept", nullptr}, {"Matrix4f", "", "Vec4f", "1 2 3 4", nullptr}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.from) + " " + c.source + " into " + c.to);
        Field& source = o.make(c.from, c.source);
        Field& target = o.make(c.to, c.before);
        const std::string before = c.after ? "" : textOf(target);
        LogCapture log;
        EXPECT_EQ(target.setValueByField(source, nullptr), c.after != nullptr);
        EXPECT_EQ(textOf(target), c.after ? c.after : before);
        EXPECT_EQ(log.text(),
                  c.after ? "" : kWarning + c.from + " to " + c.to + " conversion NI!\n");
    }
}

// A rotation kept as a quaternion is read through the plain axis formula, and the source is
// brought up to date in place; an angle from a number keeps the derived axis.
TEST(ElementConversions, RotationSourcesAreBroughtToAxisForm) {
    osg::Quaternion quat;
    quat.setValueAsQuat(0, 0, std::sin(0.6f), std::cos(0.6f));  // 1.2 about z
    Rotation rotation(quat), target(quat);
    ASSERT_EQ(rotation.state(), Rotation::QuatCurrent);
    osg::Vec4f out;
    EXPECT_TRUE(assignVec4fFromRotation(out, rotation));
    EXPECT_EQ(rotation.state(), Rotation::BothCurrent);
    const double expected[4] = {0, 0, 1, 1.2};
    for (int i = 0; i < 4; ++i) EXPECT_NEAR(out[i], expected[i], 1e-5);
    EXPECT_TRUE(assignRotationFromDouble(target, 0.5));
    float x, y, z, angle;
    target.getAxisAngleInline(x, y, z, angle);
    EXPECT_EQ(target.state(), Rotation::AxisCurrent);
    EXPECT_NEAR(z, 1, 1e-6);
    EXPECT_EQ(angle, 0.5f);
}

// ---------------------------------------------------------------------------------------------
// Matrices and rotations, against rotation matrices made here from axis and angle.

// Row r, column c of the rotation by angle about the unit axis n.
double rodrigues(const double n[3], double angle, int r, int c) {
    const double s = std::sin(angle), k = 1 - std::cos(angle);
    const double cross[3][3] = {{0, -n[2], n[1]}, {n[2], 0, -n[0]}, {-n[1], n[0], 0}};
    return (r == c ? 1.0 : 0.0) + s * cross[r][c] + k * (n[r] * n[c] - (r == c ? 1.0 : 0.0));
}

template <class M>
M rotationMatrix(const double n[3], double angle) {
    M m;
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r) m[c][r] = typename M::ValueType(rodrigues(n, angle, r, c));
    return m;
}

// q and -q are the same rotation.
void expectQuat(const Rotation& rotation, const double axis[3], double angle, const char* from) {
    const osg::Quaternion& q = rotation.getQuat();
    const double s = std::sin(angle / 2);
    const double expected[4] = {axis[0] * s, axis[1] * s, axis[2] * s, std::cos(angle / 2)};
    double same = 0, flipped = 0;
    for (int i = 0; i < 4; ++i) {
        same = std::max(same, std::fabs(q[i] - expected[i]));
        flipped = std::max(flipped, std::fabs(q[i] + expected[i]));
    }
    EXPECT_LT(std::min(same, flipped), 2e-6)
        << from << " angle " << angle << " axis " << axis[0] << " " << axis[1] << " " << axis[2];
}

// Both branches of the trace method (small and large angles, half turns about each axis, where
// the largest diagonal element picks the component, axes off the coordinate axes), each matrix
// type into a rotation, and rotations into the rotation block of matrices that keep the rest.
TEST(MatrixConversions, RotationsAndMatricesAgainstAxisAngle) {
    const double pi = 3.14159265358979323846;
    // clang-format off
    const struct { double axis[3], angle; } rotations[] = {
        {{0, 0, 1}, 0.0}, {{1, 0, 0}, 0.5}, {{0, 1, 0}, 2.0}, {{0, 0, 1}, -1.0}, {{1, 0, 0}, pi},
        {{0, 1, 0}, pi}, {{0, 0, 1}, pi}, {{0.6, 0.8, 0}, 3.0}, {{0, 0.6, -0.8}, 2.9},
        {{0.48, 0.6, 0.64}, pi}, {{0.707106781, 0.707106781, 0}, pi}};
    // clang-format on
    testing::internal::CaptureStderr();
    for (const auto& [axis, angle] : rotations) {
        Rotation a, b, c, d;
        auto m4f = rotationMatrix<osg::Matrix4f>(axis, angle);
        m4f.setTranslate(7, 8, 9);  // not part of the rotation
        EXPECT_TRUE(assignRotationFromMatrix4f(a, m4f));
        EXPECT_TRUE(assignRotationFromMatrix4d(b, rotationMatrix<osg::Matrix4d>(axis, angle)));
        EXPECT_TRUE(assignRotationFromMatrix3f(c, rotationMatrix<osg::Matrix3f>(axis, angle)));
        EXPECT_TRUE(assignRotationFromMatrix3d(d, rotationMatrix<osg::Matrix3d>(axis, angle)));
        expectQuat(a, axis, angle, "Matrix4f");
        expectQuat(b, axis, angle, "Matrix4d");
        expectQuat(c, axis, angle, "Matrix3f");
        expectQuat(d, axis, angle, "Matrix3d");
        EXPECT_EQ(a.state(), Rotation::QuatCurrent);

        const Rotation rotation(float(axis[0] * 3), float(axis[1] * 3), float(axis[2] * 3),
                                float(angle));  // any axis length
        osg::Matrix4f into;
        into.setTranslate(1, 2, 3);
        into[0][3] = 4;
        osg::Matrix3d m3d;
        EXPECT_TRUE(assignMatrix4fFromRotation(into, rotation));
        EXPECT_TRUE(assignMatrix3dFromRotation(m3d, rotation));
        for (int col = 0; col < 3; ++col)
            for (int row = 0; row < 3; ++row) {
                const double expected = rodrigues(axis, angle, row, col);
                EXPECT_NEAR(into[col][row], expected, 2e-6) << angle << " " << col << row;
                EXPECT_NEAR(m3d[col][row], expected, 2e-6) << angle << " " << col << row;
            }
        EXPECT_TRUE(into[3][0] == 1 && into[3][2] == 3 && into[0][3] == 4 && into[3][3] == 1);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

// A matrix with a scale gives |w| above 1: clamped, and reported on standard error only beyond
// a small margin.
TEST(MatrixConversions, WBeyondOneIsClampedAndReported) {
    const std::pair<double, std::string> cases[] = {
        {2.0, "\nMatToQuat: BUG: |quat[4]| (1.322876) >> 1.0 !\n\n"},  // w = sqrt(7) / 2
        {(4 * 1.00005 * 1.00005 - 1) / 3, ""}};                        // w = 1.00005
    for (const auto& [diagonal, err] : cases) {
        osg::Matrix4d m;
        m.setScale(diagonal);
        Rotation rotation;
        LogCapture log;
        testing::internal::CaptureStderr();
        EXPECT_TRUE(assignRotationFromMatrix4d(rotation, m));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), err);
        EXPECT_EQ(log.text(), "");
        EXPECT_EQ(rotation.getQuat()[3], 1.0f);
        EXPECT_EQ(rotation.getQuat()[0], 0.0f);
    }
}

// 3 into 4 copies the block and keeps the rest; 4 into 3 takes the upper left block.
TEST(MatrixConversions, MatrixToMatrix) {
    osg::Matrix3d m3d;
    for (int i = 0; i < 9; ++i) m3d.getValues()[i] = 1.5 + i;
    osg::Matrix4f m4f;
    for (int i = 0; i < 16; ++i) m4f.getValues()[i] = -1.0f - float(i);
    const osg::Matrix4f before = m4f;
    osg::Matrix3f m3f;
    osg::Matrix4d m4d;
    EXPECT_TRUE(assignMatrix4fFromMatrix3d(m4f, m3d));
    EXPECT_TRUE(assignMatrix3fFromMatrix4f(m3f, before));
    EXPECT_TRUE(assignMatrix4dFromMatrix4f(m4d, before));
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r) {
            EXPECT_EQ(m4f[c][r], c < 3 && r < 3 ? float(1.5 + c * 3 + r) : before[c][r]);
            EXPECT_TRUE(c == 3 || r == 3 || m3f[c][r] == -1.0f - float(c * 4 + r)) << c << r;
            EXPECT_EQ(m4d[c][r], double(before[c][r]));
        }
}

// ---------------------------------------------------------------------------------------------
// Shapes and modes.

// A value from a list by mode; no parameters read the first, an empty list its zero element.
TEST(ConversionShapes, SingleFromMulti) {
    Owner o;
    MFFloat& list = o.make<MFFloat>("1.5 2.5 3.5");
    // clang-format off
    const struct { int mode; long value; bool result; int after; } cases[] = {
        {0, 0, true, 1}, {1, 0, true, 1}, {5, 0, true, 1}, {4, 0, true, 3}, {3, 1, true, 2}, {7, 2, true, 3},
        {3, 3, false, 9}, {7, -1, false, 9}, {2, 0, false, 9}, {6, 0, false, 9}, {8, 0, false, 9}, {-1, 0, false, 9}};
    // clang-format on
    for (const auto& c : cases) {
        SFInt32& target = o.make<SFInt32>("9");
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        EXPECT_EQ(target.setValueByField(list, &param), c.result) << c.mode << " " << c.value;
        EXPECT_EQ(target.getValue(), c.after) << c.mode << " " << c.value;
    }
    SFInt32& first = o.make<SFInt32>("9");
    EXPECT_TRUE(first.setValueByField(list, nullptr));
    EXPECT_EQ(first.getValue(), 1);
    SFBool& flag = o.make<SFBool>("TRUE");
    for (int mode : {0, 2, 6}) {
        ConvertParam param(ConvertParam::Mode(mode), 0);
        EXPECT_TRUE(flag.setValueByField(o.make<MFFloat>(), &param));
        EXPECT_EQ(textOf(flag), "FALSE");
    }
    SFVec4f& vec = o.make<SFVec4f>("5 5 5 5");
    SFRotation& rotation = o.make<SFRotation>("1 0 0 2");
    EXPECT_TRUE(vec.setValueByField(o.make<MFRotation>(), nullptr));
    EXPECT_TRUE(rotation.setValueByField(o.make<MFMatrix4f>(), nullptr));
    EXPECT_EQ(textOf(vec) + "|" + textOf(rotation), "0 0 1 0|0 0 1 0");
}

// A value into a list: overwrite an element, or insert a converted one; an empty list gets one
// element in every valid mode, none in another.
TEST(ConversionShapes, MultiFromSingle) {
    Owner o;
    SFFloat& value = o.make<SFFloat>("9.5");
    // clang-format off
    const struct { int mode; long value; bool result; const char* after; } cases[] = {
        {0, 0, true, "9 2 3"}, {1, 2, true, "9 2 3"}, {2, 0, true, "1 2 9"}, {3, 1, true, "1 9 3"},
        {4, 2, true, "1 2 9"}, {3, 3, false, "1 2 3"}, {4, -1, false, "1 2 3"}, {5, 2, true, "9 1 2 3"},
        {6, 0, true, "1 2 3 9"}, {7, 2, true, "1 2 9 3"}, {7, 9, true, "1 2 3 9"}, {7, -1, true, "1 2 3 9"},
        {8, 0, false, "1 2 3"}, {-1, 0, false, "1 2 3"}};
    // clang-format on
    for (const auto& c : cases) {
        MFInt32& list = o.make<MFInt32>("1 2 3");
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        EXPECT_EQ(list.setValueByField(value, &param), c.result) << c.mode << " " << c.value;
        EXPECT_EQ(join(list.getValue()), c.after) << c.mode << " " << c.value;
    }
    for (int mode = -1; mode <= 8; ++mode) {
        MFFloat& list = o.make<MFFloat>();
        ConvertParam param(ConvertParam::Mode(mode), 4);
        const bool valid = mode >= 0 && mode <= 7;
        EXPECT_EQ(list.setValueByField(value, &param), valid) << mode;
        EXPECT_EQ(join(list.getValue()), valid ? "9.5" : "") << mode;
    }
    MFString& names = o.make<MFString>("a b c");  // a linked list
    ConvertParam behindFirst(ConvertParam::InsertAtIndex, 1);
    EXPECT_TRUE(names.setValueByField(o.make<SFInt32>("5"), &behindFirst));
    EXPECT_EQ(join(names.getValue()), "a 5 b c");
}

// A list into a list, each mode on a vector and on a linked list target. A linked list counts
// insertion indices round through its end, and grows with empty strings.
TEST(ConversionShapes, MultiFromMulti) {
    Owner o;
    const char *a = "7 8", *five = "1 2 3 4 5", *b = "7 8 9";
    // clang-format off
    const struct { const char *source, *target; int mode; long value; bool result; const char *after, *listAfter; } cases[] = {
        {a, five, 0, 0, true, a, nullptr}, {a, five, 4, 0, true, a, nullptr}, {a, five, 1, 0, true, "7 8 3 4 5", nullptr},
        {a, five, 2, 0, true, "1 2 3 7 8", nullptr}, {a, five, 3, 1, true, "1 7 8 4 5", nullptr},
        {a, five, 3, 4, true, "1 2 3 4 7 8", nullptr}, {a, five, 3, 6, true, "1 2 3 4 5 0 7 8", "1 2 3 4 5  7 8"},
        {a, five, 3, -1, false, five, nullptr}, {a, five, 5, 3, true, "1 7 8 2 3 4 5", nullptr},
        {a, five, 6, 0, true, "1 2 3 4 5 7 8", nullptr}, {a, five, 7, 2, true, "1 2 3 7 8 4 5", nullptr},
        {a, five, 8, 0, false, five, nullptr}, {b, "1", 0, 0, true, b, nullptr}, {b, "1", 1, 0, true, b, nullptr},
        {b, "1", 2, 0, true, b, nullptr}, {b, "1", 3, 1, true, "1 7 8 9", nullptr}, {b, "1", 5, 0, true, "1 7 8 9", nullptr},
        {b, "", 5, 0, true, b, "9 8 7"}, {b, "", 6, 0, true, b, nullptr}, {"", "1 2", 0, 0, false, "", nullptr},
        {"", "1 2", 1, 0, false, "1 2", nullptr}, {"", "1 2", 6, 0, false, "1 2", nullptr},
        {"", "1 2", 3, 3, false, "1 2 0", "1 2 "}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.source) + " into " + c.target + " mode " +
                     std::to_string(c.mode) + " value " + std::to_string(c.value));
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        MFInt32& source = o.make<MFInt32>(c.source);
        MFFloat& vector = o.make<MFFloat>(c.target);
        MFString& list = o.make<MFString>(c.target);
        EXPECT_EQ(vector.setValueByField(source, &param), c.result);
        EXPECT_EQ(list.setValueByField(source, &param), c.result);
        EXPECT_EQ(join(vector.getValue()), c.after);
        EXPECT_EQ(join(list.getValue()), c.listAfter ? c.listAfter : c.after);
    }
}

// A list function called by name reports the new size and leaves position behind what it wrote.
TEST(ConversionShapes, ListFunctionsByName) {
    Owner o;
    MFVec3f& source = o.make<MFVec3f>("3 4 0, 0 0 2, 1 0 0");
    MFFloat& target = o.make<MFFloat>("9 9 9 9");
    auto position = target.editValue().begin();
    long size = 4;
    EXPECT_TRUE(
        handleMFFloatFromMFVec3f(&target, &source, position, 2, size, 0, ConvertParam::Overwrite));
    EXPECT_EQ(join(target.getValue()) + " size " + std::to_string(size), "5 2 9 9 size 4");
    EXPECT_EQ(position - target.getValue().begin(), 2);
    EXPECT_TRUE(
        handleMFFloatFromMFVec3f(&target, &source, position, 3, size, 0, ConvertParam::Append));
    EXPECT_EQ(join(target.getValue()) + " size " + std::to_string(size), "5 2 9 9 5 2 1 size 7");
}

// The modes act on a same-type pair only through Field::assign; setValueByField copies the
// whole value. A list into itself reads what it held before. MFTime and MFDouble share their
// template, not their class.
TEST(ConversionShapes, SameTypeCopiesAndAssignHonoursModes) {
    Owner o;
    MFFloat& two = o.make<MFFloat>("7 8");
    MFFloat& five = o.make<MFFloat>("1 2 3 4 5");
    ConvertParam overwrite(ConvertParam::Overwrite, 0), append(ConvertParam::Append, 0),
        insert(ConvertParam::Insert, 0);
    EXPECT_TRUE(Field::assign(five, two, &overwrite));
    EXPECT_EQ(join(five.getValue()), "7 8 3 4 5");
    EXPECT_TRUE(five.setValueByField(two, &overwrite));
    EXPECT_TRUE(five.setValueByField(five, &overwrite));
    EXPECT_EQ(join(five.getValue()), "7 8");
    EXPECT_TRUE(Field::assign(two, two, &append));
    EXPECT_EQ(join(two.getValue()), "7 8 7 8");
    MFString& words = o.make<MFString>("a b");
    EXPECT_TRUE(Field::assign(words, words, &insert));
    EXPECT_EQ(join(words.getValue()), "a a b b");
    MFTime& times = o.make<MFTime>("5");
    EXPECT_TRUE(times.setValueByField(o.make<MFDouble>("1 2"), &append));
    EXPECT_EQ(join(times.getValue()), "5 1 2");
}

// Pairs with no element conversion change no list, in any shape, and report once.
TEST(ConversionShapes, RefusedPairsLeaveListsAlone) {
    Owner o;
    MFString& text = o.make<MFString>("1 2 3");
    SFString& one = o.make<SFString>("4");
    for (int mode = 0; mode <= 7; ++mode) {
        MFInt32& numbers = o.make<MFInt32>("9 8");
        MFInt32& empty = o.make<MFInt32>();
        ConvertParam param(ConvertParam::Mode(mode), 1);
        LogCapture log;
        EXPECT_FALSE(numbers.setValueByField(text, &param));
        EXPECT_FALSE(numbers.setValueByField(one, &param));
        EXPECT_FALSE(empty.setValueByField(one, &param));
        EXPECT_EQ(join(numbers.getValue()) + "|" + join(empty.getValue()), "9 8|") << mode;
        EXPECT_EQ(log.count("String to Int32 conversion NI!\n"), 3) << mode;
    }
}

// Types with no conversions at all, and the wildcards, answer false without a word.
TEST(ConversionShapes, TypesWithoutConversions) {
    Owner o;
    Field& number = o.make(SFFloatType, "1");
    Field& numbers = o.make(MFFloatType, "1 2");
    LogCapture log;
    for (int type : {SFPlaneType, MFPlaneType, SFQubitType, MFQubitType, SFAnyType, MFAnyType,
                     SFNodeType, MFNodeType, XFAnyType}) {
        Field& other = o.make(type);
        const bool node = type == SFNodeType || type == MFNodeType || type == XFAnyType;
        EXPECT_FALSE(number.setValueByField(other, nullptr)) << other.dataTypeName();
        EXPECT_TRUE(node || !numbers.setValueByField(other, nullptr)) << other.dataTypeName();
        EXPECT_FALSE(Field::assign(other, node ? numbers : number, nullptr))
            << other.dataTypeName();
    }
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(textOf(number), "1");
}

}  // namespace
