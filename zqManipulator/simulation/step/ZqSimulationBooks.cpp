#include "zqManipulator/kinematics/system/ZqStatedSystemStruct.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <utility>

// What a step puts in: the forces of the evaluation with which it begins, along the mean of the velocities at its
// start and its end. What interactions lose is their power where it begins. With that mean, work changes the kinetic
// energy of an explicit step exactly, for one inertia: v1 = v0 + dt a gives
// v1 M v1 / 2 - v0 M v0 / 2 = dt (M a) (v0 + v1) / 2.

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

ZqReal kineticEnergyOf(const ZqRigidBodyMassProperties& body, const ZqGeneralMotion& velocity)
{
   return 0.5 * powerOf(body.calculateForce(velocity), velocity);
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
      StepBook& book = *member.stepBook;
      book.drives.resize(member.joints.size());
      for (const Joint& joint : member.joints)
         book.hasOwnMotor =
            book.hasOwnMotor || (joint.isFlexible && joint.driveTrain->isOfOwnClass());
   }
   for (const auto& tree : m_trees)
      tree->whole.stepBook = std::make_unique<StepBook>();
   for (const Carried& carried : m_carried)
      m_members[carried.manipulator].stepBook->isCarried = true;
   for (const Carried& carried : m_carried)
      m_members[carried.manipulator].stepBook->isLoad =
         !m_members[carried.carrier.manipulator].stepBook->isCarried;
   m_stateKept = m_state;
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
      book.lost.released += interactions.released;
   }
   else
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

/// By all in the present state, without a trace.
ZqEnergyBook::Held ZqSimulation::heldInTrial()
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
      // Would be held, but for what happens at once there.
      held.contactSprings =
         interactions.contactSprings + interactions.slipped + interactions.released;
   }
   return held;
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
      book.lost.released += m_interactionsOfStep.released;
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
   for (const auto& tree : m_trees)
      tree->whole.stepBook->lostAtLimits = 0.0;
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
   return m_members[index].isPushed || m_members[index].stepBook->isCarried;
}

/// Notes what acts in the state with which the step begins.
void ZqSimulation::openStepBook(ZqU32 index)
{
   Member& member = m_members[index];
   StepBook& book = *member.stepBook;
   const ZqManipulatorActiveState& active = activeState(index);
   book.lostAtLimits = book.circulatingPower = 0.0;
   if (book.hasOwnMotor)
   {
      // Told by their accelerations, which lead friction on: without a trace.
      book.actuatorsKept = active.actuatorState();
      computeMotorAccelerations(index);
   }
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
   if (book.hasOwnMotor)
      activeState(index).actuatorState() = book.actuatorsKept;
   book.externalPower = member.isPushed ? powerOnLinks(index, member.externalForce) : 0.0;
   if (book.isCarried)
      openBookOfCarried(index);
}

/// Of an attached manipulator: what follows, and what interactions do to it but not to its carrier.
void ZqSimulation::openBookOfCarried(ZqU32 index)
{
   StepBook& book = *m_members[index].stepBook;
   book.heldBefore = heldByFollowing(index);
   if (!m_interacts)
      return;
   book.interactions = m_active.generalForceVector()[index];
   if (book.isLoad)
   {
      const auto carried =
         std::find_if(m_carried.begin(), m_carried.end(),
                      [&](const Carried& each) { return each.manipulator == index; });
      const ZqCoordinateSystemTransformation& base =
         m_members[index].manipulator->dhFrameInSystem(activeState(index).activePositionState());
      book.interactions[ZqBaseLinkIndex] -= base.inverse() * carried->force;
   }
   book.interactionPower = powerOnLinks(index, book.interactions);
}

