// Contexts: loads through the loader subject, the command queue that the next frame applies,
// root merging, reload, extern references, description and browser listeners, the setup node.
// The example loader builds the loaded contexts; "Layer" is a second scene root type.

#include <gtest/gtest.h>

#include <algorithm>
#include <functional>
#include <memory>
#include <string>
#include <utility>
#include <vector>

#include "ExampleLoader.h"
#include "ExampleNodes.h"
#include "kalvex/Kalvex.h"
#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace {

using namespace Kalvex;
using KalvexExample::ExampleLoader;
using KalvexTest::LogCapture;

class Layer : public KalvexExample::Group {
  public:
    using Group::Group;
    static Node* create(NodeType& type, NodeNameSpace& scope, const char* name) {
        return new Layer(type, scope, name);
    }
    static bool isType(Node* node) { return dynamic_cast<Layer*>(node) != nullptr; }
    static NodeType _type;
};

NodeType Layer::_type(theBaseNodeTypeFactory(), "Layer", "Test", "Group", nullptr, "1.0", "Example",
                      "A second scene root", "stable",
                      "A root that lies over the scene, with children of its own", "Test", true,
                      true, &Layer::isType, &Layer::create, nullptr, nullptr, 0);

// A node as "name", or "(Type)" without a name, and its children in brackets.
std::string describe(const Node& node, bool root) {
    std::string text;
    if (root || !node.hasName())
        text.append(root ? "" : "(").append(node.typeName()).append(root ? "" : ")");
    else
        text = node.getName();
    std::vector<Node*> children;
    node.collectAllChildren(children, Node::CollectRawTargets);
    if (children.empty() && !root) return text;
    text += '[';
    for (size_t i = 0; i < children.size(); ++i)
        text.append(i ? " " : "").append(describe(*children[i], false));
    return text + ']';
}

// The roots of a context by type name, each with its subtree.
std::string roots(const Context& context) {
    std::vector<Node*> nodes;
    context.getRootVec(nodes);
    std::vector<std::string> texts;
    for (Node* root : nodes) texts.push_back(describe(*root, true));
    std::sort(texts.begin(), texts.end());
    std::string all;
    for (const std::string& text : texts) all += (all.empty() ? "" : " ") + text;
    return all;
}

// A context at a glance: roots, source line, number of queued commands, state.
std::string show(const Context& context) {
    return roots(context) + "|" + context.getSourceUrlLine() + "|" +
           std::to_string(context.commandQueue().size()) + "|" +
           Node::_stateName[context.getState()];
}

// Hears a subject and hands each notification to a function.
struct Hearer : Observer {
    using Call = std::function<void(const TimeStamp&, BaseObject*, BaseObject*, BaseObject*)>;
    Hearer(Subject& subject, Call f) : Observer(subject, "hearer"), call(std::move(f)) {}
    void notify(const TimeStamp& t, BaseObject* a, BaseObject* b, BaseObject* c) override {
        call(t, a, b, c);
    }
    Call call;
};

// Journals what a context's listeners are told, and may act at the end of a load.
struct Journal : Context::BrowserListener, Context::DescriptionListener {
    void browserAction(Action action) override {
        text += action == ActionLoadBegin ? "begin " : "end ";
        if (action == ActionLoadEnd && onEnd) std::exchange(onEnd, nullptr)();
    }
    void descriptionChanged(const std::string& description) override {
        text += ">" + description + " ";
    }
    std::string text;
    std::function<void()> onEnd;
};

class Contexts : public ::testing::Test {
  protected:
    // The system runs with the flags given: whether contexts exit by themselves depends on them.
    static void restart(int flags) {
        LogCapture quiet;
        if (System::the().isInitialized()) System::the().exit();
        System::the().init(0, nullptr, flags);
    }
    void SetUp() override {
        KalvexExample::init();
        KalvexTest::initTypes();
        restart(0);
        loader = std::make_unique<ExampleLoader>();
        // The first nodes made and freed bring the process-wide subjects of nodes and scopes,
        // which stay: counts of live objects start after them.
        SmartPtr<Context> first(ExampleLoader::build("a=Box"));
    }
    void TearDown() override {
        LogCapture quiet;
        if (System::the().isInitialized()) System::the().exit();
    }
    std::unique_ptr<ExampleLoader> loader;
};

