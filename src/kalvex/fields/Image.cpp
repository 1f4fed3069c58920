#include "kalvex/fields/Image.h"

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <locale>
#include <ostream>
#include <string>

#include "kalvex/object/Logging.h"
#include "kalvex/platform/osg/Image.h"

namespace Kalvex {

namespace {

constexpr const char* kSkipSet = "\r\n \t,";
constexpr std::size_t kChunkBytes = 64 * 1024;

// One number of the image text: hexadecimal after 0x or 0X, also behind a sign, decimal
// otherwise (a leading 0 is not octal). False when no number starts at pos.
bool readNumber(const char*& pos, unsigned long& value) {
    while (*pos && std::strchr(kSkipSet, *pos)) ++pos;
    if (!*pos) return false;
    const char* digits = pos;
    if (*digits == '+' || *digits == '-') ++digits;
    int base = (digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X')) ? 16 : 10;
    char* end = nullptr;
    value = std::strtoul(pos, &end, base);
    if (end == pos) return false;
    pos = end;
    return true;
}

bool isTextFormat(std::uint32_t format) {
    return format == osg::Image::OSG_L_PF || format == osg::Image::OSG_LA_PF ||
           format == osg::Image::OSG_RGB_PF || format == osg::Image::OSG_RGBA_PF;
}

}  // namespace

std::uint32_t Image::pixelFormatOfComponents(unsigned long components) {
    switch (components) {
        case 1:
            return osg::Image::OSG_L_PF;
        case 2:
            return osg::Image::OSG_LA_PF;
        case 3:
            return osg::Image::OSG_RGB_PF;
        case 4:
            return osg::Image::OSG_RGBA_PF;
        default:
            return osg::Image::OSG_INVALID_PF;
    }
}

Image::Image() = default;

Image::Image(const Image& other) {
    if (other._image) _image = std::make_shared<osg::Image>(*other._image);
}

Image& Image::operator=(const Image& other) {
    if (this == &other) return *this;
    if (!other._image) {
        _image.reset();
    } else if (_image) {
        *_image = *other._image;
    } else {
        _image = std::make_shared<osg::Image>(*other._image);
    }
    return *this;
}

Image::~Image() = default;

bool Image::operator==(const Image& other) const {
    if (_image == other._image) return true;
    if (!_image || !other._image) return false;
    return *_image == *other._image;
}

void Image::createData() {
    _image = std::make_shared<osg::Image>();
}

bool Image::set(const char* text, const char** rest) {
    if (rest) *rest = text;
    if (!text) return true;
    if (!_image) createData();

    const char* pos = text;
    unsigned long header[3] = {0, 0, 0};
    for (unsigned long& number : header) {
        // An incomplete header leaves the image as it was.
        if (!readNumber(pos, number)) return true;
        if (rest) *rest = pos;
    }
    const unsigned long width = header[0], height = header[1], components = header[2];
    const std::uint32_t format = pixelFormatOfComponents(components);
    const unsigned long long pixelBytes = format == osg::Image::OSG_INVALID_PF ? 1 : components;

    // Checked: a header of huge numbers must neither wrap around nor allocate. The platform
    // image makes a size of 0 into 1, so that is what the block will be.
    unsigned long long pixelCount = 0, allocCount = 0, blockBytes = 0;
    const bool tooLarge =
        __builtin_mul_overflow((unsigned long long)width, (unsigned long long)height,
                               &pixelCount) ||
        __builtin_mul_overflow(std::max(width, 1ul), std::max(height, 1ul), &allocCount) ||
        __builtin_mul_overflow(allocCount, pixelBytes, &blockBytes) || blockBytes > kMaxTextBytes;
    if (tooLarge) {
        KFATAL("Image::set(): image of %lu x %lu x %lu exceeds %llu bytes; image dropped\n", width,
               height, components, kMaxTextBytes);
        *_image = osg::Image();
        if (rest) *rest = text;
        return false;
    }

    _image->set(format, std::int32_t(width), std::int32_t(height), 1, 1, 1, 0.0, nullptr,
                osg::Image::OSG_UINT8_IMAGEDATA, true);

    // Without a pixel block (format 0) the pixel numbers are still read past.
    std::uint8_t* data = _image->isValid() ? _image->editData() : nullptr;
    const std::size_t size = data ? _image->getSize(false, false, false) : 0;
    const unsigned long step = format == osg::Image::OSG_INVALID_PF ? 0 : components;
    for (unsigned long long i = 0; i < pixelCount; ++i) {
        unsigned long value = 0;
        if (!readNumber(pos, value)) break;
        if (rest) *rest = pos;
        std::size_t offset = std::size_t(i) * step;
        if (!data || offset + step > size) continue;
        for (unsigned long c = 0; c < step; ++c)
            data[offset + c] = std::uint8_t(value >> (8 * (step - 1 - c)));
    }
    return true;
}

std::ostream& operator<<(std::ostream& out, const Image& image) {
    const osg::Image* img = image.getData();
    // No platform image at all is the empty image; it has a text of its own.
    if (!img) return out << 0 << ' ' << 0 << ' ' << 0;
    if (!isTextFormat(img->getPixelFormat())) {
        KFATAL("Invalid PixelFormat; can not write SFImage string\n");
        return out;
    }
    const std::size_t width = std::size_t(img->getWidth());
    const std::size_t height = std::size_t(img->getHeight());
    const std::size_t bpp = img->getBpp();
    out << img->getWidth() << ' ' << img->getHeight() << ' ' << bpp;

    // Left hexadecimal on purpose: the next image in the same stream writes its header so.
    out << std::hex;
    out.fill('0');
    const std::uint8_t* data = img->isValid() ? img->getData() : nullptr;
    if (!data || img->getSize(false, false, false) < width * height * bpp) return out;
    const std::size_t pixels = width * height;
    if (out.getloc() != std::locale::classic()) {
        // A host's locale may group digits: the stream writes every byte.
        for (std::size_t i = 0; i < pixels; ++i) {
            out << " 0x";
            for (std::size_t b = 0; b < bpp; ++b) {
                out.width(2);
                out << unsigned(data[i * bpp + b]);
            }
        }
        return out;
    }
    // The characters the stream would write, formatted here: an image of 64 MiB is 180 MB of
    // text, which byte by byte through the stream takes seconds.
    const char* digits =
        (out.flags() & std::ios::uppercase) ? "0123456789ABCDEF" : "0123456789abcdef";
    std::string chunk;
    chunk.reserve(kChunkBytes + 3 + 2 * bpp);
    for (std::size_t i = 0; i < pixels; ++i) {
        chunk.append(" 0x", 3);
        for (const std::uint8_t* byte = data + i * bpp; byte != data + (i + 1) * bpp; ++byte) {
            chunk.push_back(digits[*byte >> 4]);
            chunk.push_back(digits[*byte & 15]);
        }
        if (chunk.size() >= kChunkBytes) {
            out.write(chunk.data(), std::streamsize(chunk.size()));
            chunk.clear();
        }
    }
    out.write(chunk.data(), std::streamsize(chunk.size()));
    return out;
}

}  // namespace Kalvex
