#include "platform/osg/Image.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <vector>

using Kalvex::osg::Image;
using Kalvex::osg::ImageGenericAtt;
using Kalvex::osg::SField;
using KalvexTest::LogCapture;

namespace {

// Independent CRC-32 (reflected 0xEDB88320), to build and check store buffers by hand.
std::uint32_t testCrc32(const std::uint8_t* data, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void putLE(std::vector<std::uint8_t>& out, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}

void patchLE(std::vector<std::uint8_t>& buf, std::size_t offset, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) buf.at(offset + i) = static_cast<std::uint8_t>(v >> (8 * i));
}

// Rewrites the trailing checksum so that a deliberate change reaches the parser.
void fixCrc(std::vector<std::uint8_t>& buf) {
    ASSERT_GE(buf.size(), 4u);
    patchLE(buf, buf.size() - 4, testCrc32(buf.data(), buf.size() - 4), 4);
}

void fillPattern(Image& img, unsigned seed = 7) {
    std::uint8_t* d = img.editData();
    ASSERT_NE(d, nullptr);
    for (std::size_t i = 0; i < img.getSize(); ++i) d[i] = static_cast<std::uint8_t>(i * 31 + seed);
}

Image patterned(std::uint32_t pf, int w, int h, int d = 1, int mips = 1, int frames = 1,
                int sides = 1, std::int32_t type = Image::OSG_UINT8_IMAGEDATA) {
    Image img;
    EXPECT_TRUE(img.set(pf, w, h, d, mips, frames, 0.125, nullptr, type, true, sides));
    fillPattern(img);
    return img;
}

std::vector<std::uint8_t> storeOf(const Image& img) {
    std::vector<std::uint8_t> buf;
    EXPECT_TRUE(img.store(nullptr, buf));
    return buf;
}

}  // namespace

TEST(ImageTest, TestCrcMatchesTheCheckValue) {
    const char* check = "123456789";
    EXPECT_EQ(testCrc32(reinterpret_cast<const std::uint8_t*>(check), 9), 0xCBF43926u);
}

TEST(ImageTest, DefaultImageIsEmptyAndInvalid) {
    Image img;
    EXPECT_FALSE(img.isValid());
    EXPECT_EQ(img.getPixelFormat(), Image::OSG_INVALID_PF);
    EXPECT_EQ(img.getWidth(), 0);
    EXPECT_EQ(img.getSize(), 0u);
    EXPECT_EQ(img.getData(), nullptr);
    EXPECT_FALSE(img.hasAttachment());
    EXPECT_EQ(img.findAttachmentField("url"), nullptr);
}

TEST(ImageTest, BytesPerPixelByFormatAndType) {
    struct Row {
        std::uint32_t format;
        std::int32_t type;
        std::uint32_t bpp;
        std::uint32_t components;
    };
    const Row rows[] = {
        {Image::OSG_L_PF, Image::OSG_UINT8_IMAGEDATA, 1, 1},
        {Image::OSG_A_PF, Image::OSG_UINT16_IMAGEDATA, 2, 1},
        {Image::OSG_I_PF, Image::OSG_FLOAT32_IMAGEDATA, 4, 1},
        {Image::OSG_LA_PF, Image::OSG_UINT8_IMAGEDATA, 2, 2},
        {Image::OSG_LA_PF, Image::OSG_FLOAT16_IMAGEDATA, 4, 2},
        {Image::OSG_RGB_PF, Image::OSG_UINT8_IMAGEDATA, 3, 3},
        {Image::OSG_BGR_PF, Image::OSG_INT16_IMAGEDATA, 6, 3},
        {Image::OSG_RGB_PF, Image::OSG_UINT32_IMAGEDATA, 12, 3},
        {Image::OSG_RGBA_PF, Image::OSG_UINT8_IMAGEDATA, 4, 4},
        {Image::OSG_BGRA_PF, Image::OSG_UINT16_IMAGEDATA, 8, 4},
        {Image::OSG_RGBA_PF, Image::OSG_FLOAT32_IMAGEDATA, 16, 4},
        {Image::OSG_RGBA_PF, Image::OSG_INT32_IMAGEDATA, 16, 4},
        {Image::OSG_RGB_DXT1, Image::OSG_UINT8_IMAGEDATA, 3, 3},
        {Image::OSG_RGBA_DXT1, Image::OSG_UINT8_IMAGEDATA, 4, 4},
        {Image::OSG_RGBA_DXT5, Image::OSG_UINT8_IMAGEDATA, 4, 4},
        {Image::OSG_LUMINANCE_ALPHA_INTEGER_PF, Image::OSG_INT32_IMAGEDATA, 8, 2},
        {Image::OSG_BGR_INTEGER_PF, Image::OSG_UINT8_IMAGEDATA, 3, 3},
        // Unknown format or type: no bytes at all.
        {Image::OSG_INVALID_PF, Image::OSG_UINT8_IMAGEDATA, 0, 0},
        {0x1234, Image::OSG_UINT8_IMAGEDATA, 0, 0},
        {Image::OSG_RGB_PF, Image::OSG_INVALID_IMAGEDATATYPE, 0, 3},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << "format 0x" << r.format << " type 0x" << r.type);
        Image img;
        bool ok = img.set(r.format, 2, 2, 1, 1, 1, 0.0, nullptr, r.type);
        EXPECT_EQ(img.getBpp(), r.bpp);
        EXPECT_EQ(img.getComponents(), r.components);
        EXPECT_EQ(ok, r.bpp != 0);
        EXPECT_EQ(img.isValid(), r.bpp != 0);
        if (!Image::formatComponents(r.format) || r.format == Image::OSG_RGB_DXT1 ||
            r.format == Image::OSG_RGBA_DXT1 || r.format == Image::OSG_RGBA_DXT5)
            continue;
        EXPECT_EQ(img.getSize(), 4u * r.bpp);
    }
}

