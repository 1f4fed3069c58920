// The change machinery of a field on its node: marking, receiving, sending, listeners, the loop
// guard, the default value rules and the messages on the way.

#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <limits>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/events/EventSlot.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Observer.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;

// Part indices of the test type.
enum Part : unsigned {
    PLogFeature,
    PMetadata,
    PField,      // SFFloat field, default 1.5
    PIn,         // SFFloat eventIn
    POut,        // SFFloat eventOut
    PExpAuto,    // SFFloat exposedField, autoProcess
    PExpManual,  // SFFloat exposedField, autoProcess clear
    PMFEmpty,    // MFFloat field, no default
    PStrEmpty,   // SFString field, no default
    PIntEmpty,   // SFInt32 field, no default
    PMFTriple,   // MFFloat field, default "1 0 0"
    PZeroMask,   // SFFloat exposedField whose mask is 0
    PCount
};

NodePartDesc* testRows() {
    static NodePartDesc rows[PCount] = {
        {PLogFeature, 1UL << 0, PartExposedField, MFStringType, NodePartDesc::OptAutoProcess,
         "logFeature", "", "", "", ""},
        {PMetadata, 1UL << 1, PartExposedField, SFNodeType, NodePartDesc::OptAutoProcess,
         "metadata", "", "", "", ""},
        {PField, 1UL << 2, PartField, SFFloatType, 0, "size", "", "1.5", "", ""},
        {PIn, 1UL << 3, PartEventIn, SFFloatType, 0, "push", "", "", "", ""},
        {POut, 1UL << 4, PartEventOut, SFFloatType, 0, "level", "", "", "", ""},
        {PExpAuto, 1UL << 5, PartExposedField, SFFloatType, NodePartDesc::OptAutoProcess, "gain",
         "", "", "", ""},
        {PExpManual, 1UL << 6, PartExposedField, SFFloatType, 0, "bias", "", "", "", ""},
        {PMFEmpty, 1UL << 7, PartField, MFFloatType, 0, "weights", "", "", "", ""},
        {PStrEmpty, 1UL << 8, PartField, SFStringType, 0, "label", "", "", "", ""},
        {PIntEmpty, 1UL << 9, PartField, SFInt32Type, 0, "count", "", "", "", ""},
        {PMFTriple, 1UL << 10, PartField, MFFloatType, 0, "axis", "", "1 0 0", "", ""},
        {PZeroMask, 0, PartExposedField, SFFloatType, NodePartDesc::OptAutoProcess, "free", "", "",
         "", ""},
    };
    return rows;
}

NodeType& testType() {
    static NodeType type("CoreProbe", testRows(), PCount);
    return type;
}

// A node whose fieldChanged can be watched and given extra behaviour.
class ProbeNode : public Node {
  public:
    ProbeNode(NodeType& type, const char* name) : Node(type, name) {}
    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override {
        ++changedCalls;
        lastChangedTime = time;
        if (onChanged) onChanged(field);
        Node::fieldChanged(field, time, source);
    }
    int changedCalls = 0;
    TimeStamp lastChangedTime = -1.0;
    std::function<void(Field&)> onChanged;
};

struct SendRecord {
    TimeStamp time;
    Field* field;
    bool bitSetDuringSend;
};

// Hears every sendEvent of every out slot.
class SendRecorder : public Observer {
  public:
    SendRecorder() : Observer(EventSlot::_anyProcessEvent, "sendRecorder") {}
    void notify(const TimeStamp& time, BaseObject*, BaseObject* b, BaseObject*) override {
        Field* field = dynamic_cast<Field*>(b);
        bool bit = field && field->node()._isChangingMask.test(field->partMask());
        sends.push_back({time, field, bit});
        if (hook) hook(*field);
    }
    std::vector<SendRecord> sends;
    std::function<void(Field&)> hook;
};

