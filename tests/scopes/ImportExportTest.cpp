// Exports, imports and routes by name: the records and their keys, every refusal of the route
// makers, and events crossing into and out of an inline scope whose content comes and goes.

#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/ProbeNode.h"

namespace {

using namespace Kalvex;
using namespace KalvexExample;
using namespace KalvexTest;

// An outer scene with an Inline node "in" whose content scope holds a Counter "tick" exported
// as "Ticker", and outer nodes to route with.
class Imports : public ProbeTest {
  protected:
    void SetUp() override {
        ProbeTest::SetUp();
        inlineNode = make<Inline>("in", Inline::_type);
        paint = make<Material>("paint", Material::_type);
        other = make<Counter>("other", Counter::_type);
    }
    NodeNameSpace& content() { return inlineNode->content(); }
    // The content arrives: a live counter, exported under its public name.
    Counter* loadContent(const char* name = "tick", const char* as = "Ticker") {
        Counter* tick = make<Counter>(name, Counter::_type, &content());
        tick->setTreeState(0.0, Live);
        EXPECT_TRUE(content().updateExportedNode(name, as ? as : ""));
        return tick;
    }
    void increment(Counter& counter, double time = 1.0) {
        counter.increment().setValue(true);
        counter.increment().processValueChange(time);
    }

