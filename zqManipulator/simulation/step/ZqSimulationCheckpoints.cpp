#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/simulation/step/ZqSimulationCheckpoint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

// What a checkpoint says is not trusted: each part is looked at before it is taken, and the first that does not fit
// ends it.

namespace
{
using Numbers = ZqSimulationCheckpoint::Reals;

/// How many numbers each entry of a list has.
constexpr ZqU32 numbersOfCounters = 3;
constexpr ZqU32 numbersOfHit = 3;
constexpr ZqU32 numbersOfCriterion = 2;
constexpr ZqU32 numbersOfGap = 4;
constexpr ZqU32 numbersOfDepth = 6;

constexpr ZqU32 wasClosedFlag = 1;
constexpr ZqU32 isToldOpenFlag = 2;

bool areAllFinite(const Numbers& numbers)
{
   return std::all_of(numbers.begin(), numbers.end(), [](ZqReal x) { return std::isfinite(x); });
}

/// Of a spatial force or motion.
template <class Spatial>
bool areSixFinite(const Spatial& spatial)
{
   for (std::size_t k = 0; k < 6; ++k)
      if (!std::isfinite(spatial[k]))
         return false;
   return true;
}

bool isStateAllFinite(const ZqManipulatorSystemState& state)
{
   for (const ZqPositionState& position : state.positionStates())
   {
      const ZqVector& p = position.coordSysXForm().translation();
      const ZqOrientation& q = position.coordSysXForm().orientation();
      for (const ZqReal number : {p.x(), p.y(), p.z(), q.w(), q.x(), q.y(), q.z()})
         if (!std::isfinite(number))
            return false;
      if (!areAllFinite(position.jointPositions()))
         return false;
   }
   for (const ZqVelocityState& velocity : state.velocityStates())
      if (!areAllFinite(velocity.jointVelocities()) || !areSixFinite(velocity.generalVelocity()))
         return false;
   return std::isfinite(state.time());
}

/// All of the book but what is held at present, which it does not keep.
template <class Book, class Action>
void forEachNumber(Book& book, Action action)
{
   const auto onValue = [&](const char*, auto& value) { action(value); };
   ZqEnergyBook::forEachPartOf(book.heldAtStart, onValue);
   ZqEnergyBook::forEachPartOf(book.work, onValue);
   ZqEnergyBook::forEachPartOf(book.lost, onValue);
}

/// Whether a number is a whole one that the type can hold, which is then the value.
template <class Whole>
bool toWhole(ZqReal number, Whole& value)
{
   constexpr auto most =
      static_cast<ZqReal>(std::min<std::uint64_t>(std::numeric_limits<Whole>::max(), 1ULL << 53U));
   if (!(number >= 0.0 && number <= most && number == std::floor(number)))
      return false;
   value = static_cast<Whole>(number);
   return true;
}

ZqString notAs(const char* list, std::size_t size, const char* things, std::size_t expected)
{
   return ZqString("it has ") + list + " for " + std::to_string(size) + ' ' + things +
          " where the model has " + std::to_string(expected);
}
} // namespace

