// The list parsers and printers against the C library on many random numbers: the fast paths
// must read what strtod/strtol read and print what printf prints, to the bit and to the byte.

#include <gtest/gtest.h>

#include <cinttypes>
#include <clocale>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"

using namespace Kalvex;

namespace {

class ScalarNumberTest : public ::testing::Test {
  protected:
    void SetUp() override {
        _node = new Node(_type, "n");
        _node->addRef();
    }
    void TearDown() override {
        _fields.clear();
        _node->subRef();
    }
    template <class T>
    T& make() {
        _fields.emplace_back(FieldType::create(T::kDataType, *_node));
        return static_cast<T&>(*_fields.back());
    }
    static std::string text(const Field& f) {
        std::string out;
        f.getStrValue(out);
        return out;
    }

    NodeType _type{"T", nullptr, 0};
    Node* _node = nullptr;
    std::vector<std::unique_ptr<Field>> _fields;
    std::mt19937_64 _rng{987654321};
};

template <class T>
bool sameBits(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

std::string format(const char* fmt, double v) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, v);
    return buffer;
}

double randomDouble(std::mt19937_64& rng) {
    switch (rng() % 4) {
        case 0: {  // any bit pattern: NaNs, infinities, denormals, huge exponents
            std::uint64_t bits = rng();
            double v;
            std::memcpy(&v, &bits, sizeof(v));
            return v;
        }
        case 1: {  // denormals
            std::uint64_t bits = rng() & 0x800fffffffffffffULL;
            double v;
            std::memcpy(&v, &bits, sizeof(v));
            return v;
        }
        case 2:
            return std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
        default: {
            static const double specials[] = {
                0.0,      -0.0, 1.0, 0.1, 1e308, 1.7976931348623157e308, 2.2250738585072014e-308,
                4.9e-324, 0.5,  1e-7};
            return specials[rng() % (sizeof(specials) / sizeof(specials[0]))];
        }
    }
}

// Number texts of every shape strtod knows, and some it half knows.
std::string randomNumberText(std::mt19937_64& rng) {
    static const char* const fixed[] = {"inf",
                                        "-INFINITY",
                                        "nan",
                                        "-nan",
                                        "nan(123)",
                                        "0x1.8p3",
                                        "-0X1P-1074",
                                        "1e400",
                                        "-1e-400",
                                        ".5",
                                        "5.",
                                        "1e",
                                        "1e+",
                                        "-",
                                        ".",
                                        "-.e3",
                                        "+7",
                                        "+.5e1",
                                        "00012.50",
                                        "1.5e-310",
                                        "0x",
                                        "-0",
                                        "\v3",
                                        "\f-2",
                                        "\v",
                                        "1.e5",
                                        "9007199254740993",
                                        "2.4703282292062328e-324",
                                        "1e-325",
                                        "0e999999"};
    double v = randomDouble(rng);
    switch (rng() % 7) {
        case 0:
            return format("%.17g", v);
        case 1:
            return format("%.3e", v);
        case 2:
            return format("%a", v);
        case 3:
            return format("%f", v);
        case 4:
            return format("%.25g", v);
        case 5: {  // long mantissas that need exact rounding
            std::string s = (rng() % 2) ? "-" : "";
            int n = 1 + int(rng() % 60);
            for (int i = 0; i < n; ++i) s += char('0' + rng() % 10);
            s += '.';
            for (int i = 0; i < n; ++i) s += char('0' + rng() % 10);
            s += 'e';
            s += std::to_string(int(rng() % 700) - 350);
            return s;
        }
        default:
            return fixed[rng() % (sizeof(fixed) / sizeof(fixed[0]))];
    }
}

std::string randomIntText(std::mt19937_64& rng) {
    static const char* const fixed[] = {"+12",
                                        "-",
                                        "+",
                                        "0x1f",
                                        "007",
                                        "-2147483649",
                                        "99999999999999999999999",
                                        "-9223372036854775808",
                                        "9223372036854775807",
                                        "12abc",
                                        "\v5",
                                        "1.9",
                                        "-0"};
    switch (rng() % 3) {
        case 0:
            return std::to_string(std::int64_t(rng()));
        case 1:
            return std::to_string(int(std::uint32_t(rng())));
        default:
            return fixed[rng() % (sizeof(fixed) / sizeof(fixed[0]))];
    }
}

// Joins tokens with runs of token delimiters.
std::string join(const std::vector<std::string>& tokens, std::mt19937_64& rng,
                 const char* delimiters) {
    std::string s;
    size_t nd = std::strlen(delimiters);
    for (const std::string& t : tokens) {
        s += t;
        int n = 1 + int(rng() % 3);
        for (int i = 0; i < n; ++i) s += delimiters[rng() % nd];
    }
    return s;
}

