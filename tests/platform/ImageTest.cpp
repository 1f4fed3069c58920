#include "platform/osg/Image.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"

#include <algorithm>
#include <chrono>
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

using Bytes = std::vector<std::uint8_t>;

void putLE(Bytes& out, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) out.push_back(static_cast<std::uint8_t>(v >> (8 * i)));
}
void patchLE(Bytes& buf, std::size_t offset, std::uint64_t v, int bytes) {
    for (int i = 0; i < bytes; ++i) buf.at(offset + i) = static_cast<std::uint8_t>(v >> (8 * i));
}

// Rewrites the trailing checksum so that a deliberate change reaches the parser.
void fixCrc(Bytes& buf) {
    patchLE(buf, buf.size() - 4, testCrc32(buf.data(), buf.size() - 4), 4);
}

Image patterned(std::uint32_t pf, int w, int h, int d = 1, int mips = 1, int frames = 1,
                int sides = 1, std::int32_t type = Image::OSG_UINT8_IMAGEDATA) {
    Image img;
    EXPECT_TRUE(img.set(pf, w, h, d, mips, frames, 0.125, nullptr, type, true, sides));
    for (std::size_t i = 0; i < img.getSize(); ++i) img.editData()[i] = std::uint8_t(i * 31 + 7);
    return img;
}

Bytes storeOf(const Image& img) {
    Bytes buf;
    EXPECT_TRUE(img.store(nullptr, buf));
    return buf;
}

std::vector<Image> storeSamples() {
    std::vector<Image> v;
    v.emplace_back();  // default, no pixels
    v.push_back(patterned(Image::OSG_L_PF, 1, 1));
    v.push_back(patterned(Image::OSG_RGB_PF, 7, 5, 1, 3));
    v.push_back(patterned(Image::OSG_RGBA_PF, 4, 4, 2, 2, 3, 2, Image::OSG_FLOAT32_IMAGEDATA));
    v.push_back(patterned(Image::OSG_RGBA_DXT5, 9, 9, 1, 4));
    v.emplace_back();
    v.back().set(Image::OSG_LA_PF, 3, 2, 1, 1, 1, -1.5, nullptr, Image::OSG_UINT16_IMAGEDATA,
                 false);
    v.emplace_back();
    v.back().set(0x4242, 5, 1);  // unknown format: geometry without bytes

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

TEST(ImageTest, BytesPerPixelByFormatAndType) {
    const struct {
        std::uint32_t format;
        std::int32_t type;
        std::uint32_t bpp, components;
        bool alpha, color, compressed;
    } rows[] = {
        {Image::OSG_L_PF, Image::OSG_UINT8_IMAGEDATA, 1, 1, false, false, false},
        {Image::OSG_A_PF, Image::OSG_UINT16_IMAGEDATA, 2, 1, true, false, false},
        {Image::OSG_I_PF, Image::OSG_FLOAT32_IMAGEDATA, 4, 1, true, false, false},
        {Image::OSG_LA_PF, Image::OSG_FLOAT16_IMAGEDATA, 4, 2, true, false, false},
        {Image::OSG_BGR_PF, Image::OSG_INT16_IMAGEDATA, 6, 3, false, true, false},
        {Image::OSG_RGB_PF, Image::OSG_UINT32_IMAGEDATA, 12, 3, false, true, false},
        {Image::OSG_BGRA_PF, Image::OSG_UINT16_IMAGEDATA, 8, 4, true, true, false},
        {Image::OSG_RGBA_PF, Image::OSG_INT32_IMAGEDATA, 16, 4, true, true, false},
        {Image::OSG_RGB_DXT1, Image::OSG_UINT8_IMAGEDATA, 3, 3, false, true, true},
        {Image::OSG_RGBA_DXT3, Image::OSG_UINT8_IMAGEDATA, 4, 4, true, true, true},
        {Image::OSG_LUMINANCE_ALPHA_INTEGER_PF, Image::OSG_INT32_IMAGEDATA, 8, 2, true, false,
         false},
        {Image::OSG_RGBA_INTEGER_PF, Image::OSG_UINT8_IMAGEDATA, 4, 4, true, true, false},
        // Unknown format or type: no bytes at all.
        {Image::OSG_INVALID_PF, Image::OSG_UINT8_IMAGEDATA, 0, 0, false, true, false},
        {0x1234, Image::OSG_UINT8_IMAGEDATA, 0, 0, false, true, false},
        {Image::OSG_RGB_PF, Image::OSG_INVALID_IMAGEDATATYPE, 0, 3, false, true, false},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message()
                     << std::hex << "format 0x" << r.format << " type 0x" << r.type);
        Image img;
        EXPECT_EQ(img.set(r.format, 2, 2, 1, 1, 1, 0.0, nullptr, r.type), r.bpp != 0);
        EXPECT_EQ(img.getBpp(), r.bpp);
        EXPECT_EQ(img.getComponents(), r.components);
        EXPECT_EQ(img.isValid(), r.bpp != 0);
        EXPECT_EQ(img.hasAlphaChannel(), r.alpha);
        EXPECT_EQ(img.hasColorChannel(), r.color);
        EXPECT_EQ(img.hasCompressedData(), r.compressed);
        if (!r.compressed) {
            EXPECT_EQ(img.getSize(), 4u * r.bpp);
        }
    }
}

