#pragma once
// A loader written the way a parser library writes one: it observes the process-wide
// "loadContext" subject and, for input it can read, builds a new context and hands it back.
// It reads one tiny text form, words separated by blanks or commas:
//
//   Type        a node of that type, a child of the current root (an unnamed node)
//   name=Type   the same under a DEF name
//   Root:       a root of the context root type Root; the words after it go under it. Words
//               before any such word go under a root of type "Scene".
//
// It answers data of type "example" in that form, and URLs "example:<form>", where commas
// stand for blanks ("example:Layer:,c=Counter"); "example:scene" is a small ready scene. A
// URL becomes the new context's source line. Anything else, an unknown type, a root type named
// twice or a node that finds no field under its root leaves the answer empty. An answer that
// an earlier observer gave is left as it is.

#include <kalvex/Kalvex.h>

#include <string>

namespace KalvexExample {

class ExampleLoader : public Kalvex::Observer {
  public:
    // Observes Context::loadContextSubject() while it lives.
    ExampleLoader();

    void notify(const Kalvex::TimeStamp& time, Kalvex::BaseObject* source,
                Kalvex::BaseObject* dataType, Kalvex::BaseObject* answer) override;

    // The context that the text form describes, with no reference taken; null if the text
    // cannot be read.
    static Kalvex::Context* build(const std::string& text);

    // Contexts this loader handed out.
    int answered() const { return _answered; }

  private:
    int _answered = 0;
};

}  // namespace KalvexExample