TEST_F(Contexts, LoadContextAsksEveryObserverAndReturnsTheLastAnswer) {
    // clang-format off
    const struct { const char *dataType, *text, *made; } cases[] = {
        {"", "example:scene", "Scene[top counter]|example:scene"},
        {"", "example:Layer:,l=Counter,Scene:", "Layer[l] Scene[]|example:Layer:,l=Counter,Scene:"},
        {"example", "a=Box Counter", "Scene[a (Counter)]|"}, {"example", "", "Scene[]|"},
        {"", "bogus:scene", nullptr}, {"other", "a=Box", nullptr},  // a data type the loader does not read
        {"example", "a=NoSuchType", nullptr}, {"example", "Scene: Scene:", nullptr},  // a root type twice
        {"example", "ContextSetup: a=Box", nullptr}};  // no field there takes the box
    // clang-format on
    const int objects = BaseObject::_objCount;
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        std::string heard;  // a later observer is still asked, and sees the answer and the kind
        Hearer later(
            *Context::loadContextSubject(), [&](auto, auto, BaseObject* type, auto answer) {
                heard = std::string(type ? "data" : "url") +
                        (static_cast<BaseTypeObject<Context*>*>(answer)->_value ? "+" : "-");
            });
        LogCapture log;
        SmartPtr<Context> made(*c.dataType ? Context::create(c.dataType, c.text)
                                           : Context::create(c.text));
        EXPECT_EQ(heard, std::string(*c.dataType ? "data" : "url") + (c.made ? "+" : "-"));
        EXPECT_TRUE(log.contains("NOTICE\tKalvex\tTry to load Context by Observer: >" +
                                 std::string(c.text) + "<\n"));
        EXPECT_EQ(
            log.contains("INFO\tKalvex\tCould not load Context: >" + std::string(c.text) + "<\n"),
            !c.made);
        EXPECT_EQ(made ? roots(*made) + "|" + made->getSourceUrlLine() : "-",
                  c.made ? c.made : "-");
    }
    EXPECT_EQ(BaseObject::_objCount, objects);  // what failed half-way was let go

    SmartPtr<Context> mine(Context::create());
    Hearer overrider(*Context::loadContextSubject(), [&](auto, auto, auto, BaseObject* answer) {
        auto* holder = static_cast<BaseTypeObject<Context*>*>(answer);
        SmartPtr<Context> replaced(holder->_value);
        holder->_value = mine.get();
    });
    EXPECT_EQ(Context::create("example:scene"), mine.get());
}

TEST_F(Contexts, WithoutAnyObserverNothingLoads) {
    loader.reset();
    LogCapture log;
    EXPECT_EQ(Context::create("example", "a=Box"), nullptr);
    SmartPtr<Context> context(Context::create());
    EXPECT_FALSE(context->load("example:scene"));
    EXPECT_TRUE(context->commandQueue().empty());
    EXPECT_EQ(log.text(),
              "FATAL\tKalvex\tNo _loadContextSubject Observer, cannot load a=Box\n"
              "FATAL\tKalvex\tNo _loadContextSubject Observer, cannot load example:scene\n"
              "WARNING\tKalvex\tCould not loadURL example:scene\n");
}

