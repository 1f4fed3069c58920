// A minimal host: start the system, build a small scene of the example node library in a name
// scope, watch the subjects, run a few frames, stop.

#include <kalvex/Kalvex.h>

#include <chrono>
#include <cstdio>
#include <thread>

#include "ExampleNodes.h"

namespace {

// Prints each notification of the subject it is attached to.
class Announcer : public Kalvex::Observer {
  public:
    Announcer(Kalvex::Subject& subject, const char* what) : Observer(subject, what) {}
    void notify(const Kalvex::TimeStamp&, Kalvex::BaseObject*, Kalvex::BaseObject*,
                Kalvex::BaseObject*) override {
        std::printf("host: %s\n", getName().c_str());
    }
};

// Counts the frames of a context.
class FrameCounter : public Kalvex::Observer {
  public:
    explicit FrameCounter(Kalvex::Subject& subject) : Observer(subject, "frames") {}
    void notify(const Kalvex::TimeStamp& time, Kalvex::BaseObject*, Kalvex::BaseObject*,
                Kalvex::BaseObject*) override {
        ++frames;
        std::printf("host: frame %d at t=%.3f\n", frames, time);
    }
    int frames = 0;
};

// Prints a node the way the scene shows it: type, DEF name (or id), id, state, scope.
void printNode(const Kalvex::Node& node, int depth) {
    std::printf("host: %*s%s %s  id %s  %s  in %s\n", depth * 2, "", node.typeName(),
                node.hasName() ? node.getName().c_str() : "(unnamed)", node.getIDStr().c_str(),
                node.stateName(), node.getNameSpace()->getName().c_str());
    std::vector<Kalvex::Node*> children;
    node.collectAllChildren(children, Kalvex::Node::CollectRawTargets);
    for (const Kalvex::Node* child : children) printNode(*child, depth + 1);
}

}  // namespace

int main(int argc, char** argv) {
    using namespace Kalvex;

    Announcer up(*System::initSystemSubject(), "system is up");
    Announcer going(*System::exitSystemSubject(), "system is going down");
    Announcer gone(*System::shutdownSystemSubject(), "system has shut down");
    KalvexExample::init();

    System& system = System::the();
    system.init(argc, argv, System::SysCLocale);
    std::printf("host: %s %s, %d field types\n", system.name().c_str(),
                system.versionLine().c_str(), FieldType::typeCount());

    SmartPtr<Context> context = Context::create();
    context->setName("main");
    context->setFrameRate(60.0);
    FrameCounter counter(*context->runFrameSubject());
    system.addContext(*context);

    // The scene: a root that owns the name scope, a transform with a shape under it. Types are
    // found by name in the scope, as a loader finds them.
    Node* scene = NodeType::createNode(context.get(), "Scene", "demo", CreatorLoader);
    NodeNameSpace& scope = *scene->getNameSpace();
    Node* mover = scope.createNode(scene, "Transform", "mover", CreatorLoader, SearchExact);
    Node* shape = scope.createNode(mover, "Shape", nullptr, CreatorLoader, SearchExact);
    Node* look = scope.createNode(shape, "Appearance", "look", CreatorLoader, SearchExact);
    // Abstract MaterialNode makes a Material; the best-matching field of the parent takes it.
    scope.createNode(look, "MaterialNode", "paint", CreatorLoader, SearchExact);
    scope.createNode(shape, "Box", nullptr, CreatorLoader, SearchExact);
    mover->findField("translation", Node::SearchAllNames)->setValueByStr("0 1.5 0");
    std::printf("host: %u named nodes in scope %s\n", scope.namedNodeCount(),
                scope.getName().c_str());
    printNode(*scene, 0);

    // The scene root starts with whoever displays it; its subtree follows.
    scene->setTreeState(context->getTimeStamp(), Live);
    std::printf("host: after start\n");
    printNode(*scene, 0);

    for (int frame = 0; frame < 3; ++frame) {
        context->setTimeStamp(frame / 60.0);
        double wait = System::runContextBag();
        std::printf("host: wait %.4f s\n", wait);
        std::this_thread::sleep_for(std::chrono::duration<double>(wait));
    }

    system.removeContext(*context);
    context = nullptr;
    system.exit();
    std::printf("host: ran %d frames; system stopped\n", counter.frames);
    return 0;
}
