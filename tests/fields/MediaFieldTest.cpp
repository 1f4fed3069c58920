// The media fields: the image text (Image::set, operator<<, MFImage's loop over it), binary
// forms of SFImage, the sound value and the sound fields' refusals.

#include <gtest/gtest.h>

#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kalvex/Kalvex.h"
#include "kalvex/platform/osg/Image.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using Kalvex::Image;
using KalvexTest::NodeHolder;
namespace osg = Kalvex::osg;

namespace {

std::string written(const Image& image) {
    std::ostringstream out;
    out << image;
    return out.str();
}

const std::uint32_t L = osg::Image::OSG_L_PF, LA = osg::Image::OSG_LA_PF,
                    RGB = osg::Image::OSG_RGB_PF, RGBA = osg::Image::OSG_RGBA_PF;

TEST(ImageTextRead, ReadsPixelsAndWritesThemBack) {
    // clang-format off
    const struct { const char* text; int width, height; std::uint32_t format; std::vector<std::uint8_t> pixels;
                   const char* rest; const char* written; } cases[] = {  // rest: behind the last number read
        {"2 1 1 0xFF 0x00", 2, 1, L, {0xff, 0x00}, "", "2 1 1 0xff 0x00"},  // hex digits come back in lower case
        {"1 1 3 0xFF0000", 1, 1, RGB, {0xff, 0, 0}, "", "1 1 3 0xff0000"},  // most significant byte first: red
        {"1 2 2 0x1234 0xABCD", 1, 2, LA, {0x12, 0x34, 0xab, 0xcd}, "", "1 2 2 0x1234 0xabcd"},
        {"1 1 4 0X01020304", 1, 1, RGBA, {1, 2, 3, 4}, "", "1 1 4 0x01020304"},
        {"3 1 1 255 010 7", 3, 1, L, {255, 10, 7}, "", "3 1 1 0xff 0x0a 0x07"},  // a leading 0 is decimal
        {"1 1 1 0x1FF", 1, 1, L, {0xff}, "", "1 1 1 0xff"},  // only the low bytes of a pixel count
        {"2 1 1 -0x1 +0x10", 2, 1, L, {0xff, 0x10}, "", "2 1 1 0xff 0x10"},  // 0x behind a sign; strtoul negates
        {"2,\t1\r\n1 ,, 0x0a\n0x0b", 2, 1, L, {0x0a, 0x0b}, "", "2 1 1 0x0a 0x0b"},  // every skip character
        {"2 2 1 0x10", 2, 2, L, {0x10, 0, 0, 0}, "", "2 2 1 0x10 0x00 0x00 0x00"},  // short: the rest stays zero
        // The platform image makes a size of 0 into 1; the text's 0 pixels are read.
        {"0 2 1 0x05", 1, 2, L, {0, 0}, " 0x05", "1 2 1 0x00 0x00"},
        // Reading stops at the last pixel, or at the first thing that is no number.
        {"1 1 1 0x01 0x02 0x03", 1, 1, L, {1}, " 0x02 0x03", "1 1 1 0x01"},
        {"2 1 1 0x01;0x02", 2, 1, L, {1, 0}, ";0x02", "2 1 1 0x01 0x00"},
        // An incomplete header leaves the image as it was.
        {"", 1, 1, L, {0x2a}, "", "1 1 1 0x2a"}, {" 4 4 ", 1, 1, L, {0x2a}, " ", "1 1 1 0x2a"},
        {"4 4 x", 1, 1, L, {0x2a}, " x", "1 1 1 0x2a"}, {nullptr, 1, 1, L, {0x2a}, nullptr, "1 1 1 0x2a"}};
    // clang-format on
    KalvexTest::LogCapture log;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        Image image, copy;
        const char* rest = "unset";
        ASSERT_TRUE(image.set("1 1 1 0x2a", nullptr));
        EXPECT_TRUE(image.set(c.text, &rest));
        ASSERT_NE(image.getData(), nullptr);
        const osg::Image& img = *image.getData();
        EXPECT_EQ(std::tuple(img.getWidth(), img.getHeight(), img.getDepth(), img.getPixelFormat(),
                             img.getPixel(), written(image)),
                  std::tuple(c.width, c.height, 1, c.format, c.pixels, std::string(c.written)));
        EXPECT_STREQ(rest, c.rest);
        EXPECT_TRUE(copy.set(c.written, nullptr) && copy == image) << "written text reads back";
    }
    EXPECT_EQ(log.text(), "");
}

