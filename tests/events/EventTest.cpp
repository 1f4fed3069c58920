// Slots and routes: cascades (chains, cycles, fan-in and fan-out, TRIGGER and IS routes, nodes in
// Setup), the route factory and its checks, the route set, and what a route's death leaves.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"

using namespace Kalvex;
using KalvexTest::journal;
using KalvexTest::LogCapture;
using KalvexTest::take;

namespace {

// A node with value fields of each part kind. Its fieldChanged journals "name.field=value@state"
// and then runs the test's hook, if any.
class Relay : public Node {
  public:
    Relay(NodeType& type, NodeNameSpace& scope, const char* name) : Node(type, scope, name) {
        Field* fields[] = {&value, &level, &input, &output, &text, &plain};
        for (unsigned id = 2; id < 8; ++id) regField(*fields[id - 2], type, id, true);
    }

    void fieldChanged(Field& field, const TimeStamp& time, Field* source) override {
        journal.push_back(getName() + "." + field.findName() + "=" + field.strValue() + "@" +
                          stateName());
        if (hook) hook(field);
        Node::fieldChanged(field, time, source);
    }

    SFFloat value{*this};
    SFInt32 level{*this};
    SFFloat input{*this};
    SFFloat output{*this};
    SFString text{*this};
    SFFloat plain{*this};
    std::function<void(Field&)> hook;

