#pragma once
// Member bodies of FieldImpl; included only by FieldClasses.cpp, which instantiates them.

#include <atomic>
#include <string>
#include <typeinfo>

#include "kalvex/fields/FieldImpl.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

template <class Base, class Codec>
void FieldImpl<Base, Codec>::setValueByStr(const char* text) {
    Codec::setStr(*this, text);
}

template <class Base, class Codec>
std::string& FieldImpl<Base, Codec>::getStrValue(std::string& out) const {
    Codec::getStr(*this, out);
    return out;
}

template <class Base, class Codec>
const char* FieldImpl<Base, Codec>::addValueByStr(const char* text, Field::Cardinality mode) {
    if constexpr (requires(Base & f) { Codec::addStr(f, text, mode); })
        return Codec::addStr(*this, text, mode);
    else if constexpr (Base::kSingle)
        return Base::addValueByStr(text, mode);
    else {
        KFATAL("%s::addValueByStr() for partial data not impl.\n", this->dataTypeName());
        return nullptr;
    }
}

template <class Base, class Codec>
std::string FieldImpl<Base, Codec>::getBinValue(int component) const {
    if constexpr (requires(const Base& f) { Codec::getBin(f, component); })
        return Codec::getBin(*this, component);
    KFATAL("%s::getBinValue() is not imp\n", this->dataTypeName());
    return std::string();
}

template <class Base, class Codec>
void FieldImpl<Base, Codec>::setValueByBin(const std::string& data) {
    if constexpr (requires(Base & f) { Codec::setBin(f, data); })
        Codec::setBin(*this, data);
    else
        KFATAL("%s::setValueByBin() is not imp\n", this->dataTypeName());
}

template <class Base, class Codec>
std::string FieldImpl<Base, Codec>::get1ValueAsBin(int index) const {
    if constexpr (requires(const Base& f) { Codec::get1Bin(f, index); })
        return Codec::get1Bin(*this, index);
    else if constexpr (Base::kSingle)
        return Base::get1ValueAsBin(index);
    KFATAL("%s::get1ValueByBin() is not imp\n", this->dataTypeName());
    return std::string();
}

template <class Base, class Codec>
void FieldImpl<Base, Codec>::set1ValueByBin(int index, const std::string& data) {
    if constexpr (requires(Base & f) { Codec::set1Bin(f, index, data); })
        Codec::set1Bin(*this, index, data);
    else if constexpr (Base::kSingle)
        Base::set1ValueByBin(index, data);
    else
        KFATAL("%s::set1ValueByBin() is not imp\n", this->dataTypeName());
}

// Raw buffer forms: no class has them, but the image's restore and the silent wildcards.
template <class Base, class Codec>
void FieldImpl<Base, Codec>::setValueByBin(unsigned char* data, unsigned int size) {
    if constexpr (requires(Base & f) { Codec::setRaw(f, data, size); })
        Codec::setRaw(*this, data, size);
    else if constexpr (!requires { Codec::rawSilent; })
        KFATAL("%s setValueByBin not Impl\n", (std::string(this->dataTypeName()) + ".cpp").c_str());
}

template <class Base, class Codec>
unsigned int FieldImpl<Base, Codec>::getBinSize() {
    if constexpr (!requires { Codec::rawSilent; })
        KFATAL("%s getBinSize not Impl\n", (std::string(this->dataTypeName()) + ".cpp").c_str());
    return 0;
}

template <class Base, class Codec>
unsigned int FieldImpl<Base, Codec>::getBinValue(unsigned char*) {
    if constexpr (!requires { Codec::rawSilent; })
        KFATAL("%s getBinValue not Impl\n", (std::string(this->dataTypeName()) + ".cpp").c_str());
    return 0;
}

template <class Base, class Codec>
bool FieldImpl<Base, Codec>::setValueByField(const Field& other, ConvertParam* param) {
    if constexpr (requires(Base & f) { Codec::setField(f, other, param); })
        return Codec::setField(*this, other, param);
    // The same class: a plain copy, whatever the mode. The classes are final and each has its
    // own data type; the type identity tells without the two virtual calls the number takes.
    if (typeid(other) == typeid(*this)) {
        if (&other == this) return true;
        const Base& same = static_cast<const Base&>(other);
        if constexpr (Base::kFieldDep && !Base::kSingle)
            this->addValueFieldDep(same.getValue(), true);  // keeps the back pointers
        else
            this->_value = same.getValue();
        return true;
    }
    return Field::assign(*this, other, param);
}

template <class Base, class Codec>
bool FieldImpl<Base, Codec>::equalValue(const Field& other) const {
    if constexpr (requires(const Base& f) { Codec::equal(f, other); })
        return Codec::equal(*this, other);
    else
        return Base::equalValue(other);
}

template <class Base, class Codec>
void FieldImpl<Base, Codec>::applyDefaultValue(const NodePartDesc& desc) {
    // Links are not values to share, and their text forms only report.
    if constexpr (Base::kFieldDep) {
        Field::applyDefaultValue(desc);
    } else {
        using Value = typename Base::ValueType;
        struct Cache : NodePartDesc::DefaultValueCache {
            Value value;
        };
        static const char tag = 0;  // one per field class
        std::atomic<NodePartDesc::DefaultValueCache*>& slot = desc.defaultValueCache();
        const NodePartDesc::DefaultValueCache* cached = slot.load(std::memory_order_acquire);
        if (cached && cached->owner == &tag) {
            this->_value = static_cast<const Cache*>(cached)->value;
            return;
        }
        this->setValueByStr(desc.defaultValue.c_str());
        if (cached) return;  // another class owns the slot: parse each time
        auto* made = new Cache;
        made->owner = &tag;
        made->value = this->_value;
        NodePartDesc::DefaultValueCache* expected = nullptr;
        if (!slot.compare_exchange_strong(expected, made, std::memory_order_acq_rel)) delete made;
    }
}

}  // namespace Kalvex
