#include "zqManipulator/tools/urdf/ZqUrdfScribe.h"

#include "zqManipulator/foundation/algebra/ZqRotationMatrix.h"
#include "zqManipulator/foundation/log/ZqPrint.h"
#include "zqManipulator/kinematics/joint/ZqDenavitHartenberg.h"
#include "zqManipulator/simulation/constraints/ZqLinearStateEqualityConstraint.h"
#include "zqManipulator/tools/urdf/ZqUrdfPreimage.h"
#include "zqManipulator/tools/urdf/ZqUrdfRobot.h"
#include "zqManipulator/tools/urdf/ZqUrdfRotations.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace ZqUrdf
{
namespace
{
using Transform = ZqCoordinateSystemTransformation;
using Dh = ZqDenavitHartenberg;

constexpr ZqReal endless = 1e300;

ZqString nameIn(const char* kind, const ZqString& name)
{
   return ZqString(kind) + " '" + name + '\'';
}

/// Whether a frame is the identity, whatever the sign of its quaternion.
bool isIdentity(const Transform& X)
{
   return X.translation() == ZqVector() && X.orientation().isIdentity();
}

/// The frame of a link whose joint is turned by the reader, as the reader makes it: a rotation alone.
bool isRotation(const Transform& X, const ZqOrientation& orientation)
{
   return X.translation() == ZqVector() && X.orientation() == orientation;
}
} // namespace

void Scribe::lose(const ZqString& place, std::string_view element, const ZqString& text,
                  ZqConversionLoss::Kind kind)
{
   m_losses.push_back({kind, place, ZqString(element), text, 0});
}

/// Labels of links are unique within their manipulator alone.
ZqString Scribe::placeOf(const Node& node) const
{
   const ZqString& label = node.link->linkLabel();
   return nameIn(
      "link", m_written.size() == 1 ? label : manipulatorOf(node).manipulatorLabel() + '/' + label);
}

bool Scribe::write(ZqU32 manipulator)
{
   collect(manipulator);
   nameLinks();
   for (Node& node : m_nodes)
      place(node);
   findMimics();
   loseOfScene();
   m_text.open("robot", {{"name", m_scene.manipulatorByIndex(manipulator)->manipulatorLabel()}});
   writeWorld();
   for (const Node& node : m_nodes)
      if (!writeNode(node))
         return false;
   for (const Node& node : m_nodes)
      writeTransmission(node);
   m_text.close();
   if (m_text.isFinite())
      return true;
   Zq::Print::instance().report(
      {Zq::Severity::Error,
       "not-saved",
       {},
       0,
       nameIn("manipulator", m_scene.manipulatorByIndex(manipulator)->manipulatorLabel()),
       "a number is not finite, and cannot be written as URDF"});
   return false;
}

// The tree

/// All links in the order of the document: depth first, and what is attached to a link after its own children.
void Scribe::collect(ZqU32 manipulator)
{
   const auto base = [this](ZqU32 index, ZqU32 parent, const Transform& frame)
   {
      m_written.insert(index);
      Node node;
      node.link = m_scene.manipulatorByIndex(index)->linkByIndex(ZqBaseLinkIndex);
      node.manipulator = index;
      node.parent = parent;
      node.place = frame;
      return node;
   };
   const ZqIndividualManipulator& root = *m_scene.manipulatorByIndex(manipulator);
   const Transform& inPlace = m_scene.state().positionStates()[manipulator].coordSysXForm();
   std::vector<Node> waiting{base(manipulator, none, root.coordSysXForm() * inPlace)};
   while (!waiting.empty())
   {
      m_nodes.push_back(std::move(waiting.back()));
      waiting.pop_back();
      const auto number = static_cast<ZqU32>(m_nodes.size() - 1);
      const ZqU32 index = m_nodes.back().manipulator;
      const ZqManipulatorLink& link = *m_nodes.back().link;
      std::vector<ZqU32> attached;
      std::vector<Transform> offsets;
      m_scene.configuration().attachmentMap().getDependentManipulatorsAndOffsets(
         index, link.linkLabel(), attached, offsets);
      for (std::size_t i = attached.size(); i-- > 0;)
         if (attached[i] < m_scene.numberOfManipulators() && !m_written.contains(attached[i]))
            waiting.push_back(base(attached[i], number, offsets[i]));
      const auto& children = link.childLinks();
      for (ZqU32 i = children.size(); i-- > 0;)
      {
         Node node;
         node.link = &children[i];
         node.manipulator = index;
         node.parent = number;
         waiting.push_back(std::move(node));
      }
   }
}

ZqString Scribe::freeName(const ZqString& wanted)
{
   ZqString name = wanted;
   for (int i = 2; !m_names.insert(name).second; ++i)
      name = wanted + '_' + std::to_string(i);
   return name;
}

/// Labels of links come before names of frames.
void Scribe::nameLinks()
{
   const auto worldComesFirst = [this](const Node& root)
   {
      return !manipulatorOf(root).isFixedBase() ||
             !isIdentity(root.place * root.link->primaryFrame());
   };
   m_hasWorld = worldComesFirst(m_nodes.front());
   if (m_hasWorld)
      m_world = freeName("world");
   for (Node& node : m_nodes)
   {
      const ZqString& label = node.link->linkLabel();
      const ZqString wanted = label.empty() ? ZqString("link") : label;
      node.name = m_names.contains(wanted) && node.manipulator != m_nodes.front().manipulator
                     ? freeName(manipulatorOf(node).manipulatorLabel() + '_' + wanted)
                     : freeName(wanted);
      if (node.name != label)
         lose(placeOf(node), "identifier",
              "the link is called '" + node.name + "', since names are unique in URDF",
              ZqConversionLoss::Kind::Changed);
   }
}

/// A joint has the name of a frame that stands where its child does: what reads joints leaves their names so.
void Scribe::nameJoint(Node& node)
{
   const ZqString usual = node.name + "_joint";
   const auto& frames = node.link->namedFrames().mapContainer();
   const auto standsOnLink = [&](const auto& named)
   { return isIdentity(node.primary * named.second) && !m_names.contains(named.first); };
   auto found = frames.find(usual);
   if (found == frames.end() || !standsOnLink(*found))
      found = std::find_if(frames.begin(), frames.end(), standsOnLink);
   node.jointName = found != frames.end() ? found->first : usual;
}

ZqReal Scribe::positionOf(const Node& node) const
{
   const auto& q = m_scene.state().positionStates()[node.manipulator].jointPositions().values();
   const ZqU32 index = node.link->linkIndex();
   return index < q.size() ? q[index] : ZqReal(0.0);
}

// Frames

/// Where the link stands, how it moves there, and where the frames of the model are on it.
void Scribe::place(Node& node)
{
   const ZqManipulatorLink& link = *node.link;
   const bool isBase = link.parentLink() == nullptr;
   if (!isBase)
   {
      const ZqJointAxis axis = ZqJointAxis::of(link.linkKinematicsContainer());
      if (axis.kind != zqMotion::JointKind::Slot)
         placeJoint(node, axis);
      else
      {
         node.dhFrame = link.linkKinematicsContainer().primaryFrameInverse();
         node.setOrigin(m_nodes[node.parent].dhFrame *
                        link.linkKinematicsContainer().transformAt(positionOf(node)) *
                        link.primaryFrame());
         if (link.linkKinematicsContainer().topElement() != nullptr)
            lose(placeOf(node), "linkKinematicsContainer",
                 "URDF has no such joint; it stands still where the state has it");
      }
   }
   else
   {
      // The base of a manipulator: its DH frame is what is placed.
      node.dhFrame = link.primaryFrame().inverse();
      const Transform X = node.place * link.primaryFrame();
      node.setOrigin(node.parent == none ? X : m_nodes[node.parent].primary * X);
   }
   if (node.parent != none || m_hasWorld)
      nameJoint(node);
}

/// The transform of the joint is the axis frame at q = 0, a turn about or a slide along its z, and the DH frame there.
void Scribe::placeJoint(Node& node, const ZqJointAxis& axis)
{
   constexpr ZqReal rounding = 1e-14; // of products of two frames
   const bool turns = axis.kind == zqMotion::JointKind::Revolute;
   const Transform& parent = m_nodes[node.parent].dhFrame;
   const Transform primary = axis.dhFrame * node.link->primaryFrame();
   const ZqVector& p = primary.translation();
   const ZqReal size =
      axis.dhFrame.translation().mag() + node.link->primaryFrame().translation().mag();
   node.hasFrame = turns && !(std::hypot(p.x(), p.y()) <= rounding * size);
   const Transform linkInAxis = node.hasFrame ? Transform() : primary;
   node.dhFrame = linkInAxis.inverse() * axis.dhFrame;
   node.primary = node.hasFrame ? primary : Transform();

   // The axis, in the frame of the link, and what a reader makes of it.
   const ZqOrientation toAxis = linkInAxis.orientation().inverse();
   const auto rotationOf = [](const ZqVector& v) { return rotationTo(unitAxis(v)); };
   node.axis = preimage(
      toAxis, [](const ZqOrientation& q) { return q.zAxis(); }, rotationOf, 1.0);
   const Transform axisFrame(rotationOf(node.axis));
   const Transform parentAxis(rotationOf(m_nodes[node.parent].axis));
   const auto image = [&](const ZqVector& xyz, const ZqVector& rpy)
   {
      return Transform(parentAxis.orientation().inverse()) * Transform(xyz, orientationOf(rpy)) *
             axisFrame;
   };

   // The frame of the joint: the one that a reader made, or will make, decides which numbers tell it.
   const Transform origin = parent * axis.inInboard * linkInAxis;
   node.setOrigin(origin);
   const bool isReaders = isRotation(linkInAxis, axisFrame.orientation().inverse()) &&
                          isRotation(parent, parentAxis.orientation()) && !axis.hasDhOffset;
   const Transform target = isReaders ? axis.inInboard : image(node.xyz, node.rpy);
   const auto nearRpy = [&](const ZqOrientation& q)
   { return anglesOf(parentAxis.orientation() * q * axisFrame.orientation().inverse()); };
   const auto nearXyz = [&](const ZqVector& v) { return parentAxis.orientation() * v; };
   const auto imageOfRpy = [&](const ZqVector& rpy) { return image({}, rpy).orientation(); };
   const auto imageOfXyz = [&](const ZqVector& xyz) { return image(xyz, {}).translation(); };
   node.rpy = preimage(target.orientation(), nearRpy, imageOfRpy, 1.0, Unit::Angle);
   node.xyz = preimage(target.translation(), nearXyz, imageOfXyz, sizeOf(target.translation()));

   const ZqJointActuator& drive = node.link->jointActuator();
   const bool hasLimits = drive.lowerLimit() > -endless || drive.upperLimit() < endless;
   node.type = !turns ? "prismatic" : hasLimits ? "revolute" : "continuous";
}

void Scribe::Node::setOrigin(const Transform& X)
{
   xyz = X.translation();
   rpy = anglesOf(X.orientation());
}

// Relations of joints

void Scribe::findMimics()
{
   std::map<ZqU32, std::vector<ZqU32>> nodesOf; // by manipulator, by link index
   for (ZqU32 i = 0; i < m_nodes.size(); ++i)
      if (m_nodes[i].link->parentLink() != nullptr)
      {
         std::vector<ZqU32>& nodes = nodesOf[m_nodes[i].manipulator];
         const ZqU32 index = m_nodes[i].link->linkIndex();
         nodes.resize(std::max<std::size_t>(nodes.size(), index + std::size_t{1}), none);
         nodes[index] = i;
      }
   for (const ZqU32 manipulator : m_written)
      findMimics(manipulator, nodesOf[manipulator]);
}

void Scribe::findMimics(ZqU32 manipulator, const std::vector<ZqU32>& nodes)
{
   const ZqIndividualManipulator& model = *m_scene.manipulatorByIndex(manipulator);
   const ZqStateEqualityConstraintVector& constraints = model.stateEqualityConstraints();
   for (ZqU32 c = 0; c < constraints.vectorContainer().size(); ++c)
   {
      const auto* const linear =
         dynamic_cast<const ZqLinearStateEqualityConstraint*>(constraints.vectorContainer()[c]);
      ZqU32 lost = linear == nullptr ? 1 : 0;
      for (ZqU32 row = 0; linear != nullptr && row < linear->doc(); ++row)
      {
         const auto& base = linear->baseWeights()[row].values();
         const bool hasBase =
            !model.isFixedBase() &&
            std::any_of(base.begin(), base.end(), [](ZqReal w) { return w != 0.0; });
         if (hasBase || !addMimic(linear->jointWeights()[row].values(),
                                  linear->weightedSums().values()[row], nodes))
            ++lost;
      }
      if (lost > 0)
         lose(nameIn("manipulator", model.manipulatorLabel()), "stateEqualityConstraints",
              constraints.description(c));
   }
}

/// A row of two weights, of joints that URDF has, of which one does not mimic another one yet.
bool Scribe::addMimic(const std::vector<ZqReal>& weights, ZqReal sum,
                      const std::vector<ZqU32>& nodes)
{
   std::vector<ZqU32> joints;
   for (ZqU32 i = 0; i < weights.size() && i < nodes.size(); ++i)
      if (weights[i] != 0.0)
         joints.push_back(i);
   if (joints.size() != 2 || nodes[joints[0]] == none || nodes[joints[1]] == none)
      return false;
   // The one of weight 1 follows, or else the latter.
   const bool isFirst = weights[joints[0]] == 1.0 && weights[joints[1]] != 1.0;
   for (const bool first : {isFirst, !isFirst})
   {
      const ZqU32 i = joints[first ? 0 : 1];
      const ZqU32 k = joints[first ? 1 : 0];
      Node& follower = m_nodes[nodes[i]];
      const Node& leader = m_nodes[nodes[k]];
      if (!follower.moves() || !leader.moves() || follower.mimic || follows(nodes[k], nodes[i]))
         continue;
      // Rates are held: what the positions sum up to is as it is now. New joints stand at 1e-9.
      const ZqReal now = weights[i] * positionOf(follower) + weights[k] * positionOf(leader);
      const ZqReal tolerance = 1e-8 * (std::abs(weights[i]) + std::abs(weights[k]));
      const ZqReal held = std::abs(now - sum) <= tolerance ? sum : now;
      follower.mimic = {nodes[k], -weights[k] / weights[i], held / weights[i]};
      return true;
   }
   return false;
}

/// Whether a joint mimics another one, through others or not.
bool Scribe::follows(ZqU32 follower, ZqU32 leader) const
{
   while (m_nodes[follower].mimic && follower != leader)
      follower = m_nodes[follower].mimic->leader;
   return follower == leader;
}

// Elements

void Scribe::writeWorld()
{
   if (!m_hasWorld)
      return;
   m_text.leaf("link", {{"name", m_world}});
}

bool Scribe::writeNode(const Node& node)
{
   if (node.parent != none || m_hasWorld)
      writeJoint(node);
   m_text.open("link", {{"name", node.name}});
   writeMass(node);
   const ZqShape* const shape = node.link->shape();
   const bool isWritten =
      shape == nullptr || m_shapes.write(placeOf(node), node.name, *shape, node.primary);
   m_text.close();
   writeFrames(node);
   loseOfLink(node);
   return isWritten;
}

void Scribe::writeJoint(const Node& node)
{
   const bool floats = node.parent == none && !manipulatorOf(node).isFixedBase();
   m_text.open("joint", {{"name", node.jointName}, {"type", floats ? "floating" : node.type}});
   m_text.origin(node.xyz, node.rpy);
   m_text.leaf("parent", {{"link", node.parent == none ? m_world : m_nodes[node.parent].name}});
   m_text.leaf("child", {{"link", node.name}});
   if (node.moves())
   {
      m_text.leaf("axis", {{"xyz", m_text.numbers(node.axis)}});
      writeLimit(node);
      writeDynamics(node);
   }
   if (node.mimic)
      m_text.leaf("mimic", {{"joint", m_nodes[node.mimic->leader].jointName},
                            {"multiplier", m_text.numbers(node.mimic->multiplier)},
                            {"offset", m_text.numbers(node.mimic->offset)}});
   m_text.close();
}

/// URDF asks for limits of all but endless joints, and for effort and velocity with them.
void Scribe::writeLimit(const Node& node)
{
   const ZqJointActuator& drive = node.link->jointActuator();
   const auto bounded = [](ZqReal value) { return std::min(std::abs(value), endless); };
   // Without a drive train no torque passes.
   const bool isDriven = drive.mechanicalComponentContainer().topElement() != nullptr;
   const ZqReal most = isDriven ? bounded(drive.maxOutputTorque()) : 0.0;
   const ZqReal least = isDriven ? bounded(drive.minOutputTorque()) : 0.0;
   if (most != least)
      lose(placeOf(node), "minTorque",
           "URDF has one greatest effort for both senses, which is the greater of the two",
           ZqConversionLoss::Kind::Changed);
   const ZqReal effort = std::max(most, least);
   const ZqReal velocity = bounded(drive.maxOutputRate());
   const ZqString ofEffort = m_text.numbers(effort);
   const ZqString ofVelocity = m_text.numbers(velocity);
   if (ZqString(node.type) != "continuous")
      m_text.leaf("limit", {{"lower", m_text.numbers(std::max(drive.lowerLimit(), -endless))},
                            {"upper", m_text.numbers(std::min(drive.upperLimit(), endless))},
                            {"effort", ofEffort},
                            {"velocity", ofVelocity}});
   else if (effort < endless || velocity < endless)
      m_text.leaf("limit", {{"effort", ofEffort}, {"velocity", ofVelocity}});
}

/// Viscous and dry friction as the joint feels them, and a damper that is the joint's own.
void Scribe::writeDynamics(const Node& node)
{
   const ZqJointActuator& drive = node.link->jointActuator();
   const ZqReal ratio = drive.gearRatio();
   ZqReal damping = ratio * ratio * drive.frictionCoefficient();
   ZqReal friction = 0.0;
   if (const ZqMechanicalActuatorComponent* const train =
          drive.mechanicalComponentContainer().topElement())
      friction = std::abs(ratio) * train->staticCoulombFriction();
   if (hasOwnDamper(node))
      damping += node.link->damperProperties().damperConstant() *
                 node.link->damperProperties().weightingFactors().values()[0];
   if (damping != 0.0 || friction != 0.0)
      m_text.leaf("dynamics",
                  {{"damping", m_text.numbers(damping)}, {"friction", m_text.numbers(friction)}});
}

/// Whether the damper of a link is moved by no other joint, and takes energy out.
bool Scribe::hasOwnDamper(const Node& node) const
{
   const ZqDamperProperties& damper = node.link->damperProperties();
   const auto& joints = damper.associatedJoints().ZqDamperProperties::Labels::vectorContainer();
   return joints.size() == 1 && joints[0] == node.link->linkLabel() &&
          damper.weightingFactors().values().size() == 1 &&
          damper.damperConstant() * damper.weightingFactors().values()[0] >= 0.0;
}

/// About the center of mass, in the axes of the link.
void Scribe::writeMass(const Node& node)
{
   ZqRigidBodyMassProperties body = node.link->massProperties();
   if (body == ZqRigidBodyMassProperties::nullObject())
      return;
   if (!isIdentity(node.primary))
      body.transformBy(node.primary);
   const ZqReal mass = body.mass();
   // Of the numbers from which the moments about the origin come, those that give just these.
   const auto bodyOf = [&](const ZqVector& center, const ZqSecondMoment& moment)
   {
      ZqRigidBodyMassProperties result;
      result.set(mass, {}, moment, false);
      result.transformBy(center);
      return result;
   };
   const auto centerOf = [&](const ZqVector& h) { return h / mass; };
   const ZqVector center = preimage(
      body.firstMoment(), centerOf, [&](const ZqVector& c) { return bodyOf(c, {}).firstMoment(); },
      sizeOf(centerOf(body.firstMoment())));
   const ZqSecondMoment shift = bodyOf(center, {}).secondMoment();
   const auto part = [](const ZqSecondMoment& I, bool isDiagonal)
   { return isDiagonal ? ZqVector(I.xx(), I.yy(), I.zz()) : ZqVector(I.xy(), I.xz(), I.yz()); };
   std::array<ZqVector, 2> moments;
   for (const bool isDiagonal : {true, false})
   {
      const auto image = [&](const ZqVector& v)
      {
         return part(bodyOf(center, isDiagonal ? ZqSecondMoment(v.x(), v.y(), v.z(), 0.0, 0.0, 0.0)
                                               : ZqSecondMoment(0.0, 0.0, 0.0, v.x(), v.y(), v.z()))
                        .secondMoment(),
                     isDiagonal);
      };
      const auto inverse = [&](const ZqVector& about) { return about - part(shift, isDiagonal); };
      const ZqVector about = part(body.secondMoment(), isDiagonal);
      moments[isDiagonal ? 0 : 1] = preimage(about, inverse, image, sizeOf(about));
   }
   m_text.open("inertial");
   m_text.origin(center, {});
   m_text.leaf("mass", {{"value", m_text.numbers(mass)}});
   m_text.leaf("inertia", {{"ixx", m_text.numbers(moments[0].x())},
                           {"ixy", m_text.numbers(moments[1].x())},
                           {"ixz", m_text.numbers(moments[1].y())},
                           {"iyy", m_text.numbers(moments[0].y())},
                           {"iyz", m_text.numbers(moments[1].z())},
                           {"izz", m_text.numbers(moments[0].z())}});
   m_text.close();
}

/// Named frames and points, and the primary frame where it is not that of the link. A frame with the name of another
/// one and `_joint`, in the same place, was left by a reader for the joint of that one.
void Scribe::writeFrames(const Node& node)
{
   const auto& frames = node.link->namedFrames().mapContainer();
   if (node.hasFrame)
   {
      const ZqString name = freeName(node.name + "_frame");
      writeFrame(node, name, name + "_joint", node.primary);
   }
   for (const auto& [name, frame] : frames)
   {
      constexpr std::string_view suffix = "_joint";
      if (name == node.jointName && isIdentity(node.primary * frame))
         continue;
      if (name.ends_with(suffix))
      {
         const auto of = frames.find(name.substr(0, name.size() - suffix.size()));
         if (of != frames.end() && of->second == frame)
            continue;
      }
      writeNamed(node, name, node.primary * frame, "namedFrames");
   }
   for (const auto& [name, point] : node.link->namedPoints().mapContainer())
   {
      writeNamed(node, name, node.primary * Transform(point), "namedPoints");
      lose(placeOf(node), "namedPoints", "the point '" + name + "' is a frame",
           ZqConversionLoss::Kind::Changed);
   }
}

/// With the name of its link before it where its name is taken.
void Scribe::writeNamed(const Node& node, const ZqString& name, const Transform& frame,
                        std::string_view element)
{
   const bool isFree = !name.empty() && !m_names.contains(name);
   const ZqString own = isFree ? freeName(name) : freeName(node.name + '_' + name);
   if (!isFree)
      lose(placeOf(node), element,
           '\'' + name + "' is called '" + own + "', since names are unique in URDF",
           ZqConversionLoss::Kind::Changed);
   writeFrame(node, own, own + "_joint", frame);
}

void Scribe::writeFrame(const Node& node, const ZqString& name, const ZqString& joint,
                        const Transform& frame)
{
   m_text.open("joint", {{"name", joint}, {"type", "fixed"}});
   m_text.origin(frame);
   m_text.leaf("parent", {{"link", node.name}});
   m_text.leaf("child", {{"link", name}});
   m_text.close();
   m_text.leaf("link", {{"name", name}});
}

void Scribe::writeTransmission(const Node& node)
{
   const ZqReal ratio = node.link->jointActuator().gearRatio();
   if (!node.moves() || ratio == 1.0)
      return;
   m_text.open("transmission", {{"name", usualTransmission::name(node.name)}});
   m_text.leaf("type", ZqString(usualTransmission::type));
   m_text.open("joint", {{"name", node.jointName}});
   m_text.leaf("hardwareInterface", ZqString(usualTransmission::interface));
   m_text.close();
   m_text.open("actuator", {{"name", usualTransmission::motor(node.name)}});
   m_text.leaf("mechanicalReduction", m_text.numbers(ratio));
   m_text.close();
   m_text.close();
}
} // namespace ZqUrdf
