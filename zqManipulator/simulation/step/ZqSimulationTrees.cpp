#include "zqManipulator/dynamics/tools/ZqMotionDerivativeTool.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/simulation/step/ZqSimulationMember.h"

#include <algorithm>
#include <cmath>
#include <set>

// What is attached to each other becomes one manipulator, for the solvers alone: the bases of what is attached are
// parts of the links that carry them, their links children of these. Everybody else speaks of the manipulators
// of the scene. Bases follow their carriers in position and velocity, and the joints of all have the
// accelerations of the tree.

/// A constraint of a manipulator that is part of a tree. It is asked of the manipulator itself, whatever it speaks of;
/// where the base moves in it, the tree's joints move the base.
class ZqSimulation::PartConstraint
   : public ZqXmlClass<ZqSimulation::PartConstraint, ZqBaseStateEqualityConstraint>
{
public:
   /// Of no document.
   static const ZqToken& classToken()
   {
      static constinit const ZqToken token(ZqToken::Literal{"partConstraint"});
      return token;
   }
   static constexpr const char* documentation = "a constraint of a part of a tree";
   bool operator==(const PartConstraint&) const noexcept { return true; }

   PartConstraint() = default;
   PartConstraint(const ZqBaseStateEqualityConstraint& constraint,
                  std::shared_ptr<const ZqIndividualManipulator> manipulator,
                  const Tree::Part& part)
      : m_constraint(&constraint), m_manipulator(std::move(manipulator)), m_part(part)
   {
   }

   ZqU32 doc() const override { return m_constraint != nullptr ? m_constraint->doc() : 0; }
   ZqString description() const override
   {
      return m_constraint != nullptr ? m_constraint->description() : ZqString();
   }
   /// Solvers that step do not ask for it.
   const ZqReArray& jacobian(const ZqIndividualManipulator& tree,
                             const ZqPositionState& position) const override;
   void addKinematics(const ZqIndividualManipulator& tree, ZqManipulatorActiveState& activeState,
                      ZqU32 firstRow, ZqConstraintKinematics& kinematics) const override;

private:
   struct Work
   {
      ZqManipulatorActiveState activeState; ///< of the part
      ZqPositionState position;
      ZqVelocityState velocity;
      ZqConstraintKinematics kinematics;
      ZqMotionDerivativeTool tool;
   };

   void placePart(const ZqManipulatorLink& host, ZqManipulatorActiveState& activeState) const;
   void addMotionOfBase(const ZqIndividualManipulator& tree, const ZqManipulatorLink& host,
                        ZqManipulatorActiveState& activeState, ZqU32 firstRow,
                        ZqConstraintKinematics& kinematics) const;

   const ZqBaseStateEqualityConstraint* m_constraint = nullptr; ///< not owned
   std::shared_ptr<const ZqIndividualManipulator> m_manipulator;
   Tree::Part m_part = {0, 0, {}};
   mutable ZqUncopied<Work> m_work;
};

const ZqReArray& ZqSimulation::PartConstraint::jacobian(const ZqIndividualManipulator& tree,
                                                        const ZqPositionState& position) const
{
   ZqManipulatorActiveState activeState;
   activeState.setPositionState(position);
   ZqVelocityState rest;
   rest.jointVelocities().resize(tree.jointDof());
   activeState.setVelocityState(rest);
   ZqConstraintKinematics kinematics;
   kinematics.setToZeros(doc(), tree.totalDof());
   addKinematics(tree, activeState, 0, kinematics);
   m_jacobian = kinematics.jacobian;
   return m_jacobian;
}

