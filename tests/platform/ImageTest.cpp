// The platform image: sizes, copies, the store form with its checksum. Built as a host including
// its GL header first: our constants step aside for its macros, and reach the library by its names.
#if __has_include(<GL/gl.h>)
#include <GL/gl.h>
#include <GL/glext.h>
#endif

#include "kalvex/platform/osg/Image.h"

#include <gtest/gtest.h>

#include "support/LogCapture.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <random>
#include <string>
#include <tuple>
#include <vector>

using Kalvex::osg::Image;
using Kalvex::osg::ImageGenericAtt;
using Kalvex::osg::SField;
using KalvexTest::LogCapture;

namespace {

using Bytes = std::vector<std::uint8_t>;
const std::int32_t U8 = Image::OSG_UINT8_IMAGEDATA;

// Independent CRC-32 (reflected 0xEDB88320), to build and check store buffers by hand.
std::uint32_t testCrc32(const std::uint8_t* data, std::size_t size) {
    std::uint32_t crc = 0xFFFFFFFFu;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= data[i];
        for (int k = 0; k < 8; ++k) crc = (crc >> 1) ^ (0xEDB88320u & (0u - (crc & 1u)));
    }
    return ~crc;
}

void putLE(Bytes& buf, std::size_t at, std::uint64_t v, int bytes) {
    if (buf.size() < at + bytes) buf.resize(at + bytes);
    for (int i = 0; i < bytes; ++i) buf[at + i] = static_cast<std::uint8_t>(v >> (8 * i));
}
// Rewrites the trailing checksum so that a deliberate change reaches the parser.
void fixCrc(Bytes& buf) {
    putLE(buf, buf.size() - 4, testCrc32(buf.data(), buf.size() - 4), 4);
}

Image patterned(std::uint32_t pf, int w, int h, int d = 1, int mips = 1, int frames = 1,
                int sides = 1, std::int32_t type = U8) {
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

std::uint64_t restore(Image& img, const Bytes& buf) {
    return img.restore(buf.data(), static_cast<std::int64_t>(buf.size()));
}

std::vector<Image> storeSamples() {
    std::vector<Image> v(1);  // default, no pixels
    v.push_back(patterned(Image::OSG_RGB_PF, 7, 5, 1, 3));
    v.push_back(patterned(Image::OSG_RGBA_PF, 4, 4, 2, 2, 3, 2, Image::OSG_FLOAT32_IMAGEDATA));
    v.emplace_back().set(Image::OSG_LA_PF, 3, 2, 1, 1, 1, -1.5, nullptr,
                         Image::OSG_UINT16_IMAGEDATA, false);
    v.emplace_back().set(0x4242, 5, 1);  // unknown format: geometry without bytes
    Image& att = v.emplace_back(patterned(Image::OSG_BGR_PF, 2, 3));
    att.setAttachmentField("url", "http://example.org/a b.png");
    att.setAttachmentField("", std::string("nul\0inside", 10));
    ImageGenericAtt& g = att.editGenericAtt();
    g.addField<SField<bool>>("b")->setValue(true);
    g.addField<SField<std::uint32_t>>("flags")->setValue(0xDEADBEEF);
    g.addField<SField<std::int64_t>>("i64")->setValue(std::numeric_limits<std::int64_t>::min());
    g.addField<SField<std::uint64_t>>("u64")->setValue(~0ull);
    g.addField<SField<double>>("d")->setValue(1.0 / 3.0);
    return v;
}

TEST(ImageTest, BytesPerPixelByFormatAndType) {
    // clang-format off
    const struct { std::uint32_t format; std::int32_t type; std::uint32_t bpp, components; bool alpha, color, compressed; std::size_t size; } rows[] = {
        {Image::OSG_RGB_DXT1, U8, 3, 3, false, true, true, 8},  // one 4x4 block
        {Image::OSG_LUMINANCE_ALPHA_INTEGER_PF, Image::OSG_INT32_IMAGEDATA, 8, 2, true, false, false, 32},
        // Unknown format or type: no bytes at all.
        {0x1234, U8, 0, 0, false, true, false, 0},
        {Image::OSG_RGB_PF, Image::OSG_INVALID_IMAGEDATATYPE, 0, 3, false, true, false, 0}};
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(testing::Message() << std::hex << r.format << " type " << r.type);
        Image img;
        EXPECT_EQ(img.set(r.format, 2, 2, 1, 1, 1, 0.0, nullptr, r.type), r.bpp != 0);
        EXPECT_EQ(
            std::tuple(img.getBpp(), img.getComponents(), img.isValid(), img.getSize(),
                       img.hasAlphaChannel(), img.hasColorChannel(), img.hasCompressedData()),
            std::tuple(r.bpp, r.components, r.bpp != 0, r.size, r.alpha, r.color, r.compressed));
    }
}

