#include "zqManipulator/actuation/ZqPassThroughPowerConverter.h"
#include "zqManipulator/kinematics/joint/ZqGeneralBoundObjectVector.h"
#include "zqManipulator/simulation/interactions/ZqLinkInteractionsVector.h"
#include "zqManipulator/tools/urdf/ZqUrdfReader.h"
#include "zqManipulator/tools/urdf/ZqUrdfScribe.h"

#include <algorithm>

// What a document in URDF does not say of a scene. Elements bear the names that they have in documents of the library.

namespace ZqUrdf
{
namespace
{
ZqString placeOfManipulator(const ZqIndividualManipulator& manipulator)
{
   return "manipulator '" + manipulator.manipulatorLabel() + '\'';
}

/// Calls a function with the name and the documentation of each member of a list that is not as in another object.
template <class Object, class Tell>
void forEachDifference(const Object& object, const Object& other, Tell tell)
{
   std::apply(
      [&](const auto&... component)
      {
         const auto look = [&](const auto& one)
         {
            if (!(object.*one.member == other.*one.member))
               tell(one.token->localName(), one.documentation);
         };
         (look(component), ...);
      },
      Object::components());
}
} // namespace

void Scribe::loseOfLink(const Node& node)
{
   const ZqManipulatorLink& link = *node.link;
   const ZqString place = placeOf(node);
   if (!link.massPropertiesMap().mapContainer().empty())
      lose(place, "massPropertiesMap", "masses by name are a part of the mass of the link",
           ZqConversionLoss::Kind::Changed);
   if (!link.sensorVector().vectorContainer().empty())
      lose(place, "sensorVector", "sensors");
   if (link.parentLink() == nullptr)
      return;
   if (!link.springProperties().isEmpty())
      lose(place, "springProperties", "the spring at the joint");
   if (!link.damperProperties().isEmpty() && !(node.moves() && hasOwnDamper(node)))
      lose(place, "damperProperties", "a damper that other joints move, or that gives energy");
   if (link.hasLimitConstraint())
      lose(place, "limitConstraint", "limits that depend on several joints");
   if (link.isConstrained())
      lose(place, "isConstrained", "that the position of the joint is not free");
   loseOfDrive(node);
}

void Scribe::loseOfDrive(const Node& node)
{
   const ZqString place = placeOf(node);
   const ZqJointActuator& drive = node.link->jointActuator();
   if (const ZqMechanicalActuatorComponent* const train =
          drive.mechanicalComponentContainer().topElement())
   {
      // Of these there is an element, or they say how dry friction is computed.
      constexpr std::string_view known[] = {"gearRatio",
                                            "lowerLimit",
                                            "upperLimit",
                                            "maxOutputRate",
                                            "frictionCoefficient",
                                            "staticCoulombFriction",
                                            "limitingVelocityStickRegion"};
      const auto tell = [&](std::string_view name, const char* text)
      {
         if (!node.moves() ||
             std::find(std::begin(known), std::end(known), name) == std::end(known))
            lose(place, name, text);
      };
      forEachDifference(*train, ZqMechanicalActuatorComponent(), tell);
   }
   if (const ZqBasePowerConverter* const converter = drive.powerConverterContainer().topElement())
      if (dynamic_cast<const ZqPassThroughPowerConverter*>(converter) == nullptr)
         lose(place, converter->token().localName(), "what makes the torque at the motor");
   if (!(drive.primeMoveManufacturerData() == ZqManufacturerData()))
      lose(place, "primeMoverManufacturerData", "maker and part of the motor");
   if (drive.gearheadManufacturerDataVector().size() > 0)
      lose(place, "gearheadManufacturerDataVector", "makers and parts of the gears");
}

void Scribe::loseOfManipulator(ZqU32 index)
{
   const ZqIndividualManipulator& manipulator = *m_scene.manipulatorByIndex(index);
   const ZqString place = placeOfManipulator(manipulator);
   if (!manipulator.stateConstraints().vectorContainer().empty())
      lose(place, "stateConstraintVector", "functions of the joint positions that are to be kept");
   if (!manipulator.stoppingCriteria().vectorContainer().empty())
      lose(place, "stoppingCriteria", "conditions under which a step is taken back");
   if (!manipulator.generalBoundObjects().vectorContainer().empty())
      lose(place, "generalBoundObjectVector", "shapes that go with sides of linkages");
   if (!manipulator.surfaces().mapContainer().empty())
      lose(place, "surfaces", "values of surfaces by their name");
   const auto& rows = manipulator.selfCollisionLinkMap().mapContainer();
   const auto mayCollide = [](const auto& row)
   {
      const auto& pairs = row.second.mapContainer();
      return std::any_of(pairs.begin(), pairs.end(), [](const auto& pair) { return pair.second; });
   };
   if (std::any_of(rows.begin(), rows.end(), mayCollide))
      lose(place, "manipulatorSelfCollisionLinkMap", "which pairs of links may collide");
   // New joints stand at 1e-9.
   const auto isSet = [](ZqReal value) { return !(std::abs(value) <= 1e-9); };
   const ZqManipulatorSystemState& state = m_scene.state();
   const auto& q = state.positionStates()[index].jointPositions().values();
   const auto& qd = state.velocityStates()[index].jointVelocities().values();
   if (std::any_of(q.begin(), q.end(), isSet))
      lose(place, "positionState", "positions of the joints: those of URDF stand at 0");
   const bool baseMoves = !(state.velocityStates()[index].generalVelocity() == ZqGeneralMotion());
   if (baseMoves || std::any_of(qd.begin(), qd.end(), isSet))
      lose(place, "velocityState", "velocities");
}

void Scribe::loseOfScene()
{
   const ZqU32 root = m_nodes.front().manipulator;
   for (const ZqU32 index : m_written)
   {
      loseOfManipulator(index);
      if (index != root)
         lose(placeOfManipulator(*m_scene.manipulatorByIndex(index)), "individualManipulator",
              "its links are those of the one that it is attached to",
              ZqConversionLoss::Kind::Changed);
   }
   for (ZqU32 i = 0; i < m_scene.numberOfManipulators(); ++i)
      if (!m_written.contains(i))
         lose(placeOfManipulator(*m_scene.manipulatorByIndex(i)), "individualManipulator",
              "a document in URDF is one tree, and this is another one");
   if (m_written.size() > 1 &&
       !(m_scene.configuration().collisionExclusionMap() == ZqSystemCollisionExclusionMap()))
      lose("scene", "systemCollisionExclusionMap", ZqSystemCollisionExclusionMap::documentation);
   ZqSystemEnvironment usual;
   usual.setUpGravityVector(ZqVector(0.0, 0.0, ZqUrdfReader::gravity));
   forEachDifference(m_scene.environment(), usual,
                     [this](std::string_view name, const char* text)
                     { lose("scene", name, "readers choose it: " + ZqString(text)); });
   if (!m_scene.system().linkInteractionsVector().vectorContainer().empty())
      lose("scene", "linkInteractionsVector",
           "contact, springs and all else that acts between links");
}
} // namespace ZqUrdf