    Inline* inlineNode = nullptr;
    Material* paint = nullptr;
    Counter* other = nullptr;
};

TEST_F(Imports, ExportsAreKeyedByPublicNameAndMoveBetweenNodes) {
    Counter* a = make<Counter>("a", Counter::_type);
    Counter* b = make<Counter>("b", Counter::_type);
    EXPECT_FALSE(scope->updateExportedNode("nobody", "X"));
    EXPECT_EQ(scope->flags(), 0u);

    EXPECT_TRUE(scope->updateExportedNode(" a\t", ""));  // keyed by the trimmed DEF name
    EXPECT_TRUE(scope->updateExportedNode("a", " Pub "));
    EXPECT_EQ(scope->getNumExportedNodes(), 2u);
    EXPECT_EQ(scope->getExportedNode("Pub"), a);
    EXPECT_EQ(scope->beginExport()->second->localName(), "a");
    EXPECT_EQ(scope->flags(), unsigned(NodeNameSpace::HasImportExport));

    // The public name moves: the former node is no longer exported through it.
    EXPECT_TRUE(scope->updateExportedNode("b", "a"));
    EXPECT_EQ(scope->getExportedNode("a"), b);
    EXPECT_TRUE(b->isExported());
    EXPECT_TRUE(scope->removeExportedNode("Pub"));
    EXPECT_FALSE(a->isExported());
    EXPECT_FALSE(scope->removeExportedNode("Pub"));
    EXPECT_EQ(scope->getExportedNode("Pub"), nullptr);

    // A node that leaves its scope leaves its export key behind.
    b->rename("c");
    EXPECT_FALSE(b->isExported());
    EXPECT_EQ(scope->getExportedNode("a"), nullptr);
}

TEST_F(Imports, ImportsAreKeyedByLocalNameAndResolveThroughTheInline) {
    EXPECT_FALSE(scope->updateImportedNode("Ticker", "paint", inlineNode));  // a DEF name
    EXPECT_FALSE(scope->updateImportedNode("Ticker", "T", "missing"));
    EXPECT_FALSE(scope->updateImportedNode("Ticker", "T", static_cast<Node*>(nullptr)));
    EXPECT_EQ(scope->getNumImportedNodes(), 0u);

    // Adding an import overwrites the flags word: the named-route bit goes.
    scope->setFlags(NodeNameSpace::HasNamedRoute);
    EXPECT_TRUE(scope->updateImportedNode(" Ticker ", "", "in"));
    EXPECT_EQ(scope->flags(), unsigned(NodeNameSpace::HasImportExport));
    EXPECT_TRUE(scope->updateImportedNode("Ticker", "T", inlineNode));
    Node* unnamed = make<Inline>(nullptr, Inline::_type);
    EXPECT_TRUE(scope->updateImportedNode("Ticker", "U", unnamed));
    EXPECT_EQ(scope->getNumImportedNodes(), 3u);
    auto it = scope->beginImport();
    EXPECT_EQ(it->first + "|" + it->second->inlineNodeName() + "|" + it->second->exportedName(),
              "T|in|Ticker");
    EXPECT_EQ((++it)->first, "Ticker");
    EXPECT_EQ((++it)->second->inlineNodeName(), unnamed->getIDStr());

    // Nothing to resolve until the content exports.
    EXPECT_EQ(scope->getImportedNode("T"), nullptr);
    Counter* tick = loadContent();
    EXPECT_EQ(scope->getImportedNode("T"), tick);
    EXPECT_EQ(scope->getImportedNode("Ticker"), tick);
    EXPECT_EQ(scope->getImportedNode("U"), nullptr);  // its inline has other content
    EXPECT_TRUE(scope->removeImportedNode(" T"));
    EXPECT_FALSE(scope->removeImportedNode("T"));
    EXPECT_EQ(scope->flags(), unsigned(NodeNameSpace::HasImportExport));
}

TEST_F(Imports, CreateRouteNamesEachRefusal) {
    ASSERT_TRUE(scope->updateImportedNode("Ticker", "T", inlineNode));
    struct Case {
        const char *fromNode, *fromField, *toNode, *toField, *expected;
    } cases[] = {
        {nullptr, "total", "paint", "shininess",
         "NULL.total< TO >paint.shininess<: Invalid fromNodeName"},
        {"nobody", "total", "paint", "shininess",
         "nobody.total< TO >paint.shininess<: Invalid fromNode"},
        {"other", nullptr, "paint", "shininess",
         "other.NULL< TO >paint.shininess<: Invalid outSlot"},
        {"other", "nothing", "paint", "shininess",
         "other.nothing< TO >paint.shininess<: Invalid outSlot"},
        {"other", "total", nullptr, "shininess",
         "other.total< TO >NULL.shininess<: Invalid toNodeName"},
        {"T", "total", "nobody", "shininess", "T.total< TO >nobody.shininess<: Invalid toNode"},
        {"other", "total", "paint", nullptr, "other.total< TO >paint.NULL<: Invalid inSlot"},
        {"other", "total", "other", "total", "other.total< TO >other.total<: Invalid inSlot"},
    };
    for (const Case& c : cases) {
        LogCapture log;
        EXPECT_EQ(scope->createRoute(c.fromNode, c.fromField, c.toNode, c.toField), nullptr);
        EXPECT_EQ(log.text(),
                  std::string("WARNING\tKalvex\tCan't create ROUTE >") + c.expected + "\n");
    }

    // A context that forbids unlike types refuses the route itself.
    SmartPtr<Context> strict(new Context);
    NodePartDesc& param = *Context::paramDesc(Route::_forceSingleDataTypeRouteID);
    const std::string declared = param.defaultValue;
    param.defaultValue = "TRUE";
    scope->setContext(strict.get());
    {
        LogCapture log(osg::LOG_WARNING);
        EXPECT_EQ(scope->createRoute("other", "total", "paint", "shininess"), nullptr);
        EXPECT_TRUE(
            log.contains("Can't create ROUTE >other.total< TO >paint.shininess<: "
                         "Type mismatch\n"));
    }
    param.defaultValue = declared;
    scope->setContext(nullptr);

    // Accepted: an info line, and the same pair again answers the same route.
    LogCapture log(osg::LOG_INFO);
    Route* route = scope->createRoute("other", "count_changed", "paint", "set_shininess");
    ASSERT_NE(route, nullptr);
    EXPECT_EQ(route->type(), Route::Default);
    EXPECT_TRUE(log.contains(
        "INFO\tKalvex\tCreateRoute: >other.count_changed< to >paint.set_shininess<\n"));
    EXPECT_EQ(scope->createRoute("other", "count", "paint", "shininess"), route);
    // An import as target: type Import; as source only, the type stays Default.
    Route* in = scope->createRoute("other", "total", "T", "step");
    Route* out = scope->createRoute("T", "total", "paint", "shininess");
    ASSERT_TRUE(in && out);
    EXPECT_EQ(std::pair(in->type(), out->type()), std::pair(Route::Import, Route::Default));
    const NodeNameSpace::Import& import = *scope->beginImport()->second;
    EXPECT_EQ(std::pair(import.inFieldMap().size(), import.outFieldMap().size()),
              std::pair(size_t(1), size_t(1)));
}

TEST_F(Imports, DeleteRouteChecksInOrderAndKnowsNoImports) {
    ASSERT_TRUE(scope->updateImportedNode("Ticker", "T", inlineNode));
    ASSERT_TRUE(scope->createRoute("other", "total", "paint", "shininess"));
    struct Case {
        const char *fromNode, *fromField, *toNode, *toField, *reason;
    } cases[] = {
        {"T", "total", "paint", "shininess", "Invalid fromNode"},
        {"other", "total", nullptr, "shininess", "Invalid toNode"},
        {"other", "nothing", "nobody", "shininess", "Invalid toNode"},
        {"other", "nothing", "paint", "nothing", "Invalid outSlot"},
        {"other", "total", "paint", "nothing", "Invalid inSlot"},
        {"other", "count", "paint", "shininess", "Type mismatch (SFInt32/SFFloat)"},
    };
    for (const Case& c : cases) {
        LogCapture log;
        EXPECT_FALSE(scope->deleteRoute(c.fromNode, c.fromField, c.toNode, c.toField));
        EXPECT_TRUE(log.contains(std::string("Can't delete ROUTE >") + c.fromNode + "." +
                                 c.fromField + "< TO >" + (c.toNode ? c.toNode : "NULL") + "." +
                                 c.toField + "<: " + c.reason + "\n"))
            << log.text();
    }
    const unsigned int before = Route::routeCount();
    LogCapture log(osg::LOG_INFO);
    EXPECT_TRUE(scope->deleteRoute("other", "total", "paint", "set_shininess"));
    EXPECT_EQ(log.text(), "INFO\tKalvex\tDeleteRoute: >other.total< to >paint.set_shininess<\n");
    EXPECT_EQ(Route::routeCount(), before - 1);
}

TEST_F(Imports, EventsCrossIntoContentThatComesAndGoes) {
    ASSERT_TRUE(scope->updateImportedNode("Ticker", "T", inlineNode));
    ASSERT_TRUE(scope->createRoute("other", "total", "T", "set_count"));
    ASSERT_TRUE(scope->createRoute("other", "total", "T", "increment"));
    other->step().setValue(2);
    other->setTreeState(0.0, Live);

    // Before the content loads, the inline's scope exports nothing.
    LogCapture log(osg::LOG_NOTICE);
    increment(*other);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tImport/Export error: Ticker.set_count cannot find export\n"
              "FATAL\tKalvex\tImport/Export error: Ticker.increment cannot find export\n");