void ZqSimulation::PartConstraint::addKinematics(const ZqIndividualManipulator& tree,
                                                 ZqManipulatorActiveState& activeState,
                                                 ZqU32 firstRow,
                                                 ZqConstraintKinematics& kinematics) const
{
   const ZqManipulatorLink* const host = tree.linkByIndex(m_part.host);
   if (m_constraint == nullptr || host == nullptr)
      return;
   placePart(*host, activeState);
   Work& work = m_work.get();
   ZqConstraintKinematics& own = work.kinematics;
   own.setToZeros(doc(), m_manipulator->totalDof());
   m_constraint->addKinematics(*m_manipulator, work.activeState, 0, own);
   const ZqU32 baseColumns = tree.isFixedBase() ? 0 : 6;
   const ZqU32 ownBaseColumns = m_manipulator->isFixedBase() ? 0 : 6;
   bool movesBase = false;
   for (ZqU32 i = 0; i < doc(); ++i)
   {
      kinematics.gap[firstRow + i][0] = own.gap[i][0];
      kinematics.hasGap[firstRow + i] = own.hasGap[i];
      kinematics.bias[firstRow + i][0] = own.bias[i][0];
      for (ZqU32 j = 0; j < m_part.joints.size(); ++j)
         kinematics.jacobian[firstRow + i][baseColumns + m_part.joints[j]] =
            own.jacobian[i][ownBaseColumns + j];
      for (ZqU32 k = 0; k < ownBaseColumns; ++k)
         movesBase = movesBase || own.jacobian[i][k] != 0.0;
   }
   if (movesBase)
      addMotionOfBase(tree, *host, activeState, firstRow, kinematics);
}

/// Puts the part where the tree has it, moving as it does there.
void ZqSimulation::PartConstraint::placePart(const ZqManipulatorLink& host,
                                             ZqManipulatorActiveState& activeState) const
{
   Work& work = m_work.get();
   const auto& positions = activeState.positionState().jointPositions();
   const auto& velocities = activeState.velocityState().jointVelocities();
   const auto count = static_cast<ZqU32>(m_part.joints.size());
   work.position.jointPositions().resize(count);
   work.velocity.jointVelocities().resize(count);
   for (ZqU32 j = 0; j < count; ++j)
   {
      work.position.jointPositions()[j] = positions[m_part.joints[j]];
      work.velocity.jointVelocities()[j] = velocities[m_part.joints[j]];
   }
   const ZqCoordinateSystemTransformation X =
      host.dhFrameInSystem(activeState.activePositionState());
   ZqGeneralMotion motion = host.dhFrameVelocityInSystem(activeState);
   motion.transformBy(X.orientation() * -m_part.base.translation());
   work.position.setCoordSysXForm(m_manipulator->coordSysXForm().inverse() * (X * m_part.base));
   work.velocity.setGeneralVelocity(motion);
   work.activeState.setPositionState(work.position);
   work.activeState.setVelocityState(work.velocity);
   m_manipulator->placeBase(work.activeState.activePositionState());
}

