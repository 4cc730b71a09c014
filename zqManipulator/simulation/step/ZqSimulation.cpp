#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>

ZqSimulation::ZqSimulation(const ZqStatedSystem& scene, const Settings& settings)
   : ZqSimulation(scene, settings, Bare())
{
   begin();
}

ZqSimulation::ZqSimulation(const ZqStatedSystem& scene, const Settings& settings, Bare)
   : m_scene(scene), m_settings(settings), m_state(scene.state()),
     m_interactions(scene.system().linkInteractionsVector())
{
   scene.rightSizeState(m_state);
   m_active.setNonredundantState(m_state);
   takeInteractions();
   m_members.reserve(scene.numberOfManipulators());
   m_results.resize(scene.numberOfManipulators());
   m_torques.resize(scene.numberOfManipulators());
   for (ZqU32 i = 0; i < scene.numberOfManipulators(); ++i)
      m_members.push_back(makeMember(i));
   bindAll();
   beginTrial();
}

/// Brings the state of the scene to one that steps may begin with.
void ZqSimulation::begin()
{
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      if (m_members[i].manipulator->isFixedBase())
         m_state.velocityStates()[i].setGeneralVelocity(ZqGeneralMotion());
   const auto putOnCarriers = [&]
   {
      const auto stored = m_state.positionStates();
      followCarriers();
      for (ZqU32 i = 0; i < m_members.size(); ++i)
         if (!m_state.positionStates()[i].coordSysXForm().approxEq(stored[i].coordSysXForm(), 1e-6))
            Zq::Print::instance().write(
               Zq::Oddity, "the base of %s is not where it is attached, and is moved there.\n",
               m_members[i].manipulator->manipulatorLabel().c_str());
   };
   // Loops of a tree close where its parts are.
   if (!m_trees.empty())
      putOnCarriers();
   beginWithClosedLoops();
   m_trees.empty() ? putOnCarriers() : followCarriers();
   if (!m_settings.interacts)
      return;
   if (const char* misfit = takeInteractionState(m_scene.interactionState()))
      Zq::Print::instance().write(Zq::Oddity,
                                  "what contacts and interactions of the scene remember does not "
                                  "fit: %s; they begin anew.\n",
                                  misfit);
}

ZqSimulation::~ZqSimulation() = default;

ZqSimulation::Member ZqSimulation::makeMember(ZqU32 index)
{
   Member member(m_scene.system().manipulators()[index]);
   takeModel(member);
   const auto jointCount = static_cast<unsigned>(member.joints.size());
   m_torques[index].jointTorques().resize(jointCount);
   member.externalForce.resize(jointCount);
   member.toPlace = member.manipulator->coordSysXForm().orientation().inverse();
   for (Motion* motion : {&member.start, &member.trial, &member.end})
      motion->resize(member.size());
   for (auto* list : {&member.slopes, &member.rateSum, &member.slopeSum, &member.previousEndRates})
      list->resize(member.size());
   member.isStill = member.manipulator->isFixedBase() && jointCount == 0;
   findSizes(member);
   activeState(index).setAccelerationState(member.gravity);
   initializeDrives(member, activeState(index));
   return member;
}

/// What a manipulator of the scene and a tree have alike.
void ZqSimulation::takeModel(Member& member) const
{
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
   {
      const ZqJointActuator& drive = link->jointActuator();
      member.joints.push_back({link, drive.mechanicalComponentContainer().topElement(),
                               drive.powerConverterContainer().topElement(), drive.gearRatio(),
                               drive.lowerLimit(), drive.upperLimit(), drive.maxOutputRate(),
                               !drive.isRigid()});
      for (const ZqStateConstraintContainer* limit :
           {&link->upperLimitConstraintContainer(), &link->lowerLimitConstraintContainer()})
         if (limit->topElement() != nullptr)
            member.limits.push_back({link->linkIndex(), limit->topElement()});
   }

   const auto jointCount = static_cast<unsigned>(member.joints.size());
   member.gravity.resize(jointCount);
   member.gravity.setGeneralAcceleration(
      ZqGeneralMotion(m_scene.environment().upGravityVector(), ZqVector()));
   member.force.resize(jointCount);
   member.isFree.assign(jointCount, true);
}

