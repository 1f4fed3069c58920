#include "kalvex/fields/codec/MediaCodecs.h"

#include <algorithm>
#include <cctype>
#include <cstdint>
#include <sstream>
#include <vector>

#include "kalvex/fields/codec/NumberText.h"
#include "kalvex/object/Logging.h"
#include "kalvex/platform/osg/Image.h"

namespace Kalvex {

// --- SFImage -----------------------------------------------------------------------------------

void SFImageCodec::setStr(F& f, const char* text) {
    f.editValue().set(text, nullptr);
}

void SFImageCodec::getStr(const F& f, std::string& out) {
    std::ostringstream text;
    text << f.getValue();
    out = text.str();
}

std::string SFImageCodec::getBin(const F& f, int component) {
    const osg::Image* img = f.getValue().getData();
    const int width = img ? img->getWidth() : 0;
    const int height = img ? img->getHeight() : 0;
    const int depth = img ? img->getDepth() : 0;
    const unsigned bpp = img ? img->getBpp() : 0;
    switch (component) {
        case -1:
            break;
        case 0:
            return numtext::toBin([&](Harnel::obinstream& out) { out << width; });
        case 1:
            return numtext::toBin([&](Harnel::obinstream& out) { out << height; });
        case 2:
            return numtext::toBin([&](Harnel::obinstream& out) { out << int(bpp); });
        default:
            KFATAL("%s::getBinValue(): Invalid component (%i)\n", f.dataTypeName(), component);
            return std::string();
    }
    return numtext::toBin([&](Harnel::obinstream& out) {
        out << static_cast<unsigned short>(width) << static_cast<unsigned short>(height)
            << static_cast<unsigned short>(depth) << static_cast<unsigned char>(bpp)
            << static_cast<unsigned char>(0);
        // The header's sizes, so that a reader always finds as many bytes as it announces.
        const std::size_t count =
            std::size_t(static_cast<unsigned short>(width)) * static_cast<unsigned short>(height) *
            static_cast<unsigned short>(depth) * static_cast<unsigned char>(bpp);
        const std::uint8_t* data = img && img->isValid() ? img->getData() : nullptr;
        const std::size_t have = data ? std::min(count, img->getPixel().size()) : 0;
        if (have) out.write(data, have);
        if (count > have) out.write(std::vector<std::uint8_t>(count - have).data(), count - have);
    });
}

void SFImageCodec::setBin(F& f, const std::string& data) {
    unsigned short width = 0, height = 0, depth = 0;
    unsigned char components = 0, zero = 0;
    std::vector<std::uint8_t> pixels;
    bool header = false, complete = false;
    numtext::fromBin(data, [&](Harnel::ibinstream& in) {
        header = bool(in >> width >> height >> depth >> components >> zero);
        if (!header || Image::pixelFormatOfComponents(components) == osg::Image::OSG_INVALID_PF)
            return;
        // The bytes must be in the string already, so a corrupt header cannot make us allocate.
        // A size of 0 becomes 1 in the platform image, so it counts as 1 here.
        const std::size_t count = std::size_t(std::max<unsigned short>(width, 1)) *
                                  std::max<unsigned short>(height, 1) *
                                  std::max<unsigned short>(depth, 1) * components;
        if (count > data.size()) return;
        pixels.resize(count);
        complete = in.read(pixels.data(), count);
    });
    if (header && Image::pixelFormatOfComponents(components) == osg::Image::OSG_INVALID_PF) {
        KFATAL("%s::setValueByBin(): Invalid number of components (%i)\n", f.dataTypeName(),
               int(components));
        return;
    }
    if (!complete) {
        KFATAL("%s::setValueByBin(): data too short for %i x %i x %i x %i\n", f.dataTypeName(),
               int(width), int(height), int(depth), int(components));
        return;
    }
    Image& image = f.editValue();
    if (!image.getData()) image.createData();
    image.getData()->set(Image::pixelFormatOfComponents(components), width, height, depth, 1, 1,
                         0.0, pixels.empty() ? nullptr : pixels.data(),
                         osg::Image::OSG_UINT8_IMAGEDATA, true);
}

void SFImageCodec::setRaw(F& f, unsigned char* data, unsigned int size) {
    Image& image = f.editValue();
    if (!image.getData()) image.createData();
    image.getData()->restore(data, size);
}

// --- MFImage -----------------------------------------------------------------------------------

void MFImageCodec::setStr(F& f, const char* text) {
    f.clear();
    if (!text) return;
    // Every image that Image::set read anything for is appended, also one whose header is cut
    // short (it stays unset); only a failed read or one that consumed nothing ends the list.
    const char* pos = text;
    while (*pos) {
        Image image;
        image.createData();
        const char* rest = pos;
        if (!image.set(pos, &rest) || rest == pos) break;
        f.addValue(image);
        pos = rest;
    }
}

void MFImageCodec::getStr(const F& f, std::string& out) {
    // One stream for all images: the hexadecimal mode one image leaves is what the next sees.
    std::ostringstream text;
    bool first = true;
    for (const Image& image : f.getValue()) {
        if (!first) text << ' ';
        first = false;
        text << image;
    }
    out = text.str();
}

const char* MFImageCodec::addStr(F&, const char*, Field::Cardinality) {
    KFATAL("Not impl. \n");
    return nullptr;
}

// --- SFSound / MFSound -------------------------------------------------------------------------

void SFSoundCodec::setStr(F& f, const char* text) {
    f.editValue().setDataByStr(text);
}

void SFSoundCodec::getStr(const F& f, std::string& out) {
    f.getValue().getStrData(out);
}

void MFSoundCodec::setStr(F& f, const char*) {
    f.clear();
    KFATAL("In MFSound::setValueByStr(): not impl. \n");
}

void MFSoundCodec::getStr(const F&, std::string&) {
    KFATAL("Not impl. \n");
}

const char* MFSoundCodec::addStr(F&, const char*, Field::Cardinality) {
    KFATAL("Not impl. \n");
    return nullptr;
}

// --- SFAny / MFAny -----------------------------------------------------------------------------

void SFAnyCodec::setStr(F&, const char*) {}

void SFAnyCodec::getStr(const F&, std::string& out) {
    out.clear();
}

void SFAnyCodec::setRaw(F&, unsigned char*, unsigned int) {}

bool SFAnyCodec::setField(F&, const Field&, ConvertParam*) {
    return true;
}

void MFAnyCodec::setStr(F&, const char*) {}

void MFAnyCodec::getStr(const F&, std::string& out) {
    out.clear();
}

const char* MFAnyCodec::addStr(F&, const char*, Field::Cardinality) {
    return nullptr;
}

void MFAnyCodec::setRaw(F&, unsigned char*, unsigned int) {}

bool MFAnyCodec::setField(F&, const Field&, ConvertParam*) {
    return true;
}

}  // namespace Kalvex
