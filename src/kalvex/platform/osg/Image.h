#pragma once
// osg::Image: a 1D/2D/3D image with pixel format, data type, mipmap levels, frames and cube
// sides in one byte block, plus a bag of named dynamic fields (the generic attachment).
//
// Ownership: Image is a plain value class. Copying (construction or assignment) is a deep copy
// of the geometry, the pixel bytes and the attachment fields; nothing is shared. It has no
// reference count of its own: code that shares one image between owners holds it in a
// std::shared_ptr<Image> (see ImagePtr), and the image lives as long as the last holder.
// Nothing here locks; one image belongs to one thread at a time.
//
// Pixel layout, as the scene graph expects it: for each frame, for each side, the mipmap levels
// from the largest down, each level depth × height × width pixels of getBpp() bytes (DXT formats
// in 4×4 blocks of 8 or 16 bytes). Level n is (width >> n, height >> n, depth >> n), at least 1.

#include "kalvex/platform/osg/GLConstants.h"

#include <cstddef>
#include <cstdint>
#include <memory>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

namespace Kalvex::osg {

// ---------------------------------------------------------------------------------------------
// Dynamic fields

// Value types a dynamic field may hold. The codes are part of the image store form: never
// renumber them.
template <class ValueT>
struct DynFieldTraits;

#define KALVEX_OSG_DYN_FIELD_TYPE(T, code, name)         \
    template <>                                          \
    struct DynFieldTraits<T> {                           \
        static constexpr std::uint8_t typeCode = (code); \
        static constexpr const char* typeName = (name);  \
    }
KALVEX_OSG_DYN_FIELD_TYPE(std::string, 1, "SFString");
KALVEX_OSG_DYN_FIELD_TYPE(bool, 2, "SFBool");
KALVEX_OSG_DYN_FIELD_TYPE(std::int32_t, 3, "SFInt32");
KALVEX_OSG_DYN_FIELD_TYPE(std::uint32_t, 4, "SFUInt32");
KALVEX_OSG_DYN_FIELD_TYPE(std::int64_t, 5, "SFInt64");
KALVEX_OSG_DYN_FIELD_TYPE(std::uint64_t, 6, "SFUInt64");
KALVEX_OSG_DYN_FIELD_TYPE(float, 7, "SFReal32");
KALVEX_OSG_DYN_FIELD_TYPE(double, 8, "SFReal64");
#undef KALVEX_OSG_DYN_FIELD_TYPE

namespace detail {
// Encoders of the store form, one per field value type (Image.cpp).
void appendDynValue(std::vector<std::uint8_t>& out, const std::string& v);
void appendDynValue(std::vector<std::uint8_t>& out, bool v);
void appendDynValue(std::vector<std::uint8_t>& out, std::int32_t v);
void appendDynValue(std::vector<std::uint8_t>& out, std::uint32_t v);
void appendDynValue(std::vector<std::uint8_t>& out, std::int64_t v);
void appendDynValue(std::vector<std::uint8_t>& out, std::uint64_t v);
void appendDynValue(std::vector<std::uint8_t>& out, float v);
void appendDynValue(std::vector<std::uint8_t>& out, double v);
// Decoders: read from [pos, end), advance pos; false (pos unspecified) when the bytes run out.
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::string& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, bool& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::int32_t& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::uint32_t& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::int64_t& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, std::uint64_t& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, float& v);
bool readDynValue(const std::uint8_t*& pos, const std::uint8_t* end, double& v);
}  // namespace detail

// A named value added at run time. The concrete type is SField<T>.
class DynField {
  public:
    virtual ~DynField() = default;

    virtual std::uint8_t getTypeCode() const = 0;
    virtual const char* getTypeName() const = 0;
    virtual std::unique_ptr<DynField> clone() const = 0;
    virtual bool equalValue(const DynField& other) const = 0;

    virtual void appendValue(std::vector<std::uint8_t>& out) const = 0;
    virtual bool readValue(const std::uint8_t*& pos, const std::uint8_t* end) = 0;

  protected:
    DynField() = default;
    DynField(const DynField&) = default;
    DynField& operator=(const DynField&) = default;
};

