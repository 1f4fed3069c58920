#pragma once

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

    // Reads the image text; rest, if given, receives the position behind what was read.
    bool set(const char* text, const char** rest);

  private:
    std::shared_ptr<osg::Image> _image;
};

std::ostream& operator<<(std::ostream& out, const Image& image);

}  // namespace Kalvex