    // Content arrives: the SFInt32 total reaches an SFInt32 and an SFBool field alike, the
    // proxy taking any type and the target converting. The count arrives first, then the
    // increment adds the step.
    Counter* tick = loadContent();
    increment(*other);
    EXPECT_EQ(tick->count().getValue(), 4 + 1);

    // The export leaves, then its node; the fields are one the node lacks and one that takes
    // no events.
    const struct {
        std::function<void()> change;
        const char* message;
    } steps[] = {
        {[&] {
             loadContent("gone");
             content().removeNamedNode("gone");
         },
         "Ticker.set_count cannot find node"},
        {[&] {
             loadContent("tick2");
             ASSERT_TRUE(scope->createRoute("other", "total", "T", "nothing"));
         },
         "Ticker.nothing cannot find field"},
        {[&] { ASSERT_TRUE(scope->createRoute("other", "total", "T", "step")); },
         "Ticker.step cannot provide inslot"},
    };
    for (const auto& step : steps) {
        step.change();
        log.clear();
        increment(*other);
        EXPECT_TRUE(
            log.contains(std::string("FATAL\tKalvex\tImport/Export error: ") + step.message + "\n"))
            << log.text();
    }

    // The inline goes with routes still naming its import: the events vanish without a word.
    held.erase(held.begin());
    inlineNode = nullptr;
    log.clear();
    increment(*other);
    EXPECT_EQ(log.text(), "");
}

TEST_F(Imports, EventsCrossOutByAnyNameOfThePart) {
    // Routes from the import exist before the content: they carry as soon as it sends.
    ASSERT_TRUE(scope->updateImportedNode("Ticker", "T", inlineNode));
    ASSERT_TRUE(scope->createRoute("T", "total", "paint", "shininess"));
    ASSERT_TRUE(scope->createRoute("T", "count_changed", "other", "set_count"));
    paint->setTreeState(0.0, Live);
    other->setTreeState(0.0, Live);
    Counter* tick = loadContent();
    tick->step().setValue(3);
    increment(*tick);
    EXPECT_FLOAT_EQ(paint->shininess().getValue(), 3.0f);
    EXPECT_EQ(other->count().getValue(), 3);

    // Two imports of one export are both fed.
    ASSERT_TRUE(scope->updateImportedNode("Ticker", "Again", inlineNode));
    Counter* third = make<Counter>("third", Counter::_type);
    third->setTreeState(0.0, Live);
    ASSERT_TRUE(scope->createRoute("Again", "total", "third", "count"));
    increment(*tick);
    EXPECT_EQ(std::pair(other->count().getValue(), third->count().getValue()), std::pair(6, 6));

    // An export in a scope without a parent has nobody to tell.
    ASSERT_TRUE(scope->updateExportedNode("other", "Top"));
    LogCapture log(osg::LOG_FATAL);
    increment(*other);
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tImport/Export error: Top.count no parent namespace\n"
              "FATAL\tKalvex\tImport/Export error: Top.total no parent namespace\n");
}

TEST_F(Imports, AScopeDiesWithImportsProxiesAndRoutes) {
    SmartPtr<NodeNameSpace> outer(new NodeNameSpace("outer", nullptr, false));
    Inline* holder = make<Inline>("holder", Inline::_type, outer.get());
    Counter* sender = make<Counter>("sender", Counter::_type, outer.get());
    ASSERT_TRUE(outer->updateImportedNode("Pub", "P", holder));
    ASSERT_TRUE(outer->createRoute("sender", "total", "P", "step"));
    ASSERT_TRUE(outer->createRoute("P", "total", "sender", "count"));
    const unsigned int routes = Route::routeCount();
    outer->removeImportedNode("P");  // proxies, observers and their routes go with it
    EXPECT_EQ(Route::routeCount(), routes - 2);
    ASSERT_TRUE(outer->updateImportedNode("Pub", "P", holder));
    ASSERT_TRUE(outer->createRoute("sender", "total", "P", "step"));
    {
        LogCapture quiet;
        held.clear();
        outer = nullptr;
    }
    EXPECT_EQ(Route::routeCount(), routes - 2);
    (void)sender;
}

}  // namespace