// A single-valued dynamic field. NamespaceI only keeps OpenSG's spelling (SField<UInt32, 0>);
// fields of different namespaces are different types.
template <class ValueT, int NamespaceI = 0>
class SField final : public DynField {
  public:
    using StoredType = ValueT;

    SField() : _value() {}
    explicit SField(ValueT value) : _value(std::move(value)) {}

    const ValueT& getValue() const { return _value; }
    ValueT& editValue() { return _value; }
    void setValue(const ValueT& value) { _value = value; }

    std::uint8_t getTypeCode() const override { return DynFieldTraits<ValueT>::typeCode; }
    const char* getTypeName() const override { return DynFieldTraits<ValueT>::typeName; }
    std::unique_ptr<DynField> clone() const override { return std::make_unique<SField>(*this); }
    bool equalValue(const DynField& other) const override {
        auto* o = dynamic_cast<const SField*>(&other);
        return o && o->_value == _value;
    }
    void appendValue(std::vector<std::uint8_t>& out) const override {
        detail::appendDynValue(out, _value);
    }
    bool readValue(const std::uint8_t*& pos, const std::uint8_t* end) override {
        return detail::readDynValue(pos, end, _value);
    }

  private:
    ValueT _value;
};

// A container of dynamic fields, kept in the order they were added. AttDescT only tells
// attachment kinds apart, as in OpenSG.
template <class AttDescT>
class DynFieldAttachment {
  public:
    DynFieldAttachment() = default;
    DynFieldAttachment(const DynFieldAttachment& other) { copyFrom(other); }
    DynFieldAttachment(DynFieldAttachment&&) noexcept = default;
    DynFieldAttachment& operator=(const DynFieldAttachment& other) {
        if (this != &other) copyFrom(other);
        return *this;
    }
    DynFieldAttachment& operator=(DynFieldAttachment&&) noexcept = default;

    std::size_t getNumFields() const { return _fields.size(); }
    const std::string& getFieldName(std::size_t index) const { return _fields[index].first; }
    DynField* getField(std::size_t index) {
        return index < _fields.size() ? _fields[index].second.get() : nullptr;
    }
    const DynField* getField(std::size_t index) const {
        return index < _fields.size() ? _fields[index].second.get() : nullptr;
    }

    // Null when there is no field of that name.
    DynField* getField(const std::string& name) {
        for (auto& f : _fields)
            if (f.first == name) return f.second.get();
        return nullptr;
    }
    const DynField* getField(const std::string& name) const {
        return const_cast<DynFieldAttachment*>(this)->getField(name);
    }

    // Null when there is no field of that name or it has another type.
    template <class FieldT>
    FieldT* getField(const std::string& name) {
        return dynamic_cast<FieldT*>(getField(name));
    }
    template <class FieldT>
    const FieldT* getField(const std::string& name) const {
        return dynamic_cast<const FieldT*>(getField(name));
    }

    // Adds a field of type FieldT, or answers the one that exists under that name. Null when a
    // field of that name exists with another type.
    template <class FieldT>
    FieldT* addField(const std::string& name) {
        if (DynField* existing = getField(name)) return dynamic_cast<FieldT*>(existing);
        auto field = std::make_unique<FieldT>();
        FieldT* result = field.get();
        _fields.emplace_back(name, std::move(field));
        return result;
    }

    // Takes a ready field (a decoder builds them by type code). False if the name is taken.
    bool addField(const std::string& name, std::unique_ptr<DynField> field) {
        if (!field || getField(name)) return false;
        _fields.emplace_back(name, std::move(field));
        return true;
    }

    bool subField(const std::string& name) {
        for (auto it = _fields.begin(); it != _fields.end(); ++it) {
            if (it->first == name) {
                _fields.erase(it);
                return true;
            }
        }
        return false;
    }

    void clearFields() { _fields.clear(); }

    // Same names in the same order with equal types and values.
    bool operator==(const DynFieldAttachment& other) const {
        if (_fields.size() != other._fields.size()) return false;
        for (std::size_t i = 0; i < _fields.size(); ++i) {
            if (_fields[i].first != other._fields[i].first ||
                !_fields[i].second->equalValue(*other._fields[i].second))
                return false;
        }
        return true;
    }