TEST(ImageTest, SetSizesChunksOversizeAndFrames) {
    // clang-format off
    const struct { std::uint32_t format; std::int32_t type; int w, h, d, mips, frames, sides; std::size_t size; } rows[] = {
        {Image::OSG_L_PF, U8, 8, 1, 1, 5, 1, 1, 16},  // levels past 1x1 still cost one pixel
        {Image::OSG_RGB_PF, U8, 4, 4, 1, 2, 3, 2, 60 * 2 * 3},
        {Image::OSG_RGB_DXT1, U8, 5, 5, 1, 1, 1, 1, 32},  // 4x4 blocks of 8 (DXT1) or 16 bytes, one at least
        {Image::OSG_RGBA_DXT5, U8, 16, 8, 1, 2, 1, 1, 8 * 16 + 2 * 16},
        {Image::OSG_RGB_PF, U8, 0, -3, 0, 0, -1, 0, 3}};  // sizes and counts below 1 become 1
    // clang-format on
    for (const auto& r : rows) {
        SCOPED_TRACE(&r - rows);
        Image img;
        ASSERT_TRUE(img.set(r.format, r.w, r.h, r.d, r.mips, r.frames, 0.0, nullptr, r.type, true,
                            r.sides));
        EXPECT_EQ(img.getPixel(), Bytes(r.size, 0)) << "new pixels are zero";
        EXPECT_EQ(img.getSideSize() * img.getSideCount() * img.getFrameCount(), r.size);
        std::size_t offset = 0;  // every frame, side and level tiles the block without gaps
        for (int f = 0; f < img.getFrameCount(); ++f)
            for (int s = 0; s < img.getSideCount(); ++s)
                for (int m = 0; m < img.getMipMapCount(); ++m) {
                    ASSERT_EQ(img.getData(m, f, s), img.getData() + offset);
                    std::uint32_t w, h, d;
                    img.calcMipmapGeometry(m, w, h, d);
                    offset += img.calcMipmapLevelSize(w, h, d);
                }
        EXPECT_EQ(offset, r.size);
        EXPECT_TRUE(!img.getData(img.getMipMapCount(), 0, 0) &&
                    !img.getData(0, img.getFrameCount(), 0) &&
                    !img.getData(0, 0, img.getSideCount()));
    }

    const std::uint8_t src[6] = {1, 2, 3, 4, 5, 6};
    const int big = std::numeric_limits<std::int32_t>::max();
    Image img;
    ASSERT_TRUE(img.set(Image::OSG_RGB_PF, 2, 1, 1, 1, 1, 0.0, src));
    const Image before = img;
    LogCapture log;
    EXPECT_FALSE(img.setData(nullptr) || img.set(Image::OSG_RGBA_PF, big, big, big, 1, big, 0.0,
                                                 nullptr, Image::OSG_FLOAT32_IMAGEDATA, true, big));
    EXPECT_TRUE(img == before && img.getPixel() == Bytes(src, src + 6));
    EXPECT_TRUE(log.count("Image::setData(Null) call\n") == 1 && log.count("is too large") == 1)
        << log.text();

    img.set(Image::OSG_RGB_PF, 16, 4, 1, 1, 5, 0.5);
    const std::pair<double, std::uint32_t> times[] = {{0.49, 0}, {0.5, 1},  {2.2, 4},
                                                      {2.5, 0},  {-3.0, 0}, {std::nan(""), 0}};
    for (const auto& [t, frame] : times) EXPECT_EQ(img.calcFrameNum(t), frame) << t;
}