TEST_F(Contexts, LoadQueuesOneCommandOfThePiecesThatCouldBeRead) {
    const auto replace = Context::LoadReplace, add = Context::LoadAdd;
    // clang-format off
    const struct { const char *dataType, *text, *separator; Context::LoadType type; std::vector<std::string> pieces; const char* warning; } cases[] = {
        {"", "example:a=Box", "", replace, {"Scene[a]"}, nullptr}, {"", "bogus:x example:b=Box", " ", add, {"Scene[b]"}, nullptr},
        {"", "example:a=Box example:Layer:", " ", replace, {"Scene[a]", "Layer[]"}, nullptr},
        {"", "bogus:x bogus:y", " ", add, {}, "Could not loadURL bogus:x bogus:y\n"},
        {"example", "a=Box;Layer: l=Counter", ";", add, {"Scene[a]", "Layer[l]"}, nullptr},
        {"example", "NoSuchType", "", replace, {}, "Could not loadData NoSuchType\n"}};
    // clang-format on
    SmartPtr<Context> context(Context::create());
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const size_t before = context->commandQueue().size();
        LogCapture log{osg::LOG_WARNING};
        const bool loaded = *c.dataType ? context->load(c.dataType, c.text, c.type, c.separator)
                                        : context->load(c.text, c.type, c.separator);
        EXPECT_EQ(loaded, !c.warning);
        EXPECT_EQ(log.text(), c.warning ? std::string("WARNING\tKalvex\t") + c.warning : "");
        ASSERT_EQ(context->commandQueue().size(), before + (loaded ? 1 : 0));
        if (!loaded) continue;
        const Context::Command& command = context->commandQueue().back();
        EXPECT_EQ(command.type, c.type == add ? Context::CommandAdd : Context::CommandReplace);
        std::vector<std::string> pieces;
        for (const SmartPtr<Context>& piece : command.contexts) pieces.push_back(roots(*piece));
        EXPECT_EQ(pieces, c.pieces);
    }
    EXPECT_EQ(roots(*context), "");  // nothing changes before the frame
}

// From a context with a layer and a scene, the commands of a case are queued and one frame
// applies them, oldest first: the browser hears each, the frame the new roots. All but the
// scene are live; the scene waits for whoever shows it.
TEST_F(Contexts, CommandsReplaceOrAddTheRootsOnTheNextFrame) {
    using Load = std::pair<const char*, Context::LoadType>;
    const auto replace = Context::LoadReplace, add = Context::LoadAdd;
    const std::string base = "example:Layer:,l=Counter example:s=Box";
    // clang-format off
    const struct { std::vector<Load> loads; const char* roots; std::string line; } cases[] = {
        {{{"example:t=Box", add}}, "Layer[l] Scene[s t]", base + " example:t=Box"},
        {{{"example:x=Box", replace}, {"example:y=Box", add}}, "Layer[l] Scene[x y]", "example:x=Box example:y=Box"},
        {{{"example:y=Box", add}, {"example:x=Box", replace}}, "Layer[l] Scene[x]", "example:x=Box"},
        {{{"example:Layer:,m=Counter", replace}}, "Layer[m] Scene[s]", "example:Layer:,m=Counter"}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.roots);
        LogCapture quiet;
        SmartPtr<Context> context(Context::create());
        ASSERT_TRUE(context->load(base, Context::LoadAdd, " "));
        context->runFrame();
        ASSERT_EQ(roots(*context), "Layer[l] Scene[s]");
        Journal journal;
        context->addBrowserListener(&journal);
        for (const Load& load : c.loads) ASSERT_TRUE(context->load(load.first, load.second));
        std::string seen;
        Hearer frame(*context->runFrameSubject(), [&](auto, BaseObject* who, auto...) {
            seen += who == context.get() ? roots(*context) : "?";
        });
        EXPECT_EQ(context->runFrame(), 0.0);
        EXPECT_EQ(seen, c.roots);
        EXPECT_EQ(show(*context), c.roots + ("|" + c.line) + "|0|Live");
        EXPECT_EQ(journal.text, c.loads.size() == 1 ? "begin end " : "begin end begin end ");
        EXPECT_EQ(context->findRoot(Layer::_type)->getState(), Live);
        EXPECT_EQ(context->findRoot(KalvexExample::Scene::_type)->getState(), Kalvex::Setup);
        context->removeBrowserListener(&journal);
    }
}

// The dispatch skips unknown command types and leaves the queue; the frame empties it, which
// lets the loaded contexts go, and brings the context to Live.
TEST_F(Contexts, DispatchSkipsUnknownCommandTypesAndRunFrameEmptiesTheQueue) {
    struct OpenContext : Context {
        using Context::_commandQueue;
    };
    SmartPtr<OpenContext> context(new OpenContext);
    SmartPtr<Context> loaded(ExampleLoader::build("a=Box"));
    for (int32_t type : {0, int(Context::CommandNone), 4, int(Context::CommandAdd)})
        context->_commandQueue.push_back({type, {loaded}});
    LogCapture log;
    context->dispatchCommandQueue();
    EXPECT_EQ(log.count("FATAL\tKalvex\tInvalid Context::Command type: "), 2);
    EXPECT_TRUE(log.contains("type: 0\n") && log.contains("type: 4\n"));
    EXPECT_EQ(show(*context) + " from " + roots(*loaded), "Scene[a]||4|Creation from ");
    context->runFrame();
    EXPECT_EQ(show(*context), "Scene[a]||0|Live");
    EXPECT_EQ(loaded->refCount(), 1);
}