ZqSimulationCheckpoint ZqSimulation::checkpoint() const
{
   ZqSimulationCheckpoint result;
   result.m_version = ZqSimulationCheckpoint::latestVersion;
   result.m_scene = scene();
   result.m_solver = static_cast<ZqU32>(m_settings.solver);
   result.m_integrator = static_cast<ZqU32>(m_settings.integrator);
   result.m_closesLoops = m_settings.closesLoops;
   result.m_interacts = m_settings.interacts;
   result.m_computesContact = m_settings.computesContact;
   result.m_booksEnergy = m_settings.booksEnergy;
   result.m_couplesAttachments = m_settings.couplesAttachments;
   for (const std::uint64_t count : {m_steps, m_substitutedSteps, m_slips})
      result.m_counters.pushBack(static_cast<ZqReal>(count));
   result.m_loopStates.pushBack(m_projectedStep);
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const Member& member = m_members[i];
      result.m_actuatorStates.pushBack(drivesOf(i));
      result.m_externalForces.pushBack(member.externalForce);
      const Member& loops = ownerOfLoops(i);
      result.m_loopStates.pushBack((loops.wasClosed ? wasClosedFlag : 0) +
                                   (loops.isToldOpen ? isToldOpenFlag : 0));
      for (const Joint& joint : member.joints)
      {
         result.m_commands.pushBack(joint.command);
         result.m_torques.pushBack(joint.torque);
      }
   }
   const auto add = [](Numbers& list, std::initializer_list<ZqReal> numbers)
   { list.values().insert(list.end(), numbers); };
   for (const auto& [place, time] : m_limitHits)
      add(result.m_limitHits, {ZqReal(place.manipulator), ZqReal(place.link), time});
   for (const auto& [manipulator, description, time] : m_firedCriteria)
   {
      add(result.m_firedCriteria, {ZqReal(manipulator), time});
      result.m_firedCriterionDescriptions.pushBack(description);
   }
   if (m_greatestGap)
      add(result.m_greatestGap,
          {ZqReal(m_greatestGap->manipulator), ZqReal(m_greatestGap->constraint),
           m_greatestGap->size, m_greatestGap->time});
   if (m_greatestDepth)
   {
      const auto& [first, second, depth, time] = *m_greatestDepth;
      add(result.m_greatestDepth, {ZqReal(first.manipulator), ZqReal(first.link),
                                   ZqReal(second.manipulator), ZqReal(second.link), depth, time});
   }
   if (m_hasBookBegun)
      forEachNumber(m_book, [&](ZqReal number) { result.m_energyBook.pushBack(number); });
   return result;
}

/// As a step will begin with them, whoever has looked at the present.
const ZqActuatorState& ZqSimulation::drivesOf(ZqU32 index) const
{
   return m_isPresent && !m_members[index].joints.empty()
             ? m_members[index].drivesKept
             : m_active.manipulatorActiveStateVector()[index].actuatorState();
}

std::unique_ptr<ZqSimulation> ZqSimulation::resume(const ZqSimulationCheckpoint& checkpoint)
{
   ZqString misfit = misfitOf(checkpoint);
   if (misfit.empty())
   {
      std::unique_ptr<ZqSimulation> result(
         new ZqSimulation(checkpoint.m_scene, checkpoint.settings(), Bare()));
      misfit = result->take(checkpoint);
      if (misfit.empty())
         return result;
   }
   Zq::Print::instance().write(Zq::Rejected, "ZqSimulation::resume(): %s.\n", misfit.c_str());
   return nullptr;
}

/// What has to be in order before there can be a simulation. Empty when all is.
ZqString ZqSimulation::misfitOf(const ZqSimulationCheckpoint& checkpoint)
{
   const ZqU32 version = checkpoint.version();
   if (version == 0)
      return "the checkpoint is of no version";
   if (version > ZqSimulationCheckpoint::latestVersion)
      return "the checkpoint is of version " + std::to_string(version) +
             ", but this program reads up to " +
             std::to_string(ZqSimulationCheckpoint::latestVersion);
   if (checkpoint.m_solver.valueToken() == nullptr)
      return "there is no such solver";
   if (checkpoint.m_integrator.valueToken() == nullptr)
      return "there is no such integrator";
   const ZqStatedSystem& scene = checkpoint.m_scene;
   if (!scene.system().isCompatible(scene.state()))
      return "the state is of another size than the system";
   if (!isStateAllFinite(scene.state()))
      return "a number of the state is not finite";
   return {};
}

/// Takes over what the scene does not have. Empty, or else what does not fit.
ZqString ZqSimulation::take(const ZqSimulationCheckpoint& checkpoint)
{
   for (const auto part :
        {&ZqSimulation::takeDrives, &ZqSimulation::takeInputs, &ZqSimulation::takeCounters,
         &ZqSimulation::takeEvents, &ZqSimulation::takeGreatest, &ZqSimulation::takeLoops,
         &ZqSimulation::takeBook, &ZqSimulation::takeMemories})
   {
      const ZqString misfit = (this->*part)(checkpoint);
      if (!misfit.empty())
         return misfit;
   }
   return {};
}

