// What long operations call while they run on a worker.
#pragma once

namespace ravd {

// Implemented by the worker on whose thread an operation runs. Whatever can take long there (configuration requests
// in sequence, commands, ioctls in loops, name resolution, draining a queue) calls tick() between its steps, so that
// a slow neighbour does not trip the watchdog, and ends early once cancelled() is true: requests then fail without
// being sent and commands are not started.
class activity {
  public:
    // Reads the worker's clock. Only on the worker's own thread.
    virtual void tick() = 0;
    // True once the worker's run flag is clear.
    virtual bool cancelled() const = 0;

  protected:
    ~activity() = default;
};

}  // namespace ravd