// A listener that queues more during the dispatch gets it applied in the same pass; one that
// exits the context drops the rest, and an exited context runs no frame.
TEST_F(Contexts, ListenersMayLoadOrExitDuringTheDispatch) {
    LogCapture quiet;
    SmartPtr<Context> context(Context::create());
    Journal listener;
    context->addBrowserListener(&listener);
    listener.onEnd = [&] { context->load("example:b=Box", Context::LoadAdd); };
    context->load("example:a=Box");
    context->runFrame();
    EXPECT_EQ(roots(*context), "Scene[a b]");
    listener.onEnd = [&] { context->exit(); };
    context->load("example:c=Box", Context::LoadAdd);
    context->load("example:d=Box", Context::LoadAdd);
    context->dispatchCommandQueue();
    EXPECT_EQ(show(*context), "Scene[a b c]|example:a=Box example:b=Box example:c=Box|0|Dispose");
    int frames = 0;
    Hearer counter(*context->runFrameSubject(), [&](auto...) { ++frames; });
    LogCapture log;
    EXPECT_EQ(context->runFrame(), -1.0);
    EXPECT_EQ(log.text(), "FATAL\tKalvex\tContext State is DISPOSED in runFrame\n");
    EXPECT_EQ(frames, 0);
    EXPECT_EQ(context->getState(), Dispose);
    context->removeBrowserListener(&listener);
}

// The scene is merged, with its message and the glue; the layer comes in whole.
TEST_F(Contexts, MergeRootMovesTheRootsAndJoinsTheSourceLines) {
    // clang-format off
    const struct { NodeType* glue; const char *line, *sourceLine, *roots, *joined; } cases[] = {
        {nullptr, "one", "two", "Layer[c] Scene[a b]", "one two"},
        {&KalvexExample::Group::_type, "", "two", "Layer[c] Scene[a (Group)[b]]", "two"},
        {nullptr, "one", "", "Layer[c] Scene[a b]", "one "}};
    // clang-format on
    for (const auto& c : cases) {
        SCOPED_TRACE(c.roots);
        SmartPtr<Context> target(ExampleLoader::build("a=Box"));
        SmartPtr<Context> source(ExampleLoader::build("b=Box Layer: c=Counter"));
        target->setSourceUrl(c.line);
        source->setSourceUrl(c.sourceLine);
        int changes = 0;
        Hearer changed(*target->sourceUrlChangedSubject(),
                       [&](auto, BaseObject* who, auto...) { changes += who == target.get(); });
        LogCapture log;
        EXPECT_TRUE(target->mergeRoot(*source, c.glue));
        EXPECT_EQ(show(*target), c.roots + ("|" + std::string(c.joined)) + "|0|Creation");
        EXPECT_EQ(show(*source), "|" + std::string(c.sourceLine) + "|0|Creation");
        EXPECT_EQ(changes, 1);
        EXPECT_TRUE(
            log.contains(std::string("NOTICE\tKalvex\tMerge context root Scene, glue type: ") +
                         (c.glue ? "Group" : "None") + "\n"));
        EXPECT_EQ(target->findRoot(Layer::_type)->context(), target.get());
    }
    SmartPtr<Context> context(ExampleLoader::build("a=Box"));
    context->setSourceUrl("one");
    EXPECT_TRUE(context->mergeRoot(*context, nullptr));
    EXPECT_EQ(show(*context), "Scene[a]|one|0|Creation");
}

