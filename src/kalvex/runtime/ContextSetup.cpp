#include "kalvex/runtime/ContextSetup.h"

#include <algorithm>
#include <cctype>
#include <cstring>

#include "kalvex/fields/FieldClasses.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/nodes/NodeTypeNameSpace.h"
#include "kalvex/object/BaseTypeObject.h"
#include "kalvex/object/Logging.h"
#include "kalvex/platform/osg/Log.h"
#include "kalvex/platform/rayxt/Intersect.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/System.h"

namespace Kalvex {

namespace {

std::string maskBits(unsigned long mask) {
    std::string bits(64, '0');
    for (unsigned int i = 0; i < 64; ++i)
        if ((mask >> i) & 1UL) bits[i] = '1';
    return bits;
}

// Same length and the same letters, case aside.
bool equalNoCase(const char* word, const std::string& text) {
    if (std::strlen(word) != text.size()) return false;
    for (size_t i = 0; i < text.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(word[i])) !=
            std::tolower(static_cast<unsigned char>(text[i])))
            return false;
    return true;
}

}  // namespace

// No rows of its own: the type has Node's two parts, and its interface grows at run time.
NodeType ContextSetup::_type(theBaseNodeTypeFactory(), "ContextSetup", "Base", "Node", nullptr,
                             "1.0", "Core", "The parameters of a context", "stable",
                             "ContextState holds dynamic fields which define the context state",
                             "Kalvex", false, true, &ContextSetup::isType,
                             &ContextSetup::createNode, &ContextSetupProc::createProc, nullptr, 0);

ContextSetup::ContextSetup(NodeType& type, NodeNameSpace& nameSpace, const char* name)
    : Node(type, nameSpace, name) {}

ContextSetupProc* ContextSetup::getContextSetupProc() const {
    return dynamic_cast<ContextSetupProc*>(_proc);
}

bool ContextSetup::init() {
    const bool found =
        NodeTypeNameSpace::findType(_type.nameSpace(), _type.getName(), SearchExact) == &_type;
    KINFO("Init %s: %s\n", _type.getCName(), found ? "OK" : "FAILED");
    return found;
}

void ContextSetup::fieldChanged(Field& field, const TimeStamp& time, Field* source) {
    ContextSetupProc* proc = getContextSetupProc();
    if (!proc) {
        // A broken type chain gave the node the plain behaviour.
        Node::fieldChanged(field, time, source);
        return;
    }
    if (!enterFieldChange(field)) return;
    proc->fieldChanged(*this, field, time, source);
    leaveFieldChange(field);
}

// --- parameters ---------------------------------------------------------------------------------

// Read by the component catalogue once it exists.
const unsigned int ContextSetupProc::_cdfPathID =
    Context::createParamID("cdfPath", "defines the for the cdf data", "Component", "", nullptr);
// For plug-ins and hosts: nothing in the library reads these three.
const unsigned int ContextSetupProc::_multiContextID =
    Context::createParamID("multiContext", "Run more than one context", "Context", false);
const unsigned int ContextSetupProc::_appThreadCountID =
    Context::createParamID("appThreadCount", "The number of application threads", "Context", 16);
const unsigned int ContextSetupProc::_parallelContextDownloadID = Context::createParamID(
    "parallelContextDownload", "support parallel context downloads", "Context", false);
const unsigned int ContextSetupProc::_forbidFieldFreeID =
    Context::createParamID("forbidFieldFree", "forbid Field free optimize", "Context", false);
const unsigned int ContextSetupProc::_forbidNodeFreeID =
    Context::createParamID("forbidNodeFree", "forbid Node free optimize", "Context", false);
const unsigned int ContextSetupProc::_cacheClearOnReloadID =
    Context::createParamID("cacheClearOnReload", "clear all caches on reload", "Context", true);
const unsigned int ContextSetupProc::_rayIntersectModeID =
    Context::createParamID("rayIntersectMode", "defines the ray intersection mode", "Context",
                           "auto", "auto,lowMem,fast,fastest,bbox");
// The list leaves out "auto", the default, which the dictionary knows.
const unsigned int ContextSetupProc::_sysLogLevelID =
    Context::createParamID("sysLogLevel", "defines the log level for sys-message", "Context",
                           "auto", "log,fatal,warning,notice,info,debug");
const unsigned int ContextSetupProc::_sysLogOutputID =
    Context::createParamID("sysLogOutput", "valid outputs are auto,stdout,stderr or any filename",
                           "Context", "auto", nullptr);
const unsigned int ContextSetupProc::_sysLogHeaderID = Context::createParamID(
    "sysLogHeader", "defines header elements while logging sys message", "Context", -1);

const StringDic ContextSetupProc::_sysLogLevelDic[] = {{"auto", 2},    {"log", 0},    {"fatal", 1},
                                                       {"warning", 2}, {"notice", 3}, {"info", 4},
                                                       {"debug", 5},   {"", 0}};