/// Adds what the rows have in the columns of the base, times the motion that the tree gives the base.
void ZqSimulation::PartConstraint::addMotionOfBase(const ZqIndividualManipulator& tree,
                                                   const ZqManipulatorLink& host,
                                                   ZqManipulatorActiveState& activeState,
                                                   ZqU32 firstRow,
                                                   ZqConstraintKinematics& kinematics) const
{
   Work& work = m_work.get();
   const ZqReArray& own = work.kinematics.jacobian;
   const ZqU32 baseColumns = tree.isFixedBase() ? 0 : 6;
   const ZqVector point =
      (host.primaryFrame().inverse() * m_part.base).translation(); // in the primary frame
   const ZqRotationMatrix R(tree.dhFrameInSystem(activeState.activePositionState()).orientation());
   const ZqGeneralMotion V = activeState.velocityState().generalVelocity();
   const auto& rates = activeState.velocityState().jointVelocities();
   work.tool.setManipulator(&tree);
   const auto axes = ZqMotionDerivativeTool::Axes::Mixed;
   const ZqReArray& J = work.tool.jacobian(m_part.host, point, axes, activeState);
   const ZqReArray& rate = work.tool.jacobianRate(m_part.host, point, axes, activeState);
   const auto sumOver = [&](const ZqReArray& matrix, ZqU32 row, ZqU32 column)
   {
      ZqReal sum = 0.0;
      for (ZqU32 k = 0; k < 6; ++k)
         sum += own[row][k] * matrix[k][column];
      return sum;
   };
   for (ZqU32 i = 0; i < doc(); ++i)
   {
      const auto row = kinematics.jacobian[firstRow + i];
      ZqReal& bias = kinematics.bias[firstRow + i][0];
      // The tool has the columns of a free base along its axes, the constraint along those of the system.
      for (ZqU32 k = 0; k < baseColumns; k += 3)
      {
         const ZqVector inBase(sumOver(J, i, k), sumOver(J, i, k + 1), sumOver(J, i, k + 2));
         const ZqVector rateInBase(sumOver(rate, i, k), sumOver(rate, i, k + 1),
                                   sumOver(rate, i, k + 2));
         const ZqVector inSystem = R * inBase;
         for (ZqU32 c = 0; c < 3; ++c)
            row[k + c] += inSystem[c];
         bias += (R * rateInBase).dot(k == 0 ? V.linear() : V.angular());
      }
      for (ZqU32 j = 0; baseColumns + j < row.size(); ++j)
      {
         row[baseColumns + j] += sumOver(J, i, baseColumns + j);
         bias += sumOver(rate, i, baseColumns + j) * rates[j];
      }
   }
}

// Making trees

/// Puts the links of manipulators that are attached to each other into one tree.
struct ZqSimulation::TreeMaker
{
   const ZqIndividualManipulator::Manipulators& manipulators;
   bool heedsConstraints;
   std::vector<bool>& isTaken; ///< of the manipulators, those that are in a tree
   std::vector<Tree::Part> parts = {};
   std::vector<ZqString> hosts = {}; ///< their labels, by part
   std::vector<std::vector<ZqString>> labels =
      {}; ///< of the links in the tree, the base last, by part
   std::set<ZqString> takenLabels = {};
   std::vector<std::pair<ZqU32, ZqU32>> constraints = {};

   ZqIndividualManipulator make(const ZqManipulatorAttachmentNode& root);
   ZqU32 addPart(ZqU32 manipulator, const ZqString& host,
                 const ZqCoordinateSystemTransformation& base);
   void grow(const ZqManipulatorAttachmentNode& node, ZqU32 part, const ZqManipulatorLink& from,
             const ZqCoordinateSystemTransformation& X, ZqManipulatorLink& to);
   void numberJoints(ZqIndividualManipulator& tree);
   void connect(ZqU32 part, ZqIndividualManipulator& tree) const;
   void addConstraints(ZqU32 part, ZqStateEqualityConstraintVector& all);
   ZqString newLabel(const ZqString& wanted);
};

ZqIndividualManipulator ZqSimulation::TreeMaker::make(const ZqManipulatorAttachmentNode& root)
{
   const ZqIndividualManipulator& carrier = manipulators[root.manipulatorIndex()];
   addPart(root.manipulatorIndex(), {}, {});
   ZqManipulatorLink base;
   base.copyAllButChildLinksFrom(carrier);
   base.setShapeContainer({});
   base.setLinkReferenceDescription({});
   base.setLinkLabel(labels[0].back());
   grow(root, 0, carrier, {}, base);

   ZqIndividualManipulator tree;
   tree.setFromLink(base);
   tree.setManipulatorLabel(carrier.manipulatorLabel());
   tree.setCoordSysXForm(carrier.coordSysXForm());
   tree.setIsFixedBase(carrier.isFixedBase());
   numberJoints(tree);
   ZqStateEqualityConstraintVector all;
   for (ZqU32 part = 0; part < parts.size(); ++part)
   {
      connect(part, tree);
      if (heedsConstraints)
         addConstraints(part, all);
   }
   tree.setStateEqualityConstraints(all);
   return tree;
}

