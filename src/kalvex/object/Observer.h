#pragma once

#include <cstdint>
#include <map>

#include "kalvex/object/NotificationHandler.h"
#include "kalvex/object/TimeStamp.h"

namespace Kalvex {

class Subject;

// Listens to at most one subject. Callbacks run before notify(), in ascending id order.
// setSubject with a subject records it but does not enter the observer in the subject's list;
// only Subject::attach and the constructor that takes a subject do.
class Observer : public NotificationHandler {
  public:
    using Callback = void (*)(const TimeStamp&, Observer*, BaseObject*, BaseObject*, BaseObject*,
                              const void*);
    struct CallbackDesc {
        Callback callback;
        const void* userData;
    };

    explicit Observer(const char* name);
    Observer(Subject& subject, const char* name);
    Observer(Observer& other);
    ~Observer() override;

    void setSubject(Subject* subject);
    Subject* getSubject() const { return _subject; }

    int addCallback(Callback callback, const void* userData);
    void removeCallback(int id);
    void removeAllCallback();
    int countCallback() const { return int(_callbacks.size()); }

    virtual void notify(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c);

  private:
    friend class Subject;
    void runCallbacks(const TimeStamp& time, BaseObject* a, BaseObject* b, BaseObject* c);

    std::map<int32_t, CallbackDesc> _callbacks;
    Subject* _subject;
    static int32_t _callbackCounter;
};

}  // namespace Kalvex