const StringDic ContextSetupProc::_sysLogOutputDic[] = {{"file", 3},   {"auto", -1},  {"none", 0},
                                                        {"stdout", 1}, {"stderr", 2}, {"cout", 1},
                                                        {"cerr", 2},   {"", 0}};

// --- behaviour ----------------------------------------------------------------------------------

// The log type is taken here too, so that a node that is never attached falls back to the type in
// force when it was made, not to silence.
ContextSetupProc::ContextSetupProc(NodeType& type, Node& node)
    : NodeProc(type, node), _savedLogType(osg::osgLog().getLogType()) {}

ContextSetupProc::~ContextSetupProc() {
    for (auto& entry : _preDescStore) delete entry.second;
}

void ContextSetupProc::setup(const TimeStamp& time) {
    updateParamFieldMaps();
    NodeProc::setup(time);
}

void ContextSetupProc::attach(const TimeStamp& time) {
    _node._changedMask = NodePartMask(~0UL);
    _savedLogType = osg::osgLog().getLogType();
    NodeProc::attach(time);
}

void ContextSetupProc::updateParamFieldMaps() {
    const unsigned int rows = Context::paramCount();
    const unsigned int present = _node.partDescCount() - 2;
    KINFO("Update ContextSetup param field maps: %d/%d\n", int(present), int(rows));
    for (unsigned int id = present; id < rows; ++id) {
        NodePartDesc* row = Context::paramDesc(id);
        if (!row) {
            KFATAL("Invalid param desc in Context\n");
            continue;
        }
        addNodePart(*row, nullptr);
    }
}

NodePartDesc* ContextSetupProc::addNodePart(const NodePartDesc& source,
                                            BitVector<unsigned int>* flags) {
    NodePartDesc* desc = NodeProc::addNodePart(source, flags);
    if (!desc) return nullptr;
    Field* field = _node.getField(desc->ID);
    if (!field) return desc;
    auto waiting = _preDescStore.find(desc->name);
    if (waiting == _preDescStore.end()) {
        restoreFields(0.0, desc->mask);
        return desc;
    }
    KLOG("Add PreDescStore Value: %s\n", desc->name.c_str());
    field->setValueByStr(waiting->second->getValue().c_str());
    field->processValueChange(0.0, Field::CallerDefault);
    delete waiting->second;
    _preDescStore.erase(waiting);
    return desc;
}

Field* ContextSetupProc::findField(const std::string& name, Node::FieldSearchOrder) {
    KWARNING("Create PreDescStore elem: %s\n", name.c_str());
    auto waiting = _preDescStore.find(name);
    if (waiting != _preDescStore.end()) return waiting->second;
    auto* value = new SFString(_node);
    _preDescStore[name] = value;
    return value;
}

bool ContextSetupProc::mergeNode(Node& other, NodeType*) {
    auto* otherProc = ContextSetup::isType(&other)
                          ? static_cast<ContextSetup&>(other).getContextSetupProc()
                          : nullptr;
    if (otherProc) {
        for (const auto& [name, value] : otherProc->_preDescStore) {
            auto mine = _preDescStore.find(name);
            if (mine != _preDescStore.end()) {
                mine->second->setValue(value->getValue());
                continue;
            }
            // Our findField keeps an unknown name waiting, so a field always comes back.
            Field* field = _node.findField(name, Node::SearchAllNames);
            if (!field) {
                auto* stored = new SFString(_node);
                stored->setValue(value->getValue());
                _preDescStore[name] = stored;
                continue;
            }
            KLOG("Merge PreDescStore Value: %s\n", name.c_str());
            field->setValueByStr(value->getValue().c_str());
            field->processValueChange(0.0, Field::CallerDefault);
        }
    }
    if (other._changedMask.isZero()) return true;
    KNOTICE("Runing ContextSetup::mergeNode()\n");
    KNOTICE("Sync src changedMask: %s\n", maskBits(other._changedMask.getValue()).c_str());
    KNOTICE("Sync dest changedMask: %s\n", maskBits(_node._changedMask.getValue()).c_str());
    // Both nodes were filled from the one table, so their fields match by index.
    const unsigned int count = std::min(_node.fieldCount(), other.fieldCount());
    for (unsigned int i = 0; i < count; ++i) {
        Field* mine = _node.getField(i);
        Field* theirs = other.getField(i);
        if (!mine || !theirs) break;
        if (!other._changedMask.testBit(i % 64)) continue;
        KLOG("Set Context field in merge: %s\n", mine->findName());
        if (Field::assign(*mine, *theirs, nullptr))
            mine->processValueChange(0.0, Field::CallerDefault);
    }
    return true;
}