class FieldCore : public ::testing::Test {
  protected:
    void SetUp() override {
        node = new ProbeNode(testType(), "probe");
        node->addRef();
        for (unsigned id = 0; id < PCount; ++id) {
            Field* f = FieldType::create(testRows()[id].dataType, *node);
            ASSERT_NE(f, nullptr) << id;
            fields.emplace_back(f);
            ASSERT_TRUE(node->regField(*f, testType(), id, true));
        }
        resetMarks();
    }
    void TearDown() override {
        // A test may have let the node die; its fields stay ours to delete.
        if (nodeAlive) node->_nodeLinkBag.clear();
        fields.clear();
        if (nodeAlive) node->subRef();
    }
    Field& field(Part p) { return *fields[p]; }
    SFFloat& sf(Part p) { return dynamic_cast<SFFloat&>(*fields[p]); }
    void resetMarks() {
        node->_changeFlags = 0;
        node->_changedMask = NodePartMask(0);
        node->_isChangingMask = NodePartMask(0);
    }

    ProbeNode* node = nullptr;
    bool nodeAlive = true;
    std::vector<std::unique_ptr<Field>> fields;
};

TEST_F(FieldCore, RegistrationAppliesTheDefaultAndSetDefaultValueNeedsItsText) {
    EXPECT_FLOAT_EQ(sf(PField).getValue(), 1.5f);
    EXPECT_STREQ(field(PField).findName(), "size");
    EXPECT_EQ(node->getField(PField), &field(PField));
    sf(PField).setValue(9.0f);
    field(PField).setDefaultValue(3.0);
    EXPECT_FLOAT_EQ(sf(PField).getValue(), 1.5f);
    sf(PExpAuto).setValue(9.0f);
    field(PExpAuto).setDefaultValue(3.0);  // empty default keeps the value
    EXPECT_FLOAT_EQ(sf(PExpAuto).getValue(), 9.0f);
}

TEST_F(FieldCore, FieldWithoutDescriptionIsAPlainValueHolder) {
    SFFloat loose(*node);
    {
        KalvexTest::LogCapture log;
        SendRecorder recorder;
        loose.createOutSlot(true);
        loose.setValue(2.0f);
        loose.processValueChange(5.0);
        EXPECT_TRUE(recorder.sends.empty());
        EXPECT_EQ(node->_changeFlags, 0u);
        EXPECT_TRUE(node->_changedMask.isZero());
        EXPECT_EQ(node->changedCalls, 0);
        EXPECT_EQ(log.text(), "");
        EXPECT_TRUE(loose.valueIsDefault());
    }
    // Its messages: the name at warning level, markChanged at info level.
    const std::pair<osg::LogLevel, const char*> levels[] = {
        {osg::LOG_FATAL, ""},
        {osg::LOG_WARNING, "WARNING\tKalvex\tField without desc cannot return name\n"},
        {osg::LOG_INFO,
         "WARNING\tKalvex\tField without desc cannot return name\n"
         "INFO\tKalvex\tField without desc in XField::markChanged()\n"},
    };
    for (const auto& [level, expected] : levels) {
        KalvexTest::LogCapture log(level);
        EXPECT_EQ(loose.findName(), nullptr);
        loose.markChanged();
        EXPECT_EQ(log.text(), expected);
        EXPECT_EQ(node->_changeFlags, 0u);
    }
}

