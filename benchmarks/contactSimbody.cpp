#include "contactLibrary.h"

#include <Simbody.h>

namespace zqBenchmark
{
namespace
{
SimTK::Vec3 vectorOf(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}
Eigen::Vector3d vectorOf(const SimTK::Vec3& v)
{
   return {v[0], v[1], v[2]};
}

/// Compliant contact of bricks with a half-space, and one evaluation of it a step. It has none of bricks
/// with each other.
class Simbody : public ContactLibrary
{
public:
   explicit Simbody(const ContactScene& scene)
      : m_scene(scene), m_matter(m_system), m_forces(m_system), m_tracker(m_system),
        m_contacts(m_system, m_tracker), m_gravity(m_forces, m_matter, vectorOf(scene.gravity))
   {
      m_system.setUseUniformBackground(true);
      const SimTK::ContactCliqueId clique = SimTK::ContactSurface::createNewContactClique();
      const SimTK::ContactMaterial material(stiffness, dissipation, scene.friction, scene.friction);
      const SimTK::Rotation upwards(0.5 * SimTK::Pi, SimTK::YAxis);
      if (scene.hasPlane)
         m_matter.updGround().updBody().addContactSurface(
            SimTK::Transform(upwards),
            SimTK::ContactSurface(SimTK::ContactGeometry::HalfSpace(), material));
      for (const ContactBody& body : scene.bodies)
      {
         const SimTK::Vec3 moments = vectorOf(body.moments());
         SimTK::Body::Rigid rigid(
            SimTK::MassProperties(body.mass, SimTK::Vec3(0), SimTK::Inertia(moments)));
         const SimTK::ContactGeometry geometry =
            body.kind == ContactBody::Kind::Sphere
               ? SimTK::ContactGeometry(SimTK::ContactGeometry::Sphere(body.radius))
               : SimTK::ContactGeometry(SimTK::ContactGeometry::Brick(vectorOf(body.halfExtents)));
         rigid.addContactSurface(SimTK::Transform(),
                                 SimTK::ContactSurface(geometry, material).joinClique(clique));
         m_bodies.push_back(SimTK::MobilizedBody::Free(m_matter.updGround(), SimTK::Transform(),
                                                       rigid, SimTK::Transform()));
      }
      SimTK::State state = m_system.realizeTopology();
      for (std::size_t i = 0; i < m_bodies.size(); ++i)
      {
         const ContactBody& body = scene.bodies[i];
         const Eigen::Quaterniond q(body.placement.linear());
         m_bodies[i].setQToFitTransform(
            state, SimTK::Transform(SimTK::Rotation(SimTK::Quaternion(q.w(), q.x(), q.y(), q.z())),
                                    vectorOf(Eigen::Vector3d(body.placement.translation()))));
         m_bodies[i].setUToFitVelocity(
            state, SimTK::SpatialVec(vectorOf(body.angularVelocity), vectorOf(body.velocity)));
      }
      m_integrator = std::make_unique<SimTK::SemiExplicitEulerIntegrator>(m_system, scene.timeStep);
      m_integrator->initialize(state);
   }
   void step() override { m_integrator->stepTo(m_scene.timeStep * static_cast<double>(++m_steps)); }
   int points() override
   {
      const SimTK::State& state = m_integrator->getState();
      m_system.realize(state, SimTK::Stage::Velocity);
      int count = 0;
      for (int i = 0; i < m_contacts.getNumContactForces(state); ++i)
      {
         SimTK::ContactPatch patch;
         m_contacts.calcContactPatchDetailsById(
            state, m_contacts.getContactForce(state, i).getContactId(), patch);
         count += patch.getNumDetails();
      }
      return count;
   }
   Eigen::Vector3d position(std::size_t body) override
   {
      const SimTK::State& state = m_integrator->getState();
      m_system.realize(state, SimTK::Stage::Position);
      return vectorOf(m_bodies[body].getBodyOriginLocation(state));
   }
   Eigen::Vector3d velocity(std::size_t body) override
   {
      const SimTK::State& state = m_integrator->getState();
      m_system.realize(state, SimTK::Stage::Velocity);
      return vectorOf(m_bodies[body].getBodyOriginVelocity(state));
   }

private:
   static constexpr double stiffness = 1e5;   ///< softer bricks begin to rock when they slide
   static constexpr double dissipation = 1.0; ///< s/m

   ContactScene m_scene;
   SimTK::MultibodySystem m_system;
   SimTK::SimbodyMatterSubsystem m_matter;
   SimTK::GeneralForceSubsystem m_forces;
   SimTK::ContactTrackerSubsystem m_tracker;
   SimTK::CompliantContactSubsystem m_contacts;
   SimTK::Force::UniformGravity m_gravity;
   std::vector<SimTK::MobilizedBody::Free> m_bodies;
   std::unique_ptr<SimTK::SemiExplicitEulerIntegrator> m_integrator;
   long m_steps = 0;
};
} // namespace

std::unique_ptr<ContactLibrary> contactSimbody(const ContactScene& scene)
{
   return scene.hasStacks ? nullptr : std::make_unique<Simbody>(scene);
}
} // namespace zqBenchmark
