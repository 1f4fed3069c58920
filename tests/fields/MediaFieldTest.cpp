// Binary forms of SFImage, the sound value and fields, and the node fields' refusals.

#include <gtest/gtest.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <random>
#include <string>
#include <tuple>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/PCMSound.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "platform/harnel/BinStream.h"
#include "platform/osg/Image.h"
#include "support/LogCapture.h"

namespace osg = Kalvex::osg;

namespace {

// A literal 0 would pick the raw buffer overload.
constexpr int kWidth = 0;

struct NodeHolder {
    Kalvex::NodeType type{"MediaTestType", nullptr, 0};
    Kalvex::Node* node;
    NodeHolder() : node(new Kalvex::Node(type, "n")) { node->addRef(); }
    ~NodeHolder() { node->subRef(); }
};

// The binary header as the form prescribes it, built independently of the codec.
std::string binHeader(unsigned short w, unsigned short h, unsigned short d, unsigned char c) {
    std::string out;
    for (unsigned short v : {w, h, d}) {
        out += char(v & 0xff);
        out += char(v >> 8);
    }
    out += char(c);
    out += '\0';
    return out;
}

int binInt(const std::string& data) {
    EXPECT_EQ(data.size(), 4u);
    std::uint32_t v = 0;
    for (std::size_t i = 0; i < 4 && i < data.size(); ++i)
        v |= std::uint32_t(std::uint8_t(data[i])) << (8 * i);
    return int(v);
}

class SFImageBinary : public ::testing::Test {
  protected:
    NodeHolder owner;
    Kalvex::SFImage field{*owner.node};
    Kalvex::SFImage copy{*owner.node};
};

TEST_F(SFImageBinary, RoundTripOverEveryFormatAndDepth) {
    std::mt19937 rng(3);
    const std::uint32_t formats[] = {osg::Image::OSG_L_PF, osg::Image::OSG_LA_PF,
                                     osg::Image::OSG_RGB_PF, osg::Image::OSG_RGBA_PF};
    for (int i = 0; i < 24; ++i) {
        const int c = 1 + i % 4, w = 1 + int(rng() % 9), h = 1 + int(rng() % 9),
                  d = 1 + int(rng() % 3);
        std::vector<std::uint8_t> data(std::size_t(w * h * d * c));
        for (auto& b : data) b = std::uint8_t(rng());
        field.editValue().createData();
        field.editValue().getData()->set(formats[c - 1], w, h, d, 1, 1, 0.0, data.data());

        copy.setValueByBin(field.getBinValue(-1));
        ASSERT_TRUE(copy.equalValue(field)) << w << "x" << h << "x" << d << "x" << c;
        EXPECT_EQ(copy.getValue().getData()->getDepth(), d);
        // The other direction through set1ValueByBin, which SField reduces to the whole value.
        field.setValueByStr("1 1 1 0x00");
        field.set1ValueByBin(7, copy.getBinValue(-1));
        EXPECT_TRUE(field.equalValue(copy));
    }
}

TEST_F(SFImageBinary, WholeValueLayoutAndComponentInts) {
    EXPECT_EQ(field.getBinValue(-1), binHeader(0, 0, 0, 0));  // empty image
    EXPECT_EQ(binInt(field.getBinValue(kWidth)), 0);
    field.setValueByStr("2 1 3 0x010203 0x040506");
    const std::string bin = field.getBinValue(-1);
    EXPECT_EQ(bin, binHeader(2, 1, 1, 3) + std::string("\x01\x02\x03\x04\x05\x06", 6));
    EXPECT_EQ(field.get1ValueAsBin(5), bin);  // SField reduces the element form to the whole
    field.setValueByStr("300 2 4");
    EXPECT_EQ(binInt(field.getBinValue(kWidth)), 300);
    EXPECT_EQ(binInt(field.getBinValue(1)), 2);
    EXPECT_EQ(binInt(field.getBinValue(2)), 4);
    KalvexTest::LogCapture log;
    for (int component : {3, -2, 100}) {
        EXPECT_EQ(field.getBinValue(component), "");
        EXPECT_TRUE(log.contains("SFImage::getBinValue(): Invalid component (" +
                                 std::to_string(component) + ")\n"));
    }
}

TEST_F(SFImageBinary, BadDataLeavesTheValueAlone) {
    field.setValueByStr("1 1 1 0x2a");
    const std::string before = field.getBinValue(-1);
    const std::string badCount = "SFImage::setValueByBin(): Invalid number of components (";
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {binHeader(1, 1, 1, 0), badCount + "0)\n"}, {binHeader(1, 1, 1, 5) + "\x01\x02\x03\x04\x05", badCount + "5)\n"},
        {binHeader(2, 1, 1, 1) + "\x01", "data too short"},
        {binHeader(65535, 65535, 65535, 4) + "\x01\x02", "data too short"},  // 1 TB announced: no allocation
        {binHeader(0, 65535, 512, 1) + "\x01", "data too short"},  // sizes of 0 count as 1
        {std::string("\x01\x00\x01", 3), "data too short"}, {std::string(), "data too short"}};
    // clang-format on
    for (const auto& [data, message] : cases) {
        KalvexTest::LogCapture log;
        field.setValueByBin(data);
        EXPECT_TRUE(log.contains(message)) << message;
        EXPECT_EQ(field.getBinValue(-1), before);
    }
    // Surplus bytes are not read.
    field.setValueByBin(binHeader(1, 1, 1, 1) + "\x07\x08");
    EXPECT_EQ(field.getBinValue(-1), binHeader(1, 1, 1, 1) + "\x07");
}