TEST(ImageTest, SetAllocatesAndLaysOutEveryChunk) {
    struct Row {
        const char* name;
        std::uint32_t format;
        std::int32_t type;
        int w, h, d, mips, frames, sides;
        std::size_t size;
    };
    const Row rows[] = {
        {"rgb 4x2", Image::OSG_RGB_PF, Image::OSG_UINT8_IMAGEDATA, 4, 2, 1, 1, 1, 1, 24},
        {"rgba 4x4 3 levels", Image::OSG_RGBA_PF, Image::OSG_UINT8_IMAGEDATA, 4, 4, 1, 3, 1, 1,
         64 + 16 + 4},
        // Levels past 1x1 still cost one pixel each.
        {"l 8x1 5 levels", Image::OSG_L_PF, Image::OSG_UINT8_IMAGEDATA, 8, 1, 1, 5, 1, 1,
         8 + 4 + 2 + 1 + 1},
        {"rgb 2x2x2 2 levels", Image::OSG_RGB_PF, Image::OSG_UINT8_IMAGEDATA, 2, 2, 2, 2, 1, 1,
         24 + 3},
        {"la16 3x3 4 frames", Image::OSG_LA_PF, Image::OSG_UINT16_IMAGEDATA, 3, 3, 1, 1, 4, 1,
         3 * 3 * 4 * 4},
        {"rgba cube 2x2 2 levels", Image::OSG_RGBA_PF, Image::OSG_UINT8_IMAGEDATA, 2, 2, 1, 2, 1, 6,
         (16 + 4) * 6},
        {"rgb 4x4 2 levels 3 frames 2 sides", Image::OSG_RGB_PF, Image::OSG_UINT8_IMAGEDATA, 4, 4,
         1, 2, 3, 2, (48 + 12) * 2 * 3},
        {"float rgba 5x3x2", Image::OSG_RGBA_PF, Image::OSG_FLOAT32_IMAGEDATA, 5, 3, 2, 1, 1, 1,
         5 * 3 * 2 * 16},
        // DXT: 4x4 blocks of 8 (DXT1) or 16 bytes, at least one block per level.
        {"dxt1 5x5", Image::OSG_RGB_DXT1, Image::OSG_UINT8_IMAGEDATA, 5, 5, 1, 1, 1, 1, 2 * 2 * 8},
        {"dxt1 8x8 3 levels", Image::OSG_RGBA_DXT1, Image::OSG_UINT8_IMAGEDATA, 8, 8, 1, 3, 1, 1,
         32 + 8 + 8},
        {"dxt3 4x4", Image::OSG_RGBA_DXT3, Image::OSG_UINT8_IMAGEDATA, 4, 4, 1, 1, 1, 1, 16},
        {"dxt5 16x8 2 levels", Image::OSG_RGBA_DXT5, Image::OSG_UINT8_IMAGEDATA, 16, 8, 1, 2, 1, 1,
         4 * 2 * 16 + 2 * 1 * 16},
        // Sizes and counts below 1 become 1.
        {"clamped", Image::OSG_RGB_PF, Image::OSG_UINT8_IMAGEDATA, 0, -3, 0, 0, -1, 0, 3},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        Image img;
        ASSERT_TRUE(img.set(r.format, r.w, r.h, r.d, r.mips, r.frames, 0.0, nullptr, r.type, true,
                            r.sides));
        EXPECT_EQ(img.getSize(), r.size);
        EXPECT_EQ(img.getPixel().size(), r.size);
        EXPECT_EQ(img.getFrameSize() * img.getFrameCount(), r.size);
        EXPECT_EQ(img.getSideSize() * img.getSideCount(), img.getFrameSize());
        EXPECT_EQ(img.getSize(true, false, false), img.getSideSize());
        for (std::uint8_t b : img.getPixel()) ASSERT_EQ(b, 0) << "new pixels are zero";

        // The chunks of every frame, side and level must tile the block without gaps.
        std::size_t expectedOffset = 0;
        for (int f = 0; f < img.getFrameCount(); ++f) {
            for (int s = 0; s < img.getSideCount(); ++s) {
                for (int m = 0; m < img.getMipMapCount(); ++m) {
                    const std::uint8_t* chunk = img.getData(m, f, s);
                    ASSERT_NE(chunk, nullptr);
                    EXPECT_EQ(static_cast<std::size_t>(chunk - img.getData()), expectedOffset);
                    std::uint32_t w, h, d;
                    img.calcMipmapGeometry(m, w, h, d);
                    expectedOffset += img.calcMipmapLevelSize(w, h, d);
                }
            }
        }
        EXPECT_EQ(expectedOffset, r.size);
        EXPECT_EQ(img.getData(img.getMipMapCount(), 0, 0), nullptr);
        EXPECT_EQ(img.getData(0, img.getFrameCount(), 0), nullptr);
        EXPECT_EQ(img.getData(0, 0, img.getSideCount()), nullptr);
    }
}