TEST(ImageTextRead, AbsurdHeadersAreRefusedWithoutAllocating) {
    const std::string huge = std::to_string(~0ul);
    KalvexTest::LogCapture log;
    for (std::string text : {std::string("8193 8192 1"), huge + " " + huge + " 1", huge + " 2 3",
                             std::string("-1 1 1"), std::string("20000000 0 4")}) {
        Image image;
        ASSERT_TRUE(image.set("1 1 1 0x2a", nullptr));
        const char* rest = nullptr;
        EXPECT_FALSE(image.set(text.c_str(), &rest)) << text;
        EXPECT_TRUE(rest == text.c_str() && !image.getData()->isValid()) << text;
    }
    EXPECT_EQ(log.count("exceeds"), 5);
    Image image;  // 8192 x 8192 luminance is exactly the limit
    ASSERT_TRUE(image.set("8192 8192 1 0x7f", nullptr) && image.getData()->isValid());
    EXPECT_TRUE(image.getData()->getSize() == Image::kMaxTextBytes &&
                image.getData()->getPixel()[0] == 0x7f);
}

// Five components read past their pixel but give no format; writing that, or a fresh platform
// image, logs and writes nothing. Only the first layer is written and the stream stays hex.
TEST(ImageTextWrite, InvalidFormatsLogAndTheFirstLayerIsWritten) {
    KalvexTest::LogCapture log;
    EXPECT_EQ(written(Image()), "0 0 0");
    Image image, fresh;
    const char* rest = nullptr;
    EXPECT_TRUE(image.set("1 1 5 0x0102030405 9", &rest));
    EXPECT_STREQ(rest, " 9");
    EXPECT_TRUE(image.getData()->getPixelFormat() == 0u && log.text().empty());
    fresh.createData();
    EXPECT_EQ(written(image) + written(fresh), "");
    EXPECT_EQ(log.count("Invalid PixelFormat; can not write SFImage string\n"), 2);
    std::vector<std::uint8_t> data = {1, 2, 3, 4};
    image.getData()->set(osg::Image::OSG_L_PF, 2, 1, 2, 1, 1, 0.0, data.data());
    std::ostringstream out;
    out << image << ' ' << 255;
    EXPECT_EQ(out.str(), "2 1 1 0x01 0x02 ff");
}

// The pixels are formatted without the stream in the classic locale: the same characters as the
// stream writes under any other locale, upper case included, and the stream left hexadecimal.
TEST(ImageTextWrite, ClassicPathWritesWhatTheStreamWrites) {
    std::vector<std::uint8_t> bytes(3 * 5 * 4);
    for (std::size_t i = 0; i < bytes.size(); ++i) bytes[i] = std::uint8_t(i * 29 + 7);
    const std::locale other(std::locale::classic(), new std::numpunct<char>);
    for (std::uint32_t format : {L, LA, RGB, RGBA}) {
        for (bool upper : {false, true}) {
            SCOPED_TRACE(testing::Message() << format << (upper ? " upper" : ""));
            Image image;
            image.createData();
            image.getData()->set(format, 5, 3, 1, 1, 1, 0.0, bytes.data());
            std::ostringstream classic, streamed;
            streamed.imbue(other);
            for (std::ostringstream* out : {&classic, &streamed}) {
                if (upper) *out << std::uppercase;
                *out << image << ' ' << 171;
            }
            EXPECT_EQ(classic.str(), streamed.str());
            EXPECT_EQ(classic.str().substr(classic.str().size() - 3), upper ? " AB" : " ab");
        }
    }
}