// One change by node code: which path it takes for each part type and node state.
TEST_F(FieldCore, ChangePathsByPartTypeAndState) {
    const Field::CallerType D = Field::CallerDefault, F = Field::CallerForceSend;
    const TimeStamp T = 7.25;
    const struct {
        Part part;
        NodeState state;
        Field::CallerType caller;
        int fieldChangedCalls, sends;
        TimeStamp sendTime;
    } cases[] = {
        // A node that is not running passes the change on at time 0 and does not react.
        {PField, Kalvex::Setup, D, 0, 1, 0.0},
        {PIn, Kalvex::Setup, D, 0, 1, 0.0},
        {POut, Kalvex::Setup, D, 0, 1, 0.0},
        {PExpAuto, Kalvex::Setup, D, 0, 1, 0.0},
        {PExpManual, Kalvex::Setup, F, 0, 1, 0.0},
        {PExpAuto, Creation, D, 0, 1, 0.0},
        {PIn, Dispose, D, 0, 1, 0.0},
        // Running nodes.
        {PField, Live, D, 0, 1, T},
        {PIn, Live, D, 1, 1, T},
        {POut, Live, D, 0, 1, T},
        {PExpAuto, Live, D, 1, 1, T},
        {PExpManual, Live, D, 1, 0, 0.0},
        {PExpManual, Live, F, 1, 1, T},
        {PIn, Realize, D, 1, 1, T},
        {PExpManual, Realize, D, 1, 0, 0.0},
        {PExpAuto, Realize, F, 1, 1, T},
    };
    for (auto& f : fields) f->createOutSlot(true);
    KalvexTest::LogCapture log;
    for (const auto& c : cases) {
        SCOPED_TRACE(testing::Message() << "part " << c.part << " state " << int(c.state)
                                        << " caller " << int(c.caller));
        resetMarks();
        node->changedCalls = 0;
        node->setStateValue(c.state);
        SendRecorder recorder;
        field(c.part).processValueChange(T, c.caller);
        EXPECT_EQ(node->changedCalls, c.fieldChangedCalls);
        if (c.fieldChangedCalls) {
            EXPECT_EQ(node->lastChangedTime, T);
        }
        ASSERT_EQ(int(recorder.sends.size()), c.sends);
        if (c.sends) {
            EXPECT_EQ(recorder.sends[0].time, c.sendTime);
            EXPECT_EQ(recorder.sends[0].field, &field(c.part));
            EXPECT_TRUE(recorder.sends[0].bitSetDuringSend);
        }
        // Every path marks the field changed, and the changing bit is gone afterwards.
        EXPECT_TRUE(node->changedFlag());
        EXPECT_EQ(node->_changedMask, field(c.part).partMask());
        EXPECT_TRUE(node->_isChangingMask.isZero());
    }
    EXPECT_EQ(log.text(), "");

    // A changing bit already set on an auto-processed part is reported; processing goes on.
    node->setStateValue(Live);
    SendRecorder recorder;
    node->_isChangingMask = field(PExpAuto).partMask();
    field(PExpAuto).processValueChange(1.0);
    EXPECT_EQ(log.count("CoreProbe/probe.gain: processValueChange() && _isChangingMask set\n"), 1);
    EXPECT_EQ(recorder.sends.size(), 1u);
    node->_isChangingMask = field(PExpManual).partMask();
    field(PExpManual).processValueChange(1.0);
    EXPECT_EQ(log.count("_isChangingMask set"), 1);
}

TEST_F(FieldCore, MarkChangedWalksTheParentsOncePerFlag) {
    // probe <- parent <- grandParent, linked through fields that belong to the parents.
    ProbeNode* parent = new ProbeNode(testType(), "parent");
    ProbeNode* grandParent = new ProbeNode(testType(), "grand");
    parent->addRef();
    grandParent->addRef();
    SFFloat parentField(*parent), grandField(*grandParent);
    NodeLink toProbe, toParent;
    toProbe.setField(&parentField);
    toParent.setField(&grandField);
    node->_nodeLinkBag.push_back(&toProbe);
    parent->_nodeLinkBag.push_back(&toParent);
    parent->_changeFlags = 0;
    grandParent->_changeFlags = 0;

    field(PField).markChanged();
    EXPECT_EQ(node->_changeFlags, uint32_t(Node::FieldChanged));
    EXPECT_EQ(parent->_changeFlags, uint32_t(Node::DescendantChanged));
    EXPECT_EQ(grandParent->_changeFlags, uint32_t(Node::DescendantChanged));

    // While the node carries the changed flag, further marks do not walk again.
    grandParent->_changeFlags = 0;
    field(PField).markChanged();
    field(PIn).markChanged();
    EXPECT_EQ(grandParent->_changeFlags, 0u);
    EXPECT_EQ(node->_changedMask, field(PField).partMask() | field(PIn).partMask());

    // Once the flag is cleared the next mark walks, and stops at a parent that has the bit.
    node->_changeFlags = 0;
    parent->_changeFlags = Node::DescendantChanged;
    field(PField).markChanged();
    EXPECT_EQ(grandParent->_changeFlags, 0u);
    node->_changeFlags = 0;
    parent->_changeFlags = 0;
    field(PField).markChanged();
    EXPECT_EQ(grandParent->_changeFlags, uint32_t(Node::DescendantChanged));

    parent->_nodeLinkBag.clear();
    node->_nodeLinkBag.clear();
    parent->subRef();
    grandParent->subRef();
}

