// A minimal host: start the system, watch its subjects, run a few frames, stop.

#include <kalvex/Kalvex.h>

#include <chrono>
#include <cstdio>
#include <thread>

namespace {

// Prints each notification of the subject it is attached to.
class Announcer : public Kalvex::Observer {
  public:
    Announcer(Kalvex::Subject& subject, const char* what) : Observer(subject, what) {}
    void notify(const Kalvex::TimeStamp&, Kalvex::BaseObject*, Kalvex::BaseObject*,
                Kalvex::BaseObject*) override {
        std::printf("host: %s\n", getName().c_str());
    }
};

// Counts the frames of a context.
class FrameCounter : public Kalvex::Observer {
  public:
    explicit FrameCounter(Kalvex::Subject& subject) : Observer(subject, "frames") {}
    void notify(const Kalvex::TimeStamp& time, Kalvex::BaseObject*, Kalvex::BaseObject*,
                Kalvex::BaseObject*) override {
        ++frames;
        std::printf("host: frame %d at t=%.3f\n", frames, time);
    }
    int frames = 0;
};

}  // namespace

int main(int argc, char** argv) {
    using namespace Kalvex;

    Announcer up(*System::initSystemSubject(), "system is up");
    Announcer going(*System::exitSystemSubject(), "system is going down");
    Announcer gone(*System::shutdownSystemSubject(), "system has shut down");

    System& system = System::the();
    system.init(argc, argv, System::SysCLocale);
    std::printf("host: %s %s, %d field types\n", system.name().c_str(),
                system.versionLine().c_str(), FieldType::typeCount());

    SmartPtr<Context> context = Context::create();
    context->setName("main");
    context->setFrameRate(60.0);
    FrameCounter counter(*context->runFrameSubject());
    system.addContext(*context);

    for (int frame = 0; frame < 3; ++frame) {
        context->setTimeStamp(frame / 60.0);
        double wait = System::runContextBag();
        std::printf("host: wait %.4f s\n", wait);
        std::this_thread::sleep_for(std::chrono::duration<double>(wait));
    }

    system.removeContext(*context);
    context = nullptr;
    system.exit();
    std::printf("host: ran %d frames; system stopped\n", counter.frames);
    return 0;
}