    static NodePartDesc _desc[6];
    static NodeType _type;
};

constexpr StaticParamMask kAuto = NodePartDesc::OptAutoProcess;

NodePartDesc Relay::_desc[6] = {
    {2, partMaskOf(2), PartExposedField, SFFloatType, kAuto, "value", "", "0", "", ""},
    {3, partMaskOf(3), PartExposedField, SFInt32Type, kAuto, "level", "", "0", "", ""},
    {4, partMaskOf(4), PartEventIn, SFFloatType, 0, "input", "", "", "", ""},
    {5, partMaskOf(5), PartEventOut, SFFloatType, kAuto, "output", "", "", "", ""},
    {6, partMaskOf(6), PartExposedField, SFStringType, kAuto, "text", "", "", "", ""},
    {7, partMaskOf(7), PartField, SFFloatType, kAuto, "plain", "", "0", "", ""}};

NodeType Relay::_type(
    theBaseNodeTypeFactory(), "Relay", "Test", "Node", nullptr, "1.0", "Test", "", "stable",
    "value fields of each kind", "Test", true, false, nullptr,
    [](NodeType& t, NodeNameSpace& s, const char* n) -> Node* { return new Relay(t, s, n); },
    nullptr, Relay::_desc, 6);

class Events : public KalvexTest::ProbeTest {
  protected:
    Relay* relay(const char* name, NodeState state = Live, NodeCreator creator = CreatorSystem) {
        Relay* node = make<Relay>(name, Relay::_type, nullptr, creator);
        if (state != node->getState()) node->setTreeState(0.0, state);
        return node;
    }
    static Route* route(Field& from, Field& to, Route::Type type = Route::Default) {
        return Route::create(from, to, type, false);
    }
    // Clears the journal and the changed marks, then changes the field as code does.
    static void change(Field& field, const char* text) {
        journal.clear();
        field.setValueByStr(text);
        field.getNode()->_changedMask = NodePartMask(0UL);
        field.processValueChange(1.0);
    }
    static bool marked(const Field& field) {
        return field.getNode()->_changedMask.test(field.partMask());
    }
};

TEST_F(Events, ChainsFansAndCyclesDeliverEachValueOnce) {
    // Routes from node index to node index on "value", the journal, the loops broken.
    const std::string all = "a.value=2@Live b.value=2@Live c.value=2@Live";
    // clang-format off
    const struct { const char* name; std::vector<std::pair<int, int>> routes; std::string journal; int breaks; } cases[] = {
        {"chain", {{0, 1}, {1, 2}}, all, 0}, {"cycle", {{0, 1}, {1, 2}, {2, 0}}, all, 1},
        {"self", {{0, 0}}, "a.value=2@Live", 1},
        // a fans out to b and c, and b feeds c too: depth first, c's copy arrives second.
        {"fan-in", {{0, 1}, {0, 2}, {1, 2}}, all + " c.value=2@Live", 0}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Relay* nodes[] = {relay("a"), relay("b"), relay("c")};
        for (auto [from, to] : c.routes) route(nodes[from]->value, nodes[to]->value);
        LogCapture log;
        change(nodes[0]->value, "2");
        EXPECT_EQ(take(), c.journal);
        EXPECT_EQ(log.count("Field Relay/a.value is already changing; break loop\n"), c.breaks);
        for (Relay* node : nodes) EXPECT_TRUE(node->_isChangingMask.isZero());
        held.clear();  // the routes go with their nodes
    }
}

TEST_F(Events, RouteTypesDecideMarkingWakingAndForwarding) {
    // The target b sits in the middle of a chain a -> b -> c (DEFAULT) and b -> d (IS).
    const std::string all = "b.value=5@Live c.value=5@Live d.value=5@Live";
    // clang-format off
    const struct { const char* name; Route::Type type; NodeState state; std::string journal; bool marked; NodeState after; } cases[] = {
        {"default", Route::Default, Live, all, true, Live}, {"trigger", Route::Trigger, Live, all, false, Live},
        // A first real event wakes a node that is still being set up.
        {"default into Setup", Route::Default, Kalvex::Setup, "b.value=5@Realize c.value=5@Live d.value=5@Live", true, Realize},
        // Inside a prototype: stored, not processed, passed on along IS routes only.
        {"IS into Setup", Route::IS, Kalvex::Setup, "d.value=5@Live", true, Kalvex::Setup}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Relay *a = relay("a"), *b = relay("b", c.state);
        route(a->output, b->value, c.type);
        route(b->value, relay("c")->value);
        route(b->value, relay("d")->value, Route::IS);
        journal.clear();
        b->_changedMask = NodePartMask(0UL);
        a->output.setValue(5);
        a->output.outSlot()->sendEvent(2.0, false);
        EXPECT_EQ(take(), c.journal);
        EXPECT_EQ(b->value.getValue(), 5.0f);
        EXPECT_EQ(marked(b->value), c.marked);
        EXPECT_EQ(b->getState(), c.after);
        held.clear();
    }
}

TEST_F(Events, TargetsWithoutAutoProcessAndOwnValues) {
    Relay *a = relay("a"), *b = relay("b"), *c = relay("c");
    route(a->value, b->input);
    {
        LogCapture log;
        EXPECT_EQ(route(b->input, c->value), nullptr);  // an eventIn has no out slot
        EXPECT_EQ(log.text(),
                  "FATAL\tKalvex\tRoute::create() on field failed b.input to c.value\n");
    }
    // A NO_AP target takes the value and processes it, but the cascade ends there.
    change(a->value, "3");
    EXPECT_EQ(take(), "a.value=3@Live b.input=3@Live");
    EXPECT_EQ(b->input.getValue(), 3.0f);

    // The field as its own value: nothing stored, so nothing marked.
    route(b->level, c->level);
    b->_changedMask = NodePartMask(0UL);
    b->level.setValue(9);
    b->level.createInSlot(false);
    b->level.inSlot()->receiveEvent(1.0, b->level, nullptr, nullptr);
    EXPECT_FALSE(marked(b->level));
    EXPECT_EQ(c->level.getValue(), 9);
    EXPECT_EQ(take(), "b.level=9@Live c.level=9@Live");

    // Without data: the stored value goes on, except to a NO_AP part.
    LogCapture log;
    b->input.inSlot()->receiveEvent(1.0, nullptr);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tEventInSlot::receiveEvent without field data on NO_AP field\n");
    EXPECT_EQ(take(), "");
    b->value.createInSlot(false);
    b->value.inSlot()->receiveEvent(1.0, "7.5", nullptr);
    EXPECT_EQ(take(), "b.value=7.5@Live");
}

TEST_F(Events, AFailedConversionIsReportedAndTheCascadeGoesOn) {
    Relay *a = relay("a"), *b = relay("b"), *c = relay("c");
    b->value.setValue(4);
    LogCapture log(osg::LOG_WARNING);
    ASSERT_TRUE(route(a->text, b->value));  // legal by default: converted on delivery
    route(b->value, c->value);
    b->_changedMask = NodePartMask(0UL);
    change(a->text, "\"words\"");
    EXPECT_TRUE(
        log.contains("FATAL\tKalvex\treceiveEvent(): _field.setValueByField() failed\n"
                     "FATAL\tKalvex\t  SFFloat field: Relay.value\n"
                     "FATAL\tKalvex\t  SFString input: Relay.text\n"));
    // The old value is processed and forwarded, unmarked.
    EXPECT_EQ(take(), "a.text=\"words\"@Live b.value=4@Live c.value=4@Live");
    EXPECT_FALSE(marked(b->value));
}

TEST_F(Events, RouteCountsReadTheDefaultTypeInOppositeWays) {
    // clang-format off
    const struct { Route::Type type; unsigned countDefault; bool anyOther; } cases[] = {
        {Route::Default, 1, false}, {Route::Trigger, 0, true}, {Route::IS, 0, true}};
    // clang-format on
    for (const auto& c : cases) {
        Relay *a = relay("a"), *b = relay("b");
        route(a->value, b->value, c.type);
        EventInSlot& slot = *b->value.inSlot();
        EXPECT_EQ(slot.routeCount(true), 1u);
        EXPECT_EQ(slot.routeCount(false), c.countDefault);
        EXPECT_TRUE(slot.hasAnyRoute(true));
        EXPECT_EQ(slot.hasAnyRoute(false), c.anyOther);
        EXPECT_EQ(b->value.inRouteCount(true, false), 1u);
        held.clear();
    }
}

TEST_F(Events, ReceiversThatRemoveRoutesChangeTheWalk) {
    // a.value fans out to b, c and d, in that order; b's behaviour removes the route given.
    // clang-format off
    const struct { const char* name; int victim; const char* journal; } cases[] = {
        {"the current route", 0, "b.value=1@Live d.value=1@Live"}, {"a later route", 1, "b.value=1@Live d.value=1@Live"},
        {"the last route", 2, "b.value=1@Live c.value=1@Live"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        Relay *a = relay("a"), *b = relay("b");
        Route* routes[] = {route(a->value, b->value), route(a->value, relay("c")->value),
                           route(a->value, relay("d")->value)};
        b->hook = [&](Field&) {
            delete routes[c.victim];
            b->hook = nullptr;
        };
        a->value.setValue(1);
        journal.clear();
        a->value.outSlot()->sendEvent(1.0, false);
        EXPECT_EQ(take(), c.journal);
        EXPECT_EQ(a->value.outSlot()->routeCount(true), 2u);
        held.clear();
    }
}

TEST_F(Events, ANodeReleasedInItsOwnFieldChangedEndsTheCascade) {
    Relay *a = relay("a"), *c = relay("c");
    // b is held by nobody but its behaviour's test hook.
    SmartPtr<Node> bHolder(Relay::_type.createNode(scope.get(), "b", CreatorSystem));
    Relay* b = static_cast<Relay*>(bHolder.get());
    b->setTreeState(0.0, Live);
    route(a->value, b->value);
    route(b->value, c->value);
    route(a->value, c->level);
    const unsigned before = Route::routeCount();
    b->hook = [&](Field&) { bHolder = nullptr; };
    change(a->value, "6");
    // b went with its routes, the one being walked at a among them: the walk skips the next.
    EXPECT_EQ(take(), "a.value=6@Live b.value=6@Live");
    EXPECT_EQ(Route::routeCount(), before - 2);
    EXPECT_EQ(a->value.outSlot()->routeCount(true), 1u);
    EXPECT_EQ(c->value.inSlot()->routeCount(true), 0u);

    // A node that nobody holds takes events and stays.
    auto* loose = static_cast<Relay*>(Relay::_type.createNode(scope.get(), "loose", CreatorSystem));
    loose->setTreeState(0.0, Live);
    route(c->value, loose->value);
    change(c->value, "8");
    EXPECT_EQ(take(), "c.value=8@Live loose.value=8@Live");
    EXPECT_EQ(loose->refCount(), 0);
    EXPECT_EQ(NodeNameSpace::findNode(scope.get(), "loose"), loose);
    held.emplace_back(loose);
}

TEST_F(Events, DyingFieldsAndNodesTakeTheirRoutesFromEveryBag) {
    Relay *a = relay("a"), *b = relay("b");
    const unsigned before = Route::routeCount();
    route(a->value, b->value);
    route(b->value, a->value);
    route(a->metadataField(), b->metadataField());
    // A dynamic field with routes.
    const NodePartDesc extraRow = {
        0, partMaskOf(0), PartExposedField, SFFloatType, kAuto, "extra", "", "0", "", ""};
    Field* extra = a->addDynamicField(extraRow, nullptr);
    ASSERT_TRUE(extra);
    ASSERT_TRUE(route(*extra, b->value));
    EXPECT_EQ(Route::routeCount(), before + 4);
    ASSERT_TRUE(a->removeDynamicField(extra->getDesc()->ID));
    EXPECT_EQ(b->value.inSlot()->routeCount(true), 1u);
    held.erase(held.begin());  // a
    EXPECT_EQ(Route::routeCount(), before);
    EXPECT_EQ(b->value.inSlot()->routeCount(true), 0u);
    EXPECT_EQ(b->value.outSlot()->routeCount(true), 0u);
}

// Records what a subject was told: "subject:type-of-a" per notification.
class Tap : public Observer {
  public:
    explicit Tap(Subject* subject) : Observer(*subject, "tap") {}
    void notify(const TimeStamp&, BaseObject* a, BaseObject* b, BaseObject*) override {
        std::string what = getSubject()->getName() + ":";
        if (auto* route = dynamic_cast<Route*>(a)) what += route->typeName();
        if (auto* slot = dynamic_cast<EventSlot*>(a)) what += slot->typeName();
        if (auto* field = dynamic_cast<Field*>(b)) what += "(" + field->strValue() + ")";
        journal.push_back(what);
    }
};

TEST_F(Events, TheFactoryChecksPairsAndTypes) {
    Relay *a = relay("a"), *b = relay("b");
    LogCapture log(osg::LOG_NOTICE);
    const unsigned before = Route::routeCount();
    Route* first = route(a->value, b->value);
    ASSERT_TRUE(first);
    // Asked again, with another type: the same route, and nothing new.
    EXPECT_EQ(route(a->value, b->value, Route::Trigger), first);
    EXPECT_EQ(first->type(), Route::Default);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tWill not create a Route a second time:\n"
              "LOG\tKalvex\tRoute: DEFAULT\n"
              "LOG\tKalvex\tEventOut: value, dataType SFFloat, routes: 1\n");
    // The other direction is a route of its own.
    Route* back = route(b->value, a->value);
    EXPECT_NE(back, first);
    EXPECT_EQ(Route::routeCount(), before + 2);

    // Unlike types join unless the source side's context forbids it; wildcards always join.
    log.clear();
    EXPECT_TRUE(route(a->value, b->level));
    EXPECT_EQ(log.text(), "NOTICE\tKalvex\tValid type mismatch in Route::create(): \n");
    std::unique_ptr<Field> any(FieldType::create(XFAnyType, *b));
    log.clear();
    EXPECT_TRUE(Route::create(a->text, *any, Route::Default, true));
    EXPECT_EQ(log.text(), "");

    SmartPtr<Context> context(new Context);
    NodePartDesc& param = *Context::paramDesc(Route::_forceSingleDataTypeRouteID);
    const std::string declared = param.defaultValue;
    param.defaultValue = "TRUE";
    log.clear();
    EXPECT_TRUE(route(a->level, b->text));  // no context on the source side: not forced
    scope->setContext(context.get());
    log.clear();
    EXPECT_EQ(route(b->level, a->text), nullptr);
    EXPECT_EQ(log.text(),
              "WARNING\tKalvex\tInvalid type mismatch in Route::create(): \n"
              "LOG\tKalvex\tEventOut: level, dataType SFInt32, routes: 0\n"
              "LOG\tKalvex\tEventIn: text, dataType SFString, routes: 0\n");
    EXPECT_TRUE(Route::create(b->level, *any, Route::Default, true));
    param.defaultValue = declared;
    scope->setContext(nullptr);
}

TEST_F(Events, TheRouteSetListsByTypeAndSourceScope) {
    SmartPtr<NodeNameSpace> other(new NodeNameSpace("other", nullptr, false));
    Relay *a = relay("a"), *b = relay("b"), *c = make<Relay>("c", Relay::_type, other.get());
    Route* routes[] = {
        route(a->value, b->value, Route::Default), route(a->level, b->level, Route::Trigger),
        route(c->value, a->value, Route::Import), route(a->text, c->text, Route::IS)};
    auto listed = [](NodeNameSpace* in, unsigned mask) {
        std::vector<Route*> found;
        Route::fillRouteVec(found, in, mask);
        return found;
    };
    auto only = [&](std::initializer_list<int> which) {
        std::vector<Route*> out;
        for (int i : which) out.push_back(routes[i]);
        std::sort(out.begin(), out.end());
        return out;
    };
    EXPECT_EQ(listed(scope.get(), Route::Trigger | Route::Import), only({1}));
    EXPECT_EQ(listed(other.get(), Route::Trigger | Route::Import), only({2}));
    EXPECT_EQ(listed(scope.get(), 15), only({0, 1, 3}));
    // The vector is not cleared: a second call appends.
    std::vector<Route*> twice;
    Route::fillRouteVec(twice, other.get(), 15);
    EXPECT_EQ(Route::fillRouteVec(twice, other.get(), 15), 2u);
}

TEST_F(Events, SceneRoutesTieTheirScopes) {
    // clang-format off
    const struct { const char* name; Route::Type type; NodeCreator from, to; bool ties; } cases[] = {
        {"loaded", Route::Default, CreatorLoader, CreatorLoader, true}, {"trigger", Route::Trigger, CreatorLoader, CreatorLoader, false},
        {"runtime source", Route::Default, CreatorRuntime, CreatorLoader, false},
        {"dynamic target", Route::IS, CreatorLoader, CreatorDynamic, false}, {"system", Route::IS, CreatorSystem, CreatorUnknown, true}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.name);
        SmartPtr<NodeNameSpace> other(new NodeNameSpace("other", nullptr, false));
        scope->setFlags(0);
        Relay* a = relay("a", Live, c.from);
        Relay* b = make<Relay>("b", Relay::_type, other.get(), c.to);
        route(a->value, b->value, c.type);
        EXPECT_EQ(scope->flags(), c.ties ? NodeNameSpace::HasNamedRoute : 0u);
        EXPECT_EQ(other->flags(), c.ties ? NodeNameSpace::HasNamedRoute : 0u);
        held.clear();
    }
}

