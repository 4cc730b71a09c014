#include "contactLibrary.h"

#include "zqManipulator/zqManipulator.h"

#include <algorithm>
#include <array>
#include <chrono>

namespace zqBenchmark
{
namespace
{
ZqVector vectorOf(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}
ZqCoordinateSystemTransformation frameOf(const Eigen::Isometry3d& X)
{
   const Eigen::Quaterniond q(X.linear());
   return {vectorOf(Eigen::Vector3d(X.translation())), ZqOrientation(q.w(), q.x(), q.y(), q.z())};
}

/// Each point of a contact presses, sticks and slips for itself.
ZqLinkInteractionsVector contactWith(double friction, double stiffness)
{
   ZqFrictionCoefficientLookupTool table;
   table.setDefaultLinearTangentialStaticFrictionCoefficient(friction);
   table.setDefaultLinearKineticFrictionCoefficient(friction);
   ZqPointFrictionForceProcessor tangential;
   tangential.setFrictionCoefficientLUT(table);
   ZqPointContactForceProcessor law;
   law.setDissipativeForceProcessor(tangential);
   law.setDefaultSpringConstant(2.0 * stiffness); // of each surface
   ZqCollisionForceContainer container;
   container.setTopElement(law);
   ZqLinkCollisionForce contact;
   contact.setCollisionForceContainer(container);
   ZqLinkInteractionsVector interactions;
   interactions.pushBack(contact);
   return interactions;
}

ZqManipulatorLink linkOf(const ContactBody& body, const char* label)
{
   const Eigen::Vector3d moments = body.moments();
   ZqManipulatorLink link;
   link.setLinkLabel(label);
   link.setMassProperties(ZqRigidBodyMassProperties(
      body.mass, ZqVector(), ZqSecondMoment(moments.x(), moments.y(), moments.z(), 0.0, 0.0, 0.0)));
   if (body.kind == ContactBody::Kind::Sphere)
      link.setShape(ZqSphere(ZqVector(), body.radius));
   else
      link.setShape(ZqBox(ZqVector(), vectorOf(body.halfExtents)));
   return link;
}

ZqIndividualManipulator manipulatorOf(const ContactBody& body)
{
   ZqIndividualManipulator result;
   if (!body.isOnRail)
   {
      result.setFromLink(linkOf(body, "base"));
      result.setIsFixedBase(false);
      return result;
   }
   // Along x, with axes parallel to those of the base where the body is.
   const ZqOrientation alongX(0.5, 0.5, 0.5, 0.5);
   ZqDenavitHartenberg joint;
   joint.setJointType(ZqDenavitHartenberg::Prismatic);
   joint.setDhType(ZqDenavitHartenberg::General);
   joint.setPrecursor(ZqCoordinateSystemTransformation(alongX));
   joint.setPrimaryFrame(ZqCoordinateSystemTransformation(alongX.inverse()));
   ZqManipulatorLink finger = linkOf(body, "finger");
   finger.setLinkKinematics(joint);
   ZqJointActuator drive;
   drive.setMechanicalComponent(ZqMechanicalActuatorComponent());
   finger.setJointActuator(drive);
   ZqManipulatorLink base;
   base.setLinkLabel("base");
   base.addChild(finger);
   result.setFromLink(base);
   return result;
}

ZqStatedSystem sceneOf(const ContactScene& description)
{
   ZqSystemEnvironment environment;
   environment.setUpGravityVector(vectorOf(Eigen::Vector3d(-description.gravity)));
   ZqManipulatorSystem system;
   system.setEnvironment(environment);
   system.setLinkInteractionsVector(contactWith(description.friction, description.stiffness));
   ZqStatedSystem scene;
   scene.setFromSystem(system);
   for (const ContactBody& body : description.bodies)
   {
      ZqPositionState position;
      position.setCoordSysXForm(frameOf(body.placement));
      ZqVelocityState velocity;
      velocity.setGeneralVelocity(
         ZqGeneralMotion(vectorOf(body.velocity), vectorOf(body.angularVelocity)));
      if (body.isOnRail)
      {
         position.setJointPositions({0.0});
         velocity.setJointVelocities({0.0});
      }
      scene.addManipulator(manipulatorOf(body), position, velocity);
   }
   if (description.hasPlane)
   {
      ZqManipulatorLink ground;
      ground.setLinkLabel("base");
      ground.setShape(ZqHalfSpace(ZqPlane(ZqVector(), ZqVector(0.0, 0.0, 1.0))));
      ZqIndividualManipulator plane;
      plane.setFromLink(ground);
      scene.addManipulator(plane, ZqPositionState(), ZqVelocityState());
   }
   scene.findAndConvertToReferences();
   return scene;
}

class Ours : public ContactLibrary
{
public:
   explicit Ours(const ContactScene& scene) : m_scene(scene), m_simulation(sceneOf(scene))
   {
      for (std::size_t i = 0; i < scene.bodies.size(); ++i)
         if (scene.bodies[i].isOnRail)
            m_simulation.setTorque({static_cast<ZqU32>(i), 0}, scene.bodies[i].push);
   }
   void step() override { m_simulation.stepTo(m_scene.timeStep * static_cast<double>(++m_steps)); }
   int points() override
   {
      int count = 0;
      for (const ZqSimulation::Contact& contact : m_simulation.contacts())
         count += contact.points;
      return count;
   }
   Eigen::Vector3d position(std::size_t body) override
   {
      const ZqPositionState& state = m_simulation.state().positionStates()[body];
      const ZqVector& p = state.coordSysXForm().translation();
      Eigen::Vector3d result(p.x(), p.y(), p.z());
      if (m_scene.bodies[body].isOnRail)
         result.x() += state.jointPositions()[0];
      return result;
   }
   Eigen::Vector3d velocity(std::size_t body) override
   {
      const ZqVelocityState& state = m_simulation.state().velocityStates()[body];
      const ZqVector& v = state.generalVelocity().linear();
      return {v.x(), v.y(), v.z()};
   }

private:
   ContactScene m_scene;
   ZqSimulation m_simulation;
   long m_steps = 0;
};
} // namespace

/// By what a contact interaction does, called part by part for two states of the settled scene in turn.
ContactShares contactShares(const ContactScene& description)
{
   const ZqStatedSystem scene = sceneOf(description);
   const ZqManipulatorSystem& system = scene.system();
   ZqSimulation simulation(scene);
   long step = 0;
   const auto run = [&](int steps)
   {
      for (int i = 0; i < steps; ++i)
         simulation.stepTo(description.timeStep * static_cast<double>(++step));
      return simulation.state();
   };
   run(static_cast<int>(1.0 / description.timeStep));
   const std::array<ZqManipulatorSystemState, 2> states{run(1), run(1)};

   const ZqCollisionForceContainer container =
      dynamic_cast<const ZqLinkCollisionForce&>(system.linkInteractionsVector()[0])
         .collisionForceContainer();
   const ZqBaseCollisionForceProcessor& law = *container.topElement();
   const ZqManipulatorCollisionTool tool;
   ZqSystemActiveState active;
   ZqXmlVectorType<ZqManipulatorTorque> torques;
   ZqXmlVectorType<ZqManipulatorExternalForce> forces;
   forces.resize(system.numberOfManipulators());
   for (ZqU32 i = 0; i < system.numberOfManipulators(); ++i)
      forces[i].resize(system.jointDof(i));

   using Clock = std::chrono::steady_clock;
   std::array<std::vector<double>, 3> times;
   for (int round = 0; round < 200; ++round)
   {
      active.setNonredundantState(states[static_cast<std::size_t>(round % 2)]);
      const auto start = Clock::now();
      tool.followModel(system, active);
      const auto& pairs = active.systemActiveBoundingBoxState().intersectionList(
         system, active.manipulatorActiveStateVector());
      const auto found = Clock::now();
      for (const auto& [a, b] : pairs)
         tool.computeLinkCollisionData(a.manipulatorIndex(), a.linkIndex(), b.manipulatorIndex(),
                                       b.linkIndex(), system, active);
      const auto touched = Clock::now();
      ZqSystemShapeCollisionCache& cache = active.systemShapeCollisionCache();
      cache.resetNextCollisionData();
      while (ZqShapeCollisionData* data = cache.nextCollisionData())
         law.process(*data, active, torques, forces, description.timeStep * round);
      const auto pressed = Clock::now();
      const std::array parts{found - start, touched - found, pressed - touched};
      for (std::size_t i = 0; i < parts.size(); ++i)
         times[i].push_back(std::chrono::duration<double, std::micro>(parts[i]).count());
   }
   const auto median = [](std::vector<double>& values)
   {
      std::nth_element(values.begin(), values.begin() + 100, values.end());
      return values[100];
   };
   return {median(times[0]), median(times[1]), median(times[2])};
}

std::unique_ptr<ContactLibrary> contactOurs(const ContactScene& scene)
{
   return std::make_unique<Ours>(scene);
}
} // namespace zqBenchmark
