#include "kalvex/fields/Image.h"

#include "platform/osg/Image.h"

namespace Kalvex {

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

}  // namespace Kalvex
