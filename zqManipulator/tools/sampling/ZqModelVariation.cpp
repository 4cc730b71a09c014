#include "zqManipulator/tools/sampling/ZqModelVariation.h"

#include "zqManipulator/dynamics/constraints/ZqConstraintFactor.h"
#include "zqManipulator/dynamics/tools/ZqConstraintProjection.h"
#include "zqManipulator/foundation/algebra/ZqRandom.h"
#include "zqManipulator/foundation/log/ZqDiagnostic.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/manipulator/ZqLinkUnion.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/tools/variation/ZqVariationStudy.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace
{
/// What is wrong with a study for a scene; empty when nothing is.
ZqString misfitOf(const ZqVariationStudy& study, const ZqStatedSystem& scene)
{
   if (ZqString fault = study.fault(); !fault.empty())
      return fault;
   const auto& lists = study.systemRandomVariation().manipulatorRandomVariationVector();
   const ZqStateRandomVariation& state = study.stateRandomVariation();
   for (const ZqU32 count : {lists.size(), state.positionStateRandomVariations().size(),
                             state.velocityStateRandomVariations().size()})
      if (count > scene.numberOfManipulators())
         return "the study tells of manipulator " + std::to_string(count - 1) +
                ", but the scene has " + std::to_string(scene.numberOfManipulators());
   for (ZqU32 i = 0; i < lists.size(); ++i)
      for (const auto& [label, variation] : lists[i].mapContainer())
         if (scene.manipulatorByIndex(i)->linkByIdentifier(label) == nullptr)
            return "manipulator '" + scene.manipulatorByIndex(i)->manipulatorLabel() +
                   "' has no link '" + label + '\'';
   return {};
}

/// Varies what is on a surface by all records of its material.
ZqDataMap variedSurface(const ZqDataMap& surface, const ZqLinkPropertyRandomVariation& variation)
{
   ZqDataMap values = surface;
   for (const ZqSurfacePropertyRandomVariation& record :
        variation.surfacePropertyRandomVariationVector())
      if (record.concerns(surface))
         record.getPossibleSurfaceProperty(values, values);
   return values;
}

ZqShape::Surfaces variedSurfaces(const ZqShape::Surfaces& surfaces,
                                 const ZqLinkPropertyRandomVariation& variation)
{
   ZqShape::Surfaces varied;
   for (const auto& [name, surface] : surfaces.mapContainer())
      varied.add(name, variedSurface(surface, variation));
   return varied;
}

void varyShapes(const ZqLinkPropertyRandomVariation& variation, ZqManipulatorLink& link,
                ZqIndividualManipulator& manipulator)
{
   std::vector<std::pair<ZqU32, ZqShape::Surfaces>> changes;
   for (ZqU32 i = 0; i < link.numShapesInPhysicalRepresentation(); ++i)
   {
      const ZqShape::Surfaces& surfaces = link.shapeByIndex(i)->surfaces();
      ZqShape::Surfaces varied = variedSurfaces(surfaces, variation);
      if (varied != surfaces)
         changes.emplace_back(i, std::move(varied));
   }
   if (changes.empty())
      return;
   manipulator.aboutToModifyLink(link.linkLabel());
   link.removeLinkReferences();
   for (const auto& [shape, surfaces] : changes)
      link.setSurfacesByShapeID(shape, surfaces);
}

/// Gives all that is merged into a link its part of a drawn mass, so that it is the same body taken apart: a factor,
/// and a move in the link's primary frame.
void varyUnion(ZqManipulatorLink& link, ZqReal factor, const ZqVector& move)
{
   if (link.linkUnion() == nullptr)
      return;
   ZqLinkUnion parts = *link.linkUnion();
   const auto vary = [factor](ZqManipulatorLink& part, const ZqVector& moveOfPart)
   {
      const ZqRigidBodyMassProperties& old = part.baseMassProperties();
      ZqSecondMoment I = old.secondMoment();
      I *= factor;
      ZqRigidBodyMassProperties masses(old.mass() * factor, old.firstMoment() * factor, I);
      masses.transformBy(moveOfPart);
      part.setBaseMassProperties(masses);
      varyUnion(part, factor, moveOfPart);
   };
   vary(parts.before, move);
   for (ZqLinkUnion::Member& member : parts.members)
      vary(member.manipulator, member.transform.orientation().inverse() * move);
   ZqLinkUnion::set(link, std::move(parts));
}

/// Draws the properties of one link.
void varyLink(const ZqLinkPropertyRandomVariation& variation, ZqManipulatorLink& link,
              ZqIndividualManipulator& manipulator)
{
   const bool isBase = &link == manipulator.linkByIndex(ZqBaseLinkIndex);
   const ZqRigidBodyMassProperties before = link.baseMassProperties();
   ZqRigidBodyMassProperties masses;
   variation.massPropertyRandomVariation().getPossibleMassProperty(before, masses);
   link.setBaseMassProperties(masses);
   if (!(masses == before))
   {
      ZqVector centers[2];
      before.getCenterOfMass(centers[0]);
      masses.getCenterOfMass(centers[1]);
      varyUnion(link, masses.mass() / before.mass(), centers[1] - centers[0]);
   }
   if (!isBase)
   {
      ZqLinkKinematicsContainer joint;
      variation.linkKinematicsRandomVariation().getRandomLinkKinematics(
         link.linkKinematicsContainer(), joint);
      link.setLinkKinematicsContainer(joint);
      ZqJointActuator drive;
      variation.jointActuatorRandomVariation().getPossibleJointActuator(link.jointActuator(),
                                                                        drive);
      link.setJointActuator(drive);
   }
   varyShapes(variation, link, manipulator);
   if (isBase)
      manipulator.setSurfaces(variedSurfaces(manipulator.surfaces(), variation));
}

/// The labels of all links, the base first, then by index.
std::vector<std::pair<ZqString, ZqU32>> linksOf(const ZqIndividualManipulator& manipulator)
{
   std::vector<std::pair<ZqString, ZqU32>> links;
   links.emplace_back(manipulator.linkByIndex(ZqBaseLinkIndex)->linkLabel(), ZqBaseLinkIndex);
   for (const ZqManipulatorLink* link : manipulator.linkPointerVector())
      links.emplace_back(link->linkLabel(), link->linkIndex());
   return links;
}

/// Varies a scene in place.
class Sampler
{
public:
   Sampler(ZqStatedSystem& scene, const ZqVariationOrigin& origin)
      : m_scene(scene), m_origin(origin), m_original(scene), m_state(scene.state()),
        m_hasNewJoints(scene.numberOfManipulators())
   {
   }
   void vary()
   {
      const ZqU32 count = std::min({m_scene.numberOfManipulators(), m_state.positionStates().size(),
                                    m_state.velocityStates().size()});
      for (ZqU32 i = 0; i < count; ++i)
      {
         varyLinks(i);
         varyState(i);
      }
      takeState();
      for (ZqU32 i = 0; i < count; ++i)
         closeLoops(i);
      takeState();
      if (m_hasMoved)
         m_scene.placeAttachedManipulators();
      m_scene.setVariationOrigin(m_origin);
   }

private:
   void varyLinks(ZqU32 index);
   void varyState(ZqU32 index);
   void foldIntoLimits(ZqU32 index, ZqPositionState& position);
   /// A state that has not changed is not set, so that what interactions remember of it is kept.
   void takeState()
   {
      if (m_state == m_scene.state())
         return;
      m_scene.setState(m_state);
      m_hasMoved = true;
   }
   void closeLoops(ZqU32 index);
   bool project(ZqU32 index);
   bool hasLostFreedom(ZqU32 index) const;
   void restoreJoints(ZqU32 index);
   bool isAttached(ZqU32 index) const
   {
      ZqU32 carrier = 0;
      ZqString link;
      ZqCoordinateSystemTransformation offset;
      return m_scene.configuration().attachmentMap().getDependentManipulatorInfo(index, carrier,
                                                                                 link, offset);
   }

   ZqStatedSystem& m_scene;
   const ZqVariationOrigin& m_origin;
   const ZqStatedSystem m_original;
   ZqManipulatorSystemState m_state;
   std::vector<bool> m_hasNewJoints;
   bool m_hasMoved = false;
   ZqConstraintProjection m_projection;
};

void Sampler::varyLinks(ZqU32 index)
{
   const auto links = linksOf(*m_scene.manipulatorByIndex(index));
   const auto variationOf = [&](const ZqString& label) -> const ZqLinkPropertyRandomVariation&
   { return m_origin.systemRandomVariation().linkPropertyRandomVariation(index, label); };
   if (std::all_of(links.begin(), links.end(),
                   [&](const auto& link) { return variationOf(link.first).isExact(); }))
      return;
   m_scene.editManipulator(
      index,
      [&](ZqIndividualManipulator& manipulator)
      {
         for (const auto& [label, linkIndex] : links)
         {
            const ZqLinkPropertyRandomVariation& variation = variationOf(label);
            if (variation.isExact())
               continue;
            const ZqRandom::Stream stream{m_origin.seed(), m_origin.sample(), index, linkIndex};
            varyLink(variation, *manipulator.linkByIndex(linkIndex), manipulator);
            if (variation.linkKinematicsRandomVariation() != ZqLinkKinematicsRandomVariation())
               m_hasNewJoints[index] = true;
         }
         manipulator.fitAbsoluteBoundingSphere();
      });
   m_hasMoved = m_hasMoved || m_hasNewJoints[index];
}

void Sampler::varyState(ZqU32 index)
{
   const ZqRandom::Stream stream{m_origin.seed(), m_origin.sample(), index, ZqNoLinkIndex};
   const ZqStateRandomVariation& variation = m_origin.stateRandomVariation();
   ZqPositionState position;
   variation.positionStateRandomVariation(index).getRandomPositionState(
      m_state.positionStates()[index], position);
   ZqVelocityState velocity;
   variation.velocityStateRandomVariation(index).getRandomVelocityState(
      m_state.velocityStates()[index], velocity);
   const bool isCarried = isAttached(index);
   if (isCarried)
      position.setCoordSysXForm(m_state.positionStates()[index].coordSysXForm());
   if (isCarried || m_scene.manipulatorByIndex(index)->isFixedBase())
      velocity.setGeneralVelocity(m_state.velocityStates()[index].generalVelocity());
   foldIntoLimits(index, position);
   m_state.positionStates()[index] = position;
   m_state.velocityStates()[index] = velocity;
}

/// Folds what was within the limits of the scene back into those that were drawn.
void Sampler::foldIntoLimits(ZqU32 index, ZqPositionState& position)
{
   const std::vector<ZqReal>& old = m_state.positionStates()[index].jointPositions().values();
   std::vector<ZqReal>& drawn = position.jointPositions().values();
   for (ZqU32 i = 0; i < drawn.size(); ++i)
   {
      const ZqManipulatorLink* before = m_original.manipulatorByIndex(index)->linkByIndex(i);
      const ZqManipulatorLink* after = m_scene.manipulatorByIndex(index)->linkByIndex(i);
      if (before != nullptr && after != nullptr && old[i] >= before->jointActuator().lowerLimit() &&
          old[i] <= before->jointActuator().upperLimit())
         drawn[i] = ZqRandom::folded(drawn[i], after->jointActuator().lowerLimit(),
                                     after->jointActuator().upperLimit());
   }
}

/// Brings the state of a manipulator to its constraints, unless nothing of it has changed.
void Sampler::closeLoops(ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = *m_scene.manipulatorByIndex(index);
   const ZqManipulatorSystemState& original = m_original.state();
   if (manipulator.stateEqualityConstraints().size() == 0 ||
       (!m_hasNewJoints[index] &&
        m_state.positionStates()[index] == original.positionStates()[index] &&
        m_state.velocityStates()[index] == original.velocityStates()[index]))
      return;
   const bool isClosed = project(index);
   if (isClosed && !(m_hasNewJoints[index] && hasLostFreedom(index)))
      return;
   const ZqString label = manipulator.manipulatorLabel();
   ZqString kept = "joints";
   restoreJoints(index);
   if (!project(index))
   {
      kept = "joints and state";
      m_state.positionStates()[index] = original.positionStates()[index];
      m_state.velocityStates()[index] = original.velocityStates()[index];
   }
   Zq::Print::instance().report({Zq::Severity::Warning,
                                 "variation-loop",
                                 {},
                                 0,
                                 "manipulator '" + label + '\'',
                                 "its loops do not close in sample " +
                                    std::to_string(m_origin.sample()) + ": " + kept +
                                    " stay as they are"});
}

/// False when the loops do not close, or not within the limits of the joints; the state then stays.
bool Sampler::project(ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = *m_scene.manipulatorByIndex(index);
   ZqPositionState position = m_scene.state().positionStates()[index];
   ZqVelocityState velocity = m_scene.state().velocityStates()[index];
   const auto closed = m_projection.projectPosition(m_scene, manipulator, position);
   if (!closed.converged || closed.jointBeyondLimit != ZqNoLinkIndex)
      return false;
   m_projection.projectVelocity(m_scene, manipulator, position, velocity);
   m_state.positionStates()[index] = position;
   m_state.velocityStates()[index] = velocity;
   return true;
}

/// Whether the constraints hold more than they did in the scene, as those of a plane mechanism do whose axes are no
/// longer parallel: it may close somewhere, but cannot move there.
bool Sampler::hasLostFreedom(ZqU32 index) const
{
   const auto rankOf = [&](const ZqStatedSystem& scene, const ZqManipulatorSystemState& state)
   {
      const ZqIndividualManipulator& manipulator = *scene.manipulatorByIndex(index);
      ZqManipulatorActiveState active;
      active.setPositionState(state.positionStates()[index]);
      active.setVelocityState(state.velocityStates()[index]);
      ZqConstraintKinematics kinematics;
      manipulator.stateEqualityConstraints().getKinematics(manipulator, active, kinematics);
      ZqConstraintFactor factor;
      factor.factor(kinematics.jacobian);
      return factor.rank();
   };
   return rankOf(m_scene, m_state) > rankOf(m_original, m_original.state());
}

void Sampler::restoreJoints(ZqU32 index)
{
   const ZqIndividualManipulator& original = *m_original.manipulatorByIndex(index);
   m_scene.editManipulator(index,
                           [&](ZqIndividualManipulator& manipulator)
                           {
                              for (ZqU32 i = 0; i < manipulator.jointDof(); ++i)
                                 manipulator.linkByIndex(i)->setLinkKinematicsContainer(
                                    original.linkByIndex(i)->linkKinematicsContainer());
                              manipulator.fitAbsoluteBoundingSphere();
                           });
}
} // namespace

bool Zq::varyModel(const ZqStatedSystem& scene, const ZqVariationOrigin& origin,
                   ZqStatedSystem& varied)
{
   if (const ZqString misfit = misfitOf(origin, scene); !misfit.empty())
   {
      Print::instance().report({Severity::Error, "variation-study", {}, 0, {}, misfit});
      return false;
   }
   ZqStatedSystem sample = scene;
   Sampler(sample, origin).vary();
   varied = sample;
   return true;
}
