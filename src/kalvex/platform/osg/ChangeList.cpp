#include "kalvex/platform/osg/ChangeList.h"

namespace Kalvex::osg {

bool ChangeList::_readWriteDefault = false;

namespace {
bool initialized = false;
}

ChangeList* PThreadBase::getCurrentChangeList() {
    thread_local ChangeList list;
    return &list;
}

ExternalThread* ExternalThread::get(const char* name) {
    return new ExternalThread(name);
}

bool ExternalThread::initialize(unsigned int) {
    PThreadBase::getCurrentChangeList()->clearAll();
    return true;
}

void ExternalThread::subRef() {
    if (--_refCount <= 0) delete this;
}

bool osgInit(int, char**, unsigned short major, unsigned short minor, unsigned short, bool, bool,
             bool) {
    // Only the version this layer stands in for can be started.
    if (major != 1 || minor > 8) return false;
    initialized = true;
    return true;
}

bool osgExit() {
    initialized = false;
    return true;
}

bool osgIsInitialized() {
    return initialized;
}

}  // namespace Kalvex::osg
