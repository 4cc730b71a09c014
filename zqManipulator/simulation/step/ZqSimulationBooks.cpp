#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <cmath>
#include <utility>

// What a step puts in and loses: the forces of the evaluation with which it begins, along the mean of the
// velocities at its start and its end. With that mean, work changes the kinetic energy of an explicit step
// exactly, for one inertia: v1 = v0 + dt a gives v1 M v1 / 2 - v0 M v0 / 2 = dt (M a) (v0 + v1) / 2.

namespace
{
bool isBookFinite(const ZqEnergyBook& book)
{
   return std::isfinite(book.heldAtStart.total() + book.work.total()) &&
          std::isfinite(book.lost.total());
}

ZqReal powerOf(const ZqGeneralForce& force, const ZqGeneralMotion& velocity)
{
   return force.force().dot(velocity.linear()) + force.moment().dot(velocity.angular());
}
} // namespace

void ZqSimulation::prepareBooks()
{
   collisions().setBooksEnergy(m_settings.booksEnergy);
   if (!m_settings.booksEnergy)
      return;
   for (Member& member : m_members)
   {
      member.stepBook = std::make_unique<StepBook>();
      member.stepBook->drives.resize(member.joints.size());
   }
   for (const Carried& carried : m_carried)
      for (const ZqU32 index : {carried.manipulator, carried.carrier.manipulator})
         m_members[index].stepBook->isInTree = true;
}

ZqEnergyBook ZqSimulation::energyBook()
{
   ZqEnergyBook book = m_book;
   ZqInteractionEnergy interactions;
   if (m_interacts)
   {
      present();
      interactions = m_interactions.energy(m_active, system());
   }
   book.held = heldBetweenInteractions();
   book.held.linkSprings = interactions.linkSprings;
   book.held.contactSprings = interactions.contactSprings;
   if (m_hasBookBegun)
   {
      // The next step will book it, by the same evaluation.
      book.lost.contactFriction += interactions.slipped;
      book.lost.contactDampers += interactions.released;
   }
   else if (m_settings.booksEnergy)
      book.heldAtStart = book.held;
   return book;
}

// What is held

/// By the present state, all but what interactions hold.
ZqEnergyBook::Held ZqSimulation::heldBetweenInteractions()
{
   m_active.setNonredundantState(m_state);
   ZqEnergyBook::Held sum;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const ZqEnergyBook::Held held = heldBy(i);
      sum.kinetic += held.kinetic;
      sum.gravity += held.gravity;
      sum.jointSprings += held.jointSprings;
   }
   return sum;
}

/// By one manipulator, in the state that the active state has taken over.
ZqEnergyBook::Held ZqSimulation::heldBy(ZqU32 index)
{
   ZqEnergyBook::Held held;
   const auto add = [&](const Energy& energy)
   {
      held.kinetic += energy.kinetic;
      held.gravity += energy.potential;
   };
   const Member& member = m_members[index];
   const ZqManipulatorActiveState& active = activeState(index);
   add(energyOfBody(index, *member.manipulator));
   for (ZqU32 j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      add(energyOfBody(index, *joint.link));
      add(energyOfMotor(index, j));
      held.jointSprings +=
         joint.link->springProperties().heldEnergy(j, *member.manipulator, active);
      if (joint.driveTrain != nullptr)
         held.jointSprings += joint.driveTrain->heldEnergy(active);
   }
   return held;
}

/// By all in the present state, without a trace (J).
ZqReal ZqSimulation::heldInTrial()
{
   ZqEnergyBook::Held held = heldBetweenInteractions();
   if (m_interacts)
   {
      endTrial();
      beginTrial();
      m_interactions.computeForces(m_active, system(), m_state.time(), m_torques,
                                   m_active.generalForceVector());
      const ZqInteractionEnergy interactions = m_interactions.energy(m_active, system());
      held.linkSprings = interactions.linkSprings;
      held.contactSprings = interactions.contactSprings;
   }
   return held.total();
}

// Where a step begins

/// What is held where the first step begins, but for interactions, which `bookInteractionsOfStep` adds.
void ZqSimulation::beginBook()
{
   m_book.heldAtStart = heldBetweenInteractions();
}

/// Keeps what the evaluation has found with which a step begins, and books what happened in it at once: what
/// interactions remember has been led on, also when the step fails.
void ZqSimulation::bookInteractionsOfStep()
{
   if (!m_settings.booksEnergy || (m_hasBookBegun && !m_interacts))
      return;
   m_interactionsOfStep =
      m_interacts ? m_interactions.energy(m_active, system()) : ZqInteractionEnergy();
   ZqEnergyBook book = m_book;
   if (m_hasBookBegun)
   {
      book.lost.contactFriction += m_interactionsOfStep.slipped;
      book.lost.contactDampers += m_interactionsOfStep.released;
   }
   else
   {
      book.heldAtStart.linkSprings = m_interactionsOfStep.linkSprings;
      book.heldAtStart.contactSprings = m_interactionsOfStep.contactSprings;
   }
   m_hasBookBegun = true;
   if (isBookFinite(book))
      m_book = book;
}