TEST_F(SFImageBinary, RawBufferIsTheImageStoreFormAndCorruptOnesChangeNothing) {
    osg::Image source;
    std::vector<std::uint8_t> data = {9, 8, 7, 6, 5, 4, 3, 2};
    source.set(osg::Image::OSG_LA_PF, 2, 2, 1, 1, 1, 0.0, data.data());
    std::vector<std::uint8_t> stored;
    ASSERT_TRUE(source.store(nullptr, stored));
    field.setValueByStr("1 1 1 0x2a");
    const std::string before = field.getBinValue(-1);

    KalvexTest::LogCapture log;
    // Every truncation, and every single flipped byte (the checksum catches those).
    for (std::size_t len = 0; len < stored.size(); ++len) {
        std::vector<std::uint8_t> cut(stored.begin(), stored.begin() + std::ptrdiff_t(len));
        field.setValueByBin(cut.data(), unsigned(len));
        ASSERT_EQ(field.getBinValue(-1), before) << "length " << len;
    }
    for (std::size_t at = 0; at < stored.size(); ++at) {
        std::vector<std::uint8_t> broken = stored;
        broken[at] ^= 0x5a;
        field.setValueByBin(broken.data(), unsigned(broken.size()));
        ASSERT_EQ(field.getBinValue(-1), before) << "byte " << at;
    }
    EXPECT_GE(log.count("Image::restore"), int(2 * stored.size()));

    field.setValueByBin(stored.data(), unsigned(stored.size()));
    ASSERT_NE(field.getValue().getData(), nullptr);
    EXPECT_TRUE(*field.getValue().getData() == source);
    std::string text;
    EXPECT_EQ(field.getStrValue(text), "2 2 2 0x0908 0x0706 0x0504 0x0302");
}