TEST_F(Contexts, SourceLineIsToldOnlyOnceSomeoneAskedForItsSubject) {
    SmartPtr<Context> context(Context::create());
    context->addSourceUrl("a");  // nobody asked: no subject is made
    std::vector<std::string> heard;
    Hearer hearer(*context->sourceUrlChangedSubject(),
                  [&](const TimeStamp& time, BaseObject*, BaseObject* b, BaseObject* c) {
                      heard.push_back(context->getSourceUrlLine() + "@" +
                                      std::to_string(int(time)) + (b || c ? "?" : ""));
                  });
    context->setTimeStamp(7.0);
    context->addSourceUrl("b");
    context->addSourceUrl("");
    context->setSourceUrl("");
    context->addSourceUrl("c");
    EXPECT_EQ(heard, (std::vector<std::string>{"a b@7", "a b @7", "@7", "c@7"}));
}

// Reload queues the line again, with or without a setup node, after the nodes changed; a line
// that no longer loads leaves the roots and loses the line.
TEST_F(Contexts, ReloadLoadsEachUrlOfTheLineAgain) {
    SmartPtr<Context> context(Context::create());
    std::string messages;
    Hearer console(*context->logMessageSubject(),
                   [&](auto, BaseObject* who, auto text, auto level) {
                       messages += (who == context.get() ? "" : "?") +
                                   static_cast<BaseTypeObject<std::string>*>(text)->_value + "/" +
                                   std::to_string(static_cast<BaseTypeObject<int>*>(level)->_value);
                   });
    LogCapture log;
    EXPECT_FALSE(context->reload());
    EXPECT_EQ(log.text() + messages, "WARNING\tKalvex\tCannot reload Context; empty source\n");
    const std::string line = "example:a=Box example:Layer:,l=Counter";
    ASSERT_TRUE(context->load(line, Context::LoadReplace, " "));
    context->runFrame();
    Node* layer = context->findRoot(Layer::_type);
    layer->getNameSpace()->createNode(layer, "Box", "extra", CreatorRuntime, SearchExact);
    ASSERT_EQ(roots(*context), "Layer[l extra] Scene[a]");
    for (const char* setup : {"", "ContextSetup[] "}) {
        if (*setup) context->createSetup();
        messages.clear();
        log.clear();
        EXPECT_TRUE(context->reload());
        EXPECT_EQ(messages, "Reload context/0");
        EXPECT_TRUE(log.contains("LOG\tKalvex\tClear Image/Proto cache\n"));
        ASSERT_EQ(context->commandQueue().size(), 1u);
        EXPECT_EQ(context->commandQueue().front().contexts.size(), 2u);
        context->runFrame();
        EXPECT_EQ(show(*context), setup + ("Layer[l] Scene[a]|" + line) + "|0|Live");
    }
    context->setSourceUrl("bogus:x");
    EXPECT_FALSE(context->reload());
    EXPECT_EQ(show(*context), "ContextSetup[] Layer[l] Scene[a]||0|Live");
}

TEST_F(Contexts, ExternReferencesEndTheContextWithAutoExit) {
    const int autoExit = System::SysAutoExitContext;
    // clang-format off
    const struct { int flags, refs, drops; bool exited; } cases[] = {
        {autoExit, 2, 1, false}, {autoExit, 2, 2, true}, {autoExit, 0, 1, false} /* below zero is not zero */, {0, 1, 1, false}};
    // clang-format on
    for (const auto& c : cases) {
        restart(c.flags);
        SmartPtr<Context> context(Context::create());
        context->load("example:a=Box");
        for (int i = 0; i < c.refs; ++i) context->addExternRef();
        LogCapture log;
        for (int i = 0; i < c.drops; ++i) context->subExternRef();
        EXPECT_EQ(context->externRefCount(), c.refs - c.drops);
        EXPECT_EQ(show(*context), c.exited ? "||0|Dispose" : "||1|Creation");
        EXPECT_EQ(log.text(),
                  c.exited ? "LOG\tKalvex\tAuto exit Context on extern RefCount\n" : "");
    }
    // The dispatch's own reference is the last one to go: the context exits inside the frame,
    // which still brings it back to Live and runs. Held from outside, a dispatch does not end it.
    restart(autoExit);
    SmartPtr<Context> context(Context::create());
    int frames = 0;
    Hearer counter(*context->runFrameSubject(), [&](auto...) { ++frames; });
    context->load("example:a=Box");
    LogCapture log;
    EXPECT_EQ(context->runFrame(), 0.0);
    EXPECT_EQ(log.count("Auto exit Context on extern RefCount\n"), 1);
    EXPECT_EQ(show(*context) + " frames " + std::to_string(frames),
              "Scene[a]|example:a=Box|0|Live frames 1");
    context->addExternRef();
    context->load("example:b=Box", Context::LoadAdd);
    context->dispatchCommandQueue();
    EXPECT_EQ(log.count("Auto exit"), 1);
    EXPECT_EQ(context->commandQueue().size(), 1u);
}