void ContextSetupProc::fieldChanged(Node& node, Field& field, const TimeStamp& time,
                                    Field* source) {
    if (Context* context = _node.context())
        context->sendLogMessage(
            time,
            std::string("Context param ") + field.findName() + " changed to " + field.strValue(),
            osg::LOG_LOG);
    KNOTICE("Runing ContextSetup::mergeNode()\n");
    NodeProc::fieldChanged(node, field, time, source);
}

// --- applying parameters ------------------------------------------------------------------------

void ContextSetupProc::nodeChanged(const TimeStamp& time, const BitVector<unsigned long>& mask) {
    if (!_node.context()) {
        KFATAL("Invalid Context\n");
        NodeProc::nodeChanged(time, mask);
        return;
    }
    auto changed = [&](unsigned int id) -> Field* {
        Field* field = paramField(id);
        return field && field->partMask().test(mask) ? field : nullptr;
    };
    if (Field* field = changed(_rayIntersectModeID)) applyRayIntersectMode(*field);
    if (auto* field = dynamic_cast<SFString*>(changed(_sysLogLevelID)))
        osg::osgLog().setLogLevel(osg::LogLevel(findDic(_sysLogLevelDic, *field)));
    if (Field* field = changed(_sysLogOutputID)) applyLogOutput(*field);
    if (Field* field = changed(_sysLogHeaderID)) applyLogHeader(*field);
    NodeProc::nodeChanged(time, mask);
}

void ContextSetupProc::applyRayIntersectMode(const Field& field) {
    const std::string mode = field.strValue();
    KNOTICE("Context rayIntersectMode: %s\n", mode.c_str());
    if (mode == "fast" || mode == "fastest") {
        KNOTICE("Register BIH intersects\n");
        rayxt::osg::register_rayxt_intersect();
        KNOTICE("registered!\n");
    } else if (mode == "bbox") {
        KNOTICE("Register BBox intersects\n");
        rayxt::osg::register_bbox_intersect();
        KNOTICE("registered!\n");
    } else {
        KNOTICE("Unregister BIH intersects\n");
        rayxt::osg::unregister_rayxt_intersect();
        KNOTICE("unregistered!\n");
    }
}

void ContextSetupProc::applyLogOutput(const Field& field) {
    const std::string text = field.strValue();
    const StringDic* found = nullptr;
    for (const StringDic* entry = _sysLogOutputDic; *entry->str; ++entry)
        if (equalNoCase(entry->str, text)) {
            found = entry;
            break;
        }
    osg::Log& log = osg::osgLog();
    if (found && (found->value == osg::LOG_STDOUT || found->value == osg::LOG_STDERR)) {
        log.setLogType(osg::LogType(found->value));
        return;
    }
    // "none" comes here too: it means the type of before, not silence.
    if (found && found->value <= 0) {
        log.setLogType(osg::LogType(_savedLogType));
        return;
    }
    // Any other word is a file name, "file" itself included.
    KLOG("Set log file: %s\n", text.c_str());
    if (log.setLogFile(text.c_str())) {
        log.setLogType(osg::LOG_FILE);
        return;
    }
    log.setLogType(osg::LOG_STDERR);
    KFATAL("Could not open log file: %s\n", text.c_str());
}

void ContextSetupProc::applyLogHeader(const Field& field) {
    const auto* value = dynamic_cast<const SFInt32*>(&field);
    const int header = value ? value->getValue() : 0;
    unsigned int elements;
    if (header <= 0) {
        elements = unsigned(System::the().logHeader());
    } else {
        KLOG("Switch log header to %d\n", header);
        elements = unsigned(header);
    }
    osg::osgLog().setHeaderElem(elements);
}

// --- keeping values between runs ----------------------------------------------------------------

void ContextSetupProc::syncFields(const TimeStamp& time, const NodePartMask& mask, int direction,
                                  std::string& names) {
    BaseTypeObject<int> way(direction);
    Context* context = _node.context();
    // Only a keeper that asked for the subject can hear it: nobody else makes it.
    Subject* subject = Context::_syncSetupSubject;
    for (Field* field : _node.fieldVec()) {
        if (!field || !field->partMask().test(mask)) continue;
        names.append(field->findName()).append(" ");
        notifySubject(subject, time, context, &way, field);
    }
}

void ContextSetupProc::storeFields(const TimeStamp& time, const NodePartMask& mask) {
    if (!_node.context()) {
        KWARNING("No Context; do not store Context Setup\n");
        return;
    }
    std::string names;
    syncFields(time, mask, 0, names);
    KNOTICE("Store Context Setup: %s\n", names.c_str());
}

void ContextSetupProc::restoreFields(const TimeStamp& time, const NodePartMask& mask) {
    std::string names;
    syncFields(time, mask, 1, names);
    KINFO("Restore Context Setup: %s\n", names.c_str());
}

}  // namespace Kalvex