TEST(ImageTest, SetAllocatesAndLaysOutEveryChunk) {
    const std::uint32_t RGB = Image::OSG_RGB_PF, RGBA = Image::OSG_RGBA_PF;
    const struct {
        const char* name;
        std::uint32_t format;
        std::int32_t type;
        int w, h, d, mips, frames, sides;
        std::size_t size;
    } rows[] = {
        // Levels past 1x1 still cost one pixel each.
        {"l 8x1 5 levels", Image::OSG_L_PF, Image::OSG_UINT8_IMAGEDATA, 8, 1, 1, 5, 1, 1, 16},
        {"rgb 2x2x2 2 levels", RGB, Image::OSG_UINT8_IMAGEDATA, 2, 2, 2, 2, 1, 1, 24 + 3},
        {"rgba cube 2x2 2 levels", RGBA, Image::OSG_UINT8_IMAGEDATA, 2, 2, 1, 2, 1, 6, 20 * 6},
        {"rgb 4x4 2 levels 3 frames 2 sides", RGB, Image::OSG_UINT8_IMAGEDATA, 4, 4, 1, 2, 3, 2,
         60 * 2 * 3},
        {"float rgba 5x3x2", RGBA, Image::OSG_FLOAT32_IMAGEDATA, 5, 3, 2, 1, 1, 1, 5 * 3 * 2 * 16},
        // DXT: 4x4 blocks of 8 (DXT1) or 16 bytes, at least one block per level.
        {"dxt1 5x5", Image::OSG_RGB_DXT1, Image::OSG_UINT8_IMAGEDATA, 5, 5, 1, 1, 1, 1, 32},
        {"dxt1 8x8 3 levels", Image::OSG_RGBA_DXT1, Image::OSG_UINT8_IMAGEDATA, 8, 8, 1, 3, 1, 1,
         32 + 8 + 8},
        {"dxt5 16x8 2 levels", Image::OSG_RGBA_DXT5, Image::OSG_UINT8_IMAGEDATA, 16, 8, 1, 2, 1, 1,
         8 * 16 + 2 * 16},
        // Sizes and counts below 1 become 1.
        {"clamped", RGB, Image::OSG_UINT8_IMAGEDATA, 0, -3, 0, 0, -1, 0, 3},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        Image img;
        ASSERT_TRUE(img.set(r.format, r.w, r.h, r.d, r.mips, r.frames, 0.0, nullptr, r.type, true,
                            r.sides));
        EXPECT_EQ(img.getSize(), r.size);
        EXPECT_EQ(img.getPixel(), Bytes(r.size, 0)) << "new pixels are zero";
        EXPECT_EQ(img.getSideSize() * img.getSideCount() * img.getFrameCount(), r.size);

        // The chunks of every frame, side and level must tile the block without gaps.
        std::size_t offset = 0;
        for (int f = 0; f < img.getFrameCount(); ++f)
            for (int s = 0; s < img.getSideCount(); ++s)
                for (int m = 0; m < img.getMipMapCount(); ++m) {
                    ASSERT_EQ(img.getData(m, f, s), img.getData() + offset);
                    std::uint32_t w, h, d;
                    img.calcMipmapGeometry(m, w, h, d);
                    offset += img.calcMipmapLevelSize(w, h, d);
                }
        EXPECT_EQ(offset, r.size);
        EXPECT_EQ(img.getData(img.getMipMapCount(), 0, 0), nullptr);
        EXPECT_EQ(img.getData(0, img.getFrameCount(), 0), nullptr);
        EXPECT_EQ(img.getData(0, 0, img.getSideCount()), nullptr);
    }
}

