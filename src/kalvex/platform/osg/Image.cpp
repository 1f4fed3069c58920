#include "kalvex/platform/osg/Image.h"

#include <zlib.h>

#include <algorithm>
#include <bit>
#include <cmath>
#include <cstring>
#include <limits>
#include <new>

#include "kalvex/platform/osg/Log.h"

namespace Kalvex::osg {

namespace {

constexpr std::uint8_t storeMagic[4] = {'K', 'X', 'I', 'M'};
constexpr std::uint16_t storeVersion = 1;
constexpr std::size_t storeHeaderSize = 60;
constexpr std::size_t storeCrcSize = 4;
// Smallest field record: type code, name length, empty name, a 1-byte value.
constexpr std::size_t minFieldRecord = 1 + 4 + 0 + 1;

// Largest pixel block we will try to allocate; keeps size arithmetic inside ptrdiff_t.
constexpr std::uint64_t maxBlockSize = static_cast<std::uint64_t>(PTRDIFF_MAX);

bool mulChecked(std::uint64_t a, std::uint64_t b, std::uint64_t& out) {
    return !__builtin_mul_overflow(a, b, &out);
}

bool addChecked(std::uint64_t a, std::uint64_t b, std::uint64_t& out) {
    return !__builtin_add_overflow(a, b, &out);
}

bool isDxt(std::uint32_t format) {
    return format == Image::OSG_RGB_DXT1 || format == Image::OSG_RGBA_DXT1 ||
           format == Image::OSG_RGBA_DXT3 || format == Image::OSG_RGBA_DXT5;
}

// Bytes of one mipmap level; sizes of 0 count as 1, as the scene graph does for levels past 1×1.
bool levelBytes(std::uint32_t format, std::uint64_t bpp, std::uint64_t w, std::uint64_t h,
                std::uint64_t d, std::uint64_t& out) {
    w = std::max<std::uint64_t>(w, 1);
    h = std::max<std::uint64_t>(h, 1);
    d = std::max<std::uint64_t>(d, 1);
    std::uint64_t area = 0;
    if (isDxt(format)) {
        std::uint64_t blockBytes =
            (format == Image::OSG_RGB_DXT1 || format == Image::OSG_RGBA_DXT1) ? 8 : 16;
        if (!mulChecked((w + 3) / 4, (h + 3) / 4, area) || !mulChecked(area, blockBytes, area))
            return false;
    } else if (!mulChecked(w, h, area) || !mulChecked(area, bpp, area)) {
        return false;
    }
    return mulChecked(area, d, out);
}

// Bytes of `levels` mipmap levels starting at w × h × d. Past 1×1×1 every level has the size
// of that one, so the tail is one multiplication and a huge level count costs nothing.
bool sumBytes(std::uint32_t format, std::uint64_t bpp, std::uint64_t w, std::uint64_t h,
              std::uint64_t d, std::uint64_t levels, std::uint64_t& out) {
    out = 0;
    if (w == 0 || h == 0 || d == 0) return true;
    while (levels > 0) {
        std::uint64_t level = 0;
        if (w <= 1 && h <= 1 && d <= 1) {
            return levelBytes(format, bpp, 1, 1, 1, level) && mulChecked(level, levels, level) &&
                   addChecked(out, level, out);
        }
        if (!levelBytes(format, bpp, w, h, d, level) || !addChecked(out, level, out)) return false;
        w >>= 1;
        h >>= 1;
        d >>= 1;
        --levels;
    }
    return true;
}

// Little-endian writers and bounded readers of the store form.
void putU8(std::vector<std::uint8_t>& out, std::uint8_t v) {
    out.push_back(v);
}

template <class T>
void putLE(std::vector<std::uint8_t>& out, T value) {
    using U = std::make_unsigned_t<T>;
    U u = static_cast<U>(value);
    for (std::size_t i = 0; i < sizeof(U); ++i)
        out.push_back(static_cast<std::uint8_t>(u >> (8 * i)));
}

template <class T>
bool getLE(const std::uint8_t*& pos, const std::uint8_t* end, T& value) {
    using U = std::make_unsigned_t<T>;
    if (static_cast<std::size_t>(end - pos) < sizeof(U)) return false;
    U u = 0;
    for (std::size_t i = 0; i < sizeof(U); ++i)
        u |= static_cast<U>(static_cast<U>(pos[i]) << (8 * i));
    pos += sizeof(U);
    value = static_cast<T>(u);
    return true;
}

void putString(std::vector<std::uint8_t>& out, const std::string& s) {
    putLE<std::uint32_t>(out, static_cast<std::uint32_t>(s.size()));
    out.insert(out.end(), s.begin(), s.end());
}

bool getString(const std::uint8_t*& pos, const std::uint8_t* end, std::string& s) {
    std::uint32_t len = 0;
    if (!getLE(pos, end, len)) return false;
    // Compare against what is left before allocating anything.
    if (static_cast<std::size_t>(end - pos) < len) return false;
    s.assign(reinterpret_cast<const char*>(pos), len);
    pos += len;
    return true;
}

std::unique_ptr<DynField> makeDynField(std::uint8_t typeCode) {
    switch (typeCode) {
        case DynFieldTraits<std::string>::typeCode:
            return std::make_unique<SField<std::string>>();
        case DynFieldTraits<bool>::typeCode:
            return std::make_unique<SField<bool>>();
        case DynFieldTraits<std::int32_t>::typeCode:
            return std::make_unique<SField<std::int32_t>>();
        case DynFieldTraits<std::uint32_t>::typeCode:
            return std::make_unique<SField<std::uint32_t>>();
        case DynFieldTraits<std::int64_t>::typeCode:
            return std::make_unique<SField<std::int64_t>>();
        case DynFieldTraits<std::uint64_t>::typeCode:
            return std::make_unique<SField<std::uint64_t>>();
        case DynFieldTraits<float>::typeCode:
            return std::make_unique<SField<float>>();
        case DynFieldTraits<double>::typeCode:
            return std::make_unique<SField<double>>();
        default:
            return nullptr;
    }
}

bool isStoreMimeType(const char* mimeType) {
    return mimeType == nullptr || *mimeType == '\0' ||
           std::strcmp(mimeType, Image::StoreMimeType) == 0;
}

std::uint32_t crcOf(const std::uint8_t* data, std::size_t size) {
    uLong crc = crc32(0L, Z_NULL, 0);
    // zlib takes uInt lengths; feed large blocks in pieces.
    while (size > 0) {
        uInt piece = static_cast<uInt>(std::min<std::size_t>(size, 1u << 30));
        crc = crc32(crc, data, piece);
        data += piece;
        size -= piece;
    }
    return static_cast<std::uint32_t>(crc);
}

}  // namespace

// ---------------------------------------------------------------------------------------------
// Dynamic field values

namespace detail {

void appendDynValue(std::vector<std::uint8_t>& out, const std::string& v) {
    putString(out, v);
}
void appendDynValue(std::vector<std::uint8_t>& out, bool v) {
    putU8(out, v ? 1 : 0);
}
void appendDynValue(std::vector<std::uint8_t>& out, std::int32_t v) {
    putLE(out, v);
}
void appendDynValue(std::vector<std::uint8_t>& out, std::uint32_t v) {
    putLE(out, v);
}
void appendDynValue(std::vector<std::uint8_t>& out, std::int64_t v) {
    putLE(out, v);
}
void appendDynValue(std::vector<std::uint8_t>& out, std::uint64_t v) {
    putLE(out, v);
}
void appendDynValue(std::vector<std::uint8_t>& out, float v) {
    putLE(out, std::bit_cast<std::uint32_t>(v));
}
void appendDynValue(std::vector<std::uint8_t>& out, double v) {
    putLE(out, std::bit_cast<std::uint64_t>(v));
}

bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::string& v) {
    return getString(pos, end, v);
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, bool& v) {
    std::uint8_t b = 0;
    // Only 0 and 1 are written; anything else is a damaged buffer.
    if (!getLE(pos, end, b) || b > 1) return false;
    v = b != 0;
    return true;
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::int32_t& v) {
    return getLE(pos, end, v);
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::uint32_t& v) {
    return getLE(pos, end, v);
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::int64_t& v) {
    return getLE(pos, end, v);
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::uint64_t& v) {
    return getLE(pos, end, v);
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, float& v) {
    std::uint32_t bits = 0;
    if (!getLE(pos, end, bits)) return false;
    v = std::bit_cast<float>(bits);
    return true;
}
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, double& v) {
    std::uint64_t bits = 0;
    if (!getLE(pos, end, bits)) return false;
    v = std::bit_cast<double>(bits);
    return true;
}

}  // namespace detail