  private:
    void copyFrom(const DynFieldAttachment& other) {
        std::vector<std::pair<std::string, std::unique_ptr<DynField>>> fields;
        fields.reserve(other._fields.size());
        for (const auto& f : other._fields) fields.emplace_back(f.first, f.second->clone());
        _fields = std::move(fields);
    }

    std::vector<std::pair<std::string, std::unique_ptr<DynField>>> _fields;
};

// The generic attachment of an image: string key/value pairs (Image::setAttachmentField) and
// any other dynamic fields that image code adds, such as a download's flags.
struct ImageGenericAttDesc {
    static constexpr const char* getTypeName() { return "ImageGenericAtt"; }
};
using ImageGenericAtt = DynFieldAttachment<ImageGenericAttDesc>;

// ---------------------------------------------------------------------------------------------
// Image

class Image {
  public:
    enum PixelFormat : std::uint32_t {
        OSG_INVALID_PF = 0,
        OSG_A_PF = GL_ALPHA,
        OSG_I_PF = GL_INTENSITY,
        OSG_L_PF = GL_LUMINANCE,
        OSG_LA_PF = GL_LUMINANCE_ALPHA,
        OSG_BGR_PF = GL_BGR,
        OSG_BGRA_PF = GL_BGRA,
        OSG_RGB_DXT1 = GL_COMPRESSED_RGB_S3TC_DXT1_EXT,
        OSG_RGBA_DXT1 = GL_COMPRESSED_RGBA_S3TC_DXT1_EXT,
        OSG_RGBA_DXT3 = GL_COMPRESSED_RGBA_S3TC_DXT3_EXT,
        OSG_RGBA_DXT5 = GL_COMPRESSED_RGBA_S3TC_DXT5_EXT,
        OSG_RGB_PF = GL_RGB,
        OSG_RGBA_PF = GL_RGBA,
        OSG_ALPHA_INTEGER_PF = GL_ALPHA_INTEGER_EXT,
        OSG_RGB_INTEGER_PF = GL_RGB_INTEGER_EXT,
        OSG_RGBA_INTEGER_PF = GL_RGBA_INTEGER_EXT,
        OSG_BGR_INTEGER_PF = GL_BGR_INTEGER_EXT,
        OSG_BGRA_INTEGER_PF = GL_BGRA_INTEGER_EXT,
        OSG_LUMINANCE_INTEGER_PF = GL_LUMINANCE_INTEGER_EXT,
        OSG_LUMINANCE_ALPHA_INTEGER_PF = GL_LUMINANCE_ALPHA_INTEGER_EXT
    };

    enum Type : std::int32_t {
        OSG_INVALID_IMAGEDATATYPE = GL_NONE,
        OSG_UINT8_IMAGEDATA = GL_UNSIGNED_BYTE,
        OSG_UINT16_IMAGEDATA = GL_UNSIGNED_SHORT,
        OSG_UINT32_IMAGEDATA = GL_UNSIGNED_INT,
        OSG_FLOAT16_IMAGEDATA = GL_HALF_FLOAT_NV,
        OSG_FLOAT32_IMAGEDATA = GL_FLOAT,
        OSG_INT16_IMAGEDATA = GL_SHORT,
        OSG_INT32_IMAGEDATA = GL_INT
    };

    // The mime type of our own store form; store() also takes null or "" for it.
    static constexpr const char* StoreMimeType = "image/x-kalvex-image";

    // Components per pixel of a format (DXT formats count their decoded channels, as OpenSG
    // does); 0 for an unknown format.
    static std::uint32_t formatComponents(std::uint32_t pixelFormat);
    // Bytes per component of a data type; 0 for an unknown type.
    static std::uint32_t typeComponentSize(std::int32_t dataType);

    // An empty, invalid image: no format, width 0, no pixels.
    Image();
    Image(const Image&) = default;
    Image(Image&&) noexcept = default;
    Image& operator=(const Image&) = default;
    Image& operator=(Image&&) noexcept = default;
    ~Image() = default;

