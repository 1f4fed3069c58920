// A field's change machinery on its node: marks, receive, send, listeners, loop guard, defaults.
// The field type registry: every entry, create and refusals. The three wildcard classes.

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>
#include <functional>
#include <memory>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using KalvexTest::journal;
using KalvexTest::take;

// Part indices of the test type; its own rows start at 2, "Node" gives logFeature and metadata.
// clang-format off
enum Part : unsigned { PLogFeature, PMetadata, PField, PIn, POut, PExpAuto, PExpManual, PMFEmpty, PStrEmpty, PIntEmpty,
                       PMFTriple, PZeroMask, PCount };
// clang-format on

NodePartDesc* testRows() {
    const auto A = NodePartDesc::OptAutoProcess;
    // clang-format off
    static NodePartDesc rows[PCount - PField] = {
        {PField, 1UL << 2, PartField, SFFloatType, 0, "size", "", "1.5", "", ""}, {PIn, 1UL << 3, PartEventIn, SFFloatType, 0, "push", "", "", "", ""},
        {POut, 1UL << 4, PartEventOut, SFFloatType, 0, "level", "", "", "", ""}, {PExpAuto, 1UL << 5, PartExposedField, SFFloatType, A, "gain", "", "", "", ""},
        {PExpManual, 1UL << 6, PartExposedField, SFFloatType, 0, "bias", "", "", "", ""}, {PMFEmpty, 1UL << 7, PartField, MFFloatType, 0, "weights", "", "", "", ""},
        {PStrEmpty, 1UL << 8, PartField, SFStringType, 0, "label", "", "", "", ""}, {PIntEmpty, 1UL << 9, PartField, SFInt32Type, 0, "count", "", "", "", ""},
        {PMFTriple, 1UL << 10, PartField, MFFloatType, 0, "axis", "", "1 0 0", "", ""}, {PZeroMask, 0, PartExposedField, SFFloatType, A, "free", "", "", "", ""}};
    // clang-format on
    return rows;
}

std::string at(const TimeStamp& time) {
    char text[32];
    std::snprintf(text, sizeof text, "@%g", double(time));
    return text;
}

// A node that journals "changed:field@time" for each fieldChanged and can be given extra
// behaviour there; it can also be put into a state or an exported mark without the machinery
// that normally sets them.
class ProbeNode : public Node {
  public:
    ProbeNode(NodeType& type, NodeNameSpace& scope, const char* name) : Node(type, scope, name) {}
    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override {
        journal.push_back("changed:" + field.getDesc()->name + at(time));
        if (onChanged) onChanged(field);
        Node::fieldChanged(field, time, source);
    }
    void setStateValue(NodeState state) { _state = state; }
    void setExportName(const std::string* name) { _exportName = name; }
    std::function<void(Field&)> onChanged;
};

// The type can stand for a prototype: its instances then compare with the declaration.
class ProbeType : public NodeType {
  public:
    using NodeType::NodeType;
    void setDeclaration(Node* node) { _protoDeclaration = node; }
};

ProbeType& testType() {
    static ProbeType type(
        theBaseNodeTypeFactory(), "CoreProbe", "Test", "Node", nullptr, "1.0", "Test", "", "", "",
        "", false, false, nullptr,
        [](NodeType& t, NodeNameSpace& s, const char* n) -> Node* {
            return new ProbeNode(t, s, n);
        },
        nullptr, testRows(), PCount - PField);
    // A part whose mask is 0 goes through fieldChanged without the loop guard; a table cannot
    // declare one, as the type numbers its rows.
    [[maybe_unused]] static const bool built =
        (type.initType(true), testRows()[PZeroMask - PField].mask = NodePartMask(0), true);
    return type;
}

NodeNameSpace& testScope() {
    static auto* scope = new SmartPtr<NodeNameSpace>(new NodeNameSpace("core", nullptr, false));
    return **scope;
}

ProbeNode* newProbe(const char* name) {
    return static_cast<ProbeNode*>(testType().createNode(&testScope(), name, CreatorSystem));
}