void ZqSimulation::initializeDrives(const Member& member, ZqManipulatorActiveState& active)
{
   const auto jointCount = static_cast<unsigned>(member.joints.size());
   ZqActuatorState& drives = active.actuatorState();
   drives.resize(jointCount);
   drives.powerConverterStates().resize(jointCount);
   for (unsigned j = 0; j < jointCount; ++j)
   {
      const Joint& joint = member.joints[j];
      joint.link->jointActuator().initializeActuatorStates(active);
      if (joint.converter != nullptr)
         drives.powerConverterStates()[j].resize(joint.converter->numStateVariables());
   }
}

/// Makes of all manipulators what the attachments make of them.
void ZqSimulation::bindAll()
{
   m_hasAttachments = attachments().baseNodes().size() > 0;
   // Contacts ask who is carried, from the first evaluation on.
   findBaseMotions();
   makeTrees();
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      bind(i);
   listMembers();
   findCarriers();
   prepareBooks();
}

void ZqSimulation::bind(ZqU32 index)
{
   Member& member = m_members[index];
   const ZqIndividualManipulator& manipulator = *member.manipulator;
   const ZqManipulatorAttachmentMap& map = attachments();
   const std::vector<ZqU32>& carried =
      m_active.attachmentMapState().systemAttachmentState().dependentManipulatorIndices().values();
   const bool isCarried = std::find(carried.begin(), carried.end(), index) != carried.end();
   const ZqManipulatorAttachmentNode* node = map.findNode(index);
   const bool carries = node != nullptr && node->childNodes().size() > 0;
   const bool isSolvedAlone = member.tree == nullptr;
   const ZqIndividualManipulator& solved =
      isSolvedAlone ? manipulator : *member.tree->whole.manipulator;
   const bool isConstrained = solved.stateEqualityConstraints().size() > 0;
   const bool isBound = isCarried || (isSolvedAlone && carries);
   member.isUnbound = !manipulator.isFixedBase() && !isConstrained && !isBound;
   member.isLeftAlone = member.isUnbound && !m_interacts;
   member.isBaseStill = manipulator.isFixedBase() && !isCarried;
   member.rigidBody.reset();
   member.solvers.reset();
   member.isConstrained = false;
   if (!isSolvedAlone)
      return;
   findRigidBody(member);
   if (!member.rigidBody)
      member.solvers = std::make_unique<Solvers>();
   member.isConstrained =
      m_settings.solver == Solver::Crbi && manipulator.stateEqualityConstraints().doc() > 0;
   if (!member.isConstrained)
      return;
   member.solvers->crbi.setUsesConstraintKinematics(true);
   member.solvers->crbi.setProjectedStep(m_projectedStep);
}

void ZqSimulation::listMembers()
{
   for (auto* list : {&m_jointed, &m_constrained, &m_watched, &m_accelerated})
      list->clear();
   m_hasCriteria = false;
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const Member& member = m_members[i];
      if (!member.joints.empty())
         m_jointed.push_back(i);
      if (member.isConstrained)
         m_constrained.push_back(i);
      const bool hasCriteria = member.manipulator->stoppingCriteria().size() > 0;
      if (hasCriteria || !member.joints.empty())
         m_watched.push_back(i);
      m_hasCriteria = m_hasCriteria || hasCriteria;
   }
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      if (!m_members[i].rigidBody || m_hasCriteria ||
          m_settings.integrator != Integrator::SemiImplicitEuler)
         m_accelerated.push_back(i);
}

ZqStatedSystem ZqSimulation::scene() const
{
   ZqStatedSystem result(m_scene);
   result.setState(m_state);
   result.setInteractionState(interactionState());
   return result;
}

const ZqManipulatorLink* ZqSimulation::linkAt(const Place& place) const
{
   if (place.manipulator >= m_members.size())
      return nullptr;
   const Member& member = m_members[place.manipulator];
   if (place.link == ZqBaseLinkIndex)
      return &member.manipulator->concreteReference();
   return place.link < member.joints.size() ? member.joints[place.link].link : nullptr;
}

