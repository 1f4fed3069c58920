// A field's change machinery on its node: marks, receive, send, listeners, loop guard, defaults.

#include <gtest/gtest.h>

#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <vector>

#include "kalvex/events/EventSlot.h"
#include "kalvex/fields/FieldClasses.h"
#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeLink.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/Observer.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/scopes/NodeNameSpace.h"
#include "support/LogCapture.h"

namespace {

using namespace Kalvex;

// Part indices of the test type (rows below: kind, data type, default).
// clang-format off
enum Part : unsigned {
    PLogFeature, PMetadata, PField, PIn, POut, PExpAuto, PExpManual,
    PMFEmpty, PStrEmpty, PIntEmpty, PMFTriple, PZeroMask, PCount
};
// clang-format on

// The test type's own rows, from index 2 on: "Node" gives logFeature and metadata.
NodePartDesc* testRows() {
    const auto A = NodePartDesc::OptAutoProcess;
    // clang-format off
    static NodePartDesc rows[PCount - PField] = {
        {PField, 1UL << 2, PartField, SFFloatType, 0, "size", "", "1.5", "", ""},
        {PIn, 1UL << 3, PartEventIn, SFFloatType, 0, "push", "", "", "", ""},
        {POut, 1UL << 4, PartEventOut, SFFloatType, 0, "level", "", "", "", ""},
        {PExpAuto, 1UL << 5, PartExposedField, SFFloatType, A, "gain", "", "", "", ""},
        {PExpManual, 1UL << 6, PartExposedField, SFFloatType, 0, "bias", "", "", "", ""},
        {PMFEmpty, 1UL << 7, PartField, MFFloatType, 0, "weights", "", "", "", ""},
        {PStrEmpty, 1UL << 8, PartField, SFStringType, 0, "label", "", "", "", ""},
        {PIntEmpty, 1UL << 9, PartField, SFInt32Type, 0, "count", "", "", "", ""},
        {PMFTriple, 1UL << 10, PartField, MFFloatType, 0, "axis", "", "1 0 0", "", ""},
        {PZeroMask, 0, PartExposedField, SFFloatType, A, "free", "", "", "", ""},
    };
    // clang-format on
    return rows;
}

// A node whose fieldChanged can be watched and given extra behaviour; it can also be put into
// a state or an exported mark without the machinery that normally sets them.
class ProbeNode : public Node {
  public:
    ProbeNode(NodeType& type, NodeNameSpace& scope, const char* name) : Node(type, scope, name) {}
    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override {
        ++changedCalls;
        lastChangedTime = time;
        if (onChanged) onChanged(field);
        Node::fieldChanged(field, time, source);
    }
    void setStateValue(NodeState state) { _state = state; }
    void setExportName(const std::string* name) { _exportName = name; }
    int changedCalls = 0;
    TimeStamp lastChangedTime = -1.0;
    std::function<void(Field&)> onChanged;
};

Node* makeProbe(NodeType& type, NodeNameSpace& scope, const char* name) {
    return new ProbeNode(type, scope, name);
}

NodeType& testType() {
    static NodeType type(theBaseNodeTypeFactory(), "CoreProbe", "Test", "Node", nullptr, "1.0",
                         "Test", "", "", "", "", false, false, nullptr, &makeProbe, nullptr,
                         testRows(), PCount - PField);
    static const bool built = [] {
        type.initType(true);
        // A part whose mask is 0 goes through fieldChanged without the loop guard; a table
        // cannot declare one, as the type numbers its rows.
        testRows()[PZeroMask - PField].mask = NodePartMask(0);
        return true;
    }();
    (void)built;
    return type;
}

NodeNameSpace& testScope() {
    static NodeNameSpace* scope = [] {
        auto* made = new NodeNameSpace("core", nullptr, false);
        made->addRef();
        return made;
    }();
    return *scope;
}

ProbeNode* newProbe(const char* name) {
    return static_cast<ProbeNode*>(testType().createNode(&testScope(), name, CreatorSystem));
}

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
    struct Record {
        TimeStamp time;
        Field* field;
        bool bitSetDuringSend;
    };
    std::vector<Record> sends;
    std::function<void(Field&)> hook;
};

