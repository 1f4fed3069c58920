#include "kalvex/platform/harnel/BinStream.h"

#include <gtest/gtest.h>

#include <bit>
#include <limits>
#include <sstream>
#include <string>

using Kalvex::Harnel::ibinstream;
using Kalvex::Harnel::obinstream;

namespace {

std::string bytes(std::initializer_list<int> b) {
    return std::string(b.begin(), b.end());
}

template <class T>
std::string written(const T& value) {
    std::ostringstream os;
    obinstream out(os);
    out << value;
    EXPECT_TRUE(out.good());
    return os.str();
}

// Hands out its bytes one at a time and never tells how many are left, like a pipe.
struct PipeBuf : std::streambuf {
    explicit PipeBuf(std::string data) : _data(std::move(data)) {}
    std::streamsize largestRequest = 0;
    std::streamsize showmanyc() override { return 0; }
    int_type underflow() override {
        if (_pos >= _data.size()) return traits_type::eof();
        setg(&_data[_pos], &_data[_pos], &_data[_pos] + 1);
        return traits_type::to_int_type(_data[_pos++]);
    }
    std::streamsize xsgetn(char* s, std::streamsize n) override {
        largestRequest = std::max(largestRequest, n);
        return std::streambuf::xsgetn(s, n);
    }
    std::string _data;
    std::size_t _pos = 0;
};

TEST(BinStreamTest, EachPrimitiveHasItsExactByteLayout) {
    // clang-format off
    const std::pair<std::string, std::string> rows[] = {
        {written(true), bytes({1})}, {written(static_cast<signed char>(-2)), bytes({0xFE})},
        {written(static_cast<short>(-2)), bytes({0xFE, 0xFF})}, {written(0x12345678), bytes({0x78, 0x56, 0x34, 0x12})},
        {written(0x0102030405060708L), bytes({8, 7, 6, 5, 4, 3, 2, 1})},
        {written(-3LL), bytes({0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
        {written(-2.5f), bytes({0, 0, 0x20, 0xC0})}, {written(-0.0), bytes({0, 0, 0, 0, 0, 0, 0, 0x80})},
        {written(std::string("a\0b", 3)), bytes({3, 0, 0, 0, 'a', 0, 'b'})}, {written("xyz"), bytes({3, 0, 0, 0, 'x', 'y', 'z'})},
        {written(static_cast<const char*>(nullptr)), bytes({0, 0, 0, 0})},
        {written(std::string(300, 'q')).substr(0, 5), bytes({0x2C, 0x01, 0, 0, 'q'})}};
    // clang-format on
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
}

// Reading exactly to the end is not a failure.
template <class T>
T back(const T& value) {
    std::istringstream is(written(value));
    ibinstream in(is);
    T read{};
    in >> read;
    EXPECT_TRUE(in.good());
    return read;
}

TEST(BinStreamTest, ExtremeValuesRoundTripBitForBit) {
    using L = std::numeric_limits<long>;
    EXPECT_TRUE(back(static_cast<signed char>(-128)) == -128 && back(L::min()) == L::min() &&
                back(~0ULL) == ~0ULL);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(back(std::numeric_limits<float>::denorm_min())), 1u);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back(std::bit_cast<double>(0x7FF8000000001234ULL))),
              0x7FF8000000001234ULL);
    EXPECT_EQ(back(std::string("\xff\x00 t", 4)), std::string("\xff\x00 t", 4));
    std::istringstream two(bytes({0x02}));
    bool b = false;
    EXPECT_TRUE(ibinstream(two) >> b && b) << "any non-zero byte reads true";
}

// Any short read fails and zeroes the value, and so does every read after it.
template <class T>
void expectShortReadsZero(T sentinel, std::size_t width = sizeof(T)) {
    for (std::size_t have = 0; have < width; ++have) {
        std::istringstream is(std::string(have, '\x7F'));
        ibinstream in(is);
        T first = sentinel, later = sentinel;
        EXPECT_TRUE((in >> first).fail());
        in >> later;
        EXPECT_TRUE(first == T{} && later == T{}) << "width " << width << " with " << have;
    }
}

TEST(BinStreamTest, TruncatedInputFailsAndZeroes) {
    expectShortReadsZero(true), expectShortReadsZero<short>(9), expectShortReadsZero(9.0f);
    expectShortReadsZero(9L), expectShortReadsZero(std::string("sentinel"), 4);
}

TEST(BinStreamTest, StringLengthIsNotTrustedBeyondTheData) {
    for (const std::string& len : {bytes({0xFF, 0xFF, 0xFF, 0xFF}), bytes({11, 0, 0, 0})}) {
        SCOPED_TRACE(static_cast<unsigned char>(len[0]));
        std::istringstream seekable(len + "only ten b");
        PipeBuf pipe(len + "only ten b");
        std::istream piped(&pipe);
        for (std::istream* is : {static_cast<std::istream*>(&seekable), &piped}) {
            std::string s = "sentinel";
            EXPECT_FALSE(ibinstream(*is) >> s);
            EXPECT_EQ(s, "");
        }
        EXPECT_LE(pipe.largestRequest, 64 * 1024) << "unknown remainder: grow in bounded pieces";
    }
    // And a long string still arrives whole through one.
    std::string payload(200 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>(i * 7);
    PipeBuf pipe(written(payload) + written(42));
    std::istream is(&pipe);
    std::string s;
    int after = 0;
    ASSERT_TRUE(ibinstream(is) >> s >> after);
    EXPECT_TRUE(s == payload && after == 42);
}

// Pointers other than C strings must not turn into bools.
template <class P>
concept Writable = requires(obinstream& o, P p) {
    o << p;
};
static_assert(!Writable<int*> && !Writable<const void*>);
static_assert(Writable<char*> && Writable<const char*>);

}  // namespace