// Journals every sendEvent of every out slot as "send:field@time", with "+" while the field's
// changing bit is set, and runs an optional hook.
class SendRecorder : public Observer {
  public:
    SendRecorder() : Observer(EventSlot::_anyProcessEvent, "sendRecorder") {}
    void notify(const TimeStamp& time, BaseObject*, BaseObject* b, BaseObject*) override {
        Field& field = dynamic_cast<Field&>(*b);
        const bool bit = field.node()._isChangingMask.test(field.partMask());
        journal.push_back("send:" + field.getDesc()->name + at(time) + (bit ? "+" : ""));
        if (hook) hook(field);
    }
    std::function<void(Field&)> hook;
};

class FieldCore : public ::testing::Test {
  protected:
    void SetUp() override {
        journal.clear();
        node->addRef();
        for (unsigned id = 0; id < PCount; ++id) {
            fields.emplace_back(FieldType::create(testType().findPartDesc(id)->dataType, *node));
            ASSERT_TRUE(fields.back() && node->regField(*fields.back(), testType(), id, true));
        }
        resetMarks();
    }
    void TearDown() override {  // a test may have let the node die; its fields stay ours to delete
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
    EXPECT_EQ(take(), "");
}

// One change by node code: which path it takes for each part type and node state. A node that is
// not running passes the change on at time 0 and does not react.
TEST_F(FieldCore, ChangePathsByPartTypeAndState) {
    const Field::CallerType D = Field::CallerDefault, F = Field::CallerForceSend;
    // clang-format off
    const struct { Part part; NodeState state; Field::CallerType caller; const char* journal; } cases[] = {
        {PIn, Kalvex::Setup, D, "send:push@0+"}, {PExpManual, Creation, D, "send:bias@0+"}, {PExpAuto, Dispose, D, "send:gain@0+"},
        {PField, Live, D, "send:size@7.25+"}, {PIn, Live, D, "changed:push@7.25 send:push@7.25+"}, {POut, Live, D, "send:level@7.25+"},
        {PExpAuto, Live, D, "changed:gain@7.25 send:gain@7.25+"}, {PExpManual, Live, D, "changed:bias@7.25"},
        {PExpManual, Live, F, "changed:bias@7.25 send:bias@7.25+"}, {PIn, Realize, D, "changed:push@7.25 send:push@7.25+"},
        {PExpManual, Realize, D, "changed:bias@7.25"}, {PExpAuto, Realize, F, "changed:gain@7.25 send:gain@7.25+"}};
    // clang-format on
    for (auto& f : fields) f->createOutSlot(true);
    SendRecorder recorder;
    KalvexTest::LogCapture log;
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        resetMarks();
        node->setStateValue(c.state);
        field(c.part).processValueChange(7.25, c.caller);
        EXPECT_EQ(take(), c.journal);
        // Every path marks the field changed, and the changing bit is gone afterwards.
        EXPECT_TRUE(node->changedFlag() && node->_isChangingMask.isZero());
        EXPECT_EQ(node->_changedMask, field(c.part).partMask());
    }
    EXPECT_EQ(log.text(), "");

    // A changing bit already set on an auto-processed part is reported; processing goes on.
    node->setStateValue(Live);
    node->_isChangingMask = field(PExpAuto).partMask();
    field(PExpAuto).processValueChange(1.0);
    EXPECT_EQ(log.count("CoreProbe/probe.gain: processValueChange() && _isChangingMask set\n"), 1);
    EXPECT_EQ(take(), "changed:gain@1 send:gain@1+");
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
    explicit OrderListener(const char* n) : name(n) {}
    void valueChanged(const TimeStamp& time, Field&) override {
        journal.push_back(name + at(time));
    }
    std::string name;
};

TEST_F(FieldCore, ListenersHearFirstInOrderWithDuplicates) {
    OrderListener a("a"), b("b");
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    for (OrderListener* l : {&a, &b, &a}) f.addListener(l);
    SendRecorder recorder;
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
    EXPECT_EQ(take(), "changed:gain@3 a@3 b@3 a@3 send:gain@3+ b@1 a@0");
    field(PField).removeListener(&a);
}

