#pragma once
// Common ground of the field fuzz targets. An input is one byte that picks the field class (its
// data type number less one, modulo the 51 classes), one byte that the target uses as a knob, and
// the payload. Fields live on one node made once; the log goes to its buffer, emptied for every
// input, so that message formatting runs too without filling memory.

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/fields/Field.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/fields/FieldTypes.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/platform/osg/Image.h"
#include "kalvex/platform/osg/Log.h"
#include "kalvex/scopes/NodeNameSpace.h"

namespace KalvexFuzz {

using Kalvex::Field;
using Kalvex::FieldType;
using Kalvex::NodePartDataType;

// A property that does not hold is a finding like a crash: say which, then abort so that
// libFuzzer keeps the input.
[[noreturn]] inline void fail(const char* what, const Field& field, const std::string& detail) {
    std::fprintf(stderr, "field fuzz: %s: %s\n%s\n", field.dataTypeName(), what, detail.c_str());
    std::abort();
}

inline Kalvex::Node& owner() {
    static Kalvex::Node* node = [] {
        auto* scope = new Kalvex::NodeNameSpace("fuzz", nullptr, false);
        scope->addRef();
        Kalvex::Node* n = Kalvex::Node::_type.createNode(scope, "fuzz", Kalvex::CreatorSystem);
        n->addRef();
        return n;
    }();
    return *node;
}

// Every class of the catalogue, in data type order.
inline const std::vector<NodePartDataType>& fieldTypes() {
    static const std::vector<NodePartDataType> types = [] {
        std::vector<NodePartDataType> all;
        for (int t = Kalvex::SFBoolType; t <= Kalvex::MFAnyType; ++t)
            if (FieldType::findType(t)) all.push_back(t);
        if (all.size() != 51) {
            std::fprintf(stderr, "field fuzz: %zu field classes registered, 51 expected\n",
                         all.size());
            std::abort();
        }
        return all;
    }();
    return types;
}

inline std::unique_ptr<Field> makeField(NodePartDataType type) {
    return std::unique_ptr<Field>(FieldType::create(type, owner()));
}

struct Input {
    NodePartDataType type = Kalvex::NoDataType;
    std::uint8_t knob = 0;
    const std::uint8_t* data = nullptr;
    std::size_t size = 0;
};

// False for inputs too short to pick a class. Empties the log buffer.
inline bool split(const std::uint8_t* data, std::size_t size, Input& in) {
    Kalvex::osg::Log& log = Kalvex::osg::osgLog();
    if (log.getLogType() != Kalvex::osg::LOG_BUFFER) log.setLogType(Kalvex::osg::LOG_BUFFER);
    log.clearBuffer();
    if (size < 2) return false;
    in.type = fieldTypes()[data[0] % fieldTypes().size()];
    in.knob = data[1];
    in.data = data + 2;
    in.size = size - 2;
    return true;
}

// A NUL-terminated heap copy exactly as long as the text, so that a read past its end is a read
// past the allocation. The text ends at the first NUL of the bytes.
struct Text {
    std::unique_ptr<char[]> chars;
    std::size_t length = 0;
    const char* begin() const { return chars.get(); }
    const char* end() const { return chars.get() + length; }
};

inline Text exactText(const void* data, std::size_t size) {
    Text text;
    text.length = strnlen(static_cast<const char*>(data), size);
    text.chars.reset(new char[text.length + 1]);
    std::memcpy(text.chars.get(), data, text.length);
    text.chars[text.length] = '\0';
    return text;
}

// A few header numbers may ask for an image of up to 64 MiB, whose text is some 180 MB. Such a
// value has met the size guard and been allocated; printing and reading it back again would only
// slow the search down, so the targets stop there.
inline bool bulky(const Field& field) {
    constexpr std::size_t kLimit = 1 << 20;
    auto size = [](const Kalvex::Image& image) -> std::size_t {
        return image.getData() ? image.getData()->getPixel().size() : 0;
    };
    if (const auto* single = dynamic_cast<const Kalvex::SFImage*>(&field))
        return size(single->getValue()) > kLimit;
    if (const auto* multi = dynamic_cast<const Kalvex::MFImage*>(&field)) {
        std::size_t total = 0;
        for (const Kalvex::Image& image : multi->getValue()) total += size(image);
        return total > kLimit;
    }
    return false;
}

inline std::string textOf(const Field& field) {
    std::string out;
    field.getStrValue(out);
    return out;
}

}  // namespace KalvexFuzz
