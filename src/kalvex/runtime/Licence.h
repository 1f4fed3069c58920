#pragma once

#include <string>

namespace Kalvex {

// The licence check: it may refuse the creation of nodes of a component and the use of
// features. This build grants everything; the check stays one object so that a real one can
// take its place without touching its callers.
class Licence {
  public:
    static Licence& the();

    virtual ~Licence() = default;
    virtual bool allowComponent(const std::string& component);
    virtual bool allowFeature(const std::string& feature);
    // Closed by System::exit.
    virtual void exit() {}

  protected:
    Licence() = default;
};

}  // namespace Kalvex
