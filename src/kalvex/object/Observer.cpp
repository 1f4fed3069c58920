#include "kalvex/object/Observer.h"

#include "kalvex/object/Subject.h"

namespace Kalvex {

int32_t Observer::_callbackCounter = 0;

Observer::Observer(const char* name) : NotificationHandler(name), _subject(nullptr) {}

Observer::Observer(Subject& subject, const char* name)
    : NotificationHandler(name), _subject(nullptr) {
    subject.attach(*this);
}

Observer::Observer(Observer& other) : NotificationHandler(other), _subject(nullptr) {
    setSubject(other._subject);
}

Observer::~Observer() {
    setSubject(nullptr);
    _callbacks.clear();
}

void Observer::setSubject(Subject* subject) {
    if (subject == _subject) return;
    if (_subject) {
        Subject* old = _subject;
        old->detach(*this);
        old->forgetBound(*this);  // bound alone, detach may have left it named
    }
    _subject = subject;
    // attach finds the observer already bound and returns: the subject is recorded, not joined.
    if (subject) {
        subject->attach(*this);
        subject->noteBound(*this);
    }
}

int Observer::addCallback(Callback callback, const void* userData) {
    int id = _callbackCounter++;
    _callbacks[id] = CallbackDesc{callback, userData};
    return id;
}

void Observer::removeCallback(int id) {
    _callbacks.erase(id);
}

void Observer::removeAllCallback() {
    _callbacks.clear();
}

void Observer::notify(const TimeStamp&, BaseObject*, BaseObject*, BaseObject*) {}

void Observer::runCallbacks(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) {
    // Step by key, so a callback may remove itself or others without breaking the walk.
    auto it = _callbacks.begin();
    while (it != _callbacks.end()) {
        int32_t id = it->first;
        if (it->second.callback) it->second.callback(time, this, a, b, c, it->second.userData);
        if (_callbacks.empty()) break;
        it = _callbacks.upper_bound(id);
    }
}

}  // namespace Kalvex