// The changing bit is set around a send when asked, and a nested send of the same field clears it
// for the outer send too. A change that arrives while it is set is reported and goes no further.
TEST_F(FieldCore, ChangingBitAndLoopGuard) {
    Field& f = field(PExpAuto);
    f.createOutSlot(false);
    SendRecorder recorder;
    f.send(1.0, false, false);
    bool bitAfterNested = true, nested = false;
    recorder.hook = [&](Field& sent) {
        if (std::exchange(nested, true)) return;
        sent.send(2.0, true, false);
        bitAfterNested = node->_isChangingMask.test(sent.partMask());
    };
    f.send(1.0, true, false);
    EXPECT_EQ(take(), "send:gain@1 send:gain@1+ send:gain@2+");
    EXPECT_FALSE(bitAfterNested);

    // What a route from the field back to itself does: deliver the sent value to receive.
    node->setStateValue(Live);
    recorder.hook = [&](Field& sent) { EXPECT_TRUE(sent.receive(9.0)); };
    KalvexTest::LogCapture log;
    f.processValueChange(9.0);
    EXPECT_EQ(take(), "changed:gain@9 send:gain@9+ changed:gain@9");
    EXPECT_EQ(log.count("Field CoreProbe/probe.gain is already changing; break loop\n"), 1);
    EXPECT_TRUE(node->_isChangingMask.isZero());
    // The guard leaves the bit as it found it; a part with mask 0 goes straight through.
    node->_isChangingMask = NodePartMask(~0UL);
    node->Node::fieldChanged(f, 1.0, nullptr);
    node->Node::fieldChanged(field(PZeroMask), 1.0, nullptr);
    EXPECT_EQ(log.count("already changing"), 2);
    EXPECT_EQ(node->_isChangingMask, NodePartMask(~0UL));
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
    EXPECT_EQ(take(), "changed:push@1 changed:gain@1");  // no send
    EXPECT_EQ(Node::idMapSize(), before - 1);            // the node is gone
}

// A part of the type is one whose row is the type's row under its index: inherited rows count,
// though they belong to the parent type; a dynamic part and a row-less field do not.
TEST_F(FieldCore, TypePartsIncludeInheritedRows) {
    EXPECT_NE(field(PLogFeature).getDesc()->_refType, &testType());
    EXPECT_TRUE(field(PLogFeature).isNodeTypePart() && field(PField).isNodeTypePart());
    Field* dynamic = node->addDynamicField(PartField, SFFloatType, "extra", nullptr, nullptr,
                                           nullptr, false, false, true, nullptr);
    ASSERT_NE(dynamic, nullptr);
    EXPECT_FALSE(dynamic->isNodeTypePart() || SFFloat(*node).isNodeTypePart());
    EXPECT_TRUE(node->removeDynamicField(dynamic->getDesc()->ID));
}

TEST_F(FieldCore, OutSlotsRouteCountsAndExport) {
    Field& f = field(POut);
    EXPECT_EQ(f.outRouteCount(true, true), 0u);
    f.createOutSlot(false);
    Observer watcher(*f.outSlot()->processEventSubject(), "w");
    EXPECT_EQ(std::make_pair(f.outRouteCount(true, false), f.outRouteCount(true, true)),
              std::make_pair(0u, 1u));  // observers of the slot count as well
    EXPECT_EQ(f.outSlot()->processEventSubject()->getName(), "level");
    // An exported node gets out slots on send, except for plain fields.
    static const std::string exportName = "probeExport";
    node->setExportName(&exportName);
    SendRecorder recorder;
    field(PExpAuto).send(4.0, true, false);
    field(PField).send(4.0, true, false);
    EXPECT_TRUE(field(PExpAuto).outSlot() && !field(PField).outSlot());
    EXPECT_EQ(take(), "send:gain@4+");
    node->setExportName(nullptr);
}

