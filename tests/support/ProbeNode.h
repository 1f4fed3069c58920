#pragma once
// The probe of the node model's suites: a node type declared as a plug-in declares its types,
// with node fields of every kind and a behaviour that journals what it is told; an observer that
// journals notifications beside it; and a fixture that makes and holds such nodes.

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "kalvex/Kalvex.h"

namespace KalvexTest {

// What probes and watchers were told, in order: "node:callback@state during the call" and
// "subject:a>b@time". ProbeTest empties it before each test.
extern std::vector<std::string> journal;
// The journal so far, one blank between entries; it starts afresh.
std::string take();

// Fields by ID: 2 kids (any node), 3 single (any node), 4 boxes [Box], 5 material
// [MaterialNode], 6 geometry [Geometry] (a field), 7 feed (an eventIn list).
class ProbeNode : public Kalvex::Node {
  public:
    ProbeNode(Kalvex::NodeType& type, Kalvex::NodeNameSpace& scope, const char* name);
    static Kalvex::Node* create(Kalvex::NodeType& type, Kalvex::NodeNameSpace& scope,
                                const char* name) {
        return new ProbeNode(type, scope, name);
    }

    Kalvex::MFNode kids{*this};
    Kalvex::SFNode single{*this};
    Kalvex::MFNode boxes{*this};
    Kalvex::SFNode material{*this};
    Kalvex::SFNode geometry{*this};
    Kalvex::MFNode feed{*this};

    static Kalvex::NodePartDesc _desc[];
    static Kalvex::NodeType _type;
};

// Journals the lifecycle, graph and dynamic part callbacks; the graph callbacks go on to the
// base, which drives the states. Answers the name "viaProc" with the logFeature field, and gives
// children childScope when one is set.
class ProbeProc : public Kalvex::NodeProc {
  public:
    using NodeProc::NodeProc;
    using NodeProc::shutdown;
    static Kalvex::NodeNameSpace* childScope;

    void setup(const Kalvex::TimeStamp&) override { note("setup"); }
    void initialize(const Kalvex::TimeStamp& time) override {
        note("initialize");
        NodeProc::initialize(time);
    }
    void attach(const Kalvex::TimeStamp&) override { note("attach"); }
    void detach(const Kalvex::TimeStamp&) override { note("detach"); }
    void shutdown(const Kalvex::TimeStamp&) override { note("shutdown"); }
    void dispose(const Kalvex::TimeStamp&) override { note("dispose"); }
    void childAdded(Kalvex::NodeLink& link) override {
        note("childAdded");
        NodeProc::childAdded(link);
    }
    void childRemoved(Kalvex::NodeLink& link) override {
        note("childRemoved");
        NodeProc::childRemoved(link);
    }
    void parentAdded(Kalvex::NodeLink&) override { note("parentAdded"); }
    void parentRemoved(Kalvex::NodeLink&) override { note("parentRemoved"); }
    void fieldAdded(Kalvex::Field& field) override {
        note("fieldAdded(" + field.getDesc()->name + ")");
    }
    void fieldRemoved(Kalvex::Field& field) override {
        note("fieldRemoved(" + field.getDesc()->name + ")");
    }
    Kalvex::Field* findField(const std::string& name, Kalvex::Node::FieldSearchOrder) override {
        return name == "viaProc" ? node().getField(0) : nullptr;
    }
    Kalvex::NodeNameSpace* childNameSpace() override {
        return childScope ? childScope : NodeProc::childNameSpace();
    }

  private:
    void note(const std::string& what) {
        journal.push_back(node().getName() + ":" + what + "@" + node().stateName());
    }
};

// Journals each notification of a subject as "subject:a>b@time", a and b being its first two
// objects: a node, scope or registry by its name, a link by its target's; a flag object
// follows as + or -.
class Watcher : public Kalvex::Observer {
  public:
    explicit Watcher(Kalvex::Subject* subject) : Observer(*subject, subject->getName().c_str()) {}
    void notify(const Kalvex::TimeStamp& time, Kalvex::BaseObject* a, Kalvex::BaseObject* b,
                Kalvex::BaseObject* c) override;
};

// Nodes made in the scope "test", or another, and held until the test ends.
class ProbeTest : public ::testing::Test {
  protected:
    void SetUp() override;
    void TearDown() override;

    template <class T = ProbeNode>
    T* make(const char* name, Kalvex::NodeType& type = ProbeNode::_type,
            Kalvex::NodeNameSpace* in = nullptr,
            Kalvex::NodeCreator creator = Kalvex::CreatorSystem) {
        Kalvex::Node* node = type.createNode(in ? in : scope.get(), name, creator);
        held.emplace_back(node);
        return static_cast<T*>(node);
    }

    Kalvex::SmartPtr<Kalvex::NodeNameSpace> scope;
    std::vector<Kalvex::SmartPtr<Kalvex::Node>> held;
};

}  // namespace KalvexTest
