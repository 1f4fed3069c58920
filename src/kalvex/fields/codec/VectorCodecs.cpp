#include "kalvex/fields/codec/VectorCodecs.h"

#include <array>
#include <charconv>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <iomanip>
#include <sstream>
#include <type_traits>

#include "kalvex/fields/codec/TextSyntax.h"
#include "kalvex/object/Logging.h"

namespace Kalvex::vectorcodec {

namespace {

// ---------------------------------------------------------------------------------------------
// Characters. The token set (NUL, tab, line feed, carriage return, blank, comma) and the skip
// set hold the same characters; the stream set adds the semicolon. A table keeps the inner
// loops of long number lists to one load per character.

enum : unsigned char { kTokenDelim = 1, kStreamDelim = 2 };

constexpr std::array<unsigned char, 256> makeCharTable() {
    std::array<unsigned char, 256> table{};
    for (unsigned char c : {'\t', '\n', '\r', ' ', ','}) table[c] |= kTokenDelim | kStreamDelim;
    table[';'] |= kStreamDelim;
    return table;
}
constexpr std::array<unsigned char, 256> kCharTable = makeCharTable();

inline bool isDelim(char c, unsigned char set) {
    return (kCharTable[static_cast<unsigned char>(c)] & set) != 0;
}
inline const char* skipDelims(const char* p, unsigned char set) {
    while (isDelim(*p, set)) ++p;
    return p;
}
// End of the run of non-delimiters that starts at p.
inline const char* runEnd(const char* p, unsigned char set) {
    while (*p && !isDelim(*p, set)) ++p;
    return p;
}

// from_chars is used only where it gives what the C functions give: the decimal point of the
// current locale is '.', and the run is a plain decimal number that it reads to the end without
// a range error. Everything else (signs '+', hex, inf, nan, exotic blanks, overflow) takes the
// C function, so the value and the stop position are always strtof's or strtod's.
inline bool plainDecimalPoint() {
    const std::lconv* conv = std::localeconv();
    return conv && conv->decimal_point && conv->decimal_point[0] == '.' &&
           conv->decimal_point[1] == '\0';
}

template <class S>
S toNumber(const char* p, const char* end, const char** stop, bool fast) {
    if (fast) {
        const char* q = p + (*p == '-');
        if (q < end && (static_cast<unsigned>(*q - '0') < 10u || *q == '.')) {
            S value;
            auto result = std::from_chars(p, end, value);
            if (result.ec == std::errc() && result.ptr == end) {
                *stop = end;
                return value;
            }
        }
    }
    char* e = nullptr;
    S value;
    if constexpr (std::is_same_v<S, float>)
        value = std::strtof(p, &e);
    else
        value = std::strtod(p, &e);
    *stop = e;
    return value;
}

// Calls sink(value) for each token of the token set until it answers false.
template <class S, class Sink>
void forEachToken(const char* text, bool fast, Sink sink) {
    const char* p = text;
    for (;;) {
        p = skipDelims(p, kTokenDelim);
        if (!*p) return;
        const char* end = runEnd(p, kTokenDelim);
        const char* stop;
        if (!sink(toNumber<S>(p, end, &stop, fast))) return;
        p = end;
    }
}

// ---------------------------------------------------------------------------------------------
// Element traits: the number of components, the type a token is converted to, and the way
// components go in and out of an element.

template <class E>
struct Traits;

template <class S, int Size>
struct Traits<osg::Vector<S, Size>> {
    using E = osg::Vector<S, Size>;
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

template <class C, int Size>
struct ColorTraits {
    using Scalar = float;
    static constexpr int N = Size;
    template <class In>
    static void fromComps(C& e, const In* v) {
        for (int i = 0; i < N; ++i) e[i] = float(v[i]);
    }
    template <class Out>
    static void toComps(const C& e, Out* v) {
        for (int i = 0; i < N; ++i) v[i] = Out(e[i]);
    }
    static void printElement(std::ostream& os, const C& e) { os << e; }
};
template <>
struct Traits<osg::Color3f> : ColorTraits<osg::Color3f, 3> {};
template <>
struct Traits<osg::Color4f> : ColorTraits<osg::Color4f, 4> {};

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
    typename T::Scalar v[T::N] = {};
    if (text) {
        int n = 0;
        forEachToken<typename T::Scalar>(text, plainDecimalPoint(), [&](auto value) {
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
    char buffer[256];
    int used = 0;
    for (int i = 0; i < T::N; ++i)
        used += std::snprintf(buffer + used, sizeof(buffer) - size_t(used), i ? " %g" : "%g", v[i]);
    out.assign(buffer);
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
// vectors (0 here), the stream's default for the others.
template <class E>
inline constexpr int kFixedPrecision = 0;
template <int Size>
inline constexpr int kFixedPrecision<osg::Vector<float, Size>> = 6;
template <int Size>
inline constexpr int kFixedPrecision<osg::Vector<double, Size>> = 12;

// The matrix lists skip blanks and commas and read with strtof until something is no number.
template <class E>
void parseMatrixList(std::vector<E>& values, const char* text) {
    using T = Traits<E>;
    const bool fast = plainDecimalPoint();
    float v[T::N];
    int n = 0;
    const char* p = text;
    for (;;) {
        p = skipDelims(p, kTokenDelim);
        if (!*p) break;
        const char* stop;
        float value = toNumber<float>(p, runEnd(p, kTokenDelim), &stop, fast);
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
        forEachToken<typename T::Scalar>(text, plainDecimalPoint(), [&](auto value) {
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
    if constexpr (kFixedPrecision < E >> 0) {
        // Long vector lists are the bulk of scene output: the characters of the vector stream
        // operator under fixed precision, written without a stream.
        out.reserve(values.size() * T::N * (kFixedPrecision<E> + 6));
        char buffer[400];
        for (size_t i = 0; i < values.size(); ++i) {
            for (int c = 0; c < T::N; ++c) {
                if (i || c) out += ", ";
                auto result = std::to_chars(buffer, buffer + sizeof(buffer), values[i][c],
                                            std::chars_format::fixed, kFixedPrecision<E>);
                out.append(buffer, result.ec == std::errc() ? result.ptr : buffer);
            }
        }
        return;
    }
    std::ostringstream os;
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
        const bool fast = plainDecimalPoint();
        double v[T::N];
        int n = 0;
        const char* elementStart = text;
        const char* p = text;
        for (;;) {
            p = skipDelims(p, kStreamDelim);
            if (n == 0) elementStart = p;
            if (!*p) return n == 0 ? nullptr : elementStart;
            const char* stop;
            double value = toNumber<double>(p, runEnd(p, kStreamDelim), &stop, fast);
            if (stop == p || !*stop) return elementStart;
            v[n++] = value;
            p = stop;
            if (n == T::N) {
                E element;
                T::fromComps(element, v);
                checkText(element);
                f.editValue().push_back(element);
                n = 0;
            }
        }
    }
}

// ---------------------------------------------------------------------------------------------
// Binary forms. A read that runs short leaves the value as it was.

namespace {

template <class E, class W>
void writeElement(Harnel::obinstream& out, const E& e) {
    W v[Traits<E>::N];
    Traits<E>::toComps(e, v);
    for (W c : v) out << c;
}

template <class E, class R>
bool readElement(Harnel::ibinstream& in, E& e) {
    R v[Traits<E>::N];
    for (R& c : v) in >> c;
    if (in.fail()) return false;
    Traits<E>::fromComps(e, v);
    return true;
}

}  // namespace

template <class E, class W, class R>
std::string SFBin<E, W, R>::getBin(const F& f, int) {
    return syntax::toBin([&](Harnel::obinstream& out) { writeElement<E, W>(out, f.getValue()); });
}

template <class E, class W, class R>
void SFBin<E, W, R>::setBin(F& f, const std::string& data) {
    syntax::fromBin(data, [&](Harnel::ibinstream& in) {
        E element = f.getValue();
        if (readElement<E, R>(in, element)) f.setValue(element);
    });
}

template <class E, class W, class R>
std::string MFBin<E, W, R>::getBin(const F& f, int) {
    return syntax::toBin([&](Harnel::obinstream& out) {
        const std::vector<E>& values = f.getValue();
        out << long(values.size());
        for (const E& e : values) writeElement<E, W>(out, e);
    });
}

template <class E, class W, class R>
void MFBin<E, W, R>::setBin(F& f, const std::string& data) {
    syntax::fromBin(data, [&](Harnel::ibinstream& in) {
        long count = 0;
        in >> count;
        if (in.fail()) return;
        std::vector<E>& values = f.editValue();
        values.clear();
        // The count is not trusted: elements are read while the bytes last.
        for (long i = 0; i < count; ++i) {
            E element;
            if (!readElement<E, R>(in, element)) break;
            values.push_back(element);
        }
    });
}

template <class E, class W, class R>
std::string MFBin<E, W, R>::get1Bin(const F& f, int index) {
    const std::vector<E>& values = f.getValue();
    if (index < 0 || size_t(index) >= values.size()) return std::string();
    return syntax::toBin([&](Harnel::obinstream& out) { writeElement<E, W>(out, values[index]); });
}

template <class E, class W, class R>
void MFBin<E, W, R>::set1Bin(F& f, int index, const std::string& data) {
    std::vector<E>& values = f.editValue();
    if (index < 0 || size_t(index) >= values.size()) return;
    syntax::fromBin(data, [&](Harnel::ibinstream& in) {
        E element = values[index];
        if (readElement<E, R>(in, element)) values[index] = element;
    });
}

// ---------------------------------------------------------------------------------------------

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
