// Text and binary forms of the number, string, bool and qubit field classes.

#include <gtest/gtest.h>

#include <cmath>
#include <cstring>
#include <limits>
#include <locale>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "support/LogCapture.h"

using namespace Kalvex;

namespace {

const std::vector<NodePartDataType> kScalarTypes = {
    SFBoolType,  MFBoolType,   SFDoubleType, MFDoubleType, SFFloatType, MFFloatType, SFInt32Type,
    MFInt32Type, SFStringType, MFStringType, SFTimeType,   MFTimeType,  SFQubitType, MFQubitType};

class ScalarFieldTest : public ::testing::Test {
  protected:
    void SetUp() override {
        _node = new Node(_type, "n");
        _node->addRef();
    }
    void TearDown() override {
        _fields.clear();
        _node->subRef();
    }

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
        f.getStrValue(out);
        return out;
    }
    std::string reprint(NodePartDataType type, const char* in) {
        Field* f = make(type);
        f->setValueByStr(in);
        return text(*f);
    }

    NodeType _type{"T", nullptr, 0};
    Node* _node = nullptr;
    std::vector<std::unique_ptr<Field>> _fields;
};

struct TextCase {
    NodePartDataType type;
    const char* in;
    const char* out;
};

// ---------------------------------------------------------------------------------------------

TEST_F(ScalarFieldTest, TextInTextOut) {
    const TextCase cases[] = {
        // SFBool: by first character; a plus sign is not among them.
        {SFBoolType, "yes", "TRUE"},
        {SFBoolType, "No", "FALSE"},
        {SFBoolType, "0.0", "FALSE"},
        {SFBoolType, "2", "TRUE"},
        {SFBoolType, "+1", "FALSE"},
        {SFBoolType, "-0.5", "TRUE"},
        {SFBoolType, ".0", "FALSE"},
        {SFBoolType, "true", "TRUE"},
        {SFBoolType, "", "FALSE"},
        {SFBoolType, " TRUE", "FALSE"},
        {SFBoolType, "x", "FALSE"},
        // SFInt32: strtol base 10.
        {SFInt32Type, "42", "42"},
        {SFInt32Type, "  +5", "5"},
        {SFInt32Type, "-7 8", "-7"},
        {SFInt32Type, "0x10", "0"},
        {SFInt32Type, "abc", "0"},
        {SFInt32Type, "3000000000", "-1294967296"},
        // SFFloat: strtod narrowed, "%g".
        {SFFloatType, "1.5", "1.5"},
        {SFFloatType, "0.1", "0.1"},
        {SFFloatType, "  -2.5e-3x", "-0.0025"},
        {SFFloatType, "0x1p4", "16"},
        {SFFloatType, "1e40", "inf"},
        {SFFloatType, "1;2", "1"},
        {SFFloatType, "", "0"},
        // SFDouble "%g", SFTime "%.16g".
        {SFDoubleType, "0.1", "0.1"},
        {SFDoubleType, "123456789", "1.23457e+08"},
        {SFTimeType, "123456789.125", "123456789.125"},
        {SFTimeType, "0.1", "0.1"},
        {SFTimeType, "1e300", "1e+300"},
        {SFTimeType, "-inf", "-inf"},
        // SFString: as it stands, no quote handling.
        {SFStringType, "a \"b\" \\c", "a \"b\" \\c"},
        {SFStringType, "", ""},
        // SFQubit
        {SFQubitType, "ON", "ON"},
        {SFQubitType, "TRUE", "ON"},
        {SFQubitType, "FALSE", "OFF"},
        {SFQubitType, "OFF", "OFF"},
        {SFQubitType, "UNSET", "UNSET"},
        {SFQubitType, "", "UNSET"},
        {SFQubitType, "maybe", "UNSET"},
        {SFQubitType, "on", "UNSET"},
        // MFFloat: token set, fixed precision 6.
        {MFFloatType, "1 2,3", "1.000000, 2.000000, 3.000000"},
        {MFFloatType, "", ""},
        {MFFloatType, "1;2 3", "1.000000, 3.000000"},
        {MFFloatType, "abc 2", "0.000000, 2.000000"},
        {MFFloatType, ",,\t\r\n 0.1 ,", "0.100000"},
        {MFFloatType, "1e10", "10000000000.000000"},
        // MFInt32: decimal.
        {MFInt32Type, "1 -2 +3 0x4 5.9", "1, -2, 3, 0, 5"},
        {MFInt32Type, "2147483648", "-2147483648"},
        // MFDouble: fixed precision 12; MFTime: default stream format.
        {MFDoubleType, "0.5 1e-3", "0.500000000000, 0.001000000000"},
        {MFTimeType, "1.5 1234567 0.1 -0", "1.5, 1.23457e+06, 0.1, -0"},
        // MFBool through the split set.
        {MFBoolType, "TRUE false, yes\t0\n1", "TRUE, FALSE, TRUE, FALSE, TRUE"},
        {MFBoolType, "", ""},
        // MFString: quotes, escapes, the unquoted form.
        {MFStringType, "\"a\\\"b\" \"c\\\\d\"", "\"a\\\"b\" \"c\\\\d\""},
        {MFStringType, "a, b", "\"a\" \"b\""},
        {MFStringType, "a;b\tc", "\"a\" \"b\" \"c\""},
        {MFStringType, "\"open", ""},
        {MFStringType, "\"one\" \"open", "\"one\""},
        {MFStringType, "'x' 'y'", "\"x\" \"y\""},
        {MFStringType, "'it\"s'", "\"it\\\"s\""},
        {MFStringType, "\"\" \"\"", "\"\" \"\""},
        {MFStringType, "\"a\\nb\"", "\"a\\\\nb\""},
        {MFStringType, "junk \"a\" junk", "\"a\""},
        // MFQubit: each value compares the whole rest of the text; names run together.
        {MFQubitType, "ON", "ON"},
        {MFQubitType, "FALSE", "OFF"},
        {MFQubitType, "ON OFF", "UNSETOFF "},
        {MFQubitType, "x UNSET", "UNSETUNSET "},
        {MFQubitType, "", ""},
    };
    for (const TextCase& c : cases)
        EXPECT_EQ(reprint(c.type, c.in), c.out)
            << FieldType::dataTypeName(c.type) << " from >" << c.in << "<";
}

