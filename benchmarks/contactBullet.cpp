#include "contactLibrary.h"

#include <btBulletDynamicsCommon.h>

#include <cmath>

namespace zqBenchmark
{
namespace
{
btVector3 vectorOf(const Eigen::Vector3d& v)
{
   return {v.x(), v.y(), v.z()};
}
Eigen::Vector3d vectorOf(const btVector3& v)
{
   return {v.x(), v.y(), v.z()};
}

/// Its solver by sequential impulses with its own ten iterations; nothing sleeps.
class Bullet : public ContactLibrary
{
public:
   explicit Bullet(const ContactScene& scene)
      : m_scene(scene), m_dispatcher(&m_configuration),
        m_world(&m_dispatcher, &m_broadPhase, &m_solver, &m_configuration)
   {
      m_world.setGravity(vectorOf(scene.gravity));
      if (scene.hasPlane)
         add(std::make_unique<btStaticPlaneShape>(btVector3(0, 0, 1), 0.0), ContactBody{}, 0.0);
      for (const ContactBody& body : scene.bodies)
         if (body.kind == ContactBody::Kind::Sphere)
            add(std::make_unique<btSphereShape>(body.radius), body, body.mass);
         else
            add(std::make_unique<btBoxShape>(vectorOf(body.halfExtents)), body, body.mass);
      m_first = scene.hasPlane ? 1 : 0;
   }
   ~Bullet() override
   {
      for (const auto& body : m_bodies)
         m_world.removeRigidBody(body.get());
   }
   void step() override
   {
      for (std::size_t i = 0; i < m_scene.bodies.size(); ++i)
         if (m_scene.bodies[i].isOnRail)
            m_bodies[i + m_first]->applyCentralForce(btVector3(m_scene.bodies[i].push, 0, 0));
      m_world.stepSimulation(m_scene.timeStep, 0);
   }
   int points() override
   {
      int count = 0;
      for (int i = 0; i < m_dispatcher.getNumManifolds(); ++i)
         count += m_dispatcher.getManifoldByIndexInternal(i)->getNumContacts();
      return count;
   }
   Eigen::Vector3d position(std::size_t body) override
   {
      return vectorOf(m_bodies[body + m_first]->getWorldTransform().getOrigin());
   }
   Eigen::Vector3d velocity(std::size_t body) override
   {
      return vectorOf(m_bodies[body + m_first]->getLinearVelocity());
   }

private:
   void add(std::unique_ptr<btCollisionShape> shape, const ContactBody& body, double mass)
   {
      // Its own default, 4 cm, is nearly the size of a body.
      if (body.kind == ContactBody::Kind::Box)
         shape->setMargin(1e-3);
      const btVector3 moments = mass > 0.0 ? vectorOf(body.moments()) : btVector3(0, 0, 0);
      btRigidBody::btRigidBodyConstructionInfo info(mass, nullptr, shape.get(), moments);
      // The pair's is the product of both.
      info.m_friction = std::sqrt(m_scene.friction);
      const Eigen::Quaterniond turn(body.placement.linear());
      info.m_startWorldTransform =
         btTransform(btQuaternion(turn.x(), turn.y(), turn.z(), turn.w()),
                     vectorOf(Eigen::Vector3d(body.placement.translation())));
      auto result = std::make_unique<btRigidBody>(info);
      result->setLinearVelocity(vectorOf(body.velocity));
      result->setAngularVelocity(vectorOf(body.angularVelocity));
      result->setActivationState(DISABLE_DEACTIVATION);
      if (body.isOnRail)
      {
         result->setLinearFactor(btVector3(1, 0, 0));
         result->setAngularFactor(btVector3(0, 0, 0));
      }
      m_world.addRigidBody(result.get());
      m_shapes.push_back(std::move(shape));
      m_bodies.push_back(std::move(result));
   }

   ContactScene m_scene;
   std::size_t m_first = 0;
   std::vector<std::unique_ptr<btCollisionShape>> m_shapes;
   std::vector<std::unique_ptr<btRigidBody>> m_bodies;
   btDefaultCollisionConfiguration m_configuration;
   btCollisionDispatcher m_dispatcher;
   btDbvtBroadphase m_broadPhase;
   btSequentialImpulseConstraintSolver m_solver;
   btDiscreteDynamicsWorld m_world;
};
} // namespace

std::unique_ptr<ContactLibrary> contactBullet(const ContactScene& scene)
{
   return std::make_unique<Bullet>(scene);
}
} // namespace zqBenchmark
