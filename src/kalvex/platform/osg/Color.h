#pragma once
// RGB and RGBA colours, Color3<T> and Color4<T> (Color3f, Color4f).
//
// Layout: three (four) plain components red, green, blue (, alpha); getValuesRGB() and
// getValuesRGBA() are the storage.
// `==`: component-wise within Eps (1e-6f), like the vectors; equals() takes any tolerance.
// `<<`: the components separated by one blank, "r g b" or "r g b a", with the stream's current
// format. `>>` reads blank (or comma) separated components.

#include <istream>
#include <ostream>

#include "kalvex/platform/osg/MathTypes.h"
#include "kalvex/platform/osg/Vector.h"

namespace Kalvex::osg {

namespace detail {

// Colour arithmetic and comparison shared by both sizes; Derived holds SizeI components.
template <class Derived, class ValueTypeT, int SizeI>
class ColorBase {
  public:
    using ValueType = ValueTypeT;

    ValueTypeT& operator[](UInt32 i) { return values()[i]; }
    const ValueTypeT& operator[](UInt32 i) const { return values()[i]; }

    ValueTypeT red() const { return values()[0]; }
    ValueTypeT green() const { return values()[1]; }
    ValueTypeT blue() const { return values()[2]; }

    void clear() {
        for (int i = 0; i < SizeI; ++i) values()[i] = ValueTypeT(0);
    }

    bool equals(const Derived& other, ValueTypeT tolerance) const {
        for (int i = 0; i < SizeI; ++i) {
            if (!(values()[i] - other[i] <= tolerance && other[i] - values()[i] <= tolerance))
                return false;
        }
        return true;
    }
    // A friend on two Derived operands: a member on the base would make C++20's reversed
    // candidate an equally good match. `!=` is rewritten from it.
    friend bool operator==(const Derived& a, const Derived& b) {
        return a.equals(b, ValueTypeT(Eps));
    }

    // Lexicographic, exact; for ordered containers.
    bool operator<(const Derived& other) const {
        for (int i = 0; i < SizeI; ++i) {
            if (values()[i] < other[i]) return true;
            if (values()[i] > other[i]) return false;
        }
        return false;
    }

    Derived operator*(ValueTypeT s) const {
        return apply([s](ValueTypeT a) { return a * s; });
    }
    Derived operator/(ValueTypeT s) const {
        return apply([s](ValueTypeT a) { return a / s; });
    }
    Derived operator+(ValueTypeT s) const {
        return apply([s](ValueTypeT a) { return a + s; });
    }
    Derived operator-(ValueTypeT s) const {
        return apply([s](ValueTypeT a) { return a - s; });
    }

    Derived operator*(const Derived& o) const {
        return combine(o, [](auto a, auto b) { return a * b; });
    }
    Derived operator/(const Derived& o) const {
        return combine(o, [](auto a, auto b) { return a / b; });
    }
    Derived operator+(const Derived& o) const {
        return combine(o, [](auto a, auto b) { return a + b; });
    }
    Derived operator-(const Derived& o) const {
        return combine(o, [](auto a, auto b) { return a - b; });
    }

    Derived& operator*=(ValueTypeT s) { return self() = *this * s; }
    Derived& operator/=(ValueTypeT s) { return self() = *this / s; }
    Derived& operator+=(ValueTypeT s) { return self() = *this + s; }
    Derived& operator-=(ValueTypeT s) { return self() = *this - s; }
    Derived& operator*=(const Derived& o) { return self() = *this * o; }
    Derived& operator/=(const Derived& o) { return self() = *this / o; }
    Derived& operator+=(const Derived& o) { return self() = *this + o; }
    Derived& operator-=(const Derived& o) { return self() = *this - o; }

    // Blank separated numbers as the vectors read them; missing ones are zero.
    void setValue(const char* text) {
        Vector<ValueTypeT, 4> v;
        v.setValue(text);
        for (int i = 0; i < SizeI; ++i) values()[i] = v[i];
    }

  protected:
    Derived& self() { return static_cast<Derived&>(*this); }
    const Derived& self() const { return static_cast<const Derived&>(*this); }
    ValueTypeT* values() { return self().rawValues(); }
    const ValueTypeT* values() const { return self().rawValues(); }

