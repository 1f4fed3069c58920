// A minimal host: start the system, take its settings from the environment (KCP_<name>) and the
// command line (--name=value or --name value; a last --help lists them), load a small scene of the
// example node library through a loader, join its nodes with routes, run a few frames in which a
// frame observer advances the time and sends an event, print what arrives through the routes,
// stop. An inline-like node holds a counter in a scope of its own, which the scene imports and
// routes to and from by name. Words of the command line without a dash are URLs the loader reads
// ("example:scene").

#include <kalvex/Kalvex.h>

#include <chrono>
#include <cstdio>
#include <string>
#include <thread>
#include <vector>

#include "ExampleLoader.h"
#include "ExampleNodes.h"

namespace {

using namespace Kalvex;

// Prints each notification of the subject it is attached to.
class Announcer : public Observer {
  public:
    Announcer(Subject& subject, const char* what) : Observer(subject, what) {}
    void notify(const TimeStamp&, BaseObject*, BaseObject*, BaseObject*) override {
        std::printf("host: %s\n", getName().c_str());
    }
};

// Applies the parameters that changed on the context's setup node: a synchronisation pass over
// it runs its nodeChanged and clears its change marks.
void applySettings(Context& context) {
    ContextSetup* setup = context.getSetup();
    if (!setup) return;
    SynchronizeAction sync(context.getTimeStamp());
    setup->getProc()->synchronize(sync);
}

// The frame: advances the context's time, grows the mover with it and sends one increment
// event into the counter.
class Frame : public Observer {
  public:
    Frame(Context& context, KalvexExample::Transform& mover, KalvexExample::Counter& counter)
        : Observer(*context.runFrameSubject(), "frame"),
          _context(context),
          _mover(mover),
          _counter(counter) {}
    void notify(const TimeStamp& time, BaseObject*, BaseObject*, BaseObject*) override {
        applySettings(_context);
        ++frames;
        std::printf("host: frame %d at t=%.3f\n", frames, time);
        const float grow = 1.0f + float(time);
        _mover.scale().setValue(osg::Vec3f(grow, grow, grow));
        _mover.scale().processValueChange(time);
        _counter.increment().setValue(true);
        _counter.increment().processValueChange(time);
        _context.setTimeStamp(time + 0.25);
    }
    int frames = 0;

  private:
    Context& _context;
    KalvexExample::Transform& _mover;
    KalvexExample::Counter& _counter;
};

// Prints every value that reaches a field through the routes of its in slot.
class Arrivals : public Observer {
  public:
    explicit Arrivals(EventInSlot& slot)
        : Observer(*slot.processEventSubject(), "arrivals"), _field(slot.field()) {}
    void notify(const TimeStamp&, BaseObject*, BaseObject* value, BaseObject*) override {
        const Field& from = *static_cast<Field*>(value);
        std::printf("host:   %s.%s <- %s.%s: %s\n", _field.getNode()->getName().c_str(),
                    _field.findName(), from.getNode()->getName().c_str(), from.findName(),
                    _field.strValue().c_str());
    }

  private:
    Field& _field;
};

// Prints a node the way the scene shows it: type, DEF name (or id), id, state, scope.
void printNode(const Node& node, int depth) {
    std::printf("host: %*s%s %s  id %s  %s  in %s\n", depth * 2, "", node.typeName(),
                node.hasName() ? node.getName().c_str() : "(unnamed)", node.getIDStr().c_str(),
                node.stateName(), node.getNameSpace()->getName().c_str());
    std::vector<Node*> children;
    node.collectAllChildren(children, Node::CollectRawTargets);
    for (const Node* child : children) printNode(*child, depth + 1);
}

// Whether the command line asked for the usage, which the failed parameter prints.
bool wantsHelp(int argc, char** argv) {
    for (int i = 1; i < argc; ++i) {
        std::string word(argv[i]);
        if (word.rfind('-', 0) != 0) continue;
        word.erase(0, word.find_first_not_of('-'));
        if (word == "help" || word == "h") return true;
    }
    return false;
}

}  // namespace