bool ZqSimulation::stepTo(ZqReal time)
{
   const ZqReal dt = time - m_state.time();
   if (!(dt > 0.0 && std::isfinite(dt)))
   {
      Zq::Print::instance().write(Zq::Rejected,
                                  "ZqSimulation::stepTo(): %g s is no time after %g s.\n", time,
                                  m_state.time());
      return false;
   }
   keepDrives();
   m_stateBefore = m_state;
   if (m_settings.closesLoops)
      setProjectedStep(dt);
   for (const ZqU32 i : m_jointed)
   {
      advanceConverters(i, dt);
      if (m_settings.integrator != Integrator::SemiImplicitEuler)
         m_members[i].drivesBefore = activeState(i).actuatorState();
   }
   if (m_settings.booksEnergy && !m_hasBookBegun)
      beginBook();
   computeAccelerations(dt);
   openStepBooks();
   const bool isDone = advance(dt);
   m_state.setTime(time);
   if (m_divergence)
      m_divergence->time = time;
   followCarriers();
   if (!isDone || !isStateFinite() || isAnyContactLost(dt))
   {
      m_state = m_stateBefore;
      for (const ZqU32 i : m_jointed)
         activeState(i).actuatorState() = m_members[i].drivesKept;
      for (const ZqU32 i : m_watched)
         m_results[i].reset();
      return false;
   }
   if (m_hasCriteria)
      tellAccelerationsOfBases();
   const bool areLoopsClosed = closeAllLoops();
   if (meetStoppingCriteria() || areLoopsClosed)
      followCarriers();
   collectResults();
   closeStepBooks(dt);
   ++m_steps;
   return true;
}

/// Keeps the states of the drives at the present time. What an evaluation of the present has made of them,
/// as friction that has come to stick, is undone: such changes belong to steps.
void ZqSimulation::keepDrives()
{
   for (const ZqU32 i : m_jointed)
   {
      ZqActuatorState& drives = activeState(i).actuatorState();
      ZqActuatorState& kept = m_members[i].drivesKept;
      m_isPresent ? drives = kept : kept = drives;
   }
   if (m_isPresent)
      for (ZqU32 i = 0; i < m_members.size(); ++i)
         activeState(i).setAccelerationState(m_members[i].gravity);
   m_isPresent = m_areContactsPresent = false;
}

/// What changes now is not to be seen in what follows from the present.
void ZqSimulation::dropPresent()
{
   if (m_isPresent)
      keepDrives();
}

ZqSystemActiveState& ZqSimulation::present()
{
   if (m_isPresent)
      return m_active;
   keepDrives();
   computeTrialAccelerations(m_state.time());
   for (const auto& tree : m_trees)
      presentTree(*tree);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      Member& member = m_members[i];
      if (member.isConstrained)
         member.solvers->crbi.getConstraintForces(member.constraintForces);
      activeState(i).setAccelerationState(member.accelerations);
      computeMotorAccelerations(i);
   }
   m_isPresent = true;
   return m_active;
}

const ZqManipulatorTorque& ZqSimulation::motorTorques(ZqU32 manipulator)
{
   present();
   return manipulator < m_members.size() ? m_torques[manipulator]
                                         : ZqManipulatorTorque::nullObject();
}

const ZqReArray& ZqSimulation::constraintForces(ZqU32 manipulator)
{
   static const ZqReArray none;
   present();
   return manipulator < m_members.size() ? m_members[manipulator].constraintForces : none;
}

/// Those of the present state, with the power converters as they are; what interactions remember is led
/// on.
void ZqSimulation::computeAccelerations(ZqReal dt)
{
   endTrial();
   takeState();
   interact(m_state.time());
   noteContacts(dt);
   bookInteractionsOfStep();
   beginTrial();
   solveAll();
}

/// The same at a time (s), without a trace in what interactions remember.
void ZqSimulation::computeTrialAccelerations(ZqReal time)
{
   endTrial();
   beginTrial();
   takeState();
   interact(time);
   solveAll();
}

/// Takes the present state over, without accelerations but gravity.
void ZqSimulation::takeState()
{
   m_active.setNonredundantState(m_state);
   for (const ZqU32 i : m_accelerated)
      activeState(i).setAccelerationState(m_members[i].gravity);
   for (const ZqU32 i : m_jointed)
   {
      followJoints(i);
      computeMotorTorques(i);
   }
}