TEST(ImageTest, SetDataAllocMemAndOversize) {
    const std::uint8_t src[6] = {1, 2, 3, 4, 5, 6};
    Image img;
    ASSERT_TRUE(img.set(Image::OSG_RGB_PF, 2, 1, 1, 1, 1, 0.0, src));
    EXPECT_EQ(img.getPixel(), Bytes(src, src + 6));
    ASSERT_TRUE(img.set(Image::OSG_RGB_PF, 1, 2));  // same size, no data: old pixels gone
    EXPECT_EQ(img.getPixel(), Bytes(6, 0));
    EXPECT_TRUE(img.setData(src));
    {
        LogCapture log;
        EXPECT_FALSE(img.setData(nullptr));
        EXPECT_EQ(log.count("Image::setData(Null) call\n"), 1);
    }
    EXPECT_EQ(img.getPixel(), Bytes(src, src + 6));

    EXPECT_FALSE(img.set(Image::OSG_RGBA_PF, 4, 4, 3, 1, 1, 0.0, nullptr,
                         Image::OSG_UINT8_IMAGEDATA, false));
    EXPECT_FALSE(img.isValid());
    EXPECT_EQ(img.getSize(), 4u * 4 * 3 * 4) << "geometry stays without pixels";
    EXPECT_EQ(img.getData(), nullptr);

    const Image before = patterned(Image::OSG_RGB_PF, 3, 3);
    img = before;
    const int big = std::numeric_limits<std::int32_t>::max();
    LogCapture log;
    EXPECT_FALSE(img.set(Image::OSG_RGBA_PF, big, big, big, 1, big, 0.0, nullptr,
                         Image::OSG_FLOAT32_IMAGEDATA, true, big));
    EXPECT_EQ(img, before);
    EXPECT_EQ(log.count("is too large"), 1);
    log.clear();
    // Huge level counts cost nothing: past 1x1 every level is one pixel.
    EXPECT_FALSE(
        img.set(Image::OSG_L_PF, 2, 1, 1, big, 1, 0.0, nullptr, Image::OSG_UINT8_IMAGEDATA, false));
    EXPECT_EQ(img.getSize(), 2u + (static_cast<std::size_t>(big) - 1)) << "2 + one per level";
    EXPECT_EQ(log.text(), "") << "allocMem false is no failure worth a message";
}

TEST(ImageTest, MipmapAndFrameCalculations) {
    Image img;
    img.set(Image::OSG_RGB_PF, 16, 4, 1, 1, 5, 0.5);
    EXPECT_EQ(img.calcMipmapLevelCount(), 5u);
    std::uint32_t w, h, d;
    img.calcMipmapGeometry(3, w, h, d);
    EXPECT_EQ(std::vector<std::uint32_t>({w, h, d}), std::vector<std::uint32_t>({2, 1, 1}));
    img.calcMipmapGeometry(40, w, h, d);
    EXPECT_EQ(w, 1u);
    const std::pair<double, std::uint32_t> times[] = {
        {0.49, 0}, {0.5, 1}, {2.2, 4}, {2.5, 0}, {-3.0, 0}, {std::nan(""), 0}, {INFINITY, 0}};
    for (const auto& [t, frame] : times) EXPECT_EQ(img.calcFrameNum(t), frame) << t;
}