TEST_F(ScalarFieldTest, NullTextGivesZeroValues) {
    const TextCase cases[] = {
        {SFBoolType, nullptr, "FALSE"}, {SFInt32Type, nullptr, "0"}, {SFFloatType, nullptr, "0"},
        {SFDoubleType, nullptr, "0"},   {SFTimeType, nullptr, "0"},  {SFStringType, nullptr, ""},
        {MFFloatType, nullptr, ""},     {MFInt32Type, nullptr, ""},  {MFDoubleType, nullptr, ""},
        {MFTimeType, nullptr, ""},      {MFBoolType, nullptr, ""},   {MFStringType, nullptr, ""},
        {MFQubitType, nullptr, ""},
    };
    for (const TextCase& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr("1 2 3");
        f->setValueByStr(nullptr);
        EXPECT_EQ(text(*f), c.out) << FieldType::dataTypeName(c.type);
    }
}

TEST_F(ScalarFieldTest, QubitNullLeavesValueAndOddValuesPrintNothing) {
    auto& q = make<SFQubit>();
    q.setValueByStr("ON");
    q.setValueByStr(nullptr);
    EXPECT_EQ(q.getValue().getValue(), 1);

    q.setValue(Qubit(7));
    std::string out = "kept";
    q.getStrValue(out);
    EXPECT_EQ(out, "kept");

    auto& mq = make<MFQubit>();
    mq.addValue(Qubit(7));
    EXPECT_EQ(text(mq), "UNSET");
    mq.addValue(Qubit(1));
    EXPECT_EQ(text(mq), "UNSETON ");
}

TEST_F(ScalarFieldTest, MultiSetValueEmptiesFirst) {
    auto& f = make<MFInt32>();
    f.setValueByStr("1 2 3");
    f.setValueByStr("4");
    EXPECT_EQ(f.getValue(), std::vector<int>({4}));
    f.setValueByStr("");
    EXPECT_TRUE(f.getValue().empty());
}

