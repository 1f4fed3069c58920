#include "kalvex/object/AttachmentBag.h"

#include "kalvex/object/Logging.h"

namespace Kalvex {

int AttachmentBag::_nextID = 0;

AttachmentBag::~AttachmentBag() {
    delAllAttachment();
}

void AttachmentBag::setAttachment(int id, RefCountObject* obj) {
    if (!obj) {
        KFATAL("Can not add NULL attachemnt for %d id", id);
        return;
    }
    if (!_attachments) _attachments = new AttachmentMap;
    (*_attachments)[id].setObj(obj);
}

RefCountObject* AttachmentBag::getAttachment(int id) {
    if (!_attachments) _attachments = new AttachmentMap;
    auto it = _attachments->find(id);
    return it == _attachments->end() ? nullptr : it->second.get();
}

void AttachmentBag::delAttachment(int id) {
    if (!_attachments) _attachments = new AttachmentMap;
    _attachments->erase(id);
}

void AttachmentBag::delAllAttachment() {
    if (!_attachments) return;
    AttachmentMap* map = _attachments;
    _attachments = nullptr;
    delete map;
}

int AttachmentBag::getAttachmentCount() const {
    return _attachments ? int(_attachments->size()) : 0;
}

}  // namespace Kalvex