/// Labels are those of the manipulator and the link, as in tables.
ZqU32 ZqSimulation::TreeMaker::addPart(ZqU32 manipulator, const ZqString& host,
                                       const ZqCoordinateSystemTransformation& base)
{
   const ZqIndividualManipulator& added = manipulators[manipulator];
   isTaken[manipulator] = true;
   parts.push_back({manipulator, ZqBaseLinkIndex, base});
   std::vector<ZqString>& ofPart = labels.emplace_back();
   const ZqString prefix = added.manipulatorLabel() + '/';
   for (const ZqManipulatorLink* link : added.linkPointerVector())
      ofPart.push_back(newLabel(prefix + link->linkLabel()));
   ofPart.push_back(newLabel(prefix + added.linkLabel()));
   hosts.push_back(parts.size() == 1 ? ofPart.back() : host);
   return static_cast<ZqU32>(parts.size() - 1);
}

ZqString ZqSimulation::TreeMaker::newLabel(const ZqString& wanted)
{
   ZqString label = wanted;
   while (!takenLabels.insert(label).second)
      label += '\'';
   return label;
}

/// Adds what hangs on a link of a part, and on what hangs there, to the link of the tree that has it, in whose D-H
/// frame X is that of the link of the part.
void ZqSimulation::TreeMaker::grow(const ZqManipulatorAttachmentNode& node, ZqU32 part,
                                   const ZqManipulatorLink& from,
                                   const ZqCoordinateSystemTransformation& X, ZqManipulatorLink& to)
{
   const bool isMoved = !(X == ZqCoordinateSystemTransformation());
   for (const ZqManipulatorLink& link : from.childLinks())
   {
      ZqManipulatorLink copy;
      copy.copyAllButChildLinksFrom(link);
      copy.setShapeContainer({});
      copy.setLinkReferenceDescription({});
      copy.setLinkLabel(labels[part][link.linkIndex()]);
      if (isMoved)
      {
         ZqLinkKinematicsContainer joint = link.linkKinematicsContainer();
         joint.transformBy(X);
         copy.setLinkKinematicsContainer(joint);
      }
      to.addChild(copy);
      grow(node, part, link, {}, to.childLinks()[to.childLinks().size() - 1]);
   }
   const ZqIndividualManipulator& carrier = manipulators[node.manipulatorIndex()];
   for (const ZqManipulatorAttachmentNode& child : node.childNodes())
   {
      const ZqU32 index = child.manipulatorIndex();
      const ZqManipulatorLink* link = carrier.linkByIdentifier(child.linkLabel());
      if (index >= manipulators.size() || isTaken[index] || link == nullptr ||
          link->linkIndex() != from.linkIndex())
         continue;
      const ZqIndividualManipulator& attached = manipulators[index];
      const ZqCoordinateSystemTransformation base = X * from.primaryFrame() * child.offset();
      ZqRigidBodyMassProperties masses = attached.massPropertiesInDHFrame();
      masses.transformBy(to.primaryFrame().inverse() * base);
      const ZqU32 added = addPart(index, to.linkLabel(), base);
      to.addMassProperties(labels[added].back(), masses);
      grow(child, added, attached, base, to);
   }
}

void ZqSimulation::TreeMaker::numberJoints(ZqIndividualManipulator& tree)
{
   for (ZqU32 p = 0; p < parts.size(); ++p)
   {
      parts[p].host = tree.linkIndexByIdentifier(hosts[p]);
      for (ZqU32 j = 0; j + 1 < labels[p].size(); ++j)
         parts[p].joints.push_back(tree.linkIndexByIdentifier(labels[p][j]));
   }
}