// Print, read back, print again: the second text equals the first for every class whose text
// reads back (MFQubit with other than one element does not).
TEST_F(ScalarFieldTest, TextRoundTripIsStable) {
    const TextCase cases[] = {
        {SFBoolType, "TRUE", nullptr},
        {MFBoolType, "TRUE FALSE TRUE", nullptr},
        {SFInt32Type, "-2147483648", nullptr},
        {MFInt32Type, "1 -2 2147483647", nullptr},
        {SFFloatType, "3.14159", nullptr},
        {MFFloatType, "0.1 -1e-7 3e38 -0", nullptr},
        {SFDoubleType, "2.718281828", nullptr},
        {MFDoubleType, "0.1 1e-13 -12345.678", nullptr},
        {SFTimeType, "1234567890.123456", nullptr},
        {MFTimeType, "0.1 1e300 -5e-300", nullptr},
        {SFStringType, "\"quoted\" \\ text", nullptr},
        {MFStringType, "\"a \\\"b\\\"\" '' \"back\\\\slash\" \"\"", nullptr},
        {SFQubitType, "OFF", nullptr},
        {MFQubitType, "UNSET", nullptr},
    };
    for (const TextCase& c : cases) {
        std::string first = reprint(c.type, c.in);
        EXPECT_EQ(reprint(c.type, first.c_str()), first) << FieldType::dataTypeName(c.type);
    }
}

TEST_F(ScalarFieldTest, TextRoundTripKeepsValues) {
    auto& s = make<MFString>();
    s.editValue() = {"plain", "with \"quotes\"", "back\\slash", "", "'single'", "tail\\"};
    auto& back = make<MFString>();
    back.setValueByStr(text(s).c_str());
    EXPECT_TRUE(back.equalValue(s)) << text(s);

    // SFTime prints sixteen digits; MFTime only six.
    auto& t = make<SFTime>();
    t.setValue(1234567.890625);
    auto& t2 = make<SFTime>();
    t2.setValueByStr(text(t).c_str());
    EXPECT_EQ(t2.getValue(), t.getValue());
    auto& mt = make<MFTime>();
    mt.editValue() = {1234567.890625};
    EXPECT_EQ(text(mt), "1.23457e+06");
}

// ---------------------------------------------------------------------------------------------
// addValueByStr

