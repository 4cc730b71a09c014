#include "apps/zqsim/runner.h"

#include "apps/zqsim/interruption.h"
#include "apps/zqsim/progress.h"
#include "apps/zqsim/schedule.h"

#include <cmath>

template <class Action>
bool zqsim::Runner::succeeds(Action action)
{
   try
   {
      action();
      return true;
   }
   catch (const Failure& failure)
   {
      m_outcome.failures.push_back(failure);
      return false;
   }
}

template <class Action>
void zqsim::Runner::withObservers(Action action)
{
   std::erase_if(m_observers, [&](const std::unique_ptr<Observer>& observer)
                 { return !succeeds([&] { action(*observer); }); });
}

zqsim::Outcome zqsim::Runner::run(bool showProgress)
{
   for (const auto& observer : m_observers)
      observer->open();
   prepareStep();
   m_outcome.stepsBefore = m_simulation.steps();
   m_outcome.atStart = m_simulation.energy();
   m_outcome.atEnd = m_outcome.atStart;
   if (!m_simulation.divergence())
   {
      withObservers([&](Observer& observer) { observer.see(m_simulation); });
      record(m_outcome.atStart);
      doSteps(showProgress);
      m_outcome.atEnd = m_simulation.energy();
      if (std::isfinite(m_outcome.atEnd.total()))
         recordLast();
   }
   finish();
   return m_outcome;
}

/// Why no step follows the present state; null when one does.
const char* zqsim::Runner::reasonToEnd() const
{
   if (!m_simulation.firedCriteria().empty())
      return "stopping criterion";
   if (isInterrupted())
      return "interrupted";
   return m_outcome.steps < m_schedule.count() ? nullptr : "time reached";
}

void zqsim::Runner::doSteps(bool showProgress)
{
   // To look at the clock would cost much of a short step.
   constexpr std::uint64_t stepsBetweenLooks = 16;
   const InterruptionGuard guard;
   Progress progress(m_schedule.start(), m_schedule.end(), showProgress);
   const char* end = reasonToEnd();
   while (end == nullptr && m_outcome.failures.empty() &&
          m_simulation.stepTo(m_schedule.time(m_outcome.steps + 1)))
   {
      ++m_outcome.steps;
      prepareStep();
      m_isRecorded = false;
      withObservers([&](Observer& observer) { observer.see(m_simulation); });
      if (!m_observers.empty() && m_simulation.steps() % m_every == 0)
      {
         const ZqSimulation::Energy energy = m_simulation.energy();
         if (m_simulation.divergence())
            break;
         record(energy);
      }
      end = reasonToEnd();
      // That of the end waits for the last line.
      if (end == nullptr && m_checkpointing.every != 0 &&
          m_simulation.steps() % m_checkpointing.every == 0)
         saveCheckpoint();
      if (m_outcome.steps % stepsBetweenLooks == 0 && progress.update(m_simulation.state().time()))
         withObservers([](Observer& observer) { observer.flush(); });
   }
   if (end != nullptr)
      m_outcome.end = end;
   m_outcome.wallTime = progress.elapsed();
}

void zqsim::Runner::finish()
{
   if (!m_outcome.failures.empty())
      m_outcome.end = m_failedEnd;
   if (m_simulation.divergence())
      m_outcome.end = "diverged";
   else if (m_outcome.failures.empty())
      saveCheckpoint();
   withObservers([&](Observer& observer) { observer.finish(m_simulation); });
}

/// Attaches and releases what is due, and sets the inputs of the next step, which are recorded with the present state.
void zqsim::Runner::prepareStep()
{
   const ZqReal now = m_simulation.state().time();
   for (; m_nextEvent < m_events.size() && m_events[m_nextEvent].isDue(now); ++m_nextEvent)
      if (!succeeds([&] { m_events[m_nextEvent].apply(m_simulation); }))
         m_failedEnd = "attachment refused";
   if (m_inputs != nullptr)
      m_inputs->apply(m_simulation, m_schedule.time(m_outcome.steps + 1));
}

void zqsim::Runner::record(const ZqSimulation::Energy& energy)
{
   withObservers([&](Observer& observer) { observer.record(m_simulation, energy); });
   m_isRecorded = true;
}

void zqsim::Runner::recordLast()
{
   if (m_isRecorded)
      withObservers([&](Observer& observer)
                    { observer.recordLast(m_simulation, m_outcome.atEnd); });
   else
      record(m_outcome.atEnd);
}

/// What cannot be saved ends the run, and so does what cannot be recorded: a checkpoint with which tables have a gap
/// is of no use.
void zqsim::Runner::saveCheckpoint()
{
   if (!m_checkpointing.save)
      return;
   withObservers([](Observer& observer) { observer.sync(); });
   if (m_outcome.failures.empty() && succeeds(m_checkpointing.save))
      m_outcome.checkpointTime = m_simulation.state().time();
}
