#pragma once
// Fixed-size vectors Vector<T, N>, N = 2, 3, 4, T = float or double.
//
// Layout: exactly N T's, nothing else (no vtable), so arrays of vectors can be handed to code
// that wants plain floats; getValues() is the storage.
// `==`: component-wise within Eps (1e-6f, see MathTypes.h), not exact; equals() takes any
// tolerance.
// `<<`: the components separated by ", " (comma and one blank), each written with the stream's
// current flags and precision, e.g. "1, 2, 3". `>>` reads that form and blank-separated text.
// `*` between two vectors is the dot product and `%` the cross product.

#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <initializer_list>
#include <istream>
#include <ostream>

#include "kalvex/platform/osg/MathTypes.h"

namespace Kalvex::osg {

template <class ValueTypeT, int SizeI>
class Vector {
    static_assert(SizeI >= 2 && SizeI <= 4, "vectors have 2, 3 or 4 components");

  public:
    using ValueType = ValueTypeT;
    using RealReturnType = ValueTypeT;
    static constexpr int _iSize = SizeI;

    static const Vector Null;

    constexpr Vector() : _values{} {}

    // Reads SizeI values; a null pointer gives the zero vector.
    explicit Vector(const ValueTypeT* pVals) : _values{} {
        if (pVals == nullptr) return;
        for (int i = 0; i < SizeI; ++i) _values[i] = pVals[i];
    }

    // Components beyond the ones given are zero, values beyond the size are dropped.
    explicit constexpr Vector(ValueTypeT v0) : _values{} { _values[0] = v0; }
    constexpr Vector(ValueTypeT v0, ValueTypeT v1) : _values{} { assign({v0, v1}, 2); }
    constexpr Vector(ValueTypeT v0, ValueTypeT v1, ValueTypeT v2) : _values{} {
        assign({v0, v1, v2}, 3);
    }
    constexpr Vector(ValueTypeT v0, ValueTypeT v1, ValueTypeT v2, ValueTypeT v3) : _values{} {
        assign({v0, v1, v2, v3}, 4);
    }

    // Other size or value type: common components are cast, the rest is zero.
    template <class OtherT, int OtherI>
    explicit Vector(const Vector<OtherT, OtherI>& other) : _values{} {
        constexpr int n = SizeI < OtherI ? SizeI : OtherI;
        for (int i = 0; i < n; ++i) _values[i] = static_cast<ValueTypeT>(other[i]);
    }

    /*---------------------------------- set ----------------------------------*/

    void setNull() {
        for (auto& v : _values) v = ValueTypeT(0);
    }

    void setValues(ValueTypeT v0, ValueTypeT v1) requires(SizeI == 2) {
        _values[0] = v0;
        _values[1] = v1;
    }
    void setValues(ValueTypeT v0, ValueTypeT v1, ValueTypeT v2) requires(SizeI == 3) {
        _values[0] = v0;
        _values[1] = v1;
        _values[2] = v2;
    }
    void setValues(ValueTypeT v0, ValueTypeT v1, ValueTypeT v2,
                   ValueTypeT v3) requires(SizeI == 4) {
        _values[0] = v0;
        _values[1] = v1;
        _values[2] = v2;
        _values[3] = v3;
    }

    void setValue(const Vector& other) { *this = other; }

    // Copies the components both have; the others keep their value (a Vec3 into a Vec4 leaves
    // w alone, which is how matrix columns take a translation).
    template <class OtherT, int OtherI>
    void setValue(const Vector<OtherT, OtherI>& other) {
        constexpr int n = SizeI < OtherI ? SizeI : OtherI;
        for (int i = 0; i < n; ++i) _values[i] = static_cast<ValueTypeT>(other[i]);
    }

    void setValue(const ValueTypeT* pVals) {
        for (int i = 0; i < SizeI; ++i) _values[i] = pVals[i];
    }

    // Blank, tab or line feed separated numbers; missing ones are zero, a null or empty text
    // gives the zero vector.
    void setValue(const char* text);
    void setValueFromCString(const char* text) { setValue(text); }