TEST(ImageTest, SetCopiesDataAndHonoursAllocMem) {
    const std::uint8_t src[6] = {1, 2, 3, 4, 5, 6};
    Image img;
    ASSERT_TRUE(img.set(Image::OSG_RGB_PF, 2, 1, 1, 1, 1, 0.0, src));
    EXPECT_EQ(std::memcmp(img.getData(), src, 6), 0);
    EXPECT_EQ(img.getDimension(), 1);

    // Same size again without data: the old pixels do not survive.
    ASSERT_TRUE(img.set(Image::OSG_RGB_PF, 1, 2));
    EXPECT_EQ(img.getDimension(), 2);
    EXPECT_EQ(img.getPixel(), std::vector<std::uint8_t>(6, 0));

    EXPECT_TRUE(img.setData(src));
    EXPECT_EQ(std::memcmp(img.getData(), src, 6), 0);
    {
        LogCapture log;
        EXPECT_FALSE(img.setData(nullptr));
        EXPECT_EQ(log.count("Image::setData(Null) call\n"), 1);
    }
    EXPECT_EQ(std::memcmp(img.getData(), src, 6), 0);

    img.clear(0xAB);
    EXPECT_EQ(img.getPixel(), std::vector<std::uint8_t>(6, 0xAB));

    EXPECT_FALSE(img.set(Image::OSG_RGBA_PF, 4, 4, 3, 1, 1, 0.0, nullptr,
                         Image::OSG_UINT8_IMAGEDATA, false));
    EXPECT_FALSE(img.isValid());
    EXPECT_EQ(img.getSize(), 4u * 4 * 3 * 4) << "geometry stays without pixels";
    EXPECT_EQ(img.getDimension(), 3);
    EXPECT_EQ(img.getData(), nullptr);
}

TEST(ImageTest, OversizedSetFailsAndLeavesImageAlone) {
    Image img = patterned(Image::OSG_RGB_PF, 3, 3);
    Image before = img;
    const int big = std::numeric_limits<std::int32_t>::max();
    LogCapture log;
    EXPECT_FALSE(img.set(Image::OSG_RGBA_PF, big, big, big, 1, big, 0.0, nullptr,
                         Image::OSG_FLOAT32_IMAGEDATA, true, big));
    EXPECT_EQ(img, before);
    EXPECT_TRUE(log.contains("is too large"));
    log.clear();
    // Huge level counts cost nothing: past 1x1 every level is one pixel.
    EXPECT_FALSE(
        img.set(Image::OSG_L_PF, 2, 1, 1, big, 1, 0.0, nullptr, Image::OSG_UINT8_IMAGEDATA, false));
    EXPECT_EQ(img.getMipMapCount(), big);
    EXPECT_EQ(img.getSize(), 2u + (static_cast<std::size_t>(big) - 1)) << "2 + one per level";
    EXPECT_EQ(log.text(), "") << "allocMem false is no failure worth a message";
}

