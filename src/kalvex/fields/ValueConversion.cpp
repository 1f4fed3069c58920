#include "kalvex/fields/ValueConversion.h"

#include <algorithm>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <iterator>
#include <sstream>
#include <type_traits>

#include "kalvex/fields/codec/NumberText.h"
#include "kalvex/fields/codec/VectorCodecs.h"
#include "kalvex/object/Logging.h"
#include "kalvex/platform/osg/Image.h"

namespace Kalvex {

namespace {

// ---------------------------------------------------------------------------------------------
// Categories of the element types, read off the value types. Double and Time share double,
// and convert alike.

template <class T>
inline constexpr bool kIsNumber =
    std::is_same_v<T, int> || std::is_same_v<T, float> || std::is_same_v<T, double>;
template <class T>
inline constexpr bool kIsScalar = std::is_same_v<T, bool> || kIsNumber<T>;

template <class T>
inline constexpr int kVectorSize = 0;
template <class S, int N>
inline constexpr int kVectorSize<osg::Vector<S, N>> = N;

template <class T>
inline constexpr int kColorSize = 0;
template <>
inline constexpr int kColorSize<osg::Color3f> = 3;
template <>
inline constexpr int kColorSize<osg::Color4f> = 4;

template <class T>
inline constexpr int kMatrixSize = 0;
template <class S>
inline constexpr int kMatrixSize<osg::Matrix3<S>> = 3;
template <class S>
inline constexpr int kMatrixSize<osg::TransformationMatrix<S>> = 4;

// Whether target type A takes source type B: the rows of the conversion matrix.
template <class A, class B>
constexpr bool converts() {
    constexpr int vb = kVectorSize<B>;
    constexpr bool color = kColorSize<B> != 0;
    constexpr bool image = std::is_same_v<B, Image>;
    constexpr bool rotation = std::is_same_v<B, Rotation>;
    constexpr bool matrix = kMatrixSize<B> != 0;
    if constexpr (std::is_same_v<A, std::string>)
        return !image && !std::is_same_v<B, PCMSound>;
    else if constexpr (kIsScalar<A>)
        return kIsScalar<B> || image || vb != 0;
    else if constexpr (kColorSize<A> != 0)
        return color || vb >= 3;
    else if constexpr (std::is_same_v<A, Image>)
        return color || image;
    else if constexpr (kMatrixSize<A> != 0)
        return matrix || rotation;
    else if constexpr (std::is_same_v<A, Rotation>)
        return kIsScalar<B> || matrix || rotation || vb >= 3;
    else if constexpr (std::is_same_v<A, PCMSound>)
        return std::is_same_v<B, PCMSound>;
    else if constexpr (kVectorSize<A> == 2)
        return image || vb != 0;
    else if constexpr (kVectorSize<A> == 3)  // no Vec4: it would drop w unseen
        return color || image || rotation || (vb != 0 && vb <= 3);
    else
        return color || image || rotation || vb != 0;
}

// ---------------------------------------------------------------------------------------------
// Element rules.

// A plain cast, except into int from a value a cast cannot represent.
template <class To, class From>
To numberCast(From value) {
    if constexpr (std::is_same_v<To, int> && std::is_floating_point_v<From>) {
        const double d = value;
        if (std::isnan(d)) return 0;
        if (d >= 2147483648.0) return INT_MAX;
        if (d <= -2147483649.0) return INT_MIN;
        return static_cast<int>(d);
    } else {
        return static_cast<To>(value);
    }
}

// Width, height, depth and bytes per pixel; zero for an image without data.
void imageDims(const Image& image, double dims[4]) {
    const osg::Image* data = image.getData();
    dims[0] = data ? data->getWidth() : 0;
    dims[1] = data ? data->getHeight() : 0;
    dims[2] = data ? data->getDepth() : 0;
    dims[3] = data ? data->getBpp() : 0;
}

// The number a scalar, vector or image stands for.
template <class B>
auto magnitude(const B& source) {
    if constexpr (std::is_same_v<B, bool>) {
        return source ? 1 : 0;
    } else if constexpr (kIsNumber<B>) {
        return source;
    } else if constexpr (kVectorSize<B> != 0) {
        return source.length();
    } else {
        double dims[4];
        imageDims(source, dims);
        return dims[0] * dims[1] * dims[2] * dims[3];
    }
}

// The trace method, in double precision. Elements are read as stored, [column][row].
void rotationFromMatrix(Rotation& target, const osg::Matrix4f& matrix) {
    double m[3][3];
    for (int c = 0; c < 3; ++c)
        for (int r = 0; r < 3; ++r) m[c][r] = matrix[c][r];
    double q[4];  // x, y, z, w
    const double trace = m[0][0] + m[1][1] + m[2][2];
    if (trace > 0.0) {
        double s = std::sqrt(trace + 1.0);
        q[3] = s * 0.5;
        s = 0.5 / s;
        q[0] = (m[1][2] - m[2][1]) * s;
        q[1] = (m[2][0] - m[0][2]) * s;
        q[2] = (m[0][1] - m[1][0]) * s;
    } else {
        int i = 0;
        if (m[1][1] > m[0][0]) i = 1;
        if (m[2][2] > m[i][i]) i = 2;
        const int j = (i + 1) % 3, k = (j + 1) % 3;
        double s = std::sqrt(m[i][i] - (m[j][j] + m[k][k]) + 1.0);
        q[i] = s * 0.5;
        s = 0.5 / s;
        q[3] = (m[j][k] - m[k][j]) * s;
        q[j] = (m[i][j] + m[j][i]) * s;
        q[k] = (m[i][k] + m[k][i]) * s;
    }
    if (q[3] > 1.0 || q[3] < -1.0) {
        // Not a pure rotation (a scale, say); the log is not for such slips.
        if (q[3] > 1.0001 || q[3] < -1.0001)
            std::fprintf(stderr, "\nMatToQuat: BUG: |quat[4]| (%f) >> 1.0 !\n\n", q[3]);
        q[3] = q[3] > 0 ? 1.0 : -1.0;
    }
    osg::Quaternion quat;
    quat.setValueAsQuat(float(q[0]), float(q[1]), float(q[2]), float(q[3]));
    target.setQuat(quat);
}

// The rotation block of a 3x3 or 4x4 matrix; the rest stays.
template <class M>
void rotationMatrix(M& m, const osg::Quaternion& quat) {
    using S = typename M::ValueType;
    const double x = quat[0], y = quat[1], z = quat[2], w = quat[3];
    m[0][0] = S(1 - 2 * (y * y + z * z));
    m[0][1] = S(2 * (x * y + z * w));
    m[0][2] = S(2 * (z * x - y * w));
    m[1][0] = S(2 * (x * y - z * w));
    m[1][1] = S(1 - 2 * (z * z + x * x));
    m[1][2] = S(2 * (y * z + x * w));
    m[2][0] = S(2 * (z * x + y * w));
    m[2][1] = S(2 * (y * z - x * w));
    m[2][2] = S(1 - 2 * (y * y + x * x));
}

template <class B>
void toString(std::string& target, const B& source) {
    if constexpr (std::is_same_v<B, std::string>) {
        target = source;
    } else if constexpr (kMatrixSize<B> != 0) {
        vectorcodec::matrixText(source, target);
    } else if constexpr (kIsScalar<B>) {
        // What a default stream prints; without a stream where the locale allows.
        if (numtext::classicStreams()) {
            target.clear();
            if constexpr (std::is_same_v<B, bool>)
                target.push_back(source ? '1' : '0');
            else
                numtext::appendNumber(target, source, numtext::NumberForm::Default);
        } else {
            std::ostringstream os;
            os << source;
            target = os.str();
        }
    } else {
        std::ostringstream os;
        if constexpr (std::is_same_v<B, Rotation>) {
            float x, y, z, angle;
            source.getAxisAngleInline(x, y, z, angle);
            os << osg::Vec3f(x, y, z) << ", " << angle;
        } else {
            os << source;
        }
        target = os.str();
    }
}

// Only for pairs that convert.
template <class A, class B>
void convert(A& target, const B& source) {
    if constexpr (std::is_same_v<A, std::string>) {
        toString(target, source);
    } else if constexpr (std::is_same_v<A, bool>) {
        target = magnitude(source) != 0;
    } else if constexpr (kIsNumber<A>) {
        target = numberCast<A>(magnitude(source));
    } else if constexpr (kVectorSize<A> != 0) {
        using S = typename A::ValueType;
        constexpr unsigned n = kVectorSize<A>;
        if constexpr (kVectorSize<B> != 0) {
            target.setValue(source);  // the common components
        } else if constexpr (kColorSize<B> != 0) {
            for (unsigned i = 0; i < 3; ++i) target[i] = S(source[i]);
        } else if constexpr (std::is_same_v<B, Image>) {
            double dims[4];
            imageDims(source, dims);
            for (unsigned i = 0; i < n; ++i) target[i] = S(dims[i]);
        } else {
            float axis[3], angle;
            source.getAxisAngleInline(axis[0], axis[1], axis[2], angle);
            for (unsigned i = 0; i < 3; ++i) target[i] = S(axis[i]);
            if constexpr (n == 4) target[3] = S(angle);
        }
    } else if constexpr (kColorSize<A> != 0) {
        for (unsigned i = 0; i < 3; ++i) target[i] = float(source[i]);
    } else if constexpr (std::is_same_v<A, Image>) {
        if constexpr (std::is_same_v<B, Image>) {
            target = source;
        } else {
            constexpr unsigned n = kColorSize<B>;
            std::uint8_t pixel[4];
            for (unsigned i = 0; i < n; ++i)
                pixel[i] = std::uint8_t(numberCast<int>(source[i] * 255.0 + 0.5));
            if (!target.getData()) target.createData();
            target.getData()->set(n == 3 ? osg::Image::OSG_RGB_PF : osg::Image::OSG_RGBA_PF, 1, 1,
                                  1, 1, 1, 0.0, pixel, osg::Image::OSG_UINT8_IMAGEDATA);
        }
    } else if constexpr (kMatrixSize<A> != 0) {
        if constexpr (std::is_same_v<B, Rotation>) {
            rotationMatrix(target, source.getQuat());
        } else {
            using S = typename A::ValueType;
            constexpr unsigned n = std::min(kMatrixSize<A>, kMatrixSize<B>);
            for (unsigned c = 0; c < n; ++c)
                for (unsigned r = 0; r < n; ++r) target[c][r] = S(source[c][r]);
        }
    } else if constexpr (std::is_same_v<A, Rotation>) {
        if constexpr (std::is_same_v<B, Rotation>) {
            target = source;
        } else if constexpr (std::is_same_v<B, osg::Matrix4f>) {
            rotationFromMatrix(target, source);
        } else if constexpr (kMatrixSize<B> != 0) {
            osg::Matrix4f matrix;
            convert(matrix, source);
            rotationFromMatrix(target, matrix);
        } else if constexpr (kVectorSize<B> == 4) {
            target.setAxisAngle(float(source[0]), float(source[1]), float(source[2]),
                                float(source[3]));
        } else {
            float x, y, z, angle;
            target.getAxisAngleInline(x, y, z, angle);
            if constexpr (kVectorSize<B> == 3)
                target.setAxisAngle(float(source[0]), float(source[1]), float(source[2]), angle);
            else
                target.setAxisAngle(x, y, z, float(magnitude(source)));
        }
    } else {
        target = source;  // sound
    }
}

template <class A, class B>
bool assignElement(A& target, const B& source, const char* notImplemented) {
    if constexpr (converts<A, B>()) {
        convert(target, source);
        return true;
    } else {
        (void)target;
        (void)source;
        KWARNING("%s", notImplemented);
        return false;
    }
}

// ---------------------------------------------------------------------------------------------
// List conversions.

// An insertion index from a running index: negative appends, and an index past what an int
// holds stays at the end.
int insertIndex(long index) {
    if (index < 0) return -1;
    return index > INT_MAX ? INT_MAX : int(index);
}

template <auto Assign, class MFA, class Source>
bool writeList(MFA& target, const Source& source, typename MFA::Container::iterator& position,
               long sourceSize, long& targetSize, long value, int mode) {
    using A = typename MFA::ElementType;
    auto& values = target.editValue();
    const size_t S = std::min(size_t(std::max(sourceSize, 0L)), source.size());
    const size_t T = values.size();
    auto from = source.begin();
    bool result = false;
    // Positions are taken after any resize, which moves a vector.
    auto overwrite = [&](size_t offset) {
        position = values.begin();
        std::advance(position, offset);
        for (size_t i = 0; i < S; ++i, ++position, ++from) result = Assign(*position, *from);
    };
    auto insertEach = [&](long index, bool append) {
        for (size_t i = 0; i < S; ++i, ++from) {
            if (!append && index < INT_MAX) ++index;
            A* slot = target.insertValue(append ? -1 : insertIndex(index), A());
            result = Assign(*slot, *from);
        }
        position = values.begin();
    };
    switch (mode) {
        case ConvertParam::Replace:
        case ConvertParam::ReplaceLast:
            if (T != S) target.resize(unsigned(S));
            overwrite(0);
            break;
        case ConvertParam::Overwrite:
            if (T < S) target.resize(unsigned(S));
            overwrite(0);
            break;
        case ConvertParam::OverwriteEnd:
            if (T < S) target.resize(unsigned(S));
            overwrite(T < S ? 0 : T - S);
            break;
        case ConvertParam::AtIndex:
            if (value < 0 || S + size_t(value) > UINT_MAX) break;
            if (T < S + size_t(value)) target.resize(unsigned(S + size_t(value)));
            overwrite(size_t(value));
            break;
        case ConvertParam::Insert:
            insertEach(0, false);
            break;
        case ConvertParam::Append:
            insertEach(-1, true);
            break;
        case ConvertParam::InsertAtIndex:
            insertEach(value, false);
            break;
        default:
            break;
    }
    targetSize = long(values.size());
    return result;
}

template <class MFA, class MFB, auto Assign>
bool handleLists(MFA* target, const MFB* source, typename MFA::Container::iterator& position,
                 long sourceSize, long& targetSize, long value, int mode) {
    using A = typename MFA::ElementType;
    using B = typename MFB::ElementType;
    targetSize = long(target->size());
    position = target->editValue().begin();
    if constexpr (!converts<A, B>()) {
        A scratch{};
        const B zero{};
        return Assign(scratch, zero);  // its message, once
    } else {
        if constexpr (std::is_same_v<MFA, MFB>) {
            if (target == source) {  // inserting would walk into what it inserts
                const typename MFB::Container copy = source->getValue();
                return writeList<Assign>(*target, copy, position, sourceSize, targetSize, value,
                                         mode);
            }
        }
        return writeList<Assign>(*target, source->getValue(), position, sourceSize, targetSize,
                                 value, mode);
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// The 441 + 441 named functions.

#define KALVEX_DEFINE_CONVERSION(B, TB, SFB, MFB, A, TA, SFA, MFA)                              \
    bool assign##A##From##B(TA& target, const TB& source) {                                     \
        return assignElement(target, source, #B " to " #A " conversion NI!\n");                 \
    }                                                                                           \
    bool handle##MFA##From##MFB(MFA* target, const MFB* source,                                 \
                                MFA::Container::iterator& position, const long& sourceSize,     \
                                long& targetSize, long value, const ConvertParam::Mode& mode) { \
        return handleLists<MFA, MFB, &assign##A##From##B>(target, source, position, sourceSize, \
                                                          targetSize, value, mode);             \
    }

KALVEX_CONVERSION_PAIRS(KALVEX_DEFINE_CONVERSION)

#undef KALVEX_DEFINE_CONVERSION

// ---------------------------------------------------------------------------------------------
// The four shapes and the jump table.

namespace {

using Shape = bool (*)(Field& target, const Field& source, long mode, long value);

template <class SFA, class SFB, auto Assign>
bool singleFromSingle(Field& target, const Field& source, long, long) {
    return Assign(static_cast<SFA&>(target).editValue(),
                  static_cast<const SFB&>(source).getValue());
}

template <class SFA, class MFB, auto Assign>
bool singleFromMulti(Field& target, const Field& source, long mode, long value) {
    auto& to = static_cast<SFA&>(target).editValue();
    const auto& from = static_cast<const MFB&>(source).getValue();
    if (from.empty()) {
        const typename MFB::ElementType zero{};
        return Assign(to, zero);
    }
    switch (mode) {
        case ConvertParam::Replace:
        case ConvertParam::Overwrite:
        case ConvertParam::Insert:
            return Assign(to, from.front());
        case ConvertParam::ReplaceLast:
            return Assign(to, from.back());
        case ConvertParam::AtIndex:
        case ConvertParam::InsertAtIndex: {
            if (value < 0 || size_t(value) >= from.size()) return false;
            auto it = from.begin();
            std::advance(it, value);
            return Assign(to, *it);
        }
        default:  // OverwriteEnd, Append and unknown modes
            return false;
    }
}

template <class MFA, class SFB, auto Assign>
bool multiFromSingle(Field& target, const Field& source, long mode, long value) {
    using A = typename MFA::ElementType;
    MFA& field = static_cast<MFA&>(target);
    const auto& from = static_cast<const SFB&>(source).getValue();
    if constexpr (!converts<A, typename SFB::ValueType>()) {
        A scratch{};
        return Assign(scratch, from);  // its message; the list stays as it is
    } else {
        if (mode < ConvertParam::Replace || mode > ConvertParam::InsertAtIndex) return false;
        auto& values = field.editValue();
        auto insert = [&](int index) {
            A element{};
            bool result = Assign(element, from);
            field.insertValue(index, element);
            return result;
        };
        if (values.empty()) return insert(0);
        switch (mode) {
            case ConvertParam::Replace:
            case ConvertParam::Overwrite:
                return Assign(values.front(), from);
            case ConvertParam::OverwriteEnd:
                return Assign(values.back(), from);
            case ConvertParam::AtIndex:
            case ConvertParam::ReplaceLast: {
                if (value < 0 || size_t(value) >= values.size()) return false;
                auto it = values.begin();
                std::advance(it, value);
                return Assign(*it, from);
            }
            case ConvertParam::Insert:
                return insert(0);
            case ConvertParam::Append:
                return insert(-1);
            default:
                return insert(insertIndex(value));
        }
    }
}

template <class MFA, class MFB, auto Handle>
bool multiFromMulti(Field& target, const Field& source, long mode, long value) {
    MFA& to = static_cast<MFA&>(target);
    auto position = to.editValue().begin();
    const long sourceSize = long(source.size());
    long targetSize = long(to.size());
    const ConvertParam::Mode m = ConvertParam::Mode(mode);
    return Handle(&to, &static_cast<const MFB&>(source), position, sourceSize, targetSize, value,
                  m);
}

// Indexed by the data type numbers 0 to 48: target first, then source. The wildcards (49 to
// 51) have no row, and node, plane and qubit fields no entries.
constexpr int kDataTypes = 49;
struct JumpTable {
    Shape shape[kDataTypes][kDataTypes] = {};
};

constexpr JumpTable makeJumpTable() {
    JumpTable table;
#define KALVEX_FILL_SHAPES(B, TB, SFB, MFB, A, TA, SFA, MFA)                                       \
    table.shape[SFA::kDataType][SFB::kDataType] =                                                  \
        &singleFromSingle<SFA, SFB, &assign##A##From##B>;                                          \
    table.shape[SFA::kDataType][MFB::kDataType] = &singleFromMulti<SFA, MFB, &assign##A##From##B>; \
    table.shape[MFA::kDataType][SFB::kDataType] = &multiFromSingle<MFA, SFB, &assign##A##From##B>; \
    table.shape[MFA::kDataType][MFB::kDataType] =                                                  \
        &multiFromMulti<MFA, MFB, &handle##MFA##From##MFB>;
    KALVEX_CONVERSION_PAIRS(KALVEX_FILL_SHAPES)
#undef KALVEX_FILL_SHAPES
    return table;
}

constexpr JumpTable kJumpTable = makeJumpTable();

}  // namespace

bool Field::assign(Field& target, const Field& source, ConvertParam* param) {
    const long mode = param ? long(param->mode()) : 0;
    const long value = param ? param->value() : 0;
    const unsigned to = unsigned(target.dataType()), from = unsigned(source.dataType());
    if (to >= unsigned(kDataTypes) || from >= unsigned(kDataTypes)) return false;
    const Shape shape = kJumpTable.shape[to][from];
    return shape ? shape(target, source, mode, value) : false;
}

}  // namespace Kalvex
