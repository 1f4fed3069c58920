#include "kalvex/runtime/System.h"

#include <clocale>
#include <csignal>
#include <cstdlib>
#include <iostream>
#include <sstream>

#include "kalvex/fields/FieldType.h"
#include "kalvex/nodes/Node.h"
#include "kalvex/nodes/NodeType.h"
#include "kalvex/object/Logging.h"
#include "kalvex/platform/mosrel/SysInfo.h"
#include "kalvex/platform/osg/ChangeList.h"
#include "kalvex/runtime/Context.h"
#include "kalvex/runtime/Licence.h"

namespace Kalvex {

const std::string System::_version = "2.6.0";
const char* const System::_buildTag = "R-28726";
const char* const System::_buildDate = "Sep 30 2015";

System* System::_the = nullptr;
Subject* System::_initSystemSubject = nullptr;
Subject* System::_exitSystemSubject = nullptr;
Subject* System::_shutdownSystemSubject = nullptr;

namespace {
// Header masks: level name and module name, tab-separated; colour and the extra bit on request.
constexpr int32_t kHeaderPlain = 0x400a;
constexpr int32_t kHeaderColor = 0x600a;
constexpr int32_t kHeaderExtra = 0x1000;
}  // namespace

System& System::the() {
    if (!_the) _the = new System;
    return *_the;
}

System::System() : _logHeader(0), _initialized(false), _name("Kalvex"), _flags(0) {}

System::~System() {
    if (_initialized) KFATAL("System is initialized in destructor\n");
    _the = nullptr;
    _contextBag.clear();
}

void System::shutdown() const {
    if (osg::logExists()) KLOG("Run System::shutdown\n");
    if (_initialized) const_cast<System*>(this)->exit();
}

void System::init(int argc, char** argv, int flags) {
    if (_initialized) {
        KWARNING("Run System::init() and System is already initialized\n");
        return;
    }
    _initialized = true;
    _flags = int64_t(flags);

    if (hasFlag(SysInitOpenSG)) {
        osg::ChangeList::setReadWriteDefault(true);
        if (!osg::osgInit(argc, argv, 1, 8, 1, false, false, false))
            KFATAL("System::init: Failed to initialize OpenSG!\n");
    }
    Mosrel::SysInfo::setupExceptionPolicy();
    Mosrel::SysInfo::the().set(_name, argc, argv, true);
    if (hasFlag(SysCLocale)) std::setlocale(LC_NUMERIC, "C");

    _logHeader = hasFlag(SysColorLog) ? kHeaderColor : kHeaderPlain;
    if (hasFlag(SysLogHeaderExtra)) _logHeader |= kHeaderExtra;
    osg::osgLog().setHeaderElem(unsigned(_logHeader));

    osg::PThreadBase::getCurrentChangeList()->clearAll();
    initHandler();

    FieldType::initTypeTree();
    NodeType::initTypeTree(false);

    _versionLine = "V" + _version + " build: " + _buildTag + " " + _buildDate;
    // No component catalogue is loaded yet at this point of the start.
    const int componentCount = 0;
    KLOG("Init: %d/%d, %s\n", componentCount, int(NodeType::typeCount()), _versionLine.c_str());

    std::ostringstream status;
    if (!NodeType::reportDocStatus(status, std::getenv("KALVEX_LOG_DOCSTATUS") != nullptr))
        KWARNING("Incomplete DocStatus: %s\n", status.str().c_str());

    notifySubject(_initSystemSubject, 0.0, this);
}

void System::exit() {
    if (!_initialized) {
        KWARNING("Run System::exit() and System is not initialized\n");
        return;
    }
    _initialized = false;
    notifySubject(_exitSystemSubject, 0.0, this);

    _contextBag.clear();

    unsigned int nodes = Node::idMapSize();
    if (nodes == 0 && BaseObject::_objCount == 0)
        KNOTICE("%s::exitSystem() call\n", _name.c_str());
    else
        KWARNING("%s::exitSystem() call and node/obj left: %d/%d\n", _name.c_str(), int(nodes),
                 int(BaseObject::_objCount));

    notifySubject(_shutdownSystemSubject, 0.0, this);
    Licence::the().exit();

    if (hasFlag(SysExitOpenSG)) osg::osgExit();
}

void System::initHandler() {
    if (hasFlag(SysAtExit)) std::atexit(&System::atExitHandler);
    if (hasFlag(SysSigInt)) std::signal(SIGINT, &System::sigIntHandler);
}

void System::atExitHandler() {
    if (osg::logExists() && osg::osgLog().getLogLevel() > osg::LOG_NOTICE)
        KINFO("Run System::atExitHandler\n");
    if (_the && _the->_initialized) _the->exit();
}

void System::sigIntHandler(int) {
    if (osg::logExists() && osg::osgLog().getLogLevel() > osg::LOG_NOTICE)
        KINFO("Run System::sigIntHandler\n");
    if (_the && _the->_initialized) _the->exit();
    std::exit(0);
}

bool System::addContext(Context& context) {
    for (const SmartPtr<Context>& entry : _contextBag) {
        if (entry.get() == &context) {
            KFATAL("Cannot register context a second time in System\n");
            return false;
        }
    }
    _contextBag.push_front(SmartPtr<Context>(&context));
    return true;
}

SmartPtr<Context> System::removeContext(Context& context) {
    for (auto it = _contextBag.begin(); it != _contextBag.end(); ++it) {
        if (it->get() == &context) {
            SmartPtr<Context> result = *it;
            _contextBag.erase(it);
            return result;
        }
    }
    return SmartPtr<Context>();
}

Context* System::findContext(const std::string& name) {
    for (const SmartPtr<Context>& entry : _contextBag)
        if (entry && entry->getName() == name) return entry.get();
    return nullptr;
}

bool System::setRootState(const TimeStamp& time, NodeState state) {
    bool result = true;
    for (const SmartPtr<Context>& entry : _contextBag) {
        // An entry emptied by runContextBag has no context to ask; it counts as a failure.
        if (!entry) {
            result = false;
            continue;
        }
        if (!entry->setRootState(time, state)) result = false;
    }
    return result;
}

double System::runContextBag() {
    System& system = the();
    double result = 1000.0;
    bool ran = false;
    for (SmartPtr<Context>& entry : system._contextBag) {
        if (!entry) continue;
        if (entry->getState() == Dispose) {
            KLOG("Subref DISPOSED Context\n");
            entry.setObj(nullptr);  // the entry stays in the bag, empty
            continue;
        }
        double wait = entry->runFrame();
        ran = true;
        if (wait < result) result = wait;
    }
    if (ran) return result;
    if (system.hasFlag(SysExitWithoutContext)) {
        system.exit();
        std::exit(0);
    }
    KWARNING("Run system without context\n");
    return -1.0;
}

void System::dump() {
    std::cerr << _name << ": " << _versionLine << std::endl;
    Mosrel::SysInfo::the().dump();
}

Subject* System::initSystemSubject() {
    if (!_initSystemSubject) _initSystemSubject = new Subject("initSystem");
    return _initSystemSubject;
}

Subject* System::exitSystemSubject() {
    if (!_exitSystemSubject) _exitSystemSubject = new Subject("exitSystem");
    return _exitSystemSubject;
}

Subject* System::shutdownSystemSubject() {
    if (!_shutdownSystemSubject) _shutdownSystemSubject = new Subject("shutdownSystem");
    return _shutdownSystemSubject;
}

}  // namespace Kalvex