class FieldCore : public ::testing::Test {
  protected:
    void SetUp() override {
        node->addRef();
        for (unsigned id = 0; id < PCount; ++id) {
            fields.emplace_back(FieldType::create(testType().findPartDesc(id)->dataType, *node));
            ASSERT_TRUE(fields.back() && node->regField(*fields.back(), testType(), id, true));
        }
        resetMarks();
    }
    void TearDown() override {
        // A test may have let the node die; its fields stay ours to delete.
        if (nodeAlive) {
            resetMarks();
            for (unsigned id = 0; id < PCount; ++id) node->unregField(id);
        }
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

    ProbeNode* node = newProbe("probe");
    bool nodeAlive = true;
    std::vector<std::unique_ptr<Field>> fields;
};

TEST_F(FieldCore, FieldWithoutDescriptionIsAPlainValueHolder) {
    SFFloat loose(*node);
    SendRecorder recorder;
    loose.createOutSlot(true);
    KalvexTest::LogCapture log(osg::LOG_WARNING);
    loose.processValueChange(5.0);
    loose.markChanged();  // its info line is below this level
    EXPECT_EQ(loose.findName(), nullptr);
    EXPECT_EQ(log.text(), "WARNING\tKalvex\tField without desc cannot return name\n");
    EXPECT_TRUE(node->_changeFlags == 0 && node->_changedMask.isZero());
    EXPECT_TRUE(recorder.sends.empty());
    EXPECT_EQ(node->changedCalls, 0);
}

// One change by node code: which path it takes for each part type and node state.
TEST_F(FieldCore, ChangePathsByPartTypeAndState) {
    const Field::CallerType D = Field::CallerDefault, F = Field::CallerForceSend;
    const TimeStamp T = 7.25;
    const NodeState S = Kalvex::Setup;
    // clang-format off
    const struct { Part part; NodeState state; Field::CallerType caller; int fieldChangedCalls, sends;
                   TimeStamp sendTime; } cases[] = {
        // A node that is not running passes the change on at time 0 and does not react.
        {PField, S, D, 0, 1, 0.0}, {PIn, S, D, 0, 1, 0.0}, {POut, S, D, 0, 1, 0.0},
        {PExpAuto, S, D, 0, 1, 0.0}, {PExpManual, S, F, 0, 1, 0.0},
        {PExpAuto, Creation, D, 0, 1, 0.0}, {PIn, Dispose, D, 0, 1, 0.0},
        // Running nodes.
        {PField, Live, D, 0, 1, T}, {PIn, Live, D, 1, 1, T}, {POut, Live, D, 0, 1, T},
        {PExpAuto, Live, D, 1, 1, T}, {PExpManual, Live, D, 1, 0, 0.0},
        {PExpManual, Live, F, 1, 1, T}, {PIn, Realize, D, 1, 1, T},
        {PExpManual, Realize, D, 1, 0, 0.0}, {PExpAuto, Realize, F, 1, 1, T},
    };
    // clang-format on
    for (auto& f : fields) f->createOutSlot(true);
    KalvexTest::LogCapture log;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        resetMarks();
        node->changedCalls = 0;
        node->lastChangedTime = -1;
        node->setStateValue(c.state);
        SendRecorder recorder;
        field(c.part).processValueChange(T, c.caller);
        EXPECT_EQ(node->changedCalls, c.fieldChangedCalls);
        EXPECT_EQ(node->lastChangedTime, c.fieldChangedCalls ? T : -1.0);
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
    // probe <- parent <- grand, linked through fields that belong to the parents.
    SmartPtr<ProbeNode> parent(newProbe("parent")), grand(newProbe("grand"));
    SFNode parentField(*parent), grandField(*grand);
    parentField.link().setNode(node);
    grandField.link().setNode(parent.get());
    const auto mark = [&](uint32_t self, uint32_t parentFlags, Part p = PField) {
        node->_changeFlags = self;
        parent->_changeFlags = parentFlags;
        grand->_changeFlags = 0;
        field(p).markChanged();
        return grand->_changeFlags;
    };
    const uint32_t changed = Node::FieldChanged, below = Node::DescendantChanged;
    EXPECT_EQ(mark(0, 0), below);
    EXPECT_TRUE(node->_changeFlags == changed && parent->_changeFlags == below);
    // While the node carries the changed flag a mark does not walk; a parent with the bit stops it.
    EXPECT_EQ(mark(changed, 0, PIn), 0u);
    EXPECT_EQ(node->_changedMask, field(PField).partMask() | field(PIn).partMask());
    EXPECT_EQ(mark(0, below), 0u);
}

struct OrderListener : Field::Listener {
    OrderListener(std::vector<std::string>& j, const char* n) : journal(j), name(n) {}
    void valueChanged(const TimeStamp& time, Field&) override {
        journal.push_back(name + "@" + std::to_string(int(time)));
    }
    std::vector<std::string>& journal;
    std::string name;
};

TEST_F(FieldCore, ListenersHearFirstInOrderWithDuplicates) {
    using Journal = std::vector<std::string>;
    Journal journal;
    OrderListener a(journal, "a"), b(journal, "b");
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    for (OrderListener* l : {&a, &b, &a}) f.addListener(l);
    SendRecorder recorder;
    recorder.hook = [&](Field&) { journal.push_back("slot"); };
    node->setStateValue(Live);
    f.processValueChange(3.0);
    // Removal takes every entry of that listener; the last removal deletes the list.
    f.removeListener(&a);
    f.callListeners(1.0);
    f.removeListener(&b);
    EXPECT_EQ(f.listeners(), nullptr);
    f.removeListener(&b);
    // A field without out slot still calls its listeners, at time 0 outside Live.
    field(PField).addListener(&a);
    node->setStateValue(Kalvex::Setup);
    field(PField).processValueChange(2.0);
    EXPECT_EQ(journal, (Journal{"a@3", "b@3", "a@3", "slot", "b@1", "a@0"}));
    EXPECT_EQ(recorder.sends.size(), 1u);
    field(PField).removeListener(&a);
}

TEST_F(FieldCore, SendSetsTheChangingBitOnlyWhenAskedAndNestedSendClearsIt) {
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    SendRecorder recorder;
    f.send(1.0, false, false);
    // A nested send of the same field clears the bit for the outer send too.
    bool bitAfterNested = true;
    recorder.hook = [&](Field& sent) {
        if (recorder.sends.size() > 2) return;
        sent.send(2.0, true, false);
        bitAfterNested = node->_isChangingMask.test(sent.partMask());
    };
    f.send(1.0, true, false);
    ASSERT_EQ(recorder.sends.size(), 3u);
    EXPECT_FALSE(recorder.sends[0].bitSetDuringSend);
    EXPECT_TRUE(recorder.sends[1].bitSetDuringSend);
    EXPECT_FALSE(bitAfterNested);
    EXPECT_TRUE(node->_isChangingMask.isZero());
}

TEST_F(FieldCore, LoopGuard) {
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    node->setStateValue(Live);
    SendRecorder recorder;
    // What a route from the field back to itself does: deliver the sent value to receive.
    recorder.hook = [&](Field& sent) { EXPECT_TRUE(sent.receive(9.0)); };
    KalvexTest::LogCapture log;
    const char* loop = "Field CoreProbe/probe.gain is already changing; break loop\n";
    f.processValueChange(9.0);
    EXPECT_EQ(node->changedCalls, 2);
    EXPECT_EQ(log.count(loop), 1);
    EXPECT_EQ(recorder.sends.size(), 1u);
    EXPECT_TRUE(node->_isChangingMask.isZero());

    // Node::fieldChanged with the bit already set: reported and left set.
    node->_isChangingMask = f.partMask();
    node->Node::fieldChanged(f, 1.0, nullptr);
    EXPECT_EQ(log.count(loop), 2);
    EXPECT_EQ(node->_isChangingMask, f.partMask());
    // A part with mask 0 goes straight through.
    node->_isChangingMask = NodePartMask(~0UL);
    node->Node::fieldChanged(field(PZeroMask), 1.0, nullptr);
    EXPECT_EQ(log.count("already changing"), 2);
}

TEST_F(FieldCore, NodeDyingInsideFieldChangedEndsReceiveWithoutSend) {
    KalvexTest::LogCapture log;
    EXPECT_TRUE(field(PIn).receive(1.0));  // a live node answers true and keeps its count
    EXPECT_EQ(node->refCount(), 1);
    field(PExpAuto).createOutSlot(false);
    node->setStateValue(Live);
    SendRecorder recorder;
    node->onChanged = [&](Field&) {
        nodeAlive = false;
        node->subRef();  // the last reference outside receive
    };
    const unsigned before = Node::idMapSize();
    field(PExpAuto).processValueChange(1.0);
    EXPECT_TRUE(log.contains("SubRef to zero in Field::receive()\n"));
    EXPECT_TRUE(recorder.sends.empty());
    EXPECT_EQ(Node::idMapSize(), before - 1);  // the node is gone
}

// A part of the type is one whose row is the type's row under its index: inherited rows count,
// though they belong to the parent type; a dynamic part and a row-less field do not.
TEST_F(FieldCore, TypePartsIncludeInheritedRows) {
    EXPECT_NE(field(PLogFeature).getDesc()->_refType, &testType());
    EXPECT_TRUE(field(PLogFeature).isNodeTypePart() && field(PField).isNodeTypePart());
    Field* dynamic = node->addDynamicField(PartField, SFFloatType, "extra", nullptr, nullptr,
                                           nullptr, false, false, true, nullptr);
    ASSERT_NE(dynamic, nullptr);
    EXPECT_FALSE(dynamic->isNodeTypePart());
    EXPECT_FALSE(SFFloat(*node).isNodeTypePart());
    EXPECT_TRUE(node->removeDynamicField(dynamic->getDesc()->ID));
}

TEST_F(FieldCore, OutSlotsRouteCountsAndExport) {
    Field& f = field(POut);
    EXPECT_EQ(f.outRouteCount(true, true), 0u);
    f.createOutSlot(false);
    Observer watcher(*f.outSlot()->processEventSubject(), "w");
    EXPECT_EQ(f.outRouteCount(true, false), 0u);
    EXPECT_EQ(f.outRouteCount(true, true), 1u);  // observers of the slot count as well
    EXPECT_EQ(f.outSlot()->processEventSubject()->getName(), "level");
    // An exported node gets out slots on send, except for plain fields.
    static const std::string exportName = "probeExport";
    node->setExportName(&exportName);
    SendRecorder recorder;
    field(PExpAuto).send(4.0, true, false);
    field(PField).send(4.0, true, false);
    EXPECT_TRUE(field(PExpAuto).outSlot() && !field(PField).outSlot());
    EXPECT_EQ(recorder.sends.size(), 1u);
    node->setExportName(nullptr);
}

// valueIsDefault compares parsed values, never texts.
TEST_F(FieldCore, ValueIsDefault) {
    EXPECT_TRUE(field(PMFEmpty).valueIsDefault() && field(PStrEmpty).valueIsDefault());
    dynamic_cast<MFFloat&>(field(PMFEmpty)).editValue().push_back(0.0f);
    dynamic_cast<SFString&>(field(PStrEmpty)).setValue("x");
    dynamic_cast<SFInt32&>(field(PIntEmpty)).setValue(0);  // no default text: 0 is no default
    for (Part p : {PMFEmpty, PStrEmpty, PIntEmpty}) EXPECT_FALSE(field(p).valueIsDefault()) << p;

    // Registration applied "1.5"; setDefaultValue restores it and keeps a value without one.
    EXPECT_TRUE(field(PField).valueIsDefault());
    sf(PField).setValue(9.0f);
    field(PField).setDefaultValue(3.0);
    EXPECT_FLOAT_EQ(sf(PField).getValue(), 1.5f);
    sf(PExpAuto).setValue(9.0f);
    field(PExpAuto).setDefaultValue(3.0);
    EXPECT_FLOAT_EQ(sf(PExpAuto).getValue(), 9.0f);

    // clang-format off
    const std::tuple<Part, const char*, bool> texts[] = {
        {PField, "1.50e0", true}, {PField, "1.25", false}, {PMFTriple, "1.0, 0, 0", true},
        {PMFTriple, "0 0 1", false}, {PMFTriple, "1 0 0 0", false}, {PMFTriple, "1 0", false}};
    // clang-format on
    for (const auto& [p, text, isDefault] : texts) {
        field(p).setValueByStr(text);
        EXPECT_EQ(field(p).valueIsDefault(), isDefault) << text;
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
    static std::vector<NodePartDesc> rows(testRows(), testRows() + (PCount - PField));
    static ProtoProbeType protoType(theBaseNodeTypeFactory(), "CoreProto", "Test", "Node", nullptr,
                                    "1.0", "Test", "", "", "", "", false, false, nullptr,
                                    &Node::createNode, nullptr, rows.data(), unsigned(rows.size()));
    protoType.initType(true);
    SmartPtr<Node> decl(protoType.createNode(&testScope(), "decl", CreatorSystem));
    SmartPtr<Node> inst(protoType.createNode(&testScope(), "inst", CreatorSystem));
    SFFloat declField(*decl), instField(*inst);
    SFInt32 instCount(*inst);
    decl->regField(declField, protoType, PField, true);
    inst->regField(instField, protoType, PField, true);
    inst->regField(instCount, protoType, PIntEmpty, true);
    protoType.setDeclaration(decl.get());

    declField.setValue(8.0f);
    instField.setValue(8.0f);
    EXPECT_TRUE(instField.valueIsDefault());
    instField.setValue(1.5f);  // the default text no longer counts
    EXPECT_FALSE(instField.valueIsDefault());
    // A part that the declaration has no field for falls back to the default text.
    EXPECT_FALSE(instCount.valueIsDefault());

    protoType.setDeclaration(nullptr);
    inst->unregField(PField);
    inst->unregField(PIntEmpty);
    decl->unregField(PField);
}

}  // namespace
