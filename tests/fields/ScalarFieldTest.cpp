// Text and binary forms of the number, string, bool and qubit field classes, and their number
// reading and printing against strtod, strtol and printf.

#include <gtest/gtest.h>

#include <bit>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using namespace Kalvex;

namespace {

const NodePartDataType kScalarTypes[] = {
    SFBoolType,  MFBoolType,   SFDoubleType, MFDoubleType, SFFloatType, MFFloatType, SFInt32Type,
    MFInt32Type, SFStringType, MFStringType, SFTimeType,   MFTimeType,  SFQubitType, MFQubitType};

class ScalarFieldTest : public ::testing::Test {
  protected:
    void SetUp() override { _node->addRef(); }
    void TearDown() override { _fields.clear(), _node->subRef(); }
    Field* make(NodePartDataType type) {
        _fields.emplace_back(FieldType::create(type, *_node));
        return _fields.back().get();
    }
    template <class T>
    T& make() {
        return static_cast<T&>(*make(T::kDataType));
    }
    static std::string text(const Field& f) {
        std::string out;
        return f.getStrValue(out);
    }
    std::string reprint(NodePartDataType type, const char* in) {
        Field* f = make(type);
        f->setValueByStr("1 2 3");  // replaced, never merged
        f->setValueByStr(in);
        return text(*f);
    }