// Mutated binary strings: whatever is accepted must stay within the bytes given and write back
// as a string that reads to the same image.
TEST_F(SFImageBinary, FuzzedStringsKeepTheValueConsistent) {
    KalvexTest::LogCapture log(osg::LOG_FATAL);
    field.setValueByStr("3 2 3 0x010203 0x040506 0x070809 0x0a0b0c 0x0d0e0f 0x101112");
    const std::string valid = field.getBinValue(-1);
    std::mt19937 rng(99);
    int accepted = 0, i = 0;
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    for (; i < 3000 && std::chrono::steady_clock::now() < deadline; ++i) {
        std::string data = valid;
        const int edits = 1 + int(rng() % 3);
        for (int e = 0; e < edits; ++e) {
            const std::size_t at = rng() % data.size();
            const unsigned kind = rng() % 3;
            if (kind == 0) data[at] = char(rng());
            if (kind == 1) data.resize(at);
            if (kind == 2) data.insert(at, 1, char(rng()));
            if (data.empty()) data = valid;
        }
        const std::string before = field.getBinValue(-1);
        field.setValueByBin(data);
        const std::string after = field.getBinValue(-1);
        ASSERT_LE(after.size(), std::max(before.size(), data.size())) << i;
        if (after == before) continue;
        ++accepted;
        copy.setValueByBin(after);
        ASSERT_TRUE(copy.equalValue(field)) << i;
    }
    EXPECT_GT(accepted, i / 30) << i << " strings";
}

TEST(MFImageBinary, HasNoBinaryForm) {
    KalvexTest::LogCapture log;
    NodeHolder owner;
    Kalvex::MFImage field(*owner.node);
    EXPECT_EQ(field.getBinValue(-1), "");
    field.setValueByBin(std::string("x"));
    EXPECT_EQ(field.get1ValueAsBin(0), "");
    EXPECT_TRUE(log.contains("MFImage::getBinValue() is not imp\n"));
    EXPECT_TRUE(log.contains("MFImage::setValueByBin() is not imp\n"));
    EXPECT_TRUE(log.contains("MFImage::get1ValueByBin() is not imp\n"));
    Kalvex::SFImage single(*owner.node);
    unsigned char buffer[8] = {};
    EXPECT_EQ(single.getBinSize(), 0u);
    EXPECT_EQ(single.getBinValue(buffer), 0u);
    EXPECT_TRUE(log.contains("getBinSize not Impl\n"));
    EXPECT_TRUE(log.contains("getBinValue not Impl\n"));
}

TEST(ImageValue, CopiesNeverSharePixels) {
    NodeHolder owner;
    Kalvex::SFImage a(*owner.node), b(*owner.node);
    a.setValueByStr("1 1 1 0x01");
    b.setValueByStr("1 1 1 0x02");
    const osg::Image* bImage = b.getValue().getData();
    ASSERT_TRUE(b.setValueByField(a, nullptr));
    // Assignment goes into the existing image.
    EXPECT_EQ(b.getValue().getData(), bImage);
    EXPECT_TRUE(b.equalValue(a));
    a.setValueByStr("1 1 1 0x03");
    EXPECT_FALSE(b.equalValue(a));
    std::string text;
    EXPECT_EQ(b.getStrValue(text), "1 1 1 0x01");
}

// --- Sound --------------------------------------------------------------------------------------

TEST(PCMSoundValue, SetCompareAndDump) {
    Kalvex::PCMSound a, b;
    a.set(44100, 16, 2, std::vector<unsigned char>{1, 2, 3, 4});
    const unsigned char bytes[] = {1, 2, 3, 4};
    b.set(44100, 16, 2, 4, bytes);
    EXPECT_TRUE(a == b);
    // Size 0 keeps the data while the numbers change.
    b.set(8000, 16, 1, 0, bytes + 1);
    EXPECT_EQ(b.data(), (std::vector<unsigned char>{1, 2, 3, 4}));
    KalvexTest::LogCapture log;
    b.dump();
    EXPECT_TRUE(log.contains("PCMSound: sR/b/c/d/ds: 8000/16/1/0.000250/4\n")) << log.text();

    // Each member on its own makes a difference.
    const std::vector<unsigned char> same{1, 2, 3, 4};
    const std::tuple<unsigned, unsigned, unsigned, std::vector<unsigned char>> variants[] = {
        {44100, 16, 2, {1, 2, 3, 5}},
        {44101, 16, 2, same},
        {44100, 8, 2, same},
        {44100, 16, 1, same},
        {44100, 16, 2, {1, 2, 3}}};
    for (const auto& [rate, bits, channels, data] : variants) {
        Kalvex::PCMSound c;
        c.set(rate, bits, channels, data);
        EXPECT_FALSE(c == a) << rate << " " << bits << " " << channels << " " << data.size();
    }
}

