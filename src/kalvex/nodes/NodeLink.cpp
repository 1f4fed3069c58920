#include "kalvex/nodes/NodeLink.h"

#include <algorithm>
#include <mutex>

#include "kalvex/fields/Field.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodePartDesc.h"
#include "kalvex/nodes/NodeProc.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
#include "kalvex/object/SmartPtr.h"
#include "kalvex/object/Subject.h"

namespace Kalvex {

const NodePartMask NodeLink::_nullMask(0);

namespace {

Subject* newLink = nullptr;
Subject* deleteLink = nullptr;

Subject* lazySubject(Subject*& subject, const char* name) {
    static std::mutex* mutex = new std::mutex;
    std::lock_guard<std::mutex> lock(*mutex);
    if (!subject) subject = new Subject(name);
    return subject;
}

// The add and remove lines, printed when the parent logs its children or the child its parents.
void logLinkChange(const Node& parent, const Node& child, const Field& field, const char* what) {
    if (!parent.logFeature(Node::LogChild) && !child.logFeature(Node::LogParent)) return;
    const NodePartDesc* desc = field.getDesc();
    KLOG("%s/%s child %s/%s %s (%s)\n", parent.typeName(), parent.getName().c_str(),
         child.typeName(), child.getName().c_str(), what,
         desc ? desc->name.c_str() : "NoNameField");
}

}  // namespace

bool fromOtherField(const Field& self, const Field& other) {
    switch (other.dataType()) {
        case XFAnyType:
        case SFAnyType:
        case MFAnyType:
            return true;
        default:
            KWARNING("%s to %s not implementet\n", other.dataTypeName(), self.dataTypeName());
            return false;
    }
}

Subject* NodeLink::newLinkSubject() {
    return lazySubject(newLink, "newNodeLink");
}

Subject* NodeLink::deleteLinkSubject() {
    return lazySubject(deleteLink, "deleteNodeLink");
}

NodeLink::NodeLink(const NodeLink& other) : BaseObject(other), _node(nullptr), _field(nullptr) {
    setNode(other._node);
}

NodeLink::~NodeLink() {
    if (_node) setNode(nullptr);
    _field = nullptr;
}

NodeLink& NodeLink::operator=(const NodeLink& other) {
    setNode(other._node);
    return *this;
}

bool NodeLink::setNode(const Node* target) {
    Node* node = const_cast<Node*>(target);
    if (node == _node) return true;
    Node* parentNode = _field ? _field->getNode() : nullptr;
    const NodePartDesc* desc = _field ? _field->getDesc() : nullptr;
    NodeType* required = desc ? desc->requiredNodeType() : nullptr;
    bool changed = false;
    // The old target's reference goes when the new one is in place: the new node may live
    // only in the old one's subtree.
    SmartPtr<Node> releasedLast;

    if (Node* old = _node) {
        changed = true;
        notifySubject(deleteLink, 0.0, this);
        if (parentNode) {
            if (NodeProc* proc = parentNode->getProc())
                proc->childRemoved(*this);
            else
                KFATAL("Parent without proc %s/%s\n", parentNode->typeName(),
                       parentNode->getName().c_str());
        }
        if (NodeProc* proc = old->getProc()) proc->parentRemoved(*this);
        auto& bag = old->_nodeLinkBag;
        auto it = std::find(bag.begin(), bag.end(), this);
        if (it == bag.end()) {
            KFATAL("Invalid parent link removal: %d\n", int(bag.size()));
        } else {
            bag.erase(it);
            if (parentNode) logLinkChange(*parentNode, *old, *_field, "removed");
        }
        _node = nullptr;
        releasedLast = old;
        old->subRef();
    }

    if (node) {
        if (required && !node->getType().isA(*required)) {
            KWARNING(
                "Can't NodeLink::setNode() for node %s of type %s, because NodeLink needs %s "
                "Node\n",
                node->getName().c_str(), node->typeName(), required->getCName());
            return false;
        }
        changed = true;
        _node = node;
        node->addRef();
        node->_nodeLinkBag.push_back(this);
        if (parentNode) logLinkChange(*parentNode, *node, *_field, "added");
        notifySubject(newLink, 0.0, this);
        if (parentNode && parentNode->getProc()) parentNode->getProc()->childAdded(*this);
        if (NodeProc* proc = node->getProc()) proc->parentAdded(*this);
    }

    if (parentNode && changed) {
        parentNode->_changeFlags |= Node::ChildrenChanged;
        parentNode->markParent(Node::ChildrenChanged);
    }
    return true;
}

Node* NodeLink::node() const {
    // A link to a prototype instance answers with the first node of the instance's body; that
    // resolution joins here with the prototype model.
    return _node;
}

Node* NodeLink::parent() const {
    return _field ? _field->getNode() : nullptr;
}

NodeType* NodeLink::nodeType() const {
    const NodePartDesc* desc = _field ? _field->getDesc() : nullptr;
    NodeType* required = desc ? desc->requiredNodeType() : nullptr;
    return required ? required : &Node::_type;
}

unsigned int NodeLink::getFieldID() const {
    const NodePartDesc* desc = _field ? _field->getDesc() : nullptr;
    return desc ? desc->ID : 0;
}

const NodePartMask& NodeLink::getFieldMask() const {
    if (!_field) return _nullMask;
    return _field->partMask();
}

bool NodeLink::swap(NodeLink& other) {
    if (_field != other._field) return false;
    if (_node == other._node) return true;
    // The targets' parent lists follow, so that each still names the link that holds it.
    if (_node) std::replace(_node->_nodeLinkBag.begin(), _node->_nodeLinkBag.end(), this, &other);
    if (other._node)
        std::replace(other._node->_nodeLinkBag.begin(), other._node->_nodeLinkBag.end(), &other,
                     this);
    std::swap(_node, other._node);
    return true;
}

}  // namespace Kalvex
