#pragma once

namespace Kalvex {

// A word of bits combined word-wide. Masks are walked from bit 0 upward by testing the low bit
// and shifting right, stopping when the word is 0.
template <class W>
class BitVector {
  public:
    constexpr BitVector() : _bits(0) {}
    constexpr BitVector(W bits) : _bits(bits) {}
    ~BitVector() = default;

    constexpr W getValue() const { return _bits; }
    void setValue(W bits) { _bits = bits; }

    constexpr bool test(const BitVector& mask) const { return (_bits & mask._bits) != 0; }
    constexpr bool testAll(const BitVector& mask) const {
        return (_bits & mask._bits) == mask._bits;
    }
    constexpr bool testBit(unsigned int index) const { return (_bits >> index) & W(1); }
    void setBit(unsigned int index) { _bits |= W(1) << index; }
    void clearBit(unsigned int index) { _bits &= ~(W(1) << index); }
    constexpr bool isZero() const { return _bits == 0; }

    BitVector& operator|=(const BitVector& o) {
        _bits |= o._bits;
        return *this;
    }
    BitVector& operator&=(const BitVector& o) {
        _bits &= o._bits;
        return *this;
    }
    constexpr BitVector operator|(const BitVector& o) const { return BitVector(_bits | o._bits); }
    constexpr BitVector operator&(const BitVector& o) const { return BitVector(_bits & o._bits); }
    constexpr BitVector operator~() const { return BitVector(W(~_bits)); }
    constexpr bool operator==(const BitVector& o) const { return _bits == o._bits; }
    constexpr bool operator!=(const BitVector& o) const { return _bits != o._bits; }

  private:
    W _bits;
};

using NodePartMask = BitVector<unsigned long>;

}  // namespace Kalvex