int main(int argc, char** argv) {
    Announcer up(*System::initSystemSubject(), "system is up");
    Announcer going(*System::exitSystemSubject(), "system is going down");
    Announcer gone(*System::shutdownSystemSubject(), "system has shut down");
    KalvexExample::init();

    System& system = System::the();
    system.init(argc, argv, System::SysCLocale);
    std::printf("host: %s %s, %d field types\n", system.name().c_str(),
                system.versionLine().c_str(), FieldType::typeCount());

    // The loader answers the context's load requests, as a parser library would.
    KalvexExample::ExampleLoader loader;
    SmartPtr<Context> context = Context::create();
    context->setName("main");
    context->setFrameRate(60.0);
    system.addContext(*context);
    // Settings: the declared defaults, which KCP_<name> replaced, then the command line.
    context->createSetup();
    std::vector<Context*> urls;
    if (!Context::createContextVec(argc, argv, *context->getSetup(), urls, true)) {
        for (Context* loaded : urls) SmartPtr<Context> drop(loaded);
        system.removeContext(*context);
        context = nullptr;
        system.exit();
        return wantsHelp(argc, argv) ? 0 : 2;
    }
    applySettings(*context);
    for (Context* loaded : urls) context->load(*loaded, Context::LoadAdd);
    if (!context->load("example",
                       "mover=Transform follower=Transform ticks=Counter paint=Material "
                       "lamp=Inline echo=Counter",
                       Context::LoadAdd)) {
        std::printf("host: the scene could not be loaded\n");
        return 1;
    }
    // The load is applied at the start of the next frame; this one brings the scene in.
    System::runContextBag();
    Node* scene = context->findRoot(*NodeType::findContextRootType("Scene"));
    NodeNameSpace* scope = scene->getNameSpace();
    auto* mover = static_cast<KalvexExample::Transform*>(NodeNameSpace::findNode(scope, "mover"));
    auto* ticks = static_cast<KalvexExample::Counter*>(NodeNameSpace::findNode(scope, "ticks"));
    auto* paint = static_cast<KalvexExample::Material*>(NodeNameSpace::findNode(scope, "paint"));
    auto* follower =
        static_cast<KalvexExample::Transform*>(NodeNameSpace::findNode(scope, "follower"));
    std::printf("host: loaded %s into %s\n",
                context->getSourceUrlLine().empty() ? "data" : context->getSourceUrlLine().c_str(),
                context->getName().c_str());
    // The lamp's content: a counter DEF-named in the lamp's own scope and exported from it as
    // "Beat", which the scene imports as "Pulse".
    auto* lamp = static_cast<KalvexExample::Inline*>(NodeNameSpace::findNode(scope, "lamp"));
    NodeNameSpace& inside = lamp->content();
    Node* inner = inside.createNode("Counter", "inner", CreatorLoader, SearchExact);
    lamp->addChild(inner, nullptr, Node::TransferNone, Node::MatchFirstFit);
    inside.updateExportedNode("inner", "Beat");
    scope->updateImportedNode("Beat", "Pulse", "lamp");

    // The frame set every root Live but the scene, which its display starts: that is us.
    scene->setTreeState(context->getTimeStamp(), Live);
    printNode(*scene, 0);

    // Routes: the count drives the shininess and the mover's scale the diffuse colour, both
    // converted on the way (SFInt32 into SFFloat, SFVec3f into SFColor); the follower takes the
    // scale as its translation as it is.
    Route* routes[] = {
        Route::create(ticks->total(), paint->shininess(), Route::Default, false),
        Route::create(mover->scale(), paint->diffuseColor(), Route::Default, false),
        Route::create(mover->scale(), follower->translation(), Route::Default, false)};
    // Across the import, by name as a loader makes routes: the total sets the lamp's count and
    // then increments it, and the lamp's count comes back out into the echo.
    const bool across = scope->createRoute("ticks", "total", "Pulse", "set_count") &&
                        scope->createRoute("ticks", "total", "Pulse", "increment") &&
                        scope->createRoute("Pulse", "count_changed", "echo", "set_count");
    std::printf("host: %u routes, %s across the import\n", Route::routeCount(),
                across ? "three" : "not all");
    Arrivals shine(routes[0]->target()), colour(routes[1]->target()), place(routes[2]->target());
    Arrivals echo(*NodeNameSpace::findNode(scope, "echo")->findField("count", 0)->inSlot());

    Frame frame(*context, *mover, *ticks);
    for (int i = 0; i < 3; ++i) {
        double wait = System::runContextBag();
        std::printf("host: wait %.4f s\n", wait);
        std::this_thread::sleep_for(std::chrono::duration<double>(wait));
    }
    std::string text;
    std::printf("host: count %d, shininess %s, follower at %s\n", ticks->count().getValue(),
                paint->shininess().getStrValue(text).c_str(),
                follower->translation().strValue().c_str());

    system.removeContext(*context);
    context = nullptr;
    system.exit();
    std::printf("host: ran %d frames; system stopped\n", frame.frames);
    return 0;
}
