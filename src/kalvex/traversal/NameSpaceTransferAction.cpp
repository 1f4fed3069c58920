#include "kalvex/traversal/NameSpaceTransferAction.h"

#include <iostream>

#include "kalvex/scopes/NodeNameSpace.h"

namespace Kalvex {

NameSpaceTransferAction::NameSpaceTransferAction(const TimeStamp& time)
    : TraversAction(time), _oldNameSpace(nullptr), _newNameSpace(nullptr) {}

void NameSpaceTransferAction::reset() {
    _oldNameSpace = nullptr;
    _newNameSpace = nullptr;
    TraversAction::reset();
}

void NameSpaceTransferAction::dump() const {
    auto line = [](const char* label, const NodeNameSpace* nameSpace) {
        std::cerr << label;
        if (!nameSpace)
            std::cerr << "Not Set\n";
        else
            std::cerr << nameSpace->getName() << "/0x" << std::hex << nameSpace->ID() << std::dec
                      << "/" << nameSpace->ID() << "\n";
    };
    line("  OldNS: ", _oldNameSpace);
    line("  NewNS: ", _newNameSpace);
    TraversAction::dump();
}

}  // namespace Kalvex