TEST(MFImageText, StickyHexHeadersClearingFirstAndNoAdd) {
    KalvexTest::LogCapture log;
    NodeHolder owner;
    Kalvex::MFImage field(*owner.node);
    std::string text = "1 1 1 0x01 16 1 1 1", expected = "1 1 1 0x01 10 1 1 0x01";
    for (int i = 1; i < 16; ++i) text += " 0", expected += " 0x00";
    text += " 12 2 4", expected += " c 2 4";
    for (int i = 0; i < 24; ++i) expected += " 0x00000000";
    field.setValueByStr(text.c_str());
    std::string out;
    EXPECT_EQ(field.getStrValue(out), expected);
    // Text: how many images it leaves, and how many of them are unset. Every read that consumed
    // something is an image, an incomplete header too; a blank or no number ends the list.
    // clang-format off
    const struct { const char* in; unsigned size, unset; } cases[] = {
        {"  \n ", 0, 0}, {nullptr, 0, 0}, {"7 7", 1, 1}, {"1 1 1 0xFF 7 8", 2, 1}, {"1 1 1 0x01 \t", 1, 0},
        {"1 1 1 0x01 2 2 3", 2, 0},  // the second image's pixels are missing, not its header
        {"1 1 1 0x01 junk 1 1 1 0x02", 1, 0}};
    // clang-format on
    Image fresh;
    fresh.createData();
    for (const auto& c : cases) {
        field.setValueByStr("1 1 1 0x01 1 1 1 0x02");
        field.setValueByStr(c.in);
        unsigned unset = 0;
        for (const Image& image : field.getValue()) unset += image.getData() && image == fresh;
        EXPECT_EQ(std::pair(field.size(), unset), std::pair(c.size, c.unset))
            << (c.in ? c.in : "null");
    }
    // An unset or invalid image writes nothing but its blank, and the next one is written.
    field.setValueByStr("1 1 1 0xFF 7 8");
    EXPECT_EQ(field.getStrValue(out), "1 1 1 0xff ");
    field.setValueByStr("1 1 1 0x01 1 1 5 0x02 1 1 1 0x03");
    EXPECT_EQ(field.getStrValue(out), "1 1 1 0x01  1 1 1 0x03");
    log.clear();
    EXPECT_EQ(field.addValueByStr("1 1 1 0x01", Kalvex::Field::CardinalitySingle), nullptr);
    EXPECT_EQ(field.addValueByStr("1 1 1 0x01", Kalvex::Field::CardinalityMulti), nullptr);
    EXPECT_EQ(field.size(), 3u);  // neither mode adds
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tNot impl. \nFATAL\tKalvex\tNot impl. \n");
}

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
            EXPECT_TRUE(copy.equalValue(field) && copy.getValue().getData()->getDepth() == d);
        }
    }
    EXPECT_EQ(log.text(), "");
}

TEST_F(SFImageBinary, WholeValueLayoutAndComponentInts) {
    EXPECT_EQ(field.getBinValue(-1), binHeader(0, 0, 0, 0));  // empty image
    EXPECT_EQ(field.getBinValue(kWidth), le(0, 4));
    field.setValueByStr("2 1 3 0x010203 0x040506");
    const std::string bin = field.getBinValue(-1);
    EXPECT_TRUE(bin == binHeader(2, 1, 1, 3) + "\x01\x02\x03\x04\x05\x06" &&
                field.get1ValueAsBin(5) == bin);
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
        {binHeader(0, 65535, 512, 1) + "\x01", "data too short"}, {std::string("\x01\x00\x01", 3), "data too short"}};  // sizes of 0 count as 1
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
    // A flipped byte (the checksum catches it) or a cut; the image test has every kind of damage.
    std::vector<std::uint8_t> broken = stored;
    broken[broken.size() / 2] ^= 0x5a;
    KalvexTest::LogCapture log;
    field.setValueByBin(broken.data(), unsigned(broken.size()));
    field.setValueByBin(stored.data(), unsigned(stored.size() - 1));
    EXPECT_EQ(field.getBinValue(-1), before);
    EXPECT_EQ(log.count("Image::restore"), 2);
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

// Sounds have no text form.
TEST(SoundFields, RefuseTextWithTheirMessages) {
    NodeHolder owner;
    Kalvex::SFSound sound(*owner.node);
    Kalvex::MFSound sounds(*owner.node);
    sound.editValue().set(8000, 8, 1, std::vector<unsigned char>{1, 2});
    sounds.editValue().push_back(sound.getValue());
    const Kalvex::PCMSound before = sound.getValue();
    KalvexTest::LogCapture log;
    sound.setValueByStr("8000 8 1");
    sounds.setValueByStr("8000 8 1");
    std::string out = "kept";
    sound.getStrValue(out);
    sounds.getStrValue(out);
    EXPECT_TRUE(!sounds.addValueByStr("x", Kalvex::Field::CardinalitySingle) &&
                !sounds.addValueByStr("x", Kalvex::Field::CardinalityMulti));
    EXPECT_TRUE(out == "kept" && sound.getValue() == before && sounds.size() == 0u);
    // clang-format off
    const std::pair<const char*, int> messages[] = {
        {"PCMSound::setDataByStr() not impl\n", 1}, {"PCMSound::getStrData() not impl\n", 1},
        {"In MFSound::setValueByStr(): not impl. \n", 1}, {"Not impl. \n", 3}};
    // clang-format on
    for (const auto& [message, count] : messages) EXPECT_EQ(log.count(message), count) << message;
}

}  // namespace