void ZqSimulation::solveAll()
{
   for (ZqU32 i = 0; i < m_members.size(); ++i)
      if (m_members[i].rigidBody)
         accelerateRigidBody(i);
      else if (!m_members[i].isStill && m_members[i].tree == nullptr)
         solve(unitOf(i));
   for (const auto& tree : m_trees)
      solve(*tree);
}

ZqSimulation::Unit ZqSimulation::unitOf(ZqU32 index)
{
   return {index,
           m_scene,
           m_members[index],
           activeState(index),
           m_state.positionStates()[index],
           m_state.velocityStates()[index],
           m_torques[index],
           nullptr};
}

/// Tells the active state the position.
void ZqSimulation::placeActive(const Unit& unit)
{
   if (unit.tree != nullptr)
      unit.active.setPositionState(unit.position);
   else
      m_active.setManipulatorNonredundantPositionState(unit.position, unit.index);
}

void ZqSimulation::solve(const Unit& unit)
{
   Member& member = unit.member;
   if (m_settings.solver == Solver::Crbi)
      member.solvers->crbi.acceleration(unit.scene, *member.manipulator, unit.torque, member.force,
                                        member.accelerations, unit.active, true);
   else
      member.solvers->arbi.acceleration(
         unit.scene, *member.manipulator, unit.active.positionState(), unit.active.velocityState(),
         unit.torque, member.force, member.accelerations, unit.active);
}

/// Puts attached manipulators where those that carry them are, moving as they do.
void ZqSimulation::followCarriers()
{
   if (!m_hasAttachments)
      return;
   m_active.setNonredundantState(m_state);
   findBaseMotions();
   const ZqAttachmentNodeState& attached = m_active.attachmentMapState().systemAttachmentState();
   const std::vector<ZqU32>& indices = attached.dependentManipulatorIndices().values();
   for (ZqU32 i = 0; i < indices.size(); ++i)
   {
      m_state.positionStates()[indices[i]].setCoordSysXForm(attached.basePositions()[i]);
      m_state.velocityStates()[indices[i]].setGeneralVelocity(attached.baseVelocities()[i]);
   }
}

/// Has the active state tell what is carried, and how that moves with its carriers.
void ZqSimulation::findBaseMotions()
{
   ZqAttachmentNodeState& attached = m_active.attachmentMapState().systemAttachmentState();
   attachments().calculateBaseMotions(
      m_scene.system().manipulators(), m_active.manipulatorActiveStateVector(),
      attached.dependentManipulatorIndices().values(), attached.basePositions().vectorContainer(),
      attached.baseVelocities().vectorContainer());
}

/// Asks all criteria about the state that the step has led to. Whether any sends a manipulator back.
bool ZqSimulation::meetStoppingCriteria()
{
   bool isAnyMet = false;
   bool isActiveStateSet = false;
   for (const ZqU32 i : m_watched)
      for (const ZqBaseStoppingCriterion* criterion :
           m_members[i].manipulator->stoppingCriteria().vectorContainer())
      {
         if (criterion == nullptr)
            continue;
         if (!isActiveStateSet)
            m_active.setNonredundantState(m_state);
         isActiveStateSet = true;
         if (!criterion->stop(m_active, m_scene, m_state.time(), i, m_results[i]))
            continue;
         noteReturn(i);
         m_state.positionStates()[i] = m_stateBefore.positionStates()[i];
         isAnyMet = true;
      }
   return isAnyMet;
}

/// Takes down what happened in the step that was done.
void ZqSimulation::collectResults()
{
   for (const ZqU32 i : m_watched)
   {
      Member& member = m_members[i];
      for (const Stop& stop : member.stops)
         if (stop.isLimit && stop.acts)
            noteLimit(i, stop.joint);
      ZqPropagationResultData& result = m_results[i];
      if (!result.exceptionOccurred())
         continue;
      if (result.hitGeneralStoppingCriterion() && !member.hasFiredCriterion)
      {
         member.hasFiredCriterion = true;
         m_firedCriteria.push_back(
            {i, result.satisfiedGeneralStoppingCriteriaDescription(), m_state.time()});
      }
      result.reset();
   }
}