    void getSeparateValues(ValueTypeT& v0, ValueTypeT& v1) const requires(SizeI == 2) {
        v0 = _values[0];
        v1 = _values[1];
    }
    void getSeparateValues(ValueTypeT& v0, ValueTypeT& v1, ValueTypeT& v2) const
        requires(SizeI == 3) {
        v0 = _values[0];
        v1 = _values[1];
        v2 = _values[2];
    }
    void getSeparateValues(ValueTypeT& v0, ValueTypeT& v1, ValueTypeT& v2, ValueTypeT& v3) const
        requires(SizeI == 4) {
        v0 = _values[0];
        v1 = _values[1];
        v2 = _values[2];
        v3 = _values[3];
    }

    /*---------------------------------- get ----------------------------------*/

    ValueTypeT* getValues() { return _values; }
    const ValueTypeT* getValues() const { return _values; }

    ValueTypeT x() const { return _values[0]; }
    ValueTypeT y() const { return _values[1]; }
    ValueTypeT z() const requires(SizeI >= 3) { return _values[2]; }
    ValueTypeT w() const requires(SizeI == 4) { return _values[3]; }

    ValueTypeT& operator[](UInt32 i) { return _values[i]; }
    const ValueTypeT& operator[](UInt32 i) const { return _values[i]; }

    /*---------------------------------- math ---------------------------------*/

    // Every component within [-Eps, Eps].
    bool isZero() const {
        for (auto v : _values)
            if (!(v <= Eps && v >= -Eps)) return false;
        return true;
    }

    void negate() {
        for (auto& v : _values) v = -v;
    }

    bool equals(const Vector& other, ValueTypeT tolerance) const {
        for (int i = 0; i < SizeI; ++i) {
            if (!(_values[i] - other._values[i] <= tolerance &&
                  other._values[i] - _values[i] <= tolerance))
                return false;
        }
        return true;
    }

    RealReturnType squareLength() const {
        RealReturnType sum = _values[0] * _values[0];
        for (int i = 1; i < SizeI; ++i) sum += _values[i] * _values[i];
        return sum;
    }
    RealReturnType length() const { return std::sqrt(squareLength()); }

    // A vector shorter than Eps is left as it is rather than blown up.
    void normalize() {
        ValueTypeT len = length();
        ValueTypeT factor = std::abs(len) < Eps ? ValueTypeT(1) : ValueTypeT(1) / len;
        for (auto& v : _values) v *= factor;
    }

    ValueTypeT dot(const Vector& other) const {
        ValueTypeT sum = _values[0] * other._values[0];
        for (int i = 1; i < SizeI; ++i) sum += _values[i] * other._values[i];
        return sum;
    }

    // Right handed.
    Vector cross(const Vector& other) const requires(SizeI == 3) {
        return Vector(_values[1] * other._values[2] - _values[2] * other._values[1],
                      _values[2] * other._values[0] - _values[0] * other._values[2],
                      _values[0] * other._values[1] - _values[1] * other._values[0]);
    }
    void crossThis(const Vector& other) requires(SizeI == 3) { *this = cross(other); }

    // Angle between the two in radians; 0 if either is (nearly) zero.
    RealReturnType enclosedAngle(const Vector& other) const {
        if (isZero() || other.isZero()) return RealReturnType(0);
        RealReturnType c = dot(other) / (length() * other.length());
        if (c - Eps < -1.) return RealReturnType(Pi);
        if (c + Eps > 1.) return RealReturnType(0);
        return std::acos(c);
    }

    // Replaces this by its projection onto `onto` and returns the factor (1 if `onto` is
    // nearly zero and nothing is changed).
    RealReturnType projectTo(const Vector& onto) {
        RealReturnType d = dot(onto);
        RealReturnType sq = onto.dot(onto);
        if (!(sq > Eps)) return RealReturnType(1);
        d /= sq;
        if (std::abs(d) > Eps) {
            *this = onto * ValueTypeT(d);
        } else {
            setNull();
            d = RealReturnType(0);
        }
        return d;
    }

    RealReturnType dist2(const Vector& other) const { return (*this - other).squareLength(); }
    RealReturnType dist(const Vector& other) const { return std::sqrt(dist2(other)); }