/// Springs and dampers name the joints that move them; limits that depend on several joints have their indices.
void ZqSimulation::TreeMaker::connect(ZqU32 part, ZqIndividualManipulator& tree) const
{
   const std::vector<ZqU32>& joints = parts[part].joints;
   const auto newLabels = ZqLinkEdit::relabelled(
      manipulators[parts[part].manipulator].concreteReference().linkLabels(), labels[part]);
   // Those of a part come in their order.
   ZqLinkEdit newIndices;
   for (ZqU32 j = 0, next = 0; j < joints.size(); next = joints[j++] + 1)
      if (joints[j] > next)
         newIndices = newIndices.then(ZqLinkEdit::inserted(next, joints[j] - next));
   for (const ZqU32 joint : joints)
   {
      ZqManipulatorLink& link = *tree.linkByIndex(joint);
      if (!link.springProperties().isEmpty() || !link.damperProperties().isEmpty())
      {
         ZqSpringProperties spring = link.springProperties();
         ZqDamperProperties damper = link.damperProperties();
         spring.apply(newLabels);
         damper.apply(newLabels);
         link.setSpringProperties(spring);
         link.setDamperProperties(damper);
      }
      if (link.hasLimitConstraint())
      {
         ZqStateConstraintContainer upper = link.upperLimitConstraintContainer();
         ZqStateConstraintContainer lower = link.lowerLimitConstraintContainer();
         upper.apply(newIndices);
         lower.apply(newIndices);
         link.setUpperLimitConstraintContainer(upper);
         link.setLowerLimitConstraintContainer(lower);
      }
   }
}

void ZqSimulation::TreeMaker::addConstraints(ZqU32 index, ZqStateEqualityConstraintVector& all)
{
   Tree::Part& part = parts[index];
   part.firstRow = all.doc();
   const ZqIndividualManipulator& manipulator = manipulators[part.manipulator];
   const auto& own = manipulator.stateEqualityConstraints().vectorContainer();
   if (own.empty())
      return;
   // Without an owner: the scene has it.
   const std::shared_ptr<const ZqIndividualManipulator> asItIs(std::shared_ptr<void>(),
                                                               &manipulator);
   std::shared_ptr<const ZqIndividualManipulator> moving = asItIs;
   if (index > 0 && manipulator.isFixedBase())
   {
      // Its base moves with the carrier.
      auto copy = std::make_shared<ZqIndividualManipulator>(manipulator.concreteReference());
      copy->setCoordSysXForm(manipulator.coordSysXForm());
      copy->setIsFixedBase(false);
      moving = std::move(copy);
   }
   for (ZqU32 k = 0; k < own.size(); ++k)
   {
      if (own[k] == nullptr)
         continue;
      // Weights of a fixed base have no effect.
      const bool isOfWeights =
         dynamic_cast<const ZqLinearStateEqualityConstraint*>(own[k]) != nullptr;
      all.pushBack(PartConstraint(*own[k], isOfWeights ? asItIs : moving, part));
      constraints.emplace_back(part.manipulator, k);
   }
   part.rows = all.doc() - part.firstRow;
}

ZqSimulation::Tree::Tree(std::vector<Part> ofWhat, const ZqIndividualManipulator& manipulator,
                         const ZqSystemEnvironment& environment)
   : parts(std::move(ofWhat)), scene(
                                  [&]
                                  {
                                     ZqStatedSystem one;
                                     one.setFromManipulator(manipulator);
                                     one.setEnvironment(environment);
                                     return one;
                                  }()),
     whole(scene.system().manipulators()[0])
{
   places.resize(manipulator.jointDof());
   for (const Part& part : parts)
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
         places[part.joints[j]] = {part.manipulator, j};
}

ZqSimulation::Unit ZqSimulation::Tree::unit()
{
   return {root(), scene, whole, active, position, velocity, torque, this};
}