TEST_F(Contexts, DescriptionIsStoredTrimmedAndToldToEachListenerOnce) {
    // clang-format off
    const std::pair<const char*, const char*> cases[] = {
        {"  \n", ""}, {" \tMy world\r\n", "My world"}, {"a \n b", "a \n b"}, {"", ""}};
    // clang-format on
    SmartPtr<Context> context(Context::create());
    Journal first, second;
    context->addDescriptionListener(&first);
    context->addDescriptionListener(&first);
    context->addDescriptionListener(&second);
    for (const auto& [text, stored] : cases) {
        first.text = second.text = "";
        context->setDescription(text);
        EXPECT_EQ(context->getDescription(), stored);
        EXPECT_EQ(first.text, ">" + std::string(stored) + " ");
        EXPECT_EQ(second.text, first.text);
    }
    context->removeDescriptionListener(&first);
    context->removeDescriptionListener(&first);  // not there any more: no failure
    first.text = second.text = "";
    context->setDescription("z");
    EXPECT_EQ(first.text + "|" + second.text, "|>z ");
}

// The setup is made once, and a loaded one is merged into it; taken by another context, it
// leaves this one without, and a load brings a new one.
TEST_F(Contexts, SetupIsMadeOnceStaysThroughLoadsAndGoesWithItsRoot) {
    SmartPtr<Context> context(Context::create());
    LogCapture log;
    context->createSetup();
    context->createSetup();
    // Making the node also turns the parameter rows into its fields.
    EXPECT_EQ(log.count("INFO\tKalvex\tAutocreate ContextSetup on access\n"), 1);
    EXPECT_TRUE(log.contains("INFO\tKalvex\tUpdate ContextSetup param field maps: 0/"));
    EXPECT_EQ(log.count("Have valid context setup; do not create a second one\n"), 1);
    ContextSetup* setup = context->getSetup();
    ASSERT_NE(setup, nullptr);
    EXPECT_EQ(context->findRoot(ContextSetup::_type), setup);

    context->load("example:ContextSetup:,Scene:,a=Box");
    context->runFrame();
    EXPECT_EQ(context->getSetup(), setup);
    EXPECT_EQ(roots(*context), "ContextSetup[] Scene[a]");

    SmartPtr<Context> other(Context::create());
    EXPECT_TRUE(other->addRoot(*setup));
    EXPECT_EQ(other->getSetup(), setup);
    EXPECT_TRUE(context->getSetup() == nullptr && !context->findRoot(ContextSetup::_type));

    context->load("example:ContextSetup:", Context::LoadAdd);
    context->runFrame();
    ASSERT_NE(context->getSetup(), nullptr);
    EXPECT_EQ(context->findRoot(ContextSetup::_type), context->getSetup());
}

// Contexts waiting in commands belong to the queue: releasing the context, or exiting it,
// frees them with their nodes.
TEST_F(Contexts, PendingCommandsLeakNothing) {
    const int objects = BaseObject::_objCount;
    const unsigned int nodes = Node::idMapSize();
    for (bool exitFirst : {false, true}) {
        SmartPtr<Context> context(Context::create());
        context->load("example:scene example:Layer:,l=Counter", Context::LoadReplace, " ");
        context->load("example", "a=Box b=Box", Context::LoadAdd);
        context->createSetup();
        ASSERT_GT(Node::idMapSize(), nodes + 5);
        if (exitFirst) context->exit();
        EXPECT_TRUE(!exitFirst || Node::idMapSize() == nodes + 1);  // only the setup is left
        LogCapture log;
        context = nullptr;
        EXPECT_EQ(log.text(), "");
        EXPECT_EQ(Node::idMapSize(), nodes);
        EXPECT_EQ(BaseObject::_objCount, objects);
    }
}

}  // namespace