    template <class F>
    Derived apply(F f) const {
        Derived r;
        for (int i = 0; i < SizeI; ++i) r[i] = f(values()[i]);
        return r;
    }
    template <class F>
    Derived combine(const Derived& o, F f) const {
        Derived r;
        for (int i = 0; i < SizeI; ++i) r[i] = f(values()[i], o[i]);
        return r;
    }
};

}  // namespace detail

template <class ValueTypeT>
class Color3 : public detail::ColorBase<Color3<ValueTypeT>, ValueTypeT, 3> {
    friend class detail::ColorBase<Color3<ValueTypeT>, ValueTypeT, 3>;

  public:
    constexpr Color3() : _rgb{} {}
    constexpr Color3(ValueTypeT red, ValueTypeT green, ValueTypeT blue) : _rgb{red, green, blue} {}

    void setValuesRGB(ValueTypeT red, ValueTypeT green, ValueTypeT blue) {
        _rgb[0] = red;
        _rgb[1] = green;
        _rgb[2] = blue;
    }
    void getValuesRGB(ValueTypeT& red, ValueTypeT& green, ValueTypeT& blue) const {
        red = _rgb[0];
        green = _rgb[1];
        blue = _rgb[2];
    }
    ValueTypeT* getValuesRGB() { return _rgb; }
    const ValueTypeT* getValuesRGB() const { return _rgb; }

  private:
    ValueTypeT* rawValues() { return _rgb; }
    const ValueTypeT* rawValues() const { return _rgb; }

    ValueTypeT _rgb[3];
};

template <class ValueTypeT>
class Color4 : public detail::ColorBase<Color4<ValueTypeT>, ValueTypeT, 4> {
    friend class detail::ColorBase<Color4<ValueTypeT>, ValueTypeT, 4>;

  public:
    constexpr Color4() : _rgba{} {}
    constexpr Color4(ValueTypeT red, ValueTypeT green, ValueTypeT blue, ValueTypeT alpha)
        : _rgba{red, green, blue, alpha} {}

    ValueTypeT alpha() const { return _rgba[3]; }

    void setValuesRGBA(ValueTypeT red, ValueTypeT green, ValueTypeT blue, ValueTypeT alpha) {
        _rgba[0] = red;
        _rgba[1] = green;
        _rgba[2] = blue;
        _rgba[3] = alpha;
    }
    void getValuesRGBA(ValueTypeT& red, ValueTypeT& green, ValueTypeT& blue,
                       ValueTypeT& alpha) const {
        red = _rgba[0];
        green = _rgba[1];
        blue = _rgba[2];
        alpha = _rgba[3];
    }
    ValueTypeT* getValuesRGBA() { return _rgba; }
    const ValueTypeT* getValuesRGBA() const { return _rgba; }

  private:
    ValueTypeT* rawValues() { return _rgba; }
    const ValueTypeT* rawValues() const { return _rgba; }

    ValueTypeT _rgba[4];
};

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const Color3<ValueTypeT>& c) {
    return os << c.red() << ' ' << c.green() << ' ' << c.blue();
}

template <class ValueTypeT>
std::ostream& operator<<(std::ostream& os, const Color4<ValueTypeT>& c) {
    return os << c.red() << ' ' << c.green() << ' ' << c.blue() << ' ' << c.alpha();
}

namespace detail {
template <class ColorT>
std::istream& readColor(std::istream& is, ColorT& c, int size) {
    for (int i = 0; i < size; ++i) {
        if (i != 0) {
            while (is.peek() == ' ' || is.peek() == ',') is.ignore();
        }
        is >> c[i];
    }
    return is;
}
}  // namespace detail

template <class ValueTypeT>
std::istream& operator>>(std::istream& is, Color3<ValueTypeT>& c) {
    return detail::readColor(is, c, 3);
}

template <class ValueTypeT>
std::istream& operator>>(std::istream& is, Color4<ValueTypeT>& c) {
    return detail::readColor(is, c, 4);
}

}  // namespace Kalvex::osg
