#include "kalvex/platform/harnel/BinStream.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>

namespace Kalvex::Harnel {

namespace {
// Strings whose length the stream cannot vouch for are read in pieces of this size, so that a
// corrupt length costs at most one piece beyond the bytes that are really there.
constexpr std::size_t stringChunk = 64 * 1024;
}  // namespace

// ---------------------------------------------------------------------------------------------
// obinstream

void obinstream::put(std::uint64_t bits, unsigned bytes) {
    char buf[8];
    for (unsigned i = 0; i < bytes; ++i) buf[i] = static_cast<char>((bits >> (8 * i)) & 0xFF);
    _os.write(buf, bytes);
}

obinstream& obinstream::operator<<(bool v) {
    put(v ? 1 : 0, 1);
    return *this;
}
obinstream& obinstream::operator<<(char v) {
    put(static_cast<unsigned char>(v), 1);
    return *this;
}
obinstream& obinstream::operator<<(signed char v) {
    put(static_cast<unsigned char>(v), 1);
    return *this;
}
obinstream& obinstream::operator<<(unsigned char v) {
    put(v, 1);
    return *this;
}
obinstream& obinstream::operator<<(short v) {
    put(static_cast<std::uint16_t>(v), 2);
    return *this;
}
obinstream& obinstream::operator<<(unsigned short v) {
    put(static_cast<std::uint16_t>(v), 2);
    return *this;
}
obinstream& obinstream::operator<<(int v) {
    put(static_cast<std::uint32_t>(v), 4);
    return *this;
}
obinstream& obinstream::operator<<(unsigned int v) {
    put(static_cast<std::uint32_t>(v), 4);
    return *this;
}
obinstream& obinstream::operator<<(long v) {
    put(static_cast<std::uint64_t>(v), 8);
    return *this;
}
obinstream& obinstream::operator<<(unsigned long v) {
    put(static_cast<std::uint64_t>(v), 8);
    return *this;
}
obinstream& obinstream::operator<<(long long v) {
    put(static_cast<std::uint64_t>(v), 8);
    return *this;
}
obinstream& obinstream::operator<<(unsigned long long v) {
    put(static_cast<std::uint64_t>(v), 8);
    return *this;
}
obinstream& obinstream::operator<<(float v) {
    static_assert(sizeof(float) == 4 && std::numeric_limits<float>::is_iec559);
    put(std::bit_cast<std::uint32_t>(v), 4);
    return *this;
}
obinstream& obinstream::operator<<(double v) {
    static_assert(sizeof(double) == 8 && std::numeric_limits<double>::is_iec559);
    put(std::bit_cast<std::uint64_t>(v), 8);
    return *this;
}

obinstream& obinstream::operator<<(const std::string& v) {
    if (v.size() > std::numeric_limits<std::uint32_t>::max()) {
        _os.setstate(std::ios::failbit);
        return *this;
    }
    put(v.size(), 4);
    _os.write(v.data(), static_cast<std::streamsize>(v.size()));
    return *this;
}

obinstream& obinstream::operator<<(const char* v) {
    if (!v) {
        put(0, 4);
        return *this;
    }
    std::size_t len = std::strlen(v);
    if (len > std::numeric_limits<std::uint32_t>::max()) {
        _os.setstate(std::ios::failbit);
        return *this;
    }
    put(len, 4);
    _os.write(v, static_cast<std::streamsize>(len));
    return *this;
}

obinstream& obinstream::write(const void* data, std::size_t size) {
    if (size > 0) _os.write(static_cast<const char*>(data), static_cast<std::streamsize>(size));
    return *this;
}

// ---------------------------------------------------------------------------------------------
// ibinstream

std::uint64_t ibinstream::get(unsigned bytes) {
    unsigned char buf[8];
    _is.read(reinterpret_cast<char*>(buf), bytes);
    if (_is.gcount() != static_cast<std::streamsize>(bytes)) {
        _is.setstate(std::ios::failbit);
        return 0;
    }
    std::uint64_t bits = 0;
    for (unsigned i = 0; i < bytes; ++i) bits |= static_cast<std::uint64_t>(buf[i]) << (8 * i);
    return bits;
}

ibinstream& ibinstream::operator>>(bool& v) {
    v = get(1) != 0;
    return *this;
}
ibinstream& ibinstream::operator>>(char& v) {
    v = static_cast<char>(get(1));
    return *this;
}
ibinstream& ibinstream::operator>>(signed char& v) {
    v = static_cast<signed char>(get(1));
    return *this;
}
ibinstream& ibinstream::operator>>(unsigned char& v) {
    v = static_cast<unsigned char>(get(1));
    return *this;
}
ibinstream& ibinstream::operator>>(short& v) {
    v = static_cast<short>(static_cast<std::uint16_t>(get(2)));
    return *this;
}
ibinstream& ibinstream::operator>>(unsigned short& v) {
    v = static_cast<unsigned short>(get(2));
    return *this;
}
ibinstream& ibinstream::operator>>(int& v) {
    v = static_cast<int>(static_cast<std::uint32_t>(get(4)));
    return *this;
}
ibinstream& ibinstream::operator>>(unsigned int& v) {
    v = static_cast<unsigned int>(get(4));
    return *this;
}
ibinstream& ibinstream::operator>>(long& v) {
    v = static_cast<long>(get(8));
    return *this;
}
ibinstream& ibinstream::operator>>(unsigned long& v) {
    v = static_cast<unsigned long>(get(8));
    return *this;
}
ibinstream& ibinstream::operator>>(long long& v) {
    v = static_cast<long long>(get(8));
    return *this;
}
ibinstream& ibinstream::operator>>(unsigned long long& v) {
    v = static_cast<unsigned long long>(get(8));
    return *this;
}
ibinstream& ibinstream::operator>>(float& v) {
    v = std::bit_cast<float>(static_cast<std::uint32_t>(get(4)));
    return *this;
}
ibinstream& ibinstream::operator>>(double& v) {
    v = std::bit_cast<double>(get(8));
    return *this;
}

ibinstream& ibinstream::operator>>(std::string& v) {
    v.clear();
    const std::size_t len = static_cast<std::size_t>(get(4));
    if (_is.fail() || len == 0) return *this;

    // When the buffer can vouch for the bytes, take them in one go.
    std::streambuf* buf = _is.rdbuf();
    std::streamsize avail = buf ? buf->in_avail() : -1;
    if (avail > 0 && static_cast<std::size_t>(avail) >= len) {
        v.resize(len);
        if (!read(v.data(), len)) v.clear();
        return *this;
    }

    // Otherwise grow with the bytes that really arrive.
    std::size_t got = 0;
    while (got < len) {
        std::size_t piece = std::min(stringChunk, len - got);
        v.resize(got + piece);
        if (!read(v.data() + got, piece)) {
            v.clear();
            v.shrink_to_fit();
            return *this;
        }
        got += piece;
    }
    return *this;
}

bool ibinstream::read(void* data, std::size_t size) {
    if (size == 0) return !_is.fail();
    _is.read(static_cast<char*>(data), static_cast<std::streamsize>(size));
    if (_is.gcount() != static_cast<std::streamsize>(size)) {
        _is.setstate(std::ios::failbit);
        return false;
    }
    return true;
}

}  // namespace Kalvex::Harnel