TEST(ImageTest, ChannelQueries) {
    struct Row {
        std::uint32_t format;
        bool alpha, color, compressed;
    };
    const Row rows[] = {
        {Image::OSG_L_PF, false, false, false},
        {Image::OSG_LA_PF, true, false, false},
        {Image::OSG_A_PF, true, false, false},
        {Image::OSG_I_PF, true, false, false},
        {Image::OSG_RGB_PF, false, true, false},
        {Image::OSG_BGRA_PF, true, true, false},
        {Image::OSG_RGBA_PF, true, true, false},
        {Image::OSG_RGB_DXT1, false, true, true},
        {Image::OSG_RGBA_DXT3, true, true, true},
        {Image::OSG_RGBA_INTEGER_PF, true, true, false},
        {Image::OSG_INVALID_PF, false, true, false},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.format);
        Image img;
        img.set(r.format, 4, 4);
        EXPECT_EQ(img.hasAlphaChannel(), r.alpha);
        EXPECT_EQ(img.hasColorChannel(), r.color);
        EXPECT_EQ(img.hasCompressedData(), r.compressed);
    }
}

TEST(ImageTest, MipmapAndFrameCalculations) {
    Image img;
    img.set(Image::OSG_RGB_PF, 16, 4, 1, 1, 5, 0.5);
    EXPECT_EQ(img.calcMipmapLevelCount(), 5u);
    std::uint32_t w, h, d;
    img.calcMipmapGeometry(3, w, h, d);
    EXPECT_EQ(w, 2u);
    EXPECT_EQ(h, 1u);
    EXPECT_EQ(d, 1u);
    img.calcMipmapGeometry(40, w, h, d);
    EXPECT_EQ(w, 1u);

    const struct {
        double time;
        std::uint32_t frame;
    } times[] = {{0.0, 0},  {0.49, 0},         {0.5, 1},
                 {2.2, 4},  {2.5, 0},          {7.6, 0},
                 {-3.0, 0}, {std::nan(""), 0}, {std::numeric_limits<double>::infinity(), 0}};
    for (const auto& t : times) EXPECT_EQ(img.calcFrameNum(t.time), t.frame) << t.time;
}

TEST(ImageTest, EqualityLooksAtGeometryFormatAndPixels) {
    const Image base = patterned(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 1);
    Image same = patterned(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 1);
    EXPECT_EQ(base, same);
    same.setAttachmentField("url", "http://x/y.png");
    EXPECT_EQ(base, same) << "attachments do not count";

    struct Change {
        const char* name;
        void (*apply)(Image&);
    };
    const Change changes[] = {
        {"one pixel byte", [](Image& i) { i.editData(1, 1)[0] ^= 1; }},
        {"width and height swapped",
         [](Image& i) {
             Image c = i;  // same byte count, same bytes
             i.set(c.getPixelFormat(), 2, 4, 1, 2, 2, 0.125, c.getData());
         }},
        {"format of equal size",
         [](Image& i) {
             Image c = i;
             i.set(Image::OSG_BGR_PF, 4, 2, 1, 2, 2, 0.125, c.getData());
         }},
        {"data type",
         [](Image& i) {
             i.set(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 0.125, nullptr, Image::OSG_UINT16_IMAGEDATA);
         }},
        {"frame delay",
         [](Image& i) {
             Image c = i;
             i.set(c.getPixelFormat(), 4, 2, 1, 2, 2, 0.25, c.getData());
         }},
        {"side count",
         [](Image& i) {
             i.set(i.getPixelFormat(), 4, 2, 1, 2, 2, 0.125, nullptr, Image::OSG_UINT8_IMAGEDATA,
                   true, 2);
         }},
        {"no pixels", [](Image& i) { i.clearData(); }},
    };
    for (const Change& c : changes) {
        SCOPED_TRACE(c.name);
        Image changed = base;
        c.apply(changed);
        EXPECT_FALSE(changed == base);
        EXPECT_TRUE(changed != base);
    }
}