    RealReturnType maxValue() const {
        RealReturnType m = _values[0];
        for (int i = 1; i < SizeI; ++i)
            if (_values[i] > m) m = _values[i];
        return m;
    }

    /*------------------------------- operators -------------------------------*/

    Vector operator+(const Vector& other) const {
        Vector r(*this);
        r += other;
        return r;
    }
    Vector operator-(const Vector& other) const {
        Vector r(*this);
        r -= other;
        return r;
    }
    Vector operator*(ValueTypeT s) const {
        Vector r(*this);
        r *= s;
        return r;
    }
    Vector operator-() const {
        Vector r(*this);
        r.negate();
        return r;
    }
    ValueTypeT operator*(const Vector& other) const { return dot(other); }
    Vector operator%(const Vector& other) const requires(SizeI == 3) { return cross(other); }

    Vector& operator+=(const Vector& other) {
        for (int i = 0; i < SizeI; ++i) _values[i] += other._values[i];
        return *this;
    }
    Vector& operator-=(const Vector& other) {
        for (int i = 0; i < SizeI; ++i) _values[i] -= other._values[i];
        return *this;
    }
    Vector& operator*=(ValueTypeT s) {
        for (auto& v : _values) v *= s;
        return *this;
    }
    Vector& operator/=(ValueTypeT s) {
        for (auto& v : _values) v /= s;
        return *this;
    }

    bool operator==(const Vector& other) const { return equals(other, ValueTypeT(Eps)); }
    bool operator!=(const Vector& other) const { return !(*this == other); }

    // Lexicographic, exact; for ordered containers.
    bool operator<(const Vector& other) const {
        for (int i = 0; i < SizeI; ++i) {
            if (_values[i] < other._values[i]) return true;
            if (_values[i] > other._values[i]) return false;
        }
        return false;
    }

  protected:
    constexpr void assign(std::initializer_list<ValueTypeT> vals, int count) {
        int n = count < SizeI ? count : SizeI;
        const ValueTypeT* p = vals.begin();
        for (int i = 0; i < n; ++i) _values[i] = p[i];
    }

    ValueTypeT _values[SizeI];
};

template <class ValueTypeT, int SizeI>
inline const Vector<ValueTypeT, SizeI> Vector<ValueTypeT, SizeI>::Null{};

template <class ValueTypeT, int SizeI>
void Vector<ValueTypeT, SizeI>::setValue(const char* text) {
    setNull();
    if (text == nullptr) return;
    const char* c = text;
    for (int i = 0; i < SizeI; ++i) {
        while (*c == ' ' || *c == '\t' || *c == '\n') ++c;
        if (*c == '\0') break;
        const char* end = c;
        while (*end != '\0' && *end != ' ' && *end != '\t' && *end != '\n') ++end;
        // A token is converted on its own, so "1," reads as 1 and junk as 0.
        char token[256];
        std::size_t len = static_cast<std::size_t>(end - c);
        if (len >= sizeof(token)) len = sizeof(token) - 1;
        for (std::size_t k = 0; k < len; ++k) token[k] = c[k];
        token[len] = '\0';
        _values[i] = static_cast<ValueTypeT>(std::strtod(token, nullptr));
        c = end;
    }
}

template <class ValueTypeT, int SizeI>
inline Vector<ValueTypeT, SizeI> operator*(ValueTypeT s, const Vector<ValueTypeT, SizeI>& v) {
    return v * s;
}

template <class ValueTypeT, int SizeI>
std::ostream& operator<<(std::ostream& os, const Vector<ValueTypeT, SizeI>& v) {
    for (int i = 0; i < SizeI; ++i) {
        os << v[i];
        if (i != SizeI - 1) os << ", ";
    }
    return os;
}

// Blanks and commas between components are skipped, so both "1, 2, 3" and "1 2 3" read.
template <class ValueTypeT, int SizeI>
std::istream& operator>>(std::istream& is, Vector<ValueTypeT, SizeI>& v) {
    for (int i = 0; i < SizeI; ++i) {
        if (i != 0) {
            while (is.peek() == ' ' || is.peek() == ',') is.ignore();
        }
        is >> v[i];
    }
    return is;
}

}  // namespace Kalvex::osg