TEST(ImageTest, EqualityAndCopies) {
    Image base = patterned(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 1);
    auto* flags = base.editGenericAtt().addField<SField<std::uint32_t>>("flags");
    flags->setValue(3);
    const std::uint8_t* p = base.getData();
    // Same byte count and bytes: sizes swapped, another format, another frame delay.
    const std::function<void(Image&)> changes[] = {
        [](Image& i) { i.editData(1, 1)[0] ^= 1; },
        [&](Image& i) { i.set(Image::OSG_RGB_PF, 2, 4, 1, 2, 2, 0.125, p); },
        [&](Image& i) { i.set(Image::OSG_BGR_PF, 4, 2, 1, 2, 2, 0.125, p); },
        [&](Image& i) { i.set(Image::OSG_RGB_PF, 4, 2, 1, 2, 2, 0.25, p); },
    };
    for (const auto& change : changes) {
        Image changed = base;
        change(changed);
        EXPECT_TRUE(changed != base && !(changed == base)) << &change - changes;
    }
    // Copies are deep; attachments do not count for equality.
    Image copy(base), assigned;
    assigned.setAttachmentField("stale", "x");
    assigned = base;
    for (Image* c : {&copy, &assigned}) {
        EXPECT_TRUE(*c == base && c->getData() != base.getData() &&
                    !c->findAttachmentField("stale"));
        c->setAttachmentField("url", "b.png");
        c->findGenericAtt()->getField<SField<std::uint32_t>>("flags")->setValue(9);
        EXPECT_EQ(*c, base);
    }
    base.setAttachmentField("flags", "7");
    EXPECT_TRUE(!base.findAttachmentField("flags") && flags->getValue() == 3u)
        << "a typed field is not text, and the copies' fields are their own";
}

TEST(ImageTest, StoreRestoreRoundTripIsExact) {
    for (const Image& img : storeSamples()) {
        SCOPED_TRACE(testing::Message() << img.getPixelFormat() << " size " << img.getSize());
        LogCapture log;
        Bytes buf = storeOf(img);
        EXPECT_EQ(buf.size(), img.storeSize());
        Image back = storeSamples().back();  // its pixels and attachments go
        buf.push_back(0x99);                 // trailing bytes are not part of the image
        ASSERT_EQ(restore(back, buf), buf.size() - 1);
        buf.pop_back();
        EXPECT_TRUE(back == img && back.getFrameDelay() == img.getFrameDelay());
        EXPECT_TRUE(storeOf(back) == buf && log.text().empty()) << "same bytes again, silently";
        Bytes raw(buf.size() + 1, 0xEE);  // the raw form writes the same bytes, if they fit
        const auto size = static_cast<std::int64_t>(buf.size());
        EXPECT_EQ(img.store(Image::StoreMimeType, raw.data(), size), buf.size());
        EXPECT_TRUE(std::equal(buf.begin(), buf.end(), raw.begin()) && raw.back() == 0xEE);
        EXPECT_EQ(img.store("", raw.data(), size - 1) +
                      img.store("image/png", raw.data(), size + 1) +
                      std::uint64_t(log.count("Image::store: ")),
                  2u);
    }
}