// ---------------------------------------------------------------------------------------------
// Image

std::uint32_t Image::formatComponents(std::uint32_t pixelFormat) {
    switch (pixelFormat) {
        case OSG_A_PF:
        case OSG_I_PF:
        case OSG_L_PF:
        case OSG_ALPHA_INTEGER_PF:
        case OSG_LUMINANCE_INTEGER_PF:
            return 1;
        case OSG_LA_PF:
        case OSG_LUMINANCE_ALPHA_INTEGER_PF:
            return 2;
        case OSG_RGB_PF:
        case OSG_BGR_PF:
        case OSG_RGB_DXT1:
        case OSG_RGB_INTEGER_PF:
        case OSG_BGR_INTEGER_PF:
            return 3;
        case OSG_RGBA_PF:
        case OSG_BGRA_PF:
        case OSG_RGBA_DXT1:
        case OSG_RGBA_DXT3:
        case OSG_RGBA_DXT5:
        case OSG_RGBA_INTEGER_PF:
        case OSG_BGRA_INTEGER_PF:
            return 4;
        default:
            return 0;
    }
}

std::uint32_t Image::typeComponentSize(std::int32_t dataType) {
    switch (dataType) {
        case OSG_UINT8_IMAGEDATA:
            return 1;
        case OSG_UINT16_IMAGEDATA:
        case OSG_FLOAT16_IMAGEDATA:
        case OSG_INT16_IMAGEDATA:
            return 2;
        case OSG_UINT32_IMAGEDATA:
        case OSG_FLOAT32_IMAGEDATA:
        case OSG_INT32_IMAGEDATA:
            return 4;
        default:
            return 0;
    }
}

