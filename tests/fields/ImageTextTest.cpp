// The image text: reading with Image::set, writing with operator<<, and MFImage's loop over it.

#include <gtest/gtest.h>

#include <cstdint>
#include <locale>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/Image.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/platform/osg/Image.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

using Kalvex::Image;
namespace osg = Kalvex::osg;

namespace {

std::string written(const Image& image) {
    std::ostringstream out;
    out << image;
    return out.str();
}

using KalvexTest::NodeHolder;

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
        // A short text keeps the promised size; the rest stays as allocated.
        {"2 2 1 0x10", 2, 2, L, {0x10, 0, 0, 0}, "", "2 2 1 0x10 0x00 0x00 0x00"},
        {"2 1 3", 2, 1, RGB, {0, 0, 0, 0, 0, 0}, "", "2 1 3 0x000000 0x000000"},
        // The platform image makes a size of 0 into 1; the text's 0 pixels are read.
        {"0 2 1 0x05", 1, 2, L, {0, 0}, " 0x05", "1 2 1 0x00 0x00"},
        // Reading stops at the last pixel, or at the first thing that is no number.
        {"1 1 1 0x01 0x02 0x03", 1, 1, L, {1}, " 0x02 0x03", "1 1 1 0x01"},
        {"2 1 1 0x01 zz 0x02", 2, 1, L, {1, 0}, " zz 0x02", "2 1 1 0x01 0x00"},
        {"2 1 1 0x01;0x02", 2, 1, L, {1, 0}, ";0x02", "2 1 1 0x01 0x00"},
        // An incomplete header leaves the image as it was.
        {"", 1, 1, L, {0x2a}, "", "1 1 1 0x2a"}, {"   ", 1, 1, L, {0x2a}, "   ", "1 1 1 0x2a"}, {"4", 1, 1, L, {0x2a}, "", "1 1 1 0x2a"},
        {" 4 4 ", 1, 1, L, {0x2a}, " ", "1 1 1 0x2a"}, {"4 4 x", 1, 1, L, {0x2a}, " x", "1 1 1 0x2a"},
        {"x 1 1", 1, 1, L, {0x2a}, "x 1 1", "1 1 1 0x2a"}, {nullptr, 1, 1, L, {0x2a}, nullptr, "1 1 1 0x2a"}};
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
        EXPECT_EQ(
            std::make_tuple(img.getWidth(), img.getHeight(), img.getDepth(), img.getPixelFormat()),
            std::make_tuple(c.width, c.height, 1, c.format));
        EXPECT_EQ(img.getPixel(), c.pixels);
        EXPECT_STREQ(rest, c.rest);
        EXPECT_EQ(written(image), c.written);
        EXPECT_TRUE(copy.set(c.written, nullptr));  // what is written reads back as the same image
        EXPECT_TRUE(copy == image);
    }
    EXPECT_EQ(log.text(), "");
}

TEST(ImageTextRead, AbsurdHeadersAreRefusedWithoutAllocating) {
    const std::string huge = std::to_string(~0ul);
    KalvexTest::LogCapture log;
    for (std::string text : {std::string("8193 8192 1"), std::string("4097 4096 4"),
                             huge + " " + huge + " 1", huge + " 2 3", std::string("-1 1 1"),
                             std::string("0 2147483647 1"), std::string("20000000 0 4")}) {
        Image image;
        ASSERT_TRUE(image.set("1 1 1 0x2a", nullptr));
        const char* rest = nullptr;
        EXPECT_FALSE(image.set(text.c_str(), &rest)) << text;
        EXPECT_EQ(rest, text.c_str());
        EXPECT_FALSE(image.getData()->isValid()) << text;
    }
    EXPECT_EQ(log.count("exceeds"), 7);
    Image image;  // 8192 x 8192 luminance is exactly the limit
    EXPECT_TRUE(image.set("8192 8192 1 0x7f", nullptr));
    ASSERT_TRUE(image.getData()->isValid());
    EXPECT_EQ(image.getData()->getSize(), Image::kMaxTextBytes);
    EXPECT_EQ(image.getData()->getPixel()[0], 0x7f);
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
    EXPECT_EQ(image.getData()->getPixelFormat(), 0u);
    EXPECT_EQ(log.text(), "");
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
    const struct {
        const char* in;
        unsigned size, unset;
    } cases[] = {
        {"", 0, 0},
        {"  \n ", 0, 0},
        {nullptr, 0, 0},
        {"7 7", 1, 1},
        {"1 1 1 0xFF 7 8", 2, 1},
        {"1 1 1 0x01 \t", 1, 0},
        {"1 1 1 0x01 2 2 3", 2, 0},  // the second image's pixels are missing, not its header
        {"1 1 1 0x01 junk 1 1 1 0x02", 1, 0}};
    Image fresh;
    fresh.createData();
    for (const auto& c : cases) {
        SCOPED_TRACE(c.in ? c.in : "null");
        field.setValueByStr("1 1 1 0x01 1 1 1 0x02");
        field.setValueByStr(c.in);
        EXPECT_EQ(field.size(), c.size);
        unsigned unset = 0;
        for (const Image& image : field.getValue()) {
            ASSERT_NE(image.getData(), nullptr);
            if (image == fresh) ++unset;
        }
        EXPECT_EQ(unset, c.unset);
    }
    field.setValueByStr("1 1 1 0xFF 7 8");
    EXPECT_EQ(field.getValue().front().getData()->getPixel(), std::vector<std::uint8_t>{0xff});
    EXPECT_EQ(field.getStrValue(out), "1 1 1 0xff ");  // the unset image writes nothing
    EXPECT_EQ(log.count("Invalid PixelFormat"), 1);
    log.clear();
    EXPECT_EQ(field.addValueByStr("1 1 1 0x01", Kalvex::Field::CardinalitySingle), nullptr);
    EXPECT_EQ(field.addValueByStr("1 1 1 0x01", Kalvex::Field::CardinalityMulti), nullptr);
    EXPECT_EQ(field.size(), 2u);  // neither mode adds
    EXPECT_EQ(log.count("Not impl. \n"), 2);
    // An invalid image in the middle writes nothing but its blank.
    field.setValueByStr("1 1 1 0x01 1 1 5 0x02 1 1 1 0x03");
    EXPECT_EQ(field.getStrValue(out), "1 1 1 0x01  1 1 1 0x03");
    EXPECT_EQ(log.count("Invalid PixelFormat"), 1);
}

}  // namespace
