#include "kalvex/fields/codec/VectorCodecs.h"

#include <cmath>
#include <cstring>
#include <iomanip>
#include <sstream>
#include <type_traits>

#include "kalvex/fields/codec/NumberText.h"
#include "kalvex/object/Logging.h"

namespace Kalvex::vectorcodec {

namespace {

using numtext::kTokenSet;

// ---------------------------------------------------------------------------------------------
// Element traits: the number of components, the type a token is converted to, and the way
// components go in and out of an element.

template <class E>
struct Traits;

// Vectors and colours: components by index, printed with their own stream operator.
template <class E_, class S, int Size>
struct IndexedTraits {
    using E = E_;
    using Scalar = S;
    static constexpr int N = Size;
    template <class In>
    static void fromComps(E& e, const In* v) {
        for (int i = 0; i < N; ++i) e[i] = S(v[i]);
    }
    template <class Out>
    static void toComps(const E& e, Out* v) {
        for (int i = 0; i < N; ++i) v[i] = Out(e[i]);
    }
    static void printElement(std::ostream& os, const E& e) { os << e; }
};
template <class S, int Size>
struct Traits<osg::Vector<S, Size>> : IndexedTraits<osg::Vector<S, Size>, S, Size> {};
template <>
struct Traits<osg::Color3f> : IndexedTraits<osg::Color3f, float, 3> {};
template <>
struct Traits<osg::Color4f> : IndexedTraits<osg::Color4f, float, 4> {};

template <>
struct Traits<osg::Plane> {
    using E = osg::Plane;
    using Scalar = float;
    static constexpr int N = 4;
    template <class In>
    static void fromComps(E& e, const In* v) {
        e.set(float(v[0]), float(v[1]), float(v[2]), float(v[3]));
    }
    template <class Out>
    static void toComps(const E& e, Out* v) {
        const osg::Vec3f& n = e.getNormal();
        v[0] = Out(n[0]);
        v[1] = Out(n[1]);
        v[2] = Out(n[2]);
        v[3] = Out(e.getDistanceFromOrigin());
    }
    static void printElement(std::ostream& os, const E& e) { os << e; }
};

template <class M, int Size>
struct MatrixTraits {
    using Scalar = typename M::ValueType;
    static constexpr int N = Size;
    template <class In>
    static void fromComps(M& e, const In* v) {
        Scalar* out = e.getValues();
        for (int i = 0; i < N; ++i) out[i] = Scalar(v[i]);
    }
    template <class Out>
    static void toComps(const M& e, Out* v) {
        const Scalar* in = e.getValues();
        for (int i = 0; i < N; ++i) v[i] = Out(in[i]);
    }
    static void printElement(std::ostream& os, const M& e) {
        const Scalar* in = e.getValues();
        for (int i = 0; i < N; ++i) {
            if (i) os << ' ';
            os << in[i];
        }
    }
};
template <>
struct Traits<osg::Matrix3f> : MatrixTraits<osg::Matrix3f, 9> {};
template <>
struct Traits<osg::Matrix3d> : MatrixTraits<osg::Matrix3d, 9> {};
template <>
struct Traits<osg::Matrix4f> : MatrixTraits<osg::Matrix4f, 16> {};
template <>
struct Traits<osg::Matrix4d> : MatrixTraits<osg::Matrix4d, 16> {};

// Rotation components are axis x, y, z and the angle in radians; tokens are read as doubles
// and narrowed. Reading out goes through the quaternion's own axis/angle form.
template <>
struct Traits<Rotation> {
    using E = Rotation;
    using Scalar = double;
    static constexpr int N = 4;
    template <class In>
    static void fromComps(E& e, const In* v) {
        e.setAxisAngle(float(v[0]), float(v[1]), float(v[2]), float(v[3]));
    }
    template <class Out>
    static void toComps(const E& e, Out* v) {
        float x, y, z, angle;
        e.getAxisAngle(x, y, z, angle);
        v[0] = Out(x);
        v[1] = Out(y);
        v[2] = Out(z);
        v[3] = Out(angle);
    }
    static void printElement(std::ostream& os, const E& e) {
        float x, y, z, angle;
        e.getAxisAngle(x, y, z, angle);
        os << osg::Vec3f(x, y, z) << ", " << angle;
    }
};

template <class E>
inline constexpr bool kIsMatrix =
    std::is_same_v<E, osg::Matrix3f> || std::is_same_v<E, osg::Matrix3d> ||
    std::is_same_v<E, osg::Matrix4f> || std::is_same_v<E, osg::Matrix4d>;

// A rotation from text that is not finite in any part becomes the default rotation.
template <class E>
void checkText(E& e) {
    if constexpr (std::is_same_v<E, Rotation>) {
        float v[4];
        Traits<Rotation>::toComps(e, v);
        for (float c : v) {
            if (!std::isfinite(c)) {
                e.setAxisAngle(0, 0, 1, 0);
                return;
            }
        }
    }
    (void)e;
}

// The single-value rule: up to N tokens, missing ones 0. Matrices start from the identity for
// a null or empty text or one that begins with a small i; a rotation from the default axis.
template <class E>
void parseSingle(E& e, const char* text) {
    using T = Traits<E>;
    if constexpr (kIsMatrix<E>) {
        if (!text || !*text || *text == 'i') {
            e.setIdentity();
            return;
        }
    }
    if constexpr (std::is_same_v<E, Rotation>) {
        if (!text || !*text) {
            e.setAxisAngle(0, 0, 1, 0);
            return;
        }
    }
    // Tokens are read with strtof, also for the double types; a rotation reads doubles and
    // narrows them.
    using Token = std::conditional_t<std::is_same_v<E, Rotation>, double, float>;
    Token v[T::N] = {};
    if (text) {
        int n = 0;
        numtext::forEachToken<Token>(text, [&](auto value) {
            v[n++] = value;
            return n < T::N;
        });
    }
    T::fromComps(e, v);
    checkText(e);
}

// "%g" with one blank between components.
template <class E>
void printGeneral(const E& e, std::string& out) {
    using T = Traits<E>;
    double v[T::N];
    T::toComps(e, v);
    out.clear();
    for (int i = 0; i < T::N; ++i) numtext::appendPrintf(out, i ? " %g" : "%g", v[i]);
}

template <class E>
void printSingle(const E& e, std::string& out) {
    using T = Traits<E>;
    if constexpr (kIsMatrix<E>) {
        // One column per line, three decimals whatever the precision of the type.
        constexpr int rows = T::N == 9 ? 3 : 4;
        std::ostringstream os;
        os << std::fixed << std::showpoint << std::setprecision(3) << std::setfill(' ');
        const typename T::Scalar* v = e.getValues();
        for (int i = 0; i < T::N; ++i) {
            os << std::setw(8) << v[i] << ' ';
            if (i % rows == rows - 1) os << '\n';
        }
        out = os.str();
    } else if constexpr (std::is_same_v<E, osg::Color4f>) {
        std::ostringstream os;
        os << e;
        out = os.str();
    } else {
        printGeneral(e, out);
    }
}

// Number format of an element list: fixed 6 for the float vectors, fixed 12 for the double
// vectors; the others print through their stream operator (kStreamed).
template <class E>
inline constexpr bool kStreamed = true;
template <class S, int Size>
inline constexpr bool kStreamed<osg::Vector<S, Size>> = false;
template <class S>
inline constexpr numtext::NumberForm kListForm = sizeof(S) == sizeof(float)
                                                     ? numtext::NumberForm::Fixed6
                                                     : numtext::NumberForm::Fixed12;

// The matrix lists skip blanks and commas and read with strtof until something is no number.
template <class E>
void parseMatrixList(std::vector<E>& values, const char* text) {
    using T = Traits<E>;
    const char* end = text + std::strlen(text);
    const bool fast = numtext::plainDecimalPoint();
    float v[T::N];
    int n = 0;
    const char* p = text;
    for (;;) {
        p = numtext::skipDelims(p, kTokenSet);
        if (!*p) break;
        float value;
        const char* stop = numtext::readNumber(p, end, fast, value);
        if (stop == p) break;
        v[n++] = value;
        p = stop;
        if (n == T::N) {
            values.emplace_back();
            T::fromComps(values.back(), v);
            n = 0;
        }
    }
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Text forms.

template <class E>
void SFText<E>::setStr(F& f, const char* text) {
    parseSingle(f.editValue(), text);
}

template <class E>
void SFText<E>::getStr(const F& f, std::string& out) {
    printSingle(f.getValue(), out);
}

template <class E, bool kStreaming>
void MFText<E, kStreaming>::setStr(F& f, const char* text) {
    using T = Traits<E>;
    std::vector<E>& values = f.editValue();
    values.clear();
    if (!text || !*text) return;
    if constexpr (kIsMatrix<E>) {
        parseMatrixList(values, text);
    } else {
        // Every N-th token completes an element; a partial one at the end is dropped.
        typename T::Scalar v[T::N];
        int n = 0;
        numtext::forEachToken<typename T::Scalar>(text, [&](auto value) {
            v[n++] = value;
            if (n == T::N) {
                values.emplace_back();
                T::fromComps(values.back(), v);
                checkText(values.back());
                n = 0;
            }
            return true;
        });
    }
}

template <class E, bool kStreaming>
void MFText<E, kStreaming>::getStr(const F& f, std::string& out) {
    using T = Traits<E>;
    const std::vector<E>& values = f.getValue();
    out.clear();
    if (values.empty()) return;
    // The vector lists print the vector stream operator under fixed precision, so a host's C++
    // locale shows in them as in every other list. They are the bulk of scene output: in the
    // classic locale the same characters are written without a stream.
    constexpr numtext::NumberForm form = kListForm<typename T::Scalar>;
    if constexpr (!kStreamed<E>) {
        if (numtext::classicStreams()) {
            out.reserve(values.size() * T::N * (form == numtext::NumberForm::Fixed6 ? 12 : 18));
            for (size_t i = 0; i < values.size(); ++i) {
                for (int c = 0; c < T::N; ++c) {
                    if (i || c) out.append(", ", 2);
                    numtext::appendNumber(out, values[i][c], form);
                }
            }
            return;
        }
    }
    std::ostringstream os;
    if constexpr (!kStreamed<E>)
        os << std::fixed << std::setprecision(form == numtext::NumberForm::Fixed6 ? 6 : 12);
    // The matrices are one flat list; the others separate their elements with ", ".
    const char* between = kIsMatrix<E> ? " " : ", ";
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) os << between;
        T::printElement(os, values[i]);
    }
    out = os.str();
}

template <class E, bool kStreaming>
const char* MFText<E, kStreaming>::addStr(F& f, const char* text, Field::Cardinality mode) {
    using T = Traits<E>;
    if (mode == Field::CardinalitySingle) {
        E element;
        parseSingle(element, text);
        f.editValue().push_back(element);
        return nullptr;
    }
    if constexpr (!kStreaming) {
        KFATAL("%s::addValueByStr() for partial data not impl.\n", f.dataTypeName());
        return nullptr;
    } else {
        // A piece of a longer stream: store every element whose last number is followed by more
        // text, and hand back the start of the first element not finished, which the caller
        // puts in front of the next piece.
        if (!text) return nullptr;
        double v[T::N];
        int n = 0;
        const char* elementStart = text;
        const char* pending =
            numtext::streamNumbers<double>(text, [&](double value, const char* at) {
                if (n == 0) elementStart = at;
                v[n++] = value;
                if (n == T::N) {
                    E element;
                    T::fromComps(element, v);
                    checkText(element);
                    f.editValue().push_back(element);
                    n = 0;
                }
            });
        if (n == 0) return pending;
        return elementStart;
    }
}

// ---------------------------------------------------------------------------------------------
// Binary forms. A read that runs short leaves the value as it was.

namespace {

// The components of an element written as W and read as R; a short read leaves the element.
template <class E, class W, class R>
struct CompWire {
    static constexpr size_t kMinBytes = Traits<E>::N * sizeof(R);
    static void write(Harnel::obinstream& out, const E& e) {
        W v[Traits<E>::N];
        Traits<E>::toComps(e, v);
        for (W c : v) out << c;
    }
    static bool read(Harnel::ibinstream& in, E& e) {
        R v[Traits<E>::N];
        for (R& c : v) in >> c;
        if (in.fail()) return false;
        Traits<E>::fromComps(e, v);
        return true;
    }
};

}  // namespace

template <class E, class W, class R>
std::string SFBin<E, W, R>::getBin(const F& f, int) {
    return numtext::writeValue<CompWire<E, W, R>>(f.getValue());
}

template <class E, class W, class R>
void SFBin<E, W, R>::setBin(F& f, const std::string& data) {
    E element = f.getValue();
    if (numtext::readValue<CompWire<E, W, R>>(data, element)) f.setValue(element);
}

template <class E, class W, class R>
std::string MFBin<E, W, R>::getBin(const F& f, int) {
    return numtext::writeCounted<CompWire<E, W, R>>(f.getValue());
}

// Without even a count the list is left as it was.
template <class E, class W, class R>
void MFBin<E, W, R>::setBin(F& f, const std::string& data) {
    std::vector<E> values;
    if (numtext::readCounted<CompWire<E, W, R>>(data, values)) f.editValue() = std::move(values);
}

template <class E, class W, class R>
std::string MFBin<E, W, R>::get1Bin(const F& f, int index) {
    return numtext::writeElement<CompWire<E, W, R>>(f.getValue(), index);
}

template <class E, class W, class R>
void MFBin<E, W, R>::set1Bin(F& f, int index, const std::string& data) {
    numtext::readElement<CompWire<E, W, R>>(f.editValue(), index, data);
}

template <class M>
void matrixText(const M& matrix, std::string& out) {
    printSingle(matrix, out);
}

// ---------------------------------------------------------------------------------------------

template void matrixText(const osg::Matrix3d&, std::string&);
template void matrixText(const osg::Matrix3f&, std::string&);
template void matrixText(const osg::Matrix4d&, std::string&);
template void matrixText(const osg::Matrix4f&, std::string&);

template struct SFText<osg::Color3f>;
template struct SFText<osg::Color4f>;
template struct SFText<osg::Vec2d>;
template struct SFText<osg::Vec2f>;
template struct SFText<osg::Vec3d>;
template struct SFText<osg::Vec3f>;
template struct SFText<osg::Vec4d>;
template struct SFText<osg::Vec4f>;
template struct SFText<Rotation>;
template struct SFText<osg::Plane>;
template struct SFText<osg::Matrix3d>;
template struct SFText<osg::Matrix3f>;
template struct SFText<osg::Matrix4d>;
template struct SFText<osg::Matrix4f>;

template struct MFText<osg::Color3f>;
template struct MFText<osg::Color4f>;
template struct MFText<osg::Vec2d>;
template struct MFText<osg::Vec2f>;
template struct MFText<osg::Vec3d>;
template struct MFText<osg::Vec3f>;
template struct MFText<osg::Vec4d>;
template struct MFText<osg::Vec4f>;
template struct MFText<Rotation>;
template struct MFText<osg::Plane, false>;
template struct MFText<osg::Matrix3d>;
template struct MFText<osg::Matrix3f>;
template struct MFText<osg::Matrix4d>;
template struct MFText<osg::Matrix4f>;

template struct SFBin<osg::Color3f, float, float>;
template struct SFBin<osg::Color4f, float, float>;
template struct SFBin<osg::Vec2d, double, float>;
template struct SFBin<osg::Vec2f, float, float>;
template struct SFBin<osg::Vec3d, double, float>;
template struct SFBin<osg::Vec3f, float, float>;
template struct SFBin<osg::Vec4f, float, float>;
template struct SFBin<Rotation, float, float>;
template struct SFBin<osg::Matrix4f, float, float>;

template struct MFBin<osg::Color3f, float, float>;
template struct MFBin<osg::Color4f, float, float>;
template struct MFBin<osg::Vec2d, double, float>;
template struct MFBin<osg::Vec2f, float, float>;
template struct MFBin<osg::Vec3d, double, float>;
template struct MFBin<osg::Vec3f, float, float>;
template struct MFBin<Rotation, float, float>;

}  // namespace Kalvex::vectorcodec

namespace Kalvex {

bool SFPlaneCodec::setField(SField<osg::Plane, false>& f, const Field& other, ConvertParam*) {
    const SFPlane* plane = dynamic_cast<const SFPlane*>(&other);
    if (!plane) return false;
    f.setValue(plane->getValue());
    return true;
}

}  // namespace Kalvex
