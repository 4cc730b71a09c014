#pragma once

#include "apps/zqsim/attachmentEvents.h"
#include "apps/zqsim/observer.h"
#include "apps/zqsim/summary.h"
#include "zqManipulator/simulation/step/ZqInputTable.h"

#include <cstdint>
#include <functional>
#include <utility>

namespace zqsim
{
class Schedule;

/// When checkpoints are saved, and how.
struct Checkpointing
{
   std::function<void()> save; ///< none when there are to be none
   std::uint64_t every = 0;    ///< step since the beginning; 0 for that at the end alone
};

/// Does the steps of a run, shows them to observers, and saves checkpoints. What observers have recorded before a
/// checkpoint is on the disk before it is.
class Runner
{
public:
   /// Inputs may be null. Events, in the order of their times, come when these are reached. The states of every so
   /// many steps since the beginning are recorded.
   Runner(ZqSimulation& simulation, const Schedule& schedule, const ZqInputTable* inputs,
          std::vector<AttachmentEvent> events, Observers observers, std::uint64_t every,
          Checkpointing checkpointing)
      : m_simulation(simulation), m_schedule(schedule), m_inputs(inputs),
        m_events(std::move(events)), m_observers(std::move(observers)), m_every(every),
        m_checkpointing(std::move(checkpointing))
   {
   }

   /// An observer that cannot open its file is a `Failure`.
   Outcome run(bool showProgress);

private:
   void doSteps(bool showProgress);
   const char* reasonToEnd() const;
   void finish();
   void prepareStep();
   void record(const ZqSimulation::Energy& energy);
   void recordLast();
   void saveCheckpoint();
   template <class Action>
   void withObservers(Action action);
   template <class Action>
   bool succeeds(Action action);

   ZqSimulation& m_simulation;
   const Schedule& m_schedule;
   const ZqInputTable* m_inputs;
   std::vector<AttachmentEvent> m_events;
   std::size_t m_nextEvent = 0;
   Observers m_observers;
   std::uint64_t m_every;
   Checkpointing m_checkpointing;
   Outcome m_outcome;
   bool m_isRecorded = false;                    ///< the present state
   const char* m_failedEnd = "recording failed"; ///< with failures
};
} // namespace zqsim