class OrderListener : public Field::Listener {
  public:
    OrderListener(std::vector<std::string>& journal, std::string name)
        : _journal(journal), _name(std::move(name)) {}
    void valueChanged(const TimeStamp& time, Field& field) override {
        _journal.push_back(_name);
        lastTime = time;
        lastField = &field;
    }
    TimeStamp lastTime = -1;
    Field* lastField = nullptr;

  private:
    std::vector<std::string>& _journal;
    std::string _name;
};

TEST_F(FieldCore, ListenersHearFirstInOrderWithDuplicates) {
    std::vector<std::string> journal;
    OrderListener a(journal, "a"), b(journal, "b");
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    f.addListener(&a);
    f.addListener(&b);
    f.addListener(&a);
    SendRecorder recorder;
    recorder.hook = [&](Field&) { journal.push_back("slot"); };
    node->setStateValue(Live);
    f.processValueChange(3.5);
    EXPECT_EQ(journal, (std::vector<std::string>{"a", "b", "a", "slot"}));
    EXPECT_EQ(a.lastTime, 3.5);
    EXPECT_EQ(a.lastField, &f);

    // Removal takes every entry of that listener; the last removal deletes the list.
    journal.clear();
    f.removeListener(&a);
    f.callListeners(1.0);
    EXPECT_EQ(journal, std::vector<std::string>{"b"});
    f.removeListener(&b);
    EXPECT_EQ(f.listeners(), nullptr);
    f.removeListener(&b);

    // A field without out slot still calls its listeners, at time 0 outside Live.
    Field& plain = field(PField);
    plain.addListener(&a);
    node->setStateValue(Kalvex::Setup);
    plain.processValueChange(2.0);
    EXPECT_EQ(journal, (std::vector<std::string>{"b", "a"}));
    EXPECT_EQ(a.lastTime, 0.0);
    EXPECT_EQ(recorder.sends.size(), 1u);
    EXPECT_EQ(plain.outSlot(), nullptr);
    plain.removeListener(&a);
}

TEST_F(FieldCore, SendSetsTheChangingBitOnlyWhenAskedAndNestedSendClearsIt) {
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    SendRecorder recorder;
    f.send(1.0, false, false);
    ASSERT_EQ(recorder.sends.size(), 1u);
    EXPECT_FALSE(recorder.sends[0].bitSetDuringSend);

    // A nested send of the same field clears the bit for the outer send too.
    bool bitAfterNested = true;
    int depth = 0;
    recorder.hook = [&](Field& sent) {
        if (depth++ > 0) return;
        sent.send(2.0, true, false);
        bitAfterNested = node->_isChangingMask.test(sent.partMask());
    };
    f.send(1.0, true, false);
    EXPECT_EQ(recorder.sends.size(), 3u);
    EXPECT_TRUE(recorder.sends[1].bitSetDuringSend);
    EXPECT_FALSE(bitAfterNested);
    EXPECT_TRUE(node->_isChangingMask.isZero());
}

