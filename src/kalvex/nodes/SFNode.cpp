#include "kalvex/nodes/SFNode.h"

#include <cctype>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace {

bool isBlank(const char* text) {
    if (!text) return true;
    for (; *text; ++text)
        if (!std::isspace(static_cast<unsigned char>(*text))) return false;
    return true;
}

}  // namespace

void SFNodeCodec::setStr(F&, const char* text) {
    if (isBlank(text)) return;
    KFATAL("SFNode::setValueByStr( %s ) is not impl.\n", text);
}

void SFNodeCodec::getStr(const F&, std::string&) {
    KFATAL("SFNode::getValueByField() is not impl.\n");
}

void SFNodeCodec::set1Bin(F&, int, const std::string&) {}

bool SFNodeCodec::setField(F& f, const Field& other, ConvertParam*) {
    switch (other.dataType()) {
        case SFNodeType:
            f.editValue() = static_cast<const SFNode&>(other).link();
            return true;
        case MFNodeType: {
            const auto& links = static_cast<const MFNode&>(other).getValue();
            if (links.empty()) return false;
            f.editValue() = links.front();
            return true;
        }
        default:
            return fromOtherField(f, other);
    }
}

}  // namespace Kalvex