/// Trees of what is attached, unless it is not to act back.
void ZqSimulation::makeTrees()
{
   for (const auto& tree : m_trees)
      leaveLoopsToParts(*tree);
   m_trees.clear();
   for (Member& member : m_members)
      member.tree = nullptr;
   if (!m_settings.couplesAttachments)
      return;
   std::vector<bool> isTaken(m_members.size(), false);
   for (const ZqManipulatorAttachmentNode& root : attachments().baseNodes().vectorContainer())
   {
      if (root.manipulatorIndex() >= m_members.size() || isTaken[root.manipulatorIndex()])
         continue;
      TreeMaker maker{m_scene.system().manipulators(), m_settings.solver == Solver::Crbi, isTaken};
      const ZqIndividualManipulator manipulator = maker.make(root);
      // Where no link carries anything, nothing is attached.
      if (maker.parts.size() < 2)
         continue;
      m_trees.push_back(std::make_unique<Tree>(std::move(maker.parts), manipulator,
                                               m_scene.system().environment()));
      Tree& tree = *m_trees.back();
      tree.constraints = std::move(maker.constraints);
      for (ZqU32 p = 0; p < tree.parts.size(); ++p)
      {
         m_members[tree.parts[p].manipulator].tree = &tree;
         m_members[tree.parts[p].manipulator].partOfTree = p;
      }
      takeModel(tree.whole);
      const auto jointCount = static_cast<unsigned>(tree.whole.joints.size());
      tree.torque.jointTorques().resize(jointCount);
      tree.position.jointPositions().resize(jointCount);
      tree.velocity.jointVelocities().resize(jointCount);
      tree.velocityAfter = tree.velocity;
      gatherState(tree);
      tree.active.setAccelerationState(tree.whole.gravity);
      initializeDrives(tree.whole, tree.active);
      tree.whole.isStill = tree.whole.manipulator->isFixedBase() && jointCount == 0;
      tree.whole.solvers = std::make_unique<Solvers>();
      tree.whole.isConstrained = tree.whole.manipulator->stateEqualityConstraints().doc() > 0;
      tree.whole.solvers->crbi.setUsesConstraintKinematics(tree.whole.isConstrained);
      tree.whole.solvers->crbi.setProjectedStep(m_projectedStep);
      takeLoopsOfParts(tree);
   }
}

/// A tree was closed where all of its parts were.
void ZqSimulation::takeLoopsOfParts(Tree& tree)
{
   tree.whole.wasClosed = tree.whole.isConstrained;
   tree.whole.isToldOpen = false;
   for (const Tree::Part& part : tree.parts)
   {
      const Member& member = m_members[part.manipulator];
      tree.whole.wasClosed = tree.whole.wasClosed && (part.rows == 0 || member.wasClosed);
      tree.whole.isToldOpen = tree.whole.isToldOpen || (part.rows > 0 && member.isToldOpen);
   }
}

/// What is known of the loops goes on, whoever solves them next. Where those of a tree are not all closed, those of a
/// part may be.
void ZqSimulation::leaveLoopsToParts(Tree& tree)
{
   if (tree.whole.isConstrained)
   {
      gatherState(tree);
      gapOf(tree.unit());
   }
   const ZqConstraintKinematics& kinematics = tree.whole.constraintKinematics;
   for (const Tree::Part& part : tree.parts)
   {
      bool isClosed = part.rows > 0;
      for (ZqU32 row = part.firstRow; row < part.firstRow + part.rows; ++row)
         isClosed =
            isClosed && !(kinematics.hasGap[row] && std::abs(kinematics.gap[row][0]) >
                                                       tree.whole.solvers->projection.tolerance());
      Member& member = m_members[part.manipulator];
      member.wasClosed = part.rows > 0 && (tree.whole.wasClosed || isClosed);
      member.isToldOpen = part.rows > 0 && tree.whole.isToldOpen;
   }
}

// Gathering and scattering