TEST(ImageTest, CopiesAreDeepAndIndependent) {
    Image original = patterned(Image::OSG_RGBA_PF, 3, 3, 1, 2);
    original.setAttachmentField("url", "a.png");
    original.editGenericAtt().addField<SField<std::uint32_t>>("flags")->setValue(3);

    Image copy(original);
    Image assigned;
    assigned.setAttachmentField("stale", "x");
    assigned = original;
    for (Image* c : {&copy, &assigned}) {
        EXPECT_EQ(*c, original);
        EXPECT_NE(c->getData(), original.getData()) << "no shared pixels";
        ASSERT_NE(c->findAttachmentField("url"), nullptr);
        EXPECT_EQ(*c->findAttachmentField("url"), "a.png");
        EXPECT_EQ(c->findAttachmentField("stale"), nullptr);
        EXPECT_TRUE(*c->findGenericAtt() == *original.findGenericAtt());

        c->editData()[0] ^= 0xFF;
        c->setAttachmentField("url", "b.png");
        c->findGenericAtt()->getField<SField<std::uint32_t>>("flags")->setValue(9);
    }
    EXPECT_EQ(*original.findAttachmentField("url"), "a.png");
    EXPECT_EQ(original.findGenericAtt()->getField<SField<std::uint32_t>>("flags")->getValue(), 3u);
    EXPECT_EQ(original, patterned(Image::OSG_RGBA_PF, 3, 3, 1, 2));

    Image& self = original;
    original = self;
    EXPECT_EQ(original, patterned(Image::OSG_RGBA_PF, 3, 3, 1, 2));

    // set(image) copies geometry and pixels, and keeps the target's own attachments.
    Image target;
    target.setAttachmentField("url", "mine");
    EXPECT_TRUE(target.set(original));
    EXPECT_EQ(target, original);
    EXPECT_EQ(*target.findAttachmentField("url"), "mine");
}

TEST(ImageTest, AttachmentFieldsAndDynamicFields) {
    Image img;
    EXPECT_EQ(img.attachmentCount(), 0u);
    img.setAttachmentField("url", "first");
    img.setAttachmentField("url", "second");
    img.setAttachmentField("name", "");
    EXPECT_TRUE(img.hasAttachment());
    EXPECT_EQ(img.attachmentCount(), 2u);
    EXPECT_EQ(*img.findAttachmentField("url"), "second");
    EXPECT_EQ(*img.findAttachmentField("name"), "");
    EXPECT_EQ(img.findAttachmentField("URL"), nullptr);

    ImageGenericAtt& att = img.editGenericAtt();
    auto* flags = att.addField<SField<unsigned int>>("flags");
    ASSERT_NE(flags, nullptr);
    EXPECT_EQ(flags->getValue(), 0u);
    flags->setValue(5);
    using UIntField = SField<unsigned int, 0>;
    using OtherNamespaceField = SField<unsigned int, 1>;
    EXPECT_EQ(att.addField<UIntField>("flags"), flags) << "found, not added";
    EXPECT_EQ(att.addField<SField<double>>("flags"), nullptr) << "name taken by another type";
    EXPECT_EQ(att.addField<OtherNamespaceField>("flags"), nullptr) << "other namespace";
    EXPECT_EQ(img.findAttachmentField("flags"), nullptr) << "not a string field";
    img.setAttachmentField("flags", "7");
    EXPECT_EQ(flags->getValue(), 5u) << "a typed field is not overwritten by text";
    EXPECT_EQ(att.getField<SField<std::string>>("url")->getValue(), "second");
    EXPECT_EQ(att.getNumFields(), 3u);
    EXPECT_EQ(att.getFieldName(2), "flags");

    EXPECT_TRUE(att.subField("url"));
    EXPECT_FALSE(att.subField("url"));
    EXPECT_EQ(img.findAttachmentField("url"), nullptr);
    img.subGenericAtt();
    EXPECT_FALSE(img.hasAttachment());
    EXPECT_EQ(img.findGenericAtt(), nullptr);
}

// ---------------------------------------------------------------------------------------------
// Store and restore