TEST_F(ScalarFieldTest, MFFloatStreamingKeepsUnfinishedNumber) {
    auto& f = make<MFFloat>();
    const char* piece = "1.5, 2.";
    const char* rest = f.addValueByStr(piece, Field::CardinalityMulti);
    ASSERT_EQ(rest, piece + 5);
    EXPECT_EQ(f.getValue(), std::vector<float>({1.5f}));

    std::string next = std::string(rest) + "25 3";
    const char* rest2 = f.addValueByStr(next.c_str(), Field::CardinalityMulti);
    ASSERT_NE(rest2, nullptr);
    EXPECT_STREQ(rest2, "3");
    EXPECT_EQ(f.getValue(), std::vector<float>({1.5f, 2.25f}));

    EXPECT_EQ(f.addValueByStr(" ;\t", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(f.addValueByStr(nullptr, Field::CardinalityMulti), nullptr);
    const char* junk = "4 x 5";
    EXPECT_EQ(f.addValueByStr(junk, Field::CardinalityMulti), junk + 2);
    EXPECT_EQ(f.size(), 3u);
}

// Feeding a text in two pieces, the remainder of the first put in front of the second, gives
// the same values as reading it whole, for every cut.
TEST_F(ScalarFieldTest, StreamingPiecesAgreeWithWholeText) {
    const std::string real = "12 -3.25,0.5;\t7.125 +8 .25 1000 42\r\n-0 ";
    const std::string whole = "12 -3,0;\t7 +8 25 1000 42\r\n-0 ";
    const NodePartDataType types[] = {MFFloatType, MFDoubleType, MFTimeType, MFInt32Type};
    for (NodePartDataType type : types) {
        const std::string& in = type == MFInt32Type ? whole : real;
        Field* reference = make(type);
        EXPECT_EQ(reference->addValueByStr(in.c_str(), Field::CardinalityMulti), nullptr);
        ASSERT_EQ(reference->size(), 9u) << FieldType::dataTypeName(type);
        for (size_t cut = 0; cut <= in.size(); ++cut) {
            Field* f = make(type);
            std::string first = in.substr(0, cut);
            const char* rest = f->addValueByStr(first.c_str(), Field::CardinalityMulti);
            std::string second = (rest ? std::string(rest) : std::string()) + in.substr(cut);
            EXPECT_EQ(f->addValueByStr(second.c_str(), Field::CardinalityMulti), nullptr);
            EXPECT_TRUE(f->equalValue(*reference))
                << FieldType::dataTypeName(type) << " cut at " << cut << ": " << text(*f);
        }
    }
}

// A cut right behind an exponent's e is not seen as unfinished: strtod stops before the e, so
// the mantissa is stored and the e is what comes back.
TEST_F(ScalarFieldTest, StreamingCutInsideExponent) {
    auto& f = make<MFDouble>();
    const char* piece = "2 1e";
    const char* rest = f.addValueByStr(piece, Field::CardinalityMulti);
    EXPECT_EQ(rest, piece + 3);
    EXPECT_EQ(f.getValue(), std::vector<double>({2, 1}));
}

TEST_F(ScalarFieldTest, SingleModeAppendsOneValue) {
    const TextCase cases[] = {
        {MFDoubleType, "1.5 2", "1.500000000000"},
        {MFTimeType, "2.5, 3", "2.5"},
        {MFInt32Type, "7 8", "7"},
        {MFInt32Type, nullptr, "0"},
        {MFDoubleType, nullptr, "0.000000000000"},
        {MFBoolType, "yes no", "TRUE"},
        {MFBoolType, nullptr, "FALSE"},
        {MFStringType, "a \"b\"", "\"a \\\"b\\\"\""},
        {MFStringType, nullptr, "\"\""},
        {MFQubitType, "OFF", "OFF"},
        {MFQubitType, "OFF ", "UNSET"},
        // MFFloat loops over a list of numbers.
        {MFFloatType, "1 2,3,,4", "1.000000, 2.000000, 3.000000, 4.000000"},
        {MFFloatType, "1 2 ", "1.000000, 2.000000"},
        {MFFloatType, "abc", ""},
        {MFFloatType, "5 abc 6", "5.000000"},
        {MFFloatType, "", ""},
        {MFFloatType, nullptr, "0.000000"},
    };
    for (const TextCase& c : cases) {
        Field* f = make(c.type);
        EXPECT_EQ(f->addValueByStr(c.in, Field::CardinalitySingle), nullptr);
        EXPECT_EQ(text(*f), c.out)
            << FieldType::dataTypeName(c.type) << " from " << (c.in ? c.in : "null");
    }
}

TEST_F(ScalarFieldTest, SingleFieldsIgnoreTheMode) {
    auto& f = make<SFFloat>();
    EXPECT_EQ(f.addValueByStr("2.5 3", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(f.getValue(), 2.5f);
}

// ---------------------------------------------------------------------------------------------
// Binary forms

TEST_F(ScalarFieldTest, BinaryRoundTrips) {
    const TextCase cases[] = {
        {SFBoolType, "TRUE", nullptr},
        {SFInt32Type, "-123456", nullptr},
        {SFFloatType, "0.1", nullptr},
        {SFDoubleType, "0.1", nullptr},
        {SFTimeType, "1e-300", nullptr},
        {SFStringType, "with blanks, \"quotes\"", nullptr},
        {MFFloatType, "1 -0.5 3e38", nullptr},
        {MFDoubleType, "0.1 -1e300", nullptr},
        {MFTimeType, "5 6 7", nullptr},
        {MFStringType, "\"a\" \"\" \"ccc\"", nullptr},
        {MFFloatType, "", nullptr},
    };
    for (const TextCase& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr(c.in);
        Field* g = make(c.type);
        std::string bin = f->getBinValue(-1);
        g->setValueByBin(bin);
        EXPECT_TRUE(g->equalValue(*f)) << FieldType::dataTypeName(c.type);
        EXPECT_EQ(g->getBinValue(-1), bin) << FieldType::dataTypeName(c.type);
    }
}

TEST_F(ScalarFieldTest, BinarySizes) {
    struct SizeCase {
        NodePartDataType type;
        const char* in;
        size_t bytes;
    };
    const SizeCase cases[] = {
        {SFBoolType, "TRUE", 1},
        {SFInt32Type, "1", 8},
        {SFFloatType, "1", 4},
        {SFDoubleType, "1", 8},
        {SFTimeType, "1", 8},
        {SFStringType, "abc", 7},
        {MFFloatType, "1 2 3", 8 + 12},
        {MFInt32Type, "1 2 3", 8 + 24},
        {MFDoubleType, "1 2", 8 + 16},
        {MFTimeType, "1", 8 + 8},
        {MFStringType, "a bc", 8 + 5 + 6},
    };
    for (const SizeCase& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr(c.in);
        EXPECT_EQ(f->getBinValue(-1).size(), c.bytes) << FieldType::dataTypeName(c.type);
    }
}

// MFInt32 writes longs and reads ints: what it writes does not read back.
TEST_F(ScalarFieldTest, MFInt32BinaryWritesLongReadsInt) {
    auto& f = make<MFInt32>();
    f.setValueByStr("5 -3");
    auto& g = make<MFInt32>();
    g.setValueByBin(f.getBinValue(-1));
    // Little-endian longs seen as ints: the low half of 5, then its high half.
    EXPECT_EQ(g.getValue(), std::vector<int>({5, 0}));

    // An element written as long reads back as int all the same: the low half comes first.
    g.set1ValueByBin(1, f.get1ValueAsBin(1));
    EXPECT_EQ(g.getValue(), std::vector<int>({5, -3}));
    EXPECT_EQ(f.get1ValueAsBin(0).size(), 8u);
}

TEST_F(ScalarFieldTest, ElementBinaryForms) {
    const NodePartDataType types[] = {MFFloatType, MFDoubleType, MFTimeType, MFStringType,
                                      MFInt32Type};
    for (NodePartDataType type : types) {
        Field* f = make(type);
        f->setValueByStr("1 2 3");
        Field* g = make(type);
        g->setValueByStr("7 8 9");
        for (int i = 0; i < 3; ++i) g->set1ValueByBin(i, f->get1ValueAsBin(i));
        EXPECT_TRUE(g->equalValue(*f)) << FieldType::dataTypeName(type) << ": " << text(*g);
        // Out of range: nothing read, nothing written, no crash.
        EXPECT_EQ(f->get1ValueAsBin(3), "");
        EXPECT_EQ(f->get1ValueAsBin(-1), "");
        g->set1ValueByBin(17, f->get1ValueAsBin(0));
        EXPECT_EQ(g->size(), 3u);
    }
    // Single fields reduce both to the whole value.
    auto& s = make<SFFloat>();
    s.setValue(4.5f);
    auto& s2 = make<SFFloat>();
    s2.set1ValueByBin(99, s.get1ValueAsBin(12));
    EXPECT_EQ(s2.getValue(), 4.5f);
}

TEST_F(ScalarFieldTest, CorruptBinaryIsBounded) {
    auto& f = make<MFDouble>();
    f.setValueByStr("1 2 3");
    std::string bin = f.getBinValue(-1);

    // A count far beyond the data: only what the bytes hold is read.
    std::string huge = bin;
    huge[6] = 0x7f;
    auto& g = make<MFDouble>();
    g.setValueByBin(huge);
    EXPECT_EQ(g.getValue(), std::vector<double>({1, 2, 3}));

    // Truncated: the whole elements that arrived.
    g.setValueByBin(bin.substr(0, bin.size() - 3));
    EXPECT_EQ(g.getValue(), std::vector<double>({1, 2}));

    // A negative count, or no count at all, reads nothing.
    std::string negative = bin;
    negative[7] = char(0x80);
    g.setValueByBin(negative);
    EXPECT_TRUE(g.getValue().empty());
    g.setValueByBin(std::string("\x01\x02", 2));
    EXPECT_TRUE(g.getValue().empty());

    auto& s = make<MFString>();
    std::string sbin = std::string("\xff\xff\xff\xff\xff\xff\xff\x0f", 8) + std::string(40, 'A');
    s.setValueByBin(sbin);
    EXPECT_LE(s.size(), 10u);
}

// ---------------------------------------------------------------------------------------------
// Reports

TEST_F(ScalarFieldTest, NotImplementedBinaryForms) {
    struct NotImp {
        NodePartDataType type;
        const char* name;
    };
    const NotImp cases[] = {
        {SFQubitType, "SFQubit"}, {MFQubitType, "MFQubit"}, {MFBoolType, "MFBool"}};
    for (const NotImp& c : cases) {
        Field* f = make(c.type);
        f->setValueByStr("ON");
        KalvexTest::LogCapture log;
        EXPECT_EQ(f->getBinValue(-1), "");
        EXPECT_TRUE(log.contains(std::string(c.name) + "::getBinValue() is not imp\n"));
        f->setValueByBin(std::string("\x01", 1));
        EXPECT_TRUE(log.contains(std::string(c.name) + "::setValueByBin() is not imp\n"));
        EXPECT_EQ(f->size(), 1u);
        if (FieldType::isMultiField(c.type)) {
            EXPECT_EQ(f->get1ValueAsBin(0), "");
            EXPECT_TRUE(log.contains(std::string(c.name) + "::get1ValueByBin() is not imp\n"));
            f->set1ValueByBin(0, "x");
            EXPECT_TRUE(log.contains(std::string(c.name) + "::set1ValueByBin() is not imp\n"));
        }
    }
}

TEST_F(ScalarFieldTest, RawBufferFormsReportForEveryClass) {
    for (NodePartDataType type : kScalarTypes) {
        Field* f = make(type);
        KalvexTest::LogCapture log;
        unsigned char buffer[16] = {};
        EXPECT_EQ(f->getBinSize(), 0u);
        EXPECT_EQ(f->getBinValue(buffer), 0u);
        f->setValueByBin(buffer, sizeof(buffer));
        EXPECT_EQ(log.count(" getBinSize not Impl\n"), 1) << FieldType::dataTypeName(type);
        EXPECT_EQ(log.count(" getBinValue not Impl\n"), 1);
        EXPECT_EQ(log.count(" setValueByBin not Impl\n"), 1);
    }
}

TEST_F(ScalarFieldTest, PartialDataReports) {
    KalvexTest::LogCapture log;
    EXPECT_EQ(make(MFBoolType)->addValueByStr("TRUE", Field::CardinalityMulti), nullptr);
    EXPECT_TRUE(log.contains("MFBool::addValueByStr() for partial data not impl.\n"));
    EXPECT_EQ(make(MFQubitType)->addValueByStr("ON", Field::CardinalityMulti), nullptr);
    EXPECT_TRUE(log.contains("MFQubit::addValueByStr() for partial data not impl.\n"));
    Field* s = make(MFStringType);
    EXPECT_EQ(s->addValueByStr("\"abc\"", Field::CardinalityMulti), nullptr);
    EXPECT_TRUE(
        log.contains("T.NoName MFString::addValueByStr() for partial data not impl. \n"
                     " >\"abc\"<\n"));
    EXPECT_EQ(s->size(), 0u);
}

TEST_F(ScalarFieldTest, TextParsingIsSilent) {
    KalvexTest::LogCapture log;
    for (NodePartDataType type : kScalarTypes) {
        Field* f = make(type);
        f->setValueByStr("garbage ;; 1e999999 \"x");
        text(*f);
    }
    EXPECT_EQ(log.text(), "");
}

// A host that puts a C++ locale in place gets its decimal point in the list texts, as from any
// stream; the classic locale stays the fast path.
struct CommaPoint : std::numpunct<char> {
    char do_decimal_point() const override { return ','; }
};

TEST_F(ScalarFieldTest, ListTextFollowsGlobalStreamLocale) {
    auto& f = make<MFFloat>();
    f.setValueByStr("1.5 2");
    std::locale old = std::locale::global(std::locale(std::locale::classic(), new CommaPoint));
    std::string commas = text(f);
    std::locale::global(old);
    EXPECT_EQ(commas, "1,500000, 2,000000");
    EXPECT_EQ(text(f), "1.500000, 2.000000");
}

// ---------------------------------------------------------------------------------------------
// Fuzz: random and mutated text into every class, in every mode. Nothing may crash or read
// outside the text; a streaming remainder lies inside the piece.

std::string mutate(std::string s, std::mt19937& rng) {
    static const char kAlphabet[] = "0123456789+-.eExXpP,; \t\r\n\"'\\abcdefinINFtyOoNSU\v\f";
    std::uniform_int_distribution<int> op(0, 3);
    int edits = 1 + int(rng() % 6);
    for (int e = 0; e < edits; ++e) {
        size_t pos = s.empty() ? 0 : rng() % (s.size() + 1);
        switch (op(rng)) {
            case 0:
                s.insert(s.begin() + pos, kAlphabet[rng() % (sizeof(kAlphabet) - 1)]);
                break;
            case 1:
                if (pos < s.size()) s.erase(pos, 1 + rng() % 3);
                break;
            case 2:
                if (pos < s.size()) s[pos] = char(rng() % 255 + 1);
                break;
            default:
                s = s.substr(0, pos);
                break;
        }
    }
    return s;
}

TEST_F(ScalarFieldTest, FuzzTextInput) {
    KalvexTest::LogCapture log(osg::LOG_LOG);  // keep the partial-data reports out of the buffer
    std::mt19937 rng(20240611);
    const std::vector<std::string> seeds = {
        "1 2 3",
        "1.5, 2.25e-3 -0 +7",
        "0x1p3 inf -nan 1e999 1e-999 4.9e-324",
        "\"a\\\"b\" 'c' \"\\\\\"",
        "TRUE FALSE yes no ON OFF UNSET",
        "999999999999999999999999 -2147483649",
        "\\",
        "\"",
        "'",
        ".e5 -. +. 1e+ 1e- 00x5",
    };
    std::vector<Field*> fields;
    for (NodePartDataType type : kScalarTypes) fields.push_back(make(type));

    for (int round = 0; round < 1500; ++round) {
        std::string input;
        if (round % 5 == 0) {
            size_t n = rng() % 40;
            for (size_t i = 0; i < n; ++i) input += char(rng() % 255 + 1);
        } else {
            input = mutate(seeds[rng() % seeds.size()], rng);
        }
        // A heap copy of exactly the text's length, so that a read past the end is caught.
        std::unique_ptr<char[]> piece(new char[input.size() + 1]);
        std::memcpy(piece.get(), input.c_str(), input.size() + 1);
        const char* begin = piece.get();
        const char* end = begin + input.size();
        for (Field* f : fields) {
            f->setValueByStr(begin);
            text(*f);
            f->addValueByStr(begin, Field::CardinalitySingle);
            const char* rest = f->addValueByStr(begin, Field::CardinalityMulti);
            if (rest) {
                EXPECT_TRUE(rest >= begin && rest <= end) << input;
            }
            std::string bin = f->getBinValue(-1);
            f->setValueByBin(input);
            f->setValueByBin(mutate(bin, rng));
            f->set1ValueByBin(int(rng() % 4), input);
            f->get1ValueAsBin(int(rng() % 4) - 1);
            if (f->size() > 10000) f->clear();
        }
    }
}

TEST_F(ScalarFieldTest, MegabyteInputs) {
    std::string digits(1 << 20, '7');
    std::string blanks(1 << 20, ' ');
    std::string quotes(1 << 20, '"');
    std::string backslashes(1 << 20, '\\');
    std::string numbers;
    for (int i = 0; i < 100000; ++i) numbers += "1.25 ";

    for (NodePartDataType type : kScalarTypes) {
        Field* f = make(type);
        for (const std::string* in : {&digits, &blanks, &quotes, &backslashes}) {
            f->setValueByStr(in->c_str());
            f->addValueByStr(in->c_str(), Field::CardinalitySingle);
        }
    }
    auto& mf = make<MFFloat>();
    mf.setValueByStr(numbers.c_str());
    EXPECT_EQ(mf.size(), 100000u);
    EXPECT_EQ(make(MFFloatType)->addValueByStr(digits.c_str(), Field::CardinalityMulti),
              digits.c_str());
    auto& d = make<SFDouble>();
    d.setValueByStr(digits.c_str());
    EXPECT_TRUE(std::isinf(d.getValue()));
    auto& ms = make<MFString>();
    ms.setValueByStr(quotes.c_str());
    EXPECT_EQ(ms.size(), quotes.size() / 2);
}

}  // namespace