Image::Image() {
    updateDerived();
}

void Image::updateDerived() {
    _componentSize = typeComponentSize(_dataType);
    _bpp = formatComponents(_pixelFormat) * _componentSize;
    if (_width == 0)
        _dimension = 0;
    else
        _dimension = _depth > 1 ? 3 : (_height > 1 ? 2 : 1);
    std::uint64_t frame = 0, side = 0, total = 0;
    if (computeSize(frame, side, total)) {
        _sideSize = static_cast<std::size_t>(side);
        _frameSize = static_cast<std::size_t>(frame);
    } else {
        _sideSize = _frameSize = 0;
    }
}

bool Image::computeSize(std::uint64_t& frameSize, std::uint64_t& sideSize,
                        std::uint64_t& total) const {
    std::uint64_t w = static_cast<std::uint64_t>(std::max(_width, 0));
    std::uint64_t h = static_cast<std::uint64_t>(std::max(_height, 0));
    std::uint64_t d = static_cast<std::uint64_t>(std::max(_depth, 0));
    std::uint64_t levels = static_cast<std::uint64_t>(std::max(_mipmapCount, 1));
    return sumBytes(_pixelFormat, _bpp, w, h, d, levels, sideSize) &&
           mulChecked(sideSize, static_cast<std::uint64_t>(std::max(_sideCount, 1)), frameSize) &&
           mulChecked(frameSize, static_cast<std::uint64_t>(std::max(_frameCount, 1)), total) &&
           total <= maxBlockSize;
}