TEST_F(Events, SubjectsAndLogsFollowRoutesAndEvents) {
    Relay *a = relay("a"), *b = relay("b");
    for (Relay* node : {a, b}) {
        LogCapture quiet;
        node->logFeatureField().setValueByStr("route eventIn eventOut");
        node->getProc()->updateLogFeatureMask();
    }
    Tap made(Route::newRouteSubject()), gone(Route::deleteRouteSubject());
    Tap any(&EventSlot::_anyProcessEvent);
    LogCapture log(osg::LOG_LOG);
    Route* r = route(a->level, b->level, Route::Trigger);
    route(a->value, b->value, Route::Default);
    EXPECT_TRUE(log.contains("Create TRIGGER-Route Relay/a.level to Relay/b.level\n"));
    EXPECT_EQ(take(), "newRoute:TRIGGER newRoute:DEFAULT");

    Tap heard(b->value.inSlot()->processEventSubject());
    EXPECT_EQ(b->value.inSlot()->processEventSubject()->getName(), "value");
    log.clear();
    a->value.outSlot()->sendEvent(1.5, "4", false);
    EXPECT_EQ(take(),
              "anyProcessEvent:EventOut(4) anyProcessEvent:EventIn(4) value:EventIn(4) "
              "b.value=4@Live");
    EXPECT_EQ(log.text(),
              "LOG\tKalvex\tRelay/test/a SendEvent on value: 1.500000/4\n"
              "LOG\tKalvex\tRelay/test/b/pro ReceiveEvent on value: 1.500000/4\n");
    log.clear();
    delete r;
    EXPECT_EQ(log.text(), "LOG\tKalvex\tRemove Route Relay/a.level to Relay/b.level\n");
    EXPECT_EQ(take(), "deleteRoute:TRIGGER");
}

TEST_F(Events, NodesTakeAndSendTextEventsBySlotName) {
    Relay *a = relay("a"), *b = relay("b");
    route(a->output, b->value);
    EXPECT_TRUE(a->sendEventOut("output", 1.0, "8"));
    EXPECT_EQ(take(), "b.value=8@Live");
    EXPECT_TRUE(b->receiveEventIn("set_value", 1.0, "9"));
    EXPECT_EQ(take(), "b.value=9@Live");
    LogCapture log;
    EXPECT_FALSE(a->receiveEventIn("output", 1.0, "1"));
    EXPECT_FALSE(a->sendEventOut("nothing", 1.0, "1"));
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tThere is no inSlot output in the node a (type: Relay\n"
              "FATAL\tKalvex\tThere is no outSlot nothing in the node a (type: Relay\n");
}

}  // namespace