    KalvexTest::NodeHolder _holder;
    Node* _node = _holder.node;
    std::vector<std::unique_ptr<Field>> _fields;
    std::mt19937_64 _rng{987654321};
};

struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

TEST_F(ScalarFieldTest, TextInTextOut) {
    // clang-format off
    const struct { NodePartDataType type; const char* in; const char* out; } cases[] = {
        // SFBool by first character; a plus sign or a blank is not among them.
        {SFBoolType, "yes", "TRUE"}, {SFBoolType, "No", "FALSE"}, {SFBoolType, "0.0", "FALSE"}, {SFBoolType, "-0.5", "TRUE"},
        {SFBoolType, "+1", "FALSE"}, {SFBoolType, " TRUE", "FALSE"}, {SFBoolType, nullptr, "FALSE"},
        // SFInt32: strtol base 10; SFFloat, SFDouble "%g"; SFTime "%.16g".
        {SFInt32Type, "  +5", "5"}, {SFInt32Type, "0x10", "0"}, {SFInt32Type, "3000000000", "-1294967296"}, {SFInt32Type, nullptr, "0"},
        {SFFloatType, "  -2.5e-3x", "-0.0025"}, {SFFloatType, "0x1p4", "16"}, {SFFloatType, "1e40", "inf"}, {SFFloatType, "1;2", "1"},
        {SFFloatType, nullptr, "0"}, {SFDoubleType, "123456789", "1.23457e+08"}, {SFTimeType, "123456789.125", "123456789.125"},
        {SFTimeType, "-inf", "-inf"}, {SFTimeType, nullptr, "0"},
        // SFString as it stands; SFQubit compares the whole text.
        {SFStringType, "a \"b\" \\c", "a \"b\" \\c"}, {SFStringType, nullptr, ""},
        {SFQubitType, "TRUE", "ON"}, {SFQubitType, "OFF", "OFF"}, {SFQubitType, "", "UNSET"}, {SFQubitType, "on", "UNSET"},
        // Lists: token set, fixed 6 (MFFloat), fixed 12 (MFDouble), default (MFTime), decimal.
        {MFFloatType, "1;2 3", "1.000000, 3.000000"}, {MFFloatType, "abc 2", "0.000000, 2.000000"},
        {MFFloatType, ",,\t\r\n 0.1 ,", "0.100000"}, {MFFloatType, nullptr, ""},
        {MFInt32Type, "1 -2 +3 0x4 5.9", "1, -2, 3, 0, 5"}, {MFInt32Type, "2147483648", "-2147483648"},
        {MFDoubleType, "0.5 1e-3", "0.500000000000, 0.001000000000"}, {MFTimeType, "1.5 1234567 0.1 -0", "1.5, 1.23457e+06, 0.1, -0"},
        {MFBoolType, "TRUE false, yes\t0\n1", "TRUE, FALSE, TRUE, FALSE, TRUE"}, {MFBoolType, nullptr, ""},
        // MFString: the first quote decides; escapes; the unquoted form; open strings dropped.
        {MFStringType, "\"a\\\"b\" \"c\\\\d\"", "\"a\\\"b\" \"c\\\\d\""}, {MFStringType, "a;b\tc", "\"a\" \"b\" \"c\""},
        {MFStringType, "\"one\" \"open", "\"one\""}, {MFStringType, "'it\"s'", "\"it\\\"s\""},
        {MFStringType, "\"a\\nb\"", "\"a\\\\nb\""}, {MFStringType, "junk \"a\" junk", "\"a\""}, {MFStringType, nullptr, ""},
        // MFQubit: each value compares the whole rest of the text; names run together.
        {MFQubitType, "FALSE", "OFF"}, {MFQubitType, "ON OFF", "UNSETOFF "}, {MFQubitType, nullptr, ""}};
    // clang-format on
    KalvexTest::LogCapture log;  // text parsing never reports
    for (const auto& c : cases) {
        SCOPED_TRACE(std::string(FieldType::dataTypeName(c.type)) + " from >" +
                     (c.in ? c.in : "null") + "<");
        EXPECT_EQ(reprint(c.type, c.in), c.out);
        EXPECT_TRUE(c.type == MFQubitType ||
                    reprint(c.type, c.out) == c.out);  // print, read, print is stable
    }
    EXPECT_EQ(log.text(), "");
    auto& s = make<MFString>();
    s.editValue() = {"plain", "with \"quotes\"", "back\\slash", "", "'single'", "tail\\"};
    auto& back = make<MFString>();
    back.setValueByStr(text(s).c_str());
    EXPECT_TRUE(back.equalValue(s)) << text(s);
    // A host that puts a C++ locale in place gets its decimal point in the list texts, as from
    // any stream; the classic locale stays the fast path.
    auto& f = make<MFFloat>();
    f.setValueByStr("1.5 2");
    std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
    std::string commas = text(f);
    std::locale::global(old);
    EXPECT_EQ(commas, "1,500000, 2,000000");
    EXPECT_EQ(text(f), "1.500000, 2.000000");
}

// addValueByStr in both modes: the remainder's offset (-1 for null) and the value after.
TEST_F(ScalarFieldTest, AddValuePieces) {
    const auto multi = Field::CardinalityMulti, single = Field::CardinalitySingle;
    // clang-format off
    const struct { NodePartDataType type; Field::Cardinality mode; const char* in; int rest; const char* out; } cases[] = {
        {MFFloatType, multi, "1.5, 2.", 5, "1.500000"}, {MFFloatType, multi, " ;\t", -1, ""}, {MFFloatType, multi, "4 x 5", 2, "4.000000"},
        // strtod stops before an exponent's bare e: the mantissa is stored, the e comes back.
        {MFDoubleType, multi, "2 1e", 3, "2.000000000000, 1.000000000000"}, {MFInt32Type, multi, "7 8", 2, "7"}, {MFFloatType, multi, nullptr, -1, ""},
        // The single mode appends one value and answers null.
        {MFDoubleType, single, "1.5 2", -1, "1.500000000000"}, {MFTimeType, single, "2.5, 3", -1, "2.5"}, {MFInt32Type, single, nullptr, -1, "0"},
        {MFBoolType, single, "yes no", -1, "TRUE"}, {MFStringType, single, "a \"b\"", -1, "\"a \\\"b\\\"\""},
        {MFStringType, single, nullptr, -1, "\"\""}, {MFQubitType, single, "OFF ", -1, "UNSET"},
        // MFFloat loops over a list of numbers and stops at the first that is none.
        {MFFloatType, single, "1 2,3,,4", -1, "1.000000, 2.000000, 3.000000, 4.000000"},
        {MFFloatType, single, "5 abc 6", -1, "5.000000"}, {MFFloatType, single, nullptr, -1, "0.000000"},
        {SFFloatType, single, "2.5 3", -1, "2.5"}};  // single fields ignore the mode
    // clang-format on
    for (const auto& c : cases) {
        Field* f = make(c.type);
        const char* rest = f->addValueByStr(c.in, c.mode);
        EXPECT_EQ(rest ? rest - c.in : -1, c.rest) << (c.in ? c.in : "null");
        EXPECT_EQ(text(*f), c.out) << (c.in ? c.in : "null");
    }
}

// Two pieces, the remainder of the first put in front of the second, read as the whole text
// does, for every cut.
TEST_F(ScalarFieldTest, StreamingSplitAtEveryPosition) {
    for (NodePartDataType type : {MFFloatType, MFDoubleType, MFTimeType, MFInt32Type}) {
        const std::string in = type == MFInt32Type ? "12 -3,0;\t7 +8 25 1000 42\r\n-0 "
                                                   : "12 -3.25,0.5;\t7.125 +8 .25 1000 42\r\n-0 ";
        Field* reference = make(type);
        EXPECT_EQ(reference->addValueByStr(in.c_str(), Field::CardinalityMulti), nullptr);
        ASSERT_EQ(reference->size(), 9u) << FieldType::dataTypeName(type);
        for (size_t cut = 0; cut <= in.size(); ++cut) {
            Field* f = make(type);
            const std::string first = in.substr(0, cut);  // the remainder points into it
            const char* rest = f->addValueByStr(first.c_str(), Field::CardinalityMulti);
            std::string second = (rest ? std::string(rest) : std::string()) + in.substr(cut);
            EXPECT_EQ(f->addValueByStr(second.c_str(), Field::CardinalityMulti), nullptr);
            EXPECT_TRUE(f->equalValue(*reference))
                << FieldType::dataTypeName(type) << " cut at " << cut << ": " << text(*f);
        }
    }
}

// Whole and element binary forms: sizes, round trips, out-of-range indices, corrupt data.
TEST_F(ScalarFieldTest, BinaryRoundTripsAndCorruptData) {
    // clang-format off
    const struct { NodePartDataType type; const char* in; size_t bytes; } cases[] = {
        {SFBoolType, "TRUE", 1}, {SFInt32Type, "-123456", 8}, {SFFloatType, "0.1", 4}, {SFDoubleType, "0.1", 8},
        {SFTimeType, "1e-300", 8}, {SFStringType, "with \"quotes\"", 4 + 13}, {MFFloatType, "1 -0.5 3e38", 20},
        {MFDoubleType, "0.1 -1e300", 24}, {MFTimeType, "5", 16}, {MFStringType, "\"a\" \"\" \"ccc\"", 8 + 5 + 4 + 7},
        {MFFloatType, "", 8}};
    // clang-format on
    for (const auto& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr(c.in);
        std::string bin = f->getBinValue(-1);
        EXPECT_EQ(bin.size(), c.bytes) << FieldType::dataTypeName(c.type);
        Field* g = make(c.type);  // reads what f wrote
        g->setValueByBin(bin);
        EXPECT_TRUE(g->equalValue(*f)) << FieldType::dataTypeName(c.type);
    }
    for (NodePartDataType type : {MFFloatType, MFDoubleType, MFTimeType, MFStringType}) {
        Field *f = make(type), *g = make(type);
        f->setValueByStr("1 2 3");
        g->setValueByStr("7 8 9");
        for (int i = 0; i < 3; ++i) g->set1ValueByBin(i, f->get1ValueAsBin(i));
        EXPECT_TRUE(g->equalValue(*f)) << FieldType::dataTypeName(type) << ": " << text(*g);
        EXPECT_EQ(f->get1ValueAsBin(3) + f->get1ValueAsBin(-1), "");
        g->set1ValueByBin(17, f->get1ValueAsBin(0));
        EXPECT_EQ(g->size(), 3u);
    }
    // MFInt32 writes longs and reads ints: the whole list does not read back, one element does.
    auto& n = make<MFInt32>();
    n.setValueByStr("5 -3");
    EXPECT_EQ(n.getBinValue(-1).size(), 8u + 16u);
    auto& m = make<MFInt32>();
    m.setValueByBin(n.getBinValue(-1));
    EXPECT_EQ(m.getValue(), std::vector<int>({5, 0}));  // the low half of 5, then its high half
    m.set1ValueByBin(1, n.get1ValueAsBin(1));
    EXPECT_EQ(m.getValue(), std::vector<int>({5, -3}));
    auto& d = make<MFDouble>();  // corrupt data reads what the bytes hold
    d.setValueByStr("1 2 3");
    const std::string bin = d.getBinValue(-1);
    auto& g = make<MFDouble>();
    // clang-format off
    const std::pair<std::string, std::vector<double>> corrupt[] = {  // huge and negative counts, short data, no count
        {bin.substr(0, 6) + '\x7f' + bin.substr(7), {1, 2, 3}}, {bin.substr(0, 7) + '\x80' + bin.substr(8), {}},
        {bin.substr(0, bin.size() - 3), {1, 2}}, {bin, {1, 2, 3}}, {std::string("\x01\x02", 2), {}}};
    // clang-format on
    for (const auto& [data, values] : corrupt) {
        g.setValueByBin(data);
        EXPECT_EQ(g.getValue(), values);
    }
    auto& s = make<MFString>();
    s.setValueByBin(std::string("\xff\xff\xff\xff\xff\xff\xff\x0f", 8) + std::string(40, 'A'));
    EXPECT_LE(s.size(), 10u);
}

TEST_F(ScalarFieldTest, NotImplementedForms) {
    KalvexTest::LogCapture log;
    for (NodePartDataType type : kScalarTypes) {
        const std::string name = FieldType::dataTypeName(type);
        const bool qubitOrMFBool = type == SFQubitType || type == MFQubitType || type == MFBoolType;
        Field* f = make(type);
        f->setValueByStr("ON");
        log.clear();
        EXPECT_EQ(f->getBinValue(-1).empty(), qubitOrMFBool) << name;
        f->setValueByBin(std::string("\x01", 1));
        EXPECT_EQ(log.count(name + "::getBinValue() is not imp\n"), qubitOrMFBool) << name;
        EXPECT_EQ(log.count(name + "::setValueByBin() is not imp\n"), qubitOrMFBool) << name;
        if (qubitOrMFBool && FieldType::isMultiField(type)) {
            EXPECT_EQ(f->size(), 1u);
            EXPECT_EQ(f->get1ValueAsBin(0), "");
            f->set1ValueByBin(0, "x");
            EXPECT_TRUE(log.contains(name + "::get1ValueByBin() is not imp\n"));
            EXPECT_TRUE(log.contains(name + "::set1ValueByBin() is not imp\n"));
        }
        // The raw buffer forms exist in none of these classes.
        log.clear();
        unsigned char buffer[16] = {};
        EXPECT_EQ(f->getBinSize() + f->getBinValue(buffer), 0u);
        f->setValueByBin(buffer, sizeof(buffer));
        for (const char* form : {"getBinSize", "getBinValue", "setValueByBin"})
            EXPECT_EQ(log.count(std::string(" ") + form + " not Impl\n"), 1) << name << form;
    }
    log.clear();
    for (NodePartDataType type : {MFBoolType, MFQubitType, MFStringType}) {
        Field* f = make(type);
        EXPECT_EQ(f->addValueByStr("\"ON\"", Field::CardinalityMulti), nullptr);
        EXPECT_EQ(f->size(), 0u);
        EXPECT_TRUE(log.contains(std::string(FieldType::dataTypeName(type)) +
                                 "::addValueByStr() for partial data not impl."));
    }
    EXPECT_TRUE(log.contains(
        "Node.NoName MFString::addValueByStr() for partial data not impl. \n >\"ON\"<\n"));
}

// The fast paths against the C library on random numbers, to the bit and to the byte.

template <class T>
bool sameBits(T a, T b) {
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

std::string format(const char* fmt, double v) {
    char buffer[512];
    std::snprintf(buffer, sizeof(buffer), fmt, v);
    return buffer;
}

// Any bit pattern (NaNs, infinities, huge exponents), denormals, plain numbers, specials.
double randomDouble(std::mt19937_64& rng) {
    static const double specials[] = {0.0, -0.0, 0.1, 1.7976931348623157e308, 4.9e-324, 1e-7};
    std::uint64_t bits = rng();
    if (bits % 4 == 1) bits &= 0x800fffffffffffffULL;
    if (bits % 4 == 2) return std::uniform_real_distribution<double>(-1e6, 1e6)(rng);
    if (bits % 4 == 3) return specials[rng() % std::size(specials)];
    return std::bit_cast<double>(bits);
}

// Number texts of every shape strtod knows, and some it half knows.
std::string randomNumberText(std::mt19937_64& rng) {
    // clang-format off
    static const char* const fixed[] = {"inf", "-INFINITY", "nan(123)", "0x1.8p3", "-0X1P-1074", "1e400", "-1e-400", ".5", "5.",
        "1e", "1e+", "-", ".", "-.e3", "+.5e1", "00012.50", "0x", "\v3", "\f-2", "1.e5", "9007199254740993",
        "2.4703282292062328e-324", "1e-325", "0e999999"};
    // clang-format on
    static const char* const formats[] = {"%.17g", "%.3e", "%a", "%f", "%.25g"};
    unsigned pick = rng() % 7;
    if (pick < 5) return format(formats[pick], randomDouble(rng));
    if (pick == 6) return fixed[rng() % std::size(fixed)];
    std::string s = (rng() % 2) ? "-" : "";  // long mantissas that need exact rounding
    int n = 1 + int(rng() % 60);
    for (int i = 0; i < 2 * n + 1; ++i) s += i == n ? '.' : char('0' + rng() % 10);
    return s + 'e' + std::to_string(int(rng() % 700) - 350);
}

std::string join(const std::vector<std::string>& tokens, std::mt19937_64& rng) {
    std::string s;
    for (const std::string& t : tokens) s += t + std::string(1 + rng() % 3, " ,\t\r\n"[rng() % 5]);
    return s;
}

TEST_F(ScalarFieldTest, ListsReadAsStrtodAndStrtolAndPrintAsPrintf) {
    // clang-format off
    static const char* const fixedInts[] = {"+12", "-", "0x1f", "007", "-2147483649", "99999999999999999999999",
                                            "-9223372036854775808", "12abc", "\v5", "1.9"};
    // clang-format on
    std::vector<std::string> numbers, ints;
    for (int i = 0; i < 2000; ++i) {
        numbers.push_back(randomNumberText(_rng));
        const std::int64_t wide = _rng() % 2 ? std::int64_t(_rng()) : int(std::uint32_t(_rng()));
        ints.push_back(_rng() % 3 ? std::to_string(wide)
                                  : fixedInts[_rng() % std::size(fixedInts)]);
    }
    auto& d = make<MFDouble>();
    auto& f = make<MFFloat>();
    auto& n = make<MFInt32>();
    d.setValueByStr(join(numbers, _rng).c_str());
    f.setValueByStr(join(numbers, _rng).c_str());
    n.setValueByStr(join(ints, _rng).c_str());
    ASSERT_EQ(d.size() + f.size() + n.size(), 3 * numbers.size());
    for (size_t i = 0; i < numbers.size(); ++i) {
        double expected = std::strtod(numbers[i].c_str(), nullptr);
        EXPECT_TRUE(sameBits(d.getValue()[i], expected)) << numbers[i];
        EXPECT_TRUE(sameBits(f.getValue()[i], float(expected))) << numbers[i];
        EXPECT_EQ(n.getValue()[i], int(std::strtol(ints[i].c_str(), nullptr, 10))) << ints[i];
    }

    auto& t = make<MFTime>();
    d.clear();
    f.clear();
    std::string dText, tText, fText, nText;
    for (int i = 0; i < 2000; ++i) {
        double v = randomDouble(_rng);
        float fv = i % 2 ? std::bit_cast<float>(std::uint32_t(_rng())) : float(v);
        d.editValue().push_back(v);
        t.editValue().push_back(v);
        f.editValue().push_back(fv);
        if (i) {
            for (std::string* all : {&dText, &tText, &fText, &nText}) *all += ", ";
        }
        dText += format("%.12f", v);
        tText += format("%g", v);
        fText += format("%.6f", fv);
        nText += std::to_string(n.getValue()[i]);
    }
    EXPECT_EQ(text(d), dText);
    EXPECT_EQ(text(t), tText);
    EXPECT_EQ(text(f), fText);
    EXPECT_EQ(text(n), nText);
}

}  // namespace