    // Sets the geometry and makes the pixel block. Sizes and counts below 1 become 1. With data,
    // getSize() bytes are copied from it; without, the block is zero-filled. With allocMem false
    // the block is dropped. True when the image has pixel bytes afterwards: false for
    // allocMem false, for a format or type of zero size, or when the block cannot be allocated
    // (the new geometry stays). A geometry whose size does not fit in memory arithmetic is
    // refused and leaves the image as it was.
    bool set(std::uint32_t pixelFormat, std::int32_t width, std::int32_t height = 1,
             std::int32_t depth = 1, std::int32_t mipmapCount = 1, std::int32_t frameCount = 1,
             double frameDelay = 0.0, const std::uint8_t* data = nullptr,
             std::int32_t type = OSG_UINT8_IMAGEDATA, bool allocMem = true,
             std::int32_t sideCount = 1);
    // Geometry and pixels of another image; the attachments stay as they are.
    bool set(const Image& image);
    // Copies getSize() bytes from data into the block. False for null data.
    bool setData(const std::uint8_t* data);
    // Drops the pixel block; the geometry stays.
    void clearData() {
        _pixel.clear();
        _pixel.shrink_to_fit();
    }
    // Fills every pixel byte with the value.
    void clear(std::uint8_t pixelValue = 0);

    std::uint32_t getPixelFormat() const { return _pixelFormat; }
    std::int32_t getDataType() const { return _dataType; }
    std::int32_t getWidth() const { return _width; }
    std::int32_t getHeight() const { return _height; }
    std::int32_t getDepth() const { return _depth; }
    std::int32_t getMipMapCount() const { return _mipmapCount; }
    std::int32_t getFrameCount() const { return _frameCount; }
    std::int32_t getSideCount() const { return _sideCount; }
    double getFrameDelay() const { return _frameDelay; }
    // Bytes per pixel: components of the format times bytes per component of the type.
    std::uint32_t getBpp() const { return _bpp; }
    std::uint32_t getComponentSize() const { return _componentSize; }
    std::uint32_t getComponents() const { return formatComponents(_pixelFormat); }
    // 1, 2 or 3; 0 before the first set().
    std::int32_t getDimension() const { return _dimension; }
    // Bytes of all mipmap levels of one side, and of all sides of one frame.
    std::size_t getSideSize() const { return _sideSize; }
    std::size_t getFrameSize() const { return _frameSize; }

    // Bytes of the pixel block, or of its first level, first frame or first side.
    std::size_t getSize(bool withMipmap = true, bool withFrames = true,
                        bool withSides = true) const;

    // Start of a level of a side of a frame; null when there are no pixels or the chunk lies
    // outside the block.
    const std::uint8_t* getData(std::uint32_t mipmapNum = 0, std::uint32_t frameNum = 0,
                                std::uint32_t sideNum = 0) const;
    std::uint8_t* editData(std::uint32_t mipmapNum = 0, std::uint32_t frameNum = 0,
                           std::uint32_t sideNum = 0);
    const std::vector<std::uint8_t>& getPixel() const { return _pixel; }

    bool isValid() const { return !_pixel.empty(); }
    bool hasAlphaChannel() const;
    bool hasColorChannel() const;
    bool hasCompressedData() const;

    void calcMipmapGeometry(std::uint32_t mipmapNum, std::uint32_t& width, std::uint32_t& height,
                            std::uint32_t& depth) const;
    // Levels down to 1×1×1.
    std::uint32_t calcMipmapLevelCount() const;
    // The frame shown at a time, looping.
    std::uint32_t calcFrameNum(double time) const;
    // Bytes of one level of w × h × d, and of the first mipmapNum levels starting at w × h × d.
    std::size_t calcMipmapLevelSize(std::uint32_t w, std::uint32_t h, std::uint32_t d) const;
    std::size_t calcMipmapSumSize(std::uint32_t mipmapNum) const;

    // Geometry, format, type and pixel bytes; attachments do not count.
    bool operator==(const Image& other) const;
    bool operator!=(const Image& other) const { return !(*this == other); }
    // By pixel block size, as OpenSG orders images.
    bool operator<(const Image& other) const { return getSize() < other.getSize(); }

    // Attachment fields: string values under string keys, in the generic attachment.
    bool hasAttachment() const { return _att && _att->getNumFields() > 0; }
    std::uint32_t attachmentCount() const {
        return _att ? static_cast<std::uint32_t>(_att->getNumFields()) : 0;
    }
    // Adds or overwrites the key. A key that holds a field of another type is left alone.
    void setAttachmentField(const std::string& key, const std::string& data);
    // Null when the key is missing or is not a string field.
    const std::string* findAttachmentField(const std::string& key) const;

