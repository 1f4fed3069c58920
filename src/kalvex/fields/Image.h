#pragma once

#include <cstdint>
#include <iosfwd>
#include <memory>

namespace Kalvex {

namespace osg {
class Image;
}

// A field value that wraps a platform image. It holds no state of its own: size, format and
// pixels are read from the osg::Image. Assignment copies pixels into the existing image, so two
// fields never share pixels.
class Image {
  public:
    Image();
    Image(const Image& other);
    Image& operator=(const Image& other);
    ~Image();

    bool operator==(const Image& other) const;

    // Makes a new, empty platform image for this value.
    void createData();
    osg::Image* getData() const { return _image.get(); }
    const std::shared_ptr<osg::Image>& getDataPtr() const { return _image; }
    void setData(std::shared_ptr<osg::Image> image) { _image = std::move(image); }

    // Reads the image text: width, height, components, then one number per pixel, its bytes
    // most significant first. rest, if given, receives the position behind the last number
    // read. A short text keeps the promised size. True, except for a header whose pixel block
    // exceeds kMaxTextBytes: that is logged, the image is emptied and nothing is consumed.
    bool set(const char* text, const char** rest);

    // Largest pixel block the text form may ask for (64 MiB: 4096 x 4096 RGBA), counted as
    // width x height x components with a size of 0 as 1 and an unknown component count as 1.
    // A deliberate deviation: the text form itself has no limit and set() would always answer
    // true. But scene text that big would be some 700 MB, so anything larger is a corrupt or
    // hostile header, and we must not allocate gigabytes just because a header says so.
    static constexpr unsigned long long kMaxTextBytes = 64ull << 20;

    // Pixel format of a component count in the text and binary forms: 1 luminance,
    // 2 luminance-alpha, 3 RGB, 4 RGBA, anything else 0.
    static std::uint32_t pixelFormatOfComponents(unsigned long components);

  private:
    std::shared_ptr<osg::Image> _image;
};

std::ostream& operator<<(std::ostream& out, const Image& image);

}  // namespace Kalvex