TEST(ImageTest, EqualityLooksAtGeometryFormatAndPixels) {
    const Image base = patterned(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 1);
    Image same = base;
    same.setAttachmentField("url", "http://x/y.png");
    EXPECT_EQ(base, same) << "attachments do not count";
    const std::uint8_t* px = base.getData();
    using R = Image;
    void (*changes[])(Image&, const std::uint8_t*) = {
        [](R& i, const std::uint8_t*) { i.editData(1, 1)[0] ^= 1; },
        // Same byte count, same bytes: width and height swapped, another format, frame delay.
        [](R& i, const std::uint8_t* p) { i.set(i.getPixelFormat(), 2, 4, 1, 2, 2, 0.125, p); },
        [](R& i, const std::uint8_t* p) { i.set(Image::OSG_BGR_PF, 4, 2, 1, 2, 2, 0.125, p); },
        [](R& i, const std::uint8_t* p) { i.set(i.getPixelFormat(), 4, 2, 1, 2, 2, 0.25, p); },
        [](R& i, const std::uint8_t*) {
            i.set(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 0.125, nullptr, Image::OSG_UINT16_IMAGEDATA);
        },
        [](R& i, const std::uint8_t*) {
            i.set(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 0.125, nullptr, Image::OSG_UINT8_IMAGEDATA,
                  true, 2);
        },
        [](R& i, const std::uint8_t*) { i.clearData(); },
    };
    for (std::size_t k = 0; k < std::size(changes); ++k) {
        Image changed = base;
        changes[k](changed, px);
        EXPECT_FALSE(changed == base) << "change " << k;
        EXPECT_TRUE(changed != base) << "change " << k;
    }
}

TEST(ImageTest, CopiesAreDeepAndIndependent) {
    const Image pristine = patterned(Image::OSG_RGBA_PF, 3, 3, 1, 2);
    Image original = pristine;
    original.setAttachmentField("url", "a.png");
    original.editGenericAtt().addField<SField<std::uint32_t>>("flags")->setValue(3);
    Image copy(original), assigned;
    assigned.setAttachmentField("stale", "x");
    assigned = original;
    for (Image* c : {&copy, &assigned}) {
        EXPECT_EQ(*c, original);
        EXPECT_NE(c->getData(), original.getData()) << "no shared pixels";
        EXPECT_EQ(c->findAttachmentField("stale"), nullptr);
        EXPECT_TRUE(*c->findGenericAtt() == *original.findGenericAtt());
        c->editData()[0] ^= 0xFF;
        c->setAttachmentField("url", "b.png");
        c->findGenericAtt()->getField<SField<std::uint32_t>>("flags")->setValue(9);
    }
    EXPECT_EQ(*original.findAttachmentField("url"), "a.png");
    EXPECT_EQ(original.findGenericAtt()->getField<SField<std::uint32_t>>("flags")->getValue(), 3u);
    Image& self = original;
    original = self;
    EXPECT_EQ(original, pristine);

    // set(image) copies geometry and pixels, and keeps the target's own attachments.
    Image target;
    target.setAttachmentField("url", "mine");
    EXPECT_TRUE(target.set(original));
    EXPECT_EQ(target, original);
    EXPECT_EQ(*target.findAttachmentField("url"), "mine");
}

TEST(ImageTest, AttachmentFieldsAndDynamicFields) {
    Image img;
    img.setAttachmentField("url", "first");
    img.setAttachmentField("url", "second");
    img.setAttachmentField("name", "");
    EXPECT_EQ(img.attachmentCount(), 2u);
    EXPECT_EQ(*img.findAttachmentField("url"), "second");
    EXPECT_EQ(img.findAttachmentField("URL"), nullptr);

    ImageGenericAtt& att = img.editGenericAtt();
    auto* flags = att.addField<SField<unsigned int>>("flags");
    ASSERT_NE(flags, nullptr);
    flags->setValue(5);
    EXPECT_EQ((att.addField<SField<unsigned int, 0>>("flags")), flags) << "found, not added";
    EXPECT_EQ(att.addField<SField<double>>("flags"), nullptr) << "name taken by another type";
    EXPECT_EQ((att.addField<SField<unsigned int, 1>>("flags")), nullptr) << "other namespace";
    EXPECT_EQ(img.findAttachmentField("flags"), nullptr) << "not a string field";
    img.setAttachmentField("flags", "7");
    EXPECT_EQ(flags->getValue(), 5u) << "a typed field is not overwritten by text";
    EXPECT_EQ(att.getFieldName(2), "flags");
    EXPECT_TRUE(att.subField("url"));
    EXPECT_FALSE(att.subField("url"));
    EXPECT_EQ(img.findAttachmentField("url"), nullptr);
    img.subGenericAtt();
    EXPECT_FALSE(img.hasAttachment());
}