/// By an attached manipulator without its base, if that loads a carrier which is not attached, and moves as one with it
/// (J).
ZqReal ZqSimulation::heldByFollowing(ZqU32 index)
{
   const Member& member = m_members[index];
   const ZqReal held = heldBy(index).total();
   return member.stepBook->isLoad ? held - energyOfBody(index, *member.manipulator).total() : held;
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
void ZqSimulation::bookLimits(const Unit& unit, const ZqVelocityState& v0,
                              const ZqVelocityState& v1, ZqReal dt)
{
   const Member& member = unit.member;
   if (!member.stepBook)
      return;
   StepBook& book = *member.stepBook;
   const auto& a = member.freeAccelerations.jointAccelerations().values();
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
   const ZqGeneralMotion& V1 = v1.generalVelocity();
   const ZqGeneralMotion change =
      isFixed ? ZqGeneralMotion() : V1 - (V0 + member.freeAccelerations.generalAcceleration() * dt);
   const auto energyWith = [&](ZqReal sign)
   {
      ZqVelocityState& velocity = book.scratchVelocity;
      velocity = v0;
      // A fixed base that is carried does not take part.
      velocity.setGeneralVelocity(isFixed ? ZqGeneralMotion() : (V0 + V1) * 0.5 + change * sign);
      for (std::size_t j = 0; j < member.joints.size(); ++j)
      {
         const auto place = static_cast<ZqU32>(j);
         velocity.jointVelocities()[place] =
            0.5 * (v0.jointVelocities()[place] + v1.jointVelocities()[place]) + sign * changeOf(j);
      }
      return kineticEnergyAt(unit, velocity);
   };
   book.lostAtLimits = 0.5 * (energyWith(-1.0) - energyWith(1.0));
   unit.active.setVelocityState(v0);
}

/// Of bodies with the bases that load them, and of motors of rigid joints, at other velocities, which the active state
/// takes over (J).
ZqReal ZqSimulation::kineticEnergyAt(const Unit& unit, const ZqVelocityState& velocity)
{
   unit.active.setVelocityState(velocity);
   const Member& member = unit.member;
   const ZqStatedSystemStruct place(&unit.scene, member.manipulator->manipulatorIndex());
   const auto ofBody = [&](const ZqManipulatorLink& link)
   {
      return kineticEnergyOf(link.massPropertiesInDHFrame(&place),
                             link.dhFrameVelocityInLocal(unit.active));
   };
   ZqReal sum = ofBody(*member.manipulator);
   for (ZqU32 j = 0; j < member.joints.size(); ++j)
   {
      const Joint& joint = member.joints[j];
      const ZqReal speed = joint.gearRatio * velocity.jointVelocities()[j];
      sum += ofBody(*joint.link);
      if (joint.driveTrain != nullptr && !joint.isFlexible)
         sum += 0.5 * joint.driveTrain->inertia() * speed * speed;
   }
   return sum;
}

/// Keeps what a manipulator had come to when it is sent back to where the step began. Of an attached one the balance
/// has it.
void ZqSimulation::noteReturn(ZqU32 index)
{
   StepBook* const book = m_members[index].stepBook.get();
   if (book == nullptr || book->isCarried || book->hasReturned)
      return;
   book->hasReturned = true;
   book->reachedPosition = m_state.positionStates()[index];
   book->reachedVelocity = m_state.velocityStates()[index];
}

/// Takes what was reached for what was sent back, which is kept. Whether there is any.
bool ZqSimulation::takeReached()
{
   bool isAny = false;
   for (const ZqU32 i : m_watched)
   {
      const StepBook& book = *m_members[i].stepBook;
      if (!book.hasReturned)
         continue;
      if (!isAny)
         m_stateKept = m_state;
      isAny = true;
      m_state.positionStates()[i] = book.reachedPosition;
      m_state.velocityStates()[i] = book.reachedVelocity;
   }
   if (isAny)
      followCarriers();
   return isAny;
}

// Where it ends

/// Books a step that was done. What was sent back has made its way first, and lost at once what that changes.
void ZqSimulation::closeStepBooks(ZqReal dt)
{
   if (!m_settings.booksEnergy)
      return;
   const bool isAnyReturned = takeReached();
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
   for (const auto& tree : m_trees)
      book.lost.limits += tree->whole.stepBook->lostAtLimits;
   book.lost.linkDampers += dt * m_interactionsOfStep.linkDampers;
   book.lost.contactDampers += dt * m_interactionsOfStep.contactDampers;
   book.lost.contactFriction += dt * m_interactionsOfStep.friction;
   if (isAnyReturned)
   {
      const ZqReal reached = heldInTrial().total();
      m_state = m_stateKept;
      book.lost.limits += reached - heldInTrial().total();
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
   if (ofStep.isCarried)
   {
      const ZqReal ofInteractions =
         0.5 * dt * (ofStep.interactionPower + powerOnLinks(index, ofStep.interactions));
      work.carriers =
         heldByFollowing(index) - ofStep.heldBefore + lost.total() - work.total() - ofInteractions;
   }
   book.work.drives += work.drives;
   book.work.externalForces += work.externalForces;
   book.work.carriers += work.carriers;
   book.lost.jointFriction += lost.jointFriction;
   book.lost.jointDampers += lost.jointDampers;
   book.lost.limits += lost.limits;
}
