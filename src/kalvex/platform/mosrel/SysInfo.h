#pragma once

#include <string>
#include <vector>

namespace Kalvex::Mosrel {

// What the process knows about itself: the program name and arguments it was started with.
class SysInfo {
  public:
    static SysInfo& the();

    // Failures are reported, never thrown, so the process keeps its default policy.
    static void setupExceptionPolicy();
    void set(const std::string& name, int argc, char** argv, bool keepArgs);
    void dump() const;

    const std::string& name() const { return _name; }
    const std::vector<std::string>& args() const { return _args; }

  private:
    std::string _name;
    std::vector<std::string> _args;
};

}  // namespace Kalvex::Mosrel