    // The generic attachment itself, for dynamic fields of other types. find* answers null when
    // the image has none; edit* makes it on first use.
    ImageGenericAtt* findGenericAtt() { return _att.get(); }
    const ImageGenericAtt* findGenericAtt() const { return _att.get(); }
    ImageGenericAtt& editGenericAtt();
    void subGenericAtt() { _att.reset(); }

    // Store form (our own; StoreMimeType), all numbers little endian:
    //
    //   offset size
    //      0    4   magic "KXIM"
    //      4    2   version, 1
    //      6    2   reserved, 0
    //      8    4   pixel format            (uint32)
    //     12    4   data type               (int32)
    //     16    4   width, height, depth,   (int32 each; sizes at least 0, counts at least 1)
    //     ..        mipmap count, frame count, side count
    //     40    8   frame delay             (IEEE 754 double)
    //     48    4   attachment field count  (uint32)
    //     52    8   pixel byte count        (uint64: getSize() of the geometry, or 0 for an
    //                                            image without a pixel block)
    //     60        the attachment fields, each: type code (uint8, DynFieldTraits), name length
    //               (uint32), name bytes, value: bool 1 byte, 32-bit types 4, 64-bit types 8,
    //               string uint32 length and bytes
    //      .        the pixel bytes
    //      .    4   CRC-32 (zlib's) of every byte before it
    //
    // storeSize() is the byte count of that form. store() writes it into mem and answers the
    // bytes written, 0 on failure (unknown mime type, null mem, memSize too small). memSize -1
    // means the caller made mem storeSize() bytes large. restore() reads it back and answers the
    // bytes used; 0 when the buffer is short, corrupt or of a newer version, or when memSize is
    // negative (a size is required, so nothing is read past the end). On failure the image is
    // left unchanged; on success it is replaced whole, attachments included.
    std::uint64_t storeSize() const;
    std::uint64_t store(const char* mimeType, std::uint8_t* mem, std::int64_t memSize = -1) const;
    bool store(const char* mimeType, std::vector<std::uint8_t>& out) const;
    std::uint64_t restore(const std::uint8_t* mem, std::int64_t memSize = -1);

  private:
    bool createData(const std::uint8_t* data, bool allocMem);
    // Size of the pixel block for the current geometry; false on overflow.
    bool computeSize(std::uint64_t& frameSize, std::uint64_t& sideSize, std::uint64_t& total) const;
    void updateDerived();

    std::uint32_t _pixelFormat = OSG_INVALID_PF;
    std::int32_t _dataType = OSG_UINT8_IMAGEDATA;
    std::int32_t _width = 0;
    std::int32_t _height = 1;
    std::int32_t _depth = 1;
    std::int32_t _mipmapCount = 1;
    std::int32_t _frameCount = 1;
    std::int32_t _sideCount = 1;
    double _frameDelay = 0.0;
    std::uint32_t _bpp = 0;
    std::uint32_t _componentSize = 1;
    std::int32_t _dimension = 0;
    std::size_t _sideSize = 0;
    std::size_t _frameSize = 0;
    std::vector<std::uint8_t> _pixel;

    // Made on first use; copied with the image.
    struct AttHolder {
        std::unique_ptr<ImageGenericAtt> att;
        AttHolder() = default;
        AttHolder(const AttHolder& o)
            : att(o.att ? std::make_unique<ImageGenericAtt>(*o.att) : nullptr) {}
        AttHolder(AttHolder&&) noexcept = default;
        AttHolder& operator=(const AttHolder& o) {
            if (this != &o) att = o.att ? std::make_unique<ImageGenericAtt>(*o.att) : nullptr;
            return *this;
        }
        AttHolder& operator=(AttHolder&&) noexcept = default;
        ImageGenericAtt* get() const { return att.get(); }
        ImageGenericAtt* operator->() const { return att.get(); }
        explicit operator bool() const { return att != nullptr; }
        void reset() { att.reset(); }
    } _att;
};

// Shared ownership of an image between several holders.
using ImagePtr = std::shared_ptr<Image>;

}  // namespace Kalvex::osg
