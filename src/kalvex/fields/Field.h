#pragma once

#include <list>
#include <string>

#include "kalvex/fields/NodePart.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class EventInSlot;
class EventOutSlot;
class ConvertParam;

// One typed value of one node: what scene text sets, routes carry, change tracking counts and
// writers print. Listeners and slots are made on demand; a field costs its value plus five
// pointers.
class Field : public NodePart {
  public:
    enum Cardinality { CardinalitySingle = 0, CardinalityMulti = 1 };
    enum CallerType { CallerDefault = 0, CallerForceSend = 1 };

    class Listener {
      public:
        virtual ~Listener() = default;
        virtual void valueChanged(const TimeStamp& time, Field& field) = 0;
    };
    using ListenerList = std::list<Listener*>;

    // Inline, so that making the fields of a node costs no calls: most fields never get
    // listeners or slots.
    explicit Field(Node& node)
        : NodePart(node), _listeners(nullptr), _inSlot(nullptr), _outSlot(nullptr) {}
    ~Field() override {
        if (_listeners || _inSlot || _outSlot) releaseParts();
    }

    const char* findName() const override;
    NodePartType type() const override;
    const char* typeName() const override { return _typeName; }

    // Text and binary forms.
    virtual void setValueByStr(const char* text) = 0;
    virtual bool setAndValidateValueByStr(const char* text, bool validate);
    virtual void setValueByBin(unsigned char* data, unsigned int size) = 0;
    virtual bool setValueByField(const Field& other, ConvertParam* param) = 0;
    // Converts the value of a field of another data type into target under param's mode (null:
    // mode 0, value 0); false for a pair with no conversion (see ValueConversion.h).
    static bool assign(Field& target, const Field& source, ConvertParam* param);
    virtual void setValueByBin(const std::string& data);
    virtual unsigned int getBinSize() = 0;
    virtual unsigned int getBinValue(unsigned char* data) = 0;
    virtual std::string& getStrValue(std::string& out) const = 0;
    virtual std::string getBinValue(int component) const;
    virtual std::string get1ValueAsBin(int index) const;
    virtual const char* addValueByStr(const char* text, Cardinality mode) = 0;
    virtual void set1ValueByBin(int index, const std::string& data);

    // Container view.
    virtual Cardinality cardinality() const = 0;
    virtual unsigned int size() const = 0;
    virtual bool empty() const = 0;
    virtual void resize(unsigned int n) = 0;
    virtual void reserve(unsigned int n) = 0;
    virtual void clear() = 0;
    virtual void free() = 0;
    virtual bool equalValue(const Field& other) const = 0;

    // Calls addValueByStr at the start of each run of non-delimiters; returns the count.
    int splitAndAddValues(const char* text, const char* delimiters);
    // The value as text, for messages.
    std::string strValue() const;

    // Slots: created on request for the part kinds that have them (or always with force).
    void createInSlot(bool force);
    void createOutSlot(bool force);
    EventInSlot* inSlot() const { return _inSlot; }
    EventOutSlot* outSlot() const { return _outSlot; }
    unsigned int inRouteCount(bool all, bool withObservers) const;
    unsigned int outRouteCount(bool all, bool withObservers) const;

    void addListener(Listener* listener);
    void removeListener(Listener* listener);
    void callListeners(const TimeStamp& time);
    const ListenerList* listeners() const { return _listeners; }

    // Change machinery.
    const NodePartMask& partMask() const { return _desc ? _desc->mask : _nullMask; }
    void markChanged();
    void processValueChange(const TimeStamp& time, CallerType caller = CallerDefault);
    void send(const TimeStamp& time, bool setChanging, bool onlyIS);
    bool receive(const TimeStamp& time);

    // Sets the row's default text. The text is parsed once per row and field class and copied
    // after that, so a malformed default is reported by the first field only.
    void setDefaultValue(const TimeStamp&) {
        if (_desc && !_desc->defaultValue.empty()) applyDefaultValue(*_desc);
    }
    bool valueIsDefault();
    void dump(bool withNode) const;

    static const char* _typeName;

  protected:
    // Deletes the listener list (not the listeners) and the slots, which disconnects routes.
    void releaseParts();
    // Gives the field the value of the row's non-empty default text.
    virtual void applyDefaultValue(const NodePartDesc& desc);

    ListenerList* _listeners;
    EventInSlot* _inSlot;
    EventOutSlot* _outSlot;
};

}  // namespace Kalvex