TEST_F(FieldCore, FieldThatTriggersItselfStopsAtTheSecondEntry) {
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    node->setStateValue(Live);
    SendRecorder recorder;
    // What a route from the field back to itself does: deliver the sent value to receive.
    recorder.hook = [&](Field& sent) { EXPECT_TRUE(sent.receive(9.0)); };
    KalvexTest::LogCapture log;
    f.processValueChange(9.0);
    EXPECT_EQ(node->changedCalls, 2);
    EXPECT_EQ(log.count("Field CoreProbe/probe.gain is already changing; break loop\n"), 1);
    EXPECT_EQ(recorder.sends.size(), 1u);
    EXPECT_TRUE(node->_isChangingMask.isZero());
}

TEST_F(FieldCore, LoopGuardInNodeFieldChanged) {
    KalvexTest::LogCapture log;
    Field& f = field(PExpAuto);
    // Without the bit: set while running, cleared afterwards, no message.
    bool bitWhileRunning = false;
    node->onChanged = [&](Field&) { bitWhileRunning = node->_isChangingMask.test(f.partMask()); };
    node->fieldChanged(f, 1.0, nullptr);
    EXPECT_FALSE(bitWhileRunning);  // the override runs before Node::fieldChanged sets it
    EXPECT_TRUE(node->_isChangingMask.isZero());
    EXPECT_FALSE(log.contains("already changing"));

    // With the bit already set: reported and left set.
    node->_isChangingMask = f.partMask();
    node->Node::fieldChanged(f, 1.0, nullptr);
    EXPECT_TRUE(log.contains("Field CoreProbe/probe.gain is already changing; break loop\n"));
    EXPECT_EQ(node->_isChangingMask, f.partMask());

    // A part with mask 0 goes straight through, and so does a field without a row.
    log.clear();
    node->_isChangingMask = NodePartMask(~0UL);
    node->Node::fieldChanged(field(PZeroMask), 1.0, nullptr);
    SFFloat loose(*node);
    node->Node::fieldChanged(loose, 1.0, nullptr);
    EXPECT_FALSE(log.contains("already changing"));
}

TEST_F(FieldCore, NodeDyingInsideFieldChangedEndsReceiveWithoutSend) {
    KalvexTest::LogCapture log;
    EXPECT_TRUE(field(PIn).receive(1.0));  // a live node answers true and keeps its count
    EXPECT_EQ(node->refCount(), 1);
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    node->setStateValue(Live);
    SendRecorder recorder;
    node->onChanged = [&](Field&) {
        nodeAlive = false;
        node->subRef();  // the last reference outside receive
    };
    const unsigned before = Node::idMapSize();
    EXPECT_FALSE(log.contains("SubRef to zero"));
    f.processValueChange(1.0);
    EXPECT_TRUE(log.contains("SubRef to zero in Field::receive()\n"));
    EXPECT_TRUE(recorder.sends.empty());
    EXPECT_EQ(Node::idMapSize(), before - 1);  // the node is gone
}

TEST_F(FieldCore, LogFeaturesReportReceiveAndValueChange) {
    KalvexTest::LogCapture log{osg::LOG_FATAL};  // level 0 lines pass any level
    sf(PExpAuto).setValue(2.0f);
    node->setStateValue(Live);
    field(PExpAuto).processValueChange(1.5);
    EXPECT_FALSE(log.contains("processValueChange()"));
    EXPECT_FALSE(log.contains("Field Receive"));

    node->_logFeatureMask.setBit(Node::LogValueChange);
    node->_logFeatureMask.setBit(Node::LogEventIn);
    field(PExpAuto).processValueChange(1.5);
    EXPECT_TRUE(log.contains("CoreProbe/probe.gain: processValueChange()\n"));
    EXPECT_TRUE(log.contains("CoreProbe/probe Field Receive on gain: 1.500000/"));
}