/// The state of a tree, of the parts' present ones.
void ZqSimulation::gatherState(Tree& tree, ZqPositionState& position,
                               ZqVelocityState& velocity) const
{
   const auto& positions = m_state.positionStates();
   const auto& velocities = m_state.velocityStates();
   position.setCoordSysXForm(positions[tree.root()].coordSysXForm());
   velocity.setGeneralVelocity(tree.whole.manipulator->isFixedBase()
                                  ? ZqGeneralMotion()
                                  : velocities[tree.root()].generalVelocity());
   for (const Tree::Part& part : tree.parts)
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
      {
         position.jointPositions()[part.joints[j]] =
            positions[part.manipulator].jointPositions()[j];
         velocity.jointVelocities()[part.joints[j]] =
            velocities[part.manipulator].jointVelocities()[j];
      }
}

void ZqSimulation::gatherState(Tree& tree)
{
   gatherState(tree, tree.position, tree.velocity);
   tree.active.setPositionState(tree.position);
   tree.active.setVelocityState(tree.velocity);
}

namespace
{
/// Calls a function for each list of the states of drives of which a tree and its parts have the same.
template <class Drives, class OtherDrives, class Action>
void forEachList(Drives& drives, OtherDrives& others, Action action)
{
   action(drives.outputTorques(), others.outputTorques());
   action(drives.motorPositions(), others.motorPositions());
   action(drives.motorVelocities(), others.motorVelocities());
   action(drives.motorAccelerations(), others.motorAccelerations());
   action(drives.springDamperCenters(), others.springDamperCenters());
   action(drives.staticFrictionModes(), others.staticFrictionModes());
   action(drives.lastVelocities(), others.lastVelocities());
   action(drives.reverseMotionPositions(), others.reverseMotionPositions());
   action(drives.powerConverterStates(), others.powerConverterStates());
}
} // namespace

/// The forces, torques and drives of a tree.
void ZqSimulation::gatherLoads(Tree& tree)
{
   tree.whole.force.setToZeros();
   for (const Tree::Part& part : tree.parts)
   {
      const Member& member = m_members[part.manipulator];
      tree.whole.force[part.host] += part.base * member.force.baseForce();
      const auto& torques = m_torques[part.manipulator].jointTorques();
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
      {
         tree.whole.force[part.joints[j]] += *member.force.forceOn(j);
         tree.torque.jointTorques()[part.joints[j]] = torques[j];
      }
      forEachList(tree.active.actuatorState(), activeState(part.manipulator).actuatorState(),
                  [&](auto& all, auto& own)
                  {
                     for (ZqU32 j = 0; j < part.joints.size(); ++j)
                        all[part.joints[j]] = own[j];
                  });
   }
}

/// What drives remember and put out.
void ZqSimulation::scatterDrives(const Tree& tree)
{
   for (const Tree::Part& part : tree.parts)
      forEachList(tree.active.actuatorState(), activeState(part.manipulator).actuatorState(),
                  [&](const auto& all, auto& own)
                  {
                     for (ZqU32 j = 0; j < part.joints.size(); ++j)
                        own[j] = all[part.joints[j]];
                  });
}

/// Joints and the base that carries all; the others follow.
void ZqSimulation::scatterState(const Tree& tree)
{
   const ZqU32 root = tree.root();
   m_state.positionStates()[root].setCoordSysXForm(tree.position.coordSysXForm());
   if (!tree.whole.manipulator->isFixedBase())
      m_state.velocityStates()[root].setGeneralVelocity(tree.velocity.generalVelocity());
   for (const Tree::Part& part : tree.parts)
   {
      auto& positions = m_state.positionStates()[part.manipulator].jointPositions();
      auto& velocities = m_state.velocityStates()[part.manipulator].jointVelocities();
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
      {
         positions[j] = tree.position.jointPositions()[part.joints[j]];
         velocities[j] = tree.velocity.jointVelocities()[part.joints[j]];
      }
   }
}