bool Image::set(std::uint32_t pixelFormat, std::int32_t width, std::int32_t height,
                std::int32_t depth, std::int32_t mipmapCount, std::int32_t frameCount,
                double frameDelay, const std::uint8_t* data, std::int32_t type, bool allocMem,
                std::int32_t sideCount) {
    Image next;
    next._pixelFormat = pixelFormat;
    next._width = std::max(1, width);
    next._height = std::max(1, height);
    next._depth = std::max(1, depth);
    next._mipmapCount = std::max(1, mipmapCount);
    next._sideCount = std::max(1, sideCount);
    next._frameCount = std::max(1, frameCount);
    next._frameDelay = frameDelay;
    next._dataType = type;
    next._componentSize = typeComponentSize(type);
    next._bpp = formatComponents(pixelFormat) * next._componentSize;

    std::uint64_t frame = 0, side = 0, total = 0;
    if (!next.computeSize(frame, side, total)) {
        KALVEX_OSG_FATAL(
            "Image::set: pixel block of %d x %d x %d, %d levels, %d frames, %d sides is too "
            "large\n",
            next._width, next._height, next._depth, next._mipmapCount, next._frameCount,
            next._sideCount);
        return false;
    }

    // Geometry first, then the pixels: a failed allocation still leaves the asked-for geometry,
    // as the scene graph does.
    _pixelFormat = next._pixelFormat;
    _width = next._width;
    _height = next._height;
    _depth = next._depth;
    _mipmapCount = next._mipmapCount;
    _sideCount = next._sideCount;
    _frameCount = next._frameCount;
    _frameDelay = next._frameDelay;
    _dataType = next._dataType;
    updateDerived();
    return createData(data, allocMem);
}

bool Image::set(const Image& image) {
    if (&image == this) return isValid();
    return set(image._pixelFormat, image._width, image._height, image._depth, image._mipmapCount,
               image._frameCount, image._frameDelay, image.isValid() ? image.getData() : nullptr,
               image._dataType, image.isValid(), image._sideCount);
}

bool Image::createData(const std::uint8_t* data, bool allocMem) {
    std::size_t byteCount = getSize();
    if (!allocMem || byteCount == 0) {
        clearData();
        return false;
    }
    try {
        if (_pixel.size() != byteCount) {
            // Drop the old block first so that peak memory is one block, not two.
            std::vector<std::uint8_t>().swap(_pixel);
            _pixel.resize(byteCount);
        } else if (!data) {
            std::fill(_pixel.begin(), _pixel.end(), 0);
        }
    } catch (const std::bad_alloc&) {
        KALVEX_OSG_FATAL("Image::createData : Couldn't allocate %zu bytes!\n", byteCount);
        clearData();
        return false;
    } catch (const std::length_error&) {
        KALVEX_OSG_FATAL("Image::createData : Couldn't allocate %zu bytes!\n", byteCount);
        clearData();
        return false;
    }
    if (data) std::memcpy(_pixel.data(), data, byteCount);
    return true;
}

bool Image::setData(const std::uint8_t* data) {
    if (!data) {
        KALVEX_OSG_WARNING("Image::setData(Null) call\n");
        return false;
    }
    return createData(data, true);
}

void Image::clear(std::uint8_t pixelValue) {
    std::fill(_pixel.begin(), _pixel.end(), pixelValue);
}

std::size_t Image::getSize(bool withMipmap, bool withFrames, bool withSides) const {
    std::size_t size = calcMipmapSumSize(withMipmap ? static_cast<std::uint32_t>(_mipmapCount) : 1);
    if (withSides) size *= static_cast<std::size_t>(std::max(_sideCount, 1));
    if (withFrames) size *= static_cast<std::size_t>(std::max(_frameCount, 1));
    return size;
}

const std::uint8_t* Image::getData(std::uint32_t mipmapNum, std::uint32_t frameNum,
                                   std::uint32_t sideNum) const {
    if (_pixel.empty() || mipmapNum >= static_cast<std::uint32_t>(_mipmapCount) ||
        frameNum >= static_cast<std::uint32_t>(_frameCount) ||
        sideNum >= static_cast<std::uint32_t>(_sideCount))
        return nullptr;
    std::size_t offset = sideNum * _sideSize + frameNum * _frameSize;
    if (mipmapNum) offset += calcMipmapSumSize(mipmapNum);
    return offset < _pixel.size() ? _pixel.data() + offset : nullptr;
}

std::uint8_t* Image::editData(std::uint32_t mipmapNum, std::uint32_t frameNum,
                              std::uint32_t sideNum) {
    return const_cast<std::uint8_t*>(std::as_const(*this).getData(mipmapNum, frameNum, sideNum));
}

