#pragma once

#include "zqManipulator/simulation/step/ZqSimulation.h"

#include <memory>
#include <vector>

namespace zqsim
{
/// Is shown a simulation as it goes, and writes something of it to a file. What it cannot do is a `Failure`; one
/// that has failed is asked nothing more.
class Observer
{
public:
   Observer() = default;
   Observer(const Observer&) = delete;
   Observer& operator=(const Observer&) = delete;
   virtual ~Observer() = default;

   /// Once all observers of a run are made, and before its first step.
   virtual void open() {}
   /// The first state, and that after each step.
   virtual void see(ZqSimulation&) {}
   /// The first state, that of every Nth step, and the last.
   virtual void record(ZqSimulation&, const ZqSimulation::Energy&) {}
   /// The last state, when it was given to `record` already: for who has left it out as that of a run that goes on.
   virtual void recordLast(ZqSimulation&, const ZqSimulation::Energy&) {}
   /// Hands to the system what was recorded until now.
   virtual void flush() {}
   /// Brings what was recorded until now to the disk.
   virtual void sync() {}
   /// At the last state; that has not been shown when the simulation diverged where it begins.
   virtual void finish(ZqSimulation&) {}
};

using Observers = std::vector<std::unique_ptr<Observer>>;
} // namespace zqsim
