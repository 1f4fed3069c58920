#pragma once

#include <list>

#include "kalvex/object/NotificationHandler.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Observer;

// Synchronous publish and subscribe. Senders guard each call with wantsNotify() (active and an
// observer list exists), so a quiet subject costs two tests; notifyObserver itself does not test
// the active flag.
class Subject : public NotificationHandler {
  public:
    using ObserverList = std::list<Observer*>;

    explicit Subject(const char* name);
    Subject(const Subject& other);
    ~Subject() override;

    void attach(Observer& observer);
    void detach(Observer& observer);
    void detachAll();
    void notifyObserver(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c);
    int countObserver() const;

    bool hasObserverList() const { return _observers != nullptr; }
    // Observers first: most subjects have none, and one test then answers.
    bool wantsNotify() const { return _observers != nullptr && _active; }

  private:
    friend class Observer;
    void compact();
    // Observers bound by Observer::setSubject alone hear nothing, but they name this subject:
    // they are remembered so that the subject can unbind them when it dies first.
    void noteBound(Observer& observer);
    void forgetBound(Observer& observer);

    ObserverList* _observers;
    ObserverList* _bound;
    // Depth of running walks. While a walk runs, detached entries are set to null and removed
    // when the outermost walk ends, so the walk never steps on a freed list node.
    int _walking;
    bool _dropList;
};

// The sender's guard in one place: notify only an active subject that has an observer list.
inline void notifySubject(Subject* subject, const TimeStamp& time, BaseObject* a = nullptr,
                          BaseObject* b = nullptr, BaseObject* c = nullptr) {
    if (subject && subject->wantsNotify()) subject->notifyObserver(time, a, b, c);
}

}  // namespace Kalvex
