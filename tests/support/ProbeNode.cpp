#include "support/ProbeNode.h"

#include <cstdio>

#include "support/LogCapture.h"
#include "support/TestNode.h"

namespace KalvexTest {

using namespace Kalvex;

std::vector<std::string> journal;

std::string take() {
    std::string all;
    for (const std::string& line : journal) all += (all.empty() ? "" : " ") + line;
    journal.clear();
    return all;
}

NodePartDesc ProbeNode::_desc[] = {
    {2, partMaskOf(2), PartExposedField, MFNodeType, 0, "kids", "T", nullptr, nullptr, "any"},
    {3, partMaskOf(3), PartExposedField, SFNodeType, 0, "single", "T", nullptr, nullptr, "any"},
    {4, partMaskOf(4), PartExposedField, MFNodeType, 0, "boxes", "T", nullptr, "[Box]", "boxes"},
    {5, partMaskOf(5), PartExposedField, SFNodeType, 0, "material", "T", nullptr, "MaterialNode",
     "look"},
    {6, partMaskOf(6), PartField, SFNodeType, 0, "geometry", "T", nullptr, "Geometry", "shape"},
    {7, partMaskOf(7), PartEventIn, MFNodeType, 0, "feed", "T", nullptr, nullptr, "input only"}};

NodeType ProbeNode::_type(
    theBaseNodeTypeFactory(), "Probe", "Test", "Node", nullptr, "1.0", "Test", "", "stable",
    "Node fields of every kind", "Test", true, false, nullptr, &ProbeNode::create,
    [](NodeType& type, Node& node) -> NodeProc* { return new ProbeProc(type, node); },
    ProbeNode::_desc, 6);

ProbeNode::ProbeNode(NodeType& type, NodeNameSpace& scope, const char* name)
    : Node(type, scope, name) {
    Field* fields[] = {&kids, &single, &boxes, &material, &geometry, &feed};
    for (unsigned id = 2; id < 8; ++id) regField(*fields[id - 2], type, id, true);
}

NodeNameSpace* ProbeProc::childScope = nullptr;

namespace {

std::string label(BaseObject* object) {
    if (auto* node = dynamic_cast<Node*>(object)) return node->getName();
    if (auto* scope = dynamic_cast<NodeNameSpace*>(object)) return scope->getName();
    if (auto* registry = dynamic_cast<NodeTypeNameSpace*>(object)) return registry->getName();
    if (auto* link = dynamic_cast<NodeLink*>(object))
        return link->rawNode() ? link->rawNode()->getName() : "-";
    if (auto* flag = dynamic_cast<BaseTypeObject<bool>*>(object)) return flag->_value ? "+" : "-";
    return object ? "?" : "";
}

}  // namespace

void Watcher::notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) {
    char when[32];
    std::snprintf(when, sizeof when, "@%g", double(time));
    journal.push_back(getName() + ":" + label(a) + (b ? ">" + label(b) : "") + label(c) + when);
}

void ProbeTest::SetUp() {
    initTypes();
    journal.clear();
    ProbeProc::childScope = nullptr;
    scope = new NodeNameSpace("test", nullptr, false);
}

void ProbeTest::TearDown() {
    LogCapture quiet;
    held.clear();
    scope = nullptr;
}

}  // namespace KalvexTest
