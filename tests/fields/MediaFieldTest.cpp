// Binary forms of SFImage, the sound value and fields, and the node fields' refusals.

#include <gtest/gtest.h>

#include <cstdint>
#include <string>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/PCMSound.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/platform/harnel/BinStream.h"
#include "kalvex/platform/osg/Image.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace osg = Kalvex::osg;

namespace {

constexpr int kWidth = 0;  // a literal 0 would pick the raw buffer overload

// Little-endian bytes, built independently of the codec.
std::string le(std::uint32_t v, int bytes) {
    std::string out;
    for (int i = 0; i < bytes; ++i) out += char(v >> (8 * i));
    return out;
}
std::string binHeader(unsigned w, unsigned h, unsigned d, unsigned c) {
    return le(w, 2) + le(h, 2) + le(d, 2) + le(c, 2);
}

using KalvexTest::NodeHolder;

struct SFImageBinary : ::testing::Test {
    NodeHolder owner;  // first in, last out: the fields need it
    Kalvex::SFImage field{*owner.node}, copy{*owner.node};
};

// Every format and depth round trips, through both whole-value forms. Damaged forms are the
// binary fuzz target's business.
TEST_F(SFImageBinary, EveryFormatAndDepthRoundTrips) {
    const std::uint32_t formats[] = {osg::Image::OSG_L_PF, osg::Image::OSG_LA_PF,
                                     osg::Image::OSG_RGB_PF, osg::Image::OSG_RGBA_PF};
    KalvexTest::LogCapture log;
    for (int c = 1; c <= 4; ++c) {
        for (int d = 1; d <= 3; ++d) {
            const int w = 2 + c, h = 1 + d;
            SCOPED_TRACE(testing::Message() << w << "x" << h << "x" << d << "x" << c);
            std::vector<std::uint8_t> data(std::size_t(w * h * d * c));
            for (std::size_t i = 0; i < data.size(); ++i) data[i] = std::uint8_t(i * 37 + c);
            field.editValue().createData();
            field.editValue().getData()->set(formats[c - 1], w, h, d, 1, 1, 0.0, data.data());
            const std::string bin = field.getBinValue(-1);
            EXPECT_EQ(bin, binHeader(w, h, d, c) + std::string(data.begin(), data.end()));
            copy.setValueByStr("1 1 1 0x00");
            copy.set1ValueByBin(7, bin);  // an SField takes it as the whole value
            EXPECT_TRUE(copy.equalValue(field));
            EXPECT_EQ(copy.getValue().getData()->getDepth(), d);
            EXPECT_EQ(copy.getBinValue(-1), bin);
        }
    }
    EXPECT_EQ(log.text(), "");
}

TEST_F(SFImageBinary, WholeValueLayoutAndComponentInts) {
    EXPECT_EQ(field.getBinValue(-1), binHeader(0, 0, 0, 0));  // empty image
    EXPECT_EQ(field.getBinValue(kWidth), le(0, 4));
    field.setValueByStr("2 1 3 0x010203 0x040506");
    const std::string bin = field.getBinValue(-1);
    EXPECT_EQ(bin, binHeader(2, 1, 1, 3) + "\x01\x02\x03\x04\x05\x06");
    EXPECT_EQ(field.get1ValueAsBin(5), bin);
    copy.setValueByStr("1 1 1 0x02");
    const osg::Image* copyImage = copy.getValue().getData();
    ASSERT_TRUE(copy.setValueByField(field, nullptr));  // into the existing image, never shared
    EXPECT_EQ(copy.getValue().getData(), copyImage);
    field.setValueByStr("300 2 4");
    EXPECT_EQ(copy.getBinValue(-1), bin);
    EXPECT_EQ(field.getBinValue(kWidth) + field.getBinValue(1) + field.getBinValue(2),
              le(300, 4) + le(2, 4) + le(4, 4));
    KalvexTest::LogCapture log;
    for (int component : {3, -2, 100}) EXPECT_EQ(field.getBinValue(component), "") << component;
    EXPECT_EQ(log.count("SFImage::getBinValue(): Invalid component ("), 3);
    EXPECT_TRUE(log.contains("Invalid component (-2)\n"));
}

TEST_F(SFImageBinary, BadDataLeavesTheValueAloneAndMissingFormsReport) {
    field.setValueByStr("1 1 1 0x2a");
    const std::string before = field.getBinValue(-1);
    const std::string badCount = "SFImage::setValueByBin(): Invalid number of components (";
    // clang-format off
    const std::pair<std::string, std::string> cases[] = {
        {binHeader(1, 1, 1, 0), badCount + "0)\n"}, {binHeader(1, 1, 1, 5) + "\x01\x02\x03\x04\x05", badCount + "5)\n"},
        {binHeader(2, 1, 1, 1) + "\x01", "data too short"}, {binHeader(65535, 65535, 65535, 4) + "\x01\x02", "data too short"},  // 1 TB announced: no allocation
        {binHeader(0, 65535, 512, 1) + "\x01", "data too short"},  // sizes of 0 count as 1
        {std::string("\x01\x00\x01", 3), "data too short"}, {"", "data too short"}};
    // clang-format on
    for (const auto& [data, message] : cases) {
        KalvexTest::LogCapture log;
        field.setValueByBin(data);
        EXPECT_TRUE(log.contains(message)) << message;
        EXPECT_EQ(field.getBinValue(-1), before);
    }
    field.setValueByBin(binHeader(1, 1, 1, 1) + "\x07\x08");  // surplus bytes are not read
    EXPECT_EQ(field.getBinValue(-1), binHeader(1, 1, 1, 1) + "\x07");
    // MFImage has no binary form, and no image class the raw buffer form.
    KalvexTest::LogCapture log;
    Kalvex::MFImage multi(*owner.node);
    multi.setValueByBin(std::string("x"));
    unsigned char buffer[8] = {};
    EXPECT_EQ(multi.getBinValue(-1) + multi.get1ValueAsBin(0), "");
    EXPECT_EQ(field.getBinSize() + field.getBinValue(buffer), 0u);
    // clang-format off
    for (const char* m : {"MFImage::getBinValue() is not imp\n", "MFImage::setValueByBin() is not imp\n",
                          "MFImage::get1ValueByBin() is not imp\n", "getBinSize not Impl\n", "getBinValue not Impl\n"})
        // clang-format on
        EXPECT_TRUE(log.contains(m)) << m;
}

TEST_F(SFImageBinary, RawBufferIsTheImageStoreFormAndCorruptOnesChangeNothing) {
    osg::Image source;
    const std::uint8_t data[] = {9, 8, 7, 6, 5, 4, 3, 2};
    std::vector<std::uint8_t> stored;
    source.set(osg::Image::OSG_LA_PF, 2, 2, 1, 1, 1, 0.0, data);
    ASSERT_TRUE(source.store(nullptr, stored));
    field.setValueByStr("1 1 1 0x2a");
    const std::string before = field.getBinValue(-1);
    KalvexTest::LogCapture log;
    // Every truncation, and every single flipped byte (the checksum catches those).
    for (std::size_t at = 0; at < stored.size(); ++at) {
        std::vector<std::uint8_t> broken = stored;
        broken[at] ^= 0x5a;
        field.setValueByBin(broken.data(), unsigned(broken.size()));
        field.setValueByBin(stored.data(), unsigned(at));
        ASSERT_EQ(field.getBinValue(-1), before) << "byte " << at;
    }
    EXPECT_GE(log.count("Image::restore"), int(2 * stored.size()));
    field.setValueByBin(stored.data(), unsigned(stored.size()));
    ASSERT_NE(field.getValue().getData(), nullptr);
    EXPECT_TRUE(*field.getValue().getData() == source);
}

TEST(PCMSoundValue, SetCompareAndDump) {
    const std::vector<unsigned char> same{1, 2, 3, 4};
    Kalvex::PCMSound a, b;
    a.set(44100, 16, 2, same);
    b.set(44100, 16, 2, 4, same.data());
    EXPECT_TRUE(a == b);
    b.set(8000, 16, 1, 0, same.data() + 1);  // size 0 keeps the data while the numbers change
    EXPECT_EQ(b.data(), same);
    KalvexTest::LogCapture log;
    b.dump();
    EXPECT_TRUE(log.contains("PCMSound: sR/b/c/d/ds: 8000/16/1/0.000250/4\n")) << log.text();
    // Each member on its own makes a difference.
    // clang-format off
    const struct { unsigned rate, bits, channels; std::vector<unsigned char> data; } variants[] = {
        {44100, 16, 2, {1, 2, 3, 5}}, {44101, 16, 2, same}, {44100, 8, 2, same}, {44100, 16, 1, same}, {44100, 16, 2, {1, 2, 3}}};
    // clang-format on
    for (const auto& v : variants) {
        Kalvex::PCMSound c;
        c.set(v.rate, v.bits, v.channels, v.data);
        EXPECT_FALSE(c == a) << v.rate << " " << v.bits << " " << v.channels << " "
                             << v.data.size();
    }
}

// Neither sounds nor nodes have a text form; blank node text is silently ignored.
TEST(SoundAndNodeFields, RefuseTextWithTheirMessages) {
    NodeHolder owner;
    Kalvex::SFSound sound(*owner.node);
    Kalvex::MFSound sounds(*owner.node);
    Kalvex::SFNode node(*owner.node);
    Kalvex::MFNode nodes(*owner.node);
    KalvexTest::LogCapture log;
    for (const char* blank : {static_cast<const char*>(nullptr), "", "  \t\n"})
        node.setValueByStr(blank);
    node.set1ValueByBin(0, "x");
    std::string out = "kept";
    EXPECT_EQ(nodes.getStrValue(out), "kept");
    EXPECT_EQ(log.text(), "");
    sound.editValue().set(8000, 8, 1, std::vector<unsigned char>{1, 2});
    sounds.editValue().push_back(sound.getValue());
    const Kalvex::PCMSound before = sound.getValue();
    Kalvex::Field* const texts[] = {&sound, &sounds, &node};
    sound.setValueByStr("8000 8 1");
    sounds.setValueByStr("8000 8 1");
    node.setValueByStr("DEF a Box {}");
    nodes.setValueByStr("Box {}");
    for (Kalvex::Field* f : texts) EXPECT_EQ(f->getStrValue(out), "kept");
    EXPECT_EQ(sounds.addValueByStr("x", Kalvex::Field::CardinalitySingle), nullptr);
    EXPECT_EQ(sounds.addValueByStr("x", Kalvex::Field::CardinalityMulti), nullptr);
    EXPECT_EQ(nodes.addValueByStr("Box {}", Kalvex::Field::CardinalityMulti), nullptr);
    nodes.set1ValueByBin(0, "x");
    EXPECT_TRUE(sound.getValue() == before);
    EXPECT_EQ(sounds.size() + nodes.size(), 0u);
    EXPECT_EQ(node.getValue().node(), nullptr);
    // clang-format off
    const std::pair<const char*, int> messages[] = {
        {"PCMSound::setDataByStr() not impl\n", 1}, {"PCMSound::getStrData() not impl\n", 1},
        {"In MFSound::setValueByStr(): not impl. \n", 1}, {"Not impl. \n", 3},
        {"SFNode::setValueByStr( DEF a Box {} ) is not impl.\n", 1}, {"SFNode::getValueByField() is not impl.\n", 1},
        {"In MFNode::setValueByStr\n", 1}, {"In MFNode::addValueByStr\n", 1}, {"MFNode::set1ValueByBin() is not imp\n", 1}};
    // clang-format on
    for (const auto& [message, count] : messages) EXPECT_EQ(log.count(message), count) << message;
}

}  // namespace