bool Image::hasAlphaChannel() const {
    switch (_pixelFormat) {
        case OSG_RGBA_PF:
        case OSG_BGRA_PF:
        case OSG_RGBA_DXT1:
        case OSG_RGBA_DXT3:
        case OSG_RGBA_DXT5:
        case OSG_A_PF:
        case OSG_I_PF:
        case OSG_LA_PF:
        case OSG_ALPHA_INTEGER_PF:
        case OSG_RGBA_INTEGER_PF:
        case OSG_BGRA_INTEGER_PF:
        case OSG_LUMINANCE_ALPHA_INTEGER_PF:
            return true;
        default:
            return false;
    }
}

bool Image::hasColorChannel() const {
    switch (_pixelFormat) {
        case OSG_A_PF:
        case OSG_I_PF:
        case OSG_L_PF:
        case OSG_LA_PF:
        case OSG_ALPHA_INTEGER_PF:
        case OSG_LUMINANCE_ALPHA_INTEGER_PF:
            return false;
        default:
            return true;
    }
}

bool Image::hasCompressedData() const {
    return isDxt(_pixelFormat);
}

void Image::calcMipmapGeometry(std::uint32_t mipmapNum, std::uint32_t& width, std::uint32_t& height,
                               std::uint32_t& depth) const {
    auto shrink = [mipmapNum](std::int32_t v) -> std::uint32_t {
        if (v <= 0) return 0;
        if (mipmapNum >= 31) return 1;
        return std::max<std::uint32_t>(static_cast<std::uint32_t>(v) >> mipmapNum, 1);
    };
    width = shrink(_width);
    height = shrink(_height);
    depth = shrink(_depth);
}

std::uint32_t Image::calcMipmapLevelCount() const {
    std::uint32_t w = static_cast<std::uint32_t>(std::max(_width, 1));
    std::uint32_t h = static_cast<std::uint32_t>(std::max(_height, 1));
    std::uint32_t d = static_cast<std::uint32_t>(std::max(_depth, 1));
    std::uint32_t levels = 1;
    while (w > 1 || h > 1 || d > 1) {
        w = std::max(w >> 1, 1u);
        h = std::max(h >> 1, 1u);
        d = std::max(d >> 1, 1u);
        ++levels;
    }
    return levels;
}

std::uint32_t Image::calcFrameNum(double time) const {
    if (!(_frameDelay > 0.0) || _frameCount <= 0) return 0;
    double q = std::floor(time / _frameDelay);
    // Negative, infinite and NaN times show the first frame.
    if (!(q >= 0.0) || std::isinf(q)) return 0;
    return static_cast<std::uint32_t>(std::fmod(q, static_cast<double>(_frameCount)));
}

std::size_t Image::calcMipmapLevelSize(std::uint32_t w, std::uint32_t h, std::uint32_t d) const {
    std::uint64_t size = 0;
    return levelBytes(_pixelFormat, _bpp, w, h, d, size) ? static_cast<std::size_t>(size) : 0;
}

std::size_t Image::calcMipmapSumSize(std::uint32_t mipmapNum) const {
    std::uint64_t size = 0;
    std::uint64_t w = static_cast<std::uint64_t>(std::max(_width, 0));
    std::uint64_t h = static_cast<std::uint64_t>(std::max(_height, 0));
    std::uint64_t d = static_cast<std::uint64_t>(std::max(_depth, 0));
    return sumBytes(_pixelFormat, _bpp, w, h, d, mipmapNum, size) ? static_cast<std::size_t>(size)
                                                                  : 0;
}

bool Image::operator==(const Image& other) const {
    return _width == other._width && _height == other._height && _depth == other._depth &&
           _mipmapCount == other._mipmapCount && _frameCount == other._frameCount &&
           _frameDelay == other._frameDelay && _pixelFormat == other._pixelFormat &&
           _dataType == other._dataType && _sideCount == other._sideCount && _pixel == other._pixel;
}

ImageGenericAtt& Image::editGenericAtt() {
    if (!_att) _att.att = std::make_unique<ImageGenericAtt>();
    return *_att.att;
}

void Image::setAttachmentField(const std::string& key, const std::string& data) {
    if (auto* field = editGenericAtt().addField<SField<std::string>>(key)) field->setValue(data);
}

const std::string* Image::findAttachmentField(const std::string& key) const {
    if (!_att) return nullptr;
    auto* field = _att->getField<SField<std::string>>(key);
    return field ? &field->getValue() : nullptr;
}

