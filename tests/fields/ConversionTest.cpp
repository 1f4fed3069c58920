// Conversions between fields of different data types: which element pairs convert (against a
// table of our own), what each rule does to a value, the four shapes under every mode, rotations
// from matrices against axis/angle arithmetic, and the refusals with their exact messages.

#include <gtest/gtest.h>

#include <climits>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <map>
#include <memory>
#include <set>
#include <sstream>
#include <string>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using namespace Kalvex;
using KalvexTest::LogCapture;

namespace {

const std::string kWarning = "WARNING\tKalvex\t";

struct Owner {
    Field& make(int type, const char* text = nullptr) {
        fields.emplace_back(FieldType::create(type, *node));
        if (text) fields.back()->setValueByStr(text);
        return *fields.back();
    }
    template <class T>
    T& make(const char* text = nullptr) {
        return static_cast<T&>(make(T::kDataType, text));
    }

    KalvexTest::NodeHolder holder;
    Node* node = holder.node;
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
    bool first = true;
    for (const auto& v : values) {
        if (!first) os << ' ';
        os << v;
        first = false;
    }
    return os.str();
}

// ---------------------------------------------------------------------------------------------
// The conversion matrix, written down from the rules: per target, the sources that convert.

std::set<std::string> words(const std::string& text) {
    std::istringstream in(text);
    std::set<std::string> out;
    for (std::string w; in >> w;) out.insert(w);
    return out;
}

const std::map<std::string, std::set<std::string>>& expectedSources() {
    const std::string numeric =
        "Bool Double Float Image Int32 Time Vec2d Vec2f Vec3d Vec3f Vec4d Vec4f";
    const std::string matrix = "Matrix3d Matrix3f Matrix4d Matrix4f Rotation";
    const std::string vec4 = "Color3f Color4f Image Rotation Vec2d Vec2f Vec3d Vec3f Vec4d Vec4f";
    const std::string vec3 = "Color3f Color4f Image Rotation Vec2d Vec2f Vec3d Vec3f";
    const std::string vec2 = "Image Vec2d Vec2f Vec3d Vec3f Vec4d Vec4f";
    const std::string color = "Color3f Color4f Vec3d Vec3f Vec4d Vec4f";
    // clang-format off
    static const std::map<std::string, std::set<std::string>> rows = {
        {"Bool", words(numeric)}, {"Int32", words(numeric)}, {"Float", words(numeric)},
        {"Double", words(numeric)}, {"Time", words(numeric)},
        {"Color3f", words(color)}, {"Color4f", words(color)}, {"Image", words("Color3f Color4f Image")},
        {"Matrix3d", words(matrix)}, {"Matrix3f", words(matrix)}, {"Matrix4d", words(matrix)}, {"Matrix4f", words(matrix)},
        {"Rotation", words("Bool Double Float Int32 Matrix3d Matrix3f Matrix4d Matrix4f Rotation Time Vec3d Vec3f Vec4d Vec4f")},
        {"Sound", words("Sound")},
        {"String", words("Bool Color3f Color4f Double Float Int32 Matrix3d Matrix3f Matrix4d Matrix4f Rotation String "
                         "Time Vec2d Vec2f Vec3d Vec3f Vec4d Vec4f")},
        {"Vec2d", words(vec2)}, {"Vec2f", words(vec2)}, {"Vec3d", words(vec3)}, {"Vec3f", words(vec3)},
        {"Vec4d", words(vec4)}, {"Vec4f", words(vec4)},
    };
    // clang-format on
    return rows;
}

// A value of each element type that differs from its default; matrices are a quarter turn
// about z, with a translation where there is room.
template <class T>
T sample() {
    if constexpr (std::is_same_v<T, bool>) {
        return true;
    } else if constexpr (std::is_same_v<T, int> || std::is_same_v<T, float> ||
                         std::is_same_v<T, double>) {
        return T(7.5);
    } else if constexpr (std::is_same_v<T, osg::Color3f>) {
        return T(0.1f, 0.2f, 0.3f);
    } else if constexpr (std::is_same_v<T, osg::Color4f>) {
        return T(0.1f, 0.2f, 0.3f, 0.4f);
    } else if constexpr (std::is_same_v<T, Image>) {
        Image image;
        image.set("2 1 3 0x102030 0x405060", nullptr);
        return image;
    } else if constexpr (std::is_same_v<T, Rotation>) {
        return Rotation(0, 1, 0, 0.5f);
    } else if constexpr (std::is_same_v<T, PCMSound>) {
        PCMSound sound;
        sound.set(8000, 8, 1, {1, 2, 3});
        return sound;
    } else if constexpr (std::is_same_v<T, std::string>) {
        return "text";
    } else if constexpr (requires(T m) { m.setIdentity(); }) {
        T m;
        m[0][0] = m[1][1] = 0;
        m[0][1] = 1;
        m[1][0] = -1;
        if constexpr (requires(T t) { t.setTranslate(5, 0, 0); }) m.setTranslate(5, 0, 0);
        return m;
    } else {
        const typename T::ValueType v[4] = {1, 2, 3, 4};
        return T(v);
    }
}

struct PairRun {
    std::string source, target;
    bool converted, unchanged;
    std::string log;
};

template <class TA, class TB>
PairRun runPair(bool (*assign)(TA&, const TB&), const char* source, const char* target,
                LogCapture& log) {
    TA to = sample<TA>();
    const TA before = to;
    const TB from = sample<TB>();
    log.clear();
    const bool converted = assign(to, from);
    return {source, target, converted, to == before, log.text()};
}

// Every named element function, called on sample values: exactly the pairs of the table
// convert, silently; every other pair logs its own message, answers false and leaves the target.
TEST(ElementConversions, MatchTheTableAndTheOthersReportNotImplemented) {
    LogCapture log;
    std::vector<PairRun> runs;
#define KALVEX_TEST_RUN(B, TB, SFB, MFB, A, TA, SFA, MFA) \
    runs.push_back(runPair<TA, TB>(&assign##A##From##B, #B, #A, log));
    KALVEX_CONVERSION_PAIRS(KALVEX_TEST_RUN)
#undef KALVEX_TEST_RUN
    ASSERT_EQ(runs.size(), 441u);
    int converting = 0;
    std::set<std::string> pairs;
    for (const PairRun& run : runs) {
        pairs.insert(run.source + ">" + run.target);
        const auto row = expectedSources().find(run.target);
        ASSERT_NE(row, expectedSources().end()) << run.target;
        const bool expected = row->second.count(run.source) > 0;
        const std::string pair = run.source + " to " + run.target;
        EXPECT_EQ(run.converted, expected) << pair;
        if (expected) {
            ++converting;
            EXPECT_EQ(run.log, "") << pair;
        } else {
            EXPECT_EQ(run.log, kWarning + pair + " conversion NI!\n");
            EXPECT_TRUE(run.unchanged) << pair;
        }
    }
    EXPECT_EQ(pairs.size(), 441u);
    EXPECT_EQ(converting, 179);
    EXPECT_EQ(441 - converting, 262);
}

TEST(ElementConversions, NotImplementedIsAWarning) {
    LogCapture log(osg::LOG_FATAL);
    int target = 1;
    EXPECT_FALSE(assignInt32FromString(target, "5"));
    EXPECT_EQ(log.text(), "");
    log.clear();
    osg::osgLog().setLogLevel(osg::LOG_WARNING);
    EXPECT_FALSE(assignInt32FromString(target, "5"));
    EXPECT_EQ(log.text(), kWarning + "String to Int32 conversion NI!\n");
    EXPECT_EQ(target, 1);
}

// ---------------------------------------------------------------------------------------------
// The rules, through single fields: source type and text, target type and earlier text, the
// target's text afterwards. Expected values are worked out by hand.

TEST(ElementConversions, RulesByCategory) {
    Owner o;
    // clang-format off
    const struct { int from; const char* source; int to; const char* before; const char* after; } cases[] = {
        // Numbers: casts, truncation toward zero, bools as 1 and 0, lengths of vectors.
        {SFFloatType, "2.7", SFInt32Type, "9", "2"}, {SFFloatType, "-2.7", SFInt32Type, "9", "-2"},
        {SFDoubleType, "-0.999", SFInt32Type, "9", "0"}, {SFInt32Type, "7", SFTimeType, "0", "7"},
        {SFTimeType, "1.5", SFFloatType, "0", "1.5"}, {SFDoubleType, "0.1", SFFloatType, "0", "0.1"},
        {SFBoolType, "TRUE", SFFloatType, "5", "1"}, {SFBoolType, "FALSE", SFInt32Type, "5", "0"},
        {SFFloatType, "0.001", SFBoolType, "FALSE", "TRUE"}, {SFInt32Type, "0", SFBoolType, "TRUE", "FALSE"},
        {SFDoubleType, "-3", SFBoolType, "FALSE", "TRUE"},
        {SFVec3fType, "3 4 0", SFFloatType, "0", "5"}, {SFVec2dType, "-6 8", SFDoubleType, "0", "10"},
        {SFVec4fType, "1 1 1 1", SFInt32Type, "0", "2"}, {SFVec3dType, "0 0 0", SFBoolType, "TRUE", "FALSE"},
        {SFVec2fType, "0 0.5", SFBoolType, "FALSE", "TRUE"},
        // Images: width x height x depth x bytes per pixel.
        {SFImageType, "2 3 3", SFInt32Type, "0", "18"}, {SFImageType, "4 1 2", SFFloatType, "0", "8"},
        {SFImageType, "2 3 3", SFBoolType, "FALSE", "TRUE"}, {SFImageType, "2 3 3", SFVec2fType, "9 9", "2 3"},
        {SFImageType, "2 3 3", SFVec3dType, "9 9 9", "2 3 1"}, {SFImageType, "2 3 4", SFVec4fType, "9 9 9 9", "2 3 1 4"},
        // Vectors and colours: the common components; the rest of the target stays.
        {SFVec2fType, "1 2", SFVec3fType, "7 8 9", "1 2 9"}, {SFVec4dType, "1 2 3 4", SFVec2fType, "7 8", "1 2"},
        {SFVec3fType, "1 2 3", SFVec4dType, "7 8 9 10", "1 2 3 10"}, {SFVec2dType, "0.5 0.25", SFVec2fType, "0 0", "0.5 0.25"},
        {SFColorType, "0.1 0.2 0.3", SFVec4fType, "9 9 9 7", "0.1 0.2 0.3 7"},
        {SFColorRGBAType, "0.1 0.2 0.3 0.4", SFVec3dType, "9 9 9", "0.1 0.2 0.3"},
        {SFColorType, "0.1 0.2 0.3", SFColorRGBAType, "1 1 1 0.5", "0.1 0.2 0.3 0.5"},
        {SFColorRGBAType, "0.1 0.2 0.3 0.4", SFColorType, "1 1 1", "0.1 0.2 0.3"},
        {SFVec4fType, "0.1 0.2 0.3 0.4", SFColorRGBAType, "1 1 1 0.5", "0.1 0.2 0.3 0.5"},
        {SFVec3dType, "0.5 0.25 1", SFColorType, "0 0 0", "0.5 0.25 1"},
        // Rotations: the axis as stored, the angle; numbers set the angle, vectors the axis.
        {SFRotationType, "0 0 2 1.5", SFVec3fType, "9 9 9", "0 0 2"},
        {SFRotationType, "0 0 2 1.5", SFVec4dType, "9 9 9 9", "0 0 2 1.5"},
        {SFVec3fType, "1 0 0", SFRotationType, "0 1 0 0.5", "1 0 0 0.5"},
        {SFVec4fType, "0 1 0 2", SFRotationType, "1 0 0 0.5", "0 1 0 2"},
        {SFFloatType, "0.25", SFRotationType, "0 1 0 1", "0 1 0 0.25"},
        {SFBoolType, "TRUE", SFRotationType, "0 0 2 0.5", "0 0 2 1"},
        {SFInt32Type, "3", SFRotationType, "1 0 0 0", "1 0 0 3"},
        // Images from colours: one RGB or RGBA pixel, (int)(c * 255 + 0.5) per channel.
        {SFColorType, "1 0.5 0", SFImageType, "", "1 1 3 0xff8000"},
        {SFColorRGBAType, "0 0.2 1 0.5", SFImageType, "2 1 1 0x01 0x02", "1 1 4 0x0033ff80"},
        {SFImageType, "1 2 1 0x0a 0x0b", SFImageType, "", "1 2 1 0x0a 0x0b"},
        // Text: default stream output, the vector and colour stream operators, the rotation.
        {SFFloatType, "2.5", SFStringType, "x", "2.5"}, {SFInt32Type, "-42", SFStringType, "x", "-42"},
        {SFBoolType, "TRUE", SFStringType, "x", "1"}, {SFBoolType, "FALSE", SFStringType, "x", "0"},
        {SFDoubleType, "1e-7", SFStringType, "x", "1e-07"}, {SFTimeType, "123456789", SFStringType, "x", "1.23457e+08"},
        {SFVec3fType, "1 2.5 3", SFStringType, "x", "1, 2.5, 3"}, {SFVec2dType, "0.5 -1", SFStringType, "x", "0.5, -1"},
        {SFColorType, "1 0.5 0", SFStringType, "x", "1 0.5 0"}, {SFColorRGBAType, "1 0.5 0 1", SFStringType, "x", "1 0.5 0 1"},
        {SFRotationType, "0 0 1 1.5", SFStringType, "x", "0, 0, 1, 1.5"}, {SFStringType, "a b", SFStringType, "x", "a b"},
        {SFMatrix3fType, "", SFStringType, "x",
         "   1.000    0.000    0.000 \n   0.000    1.000    0.000 \n   0.000    0.000    1.000 \n"},
    };
    // clang-format on
    for (const auto& c : cases) {
        Field& source = o.make(c.from, c.source);
        Field& target = o.make(c.to, c.before);
        SCOPED_TRACE(std::string(source.dataTypeName()) + " " + c.source + " into " +
                     target.dataTypeName());
        LogCapture log;
        EXPECT_TRUE(target.setValueByField(source, nullptr));
        EXPECT_EQ(textOf(target), c.after);
        EXPECT_EQ(log.text(), "");
    }
}

// Pairs the table leaves out: each reports and keeps the target.
TEST(ElementConversions, RefusedPairsKeepTheTarget) {
    Owner o;
    // clang-format off
    const struct { int from; const char* source; int to; const char* before; const char* message; } cases[] = {
        {SFStringType, "5", SFInt32Type, "9", "String to Int32 conversion NI!\n"},
        {SFVec4fType, "1 2 3 4", SFVec3fType, "7 8 9", "Vec4f to Vec3f conversion NI!\n"},
        {SFVec2fType, "1 2", SFColorType, "0.5 0.5 0.5", "Vec2f to Color3f conversion NI!\n"},
        {SFColorType, "1 0 0", SFFloatType, "3", "Color3f to Float conversion NI!\n"},
        {SFRotationType, "1 0 0 1", SFVec2dType, "7 8", "Rotation to Vec2d conversion NI!\n"},
        {SFImageType, "1 1 1 0x01", SFStringType, "kept", "Image to String conversion NI!\n"},
        {SFMatrix4fType, "", SFVec4fType, "1 2 3 4", "Matrix4f to Vec4f conversion NI!\n"},
        {SFBoolType, "TRUE", SFColorType, "0.5 0.5 0.5", "Bool to Color3f conversion NI!\n"},
    };
    // clang-format on
    for (const auto& c : cases) {
        Field& source = o.make(c.from, c.source);
        Field& target = o.make(c.to, c.before);
        const std::string before = textOf(target);
        LogCapture log;
        EXPECT_FALSE(target.setValueByField(source, nullptr)) << c.message;
        EXPECT_EQ(textOf(target), before) << c.message;
        EXPECT_EQ(log.text(), kWarning + c.message);
    }
    // Sound converts from sound only, and copies everything.
    SFSound& sound = o.make<SFSound>();
    SFSound& other = o.make<SFSound>();
    other.editValue().set(22050, 16, 2, {9, 8, 7, 6});
    SFString& text = o.make<SFString>("kept");
    LogCapture log;
    EXPECT_FALSE(text.setValueByField(sound, nullptr));
    EXPECT_FALSE(sound.setValueByField(text, nullptr));
    EXPECT_EQ(log.text(), kWarning + "Sound to String conversion NI!\n" + kWarning +
                              "String to Sound conversion NI!\n");
    PCMSound copy;
    EXPECT_TRUE(assignSoundFromSound(copy, other.getValue()));
    EXPECT_TRUE(copy == other.getValue());
}

// Departure: out-of-range and NaN values into an int are clamped or zero instead of undefined.
TEST(ElementConversions, Int32FromUnrepresentableNumbers) {
    const struct {
        double value;
        int expected;
    } cases[] = {{1e20, INT_MAX},
                 {-1e20, INT_MIN},
                 {std::numeric_limits<double>::quiet_NaN(), 0},
                 {2147483647.9, INT_MAX},
                 {-2147483648.9, INT_MIN},
                 {-1.5, -1}};
    for (const auto& c : cases) {
        int target = 5;
        EXPECT_TRUE(assignInt32FromDouble(target, c.value));
        EXPECT_EQ(target, c.expected) << c.value;
        target = 5;
        EXPECT_TRUE(assignInt32FromFloat(target, float(c.value)));
        if (std::fabs(c.value) > 3e9 || std::isnan(c.value)) {
            EXPECT_EQ(target, c.expected) << c.value;
        }
    }
}

// A rotation kept as a quaternion is read through the plain axis formula, and the source is
// brought up to date in place.
TEST(ElementConversions, RotationSourcesAreBroughtToAxisForm) {
    osg::Quaternion quat;
    quat.setValueAsQuat(0, 0, std::sin(0.6f), std::cos(0.6f));  // 1.2 about z
    Rotation rotation(quat);
    ASSERT_EQ(rotation.state(), Rotation::QuatCurrent);
    osg::Vec4f out;
    EXPECT_TRUE(assignVec4fFromRotation(out, rotation));
    EXPECT_EQ(rotation.state(), Rotation::BothCurrent);
    EXPECT_NEAR(out[0], 0, 1e-6);
    EXPECT_NEAR(out[1], 0, 1e-6);
    EXPECT_NEAR(out[2], 1, 1e-6);
    EXPECT_NEAR(out[3], 1.2, 1e-5);
    // Angle from a number on a quaternion-only rotation keeps the derived axis.
    Rotation target(quat);
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

constexpr double kPi = 3.14159265358979323846;

struct AxisAngle {
    double axis[3];
    double angle;
};

// Across both branches of the trace method: small and large angles, half turns about each
// axis (the largest diagonal element picks the component), and axes off the coordinate axes.
const AxisAngle kRotations[] = {
    {{0, 0, 1}, 0.0},
    {{1, 0, 0}, 0.5},
    {{0, 1, 0}, 2.0},
    {{0, 0, 1}, -1.0},
    {{1, 0, 0}, kPi},
    {{0, 1, 0}, kPi},
    {{0, 0, 1}, kPi},
    {{0.6, 0.8, 0}, 3.0},
    {{0, 0.6, -0.8}, 2.9},
    {{0.48, 0.6, 0.64}, kPi},
    {{0.707106781, 0.707106781, 0}, kPi},
};

// q and -q are the same rotation.
void expectQuat(const Rotation& rotation, const AxisAngle& r, const char* from) {
    const osg::Quaternion& q = rotation.getQuat();
    const double h = r.angle / 2;
    const double expected[4] = {r.axis[0] * std::sin(h), r.axis[1] * std::sin(h),
                                r.axis[2] * std::sin(h), std::cos(h)};
    double same = 0, flipped = 0;
    for (int i = 0; i < 4; ++i) {
        same = std::max(same, std::fabs(q[i] - expected[i]));
        flipped = std::max(flipped, std::fabs(q[i] + expected[i]));
    }
    EXPECT_LT(std::min(same, flipped), 2e-6)
        << from << " axis " << r.axis[0] << " " << r.axis[1] << " " << r.axis[2] << " angle "
        << r.angle << ": " << q[0] << " " << q[1] << " " << q[2] << " " << q[3];
}

TEST(MatrixConversions, RotationFromEachMatrixType) {
    testing::internal::CaptureStderr();
    for (const AxisAngle& r : kRotations) {
        Rotation a, b, c, d;
        auto m4f = rotationMatrix<osg::Matrix4f>(r.axis, r.angle);
        m4f.setTranslate(7, 8, 9);  // not part of the rotation
        EXPECT_TRUE(assignRotationFromMatrix4f(a, m4f));
        EXPECT_TRUE(assignRotationFromMatrix4d(b, rotationMatrix<osg::Matrix4d>(r.axis, r.angle)));
        EXPECT_TRUE(assignRotationFromMatrix3f(c, rotationMatrix<osg::Matrix3f>(r.axis, r.angle)));
        EXPECT_TRUE(assignRotationFromMatrix3d(d, rotationMatrix<osg::Matrix3d>(r.axis, r.angle)));
        expectQuat(a, r, "Matrix4f");
        expectQuat(b, r, "Matrix4d");
        expectQuat(c, r, "Matrix3f");
        expectQuat(d, r, "Matrix3d");
        EXPECT_EQ(a.state(), Rotation::QuatCurrent);
    }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");
}

TEST(MatrixConversions, IdentityGivesAngleZero) {
    Owner o;
    SFMatrix4f& matrix = o.make<SFMatrix4f>("");
    SFRotation& rotation = o.make<SFRotation>("1 0 0 2");
    EXPECT_TRUE(rotation.setValueByField(matrix, nullptr));
    EXPECT_EQ(rotation.getValue().state(), Rotation::QuatCurrent);
    EXPECT_EQ(textOf(rotation), "0 0 1 0");
}

// A matrix with a scale gives |w| above 1: clamped, and reported on standard error only beyond
// a small margin.
TEST(MatrixConversions, WBeyondOneIsClampedAndReported) {
    const struct {
        double diagonal;
        std::string err;
    } cases[] = {
        // trace 6: w = sqrt(7) / 2
        {2.0, "\nMatToQuat: BUG: |quat[4]| (1.322876) >> 1.0 !\n\n"},
        // w = 1.00005: clamped without a word
        {(4 * 1.00005 * 1.00005 - 1) / 3, ""},
    };
    for (const auto& c : cases) {
        osg::Matrix4d m;
        m.setScale(c.diagonal);
        Rotation rotation;
        LogCapture log;
        testing::internal::CaptureStderr();
        EXPECT_TRUE(assignRotationFromMatrix4d(rotation, m));
        EXPECT_EQ(testing::internal::GetCapturedStderr(), c.err);
        EXPECT_EQ(log.text(), "");
        const osg::Quaternion& q = rotation.getQuat();
        EXPECT_EQ(q[3], 1.0f);
        EXPECT_EQ(q[0], 0.0f);
    }
}

// The rotation block comes from the quaternion; the rest of the matrix stays.
TEST(MatrixConversions, MatrixFromRotation) {
    for (const AxisAngle& r : kRotations) {
        Rotation rotation(float(r.axis[0] * 3), float(r.axis[1] * 3), float(r.axis[2] * 3),
                          float(r.angle));  // any axis length
        osg::Matrix4f m4f;
        m4f.setTranslate(1, 2, 3);
        m4f[0][3] = 4;
        osg::Matrix3d m3d;
        EXPECT_TRUE(assignMatrix4fFromRotation(m4f, rotation));
        EXPECT_TRUE(assignMatrix3dFromRotation(m3d, rotation));
        for (int c = 0; c < 3; ++c)
            for (int row = 0; row < 3; ++row) {
                const double expected = rodrigues(r.axis, r.angle, row, c);
                EXPECT_NEAR(m4f[c][row], expected, 2e-6) << r.angle << " " << c << row;
                EXPECT_NEAR(m3d[c][row], expected, 2e-6) << r.angle << " " << c << row;
            }
        EXPECT_EQ(m4f[3][0], 1);
        EXPECT_EQ(m4f[3][2], 3);
        EXPECT_EQ(m4f[0][3], 4);
        EXPECT_EQ(m4f[3][3], 1);
    }
}

// 3 into 4 copies the block and keeps the rest; 4 into 3 takes the upper left block.
TEST(MatrixConversions, MatrixToMatrix) {
    osg::Matrix3d m3d;
    for (int i = 0; i < 9; ++i) m3d.getValues()[i] = 1.5 + i;
    osg::Matrix4f m4f;
    for (int i = 0; i < 16; ++i) m4f.getValues()[i] = -1.0f - float(i);
    const osg::Matrix4f before = m4f;
    EXPECT_TRUE(assignMatrix4fFromMatrix3d(m4f, m3d));
    for (int c = 0; c < 4; ++c)
        for (int r = 0; r < 4; ++r)
            EXPECT_EQ(m4f[c][r], c < 3 && r < 3 ? float(1.5 + c * 3 + r) : before[c][r]);
    osg::Matrix3f m3f;
    EXPECT_TRUE(assignMatrix3fFromMatrix4f(m3f, before));
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r) EXPECT_EQ(m3f[c][r], -1.0f - float(c * 4 + r));
    osg::Matrix4d m4d;
    EXPECT_TRUE(assignMatrix4dFromMatrix4f(m4d, before));
    for (int i = 0; i < 16; ++i) EXPECT_EQ(m4d.getValues()[i], double(before.getValues()[i]));
}

// ---------------------------------------------------------------------------------------------
// Shapes and modes.

// A value from a list: by mode, with the empty list read as the zero element.
TEST(ConversionShapes, SingleFromMulti) {
    Owner o;
    MFFloat& list = o.make<MFFloat>("1.5 2.5 3.5");
    // clang-format off
    const struct { int mode; long value; bool result; int after; } cases[] = {
        {0, 0, true, 1}, {1, 0, true, 1}, {5, 0, true, 1}, {4, 0, true, 3},
        {3, 1, true, 2}, {7, 2, true, 3}, {3, 3, false, 9}, {7, -1, false, 9},
        {2, 0, false, 9}, {6, 0, false, 9}, {8, 0, false, 9}, {-1, 0, false, 9}};
    // clang-format on
    for (const auto& c : cases) {
        SFInt32& target = o.make<SFInt32>("9");
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        EXPECT_EQ(target.setValueByField(list, &param), c.result) << c.mode << " " << c.value;
        EXPECT_EQ(target.getValue(), c.after) << c.mode << " " << c.value;
    }
    SFInt32& last = o.make<SFInt32>("9");
    EXPECT_TRUE(last.setValueByField(list, nullptr));  // no parameters: the first
    EXPECT_EQ(last.getValue(), 1);
    SFFloat& same = o.make<SFFloat>();
    ConvertParam fourth(ConvertParam::ReplaceLast, 0);
    EXPECT_TRUE(same.setValueByField(list, &fourth));
    EXPECT_EQ(same.getValue(), 3.5f);

    // Empty lists convert their zero element, whatever the mode.
    MFFloat& empty = o.make<MFFloat>();
    MFRotation& noRotations = o.make<MFRotation>();
    MFMatrix4f& noMatrices = o.make<MFMatrix4f>();
    SFBool& flag = o.make<SFBool>("TRUE");
    SFVec4f& vec = o.make<SFVec4f>("5 5 5 5");
    SFRotation& rotation = o.make<SFRotation>("1 0 0 2");
    for (int mode : {0, 2, 6}) {
        ConvertParam param(ConvertParam::Mode(mode), 0);
        EXPECT_TRUE(flag.setValueByField(empty, &param));
        EXPECT_EQ(textOf(flag), "FALSE");
    }
    EXPECT_TRUE(vec.setValueByField(noRotations, nullptr));
    EXPECT_EQ(textOf(vec), "0 0 1 0");
    EXPECT_TRUE(rotation.setValueByField(noMatrices, nullptr));
    EXPECT_EQ(textOf(rotation), "0 0 1 0");
}

// A value into a list: overwrite an element, or insert a converted one.
TEST(ConversionShapes, MultiFromSingle) {
    Owner o;
    SFFloat& value = o.make<SFFloat>("9.5");
    // clang-format off
    const struct { int mode; long value; bool result; const char* after; } cases[] = {
        {0, 0, true, "9 2 3"}, {1, 2, true, "9 2 3"}, {2, 0, true, "1 2 9"},
        {3, 1, true, "1 9 3"}, {4, 2, true, "1 2 9"}, {3, 3, false, "1 2 3"}, {4, -1, false, "1 2 3"},
        {5, 2, true, "9 1 2 3"}, {6, 0, true, "1 2 3 9"}, {7, 2, true, "1 2 9 3"}, {7, 9, true, "1 2 3 9"},
        {7, -1, true, "1 2 3 9"}, {8, 0, false, "1 2 3"}, {-1, 0, false, "1 2 3"}};
    // clang-format on
    for (const auto& c : cases) {
        MFInt32& list = o.make<MFInt32>("1 2 3");
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        EXPECT_EQ(list.setValueByField(value, &param), c.result) << c.mode << " " << c.value;
        EXPECT_EQ(join(list.getValue()), c.after) << c.mode << " " << c.value;
    }
    // An empty list gets one element in every valid mode, none in another.
    for (int mode = -1; mode <= 8; ++mode) {
        MFFloat& list = o.make<MFFloat>();
        ConvertParam param(ConvertParam::Mode(mode), 4);
        const bool valid = mode >= 0 && mode <= 7;
        EXPECT_EQ(list.setValueByField(value, &param), valid) << mode;
        EXPECT_EQ(join(list.getValue()), valid ? "9.5" : "") << mode;
    }
    // A linked list: insertion behind an index.
    MFString& names = o.make<MFString>("a b c");
    SFInt32& number = o.make<SFInt32>("5");
    ConvertParam behindFirst(ConvertParam::InsertAtIndex, 1);
    EXPECT_TRUE(names.setValueByField(number, &behindFirst));
    EXPECT_EQ(join(names.getValue()), "a 5 b c");
}

// A list into a list, each mode on a vector and on a linked list target. A linked list counts
// insertion indices round through its end, and grows with empty strings.
TEST(ConversionShapes, MultiFromMulti) {
    Owner o;
    // clang-format off
    const struct { const char* source; const char* target; int mode; long value; bool result; const char* after; const char* listAfter; } cases[] = {
        {"7 8", "1 2 3 4 5", 0, 0, true, "7 8", nullptr},           {"7 8", "1 2 3 4 5", 4, 0, true, "7 8", nullptr},
        {"7 8", "1 2 3 4 5", 1, 0, true, "7 8 3 4 5", nullptr},     {"7 8", "1 2 3 4 5", 2, 0, true, "1 2 3 7 8", nullptr},
        {"7 8", "1 2 3 4 5", 3, 1, true, "1 7 8 4 5", nullptr},     {"7 8", "1 2 3 4 5", 3, 4, true, "1 2 3 4 7 8", nullptr},
        {"7 8", "1 2 3 4 5", 3, 6, true, "1 2 3 4 5 0 7 8", "1 2 3 4 5  7 8"},
        {"7 8", "1 2 3 4 5", 3, -1, false, "1 2 3 4 5", nullptr},
        {"7 8", "1 2 3 4 5", 5, 3, true, "1 7 8 2 3 4 5", nullptr}, {"7 8", "1 2 3 4 5", 6, 0, true, "1 2 3 4 5 7 8", nullptr},
        {"7 8", "1 2 3 4 5", 7, 2, true, "1 2 3 7 8 4 5", nullptr}, {"7 8", "1 2 3 4 5", 8, 0, false, "1 2 3 4 5", nullptr},
        {"7 8 9", "1", 0, 0, true, "7 8 9", nullptr},  {"7 8 9", "1", 1, 0, true, "7 8 9", nullptr},
        {"7 8 9", "1", 2, 0, true, "7 8 9", nullptr},  {"7 8 9", "1", 3, 1, true, "1 7 8 9", nullptr},
        {"7 8 9", "1", 5, 0, true, "1 7 8 9", nullptr}, {"7 8 9", "", 5, 0, true, "7 8 9", "9 8 7"},
        {"7 8 9", "", 6, 0, true, "7 8 9", nullptr},
        {"", "1 2", 0, 0, false, "", nullptr},  {"", "1 2", 1, 0, false, "1 2", nullptr},
        {"", "1 2", 6, 0, false, "1 2", nullptr}, {"", "1 2", 3, 3, false, "1 2 0", "1 2 "},
    };
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(c.source) + " into " + c.target + " mode " +
                     std::to_string(c.mode) + " value " + std::to_string(c.value));
        ConvertParam param(ConvertParam::Mode(c.mode), c.value);
        MFInt32& source = o.make<MFInt32>(c.source);
        MFFloat& vector = o.make<MFFloat>(c.target);
        EXPECT_EQ(vector.setValueByField(source, &param), c.result);
        EXPECT_EQ(join(vector.getValue()), c.after);
        MFString& list = o.make<MFString>(c.target);
        EXPECT_EQ(list.setValueByField(source, &param), c.result);
        EXPECT_EQ(join(list.getValue()), c.listAfter ? c.listAfter : c.after);
    }
}

// A list function called by name reports the new size and leaves position behind what it wrote.
TEST(ConversionShapes, ListFunctionsByName) {
    Owner o;
    MFVec3f& source = o.make<MFVec3f>("3 4 0, 0 0 2, 1 0 0");
    MFFloat& target = o.make<MFFloat>("9 9 9 9");
    auto position = target.editValue().begin();
    long targetSize = 4;
    EXPECT_TRUE(handleMFFloatFromMFVec3f(&target, &source, position, 2, targetSize, 0,
                                         ConvertParam::Overwrite));
    EXPECT_EQ(join(target.getValue()), "5 2 9 9");
    EXPECT_EQ(targetSize, 4);
    EXPECT_EQ(position - target.getValue().begin(), 2);
    EXPECT_TRUE(handleMFFloatFromMFVec3f(&target, &source, position, 3, targetSize, 0,
                                         ConvertParam::Append));
    EXPECT_EQ(join(target.getValue()), "5 2 9 9 5 2 1");
    EXPECT_EQ(targetSize, 7);
}

// The modes act on a same-type pair only through Field::assign; setValueByField copies the
// whole value. Classes that share a value type are still different classes.
TEST(ConversionShapes, SameTypeCopiesAndAssignHonoursModes) {
    Owner o;
    MFFloat& two = o.make<MFFloat>("7 8");
    MFFloat& five = o.make<MFFloat>("1 2 3 4 5");
    ConvertParam overwrite(ConvertParam::Overwrite, 0);
    EXPECT_TRUE(Field::assign(five, two, &overwrite));
    EXPECT_EQ(join(five.getValue()), "7 8 3 4 5");
    EXPECT_TRUE(five.setValueByField(two, &overwrite));
    EXPECT_EQ(join(five.getValue()), "7 8");
    EXPECT_TRUE(five.setValueByField(five, &overwrite));
    EXPECT_EQ(join(five.getValue()), "7 8");
    // A list into itself reads what it held before.
    ConvertParam append(ConvertParam::Append, 0), insert(ConvertParam::Insert, 0);
    EXPECT_TRUE(Field::assign(two, two, &append));
    EXPECT_EQ(join(two.getValue()), "7 8 7 8");
    MFString& words = o.make<MFString>("a b");
    EXPECT_TRUE(Field::assign(words, words, &insert));
    EXPECT_EQ(join(words.getValue()), "a a b b");
    // MFTime and MFDouble share their template, not their class.
    MFDouble& doubles = o.make<MFDouble>("1 2");
    MFTime& times = o.make<MFTime>("5");
    EXPECT_TRUE(times.setValueByField(doubles, &append));
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
        EXPECT_EQ(join(numbers.getValue()), "9 8") << mode;
        EXPECT_TRUE(empty.getValue().empty()) << mode;
        EXPECT_EQ(log.count("String to Int32 conversion NI!\n"), 3) << mode;
    }
}

// Types with no conversions at all, and the wildcards, answer false without a word.
TEST(ConversionShapes, TypesWithoutConversions) {
    Owner o;
    Field& number = o.make(SFFloatType, "1");
    Field& numbers = o.make(MFFloatType, "1 2");
    LogCapture log;
    for (int type : {SFPlaneType, MFPlaneType, SFQubitType, MFQubitType, SFAnyType, MFAnyType}) {
        Field& other = o.make(type);
        EXPECT_FALSE(number.setValueByField(other, nullptr)) << other.dataTypeName();
        EXPECT_FALSE(numbers.setValueByField(other, nullptr)) << other.dataTypeName();
        EXPECT_FALSE(Field::assign(other, number, nullptr)) << other.dataTypeName();
    }
    for (int type : {SFNodeType, MFNodeType, XFAnyType}) {
        Field& other = o.make(type);
        EXPECT_FALSE(number.setValueByField(other, nullptr)) << other.dataTypeName();
        EXPECT_FALSE(Field::assign(other, numbers, nullptr)) << other.dataTypeName();
    }
    EXPECT_EQ(log.text(), "");
    EXPECT_EQ(textOf(number), "1");
}

}  // namespace