namespace {

std::vector<Image> storeSamples() {
    std::vector<Image> v;
    v.emplace_back();  // default, no pixels
    v.push_back(patterned(Image::OSG_L_PF, 1, 1));
    v.push_back(patterned(Image::OSG_RGB_PF, 7, 5, 1, 3));
    v.push_back(patterned(Image::OSG_RGBA_PF, 4, 4, 2, 2, 3, 2, Image::OSG_FLOAT32_IMAGEDATA));
    v.push_back(patterned(Image::OSG_RGBA_DXT5, 9, 9, 1, 4));
    Image noPixels;
    noPixels.set(Image::OSG_LA_PF, 3, 2, 1, 1, 1, -1.5, nullptr, Image::OSG_UINT16_IMAGEDATA,
                 false);
    v.push_back(noPixels);
    Image unknown;
    unknown.set(0x4242, 5, 1);  // unknown format: geometry without bytes
    v.push_back(unknown);

    Image att = patterned(Image::OSG_BGR_PF, 2, 3);
    att.setAttachmentField("url", "http://example.org/a b.png");
    att.setAttachmentField("", std::string("nul\0inside", 10));
    ImageGenericAtt& g = att.editGenericAtt();
    g.addField<SField<bool>>("b")->setValue(true);
    g.addField<SField<std::int32_t>>("i32")->setValue(-7);
    g.addField<SField<std::uint32_t>>("flags")->setValue(0xDEADBEEF);
    g.addField<SField<std::int64_t>>("i64")->setValue(std::numeric_limits<std::int64_t>::min());
    g.addField<SField<std::uint64_t>>("u64")->setValue(~0ull);
    g.addField<SField<float>>("f")->setValue(-0.0f);
    g.addField<SField<double>>("d")->setValue(1.0 / 3.0);
    v.push_back(att);
    return v;
}

bool sameAttachments(const Image& a, const Image& b) {
    if (a.attachmentCount() != b.attachmentCount()) return false;
    if (a.attachmentCount() == 0) return true;
    return *a.findGenericAtt() == *b.findGenericAtt();
}

}  // namespace

TEST(ImageTest, StoreRestoreRoundTripIsExact) {
    for (const Image& img : storeSamples()) {
        SCOPED_TRACE(testing::Message() << "format " << img.getPixelFormat() << " size "
                                        << img.getSize() << " fields " << img.attachmentCount());
        LogCapture log;
        std::vector<std::uint8_t> buf = storeOf(img);
        EXPECT_EQ(buf.size(), img.storeSize());

        Image back = patterned(Image::OSG_RGB_PF, 2, 2);
        back.setAttachmentField("old", "gone after restore");
        ASSERT_EQ(back.restore(buf.data(), static_cast<std::int64_t>(buf.size())), buf.size());
        EXPECT_EQ(back, img);
        EXPECT_EQ(back.isValid(), img.isValid());
        EXPECT_EQ(back.getBpp(), img.getBpp());
        EXPECT_EQ(back.getFrameDelay(), img.getFrameDelay());
        EXPECT_TRUE(sameAttachments(back, img));
        EXPECT_EQ(storeOf(back), buf) << "stores again to the same bytes";
        EXPECT_EQ(log.text(), "") << "success is silent";

        // The raw-buffer form writes the same bytes, and only when they fit.
        std::vector<std::uint8_t> raw(buf.size() + 8, 0xEE);
        EXPECT_EQ(
            img.store(Image::StoreMimeType, raw.data(), static_cast<std::int64_t>(buf.size())),
            buf.size());
        EXPECT_TRUE(std::equal(buf.begin(), buf.end(), raw.begin()));
        EXPECT_EQ(raw.back(), 0xEE) << "nothing written past the form";
        EXPECT_EQ(img.store("", raw.data(), static_cast<std::int64_t>(buf.size()) - 1), 0u);
        EXPECT_EQ(img.store(nullptr, nullptr, 1 << 20), 0u);
        EXPECT_EQ(img.store("image/png", raw.data(), static_cast<std::int64_t>(raw.size())), 0u);
        EXPECT_EQ(log.count("Image::store: unsupported mime type image/png\n"), 1);
        EXPECT_EQ(log.count("Image::store: "), 3);

        // Trailing bytes are not part of the image.
        buf.push_back(0x99);
        Image again;
        EXPECT_EQ(again.restore(buf.data(), static_cast<std::int64_t>(buf.size())), buf.size() - 1);
        EXPECT_EQ(again, img);
    }
}