ZqString ZqSimulation::takeDrives(const ZqSimulationCheckpoint& checkpoint)
{
   const auto& states = checkpoint.m_actuatorStates;
   if (states.size() != m_members.size())
      return notAs("states of drives", states.size(), "manipulators", m_members.size());
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const auto& joints = m_members[i].joints;
      const ZqActuatorState& state = states[i];
      const ZqString place =
         " of the drives of '" + m_members[i].manipulator->manipulatorLabel() + "' ";
      bool isWhole = state.nonRigidActuatorFlags().size() == joints.size() &&
                     state.staticFrictionModes().size() == joints.size() &&
                     state.powerConverterStates().size() == joints.size();
      bool isFinite = true;
      for (const auto* list :
           {&state.outputTorques(), &state.motorPositions(), &state.motorVelocities(),
            &state.motorAccelerations(), &state.springDamperCenters(), &state.lastVelocities(),
            &state.reverseMotionPositions()})
      {
         isWhole = isWhole && list->size() == joints.size();
         isFinite = isFinite && areAllFinite(*list);
      }
      for (std::size_t j = 0; isWhole && j < joints.size(); ++j)
      {
         const Numbers& converter = state.powerConverterStates()[j];
         isWhole =
            state.nonRigidActuatorFlags()[j] == joints[j].isFlexible &&
            converter.size() ==
               (joints[j].converter != nullptr ? joints[j].converter->numStateVariables() : 0);
         isFinite = isFinite && areAllFinite(converter);
      }
      if (!isWhole)
         return "the states" + place + "are not as many as those of its joints";
      if (!isFinite)
         return "a number" + place + "is not finite";
      activeState(i).actuatorState() = state;
   }
   return {};
}

ZqString ZqSimulation::takeInputs(const ZqSimulationCheckpoint& checkpoint)
{
   const ZqU32 jointCount = system().jointDof();
   for (const auto& [name, list, member] :
        {std::tuple("commands", &checkpoint.m_commands, &Joint::command),
         std::tuple("torques", &checkpoint.m_torques, &Joint::torque)})
   {
      if (list->size() != jointCount)
         return notAs(name, list->size(), "joints", jointCount);
      if (!areAllFinite(*list))
         return ZqString("one of the ") + name + " is not finite";
      setInputs(member, *list, name);
   }
   const auto& forces = checkpoint.m_externalForces;
   if (forces.size() != m_members.size())
      return notAs("external forces", forces.size(), "manipulators", m_members.size());
   for (ZqU32 i = 0; i < m_members.size(); ++i)
   {
      const auto& linkForces = forces[i].linkForces();
      const ZqString place =
         "external forces on '" + m_members[i].manipulator->manipulatorLabel() + "' ";
      if (linkForces.size() != m_members[i].joints.size())
         return "the " + place + "are not as many as its links";
      if (!areSixFinite(forces[i].baseForce()) ||
          !std::all_of(linkForces.begin(), linkForces.end(),
                       [](const ZqGeneralForce& force) { return areSixFinite(force); }))
         return "one of the " + place + "is not finite";
      setExternalForces(i, forces[i]);
   }
   return {};
}

ZqString ZqSimulation::takeCounters(const ZqSimulationCheckpoint& checkpoint)
{
   const Numbers& counters = checkpoint.m_counters;
   if (counters.size() != numbersOfCounters || !toWhole(counters[0], m_steps) ||
       !toWhole(counters[1], m_substitutedSteps) || !toWhole(counters[2], m_slips))
      return "the counters are not three whole numbers";
   return {};
}

ZqString ZqSimulation::takeEvents(const ZqSimulationCheckpoint& checkpoint)
{
   const Numbers& hits = checkpoint.m_limitHits;
   if (hits.size() % numbersOfHit != 0)
      return "a limit that was hit is not whole";
   for (std::size_t k = 0; k < hits.size(); k += numbersOfHit)
   {
      LimitHit hit{{}, hits[k + 2]};
      if (!toWhole(hits[k], hit.place.manipulator) || !toWhole(hits[k + 1], hit.place.link) ||
          !isPlace(hit.place) || hit.place.link == ZqBaseLinkIndex)
         return "it has a limit of a joint that there is not";
      if (!std::isfinite(hit.time))
         return "the time of a limit is not finite";
      m_members[hit.place.manipulator].joints[hit.place.link].wasAtLimit = true;
      m_limitHits.push_back(hit);
   }
   const Numbers& criteria = checkpoint.m_firedCriteria;
   const auto& descriptions = checkpoint.m_firedCriterionDescriptions;
   if (criteria.size() != numbersOfCriterion * descriptions.size())
      return "the criteria that were met are not as many as their descriptions";
   for (std::size_t k = 0; k < descriptions.size(); ++k)
   {
      FiredCriterion criterion{0, descriptions[k], criteria[numbersOfCriterion * k + 1]};
      if (!toWhole(criteria[numbersOfCriterion * k], criterion.manipulator) ||
          criterion.manipulator >= m_members.size())
         return "a criterion was met by a manipulator that there is not";
      if (!std::isfinite(criterion.time))
         return "the time of a criterion is not finite";
      m_members[criterion.manipulator].hasFiredCriterion = true;
      m_firedCriteria.push_back(criterion);
   }
   return {};
}