TEST_F(FieldCore, SlotsRouteCountsAndTheOutSlotSubject) {
    Field& f = field(POut);
    EXPECT_EQ(f.outRouteCount(true, true), 0u);
    f.createOutSlot(false);
    struct Watcher : Observer {
        using Observer::Observer;
        void notify(const TimeStamp& t, BaseObject* a, BaseObject* b, BaseObject*) override {
            times.push_back(t);
            slot = a;
            sent = b;
        }
        std::vector<TimeStamp> times;
        BaseObject *slot = nullptr, *sent = nullptr;
    } watcher(*f.outSlot()->processEventSubject(), "w");
    EXPECT_EQ(f.outRouteCount(true, false), 0u);
    EXPECT_EQ(f.outRouteCount(true, true), 1u);
    EXPECT_EQ(f.outSlot()->processEventSubject()->getName(), "level");
    node->setStateValue(Live);
    f.processValueChange(6.0);
    EXPECT_EQ(watcher.times, std::vector<TimeStamp>{6.0});
    EXPECT_EQ(watcher.slot, f.outSlot());
    EXPECT_EQ(watcher.sent, &f);

    // Without force only the part kinds with that side get a slot.
    for (Part p : {PField, PIn}) {
        field(p).createInSlot(false);
        field(p).createOutSlot(false);
        EXPECT_EQ(field(p).inSlot() != nullptr, p == PIn);
        EXPECT_EQ(field(p).outSlot(), nullptr);
    }
    SFFloat loose(*node);
    loose.createInSlot(false);
    EXPECT_EQ(loose.inSlot(), nullptr);
    loose.createInSlot(true);
    ASSERT_NE(loose.inSlot(), nullptr);
    EXPECT_EQ(loose.inSlot()->processEventSubject()->getName(), "NoName");

    // An exported node gets out slots on send, except for plain fields.
    static const std::string exportName = "probeExport";
    node->_exportName = &exportName;
    SendRecorder recorder;
    field(PExpAuto).send(4.0, true, false);
    field(PField).send(4.0, true, false);
    EXPECT_NE(field(PExpAuto).outSlot(), nullptr);
    EXPECT_EQ(field(PField).outSlot(), nullptr);
    EXPECT_EQ(recorder.sends.size(), 1u);
    node->_exportName = nullptr;
}

// valueIsDefault compares parsed values, never texts.
TEST_F(FieldCore, ValueIsDefault) {
    auto& mf = dynamic_cast<MFFloat&>(field(PMFEmpty));
    auto& str = dynamic_cast<SFString&>(field(PStrEmpty));
    auto& num = dynamic_cast<SFInt32&>(field(PIntEmpty));
    EXPECT_TRUE(mf.valueIsDefault());
    EXPECT_TRUE(str.valueIsDefault());
    mf.editValue().push_back(0.0f);
    str.setValue("x");
    num.setValue(0);  // no default text: even 0 is no default for a number
    EXPECT_FALSE(mf.valueIsDefault());
    EXPECT_FALSE(str.valueIsDefault());
    EXPECT_FALSE(num.valueIsDefault());

    EXPECT_TRUE(field(PField).valueIsDefault());  // 1.5 from its default
    field(PField).setValueByStr("1.50e0");
    EXPECT_TRUE(field(PField).valueIsDefault());
    sf(PField).setValue(1.25f);
    EXPECT_FALSE(field(PField).valueIsDefault());

    Field& axis = field(PMFTriple);  // default "1 0 0"
    const std::pair<const char*, bool> texts[] = {
        {"1.0, 0, 0", true}, {"0 0 1", false}, {"1 0 0 0", false}, {"1 0", false}};
    for (const auto& [text, isDefault] : texts) {
        axis.setValueByStr(text);
        EXPECT_EQ(axis.valueIsDefault(), isDefault) << text;
    }
}