TEST(ImageTest, StoreFormMatchesTheDocumentedLayout) {
    Image img;
    const std::uint8_t pixel = 0x7F;
    ASSERT_TRUE(img.set(Image::OSG_L_PF, 1, 1, 1, 1, 1, 0.5, &pixel));
    img.setAttachmentField("url", "a");
    img.editGenericAtt().addField<SField<std::uint32_t>>("flags")->setValue(0x01020304);

    std::vector<std::uint8_t> expected = {'K', 'X', 'I', 'M', 1, 0, 0, 0};
    putLE(expected, 0x1909, 4);  // GL_LUMINANCE
    putLE(expected, 0x1401, 4);  // GL_UNSIGNED_BYTE
    for (int i = 0; i < 6; ++i) putLE(expected, 1, 4);
    putLE(expected, 0x3FE0000000000000ull, 8);  // 0.5
    putLE(expected, 2, 4);
    putLE(expected, 1, 8);
    expected.insert(expected.end(), {1, 3, 0, 0, 0, 'u', 'r', 'l', 1, 0, 0, 0, 'a'});
    expected.insert(expected.end(), {4, 5, 0, 0, 0, 'f', 'l', 'a', 'g', 's', 4, 3, 2, 1});
    expected.push_back(0x7F);
    putLE(expected, testCrc32(expected.data(), expected.size()), 4);

    EXPECT_EQ(storeOf(img), expected);
}

TEST(ImageTest, RestoreRejectsEveryTruncation) {
    Image source = storeSamples().back();
    std::vector<std::uint8_t> buf = storeOf(source);
    const Image sentinel = patterned(Image::OSG_RGB_PF, 3, 1);
    LogCapture log;
    for (std::size_t len = 0; len < buf.size(); ++len) {
        // A fresh block of exactly len bytes (never null), so a sanitizer sees any read past
        // the end.
        std::unique_ptr<std::uint8_t[]> cut(new std::uint8_t[len]);
        std::copy(buf.begin(), buf.begin() + static_cast<std::ptrdiff_t>(len), cut.get());
        Image img = sentinel;
        EXPECT_EQ(img.restore(cut.get(), static_cast<std::int64_t>(len)), 0u) << len;
        EXPECT_EQ(img, sentinel);
    }
    EXPECT_EQ(log.count("Image::restore: "), static_cast<int>(buf.size())) << "one message each";
    EXPECT_EQ(log.count("Image::restore: buffer of 63 bytes is too short\n"), 1);
    Image img;
    EXPECT_EQ(img.restore(buf.data(), -1), 0u) << "a size is required";
    EXPECT_EQ(img.restore(nullptr, 100), 0u);
    EXPECT_EQ(log.count("Image::restore: no buffer or unknown buffer size\n"), 2);
}