// valueIsDefault compares parsed values, never texts.
TEST_F(FieldCore, ValueIsDefault) {
    EXPECT_TRUE(field(PMFEmpty).valueIsDefault() && field(PStrEmpty).valueIsDefault());
    // clang-format off
    const std::tuple<Part, const char*, bool> texts[] = {  // without a default text 0 is no default
        {PMFEmpty, "0", false}, {PStrEmpty, "x", false}, {PIntEmpty, "0", false}, {PField, "1.50e0", true},
        {PField, "1.25", false}, {PMFTriple, "1.0, 0, 0", true}, {PMFTriple, "0 0 1", false},
        {PMFTriple, "1 0 0 0", false}, {PMFTriple, "1 0", false}};
    // clang-format on
    for (const auto& [p, text, isDefault] : texts) {
        field(p).setValueByStr(text);
        EXPECT_EQ(field(p).valueIsDefault(), isDefault) << text;
    }
    // Registration applied "1.5"; setDefaultValue restores it and keeps a value without one.
    sf(PField).setValue(9.0f);
    field(PField).setDefaultValue(3.0);
    EXPECT_FLOAT_EQ(sf(PField).getValue(), 1.5f);
    sf(PExpAuto).setValue(9.0f);
    field(PExpAuto).setDefaultValue(3.0);
    EXPECT_FLOAT_EQ(sf(PExpAuto).getValue(), 9.0f);
    // A prototype instance compares with the declaration's current value, not with the text; a
    // part that the declaration has no field for falls back to the default text.
    SmartPtr<ProbeNode> decl(newProbe("decl"));
    SFFloat declField(*decl);
    decl->regField(declField, testType(), PField, true);
    declField.setValue(8.0f);
    testType().setDeclaration(decl.get());
    for (float value : {8.0f, 1.5f}) {
        sf(PField).setValue(value);
        EXPECT_EQ(field(PField).valueIsDefault(), value == 8.0f);
    }
    field(PMFEmpty).clear();
    EXPECT_TRUE(field(PMFEmpty).valueIsDefault());
    testType().setDeclaration(nullptr);
    decl->unregField(PField);
}

// --- the type registry ---------------------------------------------------------------------------

// The fixed catalogue: numbers and base types are part of the interface. Base type b holds
// SF number 2b-1 and MF number 2b; XFAny, SFAny and MFAny follow as 49 to 51 with base type 0.
// clang-format off
const char* const kBases[] = {"Bool", "Color", "ColorRGBA", "Double", "Float", "Image", "Int32", "Matrix3d", "Matrix3f",
    "Matrix4d", "Matrix4f", "Node", "Rotation", "String", "Time", "Vec2d", "Vec2f", "Vec3d", "Vec3f", "Vec4d", "Vec4f",
    "Plane", "Qubit", "Sound"};
// clang-format on

std::string nameOf(int n) {
    if (n > 48) return std::string(n == 49 ? "XF" : n == 50 ? "SF" : "MF") + "Any";
    return std::string(n % 2 ? "SF" : "MF") + kBases[(n - 1) / 2];
}

struct FieldTypeRegistry : ::testing::Test {
    KalvexTest::NodeHolder holder;
    Node* node = holder.node;
};

