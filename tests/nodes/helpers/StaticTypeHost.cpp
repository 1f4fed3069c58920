// A host with a node type of its own, declared as a static object the way a plug-in declares
// one. It starts the system, uses the type once and returns from main: the exit handler and
// static destruction do the rest, and what it printed must still come out.

#include <cstdio>

#include <kalvex/Kalvex.h>

namespace {

using namespace Kalvex;

class Gauge : public Node {
  public:
    Gauge(NodeType& type, NodeNameSpace& scope, const char* name)
        : Node(type, scope, name), level(*this) {
        regField(level, type, _desc[0].ID, true);
    }
    SFInt32 level;

    static NodePartDesc _desc[];
    static NodeType _type;
};

Node* makeGauge(NodeType& type, NodeNameSpace& scope, const char* name) {
    return new Gauge(type, scope, name);
}

bool isGauge(Node* node) {
    return dynamic_cast<Gauge*>(node) != nullptr;
}

NodePartDesc Gauge::_desc[] = {
    {2, partMaskOf(2), PartField, SFInt32Type, 0, "level", "Host", "7", nullptr, "the reading"}};

NodeType Gauge::_type(theBaseNodeTypeFactory(), "StaticHostGauge", "Host", "Node", nullptr, "1.0",
                      "Host", "A reading", "stable", "A node type of the host itself", "Host", true,
                      false, &isGauge, &makeGauge, nullptr, Gauge::_desc, 1);

}  // namespace

int main(int argc, char** argv) {
    System::the().init(argc, argv, System::SysAtExit);
    int level = -1;
    {
        SmartPtr<NodeNameSpace> scope(new NodeNameSpace("host", nullptr, false));
        SmartPtr<Node> gauge(Gauge::_type.createNode(scope.get(), "g", CreatorSystem));
        if (gauge) level = static_cast<Gauge*>(gauge.get())->level.getValue();
    }
    // No line end and no flush: only an orderly exit writes this out.
    std::printf("static host level %d", level);
    return 0;
}