TEST(ImageTest, RestoreRejectsTargetedCorruption) {
    Image source;
    source.set(Image::OSG_RGB_PF, 2, 1);
    source.setAttachmentField("k", "v");
    source.editGenericAtt().addField<SField<bool>>("b")->setValue(true);
    const std::vector<std::uint8_t> good = storeOf(source);
    // Field records start at 60: "k" (type 1) is 1+4+1+4+1 bytes, then "b" (type 2).
    const std::size_t firstField = 60, secondField = 71;

    struct Case {
        const char* name;
        void (*apply)(std::vector<std::uint8_t>&);
        bool fixChecksum;
        const char* message;
    };
    const Case cases[] = {
        {"magic", [](std::vector<std::uint8_t>& b) { b[0] = 'X'; }, true, "not a stored image"},
        {"newer version", [](std::vector<std::uint8_t>& b) { patchLE(b, 4, 2, 2); }, true,
         "unsupported version 2"},
        {"reserved bits", [](std::vector<std::uint8_t>& b) { patchLE(b, 6, 1, 2); }, true,
         "unknown header flags 0x1"},
        {"zero width with pixels", [](std::vector<std::uint8_t>& b) { patchLE(b, 16, 0, 4); }, true,
         "pixel byte count 6 does not match"},
        {"negative height", [](std::vector<std::uint8_t>& b) { patchLE(b, 20, 0xFFFFFFFF, 4); },
         true, "invalid geometry 2 x -1 x 1"},
        {"zero sides", [](std::vector<std::uint8_t>& b) { patchLE(b, 36, 0, 4); }, true,
         "invalid geometry"},
        {"width disagrees with pixel count",
         [](std::vector<std::uint8_t>& b) { patchLE(b, 16, 3, 4); }, true,
         "pixel byte count 6 does not match"},
        {"pixel count too large", [](std::vector<std::uint8_t>& b) { patchLE(b, 52, 7, 8); }, true,
         "pixel byte count 7 does not match"},
        {"pixel count huge", [](std::vector<std::uint8_t>& b) { patchLE(b, 52, ~0ull, 8); }, true,
         "does not match"},
        {"field count huge", [](std::vector<std::uint8_t>& b) { patchLE(b, 48, 0xFFFFFFFF, 4); },
         true, "truncated attachment fields"},
        {"unknown field type", [](std::vector<std::uint8_t>& b) { b[60] = 99; }, true,
         "unknown attachment field type 99"},
        {"field name length huge",
         [](std::vector<std::uint8_t>& b) { patchLE(b, 61, 0x7FFFFFFF, 4); }, true,
         "truncated attachment fields"},
        {"string value length huge",
         [](std::vector<std::uint8_t>& b) { patchLE(b, 66, 0xFFFFFFF0, 4); }, true,
         "damaged attachment field k\n"},
        {"bool value 2", [](std::vector<std::uint8_t>& b) { b[71 + 6] = 2; }, true,
         "damaged attachment field b\n"},
        {"duplicate field name", [](std::vector<std::uint8_t>& b) { b[71 + 5] = 'k'; }, true,
         "damaged attachment field k\n"},
        {"checksum", [](std::vector<std::uint8_t>& b) { b.back() ^= 0x10; }, false,
         "checksum mismatch"},
        {"pixel byte without checksum fix",
         [](std::vector<std::uint8_t>& b) { b[b.size() - 5] ^= 1; }, false, "checksum mismatch"},
    };
    ASSERT_EQ(good[firstField], 1);
    ASSERT_EQ(good[secondField], 2);
    const Image sentinel = patterned(Image::OSG_L_PF, 2, 2);
    for (const Case& c : cases) {
        SCOPED_TRACE(c.name);
        std::vector<std::uint8_t> bad = good;
        c.apply(bad);
        if (c.fixChecksum) fixCrc(bad);
        Image img = sentinel;
        LogCapture log;
        EXPECT_EQ(img.restore(bad.data(), static_cast<std::int64_t>(bad.size())), 0u);
        EXPECT_EQ(img, sentinel);
        EXPECT_EQ(img.attachmentCount(), 0u);
        EXPECT_TRUE(log.contains(c.message)) << log.text();
        EXPECT_EQ(log.count("Image::restore: "), 1);
    }
    // The untouched buffer passes, so each case above fails for its own reason.
    Image img;
    EXPECT_EQ(img.restore(good.data(), static_cast<std::int64_t>(good.size())), good.size());
}

TEST(ImageTest, RestoreSurvivesRandomMutation) {
    std::mt19937 rng(20240611);
    const std::vector<Image> samples = storeSamples();
    int accepted = 0;
    LogCapture log;  // thousands of expected failure messages
    for (int iter = 0; iter < 3000; ++iter) {
        const Image& source = samples[iter % samples.size()];
        std::vector<std::uint8_t> buf = storeOf(source);
        const int kind = static_cast<int>(rng() % 4);
        if (kind == 0) {
            // One flipped bit: the checksum must catch it.
            std::size_t bit = rng() % (buf.size() * 8);
            buf[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
            Image img;
            EXPECT_EQ(img.restore(buf.data(), static_cast<std::int64_t>(buf.size())), 0u)
                << "bit " << bit;
            continue;
        }
        // Several random bytes, a cut or an insertion, with the checksum made to fit so that
        // the parser itself meets the damage.
        int edits = 1 + static_cast<int>(rng() % 6);
        for (int e = 0; e < edits && buf.size() > 4; ++e) {
            std::size_t at = rng() % (buf.size() - 4);
            if (kind == 1)
                buf[at] = static_cast<std::uint8_t>(rng());
            else if (kind == 2)
                buf.erase(buf.begin() + static_cast<std::ptrdiff_t>(at));
            else
                buf.insert(buf.begin() + static_cast<std::ptrdiff_t>(at),
                           static_cast<std::uint8_t>(rng()));
        }
        if (buf.size() >= 4) fixCrc(buf);
        Image img = samples[1];
        std::uint64_t used = img.restore(buf.data(), static_cast<std::int64_t>(buf.size()));
        if (used == 0) {
            EXPECT_EQ(img, samples[1]) << "a failed restore changes nothing";
            continue;
        }
        // Whatever got in must be a consistent image that stores back to the bytes it used.
        ++accepted;
        ASSERT_LE(used, buf.size());
        EXPECT_EQ(img.getPixel().size(), img.isValid() ? img.getSize() : 0u);
        std::vector<std::uint8_t> again = storeOf(img);
        EXPECT_EQ(again, std::vector<std::uint8_t>(buf.begin(), buf.begin() + used));
    }
    RecordProperty("accepted", accepted);
}