TEST(ImageTest, StoreRestoreRoundTripIsExact) {
    for (const Image& img : storeSamples()) {
        SCOPED_TRACE(testing::Message() << "format " << img.getPixelFormat() << " size "
                                        << img.getSize() << " fields " << img.attachmentCount());
        LogCapture log;
        Bytes buf = storeOf(img);
        EXPECT_EQ(buf.size(), img.storeSize());
        Image back = patterned(Image::OSG_RGB_PF, 2, 2);
        back.setAttachmentField("old", "gone after restore");
        ASSERT_EQ(back.restore(buf.data(), static_cast<std::int64_t>(buf.size())), buf.size());
        EXPECT_EQ(back, img);
        EXPECT_EQ(back.isValid(), img.isValid());
        EXPECT_EQ(back.getFrameDelay(), img.getFrameDelay());
        EXPECT_EQ(back.attachmentCount(), img.attachmentCount());
        if (img.attachmentCount()) {
            EXPECT_TRUE(*back.findGenericAtt() == *img.findGenericAtt());
        }
        EXPECT_EQ(storeOf(back), buf) << "stores again to the same bytes";
        EXPECT_EQ(log.text(), "") << "success is silent";

        // The raw-buffer form writes the same bytes, and only when they fit.
        Bytes raw(buf.size() + 8, 0xEE);
        const auto size = static_cast<std::int64_t>(buf.size());
        EXPECT_EQ(img.store(Image::StoreMimeType, raw.data(), size), buf.size());
        EXPECT_TRUE(std::equal(buf.begin(), buf.end(), raw.begin()));
        EXPECT_EQ(raw.back(), 0xEE) << "nothing written past the form";
        EXPECT_EQ(img.store("", raw.data(), size - 1), 0u);
        EXPECT_EQ(img.store(nullptr, nullptr, 1 << 20), 0u);
        EXPECT_EQ(img.store("image/png", raw.data(), size + 8), 0u);
        EXPECT_EQ(log.count("Image::store: unsupported mime type image/png\n"), 1);
        EXPECT_EQ(log.count("Image::store: "), 3);

        // Trailing bytes are not part of the image.
        buf.push_back(0x99);
        Image again;
        EXPECT_EQ(again.restore(buf.data(), size + 1), buf.size() - 1);
        EXPECT_EQ(again, img);
    }
}

TEST(ImageTest, StoreFormMatchesTheDocumentedLayout) {
    const char* check = "123456789";  // the helper itself must be the standard CRC-32
    ASSERT_EQ(testCrc32(reinterpret_cast<const std::uint8_t*>(check), 9), 0xCBF43926u);
    Image img;
    const std::uint8_t pixel = 0x7F;
    ASSERT_TRUE(img.set(Image::OSG_L_PF, 1, 1, 1, 1, 1, 0.5, &pixel));
    img.setAttachmentField("url", "a");
    img.editGenericAtt().addField<SField<std::uint32_t>>("flags")->setValue(0x01020304);

    Bytes expected = {'K', 'X', 'I', 'M', 1, 0, 0, 0};
    putLE(expected, 0x1909, 4);  // GL_LUMINANCE
    putLE(expected, 0x1401, 4);  // GL_UNSIGNED_BYTE
    for (int i = 0; i < 6; ++i) putLE(expected, 1, 4);
    putLE(expected, 0x3FE0000000000000ull, 8);  // 0.5
    putLE(expected, 2, 4);
    putLE(expected, 1, 8);
    expected.insert(expected.end(), {1, 3, 0, 0, 0, 'u', 'r', 'l', 1, 0, 0, 0, 'a'});
    expected.insert(expected.end(), {4, 5, 0, 0, 0, 'f', 'l', 'a', 'g', 's', 4, 3, 2, 1, 0x7F});
    putLE(expected, testCrc32(expected.data(), expected.size()), 4);
    EXPECT_EQ(storeOf(img), expected);
}

