// Number reading of the vector classes against the C library, and random text and bytes
// through every vector, colour, rotation, plane and matrix class.

#include <gtest/gtest.h>

#include <chrono>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <random>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "support/LogCapture.h"

using namespace Kalvex;

namespace {

struct Owner {
    NodeType type{"VectorFuzzTestType", nullptr, 0};
    Node* node;
    Owner() : node(new Node(type, "n")) { node->addRef(); }
    ~Owner() { node->subRef(); }
};

const int kTypes[] = {SFColorType,    MFColorType,    SFColorRGBAType, MFColorRGBAType,
                      SFMatrix3dType, MFMatrix3dType, SFMatrix3fType,  MFMatrix3fType,
                      SFMatrix4dType, MFMatrix4dType, SFMatrix4fType,  MFMatrix4fType,
                      SFRotationType, MFRotationType, SFVec2dType,     MFVec2dType,
                      SFVec2fType,    MFVec2fType,    SFVec3dType,     MFVec3dType,
                      SFVec3fType,    MFVec3fType,    SFVec4dType,     MFVec4dType,
                      SFVec4fType,    MFVec4fType,    SFPlaneType,     MFPlaneType};

template <class T>
bool sameBits(T a, T b) {
    if (std::isnan(a) && std::isnan(b)) return true;
    return std::memcmp(&a, &b, sizeof(T)) == 0;
}

// Numbers as scene files write them, and the forms that only the C functions know.
std::string randomNumber(std::mt19937& rng) {
    static const char* special[] = {"+1",      "0x1p3",     "0X10",
                                    "inf",     "-Infinity", "nan",
                                    "1e39",    "1e-46",     "1e400",
                                    "-1e-400", "1e",        "1e+",
                                    ".",       "-",         "-.5",
                                    "5.",      "\v7",       "\f-3",
                                    "00012",   "1x",        "--1",
                                    "+-1",     "1.2.3",     "0.1e-5f",
                                    "1e308",   "3.4e38",    "3.5e38",
                                    "1.4e-45", "7e-46",     "-0",
                                    "0x",      "1_000",     "123456789012345678901234567890"};
    if (rng() % 5 == 0) return special[rng() % (sizeof(special) / sizeof(*special))];
    std::string s;
    if (rng() % 3 == 0) s += '-';
    int intDigits = rng() % 12;
    for (int i = 0; i < intDigits; ++i) s += char('0' + rng() % 10);
    if (rng() % 2 || intDigits == 0) {
        s += '.';
        int frac = rng() % 25;
        for (int i = 0; i < frac; ++i) s += char('0' + rng() % 10);
    }
    if (rng() % 3 == 0) {
        s += "eE"[rng() % 2];
        if (rng() % 2) s += "+-"[rng() % 2];
        int exp = rng() % 4;
        for (int i = 0; i < exp; ++i) s += char('0' + rng() % 10);
    }
    return s;
}

TEST(VectorNumbers, TokensReadAsTheCFunctionsReadThem) {
    std::mt19937 rng(11);
    Owner owner;
    SFVec3f vec3f(*owner.node);
    SFVec3d vec3d(*owner.node);
    MFVec3f list(*owner.node);
    SFMatrix4f matrix(*owner.node);
    for (int i = 0; i < 20000; ++i) {
        std::string token = randomNumber(rng);
        if (token.empty() || token[0] == 'i') continue;  // a matrix text starting with i
        float f = std::strtof(token.c_str(), nullptr);
        double d = std::strtod(token.c_str(), nullptr);

        vec3f.setValueByStr(token.c_str());
        ASSERT_TRUE(sameBits(vec3f.getValue()[0], f)) << token;
        vec3d.setValueByStr(token.c_str());
        ASSERT_TRUE(sameBits(vec3d.getValue()[0], d)) << token;
        matrix.setValueByStr(token.c_str());
        ASSERT_TRUE(sameBits(matrix.getValue().getValues()[0], f)) << token;

        // Streaming: strtod decides where a number ends. A number that ends at a delimiter
        // makes the first component; one that reads nothing leaves the whole piece pending.
        std::string piece = token + " 0 0 ";
        list.clear();
        const char* rest = list.addValueByStr(piece.c_str(), Field::CardinalityMulti);
        char* stop;
        std::strtod(piece.c_str(), &stop);
        if (stop == piece.c_str()) {
            ASSERT_EQ(list.size(), 0u) << token;
            ASSERT_EQ(rest, piece.c_str()) << token;
        } else if (*stop && std::strchr(" ,;\t\n\r", *stop)) {
            ASSERT_EQ(list.size(), 1u) << token;
            ASSERT_EQ(rest, nullptr) << token;
            ASSERT_TRUE(sameBits(list.getValue()[0][0], float(d))) << token;
        }
    }
}

// ------------------------------------------------------------------------------------------

std::string randomText(std::mt19937& rng) {
    static const char alphabet[] = "0123456789+-.eExXinfaINFA ,;\t\n\r:\\\"'";
    static const char* seeds[] = {"1 2 3",
                                  "1 0 0 0 0 1 0 0 0 0 1 0 0 0 0 1",
                                  "0 1 0 1.5, 1 0 0 3.14",
                                  "identity",
                                  "0, 0, 1:5, 1, 0, 0:2",
                                  "   1.000    0.000 \n   0.000    1.000 \n",
                                  "1e308 -1e308 1e-320 nan inf",
                                  "0.1;0.2;0.3;0.4"};
    std::string s;
    switch (rng() % 3) {
        case 0: {  // random bytes, no NUL
            int len = rng() % 64;
            for (int i = 0; i < len; ++i) s += char(1 + rng() % 255);
            break;
        }
        case 1: {  // number-like characters
            int len = rng() % 96;
            for (int i = 0; i < len; ++i) s += alphabet[rng() % (sizeof(alphabet) - 1)];
            break;
        }
        default: {  // a seed with some bytes changed, inserted or removed
            s = seeds[rng() % (sizeof(seeds) / sizeof(*seeds))];
            int edits = 1 + rng() % 4;
            for (int i = 0; i < edits && !s.empty(); ++i) {
                size_t at = rng() % s.size();
                switch (rng() % 3) {
                    case 0:
                        s[at] = char(1 + rng() % 255);
                        break;
                    case 1:
                        s.insert(at, 1, alphabet[rng() % (sizeof(alphabet) - 1)]);
                        break;
                    default:
                        s.erase(at, 1);
                }
            }
        }
    }
    return s;
}

TEST(VectorFuzz, RandomTextAndBytesNeverBreakAField) {
    std::mt19937 rng(2024);
    Owner owner;
    std::vector<std::unique_ptr<Field>> fields;
    for (int type : kTypes) fields.emplace_back(FieldType::create(type, *owner.node));
    KalvexTest::LogCapture log;
    auto start = std::chrono::steady_clock::now();
    int rounds = 0;
    for (; rounds < 6000; ++rounds) {
        if (std::chrono::steady_clock::now() - start > std::chrono::milliseconds(1200)) break;
        std::string text = randomText(rng);
        // Exactly as long as the text, so a read past its end is a read past the buffer.
        std::unique_ptr<char[]> exact(new char[text.size() + 1]);
        std::memcpy(exact.get(), text.c_str(), text.size() + 1);
        const char* begin = exact.get();
        const char* end = begin + text.size();
        for (auto& field : fields) {
            field->setValueByStr(begin);
            std::string out;
            field->getStrValue(out);
            if (field->cardinality() == Field::CardinalityMulti) {
                const char* rest = field->addValueByStr(begin, Field::CardinalityMulti);
                ASSERT_TRUE(rest == nullptr || (rest >= begin && rest <= end))
                    << field->dataTypeName() << " <" << text << ">";
                field->addValueByStr(begin, Field::CardinalitySingle);
                if (field->size() > 64) field->clear();
            }
            field->setValueByBin(text);
            field->set1ValueByBin(int(rng() % 4) - 1, text);
            field->get1ValueAsBin(int(rng() % 4) - 1);
            std::string bin = field->getBinValue(-1);
            field->setValueByBin(bin);
            field->getStrValue(out);
        }
        if (rounds % 64 == 0) log.clear();
    }
    EXPECT_GT(rounds, 200);
}

}  // namespace