// A prototype instance compares with the declaration's current value, not with the text.
class ProtoProbeType : public NodeType {
  public:
    using NodeType::NodeType;
    void setDeclaration(Node* node) { _protoDeclaration = node; }
};

TEST(FieldCoreProto, InstanceComparesWithTheDeclaration) {
    // Own copies of the rows: a type binds the rows it is given to itself.
    static std::vector<NodePartDesc> rows(testRows(), testRows() + PCount);
    static ProtoProbeType protoType("CoreProto", rows.data(), PCount);
    Node* decl = new Node(protoType, "decl");
    Node* inst = new Node(protoType, "inst");
    decl->addRef();
    inst->addRef();
    SFFloat declField(*decl), instField(*inst);
    decl->regField(declField, protoType, PField, true);
    inst->regField(instField, protoType, PField, true);
    protoType.setDeclaration(decl);

    declField.setValue(8.0f);
    instField.setValue(8.0f);
    EXPECT_TRUE(instField.valueIsDefault());
    instField.setValue(1.5f);  // the default text no longer counts
    EXPECT_FALSE(instField.valueIsDefault());

    // A part that the declaration has no field for falls back to the default text.
    SFInt32 instCount(*inst);
    inst->regField(instCount, protoType, PIntEmpty, true);
    EXPECT_FALSE(instCount.valueIsDefault());

    protoType.setDeclaration(nullptr);
    inst->unregField(PField);
    inst->unregField(PIntEmpty);
    decl->unregField(PField);
    inst->subRef();
    decl->subRef();
}

TEST_F(FieldCore, EqualValueAcrossClasses) {
    KalvexTest::LogCapture log;
    const char* mismatch = "Type mismatch in XField::opperator==\n";
    SFFloat a(*node), c(*node);
    SFInt32 b(*node);
    EXPECT_FALSE(a.equalValue(b));
    EXPECT_EQ(log.count(mismatch), 1);

    // Classes of one template instance compare by value.
    SFTime time(*node);
    SFDouble number(*node);
    time.setValue(2.5);
    number.setValue(2.5);
    EXPECT_TRUE(number.equalValue(time));
    number.setValue(2.25);
    EXPECT_FALSE(time.equalValue(number));
    MFTime times(*node);
    MFDouble numbers(*node);
    times.editValue() = {1.0, 2.0};
    for (const std::vector<double>& other :
         {std::vector<double>{1.0, 2.0}, std::vector<double>{2.0, 1.0},
          std::vector<double>{1.0, 2.0, 3.0}}) {
        numbers.editValue() = other;
        EXPECT_EQ(times.equalValue(numbers), other.size() == 2 && other[0] == 1.0);
    }
    EXPECT_EQ(log.count(mismatch), 1);
    // Single against multi of the same element type is a mismatch.
    EXPECT_FALSE(number.equalValue(numbers));
    EXPECT_EQ(log.count(mismatch), 2);

    // Floats compare exactly: NaN differs even from itself.
    a.setValue(std::numeric_limits<float>::quiet_NaN());
    EXPECT_FALSE(a.equalValue(a));
    a.setValue(0.1f);
    c.setValue(0.1f + 1e-7f);
    EXPECT_FALSE(a.equalValue(c));
}

TEST_F(FieldCore, DumpTexts) {
    KalvexTest::LogCapture log{osg::LOG_FATAL};
    auto& count = dynamic_cast<SFInt32&>(field(PIntEmpty));
    count.setValue(7);
    node->setStateValue(Live);
    count.dump(false);
    count.dump(true);
    SFInt32 loose(*node);
    loose.setValue(-3);
    loose.dump(false);
    EXPECT_EQ(log.count("FieldDump: count, dataType SFInt32, value: 7\n"), 2);
    EXPECT_EQ(log.count(" Node: probe, Live, CoreProbe\n"), 1);
    EXPECT_TRUE(log.contains("FieldDump: NoName, dataType SFInt32, value: -3\n"));
}

}  // namespace