TEST(ImageTest, RestoreRejectsTruncationAndTargetedCorruption) {
    const Image sentinel = patterned(Image::OSG_L_PF, 2, 2);
    const Bytes buf = storeOf(storeSamples().back());
    LogCapture log;
    for (std::size_t len = 0; len < buf.size(); ++len) {
        std::unique_ptr<std::uint8_t[]> cut(new std::uint8_t[len]);  // exactly len: no slack
        std::copy_n(buf.begin(), len, cut.get());
        Image img = sentinel;
        EXPECT_TRUE(img.restore(cut.get(), static_cast<std::int64_t>(len)) == 0u && img == sentinel)
            << len;
    }
    EXPECT_EQ(log.count("Image::restore: "), static_cast<int>(buf.size())) << "one message each";
    EXPECT_EQ(Image().restore(buf.data(), -1) + Image().restore(nullptr, 100), 0u) << "no size";
    EXPECT_EQ(log.count("Image::restore: no buffer or unknown buffer size\n"), 2);

    Image source = patterned(Image::OSG_RGB_PF, 2, 1);
    source.setAttachmentField("k", "v");
    source.editGenericAtt().addField<SField<bool>>("b")->setValue(true);
    const Bytes good = storeOf(source);
    // Field records start at 60: "k" (type 1) is 1+4+1+4+1 bytes, then "b" (type 2) at 71.
    ASSERT_TRUE(good[60] == 1 && good[71] == 2);
    const std::size_t crc = good.size() - 4;
    // clang-format off
    const struct { std::size_t at; std::uint64_t value; int width; const char* message; } cases[] = {
        {0, 'X', 1, "not a stored image"}, {4, 2, 2, "unsupported version 2"}, {6, 1, 2, "unknown header flags 0x1"},
        {16, 0, 4, "pixel byte count 6 does not match"},  // zero width with pixels
        {20, 0xFFFFFFFF, 4, "invalid geometry 2 x -1 x 1"},
        {48, 0xFFFFFFFF, 4, "truncated attachment fields"},  // field count
        {60, 99, 1, "unknown attachment field type 99"},
        {66, 0xFFFFFFF0, 4, "damaged attachment field k\n"},  // string value length
        {77, 2, 1, "damaged attachment field b\n"}, {76, 'k', 1, "damaged attachment field k\n"},  // bool 2, name twice
        {crc, 0, 4, "checksum mismatch"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "at " << c.at << ": " << c.message);
        Bytes bad = good;
        putLE(bad, c.at, c.value, c.width);
        if (c.at < crc) fixCrc(bad);
        Image img = sentinel;
        log.clear();
        EXPECT_TRUE(restore(img, bad) == 0u && img == sentinel && img.attachmentCount() == 0u);
        EXPECT_TRUE(log.contains(c.message) && log.count("Image::restore: ") == 1) << log.text();
    }
    Image img;  // the untouched buffer passes, so each case above fails for its own reason
    EXPECT_EQ(restore(img, good), good.size());
}

// Random edits with the checksum made to fit, so that the parser itself meets the damage.
TEST(ImageTest, RestoreSurvivesRandomMutation) {
    std::mt19937 rng(20240611);
    const std::vector<Image> samples = storeSamples();
    LogCapture log;  // many expected failure messages
    for (int iter = 0; iter < 1500; ++iter) {
        Bytes buf = storeOf(samples[iter % samples.size()]);
        const unsigned kind = rng() % 3;
        for (unsigned e = 0, edits = 1 + rng() % 6; e < edits; ++e) {
            const auto at = static_cast<std::ptrdiff_t>(rng() % (buf.size() - 4));
            if (kind == 0) buf[at] = static_cast<std::uint8_t>(rng());
            if (kind == 1) buf.erase(buf.begin() + at);
            if (kind == 2) buf.insert(buf.begin() + at, static_cast<std::uint8_t>(rng()));
        }
        fixCrc(buf);
        Image img = samples[1];
        const std::uint64_t used = restore(img, buf);
        if (used == 0) {
            EXPECT_EQ(img, samples[1]) << "a failed restore changes nothing";
            continue;
        }  // whatever got in must be consistent and store back to the bytes it used
        ASSERT_LE(used, buf.size());
        EXPECT_EQ(img.getPixel().size(), img.isValid() ? img.getSize() : 0u);
        EXPECT_EQ(storeOf(img), Bytes(buf.begin(), buf.begin() + used));
    }
}

}  // namespace