TEST(SoundFields, HaveNoTextForm) {
    KalvexTest::LogCapture log;
    NodeHolder owner;
    Kalvex::SFSound single(*owner.node);
    single.editValue().set(8000, 8, 1, std::vector<unsigned char>{1, 2});
    const Kalvex::PCMSound before = single.getValue();
    single.setValueByStr("8000 8 1");
    EXPECT_TRUE(single.getValue() == before);
    std::string out = "kept";
    EXPECT_EQ(single.getStrValue(out), "kept");
    EXPECT_EQ(log.count("PCMSound::setDataByStr() not impl\n"), 1);
    EXPECT_EQ(log.count("PCMSound::getStrData() not impl\n"), 1);

    Kalvex::MFSound multi(*owner.node);
    multi.editValue().push_back(before);
    multi.setValueByStr("8000 8 1");
    EXPECT_EQ(multi.size(), 0u);
    EXPECT_TRUE(log.contains("In MFSound::setValueByStr(): not impl. \n"));
    log.clear();
    EXPECT_EQ(multi.addValueByStr("x", Kalvex::Field::CardinalitySingle), nullptr);
    EXPECT_EQ(multi.addValueByStr("x", Kalvex::Field::CardinalityMulti), nullptr);
    EXPECT_EQ(multi.getStrValue(out), "kept");
    EXPECT_EQ(log.count("Not impl. \n"), 3);
    EXPECT_EQ(multi.size(), 0u);

    // Copies between sound fields work without text.
    Kalvex::SFSound other(*owner.node);
    ASSERT_TRUE(other.setValueByField(single, nullptr));
    EXPECT_TRUE(other.equalValue(single));
}

// --- Nodes --------------------------------------------------------------------------------------

TEST(NodeFieldText, BlankIsIgnoredAndAnythingElseRefused) {
    NodeHolder owner;
    Kalvex::SFNode single(*owner.node);
    Kalvex::MFNode multi(*owner.node);
    {
        KalvexTest::LogCapture log;
        for (const char* blank : {static_cast<const char*>(nullptr), "", "  \t\n"})
            single.setValueByStr(blank);
        EXPECT_TRUE(log.text().empty());
    }
    KalvexTest::LogCapture log;
    single.setValueByStr("DEF a Box {}");
    EXPECT_TRUE(log.contains("SFNode::setValueByStr( DEF a Box {} ) is not impl.\n"));
    std::string out = "kept";
    EXPECT_EQ(single.getStrValue(out), "kept");
    EXPECT_TRUE(log.contains("SFNode::getValueByField() is not impl.\n"));
    EXPECT_EQ(single.getValue().node(), nullptr);

    log.clear();
    single.set1ValueByBin(0, "x");
    EXPECT_TRUE(log.text().empty());

    multi.setValueByStr("Box {}");
    EXPECT_TRUE(log.contains("In MFNode::setValueByStr\n"));
    EXPECT_EQ(multi.addValueByStr("Box {}", Kalvex::Field::CardinalityMulti), nullptr);
    EXPECT_TRUE(log.contains("In MFNode::addValueByStr\n"));
    log.clear();
    EXPECT_EQ(multi.getStrValue(out), "kept");
    EXPECT_TRUE(log.text().empty());
    EXPECT_EQ(multi.size(), 0u);
    multi.set1ValueByBin(0, "x");
    EXPECT_TRUE(log.contains("MFNode::set1ValueByBin() is not imp\n"));
}

}  // namespace
