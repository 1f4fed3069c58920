#include "kalvex/object/Subject.h"

#include <algorithm>

#include "kalvex/object/Observer.h"

namespace Kalvex {

Subject::Subject(const char* name)
    : NotificationHandler(name),
      _observers(nullptr),
      _bound(nullptr),
      _walking(0),
      _dropList(false) {}

Subject::Subject(const Subject& other)
    : NotificationHandler(other),
      _observers(nullptr),
      _bound(nullptr),
      _walking(0),
      _dropList(false) {}

Subject::~Subject() {
    detachAll();
    if (_bound) {
        for (Observer* observer : *_bound) observer->_subject = nullptr;
        delete _bound;
    }
}

void Subject::noteBound(Observer& observer) {
    if (!_bound) _bound = new ObserverList;
    _bound->push_back(&observer);
}

void Subject::forgetBound(Observer& observer) {
    if (_bound) _bound->remove(&observer);
}

void Subject::attach(Observer& observer) {
    if (observer._subject == this) return;
    if (observer._subject) observer.setSubject(nullptr);
    if (!_observers) _observers = new ObserverList;
    _dropList = false;
    _observers->push_back(&observer);
    observer._subject = this;
}

void Subject::detach(Observer& observer) {
    if (observer._subject == this) forgetBound(observer);
    if (!_observers || observer._subject != this) return;
    if (_walking > 0)
        std::replace(_observers->begin(), _observers->end(), &observer,
                     static_cast<Observer*>(nullptr));
    else
        _observers->remove(&observer);
    observer._subject = nullptr;
}

void Subject::detachAll() {
    if (!_observers) return;
    for (Observer*& entry : *_observers) {
        if (entry) entry->_subject = nullptr;
        entry = nullptr;
    }
    if (_walking > 0) {
        // The running walk still stands on the list; it is deleted when the walk ends.
        _dropList = true;
        return;
    }
    delete _observers;
    _observers = nullptr;
}

int Subject::countObserver() const {
    if (!_observers) return 0;
    return int(_observers->size() - std::count(_observers->begin(), _observers->end(), nullptr));
}

void Subject::compact() {
    if (!_observers) return;
    _observers->remove(nullptr);
    if (_dropList) {
        delete _observers;
        _observers = nullptr;
        _dropList = false;
    }
}

void Subject::notifyObserver(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c) {
    if (!_observers || _observers->empty()) return;
    ObserverList* list = _observers;
    ++_walking;
    for (auto it = list->begin(); it != list->end(); ++it) {
        Observer* observer = *it;
        if (!observer || !observer->isActive()) continue;
        if (!observer->_callbacks.empty()) observer->runCallbacks(time, a, b, c);
        observer->notify(time, a, b, c);
    }
    if (--_walking == 0) compact();
}

}  // namespace Kalvex