// ---------------------------------------------------------------------------------------------
// Store and restore

std::uint64_t Image::storeSize() const {
    std::uint64_t size = storeHeaderSize + storeCrcSize + _pixel.size();
    if (_att) {
        std::vector<std::uint8_t> value;
        for (std::size_t i = 0; i < _att->getNumFields(); ++i) {
            value.clear();
            _att->getField(i)->appendValue(value);
            size += 1 + 4 + _att->getFieldName(i).size() + value.size();
        }
    }
    return size;
}

bool Image::store(const char* mimeType, std::vector<std::uint8_t>& out) const {
    if (!isStoreMimeType(mimeType)) {
        KALVEX_OSG_FATAL("Image::store: unsupported mime type %s\n", mimeType);
        return false;
    }
    std::vector<std::uint8_t> buf;
    buf.reserve(static_cast<std::size_t>(storeSize()));
    buf.insert(buf.end(), std::begin(storeMagic), std::end(storeMagic));
    putLE<std::uint16_t>(buf, storeVersion);
    putLE<std::uint16_t>(buf, 0);
    putLE<std::uint32_t>(buf, _pixelFormat);
    putLE<std::int32_t>(buf, _dataType);
    putLE<std::int32_t>(buf, _width);
    putLE<std::int32_t>(buf, _height);
    putLE<std::int32_t>(buf, _depth);
    putLE<std::int32_t>(buf, _mipmapCount);
    putLE<std::int32_t>(buf, _frameCount);
    putLE<std::int32_t>(buf, _sideCount);
    putLE<std::uint64_t>(buf, std::bit_cast<std::uint64_t>(_frameDelay));
    putLE<std::uint32_t>(buf, attachmentCount());
    putLE<std::uint64_t>(buf, _pixel.size());
    if (_att) {
        for (std::size_t i = 0; i < _att->getNumFields(); ++i) {
            const DynField* field = _att->getField(i);
            putU8(buf, field->getTypeCode());
            putString(buf, _att->getFieldName(i));
            field->appendValue(buf);
        }
    }
    buf.insert(buf.end(), _pixel.begin(), _pixel.end());
    putLE<std::uint32_t>(buf, crcOf(buf.data(), buf.size()));
    out = std::move(buf);
    return true;
}

std::uint64_t Image::store(const char* mimeType, std::uint8_t* mem, std::int64_t memSize) const {
    if (!mem) {
        KALVEX_OSG_FATAL("Image::store: no buffer\n");
        return 0;
    }
    std::uint64_t needed = storeSize();
    if (memSize >= 0 && static_cast<std::uint64_t>(memSize) < needed) {
        KALVEX_OSG_FATAL("Image::store: buffer of %lld bytes, %llu needed\n",
                         static_cast<long long>(memSize), static_cast<unsigned long long>(needed));
        return 0;
    }
    std::vector<std::uint8_t> buf;
    if (!store(mimeType, buf)) return 0;
    std::memcpy(mem, buf.data(), buf.size());
    return buf.size();
}