void ZqSimulation::openStepBooks()
{
   if (!m_settings.booksEnergy)
      return;
   for (const ZqU32 i : m_watched)
      m_members[i].stepBook->hasReturned = false;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      if (hasEntries(i))
         openStepBook(i);
}

/// Whether anything but interactions does work on a manipulator, or takes energy from it.
bool ZqSimulation::hasEntries(ZqU32 index) const
{
   return !m_members[index].joints.empty() || needsMotion(index);
}

/// Whether its book asks how its links move.
bool ZqSimulation::needsMotion(ZqU32 index) const
{
   return m_members[index].isPushed || m_members[index].stepBook->isInTree;
}

/// Notes what acts in the state with which the step begins.
void ZqSimulation::openStepBook(ZqU32 index)
{
   Member& member = m_members[index];
   StepBook& book = *member.stepBook;
   const ZqManipulatorActiveState& active = activeState(index);
   book.lostAtLimits = book.circulatingPower = 0.0;
   for (ZqU32 j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      ZqDriveLoads& loads = book.drives[j];
      loads = joint.driveTrain != nullptr
                 ? joint.driveTrain->loads(m_torques[index].jointTorques()[j], active)
                 : ZqDriveLoads();
      const ZqDamperProperties& damper = joint.link->damperProperties();
      if (!damper.isEmpty())
         loads.damping.joint += damper.torque(*member.manipulator, active);
      const ZqSpringProperties& spring = joint.link->springProperties();
      if (!spring.isEmpty())
         book.circulatingPower += spring.circulatingPower(j, *member.manipulator, active);
   }
   book.externalPower = member.isPushed ? powerOnLinks(index, member.externalForce) : 0.0;
   if (!book.isInTree)
      return;
   book.heldBefore = heldBy(index).total();
   if (!m_interacts)
      return;
   book.interactions = m_active.generalForceVector()[index];
   book.interactionPower = powerOnLinks(index, book.interactions);
}

/// Of forces in the D-H frames of the links, in the state that the active state has taken over (W).
ZqReal ZqSimulation::powerOnLinks(ZqU32 index, const ZqManipulatorExternalForce& forces)
{
   const Member& member = m_members[index];
   ZqManipulatorActiveState& active = activeState(index);
   ZqReal sum = 0.0;
   const auto add = [&](const ZqManipulatorLink& link, ZqU32 place)
   {
      const ZqGeneralForce* force = forces.forceOn(place);
      if (force != nullptr && !(*force == ZqGeneralForce()))
         sum += powerOf(*force, link.dhFrameVelocityInLocal(active));
   };
   add(*member.manipulator, ZqBaseLinkIndex);
   for (ZqU32 j = 0; j < member.joints.size(); ++j)
      add(*member.joints[j].link, j);
   return sum;
}

// On its way

/// Books what stops and highest rates have changed of the velocities, while the active state is that of the
/// start: the impulses M y, with y the change of the velocities, along the mean velocities x of the step. That
/// is x M y = (T(x + y) - T(x - y)) / 2, with T the kinetic energy.
void ZqSimulation::bookLimits(ZqU32 index, ZqReal dt)
{
   Member& member = m_members[index];
   if (!member.stepBook)
      return;
   StepBook& book = *member.stepBook;
   const ZqVelocityState& v0 = m_stateBefore.velocityStates()[index];
   const ZqVelocityState& v1 = m_state.velocityStates()[index];
   const auto& a = book.freeAccelerations.jointAccelerations().values();
   const auto changeOf = [&](std::size_t j)
   {
      const auto place = static_cast<ZqU32>(j);
      return v1.jointVelocities()[place] - (dt * a[j] + v0.jointVelocities()[place]);
   };
   bool isAnyChanged = false;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
      isAnyChanged = isAnyChanged || changeOf(j) != 0.0;
   if (!isAnyChanged)
      return;
   const bool isFixed = member.manipulator->isFixedBase();
   const ZqGeneralMotion& V0 = v0.generalVelocity();
   const ZqGeneralMotion& V1 = isFixed ? V0 : v1.generalVelocity();
   const ZqGeneralMotion change =
      isFixed ? ZqGeneralMotion() : V1 - (V0 + book.freeAccelerations.generalAcceleration() * dt);
   const auto energyWith = [&](ZqReal sign)
   {
      ZqVelocityState& velocity = book.scratchVelocity;
      velocity = v0;
      velocity.setGeneralVelocity((V0 + V1) * 0.5 + change * sign);
      for (std::size_t j = 0; j < member.joints.size(); ++j)
      {
         const auto place = static_cast<ZqU32>(j);
         velocity.jointVelocities()[place] =
            0.5 * (v0.jointVelocities()[place] + v1.jointVelocities()[place]) + sign * changeOf(j);
      }
      return kineticEnergyAt(index, velocity);
   };
   book.lostAtLimits = 0.5 * (energyWith(-1.0) - energyWith(1.0));
   activeState(index).setVelocityState(v0);
}

