#include "zqManipulator/tools/urdf/ZqUrdfBuilder.h"

#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/kinematics/system/ZqStatedSystem.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"

#include <algorithm>
#include <cmath>

namespace ZqUrdf
{
namespace
{
using Frame = ZqCoordinateSystemTransformation;

const ZqVector xAxis(1.0, 0.0, 0.0);
const ZqVector yAxis(0.0, 1.0, 0.0);
const ZqVector zAxis(0.0, 0.0, 1.0);

bool hasMass(const ZqRigidBodyMassProperties& body)
{
   const ZqSecondMoment& I = body.secondMoment();
   return body.mass() > ZqRigidBodyMassProperties::smallestMass || I.xx() + I.yy() + I.zz() > 0.0;
}

/// Whether the body itself resists its joint: a point on the axis that it turns about does not.
bool resistsJoint(const Body& body)
{
   const ZqVector axis = body.axis.zAxis();
   return body.turns ? (body.mass.secondMoment() * axis).dot(axis) > 0.0 : hasMass(body.mass);
}

/// The one shape, or the union of several.
template <class Link>
void setShapes(const ZqShapeUnion& shapes, Link& link)
{
   if (shapes.ownMemberCount() == 1)
      link.setShape(shapes.ownMember(0));
   else if (shapes.ownMemberCount() > 1)
      link.setShape(shapes);
}
} // namespace

void Builder::lose(const ZqString& place, const ZqString& element, const ZqString& text,
                   unsigned long line, ZqConversionLoss::Kind kind)
{
   m_losses.push_back({kind, place, element, text, line});
}

std::optional<Fault> Builder::build(bool hasFreeBase, ZqStatedSystem& scene)
{
   m_isFree = hasFreeBase;
   if (std::optional<Fault> fault = makeBodies())
      return fault;
   checkMasses();
   if (std::optional<Fault> fault = checkLimits(m_isFree))
      return fault;
   ZqStatedSystem result;
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(ZqVector(0.0, 0.0, ZqUrdfReader::gravity));
   result.setEnvironment(environment);
   fillManipulator(result.clearAndInitializeForOneManipulator());
   result.finalizeOneManipulator();
   setState(result);
   scene = result;
   return std::nullopt;
}

// Bodies

/// Where the root has no more than a name and floats the one link below, that link is the base; so it is where the
/// root is called `world`. Answers the base.
ZqU32 Builder::takeBase()
{
   const Link& root = m_robot.links[m_tree.root];
   const std::vector<ZqU32>& below = m_tree.children[m_tree.root];
   const bool isEmpty =
      !hasMass(root.body) && root.visuals.empty() && root.collisions.empty() && below.size() == 1;
   if (!isEmpty)
      return m_tree.root;
   const Joint& joint = m_robot.joints[below.front()];
   const bool floats = joint.type == Joint::Type::Floating;
   if (!floats && !(root.name == "world" && joint.type == Joint::Type::Fixed))
      return m_tree.root;
   m_isFree = m_isFree || floats;
   m_baseFrame = joint.origin;
   if (root.name != "world")
      lose("link " + quoted(root.name), "name",
           "the root is no more than a name, and stands for the system", root.line,
           ZqConversionLoss::Kind::Lost);
   addFrame(joint.name, {}, "joint " + quoted(joint.name), joint.line, m_bodies.front());
   return m_linkNumbers.at(joint.child);
}

/// Depth first, without a recursion.
std::optional<Fault> Builder::makeBodies()
{
   for (ZqU32 i = 0; i < m_robot.links.size(); ++i)
   {
      m_linkNumbers[m_robot.links[i].name] = i;
      ++m_labels[m_robot.links[i].name];
   }
   m_bodyOfJoint.assign(m_robot.joints.size(), none);
   m_bodies.reserve(m_robot.links.size());
   m_bodies.emplace_back();
   std::vector<Place> open{{takeBase(), none, {}}};
   m_bodies.front().label = m_robot.links[open.back().link].name;
   m_bodies.front().line = m_robot.links[open.back().link].line;
   while (!open.empty())
   {
      const Place place = open.back();
      open.pop_back();
      const Link& link = m_robot.links[place.link];
      const ZqU32 above = place.body == none ? none : m_tree.jointAbove[place.link];
      ZqU32 body = 0;
      Frame frame;
      if (above != none)
      {
         const Joint& joint = m_robot.joints[above];
         const bool isFixed = joint.type == Joint::Type::Fixed;
         body = isFixed ? place.body : addMovingLink(place, joint);
         frame = isFixed ? place.frame * joint.origin : Frame();
         if (isFixed)
            addFrame(link.name, frame, "link " + quoted(link.name), link.line, m_bodies[body]);
         addFrame(joint.name, frame, "joint " + quoted(joint.name), joint.line, m_bodies[body]);
         if (m_bodies[body].depth > ZqUrdfReader::deepestChain)
            return Fault{"link " + quoted(link.name),
                         "more than " + std::to_string(ZqUrdfReader::deepestChain) +
                            " moving links stand in a row",
                         link.line};
      }
      addContents(link, frame, m_bodies[body]);
      const std::vector<ZqU32>& below = m_tree.children[place.link];
      for (auto joint = below.rbegin(); joint != below.rend(); ++joint)
         open.push_back({m_linkNumbers.at(m_robot.joints[*joint].child), body, frame});
   }
   return std::nullopt;
}

/// The body of the link at the end of a joint, after those within the joint.
ZqU32 Builder::addMovingLink(const Place& place, const Joint& joint)
{
   using Type = Joint::Type;
   const Frame origin = place.frame * joint.origin;
   const ZqOrientation turned = rotationTo(joint.axis);
   const ZqString& label = joint.child;
   const auto within = [&](const char* suffix) { return freeLabel(label + suffix); };
   const auto last = [this] { return static_cast<ZqU32>(m_bodies.size()) - 1; };
   if (joint.type == Type::Planar)
   {
      addBody(place.body, joint, within("-x"), origin, turned.xAxis(), false);
      addBody(last(), joint, within("-y"), {}, turned.yAxis(), false);
      addBody(last(), joint, label, {}, joint.axis, true);
   }
   else if (joint.type == Type::Floating)
   {
      addBody(place.body, joint, within("-x"), origin, xAxis, false);
      addBody(last(), joint, within("-y"), {}, yAxis, false);
      addBody(last(), joint, within("-z"), {}, zAxis, false);
      addBody(last(), joint, within("-yaw"), {}, zAxis, true);
      addBody(last(), joint, within("-pitch"), {}, yAxis, true);
      addBody(last(), joint, label, {}, xAxis, true);
      lose("joint " + quoted(joint.name), "floating",
           "three slides and three turns, about z, y and x, which are singular where the second "
           "of these is a right angle",
           joint.line);
   }
   else
   {
      addBody(place.body, joint, label, origin, joint.axis, joint.type != Type::Prismatic);
      m_bodies.back().joint = m_tree.jointAbove[place.link];
      m_bodyOfJoint[m_bodies.back().joint] = last();
   }
   m_bodies.back().line = m_robot.links[place.link].line;
   return last();
}

/// The joint stands at the origin, a frame in that of the parent's link, with its axis in that frame.
void Builder::addBody(ZqU32 parent, const Joint& joint, const ZqString& label, const Frame& origin,
                      const ZqVector& axis, bool turns)
{
   Body body;
   body.label = label;
   body.parent = parent;
   body.depth = m_bodies[parent].depth + 1;
   body.line = joint.line;
   body.turns = turns;
   body.axis = rotationTo(axis);
   body.precursor = Frame(m_bodies[parent].axis.inverse()) * origin * Frame(body.axis);
   ++m_bodies[parent].childCount;
   m_bodies.push_back(std::move(body));
}

void Builder::addContents(const Link& link, const Frame& frame, Body& body)
{
   if (link.body.mass() > 0.0 || hasMass(link.body))
   {
      ZqRigidBodyMassProperties mass = link.body;
      body.mass += mass.transformBy(frame);
   }
   m_shapes.addShapes(link, frame, body.shapes);
}

/// A link and a joint may have one name.
void Builder::addFrame(const ZqString& name, const Frame& frame, const ZqString& place,
                       unsigned long line, Body& body)
{
   Frame other;
   if (!body.frames.lookup(name, other))
      body.frames.add(name, frame);
   else if (!(other == frame))
      lose(place, "name", "the name is that of another frame on link " + quoted(body.label), line,
           ZqConversionLoss::Kind::Lost);
}

/// The label, with a number where it is taken.
ZqString Builder::freeLabel(const ZqString& wanted)
{
   ZqString label = wanted;
   for (ZqU32 i = 2; m_labels.contains(label); ++i)
      label = wanted + std::to_string(i);
   m_labels[label] = 1;
   return label;
}

/// What moves without any inertia could not be computed.
void Builder::checkMasses()
{
   std::vector<bool> carriesMass(m_bodies.size());
   ZqU32 lightCount = 0;
   const Body* light = nullptr;
   for (std::size_t i = m_bodies.size(); i-- > 0;)
   {
      Body& body = m_bodies[i];
      if (body.mass.mass() > 0.0 && body.mass.mass() < ZqRigidBodyMassProperties::smallestMass)
         lose("link " + quoted(body.label), "mass", "a mass below 1e-9 kg is taken for that",
              body.line);
      carriesMass[i] = carriesMass[i] || resistsJoint(body);
      ZqReal mass = std::max<ZqReal>(body.mass.mass(), ZqRigidBodyMassProperties::smallestMass);
      ZqSecondMoment moment = body.mass.secondMoment();
      if (!carriesMass[i] && i > 0)
      {
         carriesMass[i] = true;
         moment = ZqSecondMoment(1e-9, 1e-9, 1e-9, 0.0, 0.0, 0.0);
         ++lightCount;
         light = &body;
      }
      body.mass.set(mass, body.mass.firstMoment(), moment, false);
      if (!body.mass.isValid())
      {
         body.mass.makeValid();
         lose("link " + quoted(body.label), "inertia",
              "no body has such an inertia; the nearest that one can have is taken", body.line);
      }
      if (i > 0 && carriesMass[i])
         carriesMass[body.parent] = true;
   }
   if (lightCount > 0)
      lose("robot", "inertial",
           "links that move without inertia, nor has what they carry any, as link " +
              quoted(light->label) +
              ", are each given 1e-9 kg m^2 and at least 1e-9 kg: " + std::to_string(lightCount),
           light->line);
}

std::optional<Fault> Builder::checkLimits(bool hasFreeBase) const
{
   const Body& base = m_bodies.front();
   if (hasFreeBase && !(base.mass.mass() > ZqRigidBodyMassProperties::smallestMass))
      return Fault{"link " + quoted(base.label), "the base is free and has no mass", base.line};
   constexpr std::size_t mostWeights = 10'000'000;
   std::size_t weights = 0;
   for (ZqU32 j = 0; j < m_robot.joints.size(); ++j)
   {
      if (m_tree.leader[j] == none)
         continue;
      weights += std::max(m_bodyOfJoint[j], m_bodyOfJoint[m_tree.leader[j]]);
      if (weights > mostWeights)
         return Fault{"joint " + quoted(m_robot.joints[j].name),
                      "more joints mimic others than can be held", m_robot.joints[j].line};
   }
   return std::nullopt;
}

// Links

ZqJointActuator Builder::driveOf(const Joint& joint) const
{
   const auto transmission = m_robot.transmissions.find(joint.name);
   const ZqReal ratio =
      transmission != m_robot.transmissions.end() ? transmission->second.reduction : ZqReal(1.0);
   // Friction and torque are those of the motor, which turns by the ratio times the joint.
   constexpr ZqReal stickRate = 1e-3; // rad/s, m/s
   ZqMechanicalActuatorComponent part;
   part.setGearRatio(ratio);
   part.setFrictionCoefficient(joint.damping / (ratio * ratio));
   if (joint.friction > 0.0)
   {
      part.setStaticCoulombFriction(joint.friction / std::abs(ratio));
      part.setKineticCoulombFrictionPercentage(1.0);
      part.setLimitingVelocityStickRegion(stickRate * std::abs(ratio));
   }
   const bool isEndless = joint.type == Joint::Type::Continuous;
   part.setLowerLimit(isEndless ? -1e300 : joint.limit.lower);
   part.setUpperLimit(isEndless ? 1e300 : joint.limit.upper);
   part.setMaxOutputRate(joint.limit.velocity);
   ZqJointActuator drive;
   drive.setMechanicalComponent(part);
   drive.setPowerConverter(ZqPassThroughPowerConverter());
   if (joint.limit.effort < 1e300)
   {
      const ZqReal torque = joint.limit.effort / std::abs(ratio);
      drive.setMaxTorque(torque);
      drive.setMinTorque(-torque);
   }
   return drive;
}

void Builder::fillLink(const Body& body, ZqManipulatorLink& link) const
{
   ZqDenavitHartenberg joint;
   joint.setDhType(ZqDenavitHartenberg::General);
   joint.setJointType(body.turns ? ZqDenavitHartenberg::Rotational
                                 : ZqDenavitHartenberg::Prismatic);
   joint.setPrecursor(body.precursor);
   joint.setPrimaryFrame(body.axis.inverse());
   link.setLinkLabel(body.label);
   link.setLinkKinematics(joint);
   link.setMassProperties(body.mass);
   if (body.joint != none)
      link.setJointActuator(driveOf(m_robot.joints[body.joint]));
   setShapes(body.shapes, link);
   link.setNamedFrames(body.frames);
}

/// Builds the tree in place, so that no link is copied.
void Builder::fillManipulator(ZqIndividualManipulator& manipulator) const
{
   const Body& base = m_bodies.front();
   manipulator.setManipulatorLabel(m_robot.name);
   manipulator.setLinkLabel(base.label);
   manipulator.setMassProperties(base.mass);
   setShapes(base.shapes, manipulator);
   manipulator.setNamedFrames(base.frames);
   manipulator.setIsFixedBase(!m_isFree);

   std::vector<ZqManipulatorLink::ChildLinks*> children(m_bodies.size());
   for (ZqU32 i = 0; i < m_bodies.size(); ++i)
   {
      ZqManipulatorLink* link = &manipulator;
      if (i > 0)
      {
         link = &children[m_bodies[i].parent]->vectorContainer().emplace_back();
         fillLink(m_bodies[i], *link);
      }
      children[i] = &link->childLinks();
      children[i]->reserve(m_bodies[i].childCount);
   }
   manipulator.mapManipulator();
   manipulator.fitAbsoluteBoundingSphere();
   addMimics(manipulator);
}

/// q - multiplier * (q of the leader) = offset, of which forward dynamics holds the rates.
void Builder::addMimics(ZqIndividualManipulator& manipulator) const
{
   ZqStateEqualityConstraintVector constraints;
   for (ZqU32 j = 0; j < m_robot.joints.size(); ++j)
   {
      if (m_tree.leader[j] == none)
         continue;
      const Mimic& mimic = *m_robot.joints[j].mimic;
      const ZqU32 follower = linkIndexOf(j);
      const ZqU32 leader = linkIndexOf(m_tree.leader[j]);
      ZqXmlVectorBasicType<ZqReal> weights;
      weights.values().resize(std::max(follower, leader) + 1);
      weights.values()[leader] = -mimic.multiplier;
      weights.values()[follower] = 1.0;
      ZqXmlVectorBasicType<ZqReal> sum;
      sum.values() = {mimic.offset};
      ZqLinearStateEqualityConstraint constraint;
      constraint.setJointWeights({weights});
      constraint.setBaseWeights(ZqLinearStateEqualityConstraint::Weights(1));
      constraint.setWeightedSums(sum);
      constraints.pushBack(constraint);
   }
   manipulator.setStateEqualityConstraints(constraints);
}

void Builder::setState(ZqStatedSystem& scene) const
{
   ZqPositionState position = scene.state().positionStates()[0];
   std::vector<ZqReal>& q = position.jointPositions().values();
   q.assign(m_bodies.size() - 1, 0.0);
   const auto isLeader = [this](ZqU32 j) { return m_tree.leader[j] == none; };
   for (const bool leaders : {true, false})
      for (ZqU32 j = 0; j < m_robot.joints.size(); ++j)
      {
         const Joint& joint = m_robot.joints[j];
         if (m_bodyOfJoint[j] == none || isLeader(j) != leaders)
            continue;
         ZqReal& value = q[linkIndexOf(j)];
         if (!leaders)
            value =
               joint.mimic->multiplier * q[linkIndexOf(m_tree.leader[j])] + joint.mimic->offset;
         else if (joint.type != Joint::Type::Continuous)
            value = std::clamp(0.0, joint.limit.lower, joint.limit.upper);
      }
   position.setCoordSysXForm(m_baseFrame);
   scene.setIndividualPositionState(0, position);
}
} // namespace ZqUrdf