std::uint64_t Image::restore(const std::uint8_t* mem, std::int64_t memSize) {
    if (!mem || memSize < 0) {
        KALVEX_OSG_FATAL("Image::restore: no buffer or unknown buffer size\n");
        return 0;
    }
    if (static_cast<std::uint64_t>(memSize) < storeHeaderSize + storeCrcSize) {
        KALVEX_OSG_FATAL("Image::restore: buffer of %lld bytes is too short\n",
                         static_cast<long long>(memSize));
        return 0;
    }
    const std::uint8_t* pos = mem;
    const std::uint8_t* end = mem + memSize;
    if (std::memcmp(pos, storeMagic, sizeof storeMagic) != 0) {
        KALVEX_OSG_FATAL("Image::restore: not a stored image\n");
        return 0;
    }
    pos += sizeof storeMagic;

    std::uint16_t version = 0, reserved = 0;
    std::uint32_t pixelFormat = 0, fieldCount = 0;
    std::int32_t dataType = 0, width = 0, height = 0, depth = 0, mipmaps = 0, frames = 0, sides = 0;
    std::uint64_t delayBits = 0, pixelBytes = 0;
    // The fixed header is inside the buffer (checked above), so these reads cannot fail.
    getLE(pos, end, version);
    getLE(pos, end, reserved);
    if (version != storeVersion) {
        KALVEX_OSG_FATAL("Image::restore: unsupported version %u\n",
                         static_cast<unsigned>(version));
        return 0;
    }
    if (reserved != 0) {
        KALVEX_OSG_FATAL("Image::restore: unknown header flags 0x%x\n",
                         static_cast<unsigned>(reserved));
        return 0;
    }
    getLE(pos, end, pixelFormat);
    getLE(pos, end, dataType);
    getLE(pos, end, width);
    getLE(pos, end, height);
    getLE(pos, end, depth);
    getLE(pos, end, mipmaps);
    getLE(pos, end, frames);
    getLE(pos, end, sides);
    getLE(pos, end, delayBits);
    getLE(pos, end, fieldCount);
    getLE(pos, end, pixelBytes);
    // Sizes of 0 only come from a default image, which has no pixels; counts are at least 1.
    if (width < 0 || height < 0 || depth < 0 || mipmaps < 1 || frames < 1 || sides < 1) {
        KALVEX_OSG_FATAL(
            "Image::restore: invalid geometry %d x %d x %d, %d levels, %d frames, %d sides\n",
            width, height, depth, mipmaps, frames, sides);
        return 0;
    }

    Image next;
    next._pixelFormat = pixelFormat;
    next._dataType = dataType;
    next._width = width;
    next._height = height;
    next._depth = depth;
    next._mipmapCount = mipmaps;
    next._frameCount = frames;
    next._sideCount = sides;
    next._frameDelay = std::bit_cast<double>(delayBits);
    next.updateDerived();
    std::uint64_t frameSize = 0, sideSize = 0, total = 0;
    // An image without a pixel block stores a count of 0.
    if (!next.computeSize(frameSize, sideSize, total) || (pixelBytes != 0 && total != pixelBytes)) {
        KALVEX_OSG_FATAL("Image::restore: pixel byte count %llu does not match the geometry\n",
                         static_cast<unsigned long long>(pixelBytes));
        return 0;
    }

    if (fieldCount > static_cast<std::size_t>(end - pos) / minFieldRecord) {
        KALVEX_OSG_FATAL("Image::restore: truncated attachment fields\n");
        return 0;
    }
    for (std::uint32_t i = 0; i < fieldCount; ++i) {
        std::uint8_t typeCode = 0;
        std::string name;
        if (!getLE(pos, end, typeCode) || !getString(pos, end, name)) {
            KALVEX_OSG_FATAL("Image::restore: truncated attachment fields\n");
            return 0;
        }
        std::unique_ptr<DynField> field = makeDynField(typeCode);
        if (!field) {
            KALVEX_OSG_FATAL("Image::restore: unknown attachment field type %u\n",
                             static_cast<unsigned>(typeCode));
            return 0;
        }
        if (!field->readValue(pos, end) ||
            !next.editGenericAtt().addField(name, std::move(field))) {
            KALVEX_OSG_FATAL("Image::restore: damaged attachment field %s\n", name.c_str());
            return 0;
        }
    }

    if (static_cast<std::uint64_t>(end - pos) < storeCrcSize ||
        static_cast<std::uint64_t>(end - pos) - storeCrcSize < pixelBytes) {
        KALVEX_OSG_FATAL("Image::restore: truncated pixel data\n");
        return 0;
    }
    const std::uint8_t* pixels = pos;
    pos += pixelBytes;
    std::uint32_t crc = 0;
    getLE(pos, end, crc);
    std::size_t used = static_cast<std::size_t>(pos - mem);
    if (crc != crcOf(mem, used - storeCrcSize)) {
        KALVEX_OSG_FATAL("Image::restore: checksum mismatch\n");
        return 0;
    }

    if (pixelBytes > 0) {
        try {
            next._pixel.assign(pixels, pixels + pixelBytes);
        } catch (const std::bad_alloc&) {
            KALVEX_OSG_FATAL("Image::restore: Couldn't allocate %llu bytes!\n",
                             static_cast<unsigned long long>(pixelBytes));
            return 0;
        }
    }
    *this = std::move(next);
    return used;
}

}  // namespace Kalvex::osg