/// Of bodies and motors of rigid joints, at other velocities, which the active state takes over (J).
ZqReal ZqSimulation::kineticEnergyAt(ZqU32 index, const ZqVelocityState& velocity)
{
   activeState(index).setVelocityState(velocity);
   const Member& member = m_members[index];
   ZqReal sum = energyOfBody(index, *member.manipulator).kinetic;
   for (ZqU32 j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      const ZqReal speed = joint.gearRatio * velocity.jointVelocities()[j];
      sum += energyOfBody(index, *joint.link).kinetic;
      if (joint.driveTrain != nullptr && !joint.isFlexible)
         sum += 0.5 * joint.driveTrain->inertia() * speed * speed;
   }
   return sum;
}

/// Keeps what a manipulator had come to when it is sent back to where the step began. In a tree of attachments
/// the balance has it.
void ZqSimulation::noteReturn(ZqU32 index)
{
   StepBook* const book = m_members[index].stepBook.get();
   if (book == nullptr || book->isInTree || book->hasReturned)
      return;
   book->hasReturned = true;
   book->reachedPosition = m_state.positionStates()[index];
   book->reachedVelocity = m_state.velocityStates()[index];
}

/// Exchanges what was reached for what was sent back, for all of these. Whether there are any.
bool ZqSimulation::exchangeReturned()
{
   bool isAny = false;
   for (const ZqU32 i : m_watched)
   {
      StepBook& book = *m_members[i].stepBook;
      if (!book.hasReturned)
         continue;
      isAny = true;
      std::swap(book.reachedPosition, m_state.positionStates()[i]);
      std::swap(book.reachedVelocity, m_state.velocityStates()[i]);
   }
   return isAny;
}

// Where it ends

/// Books a step that was done. What was sent back has made its way first, and lost at once what that changes.
void ZqSimulation::closeStepBooks(ZqReal dt)
{
   if (!m_settings.booksEnergy)
      return;
   const bool isAnyReturned = exchangeReturned();
   bool isMotionSet = false;
   ZqEnergyBook book = m_book;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      if (!hasEntries(i))
         continue;
      if (needsMotion(i) && !std::exchange(isMotionSet, true))
         m_active.setNonredundantState(m_state);
      closeStepBook(i, dt, book);
   }
   book.lost.linkDampers += dt * m_interactionsOfStep.linkDampers;
   book.lost.contactDampers += dt * m_interactionsOfStep.contactDampers;
   book.lost.contactFriction += dt * m_interactionsOfStep.friction;
   if (isAnyReturned)
   {
      const ZqReal reached = heldInTrial();
      exchangeReturned();
      book.lost.limits += reached - heldInTrial();
   }
   if (isBookFinite(book))
      m_book = book;
}

/// Adds what the step has put into a manipulator, and what it has lost there.
void ZqSimulation::closeStepBook(ZqU32 index, ZqReal dt, ZqEnergyBook& book)
{
   const Member& member = m_members[index];
   const StepBook& ofStep = *member.stepBook;
   const auto& ratesBefore = m_stateBefore.velocityStates()[index].jointVelocities().values();
   const auto& rates = m_state.velocityStates()[index].jointVelocities().values();
   const auto& motorsBefore = member.drivesKept.motorVelocities().values();
   const auto& motors = activeState(index).actuatorState().motorVelocities().values();
   ZqEnergyBook::Work work;
   ZqEnergyBook::Loss lost;
   for (std::size_t j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      const ZqDriveLoads& loads = ofStep.drives[j];
      const ZqReal way = 0.5 * dt * (ratesBefore[j] + rates[j]);
      const ZqReal motorWay =
         joint.isFlexible ? 0.5 * dt * (motorsBefore[j] + motors[j]) : joint.gearRatio * way;
      work.drives += loads.driving.along(way, motorWay);
      lost.jointFriction += loads.friction.along(way, motorWay);
      lost.jointDampers += loads.damping.along(way, motorWay);
   }
   lost.jointDampers += dt * ofStep.circulatingPower;
   lost.limits = ofStep.lostAtLimits;
   if (member.isPushed)
      work.externalForces =
         0.5 * dt * (ofStep.externalPower + powerOnLinks(index, member.externalForce));
   if (ofStep.isInTree)
   {
      const ZqReal ofInteractions =
         0.5 * dt * (ofStep.interactionPower + powerOnLinks(index, ofStep.interactions));
      work.carriers =
         heldBy(index).total() - ofStep.heldBefore + lost.total() - work.total() - ofInteractions;
   }
   book.work.drives += work.drives;
   book.work.externalForces += work.externalForces;
   book.work.carriers += work.carriers;
   book.lost.jointFriction += lost.jointFriction;
   book.lost.jointDampers += lost.jointDampers;
   book.lost.limits += lost.limits;
}
