#pragma once

#include <map>

#include "kalvex/object/RefCountObject.h"
#include "kalvex/object/SmartPtr.h"

namespace Kalvex {

// Integer-keyed store of shared objects. The map costs one pointer until first used.
// Attachments are never copied.
class AttachmentBag : public RefCountObject {
  public:
    using AttachmentMap = std::map<int, SmartPtr<RefCountObject>>;

    AttachmentBag() : _attachments(nullptr) {}
    AttachmentBag(const AttachmentBag& other) : RefCountObject(other), _attachments(nullptr) {}
    AttachmentBag& operator=(const AttachmentBag&) { return *this; }
    ~AttachmentBag() override;

    static int createUniqueID() { return _nextID++; }

    void setAttachment(int id, RefCountObject* obj);
    RefCountObject* getAttachment(int id);
    void delAttachment(int id);
    void delAllAttachment();
    int getAttachmentCount() const;

  protected:
    AttachmentMap* _attachments;
    static int _nextID;
};

}  // namespace Kalvex
