#include "platform/harnel/BinStream.h"

#include <gtest/gtest.h>

#include <bit>
#include <functional>
#include <limits>
#include <sstream>
#include <streambuf>
#include <string>

using Kalvex::Harnel::ibinstream;
using Kalvex::Harnel::obinstream;

namespace {

std::string bytes(std::initializer_list<int> b) {
    std::string s;
    for (int v : b) s.push_back(static_cast<char>(v));
    return s;
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
class PipeBuf : public std::streambuf {
  public:
    explicit PipeBuf(std::string data) : _data(std::move(data)) {}
    std::streamsize largestRequest = 0;

  protected:
    std::streamsize showmanyc() override { return 0; }
    int_type underflow() override {
        if (_pos >= _data.size()) return traits_type::eof();
        _one = _data[_pos++];
        setg(&_one, &_one, &_one + 1);
        return traits_type::to_int_type(_one);
    }
    std::streamsize xsgetn(char* s, std::streamsize n) override {
        largestRequest = std::max(largestRequest, n);
        std::streamsize got = 0;
        for (; got < n; ++got) {
            if (gptr() == egptr() && underflow() == traits_type::eof()) break;
            s[got] = *gptr();
            gbump(1);
        }
        return got;
    }

  private:
    std::string _data;
    std::size_t _pos = 0;
    char _one = 0;
};

TEST(BinStreamTest, EachPrimitiveHasItsExactByteLayout) {
    const std::pair<std::string, std::string> rows[] = {
        {written(true), bytes({1})},
        {written(static_cast<signed char>(-2)), bytes({0xFE})},
        {written(static_cast<short>(-2)), bytes({0xFE, 0xFF})},
        {written(static_cast<unsigned short>(0x1234)), bytes({0x34, 0x12})},
        {written(0x12345678), bytes({0x78, 0x56, 0x34, 0x12})},
        {written(0xDEADBEEFu), bytes({0xEF, 0xBE, 0xAD, 0xDE})},
        {written(0x0102030405060708L), bytes({8, 7, 6, 5, 4, 3, 2, 1})},
        {written(0x8000000000000001UL), bytes({1, 0, 0, 0, 0, 0, 0, 0x80})},
        {written(-3LL), bytes({0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
        {written(-2.5f), bytes({0, 0, 0x20, 0xC0})},
        {written(-0.0), bytes({0, 0, 0, 0, 0, 0, 0, 0x80})},
        {written(std::string("a\0b", 3)), bytes({3, 0, 0, 0, 'a', 0, 'b'})},
        {written("xyz"), bytes({3, 0, 0, 0, 'x', 'y', 'z'})},
        {written(static_cast<const char*>(nullptr)), bytes({0, 0, 0, 0})},
        {written(std::string(300, 'q')).substr(0, 5), bytes({0x2C, 0x01, 0, 0, 'q'})},
    };
    for (std::size_t i = 0; i < std::size(rows); ++i)
        EXPECT_EQ(rows[i].first, rows[i].second) << "row " << i;
}

TEST(BinStreamTest, ReadsHandMadeBytes) {
    std::istringstream is(bytes({0x78, 0x56, 0x34, 0x12, 0x02, 1, 0, 0, 0, 'h'}));
    ibinstream in(is);
    int i = 0;
    bool b = false;
    std::string str = "x";
    in >> i >> b >> str;
    EXPECT_TRUE(in);
    EXPECT_EQ(i, 0x12345678);
    EXPECT_TRUE(b) << "any non-zero byte reads true";
    EXPECT_EQ(str, "h");
}

// Writes one value and reads it back; reading exactly to the end is not a failure.
template <class T>
T back(const T& value) {
    std::istringstream is(written(value));
    ibinstream in(is);
    T read{};
    in >> read;
    EXPECT_TRUE(in.good());
    char extra = 'q';
    in >> extra;
    EXPECT_TRUE(!in && extra == 0);
    return read;
}

TEST(BinStreamTest, ExtremeValuesRoundTripBitForBit) {
    const double nanBits = std::bit_cast<double>(0x7FF8000000001234ULL);
    EXPECT_EQ(back(static_cast<signed char>(-128)), -128);
    EXPECT_EQ(back(std::numeric_limits<short>::min()), std::numeric_limits<short>::min());
    EXPECT_EQ(back(std::numeric_limits<unsigned>::max()), std::numeric_limits<unsigned>::max());
    EXPECT_EQ(back(std::numeric_limits<long>::min()), std::numeric_limits<long>::min());
    EXPECT_EQ(back(~0ULL), ~0ULL);
    EXPECT_EQ(std::bit_cast<std::uint32_t>(back(std::numeric_limits<float>::denorm_min())), 1u);
    EXPECT_EQ(std::bit_cast<std::uint64_t>(back(nanBits)), 0x7FF8000000001234ULL);
    EXPECT_EQ(back(std::string("\xff\x00 t", 4)), std::string("\xff\x00 t", 4));
}

TEST(BinStreamTest, TruncatedInputFailsAndZeroes) {
    // Each reader starts from a non-zero sentinel and must come out 0 after a short read.
    auto zeroAfter = [](auto sentinel) {
        return std::function<bool(ibinstream&)>([sentinel](ibinstream& in) {
            auto v = sentinel;
            in >> v;
            return v == decltype(sentinel){};
        });
    };
    const std::pair<int, std::function<bool(ibinstream&)>> rows[] = {
        {1, zeroAfter(true)},
        {2, zeroAfter(static_cast<short>(9))},
        {4, zeroAfter(9u)},
        {4, zeroAfter(9.0f)},
        {8, zeroAfter(9L)},
        {8, zeroAfter(9.0)},
        {4, zeroAfter(std::string("sentinel"))},
    };
    for (const auto& [width, readIsZero] : rows) {
        for (int have = 0; have < width; ++have) {
            SCOPED_TRACE(testing::Message() << "width " << width << " with " << have << " bytes");
            std::istringstream is(std::string(static_cast<std::size_t>(have), '\x7F'));
            ibinstream in(is);
            EXPECT_TRUE(readIsZero(in));
            EXPECT_TRUE(in.fail());
            // Once failed, later reads give 0 as well.
            EXPECT_TRUE(readIsZero(in));
        }
    }
}

TEST(BinStreamTest, StringLengthIsNotTrustedBeyondTheData) {
    for (const std::string& len : {bytes({0xFF, 0xFF, 0xFF, 0xFF}), bytes({11, 0, 0, 0})}) {
        SCOPED_TRACE(static_cast<unsigned char>(len[0]));
        std::istringstream seekable(len + "only ten b");
        PipeBuf pipe(len + "only ten b");
        std::istream piped(&pipe);
        for (std::istream* is : {static_cast<std::istream*>(&seekable), &piped}) {
            ibinstream in(*is);
            std::string s = "sentinel";
            in >> s;
            EXPECT_FALSE(in);
            EXPECT_EQ(s, "");
        }
        // A pipe cannot say what is left: the string grows in bounded pieces.
        EXPECT_LE(pipe.largestRequest, 64 * 1024);
    }
    // And a long string still arrives whole through one.
    std::string payload(200 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>(i * 7);
    PipeBuf pipe(written(payload) + written(42));
    std::istream is(&pipe);
    ibinstream in(is);
    std::string s;
    int after = 0;
    in >> s >> after;
    ASSERT_TRUE(in);
    EXPECT_EQ(s, payload);
    EXPECT_EQ(after, 42);
}

TEST(BinStreamTest, WritingToAFailedStreamReportsIt) {
    std::ostringstream os;
    obinstream out(os);
    os.setstate(std::ios::badbit);
    out << 1 << std::string("x");
    EXPECT_FALSE(out);
    EXPECT_EQ(os.str(), "");
}

// Pointers other than C strings must not turn into bools.
template <class P>
concept Writable = requires(obinstream& o, P p) {
    o << p;
};
static_assert(!Writable<int*> && !Writable<const void*>);
static_assert(Writable<char*> && Writable<const char*>);

}  // namespace