TEST_F(FieldTypeRegistry, EveryEntryIsFoundByNumberNameAndBaseType) {
    {
        KalvexTest::LogCapture log{osg::LOG_INFO};
        FieldType::initTypeTree();
        EXPECT_EQ(FieldType::typeCount(), 51);
        EXPECT_TRUE(log.contains("init field types: 51 types\n"));
        FieldType::dumpAll();
        EXPECT_EQ(log.count("FieldType: "), 51);
        EXPECT_TRUE(log.contains("FieldType: SFVec3f, index: 37, createMethod: "));
    }
    KalvexTest::LogCapture log;
    for (int n = 1; n <= 51; ++n) {
        const std::string name = nameOf(n);
        const int base = n > 48 ? 0 : (n + 1) / 2;
        const bool multi = n == 51 || (n <= 48 && n % 2 == 0);
        SCOPED_TRACE(name);
        FieldType* byNumber = FieldType::findType(n);
        ASSERT_NE(byNumber, nullptr);  // names are distinct, so entries are too
        EXPECT_EQ(
            std::make_tuple(byNumber->name(), byNumber->baseType(), FieldType::findType(name),
                            FieldType::dataType(name), std::string(FieldType::dataTypeName(n)),
                            FieldType::isMultiField(n)),
            std::make_tuple(name, base, byNumber, n, name, multi));
        // What create makes is a fresh field of that very type, by number or by base type.
        std::unique_ptr<Field> made(FieldType::create(n, *node));
        ASSERT_NE(made, nullptr);
        EXPECT_EQ(made->dataTypeName(), name);
        EXPECT_EQ(made->cardinality(), multi ? Field::CardinalityMulti : Field::CardinalitySingle);
        if (base == 0) continue;
        EXPECT_EQ(FieldType::findType(base, !multi), byNumber);
        std::unique_ptr<Field> byBase(FieldType::create(base, *node, !multi));
        EXPECT_EQ(byBase ? byBase->dataType() : -1, n);
    }
    EXPECT_FALSE(log.contains("Can not find"));
    // Both single wildcards claim base type 0; one of them stands there.
    FieldType* single = FieldType::findType(AnyBase, true);
    EXPECT_TRUE(single == FieldType::findType(49) || single == FieldType::findType(50));
    EXPECT_EQ(FieldType::findType(AnyBase, false), FieldType::findType(51));
}

Field* makeNothing(Node&) {
    return nullptr;
}

TEST_F(FieldTypeRegistry, UnknownsAndASecondRegistrationAreRefused) {
    KalvexTest::LogCapture log;
    for (int number : {0, 52, -1}) EXPECT_EQ(FieldType::create(number, *node), nullptr);
    EXPECT_FALSE(FieldType::isMultiField(0) || FieldType::isMultiField(200));
    EXPECT_EQ(FieldType::dataType("sfvec3f"), 0);  // names are case sensitive
    EXPECT_EQ(FieldType::findType(std::string("SFNothing")), nullptr);
    EXPECT_EQ(log.text(), "");
    EXPECT_FALSE(FieldType::findType(99, true) || FieldType::create(99, *node, false));
    EXPECT_EQ(log.count("Can not find _baseTypeMap\n"), 2);
    {
        FieldType impostor(StringBase, SFStringType, "Impostor", &makeNothing, false);
        EXPECT_TRUE(log.contains("Cannot register datatype ID 27 a second time for Impostor\n"));
        EXPECT_EQ(FieldType::findType(std::string("Impostor")), nullptr);
        EXPECT_EQ(FieldType::findType(StringBase, true)->name(), "SFString");
        EXPECT_EQ(FieldType::typeCount(), 51);
    }
    std::unique_ptr<Field> made(FieldType::create(SFStringType, *node));
    EXPECT_STREQ(made ? made->dataTypeName() : "", "SFString");
}

// A registration that stays runs in a child process, so this program keeps its 51 entries.
TEST_F(FieldTypeRegistry, LateRegistrationBeyondTheTableAndWithoutName) {
    const auto late = [this] {
        KalvexTest::LogCapture log;
        auto* late = new FieldType(SoundBase, 60, "", &makeNothing, true);
        return log.contains("FieldType without name\n") && FieldType::findType(60) == late &&
               FieldType::typeCount() == 52 && FieldType::isMultiField(60) &&
               FieldType::create(60, *node) == nullptr &&
               FieldType::findType(SoundBase, false) == late &&
               FieldType::findType(SoundBase, true) == FieldType::findType(SFSoundType);
    };
    EXPECT_EXIT(std::exit(late() ? 0 : 1), ::testing::ExitedWithCode(0), "");
}

// --- wildcards ---------------------------------------------------------------------------------

enum Wildcard { XF, SF, MF };
const char* const kNames[] = {"XFAny", "SFAny", "MFAny"};