TEST(ImageTest, RestoreRejectsEveryTruncation) {
    const Bytes buf = storeOf(storeSamples().back());
    const Image sentinel = patterned(Image::OSG_RGB_PF, 3, 1);
    LogCapture log;
    for (std::size_t len = 0; len < buf.size(); ++len) {
        // A fresh block of exactly len bytes, so a sanitizer sees any read past the end.
        std::unique_ptr<std::uint8_t[]> cut(new std::uint8_t[len]);
        std::copy_n(buf.begin(), len, cut.get());
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
    const Bytes good = storeOf(source);
    // Field records start at 60: "k" (type 1) is 1+4+1+4+1 bytes, then "b" (type 2) at 71.
    ASSERT_EQ(good[60], 1);
    ASSERT_EQ(good[71], 2);
    const struct {
        std::size_t at;  // patch position, or SIZE_MAX for the checksum itself
        std::uint64_t value;
        int width;  // 0: xor the byte with value and leave the checksum wrong
        const char* message;
    } cases[] = {
        {0, 'X', 1, "not a stored image"},
        {4, 2, 2, "unsupported version 2"},
        {6, 1, 2, "unknown header flags 0x1"},
        {16, 0, 4, "pixel byte count 6 does not match"},  // zero width with pixels
        {20, 0xFFFFFFFF, 4, "invalid geometry 2 x -1 x 1"},
        {36, 0, 4, "invalid geometry"},  // zero sides
        {16, 3, 4, "pixel byte count 6 does not match"},
        {52, 7, 8, "pixel byte count 7 does not match"},
        {52, ~0ull, 8, "does not match"},
        {48, 0xFFFFFFFF, 4, "truncated attachment fields"},  // field count
        {60, 99, 1, "unknown attachment field type 99"},
        {61, 0x7FFFFFFF, 4, "truncated attachment fields"},   // name length
        {66, 0xFFFFFFF0, 4, "damaged attachment field k\n"},  // string value length
        {77, 2, 1, "damaged attachment field b\n"},           // bool value 2
        {76, 'k', 1, "damaged attachment field k\n"},         // duplicate name
        {good.size() - 1, 0x10, 0, "checksum mismatch"},
        {good.size() - 5, 1, 0, "checksum mismatch"},  // a pixel byte
    };
    const Image sentinel = patterned(Image::OSG_L_PF, 2, 2);
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "at " << c.at << ": " << c.message);
        Bytes bad = good;
        if (c.width) {
            patchLE(bad, c.at, c.value, c.width);
            fixCrc(bad);
        } else {
            bad[c.at] ^= static_cast<std::uint8_t>(c.value);
        }
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
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(300);
    LogCapture log;  // many expected failure messages
    int iter = 0;
    for (; iter < 3000 && std::chrono::steady_clock::now() < deadline; ++iter) {
        Bytes buf = storeOf(samples[iter % samples.size()]);
        const unsigned kind = rng() % 4;
        if (kind == 0) {
            // One flipped bit: the checksum must catch it.
            const std::size_t bit = rng() % (buf.size() * 8);
            buf[bit / 8] ^= static_cast<std::uint8_t>(1u << (bit % 8));
            Image img;
            EXPECT_EQ(img.restore(buf.data(), static_cast<std::int64_t>(buf.size())), 0u) << bit;
            continue;
        }
        // Random bytes, cuts or insertions, with the checksum made to fit so that the parser
        // itself meets the damage.
        for (unsigned e = 0, edits = 1 + rng() % 6; e < edits && buf.size() > 4; ++e) {
            const auto at = static_cast<std::ptrdiff_t>(rng() % (buf.size() - 4));
            if (kind == 1) buf[at] = static_cast<std::uint8_t>(rng());
            if (kind == 2) buf.erase(buf.begin() + at);
            if (kind == 3) buf.insert(buf.begin() + at, static_cast<std::uint8_t>(rng()));
        }
        if (buf.size() >= 4) fixCrc(buf);
        Image img = samples[1];
        const std::uint64_t used = img.restore(buf.data(), static_cast<std::int64_t>(buf.size()));
        if (used == 0) {
            EXPECT_EQ(img, samples[1]) << "a failed restore changes nothing";
            continue;
        }
        // Whatever got in must be consistent and store back to the bytes it used.
        ASSERT_LE(used, buf.size());
        EXPECT_EQ(img.getPixel().size(), img.isValid() ? img.getSize() : 0u);
        EXPECT_EQ(storeOf(img), Bytes(buf.begin(), buf.begin() + used));
    }
    EXPECT_GT(iter, 100);
}

}  // namespace