TEST_F(ScalarNumberTest, ListParsingMatchesStrtod) {
    std::vector<std::string> tokens;
    for (int i = 0; i < 20000; ++i) tokens.push_back(randomNumberText(_rng));
    std::string in = join(tokens, _rng, " ,\t\r\n");

    auto& d = make<MFDouble>();
    auto& f = make<MFFloat>();
    d.setValueByStr(in.c_str());
    f.setValueByStr(in.c_str());
    ASSERT_EQ(d.size(), tokens.size());
    ASSERT_EQ(f.size(), tokens.size());
    for (size_t i = 0; i < tokens.size(); ++i) {
        double expected = std::strtod(tokens[i].c_str(), nullptr);
        EXPECT_TRUE(sameBits(d.getValue()[i], expected)) << tokens[i];
        EXPECT_TRUE(sameBits(f.getValue()[i], float(expected))) << tokens[i];
    }
}

TEST_F(ScalarNumberTest, IntListParsingMatchesStrtol) {
    std::vector<std::string> tokens;
    for (int i = 0; i < 20000; ++i) tokens.push_back(randomIntText(_rng));
    std::string in = join(tokens, _rng, " ,\t\r\n");

    auto& f = make<MFInt32>();
    f.setValueByStr(in.c_str());
    ASSERT_EQ(f.size(), tokens.size());
    for (size_t i = 0; i < tokens.size(); ++i)
        EXPECT_EQ(f.getValue()[i], int(std::strtol(tokens[i].c_str(), nullptr, 10))) << tokens[i];
}

// Streaming reads what a plain strtod walk over the same text reads, and stops at the same place.
TEST_F(ScalarNumberTest, StreamingMatchesStrtodWalk) {
    for (int round = 0; round < 200; ++round) {
        std::vector<std::string> tokens;
        int n = 1 + int(_rng() % 60);
        for (int i = 0; i < n; ++i) tokens.push_back(randomNumberText(_rng));
        std::string in = join(tokens, _rng, " ,;\t\n\r");
        if (round % 2) in.pop_back();  // sometimes end right on a number

        std::vector<double> expected;
        const char* expectedRest = nullptr;
        for (const char* p = in.c_str();;) {
            while (*p && std::strchr(" ,;\t\n\r", *p)) ++p;
            if (!*p) break;
            char* stop = nullptr;
            double v = std::strtod(p, &stop);
            if (stop == p || !*stop) {
                expectedRest = p;
                break;
            }
            expected.push_back(v);
            p = stop;
        }

        auto& d = make<MFDouble>();
        const char* rest = d.addValueByStr(in.c_str(), Field::CardinalityMulti);
        EXPECT_EQ(rest ? rest - in.c_str() : -1, expectedRest ? expectedRest - in.c_str() : -1)
            << in;
        ASSERT_EQ(d.size(), expected.size()) << in;
        for (size_t i = 0; i < expected.size(); ++i)
            EXPECT_TRUE(sameBits(d.getValue()[i], expected[i])) << in;
    }
}

template <class T>
std::string printfList(const std::vector<T>& values, const char* fmt) {
    std::string s;
    for (size_t i = 0; i < values.size(); ++i) {
        if (i) s += ", ";
        char buffer[512];
        if constexpr (std::is_same_v<T, int>)
            std::snprintf(buffer, sizeof(buffer), fmt, values[i]);
        else
            std::snprintf(buffer, sizeof(buffer), fmt, double(values[i]));
        s += buffer;
    }
    return s;
}

TEST_F(ScalarNumberTest, ListPrintingMatchesPrintf) {
    auto& d = make<MFDouble>();
    auto& t = make<MFTime>();
    auto& f = make<MFFloat>();
    auto& n = make<MFInt32>();
    for (int i = 0; i < 20000; ++i) {
        double v = randomDouble(_rng);
        d.editValue().push_back(v);
        t.editValue().push_back(v);
        std::uint32_t bits = std::uint32_t(_rng());
        float fv;
        std::memcpy(&fv, &bits, sizeof(fv));
        f.editValue().push_back(i % 2 ? fv : float(v));
        n.editValue().push_back(int(std::uint32_t(_rng())));
    }
    EXPECT_EQ(text(d), printfList(d.getValue(), "%.12f"));
    EXPECT_EQ(text(t), printfList(t.getValue(), "%g"));
    EXPECT_EQ(text(f), printfList(f.getValue(), "%.6f"));
    EXPECT_EQ(text(n), printfList(n.getValue(), "%d"));
}

// strtod obeys LC_NUMERIC, and so do the lists. Runs where a comma locale is installed.
TEST_F(ScalarNumberTest, ListsFollowNumericLocale) {
    std::string old = std::setlocale(LC_NUMERIC, nullptr);
    if (!std::setlocale(LC_NUMERIC, "de_DE.UTF-8") && !std::setlocale(LC_NUMERIC, "de_DE"))
        GTEST_SKIP() << "no de_DE locale here";
    auto& d = make<MFDouble>();
    d.setValueByStr("1.5 -2.25e1 7");
    auto& s = make<MFDouble>();
    const char* piece = "3.5 4";
    const char* rest = s.addValueByStr(piece, Field::CardinalityMulti);
    std::setlocale(LC_NUMERIC, old.c_str());

    EXPECT_EQ(d.getValue(), std::vector<double>({1, -2, 7}));
    EXPECT_EQ(s.getValue(), std::vector<double>({3}));
    EXPECT_EQ(rest, piece + 1);
}

}  // namespace