class WildcardTable : public ::testing::TestWithParam<Wildcard> {
  protected:
    std::unique_ptr<Field> make() const {
        std::unique_ptr<Field> made(FieldType::create(49 + GetParam(), *owner.node));
        if (made && GetParam() == MF) made->resize(3);  // elements show whether a call touched it
        return made;
    }
    std::string msg(const char* tail) const { return kNames[GetParam()] + std::string(tail); }

    KalvexTest::NodeHolder owner;
    std::unique_ptr<Field> field = make();
    SFFloat other{*owner.node};
};

// Text, field and raw buffer forms are silent no-ops; the binary string forms report.
TEST_P(WildcardTable, ValueFormsAreNoOps) {
    ASSERT_NE(field, nullptr);
    KalvexTest::LogCapture log;
    field->setValueByStr("1 2 3");
    field->setValueByStr(nullptr);
    EXPECT_EQ(field->addValueByStr("1 2", Field::CardinalityMulti), nullptr);
    EXPECT_EQ(field->addValueByStr("1", Field::CardinalitySingle), nullptr);
    other.setValue(2.5f);
    EXPECT_TRUE(field->setValueByField(other, nullptr));  // accepts anything, stores nothing
    EXPECT_TRUE(GetParam() != SF || !static_cast<SFAny&>(*field).getValue());
    unsigned char buffer[4] = {1, 2, 3, 4};
    field->setValueByBin(buffer, sizeof buffer);
    EXPECT_EQ(field->getBinSize() + field->getBinValue(buffer), 0u);
    std::string out = "previous";
    EXPECT_TRUE(buffer[0] == 1 && field->getStrValue(out).empty() && out.empty());
    EXPECT_EQ(log.text(), "");

    field->setValueByBin(std::string("\x01\x02", 2));
    EXPECT_EQ(field->getBinValue(-1), "");
    // SFAny goes the SField way: the element form is the whole-value form.
    field->set1ValueByBin(0, std::string("\x01", 1));
    EXPECT_EQ(field->get1ValueAsBin(0), "");
    const int sf = GetParam() == SF;
    for (const char* form :
         {"::setValueByBin", "::getBinValue", "::set1ValueByBin", "::get1ValueByBin"})
        EXPECT_EQ(log.count(msg(form) + "() is not imp\n"), form[5] == '1' ? 1 - sf : 1 + sf)
            << form;
    // Only XFAny marks itself changed; without a description that is all it can report.
    EXPECT_EQ(log.count("Field without desc in XField::markChanged()\n"), GetParam() == XF ? 1 : 0);
    EXPECT_EQ(field->size(), GetParam() == MF ? 3u : 1u);
}

// Container calls change nothing on the single wildcards; XFAny equals anything, the others
// compare as their template does.
TEST_P(WildcardTable, ContainerCallsAndEquality) {
    const bool mf = GetParam() == MF;
    std::unique_ptr<Field> twin = make();
    ASSERT_TRUE(field && twin);
    KalvexTest::LogCapture log;
    EXPECT_TRUE(field->equalValue(*twin));
    EXPECT_EQ(field->equalValue(other), GetParam() == XF);
    EXPECT_EQ(log.count("Type mismatch in XField::opperator==\n"), GetParam() == XF ? 0 : 1);
    twin->resize(2);
    EXPECT_EQ(field->equalValue(*twin), !mf);
    EXPECT_EQ(field->cardinality(), mf ? Field::CardinalityMulti : Field::CardinalitySingle);
    EXPECT_FALSE(field->empty());
    field->resize(5);
    field->reserve(9);
    EXPECT_EQ(field->size(), mf ? 5u : 1u);
    field->clear();
    field->free();
    EXPECT_EQ(std::make_pair(field->size(), field->empty()), std::make_pair(mf ? 0u : 1u, mf));
}

INSTANTIATE_TEST_SUITE_P(AllThree, WildcardTable, ::testing::Values(XF, SF, MF),
                         [](const auto& info) { return std::string(kNames[info.param]); });

}  // namespace
