#pragma once
// Binary streams over the standard streams: every value little endian with a fixed width,
// whatever the host's type sizes are.
//
//   bool, char, signed char, unsigned char      1 byte (bool as 0 or 1; any non-zero reads true)
//   short, unsigned short                       2 bytes
//   int, unsigned int, float                    4 bytes (float as its IEEE 754 bits)
//   long, unsigned long, long long, double      8 bytes (double as its IEEE 754 bits)
//   std::string, const char*                    4-byte length, then the bytes, no terminator
//
// Failures use the state of the underlying stream. A read that runs out of bytes sets failbit
// and leaves the value 0 (or the string empty); every later read does the same. A corrupt
// string length never allocates more than the bytes that actually arrive. A string longer than
// a 32-bit length can say is not written and sets failbit on the output.
// The streams hold a reference to the standard stream, which must outlive them.

#include <cstddef>
#include <cstdint>
#include <istream>
#include <ostream>
#include <string>

namespace Kalvex::Harnel {

class obinstream {
  public:
    explicit obinstream(std::ostream& os) : _os(os) {}

    obinstream& operator<<(bool v);
    obinstream& operator<<(char v);
    obinstream& operator<<(signed char v);
    obinstream& operator<<(unsigned char v);
    obinstream& operator<<(short v);
    obinstream& operator<<(unsigned short v);
    obinstream& operator<<(int v);
    obinstream& operator<<(unsigned int v);
    obinstream& operator<<(long v);
    obinstream& operator<<(unsigned long v);
    obinstream& operator<<(long long v);
    obinstream& operator<<(unsigned long long v);
    obinstream& operator<<(float v);
    obinstream& operator<<(double v);
    obinstream& operator<<(const std::string& v);
    obinstream& operator<<(const char* v);  // null writes an empty string
    obinstream& operator<<(char* v) { return *this << static_cast<const char*>(v); }
    // Any other pointer would silently become a bool.
    template <class T>
    obinstream& operator<<(T*) = delete;

    // Raw bytes, no length.
    obinstream& write(const void* data, std::size_t size);

    bool good() const { return _os.good(); }
    bool fail() const { return _os.fail(); }
    explicit operator bool() const { return !_os.fail(); }
    std::ostream& stream() { return _os; }

  private:
    void put(std::uint64_t bits, unsigned bytes);

    std::ostream& _os;
};

class ibinstream {
  public:
    explicit ibinstream(std::istream& is) : _is(is) {}

    ibinstream& operator>>(bool& v);
    ibinstream& operator>>(char& v);
    ibinstream& operator>>(signed char& v);
    ibinstream& operator>>(unsigned char& v);
    ibinstream& operator>>(short& v);
    ibinstream& operator>>(unsigned short& v);
    ibinstream& operator>>(int& v);
    ibinstream& operator>>(unsigned int& v);
    ibinstream& operator>>(long& v);
    ibinstream& operator>>(unsigned long& v);
    ibinstream& operator>>(long long& v);
    ibinstream& operator>>(unsigned long long& v);
    ibinstream& operator>>(float& v);
    ibinstream& operator>>(double& v);
    ibinstream& operator>>(std::string& v);

    // Raw bytes, no length. False (and failbit) when fewer than size bytes arrive; the bytes
    // that did arrive are in data.
    bool read(void* data, std::size_t size);

    bool good() const { return _is.good(); }
    bool fail() const { return _is.fail(); }
    bool eof() const { return _is.eof(); }
    explicit operator bool() const { return !_is.fail(); }
    std::istream& stream() { return _is; }

  private:
    // The value of `bytes` little-endian bytes; 0 and failbit when they are not all there.
    std::uint64_t get(unsigned bytes);

    std::istream& _is;
};

}  // namespace Kalvex::Harnel
