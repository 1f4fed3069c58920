#include "kalvex/platform/mosrel/SysInfo.h"

#include <iostream>

namespace Kalvex::Mosrel {

SysInfo& SysInfo::the() {
    static SysInfo* info = new SysInfo;  // used from exit handlers: never destroyed
    return *info;
}

void SysInfo::setupExceptionPolicy() {}

void SysInfo::set(const std::string& name, int argc, char** argv, bool keepArgs) {
    _name = name;
    _args.clear();
    if (!keepArgs || !argv) return;
    for (int i = 0; i < argc; ++i)
        if (argv[i]) _args.emplace_back(argv[i]);
}

void SysInfo::dump() const {
    std::cerr << "SysInfo: " << _name << ", " << _args.size() << " args";
    for (const std::string& arg : _args) std::cerr << ' ' << arg;
    std::cerr << '\n';
}

}  // namespace Kalvex::Mosrel
