#include "platform/harnel/BinStream.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <functional>
#include <limits>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

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

// Hands out its bytes one read at a time and never tells how many are left, like a pipe.
class PipeBuf : public std::streambuf {
  public:
    explicit PipeBuf(std::string data) : _data(std::move(data)) {}
    std::size_t largestRequest = 0;

  protected:
    std::streamsize showmanyc() override { return 0; }
    int_type underflow() override {
        if (_pos >= _data.size()) return traits_type::eof();
        _one = _data[_pos];
        setg(&_one, &_one, &_one + 1);
        ++_pos;
        return traits_type::to_int_type(_one);
    }
    std::streamsize xsgetn(char* s, std::streamsize n) override {
        largestRequest = std::max(largestRequest, static_cast<std::size_t>(n));
        std::streamsize got = 0;
        if (gptr() < egptr()) {
            *s++ = *gptr();
            gbump(1);
            ++got;
        }
        std::size_t take =
            std::min<std::size_t>(static_cast<std::size_t>(n - got), _data.size() - _pos);
        _data.copy(s, take, _pos);
        _pos += take;
        return got + static_cast<std::streamsize>(take);
    }

  private:
    std::string _data;
    std::size_t _pos = 0;
    char _one = 0;
};

}  // namespace

TEST(BinStreamTest, EachPrimitiveHasItsExactByteLayout) {
    struct Row {
        const char* name;
        std::string got;
        std::string want;
    };
    const Row rows[] = {
        {"bool true", written(true), bytes({1})},
        {"bool false", written(false), bytes({0})},
        {"char", written('A'), "A"},
        {"signed char", written(static_cast<signed char>(-2)), bytes({0xFE})},
        {"unsigned char", written(static_cast<unsigned char>(0xAB)), bytes({0xAB})},
        {"short", written(static_cast<short>(-2)), bytes({0xFE, 0xFF})},
        {"unsigned short", written(static_cast<unsigned short>(0x1234)), bytes({0x34, 0x12})},
        {"int", written(0x12345678), bytes({0x78, 0x56, 0x34, 0x12})},
        {"int -1", written(-1), bytes({0xFF, 0xFF, 0xFF, 0xFF})},
        {"unsigned int", written(0xDEADBEEFu), bytes({0xEF, 0xBE, 0xAD, 0xDE})},
        {"long", written(0x0102030405060708L), bytes({8, 7, 6, 5, 4, 3, 2, 1})},
        {"long -2", written(-2L), bytes({0xFE, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
        {"unsigned long", written(0x8000000000000001UL), bytes({1, 0, 0, 0, 0, 0, 0, 0x80})},
        {"long long", written(-3LL), bytes({0xFD, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF, 0xFF})},
        {"float 1", written(1.0f), bytes({0, 0, 0x80, 0x3F})},
        {"float -2.5", written(-2.5f), bytes({0, 0, 0x20, 0xC0})},
        {"double 1", written(1.0), bytes({0, 0, 0, 0, 0, 0, 0xF0, 0x3F})},
        {"double -0", written(-0.0), bytes({0, 0, 0, 0, 0, 0, 0, 0x80})},
        {"string", written(std::string("ab")), bytes({2, 0, 0, 0, 'a', 'b'})},
        {"empty string", written(std::string()), bytes({0, 0, 0, 0})},
        {"string with NUL", written(std::string("a\0b", 3)), bytes({3, 0, 0, 0, 'a', 0, 'b'})},
        {"C string", written("xyz"), bytes({3, 0, 0, 0, 'x', 'y', 'z'})},
        {"null C string", written(static_cast<const char*>(nullptr)), bytes({0, 0, 0, 0})},
    };
    for (const Row& r : rows) EXPECT_EQ(r.got, r.want) << r.name;

    std::string big(300, 'q');
    EXPECT_EQ(written(big).substr(0, 4), bytes({0x2C, 0x01, 0, 0}));
    EXPECT_EQ(written(big).size(), 304u);
}

TEST(BinStreamTest, ReadsHandMadeBytes) {
    std::istringstream is(bytes({0x78, 0x56, 0x34, 0x12, 0xFE, 0xFF, 0x02, 0, 0, 0x80, 0x3F, 8,  7,
                                 6,    5,    4,    3,    2,    0x81, 2,    0, 0, 0,    'h',  'i'}));
    ibinstream in(is);
    int i = 0;
    short s = 0;
    bool b = false;
    float f = 0;
    long l = 0;
    std::string str;
    in >> i >> s >> b >> f >> l >> str;
    EXPECT_TRUE(in);
    EXPECT_EQ(i, 0x12345678);
    EXPECT_EQ(s, -2);
    EXPECT_TRUE(b) << "any non-zero byte reads true";
    EXPECT_EQ(f, 1.0f);
    EXPECT_EQ(static_cast<unsigned long>(l), 0x8102030405060708UL);
    EXPECT_EQ(str, "hi");
}

TEST(BinStreamTest, MixedValuesRoundTripExactly) {
    const double nanBits = std::bit_cast<double>(0x7FF8000000001234ULL);
    std::stringstream ss;
    obinstream out(ss);
    out << true << false << 'z' << static_cast<signed char>(-128) << static_cast<unsigned char>(255)
        << std::numeric_limits<short>::min() << std::numeric_limits<unsigned short>::max()
        << std::numeric_limits<int>::min() << std::numeric_limits<unsigned int>::max()
        << std::numeric_limits<long>::min() << std::numeric_limits<unsigned long>::max()
        << std::numeric_limits<long long>::max() << std::numeric_limits<unsigned long long>::max()
        << std::numeric_limits<float>::denorm_min() << -std::numeric_limits<float>::infinity()
        << nanBits << std::numeric_limits<double>::max() << std::string("\xff\x00 tail", 7)
        << std::string();
    ASSERT_TRUE(out);

    ibinstream in(ss);
    bool t = false, f = true;
    char c = 0;
    signed char sc = 0;
    unsigned char uc = 0;
    short s = 0;
    unsigned short us = 0;
    int i = 0;
    unsigned int ui = 0;
    long l = 0;
    unsigned long ul = 0;
    long long ll = 0;
    unsigned long long ull = 0;
    float fd = 0, finf = 0;
    double dnan = 0, dmax = 0;
    std::string s1, s2 = "x";
    in >> t >> f >> c >> sc >> uc >> s >> us >> i >> ui >> l >> ul >> ll >> ull >> fd >> finf >>
        dnan >> dmax >> s1 >> s2;
    ASSERT_TRUE(in);
    EXPECT_TRUE(t);
    EXPECT_FALSE(f);
    EXPECT_EQ(c, 'z');
    EXPECT_EQ(sc, -128);
    EXPECT_EQ(uc, 255);
    EXPECT_EQ(s, std::numeric_limits<short>::min());
    EXPECT_EQ(us, std::numeric_limits<unsigned short>::max());
    EXPECT_EQ(i, std::numeric_limits<int>::min());
    EXPECT_EQ(ui, std::numeric_limits<unsigned int>::max());
    EXPECT_EQ(l, std::numeric_limits<long>::min());
    EXPECT_EQ(ul, std::numeric_limits<unsigned long>::max());
    EXPECT_EQ(ll, std::numeric_limits<long long>::max());
    EXPECT_EQ(ull, std::numeric_limits<unsigned long long>::max());
    EXPECT_EQ(std::bit_cast<std::uint32_t>(fd),
              std::bit_cast<std::uint32_t>(std::numeric_limits<float>::denorm_min()));
    EXPECT_EQ(finf, -std::numeric_limits<float>::infinity());
    EXPECT_EQ(std::bit_cast<std::uint64_t>(dnan), 0x7FF8000000001234ULL);
    EXPECT_EQ(dmax, std::numeric_limits<double>::max());
    EXPECT_EQ(s1, std::string("\xff\x00 tail", 7));
    EXPECT_EQ(s2, "");
    EXPECT_TRUE(in.good()) << "reading exactly to the end is not a failure";

    char extra = 'q';
    in >> extra;
    EXPECT_FALSE(in);
    EXPECT_EQ(extra, 0);
}

TEST(BinStreamTest, TruncatedInputFailsAndZeroes) {
    // Each reader starts from a non-zero sentinel and must come out 0 after a short read.
    struct Row {
        const char* name;
        int width;
        std::function<bool(ibinstream&)> readIsZero;
    };
    auto zeroAfter = [](auto sentinel) {
        return [sentinel](ibinstream& in) {
            auto v = sentinel;
            in >> v;
            return v == decltype(sentinel){};
        };
    };
    const Row rows[] = {
        {"bool", 1, zeroAfter(true)},
        {"unsigned char", 1, zeroAfter(static_cast<unsigned char>(9))},
        {"short", 2, zeroAfter(static_cast<short>(9))},
        {"unsigned short", 2, zeroAfter(static_cast<unsigned short>(9))},
        {"int", 4, zeroAfter(9)},
        {"unsigned int", 4, zeroAfter(9u)},
        {"float", 4, zeroAfter(9.0f)},
        {"long", 8, zeroAfter(9L)},
        {"unsigned long", 8, zeroAfter(9UL)},
        {"double", 8, zeroAfter(9.0)},
        {"string", 4, zeroAfter(std::string("sentinel"))},
    };
    for (const Row& r : rows) {
        for (int have = 0; have < r.width; ++have) {
            SCOPED_TRACE(testing::Message() << r.name << " with " << have << " bytes");
            std::istringstream is(std::string(static_cast<std::size_t>(have), '\x7F'));
            ibinstream in(is);
            EXPECT_TRUE(r.readIsZero(in));
            EXPECT_FALSE(in);
            EXPECT_TRUE(in.fail());
            // Once failed, later reads give 0 as well, even of values that would fit.
            EXPECT_TRUE(r.readIsZero(in));
        }
    }
}

TEST(BinStreamTest, CorruptStringLengthDoesNotAllocateForIt) {
    const std::string lengths[] = {bytes({0xFF, 0xFF, 0xFF, 0xFF}), bytes({0xF0, 0xFF, 0xFF, 0x7F}),
                                   bytes({11, 0, 0, 0})};
    for (const std::string& len : lengths) {
        SCOPED_TRACE(static_cast<unsigned char>(len[0]));
        // A seekable string stream knows how much is left.
        {
            std::istringstream is(len + "only ten b");
            ibinstream in(is);
            std::string s = "sentinel";
            in >> s;
            EXPECT_FALSE(in);
            EXPECT_EQ(s, "");
        }
        // A pipe does not: the string must grow with what arrives, in bounded pieces.
        {
            PipeBuf pipe(len + "only ten b");
            std::istream is(&pipe);
            ibinstream in(is);
            std::string s = "sentinel";
            in >> s;
            EXPECT_FALSE(in);
            EXPECT_EQ(s, "");
            EXPECT_LE(pipe.largestRequest, 64u * 1024u);
        }
    }
}

TEST(BinStreamTest, LongStringsArriveWholeThroughAPipe) {
    std::string payload(200 * 1024 + 17, '\0');
    for (std::size_t i = 0; i < payload.size(); ++i) payload[i] = static_cast<char>(i * 7);
    std::string data = written(payload) + written(42);

    PipeBuf pipe(data);
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
    EXPECT_FALSE(out.good());
    EXPECT_EQ(os.str(), "");
}

// Pointers other than C strings must not turn into bools.
template <class P>
concept Writable = requires(obinstream& o, P p) {
    o << p;
};
static_assert(!Writable<int*>);
static_assert(!Writable<const void*>);
static_assert(Writable<char*>);
static_assert(Writable<const char*>);