/// To the joints, and to the base that carries all. The others follow, and steps do not ask for theirs.
void ZqSimulation::scatterAccelerations(const Tree& tree)
{
   for (const Tree::Part& part : tree.parts)
   {
      ZqAccelerationState& accelerations = m_members[part.manipulator].accelerations;
      accelerations.resize(static_cast<unsigned>(part.joints.size()));
      for (ZqU32 j = 0; j < part.joints.size(); ++j)
         accelerations.jointAccelerations()[j] =
            tree.whole.accelerations.jointAccelerations()[part.joints[j]];
      accelerations.setGeneralAcceleration(ZqGeneralMotion());
   }
   m_members[tree.root()].accelerations.setGeneralAcceleration(
      tree.whole.accelerations.generalAcceleration());
}

/// Gives bases that are carried the accelerations of their places on the links that carry them.
void ZqSimulation::accelerateBases(Tree& tree)
{
   tree.active.setAccelerationState(tree.whole.accelerations);
   for (const Tree::Part& part : tree.parts)
   {
      if (part.manipulator == tree.root())
         continue;
      const ZqManipulatorLink& host = *tree.whole.manipulator->linkByIndex(part.host);
      const ZqVector& p = part.base.translation();
      const ZqVector& omega = host.dhFrameVelocityInLocal(tree.active).angular();
      const ZqGeneralMotion& A = host.dhFrameAccelerationInLocal(tree.active);
      const ZqOrientation& toSystem =
         host.dhFrameInSystem(tree.active.activePositionState()).orientation();
      m_members[part.manipulator].accelerations.setGeneralAcceleration(
         {toSystem * (A.linear() + A.angular().cross(p) + omega.cross(omega.cross(p))),
          toSystem * A.angular()});
   }
}

/// The active state, which has the others, is that of the last evaluation.
void ZqSimulation::tellAccelerationsOfBases()
{
   for (const auto& tree : m_trees)
   {
      accelerateBases(*tree);
      for (const Tree::Part& part : tree->parts)
         activeState(part.manipulator)
            .setAccelerationState(m_members[part.manipulator].accelerations);
   }
}

// Solving

void ZqSimulation::solve(Tree& tree)
{
   if (tree.whole.isStill)
      return;
   gatherState(tree);
   tree.active.setAccelerationState(tree.whole.gravity);
   gatherLoads(tree);
   solve(tree.unit());
   scatterAccelerations(tree);
   scatterDrives(tree);
}

/// Tells what follows from the present beside the accelerations of joints.
void ZqSimulation::presentTree(Tree& tree)
{
   accelerateBases(tree);
   if (!tree.whole.isConstrained)
      return;
   tree.whole.solvers->crbi.getConstraintForces(tree.constraintForces);
   for (const Tree::Part& part : tree.parts)
   {
      ZqReArray& forces = m_members[part.manipulator].constraintForces;
      forces.setToZeros(part.rows, part.rows > 0 ? 1 : 0);
      for (ZqU32 i = 0; i < part.rows; ++i)
         forces[i][0] = tree.constraintForces[part.firstRow + i][0];
   }
}

void ZqSimulation::stopAtLimits(Tree& tree, ZqReal dt)
{
   stopAtLimits(tree.unit(), dt);
   for (const Tree::Part& part : tree.parts)
      m_members[part.manipulator].stops.clear();
   if (tree.whole.stops.empty())
      return;
   scatterAccelerations(tree);
   for (const Stop& stop : tree.whole.stops)
   {
      const Place& place = tree.places[stop.joint];
      std::vector<Stop>& stops = m_members[place.manipulator].stops;
      stops.push_back(stop);
      stops.back().joint = place.link;
   }
}

/// After all parts have their new velocities.
void ZqSimulation::bookLimits(Tree& tree, ZqReal dt)
{
   gatherState(tree, tree.position, tree.velocityAfter);
   bookLimits(tree.unit(), tree.velocity, tree.velocityAfter, dt);
}