ZqString ZqSimulation::takeGreatest(const ZqSimulationCheckpoint& checkpoint)
{
   const Numbers& gap = checkpoint.m_greatestGap;
   if (gap.size() > 0)
   {
      LoopGap& taken = m_greatestGap.emplace();
      if (gap.size() != numbersOfGap || !areAllFinite(gap) || !toWhole(gap[0], taken.manipulator) ||
          !toWhole(gap[1], taken.constraint) || taken.manipulator >= m_members.size() ||
          (taken.constraint != ZqNoLinkIndex &&
           taken.constraint >=
              m_members[taken.manipulator].manipulator->stateEqualityConstraints().size()))
         return "the greatest gap is none of a constraint";
      taken.size = gap[2];
      taken.time = gap[3];
   }
   const Numbers& depth = checkpoint.m_greatestDepth;
   if (depth.size() > 0)
   {
      auto& [first, second, size, time] = m_greatestDepth.emplace();
      if (depth.size() != numbersOfDepth || !areAllFinite(depth) ||
          !toWhole(depth[0], first.manipulator) || !toWhole(depth[1], first.link) ||
          !toWhole(depth[2], second.manipulator) || !toWhole(depth[3], second.link) ||
          !isPlace(first) || !isPlace(second))
         return "the greatest depth is none of two links";
      size = depth[4];
      time = depth[5];
   }
   return {};
}

ZqString ZqSimulation::takeLoops(const ZqSimulationCheckpoint& checkpoint)
{
   const Numbers& loops = checkpoint.m_loopStates;
   if (loops.size() != m_members.size() + 1)
      return notAs("states of loops", std::max(1U, loops.size()) - 1, "manipulators",
                   m_members.size());
   if (!(loops[0] >= 0.0 && std::isfinite(loops[0])))
      return "the last step that was projected is no length of time";
   setProjectedStep(loops[0]);
   for (std::size_t i = 0; i < m_members.size(); ++i)
   {
      ZqU32 flags = 0;
      if (!toWhole(loops[i + 1], flags) || flags > (wasClosedFlag | isToldOpenFlag))
         return "the state of the loops of '" + m_members[i].manipulator->manipulatorLabel() +
                "' is none";
      Member& owner = ownerOfLoops(static_cast<ZqU32>(i));
      owner.wasClosed = (flags & wasClosedFlag) != 0;
      owner.isToldOpen = (flags & isToldOpenFlag) != 0;
   }
   return {};
}

ZqString ZqSimulation::takeBook(const ZqSimulationCheckpoint& checkpoint)
{
   const Numbers& numbers = checkpoint.m_energyBook;
   m_hasBookBegun = numbers.size() > 0;
   if (!m_hasBookBegun)
      return {};
   if (!m_settings.booksEnergy)
      return "it has an energy book, and none is kept";
   if (numbers.size() != ZqEnergyBook::partCount || !areAllFinite(numbers))
      return "the energy book is not of " + std::to_string(ZqEnergyBook::partCount) +
             " finite numbers";
   ZqU32 next = 0;
   forEachNumber(m_book, [&](ZqReal& number) { number = numbers[next++]; });
   return {};
}

ZqString ZqSimulation::takeMemories(const ZqSimulationCheckpoint& checkpoint)
{
   const char* const misfit = takeInteractionState(checkpoint.m_scene.interactionState());
   return misfit != nullptr
             ? ZqString("what contacts and interactions remember does not fit: ") + misfit
             : ZqString();
}
