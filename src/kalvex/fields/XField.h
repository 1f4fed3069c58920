#pragma once
// The templates all concrete field classes are made from. T is the value type; fieldDep says
// that each element must know the field that holds it (true only for node links), so that every
// element a field creates gets its back pointer before the value is assigned to it.

#include <iterator>
#include <list>
#include <vector>

#include "kalvex/fields/Field.h"
#include "kalvex/object/Logging.h"

namespace Kalvex {

namespace detail {
// Gives a new element its back pointer when the value type asks for one.
template <class T, bool fieldDep>
inline void bindElement(T& element, Field* field) {
    if constexpr (fieldDep) element.setField(field);
    (void)element;
    (void)field;
}
}  // namespace detail

template <class T, bool fieldDep>
class XField : public Field {
  public:
    using ValueType = T;
    static constexpr bool kFieldDep = fieldDep;

    explicit XField(Node& node) : Field(node), _value() {}

    // Plain accessors: they neither mark nor send.
    const T& getValue() const { return _value; }
    T& editValue() { return _value; }
    void setValue(const T& value) { _value = value; }

    bool equalValue(const Field& other) const override {
        const XField* same = dynamic_cast<const XField*>(&other);
        if (!same) {
            KFATAL("Type mismatch in XField::opperator==\n");
            return false;
        }
        return _value == same->_value;
    }

    virtual void addValueFieldDep(const T& values, bool replace) = 0;

  protected:
    T _value;
};

template <class T, bool fieldDep>
class SField : public XField<T, fieldDep> {
  public:
    static constexpr bool kSingle = true;
    explicit SField(Node& node) : XField<T, fieldDep>(node) {
        detail::bindElement<T, fieldDep>(this->_value, this);
    }

    Field::Cardinality cardinality() const override { return Field::CardinalitySingle; }
    unsigned int size() const override { return 1; }
    bool empty() const override { return false; }
    void resize(unsigned int) override {}
    void reserve(unsigned int) override {}
    void clear() override {}
    void free() override {}
    void addValueFieldDep(const T&, bool) override {}

    const char* addValueByStr(const char* text, Field::Cardinality) override {
        this->setValueByStr(text);
        return nullptr;
    }
    std::string get1ValueAsBin(int) const override { return this->getBinValue(-1); }
    void set1ValueByBin(int, const std::string& data) override { this->setValueByBin(data); }
};

template <class C, bool fieldDep>
class MField : public XField<C, fieldDep> {
  public:
    using Container = C;
    using ElementType = typename C::value_type;
    static constexpr bool kSingle = false;

    explicit MField(Node& node) : XField<C, fieldDep>(node) {}

    Field::Cardinality cardinality() const override { return Field::CardinalityMulti; }
    unsigned int size() const override { return unsigned(this->_value.size()); }
    bool empty() const override { return this->_value.empty(); }
    void clear() override { this->_value.clear(); }
    void free() override { C().swap(this->_value); }

    // Appends one element, bound to this field before the value is assigned.
    ElementType& addValue(const ElementType& value) {
        this->_value.emplace_back();
        ElementType& element = this->_value.back();
        detail::bindElement<ElementType, fieldDep>(element, this);
        element = value;
        return element;
    }
};

template <class T, bool fieldDep>
class MVField : public MField<std::vector<T>, fieldDep> {
  public:
    using Container = std::vector<T>;

    explicit MVField(Node& node) : MField<std::vector<T>, fieldDep>(node) {}

    void resize(unsigned int n) override {
        size_t old = this->_value.size();
        this->_value.resize(n, T());
        for (size_t i = old; i < n; ++i) detail::bindElement<T, fieldDep>(this->_value[i], this);
    }
    void reserve(unsigned int n) override { this->_value.reserve(n); }

    void addValueFieldDep(const Container& values, bool replace) override {
        size_t start = replace ? 0 : this->_value.size();
        resize(unsigned(start + values.size()));
        for (size_t i = 0; i < values.size(); ++i) this->_value[start + i] = values[i];
    }

    // Inserts before index; a negative index appends.
    T* insertValue(int index, const T& value) {
        if (index < 0 || size_t(index) >= this->_value.size()) return &this->addValue(value);
        auto it = this->_value.insert(this->_value.begin() + index, T());
        detail::bindElement<T, fieldDep>(*it, this);
        *it = value;
        return &*it;
    }
};

template <class T, bool fieldDep>
class MLField : public MField<std::list<T>, fieldDep> {
  public:
    using Container = std::list<T>;

    explicit MLField(Node& node) : MField<std::list<T>, fieldDep>(node) {}

    void resize(unsigned int n) override {
        while (this->_value.size() > n) this->_value.pop_back();
        while (this->_value.size() < n) this->addValue(T());
    }
    void reserve(unsigned int) override {}

    void addValueFieldDep(const Container& values, bool replace) override {
        if (replace) this->_value.clear();
        for (const T& value : values) this->addValue(value);
    }

    // Steps index times from the front; landing on the end appends. A negative index appends.
    T* insertValue(int index, const T& value) {
        auto it = this->_value.begin();
        if (index < 0) {
            it = this->_value.end();
        } else {
            // Steps go round the list through its end position, as a circular list walks.
            size_t steps = size_t(index) % (this->_value.size() + 1);
            std::advance(it, steps);
        }
        it = this->_value.insert(it, T());
        detail::bindElement<T, fieldDep>(*it, this);
        *it = value;
        return &*it;
    }
};

}  // namespace Kalvex
